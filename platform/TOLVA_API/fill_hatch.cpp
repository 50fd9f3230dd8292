// Hatch fill. The lines are worked out in a frame turned so that they run
// along u; each scan line v = const is cut exactly, without approximating
// the round caps: where its centre line is inside the region (even-odd over
// every ring) less where it comes within the pen's radius of a boundary edge.
// The set of points of a line within r of a segment is the line's crossing
// with a capsule, a convex set, so it is one interval worked out in closed
// form. What is left keeps every disc of the pen inside the region.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "fill_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace FILL_IMPL {
namespace {

struct Interval {
    double lo, hi;
};

struct Frame {
    double c, s;
    Vec toLocal(const Vec& p) const { return {p.x * c + p.y * s, -p.x * s + p.y * c}; }
    Vec toWorld(const Vec& q) const { return {q.x * c - q.y * s, q.x * s + q.y * c}; }
};

struct Edge {
    Vec a, b;
    double vmin, vmax;
};

std::vector<Edge> localEdges(const std::vector<std::vector<Ring>>& islands, const Frame& frame) {
    std::vector<Edge> edges;
    for (const std::vector<Ring>& rings : islands)
        for (const Ring& ring : rings)
            for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
                const Vec a = frame.toLocal(ring[j]), b = frame.toLocal(ring[i]);
                edges.push_back({a, b, std::min(a.y, b.y), std::max(a.y, b.y)});
            }
    std::sort(edges.begin(), edges.end(), [](const Edge& x, const Edge& y) { return x.vmin < y.vmin; });
    return edges;
}

// Where k * u + m lies in [lo, hi], intersected into `out`.
void clampLinear(double k, double m, double lo, double hi, Interval& out) {
    if (k == 0) {
        if (m < lo || m > hi) out = {1, 0};
        return;
    }
    double a = (lo - m) / k, b = (hi - m) / k;
    if (a > b) std::swap(a, b);
    out.lo = std::max(out.lo, a);
    out.hi = std::min(out.hi, b);
}

void growByDisc(const Vec& c, double v, double r, Interval& out) {
    const double dv = v - c.y;
    if (std::abs(dv) >= r) return;
    const double h = std::sqrt(r * r - dv * dv);
    out.lo = std::min(out.lo, c.x - h);
    out.hi = std::max(out.hi, c.x + h);
}

// The points of the line v = const closer than r to segment e: the two end
// discs and the band along the segment.
bool capsuleInterval(const Edge& e, double v, double r, Interval& out) {
    out = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
    growByDisc(e.a, v, r, out);
    growByDisc(e.b, v, r, out);
    const double dx = e.b.x - e.a.x, dy = e.b.y - e.a.y;
    const double length = std::hypot(dx, dy);
    if (length > 0) {
        // In t = u - a.u: across the segment |n . (p - a)| < r with n its
        // unit normal; along it 0 <= d . (p - a) <= |d|^2.
        Interval band{-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
        clampLinear(-dy / length, dx / length * (v - e.a.y), -r, r, band);
        clampLinear(dx, dy * (v - e.a.y), 0, length * length, band);
        if (band.lo < band.hi) {
            out.lo = std::min(out.lo, e.a.x + band.lo);
            out.hi = std::max(out.hi, e.a.x + band.hi);
        }
    }
    return out.lo < out.hi;
}

// The pieces of the line v = const that the pen of radius r can run along.
void cutScanLine(const std::vector<Edge>& edges, double v, double r, std::vector<Interval>& pieces) {
    std::vector<double> crossings;
    std::vector<Interval> blocked;
    for (const Edge& e : edges) {
        if (e.vmin - r > v) break;
        if (e.vmax + r < v) continue;
        if ((e.a.y > v) != (e.b.y > v)) crossings.push_back(e.a.x + (v - e.a.y) * (e.b.x - e.a.x) / (e.b.y - e.a.y));
        Interval near;
        if (capsuleInterval(e, v, r, near)) blocked.push_back(near);
    }
    std::sort(crossings.begin(), crossings.end());
    std::sort(blocked.begin(), blocked.end(), [](const Interval& a, const Interval& b) { return a.lo < b.lo; });
    for (size_t i = 0; i + 1 < crossings.size(); i += 2) {
        double from = crossings[i];
        const double to = crossings[i + 1];
        for (const Interval& b : blocked) {
            if (b.hi <= from) continue;
            if (b.lo >= to) break;
            if (b.lo > from) pieces.push_back({from, b.lo});
            from = std::max(from, b.hi);
        }
        if (from < to) pieces.push_back({from, to});
    }
}

void hatchDirection(const std::vector<std::vector<Ring>>& islands, double angleDeg, double pitch, double r,
                    std::vector<API::feature_point>& out) {
    const double a = angleDeg * kPi / 180;
    const Frame frame{std::cos(a), std::sin(a)};
    const std::vector<Edge> edges = localEdges(islands, frame);
    double vmin = std::numeric_limits<double>::infinity(), vmax = -vmin;
    for (const Edge& e : edges) {
        vmin = std::min(vmin, e.vmin);
        vmax = std::max(vmax, e.vmax);
    }
    // The first line clears the lowest point by the allowance twice over, so
    // that the edge under it does not take the whole line.
    std::vector<Interval> pieces;
    for (double v = vmin + r + 2 * kRoundingAllowance; v <= vmax; v += pitch) {
        pieces.clear();
        cutScanLine(edges, v, r + kRoundingAllowance, pieces);
        for (const Interval& p : pieces) {
            if (p.hi - p.lo < kRoundingAllowance) continue;
            const Vec s = frame.toWorld({p.lo, v}), e = frame.toWorld({p.hi, v});
            out.push_back({s.x, s.y, e.x, e.y, 0, 0, 0, 0});
        }
    }
}

// "r254" for 254 um, "r100.5" for 100.5 um.
std::string roundSymbol(long long widthNm) {
    char text[48];
    if (widthNm % 1000 == 0) {
        std::snprintf(text, sizeof text, "r%lld", widthNm / 1000);
    } else {
        std::snprintf(text, sizeof text, "r%.3f", double(widthNm) / 1000);
        char* end = text + std::strlen(text) - 1;
        while (*end == '0') *end-- = '\0';
    }
    return text;
}

// Pieces of the hatch: every scan line crossing the region, once per island
// and per hole it passes.
double hatchEstimate(const std::vector<std::vector<Ring>>& islands, double pitch, bool cross) {
    double estimate = 0;
    for (const std::vector<Ring>& rings : islands) {
        double xmin = std::numeric_limits<double>::infinity(), xmax = -xmin, ymin = xmin, ymax = -xmin;
        for (const Vec& v : rings[0]) {
            xmin = std::min(xmin, v.x), xmax = std::max(xmax, v.x);
            ymin = std::min(ymin, v.y), ymax = std::max(ymax, v.y);
        }
        const double lines = std::hypot(xmax - xmin, ymax - ymin) / pitch + 1;
        estimate += lines * double(rings.size()) * (cross ? 2 : 1);
    }
    return estimate;
}

}  // namespace
}  // namespace FILL_IMPL
}  // namespace KERNEL

namespace FILL {
using namespace KERNEL;
using namespace KERNEL::FILL_IMPL;

hatch_result hatch_lines(const region& area, const hatch_params& params) {
    checkPositive(params.width, "the hatch width");
    checkPositive(params.pitch, "the hatch pitch");
    if (!std::isfinite(params.angle)) fail("the hatch angle is not a number");
    const std::vector<std::vector<Ring>> islands = checkedRegion(area);
    checkEstimate(hatchEstimate(islands, params.pitch, params.cross), "hatch");
    hatch_result result;
    const long long width = std::llround(params.width);
    result.symbol = roundSymbol(std::max(1LL, width));
    const double r = parseSymbol(result.symbol).width / 2;
    hatchDirection(islands, params.angle, params.pitch, r, result.lines);
    if (params.cross) hatchDirection(islands, params.angle + 90, params.pitch, r, result.lines);
    return result;
}

}  // namespace FILL
}  // namespace TOLVA
