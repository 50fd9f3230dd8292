// Layer compare: the areas in one layer's image and not the other's.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "TOLVA_Compare.h"
#include "kernel_test_util.h"

using namespace TOLVA;
using COMPARE::compare_area;
using COMPARE::layer_ref;

namespace {

const char* const kJob = "compare";
constexpr double kPi = 3.14159265358979323846;
constexpr double kUm = 1000;  // nm

// A few separate features of every kind, shifted by dx; `order` reverses
// the records, `negativeHole` adds a negative pad inside the round pad.
struct Board {
    double dx = 0;
    double padY = 1e6;
    bool reversed = false;
    bool convexOnly = false;
    bool negativeHole = false;
};

std::vector<std::string> records(const std::string& job, const std::string& layer, const Board& b) {
    const int r100 = kt::symbol(job, layer, "r100"), r50 = kt::symbol(job, layer, "r50"),
              s200 = kt::symbol(job, layer, "s200"), r40 = kt::symbol(job, layer, "r40");
    const double d = b.dx;
    std::vector<std::string> out = {
        API::GreatePadString(1e6 + d, b.padY, r100, API::POL_POSITIVE, 0, 0, 1),
        API::GreateLineString(2e6 + d, 1e6, 4e6 + d, 1e6, r50, API::POL_POSITIVE, 0),
        API::GreatePadString(6e6 + d, 1e6, s200, API::POL_POSITIVE, 0, 0, 1),
        API::GreateSurfaceString({{8e6 + d, 0.5e6}, {9e6 + d, 0.5e6}, {9e6 + d, 1.5e6}, {8e6 + d, 1.5e6}, {8e6 + d, 0.5e6}},
                                 API::POL_POSITIVE, 0, true),
    };
    if (b.negativeHole) out.push_back(API::GreatePadString(1e6 + d, b.padY, r40, API::POL_NEGATIVE, 0, 0, 1));
    if (!b.convexOnly) {
        out.push_back(API::GreateArcString(12e6 + d, 1e6, 10e6 + d, 1e6, 11e6 + d, 1e6, r50, API::POL_POSITIVE, 0, true));
        out.push_back(API::GreateTextString(14e6 + d, 1e6, "AB", API::POL_POSITIVE, 0, 0.5e6, 0.5e6, 1, "standard", 0, 1));
    }
    if (b.reversed) std::reverse(out.begin(), out.end());
    return out;
}

void fill(const std::string& job, const std::string& layer, const Board& b) {
    API::AddFeatures(job, "pcb", {layer}, {{layer, records(job, layer, b)}}, {});
}

double total(const std::vector<compare_area>& areas) {
    double sum = 0;
    for (const compare_area& a : areas) sum += a.area;
    return sum;
}

COMPARE::compare_result run(const Board& first, const Board& second, double tolerance = 1 * kUm) {
    kt::freshJob(kJob, {"a", "b"});
    fill(kJob, "a", first);
    fill(kJob, "b", second);
    return COMPARE::compare_layers({kJob, "pcb", "a"}, {kJob, "pcb", "b"}, {tolerance});
}

TEST(Compare, IdenticalImagesGiveNoAreaWhateverTheOrder) {
    Board reversed;
    reversed.reversed = true;
    const COMPARE::compare_result r = run(Board{}, reversed);
    EXPECT_TRUE(r.first_only.empty());
    EXPECT_TRUE(r.second_only.empty());
    EXPECT_EQ(r.stats.first_unmatched, 0);
    EXPECT_EQ(r.stats.second_unmatched, 0);
    EXPECT_EQ(r.stats.first_features, 6);
}

TEST(Compare, AMovedPadShowsWhereItWasAndWhereItIs) {
    Board moved;
    moved.padY = 3e6;
    const COMPARE::compare_result r = run(Board{}, moved);
    ASSERT_EQ(r.first_only.size(), 1u);
    ASSERT_EQ(r.second_only.size(), 1u);
    EXPECT_EQ(r.stats.first_unmatched, 1);
    EXPECT_EQ(r.stats.second_unmatched, 1);
    const double disc = kPi * 50 * kUm * 50 * kUm;
    struct Expect {
        const compare_area& area;
        double y;
    };
    for (const Expect& e : {Expect{r.first_only[0], 1e6}, Expect{r.second_only[0], 3e6}}) {
        EXPECT_NEAR(e.area.area, disc, disc * 0.002);
        EXPECT_NEAR(e.area.min.x, 1e6 - 50 * kUm, 250);  // chords within a quarter of the tolerance
        EXPECT_NEAR(e.area.max.x, 1e6 + 50 * kUm, 250);
        EXPECT_NEAR(e.area.min.y, e.y - 50 * kUm, 250);
        EXPECT_NEAR(e.area.max.y, e.y + 50 * kUm, 250);
        EXPECT_NEAR(e.area.width, 50 * kUm, 0.5 * kUm);  // 2 * pi r^2 / (2 pi r) = r
        ASSERT_EQ(e.area.rings.size(), 1u);
    }
}

TEST(Compare, ACopyShiftedTenMicronsShowsBothEdgesOfEveryFeature) {
    Board base, shifted;
    base.convexOnly = shifted.convexOnly = true;
    shifted.dx = 10 * kUm;
    const COMPARE::compare_result r = run(base, shifted);
    // Each convex feature uncovers d * its height on one side and covers as
    // much on the other: pad 100, line 50, square 200, surface 1000 um high.
    const double expected = 10 * kUm * (100 + 50 + 200 + 1000) * kUm;
    ASSERT_EQ(r.first_only.size(), 4u);
    ASSERT_EQ(r.second_only.size(), 4u);
    EXPECT_NEAR(total(r.first_only), expected, expected * 0.01);
    EXPECT_NEAR(total(r.second_only), expected, expected * 0.01);
    // The first layer's edges lie on the left of the second's.
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_LT(r.first_only[i].max.x, r.second_only[i].min.x + 10) << i;
        EXPECT_LE(r.first_only[i].max.x - r.first_only[i].min.x, 50 * kUm + 10 * kUm) << i;
    }
}

TEST(Compare, DifferencesThinnerThanTheToleranceAreIgnored) {
    struct Case {
        double shift, tolerance;
        bool shows;
    };
    for (const Case& c : {Case{0.5 * kUm, 1 * kUm, false}, Case{3 * kUm, 1 * kUm, true},
                          Case{3 * kUm, 5 * kUm, false}}) {
        Board shifted;
        shifted.dx = c.shift;
        const COMPARE::compare_result r = run(Board{}, shifted, c.tolerance);
        EXPECT_EQ(!r.first_only.empty(), c.shows) << c.shift << " " << c.tolerance;
        EXPECT_EQ(!r.second_only.empty(), c.shows) << c.shift << " " << c.tolerance;
        EXPECT_EQ(r.stats.first_unmatched, 6);
    }
}

TEST(Compare, ANegativeFeatureClearsTheImage) {
    Board holed;
    holed.negativeHole = true;
    const COMPARE::compare_result r = run(holed, Board{});
    EXPECT_TRUE(r.first_only.empty());
    ASSERT_EQ(r.second_only.size(), 1u);
    const double hole = kPi * 20 * kUm * 20 * kUm;
    EXPECT_NEAR(r.second_only[0].area, hole, hole * 0.002);
    EXPECT_EQ(r.stats.neighbours, 2);  // the round pad, on each side
}

TEST(Compare, TwoJobsCompareBySymbolNames) {
    kt::freshJob(kJob, {"top"});
    kt::freshJob("compare2", {"top"});
    kt::symbol("compare2", "top", "s999");  // other indices for the same names
    kt::symbol("compare2", "top", "r40");
    fill(kJob, "top", Board{});
    fill("compare2", "top", Board{});
    const COMPARE::compare_result same =
        COMPARE::compare_layers({kJob, "pcb", "top"}, {"compare2", "pcb", "top"});
    EXPECT_TRUE(same.first_only.empty() && same.second_only.empty());
    EXPECT_EQ(same.stats.second_unmatched, 0);
    JOB::delete_job("compare2");
}

TEST(Compare, AMovedPourShowsItsTwoEdgesWholeAcrossTheTiles) {
    // A 10 mm pour with holes cut by negative pads drawn after it, the pour
    // moved 10 um to the right: the compare works it tile by tile and joins
    // each edge's pieces into one area again.
    kt::freshJob(kJob, {"a", "b"});
    for (const char* layer : {"a", "b"}) {
        const double d = layer[0] == 'b' ? 10 * kUm : 0;
        const int r100 = kt::symbol(kJob, layer, "r100");
        std::vector<std::string> records = {API::GreateSurfaceString(
            {{d, 0}, {10e6 + d, 0}, {10e6 + d, 10e6}, {d, 10e6}, {d, 0}}, API::POL_POSITIVE, 0, true)};
        for (int i = 1; i < 10; ++i)
            records.push_back(API::GreatePadString(1e6 * i, 1e6 * i, r100, API::POL_NEGATIVE, 0, 0, 1));
        API::AddFeatures(kJob, "pcb", {layer}, {{layer, records}}, {});
    }
    const COMPARE::compare_result r = COMPARE::compare_layers({kJob, "pcb", "a"}, {kJob, "pcb", "b"});
    ASSERT_EQ(r.first_only.size(), 1u);
    ASSERT_EQ(r.second_only.size(), 1u);
    const double band = 10 * kUm * 10e6;
    struct Expect {
        const compare_area& area;
        double x;
    };
    for (const Expect& e : {Expect{r.first_only[0], 0}, Expect{r.second_only[0], 10e6}}) {
        EXPECT_NEAR(e.area.area, band, band * 1e-6);
        EXPECT_NEAR(e.area.min.x, e.x, 1);
        EXPECT_NEAR(e.area.max.x, e.x + 10 * kUm, 1);
        EXPECT_NEAR(e.area.min.y, 0, 1);
        EXPECT_NEAR(e.area.max.y, 10e6, 1);
    }
}

TEST(Compare, AreasBecomeCheckResults) {
    Board moved;
    moved.padY = 3e6;
    const COMPARE::compare_result r = run(Board{}, moved);
    const layer_ref a{kJob, "pcb", "a"}, b{kJob, "pcb", "b"};
    const std::vector<CHECKS::check_result> checks = COMPARE::compare_results(a, b, {2 * kUm}, r);
    ASSERT_EQ(checks.size(), 2u);
    const compare_area* areas[2] = {&r.first_only[0], &r.second_only[0]};
    const char* names[2] = {"compare_first_only", "compare_second_only"};
    const char* layers[2] = {"a", "b"};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(checks[i].check, names[i]);
        EXPECT_EQ(checks[i].layers, API::str_list{layers[i]});
        EXPECT_EQ(checks[i].level, CHECKS::severity::ERROR);
        EXPECT_EQ(checks[i].value, areas[i]->width);
        EXPECT_EQ(checks[i].limit, 2 * kUm);
        EXPECT_EQ(checks[i].location.kind, CHECKS::location_kind::BOX);
        EXPECT_EQ(checks[i].location.a.y, areas[i]->min.y);
        EXPECT_EQ(checks[i].location.b.y, areas[i]->max.y);
    }
}

TEST(Compare, BadToleranceOrNamesAreRefused) {
    kt::freshJob(kJob, {"a", "b"});
    const layer_ref a{kJob, "pcb", "a"}, b{kJob, "pcb", "b"};
    for (double t : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_THROW(COMPARE::compare_layers(a, b, {t}), API::KernelText) << t;
    EXPECT_THROW(COMPARE::compare_layers(a, {kJob, "pcb", "nolayer"}), API::KernelText);
    EXPECT_THROW(COMPARE::compare_layers({kJob, "nostep", "a"}, b), API::KernelText);
    EXPECT_THROW(COMPARE::compare_layers(a, {"nojob", "pcb", "a"}), API::KernelText);
}

}  // namespace
