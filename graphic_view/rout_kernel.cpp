#include "rout_kernel.h"

#include <glog/logging.h>

#include <QByteArray>
#include <algorithm>
#include <set>
#include <utility>

#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "rout_geometry.h"

namespace TOLVA {
namespace GRAPHIC {
namespace rout {

const char kRoutLayerType[] = "rout";
const char kSequenceAttribute[] = ".rout_seq";
const char kDocumentLayerType[] = "document";

namespace {
using Piece = ViewWidget::chain_info;
// A chain is known by its layer and number.
using ChainKey = std::pair<std::string, int>;
using FeatureKey = std::pair<std::string, int>;

constexpr char kCompensatedFlag[] = "1";

ChainKey keyOf(const ChainRecord& record) { return {record.entries.front().layer, record.entries.front().chain}; }

bool isLineOrArc(int type) { return type == API::FT_LINE || type == API::FT_ARC; }

bool readWhole(const std::string& text, int low, int& value) {
    bool ok = false;
    const int v = QByteArray::fromStdString(text).trimmed().toInt(&ok);
    if (!ok || v < low) return false;
    value = v;
    return true;
}

// An optional whole-number attribute: absent leaves `value` alone.
bool readOptional(const API::attr_map& attributes, const char* name, int& value) {
    const auto it = attributes.find(name);
    return it == attributes.end() || readWhole(it->second, 0, value);
}

enum class AttributeChain { None, Read, Unreadable };

// The chain entry that a feature's rout attributes describe.
AttributeChain chainOf(const API::featureInfo& feature, const std::string& layer, Piece& out) {
    const auto chain = feature.attributes.find(kChainAttribute);
    if (chain == feature.attributes.end() || !isLineOrArc(feature.type)) return AttributeChain::None;
    Piece entry = entryOf(feature, layer);
    const auto comp = feature.attributes.find(kCompAttribute);
    const bool readable = readWhole(chain->second, 1, entry.chain) &&
                          (comp == feature.attributes.end() || compFromText(comp->second, entry.comp)) &&
                          readOptional(feature.attributes, kFeedAttribute, entry.feed) &&
                          readOptional(feature.attributes, kSpeedAttribute, entry.speed) &&
                          readOptional(feature.attributes, kFlagAttribute, entry.flag) &&
                          readOptional(feature.attributes, kSequenceAttribute, entry.seq);
    if (!readable) return AttributeChain::Unreadable;
    entry.tool_size = symbolToolSize(feature.symbol);
    out = entry;
    return AttributeChain::Read;
}

// The entry with its feature's present geometry; false when the feature
// is gone or has become something else.
bool follow(const Piece& entry, const RoutLayers& layers, Piece& out) {
    const auto layer = layers.find(entry.layer);
    if (layer == layers.end()) return false;
    const auto feature = layer->second.find(entry.index);
    if (feature == layer->second.end() || feature->second.type != entry.type) return false;
    const Piece now = entryOf(feature->second, entry.layer);
    out = entry;
    out.start = now.start;
    out.end = now.end;
    out.centre = now.centre;
    out.direction = now.direction;
    out.origin_start = now.start;
    out.origin_end = now.end;
    out.symbol = now.symbol;
    out.reversed = false;
    if (entry.reversed) reverse(out);
    return true;
}

// The picked chains, following their features; `claimed` gets each
// feature they hold.
std::map<ChainKey, ChainRecord> followPicked(const std::vector<ChainRecord>& chains, const RoutLayers& layers,
                                             std::set<FeatureKey>& claimed) {
    std::map<ChainKey, ChainRecord> out;
    for (const ChainRecord& record : chains) {
        if (!record.picked) continue;
        ChainRecord now{true, {}};
        for (const Piece& entry : record.entries) {
            Piece followed;
            if (!follow(entry, layers, followed)) continue;
            now.entries.push_back(followed);
            claimed.insert({entry.layer, entry.index});
        }
        if (!now.entries.empty()) out[keyOf(now)] = now;
    }
    return out;
}

// A chain whose every piece carries its position is put in that order (its
// pieces were written in travel direction, and a closed chain keeps its
// start); any other is arranged by where its pieces meet.
void inWrittenOrder(Chain& chain) {
    if (std::any_of(chain.begin(), chain.end(), [](const Piece& p) { return p.seq <= 0; })) return arrange(chain);
    std::stable_sort(chain.begin(), chain.end(), [](const Piece& a, const Piece& b) { return a.seq < b.seq; });
}

// Adds the chains written into the rout attributes, except features and
// chain numbers that picked chains hold.
void readAttributeChains(const RoutLayers& layers, const std::set<FeatureKey>& claimed,
                         std::map<ChainKey, ChainRecord>& chains) {
    std::map<ChainKey, Chain> found;
    for (const auto& layer : layers) {
        int unreadable = 0;
        for (const auto& feature : layer.second) {
            if (claimed.count({layer.first, feature.first})) continue;
            Piece entry;
            const AttributeChain read = chainOf(feature.second, layer.first, entry);
            if (read == AttributeChain::Unreadable) ++unreadable;
            if (read != AttributeChain::Read || chains.count({layer.first, entry.chain})) continue;
            found[{layer.first, entry.chain}].push_back(entry);
        }
        if (unreadable > 0)
            LOG(ERROR) << "rout layer " << layer.first << ": " << unreadable
                       << " features carry rout attributes that cannot be read and are left out of the chains";
    }
    for (auto& chain : found) {
        inWrittenOrder(chain.second);
        chains[chain.first] = ChainRecord{false, std::move(chain.second)};
    }
}

std::string pieceString(const Piece& piece, int symbol) {
    const int polarity = API::POL_POSITIVE;
    const int dcode = 0;
    if (!isArc(piece))
        return journalled(DB::GreateLineString_db_save, API::GreateLineString, piece.start.x(), piece.start.y(),
                          piece.end.x(), piece.end.y(), symbol, polarity, dcode);
    return journalled(DB::GreateArcString_db_save, API::GreateArcString, piece.start.x(), piece.start.y(),
                      piece.end.x(), piece.end.y(), piece.centre.x(), piece.centre.y(), symbol, polarity, dcode,
                      isClockwise(piece));
}

// The symbol's index on `layer`, registered there once per run.
int symbolOn(const std::string& job, const std::string& step, const std::string& layer, const std::string& symbol,
             std::map<std::string, int>& known) {
    const auto it = known.find(symbol);
    if (it != known.end()) return it->second;
    int index = -1;
    journalled(DB::create_new_symbol_db_save, API::create_new_symbol, job, step, layer, symbol, index);
    known[symbol] = index;
    return index;
}

// An arc cut down to nothing would read as a full circle.
bool collapsedArc(const Piece& piece) {
    return isArc(piece) && coincident(piece.start, piece.end) && !coincident(piece.origin_start, piece.origin_end);
}
}  // namespace

bool findRow(const std::vector<API::matrix_info>& rows, const std::string& layer, API::matrix_info& row) {
    for (const API::matrix_info& r : rows) {
        if (r.name != layer) continue;
        row = r;
        return true;
    }
    return false;
}

bool isRoutLayer(const std::vector<API::matrix_info>& rows, const std::string& layer) {
    API::matrix_info row;
    return findRow(rows, layer, row) && row.type == kRoutLayerType;
}

RoutLayers readRoutLayers(const std::string& job, const std::string& step) {
    RoutLayers out;
    for (const API::matrix_info& row : API::get_matrix(job)) {
        if (row.type != kRoutLayerType) continue;
        std::vector<API::featureInfo> features;
        API::get_features_in_box(job, step, row.name, API::layer_box(job, step, row.name), features);
        LayerFeatures& layer = out[row.name];
        for (API::featureInfo& f : features) layer.emplace(f.index, std::move(f));
    }
    return out;
}

void readSelection(const std::string& job, const std::string& step, const std::string& layer,
                   std::vector<API::featureInfo>& selected) {
    if (DB::get_SaveFlag()) DB::get_selected_feature_info_db_save(job, step, layer);
    API::get_selected_feature_info(job, step, layer, selected);
}

Piece entryOf(const API::featureInfo& feature, const std::string& layer) {
    Piece entry;
    entry.layer = layer;
    entry.index = feature.index;
    entry.type = feature.type;
    entry.start = QPointF(feature.xs, feature.ys);
    entry.end = QPointF(feature.xe, feature.ye);
    if (feature.type == API::FT_ARC) {
        entry.centre = QPointF(feature.xc, feature.yc);
        entry.direction = QString::fromStdString(feature.direction);
    }
    entry.origin_start = entry.start;
    entry.origin_end = entry.end;
    entry.symbol = feature.symbol;
    return entry;
}

std::vector<ChainRecord> refreshed(const std::vector<ChainRecord>& chains, const RoutLayers& layers) {
    std::set<FeatureKey> claimed;
    std::map<ChainKey, ChainRecord> now = followPicked(chains, layers, claimed);
    readAttributeChains(layers, claimed, now);
    std::vector<ChainRecord> out;
    for (const ChainRecord& before : chains) {
        if (before.entries.empty()) continue;
        const auto it = now.find(keyOf(before));
        if (it == now.end()) continue;
        out.push_back(std::move(it->second));
        now.erase(it);
    }
    for (auto& fresh : now) out.push_back(std::move(fresh.second));
    return out;
}

API::attr_map pathAttributes(const Piece& piece) {
    return {{kChainAttribute, std::to_string(piece.chain)},
            {kCompAttribute, compText(piece.comp)},
            {kFlagAttribute, kCompensatedFlag},
            {kFeedAttribute, std::to_string(piece.feed)},
            {kSpeedAttribute, std::to_string(piece.speed)}};
}

PathStrings pathStrings(const std::string& job, const std::string& step, const std::string& layer,
                        const std::vector<Chain>& paths) {
    PathStrings out;
    std::map<std::string, int> symbols;
    for (const Chain& path : paths) {
        for (const Piece& piece : path) {
            if (collapsedArc(piece)) continue;
            out.strings.push_back(pieceString(piece, symbolOn(job, step, layer, piece.symbol, symbols)));
            out.attributes.push_back(pathAttributes(piece));
        }
    }
    return out;
}

bool selectRange(const std::string& job, const std::string& step, const std::string& layer, int first, int count) {
    journalled(DB::clear_selected_features_db_save, API::clear_selected_features, job, step, layer);
    for (int index = first; index < first + count; ++index)
        journalled(DB::select_feature_by_id_db_save, API::select_feature_by_id, job, step, layer, index);
    std::vector<API::featureInfo> selected;
    readSelection(job, step, layer, selected);
    return static_cast<int>(selected.size()) == count;
}

namespace {
// The feature of a chain piece as it is written into the job: in travel
// direction, carrying the chain's rout attributes and its position.
API::featureInfo writtenFeature(const std::string& job, const std::string& step, const Piece& piece, int position) {
    API::featureInfo f;
    API::get_featureinfo_by_index(job, step, piece.layer, piece.index, f);
    if (f.type != piece.type) throw API::KernelText("feature " + std::to_string(piece.index) + " of layer " +
                                                    piece.layer + " is no longer the line or arc of the chain");
    if (piece.reversed) {
        std::swap(f.xs, f.xe);
        std::swap(f.ys, f.ye);
        if (f.direction == "CW") f.direction = "CCW";
        else if (f.direction == "CCW") f.direction = "CW";
    }
    if (!piece.symbol.empty()) f.symbol = piece.symbol;
    f.attributes[kChainAttribute] = std::to_string(piece.chain);
    f.attributes[kCompAttribute] = compText(piece.comp);
    f.attributes[kFeedAttribute] = std::to_string(piece.feed);
    f.attributes[kSpeedAttribute] = std::to_string(piece.speed);
    f.attributes[kSequenceAttribute] = std::to_string(position);
    f.attributes.erase(kFlagAttribute);
    if (piece.flag != 0) f.attributes[kFlagAttribute] = std::to_string(piece.flag);
    return f;
}
}  // namespace

void writeChains(const std::string& job, const std::string& step, const std::string& layer,
                 const std::vector<Chain>& chains) {
    std::map<int, API::featureInfo> rewritten;
    for (const Chain& chain : chains) {
        int position = 0;
        for (const Piece& piece : chain) {
            if (piece.layer != layer || piece.index < 0) continue;
            rewritten[piece.index] = writtenFeature(job, step, piece, ++position);
        }
    }
    if (rewritten.empty()) return;
    EDIT::edit_plan plan;
    plan.layer = layer;
    plan.serial = JOB::edit_serial(job);
    for (auto& entry : rewritten) {
        plan.remove.push_back(entry.first);
        plan.add.push_back(std::move(entry.second));
        plan.contours.emplace_back();
        plan.moved_from.push_back(entry.first);
    }
    if (DB::get_SaveFlag()) DB::apply_plan_db_save(job, step, plan);
    EDIT::apply_plan(job, step, plan);
}

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
