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
//       true takes the comparison away.
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

}  // namespace AnalysisMessages
