#include "Widget_Common.h"

#include <QCloseEvent>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

#include "UIAPICommon.h"

Widget_Fill::Widget_Fill(QWidget* parent) : QDialog(parent) { setWindowTitle(tr("Fill")); }
QString Widget_Fill::symbol() const { return m_symbol; }
double Widget_Fill::stepX() const { return m_stepX; }
double Widget_Fill::stepY() const { return m_stepY; }

void Widget_Fill::setParameters(const QString& symbol, double stepX, double stepY) {
    m_symbol = symbol;
    m_stepX = stepX;
    m_stepY = stepY;
}
