// Feature creation: the view never builds a feature record itself. It asks
// the kernel for one feature string per feature and layer (each layer has its
// own symbol table, so a symbol gets an index per layer) and stores them in
// one AddFeature or AddFeatures call. While the kernel's journal is on, every
// changing call is preceded by its journal twin with the same arguments.
#include <glog/logging.h>

#include <QApplication>
#include <QScreen>
#include <QMutex>
#include <QSemaphore>
#include <QtConcurrent/QtConcurrent>
#include <algorithm>
#include <cmath>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "UIAPICommon.h"
#include "core/prompt.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
const QString kMultiLayerQuestion = QStringLiteral("Operation will be done on multiple layers. Continue?");

// The failure rule of feature creation: a thrown text is shown in a box
// titled "Info" and the operation's own line goes to the log; a standard
// exception shows its text in a box titled "Information".
void reportFeatureFailure(QWidget* parent, const char* failure, std::exception_ptr error) {
    const FailureInfo info = describeFailure(error);
    if (info.kind == FailureKind::Standard) {
        prompt::information(parent, QObject::tr("Information"), info.text);
        return;
    }
    LOG(ERROR) << failure;
    prompt::information(parent, QStringLiteral("Info"), info.text);
}

template <class Body>
bool runFeatureOp(QWidget* parent, const char* failure, Body&& body) {
    try {
        body();
        return true;
    } catch (...) {
        reportFeatureFailure(parent, failure, std::current_exception());
        return false;
    }
}

std::vector<API::lPoint> toLPoints(const QVector<QPointF>& outline) {
    std::vector<API::lPoint> points;
    points.reserve(size_t(outline.size()));
    for (const QPointF& p : outline) points.push_back({p.x(), p.y()});
    return points;
}

std::string lineString(const API::feature_point& l, int index, int a, int b) {
    if (DB::get_SaveFlag()) DB::GreateLineString_db_save(l.xs, l.ys, l.xe, l.ye, index, a, b);
    return API::GreateLineString(l.xs, l.ys, l.xe, l.ye, index, a, b);
}

std::string arcString(const API::feature_point& p, int index, int a, int b, bool c) {
    if (DB::get_SaveFlag()) DB::GreateArcString_db_save(p.xs, p.ys, p.xe, p.ye, p.xc, p.yc, index, a, b, c);
    return API::GreateArcString(p.xs, p.ys, p.xe, p.ye, p.xc, p.yc, index, a, b, c);
}

// The second and third ints change places on their way to the builder.
std::string padString(const QPointF& c, int index, int a, int b, int third, double scale) {
    if (DB::get_SaveFlag()) DB::GreatePadString_db_save(c.x(), c.y(), index, a, third, b);
    return API::GreatePadString(c.x(), c.y(), index, a, third, b, scale);
}

std::string surfaceString(const std::vector<API::lPoint>& points, int a, int b, bool c) {
    if (DB::get_SaveFlag()) DB::GreateSurfaceString_db_save(points, a, b, c);
    return API::GreateSurfaceString(points, a, b, c);
}

template <class Item, class Build>
std::vector<std::string> stringsOf(const Item& items, Build&& build) {
    std::vector<std::string> out;
    out.reserve(size_t(items.size()));
    for (const auto& item : items) out.push_back(build(item));
    return out;
}

// ---- the repeat worker ---------------------------------------------------
// The worker's inputs live here while it runs; the progress value is the only
// thing the GUI thread reads meanwhile, under its mutex. A negative value
// means the worker stopped on a kernel failure.
struct RepeatJob {
    std::string job;
    std::string step;
    std::map<std::string, std::vector<API::featureInfo>> selection;
    bool allFeatures = false;
    ViewWidget::RepeatParameters params;
};
RepeatJob g_repeat;
QMutex g_progressMutex;
int g_progress = 0;
std::exception_ptr g_repeatFailure;
// Released by the worker as it ends, so that the GUI thread's 20 ms pause
// between event-loop turns ends with it instead of oversleeping.
QSemaphore g_repeatDone;

constexpr int kRepeatPollMs = 20;

void setProgress(int value) {
    QMutexLocker lock(&g_progressMutex);
    g_progress = value;
}

int progress() {
    QMutexLocker lock(&g_progressMutex);
    return g_progress;
}

// The offsets of the grid, row by row, without the origin; each truncated
// toward zero (a 2.9 step gives 0, 2, 5).
std::vector<API::point> gridOffsets(const ViewWidget::RepeatParameters& p) {
    std::vector<API::point> offsets;
    for (qint32 j = 0; j < p.countY; ++j)
        for (qint32 i = 0; i < p.countX; ++i) {
            if (i == 0 && j == 0) continue;
            offsets.push_back({static_cast<int32_t>(std::trunc(i * p.stepX)),
                               static_cast<int32_t>(std::trunc(j * p.stepY))});
        }
    return offsets;
}

// Selects every feature of the layer whatever the operator's select
// parameters filter out; the parameters are given back afterwards.
void selectWholeLayer(const std::string& job, const std::string& step, const std::string& layer,
                      std::vector<API::featureInfo>& selection) {
    const API::select_param saved = API::get_select_param();
    const API::select_param everything;
    if (DB::get_SaveFlag()) DB::set_select_param_db_save(everything);
    API::set_select_param(everything);
    try {
        if (DB::get_SaveFlag()) DB::select_all_features_db_save(job, step, layer);
        API::select_features(job, step, layer);
        API::get_selected_feature_info(job, step, layer, selection);
    } catch (...) {
        API::set_select_param(saved);
        throw;
    }
    if (DB::get_SaveFlag()) DB::set_select_param_db_save(saved);
    API::set_select_param(saved);
}

void repeatWorker() {
    try {
        const std::vector<API::point> offsets = gridOffsets(g_repeat.params);
        size_t done = 0;
        for (auto& entry : g_repeat.selection) {
            const std::string& layer = entry.first;
            if (g_repeat.allFeatures) selectWholeLayer(g_repeat.job, g_repeat.step, layer, entry.second);
            if (!entry.second.empty() && !offsets.empty()) {
                if (DB::get_SaveFlag())
                    DB::multi_copy_features_in_samelayer_db_save(g_repeat.job, g_repeat.step, {layer}, offsets);
                API::multi_copy_features_in_samelayer(g_repeat.job, g_repeat.step, {layer}, offsets);
            }
            setProgress(int(100 * ++done / g_repeat.selection.size()));
        }
    } catch (...) {
        g_repeatFailure = std::current_exception();
        setProgress(-1);
    }
    g_repeatDone.release();
}

bool validRepeat(const ViewWidget::RepeatParameters& p) {
    return p.countX > 0 && p.countY > 0 && std::isfinite(p.stepX) && std::isfinite(p.stepY);
}

// New features the grid would make from `selected` features.
long long repeatYield(const ViewWidget::RepeatParameters& p, long long selected) {
    return (static_cast<long long>(p.countX) * p.countY - 1) * selected;
}
}  // namespace

// ---- layers and symbols ------------------------------------------------------

int ViewWidget::symbolOn(const std::string& layer, const std::string& symbol) {
    int index = -1;
    if (DB::get_SaveFlag()) DB::create_new_symbol_db_save(job(), step(), layer, symbol, index);
    API::create_new_symbol(job(), step(), layer, symbol, index);
    return index;
}

std::vector<std::string> ViewWidget::creationLayers() const {
    std::vector<std::string> layers{work_layer};
    for (const std::string& layer : affected_layers)
        if (layer != work_layer) layers.push_back(layer);
    return layers;
}

void ViewWidget::sendMatrixUpdate() {
    PluginMetaData msg(PluginNames::GraphicView, PluginNames::Matrix, 20002401);
    msg.data.insert(QStringLiteral("DstType"), QStringLiteral("Matrix"));
    msg.data.insert(QStringLiteral("JobName"), m_job);
    QTpluginsManger4CAM::instance()->Tv_UpdateJob(m_job, msg);
}

bool ViewWidget::confirmMultiLayer(const QString& text, QMessageBox::StandardButtons buttons,
                                   QMessageBox::StandardButton cancel) {
    const QMessageBox::StandardButton defaultButton =
        buttons.testFlag(QMessageBox::Ok) ? QMessageBox::Ok : QMessageBox::NoButton;
    return prompt::ask({this, tr("Information"), text, buttons, defaultButton}) != cancel;
}

// ---- immediate adds ------------------------------------------------------------

// One feature on the work layer and every affected layer. Surfaces and texts
// (no symbol) are built once and stored under every layer.
void ViewWidget::addOneFeature(const char* failure, const std::string* symbol, const FeatureBuilder& build,
                               bool flag) {
    if (work_layer.empty()) return;
    runFeatureOp(this, failure, [&] {
        std::vector<std::string> layers;
        std::map<std::string, std::string> strings;
        const std::string shared = symbol ? std::string() : build(work_layer, -1);
        for (const std::string& layer : creationLayers()) {
            strings[layer] = symbol ? build(layer, symbolOn(layer, *symbol)) : shared;
            layers.push_back(layer);
        }
        if (DB::get_SaveFlag()) DB::AddFeature_db_save(job(), step(), layers, strings, symbol_attributes);
        API::AddFeature(job(), step(), layers, strings, symbol_attributes, flag);
        sendMatrixUpdate();
        draw();
        refresh();
    });
}

void ViewWidget::add_line_feature(std::string symbol, double x1, double y1, double x2, double y2, int a, int b) {
    const API::feature_point line{x1, y1, x2, y2, 0, 0, 0, 0};
    addOneFeature("add line feature Error.", &symbol,
                  [&](const std::string&, int index) { return lineString(line, index, a, b); }, false);
}

void ViewWidget::add_pad_feature(std::string symbol, double x, double y, int a, int b, int c) {
    addOneFeature("add pad feature Error.", &symbol,
                  [&](const std::string&, int index) { return padString(QPointF(x, y), index, a, b, c, 0.0); },
                  false);
}

void ViewWidget::add_arc_feature(std::string symbol, QPointF start, QPointF end, QPointF centre, int a, int b, bool c) {
    const API::feature_point arc{start.x(), start.y(), end.x(), end.y(), centre.x(), centre.y(), 0, 0};
    addOneFeature("add arc feature Error.", &symbol,
                  [&](const std::string&, int index) { return arcString(arc, index, a, b, c); }, false);
}

void ViewWidget::add_surface_feature(const QVector<QPointF>& outline, int a, int b, bool c, bool d) {
    const std::vector<API::lPoint> points = toLPoints(outline);
    addOneFeature("add surface feature Error.", nullptr,
                  [&](const std::string&, int) { return surfaceString(points, a, b, c); }, d);
}

// The last double and the int change places, as the builder takes them.
void ViewWidget::add_text_feature(QPointF position, const std::string text, int a, int b, double c, double d,
                                  double e, const std::string font, double f, int g) {
    addOneFeature("add text feature Error.", nullptr,
                  [&](const std::string&, int) {
                      if (DB::get_SaveFlag())
                          DB::GreateTextString_db_save(position.x(), position.y(), text, a, b, c, d, e, font, g);
                      return API::GreateTextString(position.x(), position.y(), text, a, b, c, d, e, font, g, f);
                  },
                  false);
}

// ---- batched content -------------------------------------------------------------

// Entry 0 of the pending strings belongs to the work layer, entry i to the
// i-th affected layer that differs from it; successive calls accumulate.
void ViewWidget::appendPending(const char* failure, const std::string* symbol,
                               const std::function<std::vector<std::string>(const std::string&, int)>& build) {
    if (work_layer.empty()) return;
    runFeatureOp(this, failure, [&] {
        size_t entry = 0;
        for (const std::string& layer : creationLayers()) {
            std::vector<std::string> strings = build(layer, symbol ? symbolOn(layer, *symbol) : -1);
            if (entry < pending_feature_strings.size()) {
                std::vector<std::string>& pending = pending_feature_strings[entry];
                pending.insert(pending.end(), strings.begin(), strings.end());
            } else {
                pending_feature_strings.push_back(std::move(strings));
            }
            ++entry;
        }
    });
}

void ViewWidget::set_line_feature_content(const std::string& symbol, const std::vector<API::feature_point>& lines,
                                          int a, int b) {
    appendPending("set line feature content Error.", &symbol, [&](const std::string&, int index) {
        return stringsOf(lines, [&](const API::feature_point& l) { return lineString(l, index, a, b); });
    });
}

void ViewWidget::set_pad_feature_content(const std::string& symbol, const QVector<QPointF>& centres, int a, int b,
                                         int c, double scale) {
    appendPending("set pad feature content Error.", &symbol, [&](const std::string&, int index) {
        return stringsOf(centres, [&](const QPointF& p) { return padString(p, index, a, b, c, scale); });
    });
}

void ViewWidget::set_arc_feature_content(const std::string& symbol, const std::vector<API::feature_point>& arcs,
                                         int a, int b, bool c) {
    appendPending("set arc feature content Error.", &symbol, [&](const std::string&, int index) {
        return stringsOf(arcs, [&](const API::feature_point& p) { return arcString(p, index, a, b, c); });
    });
}

void ViewWidget::set_surface_feature_content(const std::vector<API::lPoint>& points, int a, int b, bool c) {
    appendPending("set surface feature content Error.", nullptr, [&](const std::string&, int) {
        return std::vector<std::string>{surfaceString(points, a, b, c)};
    });
}

bool ViewWidget::add_feature_confirm() {
    if (work_layer.empty() && affected_layers.empty()) return false;
    if (affected_layers.empty()) return true;
    const bool workAmongThem =
        std::find(affected_layers.begin(), affected_layers.end(), work_layer) != affected_layers.end();
    if (workAmongThem && affected_layers.size() < 2) return true;
    return confirmMultiLayer(kMultiLayerQuestion, QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel);
}

void ViewWidget::add_features() {
    if (work_layer.empty() || pending_feature_strings.empty()) return;
    if (!add_feature_confirm()) {
        pending_feature_strings.clear();
        return;
    }
    runFeatureOp(this, "add features Error.", [&] {
        std::vector<std::string> layers;
        std::map<std::string, std::vector<std::string>> strings;
        const std::vector<std::string> candidates = creationLayers();
        for (size_t i = 0; i < candidates.size() && i < pending_feature_strings.size(); ++i) {
            layers.push_back(candidates[i]);
            strings[candidates[i]] = pending_feature_strings[i];
        }
        const std::vector<API::attr_map> attributes(pending_feature_strings[0].size(), symbol_attributes);
        if (DB::get_SaveFlag()) DB::AddFeatures_db_save(job(), step(), layers, strings, attributes);
        API::AddFeatures(job(), step(), layers, strings, attributes);
        sendMatrixUpdate();
        draw();
        refresh();
    });
    pending_feature_strings.clear();
}

// The attributes every new feature gets, replaced as a whole: the message
// carries them as a map of names to texts under "attributes" (or, from
// senders that send the map itself, as its data).
void ViewWidget::set_symbol_attributes(PluginMetaData msg) {
    const QVariantMap map = msg.data.contains(QStringLiteral("attributes"))
                                ? msg.data.value(QStringLiteral("attributes")).toMap()
                                : msg.data;
    API::attr_map attributes;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        attributes[it.key().toStdString()] = it.value().toString().toStdString();
    symbol_attributes = std::move(attributes);
}

// ---- repeat ------------------------------------------------------------------

void ViewWidget::repeat_selected_features(PluginMetaData msg) {
    if (!msg.payload) {
        LOG(ERROR) << "repeat_selected_features: the message carries no repeat parameters";
        return;
    }
    if (m_repeatRunning) {
        LOG(ERROR) << "repeat_selected_features: a repeat is already running";
        return;
    }
    const RepeatParameters params = *static_cast<const RepeatParameters*>(msg.payload);
    if (work_layer.empty() && affected_layers.empty()) {
        prompt::information(nullptr, QStringLiteral("Info"), tr("No active layers defined"));
        return;
    }
    if (!validRepeat(params) || repeatYield(params, 1) > kRepeatFeatureLimit) {
        prompt::information(this, tr("Information"),
                            tr("Repeat counts must be at least 1 and the grid at most %1 copies.")
                                .arg(kRepeatFeatureLimit));
        return;
    }
    const bool onlyWork = affected_layers.size() == 1 && affected_layers[0] == work_layer;
    if (!affected_layers.empty() && !onlyWork &&
        !confirmMultiLayer(kMultiLayerQuestion, QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel))
        return;
    std::map<std::string, std::vector<API::featureInfo>> selection;
    std::map<std::string, long long> layerSizes;
    bool anySelected = false;
    const bool read = runFeatureOp(this, "repeat selected features Error.", [&] {
        std::vector<std::string> layers;
        for (const std::string& layer : affected_layers)
            if (layer != work_layer && !selection.count(layer)) layers.push_back(layer);
        if (!work_layer.empty()) layers.push_back(work_layer);
        for (const std::string& layer : layers) {
            if (DB::get_SaveFlag()) DB::get_selected_feature_info_db_save(job(), step(), layer);
            API::get_selected_feature_info(job(), step(), layer, selection[layer]);
            anySelected = anySelected || !selection[layer].empty();
        }
        // All-features mode copies whole layers; only then are their sizes needed.
        if (!anySelected)
            for (const std::string& layer : layers) layerSizes[layer] = JOB::feature_count(job(), step(), layer);
    });
    if (!read) return;
    if (!anySelected && !confirmMultiLayer(QStringLiteral("Operation will be performed on ALL features. Continue?"),
                                           QMessageBox::Ok | QMessageBox::Cancel, QMessageBox::Cancel))
        return;
    long long total = 0;
    for (const auto& entry : selection)
        total += anySelected ? static_cast<long long>(entry.second.size())
                             : layerSizes[entry.first];
    if (repeatYield(params, total) > kRepeatFeatureLimit) {
        prompt::information(this, tr("Information"),
                            tr("The repeat would create %1 features, more than %2.")
                                .arg(repeatYield(params, total))
                                .arg(kRepeatFeatureLimit));
        return;
    }
    g_repeat = {job(), step(), std::move(selection), !anySelected, params};
    g_repeatFailure = nullptr;
    setProgress(0);
    m_repeatRunning = true;

    // The worker starts first: building and showing the dialog overlaps its work.
    g_repeatDone.tryAcquire(g_repeatDone.available());
    QFuture<void> task = QtConcurrent::run(repeatWorker);
    UIAPI::TvProgressDialog dialog(tr("Processing"), tr("Cancel"), 0, 100, this);
    dialog.setMinimumDuration(1);
    dialog.setWindowTitle(tr("Please wait"));
    dialog.setFixedSize(250, 60);
    dialog.setRange(0, 0);
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        dialog.move(screen->availableGeometry().right() - dialog.width(), 0);
    dialog.setCancelButton(nullptr);
    dialog.setWindowFlags(Qt::Dialog | Qt::WindowTitleHint);
    dialog.setWindowModality(Qt::ApplicationModal);

    while (!task.isFinished()) {
        const int value = progress();
        if (value < 0) break;
        dialog.setValue(value);
        QApplication::processEvents();
        if (g_repeatDone.tryAcquire(1, kRepeatPollMs)) break;
    }
    task.waitForFinished();
    dialog.close();
    m_repeatRunning = false;
    g_repeat = RepeatJob();
    if (g_repeatFailure) reportFeatureFailure(this, "repeat selected features Error.", g_repeatFailure);
    g_repeatFailure = nullptr;
    draw();
    refresh();
    sendJobListChangeSelectedIcon();
}

// Line mode of the draw-symbol tool, opening the tool when another is active.
void ViewWidget::draw_use_symbol_line(PluginMetaData msg) {
    if (!m_tool || m_tool->getType() != Graphic_ViewTool::DRAW_SYMBOL_TOOL) changeTool(Graphic_ViewTool::DRAW_SYMBOL_TOOL);
    if (!m_tool || m_tool->getType() != Graphic_ViewTool::DRAW_SYMBOL_TOOL) return;
    m_tool->setWorkParam(&msg);
    add_tool_param(Graphic_ViewTool::DRAW_SYMBOL_TOOL, msg);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
