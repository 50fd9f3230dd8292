// The feature edits of the interactive tools, against coordinates worked
// out by hand (nanometres): plans leave the job alone until they are
// applied, applied plans and direct edits are one undo step each, and the
// journal replays them.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include "TOLVA_Edit.h"
#include "kernel_test_util.h"

using namespace TOLVA;
namespace fs = std::filesystem;

namespace {

const char* const kJob = "edit_tools";

struct Pt {
    double x, y;
};
bool operator==(const Pt& a, const Pt& b) { return a.x == b.x && a.y == b.y; }
std::ostream& operator<<(std::ostream& o, const Pt& p) { return o << "(" << p.x << ", " << p.y << ")"; }

class EditTools : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"top", "drl", "l2"});
        r100 = kt::symbol(kJob, "top", "r100");
        r200 = kt::symbol(kJob, "top", "r200");
    }
    int line(double x1, double y1, double x2, double y2, int sym = -1, const std::string& layer = "top") {
        kt::add(kJob, layer, API::GreateLineString(x1, y1, x2, y2, sym < 0 ? r100 : sym, 1, 0));
        return JOB::feature_count(kJob, "pcb", layer) - 1;
    }
    int arc(double xs, double ys, double xe, double ye, double xc, double yc, bool cw) {
        kt::add(kJob, "top", API::GreateArcString(xs, ys, xe, ye, xc, yc, r100, 1, 0, cw));
        return JOB::feature_count(kJob, "pcb", "top") - 1;
    }
    int surface(const std::vector<API::lPoint>& points, const std::string& layer = "top") {
        kt::add(kJob, layer, API::GreateSurfaceString(points, 1, 0, false));
        return JOB::feature_count(kJob, "pcb", layer) - 1;
    }
    API::featureInfo feature(int i, const std::string& layer = "top") {
        API::featureInfo f;
        EXPECT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", layer, i, f)) << "no feature " << i;
        return f;
    }
    Pt startOf(int i, const std::string& layer = "top") { auto f = feature(i, layer); return {f.xs, f.ys}; }
    Pt endOf(int i) { auto f = feature(i); return {f.xe, f.ye}; }
    Pt centreOf(int i) { auto f = feature(i); return {f.xc, f.yc}; }
    std::vector<int> apply(const EDIT::edit_plan& p) {
        EXPECT_EQ(p.error, "");
        return EDIT::apply_plan(kJob, "pcb", p);
    }
    int count(const std::string& layer = "top") { return JOB::feature_count(kJob, "pcb", layer); }
    int r100 = -1, r200 = -1;
};

// ---- end points ---------------------------------------------------------------------

TEST_F(EditTools, AMovedEndTakesTheJoinedEndsAlongOnlyWhenFollowing) {
    struct Case {
        bool follow;
        Pt joinedStart;
    } cases[] = {{true, {1200, 300}}, {false, {1000, 0}}};
    for (const Case& c : cases) {
        SetUp();
        const int a = line(0, 0, 1000, 0), b = line(1000, 0, 1000, 1000), d = line(2000, 0, 1000, 0);
        line(1000, 1, 3000, 1);  // a nanometre off the corner: not joined
        const auto before = kt::snapshot(kJob);
        const EDIT::edit_plan p = EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {1200, 300}, c.follow);
        EXPECT_EQ(kt::snapshot(kJob), before) << "a plan changes nothing";
        apply(p);
        EXPECT_EQ(endOf(a), (Pt{1200, 300}));
        EXPECT_EQ(startOf(a), (Pt{0, 0}));
        EXPECT_EQ(startOf(b), c.joinedStart) << "follow " << c.follow;
        EXPECT_EQ(endOf(d), c.joinedStart);
        EXPECT_EQ(endOf(b), (Pt{1000, 1000}));
        EXPECT_EQ(startOf(3), (Pt{1000, 1}));
    }
}

TEST_F(EditTools, AnArcEndMovedKeepsTheSweepAndDirection) {
    // A counter-clockwise quarter circle around the origin; its end moved to
    // (0, 2000): the chord (1000,0)-(0,2000) with a 90° sweep has its centre
    // at (-500, 500) (both ends 1581 nm from it, at right angles).
    const int a = arc(1000, 0, 0, 1000, 0, 0, false);
    apply(EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {0, 2000}, false));
    EXPECT_EQ(centreOf(a), (Pt{-500, 500}));
    EXPECT_EQ(feature(a).direction, "CCW");
    // Clockwise the centre lies on the other side of the chord.
    const int b = arc(0, 1000, 1000, 0, 0, 0, true);
    apply(EDIT::plan_line_end(kJob, "pcb", "top", b, 0, {0, 2000}, false));
    EXPECT_EQ(centreOf(b), (Pt{-500, 500}));
    EXPECT_EQ(feature(b).direction, "CW");
}

TEST_F(EditTools, ARefusedPlanSaysWhyAndCannotBeApplied) {
    const int a = line(0, 0, 1000, 0);
    line(1000, 0, 2000, 0);
    kt::add(kJob, "top", API::GreatePadString(5000, 5000, r100, 1, 0, 0, 1));
    struct Case {
        std::function<EDIT::edit_plan()> plan;
        const char* says;
    } cases[] = {
        {[&] { return EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {0, 0}, false); }, "zero-length"},
        {[&] { return EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {2000, 0}, true); }, "zero-length"},
        {[&] { return EDIT::plan_line_end(kJob, "pcb", "top", 2, 0, {0, 0}, false); }, "is a pad"},
        {[&] { return EDIT::plan_split(kJob, "pcb", "top", a, {0, 40}); }, "on an end"},
        {[&] { return EDIT::plan_split(kJob, "pcb", "top", a, {1500, 0}); }, "beyond"},
        {[&] { return EDIT::plan_move_segment(kJob, "pcb", "top", a, 1000, 0, true); }, "zero-length"},
        {[&] { return EDIT::plan_arc_radius(kJob, "pcb", "top", a, 5000); }, "not an arc"},
    };
    const auto before = kt::snapshot(kJob);
    for (const Case& c : cases) {
        const EDIT::edit_plan p = c.plan();
        EXPECT_NE(p.error.find(c.says), std::string::npos) << c.says << ": " << p.error;
        EXPECT_TRUE(p.add.empty() && p.remove.empty());
        EXPECT_THROW(EDIT::apply_plan(kJob, "pcb", p), API::KernelText);
    }
    EXPECT_EQ(kt::snapshot(kJob), before);
    EXPECT_THROW(EDIT::plan_line_end(kJob, "pcb", "top", 7, 0, {0, 0}, false), API::KernelText);
    EXPECT_THROW(EDIT::plan_line_end(kJob, "pcb", "nolayer", 0, 0, {0, 0}, false), API::KernelText);
}

TEST_F(EditTools, ARefusalNamesTheFeatureInTheWay) {
    const int a = line(0, 0, 1000, 0);
    line(1000, 0, 2000, 0);
    arc(1000, 0, 0, 1000, 0, 0, false);
    EXPECT_EQ(EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {2000, 0}, true).error,
              "joined line 1 would become zero-length");
    EXPECT_EQ(EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {0, 1000}, true).error,
              "joined arc 2 would become zero-length");
    EXPECT_EQ(EDIT::plan_arc_radius(kJob, "pcb", "top", a, 10).error, "feature 0 is a line, not an arc");
}

TEST_F(EditTools, ANegativeSurfaceStaysNegativeThroughAPlan) {
    kt::add(kJob, "top", API::GreateSurfaceString({{0, 0}, {1000, 0}, {1000, 1000}, {0, 0}}, 0, 0, false));
    const EDIT::edit_plan p = EDIT::plan_surface_vertex(kJob, "pcb", "top", 0, 0, 1, {2000, 0}, false);
    ASSERT_EQ(p.add.size(), 1u);
    EXPECT_EQ(p.add[0].polarity, API::POL_NEGATIVE);
    apply(p);
    EXPECT_EQ(feature(0).polarity, API::POL_NEGATIVE);
    EXPECT_EQ(feature(0).xmax, 2000);
}

TEST_F(EditTools, AStalePlanIsRefused) {
    const int a = line(0, 0, 1000, 0);
    const EDIT::edit_plan p = EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {500, 500}, false);
    line(0, 5000, 1000, 5000);
    const auto before = kt::snapshot(kJob);
    try {
        EDIT::apply_plan(kJob, "pcb", p);
        ADD_FAILURE() << "a stale plan was applied";
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("out of date"), std::string::npos) << e;
    }
    EXPECT_EQ(kt::snapshot(kJob), before);
    // Made again, it applies.
    apply(EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {500, 500}, false));
    EXPECT_EQ(endOf(a), (Pt{500, 500}));
}

TEST_F(EditTools, AMovedSegmentStretchesItsNeighbours) {
    const int a = line(0, 0, 1000, 0), b = line(1000, 0, 2000, 0), c = line(2000, 0, 2000, 1000);
    apply(EDIT::plan_move_segment(kJob, "pcb", "top", b, 0, 300.4, true));
    EXPECT_EQ(startOf(b), (Pt{1000, 300}));
    EXPECT_EQ(endOf(b), (Pt{2000, 300}));
    EXPECT_EQ(endOf(a), (Pt{1000, 300}));
    EXPECT_EQ(startOf(c), (Pt{2000, 300}));
    EXPECT_EQ(endOf(c), (Pt{2000, 1000}));
}

// ---- split, join, arcs --------------------------------------------------------------------

TEST_F(EditTools, ASplitCutsAtThePointProjectedOntoTheFeature) {
    const int a = line(0, 0, 1000, 0);
    const int c = arc(1000, 0, -1000, 0, 0, 0, false);  // the upper half circle
    const std::vector<int> pieces = apply(EDIT::plan_split(kJob, "pcb", "top", a, {400, 77}));
    ASSERT_EQ(pieces, (std::vector<int>{a, 2}));
    EXPECT_EQ(endOf(a), (Pt{400, 0}));
    EXPECT_EQ(startOf(2), (Pt{400, 0}));
    EXPECT_EQ(endOf(2), (Pt{1000, 0}));
    EXPECT_EQ(feature(2).symbol, "r100");
    // The arc at the top of its circle, from a point outside it.
    apply(EDIT::plan_split(kJob, "pcb", "top", c, {0, 3000}));
    EXPECT_EQ(endOf(c), (Pt{0, 1000}));
    EXPECT_EQ(startOf(3), (Pt{0, 1000}));
    EXPECT_EQ(centreOf(3), (Pt{0, 0}));
    EXPECT_EQ(feature(3).direction, "CCW");
    // Below the centre is not on this arc.
    EXPECT_NE(EDIT::plan_split(kJob, "pcb", "top", c, {0, -3000}).error, "");
}

TEST_F(EditTools, AJoinRunsBetweenTheFarEnds) {
    struct Case {
        Pt a0, a1, b0, b1;
        bool sameSymbol;
        const char* error;  // empty: joined into (from, to)
        Pt from, to;
    } cases[] = {
        {{0, 0}, {500, 0}, {500, 0}, {1000, 0}, true, "", {0, 0}, {1000, 0}},
        {{0, 0}, {500, 0}, {1000, 0}, {500, 0}, true, "", {0, 0}, {1000, 0}},
        {{500, 0}, {0, 0}, {500, 0}, {800, 300}, true, "", {800, 300}, {0, 0}},
        {{0, 0}, {500, 0}, {500, 0}, {0, 0}, true, "zero-length", {}, {}},
        {{0, 0}, {500, 0}, {600, 0}, {1000, 0}, true, "share no end", {}, {}},
        {{0, 0}, {500, 0}, {500, 0}, {1000, 0}, false, "r100", {}, {}},
    };
    for (const Case& c : cases) {
        SetUp();
        const int a = line(c.a0.x, c.a0.y, c.a1.x, c.a1.y);
        const int b = line(c.b0.x, c.b0.y, c.b1.x, c.b1.y, c.sameSymbol ? r100 : r200);
        const EDIT::edit_plan p = EDIT::plan_join(kJob, "pcb", "top", a, b);
        if (*c.error) {
            EXPECT_NE(p.error.find(c.error), std::string::npos) << p.error;
            if (!c.sameSymbol) {
                EXPECT_NE(p.error.find("r200"), std::string::npos) << p.error;
            }
            continue;
        }
        EXPECT_EQ(p.remove, (std::vector<int>{a, b}));
        EXPECT_EQ(apply(p), (std::vector<int>{a}));
        ASSERT_EQ(count(), 1);
        EXPECT_EQ(startOf(a), c.from);
        EXPECT_EQ(endOf(a), c.to);
    }
}

TEST_F(EditTools, ArcsOfOneCircleJoinInTheirDirection) {
    const int a = arc(1000, 0, 0, 1000, 0, 0, false), b = arc(0, 1000, -1000, 0, 0, 0, false);
    const int c = arc(0, 1000, -1000, 0, 0, 0, true);
    EXPECT_NE(EDIT::plan_join(kJob, "pcb", "top", a, c).error, "");
    EXPECT_EQ(apply(EDIT::plan_join(kJob, "pcb", "top", b, a)), (std::vector<int>{0})) << "b closes up onto a's index";
    ASSERT_EQ(count(), 2);
    EXPECT_EQ(startOf(a), (Pt{1000, 0}));
    EXPECT_EQ(endOf(a), (Pt{-1000, 0}));
    EXPECT_EQ(centreOf(a), (Pt{0, 0}));
}

TEST_F(EditTools, AMalformedPlanIsRefusedWholeAndAGoodOneReportsItsIndices) {
    const int a = line(0, 0, 1000, 0), b = line(1000, 0, 2000, 0);
    line(5000, 0, 6000, 0);
    const EDIT::edit_plan good = EDIT::plan_split(kJob, "pcb", "top", b, {1500, 0});
    std::vector<EDIT::edit_plan> bad(6, good);
    bad[0].contours.pop_back();                       // lists of different lengths
    bad[1].remove = {b, a};                           // not ascending
    bad[2].moved_from[0] = a;                         // replaces a feature it does not take out
    bad[3].remove = {7};                              // no such feature
    bad[4].add[1].symbol = "x12";                     // no such symbol
    bad[5].add[0].type = 9;
    const auto before = kt::snapshot(kJob);
    for (const EDIT::edit_plan& p : bad) EXPECT_THROW(EDIT::apply_plan(kJob, "pcb", p), API::KernelText);
    EXPECT_EQ(kt::snapshot(kJob), before);
    // Taking out a feature before the one replaced closes the indices up.
    EDIT::edit_plan p = good;
    p.remove = {a, b};
    EXPECT_EQ(EDIT::apply_plan(kJob, "pcb", p), (std::vector<int>{0, 2}));
    ASSERT_EQ(count(), 3);
    EXPECT_EQ(endOf(0), (Pt{1500, 0}));
    EXPECT_EQ(startOf(1), (Pt{5000, 0}));
    EXPECT_EQ(startOf(2), (Pt{1500, 0}));
    // A symbol the layer lacks is registered for the edit, and its undo takes it back.
    EDIT::edit_plan wide = EDIT::plan_arc_to_line(kJob, "pcb", "top", arc(0, 1000, 1000, 0, 0, 0, true));
    wide.add[0].symbol = "r333";
    apply(wide);
    EXPECT_EQ(feature(3).symbol, "r333");
    ASSERT_TRUE(API::undo_last_edit(kJob));
    int index = -1;
    API::create_new_symbol(kJob, "pcb", "top", "r444", index);
    EXPECT_EQ(index, 2) << "r333 is gone: the next symbol takes its place";
}

TEST_F(EditTools, APlanMayAddATextOfItsOwn) {
    EDIT::edit_plan p;
    p.layer = "top";
    p.serial = JOB::edit_serial(kJob);
    API::featureInfo t;
    t.type = API::FT_TEXT;
    t.xs = 100;
    t.ys = 200;
    t.text = "R1";
    t.font = "std";
    t.xsize = 1000;
    t.ysize = 1500;
    t.angle = 370;
    t.attributes = {{".comp", "R1"}};
    p.add = {t};
    p.contours = {{}};
    p.moved_from = {-1};
    EXPECT_EQ(EDIT::apply_plan(kJob, "pcb", p), (std::vector<int>{0}));
    const API::featureInfo f = feature(0);
    EXPECT_EQ(f.angle, 10);
    EXPECT_EQ(f.text, "R1");
    EXPECT_EQ(f.xsize, 1000);
    EXPECT_EQ(f.attributes.at(".comp"), "R1");
}

TEST_F(EditTools, ANewArcRadiusMovesTheCentreAlongTheChordsBisector) {
    // Upper half circle, radius 1000: at 2000 the centre is sqrt(2000² -
    // 1000²) = 1732 nm below the chord, so the arc still bulges up (minor).
    const int a = arc(1000, 0, -1000, 0, 0, 0, false);
    EXPECT_NE(EDIT::plan_arc_radius(kJob, "pcb", "top", a, 999).error.find("half the chord"), std::string::npos);
    apply(EDIT::plan_arc_radius(kJob, "pcb", "top", a, 2000));
    EXPECT_EQ(centreOf(a), (Pt{0, -1732}));
    EXPECT_EQ(startOf(a), (Pt{1000, 0}));
    EXPECT_EQ(endOf(a), (Pt{-1000, 0}));
    // A clockwise minor arc over the same chord keeps its centre above.
    const int b = arc(-1000, 0, 1000, 0, 0, -100, true);
    apply(EDIT::plan_arc_radius(kJob, "pcb", "top", b, 2000));
    EXPECT_EQ(centreOf(b), (Pt{0, -1732}));
    apply(EDIT::plan_arc_to_line(kJob, "pcb", "top", b));
    EXPECT_EQ(feature(b).type, API::FT_LINE);
    EXPECT_EQ(startOf(b), (Pt{-1000, 0}));
    EXPECT_EQ(endOf(b), (Pt{1000, 0}));
}

// ---- surfaces ------------------------------------------------------------------------

TEST_F(EditTools, ASurfaceVertexMovesOrIsInsertedUnlessTheOutlineWouldCross) {
    const int s = surface({{0, 0}, {1000, 0}, {1000, 1000}, {0, 1000}, {0, 0},
                           {400, 400}, {600, 400}, {600, 600}, {400, 600}, {400, 400}});
    struct Case {
        int contour, vertex;
        API::lPoint to;
        bool insert;
        const char* error;
    } cases[] = {
        {0, 1, {-500, 800}, false, "cross"},
        {0, 1, {500, 500}, false, "cross"},      // into the hole
        {1, 2, {2000, 2000}, false, "cross"},    // a hole out of its island
        {0, 2, {0, 500}, false, "cross"},        // onto the left edge
        {0, 3, {1000, 1000}, false, "neighbour"},
        {0, 2, {1500, 1500}, false, ""},
        {0, 0, {500, -300}, true, ""},
    };
    for (const Case& c : cases) {
        const EDIT::edit_plan p = EDIT::plan_surface_vertex(kJob, "pcb", "top", s, c.contour, c.vertex, c.to, c.insert);
        if (*c.error) {
            EXPECT_NE(p.error.find(c.error), std::string::npos) << c.contour << "/" << c.vertex << ": " << p.error;
            continue;
        }
        ASSERT_EQ(p.error, "");
        ASSERT_EQ(p.contours.size(), 1u);
        const auto& ring = p.contours[0][static_cast<size_t>(c.contour)];
        const size_t at = static_cast<size_t>(c.vertex) + (c.insert ? 1 : 0);
        EXPECT_EQ(ring[at].x, c.to.x);
        EXPECT_EQ(ring[at].y, c.to.y);
    }
    apply(EDIT::plan_surface_vertex(kJob, "pcb", "top", s, 0, 0, {500, -300}, true));
    const auto contours = EDIT::get_surface_contours(kJob, "pcb", "top", s);
    ASSERT_EQ(contours.size(), 2u);
    ASSERT_EQ(contours[0].size(), 5u);
    EXPECT_EQ(contours[0][1].x, 500);
    EXPECT_EQ(contours[0][1].y, -300);
    EXPECT_EQ(contours[1].size(), 4u);
}

// ---- pulls -----------------------------------------------------------------------------

// Every corner between consecutive segments of the chain is a multiple of 45°.
void expect45(const std::vector<API::featureInfo>& chain) {
    for (size_t i = 0; i + 1 < chain.size(); ++i) {
        const double a1 = std::atan2(chain[i].ye - chain[i].ys, chain[i].xe - chain[i].xs);
        const double a2 = std::atan2(chain[i + 1].ye - chain[i + 1].ys, chain[i + 1].xe - chain[i + 1].xs);
        const double deg = std::fabs(std::remainder((a2 - a1) * 180 / M_PI, 45.0));
        EXPECT_LT(deg, 1e-9) << "corner " << i;
        EXPECT_EQ(chain[i].xe, chain[i + 1].xs) << "chain broken at " << i;
        EXPECT_EQ(chain[i].ye, chain[i + 1].ys) << "chain broken at " << i;
    }
}

TEST_F(EditTools, APullKeepsTheTraceConnected) {
    struct Case {
        int mode;
        Pt a0, a1;         // the neighbour before
        Pt b0, b1;         // the neighbour after
        double offset;
        Pt pulled0, pulled1;
        int added;         // diagonals inserted
    } cases[] = {
        // Plain stretch: the neighbours' joined ends follow the pulled ends.
        {0, {0, 0}, {1000, 0}, {4000, 0}, {5000, 0}, 500, {1000, 500}, {4000, 500}, 0},
        {0, {0, 0}, {1000, 0}, {4000, 0}, {5000, 0}, -500, {1000, -500}, {4000, -500}, 0},
        // 45° corners, neighbours in line: a diagonal at each end.
        {1, {0, 0}, {1000, 0}, {4000, 0}, {5000, 0}, 500, {1500, 500}, {3500, 500}, 2},
        // 45° neighbours slide along themselves.
        {1, {0, -1000}, {1000, 0}, {4000, 0}, {5000, -1000}, 500, {1500, 500}, {3500, 500}, 0},
        // Square neighbours slide too.
        {1, {1000, -1000}, {1000, 0}, {4000, 0}, {4000, 1000}, 500, {1000, 500}, {4000, 500}, 0},
    };
    for (const Case& c : cases) {
        SetUp();
        line(c.a0.x, c.a0.y, c.a1.x, c.a1.y);
        const int pulled = line(1000, 0, 4000, 0);
        line(c.b0.x, c.b0.y, c.b1.x, c.b1.y);
        const EDIT::edit_plan p = EDIT::plan_pull(kJob, "pcb", "top", pulled, c.offset, c.mode);
        ASSERT_EQ(p.error, "") << "mode " << c.mode;
        apply(p);
        EXPECT_EQ(startOf(pulled), c.pulled0) << "mode " << c.mode << " offset " << c.offset;
        EXPECT_EQ(endOf(pulled), c.pulled1);
        ASSERT_EQ(count(), 3 + c.added);
        // Walk the trace from the first neighbour's far end.
        std::vector<API::featureInfo> chain{feature(0)};
        if (c.added) chain.push_back(feature(3));
        chain.push_back(feature(pulled));
        if (c.added) chain.push_back(feature(4));
        chain.push_back(feature(2));
        EXPECT_EQ((Pt{chain.front().xs, chain.front().ys}), c.a0) << "the far ends stay";
        EXPECT_EQ((Pt{chain.back().xe, chain.back().ye}), c.b1);
        if (c.mode == 1) {
            expect45(chain);
        } else {
            for (size_t i = 0; i + 1 < chain.size(); ++i)
                EXPECT_EQ((Pt{chain[i].xe, chain[i].ye}), (Pt{chain[i + 1].xs, chain[i + 1].ys}));
        }
    }
}

TEST_F(EditTools, APullThatWouldReverseANeighbourIsRefused) {
    line(1000, -300, 1000, 0);
    const int pulled = line(1000, 0, 4000, 0);
    // Pulling down by more than the neighbour is long turns it round.
    EXPECT_NE(EDIT::plan_pull(kJob, "pcb", "top", pulled, -500, 1).error.find("reverse"), std::string::npos);
    EXPECT_NE(EDIT::plan_pull(kJob, "pcb", "top", pulled, -500, 0).error.find("reverse"), std::string::npos);
    EXPECT_EQ(EDIT::plan_pull(kJob, "pcb", "top", pulled, -200, 0).error, "");
    EXPECT_NE(EDIT::plan_pull(kJob, "pcb", "top", pulled, -300, 0).error, "");  // zero-length
    // Diagonals that use the line up.
    line(4000, 0, 5000, 0);
    line(0, 0, 1000, 0);
    EXPECT_NE(EDIT::plan_pull(kJob, "pcb", "top", pulled, 1600, 1).error.find("used up"), std::string::npos);
}


// ---- transforms -------------------------------------------------------------------------

struct Shape {
    Pt s, e, c;
    std::string direction;
    int angle, mirror;
    std::string symbol;
};

TEST_F(EditTools, ATransformMovesEveryKindExactly) {
    struct Case {
        const char* name;
        EDIT::transform t;
        Shape line, arc, pad;
        int changed;
    } cases[] = {
        {"quarter turn", {90, false, false, 1, 0, 0, 0, 0},
         {{0, 1000}, {0, 2000}, {}, "", 0, 0, "s100"},
         {{0, 1000}, {-1000, 0}, {0, 0}, "CCW", 0, 0, "r100"},
         {{-500, 1000}, {}, {}, "", 120, 0, "rect200x100"}, 3},
        {"mirror x", {0, true, false, 1, 0, 0, 0, 0},
         {{-1000, 0}, {-2000, 0}, {}, "", 0, 0, "s100"},
         {{-1000, 0}, {0, 1000}, {0, 0}, "CW", 0, 0, "r100"},
         {{-1000, 500}, {}, {}, "", 330, 1, "rect200x100"}, 3},
        {"mirror y", {0, false, true, 1, 0, 0, 0, 0},
         {{1000, 0}, {2000, 0}, {}, "", 0, 0, "s100"},
         {{1000, 0}, {0, -1000}, {0, 0}, "CW", 0, 0, "r100"},
         {{1000, -500}, {}, {}, "", 150, 1, "rect200x100"}, 2},  // the line lies on the mirror's axis
        {"both mirrors", {0, true, true, 1, 0, 0, 0, 0},
         {{-1000, 0}, {-2000, 0}, {}, "", 0, 0, "s100"},
         {{-1000, 0}, {0, -1000}, {0, 0}, "CCW", 0, 0, "r100"},
         {{-1000, -500}, {}, {}, "", 210, 0, "rect200x100"}, 3},
        {"about a pivot, then moved", {180, false, false, 1, 1000, 0, 5, -5},
         {{1005, -5}, {5, -5}, {}, "", 0, 0, "s100"},
         {{1005, -5}, {2005, -1005}, {2005, -5}, "CCW", 0, 0, "r100"},
         {{1005, -505}, {}, {}, "", 210, 0, "rect200x100"}, 3},
        {"scaled", {0, false, false, 2.5, 0, 0, 0, 0},
         {{2500, 0}, {5000, 0}, {}, "", 0, 0, "s250"},
         {{2500, 0}, {0, 2500}, {0, 0}, "CCW", 0, 0, "r250"},
         {{2500, 1250}, {}, {}, "", 30, 0, "rect500x250"}, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        const int s100 = kt::symbol(kJob, "top", "s100"), rect = kt::symbol(kJob, "top", "rect200x100");
        const int l = line(1000, 0, 2000, 0, s100);
        const int a = arc(1000, 0, 0, 1000, 0, 0, false);
        kt::add(kJob, "top", API::GreatePadString(1000, 500, rect, 1, 30, 0, 1));
        const int pad = count() - 1;
        line(7000, 7000, 8000, 8000);  // not selected: stays
        for (int i : {l, a, pad}) API::select_feature_by_id(kJob, "pcb", "top", i);
        EXPECT_EQ(EDIT::transform_selected(kJob, "pcb", {"top"}, c.t), c.changed);
        const Shape* want[] = {&c.line, &c.arc, &c.pad};
        int index[] = {l, a, pad};
        for (int k = 0; k < 3; ++k) {
            const API::featureInfo f = feature(index[k]);
            EXPECT_EQ((Pt{f.xs, f.ys}), want[k]->s) << "feature " << k;
            EXPECT_EQ(f.symbol, want[k]->symbol);
            if (k < 2) {
                EXPECT_EQ((Pt{f.xe, f.ye}), want[k]->e) << "feature " << k;
            }
            if (k == 1) {
                EXPECT_EQ((Pt{f.xc, f.yc}), want[k]->c);
                EXPECT_EQ(f.direction, want[k]->direction);
            }
            if (k == 2) {
                EXPECT_EQ(f.angle, want[k]->angle);
                EXPECT_EQ(f.mirror, want[k]->mirror);
            }
        }
        EXPECT_EQ(startOf(3), (Pt{7000, 7000}));
    }
}

TEST_F(EditTools, AScaledPadGetsTheSymbolOfItsShapeScaled) {
    const struct {
        const char* symbol;
        const char* scaled;  // by 1.5, to 0.1 um
    } cases[] = {{"r100", "r150"},          {"s33.3", "s50"},          {"rect200x100", "rect300x150"},
                 {"oval100x50.1", "oval150x75.2"}, {"donut_r500x300", "donut_r750x450"}};
    for (const auto& c : cases) {
        kt::add(kJob, "top", API::GreatePadString(1000, 1000, kt::symbol(kJob, "top", c.symbol), 1, 0, 0, 1));
        API::select_feature_by_id(kJob, "pcb", "top", count() - 1);
    }
    EDIT::transform t;
    t.scale = 1.5;
    t.px = t.py = 1000;
    EXPECT_EQ(EDIT::transform_selected(kJob, "pcb", {"top"}, t), 5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(feature(i).symbol, cases[i].scaled);
        EXPECT_EQ(startOf(i), (Pt{1000, 1000})) << "the pivot stays";
    }
}

TEST_F(EditTools, ATextTurnsMirrorsAndScalesWithTheRest) {
    kt::add(kJob, "top", API::GreateTextString(1000, 0, "A", 1, 10, 1000, 2000, 1, "std", 0, 1));
    API::select_feature_by_id(kJob, "pcb", "top", 0);
    EDIT::transform t;
    t.angle_deg = 90;
    t.mirror_x = true;
    t.scale = 2;
    EXPECT_EQ(EDIT::transform_selected(kJob, "pcb", {"top"}, t), 1);
    const API::featureInfo f = feature(0);
    EXPECT_EQ((Pt{f.xs, f.ys}), (Pt{0, -2000}));  // (-1000, 0) turned a quarter, doubled
    EXPECT_EQ(f.angle, 80);                        // -10 + 90
    EXPECT_EQ(f.mirror, 1);
    EXPECT_EQ(f.xsize, 2000);
    EXPECT_EQ(f.ysize, 4000);
}

TEST_F(EditTools, APartDegreeTurnIsRefusedOnlyWhereAnAngleWouldRound) {
    const int rect = kt::symbol(kJob, "top", "rect200x100");
    kt::add(kJob, "top", API::GreatePadString(1000, 0, r100, 1, 0, 0, 1));   // round
    kt::add(kJob, "top", API::GreatePadString(3000, 0, rect, 1, 0, 0, 1));  // not round
    EDIT::transform t;
    t.angle_deg = 12.5;
    API::select_feature_by_id(kJob, "pcb", "top", 0);
    API::select_feature_by_id(kJob, "pcb", "top", 1);
    const auto before = kt::snapshot(kJob);
    try {
        EDIT::transform_selected(kJob, "pcb", {"top"}, t);
        ADD_FAILURE() << "a rect pad turned by 12.5°";
    } catch (const API::KernelText& e) {
        EXPECT_NE(e.find("whole degrees"), std::string::npos) << e;
    }
    EXPECT_EQ(kt::snapshot(kJob), before);
    API::clear_selected_features(kJob, "pcb", "top");
    API::select_feature_by_id(kJob, "pcb", "top", 0);
    EXPECT_EQ(EDIT::transform_selected(kJob, "pcb", {"top"}, t), 1);
    EXPECT_EQ(startOf(0), (Pt{976, 216}));  // 1000 (cos 12.5°, sin 12.5°), rounded
    t.scale = 0;
    EXPECT_THROW(EDIT::transform_selected(kJob, "pcb", {"top"}, t), API::KernelText);
}

TEST_F(EditTools, ASurfaceTransformsVertexByVertex) {
    const int s = surface({{0, 0}, {1000, 0}, {1000, 2000}, {0, 0}});
    API::select_feature_by_id(kJob, "pcb", "top", s);
    EDIT::transform t;
    t.angle_deg = -90;
    t.dx = 10;
    EXPECT_EQ(EDIT::transform_selected(kJob, "pcb", {"top"}, t), 1);
    const auto c = EDIT::get_surface_contours(kJob, "pcb", "top", s);
    ASSERT_EQ(c.size(), 1u);
    ASSERT_EQ(c[0].size(), 3u);
    EXPECT_EQ((Pt{c[0][1].x, c[0][1].y}), (Pt{10, -1000}));
    EXPECT_EQ((Pt{c[0][2].x, c[0][2].y}), (Pt{2010, -1000}));
    EXPECT_EQ(EDIT::transform_selected(kJob, "pcb", {"top"}, EDIT::transform{}), 0) << "nothing changes";
}

// ---- holes -----------------------------------------------------------------------------

TEST_F(EditTools, HolesMoveOntoTheirPadsWithinTheTolerance) {
    const int hole = kt::symbol(kJob, "drl", "r300"), pad = kt::symbol(kJob, "l2", "r1000");
    const int pad2 = kt::symbol(kJob, "top", "r1000");
    auto addHole = [&](double x, double y) { kt::add(kJob, "drl", API::GreatePadString(x, y, hole, 1, 0, 0, 1)); };
    // 0: 50 nm off its pad (30, 40): aligned. 1: 400 nm off: over the 100 nm
    // tolerance. 2: on no pad. 3: pads on two layers 5 nm apart. 4: exactly on.
    const double mm = 1e6;
    addHole(10 * mm + 30, 10 * mm + 40);
    addHole(20 * mm + 400, 20 * mm);
    addHole(50 * mm, 50 * mm);
    addHole(30 * mm, 30 * mm);
    addHole(40 * mm, 40 * mm);
    for (double at : {10 * mm, 20 * mm, 30 * mm, 40 * mm})
        kt::add(kJob, "l2", API::GreatePadString(at, at, pad, 1, 0, 0, 1));
    kt::add(kJob, "top", API::GreatePadString(30 * mm + 5, 30 * mm, pad2, 1, 0, 0, 1));
    kt::add(kJob, "top", API::GreatePadString(40 * mm, 40 * mm, pad2, 1, 0, 0, 1));
    const auto results = EDIT::align_holes(kJob, "pcb", "drl", {0, 1, 2, 3, 4}, {"l2", "top"}, 100);
    ASSERT_EQ(results.size(), 4u);
    EXPECT_EQ(results[0].check, "hole_aligned");
    EXPECT_EQ(results[0].level, CHECKS::severity::WARNING);
    EXPECT_DOUBLE_EQ(results[0].value, 50);
    EXPECT_EQ(results[0].location.a.x, 10 * mm + 30);
    EXPECT_EQ(results[0].location.b.x, 10 * mm);
    ASSERT_EQ(results[0].features.size(), 2u);
    EXPECT_EQ(results[0].features[0].layer, "drl");
    EXPECT_EQ(results[0].features[1].layer, "l2");
    EXPECT_EQ(results[0].features[1].index, 0);
    EXPECT_EQ(results[0].layers, (API::str_list{"drl", "l2"}));
    EXPECT_EQ(results[1].check, "hole_not_aligned");
    EXPECT_DOUBLE_EQ(results[1].value, 400);
    EXPECT_DOUBLE_EQ(results[1].limit, 100);
    ASSERT_EQ(results[1].features.size(), 2u);
    EXPECT_EQ(results[1].features[1].layer, "l2");
    EXPECT_EQ(results[1].features[1].index, 1);
    EXPECT_EQ(results[2].check, "hole_not_aligned");
    EXPECT_EQ(results[2].features.size(), 1u);
    EXPECT_EQ(results[3].check, "hole_not_aligned");
    EXPECT_DOUBLE_EQ(results[3].value, 5);
    EXPECT_EQ(results[3].features.size(), 3u);
    EXPECT_EQ(startOf(0, "drl"), (Pt{10 * mm, 10 * mm}));
    EXPECT_EQ(startOf(1, "drl"), (Pt{20 * mm + 400, 20 * mm})) << "beyond the tolerance: left alone";
    EXPECT_EQ(startOf(3, "drl"), (Pt{30 * mm, 30 * mm}));
    // Done once: nothing left within reach, no second edit.
    const auto serial = JOB::edit_serial(kJob);
    EXPECT_EQ(EDIT::align_holes(kJob, "pcb", "drl", {0}, {"l2"}, 100).size(), 0u);
    EXPECT_EQ(JOB::edit_serial(kJob), serial);
    EXPECT_THROW(EDIT::align_holes(kJob, "pcb", "drl", {}, {"drl"}, 100), API::KernelText);
    EXPECT_THROW(EDIT::align_holes(kJob, "pcb", "drl", {}, {"l2"}, -1), API::KernelText);
    EXPECT_THROW(EDIT::align_holes(kJob, "pcb", "drl", {9}, {"l2"}, 1), API::KernelText);
}

TEST_F(EditTools, HolesOfADiameterGetTheNewOne) {
    const int r300 = kt::symbol(kJob, "drl", "r300"), r150 = kt::symbol(kJob, "drl", "r150");
    kt::add(kJob, "drl", API::GreatePadString(0, 0, r300, 1, 0, 0, 1));
    kt::add(kJob, "drl", API::GreatePadString(1000, 0, r150, 1, 0, 0, 2));  // 300 by its scale
    kt::add(kJob, "drl", API::GreatePadString(2000, 0, r150, 1, 0, 0, 1));
    kt::add(kJob, "drl", API::GreatePadString(3000, 0, r300, 1, 0, 0, 1));
    API::select_feature_by_id(kJob, "pcb", "drl", 0);
    API::select_feature_by_id(kJob, "pcb", "drl", 1);
    API::select_feature_by_id(kJob, "pcb", "drl", 2);
    // Diameters in nanometres, symbol sizes in micrometres to 0.1 um.
    EXPECT_EQ(EDIT::resize_holes(kJob, "pcb", "drl", {{300000, 350060}, {150000, 200000}}, true), 3);
    EXPECT_EQ(feature(0, "drl").symbol, "r350.1");
    EXPECT_EQ(feature(1, "drl").symbol, "r350.1");
    EXPECT_EQ(feature(1, "drl").xsize, 350100) << "the pad's scale is 1 now";
    EXPECT_EQ(feature(2, "drl").symbol, "r200");
    EXPECT_EQ(feature(3, "drl").symbol, "r300") << "not selected";
    EXPECT_EQ(EDIT::resize_holes(kJob, "pcb", "drl", {{300001, 25450040}}, false), 1) << "within 1 nm";
    EXPECT_EQ(feature(3, "drl").symbol, "r25450");
    EXPECT_EQ(EDIT::resize_holes(kJob, "pcb", "drl", {{300002, 1e6}}, false), 0) << "2 nm off";
    EXPECT_THROW(EDIT::resize_holes(kJob, "pcb", "drl", {{300000, 0}}, false), API::KernelText);
}

// ---- dividing surfaces ---------------------------------------------------------------------

double ringArea(const std::vector<API::lPoint>& r) {
    double a = 0;
    for (size_t i = 0; i < r.size(); ++i) a += r[i].x * r[(i + 1) % r.size()].y - r[(i + 1) % r.size()].x * r[i].y;
    return std::fabs(a) / 2;
}
// The filled area of a surface: its island less its holes.
double surfaceArea(int index) {
    const auto c = EDIT::get_surface_contours(kJob, "pcb", "top", index);
    double a = c.empty() ? 0 : ringArea(c[0]);
    for (size_t i = 1; i < c.size(); ++i) a -= ringArea(c[i]);
    return a;
}

TEST_F(EditTools, ASurfaceDividedAlongALineGivesPiecesThatAddUp) {
    struct Case {
        const char* name;
        std::vector<API::lPoint> cut;
        std::vector<double> areas;  // of the pieces, in order
    } cases[] = {
        // The 4000 x 2000 plate with a 1000 x 1000 hole at (500..1500, 500..1500).
        {"straight across", {{3000, -100}, {3000, 2100}}, {6e6 - 1e6, 2e6}},
        {"a bend", {{2000, -100}, {2000, 1000}, {5000, 1000}}, {2e6, 6e6 - 1e6}},
        {"through the hole", {{1000, -100}, {1000, 2100}}, {1.5e6, 5.5e6}},
        {"slanted, crossing between nanometres", {{100, -333}, {3700, 2333}}, {}},
        {"leaving sideways", {{2000, -100}, {2000, 2100}, {1000, 2100}}, {3e6, 4e6}},
        {"in and out twice", {{-100, 250}, {4100, 250}, {4100, 1750}, {-100, 1750}}, {6e6 - 1e6, 1e6, 1e6}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        const int s = surface({{0, 0}, {4000, 0}, {4000, 2000}, {0, 2000}, {0, 0},
                               {500, 500}, {1500, 500}, {1500, 1500}, {500, 1500}, {500, 500}});
        kt::add(kJob, "top", API::GreateLineString(0, 0, 1, 1, r100, 1, 0));
        const double whole = surfaceArea(s);
        EXPECT_EQ(whole, 7e6);
        const std::vector<int> pieces = EDIT::divide_surface(kJob, "pcb", "top", s, c.cut, 0);
        if (c.areas.empty()) {  // rounded crossings: both pieces take the same rounded point
            ASSERT_EQ(pieces.size(), 2u);
            EXPECT_NEAR(surfaceArea(pieces[0]) + surfaceArea(pieces[1]), whole, 4000) << "a nanometre along the edges crossed";
            continue;
        }
        ASSERT_EQ(pieces.size(), c.areas.size());
        EXPECT_EQ(pieces[0], s) << "the first piece takes the surface's place";
        double sum = 0;
        std::vector<double> areas;
        for (int p : pieces) {
            areas.push_back(surfaceArea(p));
            sum += areas.back();
        }
        EXPECT_EQ(sum, whole);
        std::vector<double> want = c.areas;
        std::sort(want.begin(), want.end());
        std::sort(areas.begin(), areas.end());
        EXPECT_EQ(areas, want);
    }
}

TEST_F(EditTools, AnOutlineCutOutOfASurfaceLeavesAHoleOrANotch) {
    const int s = surface({{0, 0}, {4000, 0}, {4000, 2000}, {0, 2000}, {0, 0}});
    const std::vector<int> holed = EDIT::divide_surface(kJob, "pcb", "top", s, {{1000, 500}, {2000, 500}, {2000, 1500}, {1000, 1500}}, 1);
    ASSERT_EQ(holed, (std::vector<int>{s}));
    EXPECT_EQ(EDIT::get_surface_contours(kJob, "pcb", "top", s).size(), 2u);
    EXPECT_EQ(surfaceArea(s), 8e6 - 1e6);
    // Given the other way round, ending level with its start.
    EDIT::divide_surface(kJob, "pcb", "top", s, {{3500, -500}, {3500, 2500}, {4500, 2500}, {4500, -500}}, 1);
    EXPECT_EQ(surfaceArea(s), 7e6 - 1e6);
    // A band across leaves two pieces.
    const std::vector<int> two = EDIT::divide_surface(kJob, "pcb", "top", s, {{2500, -10}, {3000, -10}, {3000, 2010}, {2500, 2010}}, 1);
    EXPECT_EQ(two.size(), 2u);
}

TEST_F(EditTools, ACutThatMissesOrCrossesItselfIsRefused) {
    const int s = surface({{0, 0}, {4000, 0}, {4000, 2000}, {0, 2000}, {0, 0}});
    kt::add(kJob, "top", API::GreateLineString(0, 0, 1, 1, r100, 1, 0));
    struct Case {
        std::vector<API::lPoint> cut;
        int mode, index;
        const char* says;
    } cases[] = {
        {{{5000, -100}, {5000, 2100}}, 0, s, "does not cross"},
        {{{2000, 1000}, {2000, 3000}}, 0, s, "outside"},
        {{{1000, -100}, {3000, 2100}, {3000, -100}, {1000, 2100}}, 0, s, "crosses itself"},
        {{{5000, 0}, {6000, 0}, {6000, 1000}}, 1, s, "does not meet"},
        {{{-1, -1}, {5000, -1}, {5000, 3000}, {-1, 3000}}, 1, s, "all of the surface"},
        {{{0, 0}, {1000, 1000}, {1000, 0}, {0, 1000}}, 1, s, "crosses itself"},
        {{{0, 0}, {1, 1}}, 0, 1, "not a surface"},
    };
    const auto before = kt::snapshot(kJob);
    for (const Case& c : cases) {
        try {
            EDIT::divide_surface(kJob, "pcb", "top", c.index, c.cut, c.mode);
            ADD_FAILURE() << c.says << ": divided";
        } catch (const API::KernelText& e) {
            EXPECT_NE(e.find(c.says), std::string::npos) << e;
        }
    }
    EXPECT_EQ(kt::snapshot(kJob), before);
}

// ---- profile ------------------------------------------------------------------------------

TEST_F(EditTools, AProfileIsChainedFromLinesAndArcsInAnyOrderAndDirection) {
    // A 10 x 5 mm outline, its upper right corner rounded with a 1 mm arc;
    // one joint 0.5 um apart, the left side drawn backwards.
    const double mm = 1e6;
    for (const bool clockwise : {false, true}) {
        SCOPED_TRACE(clockwise ? "the corner drawn clockwise, walked backwards" : "the corner drawn counter-clockwise");
        SetUp();
        line(0, 0, 10 * mm, 0);                                  // 0
        line(0, 0, 0, 5 * mm);                                   // 1, backwards
        line(9 * mm, 5 * mm, 0, 5 * mm);                         // 2
        line(10 * mm, 500, 10 * mm, 4 * mm);                     // 3, 0.5 um off the corner
        if (clockwise)
            arc(9 * mm, 5 * mm, 10 * mm, 4 * mm, 9 * mm, 4 * mm, true);  // 4
        else
            arc(10 * mm, 4 * mm, 9 * mm, 5 * mm, 9 * mm, 4 * mm, false);
        EDIT::set_profile_from_features(kJob, "pcb", "top", {0, 3, 1, 4, 2});
        const auto p = EDIT::get_profile(kJob, "pcb");
        ASSERT_GE(p.size(), 6u);
        // Along the quarter of 1 mm radius, every point on the arc within 1 um
        // and no two further than 0.05 mm apart: at least 32 points.
        int onArc = 0;
        for (size_t i = 0; i < p.size(); ++i) {
            const double r = std::hypot(p[i].x - 9 * mm, p[i].y - 4 * mm);
            if (p[i].x > 9 * mm && p[i].y > 4 * mm) {
                ++onArc;
                EXPECT_NEAR(r, 1 * mm, 1.0);
                const auto& q = p[(i + 1) % p.size()];
                EXPECT_LE(std::hypot(q.x - p[i].x, q.y - p[i].y), 50000.0);
                const double mid = std::hypot((q.x + p[i].x) / 2 - 9 * mm, (q.y + p[i].y) / 2 - 4 * mm);
                EXPECT_GE(mid, 1 * mm - 1000.0) << "chord error";
            }
        }
        EXPECT_GE(onArc, 31);
        double area = 0;
        for (size_t i = 0; i < p.size(); ++i) area += p[i].x * p[(i + 1) % p.size()].y - p[(i + 1) % p.size()].x * p[i].y;
        EXPECT_NEAR(std::fabs(area) / 2, 50 * mm * mm - (1 - M_PI / 4) * mm * mm, 0.01 * mm * mm);
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_TRUE(EDIT::get_profile(kJob, "pcb").empty()) << "the undo takes the profile back";
    }
}

TEST_F(EditTools, AnOpenOrBranchingChainSaysWhere) {
    line(0, 0, 1000000, 0);
    line(1000000, 0, 1000000, 1000000);
    line(1000000, 1000000, 0, 1000000);
    line(0, 1000000, 0, 2000);  // 2 um short of the start
    line(1000000, 0, 2000000, 0);
    const auto reason = [&](const std::vector<int>& ids) {
        try {
            EDIT::set_profile_from_features(kJob, "pcb", "top", ids);
        } catch (const API::KernelText& e) {
            return e;
        }
        return std::string("set");
    };
    EXPECT_EQ(reason({0, 1, 2, 3}), "the outline is open at (0, 2000)");
    line(5000000, 0, 6000000, 0);
    line(6000000, 0, 5000000, 1000000);
    line(5000000, 1000000, 5000000, 0);
    line(0, 1000000, 0, 0);
    EXPECT_EQ(reason({0, 1, 2, 8, 5, 6, 7}), "the features make more than one outline (one closes at (0, 0))");
    EXPECT_EQ(reason({0, 1, 2, 4}), "the outline branches at (1000000, 0)");
    kt::add(kJob, "top", API::GreatePadString(0, 0, r100, 1, 0, 0, 1));
    EXPECT_NE(reason({0, 1, 2, 9}).find("not a line or arc"), std::string::npos);
    EXPECT_TRUE(EDIT::get_profile(kJob, "pcb").empty());
}

TEST_F(EditTools, ARectangleProfileHasItsCornersRounded) {
    EDIT::set_profile_rect(kJob, "pcb", 10e6, 5e6, 0, 0, 0);
    auto p = EDIT::get_profile(kJob, "pcb");
    ASSERT_EQ(p.size(), 4u);
    EXPECT_EQ((Pt{p[0].x, p[0].y}), (Pt{10e6, 0}));
    EXPECT_EQ((Pt{p[2].x, p[2].y}), (Pt{0, 5e6}));
    EDIT::set_profile_rect(kJob, "pcb", 0, 0, 10e6, 5e6, 2e6);
    p = EDIT::get_profile(kJob, "pcb");
    for (const auto& v : p) {
        const double cx = std::clamp(v.x, 2e6, 8e6), cy = std::clamp(v.y, 2e6, 3e6);
        const double d = std::hypot(v.x - cx, v.y - cy);
        if (d > 0) {
            EXPECT_NEAR(d, 2e6, 1.0) << v.x << " " << v.y;
        }
    }
    EXPECT_EQ((Pt{p[0].x, p[0].y}), (Pt{8e6, 0}));
    EXPECT_THROW(EDIT::set_profile_rect(kJob, "pcb", 0, 0, 10e6, 5e6, 2.6e6), API::KernelText);
    EXPECT_THROW(EDIT::set_profile_rect(kJob, "pcb", 0, 0, 10e6, 0, 0), API::KernelText);
    EXPECT_THROW(EDIT::set_profile_rect(kJob, "pcb", 5e6, 0, 5e6, 5e6, 0), API::KernelText);
    ASSERT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(EDIT::get_profile(kJob, "pcb").size(), 4u);
    EXPECT_THROW(EDIT::set_profile_polygon(kJob, "pcb", {{0, 0}, {1, 1}, {0, 0}}), API::KernelText);
}

// ---- undo and journal ----------------------------------------------------------------

// Each edit, made as the view makes it (the twin, then the call) on a small
// board: one undo step takes the job back to every record it had, and a
// replay of the journal on the saved start reproduces the edited job.
class EditUndoJournal : public EditTools {
protected:
    void SetUp() override {
        EditTools::SetUp();
        dir = fs::temp_directory_path() / ("tolva_edit_tools_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        line(0, 0, 1000, 0);                 // 0
        line(1000, 0, 4000, 0);              // 1
        line(4000, 0, 5000, 0);              // 2
        arc(1000, 5000, 0, 6000, 0, 5000, false);  // 3
        surface({{0, 10000}, {4000, 10000}, {4000, 14000}, {0, 14000}, {0, 10000}});  // 4
        kt::add(kJob, "top", API::GreatePadString(9000, 9000, r200, 1, 30, 0, 1));  // 5
        kt::add(kJob, "top", API::GreateTextString(9000, 1000, "AB", 1, 0, 1000, 1500, 1, "std", 0, 1));  // 6
        const int hole = kt::symbol(kJob, "drl", "r300");
        kt::add(kJob, "drl", API::GreatePadString(9040, 9030, hole, 1, 0, 0, 1));
        const int pad = kt::symbol(kJob, "l2", "r800");
        kt::add(kJob, "l2", API::GreatePadString(9000, 9000, pad, 1, 0, 0, 1));
        JOB::set_profile(kJob, "pcb", {{-1e5, -1e5}, {1e5, -1e5}, {1e5, 1e5}, {-1e5, 1e5}});
        JOB::save_job(kJob, (dir / "start").string());
        JOB::set_journal_path(kJob, (dir / "edits.journal").string());
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        fs::remove_all(dir);
    }
    std::string saved(const std::string& name) {
        JOB::save_job(kJob, (dir / name).string());
        std::ifstream in(dir / name / "job.tolva");
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        return text;
    }
    fs::path dir;
};

struct JournalledEdit {
    const char* name;
    std::function<void()> make;  // the twin and the call
};

TEST_F(EditUndoJournal, EveryEditIsOneUndoStepAndReplays) {
    auto plan = [](std::function<EDIT::edit_plan()> make) {
        return [make] {
            const EDIT::edit_plan p = make();
            ASSERT_EQ(p.error, "");
            DB::apply_plan_db_save(kJob, "pcb", p);
            EDIT::apply_plan(kJob, "pcb", p);
        };
    };
    const JournalledEdit edits[] = {
        {"line end", plan([] { return EDIT::plan_line_end(kJob, "pcb", "top", 0, 1, {1200, 300}, true); })},
        {"split", plan([] { return EDIT::plan_split(kJob, "pcb", "top", 1, {2500, 10}); })},
        {"join", plan([] { return EDIT::plan_join(kJob, "pcb", "top", 1, 2); })},
        {"pull 45", plan([] { return EDIT::plan_pull(kJob, "pcb", "top", 1, 500, 1); })},
        {"arc radius", plan([] { return EDIT::plan_arc_radius(kJob, "pcb", "top", 3, 3000); })},
        {"vertex", plan([] { return EDIT::plan_surface_vertex(kJob, "pcb", "top", 4, 0, 1, {4500, 9000}, true); })},
        {"align holes", [] {
             DB::align_holes_db_save(kJob, "pcb", "drl", {0}, {"l2"}, 100);
             EDIT::align_holes(kJob, "pcb", "drl", {0}, {"l2"}, 100);
         }},
        {"resize holes", [] {
             DB::resize_holes_db_save(kJob, "pcb", "drl", {{300000, 450000}}, false);
             EDIT::resize_holes(kJob, "pcb", "drl", {{300000, 450000}}, false);
         }},
        {"divide", [] {
             const std::vector<API::lPoint> cut{{2000, 9000}, {2000, 15000}};
             DB::divide_surface_db_save(kJob, "pcb", "top", 4, cut, 0);
             EDIT::divide_surface(kJob, "pcb", "top", 4, cut, 0);
         }},
        {"profile from features", [] {
             DB::set_profile_from_features_db_save(kJob, "pcb", "top", {0, 1, 2});
             EXPECT_THROW(EDIT::set_profile_from_features(kJob, "pcb", "top", {0, 1, 2}), API::KernelText);  // a straight run is no outline
             DB::set_profile_rect_db_save(kJob, "pcb", 0, 0, 5e5, 3e5, 5e4);
             EDIT::set_profile_rect(kJob, "pcb", 0, 0, 5e5, 3e5, 5e4);
         }},
        {"profile polygon", [] {
             const std::vector<API::lPoint> outline{{0, 0}, {4e5, 0}, {4e5, 2e5}, {0, 0}};
             DB::set_profile_polygon_db_save(kJob, "pcb", outline);
             EDIT::set_profile_polygon(kJob, "pcb", outline);
             EXPECT_EQ(EDIT::get_profile(kJob, "pcb").size(), 3u) << "the closing point dropped";
         }},
        {"transform", [] {
             EDIT::transform t;
             t.angle_deg = 90;
             t.mirror_y = true;
             t.scale = 1.5;
             t.px = 100;
             for (int i : {3, 4, 5, 6}) {
                 DB::select_feature_by_id_db_save(kJob, "pcb", "top", i);
                 API::select_feature_by_id(kJob, "pcb", "top", i);
             }
             DB::transform_selected_db_save(kJob, "pcb", {"top"}, t);
             EDIT::transform_selected(kJob, "pcb", {"top"}, t);
         }},
    };
    for (const JournalledEdit& e : edits) {
        SCOPED_TRACE(e.name);
        TearDown();
        SetUp();
        const auto before = kt::snapshot(kJob);
        const std::string beforeText = saved("before");
        const unsigned long long serial = JOB::edit_serial(kJob);
        DB::set_SaveFlag(true);
        e.make();
        DB::set_SaveFlag(false);
        const auto after = kt::snapshot(kJob);
        const std::string afterText = saved("after");
        EXPECT_NE(afterText, beforeText);
        EXPECT_EQ(JOB::edit_serial(kJob), serial + 1) << "one edit";
        ASSERT_TRUE(API::undo_last_edit(kJob));
        EXPECT_EQ(kt::snapshot(kJob), before);
        EXPECT_EQ(saved("undone"), beforeText) << "symbols and geometry pools back as they were";
        ASSERT_EQ(JOB::load_job((dir / "start").string()), kJob);
        JOB::replay_journal((dir / "edits.journal").string());
        EXPECT_EQ(kt::snapshot(kJob), after);
        EXPECT_EQ(saved("replayed"), afterText);
    }
}

}  // namespace

namespace {

// Survivors of a mutation run, each a behaviour of its own.
TEST_F(EditTools, EdgeCasesOfResizingScalingChainingAndPlanning) {
    // An oblong hole is resized by its narrow side, the long side in proportion.
    const int slot = kt::symbol(kJob, "drl", "oval600x300");
    kt::add(kJob, "drl", API::GreatePadString(0, 0, slot, 1, 0, 0, 1));
    EXPECT_EQ(EDIT::resize_holes(kJob, "pcb", "drl", {{300000, 450000}}, false), 1);
    EXPECT_EQ(feature(0, "drl").symbol, "oval900x450");

    // A text scaled past 100 mm is refused, and nothing changes.
    kt::add(kJob, "l2", API::GreateTextString(0, 0, "A", 1, 0, 60e6, 60e6, 1, "std", 0, 1));
    API::select_feature_by_id(kJob, "pcb", "l2", 0);
    EDIT::transform big;
    big.scale = 2;
    EXPECT_THROW(EDIT::transform_selected(kJob, "pcb", {"l2"}, big), API::KernelText);
    EXPECT_EQ(feature(0, "l2").xsize, 60e6);

    // A closed outline away from the origin is chained into the profile.
    const double mm = 1e6;
    const int a = line(2 * mm, 2 * mm, 6 * mm, 2 * mm), b = line(6 * mm, 2 * mm, 6 * mm, 5 * mm),
              c = line(6 * mm, 5 * mm, 2 * mm, 5 * mm), d = line(2 * mm, 5 * mm, 2 * mm, 2 * mm);
    EDIT::set_profile_from_features(kJob, "pcb", "top", {a, b, c, d});
    EXPECT_EQ(EDIT::get_profile(kJob, "pcb").size(), 4u);

    // A symbol a plan registers is found by its name afterwards, not registered twice.
    EDIT::edit_plan plan = EDIT::plan_line_end(kJob, "pcb", "top", a, 1, {7 * mm, 2 * mm}, false);
    ASSERT_EQ(plan.error, "");
    plan.add[0].symbol = "r777";
    const std::vector<int> made = EDIT::apply_plan(kJob, "pcb", plan);
    int again = -1;
    API::create_new_symbol(kJob, "pcb", "top", "r777", again);
    EXPECT_EQ(feature(made.at(0)).symbol_index, again);
}

TEST_F(EditTools, AHoleMayNotLeaveItsIsland) {
    // A 10 x 10 island with a 2 x 2 hole in its middle.
    surface({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}, {4, 4}, {6, 4}, {6, 6}, {4, 6}, {4, 4}});
    EXPECT_EQ(EDIT::plan_surface_vertex(kJob, "pcb", "top", 0, 1, 2, {8, 8}, false).error, "") << "still inside";
    EXPECT_NE(EDIT::plan_surface_vertex(kJob, "pcb", "top", 0, 1, 0, {-5, -5}, false).error, "")
        << "a corner of the hole outside the island";
}

}  // namespace
