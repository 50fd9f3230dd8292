// Selection: by polygon with an attribute filter, whole layers, single
// features, and the queries on the selection.
#include <algorithm>

#include "hit.h"
#include "kernel.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {
namespace {

struct LayerRef {
    Job& job;
    LayerDef& def;
    LayerData& data;
    size_t step, layer;
    // The selection is about to change (for undo); once the call cannot fail.
    void changing() const { noteSelectionChange(job, step, layer); }
};

LayerRef findLayer(const std::string& job, const std::string& step, const std::string& layer) {
    Job& j = findJob(job);
    size_t s = findStepIndex(j, step);
    size_t l = findLayerIndex(j, layer);
    return {j, j.layers[l], j.steps[s].layers[l], s, l};
}

bool passesParam(const API::select_param& p, const Feature& f) {
    if (f.positive() ? !p.positive : !p.negative) return false;
    switch (f.type) {
    case API::FT_LINE: return p.lines;
    case API::FT_PAD: return p.pads;
    case API::FT_ARC: return p.arcs;
    case API::FT_SURFACE: return p.surfaces;
    case API::FT_TEXT: return p.texts;
    }
    return false;
}

bool matchesEntry(const LayerRef& l, const Feature& f, const std::pair<std::string, std::string>& e) {
    if (e.first == "Polarity") return e.second == (f.positive() ? "POS" : "NEG");
    if (e.first == "SymbolText") {
        if (f.type != API::FT_LINE && f.type != API::FT_PAD && f.type != API::FT_ARC) return false;
        return l.def.symbols[f.ref].name == e.second;
    }
    const API::attr_map& attrs = l.job.attrs.sets[f.attrs];
    auto it = attrs.find(e.first);
    return it != attrs.end() && (e.second.empty() || it->second == e.second);
}

bool excluded(const LayerRef& l, const Feature& f, const API::select_filter& filter) {
    for (const auto& e : filter.exclude)
        if (matchesEntry(l, f, e)) return true;
    return false;
}

bool included(const LayerRef& l, const Feature& f, const API::select_filter& filter) {
    for (const auto& e : filter.include)
        if (!matchesEntry(l, f, e)) return false;
    return true;
}

void clearSelection(LayerData& d) {
    for (Feature& f : d.features) f.flags &= static_cast<uint8_t>(~kSelected);
}

}  // namespace
}  // namespace KERNEL

namespace API {

using namespace KERNEL;

select_report select_features(const str& job, const str& step, const str& layer,
                              const std::vector<point>& polygon, const select_filter& filter,
                              int operation, int clear_first) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    if (polygon.empty()) fail("selection polygon is empty");
    if (operation != 0 && operation != 1)
        fail("selection operation " + std::to_string(operation) + " is neither 0 (select) nor 1 (unselect)");
    const select_param param = state().selectParam;
    HitPolygon q(polygon);
    l.changing();
    if (clear_first) clearSelection(l.data);
    ensureIndex(l.def, l.data);
    std::vector<uint32_t> ids;
    SpatialIndex::Box box(
        {static_cast<int32_t>(std::floor(q.xmin)), static_cast<int32_t>(std::floor(q.ymin))},
        {static_cast<int32_t>(std::ceil(q.xmax)), static_cast<int32_t>(std::ceil(q.ymax))});
    l.data.index.query(l.data.features, box, ids);
    std::sort(ids.begin(), ids.end());
    select_report report;
    LayerContext ctx{l.def, l.data};
    for (uint32_t id : ids) {
        Feature& f = l.data.features[id];
        if (!passesParam(param, f) || !featureMeets(ctx, f, q, param.inside_only)) continue;
        if (excluded(l, f, filter)) {
            if (f.selected()) report.dropped.push_back(makeInfo(l.job, l.def, l.data, id));
            continue;
        }
        if (!included(l, f, filter)) continue;
        if (operation == 0) {
            f.flags |= kSelected;
            ++report.selected;
        } else {
            f.flags &= static_cast<uint8_t>(~kSelected);
        }
    }
    return report;
}

int select_features(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    const select_param param = state().selectParam;
    l.changing();
    int count = 0;
    for (Feature& f : l.data.features) {
        if (passesParam(param, f)) f.flags |= kSelected;
        count += f.selected() ? 1 : 0;
    }
    return count;
}

void select_feature_by_id(const str& job, const str& step, const str& layer, int index) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    if (index < 0 || static_cast<size_t>(index) >= l.data.features.size())
        fail("layer '" + layer + "' has no feature " + std::to_string(index));
    l.changing();
    l.data.features[static_cast<size_t>(index)].flags |= kSelected;
}

void clear_selected_features(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    l.changing();
    clearSelection(l.data);
}

void unselect_features(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    l.changing();
    clearSelection(l.data);
}

void unselect_feature_by_info(const str& job, const str& step, const str& layer,
                              const featureInfo& info) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    if (info.index < 0 || static_cast<size_t>(info.index) >= l.data.features.size())
        fail("layer '" + layer + "' has no feature " + std::to_string(info.index));
    Feature& f = l.data.features[static_cast<size_t>(info.index)];
    if (featureRecord(l.data, f) != info.record)
        fail("feature " + std::to_string(info.index) + " of layer '" + layer +
             "' is not the one described (" + info.record + ")");
    l.changing();
    f.flags &= static_cast<uint8_t>(~kSelected);
}

void get_selected_feature_info(const str& job, const str& step, const str& layer,
                               std::vector<featureInfo>& list) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    list.clear();
    for (uint32_t i = 0; i < l.data.features.size(); ++i)
        if (l.data.features[i].selected()) list.push_back(makeInfo(l.job, l.def, l.data, i));
}

bool is_selected(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    return std::any_of(l.data.features.begin(), l.data.features.end(),
                       [](const Feature& f) { return f.selected(); });
}

bool get_featureinfo_by_index(const str& job, const str& step, const str& layer, int index,
                              featureInfo& out) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    if (index < 0 || static_cast<size_t>(index) >= l.data.features.size()) return false;
    out = makeInfo(l.job, l.def, l.data, static_cast<uint32_t>(index));
    return true;
}

void get_features_in_box(const str& job, const str& step, const str& layer, const reply_box& box,
                         std::vector<featureInfo>& list) {
    KERNEL_LOCK;
    LayerRef l = findLayer(job, step, layer);
    if (box.xmin > box.xmax || box.ymin > box.ymax)
        fail("box (" + std::to_string(box.xmin) + ", " + std::to_string(box.ymin) + ", " +
             std::to_string(box.xmax) + ", " + std::to_string(box.ymax) + ") is inverted");
    const HitPolygon q({{box.xmin, box.ymin}, {box.xmin, box.ymax}, {box.xmax, box.ymax}, {box.xmax, box.ymin}});
    ensureIndex(l.def, l.data);
    std::vector<uint32_t> ids;
    l.data.index.query(l.data.features, SpatialIndex::Box({box.xmin, box.ymin}, {box.xmax, box.ymax}), ids);
    std::sort(ids.begin(), ids.end());
    const LayerContext ctx{l.def, l.data};
    std::vector<featureInfo> found;
    for (uint32_t id : ids)
        if (featureMeets(ctx, l.data.features[id], q, false)) found.push_back(makeInfo(l.job, l.def, l.data, id));
    list.swap(found);
}

select_param get_select_param() {
    KERNEL_LOCK;
    return state().selectParam;
}

void set_select_param(const select_param& param) {
    KERNEL_LOCK;
    state().selectParam = param;
}

}  // namespace API
}  // namespace TOLVA
