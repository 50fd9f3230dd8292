// Rendering checked pixel by pixel against the geometric definition of each
// feature kind, on small canvases of one micrometre per pixel.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "kernel_test_util.h"

using namespace TOLVA;
using kt::centreX;
using kt::centreY;

namespace {

constexpr int kW = 24, kH = 20;
const char* const kJob = "raster";

class Raster : public ::testing::Test {
protected:
    void SetUp() override {
        kt::freshJob(kJob, {"a"});
        kt::unitCanvas(kW, kH);
        API::clear_canvas();
    }
    void draw() { API::draw_layer(kJob, "pcb", "a", 200, 10, 20, 255); }
    // Every pixel is painted exactly when `inside` holds at its centre.
    void expectShape(const std::function<bool(double, double)>& inside) { expectShapeOn(kW, kH, inside); }
    // The same on a unit canvas of w x h pixels; `painted` tells painted
    // pixels from the others (by default: a colour byte is set).
    void expectShapeOn(int w, int h, const std::function<bool(double, double)>& inside,
                       const std::function<bool(int, int)>& painted = kt::painted) {
        int mismatches = 0;
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i)
                if (painted(i, j) != inside(centreX(i), centreY(j, h)) && ++mismatches < 5)
                    ADD_FAILURE() << "pixel (" << i << ", " << j << ") painted=" << painted(i, j);
        EXPECT_EQ(mismatches, 0);
    }
    // Exactly one pixel is painted, (i, j).
    void expectOnlyPixel(int i, int j) {
        int w, h;
        API::canvas(w, h);
        for (int q = 0; q < h; ++q)
            for (int k = 0; k < w; ++k)
                if (kt::painted(k, q) != (k == i && q == j)) ADD_FAILURE() << "pixel (" << k << ", " << q << ")";
    }
};

double distToSegment(double px, double py, double ax, double ay, double bx, double by) {
    double dx = bx - ax, dy = by - ay, l2 = dx * dx + dy * dy;
    double t = l2 > 0 ? std::max(0.0, std::min(1.0, ((px - ax) * dx + (py - ay) * dy) / l2)) : 0;
    return std::hypot(px - ax - t * dx, py - ay - t * dy);
}

TEST_F(Raster, RoundPadPaintsExactlyTheCentresInsideItsDisc) {
    struct Case {
        const char* symbol;
        double x, y;
    };
    const Case cases[] = {{"r7.3", 10200, 9700}, {"r4", 5000, 5000}, {"r11.9", 12345, 10111}, {"r2.2", 20300, 3400}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.symbol);
        API::clear_canvas();
        kt::freshJob(kJob, {"a"});
        int s = kt::symbol(kJob, "a", c.symbol);
        kt::add(kJob, "a", API::GreatePadString(c.x, c.y, s, API::POL_POSITIVE, 0, 0, 1));
        draw();
        double r = std::atof(c.symbol + 1) * 500.0;
        expectShape([&](double x, double y) { return std::hypot(x - c.x, y - c.y) <= r; });
    }
}

TEST_F(Raster, PaintedPixelsCarryTheColourAndNegativeClearsAHoleInASurface) {
    int hole = kt::symbol(kJob, "a", "r6");
    kt::add(kJob, "a", API::GreateSurfaceString({{2100, 2100}, {18100, 2100}, {18100, 16100}, {2100, 16100}},
                                                API::POL_POSITIVE, 0, true));
    kt::add(kJob, "a", API::GreatePadString(10000, 9000, hole, API::POL_NEGATIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) {
        bool inSquare = x >= 2100 && x < 18100 && y >= 2100 && y < 16100;
        return inSquare && std::hypot(x - 10000, y - 9000) > 3000;
    });
    kt::Rgba c = kt::pixel(3, 17);  // inside the surface, outside the hole
    EXPECT_EQ(c.r, 200);
    EXPECT_EQ(c.g, 10);
    EXPECT_EQ(c.b, 20);
    EXPECT_EQ(c.a, 255);
    // The hole is cleared back to the opaque black background, as is every
    // pixel outside the surface.
    EXPECT_TRUE(kt::isBackground(10, kH - 10));
    EXPECT_TRUE(kt::isBackground(0, 0));
}

TEST_F(Raster, PaintedColourAlwaysHasAColourByteAndTheRestStaysBackground) {
    struct Case {
        int r, g, b, a;
        kt::Rgba expected;
    };
    const Case cases[] = {
        {200, 10, 20, 255, {200, 10, 20, 255}},
        {0, 0, 0, 255, {1, 1, 1, 255}},  // black is painted as (1, 1, 1)
        {0, 0, 0, 0, {1, 1, 1, 0}},
        {300, -5, 7, 128, {255, 0, 7, 128}},
        {0, 0, 1, 0, {0, 0, 1, 0}},
    };
    int s = kt::symbol(kJob, "a", "r4");
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, s, API::POL_POSITIVE, 0, 0, 1));
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.r) + "," + std::to_string(c.g) + "," + std::to_string(c.b) + "," +
                     std::to_string(c.a));
        API::clear_canvas();
        API::draw_layer(kJob, "pcb", "a", c.r, c.g, c.b, c.a);
        kt::Rgba p = kt::pixel(12, kH - 10);  // centre (12.5, 9.5) um, inside the pad
        EXPECT_EQ(p.r, c.expected.r);
        EXPECT_EQ(p.g, c.expected.g);
        EXPECT_EQ(p.b, c.expected.b);
        EXPECT_EQ(p.a, c.expected.a);
        EXPECT_TRUE(kt::painted(12, kH - 10));
        int background = 0;
        for (int j = 0; j < kH; ++j)
            for (int i = 0; i < kW; ++i) background += kt::isBackground(i, j) ? 1 : 0;
        EXPECT_EQ(background, kW * kH - 12);  // a disc of diameter 4 covers 12 pixel centres
    }
}

TEST_F(Raster, NegativeFeaturesClearEarlierLayersToTheBackground) {
    // A layer drawn over another without clearing: its negative pad restores
    // the background, not a transparent pixel.
    kt::freshJob(kJob, {"a", "b"});
    int big = kt::symbol(kJob, "a", "s12"), hole = kt::symbol(kJob, "b", "s4");
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, big, API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "b", API::GreatePadString(12000, 10000, hole, API::POL_NEGATIVE, 0, 0, 1));
    API::draw_layer(kJob, "pcb", "a", 0, 255, 0, 128);
    API::draw_layer(kJob, "pcb", "b", 255, 0, 0, 255);
    for (int j = 0; j < kH; ++j)
        for (int i = 0; i < kW; ++i) {
            const double x = centreX(i), y = centreY(j, kH);
            const bool inBig = std::fabs(x - 12000) <= 6000 && std::fabs(y - 10000) <= 6000;
            const bool inHole = std::fabs(x - 12000) <= 2000 && std::fabs(y - 10000) <= 2000;
            kt::Rgba c = kt::pixel(i, j);
            if (inBig && !inHole) {
                EXPECT_TRUE(c.r == 0 && c.g == 255 && c.b == 0 && c.a == 128) << i << "," << j;
            } else {
                EXPECT_TRUE(kt::isBackground(i, j)) << i << "," << j;
            }
        }
}

TEST_F(Raster, SurfaceHoleContoursAreLeftOpen) {
    // Outer square, then a square hole: even-odd fill.
    kt::add(kJob, "a", API::GreateSurfaceString({{1000, 1000}, {20000, 1000}, {20000, 18000}, {1000, 18000}, {1000, 1000},
                                                 {6000, 6000}, {12000, 6000}, {12000, 12000}, {6000, 12000}, {6000, 6000}},
                                                API::POL_POSITIVE, 0, false));
    draw();
    expectShape([](double x, double y) {
        bool outer = x >= 1000 && x < 20000 && y >= 1000 && y < 18000;
        bool hole = x >= 6000 && x < 12000 && y >= 6000 && y < 12000;
        return outer && !hole;
    });
}

TEST_F(Raster, LineEndsRoundOrSquare) {
    struct Case {
        const char* symbol;
        bool square;
        double x0, y0, x1, y1;
    };
    const Case cases[] = {
        {"r4.2", false, 5300, 9800, 15700, 12100},  // slanted
        {"s4.2", true, 5300, 9800, 15700, 12100},
        {"r4.2", false, 15700, 9800, 5300, 9800},   // horizontal, drawn right to left
        {"r4.2", false, 11300, 3700, 11300, 15200}, // vertical
        {"s3", true, 11300, 3700, 11300, 15200},
        {"r6.4", false, 9100, 9900, 9100, 9900},    // a dot
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.symbol) + " " + std::to_string(c.x0) + "," + std::to_string(c.y0));
        kt::freshJob(kJob, {"a"});
        API::clear_canvas();
        int s = kt::symbol(kJob, "a", c.symbol);
        kt::add(kJob, "a", API::GreateLineString(c.x0, c.y0, c.x1, c.y1, s, API::POL_POSITIVE, 0));
        draw();
        const double h = std::atof(c.symbol + 1) * 500;
        expectShape([&](double x, double y) {
            if (!c.square) return distToSegment(x, y, c.x0, c.y0, c.x1, c.y1) <= h;
            // The square swept along the segment.
            for (int k = 0; k <= 2000; ++k) {
                double t = k / 2000.0;
                if (std::fabs(x - (c.x0 + t * (c.x1 - c.x0))) <= h && std::fabs(y - (c.y0 + t * (c.y1 - c.y0))) <= h)
                    return true;
            }
            return false;
        });
    }
}

TEST_F(Raster, ArcsFollowTheirDirectionAndFullCircles) {
    struct Case {
        double xs, ys, xe, ye;
        bool cw;
        double from, sweep;  // degrees, counter-clockwise
    };
    const Case cases[] = {
        {17000, 10000, 11000, 16000, false, 0, 90},   // first quadrant
        {17000, 10000, 11000, 16000, true, 90, 270},  // the other three
        {17000, 10000, 17000, 10000, false, 0, 360},  // full circle
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.cw);
        kt::freshJob(kJob, {"a"});
        API::clear_canvas();
        int s = kt::symbol(kJob, "a", "r2.6");
        kt::add(kJob, "a", API::GreateArcString(c.xs, c.ys, c.xe, c.ye, 11000, 10000, s, API::POL_POSITIVE, 0, c.cw));
        draw();
        const double R = 6000, r = 1300;
        expectShape([&](double x, double y) {
            double a = std::atan2(y - 10000, x - 11000) * 180 / M_PI - c.from;
            a = std::fmod(a + 720, 360);
            if (a <= c.sweep) return std::fabs(std::hypot(x - 11000, y - 10000) - R) <= r;
            return std::min(std::hypot(x - c.xs, y - c.ys), std::hypot(x - c.xe, y - c.ye)) <= r;
        });
    }
}

TEST_F(Raster, RectAndOvalPadsRotated) {
    struct Case {
        const char* symbol;
        int angle;
    };
    const Case cases[] = {{"rect10x4", 0}, {"rect10x4", 90}, {"rect10x4", 30}, {"oval12x4", 0}, {"oval12x4", 135}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.symbol) + " " + std::to_string(c.angle));
        kt::freshJob(kJob, {"a"});
        API::clear_canvas();
        int s = kt::symbol(kJob, "a", c.symbol);
        kt::add(kJob, "a", API::GreatePadString(11700, 9600, s, API::POL_POSITIVE, c.angle, 0, 1));
        draw();
        const double rad = c.angle * M_PI / 180;
        const bool oval = c.symbol[0] == 'o';
        expectShape([&](double x, double y) {
            // Into the pad's own frame.
            double dx = x - 11700, dy = y - 9600;
            double lx = dx * std::cos(rad) + dy * std::sin(rad), ly = -dx * std::sin(rad) + dy * std::cos(rad);
            if (!oval) return std::fabs(lx) <= 5000 && std::fabs(ly) <= 2000;
            return distToSegment(lx, ly, -4000, 0, 4000, 0) <= 2000;
        });
    }
}

TEST_F(Raster, DonutLeavesItsInnerDiscClear) {
    int s = kt::symbol(kJob, "a", "donut_r14x6");
    kt::add(kJob, "a", API::GreatePadString(11300, 9950, s, API::POL_POSITIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) {
        double d = std::hypot(x - 11300, y - 9950);
        return d <= 7000 && d >= 3000;
    });
}

TEST_F(Raster, LaterFeaturesPaintOverEarlierOnesInLayerOrder) {
    int big = kt::symbol(kJob, "a", "r16"), mid = kt::symbol(kJob, "a", "r10"), small = kt::symbol(kJob, "a", "r4");
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, big, API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, mid, API::POL_NEGATIVE, 0, 0, 1));
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, small, API::POL_POSITIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) {
        double d = std::hypot(x - 12000, y - 10000);
        return d <= 2000 || (d > 5000 && d <= 8000);
    });
}

TEST_F(Raster, ManyFeaturesThenNegativeAndPositiveKeepTheLayerOrderResult) {
    // Thousands of small pads, then a negative and a positive feature on top:
    // whatever order the painter walks them in, the result is layer order's.
    int dot = kt::symbol(kJob, "a", "r0.5"), clear = kt::symbol(kJob, "a", "s8"), cap = kt::symbol(kJob, "a", "s2");
    std::vector<std::string> pads;
    for (int k = 0; k < 6000; ++k)
        pads.push_back(API::GreatePadString(500 + (k % 24) * 1000, 500 + (k / 24 % 20) * 1000, dot, API::POL_POSITIVE, 0, 0, 1));
    API::AddFeatures(kJob, "pcb", {"a"}, {{"a", pads}}, {});
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, clear, API::POL_NEGATIVE, 0, 0, 1));
    kt::add(kJob, "a", API::GreatePadString(12000, 10000, cap, API::POL_POSITIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) {
        bool inClear = std::fabs(x - 12000) <= 4000 && std::fabs(y - 10000) <= 4000;
        bool inCap = std::fabs(x - 12000) <= 1000 && std::fabs(y - 10000) <= 1000;
        return inCap || !inClear;
    });
}

TEST_F(Raster, ThousandsOfSmallRoundPadsPaintExactlyTheirDiscs) {
    // Enough pads of one symbol for the painter to work their spans out once
    // for all sub-pixel positions; every pixel is still painted exactly when
    // some disc holds its centre (or is the centre pixel of a disc that holds
    // none), on a first draw and on a later one.
    struct Case {
        const char* what;
        const char* symbol;
        double sx, sy;  // micrometres per pixel across and down
        bool edges;     // pads also straddle the canvas's edges
    };
    const Case cases[] = {
        {"inside, square pixels", "r2.3", 1, 1, false},
        {"inside, wide pixels", "r3.1", 1.7, 1, false},
        {"inside, tall pixels", "r3.1", 1, 1.7, false},
        {"across the edges", "r2.3", 1, 1, true},
        {"pads about a pixel wide", "r0.9", 1, 1, false},
    };
    constexpr int W = 320, H = 240;
    API::init_canvas(W, H);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kt::freshJob(kJob, {"a"});
        const int s = kt::symbol(kJob, "a", c.symbol);
        const double r = std::atof(c.symbol + 1) * 500.0, pw = c.sx * 1000.0, ph = c.sy * 1000.0;
        API::zoom_to_box(0, 0, W * c.sx, H * c.sy);
        unsigned seed = 12345;
        auto next = [&seed] {
            seed = seed * 1103515245u + 12345u;
            return (seed >> 8) / double(1 << 24);
        };
        const double mx = c.edges ? -r : 3 * pw + r, my = c.edges ? -r : 3 * ph + r;
        std::vector<std::pair<double, double>> centres;
        std::vector<std::string> pads;
        for (int k = 0; k < 3000; ++k) {
            centres.emplace_back(std::round(mx + next() * (W * pw - 2 * mx)), std::round(my + next() * (H * ph - 2 * my)));
            pads.push_back(API::GreatePadString(centres.back().first, centres.back().second, s, API::POL_POSITIVE, 0, 0, 1));
        }
        API::AddFeatures(kJob, "pcb", {"a"}, {{"a", pads}}, {});
        // The expected picture, disc by disc over its neighbourhood.
        std::vector<char> expected(size_t(W) * H, 0);
        for (const auto& p : centres) {
            bool any = false;
            for (int j = std::max(0, int((H * ph - p.second - r) / ph) - 1); j < H && j <= (H * ph - p.second + r) / ph + 1; ++j)
                for (int i = std::max(0, int((p.first - r) / pw) - 1); i < W && i <= (p.first + r) / pw + 1; ++i)
                    if (std::hypot((i + 0.5) * pw - p.first, (H - j - 0.5) * ph - p.second) <= r) {
                        expected[size_t(j) * W + i] = 1;
                        any = true;
                    }
            const int ci = int(std::floor(p.first / pw)), cj = int(std::floor((H * ph - p.second) / ph));
            if (!any && ci >= 0 && ci < W && cj >= 0 && cj < H) expected[size_t(cj) * W + ci] = 1;
        }
        for (int pass = 0; pass < 2; ++pass) {
            SCOPED_TRACE(pass == 0 ? "first draw" : "later draw");
            API::clear_canvas();
            draw();
            int mismatches = 0, paintedCount = 0;
            for (int j = 0; j < H; ++j)
                for (int i = 0; i < W; ++i) {
                    const bool want = expected[size_t(j) * W + i] != 0;
                    paintedCount += kt::painted(i, j) ? 1 : 0;
                    if (kt::painted(i, j) != want && ++mismatches < 5)
                        ADD_FAILURE() << "pixel (" << i << ", " << j << ") painted=" << kt::painted(i, j);
                }
            EXPECT_EQ(mismatches, 0);
            EXPECT_GT(paintedCount, W * H / 50);  // the picture is neither empty
            EXPECT_LT(paintedCount, W * H * 9 / 10);  // nor solid
        }
    }
}

TEST_F(Raster, ZoomedViewUsesTheIndexAndDrawsTheSameShapes) {
    int s = kt::symbol(kJob, "a", "r3.3");
    kt::add(kJob, "a", API::GreatePadString(-5e8, -5e8, s, API::POL_POSITIVE, 0, 0, 1));  // far away
    kt::add(kJob, "a", API::GreatePadString(10200, 9700, s, API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "a", API::GreatePadString(5e8, 5e8, s, API::POL_POSITIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) { return std::hypot(x - 10200, y - 9700) <= 1650; });
}

TEST_F(Raster, FatArcLeavesTheRowThroughItsCentreToItsSweep) {
    // A pen wider than the radius: the row of pixel centres through the
    // arc's centre is cut there, each half painted by its own direction.
    struct Case {
        const char* what;
        bool clockwise;
        int polarity;
    };
    const Case cases[] = {{"minor, positive", false, API::POL_POSITIVE},
                          {"minor, negative", false, API::POL_NEGATIVE},
                          {"major, positive", true, API::POL_POSITIVE}};
    constexpr int W = 301, H = 300;
    const double sx = 164500, sy = 198500, ex = 136500, ey = 198500, cx = 150500, cy = 150500;
    const double radius = 50000, pen = 60000;  // r120
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kt::freshJob(kJob, {"a", "b"});
        kt::unitCanvas(W, H);
        API::clear_canvas();
        if (c.polarity == API::POL_NEGATIVE) {  // over a filled canvas
            const double right = W * 1000.0, top = H * 1000.0;
            kt::add(kJob, "a", API::GreateSurfaceString({{0, 0}, {right, 0}, {right, top}, {0, top}},
                                                        API::POL_POSITIVE, 0, true));
            API::draw_layer(kJob, "pcb", "a", 0, 255, 0, 255);
        }
        const int s = kt::symbol(kJob, "b", "r120");
        kt::add(kJob, "b", API::GreateArcString(sx, sy, ex, ey, cx, cy, s, c.polarity, 0, c.clockwise));
        API::draw_layer(kJob, "pcb", "b", 200, 10, 20, 255);
        expectShapeOn(
            W, H,
            [&](double x, double y) {
                // Counter-clockwise from the start's ray to the end's (the other way round when clockwise).
                const double ax = (c.clockwise ? ex : sx) - cx, ay = (c.clockwise ? ey : sy) - cy;
                const double bx = (c.clockwise ? sx : ex) - cx, by = (c.clockwise ? sy : ey) - cy;
                const double px = x - cx, py = y - cy;
                const bool afterA = ax * py - ay * px >= 0, beforeB = px * by - py * bx >= 0;
                const bool inSweep = ax * by - ay * bx > 0 ? afterA && beforeB : afterA || beforeB;
                const bool inRing = std::hypot(px, py) <= radius + pen;  // the pen reaches past the centre
                return (inSweep && inRing) || std::hypot(x - sx, y - sy) <= pen || std::hypot(x - ex, y - ey) <= pen;
            },
            [&](int i, int j) { return c.polarity == API::POL_NEGATIVE ? kt::isBackground(i, j) : kt::painted(i, j); });
    }
}

TEST_F(Raster, ShapeThatCoversNoPixelCentrePaintsItsFirstPoint) {
    // Each covers no pixel centre, and the corner, axis end or ring point
    // that once stood in for it lies off the canvas while its first point
    // is on it.
    struct Case {
        const char* symbol;
        bool line;
        double x, y;  // first point: line start, pad centre
        int angle;
        int i, j;     // the first point's pixel
    };
    const Case cases[] = {
        {"rect2x0.2", true, 300, 5000, 0, 0, 15},      // a thin bar between rows, its hull starting left of the canvas
        {"s0.9", false, 0, 5000, 315, 0, 15},          // a diamond between four centres, a corner beyond the left edge
        {"oval3x0.2", false, 300, 5000, 0, 0, 15},     // its axis starting beyond the left edge
        {"donut_r1.02x0.9", false, 23750, 5000, 0, 23, 15},  // its ring passing beyond the right edge
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.symbol);
        kt::freshJob(kJob, {"a"});
        API::clear_canvas();
        const int s = kt::symbol(kJob, "a", c.symbol);
        kt::add(kJob, "a", c.line ? API::GreateLineString(c.x, c.y, c.x + 2700, c.y, s, API::POL_POSITIVE, 0)
                                  : API::GreatePadString(c.x, c.y, s, API::POL_POSITIVE, c.angle, 0, 1));
        draw();
        expectOnlyPixel(c.i, c.j);
    }
}

TEST_F(Raster, JustUnderAPixelIsOnePixelAtAFewNanometresPerPixel) {
    // Boxes of about 4.5 nm on 5 nm pixels, which rounded out to whole
    // nanometres would reach 5 or 6 nm: exactly the pixel of the first point.
    API::zoom_to_box(0, 0, kW * 0.005, kH * 0.005);
    struct Case {
        const char* what;
        const char* symbol;
        std::function<std::string(int symbol)> record;
        int i, j;
    };
    const Case cases[] = {
        {"thin arc", "r0.0015",
         [](int s) { return API::GreateArcString(55, 52, 52, 55, 52, 52, s, API::POL_POSITIVE, 0, false); }, 11, 9},
        {"turned rect pad", "rect0.004x0.002",
         [](int s) { return API::GreatePadString(50, 50, s, API::POL_POSITIVE, 30, 0, 1); }, 10, 10},
        {"scaled oval pad", "oval0.003x0.001",
         [](int s) { return API::GreatePadString(50, 52, s, API::POL_POSITIVE, 0, 0, 1.5); }, 10, 9},
        // The L's strokes run from (0, 4) down to the anchor and on to (4, 0) nm.
        {"text", nullptr,
         [](int) { return API::GreateTextString(48, 48, "L", API::POL_POSITIVE, 0, 5, 4, 1, "standard", 0, 1); },
         9, 10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kt::freshJob(kJob, {"a"});
        API::clear_canvas();
        kt::add(kJob, "a", c.record(c.symbol ? kt::symbol(kJob, "a", c.symbol) : -1));
        draw();
        expectOnlyPixel(c.i, c.j);
    }
}

TEST_F(Raster, SurfaceEdgesThroughPixelCentresCountOnTheLeftAndTop) {
    // Corners on pixel centres: centres on a left or top edge are inside,
    // on a right or bottom edge outside, for the outline and for a hole.
    struct Case {
        const char* what;
        std::vector<API::lPoint> points;
        std::function<bool(double, double)> inside;
    };
    auto box = [](double x, double y, double x0, double y0, double x1, double y1) {
        return x >= x0 && x < x1 && y > y0 && y <= y1;
    };
    const Case cases[] = {
        {"square", {{2500, 2500}, {6500, 2500}, {6500, 6500}, {2500, 6500}},
         [&](double x, double y) { return box(x, y, 2500, 2500, 6500, 6500); }},
        {"square with a hole",
         {{1500, 1500}, {12500, 1500}, {12500, 12500}, {1500, 12500}, {1500, 1500},
          {4500, 4500}, {8500, 4500}, {8500, 8500}, {4500, 8500}},
         [&](double x, double y) { return box(x, y, 1500, 1500, 12500, 12500) && !box(x, y, 4500, 4500, 8500, 8500); }},
        {"triangle, its slanted edge on centres", {{2500, 2500}, {10500, 2500}, {2500, 10500}},
         [&](double x, double y) { return x >= 2500 && y > 2500 && x + y < 13000; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        kt::freshJob(kJob, {"a"});
        API::clear_canvas();
        kt::add(kJob, "a", API::GreateSurfaceString(c.points, API::POL_POSITIVE, 0, true));
        draw();
        expectShape(c.inside);
    }
}

TEST_F(Raster, SubPixelFeaturesShowAsOnePixel) {
    int s = kt::symbol(kJob, "a", "r0.1");
    kt::add(kJob, "a", API::GreatePadString(10500, 10300, s, API::POL_POSITIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) { return std::fabs(x - 10500) < 500 && std::fabs(y - 10500) < 500; });
}

TEST_F(Raster, ThinLinesStayConnectedOnePixelPerColumn) {
    int s = kt::symbol(kJob, "a", "r0.2");
    kt::add(kJob, "a", API::GreateLineString(1500, 1500, 22500, 8500, s, API::POL_POSITIVE, 0));
    draw();
    for (int i = 1; i <= 22; ++i) {
        int count = 0;
        for (int j = 0; j < kH; ++j) count += kt::painted(i, j) ? 1 : 0;
        EXPECT_EQ(count, 1) << "column " << i;
    }
}

TEST_F(Raster, TextStaysInsideItsBoxAndPaints) {
    kt::add(kJob, "a", API::GreateTextString(2000, 4000, "H1", API::POL_POSITIVE, 0, 6000, 9000, 1, "standard", 0, 1));
    API::featureInfo f;
    ASSERT_TRUE(API::get_featureinfo_by_index(kJob, "pcb", "a", 0, f));
    draw();
    int inside = 0;
    for (int j = 0; j < kH; ++j)
        for (int i = 0; i < kW; ++i) {
            if (!kt::painted(i, j)) continue;
            double x = centreX(i), y = centreY(j, kH);
            // Strokes thinner than a pixel paint the pixel they pass through.
            EXPECT_TRUE(x >= f.xmin - 1000 && x <= f.xmax + 1000 && y >= f.ymin - 1000 && y <= f.ymax + 1000)
                << i << "," << j;
            ++inside;
        }
    EXPECT_GT(inside, 20);
    // The H's left stem runs up the left of its cell.
    EXPECT_TRUE(kt::painted(2, 12));
}

TEST_F(Raster, HighlightPaintsSelectedFeaturesWhite) {
    int s = kt::symbol(kJob, "a", "r4");
    kt::add(kJob, "a", API::GreatePadString(5000, 5000, s, API::POL_POSITIVE, 0, 0, 1));
    kt::add(kJob, "a", API::GreatePadString(15000, 15000, s, API::POL_NEGATIVE, 0, 0, 1));
    API::select_feature_by_id(kJob, "pcb", "a", 1);
    API::draw_highlighted_selected_features(kJob, "pcb", "a");
    kt::Rgba c = kt::pixel(15, kH - 16);
    EXPECT_EQ(c.r, 255);
    EXPECT_EQ(c.g, 255);
    EXPECT_EQ(c.b, 255);
    EXPECT_EQ(c.a, 255);
    EXPECT_FALSE(kt::painted(5, kH - 6));
}

TEST_F(Raster, ProfileIsAOnePixelOutline) {
    JOB::set_profile(kJob, "pcb", {{2500, 2500}, {20500, 2500}, {20500, 16500}, {2500, 16500}});
    API::draw_profile(kJob, "pcb", 0, 0, 255, 255);
    for (int i = 2; i <= 20; ++i) {
        EXPECT_TRUE(kt::painted(i, kH - 3)) << i;   // bottom edge, y = 2.5 um
        EXPECT_TRUE(kt::painted(i, kH - 17)) << i;  // top edge, y = 16.5 um
    }
    EXPECT_FALSE(kt::painted(10, 10));
    EXPECT_EQ(kt::pixel(10, kH - 3).b, 255);
}

TEST_F(Raster, NotesShowAMarker) {
    JOB::add_layer_note(kJob, "pcb", "a", 12000, 10000, "check");
    API::draw_layer_notes(kJob, "pcb", "a");
    EXPECT_TRUE(kt::painted(12, 10));  // the pixel of the note
    EXPECT_TRUE(kt::painted(15, 10));  // the marker's right side, 3 pixels out
    EXPECT_FALSE(kt::painted(13, 10));
    EXPECT_FALSE(kt::painted(2, 2));
}

TEST_F(Raster, DrawingIsClippedToTheCanvasAndNeedsACanvas) {
    int s = kt::symbol(kJob, "a", "r30");
    kt::add(kJob, "a", API::GreatePadString(0, 0, s, API::POL_POSITIVE, 0, 0, 1));
    draw();
    EXPECT_TRUE(kt::painted(0, kH - 1));
    API::init_canvas(0, 0);
    EXPECT_NO_THROW(draw());
    EXPECT_THROW(API::draw_layer(kJob, "pcb", "nolayer", 1, 1, 1, 1), API::KernelText);
}

TEST_F(Raster, AnisotropicViewStretchesEachAxisOnItsOwn) {
    // Two micrometres per pixel across, one down.
    API::zoom_to_box(0, 0, 2 * kW, kH);
    int s = kt::symbol(kJob, "a", "r10");
    kt::add(kJob, "a", API::GreatePadString(24000, 10000, s, API::POL_POSITIVE, 0, 0, 1));
    draw();
    expectShape([](double x, double y) {
        // Pixel centres on this canvas: x = (i + 0.5) * 2000.
        return std::hypot(2 * x - 24000, y - 10000) <= 5000;
    });
}

}  // namespace
