#include "PointTool.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include "FeatureOutline.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "POINT_TOOL";
constexpr char kInitLine[] = "POINT_TOOL:\tInit";

bool isPointRequest(qint32 code) {
    return code == PointTool::kPointCode || code == PointTool::kMoveCode || code == PointTool::kCopyCode ||
           code == PointTool::kCreateSymbolCode || code == PointTool::kSubstituteCode;
}
}  // namespace

PointTool::PointTool(ViewWidget* view) : EditingTool(view, POINT_TOOL, kPrefix, kInitLine), m_filtered(view) {
    if (view) view->installEventFilter(this);
}

// The marker this tool moved goes with it; a marker placed by another
// request (draw_center) after the last pick stays.
PointTool::~PointTool() {
    if (m_filtered) {
        m_filtered->removeEventFilter(this);
        if (m_shownCross && m_view->crossPoint() == *m_shownCross) m_view->clear_current_cross_point();
    }
}

void PointTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || !isPointRequest(msg->msgType)) {
        logTypeError(kPrefix);
        return;
    }
    m_request = msg->msgType;
    m_reference.reset();
}

bool PointTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        m_reference.reset();
        m_view->update();
    }
    return false;
}

void PointTool::showCross(const QPointF& point) {
    m_view->setCrossPoint(point);
    m_shownCross = point;
    m_view->update();
}

void PointTool::mouseMove(QMouseEvent* event) {
    event->accept();
    showCross(snappedBoardPoint(event->pos()));
}

void PointTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    const QPointF point = snappedBoardPoint(event->pos());
    showCross(point);
    pick(point);
}

void PointTool::pick(const QPointF& point) {
    switch (m_request) {
    case kMoveCode:
    case kCopyCode:
        if (!m_reference) {
            m_reference = point;
            return;
        }
        if (m_request == kMoveCode)
            m_view->forwardMovePointInfo(*m_reference, point);
        else
            m_view->forwardCopyPointInfo(*m_reference, point);
        m_reference.reset();
        return;
    case kCreateSymbolCode: m_view->forwardCreateSymbolPointInfo(point); return;
    case kSubstituteCode: m_view->forwardSubstitutePointInfo(point, m_view->selectedEditFeatures()); return;
    default: m_view->forwardPointInfo(point); return;
    }
}

// The line from the reference point to the cursor while a move or copy
// waits for its target.
void PointTool::paint(QPainter* painter) {
    if (!m_reference) return;
    painter->save();
    painter->setPen(QPen(kBoxFrameColor, 1, Qt::DashLine));
    painter->drawLine(toPixel(*m_reference), toPixel(m_view->crossPoint()));
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
