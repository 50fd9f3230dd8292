// Exact measuring and snapping against hand-worked geometry (nanometres).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "TOLVA_Measure.h"
#include "kernel_test_util.h"

namespace {

using namespace TOLVA;
using MEASURE::feature_ref;
using MEASURE::snap_mode;

const char* const kJob = "measure";
const char* const kStep = "pcb";
const double kPi = 3.14159265358979323846;

int pad(const std::string& layer, double x, double y, const std::string& sym, int angle = 0, int mirror = 0,
        double scale = 1) {
    kt::add(kJob, layer, API::GreatePadString(x, y, kt::symbol(kJob, layer, sym), API::POL_POSITIVE, angle, mirror, scale));
    return JOB::feature_count(kJob, kStep, layer) - 1;
}
int line(const std::string& layer, double x1, double y1, double x2, double y2, const std::string& sym) {
    kt::add(kJob, layer, API::GreateLineString(x1, y1, x2, y2, kt::symbol(kJob, layer, sym), API::POL_POSITIVE, 0));
    return JOB::feature_count(kJob, kStep, layer) - 1;
}
int arc(const std::string& layer, double xs, double ys, double xe, double ye, double xc, double yc,
        const std::string& sym, bool cw) {
    kt::add(kJob, layer,
            API::GreateArcString(xs, ys, xe, ye, xc, yc, kt::symbol(kJob, layer, sym), API::POL_POSITIVE, 0, cw));
    return JOB::feature_count(kJob, kStep, layer) - 1;
}
int surface(const std::string& layer, const std::vector<API::lPoint>& pts) {
    kt::add(kJob, layer, API::GreateSurfaceString(pts, API::POL_POSITIVE, 0, true));
    return JOB::feature_count(kJob, kStep, layer) - 1;
}
// A square (x0, y0)-(x1, y1) with a square hole (hx0, hy0)-(hx1, hy1).
int holedSquare(const std::string& layer, double x0, double y0, double x1, double y1, double hx0, double hy0,
                double hx1, double hy1) {
    return surface(layer, {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}, {x0, y0},
                           {hx0, hy0}, {hx1, hy0}, {hx1, hy1}, {hx0, hy1}});
}

void freshBoard() {
    kt::freshJob(kJob, {"top", "inner"});
    JOB::set_profile(kJob, kStep, {{-1e6, -2e6}, {10e6, -2e6}, {10e6, 10e6}, {-1e6, 10e6}});
}

struct Pt {
    double x, y;
};

// ---- outline distances --------------------------------------------------------
struct DistanceCase {
    const char* what;
    std::function<std::pair<feature_ref, feature_ref>()> build;
    double distance;
    bool checkPoints;  // the closest points are unique and worked out
    Pt a, b;
    double tolerance;  // 0: exact
};

TEST(Measure, OutlineDistanceBetweenFeatures) {
    const double s2 = std::sqrt(2.0);
    const DistanceCase cases[] = {
        {"two round pads: centres 500 um apart, radii 50 and 100 um",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "r100")},
                                    feature_ref{"top", pad("top", 300000, 400000, "r200")}); },
         350000, true, {30000, 40000}, {240000, 320000}, 0},
        {"round pads on different layers",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "r100")},
                                    feature_ref{"inner", pad("inner", 0, 1000000, "r100")}); },
         900000, true, {0, 50000}, {0, 950000}, 0},
        {"pad off the square corner of a 45-degree square-ended line",
         [] { return std::make_pair(feature_ref{"top", line("top", 0, 0, 1000000, 1000000, "s100")},
                                    feature_ref{"top", pad("top", 1350000, 1450000, "r100")}); },
         450000, true, {1050000, 1050000}, {1320000, 1410000}, 0},
        {"pad beside the long side of a 45-degree square-ended line",
         [] { return std::make_pair(feature_ref{"top", line("top", 0, 0, 1000000, 1000000, "s100")},
                                    feature_ref{"top", pad("top", 1000000, 0, "r100")}); },
         900000 / s2 - 50000, true, {550000, 450000}, {1000000 - 50000 / s2, 50000 / s2}, 1e-6},
        {"the same pad beside a round-ended line",
         [] { return std::make_pair(feature_ref{"top", line("top", 0, 0, 1000000, 1000000, "r100")},
                                    feature_ref{"top", pad("top", 1350000, 1450000, "r100")}); },
         std::hypot(350000.0, 450000.0) - 100000, false, {}, {}, 1e-6},
        {"arc crossing a line",
         [] { return std::make_pair(feature_ref{"top", arc("top", 1000000, 0, 0, 1000000, 0, 0, "r50", false)},
                                    feature_ref{"top", line("top", 0, 0, 1000000, 1000000, "r50")}); },
         0, true, {1e6 / s2, 1e6 / s2}, {1e6 / s2, 1e6 / s2}, 1e-6},
        {"clockwise arc the long way round does not reach the line",
         // From (1e6, 0) clockwise to (0, 1e6): three quarters through y < 0 and x < 0.
         [] { return std::make_pair(feature_ref{"top", arc("top", 1000000, 0, 0, 1000000, 0, 0, "r50", true)},
                                    feature_ref{"top", line("top", 700000, 700000, 2000000, 2000000, "r50")}); },
         // Nearest: the arc's ends to the line's start.
         std::hypot(300000.0, 700000.0) - 50000, false, {}, {}, 1e-6},
        {"concentric arcs whose sweeps overlap",
         [] { return std::make_pair(feature_ref{"top", arc("top", 1000000, 0, 0, 1000000, 0, 0, "r100", false)},
                                    feature_ref{"top", arc("top", 0, -1500000, 0, 1500000, 0, 0, "r100", false)}); },
         400000, true, {1050000, 0}, {1450000, 0}, 0},
        {"concentric arcs in opposite quadrants",
         [] { return std::make_pair(feature_ref{"top", arc("top", 1000000, 0, 0, 1000000, 0, 0, "r100", false)},
                                    feature_ref{"top", arc("top", -1500000, 0, 0, -1500000, 0, 0, "r100", false)}); },
         std::hypot(1e6, 1.5e6) - 100000, false, {}, {}, 1e-6},
        {"rect pad rotated 30 degrees and mirrored, pad along its long axis",
         // Mirroring flips x before the rotation: the long axis stays at +30 degrees.
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "rect200x100", 30, 1)},
                                    feature_ref{"top", pad("top", 346410, 200000, "r100")}); },
         346410 * std::cos(kPi / 6) + 100000 - 150000, false, {}, {}, 1e-6},
        {"rect pad rotated 30 degrees and mirrored, pad across its short axis",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "rect200x100", 30, 1)},
                                    feature_ref{"top", pad("top", -150000, 259808, "r100")}); },
         -150000 * -0.5 + 259808 * std::cos(kPi / 6) - 100000, false, {}, {}, 1e-6},
        {"scaled square pad: s100 at scale 2 is 200 um",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "s100", 0, 0, 2)},
                                    feature_ref{"top", pad("top", 500000, 0, "r100")}); },
         350000, true, {100000, 0}, {450000, 0}, 0},
        {"oval pad upright (90 degrees)",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "oval300x100", 90)},
                                    feature_ref{"top", pad("top", 0, 500000, "r100")}); },
         300000, true, {0, 150000}, {0, 450000}, 0},
        {"pad in a donut's hole",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "donut_r500x300")},
                                    feature_ref{"top", pad("top", 0, 0, "r100")}); },
         100000, false, {}, {}, 0},
        {"pad outside a donut",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "donut_r500x300")},
                                    feature_ref{"top", pad("top", 400000, 0, "r100")}); },
         100000, true, {250000, 0}, {350000, 0}, 0},
        {"pad on a donut's ring",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "donut_r500x300")},
                                    feature_ref{"top", pad("top", 0, 200000, "r10")}); },
         0, false, {}, {}, 0},
        {"pad inside a surface's hole",
         [] { return std::make_pair(
                  feature_ref{"top", holedSquare("top", 0, 0, 1e6, 1e6, 3e5, 3e5, 7e5, 7e5)},
                  feature_ref{"top", pad("top", 400000, 500000, "r100")}); },
         50000, true, {300000, 500000}, {350000, 500000}, 0},
        {"pad on a surface's solid part",
         [] { return std::make_pair(
                  feature_ref{"top", holedSquare("top", 0, 0, 1e6, 1e6, 3e5, 3e5, 7e5, 7e5)},
                  feature_ref{"top", pad("top", 150000, 500000, "r10")}); },
         0, true, {150000, 500000}, {150000, 500000}, 0},
        {"surface wholly inside a rect pad",
         [] { return std::make_pair(feature_ref{"top", pad("top", 500000, 500000, "s2000")},
                                    feature_ref{"top", surface("top", {{4e5, 4e5}, {6e5, 4e5}, {5e5, 6e5}})}); },
         0, false, {}, {}, 0},
        {"round pads touching",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "r100")},
                                    feature_ref{"top", pad("top", 100000, 0, "r100")}); },
         0, true, {50000, 0}, {50000, 0}, 0},
        {"round line end touching a square pad",
         [] { return std::make_pair(feature_ref{"top", line("top", 0, 0, 1000000, 0, "r100")},
                                    feature_ref{"top", pad("top", 1100000, 0, "s100")}); },
         0, true, {1050000, 0}, {1050000, 0}, 0},
        {"overlapping round pads meet at a point of both",
         [] { return std::make_pair(feature_ref{"top", pad("top", 0, 0, "r100")},
                                    feature_ref{"top", pad("top", 60000, 0, "r100")}); },
         0, true, {30000, 0}, {30000, 0}, 0},
    };
    for (const DistanceCase& c : cases) {
        SCOPED_TRACE(c.what);
        freshBoard();
        const auto refs = c.build();
        const MEASURE::distance_result r = MEASURE::feature_distance(kJob, kStep, refs.first, refs.second);
        if (c.tolerance == 0)
            EXPECT_EQ(r.distance, c.distance);
        else
            EXPECT_NEAR(r.distance, c.distance, c.tolerance);
        // The points lie that far apart, whatever they are.
        EXPECT_NEAR(std::hypot(r.b.x - r.a.x, r.b.y - r.a.y), r.distance, 1e-6);
        // Each point lies on (or in) its own feature.
        EXPECT_NEAR(MEASURE::point_distance(kJob, kStep, refs.first, r.a.x, r.a.y).distance, 0, 1e-6);
        EXPECT_NEAR(MEASURE::point_distance(kJob, kStep, refs.second, r.b.x, r.b.y).distance, 0, 1e-6);
        if (c.checkPoints) {
            EXPECT_NEAR(r.a.x, c.a.x, 1e-6);
            EXPECT_NEAR(r.a.y, c.a.y, 1e-6);
            EXPECT_NEAR(r.b.x, c.b.x, 1e-6);
            EXPECT_NEAR(r.b.y, c.b.y, 1e-6);
        }
        // The order of the two features only swaps the points.
        const MEASURE::distance_result back = MEASURE::feature_distance(kJob, kStep, refs.second, refs.first);
        EXPECT_NEAR(back.distance, r.distance, 1e-6);
    }
}

// ---- distances to points and to the profile --------------------------------
TEST(Measure, DistanceToPointsAndProfile) {
    freshBoard();
    const int donut = pad("top", 0, 0, "donut_r500x300");
    const int holed = holedSquare("top", 0, 3e6, 1e6, 4e6, 3e5, 3.3e6, 7e5, 3.7e6);
    const int near = pad("top", 0, 5e6, "r100");
    const int text = [] {
        kt::add(kJob, "top", API::GreateTextString(3e6, 3e6, "AB", API::POL_POSITIVE, 0, 200000, 300000, 1, "std", 0, 1));
        return JOB::feature_count(kJob, kStep, "top") - 1;
    }();
    struct Case {
        const char* what;
        int index;
        Pt p;
        double distance;
        Pt onFeature;
    };
    const Case cases[] = {
        {"donut centre: to the inner circle", donut, {0, 0}, 150000, {150000, 0}},
        {"donut ring: inside", donut, {200000, 0}, 0, {200000, 0}},
        {"outside a donut", donut, {0, -300000}, 50000, {0, -250000}},
        {"point in a surface's hole is outside", holed, {400000, 3.5e6}, 100000, {300000, 3.5e6}},
        {"point in a surface's solid part", holed, {100000, 3.5e6}, 0, {100000, 3.5e6}},
        {"point below a surface", holed, {500000, 2.7e6}, 300000, {500000, 3e6}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const MEASURE::distance_result r = MEASURE::point_distance(kJob, kStep, {"top", c.index}, c.p.x, c.p.y);
        EXPECT_EQ(r.distance, c.distance);
        EXPECT_NEAR(r.a.x, c.onFeature.x, 1e-6);
        EXPECT_NEAR(r.a.y, c.onFeature.y, 1e-6);
        EXPECT_EQ(r.b.x, c.p.x);
        EXPECT_EQ(r.b.y, c.p.y);
    }
    // A text is measured by its box.
    API::featureInfo info;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, kStep, "top", text, info));
    EXPECT_EQ(MEASURE::point_distance(kJob, kStep, {"top", text}, info.xmax + 3000, info.ymax + 4000).distance, 5000);
    EXPECT_EQ(MEASURE::point_distance(kJob, kStep, {"top", text}, 0.5 * (info.xmin + info.xmax), info.ymin + 1).distance, 0);

    // The profile is the outline x = -1e6 .. 10e6, y = -2e6 .. 10e6.
    MEASURE::distance_result p = MEASURE::profile_distance(kJob, kStep, {"top", near});
    EXPECT_EQ(p.distance, 950000);
    EXPECT_EQ(p.a.x, -50000);
    EXPECT_EQ(p.a.y, 5e6);
    EXPECT_EQ(p.b.x, -1e6);
    EXPECT_EQ(p.b.y, 5e6);
    // A pad over the profile line touches it.
    const int over = pad("top", 10e6, 0, "r100");
    EXPECT_EQ(MEASURE::profile_distance(kJob, kStep, {"top", over}).distance, 0);
    // A surface holding the whole profile line is at 0 from it too.
    const int big = surface("top", {{-5e6, -5e6}, {20e6, -5e6}, {20e6, 20e6}, {-5e6, 20e6}});
    EXPECT_EQ(MEASURE::profile_distance(kJob, kStep, {"top", big}).distance, 0);

    kt::freshJob(kJob, {"top"});
    pad("top", 0, 0, "r100");
    EXPECT_THROW(MEASURE::profile_distance(kJob, kStep, {"top", 0}), API::KernelText);  // no profile
}

// ---- centres, lengths, perimeters, areas, angles --------------------------------
TEST(Measure, CentresLengthsAreasAngles) {
    freshBoard();
    const int ln = line("top", 0, 0, 3e6, 4e6, "r100");
    const int quarter = arc("top", 1e6, 0, 0, 1e6, 0, 0, "r100", false);
    const int threeQuarters = arc("top", 1e6, 0, 0, 1e6, 0, 0, "r100", true);
    const int circle = arc("top", 2e6, 1e6, 2e6, 1e6, 1e6, 1e6, "r100", false);
    const int pd = pad("top", 7e6, 8e6, "r100");
    const int sq = holedSquare("top", 0, 0, 1e6, 1e6, 3e5, 3e5, 7e5, 7e5);
    const int tri = surface("top", {{0, 0}, {4e6, 0}, {0, 3e6}});
    const int horizontal = line("top", 0, 0, 1e6, 0, "r100");
    const int diagonal = line("top", 0, 0, 1e6, 1e6, "r100");
    const int back = line("top", 1e6, 1e6, 0, 0, "r100");
    const int upright = line("top", 5e5, -1e6, 5e5, 2e6, "r100");
    const double pi = kPi;

    struct Centre {
        int index;
        Pt at;
    };
    for (const Centre& c : {Centre{ln, {1.5e6, 2e6}}, Centre{quarter, {0, 0}}, Centre{circle, {1e6, 1e6}},
                            Centre{pd, {7e6, 8e6}}, Centre{sq, {5e5, 5e5}}, Centre{tri, {2e6, 1.5e6}}}) {
        const MEASURE::measure_point m = MEASURE::feature_center(kJob, kStep, {"top", c.index});
        EXPECT_EQ(m.x, c.at.x) << c.index;
        EXPECT_EQ(m.y, c.at.y) << c.index;
    }

    struct Value {
        const char* what;
        std::function<double()> get;
        double expected;
        double tolerance;
    };
    const Value values[] = {
        {"line length 3-4-5", [&] { return MEASURE::feature_length(kJob, kStep, {"top", ln}); }, 5e6, 0},
        {"quarter arc", [&] { return MEASURE::feature_length(kJob, kStep, {"top", quarter}); }, pi / 2 * 1e6, 1},
        {"same ends clockwise: three quarters",
         [&] { return MEASURE::feature_length(kJob, kStep, {"top", threeQuarters}); }, 1.5 * pi * 1e6, 1},
        {"full circle", [&] { return MEASURE::feature_length(kJob, kStep, {"top", circle}); }, 2 * pi * 1e6, 1},
        {"perimeter counts the hole",
         [&] { return MEASURE::surface_perimeter(kJob, kStep, {"top", sq}); }, 4e6 + 1.6e6, 0},
        {"area less the hole", [&] { return MEASURE::surface_area(kJob, kStep, {"top", sq}); }, 1e12 - 1.6e11, 0},
        {"triangle area", [&] { return MEASURE::surface_area(kJob, kStep, {"top", tri}); }, 6e12, 0},
        {"triangle perimeter", [&] { return MEASURE::surface_perimeter(kJob, kStep, {"top", tri}); }, 12e6, 0},
        {"45 degrees", [&] { return MEASURE::line_angle(kJob, kStep, {"top", horizontal}, {"top", diagonal}); }, 45, 1e-9},
        {"reversed line: 135 degrees",
         [&] { return MEASURE::line_angle(kJob, kStep, {"top", horizontal}, {"top", back}); }, 135, 1e-9},
        {"right angle either way round",
         [&] { return MEASURE::line_angle(kJob, kStep, {"top", upright}, {"top", horizontal}); }, 90, 1e-9},
        {"a line with itself", [&] { return MEASURE::line_angle(kJob, kStep, {"top", ln}, {"top", ln}); }, 0, 0},
    };
    for (const Value& v : values) {
        SCOPED_TRACE(v.what);
        if (v.tolerance == 0)
            EXPECT_EQ(v.get(), v.expected);
        else
            EXPECT_NEAR(v.get(), v.expected, v.tolerance);
    }

    struct Bad {
        const char* what;
        std::function<void()> call;
    };
    const Bad bad[] = {
        {"length of a pad", [&] { MEASURE::feature_length(kJob, kStep, {"top", pd}); }},
        {"area of a line", [&] { MEASURE::surface_area(kJob, kStep, {"top", ln}); }},
        {"perimeter of an arc", [&] { MEASURE::surface_perimeter(kJob, kStep, {"top", quarter}); }},
        {"angle with an arc", [&] { MEASURE::line_angle(kJob, kStep, {"top", ln}, {"top", quarter}); }},
        {"index past the end", [&] { MEASURE::feature_center(kJob, kStep, {"top", 1000}); }},
        {"negative index", [&] { MEASURE::feature_center(kJob, kStep, {"top", -1}); }},
        {"unknown layer", [&] { MEASURE::feature_distance(kJob, kStep, {"top", 0}, {"nope", 0}); }},
        {"unknown step", [&] { MEASURE::feature_center(kJob, "nope", {"top", 0}); }},
        {"unknown job", [&] { MEASURE::feature_center("nope", kStep, {"top", 0}); }},
        {"point not finite", [&] { MEASURE::point_distance(kJob, kStep, {"top", 0}, NAN, 0); }},
    };
    for (const Bad& b : bad) EXPECT_THROW(b.call(), API::KernelText) << b.what;
}

// ---- snapping --------------------------------------------------------------------
TEST(Measure, SnapModes) {
    freshBoard();
    EXPECT_EQ(pad("top", 1e6, 1e6, "r200"), 0);                       // radius 100 um
    EXPECT_EQ(line("top", 2e6, 0, 4e6, 0, "r50"), 1);                 // pen radius 25 um
    EXPECT_EQ(line("top", 3e6, -1e6, 3e6, 2e6, "r50"), 2);            // crosses 1 at (3e6, 0)
    EXPECT_EQ(arc("top", 7e6, 0, 5e6, 0, 6e6, 0, "r50", false), 3);   // upper half circle, radius 1e6
    EXPECT_EQ(holedSquare("top", 0, 3e6, 2e6, 5e6, 5e5, 3.5e6, 1.5e6, 4.5e6), 4);
    EXPECT_EQ(pad("inner", 5e6, 5e6, "r100"), 0);

    struct Case {
        const char* what;
        snap_mode mode;
        Pt cursor;
        double radius;
        bool found;
        Pt at;
        const char* layer;
        int index;
        int index2;
        double tolerance;
    };
    const Case cases[] = {
        {"centre of a pad", snap_mode::CENTER, {1.03e6, 1.04e6}, 1e5, true, {1e6, 1e6}, "top", 0, -1, 0},
        {"centre of an arc", snap_mode::CENTER, {6e6 + 3000, 4000}, 1e4, true, {6e6, 0}, "top", 3, -1, 0},
        {"end of a line", snap_mode::CENTER, {2e6 + 300, 400}, 1000, true, {2e6, 0}, "top", 1, -1, 0},
        {"centre of a surface's box", snap_mode::CENTER, {1e6 + 30, 4e6 - 40}, 100, true, {1e6, 4e6}, "top", 4, -1, 0},
        {"no centre within the radius", snap_mode::CENTER, {1.5e6, 1.5e6}, 1000, false, {1.5e6, 1.5e6}, "", -1, -1, 0},
        {"radius is inclusive", snap_mode::CENTER, {1e6 + 3000, 1e6 + 4000}, 5000, true, {1e6, 1e6}, "top", 0, -1, 0},
        {"just outside the radius", snap_mode::CENTER, {1e6 + 3000, 1e6 + 4000}, 4999, false, {1e6 + 3000, 1e6 + 4000}, "", -1, -1, 0},
        {"line centre line", snap_mode::SKELETON, {2.5e6, 20000}, 5e4, true, {2.5e6, 0}, "top", 1, -1, 0},
        {"arc centre line", snap_mode::SKELETON, {6e6, 1e6 + 30000}, 5e4, true, {6e6, 1e6}, "top", 3, -1, 1e-6},
        {"pads have no centre line", snap_mode::SKELETON, {1e6, 1e6 + 1000}, 5e4, false, {1e6, 1e6 + 1000}, "", -1, -1, 0},
        {"pad edge from outside", snap_mode::EDGE, {1.13e6, 1e6}, 5e4, true, {1.1e6, 1e6}, "top", 0, -1, 0},
        {"pad edge from inside", snap_mode::EDGE, {1.09e6, 1e6}, 5e4, true, {1.1e6, 1e6}, "top", 0, -1, 0},
        {"line edge", snap_mode::EDGE, {2.5e6, 40000}, 5e4, true, {2.5e6, 25000}, "top", 1, -1, 0},
        {"surface hole's edge", snap_mode::EDGE, {7e5, 4.1e6}, 2.5e5, true, {5e5, 4.1e6}, "top", 4, -1, 0},
        {"arc's outer edge", snap_mode::EDGE, {6e6, 1.04e6}, 5e4, true, {6e6, 1.025e6}, "top", 3, -1, 1e-6},
        {"arc's inner edge", snap_mode::EDGE, {6e6, 0.96e6}, 5e4, true, {6e6, 0.975e6}, "top", 3, -1, 1e-6},
        {"no edge within the radius", snap_mode::EDGE, {1e6, 4e6}, 4e5, false, {1e6, 4e6}, "", -1, -1, 0},
        {"centre lines cross", snap_mode::INTERSECTION, {3e6 + 5000, 5000}, 5e4, true, {3e6, 0}, "top", 1, 2, 0},
        {"outlines cross", snap_mode::INTERSECTION, {3e6 + 40000, 40000}, 3e4, true, {3.025e6, 25000}, "top", 1, 2, 1e-6},
        {"a lone pad crosses nothing", snap_mode::INTERSECTION, {1e6, 1e6}, 1000, false, {1e6, 1e6}, "", -1, -1, 0},
        {"line midpoint", snap_mode::MIDPOINT, {3e6 + 10000, 5e5 + 10000}, 2e4, true, {3e6, 5e5}, "top", 2, -1, 0},
        {"arc midpoint", snap_mode::MIDPOINT, {6e6 + 1000, 1e6 - 1000}, 5000, true, {6e6, 1e6}, "top", 3, -1, 1e-6},
        {"surface edge midpoint", snap_mode::MIDPOINT, {1e6 + 2000, 3e6 + 1000}, 5000, true, {1e6, 3e6}, "top", 4, -1, 0},
        {"surface hole edge midpoint", snap_mode::MIDPOINT, {1.5e6 - 100, 4e6}, 5000, true, {1.5e6, 4e6}, "top", 4, -1, 0},
        {"profile", snap_mode::PROFILE, {-1e6 + 3000, 4e6}, 1e4, true, {-1e6, 4e6}, "", -1, -1, 0},
        {"profile out of reach", snap_mode::PROFILE, {0, 4e6}, 1e4, false, {0, 4e6}, "", -1, -1, 0},
        {"cursor itself", snap_mode::OFF, {123, 456}, 0, true, {123, 456}, "", -1, -1, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        MEASURE::snap_request q;
        q.layers = {"top"};
        q.x = c.cursor.x;
        q.y = c.cursor.y;
        q.radius = c.radius;
        q.mode = c.mode;
        const MEASURE::snap_result r = MEASURE::snap(kJob, kStep, q);
        EXPECT_EQ(r.found, c.found);
        if (c.tolerance == 0) {
            EXPECT_EQ(r.x, c.at.x);
            EXPECT_EQ(r.y, c.at.y);
        } else {
            EXPECT_NEAR(r.x, c.at.x, c.tolerance);
            EXPECT_NEAR(r.y, c.at.y, c.tolerance);
        }
        EXPECT_EQ(r.layer, c.layer);
        EXPECT_EQ(r.index, c.index);
        EXPECT_EQ(r.index2, c.index2);
        if (c.found) {
            EXPECT_NEAR(r.distance, std::hypot(c.at.x - c.cursor.x, c.at.y - c.cursor.y), 1e-6);
        }
    }
}

TEST(Measure, SnapLayersAndGrid) {
    freshBoard();
    pad("top", 5e6 + 2000, 5e6, "r100");
    pad("inner", 5e6, 5e6 + 1000, "r100");
    MEASURE::snap_request q;
    q.x = 5e6;
    q.y = 5e6;
    q.radius = 10000;
    q.mode = snap_mode::CENTER;
    // Only the layers asked for are searched; the nearest centre wins across them.
    q.layers = {"top"};
    MEASURE::snap_result r = MEASURE::snap(kJob, kStep, q);
    EXPECT_EQ(r.layer, "top");
    EXPECT_EQ(r.x, 5e6 + 2000);
    q.layers = {"top", "inner"};
    r = MEASURE::snap(kJob, kStep, q);
    EXPECT_EQ(r.layer, "inner");
    EXPECT_EQ(r.index, 0);
    EXPECT_EQ(r.y, 5e6 + 1000);
    q.layers = {};
    EXPECT_FALSE(MEASURE::snap(kJob, kStep, q).found);

    struct Grid {
        Pt origin, pitch, cursor;
        double radius;
        bool found;
        Pt at;
    };
    const Grid grids[] = {
        {{0, 0}, {250000, 250000}, {260000, 740000}, 20000, true, {250000, 750000}},
        {{10000, -5000}, {100000, 50000}, {-95000, -100000}, 20000, true, {-90000, -105000}},
        {{0, 0}, {250000, 250000}, {125000, 125000}, 20000, false, {125000, 125000}},
    };
    for (const Grid& g : grids) {
        q.mode = snap_mode::GRID;
        q.grid_x = g.origin.x;
        q.grid_y = g.origin.y;
        q.grid_pitch_x = g.pitch.x;
        q.grid_pitch_y = g.pitch.y;
        q.x = g.cursor.x;
        q.y = g.cursor.y;
        q.radius = g.radius;
        r = MEASURE::snap(kJob, kStep, q);
        EXPECT_EQ(r.found, g.found);
        EXPECT_EQ(r.x, g.at.x);
        EXPECT_EQ(r.y, g.at.y);
        EXPECT_EQ(r.index, -1);
    }

    struct Bad {
        const char* what;
        std::function<void(MEASURE::snap_request&)> change;
    };
    const Bad bad[] = {
        {"unknown layer", [](MEASURE::snap_request& s) { s.layers = {"top", "nope"}; }},
        {"negative radius", [](MEASURE::snap_request& s) { s.radius = -1; }},
        {"radius not finite", [](MEASURE::snap_request& s) { s.radius = NAN; }},
        {"cursor not finite", [](MEASURE::snap_request& s) { s.x = INFINITY; }},
        {"zero grid pitch", [](MEASURE::snap_request& s) { s.mode = snap_mode::GRID; s.grid_pitch_y = 0; }},
        {"unknown mode", [](MEASURE::snap_request& s) { s.mode = static_cast<snap_mode>(8); }},
    };
    for (const Bad& b : bad) {
        MEASURE::snap_request s;
        s.layers = {"top"};
        s.radius = 1000;
        s.mode = snap_mode::EDGE;
        s.grid_pitch_x = s.grid_pitch_y = 1000;
        b.change(s);
        EXPECT_THROW(MEASURE::snap(kJob, kStep, s), API::KernelText) << b.what;
    }
    MEASURE::snap_request s;
    EXPECT_THROW(MEASURE::snap(kJob, "nope", s), API::KernelText);
    EXPECT_THROW(MEASURE::snap("nope", kStep, s), API::KernelText);
}

// Snapping follows edits: the index is brought up to date before the query.
TEST(Measure, SnapAfterMove) {
    freshBoard();
    pad("top", 1e6, 1e6, "r100");
    API::select_feature_by_id(kJob, kStep, "top", 0);
    API::move_same_layer(kJob, kStep, {"top"}, 500000, 0);
    MEASURE::snap_request q;
    q.layers = {"top"};
    q.x = 1.5e6 + 100;
    q.y = 1e6;
    q.radius = 1000;
    q.mode = snap_mode::CENTER;
    const MEASURE::snap_result r = MEASURE::snap(kJob, kStep, q);
    EXPECT_TRUE(r.found);
    EXPECT_EQ(r.x, 1.5e6);
    q.x = 1e6;
    EXPECT_FALSE(MEASURE::snap(kJob, kStep, q).found);
}

}  // namespace
