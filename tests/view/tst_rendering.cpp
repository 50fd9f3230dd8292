// Layer composition through the real kernel and the overlay pass, checked
// on pixels at known positions.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <cmath>
#include <QResizeEvent>
#include <QTest>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

// A 20 mm square board in a 200-pixel view with a 1 mm margin.
class Rendering : public ::testing::Test {
protected:
    static constexpr int kSize = 200;
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(kSize, kSize);
        testsupport::openJobInView(view, "render_job", "pcb", {});
        view->zoom2fit(-1e6, -1e6, 2.1e7, 2.1e7);
    }
    void TearDown() override { delete view; }

    // Colour bytes of the composition at a board point (nanometres).
    QColor composedAt(double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        const unsigned char* p = view->compositionBuffer() + (py * view->compositionSize().width() + px) * 4;
        return QColor(p[0], p[1], p[2], p[3]);
    }
    int nonBackgroundPixels() {
        const QSize s = view->compositionSize();
        const unsigned char* b = view->compositionBuffer();
        int n = 0;
        for (int i = 0; i < s.width() * s.height(); ++i) n += (b[i * 4] || b[i * 4 + 1] || b[i * 4 + 2]);
        return n;
    }
    void redraw() {
        view->draw();
        view->refresh();
    }

    ScopedJob job{"render_job", 2e7, 2e7, {"top", "bot", "hidden"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

}  // namespace

TEST_F(Rendering, OverlappingLayersFollowTheColourRule) {
    job.addPad("top", 5e6, 5e6, "r2000");
    job.addPad("bot", 5e6, 5e6, "r2000");
    job.addPad("bot", 15e6, 15e6, "r2000");
    view->setShownLayers({{"top", 0}, {"bot", 1}});
    redraw();
    EXPECT_EQ(composedAt(5e6, 5e6).rgb(), qRgb(127, 178, 0));  // red over green, darkened
    EXPECT_EQ(composedAt(15e6, 15e6).rgb(), qRgb(0, 255, 0));
    EXPECT_EQ(composedAt(10e6, 10e6).rgb(), qRgb(0, 0, 0));
}

TEST_F(Rendering, PaletteIndexOutsideTheRangeDrawsWhite) {
    job.addPad("top", 5e6, 5e6, "r2000");
    for (int index : {-1, 10, 1000}) {
        view->setShownLayers({{"top", index}});
        redraw();
        EXPECT_EQ(composedAt(5e6, 5e6).rgb(), qRgb(255, 255, 255)) << index;
    }
    EXPECT_EQ(ViewWidget::paletteColor(3), QColor(180, 180, 47));
}

TEST_F(Rendering, EmptyLayerListGivesBackgroundAndProfile) {
    job.addPad("top", 5e6, 5e6, "r2000");
    view->setShownLayers({});
    redraw();
    const QSize s = view->compositionSize();
    const unsigned char* b = view->compositionBuffer();
    int profilePixels = 0;
    for (int i = 0; i < s.width() * s.height(); ++i) {
        const bool painted = b[i * 4] || b[i * 4 + 1] || b[i * 4 + 2];
        if (!painted) continue;
        ++profilePixels;
        EXPECT_EQ(b[i * 4], 255);  // only the white profile outline
        EXPECT_EQ(b[i * 4 + 1], 255);
    }
    EXPECT_GT(profilePixels, 3 * kSize);
    EXPECT_LT(profilePixels, 5 * kSize);
    EXPECT_TRUE(view->hasProfile());
    EXPECT_EQ(composedAt(5e6, 5e6).rgb(), qRgb(0, 0, 0));
}

TEST_F(Rendering, HighlightOfAHiddenLayerDrawsNothing) {
    job.addPad("hidden", 5e6, 5e6, "r2000");
    job.addPad("top", 15e6, 15e6, "r2000");
    TOLVA::API::select_features("render_job", "pcb", "hidden");
    TOLVA::API::select_features("render_job", "pcb", "top");
    view->setShownLayers({{"top", 2}});
    view->setHighlightLayers({"hidden"}, {});
    redraw();
    EXPECT_EQ(composedAt(5e6, 5e6).rgb(), qRgb(0, 0, 0));
    const QColor plain = composedAt(15e6, 15e6);
    EXPECT_EQ(plain.rgb(), qRgb(0, 0, 255));
    view->setHighlightLayers({"hidden"}, {"top"});
    redraw();
    EXPECT_NE(composedAt(15e6, 15e6).rgb(), plain.rgb());  // the shown layer's selection is highlighted
}

TEST_F(Rendering, UnknownLayerStopsTheCompositionAndIsReported) {
    job.addPad("bot", 5e6, 5e6, "r2000");
    job.addPad("top", 15e6, 15e6, "r2000");
    view->setShownLayers({{"bot", 1}, {"nonexistent", 0}, {"top", 2}});
    LogCapture logs;
    redraw();
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].title, "Information");
    EXPECT_TRUE(prompts.requests()[0].text.contains("nonexistent")) << prompts.requests()[0].text.toStdString();
    EXPECT_EQ(logs.count(google::GLOG_ERROR, kFailurePositionLabel), 1);
    EXPECT_EQ(logs.count(google::GLOG_ERROR, kFailureDescriptionLabel), 1);
    // What was composed before the failure stays; nothing after it is drawn,
    // not even the profile.
    EXPECT_EQ(composedAt(5e6, 5e6).rgb(), qRgb(0, 255, 0));
    EXPECT_EQ(composedAt(15e6, 15e6).rgb(), qRgb(0, 0, 0));
    EXPECT_EQ(composedAt(0, 10e6).rgb(), qRgb(0, 0, 0));
}

TEST_F(Rendering, ReferenceLayersOfMissingJobsAreFilteredOut) {
    ScopedJob other("render_ref", 2e7, 2e7, {"ref"});
    other.addPad("ref", 5e6, 5e6, "r2000");
    TOLVA::UIAPI::setReferenceLayerInfo("render_job", "pcb",
                                        {{"render_ref", "pcb", "ref", 2}, {"render_ref", "nostep", "ref", 0},
                                         {"nojob", "pcb", "ref", 0}, {"render_ref", "pcb", "nolayer", 0}});
    view->setShownLayers({});
    redraw();
    EXPECT_EQ(composedAt(5e6, 5e6).rgb(), qRgb(0, 0, 255));
    EXPECT_TRUE(prompts.requests().empty());
    TOLVA::UIAPI::setReferenceLayerInfo("render_job", "pcb", {});
}

TEST_F(Rendering, ResizeToTheCurrentCanvasSizeDoesNothing) {
    QResizeEvent same(QSize(kSize, kSize), QSize(kSize, kSize));
    QApplication::sendEvent(view, &same);  // the first resize fits the profile
    const double scale = view->scale();
    const QPointF centre = view->center();
    MessageRecorder messages;
    QApplication::sendEvent(view, &same);
    EXPECT_EQ(view->scale(), scale);
    EXPECT_EQ(view->center(), centre);
    EXPECT_TRUE(messages.entries().empty());
}

TEST_F(Rendering, GrowingTheWidgetKeepsTheBoardAreaInView) {
    host.show();
    QApplication::processEvents();
    const BoardBox before = view->transform().visibleBox();
    view->resize(2 * kSize, kSize);
    QApplication::processEvents();
    int w = 0, h = 0;
    TOLVA::API::get_Canvas_Size(w, h);
    EXPECT_EQ(w, 2 * kSize);
    EXPECT_EQ(h, kSize);
    EXPECT_EQ(view->compositionSize(), QSize(2 * kSize, kSize));
    const BoardBox after = view->transform().visibleBox();
    EXPECT_LE(after.minY, before.minY + 1);
    EXPECT_GE(after.maxY, before.maxY - 1);
}

// A size the kernel refuses is reported once; the view stays at the size it
// had, and its picture with it, however often the window asks again.
TEST_F(Rendering, ARefusedSizeKeepsTheLastGoodSizeAndIsReportedOnce) {
    job.addPad("top", 1e7, 1e7, "r2000");
    host.resize(kSize, kSize);
    host.show();
    QApplication::processEvents();
    redraw();
    const int painted = nonBackgroundPixels();
    ASSERT_GT(painted, 0);
    prompts.clear();
    view->resize(100000, 100000);
    QApplication::processEvents();
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_TRUE(prompts.texts().join(' ').contains(QStringLiteral("too large"))) << prompts.texts().join(' ').toStdString();
    EXPECT_EQ(view->size(), QSize(kSize, kSize));
    view->resize(50000, 70000);
    redraw();
    QApplication::processEvents();
    EXPECT_EQ(prompts.requests().size(), 1u) << "asked again";
    int w = 0, h = 0;
    TOLVA::API::get_Canvas_Size(w, h);
    EXPECT_EQ(QSize(w, h), QSize(kSize, kSize));
    EXPECT_EQ(view->compositionSize(), QSize(kSize, kSize));
    EXPECT_EQ(nonBackgroundPixels(), painted);
    view->resize(kSize / 2, kSize);
    QApplication::processEvents();
    EXPECT_EQ(view->compositionSize(), QSize(kSize / 2, kSize)) << "a smaller size is still taken";
}

TEST_F(Rendering, CanvasOfAnotherSizeIsNeverWrapped) {
    TOLVA::API::init_canvas(37, 11);
    view->refresh();
    int w = 0, h = 0;
    TOLVA::API::get_Canvas_Size(w, h);
    EXPECT_EQ(QSize(w, h), view->size());
    EXPECT_EQ(view->compositionSize(), view->size());
}

TEST_F(Rendering, ZeroSizeWidgetNeverCrashes) {
    view->resize(0, 0);
    redraw();
    QResizeEvent resize(QSize(0, 0), QSize(kSize, kSize));
    QApplication::sendEvent(view, &resize);
    EXPECT_TRUE(std::isfinite(view->scale()));
    EXPECT_TRUE(std::isfinite(view->center().x()));
    view->resize(kSize, kSize);
    redraw();
    EXPECT_EQ(view->compositionSize(), QSize(kSize, kSize));
}

// A window is laid out, and a snapshot sized, before any job opens: those
// draws show the empty canvas and are not failures.
TEST_F(Rendering, DrawingBeforeAJobOpensReportsNothing) {
    QWidget otherHost;
    ViewWidget* empty = static_cast<ViewWidget*>(GetViewInstance(&otherHost));
    LogCapture logs;
    prompts.clear();
    empty->resize(120, 80);
    empty->draw();
    empty->refresh();
    EXPECT_TRUE(prompts.requests().empty());
    EXPECT_EQ(logs.count(google::GLOG_ERROR, kFailureDescriptionLabel), 0);
    EXPECT_EQ(empty->compositionSize(), QSize(120, 80));
    delete empty;
}

TEST_F(Rendering, KernelFailureInDrawIsReportedAndTheViewStays) {
    PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, 20001637);
    bind.data = {{QStringLiteral("JobName"), "render_job"}, {QStringLiteral("Step"), "nostep"}};
    LogCapture logs;
    prompts.clear();
    recMsgFromManager(view, &bind);
    ASSERT_FALSE(prompts.requests().empty());
    EXPECT_EQ(prompts.requests()[0].title, "Information");
    EXPECT_GE(logs.count(google::GLOG_ERROR, kFailureDescriptionLabel), 1);
}

// ---- the overlay pass --------------------------------------------------------

namespace {
QImage grabOverlays(ViewWidget* view) { return view->grab().toImage().convertToFormat(QImage::Format_RGB32); }

int countGray(const QImage& img, const QRect& area) {
    int n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) n += img.pixel(x, y) == QColor(Qt::gray).rgb();
    return n;
}
}  // namespace

TEST_F(Rendering, CrossMarkerIsAThirteenPixelCrossInANinePixelSquare) {
    view->setShownLayers({});
    redraw();
    const QPointF centre(1e7, 1e7);
    int cx = 0, cy = 0;
    view->db2view(centre.x(), centre.y(), cx, cy);
    view->setCrossPoint(centre);
    const QImage img = grabOverlays(view);
    const QColor gray(Qt::gray);
    for (int d = -6; d <= 6; ++d) {
        EXPECT_EQ(img.pixel(cx + d, cy), gray.rgb()) << d;
        EXPECT_EQ(img.pixel(cx, cy + d), gray.rgb()) << d;
    }
    EXPECT_NE(img.pixel(cx + 7, cy), gray.rgb());
    EXPECT_NE(img.pixel(cx, cy - 7), gray.rgb());
    for (int d = -4; d <= 4; ++d) {
        EXPECT_EQ(img.pixel(cx + d, cy - 4), gray.rgb()) << d;
        EXPECT_EQ(img.pixel(cx + 4, cy + d), gray.rgb()) << d;
    }
    EXPECT_NE(img.pixel(cx + 5, cy - 5), gray.rgb());
    // 13 + 13 - 1 for the cross, 4 * 8 for the square, less the 4 pixels where they cross.
    EXPECT_EQ(countGray(img, QRect(cx - 8, cy - 8, 17, 17)), 25 + 32 - 4);
}

TEST_F(Rendering, NullMarkerAndUnsetCheckPointDrawNothing) {
    view->setShownLayers({});
    redraw();
    const QImage bare = grabOverlays(view);
    view->setCrossPoint(QPointF());
    check_points point;
    point.index = -1;
    point.position = QPointF(1e7, 1e7);
    view->setCurrentCheckPoint(point);
    EXPECT_EQ(grabOverlays(view), bare);
    point.index = 0;
    view->setCurrentCheckPoint(point);
    EXPECT_NE(grabOverlays(view), bare);
}

// A check point over an area shows the area's outline in its colour.
TEST_F(Rendering, ACheckPointWithABoxOutlinesTheBox) {
    view->setShownLayers({});
    redraw();
    check_points point;
    point.index = 0;
    point.position = QPointF(1e7, 1e7);
    point.box = QRectF(QPointF(4e6, 4e6), QPointF(8e6, 6e6));
    point.color = QColor(0, 255, 255);
    view->setCurrentCheckPoint(point);
    const QImage img = grabOverlays(view);
    int left = 0, right = 0, x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    view->db2view(4e6, 5e6, x0, y0);
    view->db2view(8e6, 5e6, x1, y1);
    for (int dx = -1; dx <= 1; ++dx) {
        left += img.pixel(x0 + dx, y0) == point.color.rgb();
        right += img.pixel(x1 + dx, y1) == point.color.rgb();
    }
    EXPECT_GT(left, 0) << "the box's left side";
    EXPECT_GT(right, 0) << "the box's right side";
}

TEST_F(Rendering, IdlePaintStillRequestsTheNextPaint) {
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    // Count paints for a while: the loop keeps going with nothing to draw, at
    // most about twenty a second.
    struct Counter : QObject {
        int paints = 0;
        bool eventFilter(QObject*, QEvent* e) override {
            paints += e->type() == QEvent::Paint;
            return false;
        }
    } counter;
    view->installEventFilter(&counter);
    QTest::qWait(500);
    view->removeEventFilter(&counter);
    EXPECT_GE(counter.paints, 3);
    EXPECT_LE(counter.paints, 12);
}

// The overlays are painted in a fixed order, each over the ones before:
// polyline, check points, measurements, the cross marker, then the active
// tool. Five overlays cross the centre pixel; peeling them off from the top
// shows each one under the next.
TEST_F(Rendering, OverlaysArePaintedInTheirOrder) {
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    view->setShownLayers({});
    redraw();
    const QPoint centre(kSize / 2, kSize / 2);
    const QPointF p = view->toBoard(centre);
    const double unit = 1 / view->scale();
    view->setPolyline({p - QPointF(0, 30 * unit), p + QPointF(0, 30 * unit)});
    check_points mark;
    mark.index = 0;
    mark.position = p;
    mark.color = QColor(255, 0, 0);
    view->setCheckPoints({mark});
    MeasurementShape ruler;
    ruler.kind = MeasurementShape::Line;
    ruler.points = {p - QPointF(30 * unit, 0), p + QPointF(30 * unit, 0)};
    view->setCurrentMeasurement(ruler);
    view->setCrossPoint(p);
    PluginMetaData polygon(PluginNames::ToolbarEdit, PluginNames::GraphicView, 20000223);
    recMsgFromManager(view, &polygon);
    for (const QPoint click : {centre - QPoint(30, 0), centre + QPoint(30, 0)}) {
        QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, click);
        QTest::qWait(400);
    }
    const auto centreColour = [&] { return QColor(grabOverlays(view).pixel(centre)); };
    EXPECT_EQ(centreColour(), QColor(Qt::white)) << "the tool paints last";
    view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
    EXPECT_EQ(centreColour(), QColor(Qt::gray)) << "the cross marker over the measurement";
    view->setCrossPoint(QPointF());
    EXPECT_EQ(centreColour(), QColor(255, 255, 0)) << "the measurement over the check points";
    view->setCurrentMeasurement(MeasurementShape());
    EXPECT_EQ(centreColour(), QColor(255, 0, 0)) << "the check points over the polyline";
    view->setCheckPoints({});
    EXPECT_EQ(centreColour(), QColor(Qt::white)) << "the polyline";
    view->setPolyline({});
    EXPECT_EQ(centreColour(), QColor(Qt::black));
}

// The drawing helpers the rout overlay lends to the tools: a line and an arc
// in the shared width mode (1: centre lines only, 0: as wide as given).
TEST_F(Rendering, LinesAndArcsByWidthModeFollowTheSharedMode) {
    const auto thickness = [](const QImage& img, int x) {
        int n = 0;
        for (int y = 0; y < img.height(); ++y) n += QColor(img.pixel(x, y)) == QColor(Qt::white);
        return n;
    };
    // Across the line's middle: filled, all of the width; centre lines, one
    // pixel; outlined, its two edges, unless the band is too thin for an
    // outline to leave anything inside (then it is drawn filled).
    struct Case {
        int mode, width, across;
    };
    for (const Case& c : {Case{0, 9, 9}, Case{1, 9, 1}, Case{2, 9, 2}, Case{2, 3, 3}}) {
        TOLVA::UIAPI::setWidth(&host, c.mode);
        QImage img(100, 100, QImage::Format_RGB32);
        img.fill(Qt::black);
        QPainter painter(&img);
        painter.setPen(QPen(Qt::white));
        QLineF line(10, 50, 90, 50);
        view->Drawline_by_mode(painter, c.width, line, Qt::FlatCap);
        painter.end();
        EXPECT_EQ(thickness(img, 50), c.across) << c.mode << " " << c.width;
    }
    TOLVA::UIAPI::setWidth(&host, 0);
    QImage img(100, 100, QImage::Format_RGB32);
    img.fill(Qt::black);
    QPainter painter(&img);
    painter.setPen(QPen(Qt::white));
    QRectF rect;
    double start = 0, span = 0;
    // The view shows the board's up as up, so a board-clockwise arc turns
    // clockwise on the screen too: a quarter about (50, 50) from the top to
    // the right (Qt's angles count counter-clockwise, so the span is negative).
    view->Drawarc_by_mode(painter, true, QPointF(50, 20), QPointF(80, 50), QPointF(50, 50), 3, rect, start, span);
    painter.end();
    EXPECT_EQ(rect, QRectF(20, 20, 60, 60));
    EXPECT_DOUBLE_EQ(start, 90);
    EXPECT_DOUBLE_EQ(span, -90);
    EXPECT_EQ(QColor(img.pixel(71, 28)), QColor(Qt::white));  // on the quarter between the ends
    EXPECT_EQ(QColor(img.pixel(28, 71)), QColor(Qt::black));  // the opposite quarter stays clear
    // The arc stops at its ends: on the circle 8 degrees past either end
    // (beyond the pen's round cap) nothing is drawn.
    EXPECT_EQ(QColor(img.pixel(46, 20)), QColor(Qt::black));  // 98 degrees
    EXPECT_EQ(QColor(img.pixel(80, 54)), QColor(Qt::black));  // -8 degrees
}

// Where draw() says its time went adds up to most of the time it took on a
// board whose layers dominate the work.
TEST_F(Rendering, DrawTimingsAccountForTheDraw) {
    for (int i = 0; i < 4000; ++i) job.addPad("top", 1e6 + (i % 60) * 3e5, 1e6 + (i / 60) * 2.5e5, "r200");
    view->setShownLayers({{"top", 0}, {"bot", 1}, {"top", 2}});
    view->draw();
    QElapsedTimer clock;
    clock.start();
    view->draw();
    const double elapsedMs = clock.nsecsElapsed() * 1e-6;
    const ViewWidget::DrawTimings t = view->lastDrawTimings();
    EXPECT_GT(t.kernelMs, 0);
    EXPECT_GT(t.blendMs, 0);
    EXPECT_LE(t.kernelMs + t.blendMs, elapsedMs);
    EXPECT_GE(t.kernelMs + t.blendMs, 0.5 * elapsedMs);
}
