// Feature search by index, attribute or symbol, and the feature nearest to a
// point: single passes over the compact records, a featureInfo never built.
#include <algorithm>
#include <cmath>
#include <limits>

#include "TOLVA_Search.h"
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using SEARCH::found_feature;
using SEARCH::search_kind;
using SEARCH::search_query;

bool hasSymbol(const Feature& f) {
    return f.type == API::FT_LINE || f.type == API::FT_PAD || f.type == API::FT_ARC;
}

found_feature describe(const LayerDef& def, const LayerData& data, uint32_t id) {
    const Feature& f = data.features[id];
    const IBox b = featureBox(LayerContext{def, data}, f);
    found_feature out;
    out.layer = def.row.name;
    out.index = static_cast<int>(id);
    out.box = {b.xmin, b.ymin, b.xmax, b.ymax};
    if (f.type == API::FT_PAD) {
        out.x = f.x1;
        out.y = f.y1;
    } else {
        out.x = (static_cast<double>(b.xmin) + b.xmax) / 2;
        out.y = (static_cast<double>(b.ymin) + b.ymax) / 2;
    }
    return out;
}

// Which of the job's interned attribute sets satisfy the query: the sets are
// few and shared, so each is looked at once instead of once per feature.
std::vector<bool> matchingAttributeSets(const Job& job, const search_query& q) {
    std::vector<bool> match;
    match.reserve(job.attrs.sets.size());
    for (const API::attr_map& set : job.attrs.sets) {
        const auto it = set.find(q.attribute);
        match.push_back(it != set.end() && (q.value.empty() || it->second == q.value));
    }
    return match;
}

// Appends the matches of one layer; false once `limit` is reached.
bool searchLayer(const LayerDef& def, const LayerData& data, const search_query& q,
                 const std::vector<bool>& attributeSets, size_t limit, std::vector<found_feature>& out) {
    const auto full = [&] { return limit != 0 && out.size() >= limit; };
    const std::vector<Feature>& features = data.features;
    switch (q.kind) {
    case search_kind::BY_INDEX:
        if (q.index >= 0 && static_cast<size_t>(q.index) < features.size())
            out.push_back(describe(def, data, static_cast<uint32_t>(q.index)));
        break;
    case search_kind::BY_ATTRIBUTE:
        for (uint32_t id = 0; id < features.size() && !full(); ++id)
            if (features[id].attrs < attributeSets.size() && attributeSets[features[id].attrs])
                out.push_back(describe(def, data, id));
        break;
    case search_kind::BY_SYMBOL: {
        const auto it = def.symbolIndex.find(q.symbol);
        if (it == def.symbolIndex.end()) break;
        const uint32_t wanted = static_cast<uint32_t>(it->second);
        for (uint32_t id = 0; id < features.size() && !full(); ++id)
            if (hasSymbol(features[id]) && features[id].ref == wanted) out.push_back(describe(def, data, id));
        break;
    }
    }
    return !full();
}

void checkQuery(const search_query& q) {
    switch (q.kind) {
    case search_kind::BY_INDEX: return;
    case search_kind::BY_ATTRIBUTE:
        if (q.attribute.empty()) fail("an attribute search needs an attribute name");
        return;
    case search_kind::BY_SYMBOL:
        if (q.symbol.empty()) fail("a symbol search needs a symbol name");
        return;
    }
    fail("unknown search kind " + std::to_string(static_cast<int>(q.kind)));
}

}  // namespace
}  // namespace KERNEL

namespace SEARCH {

std::vector<found_feature> find_features(const str& job, const str& step, const str_list& layers,
                                         const search_query& query, size_t limit) {
    using namespace KERNEL;
    KERNEL_LOCK;
    checkQuery(query);
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    std::vector<size_t> positions;
    for (const str& layer : layers) positions.push_back(findLayerIndex(j, layer));  // every name checked first
    const std::vector<bool> attributeSets =
        query.kind == search_kind::BY_ATTRIBUTE ? matchingAttributeSets(j, query) : std::vector<bool>{};
    std::vector<found_feature> out;
    for (size_t l : positions)
        if (!searchLayer(j.layers[l], j.steps[s].layers[l], query, attributeSets, limit, out)) break;
    return out;
}

bool nearest_feature(const str& job, const str& step, const str_list& layers, double x, double y,
                     double radius, found_feature& out) {
    using namespace KERNEL;
    KERNEL_LOCK;
    checkFinite(x, "x");
    checkFinite(y, "y");
    checkFinite(radius, "radius");
    if (radius < 0) fail("a negative search radius");
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    std::vector<size_t> positions;
    for (const str& layer : layers) positions.push_back(findLayerIndex(j, layer));
    const auto clip = [](double v) {
        return static_cast<int32_t>(std::max<double>(-SpatialIndex::kIndexLimit,
                                                     std::min<double>(SpatialIndex::kIndexLimit, std::round(v))));
    };
    const SpatialIndex::Box query({clip(x - radius), clip(y - radius)}, {clip(x + radius), clip(y + radius)});
    bool found = false;
    double best = std::numeric_limits<double>::infinity();
    for (size_t l : positions) {
        LayerData& data = j.steps[s].layers[l];
        ensureIndex(j.layers[l], data);
        std::vector<uint32_t> ids;
        data.index.query(data.features, query, ids);
        std::sort(ids.begin(), ids.end());
        for (uint32_t id : ids) {
            const found_feature candidate = describe(j.layers[l], data, id);
            const double d = std::hypot(candidate.x - x, candidate.y - y);
            if (d < best) {
                best = d;
                out = candidate;
                found = true;
            }
        }
    }
    return found;
}

}  // namespace SEARCH
}  // namespace TOLVA
