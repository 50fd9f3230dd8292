#include "BoxDragTool.h"

#include <QMouseEvent>
#include <algorithm>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

BoxDragTool::BoxDragTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix)
    : DefaultTool(view, type, logPrefix), m_rubberBand(new QRubberBand(QRubberBand::Rectangle, view)) {
    m_rubberBand->hide();
}

BoxDragTool::~BoxDragTool() { delete m_rubberBand; }

void BoxDragTool::leftButtonPress(QMouseEvent* event) {
    m_leftPress = event->pos();
    m_leftHeld = true;
    m_rubberBand->setGeometry(QRect(m_leftPress, QSize()));
    m_rubberBand->show();
}

void BoxDragTool::mouseMove(QMouseEvent* event) {
    if (m_leftHeld) m_rubberBand->setGeometry(QRect(m_leftPress, event->pos()).normalized());
}

void BoxDragTool::leftButtonRelease(QMouseEvent* event) {
    m_rubberBand->hide();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    const QPointF a = m_view->toBoard(m_leftPress), b = m_view->toBoard(event->pos());
    boxDragged(QRectF(QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                      QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y()))),
               QRect(m_leftPress, event->pos()).normalized());
}

void BoxDragTool::midButtonPress(QMouseEvent* event) { rememberMiddlePress(event); }
void BoxDragTool::midButtonRelease(QMouseEvent* event) { panOnMiddleRelease(event); }
void BoxDragTool::wheel(QWheelEvent* event) { zoomByWheel(event); }

}  // namespace GRAPHIC
}  // namespace TOLVA
