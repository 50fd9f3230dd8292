// The tools that drag a box (text information, pop view) and what every
// tool shares: rubber bands that show only during a drag, and arrow keys
// that pan the view when a tool is handed them.
#include <gtest/gtest.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>
#include <QRubberBand>
#include <QTest>

#include "PluginNames.h"
#include "Widget_Common.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using T = Graphic_ViewTool;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

class BoxTools : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(400, 300);
        testsupport::openJobInView(view, "box_job", "pcb", {"top"});
    }
    void TearDown() override { delete view; }
    void show() {
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }
    void drag(const QPoint& from, const QPoint& to) {
        QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, from);
        QMouseEvent move(QEvent::MouseMove, to, view->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view, &move);
        QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, to);
    }
    QList<QRubberBand*> visibleBands() const {
        QList<QRubberBand*> shown;
        for (QRubberBand* band : view->findChildren<QRubberBand*>())
            if (band->isVisible()) shown.append(band);
        return shown;
    }
    QRectF boardBox(const QPoint& a, const QPoint& b) {
        const QPointF pa = view->toBoard(a), pb = view->toBoard(b);
        return QRectF(QPointF(std::min(pa.x(), pb.x()), std::min(pa.y(), pb.y())),
                      QPointF(std::max(pa.x(), pb.x()), std::max(pa.y(), pb.y())));
    }

    ScopedJob job{"box_job", 4e7, 3e7, {"top"}};
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

}  // namespace

TEST_F(BoxTools, RubberBandsShowOnlyDuringADragEvenForToolsMadeBeforeTheViewShows) {
    for (T::GRAPHIC_TOOL_TYPE type : {T::TEXT_INFO_TOOL, T::POPVIEW_TOOL, T::ZOOMIN_TOOL, T::SELECT_TOOL}) {
        SCOPED_TRACE(type);
        host.hide();
        view->changeTool(type);
        show();
        EXPECT_TRUE(visibleBands().isEmpty());
    }
    // The band appears at the press point with no size, before any move.
    view->changeTool(T::TEXT_INFO_TOOL);
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(120, 80));
    ASSERT_EQ(visibleBands().size(), 1);
    EXPECT_EQ(visibleBands()[0]->geometry().topLeft(), QPoint(120, 80));
    EXPECT_LE(visibleBands()[0]->geometry().width(), 1);
    QTest::mouseRelease(view, Qt::LeftButton, Qt::NoModifier, QPoint(120, 80));
    EXPECT_TRUE(visibleBands().isEmpty());
}

TEST_F(BoxTools, TextInformationAsksTheJobListAboutTheDraggedBox) {
    show();
    view->changeTool(T::TEXT_INFO_TOOL);
    MessageRecorder messages;
    drag(QPoint(200, 40), QPoint(90, 150));
    const auto requests = messages.withCode(10000203);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].receiver, PluginNames::JobList);
    EXPECT_TRUE(visibleBands().isEmpty());
}

TEST_F(BoxTools, PopViewOpensOnTheDraggedAreaButNotOnAStrayClick) {
    show();
    view->changeTool(T::POPVIEW_TOOL);
    drag(QPoint(50, 50), QPoint(52, 90));  // a band three pixels wide: a stray click
    EXPECT_TRUE(view->get_popviews().isEmpty());
    drag(QPoint(50, 50), QPoint(53, 90));  // four pixels: the smallest inset
    ASSERT_EQ(view->get_popviews().size(), 1);
    // The inset shows the dragged area whole, about its centre, at the inset's own shape.
    const QRectF asked = boardBox(QPoint(50, 50), QPoint(53, 90)), shown = view->get_popviews()[0]->boardArea();
    EXPECT_NEAR(shown.center().x(), asked.center().x(), 1);
    EXPECT_NEAR(shown.center().y(), asked.center().y(), 1);
    EXPECT_TRUE(shown.adjusted(-1, -1, 1, 1).contains(asked));
    EXPECT_NEAR(std::max(shown.width() / asked.width(), shown.height() / asked.height()) -
                    std::min(shown.width() / asked.width(), shown.height() / asked.height()) + 1,
                std::max(shown.width() / asked.width(), shown.height() / asked.height()), 1e-9)
        << "one side of the dragged area fills the inset";
    drag(QPoint(60, 100), QPoint(160, 102));  // wide but three pixels high
    EXPECT_EQ(view->get_popviews().size(), 1);
    drag(QPoint(60, 100), QPoint(160, 103));
    EXPECT_EQ(view->get_popviews().size(), 2);
    drag(QPoint(300, 250), QPoint(150, 120));
    ASSERT_EQ(view->get_popviews().size(), 3);
    EXPECT_EQ(view->get_popviews()[2]->boardArea(), boardBox(QPoint(150, 120), QPoint(300, 250)));
    PluginMetaData close(PluginNames::JobList, PluginNames::GraphicView, 20003950);
    recMsgFromManager(view, &close);
    EXPECT_TRUE(view->get_popviews().isEmpty());
}

// A tool handed an arrow key pans the view by 50 pixels, the picture moving
// against the arrow (the view's own keys move it the other way).
TEST_F(BoxTools, ToolArrowKeysPanFiftyPixels) {
    struct Case { Qt::Key key; QPoint shift; };
    static const Case cases[] = {{Qt::Key_Up, {0, -50}}, {Qt::Key_Down, {0, 50}}, {Qt::Key_Left, {-50, 0}},
                                 {Qt::Key_Right, {50, 0}}};
    for (T::GRAPHIC_TOOL_TYPE type : {T::NORMAL_TOOL, T::SELECT_TOOL, T::DELETE_TOOL}) {
        view->changeTool(type);
        for (const Case& c : cases) {
            const QPoint at(200, 150);
            const QPointF board = view->toBoard(at);
            QKeyEvent key(QEvent::KeyPress, c.key, Qt::NoModifier);
            key.ignore();
            view->currentTool()->toolKeyPress(&key);
            EXPECT_TRUE(key.isAccepted()) << type;
            const QPointF now = view->toBoard(at + c.shift);
            EXPECT_NEAR(now.x(), board.x(), 1 / view->scale()) << type << " " << c.key;
            EXPECT_NEAR(now.y(), board.y(), 1 / view->scale()) << type << " " << c.key;
        }
    }
}

// The normal tool and the tools without gestures of their own take every
// event they are handed, so that nothing falls through to the widgets below.
TEST_F(BoxTools, IdleToolsAcceptEveryEvent) {
    for (T::GRAPHIC_TOOL_TYPE type : {T::NORMAL_TOOL, T::DELETE_TOOL, T::RULER_TOOL}) {
        view->changeTool(type);
        Graphic_ViewTool* tool = view->currentTool();
        using MouseOp = void (Graphic_ViewTool::*)(QMouseEvent*);
        const MouseOp ops[] = {&Graphic_ViewTool::midButtonPress,     &Graphic_ViewTool::midButtonRelease,
                               &Graphic_ViewTool::leftButtonPress,    &Graphic_ViewTool::leftButtonRelease,
                               &Graphic_ViewTool::leftButtonDoubleClick, &Graphic_ViewTool::auxMouseEvent,
                               &Graphic_ViewTool::midButtonDoubleClick, &Graphic_ViewTool::rightButtonRelease,
                               &Graphic_ViewTool::mouseMove};
        for (MouseOp op : ops) {
            QMouseEvent event(QEvent::MouseButtonPress, QPointF(10, 10), Qt::MiddleButton, Qt::MiddleButton,
                              Qt::NoModifier);
            event.ignore();
            (tool->*op)(&event);
            EXPECT_TRUE(event.isAccepted()) << type;
        }
        QWheelEvent wheel(QPointF(10, 10), QPointF(10, 10), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        wheel.ignore();
        tool->wheel(&wheel);
        EXPECT_TRUE(wheel.isAccepted()) << type;
        QEvent aux(QEvent::User);
        aux.ignore();
        tool->auxEvent(&aux);
        EXPECT_TRUE(aux.isAccepted()) << type;
    }
}

// The zoom tool's wheel leaves its band spanning from where the last press
// was (on the board, so it follows the zoom) to the wheel position.
TEST_F(BoxTools, ZoomToolWheelSpansItsBandFromThePressPoint) {
    show();
    view->changeTool(T::ZOOMIN_TOOL);
    QTest::mousePress(view, Qt::LeftButton, Qt::NoModifier, QPoint(100, 80));
    const QPointF pressed = view->toBoard(QPoint(100, 80));
    QWheelEvent wheel(QPointF(250, 200), QPointF(view->mapToGlobal(QPoint(250, 200))), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view, &wheel);
    int px = 0, py = 0;
    view->db2view(pressed.x(), pressed.y(), px, py);
    const QList<QRubberBand*> bands = view->findChildren<QRubberBand*>();
    ASSERT_EQ(bands.size(), 1);
    EXPECT_EQ(bands[0]->geometry(), QRect(QPoint(px, py), QPoint(250, 200)).normalized());
}

// The tools that can take back the last edit hand that request to the view.
TEST_F(BoxTools, DeleteLastReachesTheViewsUndoOfTheLastEdit) {
    const std::pair<T::GRAPHIC_TOOL_TYPE, qint32> cases[] = {{T::TEXT_INFO_TOOL, 10000515}, {T::SELECT_TOOL, 10000518}};
    for (const auto& c : cases) {
        view->changeTool(c.first);
        testsupport::MessageRecorder messages;
        QMetaObject::invokeMethod(view->currentTool(), "delete_last");
        EXPECT_EQ(messages.codes(), QList<qint32>{c.second}) << c.first;
    }
}
