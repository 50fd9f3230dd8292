// The select tool's gestures: clicks wait for a possible double click,
// drags show a rubber band, polygons collect points; each ends in one
// signal, which the view turns into one request to the job list.
#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>

#include "PluginNames.h"
#include "ViewTool/SelectTool.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

class SelectGestures : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(400, 300);
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }
    void TearDown() override { delete view; }

    void openJob() { testsupport::openJobInView(view, "select_job", "pcb", {"top"}); }
    SelectTool* selectIn(qint32 code) {
        PluginMetaData msg(PluginNames::ToolbarEdit, PluginNames::GraphicView, code);
        recMsgFromManager(view, &msg);
        return qobject_cast<SelectTool*>(view->currentTool());
    }

    ScopedJob job{"select_job", 4e7, 3e7, {"top"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

// The requests that reached the job list, in order.
QList<qint32> jobListCodes(const MessageRecorder& messages) {
    QList<qint32> codes;
    for (const PluginMetaData& m : messages.to(PluginNames::JobList)) codes.append(m.msgType);
    return codes;
}

}  // namespace

TEST_F(SelectGestures, ClickInFeatureModeEmitsOnceAfterTheDelay) {
    openJob();
    SelectTool* tool = selectIn(20000202);
    ASSERT_NE(tool, nullptr);
    QSignalSpy clicks(tool, &SelectTool::sendTextBox);
    MessageRecorder messages;
    const QPoint at(120, 90);
    QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, at);
    EXPECT_EQ(clicks.count(), 0);  // not before the timer
    ASSERT_TRUE(QTest::qWaitFor([&] { return clicks.count() == 1; }, 1000));
    QTest::qWait(2 * SelectTool::kClickDelayMs);
    EXPECT_EQ(clicks.count(), 1);
    // A 4-pixel box in board units around the click.
    const QRectF box = clicks[0][0].toRectF();
    const double unit = 1 / view->scale();
    EXPECT_NEAR(box.width(), 4 * unit, 1);
    EXPECT_NEAR(box.height(), 4 * unit, 1);
    EXPECT_TRUE(box.contains(view->toBoard(at)));
    const auto requests = messages.withCode(20000401);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].receiver, PluginNames::JobList);
    EXPECT_TRUE(requests[0].data.value("is_single_select").toBool());
}

TEST_F(SelectGestures, DoubleClickCancelsTheClick) {
    openJob();
    SelectTool* tool = selectIn(20000202);
    QSignalSpy clicks(tool, &SelectTool::sendTextBox);
    QSignalSpy doubles(tool, &SelectTool::sendDoubleTextBox);
    MessageRecorder messages;
    testsupport::doubleClick(view, Qt::LeftButton, QPoint(50, 50));
    QTest::qWait(3 * SelectTool::kClickDelayMs);
    EXPECT_EQ(clicks.count(), 0);
    EXPECT_EQ(doubles.count(), 1);
    EXPECT_EQ(messages.withCode(20000402).size(), 1u);
    EXPECT_TRUE(messages.withCode(20000401).empty());
}

TEST_F(SelectGestures, WithNoLayerOpenTheBoxIsEmptyAndStillSent) {
    SelectTool* tool = selectIn(20000202);  // no job, no layers
    QSignalSpy clicks(tool, &SelectTool::sendTextBox);
    MessageRecorder messages;
    QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
    ASSERT_TRUE(QTest::qWaitFor([&] { return clicks.count() == 1; }, 1000));
    EXPECT_EQ(clicks[0][0].toRectF(), QRectF());
    const auto requests = messages.withCode(20000401);
    ASSERT_EQ(requests.size(), 1u);
}

TEST_F(SelectGestures, ClickModesEmitTheirSignalAfterTheirDelay) {
    openJob();
    struct Case { qint32 code; const char* signal; qint32 request; int delay; };
    const Case cases[] = {
        {20000227, SIGNAL(sendHighLightTextBox(QRectF)), 20000414, SelectTool::kClickDelayMs},
        {20000215, SIGNAL(sendInvertTextBox(QRectF)), 20000215, SelectTool::kClickDelayMs},
        {20000224, SIGNAL(sendNetSelectionBox(QRectF)), 20000224, SelectTool::kPointDelayMs},
        {20000242, SIGNAL(sendSelectPolyLine(QRectF)), 20000242, SelectTool::kPointDelayMs},
        {20000244, SIGNAL(sendSelectLayerNet(QRectF)), 20000244, SelectTool::kPointDelayMs},
        {20000245, SIGNAL(sendSelectBoardNet(QRectF)), 20000245, SelectTool::kPointDelayMs},
    };
    for (const Case& c : cases) {
        view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
        SelectTool* tool = selectIn(c.code);
        ASSERT_NE(tool, nullptr) << c.code;
        QSignalSpy spy(tool, c.signal);
        MessageRecorder messages;
        QElapsedTimer clock;
        clock.start();
        QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, QPoint(60, 70));
        ASSERT_TRUE(QTest::qWaitFor([&] { return spy.count() == 1; }, 1500));
        EXPECT_GE(clock.elapsed(), c.delay - 15) << c.code;
        EXPECT_EQ(messages.withCode(c.request).size(), 1u) << c.code;
    }
}

TEST_F(SelectGestures, MiddleClicksUndo) {
    openJob();
    struct Case { qint32 code; qint32 type; };
    static constexpr Case cases[] = {{20000202, 20000202}, {20000224, 20000224}, {20000242, 20000242},
                                     {20000244, 20000224}, {20000245, 20000224}, {20000215, 20000202}};
    for (const Case& c : cases) {
        view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
        selectIn(c.code);
        MessageRecorder messages;
        QTest::mouseClick(view, Qt::MiddleButton, Qt::NoModifier, QPoint(60, 70));
        ASSERT_TRUE(QTest::qWaitFor([&] { return int(messages.withCode(20001640).size()) == 1; }, 1500));
        EXPECT_EQ(messages.withCode(20001640)[0].data.value("type").toInt(), c.type) << c.code;
    }
}

TEST_F(SelectGestures, MiddleClickInHighlightModeUnhighlights) {
    openJob();
    selectIn(20000227);
    MessageRecorder messages;
    QTest::mouseClick(view, Qt::MiddleButton, Qt::NoModifier, QPoint(60, 70));
    ASSERT_TRUE(QTest::qWaitFor([&] { return int(messages.to(PluginNames::JobList).size()) == 1; }, 1500));
    EXPECT_EQ(jobListCodes(messages), QList<qint32>{20000416});
}

// A double click drops the pending click and sends its own request, by mode;
// a middle double click asks for the double-click un-selection in any mode.
TEST_F(SelectGestures, DoubleClicksByMode) {
    openJob();
    struct Case { qint32 mode; Qt::MouseButton button; qint32 request; };
    static constexpr Case cases[] = {{20000202, Qt::LeftButton, 20000402},  {20000215, Qt::LeftButton, 20000235},
                                     {20000227, Qt::LeftButton, 20000415},  {20000202, Qt::MiddleButton, 20000407},
                                     {20000227, Qt::MiddleButton, 20000407}};
    for (const Case& c : cases) {
        view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
        selectIn(c.mode);
        MessageRecorder messages;
        const QPoint at(150, 120);
        testsupport::doubleClick(view, c.button, at);
        QTest::qWait(2 * SelectTool::kPointDelayMs);
        EXPECT_EQ(jobListCodes(messages), QList<qint32>{c.request}) << c.mode << " " << c.button;
    }
}

TEST_F(SelectGestures, AreaDragShowsARubberBandAndSendsTheBox) {
    openJob();
    SelectTool* tool = selectIn(20000203);
    QSignalSpy boxes(tool, &SelectTool::sendRectTextBox);
    MessageRecorder messages;
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(200, 50));
    QMouseEvent move(QEvent::MouseMove, QPoint(100, 150), view->mapToGlobal(QPoint(100, 150)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view, &move);
    EXPECT_TRUE(tool->rubberBandVisible());
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(100, 150));
    EXPECT_FALSE(tool->rubberBandVisible());
    ASSERT_EQ(boxes.count(), 1);
    const QRectF box = boxes[0][0].toRectF();
    const QPointF a = view->toBoard(QPoint(100, 150)), b = view->toBoard(QPoint(200, 50));
    EXPECT_EQ(box, QRectF(QPointF(a.x(), a.y()), QPointF(b.x(), b.y())));  // normalised: left < right, top < bottom
    ASSERT_EQ(messages.withCode(20000203).size(), 1u);
    EXPECT_FALSE(messages.withCode(20000203)[0].data.value("is_single_select").toBool());
}

// Highlight by rectangle and the width measure drag a rubber band like the
// area mode; each sends its own request with the dragged box.
TEST_F(SelectGestures, HighlightRectangleAndWidthMeasureDrags) {
    openJob();
    struct Case { qint32 mode; qint32 request; };
    static constexpr Case cases[] = {{10000102, 20004403}, {20004801, 20000203}};
    for (const Case& c : cases) {
        view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
        SelectTool* tool = selectIn(c.mode);
        ASSERT_NE(tool, nullptr);
        MessageRecorder messages;
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(30, 40));
        QMouseEvent move(QEvent::MouseMove, QPoint(130, 90), view->mapToGlobal(QPoint(130, 90)), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view, &move);
        EXPECT_TRUE(tool->rubberBandVisible()) << c.mode;
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(130, 90));
        EXPECT_FALSE(tool->rubberBandVisible()) << c.mode;
        ASSERT_EQ(jobListCodes(messages), QList<qint32>{c.request}) << c.mode;
        EXPECT_FALSE(messages.to(PluginNames::JobList)[0].data.value("is_single_select").toBool());
    }
    EXPECT_EQ(qobject_cast<SelectTool*>(view->currentTool())->measuredWidth(), 100);
}

TEST_F(SelectGestures, ClipRectangleSendsFourCornersInOrder) {
    openJob();
    SelectTool* tool = selectIn(20002000);
    ASSERT_EQ(tool->clipMode(), SelectTool::ClipRect);
    QSignalSpy clip(tool, &SelectTool::sendClipRectBox);
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(10, 20));
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(110, 120));
    ASSERT_EQ(clip.count(), 1);
    const auto corners = clip[0][0].value<QVector<QPointF>>();
    ASSERT_EQ(corners.size(), 4);
    const QPointF lb = view->toBoard(QPoint(10, 120)), rt = view->toBoard(QPoint(110, 20));
    EXPECT_EQ(corners[0], lb);
    EXPECT_EQ(corners[1], QPointF(lb.x(), rt.y()));
    EXPECT_EQ(corners[2], rt);
    EXPECT_EQ(corners[3], QPointF(rt.x(), lb.y()));
}

TEST_F(SelectGestures, PolygonCollectsClicksAndClosesOnDoubleClick) {
    openJob();
    for (qint32 code : {20000223, 20002001}) {
        view->changeTool(Graphic_ViewTool::NORMAL_TOOL);
        SelectTool* tool = selectIn(code);
        QSignalSpy polygons(tool, &SelectTool::sendPolygonBox);
        QSignalSpy clips(tool, &SelectTool::sendClipPolygonBox);
        MessageRecorder messages;
        int clicked = 0;
        for (const QPoint p : {QPoint(10, 10), QPoint(100, 10), QPoint(100, 100)}) {
            QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, p);
            ++clicked;
            ASSERT_TRUE(QTest::qWaitFor([&] { return tool->polygon().size() == clicked; }, 2000));
        }
        EXPECT_EQ(tool->polygon().size(), 3) << code;
        testsupport::doubleClick(view, Qt::LeftButton, QPoint(10, 100));
        QSignalSpy& closed = code == 20002001 ? clips : polygons;
        ASSERT_EQ(closed.count(), 1) << code;
        EXPECT_EQ((code == 20002001 ? polygons : clips).count(), 0);
        const auto points = closed[0][0].value<QVector<QPointF>>();
        ASSERT_EQ(points.size(), 3);
        EXPECT_EQ(points[1], view->toBoard(QPoint(100, 10)));
        EXPECT_TRUE(tool->polygon().isEmpty());
        EXPECT_EQ(messages.withCode(code == 20002001 ? 20002001 : 20000223).size(), 1u);
    }
}

TEST_F(SelectGestures, UnknownCodeKeepsTheModeButResetsClipAndBand) {
    SelectTool* tool = selectIn(20002001);
    ASSERT_EQ(tool->clipMode(), SelectTool::ClipPolygon);
    PluginMetaData other(PluginNames::ToolbarEdit, PluginNames::GraphicView, 4242);
    tool->setWorkParam(&other);
    EXPECT_EQ(tool->selectMode(), SelectTool::PolygonMode);
    EXPECT_EQ(tool->clipMode(), SelectTool::NoClip);
    EXPECT_FALSE(tool->rubberBandVisible());
}
