#pragma once
// The messages in which the analysis and DFM menus hand check results to the
// view, and the view tells them which result the operator is looking at.
//
// A result travels as one QVariantMap (`toVariant` below builds it from the
// kernel's record):
//   "Check"     the check's name ("spacing", "annular_ring", ...)
//   "Severity"  "error" or "warning"
//   "Value"     the measured value, nanometres
//   "Limit"     the limit it broke, nanometres
//   "Layers"    QStringList, the layers involved
//   "Features"  QVariantList of {"Layer", "Index"}
//   "Location"  "point", "points" (two closest points) or "box"
//   "X1", "Y1", "X2", "Y2"  the location's points, nanometres (for a point
//               X2/Y2 repeat X1/Y1; for a box they are its corners)
//
// Messages to the view ("Graphic_View.dll"):
//   kResults / kDfmResults: "Results" (QVariantList of results), "Job",
//       "Step", optional "Title"; replaces the list shown. An empty list
//       clears it. Analysis and DFM share the one list, the last sent wins.
//       Every other code routed to the same operation takes a list as well.
//   kNext / kDfmNext, kPrevious / kDfmPrevious: no data; the current result
//       moves in navigator order (errors first, then top to bottom, left to
//       right) and the view zooms to it.
//   kGoTo / kDfmGoTo: "Index", a result's position in the "Results" list as
//       sent; it becomes the current one and the view zooms to it.
//   kZoomToCurrent (eq_zoomIn_special_points): zooms to the current result.
//   kClear, kClearAlso (clear_result_viewer_painter): no data.
//   kShowNet (showNetAnalyzeResult): "Layer", "Index" of one copper feature,
//       "Layers" (copper layers) and "Drills" (drill layers) to follow the
//       net through; the view highlights the whole net. Without "Layer" the
//       highlight goes.
//   kLayerCompare (refresh_layer_compare_show): "Layer1", "Layer2", optional
//       "Job2"/"Step2" (another job's layer; the view's job and step by
//       default) and "Tolerance" (nm); the view shows the areas in the first
//       only and in the second only, and lists them as results. "Clear":
//       true takes the comparison away. The view answers the sender with
//       kResults carrying the areas as results ("compare_first_only",
//       "compare_second_only"), which are also the list it steps through.
// To the analysis menu ("Graphic_MenuBar_Analysis.dll"):
//   kRun: runs the checks with the limits last used; "Next": true steps the
//       view to the first result when they are done. While a run is under
//       way the menu's widget holds the property "tolvaBusy" = true.
// From the view to the menu that sent the list:
//   kCurrent: "Index" (position in the list as sent), "Position" (1-based
//       in navigator order), "Count", "Text" (the result as the view labels it).
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <QtGlobal>

#include "TOLVA_Checks.h"

namespace AnalysisMessages {

constexpr qint32 kShowNet = 20000410;
constexpr qint32 kZoomToCurrent = 20001012;
constexpr qint32 kLayerCompare = 20001825;
constexpr qint32 kResults = 20002801;
constexpr qint32 kNext = 20002802;
constexpr qint32 kPrevious = 20002803;
constexpr qint32 kGoTo = 20002804;
constexpr qint32 kClear = 20002810;
constexpr qint32 kClearAlso = 20002831;
constexpr qint32 kDfmResults = 20002817;
constexpr qint32 kDfmNext = 20002819;
constexpr qint32 kDfmPrevious = 20002820;
constexpr qint32 kDfmGoTo = 20002822;
constexpr qint32 kCurrent = 20003221;
constexpr qint32 kRun = 20003222;

inline const QString kKeyResults = QStringLiteral("Results");
inline const QString kKeyJob = QStringLiteral("Job");
inline const QString kKeyStep = QStringLiteral("Step");
inline const QString kKeyTitle = QStringLiteral("Title");
inline const QString kKeyIndex = QStringLiteral("Index");
inline const QString kKeyPosition = QStringLiteral("Position");
inline const QString kKeyCount = QStringLiteral("Count");
inline const QString kKeyText = QStringLiteral("Text");
inline const QString kKeyCheck = QStringLiteral("Check");
inline const QString kKeySeverity = QStringLiteral("Severity");
inline const QString kKeyValue = QStringLiteral("Value");
inline const QString kKeyLimit = QStringLiteral("Limit");
inline const QString kKeyLayers = QStringLiteral("Layers");
inline const QString kKeyFeatures = QStringLiteral("Features");
inline const QString kKeyLayer = QStringLiteral("Layer");
inline const QString kKeyLocation = QStringLiteral("Location");
inline const QString kKeyX1 = QStringLiteral("X1");
inline const QString kKeyY1 = QStringLiteral("Y1");
inline const QString kKeyX2 = QStringLiteral("X2");
inline const QString kKeyY2 = QStringLiteral("Y2");
inline const QString kKeyDrills = QStringLiteral("Drills");
inline const QString kKeyLayer1 = QStringLiteral("Layer1");
inline const QString kKeyLayer2 = QStringLiteral("Layer2");
inline const QString kKeyJob2 = QStringLiteral("Job2");
inline const QString kKeyStep2 = QStringLiteral("Step2");
inline const QString kKeyTolerance = QStringLiteral("Tolerance");
inline const QString kKeyClear = QStringLiteral("Clear");
inline const QString kKeyNext = QStringLiteral("Next");

inline const char* locationName(TOLVA::CHECKS::location_kind kind) {
    switch (kind) {
    case TOLVA::CHECKS::location_kind::POINTS: return "points";
    case TOLVA::CHECKS::location_kind::BOX: return "box";
    default: return "point";
    }
}

inline QStringList toStringList(const TOLVA::API::str_list& names) {
    QStringList out;
    for (const std::string& n : names) out.append(QString::fromStdString(n));
    return out;
}

inline QVariantMap toVariant(const TOLVA::CHECKS::check_result& r) {
    QVariantList features;
    for (const auto& f : r.features)
        features.append(QVariantMap{{kKeyLayer, QString::fromStdString(f.layer)}, {kKeyIndex, f.index}});
    return {{kKeyCheck, QString::fromStdString(r.check)},
            {kKeySeverity, r.level == TOLVA::CHECKS::severity::ERROR ? QStringLiteral("error") : QStringLiteral("warning")},
            {kKeyValue, r.value},
            {kKeyLimit, r.limit},
            {kKeyLayers, toStringList(r.layers)},
            {kKeyFeatures, features},
            {kKeyLocation, QLatin1String(locationName(r.location.kind))},
            {kKeyX1, r.location.a.x},
            {kKeyY1, r.location.a.y},
            {kKeyX2, r.location.b.x},
            {kKeyY2, r.location.b.y}};
}

inline QVariantList toVariantList(const std::vector<TOLVA::CHECKS::check_result>& results) {
    QVariantList out;
    out.reserve(static_cast<int>(results.size()));
    for (const auto& r : results) out.append(toVariant(r));
    return out;
}

// The record back from its map; false when a field is missing or malformed.
inline bool fromVariant(const QVariantMap& m, TOLVA::CHECKS::check_result& r) {
    using TOLVA::CHECKS::location_kind;
    const QString severity = m.value(kKeySeverity).toString(), location = m.value(kKeyLocation).toString();
    bool ok[6] = {};
    r = TOLVA::CHECKS::check_result();
    r.check = m.value(kKeyCheck).toString().toStdString();
    r.level = severity == QLatin1String("error") ? TOLVA::CHECKS::severity::ERROR : TOLVA::CHECKS::severity::WARNING;
    r.value = m.value(kKeyValue).toDouble(&ok[0]);
    r.limit = m.value(kKeyLimit).toDouble(&ok[1]);
    r.location.a = {m.value(kKeyX1).toDouble(&ok[2]), m.value(kKeyY1).toDouble(&ok[3])};
    r.location.b = {m.value(kKeyX2).toDouble(&ok[4]), m.value(kKeyY2).toDouble(&ok[5])};
    r.location.kind = location == QLatin1String("box")      ? location_kind::BOX
                      : location == QLatin1String("points") ? location_kind::POINTS
                                                            : location_kind::POINT;
    for (const QString& layer : m.value(kKeyLayers).toStringList()) r.layers.push_back(layer.toStdString());
    for (const QVariant& f : m.value(kKeyFeatures).toList()) {
        const QVariantMap feature = f.toMap();
        r.features.push_back({feature.value(kKeyLayer).toString().toStdString(), feature.value(kKeyIndex).toInt()});
    }
    return !r.check.empty() && (severity == QLatin1String("error") || severity == QLatin1String("warning")) &&
           ok[0] && ok[1] && ok[2] && ok[3] && (location == QLatin1String("point") || (ok[4] && ok[5]));
}

}  // namespace AnalysisMessages
