// Design-rule checks: every check against an all-pairs (or all-features)
// reference on random small boards, value for value, and hand-built cases at
// the limits.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <random>

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

const char* const kJob = "checks";
const char* const kStep = "pcb";

void freshBoard() {
    kt::freshJob(kJob, {"top"});
    JOB::add_layer(kJob, "drill", "board", "drill", "positive");
    JOB::add_layer(kJob, "empty", "board", "signal", "positive");
}

int pad(const std::string& layer, double x, double y, const std::string& sym, int angle = 0,
        const API::attr_map& attrs = {}, int polarity = API::POL_POSITIVE, double scale = 1) {
    kt::add(kJob, layer, API::GreatePadString(x, y, kt::symbol(kJob, layer, sym), polarity, angle, 0, scale), attrs);
    return JOB::feature_count(kJob, kStep, layer) - 1;
}
int line(const std::string& layer, double x1, double y1, double x2, double y2, const std::string& sym,
         const API::attr_map& attrs = {}, int polarity = API::POL_POSITIVE) {
    kt::add(kJob, layer, API::GreateLineString(x1, y1, x2, y2, kt::symbol(kJob, layer, sym), polarity, 0), attrs);
    return JOB::feature_count(kJob, kStep, layer) - 1;
}
int arc(const std::string& layer, double xs, double ys, double xe, double ye, double xc, double yc,
        const std::string& sym, bool cw, const API::attr_map& attrs = {}) {
    kt::add(kJob, layer,
            API::GreateArcString(xs, ys, xe, ye, xc, yc, kt::symbol(kJob, layer, sym), API::POL_POSITIVE, 0, cw),
            attrs);
    return JOB::feature_count(kJob, kStep, layer) - 1;
}

API::featureInfo info(const std::string& layer, int index) {
    API::featureInfo f;
    EXPECT_TRUE(API::get_featureinfo_by_index(kJob, kStep, layer, index, f));
    return f;
}

// ---- the reference: the same rules, from the public queries, without an index --
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

check_result pairResult(const char* check, const std::string& layer, int i, int j) {
    check_result r;
    r.check = check;
    r.layers = {layer};
    r.features = {{layer, i}, {layer, j}};
    return r;
}
void setPoints(check_result& r, const MEASURE::distance_result& d) {
    r.location.kind = location_kind::POINTS;
    r.location.a = d.a;
    r.location.b = d.b;
}
std::string netOf(const API::featureInfo& f) {
    const auto it = f.attributes.find(".net");
    return it == f.attributes.end() ? std::string() : it->second;
}

std::vector<check_result> referenceSpacing(const std::string& layer, const check_params& p) {
    std::vector<check_result> out;
    const int n = JOB::feature_count(kJob, kStep, layer);
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            const API::featureInfo a = info(layer, i), b = info(layer, j);
            if (a.polarity != API::POL_POSITIVE || b.polarity != API::POL_POSITIVE) continue;
            if (!netOf(a).empty() && netOf(a) == netOf(b)) continue;
            const MEASURE::distance_result d = MEASURE::feature_distance(kJob, kStep, {layer, i}, {layer, j});
            if (d.distance == 0) continue;
            check_result r = pairResult("spacing", layer, i, j);
            if (!classify(d.distance, p, r)) continue;
            setPoints(r, d);
            out.push_back(r);
        }
    return out;
}

// ---- comparing results --------------------------------------------------------
std::string describe(const check_result& r) {
    char value[64];
    std::snprintf(value, sizeof value, " %.17g/%.17g", r.value, r.limit);
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

// Equal value for value, the locations included (within `tolerance`, 0: exactly).
void expectSame(const std::vector<check_result>& got, const std::vector<check_result>& want,
                double tolerance = 0) {
    ASSERT_EQ(got.size(), want.size()) << ::testing::PrintToString(describe(got)) << "\nwant\n"
                                       << ::testing::PrintToString(describe(want));
    for (size_t k = 0; k < got.size(); ++k) {
        SCOPED_TRACE(describe(want[k]));
        const check_result &g = got[k], &w = want[k];
        EXPECT_EQ(g.check, w.check);
        EXPECT_EQ(g.level, w.level);
        EXPECT_EQ(g.limit, w.limit);
        EXPECT_EQ(g.layers, w.layers);
        ASSERT_EQ(g.features.size(), w.features.size());
        for (size_t f = 0; f < g.features.size(); ++f) {
            EXPECT_EQ(g.features[f].layer, w.features[f].layer);
            EXPECT_EQ(g.features[f].index, w.features[f].index);
        }
        EXPECT_EQ(g.location.kind, w.location.kind);
        if (tolerance == 0) {
            EXPECT_EQ(g.value, w.value);
            EXPECT_EQ(g.location.a.x, w.location.a.x);
            EXPECT_EQ(g.location.a.y, w.location.a.y);
            EXPECT_EQ(g.location.b.x, w.location.b.x);
            EXPECT_EQ(g.location.b.y, w.location.b.y);
        } else {
            EXPECT_NEAR(g.value, w.value, tolerance);
            EXPECT_NEAR(g.location.a.x, w.location.a.x, tolerance);
            EXPECT_NEAR(g.location.a.y, w.location.a.y, tolerance);
            EXPECT_NEAR(g.location.b.x, w.location.b.x, tolerance);
            EXPECT_NEAR(g.location.b.y, w.location.b.y, tolerance);
        }
    }
}

// ---- random boards ----------------------------------------------------------
// What the generator knows of each feature it put down.
struct Truth {
    bool stroke = false;  // a line or an arc
    bool pad = false;
    double size = 0;      // stroke width or pad size, nm
    double x = 0, y = 0;  // pad centre
};

struct Sym {
    const char* name;
    double size;  // nm: the width a check reads off it
};

// A few dozen copper features of every kind crowded into 3 mm x 3 mm, a
// third without a net, a tenth negative; some reach past the 3 mm profile.
std::vector<Truth> randomCopper(unsigned seed, int count) {
    std::mt19937 rng(seed);
    auto uni = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const Sym pads[] = {{"r100", 100000}, {"s120", 120000}, {"rect150x80", 80000}, {"oval200x100", 100000},
                        {"donut_r200x100", 200000}};
    const Sym lines[] = {{"r50", 50000}, {"r80", 80000}, {"s60", 60000}, {"rect90x40", 40000}};
    const char* nets[] = {"", "A", "B"};
    std::vector<Truth> truth;
    for (int k = 0; k < count; ++k) {
        API::attr_map attrs;
        if (const char* net = nets[pick(3)]; *net) attrs[".net"] = net;
        const int polarity = pick(10) == 0 ? API::POL_NEGATIVE : API::POL_POSITIVE;
        const double x = std::round(uni(-100000, 3100000)), y = std::round(uni(-100000, 3100000));
        Truth t;
        switch (pick(3)) {
        case 0: {
            const Sym& s = pads[pick(5)];
            const int angles[] = {0, 30, 90};
            pad("top", x, y, s.name, angles[pick(3)], attrs, polarity);
            t.pad = true;
            t.size = s.size;
            t.x = x;
            t.y = y;
            break;
        }
        case 1: {
            const Sym& s = lines[pick(4)];
            line("top", x, y, x + std::round(uni(-400000, 400000)), y + std::round(uni(-400000, 400000)), s.name,
                 attrs, polarity);
            t.stroke = true;
            t.size = s.size;
            break;
        }
        default: {
            const double r = std::round(uni(50000, 300000));
            arc("top", x + r, y, x, y + r, x, y, "r60", pick(2) == 1, attrs);
            t.stroke = true;
            t.size = 60000;
            break;
        }
        }
        truth.push_back(t);
    }
    return truth;
}

const check_params kSpacing{80000, 150000};

class RandomBoards : public ::testing::TestWithParam<unsigned> {};

TEST_P(RandomBoards, SpacingEqualsAllPairs) {
    freshBoard();
    randomCopper(GetParam(), 70);
    const std::vector<check_result> want = referenceSpacing("top", kSpacing);
    EXPECT_FALSE(want.empty());  // the board is crowded enough to test something
    expectSame(CHECKS::spacing(kJob, kStep, {"top"}, kSpacing), want);
    // Features added after a check reach the next one (the index follows edits).
    randomCopper(GetParam() + 1000, 20);
    expectSame(CHECKS::spacing(kJob, kStep, {"top"}, kSpacing), referenceSpacing("top", kSpacing));
}

// Width and size read off each feature, as the generator chose them.
TEST_P(RandomBoards, WidthAndPadSizeEqualEveryFeature) {
    freshBoard();
    const std::vector<Truth> truth = randomCopper(GetParam(), 70);
    const check_params widthLimits{55000, 70000}, padLimits{90000, 110000};
    std::vector<check_result> widths, sizes;
    for (int i = 0; i < static_cast<int>(truth.size()); ++i) {
        const API::featureInfo f = info("top", i);
        if (f.polarity != API::POL_POSITIVE) continue;
        check_result r;
        r.check = truth[i].pad ? "pad_size" : "line_width";
        r.layers = {"top"};
        r.features = {{"top", i}};
        if (!classify(truth[i].size, truth[i].pad ? padLimits : widthLimits, r)) continue;
        r.location.kind = location_kind::BOX;
        r.location.a = {f.xmin, f.ymin};
        r.location.b = {f.xmax, f.ymax};
        (truth[i].pad ? sizes : widths).push_back(r);
    }
    EXPECT_FALSE(widths.empty());
    EXPECT_FALSE(sizes.empty());
    expectSame(CHECKS::line_width(kJob, kStep, {"top"}, widthLimits), widths);
    expectSame(CHECKS::pad_size(kJob, kStep, {"top"}, padLimits), sizes);
}

TEST_P(RandomBoards, ProfileClearanceEqualsEveryFeature) {
    freshBoard();
    JOB::set_profile(kJob, kStep, {{0, 0}, {3000000, 0}, {3000000, 3000000}, {0, 3000000}});
    randomCopper(GetParam(), 70);
    const check_params limits{100000, 200000};
    std::vector<check_result> want;
    for (int i = 0; i < JOB::feature_count(kJob, kStep, "top"); ++i) {
        if (info("top", i).polarity != API::POL_POSITIVE) continue;
        const MEASURE::distance_result d = MEASURE::profile_distance(kJob, kStep, {"top", i});
        check_result r;
        r.layers = {"top"};
        r.features = {{"top", i}};
        const bool inside = d.a.x > 0 && d.a.x < 3000000 && d.a.y > 0 && d.a.y < 3000000;
        if (d.distance == 0 || !inside) {
            r.check = "outside_profile";
            r.level = severity::ERROR;
            r.limit = limits.error_limit;
        } else {
            r.check = "profile_clearance";
            if (!classify(d.distance, limits, r)) continue;
        }
        setPoints(r, d);
        want.push_back(r);
    }
    expectSame(CHECKS::profile_clearance(kJob, kStep, {"top"}, limits), want);
}

// Holes of three sizes, some repeated exactly, some at a repeated centre
// with another size.
struct Hole {
    double x, y, diameter;
};
std::vector<Hole> randomHoles(unsigned seed, int count) {
    std::mt19937 rng(seed);
    auto uni = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    const Sym syms[] = {{"r200", 200000}, {"r300", 300000}, {"r400", 400000}};
    std::vector<Hole> holes;
    for (int k = 0; k < count; ++k) {
        Hole h{std::round(uni(0, 3000000)), std::round(uni(0, 3000000)), 0};
        if (!holes.empty() && pick(6) == 0) {
            const Hole& o = holes[pick(static_cast<int>(holes.size()))];
            h.x = o.x;
            h.y = o.y;
        }
        const Sym& s = syms[pick(3)];
        h.diameter = s.size;
        pad("drill", h.x, h.y, s.name);
        holes.push_back(h);
    }
    return holes;
}

TEST_P(RandomBoards, HoleSpacingAndDrillEqualAllPairs) {
    freshBoard();
    const std::vector<Hole> holes = randomHoles(GetParam(), 40);
    const int n = static_cast<int>(holes.size());
    const check_params limits{100000, 250000};
    std::vector<check_result> want;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            if (holes[i].x == holes[j].x && holes[i].y == holes[j].y && holes[i].diameter == holes[j].diameter) {
                check_result r = pairResult("duplicate_hole", "drill", i, j);
                r.level = severity::ERROR;
                r.limit = limits.error_limit;
                r.location.a = r.location.b = {holes[i].x, holes[i].y};
                want.push_back(r);
                continue;
            }
            const MEASURE::distance_result d = MEASURE::feature_distance(kJob, kStep, {"drill", i}, {"drill", j});
            check_result r = pairResult("hole_spacing", "drill", i, j);
            if (!classify(d.distance, limits, r)) continue;
            setPoints(r, d);
            want.push_back(r);
        }
    EXPECT_FALSE(want.empty());
    expectSame(CHECKS::hole_spacing(kJob, kStep, {"drill"}, limits), want);

    const check_params drillLimits{250000, 350000};
    std::vector<check_result> small;
    for (int i = 0; i < n; ++i) {
        check_result r;
        r.check = "min_drill";
        r.layers = {"drill"};
        r.features = {{"drill", i}};
        if (!classify(holes[i].diameter, drillLimits, r)) continue;
        r.location.a = r.location.b = {holes[i].x, holes[i].y};
        small.push_back(r);
    }
    expectSame(CHECKS::min_drill(kJob, kStep, {"drill"}, drillLimits), small);
}

// Round pads, and holes near their centres (a few on no pad); the ring is
// worked out by hand: pad radius - centre offset - hole radius.
TEST_P(RandomBoards, AnnularRingEqualsEveryPad) {
    freshBoard();
    std::mt19937 rng(GetParam());
    auto uni = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    struct Round {
        double x, y, r;
    };
    std::vector<Round> pads;
    for (int k = 0; k < 30; ++k) {
        const int d = 600 + 100 * static_cast<int>(uni(0, 4));
        pads.push_back({std::round(uni(0, 3000000)), std::round(uni(0, 3000000)), d * 500.0});
        pad("top", pads.back().x, pads.back().y, "r" + std::to_string(d));
    }
    std::vector<Round> holes;
    for (int k = 0; k < 40; ++k) {
        const Round& p = pads[k % pads.size()];
        Round h{p.x + std::round(uni(-250000, 250000)), p.y + std::round(uni(-250000, 250000)), 0};
        if (k % 9 == 8) h = {std::round(uni(-2000000, -1000000)), std::round(uni(0, 3000000)), 0};  // no pad
        const int d = 200 + 100 * static_cast<int>(uni(0, 3));
        h.r = d * 500.0;
        pad("drill", h.x, h.y, "r" + std::to_string(d));
        holes.push_back(h);
    }
    const check_params limits{100000, 200000};
    std::vector<check_result> want;
    for (int h = 0; h < static_cast<int>(holes.size()); ++h) {
        double best = 0;
        int bestPad = -1;
        for (int p = 0; p < static_cast<int>(pads.size()); ++p) {
            const double off = std::hypot(holes[h].x - pads[p].x, holes[h].y - pads[p].y);
            if (off > pads[p].r) continue;
            const double ring = std::max(0.0, pads[p].r - off - holes[h].r);
            if (bestPad < 0 || ring > best) {
                best = ring;
                bestPad = p;
            }
        }
        check_result r;
        r.check = "annular_ring";
        r.layers = {"drill", "top"};
        r.features = {{"drill", h}};
        if (!classify(best, limits, r)) continue;
        r.location.kind = location_kind::POINTS;
        r.location.a = r.location.b = {holes[h].x, holes[h].y};
        if (bestPad >= 0) {
            r.features.push_back({"top", bestPad});
            const Round& p = pads[bestPad];
            const double off = std::hypot(holes[h].x - p.x, holes[h].y - p.y);
            if (off > 0)
                r.location.b = {p.x + (holes[h].x - p.x) * p.r / off, p.y + (holes[h].y - p.y) * p.r / off};
        }
        want.push_back(r);
    }
    EXPECT_FALSE(want.empty());
    // A hole dead on its pad's centre has no nearest edge point: skip those.
    std::vector<check_result> got = CHECKS::annular_ring(kJob, kStep, "drill", {"top"}, limits);
    for (size_t k = 0; k < got.size() && k < want.size(); ++k)
        if (want[k].location.b.x == want[k].location.a.x && want[k].location.b.y == want[k].location.a.y &&
            want[k].features.size() == 2)
            want[k].location.b = got[k].location.b;
    expectSame(got, want, 1e-6);
}

// Holes over the random copper: every hole against every copper feature.
TEST_P(RandomBoards, DrillToCopperEqualsAllPairs) {
    freshBoard();
    randomCopper(GetParam(), 70);
    randomHoles(GetParam() + 7, 25);
    const check_params limits{60000, 120000};
    std::vector<check_result> want;
    for (int h = 0; h < JOB::feature_count(kJob, kStep, "drill"); ++h)
        for (int c = 0; c < JOB::feature_count(kJob, kStep, "top"); ++c) {
            if (info("top", c).polarity != API::POL_POSITIVE) continue;
            const MEASURE::distance_result d = MEASURE::feature_distance(kJob, kStep, {"drill", h}, {"top", c});
            if (d.distance == 0) continue;
            check_result r;
            r.check = "drill_to_copper";
            r.layers = {"drill", "top"};
            r.features = {{"drill", h}, {"top", c}};
            if (!classify(d.distance, limits, r)) continue;
            setPoints(r, d);
            want.push_back(r);
        }
    EXPECT_FALSE(want.empty());
    expectSame(CHECKS::drill_to_copper(kJob, kStep, "drill", {"top"}, limits), want);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomBoards, ::testing::Values(1u, 2u, 3u, 4u, 5u));

// ---- at the limits ------------------------------------------------------------
struct SpacingCase {
    const char* what;
    std::function<void()> build;  // features 0 and 1 of "top"
    std::vector<std::string> want;
};

TEST(Spacing, AtTheLimits) {
    const check_params p{100000, 150000};
    const API::attr_map netA{{".net", "A"}}, netB{{".net", "B"}};
    const SpacingCase cases[] = {
        {"gap equal to the error limit: a warning",
         [] { pad("top", 0, 0, "r100"), pad("top", 200000, 0, "r100"); },
         {"spacing W 100000/150000 top:0 top:1 [top;]"}},
        {"one nanometre under the error limit: an error",
         [] { pad("top", 0, 0, "r100"), pad("top", 199999, 0, "r100"); },
         {"spacing E 99999/100000 top:0 top:1 [top;]"}},
        {"gap equal to the warning limit: nothing",
         [] { pad("top", 0, 0, "r100"), pad("top", 250000, 0, "r100"); }, {}},
        {"one nanometre under the warning limit: a warning",
         [] { pad("top", 0, 0, "r100"), pad("top", 249999, 0, "r100"); },
         {"spacing W 149999/150000 top:0 top:1 [top;]"}},
        {"pad beside a line, one nanometre under",
         [] { line("top", 0, 0, 1000000, 0, "r100"), pad("top", 500000, 199999, "r100"); },
         {"spacing E 99999/100000 top:0 top:1 [top;]"}},
        {"touching pads are connected", [] { pad("top", 0, 0, "r100"), pad("top", 100000, 0, "r100"); }, {}},
        {"overlapping pads are connected", [] { pad("top", 0, 0, "r100"), pad("top", 30000, 0, "r100"); }, {}},
        {"same net", [netA] { pad("top", 0, 0, "r100", 0, netA), pad("top", 150000, 0, "r100", 0, netA); }, {}},
        {"different nets",
         [netA, netB] { pad("top", 0, 0, "r100", 0, netA), pad("top", 150000, 0, "r100", 0, netB); },
         {"spacing E 50000/100000 top:0 top:1 [top;]"}},
        {"one net unknown",
         [netA] { pad("top", 0, 0, "r100", 0, netA), pad("top", 150000, 0, "r100"); },
         {"spacing E 50000/100000 top:0 top:1 [top;]"}},
        {"a negative feature clears, it is not copper",
         [] { pad("top", 0, 0, "r100"), pad("top", 150000, 0, "r100", 0, {}, API::POL_NEGATIVE); }, {}},
    };
    for (const SpacingCase& c : cases) {
        SCOPED_TRACE(c.what);
        freshBoard();
        c.build();
        const std::vector<check_result> got = CHECKS::spacing(kJob, kStep, {"top"}, p);
        EXPECT_EQ(describe(got), c.want);
        expectSame(got, referenceSpacing("top", p));
    }
}

TEST(Spacing, ClosestPointsAndBothLayers) {
    freshBoard();
    pad("top", 0, 0, "r100");
    pad("top", 300000, 400000, "r200");
    pad("empty", 0, 0, "r100");
    pad("empty", 0, 120000, "r100");
    const std::vector<check_result> got = CHECKS::spacing(kJob, kStep, {"top", "empty"}, {100000, 400000});
    ASSERT_EQ(describe(got), (std::vector<std::string>{"spacing W 350000/400000 top:0 top:1 [top;]",
                                                        "spacing E 20000/100000 empty:0 empty:1 [empty;]"}));
    EXPECT_EQ(got[0].location.kind, location_kind::POINTS);
    EXPECT_DOUBLE_EQ(got[0].location.a.x, 30000);
    EXPECT_DOUBLE_EQ(got[0].location.a.y, 40000);
    EXPECT_DOUBLE_EQ(got[0].location.b.x, 240000);
    EXPECT_DOUBLE_EQ(got[0].location.b.y, 320000);
}

// Only pairs whose boxes come within the warning limit are measured.
TEST(Spacing, CountsOnlyCandidatePairs) {
    freshBoard();
    pad("top", 0, 0, "r100");
    pad("top", 230000, 0, "r100");       // 130000 from the first: a candidate
    pad("top", 5000000, 0, "r100");      // far from both
    pad("top", 0, 0, "r100", 0, {}, API::POL_NEGATIVE);  // not copper
    CHECKS::check_stats stats;
    const std::vector<check_result> got = CHECKS::spacing(kJob, kStep, {"top"}, {100000, 150000}, stats);
    EXPECT_EQ(describe(got), (std::vector<std::string>{"spacing W 130000/150000 top:0 top:1 [top;]"}));
    EXPECT_EQ(stats.features, 3);
    EXPECT_EQ(stats.pairs, 1);
    // Counts add up over calls and layers.
    CHECKS::spacing(kJob, kStep, {"top", "top"}, {100000, 150000}, stats);
    EXPECT_EQ(stats.features, 9);
    EXPECT_EQ(stats.pairs, 3);
}

struct SizeCase {
    const char* what;
    std::function<void()> build;
    std::function<std::vector<check_result>()> run;
    std::vector<std::string> want;
};

std::function<std::vector<check_result>()> widths(double limit) {
    return [limit] { return CHECKS::line_width(kJob, kStep, {"top"}, {limit, limit}); };
}
std::function<std::vector<check_result>()> padSizes(double error, double warning) {
    return [=] { return CHECKS::pad_size(kJob, kStep, {"top"}, {error, warning}); };
}
std::function<std::vector<check_result>()> drills(double limit) {
    return [limit] { return CHECKS::min_drill(kJob, kStep, {"drill"}, {limit, limit}); };
}

TEST(Sizes, AtTheLimits) {
    const SizeCase cases[] = {
        {"a round line as wide as the limit", [] { line("top", 0, 0, 1e6, 0, "r100"); }, widths(100000), {}},
        {"a round line one nanometre narrower than the limit", [] { line("top", 0, 0, 1e6, 0, "r100"); },
         widths(100001), {"line_width E 100000/100001 top:0 [top;]"}},
        {"a rect line: its smaller side", [] { line("top", 0, 0, 1e6, 0, "rect300x100"); }, widths(100001),
         {"line_width E 100000/100001 top:0 [top;]"}},
        {"a rect line as wide as the limit", [] { line("top", 0, 0, 1e6, 0, "rect300x100"); }, widths(100000),
         {}},
        {"an oval line by its round pen of the larger size", [] { line("top", 0, 0, 1e6, 0, "oval300x100"); },
         widths(300001), {"line_width E 300000/300001 top:0 [top;]"}},
        {"an arc by its round pen", [] { arc("top", 1e6, 0, 0, 1e6, 0, 0, "r100", false); }, widths(100001),
         {"line_width E 100000/100001 top:0 [top;]"}},
        {"an arc as wide as the limit", [] { arc("top", 1e6, 0, 0, 1e6, 0, 0, "r100", false); }, widths(100000),
         {}},
        {"pads are not lines", [] { pad("top", 0, 0, "r50"); }, widths(100000), {}},
        {"a rotated rect pad: its smaller side, in the warning band",
         [] { pad("top", 0, 0, "rect300x120", 45); }, padSizes(100000, 120001),
         {"pad_size W 120000/120001 top:0 [top;]"}},
        {"a pad as large as the warning limit", [] { pad("top", 0, 0, "s120"); }, padSizes(100000, 120000), {}},
        {"a pad as large as the error limit", [] { pad("top", 0, 0, "s120"); }, padSizes(120000, 130000),
         {"pad_size W 120000/130000 top:0 [top;]"}},
        {"a scaled pad by its scaled size", [] { pad("top", 0, 0, "r60", 0, {}, API::POL_POSITIVE, 2); },
         padSizes(100000, 120001), {"pad_size W 120000/120001 top:0 [top;]"}},
        {"lines are not pads", [] { line("top", 0, 0, 1e6, 0, "r10"); }, padSizes(100000, 120000), {}},
        {"a drill one nanometre under", [] { pad("drill", 0, 0, "r250"); }, drills(250001),
         {"min_drill E 250000/250001 drill:0 [drill;]"}},
        {"a drill as large as the limit", [] { pad("drill", 0, 0, "r250"); }, drills(250000), {}},
    };
    for (const SizeCase& c : cases) {
        SCOPED_TRACE(c.what);
        freshBoard();
        c.build();
        EXPECT_EQ(describe(c.run()), c.want);
    }
}

TEST(Holes, DuplicatesOverlapsAndSpacing) {
    freshBoard();
    pad("drill", 0, 0, "r300");             // 0
    pad("drill", 0, 0, "r300");             // 1: a duplicate of 0
    pad("drill", 0, 0, "r200");             // 2: same centre, another size: overlapping
    pad("drill", 500000, 0, "r300");        // 3: edge 200000 from 0 and 1
    pad("drill", 500000 + 499999, 0, "r400");  // 4: 149999 from 3
    const std::vector<std::string> want = {
        "duplicate_hole E 0/100000 drill:0 drill:1 [drill;]",
        "hole_spacing E 0/100000 drill:0 drill:2 [drill;]",
        "hole_spacing E 0/100000 drill:1 drill:2 [drill;]",
        "hole_spacing W 149999/150000 drill:3 drill:4 [drill;]",
    };
    EXPECT_EQ(describe(CHECKS::hole_spacing(kJob, kStep, {"drill"}, {100000, 150000})), want);
    // 3 and 0 at exactly the warning limit break nothing.
    EXPECT_EQ(describe(CHECKS::hole_spacing(kJob, kStep, {"drill"}, {100000, 200000})).size(), 4u);
    EXPECT_EQ(describe(CHECKS::hole_spacing(kJob, kStep, {"drill"}, {100000, 200001})).size(), 6u);
}

// ---- annular rings ------------------------------------------------------------
struct RingCase {
    const char* what;
    std::function<void()> build;  // pads on "top", then one hole on "drill"
    double ring;                  // nm
    bool hasPad;
    MEASURE::measure_point edge;  // nearest outline point
};

TEST(AnnularRing, OffCentreHolesTakeTheNarrowSide) {
    const RingCase cases[] = {
        {"round pad, hole 100 um off to the right: the right side",
         [] { pad("top", 0, 0, "r1000"), pad("drill", 100000, 0, "r400"); }, 200000, true, {500000, 0}},
        {"round pad, hole centred", [] { pad("top", 0, 0, "r1000"), pad("drill", 0, 0, "r400"); }, 300000, true,
         {0, 0}},
        {"rect pad, hole 50 um up: the top side",
         [] { pad("top", 0, 0, "rect1000x600"), pad("drill", 0, 50000, "r200"); }, 150000, true, {0, 300000}},
        {"of two pads on the hole, the better one",
         [] { pad("top", 0, 0, "r500"), pad("top", 0, 0, "r1000"), pad("drill", 0, 0, "r400"); }, 300000, true,
         {0, 0}},
        {"no pad: no ring", [] { pad("top", 2e6, 0, "r1000"), pad("drill", 0, 0, "r400"); }, 0, false, {0, 0}},
        {"a hole breaking out of its pad: no ring",
         [] { pad("top", 0, 0, "r1000"), pad("drill", 400000, 0, "r400"); }, 0, true, {500000, 0}},
    };
    for (const RingCase& c : cases) {
        SCOPED_TRACE(c.what);
        freshBoard();
        c.build();
        // Error limit one nanometre over the ring: always reported.
        const std::vector<check_result> got =
            CHECKS::annular_ring(kJob, kStep, "drill", {"top"}, {c.ring + 1, c.ring + 1});
        ASSERT_EQ(got.size(), 1u);
        EXPECT_EQ(got[0].check, "annular_ring");
        EXPECT_EQ(got[0].level, severity::ERROR);
        EXPECT_NEAR(got[0].value, c.ring, 1e-6);
        EXPECT_EQ(got[0].layers, (API::str_list{"drill", "top"}));
        ASSERT_EQ(got[0].features.size(), c.hasPad ? 2u : 1u);
        EXPECT_EQ(got[0].features[0].layer, "drill");
        if (c.hasPad) {
            EXPECT_EQ(got[0].features[1].layer, "top");
        }
        if (c.edge.x != 0 || c.edge.y != 0) {
            EXPECT_NEAR(got[0].location.b.x, c.edge.x, 1e-6);
            EXPECT_NEAR(got[0].location.b.y, c.edge.y, 1e-6);
        }
        // A limit equal to the ring breaks nothing (a ring of 0 always breaks).
        if (c.ring > 0) {
            EXPECT_TRUE(CHECKS::annular_ring(kJob, kStep, "drill", {"top"}, {c.ring, c.ring}).empty());
        }
    }
}

TEST(DrillToCopper, AtTheLimitsAndConnected) {
    freshBoard();
    pad("drill", 0, 0, "r300");             // hole 0, radius 150 um
    pad("top", 0, 0, "r600");               // 0: its own pad
    pad("top", 0, 300000, "r100");          // 1: 100000 from the hole
    pad("top", 299999, 0, "r100");          // 2: 99999 from the hole
    line("top", -1e6, 0, 1e6, 0, "r10");    // 3: through the hole
    pad("top", 0, -1e6, "r100");            // 4: far away
    EXPECT_EQ(describe(CHECKS::drill_to_copper(kJob, kStep, "drill", {"top"}, {100000, 100000})),
              (std::vector<std::string>{"drill_to_copper E 99999/100000 drill:0 top:2 [drill;top;]"}));
    EXPECT_EQ(describe(CHECKS::drill_to_copper(kJob, kStep, "drill", {"top"}, {50000, 100001})),
              (std::vector<std::string>{"drill_to_copper W 100000/100001 drill:0 top:1 [drill;top;]",
                                        "drill_to_copper W 99999/100001 drill:0 top:2 [drill;top;]"}));
}

// ---- the profile ------------------------------------------------------------
TEST(Profile, ClearanceAndOutside) {
    freshBoard();
    JOB::set_profile(kJob, kStep, {{0, 0}, {1000000, 0}, {1000000, 1000000}, {0, 1000000}});
    pad("top", 200000, 500000, "r100");   // 0: 150000 from the left edge
    pad("top", 500000, 199999, "r100");   // 1: 149999 from the bottom
    pad("top", 0, 500000, "r100");        // 2: on the outline
    pad("top", 2000000, 2000000, "r100"); // 3: far outside
    const std::vector<check_result> got = CHECKS::profile_clearance(kJob, kStep, {"top"}, {100000, 150000});
    EXPECT_EQ(describe(got), (std::vector<std::string>{"profile_clearance W 149999/150000 top:1 [top;]",
                                                        "outside_profile E 0/100000 top:2 [top;]",
                                                        "outside_profile E 0/100000 top:3 [top;]"}));
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].location.b.x, 500000);
    EXPECT_EQ(got[0].location.b.y, 0);
    freshBoard();  // without a profile
    pad("top", 200000, 500000, "r100");
    EXPECT_THROW(CHECKS::profile_clearance(kJob, kStep, {"top"}, {100000, 150000}), API::KernelText);
}

// ---- bad input ----------------------------------------------------------------
using Check = std::function<std::vector<check_result>(const std::string& job, const std::string& step,
                                                      const std::string& layer, const check_params&)>;
struct NamedCheck {
    const char* name;
    Check run;
    const char* crowded;  // the layer of crowdedBoard where it finds something
};
// annular_ring is given the layer as its drill layer, against "top".
const NamedCheck kChecks[] = {
    {"spacing", [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::spacing(j, s, {l}, p); }, "top"},
    {"line_width", [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::line_width(j, s, {l}, p); }, "top"},
    {"pad_size", [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::pad_size(j, s, {l}, p); }, "top"},
    {"hole_spacing", [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::hole_spacing(j, s, {l}, p); },
     "drill"},
    {"min_drill", [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::min_drill(j, s, {l}, p); }, "drill"},
    {"annular_ring",
     [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::annular_ring(j, s, l, {"top"}, p); }, "drill"},
    {"drill_to_copper",
     [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::drill_to_copper(j, s, l, {"top"}, p); }, "drill"},
    {"profile_clearance",
     [](auto& j, auto& s, auto& l, auto& p) { return CHECKS::profile_clearance(j, s, {l}, p); }, "top"},
};

void crowdedBoard() {
    freshBoard();
    JOB::set_profile(kJob, kStep, {{0, 0}, {1000000, 0}, {1000000, 1000000}, {0, 1000000}});
    pad("top", 0, 0, "r100");
    pad("top", 120000, 0, "r100");
    line("top", 0, 300000, 500000, 300000, "r20");
    pad("drill", 0, 0, "r100");
    pad("drill", 0, 0, "r100");
    API::select_feature_by_id(kJob, kStep, "top", 1);
}

struct Snapshot {
    std::vector<API::featureInfo> features;
    unsigned long long serial;
    int selected;
    bool operator==(const Snapshot& o) const {
        return features == o.features && serial == o.serial && selected == o.selected;
    }
};
Snapshot snapshot() { return {kt::snapshot(kJob), JOB::edit_serial(kJob), JOB::selected_count(kJob, kStep, "top")}; }

TEST(BadInput, LimitsRefusedByName) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const struct {
        check_params p;
        const char* named;
    } cases[] = {
        {{0, 100}, "error limit"},   {{-1, 100}, "error limit"},  {{nan, 100}, "error limit"},
        {{inf, inf}, "error limit"}, {{100, 0}, "warning limit"}, {{100, -5}, "warning limit"},
        {{100, nan}, "warning limit"}, {{200, 100}, "error limit"},
    };
    crowdedBoard();
    const Snapshot before = snapshot();
    for (const auto& check : kChecks)
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(check.name) + " refusing " + c.named);
            try {
                check.run(kJob, kStep, check.crowded, c.p);
                ADD_FAILURE() << "accepted";
            } catch (const API::KernelText& e) {
                EXPECT_NE(e.find(c.named), std::string::npos) << e;
            }
            EXPECT_TRUE(snapshot() == before);
        }
}

TEST(BadInput, UnknownNamesThrowAndEmptyLayersFindNothing) {
    crowdedBoard();
    const Snapshot before = snapshot();
    const check_params p{100000, 200000};
    for (const auto& check : kChecks) {
        SCOPED_TRACE(check.name);
        EXPECT_THROW(check.run("no such job", kStep, check.crowded, p), API::KernelText);
        EXPECT_THROW(check.run(kJob, "no such step", check.crowded, p), API::KernelText);
        EXPECT_THROW(check.run(kJob, kStep, "no such layer", p), API::KernelText);
        EXPECT_TRUE(check.run(kJob, kStep, "empty", p).empty());
        // Something is found on the crowded layers, and finding it changes nothing.
        EXPECT_FALSE(check.run(kJob, kStep, check.crowded, p).empty());
        EXPECT_TRUE(snapshot() == before);
    }
    EXPECT_THROW(CHECKS::annular_ring(kJob, kStep, "drill", {"top", "no such layer"}, p), API::KernelText);
    EXPECT_THROW(CHECKS::drill_to_copper(kJob, kStep, "drill", {"top", "no such layer"}, p), API::KernelText);
}

}  // namespace
