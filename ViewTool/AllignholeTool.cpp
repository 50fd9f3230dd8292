#include "AllignholeTool.h"

#include <glog/logging.h>

#include <QMouseEvent>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>

#include "AnalysisMessages.h"
#include "FeaturePick.h"
#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "graphic_view/graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
constexpr char kPrefix[] = "ALLIGN_HOLE_TOOL";
constexpr char kInitLine[] = "ALLIGN_HOLE_TOOL:\tInit";
constexpr qint32 kOpenToolCode = 20000270;
constexpr char kAligned[] = "hole_aligned";

const QString kModeKey = QStringLiteral("Mode");
const QString kDrillKey = QStringLiteral("DrillLayer");
const QString kLayersKey = QStringLiteral("Layers");
const QString kToleranceKey = QStringLiteral("Tolerance");
const QString kSizesKey = QStringLiteral("Sizes");
const QString kSelectedKey = QStringLiteral("Selected");

bool positiveLength(const QVariant& v, double& out) {
    bool ok = false;
    out = v.toDouble(&ok);
    return ok && std::isfinite(out) && out > 0;
}

// One entry of the size table: "old:new" or a pair of numbers.
bool sizePair(const QVariant& entry, std::pair<double, double>& out) {
    if (entry.type() == QVariant::String) {
        const QStringList parts = entry.toString().split(QLatin1Char(':'));
        return parts.size() == 2 && positiveLength(parts[0].trimmed(), out.first) &&
               positiveLength(parts[1].trimmed(), out.second);
    }
    const QVariantList pair = entry.toList();
    return pair.size() == 2 && positiveLength(pair[0], out.first) && positiveLength(pair[1], out.second);
}

// A single text may list several entries separated by commas or blanks.
QVariantList sizeEntries(const QVariant& value) {
    if (value.type() != QVariant::String) return value.toList();
    QVariantList entries;
    for (const QString& part : value.toString().split(QRegularExpression(QStringLiteral("[,;\\s]+")), Qt::SkipEmptyParts))
        entries.append(part);
    return entries;
}

bool boardRowOfType(const API::matrix_info& row, std::initializer_list<const char*> types) {
    return row.context == "board" && std::any_of(types.begin(), types.end(), [&](const char* t) { return row.type == t; });
}
}  // namespace

// Data keys of the hole request 20004205 (and of 20000270 with "Tool" 17).
// Each message sets all of them; a key that is absent takes its default.
//   "Mode": "align" (the default) or "resize";
//   "DrillLayer": the layer of the holes (default: the first board drill
//     layer of the matrix);
//   "Layers": the copper layers whose pads the holes align to, a list of
//     names (default: the board's signal, power_ground and mixed layers);
//   "Tolerance": how far off its pad's centre a hole may be and still move,
//     nanometres (default 100000, 0.1 mm); finite and not negative;
//   "Sizes" (resize): the diameter table in nanometres, a list of "old:new"
//     texts or of two-number lists [old, new] (a single text may hold
//     several entries separated by commas); every diameter above 0;
//   "Selected" (resize): true resizes only the selected holes.
ParsedHoleParams parseHoleParams(const QVariantMap& data) {
    ParsedHoleParams out;
    HoleParams& p = out.params;
    const QString mode = data.value(kModeKey, QStringLiteral("align")).toString().trimmed().toLower();
    if (mode != QLatin1String("align") && mode != QLatin1String("resize")) {
        out.error = QObject::tr("\"Mode\" must be align or resize, not \"%1\"").arg(mode);
        return out;
    }
    p.resize = mode == QLatin1String("resize");
    p.drillLayer = data.value(kDrillKey).toString().trimmed().toStdString();
    for (const QString& name : data.value(kLayersKey).toStringList())
        if (!name.trimmed().isEmpty()) p.copperLayers.push_back(name.trimmed().toStdString());
    if (data.contains(kToleranceKey)) {
        bool ok = false;
        p.tolerance = data.value(kToleranceKey).toDouble(&ok);
        if (!ok || !std::isfinite(p.tolerance) || p.tolerance < 0) {
            out.error = QObject::tr("\"Tolerance\" must be a length of 0 or more in nanometres");
            return out;
        }
    }
    const QVariantList entries = sizeEntries(data.value(kSizesKey));
    for (int i = 0; i < entries.size(); ++i) {
        std::pair<double, double> pair;
        if (!sizePair(entries[i], pair)) {
            out.error = QObject::tr("\"Sizes\" entry %1 is not old:new with two diameters above 0").arg(i + 1);
            return out;
        }
        p.sizes.push_back(pair);
    }
    if (p.resize && p.sizes.empty()) out.error = QObject::tr("resizing needs \"Sizes\", the table of old:new diameters");
    p.selectedOnly = data.value(kSelectedKey).toBool();
    return out;
}

AllignholeTool::AllignholeTool(ViewWidget* view) : GestureTool(view, ALLIGN_HOLE_TOOL, kPrefix, kInitLine) {}

// A request that cannot be used changes nothing: the tool keeps the
// parameters it had.
void AllignholeTool::setWorkParam(PluginMetaData* msg) {
    if (!msg || (msg->msgType != kRequestCode && msg->msgType != kOpenToolCode)) {
        logTypeError(kPrefix);
        return;
    }
    const ParsedHoleParams parsed = parseHoleParams(msg->data);
    if (!parsed.error.isEmpty()) return notice(tr("Hole request refused: %1").arg(parsed.error));
    m_params = parsed.params;
    if (m_params.resize) resizeHoles();
}

bool AllignholeTool::resolveLayers(std::string& drill, std::vector<std::string>& copper) {
    drill = m_params.drillLayer;
    copper = m_params.copperLayers;
    if (m_view->jobName().isEmpty()) {
        notice(tr("Holes: no job is open"));
        return false;
    }
    if (drill.empty() || copper.empty()) {
        std::vector<API::matrix_info> matrix;
        if (!editSafely([&] { matrix = API::get_matrix(jobName()); })) return false;
        for (const API::matrix_info& row : matrix) {
            if (drill.empty() && boardRowOfType(row, {"drill"})) drill = row.name;
            if (m_params.copperLayers.empty() && boardRowOfType(row, {"signal", "power_ground", "mixed"}))
                copper.push_back(row.name);
        }
    }
    if (drill.empty()) notice(tr("Holes: the job has no drill layer"));
    return !drill.empty();
}

void AllignholeTool::resizeHoles() {
    std::string drill;
    std::vector<std::string> copper;
    if (!resolveLayers(drill, copper)) return;
    int changed = 0;
    const bool done = editSafely([&] {
        if (DB::get_SaveFlag())
            DB::resize_holes_db_save(jobName(), stepName(), drill, m_params.sizes, m_params.selectedOnly);
        changed = EDIT::resize_holes(jobName(), stepName(), drill, m_params.sizes, m_params.selectedOnly);
    });
    if (!done) return;
    LOG(INFO) << kPrefix << ": " << changed << " holes of " << drill << " resized";
    if (changed > 0) redrawBoard();
    else notice(tr("Resize holes: no hole of %1 has a diameter of the table").arg(QString::fromStdString(drill)));
}

void AllignholeTool::leftButtonPress(QMouseEvent* event) {
    event->accept();
    m_leftHeld = true;
    m_dragging = false;
    m_pressPixel = event->pos();
}

void AllignholeTool::mouseMove(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    if (!m_dragging && beyondClickSlack(m_pressPixel, event->pos())) m_dragging = true;
    if (!m_dragging) return;
    showRubberBand(boxShape(m_view->toBoard(m_pressPixel), m_view->toBoard(event->pos())));
}

void AllignholeTool::leftButtonRelease(QMouseEvent* event) {
    event->accept();
    if (!m_leftHeld) return;
    m_leftHeld = false;
    m_dragging = false;
    clearRubberBand();
    std::string drill;
    std::vector<std::string> copper;
    if (!resolveLayers(drill, copper)) return;
    const std::vector<int> holes = holesAt(m_pressPixel, event->pos(), drill);
    if (holes.empty()) return notice(tr("Align holes: no hole of %1 there").arg(QString::fromStdString(drill)));
    alignHoles(holes);
}

// The hole under a click, or the holes wholly inside a dragged box.
std::vector<int> AllignholeTool::holesAt(const QPoint& press, const QPoint& release, const std::string& drill) {
    std::vector<int> holes;
    if (!beyondClickSlack(press, release)) {
        if (const auto hole = pickOfType(*m_view, release, drill, API::FT_PAD)) holes.push_back(hole->index);
        return holes;
    }
    const FeatureMap inside = featuresInside(*m_view, boardBox(press, release), {drill});
    for (const auto& layer : inside)
        for (const API::featureInfo& f : layer.second)
            if (f.type == API::FT_PAD) holes.push_back(f.index);
    std::sort(holes.begin(), holes.end());
    return holes;
}

void AllignholeTool::finish() {
    std::string drill;
    std::vector<std::string> copper;
    if (!resolveLayers(drill, copper)) return;
    int selected = 0;
    if (!editSafely([&] { selected = JOB::selected_count(jobName(), stepName(), drill); })) return;
    if (selected == 0) return notice(tr("Align holes: no hole of %1 is selected").arg(QString::fromStdString(drill)));
    alignHoles({});
}

void AllignholeTool::cancelLast() {
    m_leftHeld = m_dragging = false;
    clearRubberBand();
}

void AllignholeTool::alignHoles(const std::vector<int>& holes) {
    std::string drill;
    std::vector<std::string> copper;
    if (!resolveLayers(drill, copper)) return;
    if (copper.empty()) return notice(tr("Align holes: the job has no copper layer"));
    std::vector<CHECKS::check_result> results;
    const bool done = editSafely([&] {
        if (DB::get_SaveFlag())
            DB::align_holes_db_save(jobName(), stepName(), drill, holes, copper, m_params.tolerance);
        results = EDIT::align_holes(jobName(), stepName(), drill, holes, copper, m_params.tolerance);
    });
    if (!done) return;
    reportLeftAlone(results);
    if (std::any_of(results.begin(), results.end(), [](const CHECKS::check_result& r) { return r.check == kAligned; }))
        redrawBoard();
}

// The holes left alone become the view's check points (replacing those
// shown: they belong to this run); the log and the DFM menu get the counts.
void AllignholeTool::reportLeftAlone(const std::vector<CHECKS::check_result>& results) {
    namespace AM = AnalysisMessages;
    std::vector<CHECKS::check_result> leftAlone;
    for (const CHECKS::check_result& r : results)
        if (r.check != kAligned) leftAlone.push_back(r);
    const int aligned = int(results.size() - leftAlone.size());
    PluginMetaData shown(PluginNames::GraphicView, PluginNames::GraphicView, AM::kResults);
    shown.data = {{AM::kKeyResults, AM::toVariantList(leftAlone)}, {AM::kKeyJob, m_view->jobName()},
                  {AM::kKeyStep, m_view->stepName()}};
    m_view->recMsgFromManager(shown);
    const QString summary =
        tr("Align holes: %1 aligned, %2 left alone (tolerance %3 nm)").arg(aligned).arg(leftAlone.size()).arg(m_params.tolerance);
    LOG(INFO) << kPrefix << ": " << summary.toStdString();
    PluginMetaData counts(PluginNames::GraphicView, PluginNames::MenuBarDFM, AM::kCurrent);
    counts.data = {{AM::kKeyIndex, -1}, {AM::kKeyPosition, 0}, {AM::kKeyCount, int(leftAlone.size())},
                   {QStringLiteral("Aligned"), aligned}, {AM::kKeyText, summary}};
    QTpluginsManger4CAM::instance()->recMegToPlugin(m_view->host(), counts);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
