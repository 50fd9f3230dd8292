// The tool factory, the toggle rule and the ways back to an earlier tool.
#include <gtest/gtest.h>

#include <QTest>
#include <memory>

#include "PluginNames.h"
#include "ViewTool/SelectTool.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using T = Graphic_ViewTool;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;

namespace {

class ToolSwitching : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        view->resize(300, 200);
    }
    void TearDown() override { delete view; }
    void deliver(qint32 code) {
        PluginMetaData msg(PluginNames::ToolbarEdit, PluginNames::GraphicView, code);
        recMsgFromManager(view, &msg);
    }
    int type() const { return view->currentTool()->getType(); }

    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
};

}  // namespace

TEST_F(ToolSwitching, FactoryTypesIncludingTheMisreportingRows) {
    // requested -> reported
    static constexpr std::pair<int, int> kRows[] = {
        {0, 0},   {1, 1},   {2, 2},   {3, 3},   {4, 4},   {5, 5},   {6, 0},   {7, 0},   {8, 8},   {9, 9},
        {10, 0},  {11, 0},  {12, 0},  {13, 13}, {14, 14}, {15, 0},  {16, 16}, {17, 17}, {18, 0},  {19, 0},
        {20, 0},  {24, 0},  {25, 1},  {26, 26}, {27, 26}, {28, 28}, {29, 0},  {30, 30}, {31, 31}, {32, 32},
        {33, 33}, {34, 1},  {35, 35}, {36, 36}, {37, 37}, {38, 38}, {39, 0},  {-1, 0},
    };
    for (const auto& row : kRows) {
        std::unique_ptr<Graphic_ViewTool> tool(createTool(view, static_cast<T::GRAPHIC_TOOL_TYPE>(row.first)));
        ASSERT_NE(tool, nullptr) << row.first;
        EXPECT_EQ(tool->getType(), row.second) << "requested " << row.first;
    }
}

TEST_F(ToolSwitching, AFreshViewHasTheNormalTool) {
    ASSERT_NE(view->currentTool(), nullptr);
    EXPECT_EQ(type(), T::NORMAL_TOOL);
    EXPECT_EQ(view->lastToolMessage().msgType, -1);
}

TEST_F(ToolSwitching, AskingTwiceSwitchesOffExceptForDrawSymbol) {
    struct Case { int first, second, expected; };
    static constexpr Case cases[] = {
        {1, 1, 0},    // select twice: off
        {30, 30, 30}, // draw symbol stays
        {19, 19, 0},  // a normal tool reports 0, so 19 again is not a repeat
        {25, 1, 0},   // the edit tool reports 1: a select request counts as a repeat
        {34, 1, 0},   // so does the step-and-repeat tool
        {25, 25, 1},  // asking for the edit tool again makes a fresh one
        {26, 27, 26}, // both region-division modes report 26: 27 after 26 is new
        {27, 26, 0},  // ... and 26 after 27 is a repeat
        {3, 4, 4},
    };
    for (const Case& c : cases) {
        view->changeTool(T::NORMAL_TOOL);
        view->changeTool(static_cast<T::GRAPHIC_TOOL_TYPE>(c.first));
        view->changeTool(static_cast<T::GRAPHIC_TOOL_TYPE>(c.second));
        EXPECT_EQ(type(), c.expected) << c.first << " then " << c.second;
    }
}

TEST_F(ToolSwitching, OldToolIsGoneAtOnceAndDeletedLater) {
    view->changeTool(T::SELECT_TOOL);
    QPointer<Graphic_ViewTool> old = view->currentTool();
    view->changeTool(T::RULER_TOOL);
    EXPECT_NE(view->currentTool(), old.data());
    EXPECT_EQ(view->cursor().shape(), Qt::ArrowCursor);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(old.isNull());
}

TEST_F(ToolSwitching, ChangeToLastToolWithoutMemoryGivesTheZoomTool) {
    view->change_to_last_tool();
    EXPECT_EQ(type(), T::ZOOMIN_TOOL);
    deliver(20000203);
    view->reset_tool_status();
    EXPECT_EQ(type(), T::NORMAL_TOOL);
    view->change_to_last_tool();
    EXPECT_EQ(type(), T::ZOOMIN_TOOL);
}

TEST_F(ToolSwitching, ChangeToLastToolReplaysTheRememberedRequest) {
    deliver(20000203);  // select by area
    view->changeTool(T::RULER_TOOL);
    view->change_to_last_tool();
    ASSERT_EQ(type(), T::SELECT_TOOL);
    EXPECT_EQ(static_cast<SelectTool*>(view->currentTool())->selectMode(), SelectTool::AreaMode);
    // Replays do not forget: it works again.
    view->changeTool(T::RULER_TOOL);
    view->change_to_last_tool();
    EXPECT_EQ(type(), T::SELECT_TOOL);
}

TEST_F(ToolSwitching, TvdiCodeTwiceReturnsToTheEarlierTool) {
    deliver(20000224);  // select by net
    deliver(20004401);
    EXPECT_TRUE(view->tvdiMode());
    EXPECT_EQ(type(), T::NORMAL_TOOL);
    deliver(20004401);
    EXPECT_FALSE(view->tvdiMode());
    ASSERT_EQ(type(), T::SELECT_TOOL);
    EXPECT_EQ(static_cast<SelectTool*>(view->currentTool())->selectMode(), SelectTool::NetMode);
}

TEST_F(ToolSwitching, TvdiCodeTwiceWithNothingRememberedGivesTheZoomTool) {
    view->changeTool(T::RULER_TOOL);
    deliver(20004401);
    deliver(20004401);
    EXPECT_EQ(type(), T::ZOOMIN_TOOL);
}

TEST_F(ToolSwitching, SelectModeCodeWhileSelectingOnlyChangesTheMode) {
    deliver(20000202);
    Graphic_ViewTool* tool = view->currentTool();
    const int params = view->toolParams().size();
    deliver(20000203);
    EXPECT_EQ(view->currentTool(), tool);
    EXPECT_EQ(static_cast<SelectTool*>(tool)->selectMode(), SelectTool::AreaMode);
    EXPECT_EQ(view->toolParams().size(), params + 1);
    EXPECT_EQ(view->toolParams().last().type, T::SELECT_TOOL);
    EXPECT_EQ(view->toolParams().last().header.sender, PluginNames::GraphicView);
    EXPECT_EQ(view->toolParams().last().header.msgType, -1);
    // A code of the same handler that is not a mode switches the tool off.
    LogCapture logs;
    deliver(20000204);
    EXPECT_EQ(type(), T::NORMAL_TOOL);
}

TEST_F(ToolSwitching, SelectRequestWhileTheEditToolIsActiveGoesToTheEditTool) {
    view->changeTool(T::EDIT_TOOL);
    Graphic_ViewTool* tool = view->currentTool();
    LogCapture logs;
    deliver(20000202);
    EXPECT_EQ(view->currentTool(), tool);
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "EDIT_TOOL: type error when set work type!"), 1);
}

TEST_F(ToolSwitching, ClipCodesAlwaysStartAFreshSelectTool) {
    deliver(20000202);
    Graphic_ViewTool* first = view->currentTool();
    view->polygonPoints() << QPointF(1, 2);
    const int params = view->toolParams().size();
    deliver(20002001);
    ASSERT_EQ(type(), T::SELECT_TOOL);
    EXPECT_NE(view->currentTool(), first);
    EXPECT_TRUE(view->polygonPoints().isEmpty());
    auto* select = static_cast<SelectTool*>(view->currentTool());
    EXPECT_EQ(select->selectMode(), SelectTool::PolygonMode);
    EXPECT_EQ(select->clipMode(), SelectTool::ClipPolygon);
    EXPECT_EQ(view->toolParams().size(), params);  // clip requests are not recorded
}

TEST_F(ToolSwitching, ChangeToSelectToolSendsItsOddParameter) {
    MessageRecorder messages;
    deliver(20000223);  // polygon mode; the select tool is active now
    view->changeTool(T::NORMAL_TOOL);
    view->change_to_select_tool();
    ASSERT_EQ(type(), T::SELECT_TOOL);
    auto* select = static_cast<SelectTool*>(view->currentTool());
    EXPECT_EQ(select->selectMode(), SelectTool::FeatureMode);  // a fresh tool, mode kept at 0
    EXPECT_TRUE(select->modeChanged());
    const ToolParam& param = view->toolParams().last();
    EXPECT_EQ(param.message.sender, QString(QChar(0x00CA)));
    EXPECT_EQ(param.message.msgType, PluginMetaData().msgType);
    const auto toolbar = messages.withCode(20000202);
    ASSERT_EQ(toolbar.size(), 1u);
    EXPECT_EQ(toolbar[0].receiver, PluginNames::ToolbarEdit);
    // With the select tool already active it toggles to the normal tool.
    view->change_to_select_tool();
    EXPECT_EQ(type(), T::NORMAL_TOOL);
}

TEST_F(ToolSwitching, ResetForgetsAndReleasesTheButtons) {
    MessageRecorder messages;
    LogCapture logs;
    deliver(20000206);
    view->reset_tool_status();
    EXPECT_EQ(type(), T::NORMAL_TOOL);
    EXPECT_EQ(view->lastToolMessage().msgType, -1);
    ASSERT_EQ(messages.withCode(10000205).size(), 1u);
    EXPECT_EQ(messages.withCode(10000205)[0].receiver, PluginNames::ToolbarEdit);
    EXPECT_TRUE(logs.contains("GRAPHIC_VIEW:\tReset tool complete!"));
}

TEST_F(ToolSwitching, ToolsLogTheirInitAndTypeErrors) {
    LogCapture logs;
    view->changeTool(T::PULL_TOOL);
    EXPECT_TRUE(logs.contains("PULL_TOOL : INIT"));
    PluginMetaData known(PluginNames::ToolbarEdit, PluginNames::GraphicView, 20000219);
    view->currentTool()->setWorkParam(&known);
    EXPECT_EQ(logs.count(google::GLOG_ERROR), 0);
    PluginMetaData unknown(PluginNames::ToolbarEdit, PluginNames::GraphicView, 4242);
    view->currentTool()->setWorkParam(&unknown);
    EXPECT_EQ(logs.count(google::GLOG_ERROR, "PULL_TOOL: type error when set work type!"), 1);
}

// A factory that fails (no memory for the tool, or a tool that throws while
// it is built) leaves the active tool in place and untouched by the request
// that asked for the new one.
TEST_F(ToolSwitching, AFailedCreationKeepsTheActiveTool) {
    struct Case {
        const char* name;
        ToolFactory factory;
        const char* shown;  // the box the operator sees, if any
    };
    const Case cases[] = {
        {"allocation failure", [](ViewWidget*, T::GRAPHIC_TOOL_TYPE) -> Graphic_ViewTool* { return nullptr; }, nullptr},
        {"constructor throws",
         [](ViewWidget*, T::GRAPHIC_TOOL_TYPE) -> Graphic_ViewTool* { throw std::string("no room for the tool"); },
         "no room for the tool"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        view->changeTool(T::NORMAL_TOOL);
        deliver(20000203);  // the select tool in area mode
        auto* select = qobject_cast<SelectTool*>(view->currentTool());
        ASSERT_NE(select, nullptr);
        prompts.clear();
        LogCapture logs;
        const ToolFactory previous = setToolFactory(c.factory);
        view->changeTool(T::DELETE_TOOL);
        deliver(20000206);  // the delete tool by request
        view->change_to_last_tool();  // the same request replayed
        // A clip always starts a fresh select tool, outside the switch that
        // reports failures: a throwing factory's failure is passed on.
        int passedOn = 0;
        try {
            deliver(20002000);
        } catch (const std::string&) {
            ++passedOn;
        }
        EXPECT_EQ(passedOn, c.shown ? 1 : 0);
        setToolFactory(previous);
        EXPECT_EQ(view->currentTool(), select);
        EXPECT_EQ(select->selectMode(), SelectTool::AreaMode);  // no request reached it
        EXPECT_EQ(select->clipMode(), SelectTool::NoClip);
        if (c.shown) {
            ASSERT_FALSE(prompts.requests().empty());
            EXPECT_EQ(prompts.requests()[0].title, "Information");
            EXPECT_EQ(prompts.requests()[0].text, c.shown);
        } else {
            EXPECT_GE(logs.count(google::GLOG_ERROR, "could not be created"), 1);
        }
        // Once the factory works again, switching works again.
        view->changeTool(T::DELETE_TOOL);
        EXPECT_EQ(type(), T::DELETE_TOOL);
    }
}
