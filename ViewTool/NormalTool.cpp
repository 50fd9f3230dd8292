#include "NormalTool.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>

namespace TOLVA {
namespace GRAPHIC {

NormalTool::NormalTool(ViewWidget* view) : Graphic_ViewTool(view, NORMAL_TOOL) {}

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

void NormalTool::toolKeyPress(QKeyEvent* event) {
    panByArrowKey(event);
    event->accept();
}

void NormalTool::leftButtonPress(QMouseEvent* event) { event->accept(); }
void NormalTool::leftButtonRelease(QMouseEvent* event) { event->accept(); }
void NormalTool::leftButtonDoubleClick(QMouseEvent* event) { event->accept(); }
void NormalTool::auxMouseEvent(QMouseEvent* event) { event->accept(); }
void NormalTool::midButtonDoubleClick(QMouseEvent* event) { event->accept(); }
void NormalTool::rightButtonRelease(QMouseEvent* event) { event->accept(); }
void NormalTool::mouseMove(QMouseEvent* event) { event->accept(); }
void NormalTool::auxEvent(QEvent* event) { event->accept(); }
void NormalTool::paint(QPainter*) {}
void NormalTool::setWorkParam(PluginMetaData*) {}

}  // namespace GRAPHIC
}  // namespace TOLVA
