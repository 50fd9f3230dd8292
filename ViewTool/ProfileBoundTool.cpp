#include "ProfileBoundTool.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QPainter>
#include <cmath>

#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "PROFILE_BOUND_TOOL";
constexpr char kInitLine[] = "PROFILE_BOUND_TOOL:\tInit";
constexpr qint32 kOpenToolCode = 20000270;
constexpr int kFewestCorners = 3;
const QColor kProfileColour(255, 255, 255);
const QString kModeKey = QStringLiteral("Mode");
const QString kRadiusKey = QStringLiteral("Radius");
}  // namespace

ProfileBoundTool::ProfileBoundTool(ViewWidget* view) : GestureTool(view, PROFILE_BOUND_TOOL, kPrefix, kInitLine) {}

// 20000270 with "Tool" 16. Data keys:
//   "Mode": "rect" (the default), "polygon" or "features";
//   "Radius": the rectangle's corner radius in nanometres (default 0,
//     square corners); finite and not negative.
// A key that is absent leaves its setting as it was; a bad value refuses
// the whole message and changes nothing.
void ProfileBoundTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || msg->msgType != kOpenToolCode) {
        logTypeError(kPrefix);
        return;
    }
    Mode mode = m_mode;
    if (msg->data.contains(kModeKey)) {
        const QString text = msg->data.value(kModeKey).toString().trimmed().toLower();
        if (text == QLatin1String("rect")) mode = RectMode;
        else if (text == QLatin1String("polygon")) mode = PolygonMode;
        else if (text == QLatin1String("features")) mode = FeaturesMode;
        else return notice(tr("Profile: \"Mode\" must be rect, polygon or features, not \"%1\"").arg(text));
    }
    double radius = m_radius;
    if (msg->data.contains(kRadiusKey)) {
        bool ok = false;
        radius = msg->data.value(kRadiusKey).toDouble(&ok);
        if (!ok || !std::isfinite(radius) || radius < 0)
            return notice(tr("Profile: \"Radius\" must be a length of 0 or more in nanometres"));
    }
    reset();
    m_mode = mode;
    m_radius = radius;
    m_polygonGesture = m_mode == PolygonMode;
}

void ProfileBoundTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    if (m_mode == FeaturesMode) return;
    if (m_mode == PolygonMode || m_polygonGesture || (event->modifiers() & Qt::ShiftModifier)) {
        m_polygonGesture = true;
        m_polygon.add(m_cursor);
        showRubberBand(m_polygon.rubberBand(m_cursor, true));
        return;
    }
    m_leftHeld = true;
    m_dragging = false;
    m_pressPixel = event->pos();
    m_pressBoard = m_cursor;
}

void ProfileBoundTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = snappedBoardPoint(event->pos());
    if (m_polygonGesture) {
        showRubberBand(m_polygon.rubberBand(m_cursor, true));
        return;
    }
    if (!m_leftHeld) return;
    if (!m_dragging && beyondClickSlack(m_pressPixel, event->pos())) m_dragging = true;
    if (m_dragging) showRubberBand(boxShape(m_pressBoard, m_cursor));
}

// A press and release within the click slack spans nothing: no profile.
void ProfileBoundTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    const bool dragged = m_dragging || beyondClickSlack(m_pressPixel, event->pos());
    m_dragging = false;
    clearRubberBand();
    if (dragged) setRectangle(m_pressBoard, snappedBoardPoint(event->pos()));
}

void ProfileBoundTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    if (m_polygonGesture) finish();
}

void ProfileBoundTool::finish() {
    if (m_mode == FeaturesMode) return setFromFeatures();
    if (m_polygonGesture) setPolygon();
}

void ProfileBoundTool::cancelLast() {
    if (!m_polygonGesture) return;
    if (m_polygon.dropLast()) {
        showRubberBand(m_polygon.rubberBand(m_cursor, true));
    } else {
        reset();
    }
    m_view->update();
}

void ProfileBoundTool::reset() {
    m_polygon.clear();
    m_polygonGesture = m_mode == PolygonMode;
    m_leftHeld = m_dragging = false;
    clearRubberBand();
}

void ProfileBoundTool::setRectangle(const QPointF& a, const QPointF& b) {
    const API::lPoint p = roundedPoint(a), q = roundedPoint(b);
    const bool done = editSafely([&] {
        if (DB::get_SaveFlag()) DB::set_profile_rect_db_save(jobName(), stepName(), p.x, p.y, q.x, q.y, m_radius);
        EDIT::set_profile_rect(jobName(), stepName(), p.x, p.y, q.x, q.y, m_radius);
    });
    if (!done) return;
    LOG(INFO) << kPrefix << ": profile set to the rectangle (" << p.x << ", " << p.y << ") - (" << q.x << ", " << q.y
              << "), corner radius " << m_radius;
    redrawBoard();
}

// The kernel keeps a free outline only through the job's own profile call,
// which is neither an edit nor journalled: the log says so.
void ProfileBoundTool::setPolygon() {
    if (m_polygon.size() < kFewestCorners) {
        notice(tr("Profile: a polygon needs at least %1 corners").arg(kFewestCorners));
        return;
    }
    std::vector<API::lPoint> outline;
    for (const QPointF& p : m_polygon.points()) outline.push_back(roundedPoint(p));
    const bool done = editSafely([&] {
        if (DB::get_SaveFlag()) DB::set_profile_polygon_db_save(jobName(), stepName(), outline);
        EDIT::set_profile_polygon(jobName(), stepName(), outline);
    });
    if (!done) return;
    LOG(INFO) << kPrefix << ": profile set to a polygon of " << m_polygon.size() << " corners";
    reset();
    redrawBoard();
}

void ProfileBoundTool::setFromFeatures() {
    const std::string layer = m_view->work_layer;
    if (layer.empty()) return notice(tr("Profile: no work layer"));
    const bool done = editSafely([&] {
        if (DB::get_SaveFlag()) DB::set_profile_from_features_db_save(jobName(), stepName(), layer, {});
        EDIT::set_profile_from_features(jobName(), stepName(), layer, {});
    });
    if (!done) return;
    LOG(INFO) << kPrefix << ": profile made from the selected features of " << layer;
    redrawBoard();
}

void ProfileBoundTool::paint(QPainter* painter) {
    if (m_polygonGesture) paintBoardPolyline(painter, m_polygon.points(), false, kProfileColour);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
