// Plans of the interactive line, arc and surface edits: worked out on every
// mouse move, so every neighbour is found through the layer's spatial index
// (a query at the point where an end lies), never by a walk of the layer.
#include <algorithm>

#include "edit_tools_planner.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {
namespace {

using EDIT::edit_plan;

const char* kindName(const Feature& f) {
    switch (f.type) {
    case API::FT_LINE: return "a line";
    case API::FT_PAD: return "a pad";
    case API::FT_ARC: return "an arc";
    case API::FT_SURFACE: return "a surface";
    case API::FT_TEXT: return "a text";
    }
    return "a feature";
}

Vec toVec(const API::lPoint& p, const char* what) {
    return {double(toCoordinate(p.x, what)), double(toCoordinate(p.y, what))};
}

void setStart(Feature& f, const Vec& p) {
    f.x1 = static_cast<int32_t>(p.x);
    f.y1 = static_cast<int32_t>(p.y);
}
void setEnd(Feature& f, const Vec& p) {
    f.x2 = static_cast<int32_t>(p.x);
    f.y2 = static_cast<int32_t>(p.y);
}

// Gives arc f the ends s and e, keeping its direction and sweep angle; the
// reason when it cannot.
std::string reshapeArc(Feature& f, const Vec& s, const Vec& e) {
    const ArcGeom g = arcGeom(f);
    if (g.full) return "a full circle has no ends to move";
    const Vec chord = e - s;
    const double c = length(chord);
    if (c == 0) return "its ends would meet";
    const double h = (c / 2) / std::tan(g.sweep() / 2);
    const Vec left{-chord.y / c, chord.x / c};
    const Vec m = (s + e) * 0.5;
    const Vec centre = rounded(m + left * ((f.flags & kClockwise) ? -h : h));
    if (std::fabs(centre.x) > kMaxCoordinate || std::fabs(centre.y) > kMaxCoordinate)
        return "its centre would leave the +-1e9 nm range";
    if (same(centre, s)) return "it would be too small";
    setStart(f, s);
    setEnd(f, e);
    f.xc = static_cast<int32_t>(centre.x);
    f.yc = static_cast<int32_t>(centre.y);
    return {};
}

// Moves the ends of line or arc f that lie at `from` to `to`; the reason
// when the result would be zero-length (or reversed, with checkReverse).
std::string moveEndsAt(Feature& f, const Vec& from, const Vec& to, bool checkReverse) {
    Vec s = start(f), e = end(f);
    const bool atStart = same(s, from), atEnd = same(e, from);
    const Vec fixed = atStart ? e : s;
    if (atStart) s = to;
    if (atEnd) e = to;
    if (same(s, e)) return "would become zero-length";
    if (checkReverse && atStart != atEnd && dot((atStart ? s : e) - fixed, from - fixed) <= 0)
        return "would reverse its direction";
    if (f.type == API::FT_ARC) {
        const std::string why = reshapeArc(f, s, e);
        return why.empty() ? why : "cannot follow: " + why;
    }
    setStart(f, s);
    setEnd(f, e);
    return {};
}

std::string featureName(uint32_t id, const Feature& f) { return std::string(kindName(f)).substr(f.type == API::FT_ARC ? 3 : 2) + " " + std::to_string(id); }

// Every line and arc joined at `from` (except `self`) moves that end to `to`.
std::string follow(Planner& p, uint32_t self, const Vec& from, const Vec& to, bool checkReverse) {
    for (uint32_t n : p.joinedAt(from, self)) {
        Feature g = p.current(n);
        const std::string why = moveEndsAt(g, from, to, checkReverse);
        if (!why.empty()) return "joined " + featureName(n, g) + " " + why;
        p.replace(n, g);
    }
    return {};
}

bool lineOrArc(const Feature& f) { return f.type == API::FT_LINE || f.type == API::FT_ARC; }

std::string notA(const char* wanted, uint32_t id, const Feature& f) {
    return "feature " + std::to_string(id) + " is " + kindName(f) + ", not " + wanted;
}


// ---- surface outlines -------------------------------------------------------------

using Ring = std::vector<API::lPoint>;
using Wide = __int128;

int orientation(const API::lPoint& a, const API::lPoint& b, const API::lPoint& c) {
    const Wide v = Wide(int64_t(b.x - a.x)) * int64_t(c.y - a.y) - Wide(int64_t(b.y - a.y)) * int64_t(c.x - a.x);
    return (v > 0) - (v < 0);
}
bool within(const API::lPoint& a, const API::lPoint& b, const API::lPoint& p) {  // p collinear with a-b
    return std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y);
}
bool segmentsMeet(const API::lPoint& a, const API::lPoint& b, const API::lPoint& c, const API::lPoint& d) {
    const int o1 = orientation(a, b, c), o2 = orientation(a, b, d), o3 = orientation(c, d, a), o4 = orientation(c, d, b);
    if (o1 != o2 && o3 != o4) return true;
    return (o1 == 0 && within(a, b, c)) || (o2 == 0 && within(a, b, d)) || (o3 == 0 && within(c, d, a)) ||
           (o4 == 0 && within(c, d, b));
}
// Two edges sharing the end point `shared`: they fold onto each other when
// the other end of one lies on the other.
bool folds(const API::lPoint& shared, const API::lPoint& a, const API::lPoint& b) {
    return (orientation(shared, a, b) == 0 && dot({a.x - shared.x, a.y - shared.y}, {b.x - shared.x, b.y - shared.y}) > 0);
}

double area2(const Ring& r) {
    double a = 0;
    for (size_t i = 0; i < r.size(); ++i) {
        const API::lPoint& p = r[i];
        const API::lPoint& q = r[(i + 1) % r.size()];
        a += p.x * q.y - q.x * p.y;
    }
    return a;
}

bool inside(const Ring& r, const API::lPoint& p) {
    bool in = false;
    for (size_t i = 0, j = r.size() - 1; i < r.size(); j = i++) {
        if ((r[i].y > p.y) != (r[j].y > p.y) &&
            p.x < (r[j].x - r[i].x) * (p.y - r[i].y) / (r[j].y - r[i].y) + r[i].x)
            in = !in;
    }
    return in;
}

// Whether the edges of contour k at vertex v (the two that meet there) meet
// any other edge of the surface (edges that share a vertex with them only
// when they fold back onto them).
std::string crossingAt(const std::vector<Ring>& rings, size_t k, size_t v) {
    const Ring& r = rings[k];
    const size_t n = r.size();
    const size_t prev = (v + n - 1) % n, next = (v + 1) % n;
    const size_t mine[2][2] = {{prev, v}, {v, next}};
    for (const auto& e : mine) {
        const API::lPoint& a = r[e[0]];
        const API::lPoint& b = r[e[1]];
        for (size_t m = 0; m < rings.size(); ++m) {
            const Ring& o = rings[m];
            for (size_t i = 0; i < o.size(); ++i) {
                const size_t j = (i + 1) % o.size();
                if (m == k && i == e[0] && j == e[1]) continue;  // the edge itself
                const API::lPoint& c = o[i];
                const API::lPoint& d = o[j];
                if (m == k && (i == e[1] || j == e[0])) {  // a neighbouring edge: they share a vertex
                    if ((i == e[1] && folds(b, a, d)) || (j == e[0] && folds(a, b, c)))
                        return "the outline would fold back on itself";
                    continue;
                }
                if (segmentsMeet(a, b, c, d)) return "the outline would cross itself";
            }
        }
    }
    return {};
}

}  // namespace

namespace {

// ---- pulls --------------------------------------------------------------------------

// Whether directions a and b meet at a multiple of 45° other than 0° and 180°.
bool diagonalOrSquare(const Vec& a, const Vec& b) {
    const double deg = std::atan2(std::fabs(cross(a, b)), dot(a, b)) * 180.0 / kPi;
    const double rest = std::fabs(std::remainder(deg, 45.0));
    return rest < 1e-6 && deg > 1e-6 && deg < 180 - 1e-6;
}

// Where the line through p along d meets the line through q along u.
Vec meet(const Vec& p, const Vec& d, const Vec& q, const Vec& u) {
    const double t = cross(q - p, u) / cross(d, u);
    return p + d * t;
}

// One end of the pulled line: the corner point there after the pull and the
// changes to its neighbours.
struct PullEnd {
    Vec old, moved;   // the end before, and where the pulled line ends now
    bool atStart;
};

// Mode 1 at one end of the pulled line; `handled` false when only arcs
// are joined there (they stretch as in mode 0).
std::string squareCorner(Planner& p, uint32_t self, PullEnd& corner, const Vec& u, double offset, bool& handled) {
    handled = true;
    const std::vector<uint32_t> joined = p.joinedAt(corner.old, self);
    if (joined.empty()) return {};
    bool arcsOnly = true;
    for (uint32_t n : joined) arcsOnly = arcsOnly && p.at(n).type == API::FT_ARC;
    if (arcsOnly) {
        handled = false;
        return {};
    }
    if (joined.size() == 1) {
        Feature n = p.current(joined.front());
        const Vec far = same(start(n), corner.old) ? end(n) : start(n);
        const Vec dir = corner.old - far;
        if (diagonalOrSquare(dir, u)) {
            const Vec q = rounded(meet(far, dir, corner.moved, u));
            if (same(q, far) || dot(q - far, dir) <= 0) return "joined " + featureName(joined.front(), n) + " would reverse its direction";
            const std::string why = moveEndsAt(n, corner.old, q, true);
            if (!why.empty()) return "joined " + featureName(joined.front(), n) + " " + why;
            p.replace(joined.front(), n);
            corner.moved = q;
            return {};
        }
    }
    // A 45° diagonal from the old corner to the moved line.
    Feature diagonal = p.at(self);
    const Vec onLine = rounded(corner.moved + u * (corner.atStart ? std::fabs(offset) : -std::fabs(offset)));
    setStart(diagonal, corner.atStart ? corner.old : onLine);
    setEnd(diagonal, corner.atStart ? onLine : corner.old);
    diagonal.flags &= static_cast<uint8_t>(~kSelected);
    p.addNew(diagonal, self);
    corner.moved = onLine;
    return {};
}

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

edit_plan plan_line_end(const str& job, const str& step, const str& layer, int index, int which_end,
                        const API::lPoint& to, bool follow_) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    if (which_end != 0 && which_end != 1) fail("which_end must be 0 (start) or 1 (end), not " + std::to_string(which_end));
    const Vec target = toVec(to, "end point");
    Feature f = p.at(id);
    if (!lineOrArc(f)) return p.refuse(notA("a line or arc", id, f));
    const Vec from = which_end == 0 ? start(f) : end(f);
    if (same(from, target)) return p.refuse("the end is at that point already");
    Vec s = start(f), e = end(f);
    (which_end == 0 ? s : e) = target;
    if (same(s, e)) return p.refuse(featureName(id, f) + " would become zero-length");
    if (f.type == API::FT_ARC) {
        const std::string why = reshapeArc(f, s, e);
        if (!why.empty()) return p.refuse("arc " + std::to_string(id) + ": " + why);
    } else {
        setStart(f, s);
        setEnd(f, e);
    }
    p.replace(id, f);
    if (follow_) {
        const std::string why = follow(p, id, from, target, false);
        if (!why.empty()) return p.refuse(why);
    }
    return p.finish();
}

edit_plan plan_move_segment(const str& job, const str& step, const str& layer, int index, double dx, double dy,
                            bool follow_) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    checkFinite(dx, "dx");
    checkFinite(dy, "dy");
    Feature f = p.at(id);
    if (f.type != API::FT_LINE) return p.refuse(notA("a line", id, f));
    const Vec d = rounded({dx, dy});
    if (d.x == 0 && d.y == 0) return p.refuse("the line would not move");
    const Vec s = start(f), e = end(f), s2 = s + d, e2 = e + d;
    toVec({s2.x, s2.y}, "moved start");
    toVec({e2.x, e2.y}, "moved end");
    setStart(f, s2);
    setEnd(f, e2);
    p.replace(id, f);
    if (follow_) {
        for (const auto& m : {std::make_pair(s, s2), std::make_pair(e, e2)}) {
            const std::string why = follow(p, id, m.first, m.second, false);
            if (!why.empty()) return p.refuse(why);
        }
    }
    return p.finish();
}

edit_plan plan_split(const str& job, const str& step, const str& layer, int index, const API::lPoint& at) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    checkFinite(at.x, "split x");
    checkFinite(at.y, "split y");
    const Vec q{at.x, at.y};
    const Feature f = p.at(id);
    if (!lineOrArc(f)) return p.refuse(notA("a line or arc", id, f));
    const Vec s = start(f), e = end(f);
    Vec cut;
    if (f.type == API::FT_LINE) {
        const Vec d = e - s;
        const double len2 = dot(d, d);
        const double t = len2 > 0 ? dot(q - s, d) / len2 : 0;
        if (!(t > 0 && t < 1)) return p.refuse("the split point falls on an end of line " + std::to_string(id) + " or beyond it");
        cut = rounded(s + d * t);
    } else {
        const ArcGeom g = arcGeom(f);
        const Vec c{g.cx, g.cy}, r = q - c;
        const double len = length(r);
        if (len == 0 || !g.containsAngle(q.x, q.y))
            return p.refuse("the split point does not fall on arc " + std::to_string(id));
        cut = rounded(c + r * (g.radius / len));
    }
    if (same(cut, s) || same(cut, e)) return p.refuse("the split point falls on an end of " + featureName(id, f));
    Feature first = f, second = f;
    setEnd(first, cut);
    setStart(second, cut);
    second.flags &= static_cast<uint8_t>(~kSelected);
    p.replace(id, first);
    p.addNew(second, id);
    return p.finish();
}

edit_plan plan_join(const str& job, const str& step, const str& layer, int a, int b) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t ia = p.id(a), ib = p.id(b);
    const Feature fa = p.at(ia), fb = p.at(ib);
    if (ia == ib) return p.refuse("a feature cannot be joined to itself");
    if (!lineOrArc(fa)) return p.refuse(notA("a line or arc", ia, fa));
    if (fa.type != fb.type) return p.refuse(notA(kindName(fa), ib, fb));
    const Symbol& sa = p.layer().def.symbols[fa.ref];
    const Symbol& sb = p.layer().def.symbols[fb.ref];
    if (fa.ref != fb.ref)
        return p.refuse(featureName(ia, fa) + " is drawn with " + sa.name + " and " + featureName(ib, fb) + " with " +
                        sb.name + ": joined features need the same symbol");
    if (fa.positive() != fb.positive()) return p.refuse(featureName(ia, fa) + " and " + featureName(ib, fb) + " differ in polarity");
    Feature joined = fa;
    if (fa.type == API::FT_LINE) {
        Vec from, to;
        if (same(end(fa), start(fb)) || same(end(fa), end(fb))) {
            from = start(fa);
            to = same(end(fa), start(fb)) ? end(fb) : start(fb);
        } else if (same(start(fa), start(fb)) || same(start(fa), end(fb))) {
            from = same(start(fa), start(fb)) ? end(fb) : start(fb);
            to = end(fa);
        } else {
            return p.refuse("lines " + std::to_string(ia) + " and " + std::to_string(ib) + " share no end point");
        }
        if (same(from, to)) return p.refuse("the joined line would be zero-length: the far ends meet");
        setStart(joined, from);
        setEnd(joined, to);
    } else {
        if (fa.xc != fb.xc || fa.yc != fb.yc || (fa.flags & kClockwise) != (fb.flags & kClockwise))
            return p.refuse("arcs " + std::to_string(ia) + " and " + std::to_string(ib) +
                            " are not on one circle in one direction");
        const ArcGeom ga = arcGeom(fa), gb = arcGeom(fb);
        if (std::fabs(ga.radius - gb.radius) > 1)
            return p.refuse("arcs " + std::to_string(ia) + " and " + std::to_string(ib) + " have different radii");
        Vec from, to;
        if (same(end(fa), start(fb))) {
            from = start(fa);
            to = end(fb);
        } else if (same(end(fb), start(fa))) {
            from = start(fb);
            to = end(fa);
        } else {
            return p.refuse("arcs " + std::to_string(ia) + " and " + std::to_string(ib) + " do not follow one another");
        }
        if (same(from, to) || ga.sweep() + gb.sweep() >= kTwoPi)
            return p.refuse("the joined arc would close on itself: the far ends meet");
        setStart(joined, from);
        setEnd(joined, to);
    }
    p.replace(ia, joined);
    p.remove(ib);
    return p.finish();
}

edit_plan plan_arc_radius(const str& job, const str& step, const str& layer, int index, double radius) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    checkFinite(radius, "radius");
    Feature f = p.at(id);
    if (f.type != API::FT_ARC) return p.refuse(notA("an arc", id, f));
    const ArcGeom g = arcGeom(f);
    const Vec s = start(f), e = end(f), chord = e - s;
    const double c = length(chord);
    if (c == 0) return p.refuse("arc " + std::to_string(id) + " is a full circle: its radius has no chord to keep");
    if (radius < c / 2)
        return p.refuse("a radius of " + std::to_string(std::llround(radius)) + " nm is less than half the chord (" +
                        std::to_string(std::llround(c / 2)) + " nm)");
    const double h = std::sqrt(std::max(0.0, radius * radius - c * c / 4));
    const bool cw = f.flags & kClockwise;
    const double side = (g.minor != cw) ? 1 : -1;  // left of start->end for a minor CCW arc
    const Vec centre = rounded((s + e) * 0.5 + Vec{-chord.y / c, chord.x / c} * (h * side));
    if (std::fabs(centre.x) > kMaxCoordinate || std::fabs(centre.y) > kMaxCoordinate)
        return p.refuse("the centre would leave the +-1e9 nm range");
    f.xc = static_cast<int32_t>(centre.x);
    f.yc = static_cast<int32_t>(centre.y);
    p.replace(id, f);
    return p.finish();
}

edit_plan plan_arc_to_line(const str& job, const str& step, const str& layer, int index) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    Feature f = p.at(id);
    if (f.type != API::FT_ARC) return p.refuse(notA("an arc", id, f));
    if (same(start(f), end(f))) return p.refuse("arc " + std::to_string(id) + " is a full circle: its line would be zero-length");
    f.type = API::FT_LINE;
    f.xc = f.yc = 0;
    f.flags &= static_cast<uint8_t>(~kClockwise);
    p.replace(id, f);
    return p.finish();
}


std::vector<std::vector<API::lPoint>> get_surface_contours(const str& job, const str& step, const str& layer,
                                                           int index) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const EditLayer l = editLayer(j, findStepIndex(j, step), layer);
    const Feature& f = l.data.features[featureId(l, index)];
    if (f.type != API::FT_SURFACE) fail("feature " + std::to_string(index) + " of layer '" + layer + "' is not a surface");
    return contoursOf(l.data, f);
}

edit_plan plan_surface_vertex(const str& job, const str& step, const str& layer, int index, int contour, int vertex,
                              const API::lPoint& to, bool insert_after) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    const Vec target = toVec(to, "vertex");
    const Feature& f = p.at(id);
    if (f.type != API::FT_SURFACE) return p.refuse(notA("a surface", id, f));
    std::vector<Ring> rings = contoursOf(p.layer().data, f);
    if (contour < 0 || static_cast<size_t>(contour) >= rings.size())
        fail("surface " + std::to_string(id) + " has no contour " + std::to_string(contour));
    Ring& r = rings[static_cast<size_t>(contour)];
    if (vertex < 0 || static_cast<size_t>(vertex) >= r.size())
        fail("contour " + std::to_string(contour) + " of surface " + std::to_string(id) + " has no vertex " + std::to_string(vertex));
    const std::vector<Ring> before = rings;
    size_t v = static_cast<size_t>(vertex);
    const API::lPoint point{target.x, target.y};
    if (insert_after) {
        r.insert(r.begin() + static_cast<long>(v + 1), point);
        ++v;
    } else {
        r[v] = point;
    }
    const API::lPoint& prev = r[(v + r.size() - 1) % r.size()];
    const API::lPoint& next = r[(v + 1) % r.size()];
    if ((prev.x == point.x && prev.y == point.y) || (next.x == point.x && next.y == point.y))
        return p.refuse("the vertex would fall on its neighbour");
    if (area2(r) == 0) return p.refuse("the contour would have no area");
    const std::string why = crossingAt(rings, static_cast<size_t>(contour), v);
    if (!why.empty()) return p.refuse(why);
    const size_t k = static_cast<size_t>(contour);
    for (size_t m = 0; m < rings.size(); ++m) {
        if (m == k) continue;
        const bool holdsBefore = inside(before[k], before[m].front()), heldBefore = inside(before[m], before[k].front());
        const bool holds = inside(rings[k], rings[m].front()), held = inside(rings[m], rings[k].front());
        if (holdsBefore != holds || heldBefore != held)
            return p.refuse(k == 0 || held != heldBefore ? "a hole would leave its island" : "the contour would swallow another");
    }
    Feature moved = surfaceOf(rings, f).f;
    p.replace(id, moved, rings);
    return p.finish();
}

edit_plan plan_pull(const str& job, const str& step, const str& layer, int index, double offset, int mode) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    const uint32_t id = p.id(index);
    checkFinite(offset, "offset");
    if (mode != 0 && mode != 1) fail("pull mode must be 0 or 1, not " + std::to_string(mode));
    Feature f = p.at(id);
    if (f.type != API::FT_LINE) return p.refuse(notA("a line", id, f));
    const Vec s = start(f), e = end(f), along = e - s;
    const double len = length(along);
    if (len == 0) return p.refuse("line " + std::to_string(id) + " has no direction to pull across");
    const Vec u = along * (1 / len), shift = rounded(Vec{-u.y, u.x} * offset);
    if (shift.x == 0 && shift.y == 0) return p.refuse("the pull is less than a nanometre");
    PullEnd ends[2] = {{s, s + shift, true}, {e, e + shift, false}};
    for (PullEnd& end : ends) {
        toVec({end.moved.x, end.moved.y}, "pulled end");
        bool handled = false;
        if (mode == 1) {
            const std::string why = squareCorner(p, id, end, u, length(shift), handled);
            if (!why.empty()) return p.refuse(why);
        }
        if (!handled) {
            const std::string why = follow(p, id, end.old, end.moved, true);
            if (!why.empty()) return p.refuse(why);
        }
    }
    if (same(ends[0].moved, ends[1].moved) || dot(ends[1].moved - ends[0].moved, along) <= 0)
        return p.refuse("line " + std::to_string(id) + " would be used up by its corners");
    setStart(f, ends[0].moved);
    setEnd(f, ends[1].moved);
    p.replace(id, f);
    return p.finish();
}

}  // namespace EDIT
}  // namespace TOLVA
