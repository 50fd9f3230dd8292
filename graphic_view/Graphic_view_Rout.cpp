// Rout chains: picking features of a rout layer into chains, reading back
// the chains the rout layers carry in their attributes, and writing the
// compensated cutter path of a layer's chains onto a layer of its own.
#include <glog/logging.h>

#include <QVariant>
#include <algorithm>
#include <limits>
#include <set>
#include <utility>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "core/prompt.h"
#include "graphic_view.h"
#include "rout_chain.h"
#include "rout_geometry.h"
#include "rout_kernel.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
// Keys of the chain request (20003901): all optional.
const QString kChainKey = QStringLiteral("chain");  // chain number; a new one when left out
const QString kSizeKey = QStringLiteral("size");    // cutter diameter, board units; else the symbol's size
const QString kCompKey = QStringLiteral("comp");    // 0 none, 1 right, 2 left
const QString kFeedKey = QStringLiteral("feed");
const QString kSpeedKey = QStringLiteral("speed");
// Keys of the compensation request (20003910): all required.
const QString kSourceKey = QStringLiteral("source");
const QString kDestinationKey = QStringLiteral("des");
const QString kTypeKey = QStringLiteral("type");  // the new destination layer: 0 document, 1 rout

constexpr qint32 kAddChainApplyCode = 20003909;
constexpr qint32 kMatrixUpdateCode = 20002401;
constexpr int kAppendLayer = -1;
constexpr int kDocumentDestination = 0;
constexpr int kRoutDestination = 1;
constexpr int kLargest = std::numeric_limits<int>::max();

struct ChainRequest {
    int number = 0;  // 0: the next free number
    int toolSize = -1;  // -1: each feature's symbol
    int comp = rout::CompNone;
    int feed = 0;
    int speed = 0;
};

struct CompensateRequest {
    std::string source;
    std::string destination;
    int type = kDocumentDestination;
};

using Piece = ViewWidget::chain_info;

void tell(QWidget* parent, const QString& text) { prompt::information(parent, ViewWidget::tr("Information"), text); }

// An optional whole number in [low, high]; absent leaves `value` alone.
bool readNumber(const QVariantMap& data, const QString& key, int low, int high, int& value) {
    const auto it = data.find(key);
    if (it == data.end()) return true;
    bool ok = false;
    const int v = it->toInt(&ok);
    if (!ok || v < low || v > high) return false;
    value = v;
    return true;
}

bool readText(const QVariantMap& data, const QString& key, std::string& value) {
    const QString text = data.value(key).toString();
    if (text.isEmpty()) return false;
    value = text.toStdString();
    return true;
}

// The key whose value cannot be used, or an empty text.
QString readChainRequest(const QVariantMap& data, ChainRequest& r) {
    if (!readNumber(data, kChainKey, 1, kLargest, r.number)) return kChainKey;
    if (!readNumber(data, kSizeKey, 0, kLargest, r.toolSize)) return kSizeKey;
    if (!readNumber(data, kCompKey, rout::CompNone, rout::CompLeft, r.comp)) return kCompKey;
    if (!readNumber(data, kFeedKey, 0, kLargest, r.feed)) return kFeedKey;
    if (!readNumber(data, kSpeedKey, 0, kLargest, r.speed)) return kSpeedKey;
    return QString();
}

QString readCompensateRequest(const QVariantMap& data, CompensateRequest& r) {
    if (!readText(data, kSourceKey, r.source)) return kSourceKey;
    if (!readText(data, kDestinationKey, r.destination)) return kDestinationKey;
    if (!data.contains(kTypeKey) || !readNumber(data, kTypeKey, kDocumentDestination, kRoutDestination, r.type))
        return kTypeKey;
    return QString();
}

// The selected lines and arcs as chain entries; other features are no part of a rout.
rout::Chain pickedEntries(const std::vector<API::featureInfo>& selected, const std::string& layer,
                          const ChainRequest& r) {
    rout::Chain entries;
    for (const API::featureInfo& f : selected) {
        if (f.type != API::FT_LINE && f.type != API::FT_ARC) continue;
        Piece entry = rout::entryOf(f, layer);
        entry.tool_size = r.toolSize >= 0 ? r.toolSize : rout::symbolToolSize(f.symbol);
        entry.comp = r.comp;
        entry.feed = r.feed;
        entry.speed = r.speed;
        entries.push_back(entry);
    }
    return entries;
}

// A chain as it is compensated: a path that is a cutter path already is
// copied as it lies.
rout::Chain forCompensation(rout::Chain chain) {
    for (Piece& entry : chain)
        if (entry.flag != 0) entry.comp = rout::CompNone;
    return chain;
}

int nextChainNumber(const std::vector<rout::ChainRecord>& chains, const std::string& layer) {
    int largest = 0;
    for (const rout::ChainRecord& record : chains)
        for (const Piece& entry : record.entries)
            if (entry.layer == layer) largest = std::max(largest, entry.chain);
    return largest + 1;
}

// Takes the features of `taken` out of every chain; chains left empty go.
void releaseFeatures(std::vector<rout::ChainRecord>& chains, const std::set<std::pair<std::string, int>>& taken) {
    for (rout::ChainRecord& record : chains) {
        auto& entries = record.entries;
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&](const Piece& e) { return taken.count({e.layer, e.index}) > 0; }),
                      entries.end());
    }
    chains.erase(std::remove_if(chains.begin(), chains.end(),
                                [](const rout::ChainRecord& record) { return record.entries.empty(); }),
                 chains.end());
}
}  // namespace

// ---- compensation geometry ------------------------------------------------

void ViewWidget::get_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end,
                                  QPointF& outStart, QPointF& outEnd) {
    rout::compensateLine(mode, toolSize, start, end, outStart, outEnd);
}

void ViewWidget::Get_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end,
                                  QPointF& outStart, QPointF& outEnd) {
    get_post_comp_pt(mode, toolSize, start, end, outStart, outEnd);
}

void ViewWidget::get_arc_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end,
                                      const QPointF& centre, const QString& direction, QPointF& outStart,
                                      QPointF& outEnd) {
    rout::compensateArc(mode, toolSize, start, end, centre, direction, outStart, outEnd);
}

void ViewWidget::Get_arc_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end,
                                      const QPointF& centre, const QString& direction, QPointF& outStart,
                                      QPointF& outEnd) {
    get_arc_post_comp_pt(mode, toolSize, start, end, centre, direction, outStart, outEnd);
}

double ViewWidget::get_bites_num(const double& value, int digits) { return rout::roundDigits(value, digits); }

// ---- the view's chains ------------------------------------------------------

ViewWidget::RoutState& ViewWidget::routState() {
    if (!m_rout) m_rout = std::make_shared<RoutState>();
    return *m_rout;
}

std::vector<std::vector<ViewWidget::chain_info>> ViewWidget::routChains() const {
    std::vector<std::vector<chain_info>> out;
    if (!m_rout) return out;
    for (const rout::ChainRecord& record : m_rout->chains) out.push_back(record.entries);
    return out;
}

void ViewWidget::update_rout_info() {
    RoutState& state = routState();
    if (state.job != job() || state.step != step()) {
        state.chains.clear();
        state.job = job();
        state.step = step();
    }
    if (m_job.isEmpty() || m_step.isEmpty()) return;
    rout::RoutLayers layers;
    if (!guarded(__FILE__, __LINE__, [&] { layers = rout::readRoutLayers(job(), step()); })) return;
    state.chains = rout::refreshed(state.chains, layers);
}

void ViewWidget::storeRoutChain(std::vector<chain_info> entries, int number) {
    RoutState& state = routState();
    std::set<std::pair<std::string, int>> taken;
    for (const chain_info& entry : entries) taken.insert({entry.layer, entry.index});
    releaseFeatures(state.chains, taken);
    const std::string layer = entries.front().layer;
    if (number == 0) number = nextChainNumber(state.chains, layer);
    for (chain_info& entry : entries) entry.chain = number;
    const auto same = std::find_if(state.chains.begin(), state.chains.end(), [&](const rout::ChainRecord& r) {
        return r.entries.front().layer == layer && r.entries.front().chain == number;
    });
    if (same == state.chains.end()) state.chains.push_back({true, std::move(entries)});
    else *same = rout::ChainRecord{true, std::move(entries)};
}

void ViewWidget::create_rout_chain(const PluginMetaData& msg) {
    ChainRequest request;
    const QString badKey = readChainRequest(msg.data, request);
    if (!badKey.isEmpty()) return tell(this, tr("Rout chain: the value of \"%1\" cannot be used!").arg(badKey));
    if (m_job.isEmpty() || work_layer.empty()) return tell(this, tr("No work layer!"));
    update_rout_info();
    bool routLayer = false;
    std::vector<API::featureInfo> selected;
    if (!guarded(__FILE__, __LINE__, [&] {
            routLayer = rout::isRoutLayer(API::get_matrix(job()), work_layer);
            if (routLayer) rout::readSelection(job(), step(), work_layer, selected);
        }))
        return;
    if (!routLayer) return tell(this, tr("work layer is not rout layer!"));
    rout::Chain entries = pickedEntries(selected, work_layer, request);
    if (entries.empty()) return tell(this, tr("No line or arc is selected!"));
    arrange_selected_chain(entries);
    storeRoutChain(std::move(entries), request.number);
    add_chain_do_apply();
}

void ViewWidget::receive_order_index(const QList<int>& order) {
    std::vector<rout::ChainRecord>& chains = routState().chains;
    std::vector<bool> named(chains.size(), false);
    bool valid = order.size() == static_cast<int>(chains.size());
    for (int k : order) {
        valid = valid && k >= 0 && k < static_cast<int>(chains.size()) && !named[static_cast<size_t>(k)];
        if (valid) named[static_cast<size_t>(k)] = true;
    }
    if (!valid) {
        LOG(ERROR) << "rout chain order ignored: " << order.size() << " indices for " << chains.size()
                   << " chains, each chain must be named once";
        return;
    }
    std::vector<rout::ChainRecord> ordered;
    for (int k : order) ordered.push_back(chains[static_cast<size_t>(k)]);
    chains.swap(ordered);
}

void ViewWidget::add_chain_do_apply() { sendTo(PluginNames::MenuBarRout, kAddChainApplyCode); }

// ---- compensation -------------------------------------------------------------

void ViewWidget::notifyMatrix() {
    PluginMetaData msg(PluginNames::GraphicView, PluginNames::Matrix, kMatrixUpdateCode);
    msg.data.insert(QStringLiteral("DstType"), QStringLiteral("Matrix"));
    msg.data.insert(QStringLiteral("JobName"), m_job);
    QTpluginsManger4CAM::instance()->Tv_UpdateJob(m_job, msg);
}

bool ViewWidget::createCompensationLayer(const std::string& layer, const std::string& type, int& edits) {
    bool created = false;
    if (!guarded(__FILE__, __LINE__, [&] {
            created = rout::journalled(DB::create_new_layer_db_save, API::create_new_layer, job(), step(), layer,
                                       kAppendLayer);
        }))
        return false;
    if (!created) {
        tell(this, tr("Create layer failed!"));
        return false;
    }
    ++edits;
    return guarded(__FILE__, __LINE__, [&] {
        API::matrix_info row;
        if (!rout::findRow(API::get_matrix(job()), layer, row))
            throw API::KernelText("layer '" + layer + "' is not in the matrix after its creation");
        row.type = type;
        row.context = type == rout::kRoutLayerType ? "board" : "misc";
        row.polarity = "positive";
        rout::journalled(DB::change_matrix_db_save, API::change_matrix, job(), row);
        ++edits;
    });
}

void ViewWidget::rollBackEdits(int edits) {
    for (int k = 0; k < edits; ++k)
        if (!guarded(__FILE__, __LINE__, [&] { API::undo_last_edit(job()); })) return;
    if (edits > 0) LOG(INFO) << "compensation abandoned, " << edits << " edits of it undone";
}

bool ViewWidget::writeCompensatedPath(const std::string& source, const std::string& destination) {
    std::vector<rout::Chain> paths;
    for (const rout::ChainRecord& record : routState().chains)
        if (record.entries.front().layer == source)
            paths.push_back(get_merged_chains_info(forCompensation(record.entries)));
    rout::PathStrings built;
    int first = 0;
    const bool stored = guarded(__FILE__, __LINE__, [&] {
        built = rout::pathStrings(job(), step(), destination, paths);
        if (built.strings.empty()) return;
        first = JOB::feature_count(job(), step(), destination);
        const API::str_list layers{destination};
        const std::map<std::string, API::str_list> strings{{destination, built.strings}};
        rout::journalled(DB::AddFeatures_db_save, API::AddFeatures, job(), step(), layers, strings, built.attributes);
    });
    if (!stored) return false;
    if (built.strings.empty()) {
        tell(this, tr("Nothing on source layer can be compensated!"));
        return false;
    }
    notifyMatrix();
    const int count = static_cast<int>(built.strings.size());
    guarded(__FILE__, __LINE__, [&] {
        if (!rout::selectRange(job(), step(), destination, first, count))
            LOG(ERROR) << "layer " << destination << ": the selection is not the " << count << " compensated features";
    });
    sendJobListChangeSelectedIcon();
    return true;
}

void ViewWidget::do_compensate(PluginMetaData& msg) {
    update_rout_info();
    CompensateRequest request;
    const QString badKey = readCompensateRequest(msg.data, request);
    if (!badKey.isEmpty()) return tell(this, tr("Compensation: \"%1\" is missing or cannot be used!").arg(badKey));
    if (m_job.isEmpty()) return tell(this, tr("No job is open!"));
    if (request.source == request.destination) return tell(this, tr("Destination layer is the source layer!"));
    std::vector<API::matrix_info> rows;
    if (!guarded(__FILE__, __LINE__, [&] { rows = API::get_matrix(job()); })) return;
    if (!rout::isRoutLayer(rows, request.source)) return tell(this, tr("source layer is not rout layer!"));
    const auto& chains = routState().chains;
    if (std::none_of(chains.begin(), chains.end(),
                     [&](const rout::ChainRecord& r) { return r.entries.front().layer == request.source; }))
        return tell(this, tr("No rout chain on source layer!"));
    int edits = 0;
    API::matrix_info existing;
    const std::string type = request.type == kRoutDestination ? rout::kRoutLayerType : rout::kDocumentLayerType;
    if (!rout::findRow(rows, request.destination, existing) &&
        !createCompensationLayer(request.destination, type, edits)) {
        rollBackEdits(edits);
        return;
    }
    if (!writeCompensatedPath(request.source, request.destination)) {
        rollBackEdits(edits);
        return;
    }
    update_rout_info();
    draw();
    refresh();
}

// ---- rout drawing (not available yet) ---------------------------------------

void ViewWidget::get_rout_selectorder(PluginMetaData) { notYetAvailable("get_rout_selectorder"); }
void ViewWidget::do_drawchain(PluginMetaData) { notYetAvailable("do_drawchain"); }
void ViewWidget::get_addchain_vector(PluginMetaData) { notYetAvailable("get_addchain_vector"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
