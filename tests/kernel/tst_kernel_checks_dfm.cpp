// Slivers, solder mask and silk, nets and whole plans: each against a
// reference worked out the slow way on small random boards, value for value,
// and hand-built cases at the limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <set>

#include "TOLVA_Checks.h"
#include "TOLVA_Measure.h"
#include "kernel_test_util.h"

namespace {

using namespace TOLVA;
using CHECKS::check_params;
using CHECKS::check_result;
using CHECKS::location_kind;
using CHECKS::severity;
using MEASURE::feature_ref;

const char* const kJob = "dfm";
const char* const kStep = "pcb";

void freshBoard() {
    kt::freshJob(kJob, {"top", "inner", "bottom"});
    JOB::add_layer(kJob, "drill", "board", "drill", "positive");
    JOB::add_layer(kJob, "mask", "board", "solder_mask", "positive");
    JOB::add_layer(kJob, "silk", "board", "silk_screen", "positive");
    JOB::add_layer(kJob, "empty", "board", "signal", "positive");
}

API::attr_map net(const std::string& n) { return n.empty() ? API::attr_map{} : API::attr_map{{".net", n}}; }

int count(const std::string& layer) { return JOB::feature_count(kJob, kStep, layer); }
int pad(const std::string& layer, double x, double y, const std::string& sym, const API::attr_map& attrs = {},
        int polarity = API::POL_POSITIVE) {
    kt::add(kJob, layer, API::GreatePadString(x, y, kt::symbol(kJob, layer, sym), polarity, 0, 0, 1), attrs);
    return count(layer) - 1;
}
int line(const std::string& layer, double x1, double y1, double x2, double y2, const std::string& sym,
         const API::attr_map& attrs = {}) {
    kt::add(kJob, layer, API::GreateLineString(x1, y1, x2, y2, kt::symbol(kJob, layer, sym), API::POL_POSITIVE, 0),
            attrs);
    return count(layer) - 1;
}
using Ring = std::vector<API::lPoint>;
int surface(const std::string& layer, const std::vector<Ring>& rings, const API::attr_map& attrs = {}) {
    std::vector<API::lPoint> pts;
    for (const Ring& r : rings) {
        pts.insert(pts.end(), r.begin(), r.end());
        pts.push_back(r[0]);
    }
    kt::add(kJob, layer, API::GreateSurfaceString(pts, API::POL_POSITIVE, 0, false), attrs);
    return count(layer) - 1;
}
Ring box(double x0, double y0, double x1, double y1) { return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}}; }

bool classify(double value, const check_params& p, check_result& r) {
    if (value < p.error_limit) {
        r.level = severity::ERROR;
        r.limit = p.error_limit;
    } else if (value < p.warning_limit) {
        r.level = severity::WARNING;
        r.limit = p.warning_limit;
    } else {
        return false;
    }
    r.value = value;
    return true;
}
check_result result(const char* check, std::vector<feature_ref> features) {
    check_result r;
    r.check = check;
    for (const feature_ref& f : features)
        if (std::find(r.layers.begin(), r.layers.end(), f.layer) == r.layers.end()) r.layers.push_back(f.layer);
    r.features = std::move(features);
    return r;
}
void setPoints(check_result& r, double ax, double ay, double bx, double by) {
    r.location.kind = location_kind::POINTS;
    r.location.a = {ax, ay};
    r.location.b = {bx, by};
}

std::string describe(const check_result& r) {
    char value[64];
    std::snprintf(value, sizeof value, " %.6f/%.6f", r.value, r.limit);
    std::string s = r.check + (r.level == severity::ERROR ? " E" : " W") + value;
    for (const feature_ref& f : r.features) s += " " + f.layer + ":" + std::to_string(f.index);
    s += " [";
    for (const std::string& l : r.layers) s += l + ";";
    return s + "]";
}
std::vector<std::string> describe(const std::vector<check_result>& rs) {
    std::vector<std::string> out;
    for (const check_result& r : rs) out.push_back(describe(r));
    return out;
}

void expectSame(const std::vector<check_result>& got, const std::vector<check_result>& want, double tolerance) {
    ASSERT_EQ(describe(got), describe(want));
    for (size_t k = 0; k < got.size(); ++k) {
        SCOPED_TRACE(describe(want[k]));
        EXPECT_EQ(got[k].location.kind, want[k].location.kind);
        EXPECT_NEAR(got[k].value, want[k].value, tolerance);
        EXPECT_NEAR(got[k].location.a.x, want[k].location.a.x, tolerance);
        EXPECT_NEAR(got[k].location.a.y, want[k].location.a.y, tolerance);
        EXPECT_NEAR(got[k].location.b.x, want[k].location.b.x, tolerance);
        EXPECT_NEAR(got[k].location.b.y, want[k].location.b.y, tolerance);
    }
}

// ---- slivers: the reference over every pair of edges --------------------------
struct P {
    double x, y;
};
P operator-(P a, P b) { return {a.x - b.x, a.y - b.y}; }
double crossp(P u, P v) { return u.x * v.y - u.y * v.x; }
double len(P u) { return std::hypot(u.x, u.y); }
P foot(P p, P a, P b) {
    const P d = b - a;
    const double l2 = d.x * d.x + d.y * d.y;
    const double t = l2 == 0 ? 0 : std::max(0.0, std::min(1.0, ((p.x - a.x) * d.x + (p.y - a.y) * d.y) / l2));
    return {a.x + t * d.x, a.y + t * d.y};
}
bool meets(P a, P b, P c, P d) {
    const double d1 = crossp(d - c, a - c), d2 = crossp(d - c, b - c), d3 = crossp(b - a, c - a),
                 d4 = crossp(b - a, d - a);
    if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return true;
    auto on = [](P p, P s, P e) {
        return crossp(e - s, p - s) == 0 && std::min(s.x, e.x) <= p.x && p.x <= std::max(s.x, e.x) &&
               std::min(s.y, e.y) <= p.y && p.y <= std::max(s.y, e.y);
    };
    return on(a, c, d) || on(b, c, d) || on(c, a, b) || on(d, a, b);
}
struct Closest {
    double d;
    P a, b;
};
Closest closest(P a1, P b1, P a2, P b2) {
    const P u = b1 - a1, v = b2 - a2;
    const double uu = u.x * u.x + u.y * u.y;
    if (uu > 0 && len(v) > 0 && crossp(u, v) == 0) {
        const double t0 = ((a2.x - a1.x) * u.x + (a2.y - a1.y) * u.y) / uu;
        const double t1 = ((b2.x - a1.x) * u.x + (b2.y - a1.y) * u.y) / uu;
        const double lo = std::max(0.0, std::min(t0, t1)), hi = std::min(1.0, std::max(t0, t1));
        if (lo <= hi) {
            const double t = (lo + hi) / 2;
            const P pa{a1.x + t * u.x, a1.y + t * u.y}, pb = foot(pa, a2, b2);
            return {len(pb - pa), pa, pb};
        }
    }
    if (meets(a1, b1, a2, b2)) return {0, a1, a1};
    Closest best{std::numeric_limits<double>::infinity(), {}, {}};
    auto keep = [&](P p, P q) {
        if (len(q - p) < best.d) best = {len(q - p), p, q};
    };
    keep(a1, foot(a1, a2, b2));
    keep(b1, foot(b1, a2, b2));
    keep(foot(a2, a1, b1), a2);
    keep(foot(b2, a1, b1), b2);
    return best;
}
bool inside(P p, const std::vector<Ring>& rings) {
    bool in = false;
    for (const Ring& r : rings)
        for (size_t i = 0, j = r.size() - 1; i < r.size(); j = i++)
            if ((r[i].y > p.y) != (r[j].y > p.y) &&
                p.x < (r[j].x - r[i].x) * (p.y - r[i].y) / (r[j].y - r[i].y) + r[i].x)
                in = !in;
    return in;
}

std::vector<check_result> referenceSlivers(const std::string& layer, int feature, const std::vector<Ring>& rings,
                                           const check_params& lim) {
    struct E {
        P a, b;
        size_t prev, next;
    };
    std::vector<E> e;
    for (const Ring& r : rings) {
        const size_t first = e.size(), n = r.size();
        for (size_t k = 0; k < n; ++k)
            e.push_back({{r[k].x, r[k].y}, {r[(k + 1) % n].x, r[(k + 1) % n].y}, first + (k + n - 1) % n,
                         first + (k + 1) % n});
    }
    auto adjacent = [&](size_t i, size_t j) { return i == j || e[i].next == j || e[i].prev == j; };
    auto faces = [](P u, P w) { return crossp(u, w) * crossp(u, w) >= 0.75 * (u.x * u.x + u.y * u.y) * (w.x * w.x + w.y * w.y); };
    // kind: 0 none, 1 neck, 2 gap
    auto sliver = [&](size_t i, size_t j, Closest& c) {
        if (adjacent(i, j)) return 0;
        c = closest(e[i].a, e[i].b, e[j].a, e[j].b);
        if (c.d <= 0 || c.d >= lim.warning_limit) return 0;
        const P w = c.b - c.a;
        if (!faces(e[i].b - e[i].a, w) || !faces(e[j].b - e[j].a, w)) return 0;
        const P p{c.a.x + 1e-6 * w.x, c.a.y + 1e-6 * w.y}, q{c.b.x - 1e-6 * w.x, c.b.y - 1e-6 * w.y};
        for (size_t k = 0; k < e.size(); ++k)
            if (k != i && k != j && meets(e[k].a, e[k].b, p, q)) return 0;
        return inside({(c.a.x + c.b.x) / 2, (c.a.y + c.b.y) / 2}, rings) ? 1 : 2;
    };
    std::vector<check_result> out;
    for (size_t i = 0; i < e.size(); ++i)
        for (size_t j = i + 1; j < e.size(); ++j) {
            Closest c;
            const int kind = sliver(i, j, c);
            if (!kind) continue;
            bool beaten = false;
            for (auto n : {std::make_pair(e[i].prev, j), std::make_pair(e[i].next, j), std::make_pair(i, e[j].prev),
                           std::make_pair(i, e[j].next)}) {
                const size_t x = std::min(n.first, n.second), y = std::max(n.first, n.second);
                Closest o;
                if (x == y || sliver(x, y, o) != kind) continue;
                if (o.d < c.d || (o.d == c.d && std::make_pair(x, y) < std::make_pair(i, j))) beaten = true;
            }
            if (beaten) continue;
            check_result r = result(kind == 1 ? "sliver_neck" : "sliver_gap", {{layer, feature}});
            if (!classify(c.d, lim, r)) continue;
            setPoints(r, c.a.x, c.a.y, c.b.x, c.b.y);
            out.push_back(r);
        }
    return out;
}

// A star-shaped ring of n corners around (cx, cy), radii between r0 and r1.
Ring star(std::mt19937& rng, double cx, double cy, double r0, double r1, int n) {
    std::uniform_real_distribution<double> radius(r0, r1), jitter(-0.3, 0.3);
    Ring ring;
    for (int k = 0; k < n; ++k) {
        const double a = (k + 0.5 + jitter(rng)) * 2 * M_PI / n, r = radius(rng);
        ring.push_back({std::round(cx + r * std::cos(a)), std::round(cy + r * std::sin(a))});
    }
    return ring;
}

class RandomBoards : public ::testing::TestWithParam<unsigned> {};

TEST_P(RandomBoards, SliversEqualEveryEdgePair) {
    freshBoard();
    std::mt19937 rng(GetParam());
    const check_params lim{60000, 120000};
    std::vector<check_result> want;
    for (int s = 0; s < 6; ++s) {
        const double cx = 1.5e6 * s, cy = 0;
        std::vector<Ring> rings{star(rng, cx, cy, 400000, 600000, 9 + s)};
        for (int h = 0; h < 2; ++h)
            rings.push_back(star(rng, cx + (h ? 150000 : -150000), cy + 60000 * (s % 3), 60000, 200000, 7 + h));
        pad("top", cx, cy + 2e6, "r100");  // not a surface: never a sliver
        const int f = surface("top", rings);
        const std::vector<check_result> one = referenceSlivers("top", f, rings, lim);
        want.insert(want.end(), one.begin(), one.end());
    }
    EXPECT_FALSE(want.empty());
    expectSame(CHECKS::slivers(kJob, kStep, {"top"}, lim), want, 1e-6);
}

// Beside a pour of many edges the spacing check looks only at the edges near
// each feature: the same values as every pair measured in full.
TEST_P(RandomBoards, SpacingBesideLargePoursEqualsAllPairs) {
    freshBoard();
    std::mt19937 rng(GetParam());
    auto uni = [&](double lo, double hi) { return std::round(std::uniform_real_distribution<double>(lo, hi)(rng)); };
    surface("top", {star(rng, 1.5e6, 1.5e6, 9e5, 1.4e6, 90), star(rng, 1.3e6, 1.5e6, 2e5, 4e5, 40)}, net("GND"));
    for (int k = 0; k < 50; ++k) {
        const double x = uni(0, 3e6), y = uni(0, 3e6);
        if (k % 2)
            pad("top", x, y, k % 4 == 1 ? "r120" : "rect150x90", net(k % 3 ? "" : "S"));
        else
            line("top", x, y, x + uni(-3e5, 3e5), y + uni(-3e5, 3e5), "r40");
    }
    surface("top", {star(rng, 2.5e6, 2.5e6, 3e5, 5e5, 60)});
    const check_params lim{50000, 100000};
    std::vector<check_result> want;
    const int n = count("top");
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            API::featureInfo a, b;
            API::get_featureinfo_by_index(kJob, kStep, "top", i, a);
            API::get_featureinfo_by_index(kJob, kStep, "top", j, b);
            const auto na = a.attributes.find(".net"), nb = b.attributes.find(".net");
            if (na != a.attributes.end() && nb != b.attributes.end() && na->second == nb->second) continue;
            const MEASURE::distance_result d = MEASURE::feature_distance(kJob, kStep, {"top", i}, {"top", j});
            if (d.distance == 0) continue;
            check_result r = result("spacing", {{"top", i}, {"top", j}});
            if (!classify(d.distance, lim, r)) continue;
            setPoints(r, d.a.x, d.a.y, d.b.x, d.b.y);
            want.push_back(r);
        }
    EXPECT_FALSE(want.empty());
    expectSame(CHECKS::spacing(kJob, kStep, {"top"}, lim), want, 0);
}

struct LimitCase {
    const char* what;
    std::function<void()> build;
    std::function<std::vector<check_result>()> run;
    std::vector<std::string> want;
};

std::function<std::vector<check_result>()> slivers(double error, double warning) {
    return [=] { return CHECKS::slivers(kJob, kStep, {"top"}, {error, warning}); };
}
// A square of 1 mm with a hole 200 um from three sides and `neck` from the right.
std::function<void()> holeNear(double neck) {
    return [neck] { surface("top", {box(0, 0, 1e6, 1e6), box(2e5, 2e5, 1e6 - neck, 8e5)}); };
}
// A square of 1 mm with a slot `width` wide and 500 um deep from the top.
std::function<void()> slot(double width) {
    return [width] {
        const double l = 5e5 - width / 2, r = 5e5 + width / 2;
        surface("top", {{{0, 0}, {1e6, 0}, {1e6, 1e6}, {r, 1e6}, {r, 5e5}, {l, 5e5}, {l, 1e6}, {0, 1e6}}});
    };
}

TEST(Slivers, AtTheLimits) {
    const LimitCase cases[] = {
        {"a neck as wide as the error limit: a warning", holeNear(100000), slivers(100000, 150000),
         {"sliver_neck W 100000.000000/150000.000000 top:0 [top;]"}},
        {"a neck one nanometre narrower: an error", holeNear(99999), slivers(100000, 150000),
         {"sliver_neck E 99999.000000/100000.000000 top:0 [top;]"}},
        {"a neck as wide as the warning limit: nothing", holeNear(150000), slivers(100000, 150000), {}},
        {"a slot as wide as the limit: nothing", slot(100000), slivers(100000, 100000), {}},
        {"a slot one nanometre narrower: a gap", slot(100000), slivers(100001, 100001),
         {"sliver_gap E 100000.000000/100001.000000 top:0 [top;]"}},
        {"a pad is not a surface", [] { pad("top", 0, 0, "r10"); }, slivers(100000, 100000), {}},
        // A circle of 72 short edges: their chords are no neck, one neck to the rim.
        {"a round hole near the rim: one neck",
         [] {
             Ring hole;
             for (int k = 0; k < 72; ++k)
                 hole.push_back({std::round(5e5 + 3e5 * std::cos(k * M_PI / 36)), std::round(5e5 + 3e5 * std::sin(k * M_PI / 36))});
             surface("top", {box(0, 0, 1e6, 850000), hole});
         },
         slivers(60000, 60000), {"sliver_neck E 50000.000000/60000.000000 top:0 [top;]"}},
    };
    for (const LimitCase& c : cases) {
        SCOPED_TRACE(c.what);
        freshBoard();
        c.build();
        EXPECT_EQ(describe(c.run()), c.want);
    }
    // The neck's place: the middle of the hole's side, across to the rim.
    freshBoard();
    holeNear(99999)();
    const std::vector<check_result> got = CHECKS::slivers(kJob, kStep, {"top"}, {100000, 100000});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].location.kind, location_kind::POINTS);
    EXPECT_DOUBLE_EQ(got[0].location.a.x, 1e6);
    EXPECT_DOUBLE_EQ(got[0].location.a.y, 5e5);
    EXPECT_DOUBLE_EQ(got[0].location.b.x, 1e6 - 99999);
    EXPECT_DOUBLE_EQ(got[0].location.b.y, 5e5);
}

// ---- mask and silk ------------------------------------------------------------
struct Round {
    double x, y, r;
};

TEST_P(RandomBoards, MaskClearanceEqualsEveryRoundPad) {
    freshBoard();
    std::mt19937 rng(GetParam());
    auto uni = [&](double lo, double hi) { return std::round(std::uniform_real_distribution<double>(lo, hi)(rng)); };
    std::vector<Round> pads, openings;
    for (int k = 0; k < 40; ++k) {
        const int d = 100 + 20 * static_cast<int>(uni(0, 4));
        pads.push_back({uni(0, 3e6), uni(0, 3e6), d * 500.0});
        pad("top", pads.back().x, pads.back().y, "r" + std::to_string(d));
        if (k % 7 == 6) continue;  // no opening of its own
        const int o = d + 20 * static_cast<int>(uni(-1, 4));
        openings.push_back({pads.back().x + uni(-30000, 30000), pads.back().y + uni(-30000, 30000), o * 500.0});
        pad("mask", openings.back().x, openings.back().y, "r" + std::to_string(o));
    }
    line("top", 0, 0, 3e6, 3e6, "r50");  // not a pad
    const check_params lim{15000, 30000};
    std::vector<check_result> want;
    for (int p = 0; p < static_cast<int>(pads.size()); ++p) {
        int best = -1;
        double clearance = 0;
        for (int m = 0; m < static_cast<int>(openings.size()); ++m) {
            const double off = std::hypot(pads[p].x - openings[m].x, pads[p].y - openings[m].y);
            if (off > pads[p].r + openings[m].r) continue;
            const double c = std::max(0.0, openings[m].r - pads[p].r - off);
            if (best < 0 || c > clearance) best = m, clearance = c;
        }
        if (best < 0) {
            check_result r = result("missing_mask_opening", {{"top", p}});
            r.layers.push_back("mask");
            r.level = severity::ERROR;
            r.limit = lim.error_limit;
            r.location.kind = location_kind::BOX;
            r.location.a = {pads[p].x - pads[p].r, pads[p].y - pads[p].r};
            r.location.b = {pads[p].x + pads[p].r, pads[p].y + pads[p].r};
            want.push_back(r);
            continue;
        }
        check_result r = result("mask_clearance", {{"top", p}, {"mask", best}});
        if (!classify(clearance, lim, r)) continue;
        r.location.kind = location_kind::POINTS;
        const Round &a = pads[p], &o = openings[best];
        const double off = std::hypot(a.x - o.x, a.y - o.y);
        if (clearance > 0 && off > 0)  // the pad's edge nearest the opening's
            setPoints(r, a.x + (a.x - o.x) / off * a.r, a.y + (a.y - o.y) / off * a.r,
                      o.x + (a.x - o.x) / off * o.r, o.y + (a.y - o.y) / off * o.r);
        want.push_back(r);
    }
    EXPECT_FALSE(want.empty());
    std::vector<check_result> got = CHECKS::mask_clearance(kJob, kStep, "top", "mask", lim);
    // Where the mask reaches onto the pad (0), or the pad sits centred (any
    // point of the ring), the place is not unique: take the kernel's.
    for (size_t k = 0; k < got.size() && k < want.size(); ++k)
        if (want[k].location.kind == location_kind::POINTS && want[k].location.a.x == 0 && want[k].location.b.x == 0)
            want[k].location = got[k].location;
    expectSame(got, want, 1e-3);
}

TEST_P(RandomBoards, SilkOverCopperEqualsAllPairs) {
    freshBoard();
    std::mt19937 rng(GetParam());
    auto uni = [&](double lo, double hi) { return std::round(std::uniform_real_distribution<double>(lo, hi)(rng)); };
    for (int k = 0; k < 25; ++k) {
        pad("top", uni(0, 3e6), uni(0, 3e6), "r200");
        pad("mask", uni(0, 3e6), uni(0, 3e6), "r300");  // over copper or not
        const double x = uni(0, 3e6), y = uni(0, 3e6);
        line("silk", x, y, x + uni(-5e5, 5e5), y + uni(-5e5, 5e5), "r20");
    }
    const check_params lim{20000, 80000};
    std::vector<check_result> want;
    for (int s = 0; s < count("silk"); ++s)
        for (int m = 0; m < count("mask"); ++m) {
            bool exposes = false;
            for (int c = 0; c < count("top") && !exposes; ++c)
                exposes = MEASURE::feature_distance(kJob, kStep, {"mask", m}, {"top", c}).distance == 0;
            if (!exposes) continue;
            const MEASURE::distance_result d = MEASURE::feature_distance(kJob, kStep, {"silk", s}, {"mask", m});
            check_result r = result("silk_over_copper", {{"silk", s}, {"mask", m}});
            if (!classify(d.distance, lim, r)) continue;
            setPoints(r, d.a.x, d.a.y, d.b.x, d.b.y);
            want.push_back(r);
        }
    EXPECT_FALSE(want.empty());
    expectSame(CHECKS::silk_over_copper(kJob, kStep, "silk", "mask", "top", lim), want, 0);
}

TEST(Mask, AtTheLimits) {
    const auto masks = [](double e, double w) {
        return [=] { return CHECKS::mask_clearance(kJob, kStep, "top", "mask", {e, w}); };
    };
    const LimitCase cases[] = {
        {"an opening 20 um beyond the pad, limit 20 um: nothing",
         [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r140"); }, masks(20000, 20000), {}},
        {"one nanometre over the clearance: an error",
         [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r140"); }, masks(20001, 20001),
         {"mask_clearance E 20000.000000/20001.000000 top:0 mask:0 [top;mask;]"}},
        {"an off-centre opening by its narrow side",
         [] { pad("top", 0, 0, "r100"), pad("mask", 5000, 0, "r140"); }, masks(15001, 15001),
         {"mask_clearance E 15000.000000/15001.000000 top:0 mask:0 [top;mask;]"}},
        {"a square pad in a round opening: its corner",
         [] { pad("top", 0, 0, "s100"), pad("mask", 0, 0, "r200"); }, masks(30000, 30000),
         {"mask_clearance E 29289.321881/30000.000000 top:0 mask:0 [top;mask;]"}},
        {"an opening smaller than the pad: the mask is on it",
         [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r80"); }, masks(1, 1),
         {"mask_clearance E 0.000000/1.000000 top:0 mask:0 [top;mask;]"}},
        {"of two openings, the better", [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r80"), pad("mask", 0, 0, "r160"); },
         masks(30001, 30001), {"mask_clearance E 30000.000000/30001.000000 top:0 mask:1 [top;mask;]"}},
        {"no opening", [] { pad("top", 0, 0, "r100"), pad("mask", 1e6, 0, "r140"); }, masks(1, 1),
         {"missing_mask_opening E 0.000000/1.000000 top:0 [top;mask;]"}},
        {"a tented via: its hole is a via's, centred on the pad",
         [] { pad("top", 0, 0, "r100"), pad("drill", 0, 0, "r50", {{".drill", "via"}}); }, masks(1, 1), {}},
        {"a pad its aperture function calls a via's", [] { pad("top", 0, 0, "r100", {{".aper_function", "ViaPad"}}); },
         masks(1, 1), {}},
        {"a plated component hole is no via: its pad needs an opening",
         [] { pad("top", 0, 0, "r100"), pad("drill", 0, 0, "r50", {{".drill", "plated"}}); }, masks(1, 1),
         {"missing_mask_opening E 0.000000/1.000000 top:0 [top;mask;]"}},
        {"a via hole one nanometre off the pad's centre marks another pad",
         [] { pad("top", 0, 0, "r100"), pad("drill", 0, 1, "r50", {{".drill", "via"}}); }, masks(1, 1),
         {"missing_mask_opening E 0.000000/1.000000 top:0 [top;mask;]"}},
        {"a negative mask feature opens nothing",
         [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r140", {}, API::POL_NEGATIVE); }, masks(1, 1),
         {"missing_mask_opening E 0.000000/1.000000 top:0 [top;mask;]"}},
        {"silk 10 um from an opening on copper, limit 10 um: nothing",
         [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r140"), line("silk", 81000, -1e6, 81000, 1e6, "r2"); },
         [] { return CHECKS::silk_over_copper(kJob, kStep, "silk", "mask", "top", {10000, 10000}); }, {}},
        {"silk one nanometre closer",
         [] { pad("top", 0, 0, "r100"), pad("mask", 0, 0, "r140"), line("silk", 80999, -1e6, 80999, 1e6, "r2"); },
         [] { return CHECKS::silk_over_copper(kJob, kStep, "silk", "mask", "top", {10000, 10000}); },
         {"silk_over_copper E 9999.000000/10000.000000 silk:0 mask:0 [silk;mask;]"}},
        {"silk on an opening without copper: nothing",
         [] { pad("top", 1e6, 0, "r100"), pad("mask", 0, 0, "r140"), line("silk", 0, -1e6, 0, 1e6, "r10"); },
         [] { return CHECKS::silk_over_copper(kJob, kStep, "silk", "mask", "top", {10000, 10000}); }, {}},
    };
    for (const LimitCase& c : cases) {
        SCOPED_TRACE(c.what);
        freshBoard();
        c.build();
        EXPECT_EQ(describe(c.run()), c.want);
    }
}

// ---- nets -----------------------------------------------------------------------
const API::str_list kCopper{"top", "inner", "bottom"};
const API::str_list kDrills{"drill"};

std::vector<std::string> refs(const std::vector<feature_ref>& fs) {
    std::vector<std::string> out;
    for (const feature_ref& f : fs) out.push_back(f.layer + ":" + std::to_string(f.index));
    return out;
}

// Every pair on a layer and every hole against every feature, by the public
// distance: the groups joined by hand.
std::vector<CHECKS::net_group> referenceGroups() {
    std::vector<feature_ref> all;
    for (const std::string& l : kCopper)
        for (int i = 0; i < count(l); ++i) all.push_back({l, i});
    for (int i = 0; i < count("drill"); ++i) all.push_back({"drill", i});
    std::vector<size_t> parent(all.size());
    std::iota(parent.begin(), parent.end(), 0);
    std::function<size_t(size_t)> find = [&](size_t x) { return parent[x] == x ? x : parent[x] = find(parent[x]); };
    for (size_t a = 0; a < all.size(); ++a)
        for (size_t b = a + 1; b < all.size(); ++b) {
            const bool holeA = all[a].layer == "drill", holeB = all[b].layer == "drill";
            if (holeA && holeB) continue;
            if (!holeA && !holeB && all[a].layer != all[b].layer) continue;
            if (MEASURE::feature_distance(kJob, kStep, all[a], all[b]).distance == 0) parent[find(b)] = find(a);
        }
    std::map<size_t, size_t> at;  // root -> group, groups by their first feature
    std::vector<CHECKS::net_group> out;
    for (size_t a = 0; a < all.size(); ++a) {
        if (!at.count(find(a))) at[find(a)] = out.size(), out.emplace_back();
        CHECKS::net_group& g = out[at[find(a)]];
        g.features.push_back(all[a]);
        API::featureInfo f;
        API::get_featureinfo_by_index(kJob, kStep, all[a].layer, all[a].index, f);
        const auto it = f.attributes.find(".net");
        if (it != f.attributes.end() && std::find(g.nets.begin(), g.nets.end(), it->second) == g.nets.end())
            g.nets.push_back(it->second);
    }
    for (auto& g : out) std::sort(g.nets.begin(), g.nets.end());
    return out;
}

TEST_P(RandomBoards, NetsEqualAllPairs) {
    freshBoard();
    std::mt19937 rng(GetParam());
    auto uni = [&](double lo, double hi) { return std::round(std::uniform_real_distribution<double>(lo, hi)(rng)); };
    const char* names[] = {"", "A", "B", "C", "D"};
    for (int k = 0; k < 60; ++k) {
        const std::string& l = kCopper[k % 3];
        const API::attr_map a = net(names[static_cast<int>(uni(0, 4))]);
        const double x = uni(0, 4e6), y = uni(0, 4e6);
        if (k % 2)
            pad(l, x, y, "r300", a);
        else
            line(l, x, y, x + uni(-8e5, 8e5), y + uni(-8e5, 8e5), "r60", a);
    }
    for (int k = 0; k < 12; ++k) pad("drill", uni(0, 4e6), uni(0, 4e6), "r200");
    const CHECKS::net_analysis got = CHECKS::analyze_nets(kJob, kStep, kCopper, kDrills);
    const std::vector<CHECKS::net_group> want = referenceGroups();
    ASSERT_EQ(got.groups.size(), want.size());
    std::map<std::string, int> pieces;
    for (size_t g = 0; g < want.size(); ++g) {
        EXPECT_EQ(refs(got.groups[g].features), refs(want[g].features));
        EXPECT_EQ(got.groups[g].nets, want[g].nets);
        for (const std::string& n : want[g].nets) ++pieces[n];
        // The net of any of its features is the whole group.
        const feature_ref& last = want[g].features.back();
        EXPECT_EQ(refs(CHECKS::net_of(kJob, kStep, kCopper, kDrills, last.layer, last.index)), refs(want[g].features));
    }
    std::vector<std::string> opens, gotOpens;
    for (const auto& p : pieces)
        if (p.second > 1) opens.push_back(p.first + " " + std::to_string(p.second));
    size_t shorts = 0;
    for (const check_result& r : got.results) {
        if (r.check == "open") {
            API::featureInfo f;
            API::get_featureinfo_by_index(kJob, kStep, r.features[0].layer, r.features[0].index, f);
            gotOpens.push_back(f.attributes.at(".net") + " " + std::to_string(int(r.value)));
        } else {
            ++shorts;
        }
    }
    EXPECT_EQ(gotOpens, opens);
    size_t wantShorts = 0;  // at least one meeting per group of several nets
    for (const auto& g : want) wantShorts += g.nets.size() > 1;
    EXPECT_GE(shorts, wantShorts);
    EXPECT_GT(wantShorts + opens.size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomBoards, ::testing::Values(1u, 2u, 3u));

TEST(Nets, ShortOpenHolesAndAntipads) {
    freshBoard();
    pad("top", 0, 0, "r200", net("A"));                          // top:0
    pad("top", 1e6, 0, "r200", net("B"));                        // top:1
    line("top", 0, 0, 1e6, 0, "r50");                            // top:2 shorts A and B
    pad("top", 0, 3e6, "r200", net("C"));                        // top:3
    pad("bottom", 0, 3e6, "r200", net("C"));                     // bottom:0 joined to top:3 by a via
    pad("drill", 0, 3e6, "r100", {{".drill", "via"}});           // drill:0
    pad("top", 3e6, 3e6, "r200", net("C"));                      // top:4: C is open
    pad("bottom", 3e6, 3e6, "r200", net("C"));                   // bottom:1
    pad("drill", 3e6, 3e6, "r100", {{".drill", "non_plated"}});  // drill:1 joins nothing
    // A ground plane on the inner layer with an antipad around the via: no short.
    surface("inner", {box(-1e6, 2e6, 4e6, 4e6)}, net("GND"));   // inner:0
    pad("inner", 0, 3e6, "r400", {}, API::POL_NEGATIVE);        // inner:1
    const CHECKS::net_analysis a = CHECKS::analyze_nets(kJob, kStep, kCopper, kDrills);
    std::vector<std::string> groups;
    for (const CHECKS::net_group& g : a.groups) {
        std::string s;
        for (const std::string& r : refs(g.features)) s += r + " ";
        for (const std::string& n : g.nets) s += n + ";";
        groups.push_back(s);
    }
    // top:4 and bottom:1 meet only at the non-plated hole: two pieces.
    EXPECT_EQ(groups, (std::vector<std::string>{"top:0 top:1 top:2 A;B;", "top:3 bottom:0 drill:0 C;", "top:4 C;",
                                                 "inner:0 GND;", "bottom:1 C;"}));
    ASSERT_EQ(describe(a.results),
              (std::vector<std::string>{"open E 3.000000/1.000000 top:3 top:4 bottom:1 [top;bottom;]",
                                        "short E 2.000000/1.000000 top:1 top:2 [top;]"}));
    EXPECT_EQ(a.results[1].location.kind, location_kind::POINT);
    EXPECT_NEAR(a.results[1].location.a.x, 1e6 - 50000, 50000);  // where the trace meets pad B
    EXPECT_EQ(refs(CHECKS::net_of(kJob, kStep, kCopper, kDrills, "bottom", 0)),
              (std::vector<std::string>{"top:3", "bottom:0", "drill:0"}));
    EXPECT_TRUE(CHECKS::net_of(kJob, kStep, kCopper, kDrills, "drill", 1).empty());
    EXPECT_TRUE(CHECKS::net_of(kJob, kStep, kCopper, kDrills, "inner", 1).empty());
    EXPECT_THROW(CHECKS::net_of(kJob, kStep, kCopper, kDrills, "silk", 0), API::KernelText);
    EXPECT_THROW(CHECKS::net_of(kJob, kStep, kCopper, kDrills, "top", 99), API::KernelText);
}

TEST(Nets, HolesJoinOnlyTheBoardsCopperLayers) {
    freshBoard();
    JOB::add_layer(kJob, "doc", "misc", "signal", "positive");
    pad("top", 0, 0, "r200", net("A"));
    pad("drill", 0, 0, "r100", {{".drill", "via"}});
    pad("doc", 0, 0, "r200", net("A"));   // a drawing, not the board
    pad("mask", 0, 0, "r200", net("A"));  // a board layer, not copper
    const API::str_list layers{"top", "doc", "mask"};
    EXPECT_EQ(refs(CHECKS::net_of(kJob, kStep, layers, kDrills, "top", 0)),
              (std::vector<std::string>{"top:0", "drill:0"}));
}

TEST(Nets, TheAntipadAloneKeepsTheViaOffThePlane) {
    freshBoard();
    surface("inner", {box(-1e6, -1e6, 1e6, 1e6)}, net("GND"));
    pad("top", 0, 0, "r200", net("S"));
    pad("drill", 0, 0, "r100");
    auto shorts = [] {
        int n = 0;
        for (const check_result& r : CHECKS::analyze_nets(kJob, kStep, kCopper, kDrills).results) n += r.check == "short";
        return n;
    };
    EXPECT_EQ(shorts(), 1);  // the hole goes through the plane
    pad("inner", 0, 0, "r300", {}, API::POL_NEGATIVE);
    EXPECT_EQ(shorts(), 0);
}

// ---- a whole plan -----------------------------------------------------------------
std::vector<CHECKS::check_task> plan() {
    const check_params p{60000, 120000};
    auto task = [&](const char* c, API::str_list layers) {
        CHECKS::check_task t;
        t.check = c;
        t.layers = std::move(layers);
        t.params = p;
        t.drill_layer = "drill";
        t.mask_layer = "mask";
        t.silk_layer = "silk";
        t.drill_layers = kDrills;
        return t;
    };
    return {task("spacing", kCopper), task("line_width", kCopper), task("pad_size", kCopper),
            task("hole_spacing", kDrills), task("min_drill", kDrills), task("annular_ring", kCopper),
            task("drill_to_copper", kCopper), task("profile_clearance", kCopper), task("slivers", kCopper),
            task("mask_clearance", {"top"}), task("silk_over_copper", {"top"}), task("nets", kCopper)};
}

void busyBoard(unsigned seed) {
    freshBoard();
    JOB::set_profile(kJob, kStep, {{0, 0}, {3e6, 0}, {3e6, 3e6}, {0, 3e6}});
    std::mt19937 rng(seed);
    auto uni = [&](double lo, double hi) { return std::round(std::uniform_real_distribution<double>(lo, hi)(rng)); };
    const char* names[] = {"", "A", "B"};
    for (int k = 0; k < 90; ++k) {
        const std::string& l = kCopper[k % 3];
        const double x = uni(0, 3e6), y = uni(0, 3e6);
        if (k % 3 == 0) pad(l, x, y, "r150", net(names[k % 3]));
        if (k % 3 == 1) line(l, x, y, x + uni(-4e5, 4e5), y + uni(-4e5, 4e5), "r50", net(names[(k / 3) % 3]));
        if (k % 3 == 2) surface(l, {box(x, y, x + 3e5, y + 2e5), box(x + 50000, y + 50000, x + 250000, y + 140000)});
    }
    for (int k = 0; k < 15; ++k) pad("drill", uni(0, 3e6), uni(0, 3e6), "r100");
    for (int k = 0; k < 15; ++k) pad("mask", uni(0, 3e6), uni(0, 3e6), "r200");
    for (int k = 0; k < 15; ++k) line("silk", uni(0, 3e6), uni(0, 3e6), uni(0, 3e6), uni(0, 3e6), "r20");
}

// What each check function gives, one after the other.
std::vector<check_result> oneByOne(const std::vector<CHECKS::check_task>& tasks) {
    std::vector<check_result> out;
    for (const CHECKS::check_task& t : tasks) {
        std::vector<check_result> r;
        const check_params& p = t.params;
        if (t.check == "spacing") r = CHECKS::spacing(kJob, kStep, t.layers, p);
        if (t.check == "line_width") r = CHECKS::line_width(kJob, kStep, t.layers, p);
        if (t.check == "pad_size") r = CHECKS::pad_size(kJob, kStep, t.layers, p);
        if (t.check == "hole_spacing") r = CHECKS::hole_spacing(kJob, kStep, t.layers, p);
        if (t.check == "min_drill") r = CHECKS::min_drill(kJob, kStep, t.layers, p);
        if (t.check == "annular_ring") r = CHECKS::annular_ring(kJob, kStep, t.drill_layer, t.layers, p);
        if (t.check == "drill_to_copper") r = CHECKS::drill_to_copper(kJob, kStep, t.drill_layer, t.layers, p);
        if (t.check == "profile_clearance") r = CHECKS::profile_clearance(kJob, kStep, t.layers, p);
        if (t.check == "slivers") r = CHECKS::slivers(kJob, kStep, t.layers, p);
        if (t.check == "mask_clearance") r = CHECKS::mask_clearance(kJob, kStep, t.layers[0], t.mask_layer, p);
        if (t.check == "silk_over_copper")
            r = CHECKS::silk_over_copper(kJob, kStep, t.silk_layer, t.mask_layer, t.layers[0], p);
        if (t.check == "nets") r = CHECKS::analyze_nets(kJob, kStep, t.layers, t.drill_layers).results;
        out.insert(out.end(), r.begin(), r.end());
    }
    return out;
}

TEST(RunChecks, SameResultsOnAnyNumberOfThreads) {
    busyBoard(7);
    const std::vector<check_result> want = oneByOne(plan());
    std::set<std::string> kinds;
    for (const check_result& r : want) kinds.insert(r.check);
    EXPECT_GE(kinds.size(), 8u);
    for (int threads : {1, 2, 5}) {
        SCOPED_TRACE(threads);
        std::vector<std::pair<int, int>> seen;
        const CHECKS::run_report got =
            CHECKS::run_checks(kJob, kStep, plan(), [&](int d, int t) { seen.push_back({d, t}); }, nullptr, threads);
        EXPECT_FALSE(got.cancelled);
        expectSame(got.results, want, 0);
        ASSERT_FALSE(seen.empty());
        EXPECT_EQ(seen.back(), std::make_pair(seen.back().second, seen.back().second));
        for (size_t k = 1; k < seen.size(); ++k) EXPECT_LT(seen[k - 1].first, seen[k].first);
    }
}

TEST(RunChecks, CancelledRunsComeBackEmptyWithTheJobUnchanged) {
    busyBoard(8);
    const std::vector<API::featureInfo> before = kt::snapshot(kJob);
    const unsigned long long serial = JOB::edit_serial(kJob);
    std::atomic<bool> cancel{true};
    CHECKS::run_report r = CHECKS::run_checks(kJob, kStep, plan(), nullptr, &cancel);
    EXPECT_TRUE(r.cancelled);
    EXPECT_TRUE(r.results.empty());
    // Cancelled from the progress report once the first piece is done.
    cancel = false;
    r = CHECKS::run_checks(kJob, kStep, plan(), [&](int, int) { cancel = true; }, &cancel, 1);
    EXPECT_TRUE(r.cancelled);
    EXPECT_TRUE(r.results.empty());
    // A progress report that throws stops the run; the throw comes out once the workers are done.
    int calls = 0;
    EXPECT_THROW(CHECKS::run_checks(kJob, kStep, plan(),
                                    [&](int d, int) {
                                        if (d > 0 && ++calls == 1) throw API::KernelText("stop");
                                    }),
                 API::KernelText);
    EXPECT_TRUE(kt::snapshot(kJob) == before);
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
}

TEST(RunChecks, BadPlansRefusedBeforeAnyWork) {
    busyBoard(9);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* what;
        std::function<void(CHECKS::check_task&)> spoil;
        const char* named;
    } cases[] = {
        {"zero limit", [](CHECKS::check_task& t) { t.params.error_limit = 0; }, "error limit"},
        {"negative limit", [](CHECKS::check_task& t) { t.params.warning_limit = -1; }, "warning limit"},
        {"NaN limit", [nan](CHECKS::check_task& t) { t.params.warning_limit = nan; }, "warning limit"},
        {"unknown check", [](CHECKS::check_task& t) { t.check = "nonsense"; }, "nonsense"},
        {"unknown layer", [](CHECKS::check_task& t) { t.layers.push_back("no such layer"); }, "no such layer"},
        {"no drill layer", [](CHECKS::check_task& t) { t.check = "annular_ring", t.drill_layer.clear(); },
         "drill layer"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<CHECKS::check_task> p = plan();
        c.spoil(p.back() = p[3]);  // the last task is spoiled: the others must not have run
        int calls = 0;
        try {
            CHECKS::run_checks(kJob, kStep, p, [&](int, int) { ++calls; });
            ADD_FAILURE() << "accepted";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find(c.named), std::string::npos) << e;
        }
        EXPECT_EQ(calls, 0);
    }
    // A profile check on a step that has no profile: refused by the plan, not
    // by a worker once the other checks have run.
    freshBoard();
    pad("top", 0, 0, "r300");
    std::vector<CHECKS::check_task> p = plan();
    std::rotate(p.begin(), p.begin() + 8, p.end());  // the profile check last
    ASSERT_EQ(p.back().check, "profile_clearance");
    int calls = 0;
    try {
        CHECKS::run_checks(kJob, kStep, p, [&](int, int) { ++calls; });
        ADD_FAILURE() << "accepted";
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("has no profile"), std::string::npos) << e;
    }
    EXPECT_EQ(calls, 0);
}

// The new checks refuse bad limits and names like the others, and find
// nothing on an empty layer.
TEST(BadInput, NewChecksRefuseAndFindNothingOnEmptyLayers) {
    busyBoard(3);
    using Run = std::function<std::vector<check_result>(const std::string&, const std::string&, const check_params&)>;
    const Run runs[] = {
        [](auto& j, auto& l, auto& p) { return CHECKS::slivers(j, kStep, {l}, p); },
        [](auto& j, auto& l, auto& p) { return CHECKS::mask_clearance(j, kStep, l, "mask", p); },
        [](auto& j, auto& l, auto& p) { return CHECKS::silk_over_copper(j, kStep, "silk", "mask", l, p); },
    };
    for (const Run& run : runs) {
        EXPECT_THROW(run(kJob, "top", {0, 1}), API::KernelText);
        EXPECT_THROW(run(kJob, "top", {2, 1}), API::KernelText);
        EXPECT_THROW(run("no such job", "top", {1, 1}), API::KernelText);
        EXPECT_THROW(run(kJob, "no such layer", {1, 1}), API::KernelText);
        EXPECT_TRUE(run(kJob, "empty", {1, 2}).empty());
    }
    EXPECT_THROW(CHECKS::analyze_nets(kJob, kStep, {"top", "no such layer"}, {}), API::KernelText);
    EXPECT_TRUE(CHECKS::analyze_nets(kJob, kStep, {"empty"}, {}).groups.empty());
}

}  // namespace
