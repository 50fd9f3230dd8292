// Pad grid fill. Every node's pad is measured exactly (TOLVA_Measure.h's
// swept cores) against the layer's copper found through the layer's spatial
// index and against the region's boundary edges found through an R-tree of
// their own, so the cost follows the nodes, not the board. Pads cut by the
// boundary are clipped with Boost.Geometry: their shapes are approximated
// from inside (an inscribed polygon), so a clipped piece never reaches past
// the pad it comes from.
#include <algorithm>
#include <cmath>
#include <limits>

#include "boost_geometry.h"
#include <boost/geometry/index/rtree.hpp>

#include "checks_internal.h"
#include "fill_internal.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {
namespace FILL_IMPL {
namespace {

namespace bgi = boost::geometry::index;
using CHECKS_IMPL::CurveBox;
using CHECKS_IMPL::LayerRef;
using MEASURE_GEOM::Closest;
using MEASURE_GEOM::Core;
using MEASURE_GEOM::Curve;
using EdgeTree = bgi::rtree<std::pair<CurveBox, uint32_t>, bgi::rstar<16>>;

constexpr int kRoundPadSides = 32;      // vertices of an inscribed circle when clipping
constexpr int kBufferCircleSides = 90;  // of the round joins of the shrunk region
constexpr double kMinClippedShare = 0.1;

enum class Cover { Whole, Cut, Outside };

CurveBox grown(const Extent& e, double margin) {
    return CurveBox({e.xmin - margin, e.ymin - margin}, {e.xmax + margin, e.ymax + margin});
}

// The region's boundary: every ring's edges as curves, indexed by their boxes.
struct Boundary {
    std::vector<Curve> curves;
    EdgeTree tree;
    BMulti multi;

    explicit Boundary(const std::vector<std::vector<Ring>>& islands) : multi(toMulti(islands)) {
        std::vector<std::pair<CurveBox, uint32_t>> boxes;
        for (const std::vector<Ring>& rings : islands)
            for (const Ring& ring : rings)
                for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
                    curves.push_back(MEASURE_GEOM::segmentCurve(ring[j], ring[i]));
                    boxes.emplace_back(grown(curves.back().box, 0), uint32_t(curves.size() - 1));
                }
        tree = EdgeTree(boxes.begin(), boxes.end());
    }

    // The edges near `box` as one open core; its probes let a pad that holds
    // a whole ring measure 0 from it.
    void nearEdges(const CurveBox& box, Core& out) const {
        out = Core{};
        for (auto it = tree.qbegin(bgi::intersects(box)); it != tree.qend(); ++it) {
            out.curves.push_back(curves[it->second]);
            out.probes.push_back(curves[it->second].a);
        }
    }
};

// How the pad lies in the region: whole when its centre is inside and its
// outline at the clearance or more from every edge (and not touching one).
Cover cover(const Boundary& b, const Core& pad, const Extent& box, const Vec& centre, double clearance,
            Core& scratch) {
    const bool inside = bg::covered_by(BPoint(centre.x, centre.y), b.multi);
    b.nearEdges(grown(box, clearance + 1), scratch);
    if (scratch.curves.empty()) return inside ? Cover::Whole : Cover::Outside;
    const double d = MEASURE_GEOM::shapeDistance(pad, scratch).distance;
    if (inside && d >= clearance && d > 0) return Cover::Whole;
    return inside || d == 0 ? Cover::Cut : Cover::Outside;
}

// The distance from the pad to the nearest positive feature of the layer
// whose box comes within `margin` of it; beyond the margin only "not closer
// than the margin" is certain (infinity when there is none).
double copperGap(const LayerRef& l, CHECKS_IMPL::NearCores& near, const Core& pad, const Extent& box,
                 double margin, std::vector<uint32_t>& ids) {
    ids.clear();
    const IBox ib = clampBox(box.xmin - margin - 1, box.ymin - margin - 1, box.xmax + margin + 1, box.ymax + margin + 1);
    l.data.index.query(l.data.features, SpatialIndex::Box({ib.xmin, ib.ymin}, {ib.xmax, ib.ymax}), ids);
    double best = std::numeric_limits<double>::infinity();
    for (uint32_t id : ids) {
        if (!l.data.features[id].positive()) continue;
        best = std::min(best, near.distanceTo(pad, id, margin).distance);
        if (best == 0) break;
    }
    return best;
}

void circle(double cx, double cy, double r, int sides, BPolygon::ring_type& out) {
    for (int k = 0; k < sides; ++k) {
        const double a = kTwoPi * k / sides;
        out.push_back(BPoint(cx + r * std::cos(a), cy + r * std::sin(a)));
    }
}

// The pad's shape as a polygon inside it.
BPolygon padPolygon(const Symbol& s, const Feature& f) {
    const PadShape p = padShape(s, f);
    BPolygon poly;
    auto& outer = poly.outer();
    switch (p.shape) {
    case SymbolShape::Square:
    case SymbolShape::Rect: {
        Vec corners[4];
        rectCorners(p, corners);
        for (const Vec& c : corners) outer.push_back(BPoint(c.x, c.y));
        break;
    }
    case SymbolShape::Oval: {
        Vec a, b;
        double r = 0;
        ovalSegment(p, a, b, r);
        const double axis = std::atan2(b.y - a.y, b.x - a.x);
        for (int end = 0; end < 2; ++end) {
            const Vec& c = end ? a : b;
            for (int k = 0; k <= kRoundPadSides / 2; ++k) {
                const double t = axis - kPi / 2 + kPi * (k + end * kRoundPadSides / 2) / (kRoundPadSides / 2);
                outer.push_back(BPoint(c.x + r * std::cos(t), c.y + r * std::sin(t)));
            }
        }
        break;
    }
    case SymbolShape::Donut:
        poly.inners().emplace_back();
        // The hole is drawn around the real one, so the ring stays inside the pad.
        circle(p.cx, p.cy, p.inner / 2 / std::cos(kPi / kRoundPadSides), kRoundPadSides, poly.inners().back());
        circle(p.cx, p.cy, p.w / 2, kRoundPadSides, outer);
        break;
    case SymbolShape::Round:
        circle(p.cx, p.cy, p.w / 2, kRoundPadSides, outer);
        break;
    }
    bg::correct(poly);
    return poly;
}

// The region shrunk by the clearance, with room for the chords of its round
// corners and for rounding the clipped pieces' vertices.
BMulti shrunkRegion(const BMulti& region, double clearance) {
    const double base = clearance + kRoundingAllowance;
    const double distance = base + base * (1 - std::cos(kPi / kBufferCircleSides)) + kRoundingAllowance;
    BMulti out;
    bg::buffer(region, out, bg::strategy::buffer::distance_symmetric<double>(-distance),
               bg::strategy::buffer::side_straight(), bg::strategy::buffer::join_round(kBufferCircleSides),
               bg::strategy::buffer::end_round(kBufferCircleSides),
               bg::strategy::buffer::point_circle(kBufferCircleSides));
    return out;
}

void clipPad(const BPolygon& pad, const BMulti& shrunk, std::vector<std::vector<API::lPoint>>& out) {
    BMulti pieces;
    bg::intersection(pad, shrunk, pieces);
    const double least = kMinClippedShare * bg::area(pad);
    for (const BPolygon& piece : pieces) {
        if (bg::area(piece) < least) continue;
        std::vector<API::lPoint> points;
        appendSurfacePoints(piece, points);
        out.push_back(std::move(points));
    }
}

}  // namespace
}  // namespace FILL_IMPL
}  // namespace KERNEL

namespace FILL {
using namespace KERNEL;
using namespace KERNEL::FILL_IMPL;

pad_result pad_grid(const str& job, const str& step, const str& layer, const region& area, const pad_params& params) {
    checkPositive(params.pitch_x, "the pad pitch in x");
    checkPositive(params.pitch_y, "the pad pitch in y");
    if (!std::isfinite(params.clearance) || params.clearance < 0) fail("the clearance must not be negative");
    const Symbol symbol = parseSymbol(params.symbol);
    const std::vector<std::vector<Ring>> islands = checkedRegion(area);
    const Boundary boundary(islands);
    checkEstimate(bg::area(boundary.multi) / (params.pitch_x * params.pitch_y), "pad fill");

    KERNEL_LOCK;
    const CHECKS_IMPL::Scope s = CHECKS_IMPL::scope(job, step);
    const LayerRef copper = s.layer(layer);
    CHECKS_IMPL::NearCores near(copper);
    // A pad is measured in a layer of its own holding only its symbol.
    LayerDef padDef;
    padDef.symbols.push_back(symbol);
    const LayerData padData{};
    const LayerContext padCtx{padDef, padData};

    bg::model::box<BPoint> env;
    bg::envelope(boundary.multi, env);
    const double x0 = env.min_corner().x() + params.pitch_x / 2, y0 = env.min_corner().y() + params.pitch_y / 2;
    pad_result result;
    BMulti shrunk;
    bool haveShrunk = false;
    Core pad, scratch;
    std::vector<uint32_t> ids;
    for (long j = 0; y0 + j * params.pitch_y <= env.max_corner().y(); ++j) {
        const double shift = params.staggered && (j % 2) ? params.pitch_x / 2 : 0;
        for (long i = 0; x0 + shift + i * params.pitch_x <= env.max_corner().x(); ++i) {
            ++result.nodes;
            const Vec c{std::round(x0 + shift + i * params.pitch_x), std::round(y0 + j * params.pitch_y)};
            const Feature f = padFeature(c.x, c.y, 0, API::POL_POSITIVE, 0, 0, 1.0);
            const Extent box = padExtent(symbol, f);
            MEASURE_GEOM::featureCore(padCtx, f, pad);
            const Cover how = cover(boundary, pad, box, c, params.clearance, scratch);
            if (how == Cover::Outside || (how == Cover::Cut && !params.clip)) continue;
            // A clipped piece's vertices are rounded when stored: it keeps the allowance too.
            const double need = params.clearance + (how == Cover::Cut ? kRoundingAllowance : 0);
            const double gap = copperGap(copper, near, pad, box, need, ids);
            if (gap < need || gap == 0) {
                ++result.blocked_by_copper;
                continue;
            }
            if (how == Cover::Whole) {
                result.centres.push_back({c.x, c.y});
                continue;
            }
            if (!haveShrunk) {
                shrunk = shrunkRegion(boundary.multi, params.clearance);
                haveShrunk = true;
            }
            clipPad(padPolygon(symbol, f), shrunk, result.clipped);
        }
    }
    return result;
}

}  // namespace FILL
}  // namespace TOLVA
