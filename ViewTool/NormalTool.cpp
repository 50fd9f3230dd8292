#include "NormalTool.h"

#include <QMouseEvent>
#include <QWheelEvent>

namespace TOLVA {
namespace GRAPHIC {

NormalTool::NormalTool(ViewWidget* view) : DefaultTool(view, NORMAL_TOOL, "NORMAL_TOOL") {}

void NormalTool::midButtonPress(QMouseEvent* event) {
    rememberMiddlePress(event);
    event->accept();
}

void NormalTool::midButtonRelease(QMouseEvent* event) {
    panOnMiddleRelease(event);
    event->accept();
}

void NormalTool::wheel(QWheelEvent* event) {
    zoomByWheel(event);
    event->accept();
}

void NormalTool::setWorkParam(PluginMetaData*) {}

}  // namespace GRAPHIC
}  // namespace TOLVA
