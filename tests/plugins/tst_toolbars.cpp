// The edit and move tool bars beside the real view: what a click asks the
// view for and what tool the view then holds, the pressed button following
// the view's own requests, the snap modes, typed offsets moving features in
// the kernel, and the attribute filter's report.
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QToolBar>

#include "ViewTool/MoveAndCopy.h"
#include "ViewTool/SelectTool.h"
#include "sibling_fixture.h"

using namespace siblings;
using testsupport::MessageRecorder;
using testsupport::ScopedJob;
using T = TOLVA::GRAPHIC::Graphic_ViewTool;

namespace {

constexpr double kMm = 1e6;

class Toolbars : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        editBar = load(PluginNames::ToolbarEdit);
        moveBar = load(PluginNames::ToolbarMove);
        editBar->setGeometry(QRect(QPoint(0, 0), editBar->sizeHint()));
        moveBar->setGeometry(0, 50, 900, 40);
        showHost();
    }
    QStringList pressedButtons() const {
        QStringList pressed;
        for (QAction* a : editBar->actions())
            if (a->isChecked()) pressed << a->objectName();
        return pressed;
    }
    std::vector<qint32> codesToView(const MessageRecorder& rec) const {
        std::vector<qint32> codes;
        for (const auto& e : rec.entries())
            if (e.msg.receiver == PluginNames::GraphicView) codes.push_back(e.msg.msgType);
        return codes;
    }
    int selectMode() const {
        auto* select = dynamic_cast<TOLVA::GRAPHIC::SelectTool*>(view->currentTool());
        return select ? select->selectMode() : -1;
    }
    QWidget* editBar = nullptr;
    QWidget* moveBar = nullptr;
};

struct ToolCase {
    const char* button;
    qint32 request;
    int toolType;
    int selectMode;  // -1: not the select tool
};
const ToolCase kToolCases[] = {
    {"selectFeature", 20000202, T::SELECT_TOOL, 0}, {"selectArea", 20000203, T::SELECT_TOOL, 1},
    {"selectPolygon", 20000223, T::SELECT_TOOL, 3}, {"selectNet", 20000224, T::SELECT_TOOL, 4},
    {"selectPolyline", 20000242, T::SELECT_TOOL, 5}, {"selectLayerNet", 20000244, T::SELECT_TOOL, 7},
    {"selectBoardNet", 20000245, T::SELECT_TOOL, 8}, {"measure", 20000230, T::RULER_TOOL, -1},
    {"zoomArea", 20000201, T::ZOOMIN_TOOL, -1},
};

TEST_F(Toolbars, EachButtonAsksTheViewForItsToolAndStaysAloneInPressed) {
    for (const ToolCase& c : kToolCases) {
        SCOPED_TRACE(c.button);
        MessageRecorder rec;
        click(editBar, c.button);
        EXPECT_EQ(codesToView(rec), std::vector<qint32>{c.request});
        EXPECT_EQ(toolType(), c.toolType);
        EXPECT_EQ(selectMode(), c.selectMode);
        EXPECT_EQ(pressedButtons(), QStringList{c.button});
    }
}

// The view's context menu asks the tool bar; the tool bar presses the
// button and sends the view the request that opens the tool.
struct MenuCase {
    void (ViewWidget::*entry)();
    const char* button;
    qint32 askedWith;
    qint32 request;
    int toolType;
};
const MenuCase kMenuCases[] = {
    {&ViewWidget::on_select_feature, "selectFeature", 20000202, 20000202, T::SELECT_TOOL},
    {&ViewWidget::on_select_area, "selectArea", 20000203, 20000203, T::SELECT_TOOL},
    {&ViewWidget::on_select_polygon, "selectPolygon", 20000223, 20000223, T::SELECT_TOOL},
    {&ViewWidget::on_select_polyline, "selectPolyline", 20000242, 20000242, T::SELECT_TOOL},
    {&ViewWidget::on_select_layer_net, "selectLayerNet", 20000244, 20000244, T::SELECT_TOOL},
    {&ViewWidget::on_select_board_net, "selectBoardNet", 20000245, 20000245, T::SELECT_TOOL},
    // The view reads 20000247 as a contour answer: the ruler is asked with its own code.
    {&ViewWidget::on_Measure, "measure", 20000247, 20000230, T::RULER_TOOL},
    {&ViewWidget::on_zoom_area, "zoomArea", 20000201, 20000201, T::ZOOMIN_TOOL},
};

TEST_F(Toolbars, TheViewsMenuPressesTheButtonAndTheToolOpens) {
    for (const MenuCase& c : kMenuCases) {
        SCOPED_TRACE(c.button);
        view->changeTool(T::NORMAL_TOOL);
        MessageRecorder rec;
        (view->*c.entry)();
        ASSERT_EQ(rec.entries().size(), 2u);
        EXPECT_EQ(rec.entries()[0].msg.receiver, PluginNames::ToolbarEdit);
        EXPECT_EQ(rec.entries()[0].msg.msgType, c.askedWith);
        EXPECT_EQ(rec.entries()[1].msg.receiver, PluginNames::GraphicView);
        EXPECT_EQ(rec.entries()[1].msg.msgType, c.request);
        EXPECT_EQ(toolType(), c.toolType);
        EXPECT_EQ(pressedButtons(), QStringList{c.button});
    }
}

TEST_F(Toolbars, ResettingTheViewReleasesEveryButton) {
    click(editBar, "selectArea");
    ASSERT_EQ(pressedButtons(), QStringList{"selectArea"});
    view->reset_tool_status();
    EXPECT_TRUE(pressedButtons().isEmpty());
    EXPECT_EQ(toolType(), T::NORMAL_TOOL);
}

// The view switches the ruler off when asked twice, but only re-configures
// the select tool: the buttons follow.
TEST_F(Toolbars, ASecondClickReleasesOnlyWhereTheViewSwitchesOff) {
    for (const char* button : {"measure", "zoomArea"}) {
        SCOPED_TRACE(button);
        click(editBar, button);
        click(editBar, button);
        EXPECT_TRUE(pressedButtons().isEmpty());
        EXPECT_EQ(toolType(), T::NORMAL_TOOL);
    }
    for (const ToolCase& c : kToolCases) {
        if (c.toolType != T::SELECT_TOOL) continue;
        SCOPED_TRACE(c.button);
        click(editBar, c.button);
        click(editBar, c.button);
        EXPECT_EQ(pressedButtons(), QStringList{c.button});
        EXPECT_EQ(toolType(), T::SELECT_TOOL);
        EXPECT_EQ(selectMode(), c.selectMode);
    }
}

TEST_F(Toolbars, SnapChoicesSetTheViewsSnapModeInOrder) {
    using namespace TOLVA::UIAPI;
    struct SnapCase {
        qint32 code;
        int mode;
    };
    // Top to bottom in the drop-down, starting below "Snap Off".
    const SnapCase cases[] = {{20001653, SNAP_CENTER},       {20001651, SNAP_SKELETON}, {20001649, SNAP_EDGE},
                              {20001650, SNAP_INTERSECTION}, {20001652, SNAP_GRID},     {20001654, SNAP_MIDPOINT},
                              {20001676, SNAP_PROFILE}};
    auto* snap = child<QComboBox>(editBar, "snapMode");
    ASSERT_TRUE(snap);
    bool inTheBar = false;  // laid out among the buttons, not merely owned
    for (QAction* a : editBar->actions()) inTheBar = inTheBar || static_cast<QToolBar*>(editBar)->widgetForAction(a) == snap;
    EXPECT_TRUE(inTheBar);
    ASSERT_EQ(snap->currentIndex(), 0);
    for (const SnapCase& c : cases) {
        SCOPED_TRACE(c.code);
        MessageRecorder rec;
        QTest::keyClick(snap, Qt::Key_Down);
        EXPECT_EQ(codesToView(rec), std::vector<qint32>{c.code});
        EXPECT_EQ(getSnapMode(&host), c.mode);
        EXPECT_TRUE(getCoordinate(&host).snap_on);
    }
    MessageRecorder rec;
    QTest::keyClick(snap, Qt::Key_Home);
    EXPECT_EQ(codesToView(rec), std::vector<qint32>{20001647});
    EXPECT_EQ(getSnapMode(&host), SNAP_OFF);
    EXPECT_FALSE(getCoordinate(&host).snap_on);
}

TEST_F(Toolbars, ForwardedAttributesAndSymbolsShowInTheStatus) {
    auto* status = child<QLabel>(editBar, "status");
    ASSERT_TRUE(status);
    view->forwardAttributePointInfo(PluginNames::ToolbarEdit, 20001807, {{".smd", ""}, {".net", "GND"}});
    EXPECT_EQ(status->text(), "Attributes: .net=GND, .smd=");
    view->forwardChangeSymbolPointInfo(PluginNames::ToolbarEdit, "r250");
    EXPECT_EQ(status->text(), "Symbol: symbol=r250");
    EXPECT_EQ(editBar->toolTip(), status->text());
    // Codes the tool bar does not serve change nothing.
    deliver(PluginNames::GraphicView, PluginNames::ToolbarEdit, 20000299, {{"x", 1}});
    EXPECT_EQ(status->text(), "Symbol: symbol=r250");
    EXPECT_TRUE(pressedButtons().isEmpty());
}

TEST_F(Toolbars, MoveAndCopyOpenTheViewsMoveToolInTheirMode) {
    struct Case {
        const char* button;
        qint32 code;
        TOLVA::GRAPHIC::MoveAndCopy::Mode mode;
    };
    for (const Case& c : {Case{"move", 20000207, TOLVA::GRAPHIC::MoveAndCopy::MoveMode},
                          Case{"copy", 20000208, TOLVA::GRAPHIC::MoveAndCopy::CopyMode}}) {
        SCOPED_TRACE(c.button);
        MessageRecorder rec;
        click(moveBar, c.button);
        EXPECT_EQ(codesToView(rec), std::vector<qint32>{c.code});
        auto* tool = dynamic_cast<TOLVA::GRAPHIC::MoveAndCopy*>(view->currentTool());
        ASSERT_TRUE(tool);
        EXPECT_EQ(tool->mode(), c.mode);
    }
}

// A typed offset in the display unit moves (or copies) the selection by
// that many nanometres; one decimal step more or less would show.
TEST_F(Toolbars, TypedOffsetsMoveOrCopyTheSelectionInTheKernel) {
    struct Case {
        const char* unit;
        const char* button;
        const char* dx;
        const char* dy;
        double dxNm, dyNm;
        int featuresAfter;
    };
    const Case cases[] = {
        {"MM", "moveByOffset", "1.5", "-0.3", 1.5 * kMm, -300000, 1},
        {"MM", "copyByOffset", "0.0007", "2", 700, 2 * kMm, 2},
        {"Inch", "moveByOffset", "0.1", "-0.00001", 2540000, -254, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.unit) + " " + c.button + " " + c.dx);
        ScopedJob job("toolbar_offset", 20 * kMm, 20 * kMm, {"top"});
        job.addPad("top", 5 * kMm, 5 * kMm, "r100");
        bind(job.name(), {"top"}, "top");
        selectAll(job.name(), "top");
        TOLVA::UIAPI::setUnitString(c.unit);
        MessageRecorder rec;
        action(moveBar, c.button)->trigger();
        auto* dialog = child<QDialog>(moveBar, "offsetDialog");
        ASSERT_TRUE(dialog);
        type(child<QDoubleSpinBox>(dialog, "dx"), c.dx);
        type(child<QDoubleSpinBox>(dialog, "dy"), c.dy);
        pressOk(dialog);
        const auto sent = rec.withCode(std::string(c.button) == "moveByOffset" ? 20000209 : 20000210);
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_DOUBLE_EQ(sent[0].data.value("dx").toDouble(), c.dxNm);
        EXPECT_DOUBLE_EQ(sent[0].data.value("dy").toDouble(), c.dyNm);
        ASSERT_EQ(TOLVA::JOB::feature_count(job.name(), ScopedJob::kStep, "top"), c.featuresAfter);
        const TOLVA::API::featureInfo moved = feature(job.name(), "top", c.featuresAfter - 1);
        EXPECT_DOUBLE_EQ(moved.xs, 5 * kMm + c.dxNm);
        EXPECT_DOUBLE_EQ(moved.ys, 5 * kMm + c.dyNm);
        TOLVA::UIAPI::setUnitString("MM");
    }
}

TEST_F(Toolbars, CancellingTheOffsetDialogSendsNothing) {
    MessageRecorder rec;
    action(moveBar, "moveByOffset")->trigger();
    auto* dialog = child<QDialog>(moveBar, "offsetDialog");
    ASSERT_TRUE(dialog);
    QPointer<QDialog> closing(dialog);
    dialog->reject();
    EXPECT_TRUE(QTest::qWaitFor([&] { return closing.isNull(); }, 2000));
    EXPECT_TRUE(rec.withCode(20000209).empty());
}

TEST_F(Toolbars, TheFilterReportNamesPickKindLayerAndCounts) {
    struct Case {
        qint32 code;
        const char* text;
    };
    const Case cases[] = {{20000061, "First pick select on top: 3 selected, 1 dropped"},
                          {20000062, "Pick select on top: 3 selected, 1 dropped"},
                          {20000063, "First pick unselect on top: 3 selected, 1 dropped"},
                          {20000064, "Pick unselect on top: 3 selected, 1 dropped"}};
    auto* report = child<QLabel>(moveBar, "filterReport");
    ASSERT_TRUE(report);
    auto* bar = qobject_cast<QToolBar*>(moveBar);
    ASSERT_TRUE(bar);
    bool onTheBar = false;
    for (QAction* a : bar->actions()) onTheBar = onTheBar || bar->widgetForAction(a) == report;
    EXPECT_TRUE(onTheBar) << "the report sits on the tool bar";
    for (const Case& c : cases) {
        deliver(PluginNames::GraphicView, PluginNames::ToolbarMove, c.code,
                {{"LayerName", "top"}, {"count", 3}, {"dropped", 1}});
        EXPECT_EQ(report->text(), c.text);
    }
    deliver(PluginNames::GraphicView, PluginNames::ToolbarMove, 20000065, {{"LayerName", "bottom"}});
    EXPECT_EQ(report->text(), cases[3].text);
}

// The view's attribute filter reports to the move tool bar through the real path.
TEST_F(Toolbars, TheViewsFilterSelectionReachesTheReport) {
    ScopedJob job("toolbar_filter", 20 * kMm, 20 * kMm, {"top"});
    job.addPad("top", 5 * kMm, 5 * kMm, "r100");
    job.addPad("top", 6 * kMm, 5 * kMm, "r100");
    bind(job.name(), {"top"}, "top");
    view->send_filter_selection_info(QRectF(QPointF(0, 0), QPointF(10 * kMm, 10 * kMm)), true, true);
    EXPECT_EQ(child<QLabel>(moveBar, "filterReport")->text(), "First pick select on top: 2 selected, 0 dropped");
}

}  // namespace
