#pragma once
// Spatial index of one layer's features: a bulk-loaded Boost.Geometry R-tree
// over the feature boxes, plus a small second tree for the features that
// moved or were added since the big one was built. Edits only record which
// features changed; the trees are brought up to date lazily by the next query
// (ensureIndex), and the big tree is rebuilt once the changed set grows past
// a fraction of the layer.
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

    // Forget everything: the next refresh rebuilds from scratch.
    void invalidate() { m_fresh = false; }
    // The box of feature `id` changed, or the feature is new.
    void markChanged(std::vector<Feature>& features, uint32_t id);
    // Brings the trees up to date with the layer.
    void refresh(const LayerDef& def, LayerData& data);
    // Ids of the features whose box meets `box` (unordered).
    void query(const std::vector<Feature>& features, const Box& box,
               std::vector<uint32_t>& out) const;
    // Union of the boxes of all features; false for an empty layer.
    bool bounds(Box& out) const;

private:
    Tree m_base;
    Tree m_overlay;
    std::vector<uint32_t> m_overlayIds;
    bool m_fresh = false;
    bool m_overlayDirty = false;
};

}  // namespace KERNEL
}  // namespace TOLVA
