// Contour fills against brute-force references: pads measured with the exact
// distance query after they are stored, hatch lines against every boundary
// edge, contours traced from lines and arcs, and the refusals.
#include <gtest/gtest.h>

#include <algorithm>

#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <set>

#include "TOLVA_Fill.h"
#include "TOLVA_Measure.h"
#include "TOLVA_Step.h"
#include "kernel_test_util.h"

namespace {

using namespace TOLVA;
using API::lPoint;

const char* const kJob = "fill";
const char* const kStep = "pcb";
constexpr double kMm = 1e6;

struct Seg {
    lPoint a, b;
};

double pointSegment(const lPoint& p, const Seg& s) {
    const double dx = s.b.x - s.a.x, dy = s.b.y - s.a.y, l2 = dx * dx + dy * dy;
    double t = l2 > 0 ? ((p.x - s.a.x) * dx + (p.y - s.a.y) * dy) / l2 : 0;
    t = std::max(0.0, std::min(1.0, t));
    return std::hypot(p.x - s.a.x - t * dx, p.y - s.a.y - t * dy);
}

double cross(const lPoint& o, const lPoint& a, const lPoint& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

double segmentSegment(const Seg& s, const Seg& t) {
    const double c1 = cross(s.a, s.b, t.a), c2 = cross(s.a, s.b, t.b);
    const double c3 = cross(t.a, t.b, s.a), c4 = cross(t.a, t.b, s.b);
    if (((c1 > 0) != (c2 > 0)) && ((c3 > 0) != (c4 > 0))) return 0;
    return std::min(std::min(pointSegment(s.a, t), pointSegment(s.b, t)),
                    std::min(pointSegment(t.a, s), pointSegment(t.b, s)));
}

std::vector<Seg> edges(const FILL::region& r) {
    std::vector<Seg> out;
    auto ring = [&out](const std::vector<lPoint>& pts) {
        for (size_t i = 0; i < pts.size(); ++i) out.push_back({pts[i], pts[(i + 1) % pts.size()]});
    };
    for (const FILL::contour& c : r) {
        ring(c.outer);
        for (const auto& h : c.holes) ring(h);
    }
    return out;
}

bool insideEvenOdd(const FILL::region& r, const lPoint& p) {
    bool in = false;
    for (const Seg& e : edges(r))
        if ((e.a.y > p.y) != (e.b.y > p.y) && p.x < (e.b.x - e.a.x) * (p.y - e.a.y) / (e.b.y - e.a.y) + e.a.x) in = !in;
    return in;
}

std::vector<lPoint> square(double x0, double y0, double x1, double y1) {
    return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
}

// A 20 mm square board area with a 4 mm square hole at (8, 8).
FILL::region holedArea() { return {{square(0, 0, 20 * kMm, 20 * kMm), {square(8 * kMm, 8 * kMm, 12 * kMm, 12 * kMm)}}}; }

// Copper of every kind on "top": a trace, a pad, an arc and a pour.
void copperBoard() {
    kt::freshJob(kJob, {"top"});
    kt::add(kJob, "top", API::GreateLineString(1 * kMm, 3 * kMm, 18 * kMm, 5 * kMm, kt::symbol(kJob, "top", "r200"), API::POL_POSITIVE, 0));
    kt::add(kJob, "top", API::GreatePadString(4 * kMm, 15 * kMm, kt::symbol(kJob, "top", "s1500"), API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "top", API::GreateArcString(15 * kMm, 15 * kMm, 17 * kMm, 17 * kMm, 15 * kMm, 17 * kMm,
                                               kt::symbol(kJob, "top", "r300"), API::POL_POSITIVE, 0, true));
    kt::add(kJob, "top", API::GreateSurfaceString(square(13 * kMm, 8 * kMm, 17 * kMm, 11 * kMm), API::POL_POSITIVE, 0, true));
}

int storePads(const std::string& symbol, const std::vector<lPoint>& centres) {
    const int index = kt::symbol(kJob, "top", symbol);
    std::vector<std::string> strings;
    for (const lPoint& c : centres) strings.push_back(API::GreatePadString(c.x, c.y, index, API::POL_POSITIVE, 0, 0, 1));
    const int before = JOB::feature_count(kJob, kStep, "top");
    API::AddFeatures(kJob, kStep, {"top"}, {{"top", strings}}, {});
    return before;
}

// ---- pads ----------------------------------------------------------------------

TEST(FillPads, EveryPadKeepsTheClearanceAndNoPlaceThatKeepsItIsLeftOut) {
    copperBoard();
    const int copper = JOB::feature_count(kJob, kStep, "top");
    const double radius = 0.25 * kMm, clearance = 0.3 * kMm;
    const FILL::pad_result r = FILL::pad_grid(kJob, kStep, "top", holedArea(), {"r500", 1 * kMm, 1 * kMm, false, clearance, false});
    ASSERT_GT(r.blocked_by_copper, 0);
    EXPECT_EQ(r.nodes, 400);
    EXPECT_TRUE(r.clipped.empty());

    // Reference: a node's disc at the clearance from every feature and edge.
    std::set<std::pair<long, long>> expected, placed;
    for (int j = 0; j < 20; ++j)
        for (int i = 0; i < 20; ++i) {
            const lPoint c{(i + 0.5) * kMm, (j + 0.5) * kMm};
            bool ok = insideEvenOdd(holedArea(), c);
            for (const Seg& e : edges(holedArea())) ok = ok && pointSegment(c, e) - radius >= clearance;
            for (int f = 0; f < copper && ok; ++f)
                ok = MEASURE::point_distance(kJob, kStep, {"top", f}, c.x, c.y).distance - radius >= clearance;
            if (ok) expected.insert({std::lround(c.x), std::lround(c.y)});
        }
    for (const lPoint& c : r.centres) placed.insert({std::lround(c.x), std::lround(c.y)});
    EXPECT_EQ(placed, expected);

    const int first = storePads("r500", r.centres);
    for (int p = first; p < JOB::feature_count(kJob, kStep, "top"); ++p)
        for (int f = 0; f < copper; ++f)
            ASSERT_GE(MEASURE::feature_distance(kJob, kStep, {"top", p}, {"top", f}).distance, clearance)
                << "pad " << p << " and feature " << f;
}

TEST(FillPads, StaggeredRowsShiftByHalfAPitch) {
    kt::freshJob(kJob, {"top"});
    const FILL::region area{{square(0, 0, 10 * kMm, 4 * kMm), {}}};
    const FILL::pad_result r = FILL::pad_grid(kJob, kStep, "top", area, {"r400", 2 * kMm, 1 * kMm, true, 0, false});
    std::map<long, std::vector<double>> rows;
    for (const lPoint& c : r.centres) rows[std::lround(c.y)].push_back(c.x);
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows.begin()->first, std::lround(0.5 * kMm));
    EXPECT_EQ(rows[std::lround(0.5 * kMm)].front(), 1 * kMm);
    EXPECT_EQ(rows[std::lround(1.5 * kMm)].front(), 2 * kMm);
    EXPECT_EQ(rows[std::lround(0.5 * kMm)].size(), 5u);
    EXPECT_EQ(rows[std::lround(1.5 * kMm)].size(), 4u);  // the shifted row's last node at 10 mm touches the edge
}

TEST(FillPads, PadsCutByTheBoundaryAreClippedInsideTheShrunkRegionOrDropped) {
    kt::freshJob(kJob, {"top"});
    const double clearance = 0.2 * kMm;
    const FILL::region area{{square(0, 0, 5.5 * kMm, 5.5 * kMm), {square(2.2 * kMm, 2.2 * kMm, 3.1 * kMm, 3.1 * kMm)}}};
    const FILL::pad_result dropped = FILL::pad_grid(kJob, kStep, "top", area, {"s800", 1 * kMm, 1 * kMm, false, clearance, false});
    const FILL::pad_result clipped = FILL::pad_grid(kJob, kStep, "top", area, {"s800", 1 * kMm, 1 * kMm, false, clearance, true});
    EXPECT_TRUE(dropped.clipped.empty());
    EXPECT_EQ(clipped.centres.size(), dropped.centres.size());
    ASSERT_FALSE(clipped.clipped.empty());
    for (const auto& piece : clipped.clipped) {
        ASSERT_GE(piece.size(), 4u);
        EXPECT_EQ(piece.front().x, piece.back().x);
        for (const lPoint& v : piece) {
            EXPECT_TRUE(insideEvenOdd(area, v)) << v.x << ", " << v.y;
            for (const Seg& e : edges(area)) ASSERT_GE(pointSegment(v, e), clearance) << v.x << ", " << v.y;
        }
    }
    // A pad whose centre is inside but which comes closer than the clearance
    // to the edge (the 0.5 mm column, away from the corners) is cut, not
    // left out: its piece lies in that column.
    const bool leftColumnPiece = std::any_of(clipped.clipped.begin(), clipped.clipped.end(), [](const auto& piece) {
        return std::all_of(piece.begin(), piece.end(),
                           [](const lPoint& v) { return v.x < 1 * kMm && v.y > 1 * kMm && v.y < 4 * kMm; });
    });
    EXPECT_TRUE(leftColumnPiece);
    // Whole pads: nodes 1.5 to 4.5 mm on both axes (the 0.5 mm column and
    // row come within 0.1 mm of the edge, the 5.5 mm ones sit on it) but the
    // four at 2.5 and 3.5 mm that reach the hole.
    EXPECT_EQ(dropped.centres.size(), 16u - 4u);

    // A clipped round or oval pad stays within its own outline: every corner
    // of a piece within the pad's half length of a grid node.
    for (const auto& [symbol, reach] : {std::pair<const char*, double>{"r800", 0.4 * kMm}, {"oval800x400", 0.4 * kMm}}) {
        const FILL::pad_result r = FILL::pad_grid(kJob, kStep, "top", area, {symbol, 1 * kMm, 1 * kMm, false, clearance, true});
        ASSERT_FALSE(r.clipped.empty()) << symbol;
        for (const auto& piece : r.clipped) {
            ASSERT_GE(piece.size(), 4u) << symbol;
            for (const lPoint& v : piece) {
                const double nx = (std::floor(v.x / kMm) + 0.5) * kMm, ny = (std::floor(v.y / kMm) + 0.5) * kMm;
                ASSERT_LE(std::hypot(v.x - nx, v.y - ny), reach + 1) << symbol << " " << v.x << ", " << v.y;
            }
        }
    }
}

// ---- hatch ------------------------------------------------------------------------

struct HatchCase {
    const char* what;
    double angle;
    bool cross;
};

class FillHatch : public ::testing::TestWithParam<HatchCase> {};

TEST_P(FillHatch, LinesStayInsideClearOfTheHoleAndEndOnTheBoundary) {
    const FILL::region area{{square(0, 0, 10 * kMm, 10 * kMm),
                             {{{4 * kMm, 3 * kMm}, {7 * kMm, 5 * kMm}, {5 * kMm, 7 * kMm}, {3 * kMm, 5 * kMm}}}}};
    const double width = 0.2 * kMm, r = width / 2;
    const FILL::hatch_result h = FILL::hatch_lines(area, {width, 0.5 * kMm, GetParam().angle, GetParam().cross});
    EXPECT_EQ(h.symbol, "r200");
    ASSERT_GT(h.lines.size(), 20u);
    const std::vector<Seg> boundary = edges(area);
    size_t endsAtHole = 0;
    for (const API::feature_point& l : h.lines) {
        const Seg s{{l.xs, l.ys}, {l.xe, l.ye}};
        ASSERT_TRUE(insideEvenOdd(area, s.a));
        double gap = std::numeric_limits<double>::infinity();
        for (const Seg& e : boundary) gap = std::min(gap, segmentSegment(s, e));
        ASSERT_GE(gap, r) << "a line body crosses the boundary";
        for (const lPoint& end : {s.a, s.b}) {
            double d = std::numeric_limits<double>::infinity();
            for (size_t k = 0; k < boundary.size(); ++k) d = std::min(d, pointSegment(end, boundary[k]));
            EXPECT_NEAR(d, r, 3) << "a line end short of the boundary";
            for (size_t k = 4; k < boundary.size(); ++k) endsAtHole += pointSegment(end, boundary[k]) < r + 3;
        }
    }
    EXPECT_GT(endsAtHole, 8u);
}

INSTANTIATE_TEST_SUITE_P(Angles, FillHatch,
                         ::testing::Values(HatchCase{"flat", 0, false}, HatchCase{"slanted", 30, false},
                                           HatchCase{"crossed", 45, true}),
                         [](const auto& info) { return std::string(info.param.what); });

TEST(FillHatchPitch, LinesFollowEachOtherAtThePitch) {
    const FILL::hatch_result h = FILL::hatch_lines({{square(0, 0, 3 * kMm, 2 * kMm), {}}}, {0.1 * kMm, 0.4 * kMm, 0, false});
    ASSERT_EQ(h.lines.size(), 5u);  // 0.05 mm up, then every 0.4 mm below 1.95 mm
    for (size_t i = 0; i < h.lines.size(); ++i) {
        EXPECT_NEAR(h.lines[i].ys, 0.05 * kMm + 2 + i * 0.4 * kMm, 1e-6);
        EXPECT_NEAR(h.lines[i].xs, 0.05 * kMm + 1, 1e-6);
        EXPECT_NEAR(h.lines[i].xe, 2.95 * kMm - 1, 1e-6);
    }
}

// ---- contours ---------------------------------------------------------------------

int lineOn(double x1, double y1, double x2, double y2) {
    kt::add(kJob, "top", API::GreateLineString(x1, y1, x2, y2, kt::symbol(kJob, "top", "r100"), API::POL_POSITIVE, 0));
    return JOB::feature_count(kJob, kStep, "top") - 1;
}

double ringArea(const std::vector<lPoint>& ring) {
    double twice = 0;
    for (size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++)
        twice += (ring[j].x - ring[i].x) * (ring[j].y + ring[i].y);
    return std::abs(twice / 2);
}

TEST(FillContours, ChainOfLinesAndAnArcInAnyOrderClosesAndNests) {
    kt::freshJob(kJob, {"top"});
    // A 10 x 10 mm square whose top edge is a half circle bulging upwards,
    // given out of order and partly reversed, with a square loop inside.
    std::vector<int> ids{lineOn(10 * kMm, 0, 10 * kMm, 10 * kMm), lineOn(0, 0, 10 * kMm, 0),
                         lineOn(0, 10 * kMm, 0, 0)};
    kt::add(kJob, "top", API::GreateArcString(10 * kMm, 10 * kMm, 0, 10 * kMm, 5 * kMm, 10 * kMm,
                                               kt::symbol(kJob, "top", "r100"), API::POL_POSITIVE, 0, false));
    ids.push_back(JOB::feature_count(kJob, kStep, "top") - 1);
    for (const auto& e : std::vector<std::array<double, 4>>{{2, 2, 4, 2}, {4, 4, 4, 2}, {4, 4, 2, 4}, {2, 2, 2, 4}})
        ids.push_back(lineOn(e[0] * kMm, e[1] * kMm, e[2] * kMm, e[3] * kMm));
    // And an island inside that loop, a third level down.
    for (const auto& e : std::vector<std::array<double, 4>>{{2.5, 2.5, 3.5, 2.5}, {3.5, 2.5, 3.5, 3.5}, {3.5, 3.5, 2.5, 3.5}, {2.5, 3.5, 2.5, 2.5}})
        ids.push_back(lineOn(e[0] * kMm, e[1] * kMm, e[2] * kMm, e[3] * kMm));
    FILL::region r = FILL::chain_contour(kJob, kStep, "top", ids);
    ASSERT_EQ(r.size(), 2u);
    std::sort(r.begin(), r.end(), [](const auto& a, const auto& b) { return ringArea(a.outer) > ringArea(b.outer); });
    EXPECT_NEAR(ringArea(r[1].outer), 1 * kMm * kMm, 1);
    EXPECT_TRUE(r[1].holes.empty());
    ASSERT_EQ(r[0].holes.size(), 1u);
    const double halfDisc = 3.14159265358979 * 25 * kMm * kMm / 2;
    EXPECT_NEAR(ringArea(r[0].outer), 100 * kMm * kMm + halfDisc, halfDisc * 1e-4);
    EXPECT_NEAR(ringArea(r[0].holes[0]), 4 * kMm * kMm, 1);
    EXPECT_TRUE(insideEvenOdd(r, {5 * kMm, 14.9 * kMm}));  // under the top of the bulge
}

TEST(FillContours, SurfaceGivesItsIslandAndHole) {
    kt::freshJob(kJob, {"top"});
    kt::add(kJob, "top", API::GreateSurfaceString({{0, 0}, {6e6, 0}, {6e6, 6e6}, {0, 6e6}, {0, 0},
                                                    {2e6, 2e6}, {4e6, 2e6}, {4e6, 4e6}, {2e6, 4e6}, {2e6, 2e6}},
                                                   API::POL_POSITIVE, 0, true));
    const FILL::region r = FILL::surface_contour(kJob, kStep, "top", 0);
    ASSERT_EQ(r.size(), 1u);
    ASSERT_EQ(r[0].holes.size(), 1u);
    EXPECT_DOUBLE_EQ(ringArea(r[0].outer), 36e12);
    EXPECT_DOUBLE_EQ(ringArea(r[0].holes[0]), 4e12);
    lineOn(0, 0, 1, 1);
    EXPECT_THROW(FILL::surface_contour(kJob, kStep, "top", 1), API::KernelText);
}

TEST(FillContours, PanelAreaIsTheProfileLessTheInstances) {
    kt::freshJob(kJob, {"top"});
    JOB::set_profile(kJob, kStep, square(0, 0, 30 * kMm, 20 * kMm));
    JOB::create_step(kJob, "panel");
    EXPECT_THROW(FILL::panel_contour(kJob, "panel"), API::KernelText);  // no profile yet
    JOB::set_profile(kJob, "panel", square(0, 0, 100 * kMm, 80 * kMm));
    EXPECT_THROW(FILL::panel_contour(kJob, "panel"), API::KernelText);  // no instances
    STEP::sr_row row;
    row.child = kStep;
    row.x = 10 * kMm, row.y = 10 * kMm, row.dx = 40 * kMm, row.dy = 30 * kMm, row.nx = 2, row.ny = 2;
    STEP::set_sr_table(kJob, "panel", {row});
    const FILL::region r = FILL::panel_contour(kJob, "panel");
    ASSERT_EQ(r.size(), 1u);
    ASSERT_EQ(r[0].holes.size(), 4u);
    double area = ringArea(r[0].outer);
    for (const auto& h : r[0].holes) area -= ringArea(h);
    EXPECT_NEAR(area, (8000 - 4 * 600) * kMm * kMm, 1e6);
    EXPECT_FALSE(insideEvenOdd(r, {15 * kMm, 15 * kMm}));
    EXPECT_TRUE(insideEvenOdd(r, {45 * kMm, 15 * kMm}));
}

// ---- refusals -------------------------------------------------------------------------

struct Refusal {
    const char* what;
    std::function<void()> call;
    const char* message;
};

TEST(FillRefusals, AreThrownBeforeAnyWorkWithTheReason) {
    kt::freshJob(kJob, {"top"});
    const int a = lineOn(0, 0, 5 * kMm, 0), b = lineOn(5 * kMm, 0, 5 * kMm, 5 * kMm);
    const FILL::region metre{{square(0, 0, 1e9, 1e9), {}}};
    const FILL::region board{{square(0, 0, 10 * kMm, 10 * kMm), {}}};
    const std::vector<Refusal> cases{
        {"open chain", [&] { FILL::chain_contour(kJob, kStep, "top", {a, b}); }, "do not close"},
        {"chain of a pad", [&] {
             kt::add(kJob, "top", API::GreatePadString(0, 0, kt::symbol(kJob, "top", "r100"), API::POL_POSITIVE, 0, 0, 1));
             FILL::chain_contour(kJob, kStep, "top", {a, 2});
         }, "neither a line nor an arc"},
        {"two-point contour", [] { FILL::solid_surface({{{{0, 0}, {1e6, 0}, {0, 0}}, {}}}); }, "open"},
        {"zero hatch pitch", [&] { FILL::hatch_lines(board, {1e5, 0, 0, false}); }, "pitch must be greater than zero"},
        {"zero hatch width", [&] { FILL::hatch_lines(board, {0, 1e6, 0, false}); }, "the hatch width"},
        {"negative pad pitch", [&] { FILL::pad_grid(kJob, kStep, "top", board, {"r100", -1e6, 1e6, false, 0, false}); }, "pitch in x"},
        {"NaN pad pitch", [&] { FILL::pad_grid(kJob, kStep, "top", board, {"r100", 1e6, NAN, false, 0, false}); }, "pitch in y"},
        {"negative clearance", [&] { FILL::pad_grid(kJob, kStep, "top", board, {"r100", 1e6, 1e6, false, -1, false}); }, "clearance"},
        {"too many pads", [&] { FILL::pad_grid(kJob, kStep, "top", metre, {"r10", 1e5, 1e5, false, 0, false}); }, "more than 10000000"},
        {"too many lines", [&] { FILL::hatch_lines(metre, {10, 50, 0, true}); }, "more than 10000000"},
    };
    for (const Refusal& c : cases) {
        const auto t0 = std::chrono::steady_clock::now();
        try {
            c.call();
            ADD_FAILURE() << c.what << ": not refused";
        } catch (const API::KernelText& text) {
            EXPECT_NE(text.find(c.message), std::string::npos) << c.what << ": " << text;
        }
        EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 1.0) << c.what;
    }
}

}  // namespace
