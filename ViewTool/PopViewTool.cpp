#include "PopViewTool.h"

#include <QMouseEvent>
#include <algorithm>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr int kMinimumDragPixels = 4;  // a smaller drag is a stray click
}

PopViewTool::PopViewTool(ViewWidget* view)
    : Graphic_ViewTool(view, POPVIEW_TOOL), m_rubberBand(new QRubberBand(QRubberBand::Rectangle, view)) {
    m_rubberBand->hide();
    logInit("POPVIEW_TOOL");
}

PopViewTool::~PopViewTool() { delete m_rubberBand; }

void PopViewTool::leftButtonPress(QMouseEvent* event) {
    m_leftPress = event->pos();
    m_leftHeld = true;
    m_rubberBand->setGeometry(QRect(m_leftPress, QSize()));
    m_rubberBand->show();
}

void PopViewTool::mouseMove(QMouseEvent* event) {
    if (m_leftHeld) m_rubberBand->setGeometry(QRect(m_leftPress, event->pos()).normalized());
}

void PopViewTool::leftButtonRelease(QMouseEvent* event) {
    m_rubberBand->hide();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    const QRect drag = QRect(m_leftPress, event->pos()).normalized();
    if (drag.width() < kMinimumDragPixels || drag.height() < kMinimumDragPixels) return;
    const QPointF a = m_view->toBoard(m_leftPress), b = m_view->toBoard(event->pos());
    m_view->openPopView(QRectF(QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                               QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y()))));
}

void PopViewTool::midButtonPress(QMouseEvent* event) { rememberMiddlePress(event); }
void PopViewTool::midButtonRelease(QMouseEvent* event) { panOnMiddleRelease(event); }
void PopViewTool::wheel(QWheelEvent* event) { zoomByWheel(event); }
void PopViewTool::toolKeyPress(QKeyEvent* event) { panByArrowKey(event); }
void PopViewTool::leftButtonDoubleClick(QMouseEvent*) {}
void PopViewTool::auxMouseEvent(QMouseEvent*) {}
void PopViewTool::midButtonDoubleClick(QMouseEvent*) {}
void PopViewTool::rightButtonRelease(QMouseEvent*) {}
void PopViewTool::auxEvent(QEvent*) {}
void PopViewTool::paint(QPainter*) {}
void PopViewTool::setWorkParam(PluginMetaData*) {}

}  // namespace GRAPHIC
}  // namespace TOLVA
