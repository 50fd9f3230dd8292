// Symbols, storing features, copies, moves, layer edits and undo. Every edit
// checks all of its input before it changes anything, so a call that throws
// leaves the job as it was. The one step that can fail after a change is the
// journal line the kernel writes itself; the change is then taken back. An
// edit records its undo last, in room reserved before the change. Besides the
// change, a record takes back the symbols registered for the edit, the
// attribute sets it interned and later changes of the selection (see
// UndoRecord in kernel.h and FORMATS.md, "Undo").
#include <algorithm>
#include <set>

#include "geometry.h"
#include "kernel.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {

void insertLayer(Job& job, const API::matrix_info& row, size_t position);
void removeLayer(Job& job, size_t position);
void validateRow(const API::matrix_info& row);

namespace {

// Layer indices of a name list, in order, each once.
std::vector<size_t> resolveLayers(const Job& job, const API::str_list& layers) {
    std::vector<size_t> out;
    for (const std::string& name : layers) {
        size_t l = findLayerIndex(job, name);
        if (std::find(out.begin(), out.end(), l) == out.end()) out.push_back(l);
    }
    return out;
}

void reserveUndo(Job& job) { job.undo.reserve(kUndoDepth); }

// A record for an edit about to be made: what it needs of the job as it is.
UndoRecord beginUndo(const Job& job, UndoRecord::Kind kind) {
    UndoRecord u;
    u.kind = kind;
    u.attrSets = job.attrs.sets.size();
    return u;
}

// After reserveUndo this cannot fail. The symbols registered since the last
// edit were registered for this one.
void pushUndo(Job& job, UndoRecord&& record) {
    record.symbolsBefore = std::move(job.pendingSymbols);
    job.pendingSymbols.clear();
    if (job.undo.size() >= kUndoDepth) job.undo.erase(job.undo.begin());
    job.undo.push_back(std::move(record));
    ++job.editSerial;
}

// Takes back the symbols of `layers` (one entry per symbol, in the order they
// were registered), last first. Each is the last of its layer's table. A
// layer that is gone took its symbols along.
void dropSymbols(Job& job, const std::vector<uint64_t>& layers) {
    for (auto it = layers.rbegin(); it != layers.rend(); ++it) {
        long l = layerPositionById(job, *it);
        if (l < 0) continue;
        LayerDef& def = job.layers[static_cast<size_t>(l)];
        if (def.symbols.empty()) continue;
        def.symbolIndex.erase(def.symbols.back().name);
        def.symbols.pop_back();
    }
}

// Features rewritten in place get their records before the edit back.
void restoreRecords(Job& job, const std::vector<RemovedFeatures>& replaced) {
    for (const RemovedFeatures& r : replaced) {
        LayerData& d = job.steps[r.step].layers[r.layer];
        for (size_t i = 0; i < r.ids.size(); ++i) {
            Feature& f = d.features[r.ids[i]];
            const uint8_t overlay = f.flags & kInOverlay;  // the index's own bookkeeping
            f = r.records[i];
            f.flags = static_cast<uint8_t>((f.flags & ~kInOverlay) | overlay);
            d.index.markChanged(d.features, r.ids[i]);
        }
    }
}

void restoreSelection(Job& job, const std::vector<SelectionSnapshot>& snapshots) {
    for (const SelectionSnapshot& s : snapshots) {
        long l = layerPositionById(job, s.layer);
        if (l < 0 || s.step >= job.steps.size()) continue;
        std::vector<Feature>& features = job.steps[s.step].layers[static_cast<size_t>(l)].features;
        const size_t n = std::min(features.size(), s.features);
        for (size_t i = 0; i < n; ++i) {
            if ((s.bits[i / 64] >> (i % 64)) & 1u)
                features[i].flags |= kSelected;
            else
                features[i].flags &= static_cast<uint8_t>(~kSelected);
        }
    }
}

LayerSizes sizesOf(size_t step, size_t layer, const LayerData& d) {
    return {step,
            layer,
            d.features.size(),
            d.vertices.size(),
            d.contourSizes.size(),
            d.surfaces.size(),
            d.texts.size()};
}

std::vector<uint32_t> selectedIds(const LayerData& d) {
    std::vector<uint32_t> ids;
    for (uint32_t i = 0; i < d.features.size(); ++i)
        if (d.features[i].selected()) ids.push_back(i);
    return ids;
}

void checkMoves(const Job& job, const LayerData& d, size_t layer,
                const std::vector<uint32_t>& ids, int32_t dx, int32_t dy) {
    for (uint32_t id : ids)
        if (!canMove(d.features[id], dx, dy))
            fail("moving feature " + std::to_string(id) + " of layer '" + job.layers[layer].row.name +
                 "' by (" + std::to_string(dx) + ", " + std::to_string(dy) +
                 ") leaves the +-1e9 nm range");
}

// The features of `infos` found in the layer: each must still be the feature
// at its index, with the same record.
std::vector<uint32_t> specifiedIds(const Job& job, size_t layer, const LayerData& d,
                                   const std::vector<API::featureInfo>& infos) {
    std::vector<uint32_t> ids;
    const std::string& name = job.layers[layer].row.name;
    for (const API::featureInfo& info : infos) {
        if (info.index < 0 || static_cast<size_t>(info.index) >= d.features.size())
            fail("layer '" + name + "' has no feature " + std::to_string(info.index));
        uint32_t id = static_cast<uint32_t>(info.index);
        if (featureRecord(d, d.features[id]) != info.record)
            fail("feature " + std::to_string(id) + " of layer '" + name +
                 "' is not the one described (" + info.record + ")");
        ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

void applyMove(Job& job, size_t step, size_t layer, const std::vector<uint32_t>& ids, int32_t dx,
               int32_t dy) {
    LayerData& d = job.steps[step].layers[layer];
    for (uint32_t id : ids) {
        translate(d, d.features[id], dx, dy);
        d.index.markChanged(d.features, id);
    }
}

// Shrinks layers back to the sizes they had before an append.
void truncateLayers(Job& job, const std::vector<LayerSizes>& sizes) {
    for (const LayerSizes& a : sizes) {
        LayerData& d = job.steps[a.step].layers[a.layer];
        d.features.resize(a.features);
        d.vertices.resize(a.vertices);
        d.contourSizes.resize(a.contours);
        d.surfaces.resize(a.surfaces);
        d.texts.resize(a.texts);
        d.index.truncate(a.features);
    }
}

// Appends copies of `ids` for each offset (room reserved); returns the undo entry.
LayerSizes applyCopies(Job& job, size_t step, size_t layer, const std::vector<uint32_t>& ids,
                       const std::vector<API::point>& offsets) {
    LayerData& d = job.steps[step].layers[layer];
    LayerSizes before = sizesOf(step, layer, d);
    for (const API::point& o : offsets)
        for (uint32_t id : ids) d.index.markChanged(d.features, appendCopy(d, id, o.x, o.y));
    return before;
}

void moveLayers(Job& job, size_t step, const std::vector<std::pair<size_t, std::vector<uint32_t>>>& sets,
                int32_t dx, int32_t dy) {
    for (auto& s : sets) checkMoves(job, job.steps[step].layers[s.first], s.first, s.second, dx, dy);
    reserveUndo(job);
    UndoRecord u = beginUndo(job, UndoRecord::Moved);
    u.dx = dx;
    u.dy = dy;
    for (auto& s : sets) {
        if (s.second.empty()) continue;
        applyMove(job, step, s.first, s.second, dx, dy);
        u.moved.push_back({step, s.first, s.second});
    }
    if (!u.moved.empty()) pushUndo(job, std::move(u));
}

void copyLayers(Job& job, size_t step, const std::vector<std::pair<size_t, std::vector<uint32_t>>>& sets,
                const std::vector<API::point>& offsets) {
    for (const API::point& o : offsets)
        for (auto& s : sets) checkMoves(job, job.steps[step].layers[s.first], s.first, s.second, o.x, o.y);
    for (auto& s : sets) {
        size_t total = job.steps[step].layers[s.first].features.size() + s.second.size() * offsets.size();
        if (total > kMaxLayerFeatures) fail("layer '" + job.layers[s.first].row.name + "' would hold too many features");
    }
    for (auto& s : sets) {
        std::vector<Feature>& features = job.steps[step].layers[s.first].features;
        features.reserve(features.size() + s.second.size() * offsets.size());
    }
    reserveUndo(job);
    UndoRecord u = beginUndo(job, UndoRecord::Appended);
    for (auto& s : sets) {
        if (s.second.empty() || offsets.empty()) continue;
        u.appended.push_back(applyCopies(job, step, s.first, s.second, offsets));
    }
    if (!u.appended.empty()) pushUndo(job, std::move(u));
}

// Takes the features `ids` (increasing) out of a layer; the others keep
// their order and close up. The index is rebuilt at the next query.
RemovedFeatures removeFeatures(LayerData& d, size_t step, size_t layer, const std::vector<uint32_t>& ids) {
    RemovedFeatures r{step, layer, ids, {}};
    r.records.reserve(ids.size());
    std::vector<Feature> kept;
    kept.reserve(d.features.size() - ids.size());
    size_t next = 0;
    for (uint32_t i = 0; i < d.features.size(); ++i) {
        Feature f = d.features[i];
        f.flags &= static_cast<uint8_t>(~kInOverlay);
        if (next < ids.size() && ids[next] == i) {
            r.records.push_back(f);
            ++next;
        } else {
            kept.push_back(f);
        }
    }
    d.features = std::move(kept);
    d.index.invalidate();
    return r;
}

// The reverse of removeFeatures: every record goes back to the id it had.
void restoreFeatures(Job& job, const RemovedFeatures& r) {
    LayerData& d = job.steps[r.step].layers[r.layer];
    std::vector<Feature> merged;
    merged.reserve(d.features.size() + r.records.size());
    size_t next = 0, kept = 0;
    for (uint32_t i = 0; i < d.features.size() + r.records.size(); ++i) {
        if (next < r.ids.size() && r.ids[next] == i) merged.push_back(r.records[next++]);
        else merged.push_back(d.features[kept++]);
    }
    for (Feature& f : merged) f.flags &= static_cast<uint8_t>(~kInOverlay);
    d.features = std::move(merged);
    d.index.invalidate();
}

void removeLayersSelection(Job& job, size_t step, const std::vector<std::pair<size_t, std::vector<uint32_t>>>& sets) {
    reserveUndo(job);
    UndoRecord u = beginUndo(job, UndoRecord::Removed);
    for (auto& s : sets) {
        if (s.second.empty()) continue;
        u.removed.push_back(removeFeatures(job.steps[step].layers[s.first], step, s.first, s.second));
    }
    if (!u.removed.empty()) pushUndo(job, std::move(u));
}

std::vector<std::pair<size_t, std::vector<uint32_t>>> selectedSets(Job& job, size_t step,
                                                                   const API::str_list& layers) {
    std::vector<std::pair<size_t, std::vector<uint32_t>>> sets;
    for (size_t l : resolveLayers(job, layers)) sets.emplace_back(l, selectedIds(job.steps[step].layers[l]));
    return sets;
}

std::vector<std::pair<size_t, std::vector<uint32_t>>> specifiedSets(
    Job& job, size_t step, const API::str_list& layers,
    const std::map<std::string, std::vector<API::featureInfo>>& features) {
    std::vector<std::pair<size_t, std::vector<uint32_t>>> sets;
    for (size_t l : resolveLayers(job, layers)) {
        auto it = features.find(job.layers[l].row.name);
        if (it == features.end()) continue;
        sets.emplace_back(l, specifiedIds(job, l, job.steps[step].layers[l], it->second));
    }
    return sets;
}

struct PendingLayer {
    size_t layer;
    std::vector<ParsedFeature> features;
    std::vector<const API::attr_map*> attrs;
};

// Parses the records of each named layer before anything is stored, so a bad
// record fails the whole call. `fill(name, add)` calls add(record, attributes)
// for each record given for that layer (and fails when none is given).
template <class Fill>
std::vector<PendingLayer> parseLayers(Job& j, const API::str_list& layers, Fill&& fill) {
    std::vector<PendingLayer> pending;
    for (size_t l : resolveLayers(j, layers)) {
        const std::string& name = j.layers[l].row.name;
        PendingLayer p{l, {}, {}};
        fill(name, [&](const std::string& record, const API::attr_map* attributes) {
            p.features.push_back(parseRecord(record));
            checkSymbol(j.layers[l], p.features.back(), name);
            p.attrs.push_back(attributes);
        });
        pending.push_back(std::move(p));
    }
    return pending;
}

// Appends the parsed features of each layer. With selectNew they come
// selected, and the selection is journalled as the kernel's own line; if that
// line cannot be written, the features and their attribute sets are taken
// out again. Nothing to add is no edit: no undo record, no journal line.
void storeFeatures(Job& job, const std::string& stepName, size_t step,
                   std::vector<PendingLayer>& pending, bool selectNew) {
    UndoRecord u = beginUndo(job, UndoRecord::Appended);
    for (const PendingLayer& p : pending) {
        if (p.features.empty()) continue;
        const LayerData& d = job.steps[step].layers[p.layer];
        if (d.features.size() + p.features.size() > kMaxLayerFeatures)
            fail("layer '" + job.layers[p.layer].row.name + "' would hold too many features");
        u.appended.push_back(sizesOf(step, p.layer, d));
    }
    if (u.appended.empty()) return;
    reserveUndo(job);
    try {
        std::map<std::string, int> added;
        for (PendingLayer& p : pending) {
            LayerData& d = job.steps[step].layers[p.layer];
            for (size_t i = 0; i < p.features.size(); ++i) {
                uint32_t attrs = p.attrs[i] ? job.attrs.intern(*p.attrs[i]) : 0;
                uint32_t id = appendFeature(d, p.features[i], attrs);
                if (selectNew) d.features[id].flags |= kSelected;
                d.index.markChanged(d.features, id);
            }
            if (!p.features.empty()) added[job.layers[p.layer].row.name] = static_cast<int>(p.features.size());
        }
        if (selectNew) journalSelectAdded(job.name, stepName, added);
    } catch (...) {
        truncateLayers(job, u.appended);
        job.attrs.truncate(u.attrSets);
        throw;
    }
    pushUndo(job, std::move(u));
}

}  // namespace

void noteSelectionChange(Job& job, size_t step, size_t layer) {
    if (job.undo.empty()) return;  // nothing to go back to
    UndoRecord& top = job.undo.back();
    const uint64_t id = job.layers[layer].id;
    for (const SelectionSnapshot& s : top.selection)
        if (s.step == step && s.layer == id) return;  // the first change counts
    const std::vector<Feature>& features = job.steps[step].layers[layer].features;
    SelectionSnapshot snap;
    snap.step = step;
    snap.layer = id;
    snap.features = features.size();
    snap.bits.assign((features.size() + 63) / 64, 0);
    for (size_t i = 0; i < features.size(); ++i)
        if (features[i].selected()) snap.bits[i / 64] |= uint64_t(1) << (i % 64);
    top.selection.push_back(std::move(snap));
}

UndoRecord beginEdit(Job& job, UndoRecord::Kind kind) {
    reserveUndo(job);
    return beginUndo(job, kind);
}

void commitEdit(Job& job, UndoRecord&& record) { pushUndo(job, std::move(record)); }

RemovedFeatures removeLayerFeatures(Job& job, size_t step, size_t layer, const std::vector<uint32_t>& ids) {
    return removeFeatures(job.steps[step].layers[layer], step, layer, ids);
}

void undoComposite(Job& job, const UndoRecord& u) {
    truncateLayers(job, u.appended);
    for (auto it = u.removed.rbegin(); it != u.removed.rend(); ++it) restoreFeatures(job, *it);
    restoreRecords(job, u.replaced);
    if (u.profileChanged && u.profileStep < job.steps.size()) job.steps[u.profileStep].profile = u.oldProfile;
    if (u.tableChanged && u.tableStep < job.steps.size()) job.steps[u.tableStep].srTable = u.oldTable;
}

void settlePendingSymbols(Job& job) {
    if (!job.undo.empty()) {
        std::vector<uint64_t>& after = job.undo.back().symbolsAfter;
        after.insert(after.end(), job.pendingSymbols.begin(), job.pendingSymbols.end());
    }
    job.pendingSymbols.clear();
}

}  // namespace KERNEL

namespace API {

using namespace KERNEL;

void create_new_symbol(const str& job, const str& step, const str& layer, const str& symbol,
                       int& index) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    findStepIndex(j, step);
    LayerDef& def = j.layers[findLayerIndex(j, layer)];
    auto it = def.symbolIndex.find(symbol);
    if (it != def.symbolIndex.end()) {
        index = it->second;
        return;
    }
    Symbol s = parseSymbol(symbol);
    j.pendingSymbols.reserve(j.pendingSymbols.size() + 1);
    const int added = static_cast<int>(def.symbols.size());
    def.symbols.push_back(std::move(s));
    try {
        def.symbolIndex.emplace(symbol, added);
    } catch (...) {
        def.symbols.pop_back();
        throw;
    }
    j.pendingSymbols.push_back(def.id);  // room reserved: cannot fail
    index = added;
}

void AddFeature(const str& job, const str& step, const str_list& layers,
                const std::map<str, str>& strings, const attr_map& attributes, bool select_new) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    std::vector<PendingLayer> pending = parseLayers(j, layers, [&](const std::string& name, auto&& add) {
        auto it = strings.find(name);
        if (it == strings.end()) fail("no feature string given for layer '" + name + "'");
        add(it->second, &attributes);
    });
    storeFeatures(j, step, s, pending, select_new);
}

void AddFeatures(const str& job, const str& step, const str_list& layers,
                 const std::map<str, str_list>& strings, const std::vector<attr_map>& attributes) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    std::vector<PendingLayer> pending = parseLayers(j, layers, [&](const std::string& name, auto&& add) {
        auto it = strings.find(name);
        if (it == strings.end()) fail("no feature strings given for layer '" + name + "'");
        for (size_t i = 0; i < it->second.size(); ++i) add(it->second[i], i < attributes.size() ? &attributes[i] : nullptr);
    });
    storeFeatures(j, step, s, pending, false);
}

}  // namespace API

namespace KERNEL {
void addBuiltFeatures(const std::string& job, const std::string& step, const std::string& layer,
                      std::vector<ParsedFeature>& features, const std::vector<API::attr_map>& attributes) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    std::vector<PendingLayer> pending = parseLayers(j, {layer}, [&](const std::string&, auto&&) {});
    PendingLayer& p = pending.front();
    for (size_t i = 0; i < features.size(); ++i) {
        checkSymbol(j.layers[p.layer], features[i], layer);
        p.attrs.push_back(i < attributes.size() ? &attributes[i] : nullptr);
    }
    p.features = std::move(features);
    storeFeatures(j, step, s, pending, false);
}
}  // namespace KERNEL

namespace API {

void copy_features_in_samelayer(const str& job, const str& step, const str_list& layers, int dx,
                                int dy) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    copyLayers(j, s, selectedSets(j, s, layers), {point{dx, dy}});
}

void move_same_layer(const str& job, const str& step, const str_list& layers, int dx, int dy) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    moveLayers(j, s, selectedSets(j, s, layers), dx, dy);
}

void multi_copy_features_in_samelayer(const str& job, const str& step, const str_list& layers,
                                      const std::vector<point>& offsets) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    copyLayers(j, s, selectedSets(j, s, layers), offsets);
}

void move_specified_features(const str& job, const str& step, const str_list& layers,
                             const std::map<str, std::vector<featureInfo>>& features, int dx,
                             int dy) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    moveLayers(j, s, specifiedSets(j, s, layers, features), dx, dy);
}

void copy_specified_features(const str& job, const str& step, const str_list& layers,
                             const std::map<str, std::vector<featureInfo>>& features, int dx,
                             int dy) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    copyLayers(j, s, specifiedSets(j, s, layers, features), {point{dx, dy}});
}

void delete_selected_features(const str& job, const str& step, const str_list& layers) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    removeLayersSelection(j, s, selectedSets(j, s, layers));
}

bool undo_last_edit(const str& job) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    if (j.undo.empty()) return false;
    journalUndo(job);  // the one step that can fail: before any change
    UndoRecord u = std::move(j.undo.back());
    j.undo.pop_back();
    ++j.editSerial;
    // Newest first: what came after the edit, then the edit, then what was
    // registered for it.
    dropSymbols(j, j.pendingSymbols);
    j.pendingSymbols.clear();
    dropSymbols(j, u.symbolsAfter);
    restoreSelection(j, u.selection);
    switch (u.kind) {
    case UndoRecord::Appended:
        truncateLayers(j, u.appended);
        break;
    case UndoRecord::Moved:
        for (const MovedFeatures& m : u.moved) applyMove(j, m.step, m.layer, m.ids, -u.dx, -u.dy);
        break;
    case UndoRecord::Removed:
        for (auto it = u.removed.rbegin(); it != u.removed.rend(); ++it) restoreFeatures(j, *it);
        break;
    case UndoRecord::Composite:
        undoComposite(j, u);
        break;
    case UndoRecord::NotesChanged:
        undoNotes(j, u);
        break;
    case UndoRecord::Replaced:
        restoreRecords(j, u.replaced);
        break;
    case UndoRecord::LayerCreated: {
        long l = layerPositionById(j, u.layer);
        if (l >= 0) removeLayer(j, static_cast<size_t>(l));
        break;
    }
    case UndoRecord::MatrixChanged: {
        long l = layerPositionById(j, u.layer);
        if (l >= 0) {
            matrix_info& row = j.layers[static_cast<size_t>(l)].row;
            const int number = row.row;
            row = u.oldRow;
            row.row = number;
        }
        break;
    }
    }
    j.attrs.truncate(u.attrSets);
    dropSymbols(j, u.symbolsBefore);
    return true;
}

bool create_new_layer(const str& job, const str& step, const str& layer, int position) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    findStepIndex(j, step);
    if (layerPosition(j, layer) >= 0) return false;
    matrix_info row;
    row.name = layer;
    row.context = "misc";
    row.type = "document";
    row.polarity = "positive";
    validateRow(row);
    size_t at = position < 0 || static_cast<size_t>(position) > j.layers.size()
                    ? j.layers.size()
                    : static_cast<size_t>(position);
    reserveUndo(j);
    UndoRecord u = beginUndo(j, UndoRecord::LayerCreated);
    insertLayer(j, row, at);
    u.layer = j.layers[at].id;
    pushUndo(j, std::move(u));
    return true;
}

void change_matrix(const str& job, const matrix_info& row) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    if (row.row < 1 || static_cast<size_t>(row.row) > j.layers.size())
        fail("job '" + job + "' has no matrix row " + std::to_string(row.row));
    validateRow(row);
    long other = layerPosition(j, row.name);
    if (other >= 0 && other != row.row - 1) fail("layer '" + row.name + "' exists already");
    reserveUndo(j);
    UndoRecord u = beginUndo(j, UndoRecord::MatrixChanged);
    LayerDef& def = j.layers[static_cast<size_t>(row.row - 1)];
    u.oldRow = def.row;
    u.layer = def.id;
    def.row = row;
    pushUndo(j, std::move(u));
}

}  // namespace API
}  // namespace TOLVA
