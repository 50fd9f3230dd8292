// Regions of the contour fills: checking, nesting, the solid fill, and the
// contours taken from a surface or from a closed chain of lines and arcs.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "TOLVA_Step.h"
#include "fill_internal.h"
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {
namespace FILL_IMPL {

namespace {
bool samePoint(const Vec& a, const Vec& b) { return a.x == b.x && a.y == b.y; }

// Even-odd test of a point against one ring.
bool insideRing(const Ring& ring, const Vec& p) {
    bool in = false;
    for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
        const Vec& a = ring[i];
        const Vec& b = ring[j];
        if ((a.y > p.y) != (b.y > p.y) && p.x < (b.x - a.x) * (p.y - a.y) / (b.y - a.y) + a.x) in = !in;
    }
    return in;
}

std::vector<API::lPoint> toPoints(const Ring& ring) {
    std::vector<API::lPoint> out;
    out.reserve(ring.size());
    for (const Vec& v : ring) out.push_back({v.x, v.y});
    return out;
}

std::string millimetres(const Vec& p) {
    char text[64];
    std::snprintf(text, sizeof text, "(%.4f, %.4f) mm", p.x / 1e6, p.y / 1e6);
    return text;
}
}  // namespace

double signedArea(const Ring& ring) {
    double twice = 0;
    for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++)
        twice += (ring[j].x - ring[i].x) * (ring[j].y + ring[i].y);
    return twice / 2;
}

Ring cleanRing(const std::vector<API::lPoint>& points, const char* what) {
    Ring ring;
    ring.reserve(points.size());
    for (const API::lPoint& p : points) ring.push_back({p.x, p.y});
    return cleanRing(ring, what);
}

Ring cleanRing(const Ring& points, const char* what) {
    Ring ring;
    ring.reserve(points.size());
    for (const Vec& v : points) {
        if (!std::isfinite(v.x) || !std::isfinite(v.y)) fail(std::string(what) + " has a vertex that is not a number");
        if (ring.empty() || !samePoint(ring.back(), v)) ring.push_back(v);
    }
    while (ring.size() > 1 && samePoint(ring.front(), ring.back())) ring.pop_back();
    if (ring.size() < 3 || signedArea(ring) == 0)
        fail(std::string(what) + " is open or encloses no area: a closed contour is needed");
    return ring;
}

std::vector<std::vector<Ring>> checkedRegion(const FILL::region& area) {
    if (area.empty()) fail("the fill has no contour");
    std::vector<std::vector<Ring>> islands;
    for (const FILL::contour& c : area) {
        std::vector<Ring> rings{cleanRing(c.outer, "the contour")};
        for (const auto& hole : c.holes) rings.push_back(cleanRing(hole, "a hole of the contour"));
        islands.push_back(std::move(rings));
    }
    return islands;
}

BMulti toMulti(const std::vector<std::vector<Ring>>& islands) {
    BMulti multi;
    for (const std::vector<Ring>& rings : islands) {
        BPolygon polygon;
        polygon.inners().resize(rings.size() - 1);
        for (size_t r = 0; r < rings.size(); ++r) {
            auto& target = r == 0 ? polygon.outer() : polygon.inners()[r - 1];
            for (const Vec& v : rings[r]) target.push_back(BPoint(v.x, v.y));
        }
        bg::correct(polygon);
        multi.push_back(std::move(polygon));
    }
    return multi;
}

std::vector<API::lPoint> ringPoints(const BPolygon::ring_type& ring) {
    std::vector<API::lPoint> out;
    for (size_t i = 0; i + 1 < ring.size(); ++i) out.push_back({ring[i].x(), ring[i].y()});
    return out;
}

void appendSurfacePoints(const BPolygon& polygon, std::vector<API::lPoint>& out) {
    auto append = [&out](const auto& ring) {
        if (ring.size() < 4) return;  // closed: three corners and the repeat
        for (const BPoint& p : ring) out.push_back({p.x(), p.y()});
    };
    append(polygon.outer());
    for (const auto& inner : polygon.inners()) append(inner);
}

FILL::region nestRings(const std::vector<Ring>& rings) {
    const size_t n = rings.size();
    std::vector<int> depth(n, 0), parent(n, -1);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < n; ++j)
            if (i != j && insideRing(rings[j], rings[i][0])) {
                ++depth[i];
                // The innermost holder is the one held by the most others.
                if (parent[i] < 0 || std::abs(signedArea(rings[j])) < std::abs(signedArea(rings[size_t(parent[i])])))
                    parent[i] = int(j);
            }
    FILL::region out;
    std::vector<int> island(n, -1);
    for (size_t i = 0; i < n; ++i)
        if (depth[i] % 2 == 0) {
            island[i] = int(out.size());
            out.push_back({toPoints(rings[i]), {}});
        }
    for (size_t i = 0; i < n; ++i)
        if (depth[i] % 2 == 1) out[size_t(island[size_t(parent[i])])].holes.push_back(toPoints(rings[i]));
    return out;
}

void checkPositive(double value, const char* what) {
    if (!std::isfinite(value) || value <= 0) fail(std::string(what) + " must be greater than zero");
}

void checkEstimate(double features, const char* what) {
    if (features > double(FILL::kMaxFillFeatures)) {
        char text[160];
        std::snprintf(text, sizeof text, "the %s would make about %.0f features, more than %lld", what, features,
                      FILL::kMaxFillFeatures);
        fail(text);
    }
}

// ---- chains of lines and arcs ----------------------------------------------------

namespace {
// One line or arc of a chain as the points from its start to its end.
struct Link {
    Ring points;
    const Vec& start() const { return points.front(); }
    const Vec& end() const { return points.back(); }
};

Ring arcPoints(const Feature& f) {
    const ArcGeom g = arcGeom(f);
    const Vec s{double(f.x1), double(f.y1)}, e{double(f.x2), double(f.y2)};
    const double sweep = g.sweep();
    const double step =
        g.radius > FILL::kArcTolerance ? 2 * std::acos(1 - FILL::kArcTolerance / g.radius) : kPi / 2;
    const int n = std::max(2, int(std::ceil(sweep / step)));
    const double dir = (f.flags & kClockwise) ? -1 : 1;
    const double a0 = std::atan2(s.y - g.cy, s.x - g.cx);
    Ring pts{s};
    for (int k = 1; k < n; ++k) {
        const double a = a0 + dir * sweep * k / n;
        pts.push_back({g.cx + g.radius * std::cos(a), g.cy + g.radius * std::sin(a)});
    }
    pts.push_back(e);
    return pts;
}

bool near(const Vec& a, const Vec& b) {
    return std::hypot(a.x - b.x, a.y - b.y) <= FILL::kJoinTolerance;
}

std::vector<Link> chainLinks(const LayerData& data, const std::vector<int>& indices) {
    std::set<int> seen;
    std::vector<Link> links;
    for (int index : indices) {
        if (index < 0 || size_t(index) >= data.features.size())
            fail("the layer has no feature " + std::to_string(index));
        if (!seen.insert(index).second) fail("feature " + std::to_string(index) + " is given twice");
        const Feature& f = data.features[size_t(index)];
        if (f.type == API::FT_LINE)
            links.push_back({{{double(f.x1), double(f.y1)}, {double(f.x2), double(f.y2)}}});
        else if (f.type == API::FT_ARC)
            links.push_back({arcPoints(f)});
        else
            fail("feature " + std::to_string(index) + " is neither a line nor an arc: a contour is made of lines and arcs");
    }
    if (links.empty()) fail("no lines or arcs are given for the contour");
    return links;
}

// Follows links end to end from `first` until the loop closes.
Ring traceLoop(std::vector<Link>& links, std::vector<char>& used, size_t first) {
    used[first] = 1;
    Ring ring = links[first].points;
    const Vec origin = ring.front();
    while (!(ring.size() > 2 && near(ring.back(), origin))) {
        const Vec tail = ring.back();
        size_t next = links.size();
        bool reversed = false;
        for (size_t k = 0; k < links.size() && next == links.size(); ++k) {
            if (used[k]) continue;
            if (near(links[k].start(), tail)) next = k;
            else if (near(links[k].end(), tail)) next = k, reversed = true;
        }
        if (next == links.size())
            fail("the selected lines and arcs do not close: nothing continues from " + millimetres(tail));
        used[next] = 1;
        Ring pts = links[next].points;
        if (reversed) std::reverse(pts.begin(), pts.end());
        ring.insert(ring.end(), pts.begin() + 1, pts.end());
    }
    ring.pop_back();  // the loop's end is its start
    return ring;
}
}  // namespace

}  // namespace FILL_IMPL
}  // namespace KERNEL

namespace FILL {
using namespace KERNEL;
using namespace KERNEL::FILL_IMPL;

region surface_contour(const str& job, const str& step, const str& layer, int index) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const LayerData& data = j.steps[findStepIndex(j, step)].layers[findLayerIndex(j, layer)];
    if (index < 0 || size_t(index) >= data.features.size())
        fail("layer '" + layer + "' has no feature " + std::to_string(index));
    const Feature& f = data.features[size_t(index)];
    if (f.type != API::FT_SURFACE) fail("feature " + std::to_string(index) + " is not a surface");
    std::vector<Ring> rings;
    for (const ContourSpan& c : surfaceContours(data, f)) {
        Ring pts;
        for (uint32_t i = 0; i < c.count; ++i)
            pts.push_back({double(f.x1) + c.points[i].x, double(f.y1) + c.points[i].y});
        rings.push_back(cleanRing(pts, "the surface's contour"));
    }
    return nestRings(rings);
}

region chain_contour(const str& job, const str& step, const str& layer, const std::vector<int>& indices) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const LayerData& data = j.steps[findStepIndex(j, step)].layers[findLayerIndex(j, layer)];
    std::vector<Link> links = chainLinks(data, indices);
    std::vector<char> used(links.size(), 0);
    std::vector<Ring> rings;
    for (size_t k = 0; k < links.size(); ++k)
        if (!used[k]) rings.push_back(cleanRing(traceLoop(links, used, k), "the chain of lines and arcs"));
    return nestRings(rings);
}

region panel_contour(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const Step& s = j.steps[findStepIndex(j, step)];
    if (s.profile.empty()) fail("step '" + step + "' has no profile: its panel area is unknown");
    const std::vector<std::vector<lPoint>> outlines = STEP::instance_outlines(job, step);
    if (outlines.empty()) fail("step '" + step + "' places no instances");
    BMulti covered;
    for (const std::vector<lPoint>& outline : outlines) {
        BMulti merged;
        bg::union_(covered, toMulti({{cleanRing(outline, "an instance's outline")}}), merged);
        covered = std::move(merged);
    }
    BMulti rest;
    bg::difference(toMulti({{cleanRing(s.profile, "the panel's profile")}}), covered, rest);
    region out;
    for (const BPolygon& polygon : rest) {
        contour c{ringPoints(polygon.outer()), {}};
        for (const auto& inner : polygon.inners()) c.holes.push_back(ringPoints(inner));
        out.push_back(std::move(c));
    }
    if (out.empty()) fail("the instances cover the whole panel of step '" + step + "'");
    return out;
}

std::vector<lPoint> solid_surface(const region& area) {
    std::vector<lPoint> out;
    for (const std::vector<Ring>& island : checkedRegion(area))
        for (const Ring& ring : island) {
            for (const Vec& v : ring) out.push_back({v.x, v.y});
            out.push_back({ring.front().x, ring.front().y});
        }
    return out;
}

}  // namespace FILL
}  // namespace TOLVA
