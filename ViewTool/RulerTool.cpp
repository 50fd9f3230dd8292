// The ruler and the measure modes (requests 20000230 to 20000234).
#include "RulerTool.h"

#include <glog/logging.h>

#include <QKeyEvent>
#include <QLineF>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <QtMath>
#include <cmath>

#include "MeasureMessages.h"
#include "core/display_unit.h"
#include "TOLVA_API.h"
#include "TOLVA_Measure.h"
#include "UIAPICommon.h"
#include "core/failure.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {

using namespace MeasureMessages;

DisplayUnit displayUnit(ViewWidget* view) { return DisplayUnit::of(view->Is_current_Unit_MM()); }

QString degrees(double a) { return QString::number(a, 'f', 3) + QChar(0x00B0); }

// Direction of b seen from a, degrees in [0, 360), counter-clockwise from +x on the board.
double direction(const QPointF& a, const QPointF& b) {
    double deg = qRadiansToDegrees(std::atan2(b.y() - a.y(), b.x() - a.x()));
    if (deg < 0) deg += 360.0;
    if (deg >= 360.0) deg -= 360.0;
    return deg;
}

// "DX = .. DY = .. D = .. unit A = ..°", the label of a measured segment.
QString segmentLabel(const DisplayUnit& u, const QPointF& a, const QPointF& b) {
    const double d = QLineF(a, b).length();
    return QStringLiteral("DX = %1  DY = %2  D = %3 %4  A = %5")
        .arg(u.number(b.x() - a.x()), u.number(b.y() - a.y()), u.number(d), QLatin1String(u.suffix),
             degrees(d > 0 ? direction(a, b) : 0.0));
}

double polylineLength(const QVector<QPointF>& pts) {
    double total = 0;
    for (int i = 1; i < pts.size(); ++i) total += QLineF(pts[i - 1], pts[i]).length();
    return total;
}

QVariantMap twoPoints(const QPointF& a, const QPointF& b) {
    return {{QStringLiteral("X1"), a.x()},          {QStringLiteral("Y1"), a.y()},
            {QStringLiteral("X2"), b.x()},          {QStringLiteral("Y2"), b.y()},
            {QStringLiteral("DX"), b.x() - a.x()},  {QStringLiteral("DY"), b.y() - a.y()},
            {QStringLiteral("Distance"), QLineF(a, b).length()}};
}

// Angle at `vertex` between the arms to a and b, degrees in [0, 180].
double angleAt(const QPointF& a, const QPointF& vertex, const QPointF& b) {
    double d = std::fabs(direction(vertex, a) - direction(vertex, b));
    return d > 180.0 ? 360.0 - d : d;
}

}  // namespace

RulerTool::RulerTool(ViewWidget* view)
    : DefaultTool(view, Graphic_ViewTool::RULER_TOOL, "RULER_TOOL",
                  {20000230, 20000231, 20000232, 20000233, 20000234}),
      m_filtered(view) {
    // The view's own key handler does not hand keys to the tools: Enter and
    // Escape are taken here, before it, and passed on unchanged.
    if (view) view->installEventFilter(this);
}

RulerTool::~RulerTool() {
    if (m_filtered) m_filtered->removeEventFilter(this);
}

void RulerTool::setWorkParam(PluginMetaData* msg) {
    DefaultTool::setWorkParam(msg);
    if (!msg || !isMeasureCode(msg->msgType)) return;
    reset();  // a new mode never inherits half a gesture
    m_mode = msg->msgType - kFirstCode;
}

bool RulerTool::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_filtered && event->type() == QEvent::KeyPress && m_view->currentTool() == this) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape) cancel();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) finish();
    }
    return false;
}

void RulerTool::reset() {
    m_open = false;
    m_dragging = false;
    m_pressAddedVertex = false;
    m_points.clear();
    m_picked.clear();
    m_chainLength = 0;
}

// Escape drops the gesture in progress; with none, it clears the measurements.
void RulerTool::cancel() {
    if (m_open) {
        reset();
        return;
    }
    m_view->clearMeasurements();
}

void RulerTool::finish() {
    if (!m_open) return;
    if (m_mode == PointToPoint && m_points.size() > 2) recordRuler(true);
    if (m_mode == Along && !m_picked.isEmpty()) recordAlong();
    reset();
}

// ---- points and features -----------------------------------------------------

QPointF RulerTool::pointAt(const QPoint& pixel) const {
    const QPointF board = m_view->toBoard(pixel);
    if (!UIAPI::getCoordinate(m_view->host()).snap_on) return board;
    QPointF snapped;
    const int radius = UIAPI::getSnapSize(m_view->host());
    return m_view->on_snap_mode_point_check(m_view->clickBox(pixel, radius), board, snapped) ? snapped : board;
}

// The feature under the cursor: of those meeting the snap-size box on the
// measure layers, the one whose outline is nearest (0 inside). Among those
// the cursor is inside of, the smallest wins: a pad on a copper pour, a
// hole in its pad. Remaining ties keep the earlier layer.
bool RulerTool::pick(const QPoint& pixel, Picked& out) const {
    const QRectF box = m_view->clickBox(pixel, std::max(ViewWidget::kClickBoxRadius, UIAPI::getSnapSize(m_view->host())));
    if (box.isEmpty()) return false;
    const QPointF at = m_view->toBoard(pixel);
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    const API::reply_box area{truncToInt(box.left()), truncToInt(box.top()), truncToInt(box.right()),
                              truncToInt(box.bottom())};
    double best = -1, bestArea = 0;
    for (const std::string& layer : m_view->measureLayers()) {
        // A shown name the job does not have is skipped; the others still count.
        try {
            std::vector<API::featureInfo> found;
            API::get_features_in_box(job, step, layer, area, found);
            for (const API::featureInfo& f : found) {
                const double d = MEASURE::point_distance(job, step, {layer, f.index}, at.x(), at.y()).distance;
                const double boxArea = (f.xmax - f.xmin) * (f.ymax - f.ymin);
                if (best >= 0 && (d > best || (d == best && boxArea >= bestArea))) continue;
                best = d;
                bestArea = boxArea;
                out = Picked{layer, f.index, f.type, at};
            }
        } catch (...) {
            logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
        }
    }
    return best >= 0;
}

// Whether the step profile's outline passes within the snap size of the cursor.
bool RulerTool::pickProfile(const QPoint& pixel) const {
    MEASURE::snap_request request;
    const QPointF at = m_view->toBoard(pixel);
    request.mode = MEASURE::snap_mode::PROFILE;
    request.x = at.x();
    request.y = at.y();
    request.radius = std::max(ViewWidget::kClickBoxRadius, UIAPI::getSnapSize(m_view->host())) / m_view->scale();
    if (!m_view->hasProfile()) return false;
    try {
        return MEASURE::snap(m_view->jobName().toStdString(), m_view->stepName().toStdString(), request).found;
    } catch (...) {
        logFailure(__FILE__, __LINE__, describeFailure(std::current_exception()).text);
        return false;
    }
}

template <class Body>
bool RulerTool::measureSafely(Body&& body) {
    try {
        body();
        return true;
    } catch (...) {
        const QString text = describeFailure(std::current_exception()).text;
        logFailure(__FILE__, __LINE__, text);
        m_view->sendMeasureNotice(tr("Cannot measure: ") + text);
        reset();
        return false;
    }
}

// ---- events --------------------------------------------------------------------

void RulerTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_pressPixel = event->pos();
    switch (m_mode) {
    case PointToPoint: rulerPress(event->pos()); break;
    case EdgeToEdge: edgePress(event->pos()); break;
    case CenterToCenter: centrePress(event->pos()); break;
    case Along: alongPress(event->pos()); break;
    case Angle: anglePress(event->pos()); break;
    default: break;
    }
    m_cursor = pointAt(event->pos());
}

void RulerTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (m_mode == PointToPoint) rulerRelease(event->pos());
}

void RulerTool::leftButtonDoubleClick(QMouseEvent* event) {
    event->accept();
    finish();
}

void RulerTool::midButtonPress(QMouseEvent* event) {
    rememberMiddlePress(event);
    event->accept();
}

void RulerTool::midButtonRelease(QMouseEvent* event) {
    panOnMiddleRelease(event);
    event->accept();
}

void RulerTool::wheel(QWheelEvent* event) {
    zoomByWheel(event);
    event->accept();
}

void RulerTool::mouseMove(QMouseEvent* event) {
    event->accept();
    m_cursor = m_view->hasSnapCandidate() ? m_view->snapCandidate() : m_view->toBoard(event->pos());
}

// ---- the ruler -----------------------------------------------------------------

// A press starts a segment dragged to its release. Once a segment is there,
// a click adds a vertex to a polyline measured as a whole, while a new drag
// finishes it and starts another ruler.
void RulerTool::rulerPress(const QPoint& pixel) {
    const QPointF p = pointAt(pixel);
    m_dragging = true;
    if (!m_open) {
        m_points = {p};
        m_open = true;
        m_pressAddedVertex = false;
        return;
    }
    m_points.append(p);
    m_pressAddedVertex = true;
}

void RulerTool::rulerRelease(const QPoint& pixel) {
    if (!m_dragging) return;
    m_dragging = false;
    const bool dragged = QLineF(pixel, m_pressPixel).length() >= kDragPixels;
    if (m_pressAddedVertex) {
        m_pressAddedVertex = false;
        if (!dragged) {
            if (m_points.size() == 2) recordRuler(false);  // two clicks make the first segment
            return;
        }
        const QPointF start = m_points.takeLast();
        finish();
        m_points = {start};
        m_open = true;
    }
    // A click without a drag leaves the first point waiting for the next click.
    if (!dragged) return;
    m_points.append(pointAt(pixel));
    recordRuler(false);
}

void RulerTool::recordRuler(bool replacesCurrent) {
    const DisplayUnit u = displayUnit(m_view);
    const QPointF a = m_points.first(), b = m_points.last();
    MeasurementShape shape;
    shape.kind = MeasurementShape::Ruler;
    shape.points = m_points;
    QVariantMap result = twoPoints(a, b);
    result.insert(QStringLiteral("Angle"), direction(a, b));
    if (m_points.size() > 2) {
        const double total = polylineLength(m_points);
        result.insert(QStringLiteral("Length"), total);
        shape.label = QStringLiteral("L = %1 %2  (%3 segments)")
                          .arg(u.number(total), QLatin1String(u.suffix))
                          .arg(m_points.size() - 1);
    } else {
        shape.label = segmentLabel(u, a, b);
    }
    result.insert(QStringLiteral("Mode"), int(PointToPoint));
    result.insert(QStringLiteral("Text"), shape.label);
    m_view->recordMeasurement(shape, result, replacesCurrent);
}

// ---- measures on features ----------------------------------------------------------

// Keeps the first feature of a two-feature measure; false once there is one.
bool RulerTool::takeFirst(const Picked& picked) {
    if (m_open) return false;
    m_picked = {picked};
    m_open = true;
    return true;
}

// The keys every measure between two picked features reports: the mode, the
// two points, the features (the second may be the profile) and the label.
QVariantMap RulerTool::featureResult(int mode, const MeasurementShape& shape, const QPointF& a, const QPointF& b,
                                     const Picked& first, const Picked* second) {
    QVariantMap result = twoPoints(a, b);
    result.insert(QStringLiteral("Mode"), mode);
    result.insert(QStringLiteral("Layer1"), QString::fromStdString(first.layer));
    result.insert(QStringLiteral("Index1"), first.index);
    if (second) {
        result.insert(QStringLiteral("Layer2"), QString::fromStdString(second->layer));
        result.insert(QStringLiteral("Index2"), second->index);
    }
    result.insert(QStringLiteral("Text"), shape.label);
    return result;
}

void RulerTool::edgePress(const QPoint& pixel) {
    Picked picked;
    const bool onFeature = pick(pixel, picked);
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    if (!onFeature) {
        // The second end may be the profile: copper to board edge.
        if (m_open && pickProfile(pixel)) {
            const Picked first = m_picked.first();
            measureSafely([&] {
                const MEASURE::distance_result r = MEASURE::profile_distance(job, step, {first.layer, first.index});
                const QPointF a(r.a.x, r.a.y), b(r.b.x, r.b.y);
                const DisplayUnit u = displayUnit(m_view);
                MeasurementShape shape{MeasurementShape::Distance, {a, b},
                                       QStringLiteral("D = %1 %2 (profile)").arg(u.number(r.distance), QLatin1String(u.suffix))};
                QVariantMap result = featureResult(EdgeToEdge, shape, a, b, first, nullptr);
                result.insert(QStringLiteral("Distance"), r.distance);
                result.insert(QStringLiteral("Layer2"), QStringLiteral("profile"));
                m_view->recordMeasurement(shape, result);
            });
            reset();
            return;
        }
        m_view->sendMeasureNotice(tr("Nothing to measure under the cursor"));
        return;
    }
    if (takeFirst(picked)) return;
    const Picked first = m_picked.first();
    if (first.layer == picked.layer && first.index == picked.index) {
        m_view->sendMeasureNotice(tr("The same feature again: pick a second one"));
        return;
    }
    measureSafely([&] {
        const MEASURE::distance_result r =
            MEASURE::feature_distance(job, step, {first.layer, first.index}, {picked.layer, picked.index});
        const QPointF a(r.a.x, r.a.y), b(r.b.x, r.b.y);
        const DisplayUnit u = displayUnit(m_view);
        MeasurementShape shape{MeasurementShape::Distance, {a, b},
                               QStringLiteral("D = %1 %2").arg(u.number(r.distance), QLatin1String(u.suffix))};
        QVariantMap result = featureResult(EdgeToEdge, shape, a, b, first, &picked);
        result.insert(QStringLiteral("Distance"), r.distance);  // exact, 0 when touching
        m_view->recordMeasurement(shape, result);
    });
    reset();
}

void RulerTool::centrePress(const QPoint& pixel) {
    Picked picked;
    if (!pick(pixel, picked)) {
        m_view->sendMeasureNotice(tr("Nothing to measure under the cursor"));
        return;
    }
    if (takeFirst(picked)) return;
    const Picked first = m_picked.first();
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    measureSafely([&] {
        const MEASURE::measure_point ca = MEASURE::feature_center(job, step, {first.layer, first.index});
        const MEASURE::measure_point cb = MEASURE::feature_center(job, step, {picked.layer, picked.index});
        const QPointF a(ca.x, ca.y), b(cb.x, cb.y);
        MeasurementShape shape{MeasurementShape::Distance, {a, b}, segmentLabel(displayUnit(m_view), a, b)};
        QVariantMap result = featureResult(CenterToCenter, shape, a, b, first, &picked);
        result.insert(QStringLiteral("Angle"), direction(a, b));
        m_view->recordMeasurement(shape, result);
    });
    reset();
}

// A surface is measured at once (perimeter, area with its holes taken out);
// lines and arcs add up into a chain that double click or Enter finishes.
void RulerTool::alongPress(const QPoint& pixel) {
    Picked picked;
    if (!pick(pixel, picked) || (picked.type != API::FT_LINE && picked.type != API::FT_ARC &&
                                 picked.type != API::FT_SURFACE)) {
        m_view->sendMeasureNotice(tr("No line, arc or surface under the cursor"));
        return;
    }
    const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
    if (picked.type == API::FT_SURFACE) {
        if (m_open) return;  // a chain takes lines and arcs only
        measureSafely([&] {
            const double perimeter = MEASURE::surface_perimeter(job, step, {picked.layer, picked.index});
            const double area = MEASURE::surface_area(job, step, {picked.layer, picked.index});
            const DisplayUnit u = displayUnit(m_view);
            const QString label = QStringLiteral("P = %1 %2  Area = %3 sq %2")
                                      .arg(u.number(perimeter), QLatin1String(u.suffix),
                                           QString::number(area / (u.perUnit * u.perUnit), 'f', u.decimals));
            MeasurementShape shape{MeasurementShape::Line, {picked.at}, label};
            m_view->recordMeasurement(shape, {{QStringLiteral("Mode"), int(Along)},
                                              {QStringLiteral("Perimeter"), perimeter},
                                              {QStringLiteral("Area"), area},
                                              {QStringLiteral("Layer1"), QString::fromStdString(picked.layer)},
                                              {QStringLiteral("Index1"), picked.index},
                                              {QStringLiteral("Text"), label}});
        });
        return;
    }
    for (const Picked& p : m_picked)
        if (p.layer == picked.layer && p.index == picked.index) return;  // each feature counts once
    measureSafely([&] {
        m_chainLength += MEASURE::feature_length(job, step, {picked.layer, picked.index});
        m_picked.append(picked);
        m_open = true;
    });
}

void RulerTool::recordAlong() {
    const DisplayUnit u = displayUnit(m_view);
    MeasurementShape shape;
    shape.kind = MeasurementShape::Polyline;
    for (const Picked& p : m_picked) shape.points.append(p.at);
    shape.label = QStringLiteral("L = %1 %2").arg(u.number(m_chainLength), QLatin1String(u.suffix));
    if (m_picked.size() > 1) shape.label += QStringLiteral("  (%1 features)").arg(m_picked.size());
    QVariantMap result{{QStringLiteral("Mode"), int(Along)},
                       {QStringLiteral("Length"), m_chainLength},
                       {QStringLiteral("Layer1"), QString::fromStdString(m_picked.first().layer)},
                       {QStringLiteral("Index1"), m_picked.first().index},
                       {QStringLiteral("Text"), shape.label}};
    m_view->recordMeasurement(shape, result);
}

// Two lines: the angle between their directions. Otherwise three points:
// the angle at the second between the arms to the first and the third.
void RulerTool::anglePress(const QPoint& pixel) {
    const bool linesMode = m_open && !m_picked.isEmpty();
    Picked picked;
    const bool onLine = pick(pixel, picked) && picked.type == API::FT_LINE;
    if ((!m_open && onLine) || linesMode) {
        if (!onLine) {
            m_view->sendMeasureNotice(tr("No line under the cursor"));
            return;
        }
        if (takeFirst(picked)) return;
        const Picked first = m_picked.first();
        const std::string job = m_view->jobName().toStdString(), step = m_view->stepName().toStdString();
        measureSafely([&] {
            const double a = MEASURE::line_angle(job, step, {first.layer, first.index}, {picked.layer, picked.index});
            const QString label = QStringLiteral("A = ") + degrees(a);
            MeasurementShape shape{MeasurementShape::Line, {first.at, picked.at}, label};
            m_view->recordMeasurement(shape, {{QStringLiteral("Mode"), int(Angle)},
                                              {QStringLiteral("Angle"), a},
                                              {QStringLiteral("Layer1"), QString::fromStdString(first.layer)},
                                              {QStringLiteral("Index1"), first.index},
                                              {QStringLiteral("Layer2"), QString::fromStdString(picked.layer)},
                                              {QStringLiteral("Index2"), picked.index},
                                              {QStringLiteral("Text"), label}});
        });
        reset();
        return;
    }
    m_points.append(pointAt(pixel));
    m_open = true;
    if (m_points.size() < 3) return;
    const double a = angleAt(m_points[0], m_points[1], m_points[2]);
    const QString label = QStringLiteral("A = ") + degrees(a);
    MeasurementShape shape{MeasurementShape::Angle, m_points, label};
    m_view->recordMeasurement(shape, {{QStringLiteral("Mode"), int(Angle)},
                                      {QStringLiteral("Angle"), a},
                                      {QStringLiteral("X1"), m_points[1].x()},
                                      {QStringLiteral("Y1"), m_points[1].y()},
                                      {QStringLiteral("Text"), label}});
    reset();
}

// ---- feedback ----------------------------------------------------------------------

// The unfinished measure: the ruler follows the cursor, picked features
// are marked where they were clicked.
MeasurementShape RulerTool::liveShape() const {
    MeasurementShape shape;
    if (!m_open) return shape;
    const DisplayUnit u = displayUnit(m_view);
    switch (m_mode) {
    case PointToPoint: {
        shape.kind = MeasurementShape::Ruler;
        shape.points = m_points;
        if (m_points.size() == 1 || !m_dragging) shape.points.append(m_cursor);
        if (m_dragging) shape.points.last() = m_cursor;
        shape.label = shape.points.size() > 2
                          ? QStringLiteral("L = %1 %2").arg(u.number(polylineLength(shape.points)), QLatin1String(u.suffix))
                          : segmentLabel(u, shape.points.first(), shape.points.last());
        break;
    }
    case Angle:
        shape.kind = MeasurementShape::Polyline;
        if (m_picked.isEmpty()) {
            shape.points = m_points;
            shape.points.append(m_cursor);
        } else {
            shape.points = {m_picked.first().at, m_cursor};
        }
        break;
    case Along:
        shape.kind = MeasurementShape::Polyline;
        for (const Picked& p : m_picked) shape.points.append(p.at);
        shape.label = QStringLiteral("L = %1 %2").arg(u.number(m_chainLength), QLatin1String(u.suffix));
        break;
    default:  // edge and centre: from the first pick to the cursor
        shape.kind = MeasurementShape::Line;
        shape.points = {m_picked.first().at, m_cursor};
        break;
    }
    return shape;
}

void RulerTool::paint(QPainter* painter) {
    const MeasurementShape live = liveShape();
    if (!live.isEmpty()) m_view->draw_shape(painter, live);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
