// Selection by outline, filter and parameters, and the selection queries.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "kernel_test_util.h"

using namespace TOLVA;

namespace {

const char* const kJob = "select";

std::vector<API::point> box(int x0, int y0, int x1, int y1) {
    return {{x0, y0}, {x0, y1}, {x1, y1}, {x1, y0}};
}

class Selection : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"a"});
        API::set_select_param(API::select_param{});
    }
    int selectBox(const std::vector<API::point>& poly, const API::select_filter& filter = {}) {
        return API::select_features(kJob, "pcb", "a", poly, filter, 0, 1).selected;
    }
};

TEST_F(Selection, AFeatureIsHitByItsOutlineNotItsCentreLine) {
    struct Case {
        const char* what;
        const char* symbol;
        std::string record;  // symbol index 0
        std::vector<API::point> polygon;
        bool hit;
    };
    const Case cases[] = {
        // A line 1 mm wide along y = 0: its edge is at y = 500 um.
        {"edge of a thick line", "r1000", "L 0 0 100000 0 0 P 0", box(40000, 400000, 60000, 600000), true},
        {"just beyond the edge", "r1000", "L 0 0 100000 0 0 P 0", box(40000, 500001, 60000, 600000), false},
        {"beyond the round end", "r1000", "L 0 0 100000 0 0 P 0", box(-600000, -10, -500001, 10), false},
        {"at the round end", "r1000", "L 0 0 100000 0 0 P 0", box(-600000, -10, -499999, 10), true},
        {"corner of a square end", "s1000", "L 0 0 100000 0 0 P 0", box(-500000, 490000, -490000, 500000), true},
        {"round end misses that corner", "r1000", "L 0 0 100000 0 0 P 0", box(-500000, 490000, -490000, 500000), false},
        {"rect pad corner", "rect200x100", "P 0 0 0 P 0 0 1", box(99000, 49000, 120000, 70000), true},
        {"rotated rect pad misses", "rect200x100", "P 0 0 0 P 90 0 1", box(99000, 49000, 120000, 70000), false},
        {"inside a donut's hole", "donut_r1000x800", "P 0 0 0 P 0 0 1", box(-100000, -100000, 100000, 100000), false},
        {"on a donut's ring", "donut_r1000x800", "P 0 0 0 P 0 0 1", box(420000, -10, 430000, 10), true},
        {"polygon inside a surface", "r1", "S P 0 1 4 0 0 100 0 100 100 0 100", box(40, 40, 60, 60), true},
        {"polygon inside a surface hole", "r1",
         "S P 0 2 4 0 0 100 0 100 100 0 100 4 30 30 70 30 70 70 30 70", box(40, 40, 60, 60), false},
        {"arc's far side is not on its sweep", "r0.01", "A 1000 0 0 1000 0 0 0 P 0 CCW", box(-1010, -10, -990, 10), false},
        {"clockwise arc passes there", "r0.01", "A 1000 0 0 1000 0 0 0 P 0 CW", box(-1010, -10, -990, 10), true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SetUp();
        kt::symbol(kJob, "a", c.symbol);
        kt::add(kJob, "a", c.record);
        EXPECT_EQ(selectBox(c.polygon), c.hit ? 1 : 0);
        EXPECT_EQ(API::is_selected(kJob, "pcb", "a"), c.hit);
    }
}

TEST_F(Selection, ParametersFilterKindsPolarityAndInsideOnly) {
    int s = kt::symbol(kJob, "a", "r100");
    kt::add(kJob, "a", API::GreateLineString(0, 0, 1000000, 0, s, API::POL_POSITIVE, 0));
    kt::add(kJob, "a", API::GreatePadString(500000, 0, s, API::POL_NEGATIVE, 0, 0, 1));
    kt::add(kJob, "a", API::GreatePadString(5000000, 0, s, API::POL_POSITIVE, 0, 0, 1));
    struct Case {
        const char* what;
        API::select_param param;
        int selected;
    };
    API::select_param all, noLines, noNegative, inside;
    noLines.lines = false;
    noNegative.negative = false;
    inside.inside_only = true;
    const Case cases[] = {{"all", all, 2}, {"no lines", noLines, 1}, {"no negative", noNegative, 1}, {"inside only", inside, 1}};
    for (const Case& c : cases) {
        API::set_select_param(c.param);
        EXPECT_EQ(API::get_select_param(), c.param);
        // The box holds the pad whole but cuts the line.
        EXPECT_EQ(selectBox(box(200000, -300000, 800000, 300000)), c.selected) << c.what;
    }
    API::set_select_param(noLines);
    EXPECT_EQ(API::select_features(kJob, "pcb", "a"), 2);  // the two pads
}

TEST_F(Selection, AttributeFilterIncludesExcludesAndReportsDropped) {
    int s = kt::symbol(kJob, "a", "r100");
    int t = kt::symbol(kJob, "a", "s100");
    kt::add(kJob, "a", API::GreatePadString(0, 0, s, API::POL_POSITIVE, 0, 0, 1), {{".comp", "U1"}});
    kt::add(kJob, "a", API::GreatePadString(10, 0, t, API::POL_POSITIVE, 0, 0, 1), {{".comp", "U2"}});
    kt::add(kJob, "a", API::GreatePadString(20, 0, s, API::POL_NEGATIVE, 0, 0, 1));
    const auto all = box(-1000, -1000, 1000, 1000);
    struct Case {
        const char* what;
        API::select_filter filter;
        std::vector<int> selected;
    };
    const Case cases[] = {
        {"none", {}, {0, 1, 2}},
        {"attribute any value", {{{".comp", ""}}, {}}, {0, 1}},
        {"attribute value", {{{".comp", "U2"}}, {}}, {1}},
        {"symbol", {{{"SymbolText", "r100"}}, {}}, {0, 2}},
        {"polarity", {{{"Polarity", "NEG"}}, {}}, {2}},
        {"exclude", {{}, {{"Polarity", "NEG"}}}, {0, 1}},
        {"include and exclude", {{{"SymbolText", "r100"}}, {{".comp", "U1"}}}, {2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        API::select_features(kJob, "pcb", "a", all, c.filter, 0, 1);
        std::vector<API::featureInfo> sel;
        API::get_selected_feature_info(kJob, "pcb", "a", sel);
        std::vector<int> got;
        for (const auto& f : sel) got.push_back(f.index);
        EXPECT_EQ(got, c.selected);
    }
    // Already selected features that an exclude entry rejects come back for the caller.
    API::select_features(kJob, "pcb", "a");
    API::select_report r = API::select_features(kJob, "pcb", "a", all, {{}, {{".comp", "U2"}}}, 0, 0);
    ASSERT_EQ(r.dropped.size(), 1u);
    EXPECT_EQ(r.dropped[0].index, 1);
    API::unselect_feature_by_info(kJob, "pcb", "a", r.dropped[0]);
    std::vector<API::featureInfo> sel;
    API::get_selected_feature_info(kJob, "pcb", "a", sel);
    EXPECT_EQ(sel.size(), 2u);
}

TEST_F(Selection, UnselectAndClearAndSingleFeatures) {
    int s = kt::symbol(kJob, "a", "r100");
    for (int k = 0; k < 3; ++k) kt::add(kJob, "a", API::GreatePadString(k * 1000000, 0, s, API::POL_POSITIVE, 0, 0, 1));
    API::select_features(kJob, "pcb", "a");
    API::select_features(kJob, "pcb", "a", box(900000, -10, 1100000, 10), {}, 1, 0);  // unselect the middle one
    std::vector<API::featureInfo> sel;
    API::get_selected_feature_info(kJob, "pcb", "a", sel);
    ASSERT_EQ(sel.size(), 2u);
    EXPECT_EQ(sel[1].index, 2);
    EXPECT_EQ(JOB::selected_count(kJob, "pcb", "a"), 2);
    API::clear_selected_features(kJob, "pcb", "a");
    EXPECT_FALSE(API::is_selected(kJob, "pcb", "a"));
    EXPECT_EQ(JOB::selected_count(kJob, "pcb", "a"), 0);
    API::select_feature_by_id(kJob, "pcb", "a", 2);
    EXPECT_TRUE(API::is_selected(kJob, "pcb", "a"));
    API::unselect_features(kJob, "pcb", "a");
    EXPECT_FALSE(API::is_selected(kJob, "pcb", "a"));
    API::featureInfo f;
    EXPECT_FALSE(API::get_featureinfo_by_index(kJob, "pcb", "a", 3, f));
    EXPECT_FALSE(API::get_featureinfo_by_index(kJob, "pcb", "a", -1, f));
    EXPECT_THROW(API::select_feature_by_id(kJob, "pcb", "a", 3), API::KernelText);
    EXPECT_THROW(API::select_features(kJob, "pcb", "a", {}, {}, 0, 0), API::KernelText);
    EXPECT_THROW(API::select_features(kJob, "pcb", "a", box(0, 0, 1, 1), {}, 2, 0), API::KernelText);
    f.index = 0;
    f.record = "P 5 5 0 P 0 0 1";  // not the feature at index 0
    EXPECT_THROW(API::unselect_feature_by_info(kJob, "pcb", "a", f), API::KernelText);
}

TEST_F(Selection, MovedFeaturesAreFoundAtTheirNewPlace) {
    int s = kt::symbol(kJob, "a", "r0.1");
    for (int k = 0; k < 50; ++k) kt::add(kJob, "a", API::GreatePadString(k * 1000, 0, s, API::POL_POSITIVE, 0, 0, 1));
    EXPECT_EQ(selectBox(box(-100, -100, 100, 100)), 1);  // builds the index
    API::move_same_layer(kJob, "pcb", {"a"}, 0, 100000);
    EXPECT_EQ(selectBox(box(-100, -100, 100, 100)), 0);
    EXPECT_EQ(selectBox(box(-100, 99900, 100, 100100)), 1);
    API::undo_last_edit(kJob);
    EXPECT_EQ(selectBox(box(-100, -100, 100, 100)), 1);
}

// Every combination that matters of the select parameters (kinds,
// polarities, inside_only) and the attribute filter, on one feature of each
// kind and polarity, through both overloads and both operations. The
// whole-layer overload has no polygon and no filter: inside_only asks nothing
// of it (the whole layer is inside).
TEST_F(Selection, BothOverloadsHonourTheParametersAndThePolygonOneTheFilter) {
    const int r = kt::symbol(kJob, "a", "r100"), s = kt::symbol(kJob, "a", "s100");
    auto square = [](double x) {
        return std::vector<API::lPoint>{{x, -200000}, {x + 400000, -200000}, {x + 400000, 200000}, {x, 200000}};
    };
    // One millimetre apart along y = 0; index: kind, polarity.
    kt::add(kJob, "a", API::GreateLineString(0, 0, 500000, 0, r, API::POL_POSITIVE, 0), {{".net", "GND"}});  // 0
    kt::add(kJob, "a", API::GreateLineString(1e6, 0, 1.5e6, 0, r, API::POL_NEGATIVE, 0));                    // 1
    kt::add(kJob, "a", API::GreatePadString(2e6, 0, s, API::POL_POSITIVE, 0, 0, 1), {{".comp", "U1"}});        // 2
    kt::add(kJob, "a", API::GreatePadString(3e6, 0, r, API::POL_NEGATIVE, 0, 0, 1));                         // 3
    kt::add(kJob, "a", API::GreateArcString(4.3e6, 0, 4.3e6, 0, 4e6, 0, r, API::POL_POSITIVE, 0, true),
            {{".net", "VCC"}});                                                                               // 4
    kt::add(kJob, "a", API::GreateSurfaceString(square(5e6), API::POL_POSITIVE, 0, true));                   // 5
    kt::add(kJob, "a", API::GreateSurfaceString(square(6e6), API::POL_NEGATIVE, 0, true), {{".comp", "U2"}});  // 6
    kt::add(kJob, "a", API::GreateTextString(7e6, 0, "A", API::POL_POSITIVE, 0, 200000, 200000, 1, "std", 0, 1));  // 7
    kt::add(kJob, "a", API::GreateTextString(8e6, 0, "B", API::POL_NEGATIVE, 0, 200000, 200000, 1, "std", 0, 1));  // 8
    const std::vector<int> everything = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    // Holds every feature whole.
    const auto all = box(-1000000, -1000000, 9000000, 1000000);
    // Cuts the line 0 and the surface 5, holds 1 to 4 whole, misses 6 to 8.
    const auto cut = box(250000, -1000000, 5200000, 1000000);

    auto param = [](std::function<void(API::select_param&)> change) {
        API::select_param p;
        change(p);
        return p;
    };
    const auto same = [](API::select_param&) {};
    struct Case {
        const char* what;
        API::select_param param;
        std::vector<API::point> polygon;
        API::select_filter filter;
        std::vector<int> polygonSelects;  // also what unselecting with it takes away
        std::vector<int> layerSelects;    // select_features(job, step, layer)
        std::vector<int> dropped;         // excluded among them while all are selected
    };
    const Case cases[] = {
        {"defaults", param(same), all, {}, everything, everything, {}},
        {"no lines", param([](API::select_param& p) { p.lines = false; }), all, {}, {2, 3, 4, 5, 6, 7, 8}, {2, 3, 4, 5, 6, 7, 8}, {}},
        {"no pads", param([](API::select_param& p) { p.pads = false; }), all, {}, {0, 1, 4, 5, 6, 7, 8}, {0, 1, 4, 5, 6, 7, 8}, {}},
        {"no arcs", param([](API::select_param& p) { p.arcs = false; }), all, {}, {0, 1, 2, 3, 5, 6, 7, 8}, {0, 1, 2, 3, 5, 6, 7, 8}, {}},
        {"no surfaces", param([](API::select_param& p) { p.surfaces = false; }), all, {}, {0, 1, 2, 3, 4, 7, 8}, {0, 1, 2, 3, 4, 7, 8}, {}},
        {"no texts", param([](API::select_param& p) { p.texts = false; }), all, {}, {0, 1, 2, 3, 4, 5, 6}, {0, 1, 2, 3, 4, 5, 6}, {}},
        {"no positive", param([](API::select_param& p) { p.positive = false; }), all, {}, {1, 3, 6, 8}, {1, 3, 6, 8}, {}},
        {"no negative", param([](API::select_param& p) { p.negative = false; }), all, {}, {0, 2, 4, 5, 7}, {0, 2, 4, 5, 7}, {}},
        {"only texts and surfaces, negative",
         param([](API::select_param& p) { p.lines = p.pads = p.arcs = p.positive = false; }), all, {}, {6, 8}, {6, 8}, {}},
        {"nothing", param([](API::select_param& p) { p.positive = p.negative = false; }), all, {}, {}, {}, {}},
        {"touching", param(same), cut, {}, {0, 1, 2, 3, 4, 5}, everything, {}},
        {"inside only", param([](API::select_param& p) { p.inside_only = true; }), cut, {}, {1, 2, 3, 4}, everything, {}},
        {"inside only, holding all whole", param([](API::select_param& p) { p.inside_only = true; }), all, {}, everything, everything, {}},
        {"inside only, no negative", param([](API::select_param& p) { p.inside_only = true; p.negative = false; }),
         cut, {}, {2, 4}, {0, 2, 4, 5, 7}, {}},
        {"negative polarity without pads", param([](API::select_param& p) { p.pads = false; }), all,
         {{{"Polarity", "NEG"}}, {}}, {1, 6, 8}, {0, 1, 4, 5, 6, 7, 8}, {}},
        {"symbol without lines", param([](API::select_param& p) { p.lines = false; }), all,
         {{{"SymbolText", "r100"}}, {}}, {3, 4}, {2, 3, 4, 5, 6, 7, 8}, {}},
        {"attribute without negative", param([](API::select_param& p) { p.negative = false; }), all,
         {{{".comp", ""}}, {}}, {2}, {0, 2, 4, 5, 7}, {}},
        {"exclude attribute without texts", param([](API::select_param& p) { p.texts = false; }), all,
         {{}, {{".net", ""}}}, {1, 2, 3, 5, 6}, {0, 1, 2, 3, 4, 5, 6}, {0, 4}},
        {"exclude attribute without pads", param([](API::select_param& p) { p.pads = false; }), all,
         {{}, {{".comp", ""}}}, {0, 1, 4, 5, 7, 8}, {0, 1, 4, 5, 6, 7, 8}, {6}},
        {"include positive inside only", param([](API::select_param& p) { p.inside_only = true; }), cut,
         {{{"Polarity", "POS"}}, {}}, {2, 4}, everything, {}},
        {"include value, exclude positive", param(same), all,
         {{{".net", "VCC"}}, {{"Polarity", "POS"}}}, {}, everything, {0, 2, 4, 5, 7}},
    };
    auto selected = [] {
        std::vector<API::featureInfo> sel;
        API::get_selected_feature_info(kJob, "pcb", "a", sel);
        std::vector<int> out;
        for (const API::featureInfo& f : sel) out.push_back(f.index);
        return out;
    };
    auto indices = [](const std::vector<API::featureInfo>& list) {
        std::vector<int> out;
        for (const API::featureInfo& f : list) out.push_back(f.index);
        return out;
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        API::set_select_param(c.param);
        // Select into an empty selection.
        API::select_report rep = API::select_features(kJob, "pcb", "a", c.polygon, c.filter, 0, 1);
        EXPECT_EQ(selected(), c.polygonSelects);
        EXPECT_EQ(rep.selected, int(c.polygonSelects.size()));
        // Unselect from a full selection.
        API::set_select_param(API::select_param{});
        API::select_features(kJob, "pcb", "a");
        API::set_select_param(c.param);
        rep = API::select_features(kJob, "pcb", "a", c.polygon, c.filter, 1, 0);
        std::vector<int> rest;
        for (int i : everything)
            if (std::find(c.polygonSelects.begin(), c.polygonSelects.end(), i) == c.polygonSelects.end()) rest.push_back(i);
        EXPECT_EQ(selected(), rest) << "unselecting";
        EXPECT_EQ(indices(rep.dropped), c.dropped) << "unselecting";
        // Select into a full selection: the excluded come back to the caller.
        API::set_select_param(API::select_param{});
        API::select_features(kJob, "pcb", "a");
        API::set_select_param(c.param);
        rep = API::select_features(kJob, "pcb", "a", c.polygon, c.filter, 0, 0);
        EXPECT_EQ(indices(rep.dropped), c.dropped) << "selecting";
        EXPECT_EQ(selected(), everything);
        // The whole layer.
        API::clear_selected_features(kJob, "pcb", "a");
        EXPECT_EQ(API::select_features(kJob, "pcb", "a"), int(c.layerSelects.size()));
        EXPECT_EQ(selected(), c.layerSelects);
        API::clear_selected_features(kJob, "pcb", "a");
    }
}

// ---- features in a box --------------------------------------------------

API::reply_box rbox(int x0, int y0, int x1, int y1) { return {x0, y0, x1, y1}; }

std::vector<int> indicesInBox(const API::reply_box& b) {
    std::vector<API::featureInfo> list;
    API::get_features_in_box(kJob, "pcb", "a", b, list);
    std::vector<int> out;
    for (const API::featureInfo& f : list) out.push_back(f.index);
    return out;
}

class FeaturesInBox : public Selection {
protected:
    void SetUp() override {
        Selection::SetUp();
        const int thick = kt::symbol(kJob, "a", "r1000"), pad = kt::symbol(kJob, "a", "s200"),
                  thin = kt::symbol(kJob, "a", "r10");
        // 0: a line 1 mm wide along y = 0 (edge at y = 500 um).
        kt::add(kJob, "a", API::GreateLineString(0, 0, 10000000, 0, thick, API::POL_POSITIVE, 0));
        // 1: a square pad at (20 mm, 0), edges at +-100 um.
        kt::add(kJob, "a", API::GreatePadString(20000000, 0, pad, API::POL_POSITIVE, 0, 0, 1));
        // 2: a negative thin line crossing the thick one at x = 5 mm.
        kt::add(kJob, "a", API::GreateLineString(5000000, -2000000, 5000000, 2000000, thin, API::POL_NEGATIVE, 0));
        // 3: a surface, a square 1 mm from (30 mm, 0).
        kt::add(kJob, "a", API::GreateSurfaceString({{30000000, 0}, {31000000, 0}, {31000000, 1000000}, {30000000, 1000000}},
                                                    API::POL_POSITIVE, 0, true));
    }
};

TEST_F(FeaturesInBox, FindsTheFeaturesWhoseOutlineMeetsTheBoxInLayerOrder) {
    struct Case {
        const char* what;
        API::reply_box box;
        std::vector<int> expected;
    };
    const Case cases[] = {
        {"edge of the thick line, its centre line far off", rbox(1000000, 400000, 2000000, 600000), {0}},
        {"just beyond the thick line's edge", rbox(1000000, 500001, 2000000, 600000), {}},
        {"beyond the thick line's round end", rbox(-600000, -10, -500001, 10), {}},
        {"touching the round end", rbox(-600000, -10, -500000, 10), {0}},
        {"in the line's box but off its round end", rbox(-500000, 490000, -490000, 500000), {}},
        {"a point on the pad's edge", rbox(20100000, 50000, 20100000, 50000), {1}},
        {"just right of the pad", rbox(20100001, -50000, 20200000, 50000), {}},
        {"crossing, negative included, layer order", rbox(4990000, -10, 5010000, 10), {0, 2}},
        {"inside the surface", rbox(30400000, 400000, 30600000, 600000), {3}},
        {"just outside the surface", rbox(31000001, 0, 31100000, 1000000), {}},
        {"everything", rbox(-10000000, -10000000, 40000000, 10000000), {0, 1, 2, 3}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(indicesInBox(c.box), c.expected);
    }
}

TEST_F(FeaturesInBox, ReturnsFullRecordsAndLeavesTheSelectionAndParametersAlone) {
    API::select_feature_by_id(kJob, "pcb", "a", 1);
    API::select_param param;
    param.lines = false;  // the query ignores the select parameters
    API::set_select_param(param);
    std::vector<API::featureInfo> before;
    API::get_selected_feature_info(kJob, "pcb", "a", before);

    std::vector<API::featureInfo> list(3);  // stale entries are dropped
    API::get_features_in_box(kJob, "pcb", "a", rbox(-1000, -1000, 25000000, 1000), list);
    ASSERT_EQ(list.size(), 3u);
    for (const API::featureInfo& f : list) {
        API::featureInfo byIndex;
        ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "a", f.index, byIndex));
        EXPECT_EQ(f, byIndex);
    }
    EXPECT_EQ(list[0].type, API::FT_LINE);
    EXPECT_EQ(list[1].type, API::FT_PAD);

    std::vector<API::featureInfo> after;
    API::get_selected_feature_info(kJob, "pcb", "a", after);
    EXPECT_EQ(after, before);
    EXPECT_EQ(API::get_select_param(), param);
}

TEST_F(FeaturesInBox, BadArgumentsThrowTextAndChangeNothing) {
    struct Case {
        const char* what;
        const char *job, *step, *layer;
        API::reply_box box;
    };
    const Case cases[] = {
        {"unknown job", "nojob", "pcb", "a", rbox(0, 0, 10, 10)},
        {"unknown step", kJob, "nostep", "a", rbox(0, 0, 10, 10)},
        {"unknown layer", kJob, "pcb", "nolayer", rbox(0, 0, 10, 10)},
        {"inverted in x", kJob, "pcb", "a", rbox(10, 0, 0, 10)},
        {"inverted in y", kJob, "pcb", "a", rbox(0, 10, 10, 0)},
    };
    const std::vector<API::featureInfo> features = kt::snapshot(kJob);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<API::featureInfo> list(2);
        list[0].text = "kept";
        EXPECT_THROW(API::get_features_in_box(c.job, c.step, c.layer, c.box, list), API::KernelText);
        ASSERT_EQ(list.size(), 2u);
        EXPECT_EQ(list[0].text, "kept");
        EXPECT_EQ(kt::snapshot(kJob), features);
    }
}

TEST_F(Selection, FeaturesReachingPastThe32BitRangeAreIndexedAndFound) {
    // 100 mm pads at a thousand times their size on the corners of the
    // coordinate range: their boxes reach past +-2^31.
    const int s = kt::symbol(kJob, "a", "r100000");
    constexpr int kPads = 40;  // enough for a tree of more than one level
    for (int k = 0; k < kPads; ++k)
        kt::add(kJob, "a", API::GreatePadString(k % 2 ? 1e9 : -1e9, k % 4 < 2 ? 1e9 : -1e9, s, API::POL_POSITIVE, 0, 0, 1000));
    constexpr int32_t kLimit = (1 << 30) - 1;  // layer boxes are clipped to +-(2^30 - 1)
    EXPECT_EQ(API::layer_box(kJob, "pcb", "a"), rbox(-kLimit, -kLimit, kLimit, kLimit));
    // Each pad covers the whole range, so every box finds them all, even
    // one beyond the clipped boxes.
    for (const API::reply_box& b : {rbox(0, 0, 10, 10), rbox(2000000000, 2000000000, 2100000000, 2100000000),
                                    rbox(INT32_MIN, INT32_MIN, INT32_MIN + 1, INT32_MIN + 1)})
        EXPECT_EQ(indicesInBox(b).size(), size_t(kPads)) << b.xmin;
    EXPECT_EQ(selectBox(box(-5, -5, 5, 5)), kPads);
}

TEST_F(Selection, AFeatureIsFoundOnceAfterManyAddsRebuildTheIndex) {
    const int s = kt::symbol(kJob, "a", "r1");
    kt::add(kJob, "a", API::GreatePadString(0, 0, s, API::POL_POSITIVE, 0, 0, 1));
    EXPECT_EQ(indicesInBox(rbox(-10, -10, 10, 10)), std::vector<int>{0});  // builds the index
    kt::add(kJob, "a", API::GreatePadString(5000, 0, s, API::POL_POSITIVE, 0, 0, 1));
    EXPECT_EQ(indicesInBox(rbox(4990, -10, 5010, 10)), std::vector<int>{1});  // the added pad on its own
    // More adds than the index keeps aside: the next query rebuilds it whole.
    std::vector<std::string> far;
    for (int k = 0; k < 5000; ++k) far.push_back(API::GreatePadString(1e8 + k * 1000.0, 0, s, API::POL_POSITIVE, 0, 0, 1));
    API::AddFeatures(kJob, "pcb", {"a"}, {{"a", far}}, {});
    EXPECT_EQ(indicesInBox(rbox(4990, -10, 5010, 10)), std::vector<int>{1});
    EXPECT_EQ(selectBox(box(4990, -10, 5010, 10)), 1);
    EXPECT_EQ(indicesInBox(rbox(-10, -10, 5010, 10)), (std::vector<int>{0, 1}));
}

}  // namespace
