#include "StepRepeatTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>

#include "FeatureOutline.h"
#include "graphic_view/graphic_view.h"
#include "graphic_view/step_repeat.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "STEP_REPEAT_TOOL";
constexpr char kInitLine[] = "STEP_REPEAT_TOOL : INIT";
constexpr int kDatumPixels = 8;
}  // namespace

StepRepeatTool::StepRepeatTool(ViewWidget* view)
    : EditingTool(view, SELECT_TOOL, kPrefix, kInitLine), m_filtered(view) {
    m_knownCodes = {kRequestCode};
    if (view) view->installEventFilter(this);
}

StepRepeatTool::~StepRepeatTool() {
    if (m_filtered) m_filtered->removeEventFilter(this);
}

void StepRepeatTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || msg->msgType != kRequestCode) return logTypeError(m_prefix);
    const QString child = msg->data.value(ViewWidget::kInstanceStepKey).toString().trimmed();
    if (child.isEmpty()) {
        LOG(ERROR) << kPrefix << ": request without \"" << ViewWidget::kInstanceStepKey.toStdString()
                   << "\" refused; nothing is placed";
        return;
    }
    if (child == m_view->stepName()) {
        LOG(ERROR) << kPrefix << ": a step cannot be placed in itself (\"" << child.toStdString() << "\")";
        return;
    }
    bool ok = true;
    const double angle = msg->data.value(ViewWidget::kInstanceAngleKey, 0.0).toDouble(&ok);
    if (!ok || !std::isfinite(angle)) {
        LOG(ERROR) << kPrefix << ": \"Angle\" is not a number; the request is refused";
        return;
    }
    m_lastParam = *msg;
    m_child = child;
    m_angle = angle;
    m_mirror = msg->data.value(ViewWidget::kInstanceMirrorKey, false).toBool();
    m_view->update();
}

// Escape ends placing, as it ends every gesture.
bool StepRepeatTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        m_view->reset_tool_status();
        return true;
    }
    return false;
}

void StepRepeatTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = event->pos();
    m_leftHeld = true;
}

void StepRepeatTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    m_hasCursor = true;
    m_view->update();
}

// Only a click places: a hand that slipped while pressing places nothing.
void StepRepeatTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    if (beyondClickSlack(m_pressPixel, event->pos())) return;
    if (m_child.isEmpty()) {
        LOG(WARNING) << kPrefix << ": no step to place was named";
        return;
    }
    m_cursor = snappedBoardPoint(event->pos());
    m_hasCursor = true;
    m_view->placeStepInstance(m_child, m_cursor, m_angle, m_mirror);
}

void StepRepeatTool::paint(QPainter* painter) {
    if (!m_hasCursor || m_child.isEmpty()) return;
    painter->save();
    painter->setPen(QPen(kOutlineColor, 1, Qt::DashLine));
    const QPolygonF profile = m_view->stepOutline(m_child);
    if (!profile.isEmpty()) {
        QPolygonF onWidget;
        for (const QPointF& p : placeOutline(profile, m_cursor, m_angle, m_mirror)) onWidget << toPixel(p);
        painter->drawPolygon(onWidget);
    }
    painter->setPen(QPen(kBoxFrameColor, 1));
    const QPoint datum = toPixel(m_cursor);
    painter->drawLine(datum - QPoint(kDatumPixels, 0), datum + QPoint(kDatumPixels, 0));
    painter->drawLine(datum - QPoint(0, kDatumPixels), datum + QPoint(0, kDatumPixels));
    painter->restore();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
