// Rout chains: the rounding and the compensation of single lines and arcs,
// the joining of a compensated chain into one closed path, and, through
// the real kernel and plug-in manager, chains picked from a selection or
// read from the rout attributes and their compensated path on a layer of
// its own.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "core/failure.h"
#include "graphic_view/graphic_view.h"
#include "graphic_view/rout_chain.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
namespace API = TOLVA::API;
using Entry = ViewWidget::chain_info;
using Path = std::vector<Entry>;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
const QPointF kUnwritten(123.5, -456.25);

bool same(const QPointF& a, const QPointF& b) { return a.x() == b.x() && a.y() == b.y(); }

std::string text(const QPointF& p) { return "(" + std::to_string(p.x()) + ", " + std::to_string(p.y()) + ")"; }

Entry line(QPointF s, QPointF e, int comp, int size, int index = 0) {
    Entry entry;
    entry.layer = "rout";
    entry.index = index;
    entry.type = API::FT_LINE;
    entry.start = entry.origin_start = s;
    entry.end = entry.origin_end = e;
    entry.symbol = "r100";
    entry.tool_size = size;
    entry.comp = comp;
    entry.chain = 1;
    return entry;
}

Entry arc(QPointF s, QPointF e, QPointF c, const char* direction, int comp, int size, int index = 0) {
    Entry entry = line(s, e, comp, size, index);
    entry.type = API::FT_ARC;
    entry.centre = c;
    entry.direction = direction;
    return entry;
}

// A closed outline of lines through the corners, in their order.
Path polygon(const std::vector<QPointF>& corners, int comp, int size) {
    Path out;
    for (size_t k = 0; k < corners.size(); ++k)
        out.push_back(line(corners[k], corners[(k + 1) % corners.size()], comp, size, int(k)));
    return out;
}

// Every piece starts bit for bit where the one before ends, the first
// where the last ends.
testing::AssertionResult closedPath(const Path& path) {
    if (path.empty()) return testing::AssertionFailure() << "empty path";
    for (size_t k = 0; k < path.size(); ++k) {
        const Entry& next = path[(k + 1) % path.size()];
        if (!same(path[k].end, next.start))
            return testing::AssertionFailure() << "piece " << k << " ends at " << text(path[k].end)
                                               << ", the next starts at " << text(next.start);
    }
    return testing::AssertionSuccess();
}

std::vector<QPointF> startsOf(const Path& path) {
    std::vector<QPointF> out;
    for (const Entry& e : path) out.push_back(e.start);
    return out;
}

testing::AssertionResult sameStarts(const Path& path, const std::vector<QPointF>& expected) {
    const std::vector<QPointF> got = startsOf(path);
    if (got.size() != expected.size())
        return testing::AssertionFailure() << got.size() << " pieces, expected " << expected.size();
    for (size_t k = 0; k < got.size(); ++k)
        if (!same(got[k], expected[k]))
            return testing::AssertionFailure() << "piece " << k << " starts at " << text(got[k]) << ", expected "
                                               << text(expected[k]);
    return testing::AssertionSuccess();
}

class Rout : public ::testing::Test {
protected:
    QWidget host;
    std::unique_ptr<ViewWidget> view{static_cast<ViewWidget*>(GetViewInstance(&host))};
};

// ---- rounding and single pieces -------------------------------------------------

TEST_F(Rout, BitesNumRoundsHalvesTowardPositiveInfinity) {
    struct Case {
        double value;
        int digits;
        double expected;
    };
    const Case cases[] = {
        {1.25, 1, 1.3},       {-1.25, 1, -1.2},       {2.5, 0, 3},        {-2.5, 0, -2},
        {0.125, 2, 0.13},     {-0.125, 2, -0.12},     {1.5, 0, 2},        {-0.5, 0, 0},
        {1.234567891, 8, 1.23456789}, {-1.234567896, 8, -1.2345679}, {7, 0, 7}, {1250, -2, 1300},
        {1.5, 400, 1.5},  // no digits left to round: the value itself, not NaN
    };
    for (const Case& c : cases)
        EXPECT_DOUBLE_EQ(view->get_bites_num(c.value, c.digits), c.expected) << c.value << " to " << c.digits;
}

TEST_F(Rout, LineCompensationShiftsByHalfTheToolToTheChosenSide) {
    struct Case {
        const char* name;
        int mode;
        int size;
        QPointF start, end;
        bool written;
        QPointF outStart, outEnd;
    };
    const Case cases[] = {
        {"none", 0, 4, {0, 0}, {10, 0}, true, {0, 0}, {10, 0}},
        {"none, no length", 0, 4, {3, 3}, {3, 3}, true, {3, 3}, {3, 3}},
        {"right of +x", 1, 4, {0, 0}, {10, 0}, true, {0, -2}, {10, -2}},
        {"left of +x", 2, 4, {0, 0}, {10, 0}, true, {0, 2}, {10, 2}},
        {"odd size loses its half", 1, 5, {0, 0}, {10, 0}, true, {0, -2}, {10, -2}},
        {"size 1 offsets nothing", 2, 1, {0, 0}, {10, 0}, true, {0, 0}, {10, 0}},
        {"right of +y", 1, 4, {0, 0}, {0, 10}, true, {2, 0}, {2, 10}},
        {"right of -x", 1, 4, {10, 5}, {0, 5}, true, {10, 7}, {0, 7}},
        {"left of a 3-4-5 line", 2, 10, {0, 0}, {3, 4}, true, {-4, 3}, {-1, 7}},
        {"8 decimals", 2, 2, {0, 0}, {3, 3}, true, {-0.70710678, 0.70710678}, {2.29289322, 3.70710678}},
        {"no length stays", 1, 4, {5, 5}, {5, 5}, true, {5, 5}, {5, 5}},
        {"unknown mode", 3, 4, {0, 0}, {10, 0}, false, {}, {}},
        {"negative mode", -1, 4, {0, 0}, {10, 0}, false, {}, {}},
    };
    for (const Case& c : cases) {
        for (bool capital : {false, true}) {
            QPointF outStart = kUnwritten, outEnd = kUnwritten;
            if (capital) view->Get_post_comp_pt(c.mode, c.size, c.start, c.end, outStart, outEnd);
            else view->get_post_comp_pt(c.mode, c.size, c.start, c.end, outStart, outEnd);
            const QPointF wantStart = c.written ? c.outStart : kUnwritten;
            const QPointF wantEnd = c.written ? c.outEnd : kUnwritten;
            EXPECT_TRUE(same(outStart, wantStart)) << c.name << (capital ? " (Get)" : "") << ": " << text(outStart);
            EXPECT_TRUE(same(outEnd, wantEnd)) << c.name << (capital ? " (Get)" : "") << ": " << text(outEnd);
        }
    }
}

TEST_F(Rout, ArcCompensationMovesBothEndsAlongTheStartRadius) {
    struct Case {
        const char* name;
        int mode;
        int size;
        QPointF start, end, centre;
        const char* direction;
        bool written;
        QPointF outStart, outEnd;
    };
    const Case cases[] = {
        {"CCW right grows", 1, 4, {10, 0}, {0, 10}, {0, 0}, "CCW", true, {12, 0}, {0, 12}},
        {"CW right shrinks", 1, 4, {0, 10}, {10, 0}, {0, 0}, "CW", true, {0, 8}, {8, 0}},
        {"CCW left shrinks", 2, 4, {10, 0}, {0, 10}, {0, 0}, "CCW", true, {8, 0}, {0, 8}},
        {"CW left grows", 2, 4, {0, 10}, {10, 0}, {0, 0}, "CW", true, {0, 12}, {12, 0}},
        {"none", 0, 4, {10, 0}, {0, 10}, {0, 0}, "CCW", true, {10, 0}, {0, 10}},
        {"none, any text", 0, 4, {10, 0}, {0, 10}, {0, 0}, "??", true, {10, 0}, {0, 10}},
        {"odd size", 1, 5, {10, 0}, {0, 10}, {0, 0}, "CCW", true, {12, 0}, {0, 12}},
        {"off the origin", 2, 4, {110, 100}, {100, 90}, {100, 100}, "CW", true, {112, 100}, {100, 88}},
        {"end scaled by the start radius", 1, 4, {10, 0}, {0, 11}, {0, 0}, "CCW", true, {12, 0}, {0, 13.2}},
        {"full circle", 1, 4, {10, 0}, {10, 0}, {0, 0}, "CCW", true, {12, 0}, {12, 0}},
        {"no radius stays", 1, 4, {5, 5}, {6, 5}, {5, 5}, "CCW", true, {5, 5}, {6, 5}},
        {"lower-case direction", 1, 4, {10, 0}, {0, 10}, {0, 0}, "cw", false, {}, {}},
        {"no direction", 2, 4, {10, 0}, {0, 10}, {0, 0}, "", false, {}, {}},
        {"unknown mode", 3, 4, {10, 0}, {0, 10}, {0, 0}, "CCW", false, {}, {}},
    };
    for (const Case& c : cases) {
        for (bool capital : {false, true}) {
            QPointF outStart = kUnwritten, outEnd = kUnwritten;
            const QString direction = QString::fromLatin1(c.direction);
            if (capital) view->Get_arc_post_comp_pt(c.mode, c.size, c.start, c.end, c.centre, direction, outStart, outEnd);
            else view->get_arc_post_comp_pt(c.mode, c.size, c.start, c.end, c.centre, direction, outStart, outEnd);
            const QPointF wantStart = c.written ? c.outStart : kUnwritten;
            const QPointF wantEnd = c.written ? c.outEnd : kUnwritten;
            EXPECT_TRUE(same(outStart, wantStart)) << c.name << (capital ? " (Get)" : "") << ": " << text(outStart);
            EXPECT_TRUE(same(outEnd, wantEnd)) << c.name << (capital ? " (Get)" : "") << ": " << text(outEnd);
        }
    }
}

// ---- joining a chain ---------------------------------------------------------------

TEST_F(Rout, CompensatedSquareClosesOnTheSideOfItsMode) {
    const std::vector<QPointF> cw{{0, 0}, {0, 10}, {10, 10}, {10, 0}};
    const std::vector<QPointF> ccw{{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    struct Case {
        const char* name;
        const std::vector<QPointF>& corners;
        int mode;
        std::vector<QPointF> starts;
    };
    // Clockwise, the inside is on the right of the travel direction.
    const Case cases[] = {
        {"CW right: smaller", cw, 1, {{2, 2}, {2, 8}, {8, 8}, {8, 2}}},
        {"CW left: bigger", cw, 2, {{-2, -2}, {-2, 12}, {12, 12}, {12, -2}}},
        {"CCW right: bigger", ccw, 1, {{-2, -2}, {12, -2}, {12, 12}, {-2, 12}}},
        {"CCW left: smaller", ccw, 2, {{2, 2}, {8, 2}, {8, 8}, {2, 8}}},
        {"none", cw, 0, cw},
    };
    for (const Case& c : cases) {
        const Path path = view->get_merged_chains_info(polygon(c.corners, c.mode, 4));
        EXPECT_TRUE(sameStarts(path, c.starts)) << c.name;
        EXPECT_TRUE(closedPath(path)) << c.name;
        for (const Entry& piece : path) EXPECT_GE(piece.index, 0) << c.name << ": no piece added at a square corner";
    }
}

TEST_F(Rout, CompensatedRoundedRectangleKeepsItsArcsConcentric) {
    // Counter-clockwise: 20 by 10 with corners of radius 3.
    const Path outline = {
        line({3, 0}, {17, 0}, 0, 4, 0),          arc({17, 0}, {20, 3}, {17, 3}, "CCW", 0, 4, 1),
        line({20, 3}, {20, 7}, 0, 4, 2),         arc({20, 7}, {17, 10}, {17, 7}, "CCW", 0, 4, 3),
        line({17, 10}, {3, 10}, 0, 4, 4),        arc({3, 10}, {0, 7}, {3, 7}, "CCW", 0, 4, 5),
        line({0, 7}, {0, 3}, 0, 4, 6),           arc({0, 3}, {3, 0}, {3, 3}, "CCW", 0, 4, 7),
    };
    struct Case {
        int mode;
        double radius;
        std::vector<QPointF> starts;
    };
    const Case cases[] = {
        {1, 5, {{3, -2}, {17, -2}, {22, 3}, {22, 7}, {17, 12}, {3, 12}, {-2, 7}, {-2, 3}}},
        {2, 1, {{3, 2}, {17, 2}, {18, 3}, {18, 7}, {17, 8}, {3, 8}, {2, 7}, {2, 3}}},
    };
    for (const Case& c : cases) {
        Path chain = outline;
        for (Entry& e : chain) e.comp = c.mode;
        const Path path = view->get_merged_chains_info(chain);
        EXPECT_TRUE(sameStarts(path, c.starts)) << "mode " << c.mode;
        EXPECT_TRUE(closedPath(path)) << "mode " << c.mode;
        for (const Entry& piece : path) {
            if (piece.type != API::FT_ARC) continue;
            EXPECT_DOUBLE_EQ(std::hypot(piece.start.x() - piece.centre.x(), piece.start.y() - piece.centre.y()), c.radius);
            EXPECT_DOUBLE_EQ(std::hypot(piece.end.x() - piece.centre.x(), piece.end.y() - piece.centre.y()), c.radius);
            EXPECT_EQ(piece.direction, "CCW");
        }
    }
}

TEST_F(Rout, OpenChainsJoinOnlyWherePiecesMeet) {
    struct Case {
        const char* name;
        Path chain;
        std::vector<QPointF> starts;
        QPointF lastEnd;
        std::vector<int> indices;  // -1: a straight piece the view added
    };
    const Case cases[] = {
        {"outside corner grows to the crossing",
         {line({0, 0}, {10, 0}, 1, 4, 0), line({10, 0}, {10, 10}, 1, 4, 1)},
         {{0, -2}, {12, -2}},
         {12, 10},
         {0, 1}},
        {"inside corner is cut back",
         {line({0, 0}, {10, 0}, 2, 4, 0), line({10, 0}, {10, 10}, 2, 4, 1)},
         {{0, 2}, {8, 2}},
         {8, 10},
         {0, 1}},
        {"a gap stays a gap",
         {line({0, 0}, {10, 0}, 1, 4, 0), line({20, 0}, {30, 0}, 1, 4, 1)},
         {{0, -2}, {20, -2}},
         {30, -2},
         {0, 1}},
        {"turning back gets a straight piece across",
         {line({0, 0}, {10, 0}, 1, 4, 0), line({10, 0}, {2, 0}, 1, 4, 1)},
         {{0, -2}, {10, -2}, {10, 2}},
         {2, 2},
         {0, -1, 1}},
        {"a line into an arc meets its circle",
         {line({0, 0}, {10, 0}, 2, 4, 0), arc({10, 0}, {20, 0}, {15, 0}, "CCW", 2, 4, 1)},
         {{0, 2}, {12.76393202, 2}},  // 15 - sqrt(5), rounded
         {18, 0},
         {0, 1}},
    };
    for (const Case& c : cases) {
        const Path path = view->get_merged_chains_info(c.chain);
        EXPECT_TRUE(sameStarts(path, c.starts)) << c.name;
        ASSERT_FALSE(path.empty()) << c.name;
        EXPECT_TRUE(same(path.back().end, c.lastEnd)) << c.name << ": ends at " << text(path.back().end);
        std::vector<int> indices;
        for (const Entry& piece : path) indices.push_back(piece.index);
        EXPECT_EQ(indices, c.indices) << c.name;
    }
}

TEST_F(Rout, NotchNarrowerThanTheToolIsCutOutOfThePath) {
    // Counter-clockwise, with a notch 1 wide and 10 deep in the top edge;
    // a tool 4 wide outside cannot enter it.
    const Path chain = polygon({{0, 0}, {100, 0}, {100, 100}, {41, 100}, {41, 90}, {40, 90}, {40, 100}, {0, 100}}, 1, 4);
    const Path path = view->get_merged_chains_info(chain);
    EXPECT_TRUE(sameStarts(path, {{-2, -2}, {102, -2}, {102, 102}, {39, 102}, {-2, 102}}));
    EXPECT_TRUE(closedPath(path));
    // The same cut, asked for directly on the joined path.
    Path joined = path;
    EXPECT_EQ(view->delete_interection_feature(joined), 0) << "nothing left to cut";
}

// A sharp outside corner would put the meeting of the shifted pieces far out
// (about 40 here): beyond four times the offset the path goes round the
// corner with a straight piece instead, and stays near the outline.
TEST_F(Rout, SharpOutsideCornerIsBridgedInsteadOfMitred) {
    const std::vector<QPointF> corners{{1000, 1000}, {1100, 1000}, {1000, 1010}};
    const Path path = view->get_merged_chains_info(polygon(corners, 1, 4));
    EXPECT_TRUE(closedPath(path));
    int bridges = 0;
    for (const Entry& piece : path) {
        bridges += piece.index < 0;
        double nearest = 1e9;
        for (const QPointF& c : corners) nearest = std::min(nearest, std::hypot(piece.start.x() - c.x(), piece.start.y() - c.y()));
        EXPECT_LE(nearest, 4 * 2 + 1e-9) << "piece starting at " << text(piece.start);
    }
    EXPECT_EQ(bridges, 1) << "only the corner at (1100, 1000) is that sharp";
}

TEST_F(Rout, DeleteIntersectionCutsTheLoopAroundABackwardPiece) {
    // A joined path whose third piece runs against its feature; the first
    // and the fourth cross at (5, 0), and the loop they close goes.
    Path path = {line({0, 0}, {10, 0}, 0, 0, 0), line({10, 0}, {10, 5}, 0, 0, 1), line({10, 5}, {5, 5}, 0, 0, 2),
                 line({5, 5}, {5, -5}, 0, 0, 3), line({5, -5}, {20, -5}, 0, 0, 4)};
    path[2].origin_start = {5, 5};
    path[2].origin_end = {10, 5};
    EXPECT_EQ(view->delete_interection_feature(path), 2);
    EXPECT_TRUE(sameStarts(path, {{0, 0}, {5, 0}, {5, -5}}));
    EXPECT_TRUE(same(path.back().end, {20, -5}));
    // A cut at a corner that leaves neither crossing piece any length: the
    // pieces around it still meet bit for bit.
    const double x = 5 + 1e-13;
    Path corner = {line({0, 0}, {5, 0}, 0, 0, 0), line({5, 0}, {5, 5}, 0, 0, 1), line({5, 5}, {8, 5}, 0, 0, 2),
                   line({8, 5}, {x, 0}, 0, 0, 3), line({x, 0}, {10, 0}, 0, 0, 4)};
    corner[2].origin_start = {8, 5};
    corner[2].origin_end = {5, 5};
    EXPECT_EQ(view->delete_interection_feature(corner), 3);
    ASSERT_EQ(corner.size(), 2u);
    EXPECT_TRUE(same(corner[0].end, corner[1].start)) << text(corner[0].end) << " " << text(corner[1].start);
    // Without a backward piece nothing is cut, crossings or not.
    Path figure = {line({0, 0}, {10, 10}, 0, 0, 0), line({10, 10}, {10, 0}, 0, 0, 1), line({10, 0}, {0, 10}, 0, 0, 2)};
    EXPECT_EQ(view->delete_interection_feature(figure), 0);
    EXPECT_EQ(figure.size(), 3u);
}

TEST_F(Rout, PiecesThatCannotBeFollowedAreLeftOutWithAnError) {
    LogCapture logs;
    const Path chain = {line({0, 0}, {10, 0}, 1, 4, 0), line({kNaN, 0}, {10, 10}, 1, 4, 1),
                        arc({10, 10}, {0, 10}, {5, 10}, "sideways", 1, 4, 2), line({20, 0}, {20, kNaN}, 0, 4, 3)};
    const Path path = view->get_merged_chains_info(chain);
    ASSERT_EQ(path.size(), 1u);
    EXPECT_TRUE(same(path[0].start, {0, -2}));
    EXPECT_TRUE(same(path[0].end, {10, -2}));
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "left out"), 3);
}

TEST_F(Rout, CrossingOfTwoPiecesLiesOnBoth) {
    const double root75 = std::sqrt(75.0);
    struct Case {
        const char* name;
        Entry first, second;
        bool crosses;
        QPointF at;
    };
    const Case cases[] = {
        {"lines", line({0, 0}, {10, 10}, 0, 0), line({0, 10}, {10, 0}, 0, 0), true, {5, 5}},
        {"lines crossing beyond an end", line({0, 0}, {1, 1}, 0, 0), line({0, 10}, {10, 0}, 0, 0), false, {}},
        {"parallel lines", line({0, 0}, {10, 0}, 0, 0), line({0, 1}, {10, 1}, 0, 0), false, {}},
        {"line through an arc", line({0, 5}, {20, 5}, 0, 0), arc({10, 0}, {0, 10}, {0, 0}, "CCW", 0, 0), true,
         {root75, 5}},
        {"line past the arc's sweep", line({-20, 5}, {0, 5}, 0, 0), arc({10, 0}, {0, 10}, {0, 0}, "CCW", 0, 0), false,
         {}},
        {"line through an arc from 90 degrees", line({-20, 5}, {0, 5}, 0, 0),
         arc({0, 10}, {-10, 0}, {0, 0}, "CCW", 0, 0), true, {-root75, 5}},
        {"line past an arc from 90 degrees", line({0, 5}, {20, 5}, 0, 0), arc({0, 10}, {-10, 0}, {0, 0}, "CCW", 0, 0),
         false, {}},
        {"two arcs", arc({110, 50}, {100, 60}, {100, 50}, "CCW", 0, 0), arc({100, 50}, {110, 60}, {110, 50}, "CW", 0, 0),
         true, {105, 50 + root75}},
        {"nearest to the first's end", line({-20, 5}, {20, 5}, 0, 0), arc({10, 0}, {10, 0}, {0, 0}, "CCW", 0, 0), true,
         {root75, 5}},
    };
    for (const Case& c : cases) {
        QPointF at = kUnwritten;
        EXPECT_EQ(view->calculate_features_interection(c.first, c.second, at), c.crosses) << c.name;
        if (!c.crosses) continue;
        EXPECT_NEAR(at.x(), c.at.x(), 1e-9) << c.name;
        EXPECT_NEAR(at.y(), c.at.y(), 1e-9) << c.name;
    }
}

TEST_F(Rout, ArrangeTurnsPiecesIntoTravelOrder) {
    // A counter-clockwise square handed over out of order, two sides backwards.
    Path square = {line({10, 10}, {0, 10}, 0, 0, 2), line({10, 0}, {0, 0}, 0, 0, 0), line({0, 10}, {0, 0}, 0, 0, 3),
                   line({10, 10}, {10, 0}, 0, 0, 1)};
    view->arrange_selected_chain(square);
    EXPECT_TRUE(closedPath(square));
    std::vector<int> indices;
    std::vector<bool> reversed;
    for (const Entry& e : square) {
        indices.push_back(e.index);
        reversed.push_back(e.reversed);
    }
    EXPECT_EQ(indices, (std::vector<int>{2, 3, 0, 1}));
    EXPECT_EQ(reversed, (std::vector<bool>{false, false, true, true}));

    // An arc turned round changes its direction too.
    Path run = {line({0, 0}, {10, 0}, 0, 0, 0), arc({20, 0}, {10, 0}, {15, 0}, "CW", 0, 0, 1)};
    view->arrange_selected_chain(run);
    EXPECT_TRUE(same(run[1].start, {10, 0}));
    EXPECT_TRUE(same(run[1].end, {20, 0}));
    EXPECT_EQ(run[1].direction, "CCW");
    EXPECT_TRUE(run[1].reversed);
}

// ---- chains and compensation through the kernel ----------------------------------------

constexpr char kJob[] = "rout_job";
constexpr char kStep[] = "pcb";
constexpr int kMm = 1000000;  // board units

PluginMetaData message(qint32 code, const QVariantMap& data = {}) {
    PluginMetaData msg(PluginNames::MenuBarRout, PluginNames::GraphicView, code);
    msg.data = data;
    return msg;
}

std::vector<API::featureInfo> featuresOf(const std::string& layer) {
    std::vector<API::featureInfo> out;
    const int n = TOLVA::JOB::feature_count(kJob, kStep, layer);
    for (int i = 0; i < n; ++i) {
        API::featureInfo f;
        API::get_featureinfo_by_index(kJob, kStep, layer, i, f);
        out.push_back(f);
    }
    return out;
}

std::vector<std::string> matrixOf() {
    std::vector<std::string> rows;
    for (const API::matrix_info& r : API::get_matrix(kJob))
        rows.push_back(r.name + " " + r.context + " " + r.type + " " + r.polarity);
    return rows;
}

bool hasLayer(const std::string& layer) {
    for (const API::matrix_info& r : API::get_matrix(kJob))
        if (r.name == layer) return true;
    return false;
}

int symbolOn(const std::string& layer, const std::string& symbol) {
    int index = -1;
    API::create_new_symbol(kJob, kStep, layer, symbol, index);
    return index;
}

class RoutJob : public Rout {
protected:
    void SetUp() override {
        TOLVA::JOB::add_layer(kJob, "rout", "board", "rout", "positive");
        view->resize(200, 200);
        testsupport::openJobInView(view.get(), kJob, kStep, {"top", "rout"});
        setWorkLayer("rout");
    }
    void TearDown() override { TOLVA::DB::set_SaveFlag(false); }
    void deliver(PluginMetaData msg) { recMsgFromManager(view.get(), &msg); }
    void setWorkLayer(const char* layer) { deliver(message(55, {{"clayer", layer}})); }
    // A counter-clockwise square of lines on the rout layer, 1 mm a side.
    void addSquare() {
        job.addLine("rout", 0, 0, kMm, 0, "r200");
        job.addLine("rout", kMm, 0, kMm, kMm, "r200");
        job.addLine("rout", kMm, kMm, 0, kMm, "r200");
        job.addLine("rout", 0, kMm, 0, 0, "r200");
    }
    void select(const std::vector<int>& indices) {
        API::clear_selected_features(kJob, kStep, "rout");
        for (int i : indices) API::select_feature_by_id(kJob, kStep, "rout", i);
    }
    void pickChain(const QVariantMap& data) { deliver(message(20003901, data)); }
    void compensate(const char* source, const char* destination, int type) {
        deliver(message(20003910, {{"source", source}, {"des", destination}, {"type", type}}));
    }

    ScopedJob job{kJob, 10.0 * kMm, 10.0 * kMm, {"top"}};
    PromptRecorder prompts;
};

TEST_F(RoutJob, PickedChainIsCompensatedOntoANewRoutLayer) {
    addSquare();
    API::select_features(kJob, kStep, "rout");
    MessageRecorder messages;
    pickChain({{"size", 200000}, {"comp", 2}, {"feed", 1200}, {"speed", 30000}});
    ASSERT_EQ(view->routChains().size(), 1u);
    const Path chain = view->routChains()[0];
    ASSERT_EQ(chain.size(), 4u);
    EXPECT_TRUE(closedPath(chain));
    for (const Entry& e : chain) {
        EXPECT_EQ(e.chain, 1);
        EXPECT_EQ(e.tool_size, 200000);
        EXPECT_EQ(e.comp, 2);
    }
    const auto applied = messages.withCode(20003909);
    ASSERT_EQ(applied.size(), 1u);
    EXPECT_EQ(applied[0].sender, PluginNames::GraphicView);
    EXPECT_EQ(applied[0].receiver, "Graphic_MenuBar_Rout.dll");

    const std::vector<std::string> before = matrixOf();
    messages.clear();
    compensate("rout", "rout_comp", 1);
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();

    API::matrix_info row;
    for (const API::matrix_info& r : API::get_matrix(kJob))
        if (r.name == "rout_comp") row = r;
    EXPECT_EQ(row.type, "rout");
    EXPECT_EQ(row.context, "board");

    // Left of a counter-clockwise square is its inside: 0.1 mm in.
    const std::vector<API::featureInfo> made = featuresOf("rout_comp");
    ASSERT_EQ(made.size(), 4u);
    const double in = 0.1 * kMm, out = 0.9 * kMm;
    const QPointF corners[] = {{in, in}, {out, in}, {out, out}, {in, out}};
    const API::attr_map attributes = {{".rout_chain", "1"}, {".comp", "left"}, {".rout_flag", "1"},
                                      {".feed", "1200"},    {".speed", "30000"}};
    for (size_t k = 0; k < made.size(); ++k) {
        EXPECT_TRUE(same({made[k].xs, made[k].ys}, corners[k])) << k;
        EXPECT_TRUE(same({made[k].xe, made[k].ye}, corners[(k + 1) % 4])) << k;
        EXPECT_EQ(made[k].symbol, "r200");
        EXPECT_EQ(made[k].attributes, attributes);
    }
    std::vector<API::featureInfo> selected;
    API::get_selected_feature_info(kJob, kStep, "rout_comp", selected);
    EXPECT_EQ(selected.size(), 4u);

    const auto matrix = messages.withCode(20002401);
    ASSERT_EQ(matrix.size(), 1u);
    EXPECT_EQ(matrix[0].sender, PluginNames::GraphicView);
    EXPECT_EQ(matrix[0].receiver, "Matrix.dll");
    EXPECT_EQ(matrix[0].data.value("DstType").toString(), "Matrix");
    EXPECT_EQ(matrix[0].data.value("JobName").toString(), kJob);
    EXPECT_EQ(messages.entries().front().route, "job");
    EXPECT_EQ(messages.withCode(20001817).size(), 1u);

    // The new rout layer's chain is read back from its attributes.
    const auto chains = view->routChains();
    ASSERT_EQ(chains.size(), 2u);
    EXPECT_EQ(chains[1].front().layer, "rout_comp");
    EXPECT_EQ(chains[1].front().flag, 1);

    // Three edits: the layer, its matrix row and the features.
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(matrixOf(), before);
    EXPECT_EQ(featuresOf("rout").size(), 4u);
}

TEST_F(RoutJob, ChainsReadFromAttributesGoOntoADocumentLayer) {
    // A clockwise rectangle 20 by 10 mm with corners of radius 3 mm, cut
    // with a 2 mm tool on the right (its inside), and one line of chain 4
    // without compensation.
    const int r2000 = symbolOn("rout", "r2000");
    auto L = [&](double x1, double y1, double x2, double y2) {
        return API::GreateLineString(x1 * kMm, y1 * kMm, x2 * kMm, y2 * kMm, r2000, API::POL_POSITIVE, 0);
    };
    auto A = [&](double x1, double y1, double x2, double y2, double xc, double yc) {
        return API::GreateArcString(x1 * kMm, y1 * kMm, x2 * kMm, y2 * kMm, xc * kMm, yc * kMm, r2000,
                                    API::POL_POSITIVE, 0, true);
    };
    const std::vector<std::string> outline = {L(0, 3, 0, 7),   A(0, 7, 3, 10, 3, 7),  L(3, 10, 17, 10),
                                              A(17, 10, 20, 7, 17, 7), L(20, 7, 20, 3), A(20, 3, 17, 0, 17, 3),
                                              L(17, 0, 3, 0),   A(3, 0, 0, 3, 3, 3)};
    const API::attr_map chain3 = {{".rout_chain", "3"}, {".comp", "right"}, {".feed", "10"}, {".speed", "20"}};
    const API::attr_map chain4 = {{".rout_chain", "4"}, {".comp", "none"}, {".rout_flag", "0"}};
    const API::attr_map unreadable = {{".rout_chain", "three"}};
    std::vector<std::string> strings = outline;
    std::vector<API::attr_map> attributes(outline.size(), chain3);
    strings.push_back(L(30, 0, 40, 0));
    attributes.push_back(chain4);
    strings.push_back(L(50, 0, 60, 0));
    attributes.push_back(unreadable);
    API::AddFeatures(kJob, kStep, {"rout"}, {{"rout", strings}}, attributes);

    LogCapture logs;
    view->update_rout_info();
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "cannot be read"), 1);
    const auto chains = view->routChains();
    ASSERT_EQ(chains.size(), 2u);
    EXPECT_EQ(chains[0].size(), 8u);
    EXPECT_EQ(chains[0].front().chain, 3);
    EXPECT_EQ(chains[0].front().tool_size, 2 * kMm);
    EXPECT_EQ(chains[0].front().comp, 1);
    EXPECT_EQ(chains[1].size(), 1u);
    EXPECT_EQ(chains[1].front().chain, 4);

    MessageRecorder messages;
    compensate("rout", "doc", 0);
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();
    for (const API::matrix_info& r : API::get_matrix(kJob)) {
        if (r.name != "doc") continue;
        EXPECT_EQ(r.type, "document");
        EXPECT_EQ(r.context, "misc");
    }
    const std::vector<API::featureInfo> made = featuresOf("doc");
    ASSERT_EQ(made.size(), 9u);
    // The outline closes feature to feature, 1 mm inside, its arcs of radius 2 mm.
    for (size_t k = 0; k < 8; ++k) {
        const API::featureInfo& f = made[k];
        const API::featureInfo& next = made[(k + 1) % 8];
        EXPECT_TRUE(same({f.xe, f.ye}, {next.xs, next.ys})) << k;
        EXPECT_EQ(f.attributes.at(".comp"), "right");
        EXPECT_EQ(f.attributes.at(".rout_chain"), "3");
        if (f.type == API::FT_ARC) {
            EXPECT_DOUBLE_EQ(std::hypot(f.xs - f.xc, f.ys - f.yc), 2 * kMm) << k;
            EXPECT_EQ(f.direction, "CW");
        }
    }
    EXPECT_TRUE(same({made[0].xs, made[0].ys}, {1.0 * kMm, 3.0 * kMm}));
    EXPECT_TRUE(same({made[8].xs, made[8].ys}, {30.0 * kMm, 0}));
    EXPECT_EQ(made[8].attributes.at(".comp"), "none");
    EXPECT_EQ(messages.withCode(20002401).size(), 1u);
}

TEST_F(RoutJob, CompensationRefusesBadRequestsAndChangesNothing) {
    struct Case {
        const char* name;
        QVariantMap data;
        QString box;  // the text shown, or a part of it
    };
    const Case cases[] = {
        {"no data", {}, "\"source\""},
        {"no destination", {{"source", "rout"}, {"type", 1}}, "\"des\""},
        {"no type", {{"source", "rout"}, {"des", "d"}}, "\"type\""},
        {"type out of range", {{"source", "rout"}, {"des", "d"}, {"type", 7}}, "\"type\""},
        {"type not a number", {{"source", "rout"}, {"des", "d"}, {"type", "rout"}}, "\"type\""},
        {"empty source", {{"source", ""}, {"des", "d"}, {"type", 1}}, "\"source\""},
        {"onto itself", {{"source", "rout"}, {"des", "rout"}, {"type", 1}}, "Destination layer is the source layer!"},
        {"not a rout layer", {{"source", "top"}, {"des", "d"}, {"type", 1}}, "source layer is not rout layer!"},
        {"unknown layer", {{"source", "nowhere"}, {"des", "d"}, {"type", 1}}, "source layer is not rout layer!"},
        {"no chain", {{"source", "rout"}, {"des", "d"}, {"type", 1}}, "No rout chain on source layer!"},
    };
    addSquare();
    const std::vector<std::string> before = matrixOf();
    for (const Case& c : cases) {
        prompts.clear();
        MessageRecorder messages;
        deliver(message(20003910, c.data));
        ASSERT_EQ(prompts.requests().size(), 1u) << c.name;
        EXPECT_EQ(prompts.requests()[0].title, "Information") << c.name;
        EXPECT_TRUE(prompts.requests()[0].text.contains(c.box)) << c.name << ": " << prompts.texts()[0].toStdString();
        EXPECT_EQ(matrixOf(), before) << c.name;
        EXPECT_TRUE(messages.entries().empty()) << c.name;
    }
    EXPECT_EQ(featuresOf("rout").size(), 4u);
}

TEST_F(RoutJob, ChainRequestsThatCannotBeFollowedAreRefused) {
    addSquare();
    job.addPad("rout", 5 * kMm, 5 * kMm, "r500");
    struct Case {
        const char* name;
        const char* workLayer;
        std::vector<int> selection;
        QVariantMap data;
        QString box;
    };
    const Case cases[] = {
        {"comp out of range", "rout", {0, 1}, {{"comp", 3}}, "\"comp\""},
        {"negative size", "rout", {0, 1}, {{"size", -5}}, "\"size\""},
        {"chain zero", "rout", {0, 1}, {{"chain", 0}}, "\"chain\""},
        {"feed not a number", "rout", {0, 1}, {{"feed", "fast"}}, "\"feed\""},
        {"no work layer", "", {0, 1}, {}, "No work layer!"},
        {"not a rout layer", "top", {0, 1}, {}, "work layer is not rout layer!"},
        {"nothing selected", "rout", {}, {}, "No line or arc is selected!"},
        {"only a pad", "rout", {4}, {}, "No line or arc is selected!"},
    };
    for (const Case& c : cases) {
        prompts.clear();
        view->work_layer = c.workLayer;
        select(c.selection);
        MessageRecorder messages;
        pickChain(c.data);
        ASSERT_EQ(prompts.requests().size(), 1u) << c.name;
        EXPECT_TRUE(prompts.requests()[0].text.contains(c.box)) << c.name << ": " << prompts.texts()[0].toStdString();
        EXPECT_TRUE(view->routChains().empty()) << c.name;
        EXPECT_TRUE(messages.withCode(20003909).empty()) << c.name;
    }
}

TEST_F(RoutJob, KernelFailureLeavesNoLayerBehind) {
    // Shifted outward, the line would leave the kernel's 1 m range.
    job.addLine("rout", 0, 999999000.0, kMm, 999999000.0, "r200");
    API::select_features(kJob, kStep, "rout");
    pickChain({{"size", 4000}, {"comp", 2}});
    ASSERT_EQ(view->routChains().size(), 1u);
    const std::vector<std::string> before = matrixOf();
    LogCapture logs;
    MessageRecorder messages;
    compensate("rout", "rout_comp", 1);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].title, "Information");
    EXPECT_GE(logs.count(google::GLOG_ERROR, kFailurePositionLabel), 1);
    EXPECT_FALSE(hasLayer("rout_comp"));
    EXPECT_EQ(matrixOf(), before);
    EXPECT_EQ(featuresOf("rout").size(), 1u) << "only the compensation's own edits are undone";
    EXPECT_TRUE(messages.withCode(20002401).empty());
    EXPECT_TRUE(messages.withCode(20001817).empty());
}

TEST_F(RoutJob, ExistingDestinationTakesThePathAndOneUndoGivesItBack) {
    addSquare();
    API::select_features(kJob, kStep, "rout");
    pickChain({{"size", 200000}, {"comp", 1}});
    const std::vector<std::string> before = matrixOf();
    compensate("rout", "top", 1);
    EXPECT_TRUE(prompts.requests().empty()) << prompts.texts().join(" | ").toStdString();
    EXPECT_EQ(matrixOf(), before);
    const std::vector<API::featureInfo> made = featuresOf("top");
    ASSERT_EQ(made.size(), 4u);
    // Right of a counter-clockwise square is its outside.
    EXPECT_TRUE(same({made[0].xs, made[0].ys}, {-0.1 * kMm, -0.1 * kMm}));
    EXPECT_EQ(made[0].attributes.at(".comp"), "right");
    EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_TRUE(featuresOf("top").empty());
    EXPECT_EQ(featuresOf("rout").size(), 4u);
}

TEST_F(RoutJob, JournalTwinsComeImmediatelyBeforeTheirCalls) {
    addSquare();
    API::select_features(kJob, kStep, "rout");
    pickChain({{"size", 200000}, {"comp", 1}});
    QTemporaryDir dir;
    const std::string path = (dir.path() + "/rout.journal").toStdString();
    TOLVA::JOB::set_journal_path(kJob, path);
    TOLVA::DB::set_SaveFlag(true);
    compensate("rout", "rout_comp", 1);
    TOLVA::DB::set_SaveFlag(false);
    QFile file(QString::fromStdString(path));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QStringList calls;
    for (const QString& line : QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts))
        calls << line.section(' ', 0, 0);
    const int first = calls.indexOf("create_new_layer");
    ASSERT_GE(first, 0) << calls.join(' ').toStdString();
    const QStringList expected = {"create_new_layer",        "change_matrix",        "create_new_symbol",
                                  "GreateLineString",        "GreateLineString",     "GreateLineString",
                                  "GreateLineString",        "AddFeatures",          "clear_selected_features",
                                  "select_feature_by_id",    "select_feature_by_id", "select_feature_by_id",
                                  "select_feature_by_id",    "get_selected_feature_info"};
    EXPECT_EQ(calls.mid(first, expected.size()), expected);
}

TEST_F(RoutJob, PickedChainsFollowTheirFeaturesAndTheMenuOrder) {
    addSquare();
    select({0, 1});
    pickChain({{"size", 100}});
    select({2, 3});
    pickChain({{"size", 100}, {"comp", 2}});
    auto numbers = [&] {
        std::vector<int> out;
        for (const Path& chain : view->routChains()) out.push_back(chain.front().chain);
        return out;
    };
    ASSERT_EQ(numbers(), (std::vector<int>{1, 2}));

    view->receive_order_index({1, 0});
    EXPECT_EQ(numbers(), (std::vector<int>{2, 1}));
    LogCapture logs;
    const QList<int> bad[] = {{0}, {0, 0}, {0, 2}, {-1, 0}, {1, 0, 2}};
    for (const QList<int>& order : bad) view->receive_order_index(order);
    EXPECT_EQ(numbers(), (std::vector<int>{2, 1}));
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "order ignored"), 5);

    // A feature picked again leaves the chain it was in.
    select({1});
    pickChain({{"chain", 7}});
    EXPECT_EQ(numbers(), (std::vector<int>{2, 1, 7}));
    EXPECT_EQ(view->routChains()[1].size(), 1u);

    // A moved feature moves its entry; an undone one leaves its chain.
    select({0});
    API::move_same_layer(kJob, kStep, {"rout"}, 0, 500);
    job.addLine("rout", 0, 0, 5 * kMm, 5 * kMm, "r200");
    select({4});
    pickChain({});
    ASSERT_EQ(numbers(), (std::vector<int>{2, 1, 7, 8}));
    ASSERT_TRUE(API::undo_last_edit(kJob));  // the added line
    view->update_rout_info();
    EXPECT_EQ(numbers(), (std::vector<int>{2, 1, 7}));
    const Entry moved = view->routChains()[1][0];
    EXPECT_EQ(moved.index, 0);
    EXPECT_TRUE(same(moved.start, {0, 500}));
    EXPECT_TRUE(same(moved.end, {double(kMm), 500}));

    // Another job takes the chains of this one away.
    ScopedJob other("rout_other", kMm, kMm, {"top"});
    testsupport::openJobInView(view.get(), "rout_other", kStep, {"top"});
    view->update_rout_info();
    EXPECT_TRUE(view->routChains().empty());
}

}  // namespace
