#include "Widget_Common.h"

#include <QCloseEvent>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

#include "UIAPICommon.h"

