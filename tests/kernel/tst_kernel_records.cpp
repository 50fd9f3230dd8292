// Feature strings: building, parsing back, symbols and rejected input.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "records";

class Records : public ::testing::Test {
protected:
    void SetUp() override { kt::freshJob(kJob, {"a", "b"}); }
    API::featureInfo only(int index = 0) {
        API::featureInfo f;
        EXPECT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "a", index, f));
        return f;
    }
};

TEST_F(Records, SymbolNamesFollowTheGrammar) {
    struct Case {
        const char* name;
        bool ok;
        double xsize, ysize;  // nm, as a pad of it reports
    };
    const Case cases[] = {
        {"r250", true, 250000, 250000},      {"r12.5", true, 12500, 12500},
        {"s100", true, 100000, 100000},      {"rect200x100", true, 200000, 100000},
        {"oval300x150", true, 300000, 150000}, {"donut_r500x300", true, 500000, 500000},
        {"r", false, 0, 0},                  {"r-5", false, 0, 0},
        {"rect200", false, 0, 0},            {"rect200x", false, 0, 0},
        {"donut_r300x500", false, 0, 0},     {"q100", false, 0, 0},
        {"r0", false, 0, 0},                 {"r1.", false, 0, 0},
        {"r100000.5", false, 0, 0},          {"s10 ", false, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int index = -1;
        if (!c.ok) {
            EXPECT_THROW(API::create_new_symbol(kJob, "pcb", "a", c.name, index), API::KernelText);
            continue;
        }
        API::create_new_symbol(kJob, "pcb", "a", c.name, index);
        kt::add(kJob, "a", API::GreatePadString(0, 0, index, API::POL_POSITIVE, 0, 0, 1));
        API::featureInfo f = only(JOB::feature_count(kJob, "pcb", "a") - 1);
        EXPECT_EQ(f.symbol, c.name);
        EXPECT_DOUBLE_EQ(f.xsize, c.xsize);
        EXPECT_DOUBLE_EQ(f.ysize, c.ysize);
    }
}

TEST_F(Records, SymbolTablesAreKeptPerLayerAndRegisterOnce) {
    EXPECT_EQ(kt::symbol(kJob, "a", "r100"), 0);
    EXPECT_EQ(kt::symbol(kJob, "a", "s50"), 1);
    EXPECT_EQ(kt::symbol(kJob, "a", "r100"), 0);
    EXPECT_EQ(kt::symbol(kJob, "b", "s50"), 0);
}

TEST_F(Records, EachKindRoundTripsThroughTheLayer) {
    int r = kt::symbol(kJob, "a", "r200");
    int rect = kt::symbol(kJob, "a", "rect300x100");
    kt::symbol(kJob, "b", "r200");
    kt::symbol(kJob, "b", "rect300x100");
    const std::vector<std::string> records = {
        API::GreateLineString(-1000, 2000.4, 30000, -4000.6, r, API::POL_POSITIVE, 11),
        API::GreatePadString(5000, 6000, rect, API::POL_NEGATIVE, 405, 1, 1.1),
        API::GreateArcString(10000, 0, 0, 10000, 0, 0, r, API::POL_POSITIVE, 3, true),
        API::GreateSurfaceString({{0, 0}, {100000, 0}, {100000, 100000}, {0, 100000}, {0, 0},
                                  {20000, 20000}, {40000, 20000}, {40000, 40000}, {20000, 20000}},
                                 API::POL_POSITIVE, 7, false),
        API::GreateTextString(100, 200, "R1 \"quoted\" \\ back", API::POL_POSITIVE, -90, 1000, 1500, 0.5,
                              "std font", 1, 2),
    };
    for (const std::string& rec : records) kt::add(kJob, "a", rec, {{".comp", "U1"}});
    for (size_t i = 0; i < records.size(); ++i) {
        API::featureInfo f = only(int(i));
        EXPECT_EQ(f.record, records[i]) << i;
        EXPECT_EQ(f.index, int(i));
        EXPECT_EQ(f.layer, "a");
        EXPECT_EQ(f.attributes, (API::attr_map{{".comp", "U1"}}));
        // Adding the described record again yields an equal description.
        kt::add(kJob, "b", f.record, f.attributes);
        API::featureInfo copy;
        ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "b", int(i), copy));
        copy.layer = "a";
        EXPECT_EQ(copy, f) << i;
    }
    API::featureInfo line = only(0);
    EXPECT_EQ(line.type, API::FT_LINE);
    EXPECT_EQ(line.xs, -1000);
    EXPECT_EQ(line.ys, 2000);   // rounded to the nearest nanometre
    EXPECT_EQ(line.ye, -4001);
    EXPECT_EQ(line.xmin, -101000);  // with the symbol's half width (100 um)
    EXPECT_EQ(line.ymax, 102000);
    API::featureInfo pad = only(1);
    EXPECT_EQ(pad.polarity, API::POL_NEGATIVE);
    EXPECT_EQ(pad.angle, 45);  // 405 degrees
    EXPECT_EQ(pad.mirror, 1);
    EXPECT_NEAR(pad.xsize, 330000, 0.1);  // scaled by 1.1
    API::featureInfo arc = only(2);
    EXPECT_EQ(arc.direction, "CW");
    EXPECT_EQ(arc.xc, 0);
    // Clockwise from (10000, 0) to (0, 10000): three quarters, down through (0, -10000).
    EXPECT_EQ(arc.ymin, -110000);
    EXPECT_EQ(arc.xmax, 110000);
    API::featureInfo text = only(4);
    EXPECT_EQ(text.text, "R1 \"quoted\" \\ back");
    EXPECT_EQ(text.font, "std font");
    EXPECT_EQ(text.angle, 270);
}

TEST_F(Records, APadStringAndTheStoredRecordAgreeOnTheScale) {
    const int s = kt::symbol(kJob, "a", "r100");
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        double scale;
        const char* written;  // null: refused
    };
    const Case cases[] = {
        {0, "1"},           {1, "1"},          {0.5, "0.5"},     {1.1, "1.1"},   {1000, "1000"},
        {1e-30, "1e-30"},   {1e-300, nullptr}, {1e-31, nullptr}, {1000.5, nullptr},
        {-1, nullptr},      {inf, nullptr},    {std::nan(""), nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.scale);
        if (!c.written) {
            EXPECT_THROW(API::GreatePadString(0, 0, s, API::POL_POSITIVE, 0, 0, c.scale), API::KernelText);
            continue;
        }
        const std::string rec = API::GreatePadString(0, 0, s, API::POL_POSITIVE, 0, 0, c.scale);
        EXPECT_EQ(rec.substr(rec.rfind(' ') + 1), c.written);
        kt::add(kJob, "a", rec);
        EXPECT_EQ(only(JOB::feature_count(kJob, "pcb", "a") - 1).record, rec);
    }
    // The same scales written by hand are refused when they are read.
    for (const char* scale : {"1e-300", "0.1e-30", "-1", "1000.5"})
        EXPECT_THROW(kt::add(kJob, "a", std::string("P 0 0 0 P 0 0 ") + scale), API::KernelText) << scale;
}

TEST_F(Records, SurfaceContoursSplitWhereTheFirstPointRepeats) {
    std::string closedImplicitly =
        API::GreateSurfaceString({{0, 0}, {10, 0}, {10, 10}, {0, 10}}, API::POL_POSITIVE, 0, true);
    std::string closedExplicitly =
        API::GreateSurfaceString({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}}, API::POL_POSITIVE, 0, false);
    EXPECT_EQ(closedImplicitly, closedExplicitly);
    EXPECT_EQ(closedExplicitly, "S P 0 1 4 0 0 10 0 10 10 0 10");
    std::string two = API::GreateSurfaceString(
        {{0, 0}, {10, 0}, {10, 10}, {0, 0}, {2, 2}, {4, 2}, {4, 4}, {2, 2}}, API::POL_POSITIVE, 0, false);
    EXPECT_EQ(two, "S P 0 2 3 0 0 10 0 10 10 3 2 2 4 2 4 4");
}

TEST_F(Records, BadBuilderInputThrowsText) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char* what;
        std::function<void()> call;
    };
    const Case cases[] = {
        {"nan coordinate", [&] { API::GreateLineString(nan, 0, 1, 1, 0, 1, 0); }},
        {"huge coordinate", [] { API::GreateLineString(0, 0, 3e9, 1, 0, 1, 0); }},
        {"negative symbol", [] { API::GreatePadString(0, 0, -1, 1, 0, 0, 1); }},
        {"polarity 2", [] { API::GreatePadString(0, 0, 0, 2, 0, 0, 1); }},
        {"mirror 3", [] { API::GreatePadString(0, 0, 0, 1, 0, 3, 1); }},
        {"negative scale", [] { API::GreatePadString(0, 0, 0, 1, 0, 0, -2); }},
        {"arc on its centre", [] { API::GreateArcString(5, 5, 9, 9, 5, 5, 0, 1, 0, false); }},
        {"empty outline", [] { API::GreateSurfaceString({}, 1, 0, true); }},
        {"open contour", [] { API::GreateSurfaceString({{0, 0}, {1, 0}, {1, 1}}, 1, 0, false); }},
        {"two-point contour", [] { API::GreateSurfaceString({{0, 0}, {1, 0}, {0, 0}}, 1, 0, false); }},
        {"empty text", [] { API::GreateTextString(0, 0, "", 1, 0, 10, 10, 1, "f", 0, 1); }},
        {"negative text size", [] { API::GreateTextString(0, 0, "A", 1, 0, -10, 10, 1, "f", 0, 1); }},
    };
    for (const Case& c : cases) EXPECT_THROW(c.call(), API::KernelText) << c.what;
}

TEST_F(Records, UnparsableRecordsAreRejectedAndNothingIsStored) {
    int r = kt::symbol(kJob, "a", "r100");
    (void)r;
    const char* bad[] = {
        "",                              // empty
        "Z 1 2",                         // unknown kind
        "L 0 0 10",                      // short
        "L 0 0 10 10 0 P 0 extra",       // junk at the end
        "L 0 0 10 10 5 P 0",             // symbol 5 not in the table
        "L 0 0 10 10 0 X 0",             // bad polarity
        "L 0 0 1e12 10 0 P 0",           // out of range
        "A 0 0 10 10 0 0 0 P 0 UP",      // bad direction
        "S P 0 1 2 0 0 5 5",             // two corners
        "T 0 0 P 0 0 10 10 1 1 \"f\" \"unterminated", // bad quote
    };
    for (const char* rec : bad) {
        SCOPED_TRACE(rec);
        EXPECT_THROW(kt::add(kJob, "a", rec), API::KernelText);
    }
    EXPECT_EQ(JOB::feature_count(kJob, "pcb", "a"), 0);
    try {
        kt::add(kJob, "a", "L 0 0 10");
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("L 0 0 10"), std::string::npos) << e;
    }
}

}  // namespace
