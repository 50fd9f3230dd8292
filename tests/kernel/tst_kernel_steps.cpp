// Step and repeat: tables and their edits (each one undo step), instances,
// the step flattened, and panels drawn exactly as their flattened copy.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <tuple>

#include "TOLVA_Checks.h"
#include "TOLVA_Step.h"
#include "kernel_test_util.h"

using namespace TOLVA;
using STEP::sr_ref;
using STEP::sr_row;

namespace {

const char* const kJob = "steps";
constexpr int kMm = 1000000;

sr_row row(const std::string& child, double x, double y, double dx, double dy, int nx, int ny, double angle = 0,
           bool mirror = false) {
    sr_row r;
    r.child = child;
    r.x = x;
    r.y = y;
    r.dx = dx;
    r.dy = dy;
    r.nx = nx;
    r.ny = ny;
    r.angle = angle;
    r.mirror = mirror;
    return r;
}

void addTo(const std::string& step, const std::string& layer, const std::string& record) {
    API::AddFeature(kJob, step, {layer}, {{layer, record}}, {}, false);
}

// A 20 x 10 mm board "pcb" whose top layer holds one of every kind of
// feature, none symmetric, so that a wrong turn or mirror shows; "bot" the
// same without the text, "silk" texts and lines and nothing negative.
void makeBoard() {
    kt::freshJob(kJob, {"top", "bot"});
    JOB::add_layer(kJob, "silk", "board", "silk_screen", "positive");
    JOB::set_profile(kJob, "pcb", {{0, 0}, {20 * kMm, 0}, {20 * kMm, 10 * kMm}, {0, 10 * kMm}});
    const int r200 = kt::symbol(kJob, "top", "r200");
    const int rect = kt::symbol(kJob, "top", "rect900x300");
    const int s150 = kt::symbol(kJob, "top", "s150");
    const int oval = kt::symbol(kJob, "top", "oval800x300");
    addTo("pcb", "top", API::GreateLineString(1 * kMm, 1 * kMm, 15 * kMm, 3 * kMm, r200, 1, 0));
    addTo("pcb", "top", API::GreateLineString(2 * kMm, 8 * kMm, 2 * kMm, 4 * kMm, s150, 1, 0));
    addTo("pcb", "top", API::GreatePadString(17 * kMm, 2 * kMm, rect, 1, 30, 0, 1));
    addTo("pcb", "top", API::GreatePadString(5 * kMm, 7 * kMm, oval, 1, 0, 1, 1));
    addTo("pcb", "top", API::GreatePadString(10 * kMm, 5 * kMm, r200, 0, 0, 0, 1));  // negative
    addTo("pcb", "top", API::GreateArcString(12 * kMm, 8 * kMm, 14 * kMm, 6 * kMm, 12 * kMm, 6 * kMm, r200, 1, 0, true));
    addTo("pcb", "top", API::GreateSurfaceString({{8 * kMm, 2 * kMm}, {11 * kMm, 2.5 * kMm}, {9 * kMm, 4 * kMm}}, 1, 0, true));
    addTo("pcb", "top", API::GreateTextString(3 * kMm, 5 * kMm, "R7", 1, 0, 1 * kMm, 1.2 * kMm, 1, "standard", 0, 1));
    for (const char* name : {"r200", "rect900x300", "s150", "oval800x300"}) kt::symbol(kJob, "bot", name);
    for (int i = 0; i < 7; ++i) {
        API::featureInfo f;
        API::get_featureinfo_by_index(kJob, "pcb", "top", i, f);
        addTo("pcb", "bot", f.record);
    }
    const int silkPen = kt::symbol(kJob, "silk", "r120");
    addTo("pcb", "silk", API::GreateTextString(1 * kMm, 1 * kMm, "U12", 1, 0, 1.5 * kMm, 2 * kMm, 1, "standard", 0, 1));
    addTo("pcb", "silk", API::GreateTextString(12 * kMm, 9 * kMm, "C3", 1, 90, 0.8 * kMm, 1 * kMm, 1, "standard", 1, 1));
    addTo("pcb", "silk", API::GreateLineString(0.5 * kMm, 0.5 * kMm, 19.5 * kMm, 9.5 * kMm, silkPen, 1, 0));
    JOB::create_step(kJob, "panel");
}

// A panel of every placement kind: upright rows, quarter turns, 30 degrees
// and mirrors, on whole-nanometre and odd origins.
std::vector<sr_row> mixedTable() {
    return {row("pcb", 5 * kMm, 5 * kMm, 23 * kMm, 13 * kMm, 3, 2),
            row("pcb", 90 * kMm, 5 * kMm, 12 * kMm, 0, 2, 1, 90),
            row("pcb", 140 * kMm, 15 * kMm, 0, 0, 1, 1, 180),
            row("pcb", 5 * kMm, 60 * kMm, 0, 13 * kMm, 1, 2, 270, true),
            row("pcb", 60 * kMm, 40 * kMm, 0, 0, 1, 1, 30),
            row("pcb", 100 * kMm + 0.4, 50 * kMm + 333.7, 25 * kMm, 0, 2, 1, 0, true)};
}

std::vector<uint8_t> picture(const std::string& step, const std::string& layer, int w, int h, double xmin,
                             double ymin, double xmax, double ymax) {
    API::init_canvas(w, h);
    API::zoom_to_box(xmin / 1000, ymin / 1000, xmax / 1000, ymax / 1000);
    API::clear_canvas();
    API::draw_layer(kJob, step, layer, 0, 200, 100, 255);
    int cw, ch;
    unsigned char* p = API::canvas(cw, ch);
    return std::vector<uint8_t>(p, p + static_cast<size_t>(cw) * ch * 4);
}

int differing(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    int n = 0;
    for (size_t i = 0; i + 3 < a.size(); i += 4) n += std::memcmp(&a[i], &b[i], 4) != 0;
    return n;
}

int painted(const std::vector<uint8_t>& a) {
    int n = 0;
    for (size_t i = 0; i + 3 < a.size(); i += 4) n += a[i] || a[i + 1] || a[i + 2];
    return n;
}

TEST(Steps, PanelDrawsPixelForPixelAsItsFlattenedCopy) {
    makeBoard();
    STEP::set_sr_table(kJob, "panel", mixedTable());
    STEP::flatten_step(kJob, "panel", "flat", {});
    ASSERT_EQ(JOB::feature_count(kJob, "flat", "top"), 8 * 14);
    struct View {
        int w, h;
        double xmin, ymin, xmax, ymax;
    };
    // Whole panel at scales that put the pitch on whole pixels (the copied
    // instances) and at odd ones; zoomed views cutting instances at the edge.
    const View views[] = {{1000, 800, 0, 0, 200 * kMm, 160 * kMm},
                          {640, 480, -3 * kMm, -1 * kMm, 187.3 * kMm, 141.7 * kMm},
                          {920, 1300, 0, 0, 230 * kMm, 325 * kMm},
                          {700, 500, 20 * kMm, 10 * kMm, 48 * kMm, 30 * kMm},
                          {500, 500, 55.123 * kMm, 38.77 * kMm, 75.5 * kMm, 58.9 * kMm},
                          {800, 300, 95 * kMm, 45 * kMm, 160 * kMm, 70 * kMm},
                          {256, 256, 0, 0, 256 * kMm / 8, 256 * kMm / 8}};
    for (const char* layer : {"top", "bot", "silk"})
        for (const View& v : views) {
            const auto panel = picture("panel", layer, v.w, v.h, v.xmin, v.ymin, v.xmax, v.ymax);
            const auto flat = picture("flat", layer, v.w, v.h, v.xmin, v.ymin, v.xmax, v.ymax);
            EXPECT_GT(painted(flat), 0);
            EXPECT_EQ(differing(panel, flat), 0)
                << layer << ": view " << v.w << "x" << v.h << " at " << v.xmin << ", " << v.ymin;
        }
}

// The whole-panel view's pixel: whole nanometres dividing every move between
// instances placed alike, the smallest in the range asked; none without such.
TEST(Steps, AWholePixelScaleDividesEveryMoveBetweenAlikeInstances) {
    makeBoard();
    struct Case {
        const char* what;
        std::vector<sr_row> table;
        double nmPerPixel, most, expected;
    };
    const std::vector<Case> cases = {
        // 23 and 13 mm share 1 mm: its divisors are 2^a 5^b nm.
        {"upright grid", {row("pcb", 5 * kMm, 5 * kMm, 23 * kMm, 13 * kMm, 3, 2)}, 190000, 1.25, 200000},
        {"already whole", {row("pcb", 5 * kMm, 5 * kMm, 23 * kMm, 13 * kMm, 3, 2)}, 200000, 1.0, 200000},
        {"no room to zoom out", {row("pcb", 5 * kMm, 5 * kMm, 23 * kMm, 13 * kMm, 3, 2)}, 190000, 1.0, 0},
        {"fractional pixel asked", {row("pcb", 0, 0, 4 * kMm, 0, 2, 1)}, 999999.5, 1.25, 1000000},
        // Unlike placements never need to be whole pixels apart.
        {"turned rows apart", {row("pcb", 0, 0, 6 * kMm, 0, 2, 1), row("pcb", 1234567, 0, 0, 0, 1, 1, 90)},
         150000, 1.25, 150000},
        // ... but alike ones in different rows do: 1,234,567 nm shares nothing.
        {"alike rows apart", {row("pcb", 0, 0, 6 * kMm, 0, 2, 1), row("pcb", 1234567, 20 * kMm, 0, 0, 1, 1)},
         150000, 1.25, 0},
        {"half a nanometre", {row("pcb", 0, 0, 6 * kMm + 0.5, 0, 2, 1)}, 150000, 1.25, 0},
        {"one instance", {row("pcb", 3 * kMm, 3 * kMm, 0, 0, 1, 1)}, 150000, 1.25, 0},
        {"no divisor in range", {row("pcb", 0, 0, 20 * kMm + 1, 0, 2, 1)}, 150000, 1.25, 0},
    };
    for (const Case& c : cases) {
        STEP::set_sr_table(kJob, "panel", c.table);
        EXPECT_EQ(STEP::whole_pixel_scale(kJob, "panel", c.nmPerPixel, c.most), c.expected) << c.what;
    }
    for (const auto& bad : std::vector<std::pair<double, double>>{{0, 1.25}, {-5, 1.25}, {1e5, 0.5}})
        EXPECT_THROW(STEP::whole_pixel_scale(kJob, "panel", bad.first, bad.second), API::KernelText);
}

TEST(Steps, TurnedAndMirroredInstancesLandWhereTheirPlacementSays) {
    makeBoard();
    // The pad at (17, 2) mm of an instance turned 90 degrees at (50, 0) mm lies
    // at (50 - 2, 17) mm; mirrored, (5, 7) mm at (100, 0) lies at (95, 7).
    // Half a turn at (150, 20) mm puts it at (133, 18) mm; 30 degrees at
    // (200, 0) mm at (200 + 17 cos 30 - 2 sin 30, 17 sin 30 + 2 cos 30).
    STEP::set_sr_table(kJob, "panel", {row("pcb", 50 * kMm, 0, 0, 0, 1, 1, 90), row("pcb", 100 * kMm, 0, 0, 0, 1, 1, 0, true),
                                       row("pcb", 150 * kMm, 20 * kMm, 0, 0, 1, 1, 180), row("pcb", 200 * kMm, 0, 0, 0, 1, 1, 30)});
    const auto hitAt = [](double x, double y) { return STEP::hit_feature(kJob, "panel", "top", x, y, 1000); };
    const double c30 = std::sqrt(3.0) / 2;
    for (const auto& [x, y, placement] : {std::tuple<double, double, int>{133 * kMm, 18 * kMm, 2},
                                          std::tuple<double, double, int>{(200 + 17 * c30 - 1) * kMm, (8.5 + 2 * c30) * kMm, 3}}) {
        const STEP::instance_hit h = hitAt(x, y);
        ASSERT_TRUE(h.hit) << placement;
        EXPECT_EQ(h.index, 2) << placement;
        EXPECT_EQ(h.path.at(0).row, placement);
    }
    const STEP::instance_hit turned = hitAt(48 * kMm, 17 * kMm);
    ASSERT_TRUE(turned.hit);
    EXPECT_EQ(turned.index, 2);
    EXPECT_EQ(turned.path.at(0).row, 0);
    const STEP::instance_hit mirrored = hitAt(95 * kMm, 7 * kMm);
    ASSERT_TRUE(mirrored.hit);
    EXPECT_EQ(mirrored.index, 3);
    EXPECT_EQ(mirrored.path.at(0).row, 1);
    EXPECT_FALSE(hitAt(105 * kMm, 7 * kMm).hit);
}

TEST(Steps, AFeatureInTheThirdInstanceReportsThatInstance) {
    makeBoard();
    STEP::set_sr_table(kJob, "panel", {row("pcb", 0, 0, 25 * kMm, 0, 4, 1)});
    // The line of instance 2 from (1, 1) to (15, 3) mm passes (4, 1.43) mm.
    const STEP::instance_hit h = STEP::hit_feature(kJob, "panel", "top", 50 * kMm + 4 * kMm, 1.43 * kMm, 300);
    ASSERT_TRUE(h.hit);
    ASSERT_EQ(h.path.size(), 1u);
    EXPECT_EQ(h.path[0].row, 0);
    EXPECT_EQ(h.path[0].ix, 2);
    EXPECT_EQ(h.path[0].iy, 0);
    EXPECT_EQ(h.child, "pcb");
    EXPECT_EQ(h.index, 0);
    // The tolerance reaches every way: the line ends at (15, 3) mm, below
    // and left of this point, its round end 0.32 mm away.
    const STEP::instance_hit near = STEP::hit_feature(kJob, "panel", "top", 50 * kMm + 15.3 * kMm, 3.3 * kMm, 0.45 * kMm);
    ASSERT_TRUE(near.hit);
    EXPECT_EQ(near.index, 0);
    EXPECT_EQ(near.path[0].ix, 2);
    // The line starts at (1, 1) mm, below and right of this one.
    const STEP::instance_hit start = STEP::hit_feature(kJob, "panel", "top", 50 * kMm + 0.7 * kMm, 1.3 * kMm, 0.45 * kMm);
    ASSERT_TRUE(start.hit);
    EXPECT_EQ(start.index, 0);
    bool found = false;
    const STEP::sr_instance in = STEP::instance_at(kJob, "panel", 60 * kMm, 5 * kMm, found);
    ASSERT_TRUE(found);
    EXPECT_EQ(in.ix, 2);
    EXPECT_EQ(in.box.xmin, 50 * kMm);
    EXPECT_EQ(in.box.xmax, 70 * kMm);
    STEP::instance_at(kJob, "panel", 72 * kMm, 5 * kMm, found);
    EXPECT_FALSE(found);  // in the gap
}

// Each surface of a layer keeps its own outline and hole when placed, the
// second as well as the first.
TEST(Steps, EverySurfaceOfALayerIsPlacedWithItsOwnRings) {
    kt::freshJob(kJob, {"top"});
    addTo("pcb", "top", API::GreateSurfaceString({{1 * kMm, 1 * kMm}, {3 * kMm, 1 * kMm}, {2 * kMm, 3 * kMm}}, 1, 0, true));
    addTo("pcb", "top", API::GreateSurfaceString({{5 * kMm, 1 * kMm}, {9 * kMm, 1 * kMm}, {9 * kMm, 4 * kMm}, {5 * kMm, 4 * kMm},
                                                  {5 * kMm, 1 * kMm}, {6 * kMm, 2 * kMm}, {7 * kMm, 2 * kMm},
                                                  {7 * kMm, 3 * kMm}, {6 * kMm, 3 * kMm}, {6 * kMm, 2 * kMm}},
                                                 1, 0, true));
    JOB::create_step(kJob, "panel");
    STEP::set_sr_table(kJob, "panel", {row("pcb", 30 * kMm, 10 * kMm, 0, 0, 1, 1)});
    STEP::flatten_step(kJob, "panel", "flat", {});
    ASSERT_EQ(JOB::feature_count(kJob, "flat", "top"), 2);
    for (int i = 0; i < 2; ++i) {
        API::featureInfo child, placed;
        API::get_featureinfo_by_index(kJob, "pcb", "top", i, child);
        API::get_featureinfo_by_index(kJob, "flat", "top", i, placed);
        EXPECT_EQ(placed.xmin, child.xmin + 30 * kMm) << i;
        EXPECT_EQ(placed.xmax, child.xmax + 30 * kMm) << i;
        EXPECT_EQ(placed.ymin, child.ymin + 10 * kMm) << i;
        EXPECT_EQ(placed.ymax, child.ymax + 10 * kMm) << i;
    }
    const auto panel = picture("panel", "top", 200, 100, 30 * kMm, 10 * kMm, 40 * kMm, 15 * kMm);
    const auto flat = picture("flat", "top", 200, 100, 30 * kMm, 10 * kMm, 40 * kMm, 15 * kMm);
    EXPECT_EQ(differing(panel, flat), 0);
    // The hole of the second stays open: 6.5, 2.5 mm in the child.
    EXPECT_EQ(painted(picture("flat", "top", 10, 10, 36.4 * kMm, 12.4 * kMm, 36.6 * kMm, 12.6 * kMm)), 0);
    EXPECT_EQ(painted(picture("flat", "top", 10, 10, 38.4 * kMm, 12.4 * kMm, 38.6 * kMm, 12.6 * kMm)), 100);
}

TEST(Steps, NestedPanelsCountEveryInstance) {
    makeBoard();
    STEP::set_sr_table(kJob, "panel", {row("pcb", 0, 0, 25 * kMm, 15 * kMm, 2, 3)});
    JOB::create_step(kJob, "sheet");
    STEP::set_sr_table(kJob, "sheet", {row("panel", 0, 0, 60 * kMm, 0, 2, 1), row("pcb", 0, 100 * kMm, 0, 0, 1, 1, 90)});
    addTo("sheet", "top", API::GreatePadString(1 * kMm, 1 * kMm, 0, 1, 0, 0, 1));
    EXPECT_EQ(STEP::flattened_feature_count(kJob, "panel", "top"), 6 * 8);
    EXPECT_EQ(STEP::flattened_feature_count(kJob, "sheet", "top"), 1 + 2 * 6 * 8 + 8);
    EXPECT_EQ(STEP::flattened_feature_count(kJob, "sheet", "bot"), 7 * (2 * 6 + 1));
    // A hit two levels down names both instances.
    const STEP::instance_hit h = STEP::hit_feature(kJob, "sheet", "top", 60 * kMm + 25 * kMm + 17 * kMm,
                                                   15 * kMm + 2 * kMm, 1000);
    ASSERT_TRUE(h.hit);
    ASSERT_EQ(h.path.size(), 2u);
    EXPECT_EQ(h.path[0].ix, 1);
    EXPECT_EQ(h.path[1].ix, 1);
    EXPECT_EQ(h.path[1].iy, 1);
    EXPECT_EQ(h.index, 2);
}

TEST(Steps, TablesThatWouldPlaceAStepInItselfOrNothingAreRefused) {
    makeBoard();
    STEP::set_sr_table(kJob, "panel", {row("pcb", 0, 0, 0, 0, 1, 1)});
    JOB::create_step(kJob, "sheet");
    STEP::set_sr_table(kJob, "sheet", {row("panel", 0, 0, 0, 0, 1, 1)});
    struct Case {
        const char* step;
        sr_row r;
        const char* says;
    } cases[] = {{"panel", row("panel", 0, 0, 0, 0, 1, 1), "cannot place itself"},
                 {"pcb", row("sheet", 0, 0, 0, 0, 1, 1), "places step 'pcb' already"},
                 {"pcb", row("panel", 0, 0, 0, 0, 1, 1), "places step 'pcb' already"},
                 {"panel", row("nowhere", 0, 0, 0, 0, 1, 1), "does not exist"},
                 {"panel", row("pcb", 0, 0, 0, 0, 0, 1), "at least 1"},
                 {"panel", row("pcb", 0, 0, 0, 0, 2, -1), "at least 1"}};
    for (const Case& c : cases) {
        const auto before = STEP::get_sr_table(kJob, c.step);
        try {
            STEP::add_sr_row(kJob, c.step, c.r);
            ADD_FAILURE() << c.says;
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find(c.says), std::string::npos) << e;
        }
        EXPECT_EQ(STEP::get_sr_table(kJob, c.step).size(), before.size());
    }
}

std::vector<std::tuple<int, int, int, double, double>> placed() {
    std::vector<std::tuple<int, int, int, double, double>> out;
    for (const auto& in : STEP::list_instances(kJob, "panel"))
        out.emplace_back(in.box.xmin, in.box.ymin, in.box.xmax, in.angle, in.mirror);
    std::sort(out.begin(), out.end());
    return out;
}

TEST(Steps, EveryEditIsOneUndoStepAndKeepsTheOtherInstancesInPlace) {
    makeBoard();
    STEP::set_sr_table(kJob, "panel", {row("pcb", 0, 0, 25 * kMm, 15 * kMm, 3, 2)});
    const sr_ref middle{0, 1, 0};
    struct Case {
        const char* name;
        std::function<void()> edit;
        size_t instances;
        std::tuple<int, int, int, double, double> expect;  // one instance that must be there after
    } cases[] = {
        {"move", [&] { STEP::move_instances(kJob, "panel", {middle}, 0, 40 * kMm); }, 6,
         {25 * kMm, 40 * kMm, 45 * kMm, 0, 0}},
        {"copy", [&] { STEP::copy_instances(kJob, "panel", {middle}, 0, 40 * kMm); }, 7,
         {25 * kMm, 40 * kMm, 45 * kMm, 0, 0}},
        {"rotate", [&] { STEP::rotate_instances(kJob, "panel", {middle}, 90); }, 6,
         {30 * kMm, -5 * kMm, 40 * kMm, 90, 0}},
        {"delete", [&] { STEP::delete_instances(kJob, "panel", {middle, {0, 2, 1}}); }, 4,
         {50 * kMm, 0, 70 * kMm, 0, 0}},
        {"add", [&] { STEP::add_sr_row(kJob, "panel", row("pcb", 0, 40 * kMm, 0, 0, 1, 1, 0, true)); }, 7,
         {-20 * kMm, 40 * kMm, 0, 0, 1}},
        {"remove", [&] { STEP::remove_sr_row(kJob, "panel", 0); }, 0, {}},
    };
    for (const Case& c : cases) {
        const auto before = placed();
        const auto table = STEP::get_sr_table(kJob, "panel");
        c.edit();
        const auto after = placed();
        EXPECT_EQ(after.size(), c.instances) << c.name;
        if (c.instances) {
            EXPECT_NE(std::find(after.begin(), after.end(), c.expect), after.end()) << c.name;
        }
        // The instances not edited stay where they were.
        if (std::string(c.name) != "remove") {
            for (const auto& t : before) {
                if (t != std::make_tuple(25 * kMm, 0, 45 * kMm, 0.0, 0.0) && t != std::make_tuple(50 * kMm, 15 * kMm, 70 * kMm, 0.0, 0.0)) {
                    EXPECT_NE(std::find(after.begin(), after.end(), t), after.end()) << c.name;
                }
            }
        }
        ASSERT_TRUE(API::undo_last_edit(kJob)) << c.name;
        EXPECT_EQ(placed(), before) << c.name;
        EXPECT_EQ(STEP::get_sr_table(kJob, "panel").size(), table.size()) << c.name;
    }
}

TEST(Steps, APanelIsLaidOutInsideItsMarginsAndGetsRails) {
    makeBoard();
    JOB::add_layer(kJob, "smt", "board", "solder_mask", "positive");
    JOB::add_layer(kJob, "drl", "board", "drill", "positive");
    STEP::panel_params p;
    p.width = 100 * kMm;
    p.height = 80 * kMm;
    p.margin_left = p.margin_right = 5 * kMm;
    p.margin_top = p.margin_bottom = 12 * kMm;
    p.spacing_x = p.spacing_y = 2 * kMm;
    const STEP::panel_report fit = STEP::create_panel(kJob, "panel", "pcb", p);
    // 90 mm across: four 20 mm boards with 2 mm gaps (86 mm); 56 mm up: four 10 mm rows.
    EXPECT_EQ(fit.columns, 4);
    EXPECT_EQ(fit.rows, 4);
    EXPECT_EQ(fit.array_box.xmin, 7 * kMm);
    EXPECT_EQ(fit.array_box.ymin, 17 * kMm);
    EXPECT_EQ(API::profile_box(kJob, "panel").xmax, 100 * kMm);
    p.rotation = 90;
    p.columns = 3;
    const STEP::panel_report turned = STEP::create_panel(kJob, "panel", "pcb", p);
    EXPECT_EQ(turned.columns, 3);
    EXPECT_EQ(turned.rows, 2);  // 20 mm high boards in 56 mm
    const auto instances = STEP::list_instances(kJob, "panel");
    ASSERT_EQ(instances.size(), 6u);
    EXPECT_EQ(instances[0].box.xmin, turned.array_box.xmin);
    EXPECT_EQ(instances[0].box.ymin, turned.array_box.ymin);
    EXPECT_EQ(instances[0].box.xmax - instances[0].box.xmin, 10 * kMm);
    p.columns = 9;
    EXPECT_THROW(STEP::create_panel(kJob, "panel", "pcb", p), API::KernelText);
    p.columns = 0;
    p.rotation = 45;
    EXPECT_THROW(STEP::create_panel(kJob, "panel", "pcb", p), API::KernelText);

    const STEP::rail_report rails = STEP::add_panel_rails(kJob, "panel", {});
    EXPECT_EQ(rails.copper_layers, (API::str_list{"top", "bot"}));
    EXPECT_EQ(rails.mask_layers, (API::str_list{"smt"}));
    EXPECT_EQ(rails.drill_layers, (API::str_list{"drl"}));
    EXPECT_EQ(rails.pads_added, 3 + 3 + 3 + 4);
    EXPECT_EQ(JOB::feature_count(kJob, "panel", "drl"), 4);
    API::featureInfo hole;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "panel", "drl", 2, hole));
    EXPECT_EQ(hole.xs, 95 * kMm);
    EXPECT_EQ(hole.ys, 75 * kMm);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(JOB::feature_count(kJob, "panel", "drl"), 0);
    // A rail too narrow for the holes is refused, naming the instance in the way.
    STEP::rail_params inside;
    inside.fiducial_x_inset = 40 * kMm;
    inside.fiducial_y_inset = 30 * kMm;
    EXPECT_THROW(STEP::add_panel_rails(kJob, "panel", inside), API::KernelText);
    ASSERT_TRUE(API::undo_last_edit(kJob));  // the turned panel
    EXPECT_EQ(STEP::list_instances(kJob, "panel").size(), 16u);
}

TEST(Steps, SavedAndJournalledTablesComeBack) {
    makeBoard();
    const std::string dir = (std::filesystem::temp_directory_path() / "tst_kernel_steps_save").string();
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    const std::string journal = dir + "/steps.journal";
    JOB::set_journal_path(kJob, journal);
    DB::set_SaveFlag(true);
    const std::vector<sr_row> table = mixedTable();
    DB::set_sr_table_db_save(kJob, "panel", table);
    STEP::set_sr_table(kJob, "panel", table);
    DB::move_instances_db_save(kJob, "panel", {{1, 1, 0}}, 3 * kMm, 0);
    STEP::move_instances(kJob, "panel", {{1, 1, 0}}, 3 * kMm, 0);
    DB::set_SaveFlag(false);
    const auto edited = STEP::get_sr_table(kJob, "panel");
    JOB::save_job(kJob, dir);
    JOB::delete_job(kJob);
    JOB::load_job(dir);
    const auto loaded = STEP::get_sr_table(kJob, "panel");
    ASSERT_EQ(loaded.size(), edited.size());
    for (size_t i = 0; i < loaded.size(); ++i) {
        EXPECT_EQ(loaded[i].child, edited[i].child);
        EXPECT_EQ(loaded[i].x, edited[i].x);
        EXPECT_EQ(loaded[i].y, edited[i].y);
        EXPECT_EQ(loaded[i].dx, edited[i].dx);
        EXPECT_EQ(loaded[i].nx, edited[i].nx);
        EXPECT_EQ(loaded[i].ny, edited[i].ny);
        EXPECT_EQ(loaded[i].angle, edited[i].angle);
        EXPECT_EQ(loaded[i].mirror, edited[i].mirror);
    }
    // The journal makes the same table on the board alone.
    STEP::set_sr_table(kJob, "panel", {});
    JOB::replay_journal(journal);
    const auto replayed = STEP::get_sr_table(kJob, "panel");
    ASSERT_EQ(replayed.size(), edited.size());
    EXPECT_EQ(replayed.back().x, edited.back().x);
    EXPECT_EQ(replayed.back().nx, 1);
    std::filesystem::remove_all(dir);
}

}  // namespace

namespace {

TEST(Steps, ChecksOnAPanelSeeEveryInstance) {
    makeBoard();
    JOB::create_step(kJob, "cell");
    addTo("cell", "bot", API::GreatePadString(0, 0, 0, 1, 0, 0, 1));  // r200
    // Two cells 300 um apart: their pads are 100 um apart in the panel only.
    STEP::set_sr_table(kJob, "panel", {row("cell", 0, 0, 300000, 0, 2, 1)});
    CHECKS::check_params p;
    p.error_limit = 150000;
    p.warning_limit = 150000;
    EXPECT_TRUE(CHECKS::spacing(kJob, "cell", {"bot"}, p).empty());
    const auto found = CHECKS::spacing(kJob, "panel", {"bot"}, p);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_NEAR(found[0].value, 100000, 1);
}

}  // namespace
