// Check results on the board: the analysis and DFM menus send their result
// lists (AnalysisMessages.h), the view keeps them as check points in
// navigator order (errors first, then top to bottom, left to right), steps
// through them zooming to each, and tells the menu which one it stands on.
#include <glog/logging.h>

#include <QLineF>
#include <algorithm>
#include <cmath>

#include "AnalysisMessages.h"
#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Compare.h"
#include "core/display_unit.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {

using namespace AnalysisMessages;

const QColor kErrorColour(255, 64, 64);
const QColor kWarningColour(255, 200, 0);
constexpr double kResultViewFactor = 4.0;     // the view shows four times the result's extent
constexpr double kResultViewMinimum = 1e6;    // and at least 1 mm

bool finiteNumber(const QVariantMap& m, const QString& key, double& out) {
    bool ok = false;
    out = m.value(key).toDouble(&ok);
    return m.contains(key) && ok && std::isfinite(out);
}

// One result as sent, or why it cannot be shown.
struct ParsedResult {
    check_points point;
    QString error;
};

ParsedResult parseResult(const QVariant& item, int index) {
    ParsedResult r;
    const QVariantMap m = item.toMap();
    check_points& p = r.point;
    p.index = index;
    p.check = m.value(kKeyCheck).toString();
    const QString severity = m.value(kKeySeverity).toString();
    const QString location = m.value(kKeyLocation).toString();
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    if (p.check.isEmpty()) r.error = QStringLiteral("no \"Check\"");
    else if (severity != QLatin1String("error") && severity != QLatin1String("warning"))
        r.error = QStringLiteral("\"Severity\" is neither error nor warning");
    else if (!finiteNumber(m, kKeyValue, p.value) || !finiteNumber(m, kKeyLimit, p.limit))
        r.error = QStringLiteral("\"Value\" or \"Limit\" is not a number");
    else if (!finiteNumber(m, kKeyX1, x1) || !finiteNumber(m, kKeyY1, y1))
        r.error = QStringLiteral("\"X1\"/\"Y1\" missing");
    else if (location != QLatin1String("point") && !(finiteNumber(m, kKeyX2, x2) && finiteNumber(m, kKeyY2, y2)))
        r.error = QStringLiteral("\"X2\"/\"Y2\" missing");
    if (!r.error.isEmpty()) return r;
    p.error = severity == QLatin1String("error");
    p.layers = m.value(kKeyLayers).toStringList();
    p.position = QPointF(x1, y1);
    if (location == QLatin1String("box")) {
        p.shape = check_points::Area;
        p.box = QRectF(QPointF(x1, y1), QPointF(x2, y2)).normalized();
        p.position = p.box.center();
    } else if (location == QLatin1String("points")) {
        // An annular ring names the hole's centre and the nearest point of
        // its pad: drawn as the ring between them.
        p.shape = p.check == QLatin1String("annular_ring") ? check_points::Ring : check_points::Points;
        p.other = QPointF(x2, y2);
    } else if (location == QLatin1String("point")) {
        p.shape = check_points::Point;
        p.other = p.position;
    } else {
        r.error = QStringLiteral("unknown \"Location\" \"%1\"").arg(location);
        return r;
    }
    p.color = p.error ? kErrorColour : kWarningColour;
    return r;
}

// Errors first, then top to bottom (board y downwards), then left to right.
bool navigatorOrder(const check_points& a, const check_points& b) {
    if (a.error != b.error) return a.error;
    if (a.position.y() != b.position.y()) return a.position.y() > b.position.y();
    if (a.position.x() != b.position.x()) return a.position.x() < b.position.x();
    return a.index < b.index;
}

// Opens and shorts count pieces and nets; every other check measures a length.
QString amount(const check_points& p, const DisplayUnit& u, double v) {
    const bool counted = p.check == QLatin1String("open") || p.check == QLatin1String("short");
    return counted ? QString::number(v, 'f', 0) : u.withSuffix(v);
}

QString labelOf(const check_points& p, const DisplayUnit& u, int position, int count) {
    return QStringLiteral("%1/%2 %3 %4: %5 (limit %6)")
        .arg(position + 1)
        .arg(count)
        .arg(p.error ? QStringLiteral("error") : QStringLiteral("warning"), p.check, amount(p, u, p.value),
             amount(p, u, p.limit));
}

}  // namespace

void ViewWidget::get_analyze_data(PluginMetaData msg) { handleResultRequest(msg, kNext, kPrevious, kGoTo); }

void ViewWidget::handleResultRequest(const PluginMetaData& msg, qint32 next, qint32 previous, qint32 goTo) {
    const qint32 code = msg.msgType;
    const bool stepping = code == next || code == previous || code == goTo;
    // The other codes of the range carry result lists as well.
    if (!stepping) {
        takeResults(msg);
        return;
    }
    if (m_checkPoints.isEmpty()) {
        refuseRequest(msg, tr("No check results to step through: run the checks first"));
        return;
    }
    const int n = m_checkPoints.size();
    if (code == goTo) {
        bool ok = false;
        const int index = msg.data.value(kKeyIndex).toInt(&ok);
        const auto hit = std::find_if(m_checkPoints.begin(), m_checkPoints.end(),
                                      [&](const check_points& p) { return p.index == index; });
        if (!msg.data.contains(kKeyIndex) || !ok || hit == m_checkPoints.end()) {
            refuseRequest(msg, tr("\"Index\" names no check result (%1 shown)").arg(n));
            return;
        }
        showCheckPoint(int(hit - m_checkPoints.begin()));
        return;
    }
    // Before the first step nothing is current: next starts at the first, previous at the last.
    const int from = m_checkPosition < 0 ? (code == next ? -1 : 0) : m_checkPosition;
    showCheckPoint((from + (code == next ? 1 : n - 1)) % n);
}

void ViewWidget::takeResults(const PluginMetaData& msg) {
    if (!msg.data.contains(kKeyResults) || !msg.data.value(kKeyResults).canConvert<QVariantList>()) {
        refuseRequest(msg, tr("Check results refused: no \"Results\" list"));
        return;
    }
    showResultList(msg, msg.data.value(kKeyResults).toList());
}

// Keeps the well-formed results of `items` in navigator order; a list with
// nothing but malformed results is refused and the shown ones stay.
bool ViewWidget::showResultList(const PluginMetaData& msg, const QVariantList& items) {
    QList<check_points> points;
    int skipped = 0;
    QString firstError;
    for (int i = 0; i < items.size(); ++i) {
        const ParsedResult r = parseResult(items[i], i);
        if (r.error.isEmpty()) {
            points.append(r.point);
        } else if (skipped++ == 0) {
            firstError = tr("result %1: %2").arg(i).arg(r.error);
        }
    }
    if (skipped > 0) {
        LOG(ERROR) << "GRAPHIC_VIEW: " << skipped << " of " << items.size()
                   << " check results left out, the first: " << firstError.toStdString();
        if (points.isEmpty()) {
            refuseRequest(msg, tr("Check results refused: %1").arg(firstError));
            return false;
        }
    }
    std::stable_sort(points.begin(), points.end(), navigatorOrder);
    m_checkPoints = points;
    m_checkPosition = -1;
    m_currentCheckPoint = check_points();
    m_resultsSender = msg.sender;
    LOG(INFO) << "GRAPHIC_VIEW: " << points.size() << " check results from " << msg.sender.toStdString();
    update();
    return true;
}

// Makes the result at `position` (navigator order) current, zooms to it and
// tells the menu that sent the list.
void ViewWidget::showCheckPoint(int position) {
    m_checkPosition = position;
    m_currentCheckPoint = m_checkPoints[position];
    m_currentCheckPoint.current = true;
    m_currentCheckPoint.text =
        labelOf(m_currentCheckPoint, DisplayUnit::of(Is_current_Unit_MM()), position, m_checkPoints.size());
    zoomToCheckPoint(m_currentCheckPoint);
    if (m_resultsSender.isEmpty() || m_resultsSender == PluginNames::GraphicView) return;
    sendTo(m_resultsSender, kCurrent,
           {{kKeyIndex, m_currentCheckPoint.index},
            {kKeyPosition, position + 1},
            {kKeyCount, m_checkPoints.size()},
            {kKeyText, m_currentCheckPoint.text}});
}

// Centres the view on the result, showing it with a margin, on the zoom
// history so that the zoom tool can go back.
void ViewWidget::zoomToCheckPoint(const check_points& point) {
    const QRectF extent = point.extent();
    const double side = std::max({extent.width() * kResultViewFactor, extent.height() * kResultViewFactor,
                                  kResultViewMinimum});
    const QPointF c = extent.center();
    pushZoomHistory();
    areazoom(c.x() - side / 2, c.y() - side / 2, c.x() + side / 2, c.y() + side / 2);
}

void ViewWidget::eq_zoomIn_special_points(PluginMetaData msg) {
    if (m_currentCheckPoint.index < 0) {
        refuseRequest(msg, tr("No current check result to zoom to"));
        return;
    }
    zoomToCheckPoint(m_currentCheckPoint);
}

namespace {

bool boardRowOf(const API::matrix_info& row, std::initializer_list<const char*> types) {
    if (row.context != "board") return false;
    for (const char* t : types)
        if (row.type == t) return true;
    return false;
}

// The names a message lists under `key`, or the job's board layers of the
// given types when it lists none.
API::str_list layersFrom(const QVariantMap& data, const QString& key, const std::vector<API::matrix_info>& matrix,
                         std::initializer_list<const char*> types) {
    API::str_list out;
    for (const QString& name : data.value(key).toStringList()) out.push_back(name.toStdString());
    if (!out.empty()) return out;
    for (const API::matrix_info& row : matrix)
        if (boardRowOf(row, types)) out.push_back(row.name);
    return out;
}

}  // namespace

// Highlights one net across the copper and drill layers: every feature
// connected to the one named, through overlaps and plated holes, becomes
// selected (and so drawn highlighted on every shown layer). Without a
// feature the highlight goes.
void ViewWidget::showNetAnalyzeResult(PluginMetaData msg) {
    if (m_job.isEmpty()) {
        refuseRequest(msg, tr("Net display refused: no job is open"));
        return;
    }
    const QString layer = msg.data.value(kKeyLayer).toString();
    bool indexOk = false;
    const int index = msg.data.value(kKeyIndex).toInt(&indexOk);
    if (!layer.isEmpty() && (!indexOk || index < 0)) {
        refuseRequest(msg, tr("Net display refused: \"Index\" must be a feature index of 0 or more"));
        return;
    }
    API::str_list copper, drills;
    std::vector<MEASURE::feature_ref> net;
    const bool done = guarded(__FILE__, __LINE__, [&] {
        const std::vector<API::matrix_info> matrix = API::get_matrix(job());
        copper = layersFrom(msg.data, kKeyLayers, matrix, {"signal", "power_ground", "mixed"});
        drills = layersFrom(msg.data, kKeyDrills, matrix, {"drill"});
        if (!layer.isEmpty()) net = CHECKS::net_of(job(), step(), copper, drills, layer.toStdString(), index);
        for (const API::str_list* names : {&copper, &drills})
            for (const std::string& name : *names) API::clear_selected_features(job(), step(), name);
        for (const MEASURE::feature_ref& f : net) API::select_feature_by_id(job(), step(), f.layer, f.index);
    });
    if (!done) return;
    LOG(INFO) << "GRAPHIC_VIEW: net of " << layer.toStdString() << " #" << index << ": " << net.size() << " features";
    redrawAtCurrentBox();
}
// Compares two layers in the kernel and shows the areas each has alone in
// its colour, listed as results to step through; the sender gets the list.
void ViewWidget::refresh_layer_compare_show(PluginMetaData msg) {
    if (msg.data.value(kKeyClear).toBool()) {
        m_compareAreas[0].clear();
        m_compareAreas[1].clear();
        update();
        return;
    }
    const QString first = msg.data.value(kKeyLayer1).toString(), second = msg.data.value(kKeyLayer2).toString();
    if (first.isEmpty() || second.isEmpty()) {
        refuseRequest(msg, tr("Layer compare refused: \"Layer1\" and \"Layer2\" name the layers"));
        return;
    }
    if (m_job.isEmpty()) {
        refuseRequest(msg, tr("Layer compare refused: no job is open"));
        return;
    }
    COMPARE::compare_params params;
    if (msg.data.contains(kKeyTolerance)) {
        bool ok = false;
        params.tolerance = msg.data.value(kKeyTolerance).toDouble(&ok);
        if (!ok || !std::isfinite(params.tolerance) || params.tolerance <= 0) {
            refuseRequest(msg, tr("Layer compare refused: \"Tolerance\" must be a positive length"));
            return;
        }
    }
    const COMPARE::layer_ref a{job(), step(), first.toStdString()};
    const COMPARE::layer_ref b{msg.data.value(kKeyJob2, m_job).toString().toStdString(),
                               msg.data.value(kKeyStep2, m_step).toString().toStdString(), second.toStdString()};
    COMPARE::compare_result compared;
    std::vector<CHECKS::check_result> results;
    if (!guarded(__FILE__, __LINE__, [&] {
            compared = COMPARE::compare_layers(a, b, params);
            results = COMPARE::compare_results(a, b, params, compared);
        }))
        return;
    const std::vector<COMPARE::compare_area>* sides[2] = {&compared.first_only, &compared.second_only};
    for (int side = 0; side < 2; ++side) {
        m_compareAreas[side].clear();
        for (const COMPARE::compare_area& area : *sides[side])
            for (const auto& ring : area.rings) {
                QPolygonF polygon;
                for (const auto& p : ring) polygon.append(QPointF(p.x, p.y));
                m_compareAreas[side].append(polygon);
            }
    }
    const QVariantList list = toVariantList(results);
    showResultList(msg, list);
    update();
    if (!msg.sender.isEmpty() && msg.sender != PluginNames::GraphicView)
        sendTo(msg.sender, kResults, {{kKeyResults, list}, {kKeyJob, m_job}, {kKeyStep, m_step},
                                      {kKeyTitle, tr("%1 against %2").arg(first, second)}});
}

// Forgets every check point, comparison and measurement shown over the board.
void ViewWidget::clear_result_viewer_painter(PluginMetaData) {
    m_checkPoints.clear();
    m_checkPosition = -1;
    m_currentCheckPoint = check_points();
    m_compareAreas[0].clear();
    m_compareAreas[1].clear();
    m_currentMeasurement = MeasurementShape();
    m_measurements.clear();
    update();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
