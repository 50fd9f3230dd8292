// Snapping: the nearest centre, centre line, outline, crossing, midpoint,
// profile point or grid node to the cursor within a radius.
#include <algorithm>
#include <limits>

#include "TOLVA_Measure.h"
#include "measure_geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using namespace MEASURE_GEOM;
using MEASURE::snap_mode;

// The nearest candidate so far. A candidate must be within the radius and
// strictly nearer than the best: on a tie the first one found stays.
struct Best {
    Vec cursor;
    double radius = 0;
    bool found = false;
    double distance = 0;
    Vec at;
    long layer = -1, layer2 = -1;
    long index = -1, index2 = -1;

    // The distance to beat: a candidate farther than this cannot win.
    double limit() const { return found ? distance : radius; }
    bool offer(const Vec& p, long l, long i, long l2 = -1, long i2 = -1) {
        const double d = std::hypot(p.x - cursor.x, p.y - cursor.y);
        if (d > radius || (found && d >= distance)) return false;
        found = true;
        distance = d;
        at = p;
        layer = l;
        index = i;
        layer2 = l2;
        index2 = i2;
        return true;
    }
};

struct Candidate {
    long layer;
    uint32_t id;
};

// A surface's edges, as absolute segments, handed to `edge` unless their box
// lies farther from the cursor than `limit()` (the big planes of a board have
// many thousands of edges, most far from the cursor).
template <class Limit, class Edge>
void surfaceEdges(const LayerData& data, const Feature& f, const Vec& cursor, Limit&& limit, Edge&& edge) {
    for (const ContourSpan& c : surfaceContours(data, f)) {
        for (uint32_t i = 0; i < c.count; ++i) {
            const API::point& p = c.points[i];
            const API::point& q = c.points[i + 1 == c.count ? 0 : i + 1];
            const Vec a{double(f.x1) + p.x, double(f.y1) + p.y}, b{double(f.x1) + q.x, double(f.y1) + q.y};
            const double gx = std::max({0.0, std::min(a.x, b.x) - cursor.x, cursor.x - std::max(a.x, b.x)});
            const double gy = std::max({0.0, std::min(a.y, b.y) - cursor.y, cursor.y - std::max(a.y, b.y)});
            const double l = limit();
            if (gx > l || gy > l) continue;
            edge(a, b);
        }
    }
}

Vec arcMidpoint(const Feature& f) {
    const ArcGeom g = arcGeom(f);
    const double a = std::atan2(g.uy0, g.ux0) + 0.5 * g.sweep();
    return {g.cx + g.radius * std::cos(a), g.cy + g.radius * std::sin(a)};
}

void offerFeature(snap_mode mode, const LayerContext& ctx, const Feature& f, long layer, uint32_t id,
                  Best& best, std::vector<Curve>& curves) {
    const Vec p = best.cursor;
    switch (mode) {
    case snap_mode::CENTER:
        switch (f.type) {
        case API::FT_PAD: best.offer({double(f.x1), double(f.y1)}, layer, id); break;
        case API::FT_ARC:
            best.offer({double(f.xc), double(f.yc)}, layer, id);
            best.offer({double(f.x1), double(f.y1)}, layer, id);
            best.offer({double(f.x2), double(f.y2)}, layer, id);
            break;
        case API::FT_LINE:
            best.offer({double(f.x1), double(f.y1)}, layer, id);
            best.offer({double(f.x2), double(f.y2)}, layer, id);
            break;
        default:
            best.offer({0.5 * (double(f.x2) + f.xc), 0.5 * (double(f.y2) + f.yc)}, layer, id);
            break;
        }
        break;
    case snap_mode::SKELETON:
        curves.clear();
        featureSkeleton(f, curves);
        for (const Curve& c : curves) best.offer(closestPoint(c, p).a, layer, id);
        break;
    case snap_mode::EDGE:
        if (f.type == API::FT_SURFACE) {
            surfaceEdges(ctx.data, f, p, [&best] { return best.limit(); }, [&](const Vec& a, const Vec& b) {
                best.offer(closestPoint(segmentCurve(a, b), p).a, layer, id);
            });
            break;
        }
        curves.clear();
        featureOutline(ctx, f, curves);
        for (const Curve& c : curves)
            if (boxDistance(c.box, p) <= best.limit()) best.offer(closestPoint(c, p).a, layer, id);
        break;
    case snap_mode::MIDPOINT:
        if (f.type == API::FT_LINE)
            best.offer({0.5 * (double(f.x1) + f.x2), 0.5 * (double(f.y1) + f.y2)}, layer, id);
        else if (f.type == API::FT_ARC)
            best.offer(arcMidpoint(f), layer, id);
        else if (f.type == API::FT_SURFACE)
            surfaceEdges(ctx.data, f, p, [&best] { return best.limit(); }, [&](const Vec& a, const Vec& b) {
                best.offer({0.5 * (a.x + b.x), 0.5 * (a.y + b.y)}, layer, id);
            });
        break;
    default:
        break;
    }
}

// Crossings of the centre lines of two lines or arcs, and of the outlines of
// two features, among the features near the cursor.
void offerCrossings(Job& job, const std::vector<size_t>& layers, const Step& step,
                    const std::vector<Candidate>& found, Best& best) {
    struct Item {
        Candidate at;
        std::vector<Curve> skeleton, outline;
        Extent box;
    };
    const Vec p = best.cursor;
    auto near = [&](const Curve& c) { return boxDistance(c.box, p) <= best.radius; };
    std::vector<Item> items;
    std::vector<Curve> curves;
    for (const Candidate& c : found) {
        const size_t l = layers[static_cast<size_t>(c.layer)];
        const LayerData& data = step.layers[l];
        const Feature& f = data.features[c.id];
        Item it{c, {}, {}, {}};
        curves.clear();
        featureSkeleton(f, curves);
        std::copy_if(curves.begin(), curves.end(), std::back_inserter(it.skeleton), near);
        if (f.type == API::FT_SURFACE) {
            // Only the edges near the cursor, without building the rest.
            surfaceEdges(data, f, p, [&best] { return best.radius; },
                         [&it](const Vec& a, const Vec& b) { it.outline.push_back(segmentCurve(a, b)); });
        } else {
            curves.clear();
            featureOutline({job.layers[l], data}, f, curves);
            std::copy_if(curves.begin(), curves.end(), std::back_inserter(it.outline), near);
        }
        if (it.skeleton.empty() && it.outline.empty()) continue;
        it.box = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
                  -std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
        for (const auto* list : {&it.skeleton, &it.outline})
            for (const Curve& k : *list)
                it.box = {std::min(it.box.xmin, k.box.xmin), std::min(it.box.ymin, k.box.ymin),
                          std::max(it.box.xmax, k.box.xmax), std::max(it.box.ymax, k.box.ymax)};
        items.push_back(std::move(it));
    }
    std::vector<Vec> points;
    for (size_t i = 0; i < items.size(); ++i)
        for (size_t k = i + 1; k < items.size(); ++k) {
            const Item& a = items[i];
            const Item& b = items[k];
            if (a.box.xmin > b.box.xmax || b.box.xmin > a.box.xmax || a.box.ymin > b.box.ymax ||
                b.box.ymin > a.box.ymax)
                continue;
            points.clear();
            for (const Curve& c : a.skeleton)
                for (const Curve& d : b.skeleton) crossings(c, d, points);
            for (const Curve& c : a.outline)
                for (const Curve& d : b.outline) crossings(c, d, points);
            for (const Vec& q : points) best.offer(q, a.at.layer, a.at.id, b.at.layer, b.at.id);
        }
}

void snapGrid(const MEASURE::snap_request& r, Best& best) {
    for (double v : {r.grid_x, r.grid_y, r.grid_pitch_x, r.grid_pitch_y}) checkFinite(v, "grid");
    if (!(r.grid_pitch_x > 0) || !(r.grid_pitch_y > 0)) fail("grid pitch must be greater than zero");
    const double i = std::round((r.x - r.grid_x) / r.grid_pitch_x);
    const double j = std::round((r.y - r.grid_y) / r.grid_pitch_y);
    best.offer({r.grid_x + i * r.grid_pitch_x, r.grid_y + j * r.grid_pitch_y}, -1, -1);
}

void snapProfile(const Step& step, Best& best) {
    const size_t n = step.profile.size();
    for (size_t i = 0; i < n; ++i) {
        const API::lPoint& a = step.profile[i];
        const API::lPoint& b = step.profile[(i + 1) % n];
        best.offer(closestPoint(segmentCurve({a.x, a.y}, {b.x, b.y}), best.cursor).a, -1, -1);
    }
}

}  // namespace
}  // namespace KERNEL

namespace MEASURE {

using namespace KERNEL;
using namespace KERNEL::MEASURE_GEOM;

snap_result snap(const str& job, const str& step, const snap_request& request) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = j.steps[findStepIndex(j, step)];
    std::vector<size_t> layers;
    for (const str& name : request.layers) layers.push_back(findLayerIndex(j, name));
    checkFinite(request.x, "snap x");
    checkFinite(request.y, "snap y");
    checkFinite(request.radius, "snap radius");
    if (request.radius < 0) fail("snap radius is negative");
    const int mode = static_cast<int>(request.mode);
    if (mode < 0 || mode > static_cast<int>(snap_mode::OFF))
        fail("unknown snap mode " + std::to_string(mode));

    Best best;
    best.cursor = {request.x, request.y};
    best.radius = request.radius;
    switch (request.mode) {
    case snap_mode::OFF: best.offer(best.cursor, -1, -1); break;
    case snap_mode::GRID: snapGrid(request, best); break;
    case snap_mode::PROFILE: snapProfile(s, best); break;
    default: {
        const IBox q = clampBox(request.x - request.radius, request.y - request.radius,
                                request.x + request.radius, request.y + request.radius);
        const SpatialIndex::Box box({q.xmin, q.ymin}, {q.xmax, q.ymax});
        std::vector<uint32_t> ids;
        std::vector<Curve> curves;
        std::vector<Candidate> found;
        for (size_t k = 0; k < layers.size(); ++k) {
            const LayerDef& def = j.layers[layers[k]];
            LayerData& data = s.layers[layers[k]];
            ensureIndex(def, data);
            ids.clear();
            data.index.query(data.features, box, ids);
            std::sort(ids.begin(), ids.end());
            const LayerContext ctx{def, data};
            for (uint32_t id : ids) {
                if (request.mode == snap_mode::INTERSECTION)
                    found.push_back({static_cast<long>(k), id});
                else
                    offerFeature(request.mode, ctx, data.features[id], static_cast<long>(k), id, best, curves);
            }
        }
        if (request.mode == snap_mode::INTERSECTION) offerCrossings(j, layers, s, found, best);
        break;
    }
    }

    snap_result r;
    r.x = request.x;
    r.y = request.y;
    if (!best.found) return r;
    r.found = true;
    r.x = best.at.x;
    r.y = best.at.y;
    r.distance = best.distance;
    if (best.layer >= 0) {
        r.layer = request.layers[static_cast<size_t>(best.layer)];
        r.index = static_cast<int>(best.index);
    }
    if (best.layer2 >= 0) {
        r.layer2 = request.layers[static_cast<size_t>(best.layer2)];
        r.index2 = static_cast<int>(best.index2);
    }
    return r;
}

}  // namespace MEASURE
}  // namespace TOLVA
