#include "EditingTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

EditingTool::EditingTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine)
    : DefaultTool(view, type, logPrefix, initLine) {
    connect(view, &ViewWidget::GraphicEditorUndo, this, &EditingTool::dealWithUndo);
}

void EditingTool::midButtonPress(QMouseEvent* event) {
    event->accept();
    m_middlePressed = true;
}

void EditingTool::midButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_middlePressed) return;
    m_middlePressed = false;
    middleClicked();
}

void EditingTool::wheel(QWheelEvent* event) {
    zoomByWheel(event);
    event->accept();
}

// A replaced tool lives on until the event loop deletes it, still hearing
// the view's signals: only the active tool takes the request, so that one
// request undoes one edit.
void EditingTool::dealWithUndo() {
    if (m_view->currentTool() == this) m_view->undoLastEdit();
}

std::optional<QPointF> EditingTool::snapPoint(const QPoint& pixel) const {
    if (!UIAPI::getCoordinate(m_view->host()).snap_on) return std::nullopt;
    const int radius = UIAPI::getSnapSize(m_view->host());
    QPointF snapped;
    if (!m_view->on_snap_mode_point_check(m_view->clickBox(pixel, radius), m_view->toBoard(pixel), snapped))
        return std::nullopt;
    return snapped;
}

QPointF EditingTool::snappedBoardPoint(const QPoint& pixel) const {
    return snapPoint(pixel).value_or(m_view->toBoard(pixel));
}

QRectF EditingTool::boardBox(const QPoint& a, const QPoint& b) const {
    const QPointF pa = m_view->toBoard(a), pb = m_view->toBoard(b);
    return QRectF(QPointF(std::min(pa.x(), pb.x()), std::min(pa.y(), pb.y())),
                  QPointF(std::max(pa.x(), pb.x()), std::max(pa.y(), pb.y())));
}

QPoint EditingTool::toPixel(const QPointF& board) const {
    int px = 0, py = 0;
    m_view->db2view(board.x(), board.y(), px, py);
    return {px, py};
}

QPolygonF EditingTool::onView(const QRectF& board) const {
    // QRectF's top is the smaller y, which is the bottom edge on the board.
    return QPolygonF(QVector<QPointF>{toPixel(board.bottomLeft()), toPixel(board.bottomRight()),
                                      toPixel(board.topRight()), toPixel(board.topLeft())});
}

QRectF centredAt(const QRectF& box, const QPointF& centre) {
    QRectF moved = box;
    moved.moveCenter(centre);
    return moved;
}

bool beyondClickSlack(const QPoint& press, const QPoint& now) {
    const QPoint d = now - press;
    return std::hypot(d.x(), d.y()) > kClickSlackPixels;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
