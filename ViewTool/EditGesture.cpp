#include "EditGesture.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "TOLVA_API.h"
#include "TOLVA_Measure.h"
#include "UIAPICommon.h"
#include "core/view_transform.h"

#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
// The first slot's pen is twice as wide (the outline being edited); a thin
// line suits a rubber band that the operator places points along.
constexpr int kRubberBandSlot = 1;
}  // namespace

GestureTool::GestureTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine)
    : EditingTool(view, type, logPrefix, initLine), m_filtered(view) {
    if (view) view->installEventFilter(this);
}

// A tool replaced in mid-gesture takes its rubber band with it; the job has
// nothing half made to take back, since every edit is made whole on Enter.
GestureTool::~GestureTool() {
    if (!m_filtered) return;
    m_filtered->removeEventFilter(this);
    clearRubberBand();
}

bool GestureTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape) cancelLast();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) finish();
    }
    return false;
}

void GestureTool::showRubberBand(const EditShape& shape) {
    if (!m_filtered) return;
    if (shape.points.isEmpty()) {
        clearRubberBand();
        return;
    }
    m_view->setEditShape(kRubberBandSlot, shape);
    m_rubberShown = true;
}

void GestureTool::clearRubberBand() {
    if (!m_rubberShown || !m_filtered) return;
    m_view->clearEditShapes();
    m_rubberShown = false;
}

void GestureTool::notice(const QString& text) const {
    LOG(WARNING) << m_prefix << ": " << text.toStdString();
    if (m_filtered) m_view->sendMeasureNotice(text);
}

bool GestureTool::noticeFailure(std::exception_ptr error) const {
    notice(describeFailure(error).text);
    return false;
}

void GestureTool::redrawBoard() const {
    m_view->draw();
    m_view->refresh();
    m_view->sendJobListChangeSelectedIcon();
}

void GestureTool::paintBoardPolyline(QPainter* painter, const QVector<QPointF>& board, bool closed,
                                     const QColor& colour) const {
    if (board.size() < 2) return;
    QPainterPath path(toPixel(board.first()));
    for (int i = 1; i < board.size(); ++i) path.lineTo(toPixel(board[i]));
    if (closed) path.closeSubpath();
    painter->save();
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(colour, 1));
    painter->drawPath(path);
    painter->restore();
}

std::string GestureTool::jobName() const { return m_view->jobName().toStdString(); }
std::string GestureTool::stepName() const { return m_view->stepName().toStdString(); }

void ClickedPolyline::add(const QPointF& point) {
    m_escapedOnce = false;
    if (!m_points.isEmpty() && m_points.last() == point) return;
    m_points.append(point);
}

bool ClickedPolyline::dropLast() {
    if (m_points.isEmpty() || m_escapedOnce) {
        clear();
        return false;
    }
    m_points.removeLast();
    m_escapedOnce = true;
    return true;
}

void ClickedPolyline::clear() {
    m_points.clear();
    m_escapedOnce = false;
}

EditShape ClickedPolyline::rubberBand(const QPointF& cursor, bool closed) const {
    EditShape shape;
    if (m_points.isEmpty()) return shape;
    shape.points = {m_points.last(), cursor};
    if (closed && m_points.size() >= 2) {
        shape.kind = EditShape::TwoLines;
        shape.points.append(m_points.first());
    }
    return shape;
}

EditShape boxShape(const QPointF& a, const QPointF& b) {
    EditShape box;
    box.kind = EditShape::Box;
    box.points = {a, QPointF(b.x(), a.y()), b, QPointF(a.x(), b.y())};
    return box;
}

API::lPoint roundedPoint(const QPointF& p) { return {std::round(p.x()), std::round(p.y())}; }

std::optional<API::featureInfo> pickOfType(ViewWidget& view, const QPoint& pixel, const std::string& layer, int type) {
    const int radius = std::max(ViewWidget::kClickBoxRadius, UIAPI::getSnapSize(view.host()));
    const QRectF box = view.clickBox(pixel, radius);
    if (box.isEmpty() || layer.empty()) return std::nullopt;
    const QPointF at = view.toBoard(pixel);
    const std::string job = view.jobName().toStdString(), step = view.stepName().toStdString();
    std::optional<API::featureInfo> best;
    double bestDistance = 0, bestArea = 0;
    try {
        std::vector<API::featureInfo> found;
        API::get_features_in_box(job, step, layer,
                                 {truncToInt(std::floor(box.left())), truncToInt(std::floor(box.top())),
                                  truncToInt(std::ceil(box.right())), truncToInt(std::ceil(box.bottom()))},
                                 found);
        for (API::featureInfo& f : found) {
            if (f.type != type) continue;
            const double d = MEASURE::point_distance(job, step, {layer, f.index}, at.x(), at.y()).distance;
            const double area = (f.xmax - f.xmin) * (f.ymax - f.ymin);
            if (best && (d > bestDistance || (d == bestDistance && area >= bestArea))) continue;
            bestDistance = d;
            bestArea = area;
            best = std::move(f);
        }
    } catch (...) {
        logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
        return std::nullopt;
    }
    return best;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
