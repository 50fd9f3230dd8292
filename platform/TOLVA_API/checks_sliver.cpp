// Slivers inside surfaces: necks of copper and gaps of space narrower than
// the limits between two edges of one surface's outline.
#include <unordered_map>

#include "checks_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace CHECKS_IMPL {

namespace {

namespace bgi = boost::geometry::index;
using EdgeTree = bgi::rtree<std::pair<SpatialIndex::Box, uint32_t>, bgi::rstar<16>>;

double cross(const Vec& u, const Vec& v) { return u.x * v.y - u.y * v.x; }
Vec sub(const Vec& a, const Vec& b) { return {a.x - b.x, a.y - b.y}; }

// The edges of a surface's contours, each knowing its neighbours along its ring.
struct Edges {
    std::vector<Vec> a, b;
    std::vector<uint32_t> prev, next;
    std::vector<std::vector<Vec>> rings;
    EdgeTree tree;

    explicit Edges(const Core& core) {
        std::vector<std::pair<SpatialIndex::Box, uint32_t>> boxes;
        for (const std::vector<Vec>& ring : core.rings) {
            const uint32_t first = static_cast<uint32_t>(a.size()), n = static_cast<uint32_t>(ring.size());
            if (n < 2) continue;
            rings.push_back(ring);
            for (uint32_t k = 0; k < n; ++k) {
                const Vec& p = ring[k];
                const Vec& q = ring[(k + 1) % n];
                a.push_back(p);
                b.push_back(q);
                prev.push_back(first + (k + n - 1) % n);
                next.push_back(first + (k + 1) % n);
                boxes.emplace_back(box(p, q, 0), first + k);
            }
        }
        tree = EdgeTree(boxes.begin(), boxes.end());
    }
    static SpatialIndex::Box box(const Vec& p, const Vec& q, double margin) {
        const IBox b = clampBox(std::floor(std::min(p.x, q.x) - margin), std::floor(std::min(p.y, q.y) - margin),
                                std::ceil(std::max(p.x, q.x) + margin), std::ceil(std::max(p.y, q.y) + margin));
        return SpatialIndex::Box({b.xmin, b.ymin}, {b.xmax, b.ymax});
    }
    size_t size() const { return a.size(); }
    bool adjacent(uint32_t i, uint32_t j) const { return i == j || next[i] == j || prev[i] == j; }
    bool inside(const Vec& p) const {
        bool in = false;
        for (const auto& r : rings) in ^= pointInPolygon(p, r);
        return in;
    }
};

// Closest points of two edges; parallel edges that overlap side by side
// take the middle of the overlap, so the place does not hang on which end
// comes first.
Closest edgeClosest(const Vec& a1, const Vec& b1, const Vec& a2, const Vec& b2) {
    const Vec u = sub(b1, a1), v = sub(b2, a2);
    const double uu = u.x * u.x + u.y * u.y;
    if (uu > 0 && v.x * v.x + v.y * v.y > 0 && cross(u, v) == 0) {
        const double t0 = ((a2.x - a1.x) * u.x + (a2.y - a1.y) * u.y) / uu;
        const double t1 = ((b2.x - a1.x) * u.x + (b2.y - a1.y) * u.y) / uu;
        const double lo = std::max(0.0, std::min(t0, t1)), hi = std::min(1.0, std::max(t0, t1));
        if (lo <= hi) {
            const double t = (lo + hi) / 2;
            const Vec pa{a1.x + t * u.x, a1.y + t * u.y};
            const Closest foot = closestPoint(segmentCurve(a2, b2), pa);
            return {foot.distance, pa, foot.a};
        }
    }
    return closestCurves(segmentCurve(a1, b1), segmentCurve(a2, b2));
}

// The segment w makes at least 60 degrees with the edge direction u.
bool faces(const Vec& u, const Vec& w) {
    const double c = cross(u, w);
    return c * c >= 0.75 * (u.x * u.x + u.y * u.y) * (w.x * w.x + w.y * w.y);
}

enum Kind : uint8_t { kNone = 0, kNeck = 1, kGap = 2 };

struct Pair {
    Closest c;
    Kind kind = kNone;
};

// The sliver between edges i and j (i != j, not adjacent), if any.
Pair sliverBetween(const Edges& e, uint32_t i, uint32_t j, double limit, std::vector<uint32_t>& near) {
    Pair out;
    const Closest c = edgeClosest(e.a[i], e.b[i], e.a[j], e.b[j]);
    if (c.distance <= 0 || c.distance >= limit) return out;
    const Vec w = sub(c.b, c.a);
    if (!faces(sub(e.b[i], e.a[i]), w) || !faces(sub(e.b[j], e.a[j]), w)) return out;
    // a-b must cross the region alone: no other edge on it between its ends.
    const double eps = 1e-6;
    const Vec p{c.a.x + eps * w.x, c.a.y + eps * w.y}, q{c.b.x - eps * w.x, c.b.y - eps * w.y};
    const Curve across = segmentCurve(p, q);
    near.clear();
    for (auto it = e.tree.qbegin(bgi::intersects(Edges::box(p, q, 1))); it != e.tree.qend(); ++it)
        near.push_back(it->second);
    for (uint32_t k : near) {
        if (k == i || k == j) continue;
        if (closestCurves(segmentCurve(e.a[k], e.b[k]), across).distance == 0) return out;
    }
    out.c = c;
    out.kind = e.inside({(c.a.x + c.b.x) / 2, (c.a.y + c.b.y) / 2}) ? kNeck : kGap;
    return out;
}

uint64_t key(uint32_t i, uint32_t j) { return i < j ? (uint64_t(i) << 32 | j) : (uint64_t(j) << 32 | i); }

}  // namespace

void sliverBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out,
                const std::atomic<bool>* cancel) {
    const std::vector<Feature>& fs = l.data.features;
    std::vector<uint32_t> ids, near;
    for (uint32_t f = 0; f < fs.size(); ++f) {
        if (fs[f].type != API::FT_SURFACE || !fs[f].positive()) continue;
        if (stopped(cancel)) return;
        Core core;
        featureCore(l.ctx(), fs[f], core);
        const Edges e(core);
        // Every sliver of the surface by its edge pair.
        std::vector<std::pair<uint64_t, Pair>> found;
        std::unordered_map<uint64_t, size_t> at;
        for (uint32_t i = 0; i < e.size(); ++i) {
            ids.clear();
            for (auto it = e.tree.qbegin(bgi::intersects(Edges::box(e.a[i], e.b[i], p.warning_limit)));
                 it != e.tree.qend(); ++it)
                ids.push_back(it->second);
            std::sort(ids.begin(), ids.end());
            for (uint32_t j : ids) {
                if (j <= i || e.adjacent(i, j)) continue;
                const Pair s = sliverBetween(e, i, j, p.warning_limit, near);
                if (s.kind == kNone) continue;
                at.emplace(key(i, j), found.size());
                found.emplace_back(key(i, j), s);
            }
        }
        // Of neighbouring pairs along the outline, the narrowest (the first on a tie).
        auto beaten = [&](uint64_t k, const Pair& s, uint32_t i, uint32_t j) {
            if (i == j || e.adjacent(i, j)) return false;
            const auto it = at.find(key(i, j));
            if (it == at.end()) return false;
            const auto& other = found[it->second];
            if (other.second.kind != s.kind) return false;
            return other.second.c.distance < s.c.distance ||
                   (other.second.c.distance == s.c.distance && other.first < k);
        };
        for (const auto& entry : found) {
            const uint32_t i = uint32_t(entry.first >> 32), j = uint32_t(entry.first);
            const Pair& s = entry.second;
            if (beaten(entry.first, s, e.prev[i], j) || beaten(entry.first, s, e.next[i], j) ||
                beaten(entry.first, s, i, e.prev[j]) || beaten(entry.first, s, i, e.next[j]))
                continue;
            check_result r = newResult(s.kind == kNeck ? "sliver_neck" : "sliver_gap", l.name, f);
            if (!classify(s.c.distance, p, r)) continue;
            setPoints(r, s.c);
            out.push_back(std::move(r));
        }
    }
}

}  // namespace CHECKS_IMPL
}  // namespace KERNEL
}  // namespace TOLVA
