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
#include "rout_order.h"
#include "ViewTool/RoutTool.h"

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

}  // namespace

QString rout::readChainRequest(const QVariantMap& data, ChainRequest& r) {
    if (!readNumber(data, kChainKey, 1, kLargest, r.number)) return kChainKey;
    if (!readNumber(data, kSizeKey, 0, kLargest, r.toolSize)) return kSizeKey;
    if (!readNumber(data, kCompKey, rout::CompNone, rout::CompLeft, r.comp)) return kCompKey;
    if (!readNumber(data, kFeedKey, 0, kLargest, r.feed)) return kFeedKey;
    if (!readNumber(data, kSpeedKey, 0, kLargest, r.speed)) return kSpeedKey;
    return QString();
}

namespace {
QString readCompensateRequest(const QVariantMap& data, CompensateRequest& r) {
    if (!readText(data, kSourceKey, r.source)) return kSourceKey;
    if (!readText(data, kDestinationKey, r.destination)) return kDestinationKey;
    if (!data.contains(kTypeKey) || !readNumber(data, kTypeKey, kDocumentDestination, kRoutDestination, r.type))
        return kTypeKey;
    return QString();
}

// The selected lines and arcs as chain entries; other features are no part of a rout.
rout::Chain pickedEntries(const std::vector<API::featureInfo>& selected, const std::string& layer,
                          const rout::ChainRequest& r) {
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
    state.paths.clear();
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
    state.paths.clear();
}

void ViewWidget::create_rout_chain(const PluginMetaData& msg) {
    rout::ChainRequest request;
    const QString badKey = rout::readChainRequest(msg.data, request);
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
    routState().paths.clear();
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
            paths.push_back(rout::cutterPath(record.entries));
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

// ---- chains drawn by hand, their order ---------------------------------------------

namespace {
// Request 20003902 asks for the chains in cutting order; the answer, code
// 20003902 to the rout menu, holds "Chains" (a list, one map per chain in
// cutting order: "Layer", "Chain" (its number), "Pieces" (count), "PlungeX",
// "PlungeY", "RetractX", "RetractY" (board units)) and "AirTravel", the
// cutter's travel between chains from the origin, board units.
constexpr qint32 kOrderCode = 20003902;
// Request 20003903 hands the view an order: "Order", a list naming every
// chain once by its place in the answer above, or "Optimise" (true) with
// "Layer" (default: the work layer) to let the view find the order with the
// least air travel. Either is answered with the order as above.
constexpr qint32 kNewOrderCode = 20003903;
// The rout tool's requests, answered with the chain being drawn: "Layer",
// "Indices" (its features in cutting order), "Reversed" (whether each is
// cut from its end), "Closed".
constexpr qint32 kAddChainCode = 20003908;
const QString kChainsKey = QStringLiteral("Chains");
const QString kAirTravelKey = QStringLiteral("AirTravel");
const QString kOrderKey = QStringLiteral("Order");
const QString kOptimiseKey = QStringLiteral("Optimise");
const QString kLayerKey = QStringLiteral("Layer");
const QString kActionKey = QStringLiteral("Action");
const QPointF kTravelOrigin(0, 0);

rout::Leg legOf(const rout::Chain& chain) { return {chain.front().start, chain.back().end}; }

QVariantMap chainEntry(const rout::Chain& chain) {
    const rout::Leg leg = legOf(chain);
    return {{QStringLiteral("Layer"), QString::fromStdString(chain.front().layer)},
            {QStringLiteral("Chain"), chain.front().chain},
            {QStringLiteral("Pieces"), int(chain.size())},
            {QStringLiteral("PlungeX"), leg.plunge.x()},
            {QStringLiteral("PlungeY"), leg.plunge.y()},
            {QStringLiteral("RetractX"), leg.retract.x()},
            {QStringLiteral("RetractY"), leg.retract.y()}};
}

// Positions of `chains` on `layer`, in cutting order.
std::vector<size_t> chainsOn(const std::vector<rout::ChainRecord>& chains, const std::string& layer) {
    std::vector<size_t> out;
    for (size_t k = 0; k < chains.size(); ++k)
        if (chains[k].entries.front().layer == layer) out.push_back(k);
    return out;
}

bool readOrder(const QVariant& value, QList<int>& order) {
    if (value.type() != QVariant::List) return false;
    for (const QVariant& item : value.toList()) {
        bool ok = false;
        order.append(item.toInt(&ok));
        if (!ok) return false;
    }
    return true;
}
}  // namespace

bool ViewWidget::commit_rout_chain(std::vector<chain_info> chain, int number) {
    if (chain.empty() || m_job.isEmpty()) return false;
    update_rout_info();
    RoutState& state = routState();
    const std::string layer = chain.front().layer;
    if (number == 0) number = nextChainNumber(state.chains, layer);
    for (chain_info& entry : chain) entry.chain = number;
    if (!guarded(__FILE__, __LINE__, [&] { rout::writeChains(job(), step(), layer, {chain}); })) return false;
    // The job holds the chain now: no chain the view picked keeps its number or its features.
    std::set<std::pair<std::string, int>> taken;
    for (const chain_info& entry : chain) taken.insert({entry.layer, entry.index});
    releaseFeatures(state.chains, taken);
    state.chains.erase(std::remove_if(state.chains.begin(), state.chains.end(),
                                      [&](const rout::ChainRecord& r) {
                                          return r.picked && r.entries.front().layer == layer &&
                                                 r.entries.front().chain == number;
                                      }),
                       state.chains.end());
    update_rout_info();
    draw();
    refresh();
    add_chain_do_apply();
    return true;
}

bool ViewWidget::optimise_chain_order(const std::string& layer) {
    update_rout_info();
    RoutState& state = routState();
    const std::vector<size_t> places = chainsOn(state.chains, layer);
    std::vector<rout::Leg> legs;
    std::vector<int> numbers;
    for (size_t k : places) {
        legs.push_back(legOf(state.chains[k].entries));
        numbers.push_back(state.chains[k].entries.front().chain);
    }
    const std::vector<int> order = rout::shortestOrder(legs, kTravelOrigin);
    std::vector<int> given(order.size());
    for (size_t k = 0; k < given.size(); ++k) given[k] = int(k);
    if (order == given) return false;
    // The chains take the layer's numbers in their new order, so that the
    // numbers written in the job say the order too.
    std::sort(numbers.begin(), numbers.end());
    std::vector<rout::ChainRecord> reordered;
    std::vector<rout::Chain> written;
    for (size_t k = 0; k < order.size(); ++k) {
        rout::ChainRecord record = state.chains[places[size_t(order[k])]];
        for (chain_info& entry : record.entries) entry.chain = numbers[k];
        if (!record.picked) written.push_back(record.entries);
        reordered.push_back(std::move(record));
    }
    if (!written.empty() && !guarded(__FILE__, __LINE__, [&] { rout::writeChains(job(), step(), layer, written); }))
        return false;
    for (size_t k = 0; k < places.size(); ++k) state.chains[places[k]] = std::move(reordered[k]);
    state.paths.clear();
    update_rout_info();
    LOG(INFO) << "rout layer " << layer << ": chains ordered for an air travel of " << rout::airTravel(legs, order, kTravelOrigin)
              << " instead of " << rout::airTravel(legs, given, kTravelOrigin);
    return true;
}

void ViewWidget::send_rout_order() {
    QVariantList chains;
    std::vector<rout::Leg> legs;
    for (const rout::ChainRecord& record : routState().chains) {
        chains.append(chainEntry(record.entries));
        legs.push_back(legOf(record.entries));
    }
    std::vector<int> order(legs.size());
    for (size_t k = 0; k < order.size(); ++k) order[k] = int(k);
    sendTo(PluginNames::MenuBarRout, kOrderCode,
           {{kChainsKey, chains}, {kAirTravelKey, rout::airTravel(legs, order, kTravelOrigin)}});
}

void ViewWidget::get_rout_selectorder(PluginMetaData msg) {
    update_rout_info();
    if (msg.msgType == kNewOrderCode && msg.data.value(kOptimiseKey).toBool()) {
        const std::string layer =
            msg.data.contains(kLayerKey) ? msg.data.value(kLayerKey).toString().toStdString() : work_layer;
        bool routLayer = false;
        if (!guarded(__FILE__, __LINE__, [&] { routLayer = rout::isRoutLayer(API::get_matrix(job()), layer); })) return;
        if (!routLayer) return tell(this, tr("Optimise Chain Order: layer %1 is not a rout layer!").arg(QString::fromStdString(layer)));
        if (optimise_chain_order(layer)) redrawAfterEdit();
    } else if (msg.msgType == kNewOrderCode) {
        QList<int> order;
        if (!msg.data.contains(kOrderKey) || !readOrder(msg.data.value(kOrderKey), order)) {
            return refuseRequest(msg, tr("Chain order refused: \"%1\" is missing or not a list of chain numbers")
                                          .arg(kOrderKey));
        }
        receive_order_index(order);
    }
    send_rout_order();
}

// Opens the rout tool (the same request again configures it instead of
// closing it) or hands an open one the action.
void ViewWidget::do_drawchain(PluginMetaData msg) {
    const bool open = msg.data.value(kActionKey, QStringLiteral("open")).toString() == QLatin1String("open");
    if (!m_tool || m_tool->getType() != Graphic_ViewTool::ROUT_TOOL) {
        if (!open) {
            LOG(ERROR) << "rout chain: the rout tool is not open, the request is ignored";
            return;
        }
        changeTool(Graphic_ViewTool::ROUT_TOOL);
    }
    if (!m_tool) return;
    m_tool->setWorkParam(&msg);
    add_tool_param(Graphic_ViewTool::ROUT_TOOL, msg);
}

void ViewWidget::get_addchain_vector(PluginMetaData msg) {
    if (!m_tool || m_tool->getType() != Graphic_ViewTool::ROUT_TOOL) changeTool(Graphic_ViewTool::ROUT_TOOL);
    auto* tool = qobject_cast<RoutTool*>(m_tool);
    if (!tool) return;
    if (msg.data.contains(QStringLiteral("Indices"))) tool->setWorkParam(&msg);
    QVariantList indices, reversed;
    for (const chain_info& piece : tool->chain()) {
        indices.append(piece.index);
        reversed.append(piece.reversed);
    }
    sendTo(PluginNames::MenuBarRout, kAddChainCode,
           {{kLayerKey, QString::fromStdString(tool->layer())},
            {QStringLiteral("Indices"), indices},
            {QStringLiteral("Reversed"), reversed},
            {QStringLiteral("Closed"), tool->isClosed()}});
}

}  // namespace GRAPHIC
}  // namespace TOLVA
