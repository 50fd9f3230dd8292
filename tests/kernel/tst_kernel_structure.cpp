// Jobs, steps, the layer matrix, profiles and the canvas.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

class Structure : public ::testing::Test {
protected:
    void SetUp() override {
        if (JOB::job_exists("j")) JOB::delete_job("j");
        JOB::create_job("j");
        JOB::create_step("j", "pcb");
        JOB::add_layer("j", "top", "board", "signal", "positive");
        JOB::add_layer("j", "drl", "board", "drill", "positive");
        JOB::add_layer("j", "rt", "board", "rout", "positive");
        JOB::add_layer("j", "g", "misc", "gds", "positive");
    }
};

TEST_F(Structure, GraphicsListStepsAndLayerKinds) {
    auto g = API::get_graphics("j");
    ASSERT_EQ(g.size(), 5u);
    std::vector<std::pair<std::string, std::string>> expected = {
        {"step", "pcb"}, {"layer", "top"}, {"layer", "drl"}, {"rout", "rt"}, {"GDS", "g"}};
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(g[i].kind, expected[i].first) << i;
        EXPECT_EQ(g[i].name, expected[i].second) << i;
    }
}

TEST_F(Structure, ProfileBoxIsTheOutlineExtent) {
    EXPECT_FALSE(API::has_profile("j", "pcb"));
    JOB::set_profile("j", "pcb", {{-10, 5}, {300, 5}, {300, 207.5}, {-10, 207.5}});
    EXPECT_TRUE(API::has_profile("j", "pcb"));
    API::reply_box b = API::profile_box("j", "pcb");
    EXPECT_EQ(b, (API::reply_box{-10, 5, 300, 208}));
}

TEST_F(Structure, LayerAndStepBoxesFollowMovesCopiesAndUndo) {
    // Pads of 100 um (+-50000 nm): two on "top", one on "drl" below them.
    for (const char* layer : {"top", "drl"}) {
        int s = -1;
        API::create_new_symbol("j", "pcb", layer, "r100", s);
    }
    auto pad = [](const char* layer, double x, double y) {
        API::AddFeature("j", "pcb", {layer}, {{layer, API::GreatePadString(x, y, 0, API::POL_POSITIVE, 0, 0, 1)}},
                        {}, false);
    };
    pad("top", 0, 0);
    pad("top", 500000, 0);
    pad("drl", 0, -1000000);
    struct Step {
        const char* what;
        std::function<void()> edit;
        API::reply_box top, all;  // layer_box of "top"; profile_box without a profile
    };
    const API::reply_box start{-50000, -50000, 550000, 50000}, moved{450000, -50000, 1050000, 50000};
    const Step steps[] = {
        {"as added", [] {}, start, {-50000, -1050000, 550000, 50000}},
        {"the pad on the left edge moved right",
         [] {
             API::select_feature_by_id("j", "pcb", "top", 0);
             API::move_same_layer("j", "pcb", {"top"}, 1000000, 0);
         },
         moved, {-50000, -1050000, 1050000, 50000}},
        {"and up", [] { API::move_same_layer("j", "pcb", {"top"}, 0, 2000000); }, {450000, -50000, 1050000, 2050000},
         {-50000, -1050000, 1050000, 2050000}},
        {"undone", [] { API::undo_last_edit("j"); }, moved, {-50000, -1050000, 1050000, 50000}},
        {"copied far left", [] { API::copy_features_in_samelayer("j", "pcb", {"top"}, -2000000, 0); },
         {-1050000, -50000, 1050000, 50000}, {-1050000, -1050000, 1050000, 50000}},
        {"copy undone", [] { API::undo_last_edit("j"); }, moved, {-50000, -1050000, 1050000, 50000}},
        {"move undone", [] { API::undo_last_edit("j"); }, start, {-50000, -1050000, 550000, 50000}},
    };
    for (const Step& s : steps) {
        s.edit();
        EXPECT_EQ(API::layer_box("j", "pcb", "top"), s.top) << s.what;
        EXPECT_EQ(API::profile_box("j", "pcb"), s.all) << s.what;
    }
}

TEST_F(Structure, DensityCountsFeatureCentresPerCell) {
    int s = -1;
    API::create_new_symbol("j", "pcb", "top", "r100", s);
    // A 4 x 2 grid over (0,0)-(4000000,2000000): cells of 1 mm.
    struct Pad { double x, y; int cell; };  // cell -1: not counted
    const Pad pads[] = {
        {500000, 500000, 0},      {3500000, 500000, 3},   {500000, 1500000, 4},
        {999999, 999999, 0},      {1000000, 1000000, 5},  // a centre on a cell edge goes up and right
        {4000000, 2000000, 7},    // the far corner belongs to the last cell
        {-1, 500000, -1},         {500000, 2000001, -1},  // just outside
    };
    std::vector<int> expected(8, 0);
    for (const Pad& p : pads) {
        API::AddFeature("j", "pcb", {"top"}, {{"top", API::GreatePadString(p.x, p.y, s, API::POL_POSITIVE, 0, 0, 1)}},
                        {}, false);
        if (p.cell >= 0) ++expected[size_t(p.cell)];
    }
    // A line counts at the centre of its box, whatever its ends.
    API::AddFeature("j", "pcb", {"top"}, {{"top", API::GreateLineString(0, 0, 4000000, 1000000, s, API::POL_POSITIVE, 0)}},
                    {}, false);
    ++expected[2];
    EXPECT_EQ(API::feature_density("j", "pcb", "top", {0, 0, 4000000, 2000000}, 4, 2), expected);
    EXPECT_EQ(API::feature_density("j", "pcb", "drl", {0, 0, 4000000, 2000000}, 4, 2), std::vector<int>(8, 0));
    for (auto [cols, rows] : {std::pair{0, 2}, {4, -1}, {5000, 1}})
        EXPECT_THROW(API::feature_density("j", "pcb", "top", {0, 0, 1, 1}, cols, rows), API::KernelText) << cols;
    EXPECT_THROW(API::feature_density("j", "pcb", "top", {0, 0, 0, 1}, 1, 1), API::KernelText);
    EXPECT_THROW(API::feature_density("j", "pcb", "nolayer", {0, 0, 1, 1}, 1, 1), API::KernelText);
}

TEST_F(Structure, UnknownNamesThrowText) {
    EXPECT_THROW(API::profile_box("nojob", "pcb"), API::KernelText);
    EXPECT_THROW(API::profile_box("j", "nostep"), API::KernelText);
    EXPECT_THROW(JOB::add_layer("j", "top", "board", "signal", "positive"), API::KernelText);
    EXPECT_THROW(JOB::add_layer("j", "x", "boardx", "signal", "positive"), API::KernelText);
    EXPECT_THROW(JOB::create_step("j", "pcb"), API::KernelText);
    EXPECT_EQ(API::get_matrix("j").size(), 4u);
}

TEST(Canvas, SizesAndClearing) {
    struct Case { int w, h, ew, eh; };
    const Case cases[] = {{4, 3, 4, 3}, {0, 0, 0, 0}, {-5, 7, 0, 0}, {1, 1, 1, 1}};
    for (const Case& c : cases) {
        API::init_canvas(c.w, c.h);
        int w = -1, h = -1;
        unsigned char* p = API::canvas(w, h);
        EXPECT_EQ(w, c.ew);
        EXPECT_EQ(h, c.eh);
        if (w * h == 0) continue;
        ASSERT_NE(p, nullptr);
        // A new canvas and a cleared one are opaque black in every pixel.
        auto expectBackground = [&](const char* when) {
            for (int k = 0; k < w * h; ++k) {
                const unsigned char* q = p + k * 4;
                ASSERT_TRUE(q[0] == 0 && q[1] == 0 && q[2] == 0 && q[3] == 255)
                    << when << ": pixel " << k << " is (" << int(q[0]) << ", " << int(q[1]) << ", "
                    << int(q[2]) << ", " << int(q[3]) << ")";
            }
        };
        expectBackground("new");
        p[0] = 7;
        p[3] = 0;
        p[w * h * 4 - 1] = 9;
        p[w * h * 4 - 2] = 9;
        API::clear_canvas();
        expectBackground("cleared");
    }
}

TEST(Canvas, ViewBoxRejectsInvertedAndNaNAndDrawsNothingWithoutArea) {
    EXPECT_THROW(API::zoom_to_box(0, 0, -1, 10), API::KernelText);
    EXPECT_THROW(API::zoom_to_box(0, 0, std::nan(""), 10), API::KernelText);
    EXPECT_THROW(API::zoom_to_box(0, 0, 10, INFINITY), API::KernelText);
    if (JOB::job_exists("z")) JOB::delete_job("z");
    JOB::create_job("z");
    JOB::create_step("z", "pcb");
    JOB::add_layer("z", "a", "board", "signal", "positive");
    int s = -1;
    API::create_new_symbol("z", "pcb", "a", "r5", s);
    API::AddFeature("z", "pcb", {"a"}, {{"a", API::GreatePadString(5000, 5000, s, 1, 0, 0, 1)}}, {}, false);
    API::create_new_symbol("z", "pcb", "a", "s4", s);
    API::AddFeature("z", "pcb", {"a"}, {{"a", API::GreatePadString(5000, 6000, s, 1, 0, 0, 1)}}, {}, false);
    JOB::set_profile("z", "pcb", {{1000, 1000}, {9000, 1000}, {9000, 9000}, {1000, 9000}});
    API::init_canvas(10, 10);
    int w, h;
    unsigned char* p = API::canvas(w, h);
    // Views not laid out yet: no width, no height, or neither; without
    // height also through the round pad's centre, the square pad and the
    // profile's edge.
    const double noArea[][4] = {{0, 0, 0, 10}, {0, 0, 10, 0}, {0, 5, 10, 5}, {0, 1, 10, 1}, {3, 3, 3, 3}};
    for (const auto& b : noArea) {
        SCOPED_TRACE(b[0] == b[2] ? "no width" : "no height");
        API::zoom_to_box(b[0], b[1], b[2], b[3]);
        API::draw_layer("z", "pcb", "a", 255, 0, 0, 255);
        API::draw_profile("z", "pcb", 0, 255, 0, 255);
        for (int i = 0; i < w * h * 4; ++i) ASSERT_EQ(p[i], i % 4 == 3 ? 255 : 0) << b[1] << " pixel byte " << i;
    }
    API::zoom_to_box(0, 0, 10, 10);
    API::draw_layer("z", "pcb", "a", 255, 0, 0, 255);
    EXPECT_EQ(p[(5 * 10 + 5) * 4], 255);
}

}  // namespace
