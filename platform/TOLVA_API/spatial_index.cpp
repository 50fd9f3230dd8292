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

SpatialIndex::Box toBox(const IBox& b) {
    return SpatialIndex::Box({b.xmin, b.ymin}, {b.xmax, b.ymax});
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
        m_overlay.clear();
        m_overlayIds.clear();
        m_overlayIds.shrink_to_fit();
        m_fresh = true;
        m_overlayDirty = false;
        return;
    }
    if (m_overlayDirty) {
        std::vector<Value> values;
        values.reserve(m_overlayIds.size());
        for (uint32_t id : m_overlayIds) values.emplace_back(toBox(featureBox(ctx, features[id])), id);
        m_overlay = Tree(values.begin(), values.end());
        m_overlayDirty = false;
    }
}

void SpatialIndex::query(const std::vector<Feature>& features, const Box& box,
                         std::vector<uint32_t>& out) const {
    for (auto it = m_base.qbegin(bgi::intersects(box)); it != m_base.qend(); ++it)
        if (!(features[it->second].flags & kInOverlay)) out.push_back(it->second);
    for (auto it = m_overlay.qbegin(bgi::intersects(box)); it != m_overlay.qend(); ++it)
        out.push_back(it->second);
}

bool SpatialIndex::bounds(Box& out) const {
    if (m_base.empty() && m_overlay.empty()) return false;
    if (m_overlay.empty()) {
        out = m_base.bounds();
    } else if (m_base.empty()) {
        out = m_overlay.bounds();
    } else {
        out = m_base.bounds();
        boost::geometry::expand(out, m_overlay.bounds());
    }
    return true;
}

void ensureIndex(const LayerDef& def, LayerData& data) { data.index.refresh(def, data); }

}  // namespace KERNEL
}  // namespace TOLVA
