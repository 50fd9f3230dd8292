// Closest points and crossings of segments, arcs and filled rings.
#include "measure_geometry.h"

#include <algorithm>
#include <limits>

#include "hit.h"

namespace TOLVA {
namespace KERNEL {
namespace MEASURE_GEOM {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

double cross(const Vec& o, const Vec& a, const Vec& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}
double dist(const Vec& a, const Vec& b) { return std::hypot(a.x - b.x, a.y - b.y); }
Vec lerp(const Vec& a, const Vec& b, double t) { return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)}; }

Extent boxOf(const Vec& a, const Vec& b) {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
}

// The squared gap between two boxes, 0 when they meet: compared with a
// squared distance it prunes curve pairs without a square root.
double boxGap2(const Extent& a, const Extent& b) {
    const double dx = std::max({0.0, a.xmin - b.xmax, b.xmin - a.xmax});
    const double dy = std::max({0.0, a.ymin - b.ymax, b.ymin - a.ymax});
    return dx * dx + dy * dy;
}

Closest pair(const Vec& a, const Vec& b) { return {dist(a, b), a, b}; }
Closest swapped(const Closest& c) { return {c.distance, c.b, c.a}; }
void keep(Closest& best, const Closest& c) {
    if (c.distance < best.distance) best = c;
}

// Closest point of segment a-b to p.
Vec segmentFoot(const Vec& p, const Vec& a, const Vec& b) {
    const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    if (l2 == 0) return a;
    double t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / l2;
    if (t <= 0) return a;
    if (t >= 1) return b;
    return {a.x + t * dx, a.y + t * dy};
}

Vec arcFoot(const Curve& c, const Vec& p) {
    const ArcGeom& g = c.g;
    const double dx = p.x - g.cx, dy = p.y - g.cy, l = std::hypot(dx, dy);
    if (l > 0 && g.containsAngle(p.x, p.y)) return {g.cx + dx / l * g.radius, g.cy + dy / l * g.radius};
    if (l == 0) return c.a;  // every point of the arc is as near
    return dist(p, c.a) <= dist(p, c.b) ? c.a : c.b;
}

bool onSegment(const Vec& p, const Vec& a, const Vec& b) {
    return cross(a, b, p) == 0 && std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x) &&
           std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y);
}

// Where segments a-b and c-d meet, if they do: the crossing, or for
// collinear overlapping ones an end of the overlap.
bool segmentMeet(const Vec& a, const Vec& b, const Vec& c, const Vec& d, Vec& at) {
    const double d1 = cross(c, d, a), d2 = cross(c, d, b), d3 = cross(a, b, c), d4 = cross(a, b, d);
    if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) {
        at = lerp(a, b, d1 / (d1 - d2));
        return true;
    }
    if (d1 == 0 && onSegment(a, c, d)) return at = a, true;
    if (d2 == 0 && onSegment(b, c, d)) return at = b, true;
    if (d3 == 0 && onSegment(c, a, b)) return at = c, true;
    if (d4 == 0 && onSegment(d, a, b)) return at = d, true;
    return false;
}

// Parameters u along a-b where the line meets the circle (0, 1 or 2 of them).
int lineCircle(const Vec& a, const Vec& b, const ArcGeom& g, double u[2]) {
    const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    if (l2 == 0) return 0;
    // Through the foot of the centre on the line, so that nothing large cancels.
    const double t = ((g.cx - a.x) * dx + (g.cy - a.y) * dy) / l2;
    const double fx = a.x + t * dx - g.cx, fy = a.y + t * dy - g.cy;
    const double h2 = g.radius * g.radius - (fx * fx + fy * fy);
    if (h2 < 0) return 0;
    const double s = std::sqrt(h2 / l2);
    u[0] = t - s;
    u[1] = t + s;
    return s == 0 ? 1 : 2;
}

// Points where two circles meet (0, 1 or 2).
int circleCircle(const ArcGeom& p, const ArcGeom& q, Vec out[2]) {
    const double dx = q.cx - p.cx, dy = q.cy - p.cy, d = std::hypot(dx, dy);
    if (d == 0 || d > p.radius + q.radius || d < std::fabs(p.radius - q.radius)) return 0;
    const double x = (d * d + p.radius * p.radius - q.radius * q.radius) / (2 * d);
    const double h = std::sqrt(std::max(0.0, p.radius * p.radius - x * x));
    const double ux = dx / d, uy = dy / d;
    out[0] = {p.cx + x * ux - h * uy, p.cy + x * uy + h * ux};
    out[1] = {p.cx + x * ux + h * uy, p.cy + x * uy - h * ux};
    return h == 0 ? 1 : 2;
}

Closest segmentSegment(const Curve& c, const Curve& d) {
    Vec at;
    if (segmentMeet(c.a, c.b, d.a, d.b, at)) return {0, at, at};
    Closest best{kInf, {}, {}};
    keep(best, pair(c.a, segmentFoot(c.a, d.a, d.b)));
    keep(best, pair(c.b, segmentFoot(c.b, d.a, d.b)));
    keep(best, pair(segmentFoot(d.a, c.a, c.b), d.a));
    keep(best, pair(segmentFoot(d.b, c.a, c.b), d.b));
    return best;
}

Closest segmentArc(const Curve& s, const Curve& arc) {
    const ArcGeom& g = arc.g;
    double u[2];
    const int n = lineCircle(s.a, s.b, g, u);
    for (int i = 0; i < n; ++i) {
        if (u[i] < 0 || u[i] > 1) continue;
        const Vec p = lerp(s.a, s.b, u[i]);
        if (g.containsAngle(p.x, p.y)) return {0, p, p};
    }
    Closest best{kInf, {}, {}};
    keep(best, pair(s.a, arcFoot(arc, s.a)));
    keep(best, pair(s.b, arcFoot(arc, s.b)));
    keep(best, pair(segmentFoot(arc.a, s.a, s.b), arc.a));
    keep(best, pair(segmentFoot(arc.b, s.a, s.b), arc.b));
    // Both inside their spans: on the perpendicular from the centre.
    const Vec c{g.cx, g.cy};
    const Vec f = segmentFoot(c, s.a, s.b);
    const double l = dist(f, c);
    if (l > 0 && g.containsAngle(f.x, f.y))
        keep(best, pair(f, {g.cx + (f.x - g.cx) / l * g.radius, g.cy + (f.y - g.cy) / l * g.radius}));
    return best;
}

Closest arcArc(const Curve& p, const Curve& q) {
    Vec at[2];
    const int n = circleCircle(p.g, q.g, at);
    for (int i = 0; i < n; ++i)
        if (p.g.containsAngle(at[i].x, at[i].y) && q.g.containsAngle(at[i].x, at[i].y))
            return {0, at[i], at[i]};
    if (p.g.cx == q.g.cx && p.g.cy == q.g.cy && p.g.radius == q.g.radius) {
        // One circle: they meet where the sweeps overlap, at an end of one.
        for (const Vec& e : {p.a, p.b})
            if (q.g.containsAngle(e.x, e.y)) return {0, e, e};
        for (const Vec& e : {q.a, q.b})
            if (p.g.containsAngle(e.x, e.y)) return {0, e, e};
    }
    Closest best{kInf, {}, {}};
    keep(best, pair(p.a, arcFoot(q, p.a)));
    keep(best, pair(p.b, arcFoot(q, p.b)));
    keep(best, pair(arcFoot(p, q.a), q.a));
    keep(best, pair(arcFoot(p, q.b), q.b));
    // Both inside their sweeps: on the line through the centres.
    const double dx = q.g.cx - p.g.cx, dy = q.g.cy - p.g.cy, d = std::hypot(dx, dy);
    if (d > 0) {
        const double ux = dx / d, uy = dy / d;
        for (double sp : {1.0, -1.0})
            for (double sq : {1.0, -1.0}) {
                const Vec a{p.g.cx + sp * p.g.radius * ux, p.g.cy + sp * p.g.radius * uy};
                const Vec b{q.g.cx + sq * q.g.radius * ux, q.g.cy + sq * q.g.radius * uy};
                if (p.g.containsAngle(a.x, a.y) && q.g.containsAngle(b.x, b.y)) keep(best, pair(a, b));
            }
    }
    return best;
}

bool insideRings(const Core& c, const Vec& p) {
    bool in = false;
    for (const auto& r : c.rings) in ^= pointInPolygon(p, r);
    return in;
}

}  // namespace

Curve segmentCurve(const Vec& a, const Vec& b) {
    Curve c;
    c.a = a;
    c.b = b;
    c.box = boxOf(a, b);
    return c;
}

namespace {
void arcBoxOf(Curve& c) {
    c.box = boxOf(c.a, c.b);
    const ArcGeom& g = c.g;
    const double dirs[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    for (auto& d : dirs)
        if (g.containsAngle(g.cx + d[0], g.cy + d[1])) {
            c.box.xmin = std::min(c.box.xmin, g.cx + d[0] * g.radius);
            c.box.xmax = std::max(c.box.xmax, g.cx + d[0] * g.radius);
            c.box.ymin = std::min(c.box.ymin, g.cy + d[1] * g.radius);
            c.box.ymax = std::max(c.box.ymax, g.cy + d[1] * g.radius);
        }
}
}  // namespace

Curve arcCurve(const Vec& c, double r, const Vec& u0, const Vec& u1, bool full) {
    Curve out;
    out.arc = true;
    ArcGeom& g = out.g;
    g.cx = c.x;
    g.cy = c.y;
    g.radius = r;
    g.ux0 = u0.x;
    g.uy0 = u0.y;
    g.ux1 = full ? u0.x : u1.x;
    g.uy1 = full ? u0.y : u1.y;
    g.full = full;
    const double cr = g.ux0 * g.uy1 - g.uy0 * g.ux1, dot = g.ux0 * g.ux1 + g.uy0 * g.uy1;
    g.minor = !full && (cr > 0 || (cr == 0 && dot < 0));
    out.a = {c.x + r * g.ux0, c.y + r * g.uy0};
    out.b = {c.x + r * g.ux1, c.y + r * g.uy1};
    arcBoxOf(out);
    return out;
}

Curve arcCurve(const Feature& f) {
    Curve out;
    out.arc = true;
    out.g = arcGeom(f);
    const Vec s{double(f.x1), double(f.y1)}, e{double(f.x2), double(f.y2)};
    const bool cw = f.flags & kClockwise;
    out.a = out.g.full ? s : cw ? e : s;
    out.b = out.g.full ? s : cw ? s : e;
    arcBoxOf(out);
    return out;
}

void addRing(Core& core, const std::vector<Vec>& ring) {
    if (ring.empty()) return;
    for (size_t i = 0; i < ring.size(); ++i) core.curves.push_back(segmentCurve(ring[i], ring[(i + 1) % ring.size()]));
    core.rings.push_back(ring);
    core.probes.push_back(ring[0]);
    core.filled = true;
}

void polylineCore(const std::vector<Vec>& pts, Core& out) {
    out = Core{};
    if (pts.empty()) return;
    for (size_t i = 0; i < pts.size(); ++i) out.curves.push_back(segmentCurve(pts[i], pts[(i + 1) % pts.size()]));
    out.probes.push_back(pts[0]);
}

void featureCore(const LayerContext& ctx, const Feature& f, Core& out) {
    out = Core{};
    auto curve = [&out](const Curve& c) {
        out.curves.push_back(c);
        out.probes.push_back(c.a);
    };
    switch (f.type) {
    case API::FT_LINE: {
        const Symbol& s = ctx.def.symbols[f.ref];
        const Vec a{double(f.x1), double(f.y1)}, b{double(f.x2), double(f.y2)};
        if (squareEnds(s)) {
            Vec hull[8];
            const int n = squareLineHull(a.x, a.y, b.x, b.y, s.width / 2, s.height / 2, hull);
            addRing(out, std::vector<Vec>(hull, hull + n));
        } else {
            curve(segmentCurve(a, b));
            out.radius = strokeRadius(s);
        }
        break;
    }
    case API::FT_PAD: {
        // Every symbol is symmetric about its own axes, so flipping x before
        // the rotation leaves the shape as it is.
        const PadShape p = padShape(ctx.def.symbols[f.ref], f);
        const Vec c{p.cx, p.cy};
        switch (p.shape) {
        case SymbolShape::Round:
            curve(segmentCurve(c, c));
            out.radius = p.w / 2;
            break;
        case SymbolShape::Square:
        case SymbolShape::Rect: {
            Vec corners[4];
            rectCorners(p, corners);
            addRing(out, std::vector<Vec>(corners, corners + 4));
            break;
        }
        case SymbolShape::Oval: {
            Vec a, b;
            double r;
            ovalSegment(p, a, b, r);
            curve(segmentCurve(a, b));
            out.radius = r;
            break;
        }
        case SymbolShape::Donut:
            curve(arcCurve(c, (p.w + p.inner) / 4, {1, 0}, {1, 0}, true));
            out.radius = (p.w - p.inner) / 4;
            break;
        }
        break;
    }
    case API::FT_ARC:
        curve(arcCurve(f));
        out.radius = strokeRadius(ctx.def.symbols[f.ref]);
        break;
    case API::FT_SURFACE:
        for (const ContourSpan& c : surfaceContours(ctx.data, f)) {
            std::vector<Vec> ring;
            ring.reserve(c.count);
            for (uint32_t i = 0; i < c.count; ++i)
                ring.push_back({double(f.x1) + c.points[i].x, double(f.y1) + c.points[i].y});
            addRing(out, ring);
        }
        break;
    case API::FT_TEXT: {
        const double x0 = f.x2, y0 = f.y2, x1 = f.xc, y1 = f.yc;
        addRing(out, {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}});
        break;
    }
    default:
        break;
    }
}

void featureOutline(const LayerContext& ctx, const Feature& f, std::vector<Curve>& out) {
    Core core;
    featureCore(ctx, f, core);
    const double r = core.radius;
    if (r <= 0) {
        out.insert(out.end(), core.curves.begin(), core.curves.end());
        return;
    }
    for (const Curve& c : core.curves) {
        if (!c.arc) {
            const double dx = c.b.x - c.a.x, dy = c.b.y - c.a.y, l = std::hypot(dx, dy);
            if (l == 0) {
                out.push_back(arcCurve(c.a, r, {1, 0}, {1, 0}, true));
                continue;
            }
            const Vec d{dx / l, dy / l}, n{-d.y, d.x}, m{d.y, -d.x};
            out.push_back(segmentCurve({c.a.x + r * n.x, c.a.y + r * n.y}, {c.b.x + r * n.x, c.b.y + r * n.y}));
            out.push_back(segmentCurve({c.a.x - r * n.x, c.a.y - r * n.y}, {c.b.x - r * n.x, c.b.y - r * n.y}));
            out.push_back(arcCurve(c.b, r, m, n, false));  // the cap past the end
            out.push_back(arcCurve(c.a, r, n, m, false));  // the cap before the start
            continue;
        }
        const ArcGeom& g = c.g;
        const Vec centre{g.cx, g.cy}, u0{g.ux0, g.uy0}, u1{g.ux1, g.uy1};
        out.push_back(arcCurve(centre, g.radius + r, u0, u1, g.full));
        if (g.radius > r) out.push_back(arcCurve(centre, g.radius - r, u0, u1, g.full));
        if (!g.full) {
            out.push_back(arcCurve(c.a, r, {-u0.x, -u0.y}, u0, false));
            out.push_back(arcCurve(c.b, r, u1, {-u1.x, -u1.y}, false));
        }
    }
}

void featureSkeleton(const Feature& f, std::vector<Curve>& out) {
    if (f.type == API::FT_LINE)
        out.push_back(segmentCurve({double(f.x1), double(f.y1)}, {double(f.x2), double(f.y2)}));
    else if (f.type == API::FT_ARC)
        out.push_back(arcCurve(f));
}

Closest closestPoint(const Curve& c, const Vec& p) {
    return pair(c.arc ? arcFoot(c, p) : segmentFoot(p, c.a, c.b), p);
}

Closest closestCurves(const Curve& c, const Curve& d) {
    if (!c.arc && !d.arc) return segmentSegment(c, d);
    if (!c.arc) return segmentArc(c, d);
    if (!d.arc) return swapped(segmentArc(d, c));
    return arcArc(c, d);
}

bool coreContains(const Core& c, const Vec& p) { return c.filled && insideRings(c, p); }

Closest closestCores(const Core& a, const Core& b) {
    Closest best{kInf, {}, {}};
    for (const Curve& c : a.curves)
        for (const Curve& d : b.curves) {
            if (boxGap2(c.box, d.box) >= best.distance * best.distance) continue;
            keep(best, closestCurves(c, d));
            if (best.distance == 0) return best;
        }
    // Apart from each other's curves: one may still hold the other.
    if (b.filled)
        for (const Vec& p : a.probes)
            if (insideRings(b, p)) return {0, p, p};
    if (a.filled)
        for (const Vec& p : b.probes)
            if (insideRings(a, p)) return {0, p, p};
    return best;
}

Closest shapeDistance(const Core& a, const Core& b) {
    Closest c = closestCores(a, b);
    if (c.distance == kInf || c.distance == 0) return c;
    const double d = c.distance, gap = d - a.radius - b.radius;
    if (gap <= 0) {
        // Overlapping: a point of the overlap on the line between the cores.
        const double lo = std::max(0.0, d - b.radius), hi = std::min(d, a.radius);
        const double t = std::max(lo, std::min(hi, 0.5 * (a.radius + d - b.radius)));
        const Vec p = lerp(c.a, c.b, t / d);
        return {0, p, p};
    }
    const double ux = (c.b.x - c.a.x) / d, uy = (c.b.y - c.a.y) / d;
    const Vec pa{c.a.x + a.radius * ux, c.a.y + a.radius * uy};
    const Vec pb{c.b.x - b.radius * ux, c.b.y - b.radius * uy};
    return {gap, pa, pb};
}

void crossings(const Curve& c, const Curve& d, std::vector<Vec>& out) {
    if (boxGap2(c.box, d.box) > 0) return;
    if (!c.arc && !d.arc) {
        const double d1 = cross(d.a, d.b, c.a), d2 = cross(d.a, d.b, c.b);
        if (d1 == 0 && d2 == 0) {  // collinear: the ends of the overlap
            for (const Vec& p : {c.a, c.b})
                if (onSegment(p, d.a, d.b)) out.push_back(p);
            for (const Vec& p : {d.a, d.b})
                if (onSegment(p, c.a, c.b)) out.push_back(p);
            return;
        }
        Vec at;
        if (segmentMeet(c.a, c.b, d.a, d.b, at)) out.push_back(at);
        return;
    }
    if (!c.arc || !d.arc) {
        const Curve& s = c.arc ? d : c;
        const Curve& arc = c.arc ? c : d;
        double u[2];
        const int n = lineCircle(s.a, s.b, arc.g, u);
        for (int i = 0; i < n; ++i) {
            if (u[i] < 0 || u[i] > 1) continue;
            const Vec p = lerp(s.a, s.b, u[i]);
            if (arc.g.containsAngle(p.x, p.y)) out.push_back(p);
        }
        return;
    }
    Vec at[2];
    const int n = circleCircle(c.g, d.g, at);
    for (int i = 0; i < n; ++i)
        if (c.g.containsAngle(at[i].x, at[i].y) && d.g.containsAngle(at[i].x, at[i].y)) out.push_back(at[i]);
}

double boxDistance(const Extent& e, const Vec& p) {
    const double dx = std::max({0.0, e.xmin - p.x, p.x - e.xmax});
    const double dy = std::max({0.0, e.ymin - p.y, p.y - e.ymax});
    return std::hypot(dx, dy);
}

}  // namespace MEASURE_GEOM
}  // namespace KERNEL
}  // namespace TOLVA
