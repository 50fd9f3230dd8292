// Input routing: the mouse, wheel and keys reach the view and its active
// tool; the right button opens the menu after its delay; navigation by the
// tools keeps the board under the cursor.
#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <cmath>
#include <stdexcept>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using T = Graphic_ViewTool;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr int kWidth = 400;
constexpr int kHeight = 300;

class EventRouting : public ::testing::Test {
protected:
    void SetUp() override {
        host.resize(kWidth, kHeight);
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(kWidth, kHeight);
        testsupport::openJobInView(view, "routing_job", "pcb", {"top"});
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }
    void TearDown() override { delete view; }

    void deliver(qint32 code) {
        PluginMetaData msg(PluginNames::ToolbarEdit, PluginNames::GraphicView, code);
        recMsgFromManager(view, &msg);
    }
    void wheel(const QPoint& pos, int delta, Qt::ScrollPhase phase = Qt::NoScrollPhase) {
        QWheelEvent event(QPointF(pos), QPointF(view->mapToGlobal(pos)), QPoint(), QPoint(0, delta), Qt::NoButton,
                          Qt::NoModifier, phase, false);
        QApplication::sendEvent(view, &event);
    }
    void moveTo(const QPoint& pos, Qt::MouseButtons buttons = Qt::NoButton) {
        QMouseEvent event(QEvent::MouseMove, pos, view->mapToGlobal(pos), Qt::NoButton, buttons, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    QPointF boardAt(const QPoint& pos) { return view->toBoard(pos); }
    int type() const { return view->currentTool()->getType(); }
    bool finiteState() const {
        return std::isfinite(view->scale()) && std::isfinite(view->center().x()) && std::isfinite(view->center().y());
    }

    ScopedJob job{"routing_job", 4e7, 3e7, {"top"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

}  // namespace

// ---- navigation through the tools ---------------------------------------------

TEST_F(EventRouting, WheelZoomKeepsThePointUnderTheCursorAtEveryAngle) {
    for (int turn = 0; turn < 4; ++turn) {
        for (const QPoint pos : {QPoint(40, 250), QPoint(333, 20), QPoint(kWidth / 2, kHeight / 2)}) {
            for (int delta : {120, -120}) {
                const QPointF before = boardAt(pos);
                const double scale = view->scale();
                wheel(pos, delta);
                EXPECT_DOUBLE_EQ(view->scale(), delta > 0 ? scale * 2 : scale / 2);
                const QPointF after = boardAt(pos);
                const double unitsPerPixel = 1 / std::min(scale, view->scale());
                EXPECT_NEAR(after.x(), before.x(), unitsPerPixel) << "angle " << view->angle();
                EXPECT_NEAR(after.y(), before.y(), unitsPerPixel) << "angle " << view->angle();
            }
        }
        deliver(10000302);  // a quarter turn
    }
}

TEST_F(EventRouting, WheelWithZeroDeltaZoomsOutAndStaysFinite) {
    const double scale = view->scale();
    wheel(QPoint(10, 10), 0);
    EXPECT_DOUBLE_EQ(view->scale(), scale / 2);
    EXPECT_TRUE(finiteState());
}

TEST_F(EventRouting, ZoomToolRecordsFiftyAreasAtMost) {
    view->change_to_last_tool();
    ASSERT_EQ(type(), T::ZOOMIN_TOOL);
    QList<BoardBox> pushed;
    for (int i = 0; i < 51; ++i) {
        pushed.append(view->transform().visibleBox());
        wheel(QPoint(kWidth / 2, kHeight / 2), i % 2 ? 120 : -120);
    }
    const QList<QVector<QPointF>>* history = view->getZoomINStack();
    ASSERT_EQ(history->size(), 50);
    // The oldest entry was dropped: the first kept is the second pushed.
    EXPECT_EQ(history->first()[0], QPointF(pushed[1].minX, pushed[1].minY));
    EXPECT_EQ(history->last()[1], QPointF(pushed[50].maxX, pushed[50].maxY));
    // Going back restores the last recorded area's scale.
    view->redoZoomin();
    EXPECT_EQ(history->size(), 49);
    const BoardBox back = view->transform().visibleBox();
    EXPECT_NEAR(back.maxX - back.minX, pushed[50].maxX - pushed[50].minX, 2 / view->scale());
}

TEST_F(EventRouting, MomentumScrollingDoesNotZoomInTheZoomTool) {
    view->change_to_last_tool();
    const double scale = view->scale();
    wheel(QPoint(10, 10), 120, Qt::ScrollMomentum);
    EXPECT_EQ(view->scale(), scale);
    EXPECT_TRUE(view->getZoomINStack()->isEmpty());
}

TEST_F(EventRouting, VerticalOnlyDragsDoNotPan) {
    // The zoom tool pans a left drag only when x changes.
    view->change_to_last_tool();
    const QPointF centre = view->center();
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(100, 100));
    moveTo(QPoint(100, 160), Qt::LeftButton);
    EXPECT_EQ(view->center(), centre);
    moveTo(QPoint(130, 160), Qt::LeftButton);
    EXPECT_NEAR(view->center().x(), centre.x() - 30 / view->scale(), 1 / view->scale());
    EXPECT_NEAR(view->center().y(), centre.y() + 60 / view->scale(), 1 / view->scale());
    // A move without the button held does not pan.
    const QPointF panned = view->center();
    moveTo(QPoint(200, 200));
    EXPECT_EQ(view->center(), panned);

    // The normal tool pans on a middle release, only with a horizontal component.
    view->changeTool(T::NORMAL_TOOL);
    const QPointF before = view->center();
    QTest::mousePress(view, Qt::MiddleButton, Qt::NoModifier, QPoint(100, 100));
    QTest::mouseRelease(view, Qt::MiddleButton, Qt::NoModifier, QPoint(100, 180));
    EXPECT_EQ(view->center(), before);
    QTest::mousePress(view, Qt::MiddleButton, Qt::NoModifier, QPoint(100, 100));
    QTest::mouseRelease(view, Qt::MiddleButton, Qt::NoModifier, QPoint(140, 130));
    EXPECT_NEAR(view->center().x(), before.x() - 40 / view->scale(), 1 / view->scale());
    EXPECT_NEAR(view->center().y(), before.y() + 30 / view->scale(), 1 / view->scale());
}

TEST_F(EventRouting, ZoomToolReleaseZoomsToTheDraggedBoxAndSurvivesOddGestures) {
    view->change_to_last_tool();
    // A drag that leaves the widget, then a release far outside it.
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
    moveTo(QPoint(-500, 9000), Qt::LeftButton);
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(-500, 9000));
    EXPECT_TRUE(finiteState());
    // A press and release at the same pixel zooms to the upper limit there.
    QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, QPoint(50, 50));
    EXPECT_DOUBLE_EQ(view->scale(), ScaleLimits::maximum);
    EXPECT_TRUE(finiteState());
    // A double click with no click before it (the event alone).
    QTest::mouseDClick(view, Qt::LeftButton, Qt::NoModifier, QPoint(60, 60));
    EXPECT_TRUE(finiteState());
}

TEST_F(EventRouting, SnakeOnASmallProfileStaysInRange) {
    view->specifyfactordraw(ScaleLimits::minimum, 1);
    const int rows = view->snake1();
    EXPECT_EQ(rows, 1);
    EXPECT_EQ(view->snakePoints().size(), 1);
    EXPECT_EQ(view->snakeRows().size(), 1);
}

// ---- keys -------------------------------------------------------------------------

TEST_F(EventRouting, ArrowKeysPanByTheMovementFactor) {
    TOLVA::UIAPI::setMovementFactor(0.25);
    struct Case { Qt::Key key; double dx, dy; };  // in pixels of the picture's move
    const Case cases[] = {{Qt::Key_Up, 0, 0.25 * kHeight}, {Qt::Key_Down, 0, -0.25 * kHeight},
                          {Qt::Key_Left, 0.25 * kWidth, 0}, {Qt::Key_Right, -0.25 * kWidth, 0}};
    for (const Case& c : cases) {
        const QPointF before = view->center();
        QTest::keyClick(view, c.key);
        // The picture follows a drag of (dx, dy): the centre moves the other way in x.
        EXPECT_NEAR(view->center().x(), before.x() - c.dx / view->scale(), 1 / view->scale()) << c.key;
        EXPECT_NEAR(view->center().y(), before.y() + c.dy / view->scale(), 1 / view->scale()) << c.key;
    }
    const QPointF before = view->center();
    QTest::keyClick(view, Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_NEAR(view->center().x(), before.x() - 0.1 * kWidth / view->scale(), 1 / view->scale());
}

TEST_F(EventRouting, KeysGoToTheFrameworkFirst) {
    MessageRecorder messages;
    QTest::keyClick(view, Qt::Key_A);
    ASSERT_EQ(messages.entries().size(), 2u);
    EXPECT_EQ(messages.entries()[0].route, "framework");
    EXPECT_EQ(messages.entries()[0].msg.msgType, 20003400);
    EXPECT_EQ(messages.entries()[0].msg.receiver, PluginNames::GraphicEditor);
    EXPECT_FALSE(messages.entries()[0].payloadWasNull);
    EXPECT_EQ(messages.entries()[1].msg.msgType, 20003401);
}

TEST_F(EventRouting, ShiftIsReportedByTheFilterOnly) {
    MessageRecorder messages;
    QTest::keyPress(view, Qt::Key_Shift);
    QTest::keyRelease(view, Qt::Key_Shift);
    EXPECT_EQ(messages.withCode(20000405).size(), 1u);
    EXPECT_EQ(messages.withCode(20000406).size(), 1u);  // the release handler's own test never fires
    EXPECT_EQ(messages.withCode(20000406)[0].receiver, PluginNames::JobList);
}

TEST_F(EventRouting, EnterWithThePullToolIsALeftDoubleClick) {
    struct Recorder : QObject {
        QList<QPoint> doubleClicks;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::MouseButtonDblClick) {
                auto* m = static_cast<QMouseEvent*>(e);
                if (m->button() == Qt::LeftButton) doubleClicks.append(m->pos());
            }
            return false;
        }
    } recorder;
    view->installEventFilter(&recorder);
    for (qint32 code : {20000219, 20000211, 20000206, 20000207}) {  // pull, line edit, delete, move and copy
        view->changeTool(T::NORMAL_TOOL);
        deliver(code);
        moveTo(QPoint(50, 60));
        recorder.doubleClicks.clear();
        QTest::keyClick(view, Qt::Key_Return);
        EXPECT_EQ(recorder.doubleClicks, QList<QPoint>{QPoint(50, 60)}) << code;
    }
    view->changeTool(T::RULER_TOOL);
    recorder.doubleClicks.clear();
    QTest::keyClick(view, Qt::Key_Enter);
    EXPECT_TRUE(recorder.doubleClicks.isEmpty());
    view->removeEventFilter(&recorder);
}

TEST_F(EventRouting, EnterWithTheSelectToolSendsAClickSelection) {
    deliver(20000202);
    moveTo(QPoint(70, 80));
    MessageRecorder messages;
    QTest::keyClick(view, Qt::Key_Return);
    const auto sent = messages.withCode(20000402);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].receiver, PluginNames::JobList);
    EXPECT_TRUE(sent[0].data.isEmpty());
    EXPECT_FALSE(messages.entries().back().payloadWasNull);
}

// ---- mouse ------------------------------------------------------------------------

TEST_F(EventRouting, MouseMoveUpdatesTheReadoutAndTheMiniMap) {
    MessageRecorder messages;
    const QPoint pos(kWidth / 2, kHeight / 2);
    moveTo(pos);
    const QPointF board = boardAt(pos);
    const QString expected = QStringLiteral("X = %1  inch\nY = %2  inch")
                                 .arg(board.x() / 25400000.0, 0, 'f', 5)
                                 .arg(board.y() / 25400000.0, 0, 'f', 5);
    EXPECT_EQ(view->coordinateText(), expected);
    EXPECT_EQ(TOLVA::UIAPI::getCoordinate(&host).text, expected);
    const auto minimap = messages.to(PluginNames::MiniMap);
    ASSERT_EQ(minimap.size(), 1u);
    EXPECT_EQ(minimap[0].msgType, 10000000);
    EXPECT_DOUBLE_EQ(minimap[0].data.value("x").toDouble(), board.x());

    TOLVA::UIAPI::setUnitString("MM");
    PluginMetaData unit(PluginNames::JobList, PluginNames::GraphicView, 20002200);
    recMsgFromManager(view, &unit);
    moveTo(pos);
    EXPECT_EQ(view->coordinateText(), QStringLiteral("X = %1  mm\nY = %2  mm")
                                          .arg(board.x() / 1e6, 0, 'f', 4)
                                          .arg(board.y() / 1e6, 0, 'f', 4));
    TOLVA::UIAPI::setUnitString("Inch");
}

TEST_F(EventRouting, RightDoubleClickOpensNoMenuAndTellsTheJobList) {
    MessageRecorder messages;
    bool menuSeen = false;
    QTimer probe;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        if (QWidget* popup = QApplication::activePopupWidget()) {
            menuSeen = true;
            popup->close();
        }
    });
    probe.start(20);
    testsupport::doubleClick(view, Qt::RightButton, QPoint(30, 30));
    QTest::qWait(400);
    EXPECT_FALSE(menuSeen);
    EXPECT_EQ(messages.withCode(20000421).size(), 1u);
}

TEST_F(EventRouting, RightClickOpensTheMenuAfterItsDelay) {
    QStringList entries;
    int openedAfterMs = -1;
    QElapsedTimer clock;
    QTimer probe;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu) return;
        openedAfterMs = int(clock.elapsed());
        for (QAction* a : menu->actions()) entries << (a->isSeparator() ? QStringLiteral("-") : a->text());
        menu->close();
    });
    probe.start(10);
    clock.start();
    QTest::mouseClick(view, Qt::RightButton, Qt::NoModifier, QPoint(30, 30));
    EXPECT_EQ(view->rightClickCount(), 1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return openedAfterMs >= 0; }, 2000));
    EXPECT_GE(openedAfterMs, ViewWidget::kMenuDelayMs - 10);
    ASSERT_TRUE(QTest::qWaitFor([&] { return view->rightClickCount() == 0; }));
    EXPECT_EQ(entries, (QStringList{"Zoom Area", "-", "Measure", "-", "Select None", "Select Feature", "Select Area",
                                    "Select Polygon", "Select Layer Net", "Select Board Net", "Select Polyline", "-",
                                    "Reverse Selection"}));
    // setText re-labels by identity once the menu exists.
    view->setText();
    const QList<QAction*> actions = view->contextMenu()->actions();
    EXPECT_EQ(actions.last()->text(), "Counter Election");
    EXPECT_EQ(actions[4]->text(), "Select None");
}

TEST_F(EventRouting, TvdiMenuHoldsTheHoleEntriesEnabledByTheHoleFlags) {
    deliver(20004402);
    view->setHoleFlags(false, true, true);
    QList<QAction*> actions;
    bool subEnabled = false, areaEnabled = true;
    QTimer probe;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu) return;
        actions = menu->actions();
        subEnabled = actions.value(0) && actions[0]->menu() && actions[0]->menu()->isEnabled();
        areaEnabled = actions.value(0) && actions[0]->menu() && actions[0]->menu()->actions().value(1)->isEnabled();
        menu->close();
    });
    probe.start(10);
    QTest::mouseClick(view, Qt::RightButton, Qt::NoModifier, QPoint(30, 30));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !actions.isEmpty(); }, 2000));
    ASSERT_EQ(actions.size(), 1);
    EXPECT_EQ(actions[0]->text(), "Set Global Hole");
    EXPECT_TRUE(subEnabled);
    EXPECT_FALSE(areaEnabled);
}

TEST_F(EventRouting, MenuEntriesSendTheirRequests) {
    struct Case { void (ViewWidget::*slot)(); QString receiver; qint32 code; };
    const Case cases[] = {
        {&ViewWidget::on_zoom_area, PluginNames::ToolbarEdit, 20000201},
        {&ViewWidget::on_Measure, PluginNames::ToolbarEdit, 20000247},
        {&ViewWidget::on_select_feature, PluginNames::ToolbarEdit, 20000202},
        {&ViewWidget::on_select_area, PluginNames::ToolbarEdit, 20000203},
        {&ViewWidget::on_select_polygon, PluginNames::ToolbarEdit, 20000223},
        {&ViewWidget::on_select_polyline, PluginNames::ToolbarEdit, 20000242},
        {&ViewWidget::on_select_layer_net, PluginNames::ToolbarEdit, 20000244},
        {&ViewWidget::on_select_board_net, PluginNames::ToolbarEdit, 20000245},
        {&ViewWidget::on_counterelection, PluginNames::JobList, 20001639},
        {&ViewWidget::on_add_global, PluginNames::JobList, 10000507},
        {&ViewWidget::on_add_area, PluginNames::JobList, 10000508},
        {&ViewWidget::on_add_posi_hole, PluginNames::JobList, 10000605},
        {&ViewWidget::on_add_matrix_hole, PluginNames::JobList, 10000605},
        {&ViewWidget::on_add_plum_hole, PluginNames::JobList, 10000605},
    };
    for (const Case& c : cases) {
        MessageRecorder messages;
        (view->*c.slot)();
        ASSERT_EQ(messages.entries().size(), 1u) << c.code;
        EXPECT_EQ(messages.entries()[0].msg.receiver, c.receiver) << c.code;
        EXPECT_EQ(messages.entries()[0].msg.msgType, c.code);
        EXPECT_EQ(messages.entries()[0].msg.sender, PluginNames::GraphicView);
    }
}

TEST_F(EventRouting, SelectNoneClearsTheSelectionInTheKernel) {
    job.addPad("top", 1e7, 1e7, "r1000");
    view->work_layer = "top";
    TOLVA::API::select_features("routing_job", "pcb", "top");
    ASSERT_TRUE(TOLVA::API::is_selected("routing_job", "pcb", "top"));
    MessageRecorder messages;
    view->on_select_none();
    EXPECT_FALSE(TOLVA::API::is_selected("routing_job", "pcb", "top"));
    EXPECT_TRUE(messages.entries().empty());  // no request: the view clears it itself
}

TEST_F(EventRouting, LeftPressSnapsThroughTheSharedCoordinateRecord) {
    job.addPad("top", 2e7, 1.5e7, "r500");
    view->work_layer = "top";
    PluginMetaData snap(PluginNames::ToolbarEdit, PluginNames::GraphicView, 20001653);  // snap to centres
    recMsgFromManager(view, &snap);
    int px = 0, py = 0;
    view->db2view(2e7, 1.5e7, px, py);
    TOLVA::UIAPI::CoordinateRecord& coordinate = TOLVA::UIAPI::getCoordinate(&host);
    struct Case { bool locked, snapOn; bool expectSnap; };
    static constexpr Case cases[] = {{false, true, true}, {true, true, false}, {false, false, false}};
    for (const Case& c : cases) {
        coordinate = TOLVA::UIAPI::CoordinateRecord();
        coordinate.locked = c.locked;
        coordinate.snap_on = c.snapOn;
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(px + 1, py - 1));
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(px + 1, py - 1));
        EXPECT_EQ(coordinate.has_snap_point, c.expectSnap) << c.locked << c.snapOn;
        if (c.expectSnap) {
            EXPECT_EQ(QPointF(coordinate.snap_x, coordinate.snap_y), QPointF(2e7, 1.5e7));
        }
    }
    // Far from any feature nothing is found.
    coordinate = TOLVA::UIAPI::CoordinateRecord();
    coordinate.snap_on = true;
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(5, 5));
    EXPECT_FALSE(coordinate.has_snap_point);
    coordinate = TOLVA::UIAPI::CoordinateRecord();
}

TEST_F(EventRouting, AToolThatThrowsOnReleaseIsReset) {
    // The job list throws while the select tool's release is being handled.
    QTpluginsManger4CAM::instance()->registerReceiver(PluginNames::JobList, [](void*, const PluginMetaData& m) {
        if (m.msgType == 20000203) throw std::runtime_error("job list failed");
    });
    deliver(20000203);
    MessageRecorder messages;
    LogCapture logs;
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(80, 90));
    QTpluginsManger4CAM::instance()->unregisterReceiver(PluginNames::JobList);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_TRUE(prompts.requests()[0].text.startsWith(
        "There is something wrong when mouse button release, toolbar will be reset soon!\n Here is the pos:"));
    EXPECT_EQ(type(), T::NORMAL_TOOL);
    EXPECT_EQ(view->lastToolMessage().msgType, -1);
    EXPECT_EQ(messages.withCode(10000205).size(), 1u);
    EXPECT_TRUE(logs.contains("job list failed"));
}

// The snap takes the key point nearest to the cursor: a start point exactly
// under it wins over the end a pixel away that is looked at after it.
TEST_F(EventRouting, SnapTakesTheNearestKeyPointEvenAtDistanceZero) {
    const QPoint at(150, 120);
    const QPointF under = boardAt(at);
    const double pixel = 1 / view->scale();
    job.addLine("top", under.x(), under.y(), under.x() + pixel, under.y(), "r100");
    view->work_layer = "top";
    PluginMetaData snap(PluginNames::ToolbarEdit, PluginNames::GraphicView, 20001653);
    recMsgFromManager(view, &snap);
    TOLVA::UIAPI::CoordinateRecord& coordinate = TOLVA::UIAPI::getCoordinate(&host);
    coordinate = TOLVA::UIAPI::CoordinateRecord();
    coordinate.snap_on = true;
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, at);
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, at);
    EXPECT_TRUE(coordinate.has_snap_point);
    EXPECT_EQ(QPointF(coordinate.snap_x, coordinate.snap_y), under);
    coordinate = TOLVA::UIAPI::CoordinateRecord();
}

// Every double click is logged, in every build.
TEST_F(EventRouting, DoubleClicksAreLogged) {
    for (Qt::MouseButton button : {Qt::LeftButton, Qt::MiddleButton, Qt::RightButton}) {
        LogCapture logs;
        testsupport::doubleClick(view, button, QPoint(70, 70));
        EXPECT_EQ(logs.count(google::GLOG_INFO, "double click slot"), 1) << button;
    }
}
