// The pixel <-> board transform at every angle, with its rounding rules.
#include <gtest/gtest.h>

#include <cmath>

#include "core/view_transform.h"

using namespace TOLVA::GRAPHIC;

TEST(ViewTransform, SetScaleClampsUpperThenLower) {
    struct Case { double in, out; };
    static constexpr Case cases[] = {
        {1.0, 0.05}, {0.05, 0.05}, {0.0500001, 0.05}, {0.01, 0.01}, {9e-07, 9e-07},
        {8.9e-07, 9e-07}, {0.0, 9e-07}, {-1.0, 9e-07}, {INFINITY, 0.05}, {NAN, 9e-07},
    };
    for (const Case& c : cases) EXPECT_DOUBLE_EQ(clampScale(c.in), c.out) << c.in;
}

TEST(ViewTransform, ToBoardAtEachAngle) {
    // Centre (1000, 2000), scale 0.5 px/unit, widget 101 x 51: half sizes 50, 25.
    struct Case { int angle; int px, py; double x, y; };
    static constexpr Case cases[] = {
        {0, 50, 25, 1000, 2000},  {0, 60, 25, 1020, 2000},  {0, 50, 35, 1000, 1980},
        {90, 60, 25, 1000, 2020}, {90, 50, 35, 1020, 2000},
        {180, 60, 25, 980, 2000}, {180, 50, 35, 1000, 2020},
        {270, 60, 25, 1000, 1980}, {270, 50, 35, 980, 2000},
    };
    for (const Case& c : cases) {
        const ViewTransform t(101, 51, 0.5, 1000, 2000, c.angle);
        double x = -1, y = -1;
        EXPECT_TRUE(t.toBoard(c.px, c.py, x, y));
        EXPECT_EQ(x, c.x) << "angle " << c.angle << " px " << c.px << " py " << c.py;
        EXPECT_EQ(y, c.y) << "angle " << c.angle << " px " << c.px << " py " << c.py;
    }
}

TEST(ViewTransform, OddWidthMapsMiddlePixelToCentre) {
    const ViewTransform t(801, 600, 0.01, 5000, 7000, 0);
    double x = 0, y = 0;
    t.toBoard(400, 300, x, y);
    EXPECT_EQ(x, 5000);
    t.toBoard(401, 300, x, y);
    EXPECT_EQ(x, 5100);
}

TEST(ViewTransform, ToBoardRoundsHalfAwayFromZero) {
    struct Case { double cx; double expected; };
    static constexpr Case cases[] = {{10.5, 11}, {-10.5, -11}, {10.4, 10}, {-10.4, -10}, {0.5, 1}, {-0.5, -1}};
    for (const Case& c : cases) {
        const ViewTransform t(100, 100, 0.01, c.cx, c.cx, 0);
        double x = 0, y = 0;
        t.toBoard(50, 50, x, y);
        EXPECT_EQ(x, c.expected) << c.cx;
        EXPECT_EQ(y, c.expected) << c.cx;
    }
}

TEST(ViewTransform, ToPixelTruncatesTowardZeroAgainstWholeCentre) {
    // 1 px per 10 units: 9 units is 0.9 px.
    const ViewTransform t(100, 100, 0.1, 1000.4, 1000.4, 0);  // whole-unit centre is 1000
    struct Case { double x; int px; };
    static constexpr Case cases[] = {{1009, 50}, {991, 50}, {1010, 51}, {990, 49}, {1019, 51}, {981, 49}};
    for (const Case& c : cases) {
        int px = -1, py = -1;
        EXPECT_TRUE(t.toPixel(c.x, 1000, px, py));
        EXPECT_EQ(px, c.px) << c.x;
        EXPECT_EQ(py, 50);
    }
}

TEST(ViewTransform, ToPixelAtEachAngleInvertsToBoard) {
    for (int angle : {0, 90, 180, 270}) {
        const ViewTransform t(200, 100, 0.25, 4000, -8000, angle);
        for (int px : {0, 37, 100, 199})
            for (int py : {0, 50, 99}) {
                double x = 0, y = 0;
                t.toBoard(px, py, x, y);
                int qx = 0, qy = 0;
                t.toPixel(x, y, qx, qy);
                EXPECT_EQ(qx, px) << "angle " << angle;
                EXPECT_EQ(qy, py) << "angle " << angle;
            }
    }
}

TEST(ViewTransform, RoundTripMovesTowardCentreOnly) {
    // Scale 0.3: a pixel is 3.33 units, so board positions are not on pixel
    // boundaries and truncation toward zero pulls toward the centre.
    const ViewTransform t(100, 100, 0.3, 0, 0, 0);
    for (int px = 0; px < 100; ++px) {
        double x = 0, y = 0;
        t.toBoard(px, 50, x, y);
        int qx = 0, qy = 0;
        t.toPixel(x, y, qx, qy);
        EXPECT_LE(std::abs(qx - 50), std::abs(px - 50)) << px;
        EXPECT_LE(std::abs(qx - px), 1) << px;
    }
}

TEST(ViewTransform, UnknownAngle) {
    const ViewTransform t(100, 100, 0.1, 5, 5, 45);
    double x = 7, y = 7;
    EXPECT_FALSE(t.toBoard(10, 10, x, y));
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    int px = 3, py = 4;
    EXPECT_FALSE(t.toPixel(10, 10, px, py));
    EXPECT_EQ(px, 3);
    EXPECT_EQ(py, 4);
}

TEST(ViewTransform, FitScaleReportsLimitingDimensionUnclamped) {
    FitScale f = fitScale(1000, 500, 0, 0, 100, 100);
    EXPECT_DOUBLE_EQ(f.scale, 5.0);
    EXPECT_FALSE(f.fitsWidth);
    f = fitScale(500, 1000, 0, 0, 100, 100);
    EXPECT_DOUBLE_EQ(f.scale, 5.0);
    EXPECT_TRUE(f.fitsWidth);
    f = fitScale(100, 100, 7, 7, 7, 7);
    EXPECT_TRUE(std::isinf(f.scale));
    ViewTransform t(1000, 500, 1, 0, 0, 0);
    t.setScale(fitScale(1000, 500, 0, 0, 100, 100).scale);
    EXPECT_DOUBLE_EQ(t.scale(), 0.05);
}

TEST(ViewTransform, CenterOnLowerLeftSwapsAxesAtQuarterTurns) {
    struct Case { int angle; double cx, cy; };
    static constexpr Case cases[] = {{0, 100 + 50, 200 + 25}, {90, 100 + 25, 200 + 50},
                                     {180, 100 + 50, 200 + 25}, {270, 100 + 25, 200 + 50}};
    for (const Case& c : cases) {
        ViewTransform t(100, 50, 1.0, 0, 0, c.angle);
        t.centerOnLowerLeft(100, 50, 100, 200);
        EXPECT_DOUBLE_EQ(t.centerX(), c.cx) << c.angle;
        EXPECT_DOUBLE_EQ(t.centerY(), c.cy) << c.angle;
    }
}

TEST(ViewTransform, VisibleBoxIsOrderedAtEveryAngle) {
    for (int angle : {0, 90, 180, 270}) {
        const ViewTransform t(300, 100, 0.5, 1000, 1000, angle);
        const BoardBox b = t.visibleBox();
        EXPECT_LE(b.minX, b.maxX) << angle;
        EXPECT_LE(b.minY, b.maxY) << angle;
        const double w = b.maxX - b.minX, h = b.maxY - b.minY;
        // The long side of the widget shows the long side of the box unless turned.
        if (angle % 180 == 0) EXPECT_GT(w, h) << angle;
        else EXPECT_LT(w, h) << angle;
    }
}

TEST(ViewTransform, BoxCornersTruncateInOrder) {
    const std::vector<TOLVA::API::point> c = boxCorners({-1.7, -2.2, 3.9, 4.5});
    ASSERT_EQ(c.size(), 4u);
    EXPECT_EQ(c[0], (TOLVA::API::point{-1, -2}));
    EXPECT_EQ(c[1], (TOLVA::API::point{-1, 4}));
    EXPECT_EQ(c[2], (TOLVA::API::point{3, 4}));
    EXPECT_EQ(c[3], (TOLVA::API::point{3, -2}));
}

TEST(ViewTransform, InputConversionTakesHeightFirst) {
    double x = 0, y = 0;
    boardFromInput(/*height*/ 100, /*width*/ 400, 1.0, 0, 0, 200, 50, x, y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    boardFromInput(100, 400, 1.0, 0, 0, 0, 100, x, y);
    EXPECT_EQ(x, -200);
    EXPECT_EQ(y, -50);
}

TEST(ViewTransform, ZeroSizeStaysFinite) {
    ViewTransform t(0, 0, 1.0, 0, 0, 0);
    t.setScale(fitScale(0, 0, 5, 5, 5, 5).scale);  // 0 / 0
    EXPECT_TRUE(std::isfinite(t.scale()));
    t.centerOnLowerLeft(0, 0, 5, 5);
    EXPECT_TRUE(std::isfinite(t.centerX()));
    double x = 0, y = 0;
    t.toBoard(0, 0, x, y);
    EXPECT_TRUE(std::isfinite(x));
}

TEST(ViewTransform, EqualOnlyWhenEveryFieldIsEqual) {
    const ViewTransform base(400, 300, 0.01, 5, -7, 90);
    EXPECT_TRUE(base == ViewTransform(400, 300, 0.01, 5, -7, 90));
    const ViewTransform others[] = {{401, 300, 0.01, 5, -7, 90},  {400, 301, 0.01, 5, -7, 90},
                                    {400, 300, 0.02, 5, -7, 90},  {400, 300, 0.01, 6, -7, 90},
                                    {400, 300, 0.01, 5, -8, 90},  {400, 300, 0.01, 5, -7, 180}};
    for (const ViewTransform& other : others) {
        EXPECT_FALSE(base == other);
        EXPECT_TRUE(base != other);
    }
}
