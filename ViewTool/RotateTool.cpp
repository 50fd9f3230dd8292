#include "RotateTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QTransform>
#include <cmath>

#include "FeaturePick.h"
#include "TOLVA_API.h"
#include "TOLVA_Edit.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "ROTATE_TOOL";
constexpr char kInitLine[] = "ROTATE_TOOL : INIT";
constexpr double kPi = 3.14159265358979323846;
constexpr int kPivotPixels = 6;
constexpr int kLabelOffsetPixels = 14;

double degreesOf(const QPointF& v) { return std::atan2(v.y(), v.x()) * 180.0 / kPi; }
}  // namespace

RotateTool::RotateTool(ViewWidget* view)
    : EditingTool(view, ROTATE_TOOL, kPrefix, kInitLine), m_filtered(view) {
    if (!view) return;
    view->installEventFilter(this);
    readSelection();
}

RotateTool::~RotateTool() {
    if (m_filtered) m_filtered->removeEventFilter(this);
}

void RotateTool::readSelection() {
    m_selection.clear();
    if (m_view->jobName().isEmpty()) return;
    try {
        for (const std::string& layer : featureEditLayers(*m_view)) {
            std::vector<API::featureInfo> selected;
            API::get_selected_feature_info(m_view->jobName().toStdString(), m_view->stepName().toStdString(), layer,
                                           selected);
            if (!selected.empty()) m_selection[layer] = std::move(selected);
        }
    } catch (...) {
        m_selection.clear();
        logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
    }
    if (const std::optional<QRectF> extent = featureExtent(m_selection)) m_pivot = extent->center();
}

bool RotateTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        m_leftHeld = m_dragging = false;
        m_angle = 0;
        m_view->update();
    }
    return false;
}

void RotateTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = m_cursorPixel = event->pos();
    m_leftHeld = true;
    m_dragging = false;
    m_angle = 0;
}

int RotateTool::sweptAngle(const QPoint& pixel, Qt::KeyboardModifiers modifiers) const {
    // Board y runs upwards: angles are taken on board points.
    const QPointF from = m_view->toBoard(m_pressPixel) - m_pivot, to = m_view->toBoard(pixel) - m_pivot;
    double angle = std::remainder(degreesOf(to) - degreesOf(from), 360.0);
    if (modifiers & Qt::ShiftModifier) angle = kShiftStepDegrees * std::round(angle / kShiftStepDegrees);
    return int(std::lround(angle));
}

void RotateTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursorPixel = event->pos();
    if (!m_leftHeld || !(event->buttons() & Qt::LeftButton)) return;
    if (!m_dragging && !beyondClickSlack(m_pressPixel, m_cursorPixel)) return;
    m_dragging = true;
    m_angle = sweptAngle(m_cursorPixel, event->modifiers());
    m_view->update();
}

void RotateTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    if (!m_dragging) {
        m_pivot = snappedBoardPoint(event->pos());  // a click puts the pivot
        m_view->update();
        return;
    }
    m_dragging = false;
    const int angle = sweptAngle(event->pos(), event->modifiers());
    m_angle = 0;
    if (angle != 0) turnSelection(angle);
    m_view->update();
}

void RotateTool::turnSelection(int degrees) {
    if (m_selection.empty()) {
        LOG(WARNING) << kPrefix << ": nothing is selected to turn";
        return;
    }
    std::vector<std::string> layers;
    for (const auto& layer : m_selection) layers.push_back(layer.first);
    EDIT::transform t;
    t.angle_deg = degrees;
    t.px = m_pivot.x();
    t.py = m_pivot.y();
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    try {
        if (DB::get_SaveFlag()) DB::transform_selected_db_save(job, step, layers, t);
        EDIT::transform_selected(job, step, layers, t);
    } catch (...) {
        reportFailure(m_view, __FILE__, __LINE__, std::current_exception(), QObject::tr("Information"));
        return;
    }
    m_view->draw();
    m_view->refresh();
    const QPointF pivot = m_pivot;
    readSelection();
    m_pivot = pivot;  // further turns keep the pivot the operator chose
}

void RotateTool::paint(QPainter* painter) {
    painter->save();
    painter->setPen(QPen(kBoxFrameColor, 1));
    const QPoint centre = toPixel(m_pivot);
    painter->drawEllipse(centre, kPivotPixels, kPivotPixels);
    painter->drawLine(centre - QPoint(kPivotPixels * 2, 0), centre + QPoint(kPivotPixels * 2, 0));
    painter->drawLine(centre - QPoint(0, kPivotPixels * 2), centre + QPoint(0, kPivotPixels * 2));
    if (m_dragging) {
        painter->drawLine(centre, m_cursorPixel);
        painter->drawText(m_cursorPixel + QPoint(kLabelOffsetPixels, -kLabelOffsetPixels),
                          QStringLiteral("%1\u00b0").arg(m_angle));
        if (const std::optional<QRectF> extent = featureExtent(m_selection)) {
            // The outlines turned about the pivot as the view shows it: a
            // counter-clockwise turn on the board is clockwise on the
            // widget, whose y runs downwards, unless the view is mirrored.
            const QPointF onWidget = toPixel(m_pivot);
            const QPointF east = toPixel(m_pivot + QPointF(1e6, 0)) - onWidget,
                          north = toPixel(m_pivot + QPointF(0, 1e6)) - onWidget;
            const bool mirrored = east.x() * north.y() - east.y() * north.x() > 0;
            QTransform turn;
            turn.translate(onWidget.x(), onWidget.y());
            turn.rotate(mirrored ? m_angle : -m_angle);
            turn.translate(-onWidget.x(), -onWidget.y());
            painter->setTransform(turn, true);
            drawOutlinesAt(painter, m_selection, *extent, QPixmap(), onView(*extent));
        }
    }
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
