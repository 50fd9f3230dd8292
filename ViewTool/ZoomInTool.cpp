#include "ZoomInTool.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QWheelEvent>
#include <algorithm>

#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

ZoomInTool::ZoomInTool(ViewWidget* view)
    : DefaultTool(view, ZOOMIN_TOOL, "ZOOMIN_TOOL"), m_rubberBand(new QRubberBand(QRubberBand::Rectangle, view)) {
    m_rubberBand->hide();
}

ZoomInTool::~ZoomInTool() { delete m_rubberBand; }

void ZoomInTool::leftButtonPress(QMouseEvent* event) {
    m_pressX = event->pos().x();
    m_pressY = event->pos().y();
    m_view->view2db(m_pressX, m_pressY, m_pressBoardX, m_pressBoardY);
    m_pressed = true;
    m_rubberBand->hide();
    m_rubberBandMode = false;
}

// Pans while the left button is down; only a horizontal change starts a pan,
// and the press position follows each pan so a drag pans by its length.
void ZoomInTool::mouseMove(QMouseEvent* event) {
    if (m_rubberBandMode) return;
    m_currentX = event->pos().x();
    m_currentY = event->pos().y();
    if (!m_pressed || !(event->buttons() & Qt::LeftButton)) return;
    if (m_currentX != m_pressX) {
        m_view->move(m_currentX - m_pressX, m_currentY - m_pressY);
        m_pressX = m_currentX;
        m_pressY = m_currentY;
    }
}

void ZoomInTool::leftButtonRelease(QMouseEvent* event) {
    if (!m_pressed) return;
    m_pressed = false;
    double x = 0, y = 0;
    m_view->view2db(event->pos().x(), event->pos().y(), x, y);
    m_rubberBand->hide();
    m_view->areazoom(std::min(x, m_pressBoardX), std::min(y, m_pressBoardY), std::max(x, m_pressBoardX),
                     std::max(y, m_pressBoardY));
}

// Momentum scrolling (the wheel-event kind 4) does not zoom.
void ZoomInTool::wheel(QWheelEvent* event) {
    if (event->phase() == Qt::ScrollMomentum) return;
    m_view->pushZoomHistory();
    const QPointF pos = event->position();
    if (wheelDelta(event) < 1)
        m_view->wheelScaleDown(pos);
    else
        m_view->wheelScaleUp(pos);
    int px = 0, py = 0;
    m_view->db2view(m_pressBoardX, m_pressBoardY, px, py);
    m_rubberBand->setGeometry(QRect(QPoint(px, py), pos.toPoint()).normalized());
}

}  // namespace GRAPHIC
}  // namespace TOLVA
