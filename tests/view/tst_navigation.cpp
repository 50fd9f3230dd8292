// The arithmetic of fits, wheel zoom, pans and the serpentine tour.
#include <glog/logging.h>
#include <gtest/gtest.h>

#include <cmath>

#include "core/navigation.h"

using namespace TOLVA::GRAPHIC;
using TOLVA::API::reply_box;

TEST(Navigation, WheelZoomKeepsBoardPointUnderCursorAtEveryAngle) {
    struct Case { int angle; double factor; QPointF pos; };
    static const Case cases[] = {
        {0, 2.0, {37, 80}},   {0, 0.5, {190, 3}},  {90, 2.0, {37, 80}},  {90, 0.5, {150, 20}},
        {180, 2.0, {1, 1}},   {180, 0.5, {99, 60}}, {270, 2.0, {120, 90}}, {270, 0.5, {7, 77}},
    };
    for (const Case& c : cases) {
        ViewTransform t(200, 100, 1e-3, 123456, -654321, c.angle);
        double bx = 0, by = 0;
        t.toBoard(int(c.pos.x()), int(c.pos.y()), bx, by);
        zoomAbout(t, c.pos, c.factor);
        EXPECT_DOUBLE_EQ(t.scale(), 1e-3 * c.factor);
        double ax = 0, ay = 0;
        t.toBoard(int(c.pos.x()), int(c.pos.y()), ax, ay);
        // Within the rounding of the conversion to whole units.
        EXPECT_NEAR(ax, bx, 1.0) << "angle " << c.angle << " factor " << c.factor;
        EXPECT_NEAR(ay, by, 1.0) << "angle " << c.angle << " factor " << c.factor;
    }
}

TEST(Navigation, WheelZoomAtCentreKeepsCentre) {
    ViewTransform t(200, 100, 1e-3, 5000, 7000, 0);
    zoomAbout(t, QPointF(100, 50), 2.0);
    EXPECT_NEAR(t.centerX(), 5000, 1);
    EXPECT_NEAR(t.centerY(), 7000, 1);
}

TEST(Navigation, WheelZoomAtLimitStaysClamped) {
    ViewTransform t(200, 100, 0.05, 0, 0, 0);
    zoomAbout(t, QPointF(10, 10), 2.0);
    EXPECT_DOUBLE_EQ(t.scale(), 0.05);
    EXPECT_TRUE(std::isfinite(t.centerX()));
}

TEST(Navigation, FitIntBoxCentresTheLimitedDimension) {
    // A 2:1 box in a square widget: the width limits, the height is padded.
    ViewTransform t(1000, 1000, 1, 0, 0, 0);
    reply_box box{0, 0, 2000000, 1000000};
    fitIntBox(t, box);
    EXPECT_DOUBLE_EQ(t.scale(), 1000.0 / 2000000);
    // The box's middle is at the view's centre.
    EXPECT_NEAR(t.centerX(), 1000000, 1);
    EXPECT_NEAR(t.centerY(), 500000, 1);
    const BoardBox v = t.visibleBox();
    EXPECT_NEAR(v.minY, -500000, 2);
    EXPECT_NEAR(v.maxY, 1500000, 2);
}

TEST(Navigation, FitDegenerateBoxUsesUpperLimit) {
    ViewTransform t(800, 600, 1, 0, 0, 0);
    reply_box box{500, 700, 500, 700};
    fitIntBox(t, box);
    EXPECT_DOUBLE_EQ(t.scale(), ScaleLimits::maximum);
    EXPECT_TRUE(std::isfinite(t.centerX()));
    EXPECT_TRUE(std::isfinite(t.centerY()));
}

TEST(Navigation, DoubleFitShiftsByPadTimesScale) {
    // The double overload shifts the box by pad * scale (not pad / scale), so
    // it centres differently whenever the scale is not 1.
    ViewTransform a(1000, 1000, 1, 0, 0, 0), b(1000, 1000, 1, 0, 0, 0);
    reply_box box{0, 0, 2000000, 1000000};
    fitIntBox(a, box);
    fitDoubleBox(b, 0, 0, 2000000, 1000000);
    EXPECT_DOUBLE_EQ(a.scale(), b.scale());
    // pad = (1000 - 0.0005 * 1e6) / 2 = 250 px; shift = 250 * 0.0005 = 0.125 units.
    EXPECT_NEAR(b.centerY(), 1000 / 0.0005 / 2, 1);
    EXPECT_GT(std::fabs(a.centerY() - b.centerY()), 1000);
}

TEST(Navigation, AreaZoomCentresOnMidpoint) {
    ViewTransform t(400, 200, 1, 0, 0, 0);
    areaZoom(t, 10000, 10000, 30000, 20000);
    EXPECT_DOUBLE_EQ(t.scale(), 0.02);
    EXPECT_DOUBLE_EQ(t.centerX(), 20000);
    EXPECT_DOUBLE_EQ(t.centerY(), 15000);
}

TEST(Navigation, AreaZoomShiftsThePaddedSideByPadTimesScale) {
    // A square box in a 2:1 widget: the height limits (0.01 px per unit) and
    // the width is padded by 100 px, which moves x by 100 * 0.01 = 1 unit
    // before the midpoint is taken (a pad divided by the scale would move it
    // by 10000).
    ViewTransform t(400, 200, 1, 0, 0, 0);
    areaZoom(t, 10000, 10000, 30000, 30000);
    EXPECT_DOUBLE_EQ(t.scale(), 0.01);
    EXPECT_DOUBLE_EQ(t.centerX(), 19999);
    EXPECT_DOUBLE_EQ(t.centerY(), 20000);
}

TEST(Navigation, FitPadsWithTheUnclampedScaleAboveTheUpperLimit) {
    // A 10 x 5 unit box fits at 100 px per unit: the padding is computed at
    // that scale (only the lower limit applies), 250 px or 2.5 units, and the
    // box lands off-centre once the stored scale is clamped to 0.05.
    ViewTransform t(1000, 1000, 1, 0, 0, 0);
    reply_box box{0, 0, 10, 5};
    fitIntBox(t, box);
    EXPECT_DOUBLE_EQ(t.scale(), ScaleLimits::maximum);
    EXPECT_EQ(box.ymin, -2);
    EXPECT_EQ(box.ymax, 2);
    EXPECT_DOUBLE_EQ(t.centerX(), 10000);
    EXPECT_DOUBLE_EQ(t.centerY(), 9998);
}

TEST(Navigation, PanBoxFollowsDrag) {
    const ViewTransform t(200, 100, 0.5, 1000, 1000, 0);
    const BoardBox still = pannedBox(t, 0, 0);
    const BoardBox visible = t.visibleBox();
    EXPECT_EQ(still.minX, visible.minX);
    EXPECT_EQ(still.maxY, visible.maxY);
    // Dragging the picture right by 10 px shows what was 20 units to the left.
    const BoardBox right = pannedBox(t, 10, 0);
    EXPECT_EQ(right.minX, visible.minX - 20);
    // Dragging down by 10 px shows what was 20 units higher.
    const BoardBox down = pannedBox(t, 0, 10);
    EXPECT_EQ(down.maxY, visible.maxY + 20);
}

TEST(Navigation, SnakeJumpsUseTwentyPercentMargins) {
    const ViewTransform t(100, 50, 0.01, 0, 0, 0);  // the view is 10000 x 5000 units
    const BoardBox lb = snakeLeftBottomBox(t, 100000, 50000);
    EXPECT_DOUBLE_EQ(lb.minX, -20000);
    EXPECT_DOUBLE_EQ(lb.minY, -10000);
    EXPECT_DOUBLE_EQ(lb.maxX, -10000);
    const BoardBox rt = snakeRightTopBox(t, 100000, 50000);
    EXPECT_DOUBLE_EQ(rt.maxX, 120000);
    EXPECT_DOUBLE_EQ(rt.minY, 60000 - 5000);
    const BoardBox mid = snakeMiddleBox(t, 100001, 50001);  // integer halves
    EXPECT_DOUBLE_EQ(mid.minX, 50000 - 5000);
    EXPECT_DOUBLE_EQ(mid.maxY, 25000 + 2500);
}

TEST(Navigation, SnakeTourIsSerpentine) {
    // View 10000 x 5000 units, profile 20000 x 10000: 1.4 x -> 3 columns, 3 rows.
    const ViewTransform t(100, 50, 0.01, 0, 0, 0);
    SnakeLists lists;
    const int rows = buildSnakeTour(t, 20000, 10000, lists);
    ASSERT_EQ(rows, 3);
    ASSERT_EQ(lists.columns.size(), 3);
    EXPECT_EQ(lists.rows.size(), 3);  // one entry per column
    ASSERT_EQ(lists.points.size(), 9);
    // Row 0 left to right, row 1 right to left, row 2 left to right.
    EXPECT_DOUBLE_EQ(lists.points[0].x(), lists.columns[0]);
    EXPECT_DOUBLE_EQ(lists.points[2].x(), lists.columns[2]);
    EXPECT_DOUBLE_EQ(lists.points[3].x(), lists.columns[2]);
    EXPECT_DOUBLE_EQ(lists.points[5].x(), lists.columns[0]);
    EXPECT_DOUBLE_EQ(lists.points[6].x(), lists.columns[0]);
    EXPECT_LT(lists.points[0].y(), lists.points[3].y());
    // The first centre is half a view inside the 20% margin.
    EXPECT_DOUBLE_EQ(lists.columns[0], 5000 - 4000);
    // The tour covers the profile with its margins exactly: last column's right edge.
    EXPECT_NEAR(lists.columns[2] + 5000, 20000 * 1.2, 1e-6);
    EXPECT_EQ(lists.scratch, QPointF(0, 0));
}

TEST(Navigation, SnakeTourWithMoreRowsThanColumnsStaysInRange) {
    const ViewTransform t(100, 50, 0.01, 0, 0, 0);
    SnakeLists lists;
    const int rows = buildSnakeTour(t, 5000, 30000, lists);  // 1 column, 9 rows
    EXPECT_EQ(rows, 9);
    EXPECT_EQ(lists.columns.size(), 1);
    EXPECT_EQ(lists.rows.size(), 1);
    EXPECT_EQ(lists.points.size(), 9);
    for (const QPointF& p : lists.points) EXPECT_TRUE(std::isfinite(p.x()) && std::isfinite(p.y()));
}

TEST(Navigation, SnakeTourOfSmallProfileHasOneView) {
    const ViewTransform t(100, 50, 0.01, 0, 0, 0);
    SnakeLists lists;
    EXPECT_EQ(buildSnakeTour(t, 100, 100, lists), 1);
    EXPECT_EQ(lists.columns.size(), 1);
    EXPECT_EQ(lists.rows.size(), 1);
    EXPECT_EQ(lists.points.size(), 1);
    EXPECT_TRUE(std::isfinite(lists.points[0].x()));
    // Lists are appended to, never cleared.
    buildSnakeTour(t, 100, 100, lists);
    EXPECT_EQ(lists.points.size(), 2);
}

namespace {
// Counts the log lines that mention `text`.
struct LogCounter : google::LogSink {
    explicit LogCounter(std::string text) : text(std::move(text)) { google::AddLogSink(this); }
    ~LogCounter() override { google::RemoveLogSink(this); }
    void send(google::LogSeverity, const char*, const char*, int, const struct ::tm*, const char* message,
              size_t length) override {
        if (std::string(message, length).find(text) != std::string::npos) ++count;
    }
    std::string text;
    int count = 0;
};
}  // namespace

TEST(Navigation, SnakeTourRefusesDegenerateInputAndSaysSo) {
    SnakeLists lists;
    {
        LogCounter said("no tour built"), noArea("has no area");
        EXPECT_EQ(buildSnakeTour(ViewTransform(0, 0, 0.01, 0, 0, 0), 1000, 1000, lists), 0);
        EXPECT_EQ(buildSnakeTour(ViewTransform(100, 0, 0.01, 0, 0, 0), 1000, 1000, lists), 0);
        EXPECT_EQ(noArea.count, 2);
        EXPECT_EQ(buildSnakeTour(ViewTransform(100, 100, 0.05, 0, 0, 0), 1e12, 1e12, lists), 0);  // beyond memory
        EXPECT_EQ(said.count, 3);
    }
    EXPECT_EQ(buildSnakeTour(ViewTransform(100, 100, 0.05, 0, 0, 0), -1, -1, lists), 0);  // no profile: no rows
    EXPECT_TRUE(lists.points.isEmpty());
    // A tour of over four million views is long but fits in memory: built.
    EXPECT_EQ(buildSnakeTour(ViewTransform(100, 100, 0.05, 0, 0, 0), 3e6, 2.8e6, lists), 1960);
    EXPECT_EQ(lists.points.size(), 2100 * 1960);
}
