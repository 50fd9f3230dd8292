// Snapping, the ruler and the measure modes, driven as the operator drives
// them: mouse and key events on the real view, the real kernel answering,
// results observed through the real plug-in manager and in the real
// coordinate panel beside the view.
#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMouseEvent>
#include <QtMath>
#include <cmath>
#include <optional>

#include "../plugins/sibling_fixture.h"
#include "MeasureMessages.h"
#include "TOLVA_Measure.h"
#include "ViewTool/RulerTool.h"

using namespace siblings;
using TOLVA::GRAPHIC::Graphic_ViewTool;
using TOLVA::GRAPHIC::MeasurementShape;
using TOLVA::GRAPHIC::RulerTool;
using testsupport::MessageRecorder;
using testsupport::ScopedJob;
using T = Graphic_ViewTool;

namespace {

constexpr double kMm = 1e6;

// A 20 mm board: a 1 mm pad at (5, 5) on "top", a 1 mm pad at (8, 5) on
// "inner", two 0.2 mm lines crossing at (10, 5) and one from (14, 2) to
// (18, 2) on "top", in a 400 x 300 view beside the coordinate panel.
class Measure : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        panel = load(PluginNames::Coordinate);
        panel->setGeometry(450, 0, 400, 400);
        showHost();
        job.emplace("measure_job", 20 * kMm, 20 * kMm, std::vector<std::string>{"top", "inner"});
        job->addPad("top", 5 * kMm, 5 * kMm, "r1000");
        job->addPad("inner", 8 * kMm, 5 * kMm, "r1000");
        job->addLine("top", 10 * kMm, 2 * kMm, 10 * kMm, 8 * kMm, "r200");
        job->addLine("top", 8 * kMm, 5 * kMm, 12 * kMm, 5 * kMm, "r200");
        job->addLine("top", 14 * kMm, 2 * kMm, 18 * kMm, 2 * kMm, "r200");
        bind(job->name(), {"top", "inner"}, "top");
        view->zoom2fit(-1 * kMm, -1 * kMm, 21 * kMm, 21 * kMm);
        TOLVA::UIAPI::setSnapSize(&host, 5);
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }

    QPoint px(double xMm, double yMm) {
        int x = 0, y = 0;
        view->db2view(xMm * kMm, yMm * kMm, x, y);
        return {x, y};
    }
    void mouse(QEvent::Type type, const QPoint& at, Qt::MouseButton button, Qt::MouseButtons held) {
        QMouseEvent event(type, at, view->mapToGlobal(at), button, held, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    void press(const QPoint& at) { mouse(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton); }
    void moveTo(const QPoint& at, Qt::MouseButtons held = Qt::NoButton) {
        mouse(QEvent::MouseMove, at, Qt::NoButton, held);
    }
    void release(const QPoint& at) { mouse(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton); }
    void clickAt(const QPoint& at) {
        moveTo(at);
        press(at);
        release(at);
    }
    void drag(const QPoint& from, const QPoint& to) {
        moveTo(from);
        press(from);
        moveTo((from + to) / 2, Qt::LeftButton);
        moveTo(to, Qt::LeftButton);
        release(to);
    }
    void key(int k) {
        QKeyEvent event(QEvent::KeyPress, k, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    // A request as the tool bar sends it.
    void ask(qint32 code) { deliver(PluginNames::ToolbarEdit, PluginNames::GraphicView, code); }
    void snapMode(int mode) {
        static const qint32 codes[] = {20001653, 20001651, 20001649, 20001650, 20001652, 20001654, 20001676, 20001647};
        ask(codes[mode]);
        TOLVA::UIAPI::getCoordinate(&host).snap_on = mode != TOLVA::UIAPI::SNAP_OFF;
    }
    void unit(const char* name) {
        TOLVA::UIAPI::setUnitString(name);
        deliver(PluginNames::Coordinate, PluginNames::GraphicView, 20002200, {{"Unit", name}});
    }
    RulerTool* ruler() const { return qobject_cast<RulerTool*>(view->currentTool()); }
    QListWidget* list() { return child<QListWidget>(panel, "measurementList"); }
    QString notice() { return child<QLabel>(panel, "measureNotice")->text(); }
    static QVariantMap lastResult(const MessageRecorder& recorder) {
        const auto results = recorder.withCode(MeasureMessages::kResult);
        return results.empty() ? QVariantMap() : results.back().data;
    }
    int yellowPixelsNear(const QPoint& at, int radius = 2) {
        const QImage img = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
        int n = 0;
        for (int y = at.y() - radius; y <= at.y() + radius; ++y)
            for (int x = at.x() - radius; x <= at.x() + radius; ++x)
                n += img.rect().contains(x, y) && img.pixel(x, y) == qRgb(255, 255, 0);
        return n;
    }

    QWidget* panel = nullptr;
    std::optional<ScopedJob> job;
};

// ---- snapping ------------------------------------------------------------------------

struct SnapCase {
    const char* what;
    int mode;
    double cursorX, cursorY;                    // mm
    std::function<QPointF(const QPointF&)> expected;  // from the cursor's board point
};

TEST_F(Measure, EverySnapModeFindsItsPointUnderTheCursorAndOnThePress) {
    TOLVA::UIAPI::SnapGrid grid;
    grid.pitch_x = grid.pitch_y = 1 * kMm;
    grid.origin_x = grid.origin_y = 0.5 * kMm;
    ASSERT_TRUE(TOLVA::UIAPI::setSnapGrid(&host, grid));
    const auto at = [](double x, double y) { return [=](const QPointF&) { return QPointF(x * kMm, y * kMm); }; };
    const SnapCase cases[] = {
        {"centre of the pad", TOLVA::UIAPI::SNAP_CENTER, 5.15, 5.1, at(5, 5)},
        {"skeleton of the vertical line", TOLVA::UIAPI::SNAP_SKELETON, 10.1, 3.0,
         [](const QPointF& c) { return QPointF(10 * kMm, c.y()); }},
        {"edge of the pad", TOLVA::UIAPI::SNAP_EDGE, 5.65, 5.0,
         [](const QPointF& c) {
             const QPointF d = c - QPointF(5 * kMm, 5 * kMm);
             return QPointF(5 * kMm, 5 * kMm) + d * (0.5 * kMm / std::hypot(d.x(), d.y()));
         }},
        {"crossing of the two lines", TOLVA::UIAPI::SNAP_INTERSECTION, 10.0, 5.0, at(10, 5)},
        {"grid node", TOLVA::UIAPI::SNAP_GRID, 3.4, 7.4, at(3.5, 7.5)},
        {"midpoint of the lower line", TOLVA::UIAPI::SNAP_MIDPOINT, 16.15, 2.1, at(16, 2)},
        {"profile edge", TOLVA::UIAPI::SNAP_PROFILE, 0.15, 12.0, [](const QPointF& c) { return QPointF(0, c.y()); }},
        {"off: the cursor itself", TOLVA::UIAPI::SNAP_OFF, 5.15, 5.1, [](const QPointF& c) { return c; }},
    };
    view->changeTool(T::RULER_TOOL);
    for (const SnapCase& c : cases) {
        SCOPED_TRACE(c.what);
        snapMode(c.mode);
        const QPoint pixel = px(c.cursorX, c.cursorY);
        const QPointF cursor = view->toBoard(pixel);
        const QPointF want = c.expected(cursor);
        moveTo(pixel);
        if (c.mode == TOLVA::UIAPI::SNAP_OFF) {
            EXPECT_FALSE(view->hasSnapCandidate());
        } else {
            ASSERT_TRUE(view->hasSnapCandidate());
            EXPECT_NEAR(view->snapCandidate().x(), want.x(), 1);
            EXPECT_NEAR(view->snapCandidate().y(), want.y(), 1);
        }
        // The ruler starts where the snap put the point.
        MessageRecorder recorder;
        drag(pixel, pixel + QPoint(40, 0));
        const QVariantMap r = lastResult(recorder);
        ASSERT_FALSE(r.isEmpty());
        EXPECT_NEAR(r["X1"].toDouble(), want.x(), 1);
        EXPECT_NEAR(r["Y1"].toDouble(), want.y(), 1);
    }
}

TEST_F(Measure, TheCandidateIsMarkedInTheColourOfItsModeAndOnlyForPointTakingTools) {
    snapMode(TOLVA::UIAPI::SNAP_CENTER);
    view->changeTool(T::RULER_TOOL);
    moveTo(px(5.15, 5.1));
    ASSERT_TRUE(view->hasSnapCandidate());
    const QPoint c = px(5, 5);
    const QImage img = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(img.pixel(c.x() + 4, c.y()), qRgb(0, 255, 255)) << "the square's right side";
    EXPECT_EQ(img.pixel(c.x() - 4, c.y() + 2), qRgb(0, 255, 255)) << "the square's left side";
    EXPECT_EQ(img.pixel(c.x() + 1, c.y() + 4), qRgb(0, 255, 255)) << "the square's lower side";
    EXPECT_NE(img.pixel(c.x() + 5, c.y()), qRgb(0, 255, 255)) << "nine pixels wide";
    view->changeTool(T::NORMAL_TOOL);
    moveTo(px(5.15, 5.1));
    EXPECT_FALSE(view->hasSnapCandidate()) << "the normal tool takes no points";
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    view->changeTool(T::RULER_TOOL);
    moveTo(px(5.15, 5.1));
    EXPECT_FALSE(view->hasSnapCandidate()) << "snapping off";
}

TEST_F(Measure, ASnapGridWithoutAPositivePitchIsRefused) {
    TOLVA::UIAPI::SnapGrid grid;
    const TOLVA::UIAPI::SnapGrid before = TOLVA::UIAPI::getSnapGrid(&host);
    grid.pitch_x = 0;
    EXPECT_FALSE(TOLVA::UIAPI::setSnapGrid(&host, grid));
    grid.pitch_x = 1;
    grid.pitch_y = std::nan("");
    EXPECT_FALSE(TOLVA::UIAPI::setSnapGrid(&host, grid));
    EXPECT_EQ(TOLVA::UIAPI::getSnapGrid(&host).pitch_x, before.pitch_x);
}

TEST_F(Measure, AShownGridDrawsItsNodes) {
    TOLVA::UIAPI::SnapGrid grid;
    grid.pitch_x = grid.pitch_y = 2 * kMm;
    grid.origin_x = grid.origin_y = 1 * kMm;
    grid.shown = true;
    ASSERT_TRUE(TOLVA::UIAPI::setSnapGrid(&host, grid));
    const QPoint node = px(13, 15);  // an empty spot of the board
    const QImage img = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    EXPECT_EQ(img.pixel(node), qRgb(128, 128, 128));
    EXPECT_NE(img.pixel(px(14, 15)), qRgb(128, 128, 128)) << "between nodes";
}

// ---- the ruler -------------------------------------------------------------------------

// dx, dy, distance and angle of the drag in board units, in the read-out's format.
QString rulerLabel(const QPointF& a, const QPointF& b, bool mm) {
    const double f = mm ? 1e6 : 25.4e6;
    const int dec = mm ? 5 - 1 : 5;
    double angle = qRadiansToDegrees(std::atan2(b.y() - a.y(), b.x() - a.x()));
    if (angle < 0) angle += 360;
    return QStringLiteral("DX = %1  DY = %2  D = %3 %4  A = %5")
        .arg(QString::number((b.x() - a.x()) / f, 'f', dec), QString::number((b.y() - a.y()) / f, 'f', dec),
             QString::number(std::hypot(b.x() - a.x(), b.y() - a.y()) / f, 'f', dec), mm ? "mm" : "inch",
             QString::number(angle, 'f', 3) + QChar(0x00B0));
}

TEST_F(Measure, TheRulerLabelIsInBoardUnitsAtEveryUnitAndViewAngle) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    const QPoint from(120, 150), to(220, 90);  // right and up on the screen
    view->changeTool(T::RULER_TOOL);
    for (const char* u : {"MM", "Inch"}) {
        unit(u);
        for (int angle : {0, 90, 180, 270}) {
            SCOPED_TRACE(std::string(u) + " at " + std::to_string(angle));
            ASSERT_EQ(view->angle(), angle);
            MessageRecorder recorder;
            drag(from, to);
            const QPointF a = view->toBoard(from), b = view->toBoard(to);
            const MeasurementShape& shape = view->currentMeasurement();
            ASSERT_EQ(shape.kind, MeasurementShape::Ruler);
            EXPECT_EQ(shape.label, rulerLabel(a, b, std::string(u) == "MM"));
            const QVariantMap r = lastResult(recorder);
            EXPECT_DOUBLE_EQ(r["DX"].toDouble(), b.x() - a.x());
            EXPECT_DOUBLE_EQ(r["DY"].toDouble(), b.y() - a.y());
            EXPECT_EQ(r["Text"].toString(), shape.label);
            ASSERT_TRUE(r.contains("Mode") && r.contains("Angle"));
            EXPECT_EQ(r["Mode"].toInt(), MeasureMessages::PointToPoint);
            double direction = qRadiansToDegrees(std::atan2(b.y() - a.y(), b.x() - a.x()));
            if (direction < 0) direction += 360;
            EXPECT_NEAR(r["Angle"].toDouble(), direction, 1e-9);
            view->doRotate();
        }
    }
}

TEST_F(Measure, ClicksAfterTheFirstSegmentMakeAPolylineThatEnterFinishes) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    unit("MM");
    view->changeTool(T::RULER_TOOL);
    const QPoint p0(100, 200), p1(200, 200), p2(200, 120);
    MessageRecorder recorder;
    drag(p0, p1);
    clickAt(p2);
    ASSERT_EQ(recorder.withCode(MeasureMessages::kResult).size(), 1u) << "only the first segment so far";
    key(Qt::Key_Return);
    const auto results = recorder.withCode(MeasureMessages::kResult);
    ASSERT_EQ(results.size(), 2u);
    const QPointF a = view->toBoard(p0), b = view->toBoard(p1), c = view->toBoard(p2);
    const double total = QLineF(a, b).length() + QLineF(b, c).length();
    EXPECT_DOUBLE_EQ(results.back().data["Length"].toDouble(), total);
    EXPECT_EQ(view->currentMeasurement().points.size(), 3);
    EXPECT_TRUE(view->currentMeasurement().label.endsWith("(2 segments)"))
        << view->currentMeasurement().label.toStdString();
    EXPECT_TRUE(view->measurements().isEmpty()) << "the polyline completes the first segment's measurement";
    EXPECT_TRUE(ruler()->liveShape().isEmpty()) << "finished";
    // The next press starts a new ruler; the finished one joins the list.
    drag(p2, p0);
    EXPECT_EQ(view->measurements().size(), 1);
}

TEST_F(Measure, AMeasurementStaysOnItsBoardPositionThroughPanAndZoom) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    view->changeTool(T::RULER_TOOL);
    drag(px(3, 12), px(15, 12));
    const QPointF mid = (view->currentMeasurement().points[0] + view->currentMeasurement().points[1]) / 2;
    const auto midPixel = [&] {
        int x = 0, y = 0;
        view->db2view(mid.x(), mid.y(), x, y);
        return QPoint(x, y);
    };
    const QPoint before = midPixel();
    EXPECT_GT(yellowPixelsNear(before), 0);
    view->move(37, -23);
    view->scaleUp();
    const QPoint after = midPixel();
    ASSERT_GT(QLineF(before, after).length(), 10) << "the view did move";
    EXPECT_GT(yellowPixelsNear(after), 0) << "drawn where its board position now is";
    EXPECT_EQ(yellowPixelsNear(before, 0), 0) << "and no longer where it was";
}

// A label that would leave the picture on the right is drawn on the left of
// its point instead.
TEST_F(Measure, ALabelNearTheRightEdgeStaysInThePicture) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    view->changeTool(T::RULER_TOOL);
    const QPoint end(view->width() - 20, 150);
    drag(QPoint(view->width() - 120, 150), end);
    const QImage img = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    int leftOfEnd = 0;
    for (int y = 120; y < 142; ++y)  // above the longest tick
        for (int x = 0; x < end.x() - 5; ++x) leftOfEnd += img.pixel(x, y) == qRgb(255, 255, 0);
    EXPECT_GT(leftOfEnd, 20) << "the text, above the ruler and left of its end";
}

TEST_F(Measure, EscapeDropsTheGestureAndThenTheListAndATooLSwitchLeavesNothingHalfDrawn) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    view->changeTool(T::RULER_TOOL);
    drag(px(2, 15), px(6, 15));  // one finished measurement
    key(Qt::Key_Return);
    clickAt(px(2, 17));            // a new ruler waiting for its second point
    moveTo(px(12, 17));
    ASSERT_FALSE(ruler()->liveShape().isEmpty());
    EXPECT_GT(yellowPixelsNear(px(8, 17)), 0) << "the rubber band follows the cursor";
    key(Qt::Key_Escape);
    EXPECT_TRUE(ruler()->liveShape().isEmpty());
    EXPECT_EQ(yellowPixelsNear(px(8, 17)), 0);
    EXPECT_FALSE(view->currentMeasurement().isEmpty()) << "the finished one stays";
    key(Qt::Key_Escape);
    EXPECT_TRUE(view->currentMeasurement().isEmpty()) << "a second Escape clears the measurements";

    clickAt(px(2, 17));
    moveTo(px(12, 17));
    ASSERT_GT(yellowPixelsNear(px(8, 17)), 0);
    ask(20000202);  // the select tool, mid-gesture
    EXPECT_EQ(view->currentTool()->getType(), T::SELECT_TOOL);
    EXPECT_EQ(yellowPixelsNear(px(8, 17)), 0) << "nothing of the unfinished ruler remains";
    EXPECT_TRUE(view->currentMeasurement().isEmpty());
}

// ---- measure modes ----------------------------------------------------------------------

TEST_F(Measure, EdgeToEdgeAcrossLayersReachesTheCoordinatePanelExactly) {
    unit("MM");
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    ask(20000231);
    ASSERT_TRUE(ruler());
    EXPECT_EQ(ruler()->mode(), MeasureMessages::EdgeToEdge);
    MessageRecorder recorder;
    clickAt(px(5, 5));   // the pad on "top"
    clickAt(px(8, 5.2)); // the pad on "inner"
    const auto results = recorder.withCode(MeasureMessages::kResult);
    ASSERT_EQ(results.size(), 1u);
    const QVariantMap r = results.front().data;
    EXPECT_EQ(results.front().receiver, PluginNames::Coordinate);
    EXPECT_EQ(r["Mode"].toInt(), MeasureMessages::EdgeToEdge);
    EXPECT_DOUBLE_EQ(r["Distance"].toDouble(), 2 * kMm) << "3 mm between centres less two radii";
    EXPECT_DOUBLE_EQ(r["X1"].toDouble(), 5.5 * kMm);
    EXPECT_DOUBLE_EQ(r["X2"].toDouble(), 7.5 * kMm);
    EXPECT_EQ(r["Layer1"].toString(), "top");
    EXPECT_EQ(r["Layer2"].toString(), "inner");
    ASSERT_EQ(list()->count(), 1);
    EXPECT_EQ(list()->item(0)->text(), "1. Edge to edge: D = 2.0000 mm");
    // The pad to the vertical trace: 10 - 0.1 - 5.5.
    clickAt(px(5, 5));
    clickAt(px(10, 7));
    EXPECT_NEAR(lastResult(recorder)["Distance"].toDouble(), 4.4 * kMm, 1e-6);
    // The pad to the profile: its nearest side is x = 0.
    clickAt(px(5, 5));
    clickAt(px(0, 10));
    EXPECT_DOUBLE_EQ(lastResult(recorder)["Distance"].toDouble(), 4.5 * kMm);
    EXPECT_EQ(lastResult(recorder)["Layer2"].toString(), "profile");
    EXPECT_EQ(list()->count(), 3);
    EXPECT_EQ(view->measurements().size(), 2);
}

TEST_F(Measure, AShownLayerTheJobDoesNotHaveIsSkippedWhenPicking) {
    bind(job->name(), {"ghost", "top", "inner"}, "top");
    view->zoom2fit(-1 * kMm, -1 * kMm, 21 * kMm, 21 * kMm);
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    ask(20000231);
    testsupport::LogCapture logs;
    MessageRecorder recorder;
    clickAt(px(5, 5));
    clickAt(px(8, 5.2));
    EXPECT_DOUBLE_EQ(lastResult(recorder)["Distance"].toDouble(), 2 * kMm);
    EXPECT_TRUE(logs.contains("ghost"));
}

// On a copper pour the click means the pad it is on, not the pour around
// it, whichever layer comes first; one feature twice is no measurement.
TEST_F(Measure, ThePickIsTheSmallestFeatureUnderTheCursor) {
    job->addPad("top", 10 * kMm, 10 * kMm, "s19000");  // the pour, over both pads
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    ask(20000231);
    MessageRecorder recorder;
    clickAt(px(8, 5.3));  // the pad on "inner", under the pour on "top"
    clickAt(px(5, 5));  // the pad on "top"
    ASSERT_EQ(recorder.withCode(MeasureMessages::kResult).size(), 1u);
    EXPECT_DOUBLE_EQ(lastResult(recorder)["Distance"].toDouble(), 2 * kMm);
    EXPECT_EQ(lastResult(recorder)["Layer1"].toString(), "inner");
    clickAt(px(5, 5));
    clickAt(px(5.1, 5));
    EXPECT_EQ(recorder.withCode(MeasureMessages::kResult).size(), 1u);
    EXPECT_EQ(recorder.withCode(MeasureMessages::kNotice).size(), 1u);
    EXPECT_FALSE(notice().isEmpty());
}

TEST_F(Measure, TouchingFeaturesAreZeroApart) {
    job->addPad("inner", 6 * kMm, 5 * kMm, "r1000");  // touches the pad at (5, 5)
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    ask(20000231);
    MessageRecorder recorder;
    clickAt(px(4.8, 5));
    clickAt(px(6.3, 5));
    EXPECT_EQ(lastResult(recorder)["Distance"].toDouble(), 0.0);
}

TEST_F(Measure, NothingUnderTheCursorIsSaidAndChangesNothing) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    for (qint32 code : {20000231, 20000232, 20000233}) {
        SCOPED_TRACE(code);
        ask(code);
        MessageRecorder recorder;
        clickAt(px(15, 15));
        EXPECT_TRUE(recorder.withCode(MeasureMessages::kResult).empty());
        ASSERT_EQ(recorder.withCode(MeasureMessages::kNotice).size(), 1u);
        EXPECT_FALSE(notice().isEmpty());
        EXPECT_TRUE(ruler()->liveShape().isEmpty());
        EXPECT_EQ(list()->count(), 0);
        EXPECT_TRUE(view->currentMeasurement().isEmpty());
    }
}

TEST_F(Measure, CentreToCentreAlongAndAngle) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    unit("MM");
    // A 4 mm square surface with a 2 mm hole: perimeter 16 + 8, area 16 - 4.
    TOLVA::API::AddFeature(job->name(), ScopedJob::kStep, {"top"},
                           {{"top", TOLVA::API::GreateSurfaceString({{12 * kMm, 12 * kMm}, {16 * kMm, 12 * kMm},
                                                                     {16 * kMm, 16 * kMm}, {12 * kMm, 16 * kMm},
                                                                     {12 * kMm, 12 * kMm}, {13 * kMm, 13 * kMm},
                                                                     {15 * kMm, 13 * kMm}, {15 * kMm, 15 * kMm},
                                                                     {13 * kMm, 15 * kMm}},
                                                                    TOLVA::API::POL_POSITIVE, 0, true)}},
                           {}, false);
    MessageRecorder recorder;
    ask(20000232);
    clickAt(px(5.3, 5));
    clickAt(px(8, 4.8));
    QVariantMap r = lastResult(recorder);
    EXPECT_DOUBLE_EQ(r["Distance"].toDouble(), 3 * kMm);
    EXPECT_DOUBLE_EQ(r["DX"].toDouble(), 3 * kMm);
    EXPECT_DOUBLE_EQ(r["DY"].toDouble(), 0.0);
    EXPECT_EQ(r["Text"].toString(), view->currentMeasurement().label);
    EXPECT_EQ(r["Index1"].toInt(), 0) << "the first pad of \"top\"";
    EXPECT_EQ(r["Index2"].toInt(), 0) << "the pad of \"inner\"";
    // From the pad to the lower line's midpoint (16, 2): down and to the right.
    clickAt(px(5.3, 5));
    clickAt(px(15, 2));
    r = lastResult(recorder);
    EXPECT_NEAR(r["Angle"].toDouble(), 360 - qRadiansToDegrees(std::atan2(3.0, 11.0)), 1e-9);
    EXPECT_EQ(r["Index2"].toInt(), 3);

    ask(20000233);
    clickAt(px(12.3, 14));
    r = lastResult(recorder);
    EXPECT_EQ(r["Mode"].toInt(), MeasureMessages::Along);
    EXPECT_DOUBLE_EQ(r["Perimeter"].toDouble(), 24 * kMm);
    EXPECT_DOUBLE_EQ(r["Area"].toDouble(), 12 * kMm * kMm);
    // A pad has no length: said, and nothing recorded.
    recorder.clear();
    clickAt(px(5, 5));
    EXPECT_TRUE(recorder.withCode(MeasureMessages::kResult).empty());
    EXPECT_EQ(recorder.withCode(MeasureMessages::kNotice).size(), 1u);
    // A chain of the lower line and the vertical trace, finished by a double click.
    clickAt(px(15, 2));
    clickAt(px(10, 7));
    testsupport::doubleClick(view, Qt::LeftButton, px(10, 7));
    r = lastResult(recorder);
    EXPECT_DOUBLE_EQ(r["Length"].toDouble(), 10 * kMm) << "4 + 6, each feature once";
    EXPECT_EQ(r["Text"].toString(), "L = 10.0000 mm  (2 features)");
    clickAt(px(15, 2));
    key(Qt::Key_Return);
    EXPECT_EQ(lastResult(recorder)["Text"].toString(), "L = 4.0000 mm") << "one line is no chain";

    ask(20000234);
    clickAt(px(10, 7));   // the vertical trace
    clickAt(px(15, 2));   // the lower line
    r = lastResult(recorder);
    EXPECT_DOUBLE_EQ(r["Angle"].toDouble(), 90.0);
    // Three points on empty board: the angle at the second.
    clickAt(px(2, 18));
    clickAt(px(2, 12));
    clickAt(px(8, 18));
    r = lastResult(recorder);
    EXPECT_NEAR(r["Angle"].toDouble(), 45.0, 0.5);
    EXPECT_NEAR(r["Y1"].toDouble(), 12 * kMm, 0.1 * kMm) << "the vertex is the second point";
}

TEST_F(Measure, AKernelRefusalIsSaidInTheReadoutAndDropsTheGesture) {
    job->addLine("top", 3 * kMm, 15 * kMm, 3 * kMm, 15 * kMm, "r200");  // no direction
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    ask(20000234);
    MessageRecorder recorder;
    clickAt(px(10, 7));
    clickAt(px(3, 15));
    EXPECT_TRUE(recorder.withCode(MeasureMessages::kResult).empty());
    ASSERT_EQ(recorder.withCode(MeasureMessages::kNotice).size(), 1u);
    EXPECT_TRUE(notice().startsWith("Cannot measure: ")) << notice().toStdString();
    EXPECT_TRUE(ruler()->liveShape().isEmpty());
}

TEST_F(Measure, AnotherModeReconfiguresAndTheSameModeSwitchesTheToolOff) {
    ask(20000231);
    RulerTool* tool = ruler();
    ASSERT_TRUE(tool);
    ask(20000234);
    EXPECT_EQ(ruler(), tool) << "the same tool, re-configured";
    EXPECT_EQ(tool->mode(), MeasureMessages::Angle);
    ask(20000234);
    EXPECT_EQ(view->currentTool()->getType(), T::NORMAL_TOOL);
}

TEST_F(Measure, TheListCopiesAsTextAndRefusesMalformedResults) {
    auto result = [this](const QVariantMap& data) {
        deliver(PluginNames::GraphicView, PluginNames::Coordinate, MeasureMessages::kResult, data);
    };
    result({{"Mode", 1}, {"Text", "D = 1.0000 mm"}});
    const QVariantMap malformed[] = {
        {{"Mode", 1}},                          // no text
        {{"Mode", 9}, {"Text", "?"}},           // past the last mode
        {{"Mode", 5}, {"Text", "?"}},           // one past it
        {{"Mode", -1}, {"Text", "?"}},          // before the first
        {{"Mode", "edge"}, {"Text", "?"}},      // not a number
        {{"Text", "?"}},                        // no mode
    };
    for (const QVariantMap& bad : malformed) {
        SCOPED_TRACE(bad.keys().join(",").toStdString());
        child<QLabel>(panel, "measureNotice")->clear();
        testsupport::LogCapture logs;
        result(bad);
        EXPECT_EQ(list()->count(), 1);
        EXPECT_FALSE(notice().isEmpty()) << "the refusal is shown";
        EXPECT_TRUE(logs.contains("refused"));
    }
    result({{"Mode", 4}, {"Text", "A = 90.000"}});
    ASSERT_EQ(list()->count(), 2);
    QTest::mouseClick(child<QPushButton>(panel, "copyMeasurements"), Qt::LeftButton);
    EXPECT_EQ(QApplication::clipboard()->text(), "1. Edge to edge: D = 1.0000 mm\n2. Angle: A = 90.000");
    result(malformed[0]);
    ASSERT_FALSE(notice().isEmpty());
    QTest::mouseClick(child<QPushButton>(panel, "clearMeasurements"), Qt::LeftButton);
    EXPECT_EQ(list()->count(), 0);
    EXPECT_TRUE(notice().isEmpty()) << "the last refusal goes with the list";
}

// The panel's Clear takes the measurements off the board as well.
TEST_F(Measure, ClearingThePanelsListClearsTheBoard) {
    unit("MM");
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    ask(20000231);
    for (int i = 0; i < 2; ++i) {
        clickAt(px(5, 5));
        clickAt(px(8, 5.2));
    }
    ASSERT_EQ(list()->count(), 2);
    ASSERT_FALSE(view->currentMeasurement().isEmpty());
    ASSERT_EQ(view->measurements().size(), 1);
    MessageRecorder recorder;
    QTest::mouseClick(child<QPushButton>(panel, "clearMeasurements"), Qt::LeftButton);
    EXPECT_EQ(recorder.withCode(MeasureMessages::kClear).size(), 1u);
    EXPECT_EQ(list()->count(), 0);
    EXPECT_TRUE(view->currentMeasurement().isEmpty());
    EXPECT_TRUE(view->measurements().isEmpty());
}

TEST_F(Measure, TheToolBarShowsAndHidesTheSnapGrid) {
    QWidget* toolbar = load(PluginNames::ToolbarEdit);
    ASSERT_TRUE(toolbar);
    QAction* grid = action(toolbar, "snapGrid");
    ASSERT_TRUE(grid);
    const QPoint node = px(1, 1);  // the default grid: every millimetre from the datum
    grid->trigger();
    EXPECT_TRUE(TOLVA::UIAPI::getSnapGrid(&host).shown);
    // 1 mm is 13.6 pixels here: drawn.
    EXPECT_EQ(view->grab().toImage().convertToFormat(QImage::Format_RGB32).pixel(node), qRgb(128, 128, 128));
    grid->trigger();
    EXPECT_FALSE(TOLVA::UIAPI::getSnapGrid(&host).shown);
    EXPECT_NE(view->grab().toImage().convertToFormat(QImage::Format_RGB32).pixel(node), qRgb(128, 128, 128));
}

TEST_F(Measure, TheToolBarReachesEveryMeasureMode) {
    QWidget* toolbar = load(PluginNames::ToolbarEdit);
    ASSERT_TRUE(toolbar);
    const std::pair<const char*, int> buttons[] = {
        {"measure", MeasureMessages::PointToPoint}, {"measureEdge", MeasureMessages::EdgeToEdge},
        {"measureCenter", MeasureMessages::CenterToCenter}, {"measureAlong", MeasureMessages::Along},
        {"measureAngle", MeasureMessages::Angle}};
    for (const auto& [name, mode] : buttons) {
        SCOPED_TRACE(name);
        action(toolbar, name)->trigger();
        ASSERT_TRUE(ruler());
        EXPECT_EQ(ruler()->mode(), mode);
    }
}

TEST_F(Measure, TheLiveRulerFollowsTheDragThenWaitsForTheNextVertex) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    view->changeTool(T::RULER_TOOL);
    const QPoint a(100, 200), b(180, 200), c(180, 120);
    moveTo(a);
    press(a);
    moveTo(b, Qt::LeftButton);
    MeasurementShape live = ruler()->liveShape();
    ASSERT_EQ(live.points.size(), 2) << "the pressed point and the cursor";
    EXPECT_EQ(live.points[0], view->toBoard(a));
    EXPECT_EQ(live.points[1], view->toBoard(b));
    release(b);
    moveTo(c);
    live = ruler()->liveShape();
    ASSERT_EQ(live.points.size(), 3) << "the segment and the rubber band to the cursor";
    EXPECT_EQ(live.points[2], view->toBoard(c));
    EXPECT_TRUE(live.label.startsWith("L = ")) << live.label.toStdString();
}

TEST_F(Measure, EveryMeasureCodeIsTheRulersOwnRequest) {
    for (qint32 code : {20000231, 20000230, 20000232, 20000233, 20000234}) {
        testsupport::LogCapture logs;
        ask(code);
        ASSERT_TRUE(ruler()) << code;
        EXPECT_EQ(ruler()->requestCode(), code);
        EXPECT_FALSE(logs.contains("type error")) << code;
    }
    // A request that is not a measure leaves the mode as it was.
    testsupport::LogCapture logs;
    PluginMetaData other(PluginNames::ToolbarEdit, PluginNames::GraphicView, 20000202);
    ruler()->setWorkParam(&other);
    EXPECT_EQ(ruler()->mode(), MeasureMessages::Angle);
    EXPECT_TRUE(logs.contains("RULER_TOOL: type error"));
}

TEST_F(Measure, ADoubleClickFinishesThePolylineAndEnterFinishesNoHalfPickedMeasure) {
    snapMode(TOLVA::UIAPI::SNAP_OFF);
    view->changeTool(T::RULER_TOOL);
    MessageRecorder recorder;
    drag(QPoint(100, 200), QPoint(200, 200));
    clickAt(QPoint(200, 150));
    testsupport::doubleClick(view, Qt::LeftButton, QPoint(250, 150));
    const auto results = recorder.withCode(MeasureMessages::kResult);
    ASSERT_EQ(results.size(), 2u);
    EXPECT_TRUE(results.back().data.contains("Length"));
    EXPECT_TRUE(ruler()->liveShape().isEmpty());
    // One feature of an edge-to-edge measure is not a measurement.
    ask(20000231);
    recorder.clear();
    clickAt(px(5, 5));
    key(Qt::Key_Return);
    EXPECT_TRUE(recorder.withCode(MeasureMessages::kResult).empty());
}

}  // namespace
