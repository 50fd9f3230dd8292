// The layer's spatial index (see spatial_index.h).
#include "spatial_index.h"

#include <algorithm>

#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

namespace bgi = boost::geometry::index;

namespace {
// The second tree is folded into the first once it holds this many features,
// or an eighth of the layer, whichever is larger.
constexpr size_t kOverlayMinimum = 4096;

int32_t clip(int32_t v) {
    return std::max(-SpatialIndex::kIndexLimit, std::min(SpatialIndex::kIndexLimit, v));
}

SpatialIndex::Box toBox(const IBox& b) {
    return SpatialIndex::Box({clip(b.xmin), clip(b.ymin)}, {clip(b.xmax), clip(b.ymax)});
}

SpatialIndex::Box clipped(const SpatialIndex::Box& b) {
    return toBox({b.min_corner().get<0>(), b.min_corner().get<1>(), b.max_corner().get<0>(),
                  b.max_corner().get<1>()});
}

bool stale(const std::vector<Feature>& features, uint32_t id) {
    return features[id].flags & kInOverlay;
}
}  // namespace

void SpatialIndex::markChanged(std::vector<Feature>& features, uint32_t id) {
    if (!m_fresh) return;
    Feature& f = features[id];
    if (!(f.flags & kInOverlay)) {
        f.flags |= kInOverlay;
        m_overlayIds.push_back(id);
    }
    m_overlayDirty = true;
}

void SpatialIndex::truncate(size_t count) {
    if (!m_fresh) return;
    if (m_baseCount > count) {
        m_fresh = false;
        return;
    }
    m_overlayIds.erase(std::remove_if(m_overlayIds.begin(), m_overlayIds.end(),
                                      [count](uint32_t id) { return id >= count; }),
                       m_overlayIds.end());
    m_overlayDirty = true;
}

void SpatialIndex::refresh(const LayerDef& def, LayerData& data) {
    LayerContext ctx{def, data};
    std::vector<Feature>& features = data.features;
    if (!m_fresh || m_overlayIds.size() > std::max(kOverlayMinimum, features.size() / 8)) {
        std::vector<Value> values;
        values.reserve(features.size());
        for (uint32_t i = 0; i < features.size(); ++i) {
            features[i].flags &= static_cast<uint8_t>(~kInOverlay);
            values.emplace_back(toBox(featureBox(ctx, features[i])), i);
        }
        m_base = Tree(values.begin(), values.end());  // bulk load (packing)
        m_baseCount = features.size();
        m_overlay.clear();
        m_overlayIds.clear();
        m_overlayIds.shrink_to_fit();
        m_fresh = true;
        m_overlayDirty = false;
        m_hasLiveBase = !m_base.empty();
        if (m_hasLiveBase) m_liveBase = m_base.bounds();
        m_hasBounds = m_hasLiveBase;
        m_bounds = m_liveBase;
        return;
    }
    if (m_overlayDirty) {
        std::vector<Value> values;
        values.reserve(m_overlayIds.size());
        for (uint32_t id : m_overlayIds) values.emplace_back(toBox(featureBox(ctx, features[id])), id);
        m_overlay = Tree(values.begin(), values.end());
        m_overlayDirty = false;
        trimLiveBase(features);
        m_hasBounds = m_hasLiveBase || !m_overlay.empty();
        if (m_hasLiveBase) {
            m_bounds = m_liveBase;
            if (!m_overlay.empty()) boost::geometry::expand(m_bounds, m_overlay.bounds());
        } else if (m_hasBounds) {
            m_bounds = m_overlay.bounds();
        }
    }
}

bool SpatialIndex::liveBaseMeets(const std::vector<Feature>& features, const Box& box) const {
    for (auto it = m_base.qbegin(bgi::intersects(box)); it != m_base.qend(); ++it)
        if (!stale(features, it->second)) return true;
    return false;
}

void SpatialIndex::trimLiveBase(const std::vector<Feature>& features) {
    if (!m_hasLiveBase) return;
    // Entries only ever go stale, so the live union can only shrink: it stays
    // exact while some live entry still reaches each of its four sides. A move
    // rarely takes the one feature on a side away; only then is it scanned.
    const int32_t x0 = m_liveBase.min_corner().get<0>(), y0 = m_liveBase.min_corner().get<1>();
    const int32_t x1 = m_liveBase.max_corner().get<0>(), y1 = m_liveBase.max_corner().get<1>();
    const Box sides[4] = {Box({x0, y0}, {x0, y1}), Box({x1, y0}, {x1, y1}), Box({x0, y0}, {x1, y0}),
                          Box({x0, y1}, {x1, y1})};
    if (std::all_of(std::begin(sides), std::end(sides),
                    [&](const Box& side) { return liveBaseMeets(features, side); }))
        return;
    m_hasLiveBase = false;
    for (const Value& v : m_base) {
        if (stale(features, v.second)) continue;
        if (m_hasLiveBase)
            boost::geometry::expand(m_liveBase, v.first);
        else
            m_liveBase = v.first;
        m_hasLiveBase = true;
    }
}

void SpatialIndex::query(const std::vector<Feature>& features, const Box& box,
                         std::vector<uint32_t>& out) const {
    const Box q = clipped(box);
    for (auto it = m_base.qbegin(bgi::intersects(q)); it != m_base.qend(); ++it)
        if (!stale(features, it->second)) out.push_back(it->second);
    for (auto it = m_overlay.qbegin(bgi::intersects(q)); it != m_overlay.qend(); ++it)
        out.push_back(it->second);
}

bool SpatialIndex::bounds(Box& out) const {
    if (m_hasBounds) out = m_bounds;
    return m_hasBounds;
}

void ensureIndex(const LayerDef& def, LayerData& data) { data.index.refresh(def, data); }

}  // namespace KERNEL
}  // namespace TOLVA
