// Every kind of feature drawn at random scales, offsets and canvas sizes and
// compared pixel by pixel with a point-in-shape reference written from the
// rendering rules of FORMATS.md: a pixel is painted exactly when its centre
// lies inside the shape (boundary included), with the rules for shapes
// smaller or thinner than a pixel and for shapes that cover no pixel centre.
// Views on a grid of power-of-two nanometres per pixel put pixel centres
// exactly on outlines, where only exact arithmetic agrees with the rules.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <sstream>

#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "pixels";
// Long double holds the sums and products of the whole and half nanometres
// below 2^31 that the grid views use without rounding.
using Real = long double;

struct Pt {
    Real x, y;
};
struct Box {
    Real xmin, ymin, xmax, ymax;
};

// The view as the kernel maps it: left and top edges (nm), nanometres per pixel.
struct View {
    int w = 0, h = 0;
    Real x0 = 0, y1 = 0, sx = 1, sy = 1;
    bool grid = false;
    Real u(Real x) const { return (x - x0) / sx; }
    Real v(Real y) const { return (y1 - y) / sy; }
    Pt centre(int i, int j) const { return {x0 + (i + 0.5L) * sx, y1 - (j + 0.5L) * sy}; }
};

class Rng {
public:
    explicit Rng(uint64_t seed) : m_gen(seed) {}
    double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(m_gen); }
    int range(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(m_gen); }  // inclusive
    bool chance(double p) { return uniform(0, 1) < p; }
    double logUniform(double lo, double hi) { return std::exp(uniform(std::log(lo), std::log(hi))); }

private:
    std::mt19937_64 m_gen;
};

// ---- views ------------------------------------------------------------------

// Micrometres that come back to exactly `nm` nanometres in zoom_to_box.
double exactMicrons(long long& nm) {
    while ((double(nm) / 1000.0) * 1000.0 != double(nm)) ++nm;
    return double(nm) / 1000.0;
}

// A canvas of v.w x v.h pixels showing the box (micrometres), and the view
// as the kernel works it out from them.
View showing(View v, double bx0, double by0, double bx1, double by1) {
    API::init_canvas(v.w, v.h);
    API::zoom_to_box(bx0, by0, bx1, by1);
    v.x0 = bx0 * 1000.0;
    v.y1 = by1 * 1000.0;
    v.sx = (bx1 * 1000.0 - bx0 * 1000.0) / v.w;
    v.sy = (by1 * 1000.0 - by0 * 1000.0) / v.h;
    return v;
}

// Odd and even canvas sizes; square and non-square pixels from a nanometre to
// tens of micrometres. Grid views have 2^a x 2^b nm pixels and whole
// nanometre edges.
View randomView(Rng& rng, bool grid) {
    constexpr int kMinSide = 9, kMaxSide = 150;
    constexpr int kMaxGridPower = 7;
    View v;
    v.w = rng.range(kMinSide, kMaxSide);
    v.h = rng.range(kMinSide, kMaxSide);
    v.grid = grid;
    double bx0, by0, bx1, by1;
    if (grid) {
        const int a = rng.range(0, kMaxGridPower), b = rng.chance(0.5) ? a : rng.range(0, kMaxGridPower);
        constexpr int kReach = 1 << 20;  // nm either side of the origin
        long long x0 = rng.range(-kReach, kReach), y0 = rng.range(-kReach, kReach);
        bx0 = exactMicrons(x0);
        by0 = exactMicrons(y0);
        long long x1 = x0 + (static_cast<long long>(v.w) << a), y1 = y0 + (static_cast<long long>(v.h) << b);
        const long long wantX = x1, wantY = y1;
        bx1 = exactMicrons(x1);
        by1 = exactMicrons(y1);
        if (x1 != wantX || y1 != wantY) return randomView(rng, grid);  // no exact edge: another view
    } else {
        const double sx = rng.logUniform(0.7, 20000), sy = rng.chance(0.5) ? sx : sx * rng.logUniform(0.5, 2);
        bx0 = rng.uniform(-1e3, 1e3);
        by0 = rng.uniform(-1e3, 1e3);
        bx1 = bx0 + v.w * sx / 1000;
        by1 = by0 + v.h * sy / 1000;
    }
    return showing(v, bx0, by0, bx1, by1);
}

// ---- the rules ----------------------------------------------------------------

// What the rendering rules say a feature paints: its shape, box and first
// point; a thin line or arc is drawn one pixel wide instead.
struct Expected {
    enum Mode { Exact, Hairlines, HairArc, Text } mode = Exact;
    std::function<bool(Pt)> inside;
    Box box{};
    Pt first{};
    std::vector<std::pair<Pt, Pt>> hairlines;
    std::function<Pt(Real)> arcAt;  // a thin arc's centre line for t in [0, 1]
    Real arcLength = 0;             // in pixels, for sampling it
};

// Pixels that must and that may be painted. They differ only where a thin
// stroke passes within rounding of a pixel edge.
struct Picture {
    int w, h;
    std::vector<char> must, may;
    Picture(int w_, int h_) : w(w_), h(h_), must(size_t(w_) * h_), may(size_t(w_) * h_) {}
    void mark(long long i, long long j, bool required) {
        if (i < 0 || j < 0 || i >= w || j >= h) return;
        may[size_t(j) * w + i] = 1;
        if (required) must[size_t(j) * w + i] = 1;
    }
};

// Pixel-space positions closer than this to a pixel edge may round either way
// in a one-pixel stroke, whose rows are worked out incrementally.
constexpr Real kEdgeSlack = 1e-7L;
// One-pixel arcs follow chords within a quarter pixel of the circle.
constexpr Real kChordSlack = 0.3L;

// The pixel of a stroke's end; either neighbour when it lies on an edge.
void markPoint(Picture& p, Real u, Real v) {
    const Real fu = std::floor(u), fv = std::floor(v);
    const bool clear = u - fu > kEdgeSlack && fu + 1 - u > kEdgeSlack && v - fv > kEdgeSlack && fv + 1 - v > kEdgeSlack;
    for (Real a : {u - kEdgeSlack, u + kEdgeSlack})
        for (Real b : {v - kEdgeSlack, v + kEdgeSlack})
            p.mark(static_cast<long long>(std::floor(a)), static_cast<long long>(std::floor(b)), clear);
}

// One pixel per column (or row) whose centre the segment spans, and both ends.
void hairline(Picture& p, const View& view, Pt a, Pt b) {
    const Real u0 = view.u(a.x), v0 = view.v(a.y), u1 = view.u(b.x), v1 = view.v(b.y);
    markPoint(p, u0, v0);
    markPoint(p, u1, v1);
    const Real du = u1 - u0, dv = v1 - v0;
    const bool alongU = std::fabs(du) >= std::fabs(dv);
    if ((alongU ? du : dv) == 0) return;
    const Real lo = std::min(alongU ? u0 : v0, alongU ? u1 : v1), hi = std::max(alongU ? u0 : v0, alongU ? u1 : v1);
    const long long first = std::max<long long>(std::ceil(lo - 0.5L), -1);
    const long long last = std::min<long long>(std::floor(hi - 0.5L), alongU ? p.w : p.h);
    for (long long k = first; k <= last; ++k) {
        const Real across = alongU ? v0 + (k + 0.5L - u0) * dv / du : u0 + (k + 0.5L - v0) * du / dv;
        const Real f = std::floor(across);
        const bool clear = across - f > kEdgeSlack && f + 1 - across > kEdgeSlack;
        for (Real c : {std::floor(across - kEdgeSlack), std::floor(across + kEdgeSlack)})
            if (alongU)
                p.mark(k, static_cast<long long>(c), clear);
            else
                p.mark(static_cast<long long>(c), k, clear);
    }
}

bool smallerThanAPixel(const View& v, const Box& b) {
    return (b.xmax - b.xmin) / v.sx < 1 && (b.ymax - b.ymin) / v.sy < 1;
}

// Which rule decided a picture, to see that the trials reach all of them.
enum class Rule { OffCanvas, SmallerThanAPixel, Shape, NoCentreCovered, OnePixelWide, TextRules, Count };

Picture expectedPicture(const View& v, const Expected& e, Rule& rule) {
    Picture p(v.w, v.h);
    rule = Rule::OffCanvas;
    const Real ul = v.u(e.box.xmin), ur = v.u(e.box.xmax), vt = v.v(e.box.ymax), vb = v.v(e.box.ymin);
    if (ur < 0 || vb < 0 || ul >= v.w || vt >= v.h) return p;
    const Real fu = v.u(e.first.x), fv = v.v(e.first.y);
    auto markFirst = [&] {
        p.mark(static_cast<long long>(std::floor(fu)), static_cast<long long>(std::floor(fv)), true);
    };
    if (smallerThanAPixel(v, e.box)) {
        rule = Rule::SmallerThanAPixel;
        markFirst();
        return p;
    }
    rule = e.mode == Expected::Exact ? Rule::Shape : e.mode == Expected::Text ? Rule::TextRules : Rule::OnePixelWide;
    switch (e.mode) {
    case Expected::Exact: {
        bool any = false;
        const int i0 = std::max<int>(0, int(std::floor(ul)) - 1), i1 = std::min<int>(v.w - 1, int(std::ceil(ur)));
        const int j0 = std::max<int>(0, int(std::floor(vt)) - 1), j1 = std::min<int>(v.h - 1, int(std::ceil(vb)));
        for (int j = j0; j <= j1; ++j)
            for (int i = i0; i <= i1; ++i)
                if (e.inside(v.centre(i, j))) {
                    p.mark(i, j, true);
                    any = true;
                }
        if (!any) {
            rule = Rule::NoCentreCovered;
            markFirst();
        }
        break;
    }
    case Expected::Hairlines:
        for (const auto& s : e.hairlines) hairline(p, v, s.first, s.second);
        break;
    case Expected::HairArc: {
        // Any pixel near the centre line may be painted; the ends' must.
        const int samples = std::max(16, int(e.arcLength / 0.02L));
        for (int k = 0; k <= samples; ++k) {
            const Pt q = e.arcAt(Real(k) / samples);
            const Real u = v.u(q.x), w = v.v(q.y);
            for (long long i = std::floor(u - kChordSlack); i <= std::floor(u + kChordSlack); ++i)
                for (long long j = std::floor(w - kChordSlack); j <= std::floor(w + kChordSlack); ++j)
                    p.mark(i, j, false);
        }
        for (Real t : {0.0L, 1.0L}) {
            const Pt q = e.arcAt(t);
            markPoint(p, v.u(q.x), v.v(q.y));
        }
        break;
    }
    case Expected::Text:
        break;  // checked by its own rules, see checkText
    }
    return p;
}

// ---- features -------------------------------------------------------------------

// Whole nanometres as a symbol size in micrometres ("12.345").
std::string microns(long long nm) {
    std::string s = std::to_string(nm / 1000);
    if (nm % 1000) {
        std::string frac = std::to_string(1000 + nm % 1000).substr(1);
        while (frac.back() == '0') frac.pop_back();
        s += "." + frac;
    }
    return s;
}

// A symbol and its sizes in nanometres, read from its name as the formats define them.
struct Sym {
    std::string name;
    char shape;  // r, s, R (rect), o (oval), d (donut)
    Real w, h, inner;
};

Real nanometres(const std::string& microns) { return Real(std::strtod(microns.c_str(), nullptr) * 1000.0); }

// Whole nanometres whose name in micrometres reads back to them exactly, so
// that outlines on a grid view fall exactly where they should.
long long readable(long long nm) {
    while (nanometres(microns(nm)) != Real(nm)) ++nm;
    return nm;
}

Sym randomSymbol(Rng& rng, Real size, const char* shapes) {
    constexpr long long kMaxSize = 100000000;  // 100 mm
    auto whole = [&](Real x) {
        return readable(std::max<long long>(1, std::min<long long>(kMaxSize - 1000, std::llround(x))));
    };
    auto nm = nanometres;
    Sym s;
    s.shape = shapes[rng.range(0, int(std::strlen(shapes)) - 1)];
    const std::string a = microns(whole(size)), b = microns(whole(size * rng.uniform(0.2, 1.6)));
    switch (s.shape) {
    case 'r':
        s.name = "r" + a;
        break;
    case 's':
        s.name = "s" + a;
        break;
    case 'R':
        s.name = "rect" + a + "x" + b;
        break;
    case 'o':
        s.name = "oval" + a + "x" + b;
        break;
    default: {
        const long long od = readable(std::max<long long>(2, whole(size)));
        long long id = rng.range(0, int(std::min<long long>(od - 1, 1 << 30)));
        while (id > 0 && nanometres(microns(id)) != Real(id)) --id;
        s.name = "donut_r" + microns(od) + "x" + microns(id);
        s.inner = nm(microns(id));
        s.w = s.h = nm(microns(od));
        return s;
    }
    }
    s.w = nm(a);
    s.h = s.shape == 'R' || s.shape == 'o' ? nm(b) : s.w;
    s.inner = 0;
    return s;
}

Real dist2(Pt a, Pt b) { return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y); }
Real cross(Pt a, Pt b) { return a.x * b.y - a.y * b.x; }

// Whether p lies within r of segment ab, without dividing.
bool nearSegment(Pt p, Pt a, Pt b, Real r) {
    const Pt d{b.x - a.x, b.y - a.y}, w{p.x - a.x, p.y - a.y};
    const Real t = w.x * d.x + w.y * d.y, l2 = d.x * d.x + d.y * d.y;
    if (t <= 0) return dist2(p, a) <= r * r;
    if (t >= l2) return dist2(p, b) <= r * r;
    const Real c = cross(w, d);
    return c * c <= r * r * l2;
}

// Whether p lies in the axis-aligned box of half sizes (hw, hh) swept from a
// to b: some t in [0, 1] puts the box's centre at a + t (b - a) within reach.
// Bounds on t are fractions num / den with den > 0, compared crosswise.
bool inSweptBox(Pt p, Pt a, Pt b, Real hw, Real hh) {
    struct Frac {
        Real num, den;
    };
    std::vector<Frac> lows{{0, 1}}, highs{{1, 1}};
    auto axis = [&](Real off, Real d, Real half) {
        if (d == 0) return std::fabs(off) <= half;
        Frac lo{off - half, d}, hi{off + half, d};
        if (d < 0) {
            lo = {-(off + half), -d};
            hi = {-(off - half), -d};
        }
        lows.push_back(lo);
        highs.push_back(hi);
        return true;
    };
    if (!axis(p.x - a.x, b.x - a.x, hw) || !axis(p.y - a.y, b.y - a.y, hh)) return false;
    for (const Frac& l : lows)
        for (const Frac& h : highs)
            if (l.num * h.den > h.num * l.den) return false;
    return true;
}

struct Made {
    std::function<std::string(int polarity)> record;
    Expected e;
    bool boxIsFeatureInfos = true;  // the test's box, rounded out, is featureInfo's
    Real textRadius = 0;
    std::string symbol;
};

// Coordinates around the view, a little beyond each side.
Pt somewhere(Rng& rng, const View& v) {
    constexpr double kBeyond = 0.15;
    return {Real(std::llround(v.x0 + rng.uniform(-kBeyond, 1 + kBeyond) * v.w * v.sx)),
            Real(std::llround(v.y1 - rng.uniform(-kBeyond, 1 + kBeyond) * v.h * v.sy))};
}
Pt offset(Pt p, Real length, double angle) {
    return {p.x + std::llround(length * std::cos(angle)), p.y + std::llround(length * std::sin(angle))};
}

// The symbol on both layers; its name goes into the trial's description.
int addSymbol(const Sym& s, Made& m) {
    const int a = kt::symbol(kJob, "a", s.name);
    kt::symbol(kJob, "n", s.name);
    m.symbol = s.name;
    return a;
}

Made makeLine(Rng& rng, const View& v, Real pixel) {
    const Sym s = randomSymbol(rng, pixel * rng.logUniform(0.1, 20), "rsRod");
    Made m;
    const int sym = addSymbol(s, m);
    const Pt a = somewhere(rng, v);
    const int direction = rng.range(0, 9);  // along x, along y, a dot, or slanted
    const double angle = direction < 2 ? 0 : direction < 4 ? M_PI / 2 : rng.uniform(0, 2 * M_PI);
    const Pt b = direction == 4 ? a : offset(a, pixel * rng.logUniform(0.2, 80) * (rng.chance(0.5) ? 1 : -1), angle);
    m.record = [=](int pol) {
        return API::GreateLineString(double(a.x), double(a.y), double(b.x), double(b.y), sym, pol, 0);
    };
    const bool square = s.shape == 's' || s.shape == 'R';
    const Real hw = square ? s.w / 2 : std::max(s.w, s.h) / 2, hh = square ? s.h / 2 : hw;
    m.e.box = {std::min(a.x, b.x) - hw, std::min(a.y, b.y) - hh, std::max(a.x, b.x) + hw, std::max(a.y, b.y) + hh};
    m.e.first = a;
    if (2 * hw < v.sx && 2 * hh < v.sy) {
        m.e.mode = Expected::Hairlines;
        m.e.hairlines = {{a, b}};
    } else if (square) {
        m.e.inside = [=](Pt p) { return inSweptBox(p, a, b, hw, hh); };
    } else {
        m.e.inside = [=](Pt p) { return nearSegment(p, a, b, hw); };
    }
    return m;
}

Made makePad(Rng& rng, const View& v, Real pixel) {
    const Sym s = randomSymbol(rng, pixel * rng.logUniform(0.1, 30), "rsRod");
    Made m;
    const int sym = addSymbol(s, m);
    const Pt c = somewhere(rng, v);
    // Sines of whole degrees are rational only at multiples of 30: a pixel
    // centre on such a pad's outline is a tie that no rounding settles alike.
    int angle = rng.range(0, 359);
    if (rng.chance(0.4)) angle = 90 * rng.range(0, 3);
    while (v.grid && angle % 30 == 0 && angle % 90 != 0) ++angle;
    const int mirror = rng.range(0, 1);
    const double scales[] = {1, 0, 0.5, 2, 1.5, 0.25};
    const double scale = rng.chance(0.7) ? scales[rng.range(0, 5)] : (v.grid ? 1 : rng.uniform(0.1, 3));
    m.record = [=](int pol) { return API::GreatePadString(double(c.x), double(c.y), sym, pol, angle, mirror, scale); };
    const Real k = scale == 0 ? 1 : Real(static_cast<float>(scale));
    const Real w = s.w * k, h = s.h * k, inner = s.inner * k;
    Real co = std::cos(angle * M_PI / 180), si = std::sin(angle * M_PI / 180);
    if (angle % 90 == 0) {
        co = angle == 0 ? 1 : angle == 180 ? -1 : 0;
        si = angle == 90 ? 1 : angle == 270 ? -1 : 0;
    }
    const bool round = s.shape == 'r' || s.shape == 'd';
    const Real hx = round ? w / 2 : std::fabs(co) * w / 2 + std::fabs(si) * h / 2;
    const Real hy = round ? w / 2 : std::fabs(si) * w / 2 + std::fabs(co) * h / 2;
    m.e.box = {c.x - hx, c.y - hy, c.x + hx, c.y + hy};
    m.e.first = c;
    const char shape = s.shape;
    m.e.inside = [=](Pt p) {
        const Real dx = p.x - c.x, dy = p.y - c.y;
        const Real lx = dx * co + dy * si, ly = -dx * si + dy * co;  // in the pad's own frame
        switch (shape) {
        case 'r':
            return dx * dx + dy * dy <= w * w / 4;
        case 'd':
            return dx * dx + dy * dy <= w * w / 4 && dx * dx + dy * dy >= inner * inner / 4;
        case 'o': {
            // Within reach of its long axis, taken in board space: a round
            // oval's disc stays exact at any angle.
            const Real half = std::fabs(w - h) / 2;
            const Pt axis = w >= h ? Pt{co * half, si * half} : Pt{-si * half, co * half};
            return nearSegment(p, {c.x - axis.x, c.y - axis.y}, {c.x + axis.x, c.y + axis.y}, std::min(w, h) / 2);
        }
        default:
            return std::fabs(lx) <= w / 2 && std::fabs(ly) <= h / 2;
        }
    };
    return m;
}

// A sweep counter-clockwise from ray a to ray b (vectors from the centre),
// a whole turn when they point the same way.
struct Sweep {
    Pt a, b;
    bool full;
    bool contains(Pt p) const {
        if (full) return true;
        const Real turn = cross(a, b);
        const bool afterA = cross(a, p) >= 0, beforeB = cross(p, b) >= 0;
        if (turn > 0) return afterA && beforeB;
        if (turn < 0) return afterA || beforeB;
        return afterA;  // a half turn
    }
    Real angle() const {
        if (full) return 2 * M_PI;
        const Real t = std::atan2(cross(a, b), a.x * b.x + a.y * b.y);
        return t > 0 ? t : t + 2 * M_PI;
    }
};

Made makeArc(Rng& rng, const View& v, Real pixel) {
    Pt c = somewhere(rng, v);
    // Often on a row of pixel centres, where a fat arc's row through its
    // centre has to be cut at the centre.
    if (v.sy >= 2 && v.grid && rng.chance(0.3)) c.y = v.centre(0, rng.range(0, v.h - 1)).y;
    Pt d;
    do d = offset({0, 0}, pixel * rng.logUniform(0.3, 40), rng.uniform(0, 2 * M_PI));
    while (d.x == 0 && d.y == 0);
    const Real R = std::sqrt(d.x * d.x + d.y * d.y);
    // Ends on the circle exactly: the start turned by quarter turns or
    // mirrored; off grid also anywhere, rounded to whole nanometres.
    const Pt images[] = {d, {-d.y, d.x}, {-d.x, -d.y}, {d.y, -d.x}, {-d.x, d.y}, {d.x, -d.y}, {d.y, d.x}, {-d.y, -d.x}};
    Pt de = images[rng.range(0, 7)];
    if (!v.grid && rng.chance(0.3)) de = offset({0, 0}, R, rng.uniform(0, 2 * M_PI));
    const Pt s{c.x + d.x, c.y + d.y}, e{c.x + de.x, c.y + de.y};
    const bool cw = rng.chance(0.5);
    const bool fat = rng.chance(0.25);
    const Sym sym = randomSymbol(rng, fat ? 2 * R * rng.uniform(1, 2.5) : pixel * rng.logUniform(0.1, 15), "rsRod");
    Made m;
    const int index = addSymbol(sym, m);
    const Real r = std::max(sym.w, sym.h) / 2;
    m.record = [=](int pol) {
        return API::GreateArcString(double(s.x), double(s.y), double(e.x), double(e.y), double(c.x), double(c.y), index,
                                    pol, 0, cw);
    };
    const Pt ds{s.x - c.x, s.y - c.y}, dend{e.x - c.x, e.y - c.y};
    const Pt a = cw ? dend : ds, b = cw ? ds : dend;
    const Sweep sweep{a, b, (s.x == e.x && s.y == e.y) || (cross(a, b) == 0 && a.x * b.x + a.y * b.y > 0)};
    Box box{std::min(s.x, e.x), std::min(s.y, e.y), std::max(s.x, e.x), std::max(s.y, e.y)};
    for (Pt dir : {Pt{1, 0}, Pt{0, 1}, Pt{-1, 0}, Pt{0, -1}})
        if (sweep.contains(dir)) {
            box.xmin = std::min(box.xmin, c.x + dir.x * R);
            box.xmax = std::max(box.xmax, c.x + dir.x * R);
            box.ymin = std::min(box.ymin, c.y + dir.y * R);
            box.ymax = std::max(box.ymax, c.y + dir.y * R);
        }
    m.e.box = {box.xmin - r, box.ymin - r, box.xmax + r, box.ymax + r};
    m.e.first = s;
    if (2 * r < v.sx && 2 * r < v.sy) {
        m.e.mode = Expected::HairArc;
        const Real from = std::atan2(a.y, a.x), turn = sweep.angle();
        m.e.arcAt = [=](Real t) {
            return Pt{c.x + R * std::cos(from + t * turn), c.y + R * std::sin(from + t * turn)};
        };
        m.e.arcLength = R * turn / std::min(v.sx, v.sy);
        return m;
    }
    m.e.inside = [=](Pt p) {
        const Pt q{p.x - c.x, p.y - c.y};
        const Real d2 = q.x * q.x + q.y * q.y, inner = R - r;
        const bool ring = d2 <= (R + r) * (R + r) && (inner <= 0 || d2 >= inner * inner);
        return (ring && sweep.contains(q)) || dist2(p, s) <= r * r || dist2(p, e) <= r * r;
    };
    return m;
}

// Even-odd over the contours; a centre on an edge counts as right of it, or
// below it on a horizontal one, when the edge is a left or top one.
bool inContours(Pt p, const std::vector<std::vector<Pt>>& rings) {
    bool in = false;
    for (const auto& ring : rings)
        for (size_t k = 0; k < ring.size(); ++k) {
            Pt a = ring[k], b = ring[(k + 1) % ring.size()];
            if (a.y == b.y) continue;
            if (a.y > b.y) std::swap(a, b);
            // An edge takes the rows in (its bottom, its top], top included.
            if (!(p.y > a.y && p.y <= b.y)) continue;
            // Crossing at or left of p: (p.x - a.x)(b.y - a.y) >= (p.y - a.y)(b.x - a.x).
            if ((p.x - a.x) * (b.y - a.y) >= (p.y - a.y) * (b.x - a.x)) in = !in;
        }
    return in;
}

Made makeSurface(Rng& rng, const View& v, Real pixel) {
    std::vector<std::vector<Pt>> rings(rng.range(1, 3));
    std::vector<API::lPoint> points;
    const Real outline = pixel * rng.logUniform(0.3, 60);
    Pt first{};
    for (auto& ring : rings) {
        // Later contours often about the first's middle, mostly as holes.
        const bool hole = &ring != &rings[0] && rng.chance(0.6);
        const Pt c = hole ? first : somewhere(rng, v);
        if (&ring == &rings[0]) first = c;
        const Real size = (hole ? 0.4 : 1) * outline;
        if (rng.chance(0.3)) {  // a rectangle, edges along the axes
            const Real hw = std::max<Real>(1, std::llround(size * rng.uniform(0.1, 1)));
            const Real hh = std::max<Real>(1, std::llround(size * rng.uniform(0.1, 1)));
            ring = {{c.x - hw, c.y - hh}, {c.x + hw, c.y - hh}, {c.x + hw, c.y + hh}, {c.x - hw, c.y + hh}};
        } else {  // a star around c, corners in turn
            const int n = rng.range(3, 8);
            double angle = rng.uniform(0, 2 * M_PI);
            // On a grid, corners often on pixel centres: edges then pass
            // through further centres, ties only exact arithmetic settles.
            const bool snap = v.grid && v.sx >= 2 && v.sy >= 2 && rng.chance(0.5);
            for (int k = 0; k < n; ++k, angle += rng.uniform(0.2, 2 * M_PI / n)) {
                Pt p = offset(c, size * rng.uniform(0.05, 1), angle);
                if (snap) p = v.centre(int(std::floor(v.u(p.x))), int(std::floor(v.v(p.y))));
                ring.push_back(p);
            }
        }
        for (const Pt& p : ring) points.push_back({double(p.x), double(p.y)});
        points.push_back({double(ring[0].x), double(ring[0].y)});
    }
    Made m;
    // Corners that round onto each other (one on the first would split the
    // contour): another surface.
    for (const auto& ring : rings)
        for (size_t k = 0; k < ring.size(); ++k)
            for (size_t q = 0; q < k; ++q)
                if (ring[k].x == ring[q].x && ring[k].y == ring[q].y) return makeSurface(rng, v, pixel);
    m.record = [=](int pol) { return API::GreateSurfaceString(points, pol, 0, true); };
    Box box{rings[0][0].x, rings[0][0].y, rings[0][0].x, rings[0][0].y};
    for (const auto& ring : rings)
        for (const Pt& p : ring)
            box = {std::min(box.xmin, p.x), std::min(box.ymin, p.y), std::max(box.xmax, p.x), std::max(box.ymax, p.y)};
    m.e.box = box;
    m.e.first = rings[0][0];
    m.e.inside = [rings](Pt p) { return inContours(p, rings); };
    return m;
}

// Texts are checked against their box and anchor only: the glyphs' strokes
// belong to the font, not to the rules.
Made makeText(Rng& rng, const View& v, Real pixel) {
    const char* const chars = "ABEHKLMNTXZ0123456789-+";
    std::string text;
    for (int k = rng.range(1, 4); k > 0; --k) text += chars[rng.range(0, int(std::strlen(chars)) - 1)];
    const Pt at = somewhere(rng, v);
    const Real ysize = std::max<Real>(1, std::llround(pixel * rng.logUniform(0.2, 30)));
    const Real xsize = std::max<Real>(1, std::llround(ysize * rng.uniform(0.6, 1.2)));
    const double factors[] = {0, 1, 0.5, 2};
    const double widthFactor = factors[rng.range(0, 3)], scale = factors[rng.range(0, 3)];
    const int angle = rng.range(0, 359), mirror = rng.range(0, 1);
    Made m;
    m.record = [=](int pol) {
        return API::GreateTextString(double(at.x), double(at.y), text, pol, angle, double(xsize), double(ysize),
                                     widthFactor, "standard", mirror, scale);
    };
    m.e.mode = Expected::Text;
    m.e.first = at;
    m.boxIsFeatureInfos = false;  // taken from featureInfo once stored
    m.textRadius = 0.05L * ysize * (scale > 0 ? scale : 1) * (widthFactor > 0 ? widthFactor : 1);
    return m;
}

// ---- drawing and comparing ----------------------------------------------------

std::vector<char> paintedPixels(const View& v) {
    std::vector<char> out(size_t(v.w) * v.h);
    for (int j = 0; j < v.h; ++j)
        for (int i = 0; i < v.w; ++i) out[size_t(j) * v.w + i] = kt::painted(i, j);
    return out;
}

std::string describe(const View& v, const std::string& record) {
    std::ostringstream s;
    s.precision(17);
    s << record << " on " << v.w << "x" << v.h << " from (" << double(v.x0) << ", " << double(v.y1) << ") at "
      << double(v.sx) << " x " << double(v.sy) << " nm per pixel";
    return s.str();
}

// Mismatching pixels between what was painted and the picture, the first few reported.
int compare(const std::vector<char>& got, const Picture& want, const std::string& what) {
    int bad = 0;
    for (int j = 0; j < want.h; ++j)
        for (int i = 0; i < want.w; ++i) {
            const size_t k = size_t(j) * want.w + i;
            if ((got[k] && !want.may[k]) || (!got[k] && want.must[k])) {
                if (++bad <= 3) ADD_FAILURE() << what << ": pixel (" << i << ", " << j << ") painted=" << int(got[k]);
            }
        }
    return bad;
}

// A text paints only within its box (a pixel meeting it, for one-pixel
// strokes) or its anchor's pixel; only the anchor's when the box is under a
// pixel; and never nothing when its anchor is on the canvas.
int checkText(const View& v, const std::vector<char>& got, const API::featureInfo& f, Real radius,
              const std::string& what, Rule& rule) {
    const Box box{Real(f.xmin), Real(f.ymin), Real(f.xmax), Real(f.ymax)};
    const Real fu = v.u(f.xs), fv = v.v(f.ys);
    const bool anchorOn = fu >= 0 && fv >= 0 && fu < v.w && fv < v.h;
    // The stored box is rounded out: under a pixel, the exact one is too.
    const bool small = smallerThanAPixel(v, box);
    const bool thin = 2 * radius < v.sx && 2 * radius < v.sy;
    rule = small ? Rule::SmallerThanAPixel : Rule::TextRules;
    int bad = 0, count = 0;
    for (int j = 0; j < v.h; ++j)
        for (int i = 0; i < v.w; ++i) {
            if (!got[size_t(j) * v.w + i]) continue;
            ++count;
            const Pt c = v.centre(i, j);
            const Real mx = thin ? v.sx / 2 : 0, my = thin ? v.sy / 2 : 0;
            const bool anchor = i == std::floor(fu) && j == std::floor(fv);
            bool ok = anchor ||
                      (c.x >= box.xmin - mx && c.x <= box.xmax + mx && c.y >= box.ymin - my && c.y <= box.ymax + my);
            if (small) ok = anchor;
            if (!ok && ++bad <= 3) ADD_FAILURE() << what << ": pixel (" << i << ", " << j << ") outside the text";
        }
    if (anchorOn && count == 0) ADD_FAILURE() << what << ": the text vanished", ++bad;
    if (small && anchorOn && count != 1)
        ADD_FAILURE() << what << ": " << count << " pixels for a text under a pixel", ++bad;
    return bad;
}

// The rules' thresholds met to within rounding: off the grid, such a trial
// could go either way and is drawn again.
bool borderline(const View& v, const Made& m) {
    if (v.grid) return false;
    auto near = [](Real ratio) { return std::fabs(ratio - 1) < 1e-9L; };
    const Box& b = m.e.box;
    return near((b.xmax - b.xmin) / v.sx) || near((b.ymax - b.ymin) / v.sy);
}

}  // namespace

TEST(Pixels, EveryKindPaintsWhatTheRulesSayAtRandomViews) {
    constexpr uint64_t kSeed = 20240611;
    constexpr int kTrials = 10000;
    // Every few trials the same feature, negative, is drawn over a filled
    // canvas: it must clear exactly the pixels it painted.
    constexpr int kNegativeEvery = 3;
    Rng rng(kSeed);
    using Maker = Made (*)(Rng&, const View&, Real);
    const std::pair<const char*, Maker> kinds[] = {
        {"line", makeLine}, {"pad", makePad}, {"arc", makeArc}, {"surface", makeSurface}, {"text", makeText}};
    int rules[int(Rule::Count)] = {};
    int failures = 0;
    for (int t = 0; t < kTrials && failures < 10; ++t) {
        const auto& kind = kinds[t % 5];
        const View v = randomView(rng, t / 5 % 2 == 0);
        kt::freshJob(kJob, {"bg", "a", "n"});
        const Made m = kind.second(rng, v, std::sqrt(v.sx * v.sy));
        if (borderline(v, m)) continue;
        const std::string what =
            std::string(kind.first) + " #" + std::to_string(t) + " " + m.symbol + " " + describe(v, m.record(1));
        try {
            kt::add(kJob, "a", m.record(API::POL_POSITIVE));
            kt::add(kJob, "n", m.record(API::POL_NEGATIVE));
        } catch (const API::KernelText& e) {
            FAIL() << what << ": " << e;
        }
        API::featureInfo f;
        ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "a", 0, f));
        if (m.boxIsFeatureInfos) {
            // The box the rules speak of is featureInfo's before rounding out.
            const Box& b = m.e.box;
            EXPECT_TRUE(f.xmin == std::floor(b.xmin) && f.ymin == std::floor(b.ymin) && f.xmax == std::ceil(b.xmax) &&
                        f.ymax == std::ceil(b.ymax))
                << what << ": featureInfo box " << f.xmin << " " << f.ymin << " " << f.xmax << " " << f.ymax << " for "
                << double(b.xmin) << " " << double(b.ymin) << " " << double(b.xmax) << " " << double(b.ymax);
        }
        API::clear_canvas();
        API::draw_layer(kJob, "pcb", "a", 200, 100, 50, 255);
        const std::vector<char> got = paintedPixels(v);
        Rule rule;
        int bad;
        if (m.e.mode == Expected::Text)
            bad = checkText(v, got, f, m.textRadius, what, rule);
        else
            bad = compare(got, expectedPicture(v, m.e, rule), what);
        ++rules[int(rule)];
        if (t % kNegativeEvery == 0) {
            const Real margin = 2 * (v.w * v.sx + v.h * v.sy);
            const double x0 = double(v.x0 - margin), x1 = double(v.x0 + margin), y0 = double(v.y1 - margin),
                         y1 = double(v.y1 + margin);
            kt::add(kJob, "bg",
                    API::GreateSurfaceString({{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}}, API::POL_POSITIVE, 0, true));
            API::clear_canvas();
            API::draw_layer(kJob, "pcb", "bg", 10, 20, 30, 255);
            API::draw_layer(kJob, "pcb", "n", 200, 100, 50, 255);
            int wrong = 0;
            for (int j = 0; j < v.h; ++j)
                for (int i = 0; i < v.w; ++i)
                    if (kt::isBackground(i, j) != bool(got[size_t(j) * v.w + i]) && ++wrong <= 3)
                        ADD_FAILURE() << what << ": negative, pixel (" << i << ", " << j << ")";
            bad += wrong;
        }
        failures += bad > 0;
    }
    // The trials reach every rule, often enough to mean something.
    constexpr int kEnough = 30;
    EXPECT_GE(rules[int(Rule::Shape)], 10 * kEnough);
    EXPECT_GE(rules[int(Rule::SmallerThanAPixel)], kEnough);
    EXPECT_GE(rules[int(Rule::NoCentreCovered)], kEnough);
    EXPECT_GE(rules[int(Rule::OnePixelWide)], kEnough);
    EXPECT_GE(rules[int(Rule::TextRules)], kEnough);
    EXPECT_GE(rules[int(Rule::OffCanvas)], kEnough);
}

TEST(Pixels, SurfaceEdgeThroughAPixelCentreOfAnOffsetGridIsExact) {
    // 128 x 64 nm pixels from an odd origin: the edge from (423603, 979725)
    // to (423475, 980365) passes exactly through the centre of pixel (7, 36),
    // a crossing that a slope rounded once and multiplied misses.
    View v;
    v.w = 83;
    v.h = 77;
    v.grid = true;
    v = showing(v, 420211 / 1000.0, (982125 - 77 * 64) / 1000.0, (420211 + 83 * 128) / 1000.0, 982125 / 1000.0);
    const std::vector<Pt> ring = {{422963, 978189}, {423603, 979725}, {423475, 980365},
                                  {421427, 980877}, {421171, 979853}, {419379, 981389}};
    std::vector<API::lPoint> points;
    for (const Pt& p : ring) points.push_back({double(p.x), double(p.y)});
    kt::freshJob(kJob, {"a"});
    kt::add(kJob, "a", API::GreateSurfaceString(points, API::POL_POSITIVE, 0, true));
    API::clear_canvas();
    API::draw_layer(kJob, "pcb", "a", 200, 100, 50, 255);
    Expected e;
    e.inside = [&](Pt p) { return inContours(p, {ring}); };
    e.box = {419379, 978189, 423603, 981389};
    e.first = ring[0];
    Rule rule;
    const Picture want = expectedPicture(v, e, rule);
    ASSERT_TRUE(want.must[36 * v.w + 7]);
    EXPECT_EQ(compare(paintedPixels(v), want, "surface"), 0);
}
