#pragma once
// Spatial index of one layer's features: a bulk-loaded Boost.Geometry R-tree
// over the feature boxes, plus a small second tree for the features that
// moved or were added since the big one was built. Edits only record which
// features changed; the trees are brought up to date lazily by the next query
// (ensureIndex), and the big tree is rebuilt once the changed set grows past
// a fraction of the layer.
//
// The trees hold boxes clipped to +-kIndexLimit: bulk loading works out box
// edges and centres in the coordinate type, which must not overflow. Queries
// are clipped the same way, so a clipped box still meets every query its
// whole box meets.
#include <cstdint>
#include <vector>

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

namespace TOLVA {
namespace KERNEL {

struct Feature;
struct LayerDef;
struct LayerData;

class SpatialIndex {
public:
    using Point = boost::geometry::model::point<int32_t, 2, boost::geometry::cs::cartesian>;
    using Box = boost::geometry::model::box<Point>;
    using Value = std::pair<Box, uint32_t>;
    using Tree = boost::geometry::index::rtree<Value, boost::geometry::index::rstar<16>>;
    // Half the int32 range: differences and sums of two coordinates fit.
    static constexpr int32_t kIndexLimit = (1 << 30) - 1;

    // Forget everything: the next refresh rebuilds from scratch.
    void invalidate() { m_fresh = false; }
    // The box of feature `id` changed, or the feature is new.
    void markChanged(std::vector<Feature>& features, uint32_t id);
    // The features from `count` on are gone (an append taken back). When the
    // base tree holds none of them only the second tree is redone, at the next
    // refresh; otherwise everything is rebuilt then.
    void truncate(size_t count);
    // Brings the trees up to date with the layer.
    void refresh(const LayerDef& def, LayerData& data);
    // Ids of the features whose box meets `box` (unordered).
    void query(const std::vector<Feature>& features, const Box& box,
               std::vector<uint32_t>& out) const;
    // Union of the (clipped) boxes of all features as of the last refresh;
    // false for an empty layer.
    bool bounds(Box& out) const;

private:
    // True when an up-to-date entry of the base tree meets `box`.
    bool liveBaseMeets(const std::vector<Feature>& features, const Box& box) const;
    // Brings m_liveBase up to date after features went stale in the base tree.
    void trimLiveBase(const std::vector<Feature>& features);

    Tree m_base;
    Tree m_overlay;
    std::vector<uint32_t> m_overlayIds;
    size_t m_baseCount = 0;  // features when the base tree was built: the ids it holds
    bool m_fresh = false;
    bool m_overlayDirty = false;
    // The union of the base tree's entries that are not stale (its own
    // bounds still cover the old boxes of moved features), and of both trees.
    Box m_liveBase;
    bool m_hasLiveBase = false;
    Box m_bounds;
    bool m_hasBounds = false;
};

}  // namespace KERNEL
}  // namespace TOLVA
