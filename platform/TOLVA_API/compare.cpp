// Layer compare: twin features cancel by hash, the rest goes, group by group
// of overlapping boxes with the features around it, into a polygon boolean
// of the two layers' images.
#include "TOLVA_Compare.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "boost_geometry.h"
#include <boost/geometry/geometries/point_xy.hpp>

#include "geometry.h"
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {
namespace {

namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;
using BPoly = bg::model::polygon<BPoint, false, true>;  // counter-clockwise outlines, closed
using BMulti = bg::model::multi_polygon<BPoly>;
using BRing = BPoly::ring_type;
using BBox = bg::model::box<BPoint>;

// ---- flattening features into polygons -------------------------------------------

// Chords per full turn so that no chord strays more than `error` from a
// circle of radius r.
int chordsFor(double r, double error) {
    if (!(r > 0)) return 8;
    const double c = 1 - error / r;
    if (c <= 0) return 8;
    const double n = std::ceil(kPi / std::acos(c));
    return static_cast<int>(std::clamp(n, 8.0, 1024.0));
}

class Flattener {
public:
    explicit Flattener(double error) : m_error(error) {}

    // The radius of the chord ends for chords of `angle` around a circle of
    // radius r: the ends outside the circle, the chords' middles inside it,
    // so that a flattened disc keeps the true area.
    static double vertexRadius(double r, double angle) { return r * std::sqrt(angle / std::sin(angle)); }

    // Points of the counter-clockwise arc around c of radius r from angle a0
    // to a1 (a1 > a0), both ends included.
    void arcPoints(BRing& out, Vec c, double r, double a0, double a1) const {
        const int turn = chordsFor(r, m_error);
        const int n = std::max(1, static_cast<int>(std::ceil((a1 - a0) / kTwoPi * turn)));
        const double rv = vertexRadius(r, (a1 - a0) / n);
        for (int i = 0; i <= n; ++i) {
            const double a = a0 + (a1 - a0) * i / n;
            out.push_back({c.x + rv * std::cos(a), c.y + rv * std::sin(a)});
        }
    }

    BPoly circle(Vec c, double r) const {
        BPoly p;
        const int n = chordsFor(r, m_error);
        const double rv = vertexRadius(r, kTwoPi / n);
        for (int i = 0; i < n; ++i) {
            const double a = kTwoPi * i / n;
            p.outer().push_back({c.x + rv * std::cos(a), c.y + rv * std::sin(a)});
        }
        return closed(std::move(p));
    }

    // The disc of radius r swept from a to b.
    BPoly stadium(Vec a, Vec b, double r) const {
        if (a.x == b.x && a.y == b.y) return circle(a, r);
        const double t = std::atan2(b.y - a.y, b.x - a.x);
        BPoly p;
        arcPoints(p.outer(), b, r, t - kPi / 2, t + kPi / 2);
        arcPoints(p.outer(), a, r, t + kPi / 2, t + 3 * kPi / 2);
        return closed(std::move(p));
    }

    static BPoly convex(const Vec* pts, int n) {
        BPoly p;
        for (int i = 0; i < n; ++i) p.outer().push_back({pts[i].x, pts[i].y});
        return closed(std::move(p));
    }

    static BPoly closed(BPoly p) {
        bg::correct(p);
        return p;
    }

    BMulti pad(const Symbol& s, const Feature& f) const {
        const PadShape p = padShape(s, f);
        const Vec c{p.cx, p.cy};
        switch (p.shape) {
        case SymbolShape::Round:
            return {circle(c, p.w / 2)};
        case SymbolShape::Square:
        case SymbolShape::Rect: {
            Vec corners[4];
            rectCorners(p, corners);
            return {convex(corners, 4)};
        }
        case SymbolShape::Oval: {
            Vec a, b;
            double r = 0;
            ovalSegment(p, a, b, r);
            return {stadium(a, b, r)};
        }
        case SymbolShape::Donut: {
            BPoly ring = circle(c, p.w / 2);
            if (p.inner > 0) {
                BPoly hole = circle(c, p.inner / 2);
                ring.inners().push_back(hole.outer());
                bg::correct(ring);
            }
            return {ring};
        }
        }
        return {};
    }

    BMulti line(const Symbol& s, const Feature& f) const {
        const Vec a{double(f.x1), double(f.y1)}, b{double(f.x2), double(f.y2)};
        if (squareEnds(s)) {
            Vec hull[8];
            const int n = squareLineHull(a.x, a.y, b.x, b.y, s.width / 2, s.height / 2, hull);
            return {convex(hull, n)};
        }
        return {stadium(a, b, strokeRadius(s))};
    }

    // The round pen swept along the arc: over the directions the arc sweeps,
    // the annular sector within the pen of the arc; elsewhere an end of the
    // arc is the nearest point, so the discs at the ends cover the rest.
    BMulti arc(const Symbol& s, const Feature& f) const {
        const ArcGeom g = arcGeom(f);
        const double pen = strokeRadius(s);
        const Vec c{g.cx, g.cy};
        const double outer = g.radius + pen, inner = std::max(0.0, g.radius - pen);
        if (g.full) {
            BPoly p = circle(c, outer);
            if (inner > 0) {
                p.inners().push_back(circle(c, inner).outer());
                bg::correct(p);
            }
            return {p};
        }
        BMulti acc{circle({double(f.x1), double(f.y1)}, pen)};
        unite(acc, {circle({double(f.x2), double(f.y2)}, pen)});
        const double a0 = std::atan2(g.uy0, g.ux0), sweep = g.sweep();
        const int pieces = static_cast<int>(std::ceil(sweep / (kPi / 2)));
        for (int i = 0; i < pieces; ++i) {
            const double b0 = a0 + sweep * i / pieces, b1 = a0 + sweep * (i + 1) / pieces;
            BPoly sector;
            arcPoints(sector.outer(), c, outer, b0, b1);
            if (inner > 0) {
                BRing back;
                arcPoints(back, c, inner, b0, b1);
                sector.outer().insert(sector.outer().end(), back.rbegin(), back.rend());
            } else {
                sector.outer().push_back({c.x, c.y});
            }
            unite(acc, {closed(std::move(sector))});
        }
        return acc;
    }

    // The surface within `clip`. By the even-odd rule a contour whose box
    // misses the clip box holds no point of it, so only the contours near
    // the box count: a pour that spans the board costs what its part in the
    // box costs.
    static BMulti surface(const LayerData& d, const Feature& f, const BBox& clip) {
        BMulti acc;
        for (const ContourSpan& span : surfaceContours(d, f)) {
            BPoly p;
            BBox box{{kInf, kInf}, {-kInf, -kInf}};
            for (uint32_t i = 0; i < span.count; ++i) {
                const BPoint q{double(f.x1) + span.points[i].x, double(f.y1) + span.points[i].y};
                p.outer().push_back(q);
                bg::expand(box, q);
            }
            if (p.outer().size() < 3 || bg::disjoint(box, clip)) continue;
            bg::correct(p);
            BMulti piece;
            if (bg::covered_by(box, clip))
                piece.push_back(std::move(p));
            else
                bg::intersection(p, clip, piece);
            BMulti next;
            bg::sym_difference(acc, piece, next);
            acc = std::move(next);
        }
        return acc;
    }

    BMulti text(const LayerData& d, const Feature& f) const {
        const TextLayout t = layoutText(f.x1, f.y1, d.texts[f.ref], f.angle, f.flags & kMirror);
        BMulti acc;
        for (const Segment& s : t.strokes) unite(acc, {stadium(s.a, s.b, t.radius)});
        return acc;
    }

    BMulti shape(const LayerContext& ctx, const Feature& f, const BBox& clip) const {
        switch (f.type) {
        case API::FT_PAD:
            return pad(ctx.def.symbols[f.ref], f);
        case API::FT_LINE:
            return line(ctx.def.symbols[f.ref], f);
        case API::FT_ARC:
            return arc(ctx.def.symbols[f.ref], f);
        case API::FT_SURFACE:
            return surface(ctx.data, f, clip);
        case API::FT_TEXT:
            return text(ctx.data, f);
        }
        return {};
    }

    static void unite(BMulti& acc, const BMulti& add) {
        if (acc.empty()) {
            acc = add;
            return;
        }
        BMulti next;
        bg::union_(acc, add, next);
        acc = std::move(next);
    }

    static void subtract(BMulti& acc, const BMulti& cut) {
        if (acc.empty()) return;
        BMulti next;
        bg::difference(acc, cut, next);
        acc = std::move(next);
    }

private:
    static constexpr double kInf = std::numeric_limits<double>::infinity();
    double m_error;
};

// ---- matching twins -----------------------------------------------------------------

struct Side {
    const LayerDef& def;
    LayerData& data;
    LayerContext ctx() const { return {def, data}; }
};

constexpr uint8_t kImageFlags = kPositive | kClockwise | kMirror;

uint64_t mix(uint64_t h, uint64_t v) {
    h ^= v + 0x9e3779b97f4a7c15ull + (h << 6) + (h >> 2);
    return h;
}

class Twins {
public:
    Twins(const Side& a, const Side& b) : m_a(a), m_b(b) {}

    // Marks every feature of each side that has a twin in the other.
    void match(std::vector<char>& matchedA, std::vector<char>& matchedB) const {
        std::vector<std::pair<uint64_t, uint32_t>> ha = hashes(m_a), hb = hashes(m_b);
        matchedA.assign(ha.size(), 0);
        matchedB.assign(hb.size(), 0);
        size_t i = 0, j = 0;
        while (i < ha.size() && j < hb.size()) {
            if (ha[i].first < hb[j].first) {
                ++i;
            } else if (hb[j].first < ha[i].first) {
                ++j;
            } else {
                const uint64_t h = ha[i].first;
                size_t i1 = i, j1 = j;
                while (i1 < ha.size() && ha[i1].first == h) ++i1;
                while (j1 < hb.size() && hb[j1].first == h) ++j1;
                for (size_t x = i; x < i1; ++x)
                    for (size_t y = j; y < j1; ++y) {
                        if (matchedB[hb[y].second] || !same(ha[x].second, hb[y].second)) continue;
                        matchedA[ha[x].second] = matchedB[hb[y].second] = 1;
                        break;
                    }
                i = i1;
                j = j1;
            }
        }
    }

private:
    static bool bySymbol(const Feature& f) {
        return f.type == API::FT_LINE || f.type == API::FT_PAD || f.type == API::FT_ARC;
    }

    static std::vector<std::pair<uint64_t, uint32_t>> hashes(const Side& s) {
        std::vector<uint64_t> symbols;
        for (const Symbol& sym : s.def.symbols) symbols.push_back(std::hash<std::string>()(sym.name));
        const std::vector<Feature>& fs = s.data.features;
        std::vector<std::pair<uint64_t, uint32_t>> out(fs.size());
        for (uint32_t i = 0; i < fs.size(); ++i) {
            const Feature& f = fs[i];
            uint64_t h = mix(f.type, f.flags & kImageFlags);
            if (bySymbol(f)) {
                for (int32_t v : {f.x1, f.y1, f.x2, f.y2, f.xc, f.yc}) h = mix(h, uint32_t(v));
                h = mix(h, symbols[f.ref]);
                if (f.type == API::FT_PAD) h = mix(mix(h, uint16_t(f.angle)), uint32_t(f.extra));
            } else {
                h = mix(h, std::hash<std::string>()(featureRecord(s.data, f)));
            }
            out[i] = {h, i};
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    bool same(uint32_t ia, uint32_t ib) const {
        const Feature& a = m_a.data.features[ia];
        const Feature& b = m_b.data.features[ib];
        if (a.type != b.type || (a.flags & kImageFlags) != (b.flags & kImageFlags)) return false;
        if (!bySymbol(a)) return featureRecord(m_a.data, a) == featureRecord(m_b.data, b);
        if (a.x1 != b.x1 || a.y1 != b.y1 || a.x2 != b.x2 || a.y2 != b.y2 || a.xc != b.xc || a.yc != b.yc)
            return false;
        if (a.type == API::FT_PAD && (a.angle != b.angle || a.extra != b.extra)) return false;
        return m_a.def.symbols[a.ref].name == m_b.def.symbols[b.ref].name;
    }

    const Side& m_a;
    const Side& m_b;
};

// ---- groups of left-over features ---------------------------------------------------

struct Leftover {
    int side;  // 0: first layer, 1: second
    uint32_t id;
    SpatialIndex::Box box;
};

SpatialIndex::Box indexBox(const Side& s, const Feature& f) {
    const IBox b = featureBox(s.ctx(), f);
    const int32_t lim = SpatialIndex::kIndexLimit;
    return SpatialIndex::Box({std::clamp(b.xmin, -lim, lim), std::clamp(b.ymin, -lim, lim)},
                             {std::clamp(b.xmax, -lim, lim), std::clamp(b.ymax, -lim, lim)});
}

struct UnionFind {
    std::vector<size_t> parent;
    explicit UnionFind(size_t n) : parent(n) { std::iota(parent.begin(), parent.end(), size_t(0)); }
    size_t find(size_t x) {
        while (parent[x] != x) x = parent[x] = parent[parent[x]];
        return x;
    }
    void join(size_t a, size_t b) {
        a = find(a);
        b = find(b);
        if (a != b) parent[std::max(a, b)] = std::min(a, b);  // the root is the lowest
    }
};

// Groups of left-over features whose boxes meet, each as positions in
// `items`, ordered by their lowest position.
std::vector<std::vector<size_t>> groupsOf(const std::vector<Leftover>& items) {
    namespace bgi = boost::geometry::index;
    std::vector<std::pair<SpatialIndex::Box, size_t>> boxes;
    boxes.reserve(items.size());
    for (size_t i = 0; i < items.size(); ++i) boxes.push_back({items[i].box, i});
    const bgi::rtree<std::pair<SpatialIndex::Box, size_t>, bgi::rstar<16>> tree(boxes.begin(), boxes.end());
    UnionFind uf(items.size());
    std::vector<std::pair<SpatialIndex::Box, size_t>> hits;
    for (size_t i = 0; i < items.size(); ++i) {
        hits.clear();
        tree.query(bgi::intersects(items[i].box), std::back_inserter(hits));
        for (const auto& h : hits) uf.join(i, h.second);
    }
    std::vector<std::vector<size_t>> groups;
    std::vector<long> slot(items.size(), -1);
    for (size_t i = 0; i < items.size(); ++i) {
        const size_t root = uf.find(i);
        if (slot[root] < 0) {
            slot[root] = static_cast<long>(groups.size());
            groups.emplace_back();
        }
        groups[static_cast<size_t>(slot[root])].push_back(i);
    }
    return groups;
}

// The image of a side's features `ids` (increasing), in layer order.
// The union of shapes[from, to), merged in pairs so that no shape is merged
// into a large result again and again.
BMulti unionOf(std::vector<BMulti>& shapes, size_t from, size_t to) {
    if (to - from == 1) return std::move(shapes[from]);
    const size_t mid = from + (to - from) / 2;
    BMulti left = unionOf(shapes, from, mid);
    Flattener::unite(left, unionOf(shapes, mid, to));
    return left;
}

// Surfaces are cut to `clip`, which holds every left-over feature of the
// group: outside it the two images agree anyway. Each run of features of
// one polarity is merged first and then added to or cut from the image.
BMulti imageOf(const Side& s, const std::vector<uint32_t>& ids, const Flattener& flat, const BBox& clip) {
    BMulti acc;
    std::vector<BMulti> run;
    for (size_t i = 0; i < ids.size();) {
        const bool positive = s.data.features[ids[i]].positive();
        run.clear();
        for (; i < ids.size() && s.data.features[ids[i]].positive() == positive; ++i)
            run.push_back(flat.shape(s.ctx(), s.data.features[ids[i]], clip));
        const BMulti merged = unionOf(run, 0, run.size());
        if (positive)
            Flattener::unite(acc, merged);
        else
            Flattener::subtract(acc, merged);
    }
    return acc;
}

// The side of the tiles a large group is cut into, and a bound beyond
// every coordinate.
constexpr double kTile = 2e6;  // nm
constexpr double kHuge = 1e18;

SpatialIndex::Box indexBoxOf(const BBox& b) {
    const IBox q = clampBox(b.min_corner().x(), b.min_corner().y(), b.max_corner().x(), b.max_corner().y());
    return SpatialIndex::Box({q.xmin, q.ymin}, {q.xmax, q.ymax});
}

// Pieces cut at tile edges joined again: the pieces whose boxes touch are
// merged, each such set on its own.
BMulti joinPieces(std::vector<BPoly>& pieces) {
    std::vector<Leftover> boxes;
    for (uint32_t i = 0; i < pieces.size(); ++i) {
        BBox b;
        bg::envelope(pieces[i].outer(), b);
        b.min_corner() = BPoint(b.min_corner().x() - 1, b.min_corner().y() - 1);
        b.max_corner() = BPoint(b.max_corner().x() + 1, b.max_corner().y() + 1);
        boxes.push_back({0, i, indexBoxOf(b)});
    }
    BMulti out;
    for (const std::vector<size_t>& set : groupsOf(boxes)) {
        std::vector<BMulti> parts;
        for (size_t i : set) parts.push_back({std::move(pieces[i])});
        const BMulti joined = unionOf(parts, 0, parts.size());
        out.insert(out.end(), joined.begin(), joined.end());
    }
    return out;
}

COMPARE::measure_point mp(const BPoint& p) { return {p.x(), p.y()}; }

// The polygons of a difference that are at least `tolerance` wide.
void collectAreas(const BMulti& diff, double tolerance, std::vector<COMPARE::compare_area>& out) {
    for (const BPoly& p : diff) {
        COMPARE::compare_area a;
        a.area = bg::area(p);
        const double perimeter = bg::perimeter(p);
        if (!(a.area > 0) || !(perimeter > 0)) continue;
        a.width = 2 * a.area / perimeter;
        if (a.width < tolerance) continue;
        auto ring = [&](const BRing& r) {
            std::vector<COMPARE::measure_point> pts;
            for (size_t i = 0; i + 1 < r.size(); ++i) pts.push_back(mp(r[i]));
            if (!pts.empty()) a.rings.push_back(std::move(pts));
        };
        ring(p.outer());
        if (a.rings.empty()) continue;
        for (const BRing& inner : p.inners()) ring(inner);
        a.min = a.max = a.rings[0].front();
        for (const COMPARE::measure_point& q : a.rings[0]) {
            a.min = {std::min(a.min.x, q.x), std::min(a.min.y, q.y)};
            a.max = {std::max(a.max.x, q.x), std::max(a.max.y, q.y)};
        }
        out.push_back(std::move(a));
    }
}

Side sideOf(const COMPARE::layer_ref& ref) {
    Job& j = findJob(ref.job);
    Step& s = findStep(j, ref.step);
    const size_t l = findLayerIndex(j, ref.layer);
    ensureIndex(j.layers[l], s.layers[l]);
    return {j.layers[l], s.layers[l]};
}

}  // namespace
}  // namespace KERNEL

namespace COMPARE {

using namespace KERNEL;

compare_result compare_layers(const layer_ref& first, const layer_ref& second, const compare_params& params) {
    KERNEL_LOCK;
    const Side a = sideOf(first), b = sideOf(second);
    if (!std::isfinite(params.tolerance) || !(params.tolerance > 0))
        fail("compare tolerance must be finite and positive, not " + std::to_string(params.tolerance));
    compare_result out;
    compare_stats& st = out.stats;
    st.first_features = static_cast<long>(a.data.features.size());
    st.second_features = static_cast<long>(b.data.features.size());

    std::vector<char> matched[2];
    Twins(a, b).match(matched[0], matched[1]);
    const Side* sides[2] = {&a, &b};
    std::vector<Leftover> items;
    for (int side = 0; side < 2; ++side) {
        const std::vector<Feature>& fs = sides[side]->data.features;
        for (uint32_t i = 0; i < fs.size(); ++i)
            if (!matched[side][i]) items.push_back({side, i, indexBox(*sides[side], fs[i])});
    }
    st.first_unmatched = static_cast<long>(std::count(matched[0].begin(), matched[0].end(), 0));
    st.second_unmatched = static_cast<long>(std::count(matched[1].begin(), matched[1].end(), 0));

    const Flattener flat(params.tolerance / 4);
    std::vector<uint32_t> hits, ids[2];
    // The two differences of the images where the boxes `where` lie, each
    // image built from the features of its layer that meet those boxes,
    // surfaces cut to `clip`; with `cut` the images are cut to `clip` too.
    auto differences = [&](const std::vector<SpatialIndex::Box>& where, const BBox& clip, bool cut,
                           BMulti diff[2]) {
        BMulti image[2];
        for (int side = 0; side < 2; ++side) {
            ids[side].clear();
            for (const SpatialIndex::Box& box : where) {
                hits.clear();
                sides[side]->data.index.query(sides[side]->data.features, box, hits);
                ids[side].insert(ids[side].end(), hits.begin(), hits.end());
            }
            std::sort(ids[side].begin(), ids[side].end());
            ids[side].erase(std::unique(ids[side].begin(), ids[side].end()), ids[side].end());
            for (uint32_t id : ids[side]) st.neighbours += matched[side][id] ? 1 : 0;
            // Surfaces cut a little beyond the clip box, so that no edge
            // of theirs lies on it.
            BBox wider = clip;
            bg::expand(wider, BPoint(clip.min_corner().x() - params.tolerance, clip.min_corner().y() - params.tolerance));
            bg::expand(wider, BPoint(clip.max_corner().x() + params.tolerance, clip.max_corner().y() + params.tolerance));
            image[side] = imageOf(*sides[side], ids[side], flat, wider);
        }
        for (int side = 0; side < 2; ++side) {
            bg::difference(image[side], image[1 - side], diff[side]);
            // Edges that both images share can leave zero-wide spikes.
            bg::remove_spikes(diff[side]);
            if (cut) {
                BMulti inside;
                bg::intersection(diff[side], clip, inside);
                diff[side] = std::move(inside);
            }
        }
    };
    // Whether the left-over features of the two layers in a tile could make
    // the images differ there: the area their positive features cover, or
    // their negative ones, is not the same on both sides. Inside a moved
    // pour, away from its edges, both sides cover the tile alike.
    std::vector<uint32_t> mine[2][2];  // [side][positive]
    auto leftoversDiffer = [&](const std::vector<size_t>& group, const SpatialIndex::Box& query, const BBox& tile) {
        for (auto& side : mine)
            for (auto& list : side) list.clear();
        bool any = false;
        for (size_t i : group) {
            if (!bg::intersects(items[i].box, query)) continue;
            any = true;
            const Feature& f = sides[items[i].side]->data.features[items[i].id];
            mine[items[i].side][f.positive() ? 1 : 0].push_back(items[i].id);
        }
        if (!any) return false;
        for (int positive = 0; positive < 2; ++positive) {
            BMulti cover[2];
            for (int side = 0; side < 2; ++side) {
                std::vector<BMulti> shapes;
                for (uint32_t id : mine[side][positive])
                    shapes.push_back(flat.shape(sides[side]->ctx(), sides[side]->data.features[id], tile));
                if (!shapes.empty()) cover[side] = unionOf(shapes, 0, shapes.size());
            }
            BMulti both, inside;
            bg::sym_difference(cover[0], cover[1], both);
            bg::intersection(both, tile, inside);
            if (bg::area(inside) > 0) return true;
        }
        return false;
    };
    std::vector<compare_area>* found[2] = {&out.first_only, &out.second_only};
    for (const std::vector<size_t>& group : groupsOf(items)) {
        ++st.groups;
        BBox clip{{kHuge, kHuge}, {-kHuge, -kHuge}};
        std::vector<SpatialIndex::Box> where;
        for (size_t i : group) {
            where.push_back(items[i].box);
            bg::expand(clip, BPoint(items[i].box.min_corner().get<0>() - 1.0, items[i].box.min_corner().get<1>() - 1.0));
            bg::expand(clip, BPoint(items[i].box.max_corner().get<0>() + 1.0, items[i].box.max_corner().get<1>() + 1.0));
        }
        const double w = clip.max_corner().x() - clip.min_corner().x(), h = clip.max_corner().y() - clip.min_corner().y();
        if (w <= kTile && h <= kTile) {
            BMulti diff[2];
            differences(where, clip, false, diff);
            for (int side = 0; side < 2; ++side) collectAreas(diff[side], params.tolerance, *found[side]);
            continue;
        }
        // A large group (a pour, a long track, a chain of boxes): tile by
        // tile, so that no boolean holds more than a tile's features, the
        // pieces joined again across the tiles' edges afterwards.
        const int nx = static_cast<int>(std::ceil(w / kTile)), ny = static_cast<int>(std::ceil(h / kTile));
        std::vector<BPoly> pieces[2];
        for (int ix = 0; ix < nx; ++ix)
            for (int iy = 0; iy < ny; ++iy) {
                const double x0 = clip.min_corner().x() + w * ix / nx, x1 = clip.min_corner().x() + w * (ix + 1) / nx;
                const double y0 = clip.min_corner().y() + h * iy / ny, y1 = clip.min_corner().y() + h * (iy + 1) / ny;
                const BBox tile{{x0, y0}, {x1, y1}};
                const SpatialIndex::Box query = indexBoxOf(tile);
                if (!leftoversDiffer(group, query, tile)) continue;
                BMulti diff[2];
                differences({query}, tile, true, diff);
                for (int side = 0; side < 2; ++side)
                    for (BPoly& p : diff[side]) pieces[side].push_back(std::move(p));
            }
        for (int side = 0; side < 2; ++side) collectAreas(joinPieces(pieces[side]), params.tolerance, *found[side]);
    }
    return out;
}

std::vector<CHECKS::check_result> compare_results(const layer_ref& first, const layer_ref& second,
                                                  const compare_params& params, const compare_result& result) {
    std::vector<CHECKS::check_result> out;
    auto add = [&](const std::vector<compare_area>& areas, const char* check, const layer_ref& layer) {
        for (const compare_area& a : areas) {
            CHECKS::check_result r;
            r.check = check;
            r.level = CHECKS::severity::ERROR;
            r.value = a.width;
            r.limit = params.tolerance;
            r.layers = {layer.layer};
            r.location.kind = CHECKS::location_kind::BOX;
            r.location.a = a.min;
            r.location.b = a.max;
            out.push_back(std::move(r));
        }
    };
    add(result.first_only, "compare_first_only", first);
    add(result.second_only, "compare_second_only", second);
    return out;
}

}  // namespace COMPARE
}  // namespace TOLVA
