// Storing, copying and moving features, layer edits, undo and atomicity.
#include <gtest/gtest.h>

#include <functional>

#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "edits";

class Edits : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"a", "b"});
        pen = kt::symbol(kJob, "a", "r100");
        kt::symbol(kJob, "b", "r100");
        for (int k = 0; k < 4; ++k)
            kt::add(kJob, "a", API::GreatePadString(k * 10000, 0, pen, API::POL_POSITIVE, 0, 0, 1));
    }
    API::featureInfo info(const char* layer, int i) {
        API::featureInfo f;
        EXPECT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", layer, i, f));
        return f;
    }
    int count(const char* layer) { return JOB::feature_count(kJob, "pcb", layer); }
    int pen = 0;
};

TEST_F(Edits, AddFeatureStoresOneStringPerLayerOnceAndCanSelectIt) {
    std::string rec = API::GreateLineString(0, 0, 500, 500, pen, API::POL_POSITIVE, 0);
    API::AddFeature(kJob, "pcb", {"a", "b", "a"}, {{"a", rec}, {"b", rec}}, {{".feed", "10"}}, true);
    EXPECT_EQ(count("a"), 5);
    EXPECT_EQ(count("b"), 1);
    std::vector<API::featureInfo> sel;
    API::get_selected_feature_info(kJob, "pcb", "a", sel);
    ASSERT_EQ(sel.size(), 1u);
    EXPECT_EQ(sel[0].index, 4);
    EXPECT_EQ(sel[0].attributes.at(".feed"), "10");
}

TEST_F(Edits, AddFeaturesGivesAttributesByPosition) {
    std::vector<std::string> recs;
    for (int k = 0; k < 3; ++k) recs.push_back(API::GreatePadString(k, k, pen, API::POL_POSITIVE, 0, 0, 1));
    API::AddFeatures(kJob, "pcb", {"b"}, {{"b", recs}}, {{{"x", "0"}}, {{"x", "1"}}});
    EXPECT_EQ(info("b", 0).attributes, (API::attr_map{{"x", "0"}}));
    EXPECT_EQ(info("b", 1).attributes, (API::attr_map{{"x", "1"}}));
    EXPECT_TRUE(info("b", 2).attributes.empty());
}

TEST_F(Edits, MovesAndCopiesActOnTheSelection) {
    struct Case {
        const char* name;
        std::function<void()> edit;
        int features;
        std::vector<double> xs;  // x of every feature afterwards
    };
    const Case cases[] = {
        {"move", [] { API::move_same_layer(kJob, "pcb", {"a"}, 7, -3); }, 4, {0, 10007, 20000, 30007}},
        {"copy", [] { API::copy_features_in_samelayer(kJob, "pcb", {"a"}, 7, -3); }, 6,
         {0, 10000, 20000, 30000, 10007, 30007}},
        {"multi copy",
         [] { API::multi_copy_features_in_samelayer(kJob, "pcb", {"a"}, {{1, 0}, {2, 0}}); }, 8,
         {0, 10000, 20000, 30000, 10001, 30001, 10002, 30002}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        API::select_feature_by_id(kJob, "pcb", "a", 1);
        API::select_feature_by_id(kJob, "pcb", "a", 3);
        c.edit();
        ASSERT_EQ(count("a"), c.features);
        for (int i = 0; i < c.features; ++i) EXPECT_EQ(info("a", i).xs, c.xs[size_t(i)]) << i;
        // Copies come unselected; the originals keep their selection.
        std::vector<API::featureInfo> sel;
        API::get_selected_feature_info(kJob, "pcb", "a", sel);
        EXPECT_EQ(sel.size(), 2u);
        // Undo restores every feature.
        EXPECT_TRUE(API::undo_last_edit(kJob));
        ASSERT_EQ(count("a"), 4);
        for (int i = 0; i < 4; ++i) EXPECT_EQ(info("a", i).xs, i * 10000.0);
    }
}

TEST_F(Edits, SpecifiedFeaturesAreCheckedAgainstTheirRecord) {
    API::featureInfo f = info("a", 2);
    API::move_specified_features(kJob, "pcb", {"a"}, {{"a", {f}}}, 0, 50);
    EXPECT_EQ(info("a", 2).ys, 50);
    // The same description is now stale: nothing moves.
    EXPECT_THROW(API::move_specified_features(kJob, "pcb", {"a"}, {{"a", {f}}}, 0, 50), API::KernelText);
    EXPECT_EQ(info("a", 2).ys, 50);
    API::copy_specified_features(kJob, "pcb", {"a"}, {{"a", {info("a", 2), info("a", 0)}}}, 5, 0);
    EXPECT_EQ(count("a"), 6);
    EXPECT_EQ(info("a", 4).xs, 5);  // copies in layer order
    EXPECT_EQ(info("a", 5).xs, 20005);
}

TEST_F(Edits, UndoWalksBackThroughLayerAndMatrixEdits) {
    EXPECT_TRUE(API::create_new_layer(kJob, "pcb", "new", 0));
    EXPECT_FALSE(API::create_new_layer(kJob, "pcb", "new", -1));  // exists
    auto m = API::get_matrix(kJob);
    ASSERT_EQ(m.size(), 3u);
    EXPECT_EQ(m[0].name, "new");
    EXPECT_EQ(m[1].row, 2);
    API::matrix_info row = m[0];
    row.type = "rout";
    row.name = "route";
    API::change_matrix(kJob, row);
    EXPECT_EQ(API::get_matrix(kJob)[0].name, "route");
    EXPECT_EQ(API::get_graphics(kJob)[1].kind, "rout");
    EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(API::get_matrix(kJob)[0].name, "new");
    EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(API::get_matrix(kJob).size(), 2u);
    // Then the four pads of SetUp, one add at a time.
    for (int k = 3; k >= 0; --k) {
        EXPECT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(count("a"), k);
    }
    EXPECT_FALSE(API::undo_last_edit(kJob));
}

TEST_F(Edits, MovedCopiedAndRestoredTextsKeepTheBoxOfTheirStrokes) {
    // Thirty characters of the largest size reach past 32 bits from most
    // anchors, where their box is clipped.
    auto text = [](double x, double y, int angle) {
        return API::GreateTextString(x, y, std::string(30, 'W'), API::POL_POSITIVE, angle, 1e8, 1e8, 1, "std", 0, 1);
    };
    auto box = [](const API::featureInfo& f) { return std::vector<double>{f.xmin, f.ymin, f.xmax, f.ymax}; };
    struct Case {
        const char* what;
        double x, y;
        int angle, dx, dy;
    };
    const Case cases[] = {
        {"reaching left past the range, moved right", -1e9, 0, 180, 1000, 0},
        {"reaching right past the range, moved right", 999999000, 0, 0, 1000, 0},
        {"reaching down past the range, moved up", 0, -1e9, 270, 0, 1000},
        {"reaching up, moved left and down", 5000, 5000, 90, -1000, -1000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SetUp();
        kt::add(kJob, "b", text(c.x, c.y, c.angle));
        const std::vector<double> original = box(info("b", 0));
        // The box of the same text built at the new anchor.
        kt::add(kJob, "a", text(c.x + c.dx, c.y + c.dy, c.angle));
        const std::vector<double> expected = box(info("a", count("a") - 1));
        ASSERT_NE(expected, original);
        API::select_feature_by_id(kJob, "pcb", "b", 0);
        API::move_same_layer(kJob, "pcb", {"b"}, c.dx, c.dy);
        EXPECT_EQ(box(info("b", 0)), expected) << "moved";
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(box(info("b", 0)), original) << "moved back by undo";
        API::copy_features_in_samelayer(kJob, "pcb", {"b"}, c.dx, c.dy);
        EXPECT_EQ(box(info("b", 1)), expected) << "copied";
    }
}

TEST_F(Edits, AFailingCallLeavesTheJobAsItWas) {
    API::select_feature_by_id(kJob, "pcb", "a", 0);
    API::select_feature_by_id(kJob, "pcb", "a", 3);
    const std::vector<API::featureInfo> before = kt::snapshot(kJob);
    const std::string good = API::GreatePadString(1, 1, pen, API::POL_POSITIVE, 0, 0, 1);
    struct Case {
        const char* what;
        std::function<void()> call;
    };
    const Case cases[] = {
        {"second layer's string is bad",
         [&] { API::AddFeature(kJob, "pcb", {"a", "b"}, {{"a", good}, {"b", "L 1"}}, {}, false); }},
        {"string missing for a layer", [&] { API::AddFeature(kJob, "pcb", {"a", "b"}, {{"a", good}}, {}, false); }},
        {"last of many strings is bad",
         [&] { API::AddFeatures(kJob, "pcb", {"a"}, {{"a", {good, good, "P 0 0 9 P 0 0 1"}}}, {}); }},
        {"unknown layer", [&] { API::move_same_layer(kJob, "pcb", {"a", "zz"}, 1, 1); }},
        {"unknown step", [&] { API::copy_features_in_samelayer(kJob, "zz", {"a"}, 1, 1); }},
        {"move out of range", [&] { API::move_same_layer(kJob, "pcb", {"a"}, 2000000000, 0); }},
        {"one offset out of range",
         [&] { API::multi_copy_features_in_samelayer(kJob, "pcb", {"a"}, {{1, 1}, {0, -2000000000}}); }},
        {"index out of range",
         [&] {
             API::featureInfo f;
             f.index = 99;
             API::move_specified_features(kJob, "pcb", {"a"}, {{"a", {f}}}, 1, 1);
         }},
        {"bad matrix row",
         [&] {
             API::matrix_info row = API::get_matrix(kJob)[0];
             row.context = "nowhere";
             API::change_matrix(kJob, row);
         }},
        {"rename onto another layer",
         [&] {
             API::matrix_info row = API::get_matrix(kJob)[0];
             row.name = "b";
             API::change_matrix(kJob, row);
         }},
        {"unknown job", [&] { API::undo_last_edit("nojob"); }},
    };
    for (const Case& c : cases) {
        EXPECT_THROW(c.call(), API::KernelText) << c.what;
        EXPECT_EQ(kt::snapshot(kJob), before) << c.what;
        EXPECT_EQ(API::get_matrix(kJob)[0].name, "a") << c.what;
    }
    // And the undo history did not grow: the last edit is still the fourth pad.
    EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(count("a"), 3);
}

}  // namespace
