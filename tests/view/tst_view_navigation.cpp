// Every navigation of the view, through the real plug-in and kernel: the
// view state it leaves, and the redraw tail it ends with (the picture
// recomposed, shown as the background, and one step box to the job list).
#include <gtest/gtest.h>

#include <QImage>
#include <QTest>
#include <QWheelEvent>
#include <cmath>
#include <functional>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "core/navigation.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr int kW = 400, kH = 300;
constexpr double kL = 4e7, kWd = 3e7;  // the profile: 40 x 30 mm from the origin

struct State {
    double scale, cx, cy;
    int angle;
};

class ViewNavigation : public ::testing::Test {
protected:
    void SetUp() override {
        for (int i = 0; i < 8; ++i) job.addPad("top", 4e6 + 4e6 * i, 3e6 + 3e6 * i, "r3000");
        job.addLine("top", 0, 1.5e7, 4e7, 1.5e7, "r500");
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(kW, kH);
        testsupport::openJobInView(view, "nav_job", "pcb", {"top"});
    }
    void TearDown() override { delete view; }

    State state() const { return {view->scale(), view->center().x(), view->center().y(), view->angle()}; }
    QImage background() const {
        return view->palette().brush(QPalette::Window).texture().toImage().convertToFormat(QImage::Format_RGB32);
    }
    QImage composition() const {
        const QSize s = view->compositionSize();
        return QImage(view->compositionBuffer(), s.width(), s.height(), s.width() * 4, QImage::Format_RGBA8888)
            .convertToFormat(QImage::Format_RGB32);
    }

    // Runs `op` and checks the redraw tail: the picture is what a fresh draw
    // makes (the layer colour is changed first, so a picture left from
    // before cannot pass), the background shows it, and exactly one step
    // box describes the view the operation left.
    void expectRedrawTail(const char* name, const std::function<void()>& op) {
        SCOPED_TRACE(name);
        view->setShownLayers({{"top", ++m_colour % 9}});
        MessageRecorder messages;
        op();
        const QImage composed = composition();
        view->draw();
        EXPECT_TRUE(composed == composition()) << "the picture was not redrawn";
        EXPECT_TRUE(background() == composed) << "the picture was not shown";
        const auto boxes = messages.withCode(10000601);
        ASSERT_EQ(boxes.size(), 1u) << "step boxes sent";
        const PluginMetaData& box = boxes[0];
        EXPECT_EQ(box.receiver, PluginNames::JobList);
        EXPECT_EQ(box.data.size(), 8);
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        view->real_box(minX, minY, maxX, maxY);
        EXPECT_EQ(box.data.value("xmin").toDouble(), minX);
        EXPECT_EQ(box.data.value("ymin").toDouble(), minY);
        EXPECT_EQ(box.data.value("xmax").toDouble(), maxX);
        EXPECT_EQ(box.data.value("ymax").toDouble(), maxY);
        EXPECT_EQ(box.data.value("scale").toDouble(), view->scale());
        EXPECT_EQ(box.data.value("center_x").toDouble(), view->center().x());
        EXPECT_EQ(box.data.value("center_y").toDouble(), view->center().y());
        EXPECT_EQ(box.data.value("level").toInt(), int(std::lround(std::log2(view->scale() / 9e-07))));
    }
    // The step box of the last navigation, in board units.
    BoardBox visible() {
        BoardBox b{};
        view->real_box(b.minX, b.minY, b.maxX, b.maxY);
        return b;
    }

    ScopedJob job{"nav_job", kL, kWd, {"top"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
    int m_colour = 0;
};

}  // namespace

TEST_F(ViewNavigation, ScaleStepsKeepTheCentre) {
    view->specifyfactordraw(1, 1e5);  // 1e-5 px per unit, well inside the limits
    const State s0 = state();
    expectRedrawTail("scaleUp", [&] { view->scaleUp(); });
    EXPECT_DOUBLE_EQ(view->scale(), 2 * s0.scale);
    expectRedrawTail("scaleDown", [&] { view->scaleDown(); });
    expectRedrawTail("scaleDown", [&] { view->scaleDown(); });
    EXPECT_DOUBLE_EQ(view->scale(), s0.scale / 2);
    EXPECT_EQ(view->center(), QPointF(s0.cx, s0.cy));
    expectRedrawTail("specifyfactordraw", [&] { view->specifyfactordraw(3, 1e6); });
    EXPECT_DOUBLE_EQ(view->scale(), 3e-6);
    EXPECT_EQ(view->center(), QPointF(s0.cx, s0.cy));
    // At the limits the scale stays clamped and the view still redraws.
    view->specifyfactordraw(0.05, 1);
    expectRedrawTail("scaleUp at the limit", [&] { view->scaleUp(); });
    EXPECT_DOUBLE_EQ(view->scale(), 0.05);
    view->specifyfactordraw(9e-07, 1);
    expectRedrawTail("scaleDown at the limit", [&] { view->scaleDown(); });
    EXPECT_DOUBLE_EQ(view->scale(), 9e-07);
}

TEST_F(ViewNavigation, WheelZoomsKeepTheBoardPointUnderTheCursor) {
    const QPoint at(90, 230);
    for (bool up : {true, false, false}) {
        const double scale = view->scale();
        const QPointF before = view->toBoard(at);
        expectRedrawTail(up ? "wheelScaleUp" : "wheelScaleDown",
                         [&] { up ? view->wheelScaleUp(QPointF(at)) : view->wheelScaleDown(QPointF(at)); });
        EXPECT_DOUBLE_EQ(view->scale(), up ? scale * 2 : scale / 2);
        const QPointF after = view->toBoard(at);
        EXPECT_NEAR(after.x(), before.x(), 1 / view->scale());
        EXPECT_NEAR(after.y(), before.y(), 1 / view->scale());
    }
}

TEST_F(ViewNavigation, MoveCarriesThePictureWithTheDrag) {
    const QPoint from(100, 100);
    const QPointF board = view->toBoard(from);
    const double scale = view->scale();
    expectRedrawTail("move", [&] { view->move(37, -21); });
    const QPointF now = view->toBoard(from + QPoint(37, -21));
    EXPECT_NEAR(now.x(), board.x(), 1 / scale);
    EXPECT_NEAR(now.y(), board.y(), 1 / scale);
    EXPECT_EQ(view->scale(), scale);
}

TEST_F(ViewNavigation, CentreCoordinateCentresAtTheCurrentScale) {
    view->specifyfactordraw(1, 2e4);
    const double scale = view->scale();
    expectRedrawTail("centercoordinate", [&] { view->centercoordinate(3.3e7, 2.5e6); });
    EXPECT_EQ(view->scale(), scale);
    EXPECT_NEAR(view->center().x(), 3.3e7, 1);
    EXPECT_NEAR(view->center().y(), 2.5e6, 1);
    const BoardBox b = visible();
    EXPECT_NEAR(b.maxX - b.minX, kW / scale, 2);
    EXPECT_NEAR(b.maxY - b.minY, kH / scale, 2);
}

TEST_F(ViewNavigation, FitsShowTheBoxCentredAsEachOverloadCentresIt) {
    // Every fit lands where the navigation maths puts it, from the same start.
    struct Case {
        const char* name;
        std::function<void(ViewWidget&)> op;
        std::function<void(ViewTransform&)> expected;
    };
    const Case cases[] = {
        {"zoom2fit(box)",
         [](ViewWidget& v) {
             TOLVA::API::reply_box b{1000000, 2000000, 9000000, 4000000};
             v.zoom2fit(b);
         },
         [](ViewTransform& t) {
             TOLVA::API::reply_box b{1000000, 2000000, 9000000, 4000000};
             fitIntBox(t, b);
         }},
        {"zoom2fit(doubles)", [](ViewWidget& v) { v.zoom2fit(1e6, 2e6, 3e6, 9e6); },
         [](ViewTransform& t) { fitDoubleBox(t, 1e6, 2e6, 3e6, 9e6); }},
        {"areazoom", [](ViewWidget& v) { v.areazoom(1e6, 2e6, 3e6, 9e6); },
         [](ViewTransform& t) { areaZoom(t, 1e6, 2e6, 3e6, 9e6); }},
    };
    for (const Case& c : cases) {
        view->specifyfactordraw(1, 1e5);
        ViewTransform expected = view->transform();
        c.expected(expected);
        expectRedrawTail(c.name, [&] { c.op(*view); });
        EXPECT_DOUBLE_EQ(view->scale(), expected.scale()) << c.name;
        EXPECT_DOUBLE_EQ(view->center().x(), expected.centerX()) << c.name;
        EXPECT_DOUBLE_EQ(view->center().y(), expected.centerY()) << c.name;
    }
    // The box fills the widget along its limiting side: 8 mm across 400 px.
    TOLVA::API::reply_box b{1000000, 2000000, 9000000, 4000000};
    view->zoom2fit(b);
    EXPECT_DOUBLE_EQ(view->scale(), kW / 8e6);
    EXPECT_NEAR(view->center().x(), 5e6, 1);
    EXPECT_NEAR(view->center().y(), 3e6, 1);
}

TEST_F(ViewNavigation, ZoomToBoxAndRotationKeepTheViewState) {
    const State s0 = state();
    expectRedrawTail("zoom2box", [&] { view->zoom2box(0, 0, 1e6, 1e6); });
    EXPECT_EQ(view->scale(), s0.scale);
    EXPECT_EQ(view->center(), QPointF(s0.cx, s0.cy));
    for (int angle : {90, 180, 270, 0}) {
        expectRedrawTail("doRotate", [&] { view->doRotate(); });
        EXPECT_EQ(view->angle(), angle);
        EXPECT_EQ(view->scale(), s0.scale);
        EXPECT_EQ(view->center(), QPointF(s0.cx, s0.cy));
    }
}

TEST_F(ViewNavigation, RedoZoomReturnsToTheLastRecordedArea) {
    view->specifyfactordraw(1, 5e4);
    view->centercoordinate(1e7, 1e7);
    view->pushZoomHistory();
    const BoardBox recorded = visible();
    view->centercoordinate(3e7, 2e7);
    view->scaleUp();
    expectRedrawTail("redoZoomin", [&] { view->redoZoomin(); });
    EXPECT_TRUE(view->getZoomINStack()->isEmpty());
    const BoardBox now = visible();
    // The recorded area fills the view again (the double fit's own centring
    // may shift it by a fraction of a pixel).
    EXPECT_NEAR(now.maxX - now.minX, recorded.maxX - recorded.minX, 2 / view->scale());
    EXPECT_NEAR((now.minX + now.maxX) / 2, (recorded.minX + recorded.maxX) / 2, 2 / view->scale());
    EXPECT_NEAR((now.minY + now.maxY) / 2, (recorded.minY + recorded.maxY) / 2, 2 / view->scale());
    MessageRecorder messages;
    view->redoZoomin();  // empty history: nothing happens
    EXPECT_TRUE(messages.entries().empty());
}

TEST_F(ViewNavigation, SnakeJumpsGoToTheCornersAndMiddleWithMargins) {
    view->specifyfactordraw(1, 2e4);
    const double scale = view->scale();
    const double viewW = kW / scale;
    expectRedrawTail("snakeleftbottomdraw", [&] { view->snakeleftbottomdraw(); });
    BoardBox b = visible();
    EXPECT_NEAR(b.minX, -0.2 * kL, 2 / scale);
    EXPECT_NEAR(b.minY, -0.2 * kWd, 2 / scale);
    EXPECT_NEAR(b.maxX - b.minX, viewW, 2 / scale);
    expectRedrawTail("snakerighttopdraw", [&] { view->snakerighttopdraw(); });
    b = visible();
    EXPECT_NEAR(b.maxX, 1.2 * kL, 2 / scale);
    EXPECT_NEAR(b.maxY, 1.2 * kWd, 2 / scale);
    expectRedrawTail("snakemiddledraw", [&] { view->snakemiddledraw(); });
    EXPECT_NEAR(view->center().x(), kL / 2, 1);
    EXPECT_NEAR(view->center().y(), kWd / 2, 1);
    EXPECT_EQ(view->scale(), scale);
}

TEST_F(ViewNavigation, ProfileExtentsAndTheirFailure) {
    EXPECT_EQ(view->profileLenth(), kL);
    EXPECT_EQ(view->profileWidth(), kWd);
    EXPECT_TRUE(view->Graphic_view_init("nav_job", "pcb"));
    EXPECT_FALSE(view->Graphic_view_init("no_such_job", "pcb"));
    prompts.clear();
    EXPECT_EQ(view->profileLenth(), -1);
    EXPECT_EQ(view->profileWidth(), -1);
    EXPECT_EQ(prompts.requests().size(), 2u);  // each failure is shown
}

TEST_F(ViewNavigation, SnakeTourCoversTheProfileWithMargins) {
    view->specifyfactordraw(1, 1e5);  // a view of 40 x 30 mm: 2 columns and 2 rows over 56 x 42 mm
    const int rows = view->snake1();
    EXPECT_EQ(rows, 2);
    ASSERT_EQ(view->snakePoints().size(), 4);
    const double viewW = kW * 1e5;
    EXPECT_DOUBLE_EQ(view->snakePoints()[0].x(), viewW / 2 - 0.2 * kL);
    // Serpentine: the second row runs back.
    EXPECT_EQ(view->snakePoints()[2].x(), view->snakePoints()[1].x());
    EXPECT_EQ(view->snakePoints()[3].x(), view->snakePoints()[0].x());
}

// ---- through the input that an operator uses -------------------------------

TEST_F(ViewNavigation, InputNavigationsEndWithTheRedrawTail) {
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    expectRedrawTail("arrow key", [&] { QTest::keyClick(view, Qt::Key_Left); });
    expectRedrawTail("wheel with the normal tool", [&] {
        QWheelEvent e(QPointF(50, 60), QPointF(view->mapToGlobal(QPoint(50, 60))), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view, &e);
    });
    expectRedrawTail("middle drag with the normal tool", [&] {
        QTest::mousePress(view, Qt::MiddleButton, Qt::NoModifier, QPoint(100, 100));
        QTest::mouseRelease(view, Qt::MiddleButton, Qt::NoModifier, QPoint(140, 90));
    });
}

TEST_F(ViewNavigation, ZoomToolDragZoomsOntoTheDraggedArea) {
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    view->changeTool(Graphic_ViewTool::ZOOMIN_TOOL);
    const QPoint a(60, 40), b(60, 240);  // no horizontal motion: the drag does not pan
    const QPointF pa = view->toBoard(a), pb = view->toBoard(b);
    ViewTransform expected = view->transform();
    areaZoom(expected, std::min(pa.x(), pb.x()), std::min(pa.y(), pb.y()), std::max(pa.x(), pb.x()),
             std::max(pa.y(), pb.y()));
    expectRedrawTail("zoom tool release", [&] {
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, a);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, b);
    });
    EXPECT_DOUBLE_EQ(view->scale(), expected.scale());
    EXPECT_DOUBLE_EQ(view->center().x(), expected.centerX());
    EXPECT_DOUBLE_EQ(view->center().y(), expected.centerY());
}

// The first resize of a view bound to a job shows the profile with 15% of
// its size around it; the height limits in this wide widget.
TEST(FirstResize, ShowsTheProfileWithAMarginOfFifteenPercent) {
    ScopedJob job("resize_job", kL, kWd, {"top"});
    PromptRecorder prompts;
    QWidget host;
    host.resize(400, 200);
    auto* view = static_cast<ViewWidget*>(GetViewInstance(&host));
    view->resize(400, 200);
    testsupport::openJobInView(view, "resize_job", "pcb", {"top"});
    MessageRecorder messages;
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    const auto boxes = messages.withCode(10000601);
    ASSERT_FALSE(boxes.empty());
    const double unit = 1 / view->scale();
    EXPECT_DOUBLE_EQ(view->scale(), 200 / 3.9e7);
    EXPECT_NEAR(boxes.back().data.value("ymin").toDouble(), -0.15 * kWd, 2 * unit);
    EXPECT_NEAR(boxes.back().data.value("ymax").toDouble(), 1.15 * kWd, 2 * unit);
    EXPECT_NEAR(view->center().x(), kL / 2, 2 * unit);
    delete view;
}

// Without a job there is no profile to show: the first resize only gives the
// kernel's canvas the widget's size and keeps the view where it was.
TEST(FirstResize, WithoutAJobSizesTheCanvas) {
    PromptRecorder prompts;
    QWidget host;
    host.resize(320, 240);
    auto* view = static_cast<ViewWidget*>(GetViewInstance(&host));
    view->resize(320, 240);
    TOLVA::API::init_canvas(17, 9);
    host.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    int w = 0, h = 0;
    TOLVA::API::get_Canvas_Size(w, h);
    EXPECT_EQ(w, 320);
    EXPECT_EQ(h, 240);
    EXPECT_TRUE(std::isfinite(view->scale()));
    delete view;
}
