// Typed coordinates and the relative origin: the coordinate plug-in's typed
// point moves the view or feeds the active tool, the cursor and the visible
// box are answered to whoever asks, the read-out's options and the relative
// origin live in the shared coordinate record, and a bad coordinate is
// refused where the operator can see why.
#include <glog/logging.h>

#include <QMouseEvent>
#include <algorithm>
#include <cmath>
#include <optional>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Search.h"
#include "UIAPICommon.h"
#include "ViewTool/SelectTool.h"
#include "CoordinateMessages.h"
#include "graphic_view.h"

// ---- checks of a typed coordinate ---------------------------------------------------

namespace CoordinateMessages {

CoordinateCheck readCoordinate(const QVariantMap& data, const QString& key) {
    CoordinateCheck out;
    const auto it = data.find(key);
    if (it == data.end()) {
        out.error = QStringLiteral("%1 is missing").arg(key);
        return out;
    }
    // Only numbers count: text, even text that looks like a number, is what
    // the panel refuses to send, so it is refused here too.
    switch (static_cast<QMetaType::Type>(it->type())) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: break;
    default:
        out.error = QStringLiteral("%1 is not a number").arg(key);
        return out;
    }
    const double v = it->toDouble();
    if (std::isnan(v)) {
        out.error = QStringLiteral("%1 is not a number").arg(key);
        return out;
    }
    if (!(std::fabs(v) <= kCoordinateLimit)) {
        out.error = QStringLiteral("%1 = %2 lies beyond the board limit of +-%3 nm")
                        .arg(key)
                        .arg(v, 0, 'g', 12)
                        .arg(kCoordinateLimit, 0, 'g', 12);
        return out;
    }
    out.ok = true;
    out.value = TOLVA::GRAPHIC::roundToUnit(v);
    return out;
}

PointCheck readPoint(const QVariantMap& data) {
    PointCheck out;
    const CoordinateCheck x = readCoordinate(data, kKeyX);
    const CoordinateCheck y = readCoordinate(data, kKeyY);
    if (!x.ok || !y.ok) {
        out.error = !x.ok ? x.error : y.error;
        return out;
    }
    out.ok = true;
    out.point = QPointF(x.value, y.value);
    return out;
}

PointCheck resolveTyped(const QVariantMap& data, bool hasOrigin, const QPointF& origin) {
    PointCheck p = readPoint(data);
    if (!p.ok || !data.value(kKeyRelative).toBool()) return p;
    if (!hasOrigin) return {false, {}, QStringLiteral("a relative coordinate needs a relative origin")};
    const QPointF absolute = p.point + origin;
    if (std::fabs(absolute.x()) > kCoordinateLimit || std::fabs(absolute.y()) > kCoordinateLimit)
        return {false, {}, QStringLiteral("the point lies beyond the board limit once measured from the relative origin")};
    return {true, absolute, {}};
}

}  // namespace CoordinateMessages

namespace TOLVA {
namespace GRAPHIC {

namespace {

using namespace CoordinateMessages;
using T = Graphic_ViewTool;

// The relative origin a request asks for, by its code.
enum class AnchorSource { GivenPoint, Cursor, NearestFeature, ProfileCorner, ProfileCentre, Datum, Clear };

struct AnchorRoute {
    qint32 code;
    AnchorSource source;
    int corner;  // ProfileCorner: 0 lower left, 1 upper left, 2 upper right, 3 lower right
};

constexpr AnchorRoute kAnchorRoutes[] = {
    {kAnchorAtPoint, AnchorSource::GivenPoint, 0},
    {kAnchorAtCursor, AnchorSource::Cursor, 0},
    {kAnchorAtFeature, AnchorSource::NearestFeature, 0},
    {kAnchorLowerLeft, AnchorSource::ProfileCorner, 0},
    {kAnchorUpperLeft, AnchorSource::ProfileCorner, 1},
    {kAnchorUpperRight, AnchorSource::ProfileCorner, 2},
    {kAnchorLowerRight, AnchorSource::ProfileCorner, 3},
    {kAnchorProfileCentre, AnchorSource::ProfileCentre, 0},
    {kAnchorDatum, AnchorSource::Datum, 0},
    {kAnchorClear, AnchorSource::Clear, 0},
    {kAnchorFromAnalysis, AnchorSource::GivenPoint, 0},
    {kAnchorFromExport, AnchorSource::GivenPoint, 0},
};

QPointF profileCorner(const API::reply_box& b, int corner) {
    switch (corner) {
    case 1: return {double(b.xmin), double(b.ymax)};
    case 2: return {double(b.xmax), double(b.ymax)};
    case 3: return {double(b.xmax), double(b.ymin)};
    default: return {double(b.xmin), double(b.ymin)};
    }
}

QString unitName() { return QString::fromStdString(UIAPI::getUnitString()); }

}  // namespace


// ---- shared helpers ---------------------------------------------------------------

// Logged, and shown by the coordinate plug-in (and by the sender when it is
// another plug-in), so that a typed value never vanishes without a word.
void ViewWidget::refuseRequest(const PluginMetaData& msg, const QString& reason) {
    LOG(ERROR) << "GRAPHIC_VIEW: request " << msg.msgType << " from " << msg.sender.toStdString()
               << " refused: " << reason.toStdString();
    const QVariantMap data{{kKeyMessage, reason}, {kKeyCode, msg.msgType}};
    sendTo(PluginNames::Coordinate, kRefused, data);
    if (!msg.sender.isEmpty() && msg.sender != PluginNames::Coordinate && msg.sender != PluginNames::GraphicView)
        sendTo(msg.sender, kRefused, data);
}

void ViewWidget::centreOn(const QPointF& point) {
    ViewTransform t = transform();
    t.setCenter(point.x(), point.y());
    applyTransform(t);
    redrawAtCurrentBox();
}

// Tools whose single click adds a point: the ruler, the point and placement
// tools, and the select tool while it collects a polygon.
bool ViewWidget::toolTakesPoints() const {
    switch (m_tool ? m_tool->getType() : T::NORMAL_TOOL) {
    case T::RULER_TOOL:
    case T::POINT_TOOL:
    case T::EDIT_BUFFER_TOOL: return true;
    case T::SELECT_TOOL: {
        const auto* select = qobject_cast<const SelectTool*>(m_tool);
        return select && select->selectMode() == SelectTool::PolygonMode;
    }
    default: return false;
    }
}

// The point becomes a click at the middle of the view, which is centred on
// it first: the middle pixel converts back to exactly the typed point, and
// the operator sees where it went. A typed value is meant exactly, so
// snapping, which would pull it onto a feature nearby, is held off for the click.
void ViewWidget::feedToolPoint(const QPointF& point) {
    centreOn(point);
    const QPointF pixel(width() / 2, height() / 2);
    QMouseEvent press(QEvent::MouseButtonPress, pixel, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, pixel, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    struct SnapHold {
        UIAPI::CoordinateRecord& record;
        const bool was;
        explicit SnapHold(UIAPI::CoordinateRecord& r) : record(r), was(r.snap_on) { record.snap_on = false; }
        ~SnapHold() { record.snap_on = was; }
    } hold(UIAPI::getCoordinate(m_host));
    mousePressEvent(&press);
    mouseReleaseEvent(&release);
}

void ViewWidget::applyTypedPoint(const QPointF& point) {
    if (toolTakesPoints()) {
        feedToolPoint(point);
        return;
    }
    pushZoomHistory();  // the zoom tool's history goes back to where the operator was
    m_crossPoint = point;
    centreOn(point);
}

void ViewWidget::shareRelativeOrigin() {
    UIAPI::CoordinateRecord& record = UIAPI::getCoordinate(m_host);
    record.has_relative_origin = m_hasRelativeOrigin;
    record.origin_x = m_relativeOrigin.x();
    record.origin_y = m_relativeOrigin.y();
    announceCoordinateSettings();
}

void ViewWidget::announceCoordinateSettings() {
    const UIAPI::CoordinateRecord& record = UIAPI::getCoordinate(m_host);
    QVariantMap data{{kKeyRelative, record.relative_mode},
                     {kKeyUnit, unitName()},
                     {kKeyOriginSet, record.has_relative_origin}};
    if (record.has_relative_origin) {
        data.insert(kKeyOriginX, record.origin_x);
        data.insert(kKeyOriginY, record.origin_y);
    }
    sendTo(PluginNames::Coordinate, kCoordinateSettings, data);
}

// The layers a typed coordinate applies to: those named by
// get_coordinate_effect_layers, else the work layer, else the shown layers.
QStringList ViewWidget::coordinateLayers() const {
    QStringList layers;
    for (const std::string& l : UIAPI::getCoordinate(m_host).effect_layers) layers.append(QString::fromStdString(l));
    if (layers.isEmpty() && !work_layer.empty()) layers.append(QString::fromStdString(work_layer));
    if (layers.isEmpty()) layers = get_show_layers();
    return layers;
}

// ---- requests ---------------------------------------------------------------------

// 20001665, 20003201: "X", "Y" in board units, "Relative" when they are
// measured from the relative origin.
void ViewWidget::get_coordinate_data(PluginMetaData msg) {
    const PointCheck typed = resolveTyped(msg.data, m_hasRelativeOrigin, m_relativeOrigin);
    if (!typed.ok) {
        refuseRequest(msg, tr("Coordinate refused: %1").arg(typed.error));
        return;
    }
    m_typedPoint = typed.point;
    m_typedPointPending = true;
    applyTypedPoint(typed.point);
}

// 20003202: the Enter that confirms a typed coordinate. The panel sends the
// point with both codes; when the point was just applied it is only
// confirmed, otherwise (a sender of the Enter alone) it is applied now.
void ViewWidget::on_enter_pressed(PluginMetaData msg) {
    const bool carriesPoint = msg.data.contains(kKeyX) || msg.data.contains(kKeyY);
    if (!carriesPoint) {
        if (!m_typedPointPending) refuseRequest(msg, tr("No typed coordinate to confirm"));
        m_typedPointPending = false;
        return;
    }
    const PointCheck typed = resolveTyped(msg.data, m_hasRelativeOrigin, m_relativeOrigin);
    if (!typed.ok) {
        refuseRequest(msg, tr("Coordinate refused: %1").arg(typed.error));
        return;
    }
    const bool alreadyApplied = m_typedPointPending && typed.point == m_typedPoint;
    m_typedPointPending = false;
    if (!alreadyApplied) applyTypedPoint(typed.point);
}

// 20001664, 20001670: the cursor position, answered to the sender.
void ViewWidget::sent_Mouse_Point(PluginMetaData msg) {
    if (msg.sender.isEmpty()) {
        refuseRequest(msg, tr("A cursor request without a sender cannot be answered"));
        return;
    }
    const QPointF p = toBoard(m_mousePoint);
    QVariantMap data{{kKeyX, p.x()}, {kKeyY, p.y()}, {kKeyUnit, unitName()}, {kKeyCode, msg.msgType}};
    if (m_hasRelativeOrigin) {
        data.insert(kKeyRelativeX, p.x() - m_relativeOrigin.x());
        data.insert(kKeyRelativeY, p.y() - m_relativeOrigin.y());
    }
    sendTo(msg.sender, kMousePointReply, data);
}

// 20001656: the visible area, answered to the sender.
void ViewWidget::get_Mouse_rect(PluginMetaData msg) {
    if (msg.sender.isEmpty()) {
        refuseRequest(msg, tr("A view-box request without a sender cannot be answered"));
        return;
    }
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    real_box(minX, minY, maxX, maxY);
    sendTo(msg.sender, kMouseRectReply,
           {{QStringLiteral("xmin"), minX}, {QStringLiteral("ymin"), minY}, {QStringLiteral("xmax"), maxX},
            {QStringLiteral("ymax"), maxY}, {kKeyCode, msg.msgType}});
}

// 20001413 absolute read-out, 20001414 relative read-out, 20001415 the unit
// in "Unit" ("MM" or "Inch", any case).
void ViewWidget::edit_coordinate_setting(PluginMetaData msg) {
    UIAPI::CoordinateRecord& record = UIAPI::getCoordinate(m_host);
    switch (msg.msgType) {
    case kReadoutAbsolute: record.relative_mode = false; break;
    case kReadoutRelative: record.relative_mode = true; break;
    case kReadoutUnit: {
        const QString unit = msg.data.value(kKeyUnit).toString();
        const bool mm = unit.compare(QLatin1String("MM"), Qt::CaseInsensitive) == 0;
        const bool inch = unit.compare(QLatin1String("Inch"), Qt::CaseInsensitive) == 0;
        if (!mm && !inch) {
            refuseRequest(msg, tr("Unknown unit \"%1\": use MM or Inch").arg(unit));
            return;
        }
        UIAPI::setUnitString(mm ? "MM" : "Inch");
        change_unit(msg);
        break;
    }
    default: return;
    }
    announceCoordinateSettings();
}

// Sets (or clears) the relative origin; which point is taken depends on the
// code (CoordinateMessages.h). A given point travels as "X", "Y".
void ViewWidget::get_archor_signal(PluginMetaData msg) {
    const AnchorRoute* route = nullptr;
    for (const AnchorRoute& r : kAnchorRoutes)
        if (r.code == msg.msgType) route = &r;
    if (!route) return;
    const bool given = msg.data.contains(kKeyX) || msg.data.contains(kKeyY);
    QPointF origin;
    if (route->source == AnchorSource::Clear) {
        m_hasRelativeOrigin = false;
        shareRelativeOrigin();
        return;
    }
    if (given || route->source == AnchorSource::GivenPoint) {
        const PointCheck p = readPoint(msg.data);
        if (!p.ok) {
            refuseRequest(msg, tr("Relative origin refused: %1").arg(p.error));
            return;
        }
        origin = p.point;
    } else if (route->source == AnchorSource::Cursor) {
        origin = toBoard(m_mousePoint);
    } else if (route->source == AnchorSource::Datum) {
        origin = QPointF(0, 0);
    }
    const bool needsJob = route->source == AnchorSource::ProfileCorner ||
                          route->source == AnchorSource::ProfileCentre || route->source == AnchorSource::NearestFeature;
    if (needsJob && m_job.isEmpty()) {
        refuseRequest(msg, tr("Relative origin refused: no job is open"));
        return;
    }
    bool ok = true;
    if (route->source == AnchorSource::ProfileCorner || route->source == AnchorSource::ProfileCentre) {
        ok = guarded(__FILE__, __LINE__, [&] {
            const API::reply_box b = queryProfileBox();
            origin = route->source == AnchorSource::ProfileCentre
                         ? QPointF((double(b.xmin) + b.xmax) / 2, (double(b.ymin) + b.ymax) / 2)
                         : profileCorner(b, route->corner);
        });
    } else if (route->source == AnchorSource::NearestFeature) {
        const QPointF near = given ? origin : toBoard(m_mousePoint);
        std::optional<QPointF> centre;
        ok = guarded(__FILE__, __LINE__, [&] {
            std::vector<std::string> layers;
            for (const QString& l : coordinateLayers()) layers.push_back(l.toStdString());
            const double radius = UIAPI::getSnapSize(m_host) / m_scale;
            SEARCH::found_feature f;
            if (SEARCH::nearest_feature(job(), step(), layers, near.x(), near.y(), radius, f)) centre = QPointF(f.x, f.y);
        });
        if (centre) origin = *centre;
        if (ok && !centre) {
            refuseRequest(msg, tr("Relative origin refused: no feature near the point"));
            return;
        }
    }
    if (!ok) return;
    setRelativeOrigin(origin);
    shareRelativeOrigin();
}

// 20003204: "Layers", the layer names a typed coordinate applies to; an
// empty list goes back to the work layer.
void ViewWidget::get_coordinate_effect_layers(PluginMetaData msg) {
    const auto it = msg.data.find(kKeyLayers);
    if (it == msg.data.end() || !it->canConvert<QStringList>()) {
        refuseRequest(msg, tr("Coordinate layers refused: \"Layers\" is missing"));
        return;
    }
    const QStringList names = it->toStringList();
    std::vector<std::string> layers;
    QStringList unknown;
    bool ok = guarded(__FILE__, __LINE__, [&] {
        std::vector<API::matrix_info> matrix;
        if (!m_job.isEmpty()) matrix = API::get_matrix(job());
        for (const QString& name : names) {
            const std::string n = name.toStdString();
            const bool known = std::any_of(matrix.begin(), matrix.end(), [&](const API::matrix_info& r) { return r.name == n; });
            if (!known) unknown.append(name);
            layers.push_back(n);
        }
    });
    if (!ok) return;
    if (!unknown.isEmpty()) {
        refuseRequest(msg, tr("Coordinate layers refused: unknown layer %1").arg(unknown.join(QStringLiteral(", "))));
        return;
    }
    UIAPI::getCoordinate(m_host).effect_layers = layers;
}

}  // namespace GRAPHIC
}  // namespace TOLVA
