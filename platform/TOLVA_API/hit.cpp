// Outline hit tests for selection.
#include "hit.h"

#include <algorithm>
#include <limits>

namespace TOLVA {
namespace KERNEL {

namespace {

double cross(const Vec& o, const Vec& a, const Vec& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

bool onSegment(const Vec& p, const Vec& a, const Vec& b) {
    return std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= p.y &&
           p.y <= std::max(a.y, b.y);
}

bool segmentsIntersect(const Vec& a, const Vec& b, const Vec& c, const Vec& d) {
    double d1 = cross(c, d, a), d2 = cross(c, d, b), d3 = cross(a, b, c), d4 = cross(a, b, d);
    if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0)))
        return true;
    if (d1 == 0 && onSegment(a, c, d)) return true;
    if (d2 == 0 && onSegment(b, c, d)) return true;
    if (d3 == 0 && onSegment(c, a, b)) return true;
    if (d4 == 0 && onSegment(d, a, b)) return true;
    return false;
}

double dist(const Vec& a, const Vec& b) { return std::hypot(a.x - b.x, a.y - b.y); }

// Smallest distance between the polygon's edges and a segment.
double edgeDistance(const HitPolygon& q, const Vec& a, const Vec& b) {
    double best = std::numeric_limits<double>::infinity();
    const size_t n = q.pts.size();
    for (size_t i = 0; i < n; ++i) {
        best = std::min(best, segmentDistance(q.pts[i], q.pts[(i + 1) % n], a, b));
        if (best == 0) break;
    }
    return best;
}

// A stroke: a segment drawn with a round pen of radius r.
bool capsuleMeets(const HitPolygon& q, const Vec& a, const Vec& b, double r, bool insideOnly) {
    bool in = pointInPolygon(a, q.pts);
    double d = edgeDistance(q, a, b);
    return insideOnly ? in && d > r : in || d <= r;
}

// Filled contours (even-odd).
bool pointInRings(const Vec& p, const std::vector<std::vector<Vec>>& rings) {
    bool in = false;
    for (const auto& r : rings) in ^= pointInPolygon(p, r);
    return in;
}

bool ringsMeet(const HitPolygon& q, const std::vector<std::vector<Vec>>& rings, bool insideOnly) {
    const size_t n = q.pts.size();
    for (const auto& ring : rings)
        for (size_t i = 0; i < ring.size(); ++i)
            for (size_t k = 0; k < n; ++k)
                if (segmentsIntersect(ring[i], ring[(i + 1) % ring.size()], q.pts[k], q.pts[(k + 1) % n]))
                    return !insideOnly;
    bool shapeInQ = pointInPolygon(rings[0][0], q.pts);
    if (insideOnly) return shapeInQ;
    return shapeInQ || pointInRings(q.pts[0], rings);
}

double arcPointDistance(const ArcGeom& g, const Vec& p, const Vec& s, const Vec& e) {
    if (g.containsAngle(p.x, p.y)) return std::fabs(std::hypot(p.x - g.cx, p.y - g.cy) - g.radius);
    return std::min(dist(p, s), dist(p, e));
}

// Distance between a segment and an arc's centre line.
double arcSegmentDistance(const ArcGeom& g, const Vec& s, const Vec& e, const Vec& a, const Vec& b) {
    double best = std::min({pointSegmentDistance(s, a, b), pointSegmentDistance(e, a, b),
                            arcPointDistance(g, a, s, e), arcPointDistance(g, b, s, e)});
    const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    if (l2 > 0) {
        // Closest approach of the segment to the centre.
        double t = ((g.cx - a.x) * dx + (g.cy - a.y) * dy) / l2;
        if (t > 0 && t < 1) {
            Vec f{a.x + t * dx, a.y + t * dy};
            if (g.containsAngle(f.x, f.y))
                best = std::min(best, std::fabs(std::hypot(f.x - g.cx, f.y - g.cy) - g.radius));
        }
        // Crossings of the circle.
        double fx = a.x - g.cx, fy = a.y - g.cy;
        double B = 2 * (fx * dx + fy * dy), C = fx * fx + fy * fy - g.radius * g.radius;
        double disc = B * B - 4 * l2 * C;
        if (disc >= 0) {
            double sq = std::sqrt(disc);
            for (double u : {(-B - sq) / (2 * l2), (-B + sq) / (2 * l2)})
                if (u >= 0 && u <= 1 && g.containsAngle(a.x + u * dx, a.y + u * dy)) return 0;
        }
    }
    return best;
}

bool arcMeets(const HitPolygon& q, const ArcGeom& g, const Vec& s, const Vec& e, double r,
              bool insideOnly) {
    double best = std::numeric_limits<double>::infinity();
    const size_t n = q.pts.size();
    for (size_t i = 0; i < n; ++i) best = std::min(best, arcSegmentDistance(g, s, e, q.pts[i], q.pts[(i + 1) % n]));
    bool in = pointInPolygon(s, q.pts);
    return insideOnly ? in && best > r : in || best <= r;
}

}  // namespace

HitPolygon::HitPolygon(const std::vector<API::point>& points) {
    for (const API::point& p : points) pts.push_back({static_cast<double>(p.x), static_cast<double>(p.y)});
    xmin = xmax = pts[0].x;
    ymin = ymax = pts[0].y;
    for (const Vec& p : pts) {
        xmin = std::min(xmin, p.x);
        xmax = std::max(xmax, p.x);
        ymin = std::min(ymin, p.y);
        ymax = std::max(ymax, p.y);
    }
}

bool pointInPolygon(const Vec& p, const std::vector<Vec>& poly) {
    bool in = false;
    const size_t n = poly.size();
    for (size_t i = 0, j = n - 1; i < n; j = i++) {
        const Vec& a = poly[i];
        const Vec& b = poly[j];
        if ((a.y > p.y) != (b.y > p.y) && p.x < (b.x - a.x) * (p.y - a.y) / (b.y - a.y) + a.x) in = !in;
    }
    return in;
}

double pointSegmentDistance(const Vec& p, const Vec& a, const Vec& b) {
    const double dx = b.x - a.x, dy = b.y - a.y, l2 = dx * dx + dy * dy;
    double t = l2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / l2 : 0;
    t = std::max(0.0, std::min(1.0, t));
    return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}

double segmentDistance(const Vec& a, const Vec& b, const Vec& c, const Vec& d) {
    if (segmentsIntersect(a, b, c, d)) return 0;
    return std::min({pointSegmentDistance(a, c, d), pointSegmentDistance(b, c, d),
                     pointSegmentDistance(c, a, b), pointSegmentDistance(d, a, b)});
}

bool featureMeets(const LayerContext& ctx, const Feature& f, const HitPolygon& q, bool insideOnly) {
    switch (f.type) {
    case API::FT_LINE: {
        const Symbol& s = ctx.def.symbols[f.ref];
        Vec a{double(f.x1), double(f.y1)}, b{double(f.x2), double(f.y2)};
        if (!squareEnds(s)) return capsuleMeets(q, a, b, strokeRadius(s), insideOnly);
        Vec hull[8];
        int n = squareLineHull(a.x, a.y, b.x, b.y, s.width / 2, s.height / 2, hull);
        return ringsMeet(q, {std::vector<Vec>(hull, hull + n)}, insideOnly);
    }
    case API::FT_PAD: {
        PadShape p = padShape(ctx.def.symbols[f.ref], f);
        Vec c{p.cx, p.cy};
        switch (p.shape) {
        case SymbolShape::Round: return capsuleMeets(q, c, c, p.w / 2, insideOnly);
        case SymbolShape::Square:
        case SymbolShape::Rect: {
            Vec corners[4];
            rectCorners(p, corners);
            return ringsMeet(q, {std::vector<Vec>(corners, corners + 4)}, insideOnly);
        }
        case SymbolShape::Oval: {
            Vec a, b;
            double r;
            ovalSegment(p, a, b, r);
            return capsuleMeets(q, a, b, r, insideOnly);
        }
        case SymbolShape::Donut: {
            ArcGeom g;
            g.cx = p.cx;
            g.cy = p.cy;
            g.radius = (p.w + p.inner) / 4;
            Vec s{p.cx + g.radius, p.cy};
            return arcMeets(q, g, s, s, (p.w - p.inner) / 4, insideOnly);
        }
        }
        return false;
    }
    case API::FT_ARC: {
        ArcGeom g = arcGeom(f);
        Vec s{double(f.x1), double(f.y1)}, e{double(f.x2), double(f.y2)};
        return arcMeets(q, g, s, e, strokeRadius(ctx.def.symbols[f.ref]), insideOnly);
    }
    case API::FT_SURFACE: {
        std::vector<std::vector<Vec>> rings;
        for (const ContourSpan& c : surfaceContours(ctx.data, f)) {
            std::vector<Vec> ring;
            for (uint32_t i = 0; i < c.count; ++i)
                ring.push_back({double(f.x1) + c.points[i].x, double(f.y1) + c.points[i].y});
            rings.push_back(std::move(ring));
        }
        return ringsMeet(q, rings, insideOnly);
    }
    case API::FT_TEXT: {
        TextLayout t = layoutText(f.x1, f.y1, ctx.data.texts[f.ref], f.angle, f.flags & kMirror);
        if (t.strokes.empty()) return false;
        for (const Segment& s : t.strokes) {
            bool hit = capsuleMeets(q, s.a, s.b, t.radius, insideOnly);
            if (insideOnly && !hit) return false;
            if (!insideOnly && hit) return true;
        }
        return insideOnly;
    }
    }
    return false;
}

}  // namespace KERNEL
}  // namespace TOLVA
