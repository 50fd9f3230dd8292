// Every code of the dispatcher reaches its operation; codes between listed
// codes change nothing; flag codes read their bool through the payload.
// Messages go through the exported recMsgFromManager of the real plug-in.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSignalSpy>
#include <QTimer>
#include <functional>
#include <typeinfo>
#include <cmath>
#include <map>
#include <set>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "Widget_Common.h"
#include "ViewTool/AllignholeTool.h"
#include "ViewTool/DeleteTool.h"
#include "ViewTool/DrawSymbolTool.h"
#include "ViewTool/EditTool.h"
#include "ViewTool/LineEditTool.h"
#include "ViewTool/MarkTool.h"
#include "ViewTool/MoveAndCopy.h"
#include "ViewTool/NormalTool.h"
#include "ViewTool/NotesTool.h"
#include "ViewTool/PointTool.h"
#include "ViewTool/PopViewTool.h"
#include "ViewTool/ProfileBoundTool.h"
#include "ViewTool/PullTool.h"
#include "ViewTool/RotateTool.h"
#include "ViewTool/RulerTool.h"
#include "ViewTool/SRSelectTool.h"
#include "ViewTool/RoutTool.h"
#include "ViewTool/SelectTool.h"
#include "ViewTool/StepRepeatTool.h"
#include "ViewTool/ZoomInTool.h"
#include "graphic_view/graphic_view.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using testsupport::LogCapture;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

// The fixture's box recorder, for probes made outside the fixture.
PromptRecorder* g_prompts = nullptr;

// The operation each code reaches, grouped by operation.
struct Expected {
    const char* operation;
    std::vector<std::pair<qint32, qint32>> ranges;
};
const std::vector<Expected>& expectedRoutes() {
    static const std::vector<Expected> table = {
        {"draw_use_symbol", {{50, 50}}},
        {"set_symbol_attributes", {{51, 51}}},
        {"draw_use_symbol_line", {{52, 52}}},
        {"show_contour_fill_parameters", {{53, 53}}},
        {"get_selected_layers", {{54, 54}}},
        {"get_clayer", {{55, 58}}},
        {"doSignalBoxSelect", {{10000102, 10000102}, {20000061, 20000064}, {20000202, 20000205}, {20000215, 20000215},
                               {20000223, 20000224}, {20000227, 20000229}, {20000236, 20000236}, {20000242, 20000245},
                               {20002000, 20002001}, {20004801, 20004801}}},
        {"zoom area", {{20000201, 20000201}}},  // the tool bar's answer to the menu's "Zoom Area"
        {"doRotate", {{10000302, 10000302}}},
        {"option flag 1", {{10000506, 10000506}}},
        {"option flag 2", {{10000510, 10000511}, {10000513, 10000514}}},
        {"option flag 3", {{10000519, 10000519}}},
        {"option flag 4", {{10000520, 10000520}}},
        {"redoZoomin", {{20000009, 20000009}}},
        {"change_current_snap_mode", {{20000050, 20000058}}},
        {"get_archor_signal", {{20000059, 20000059}, {20001405, 20001412}, {20001419, 20001419}, {20002838, 20002838},
                               {20004202, 20004202}}},
        {"zoomIn_search_feature", {{20000065, 20000065}}},
        {"diSignalBoxDelete", {{20000206, 20000206}}},
        {"doMoveAndCopySelect", {{20000207, 20000210}}},
        {"doLineEditSelect", {{20000211, 20000213}, {20000216, 20000216}, {20000237, 20000240}, {20001404, 20001404}}},
        {"doPullFeatureSelect", {{20000219, 20000222}, {20000249, 20000250}, {20000260, 20000260}, {20004203, 20004204}}},
        {"doOpenPopView", {{20000225, 20000225}}},
        {"doMeasureSelect", {{20000230, 20000234}}},
        {"do_buffer_tool_change", {{20000241, 20000241}, {20001416, 20001417}}},
        {"select_net_items", {{20000246, 20000246}}},
        {"select_contour_items", {{20000247, 20000247}}},
        {"change_SR_Edit_tool", {{20000254, 20000254}, {20000256, 20000256}, {20000259, 20000259}, {20000267, 20000267}}},
        {"change_Notes_tool", {{20000263, 20000263}}},
        {"note_zoom_to_box", {{20000264, 20000264}}},
        {"change_layer_draw_note", {{20000265, 20000265}}},
        {"do_mark", {{20000266, 20000266}}},
        {"show_marksetting", {{20000268, 20000268}}},
        {"add_note_from_check_point", {{20000269, 20000269}}},
        {"doOpenEditTool", {{20000270, 20000270}}},
        {"transform_selection", {{20000271, 20000271}}},
        {"bus_edit", {{20000272, 20000272}}},
        {"display flag on", {{20000405, 20000405}}},
        {"display flag off", {{20000406, 20000406}}},
        {"showNetAnalyzeResult", {{20000410, 20000410}}},
        {"draw", {{20000417, 20000417}}},
        {"clear status flag", {{20000422, 20000422}}},
        {"eq_zoomIn_special_points", {{20001012, 20001012}}},
        {"get_offset", {{20001402, 20001403}}},
        {"edit_coordinate_setting", {{20001413, 20001415}}},
        {"change_step_repeat_tool", {{20001418, 20001418}}},
        {"change_SRselect_tool", {{20001420, 20001421}, {20001425, 20001425}}},
        {"repeat_selected_features", {{20001605, 20001605}}},
        {"GraphicEditorUndo", {{20001618, 20001618}}},
        {"relay to the job list", {{20001630, 20001630}}},
        {"setJobAndStep", {{20001637, 20001637}}},
        {"snap mode 7", {{20001647, 20001647}}},
        {"snap mode 2", {{20001649, 20001649}}},
        {"snap mode 3", {{20001650, 20001650}}},
        {"snap mode 1", {{20001651, 20001651}}},
        {"snap mode 4", {{20001652, 20001652}}},
        {"snap mode 0", {{20001653, 20001653}}},
        {"snap mode 5", {{20001654, 20001654}}},
        {"snap mode 6", {{20001676, 20001676}}},
        {"get_Mouse_rect", {{20001656, 20001656}}},
        {"sent_Mouse_Point", {{20001664, 20001664}, {20001670, 20001670}}},
        {"get_coordinate_data", {{20001665, 20001665}, {20003201, 20003201}}},
        // A plug-in asks for a point; the answer comes back with the same code.
        {"doPointSelect", {{20001802, 20001803}, {20001805, 20001805}, {20001809, 20001809}, {20001814, 20001814}}},
        {"draw_center", {{20001822, 20001822}}},
        {"refresh_layer_compare_show", {{20001825, 20001825}}},
        {"unselect_clip_area", {{20002002, 20002002}}},
        {"change_unit", {{20002200, 20002200}}},
        {"setText", {{20002201, 20002201}}},
        {"get_analyze_data", {{20002801, 20002808}, {20002811, 20002816}, {20002818, 20002818}, {20002825, 20002826},
                              {20002829, 20002830}, {20002832, 20002836}, {20002840, 20002841}}},
        {"clear_result_viewer_painter", {{20002810, 20002810}, {20002831, 20002831}}},
        {"get_DFM_data", {{20002817, 20002817}, {20002819, 20002820}, {20002822, 20002823}, {20002843, 20002844}}},
        {"on_enter_pressed", {{20003202, 20003202}}},
        {"get_coordinate_effect_layers", {{20003204, 20003204}}},
        {"clearMeasurements", {{20003208, 20003208}}},
        {"create_rout_chain", {{20003901, 20003901}}},
        {"get_rout_selectorder", {{20003902, 20003903}}},
        {"do_drawchain", {{20003905, 20003905}}},
        {"change_to_last_tool", {{20003906, 20003906}}},
        {"get_addchain_vector", {{20003908, 20003908}}},
        {"do_compensate", {{20003910, 20003910}}},
        {"doDeletePopView", {{20003950, 20003950}}},
        {"setResizeHoleTmpData", {{20004205, 20004205}}},
        {"TVDI mode and tool", {{20004401, 20004401}}},
        {"TVDI mode", {{20004402, 20004402}}},
        {"show_tvdi_export", {{20004410, 20004410}}},
    };
    return table;
}

std::map<qint32, std::string> expectedByCode() {
    std::map<qint32, std::string> byCode;
    for (const Expected& e : expectedRoutes())
        for (const auto& r : e.ranges)
            for (qint32 c = r.first; c <= r.second; ++c) byCode[c] = e.operation;
    return byCode;
}

void deliver(ViewWidget* view, PluginMetaData msg) { recMsgFromManager(view, &msg); }

PluginMetaData message(qint32 code) { return PluginMetaData(PluginNames::JobList, PluginNames::GraphicView, code); }

class Dispatcher : public ::testing::Test {
protected:
    void SetUp() override {
        view = static_cast<ViewWidget*>(GetViewInstance(&host));
        ASSERT_NE(view, nullptr);
        view->resize(400, 300);
    }
    void TearDown() override { delete view; }
    QWidget host;
    ViewWidget* view = nullptr;
    PromptRecorder prompts;
    MessageRecorder* m_messages = nullptr;
    int m_undo = 0;
};

}  // namespace

TEST(DispatcherTable, IsSortedAndWithoutOverlaps) { EXPECT_TRUE(ViewWidget::messageRoutes().isWellFormed()); }

TEST(DispatcherTable, EveryListedCodeReachesItsOperationAndNothingElseIsRouted) {
    const std::map<qint32, std::string> expected = expectedByCode();
    const auto routes = ViewWidget::messageRoutes();
    for (const auto& e : expected) {
        const ViewRoute* route = routes.find(e.first);
        ASSERT_NE(route, nullptr) << e.first;
        EXPECT_EQ(route->name, e.second) << e.first;
    }
    std::size_t routed = 0;
    for (const ViewRoute& r : routes) routed += r.last - r.first + 1;
    EXPECT_EQ(routed, expected.size());
}

// ---- every code by the effect of the operation it reaches --------------------

namespace {

// What one operation does that no other operation does: `prepare` sets the
// view up and fills the message, `check` looks for the effect.
struct Probe {
    std::function<void(ViewWidget&, PluginMetaData&)> prepare;
    std::function<void(ViewWidget&, qint32 code)> check;
};

template <class Tool>
bool toolIs(const ViewWidget& v) {
    return dynamic_cast<const Tool*>(v.currentTool()) != nullptr;
}

template <class Tool>
Probe opensTool() {
    return {nullptr, [](ViewWidget& v, qint32 code) {
                EXPECT_TRUE(toolIs<Tool>(v)) << code << " opened " << typeid(*v.currentTool()).name();
            }};
}

Probe setsOptionFlag(int which) {
    static bool on = true;
    return {[](ViewWidget&, PluginMetaData& m) { m.payload = &on; },
            [which](ViewWidget& v, qint32 code) {
                for (int i = 1; i <= 4; ++i) EXPECT_EQ(v.optionFlag(i), i == which) << code;
            }};
}

// An operation that has nothing to work on says so in one box.
Probe refuses(const QString& text) {
    return {[](ViewWidget&, PluginMetaData&) { g_prompts->clear(); },
            [text](ViewWidget&, qint32 code) { EXPECT_EQ(g_prompts->texts(), QStringList{text}) << code; }};
}

// The net of feature 0 of "top" (it overlaps feature 1, feature 2 stands
// apart) is selected, and only that.
Probe selectsTheNet() {
    static ScopedJob nets{"dispatch_net", 1e7, 1e7, {"top"}};
    static const bool padded = (nets.addPad("top", 1e6, 1e6, "r200"), nets.addPad("top", 1.1e6, 1e6, "r200"),
                                nets.addPad("top", 5e6, 5e6, "r200"), true);
    (void)padded;
    return {[](ViewWidget& v, PluginMetaData& m) {
                testsupport::openJobInView(&v, "dispatch_net", "pcb", {"top"});
                TOLVA::API::select_feature_by_id("dispatch_net", "pcb", "top", 2);
                m.data = {{"Layer", "top"}, {"Index", 0}};
            },
            [](ViewWidget&, qint32 code) {
                std::vector<TOLVA::API::featureInfo> selected;
                TOLVA::API::get_selected_feature_info("dispatch_net", "pcb", "top", selected);
                ASSERT_EQ(selected.size(), 2u) << code;
            }};
}

// The job list's answer naming feature 0 of "top" selects it in the kernel.
Probe selectsAnsweredFeature() {
    static ScopedJob answered{"dispatch_answer", 1e6, 1e6, {"top"}};
    static const bool padded = (answered.addPad("top", 100, 100, "r10"), true);
    (void)padded;
    return {[](ViewWidget& v, PluginMetaData& m) {
                testsupport::openJobInView(&v, "dispatch_answer", "pcb", {"top"});
                TOLVA::API::clear_selected_features("dispatch_answer", "pcb", "top");
                m.data = {{"LayerName", "top"}, {"Indexes", QVariantList{0}}};
            },
            [](ViewWidget&, qint32 code) {
                EXPECT_TRUE(TOLVA::API::is_selected("dispatch_answer", "pcb", "top")) << code;
            }};
}

Probe storesSnapMode(int mode) {
    return {[mode](ViewWidget& v, PluginMetaData&) {
                PluginMetaData other = message(mode == 3 ? 20001652 : 20001650);  // start from another mode
                recMsgFromManager(&v, &other);
            },
            [mode](ViewWidget& v, qint32 code) { EXPECT_EQ(v.currentSnapMode(), mode) << code; }};
}

// Two results shown, an error at (3 mm, 1 mm) and a warning.
void loadCheckResults(ViewWidget& v, qint32 code) {
    auto record = [](const char* severity, double x) {
        return QVariantMap{{"Check", "spacing"}, {"Severity", severity}, {"Value", 1.0}, {"Limit", 2.0},
                           {"Location", "point"}, {"X1", x}, {"Y1", 1e6}};
    };
    PluginMetaData results = message(code);
    results.data.insert("Results", QVariantList{record("warning", 1e6), record("error", 3e6)});
    recMsgFromManager(&v, &results);
}

// The step codes make a result current; every other code of the operation
// replaces the two results shown with the one it carries.
Probe takesCheckResults(qint32 results, std::set<qint32> steps) {
    return {[results](ViewWidget& v, PluginMetaData& msg) {
                loadCheckResults(v, results);
                msg.data.insert("Results", QVariantList{QVariantMap{{"Check", "pad_size"}, {"Severity", "error"},
                                                                    {"Value", 1.0}, {"Limit", 2.0},
                                                                    {"Location", "point"}, {"X1", 0.0}, {"Y1", 0.0}}});
                msg.data.insert("Index", 0);
            },
            [steps](ViewWidget& v, qint32 code) {
                if (steps.count(code)) {
                    EXPECT_EQ(v.checkPoints().size(), 2) << code;
                    EXPECT_GE(v.currentCheckPosition(), 0) << code;
                } else {
                    ASSERT_EQ(v.checkPoints().size(), 1) << code;
                    EXPECT_EQ(v.checkPoints().front().check, "pad_size") << code;
                }
            }};
}

}  // namespace

TEST_F(Dispatcher, EveryCodeReachesItsOperationByItsEffect) {
    g_prompts = &prompts;
    static std::vector<TOLVA::API::point> crossList{{1200, -3400}};
    std::map<std::string, Probe> probes = {
        {"draw_use_symbol", opensTool<DrawSymbolTool>()},
        {"doSignalBoxSelect", opensTool<SelectTool>()},
        {"diSignalBoxDelete", opensTool<DeleteTool>()},
        {"doPointSelect", opensTool<PointTool>()},
        {"draw_use_symbol_line",
         {nullptr, [](ViewWidget& v, qint32) {
              const auto* draw = dynamic_cast<const DrawSymbolTool*>(v.currentTool());
              ASSERT_NE(draw, nullptr);
              EXPECT_EQ(draw->mode(), DrawSymbolTool::LineMode);
          }}},
        {"zoom area", opensTool<ZoomInTool>()},
        {"doMoveAndCopySelect", opensTool<MoveAndCopy>()},
        {"doLineEditSelect", opensTool<LineEditTool>()},
        {"doPullFeatureSelect", opensTool<PullTool>()},
        {"doOpenPopView", opensTool<PopViewTool>()},
        {"do_mark", opensTool<MarkTool>()},
        // Delete acts on the selected instances at once; move, copy and
        // rotate open the instance tool in their mode.
        {"change_SR_Edit_tool", {nullptr, [](ViewWidget& v, qint32 code) {
                                     EXPECT_EQ(toolIs<SRSelectTool>(v), code != 20000267) << code;
                                 }}},
        {"change_Notes_tool", opensTool<NotesTool>()},
        {"change_step_repeat_tool", opensTool<StepRepeatTool>()},
        {"change_SRselect_tool", opensTool<SRSelectTool>()},
        {"doMeasureSelect",
         {[](ViewWidget& v, PluginMetaData&) { v.polygonPoints().append(QPointF(1, 2)); },
          [](ViewWidget& v, qint32 code) {
              EXPECT_TRUE(toolIs<RulerTool>(v)) << code;
              EXPECT_TRUE(v.polygonPoints().isEmpty()) << code;  // then unselect_clip_area
          }}},
        {"get_selected_layers",
         {[](ViewWidget&, PluginMetaData& m) { m.data.insert("LayerList", QStringList{"l1", "l2"}); },
          [](ViewWidget& v, qint32) { EXPECT_EQ(v.get_show_layers(), (QStringList{"l1", "l2"})); }}},
        {"get_clayer",
         {[](ViewWidget&, PluginMetaData& m) {
              m.data = {{"clayer", "work"}, {"snap_layer", "snap"}, {"highlight_layer", "lit"},
                        {"RefJobName", "rj"}, {"RefStepName", "rs"}, {"RefLayerList", QStringList{"rl"}}};
          },
          [this](ViewWidget& v, qint32 code) {
              EXPECT_EQ(v.work_layer, code == 55 ? "work" : "") << code;
              EXPECT_EQ(v.snapLayer(), code == 56 ? "snap" : "") << code;
              EXPECT_EQ(v.highlightLayers(1), code == 57 ? QStringList{"lit"} : QStringList{}) << code;
              EXPECT_EQ(m_messages->withCode(20001701).size(), code == 58 ? 1u : 0u) << code;
              EXPECT_EQ(m_messages->withCode(20001702).size(), code == 58 ? 1u : 0u) << code;
          }}},
        {"doRotate", {nullptr, [](ViewWidget& v, qint32) { EXPECT_EQ(v.angle(), 90); }}},
        {"option flag 1", setsOptionFlag(1)},
        {"option flag 2", setsOptionFlag(2)},
        {"option flag 3", setsOptionFlag(3)},
        {"option flag 4", setsOptionFlag(4)},
        {"redoZoomin",
         {[](ViewWidget& v, PluginMetaData&) {
              v.pushZoomHistory();
              v.pushZoomHistory();
          },
          [](ViewWidget& v, qint32) { EXPECT_EQ(v.getZoomINStack()->size(), 1); }}},
        {"change_current_snap_mode",
         {nullptr, [](ViewWidget& v, qint32 code) { EXPECT_EQ(v.currentSnapMode(), std::min(code - 20000050, 7)); }}},
        {"do_buffer_tool_change",
         {[this](ViewWidget& v, PluginMetaData&) {
              v.changeTool(Graphic_ViewTool::SELECT_TOOL);
              prompts.clear();
          },
          [this](ViewWidget& v, qint32 code) {
              // 20000241 first drops back to the normal tool; without layers
              // or a buffer the other two refuse and keep the tool.
              EXPECT_TRUE(code == 20000241 ? toolIs<NormalTool>(v) : toolIs<SelectTool>(v)) << code;
              const QStringList expected{code == 20001416 ? "There are no active layers!" : "Buffer is empty!"};
              EXPECT_EQ(prompts.texts(), code == 20000241 ? QStringList{} : expected);
          }}},
        {"set_symbol_attributes",
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"attributes", QVariantMap{{".smd", "yes"}}}}; },
          [](ViewWidget& v, qint32) { EXPECT_EQ(v.symbol_attributes, (TOLVA::API::attr_map{{".smd", "yes"}})); }}},
        {"get_offset",
         {[this](ViewWidget&, PluginMetaData&) { prompts.clear(); },
          [this](ViewWidget&, qint32) { EXPECT_EQ(prompts.texts(), QStringList{"There are no active layers!"}); }}},
        {"repeat_selected_features",
         {[this](ViewWidget&, PluginMetaData& m) {
              static ViewWidget::RepeatParameters grid{2, 2, 1000, 1000};
              m.payload = &grid;
              prompts.clear();
          },
          [this](ViewWidget&, qint32) { EXPECT_EQ(prompts.texts(), QStringList{"No active layers defined"}); }}},
        {"create_rout_chain", refuses(QStringLiteral("No work layer!"))},
        {"do_compensate", refuses(QStringLiteral("Compensation: \"source\" is missing or cannot be used!"))},
        {"select_net_items", selectsAnsweredFeature()},
        {"select_contour_items", selectsAnsweredFeature()},
        {"note_zoom_to_box",
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"xmin", 1e6}, {"ymin", 2e6}, {"xmax", 3e6}, {"ymax", 4e6}}; },
          [](ViewWidget& v, qint32) {
              EXPECT_NEAR(v.center().x(), 2e6, 2e4);
              EXPECT_NEAR(v.center().y(), 3e6, 2e4);
          }}},
        {"change_layer_draw_note",
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"LayerName", "notes"}}; },
          [](ViewWidget& v, qint32) { EXPECT_EQ(v.notesLayer(), "notes"); }}},
        {"show_marksetting",
         {nullptr, [this](ViewWidget&, qint32) { EXPECT_EQ(host.findChildren<Widget_MarkSetting*>().size(), 1); }}},
        {"display flag on", {nullptr, [](ViewWidget& v, qint32) { EXPECT_TRUE(v.displayFlag()); }}},
        {"display flag off",
         {[](ViewWidget& v, PluginMetaData&) {
              PluginMetaData on = message(20000405);
              recMsgFromManager(&v, &on);
          },
          [](ViewWidget& v, qint32) { EXPECT_FALSE(v.displayFlag()); }}},
        {"draw",
         {nullptr,
          [](ViewWidget& v, qint32) {
              EXPECT_NE(v.compositionBuffer(), nullptr);
              EXPECT_FALSE(v.palette().brush(QPalette::Window).texture().isNull());  // shown as the background
          }}},
        {"clear status flag",
         {[](ViewWidget& v, PluginMetaData&) {
              for (int i = 1; i <= 3; ++i) v.setStatusFlag(i, true);
          },
          [](ViewWidget& v, qint32) {
              EXPECT_FALSE(v.statusFlag(1));
              EXPECT_TRUE(v.statusFlag(2));
              EXPECT_TRUE(v.statusFlag(3));
          }}},
        {"GraphicEditorUndo",
         {[this](ViewWidget& v, PluginMetaData&) {
              m_undo = 0;
              QObject::connect(&v, &ViewWidget::GraphicEditorUndo, [this] { ++m_undo; });
          },
          [this](ViewWidget&, qint32) { EXPECT_EQ(m_undo, 1); }}},
        {"relay to the job list",
         {nullptr, [this](ViewWidget&, qint32) {
              ASSERT_EQ(m_messages->withCode(20001630).size(), 1u);
              EXPECT_EQ(m_messages->withCode(20001630)[0].receiver, PluginNames::JobList);
          }}},
        {"setJobAndStep",
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"JobName", "dispatch_bind"}, {"Step", "pcb"}}; },
          [](ViewWidget& v, qint32) {
              EXPECT_EQ(v.jobName(), "dispatch_bind");
              EXPECT_EQ(v.stepName(), "pcb");
          }}},
        {"snap mode 0", storesSnapMode(0)},
        {"snap mode 1", storesSnapMode(1)},
        {"snap mode 2", storesSnapMode(2)},
        {"snap mode 3", storesSnapMode(3)},
        {"snap mode 4", storesSnapMode(4)},
        {"snap mode 5", storesSnapMode(5)},
        {"snap mode 6", storesSnapMode(6)},
        {"snap mode 7", storesSnapMode(7)},
        {"draw_center",
         {[](ViewWidget&, PluginMetaData& m) { m.payload = &crossList; },
          [](ViewWidget& v, qint32) { EXPECT_EQ(v.crossPoint(), QPointF(1200, -3400)); }}},
        {"unselect_clip_area",
         {[](ViewWidget& v, PluginMetaData&) {
              v.polygonPoints().append(QPointF(5, 6));
              v.setPolyline({QPointF(1, 1), QPointF(2, 2)});
          },
          [](ViewWidget& v, qint32) {
              EXPECT_TRUE(v.polygonPoints().isEmpty());
              EXPECT_TRUE(v.polyline().isEmpty());
              EXPECT_TRUE(toolIs<NormalTool>(v));  // no measure tool on the way
          }}},
        {"change_unit",
         {[](ViewWidget&, PluginMetaData&) { TOLVA::UIAPI::setUnitString("MM"); },
          [](ViewWidget& v, qint32) {
              EXPECT_EQ(v.unitText(), "MM");
              TOLVA::UIAPI::setUnitString("Inch");
          }}},
        {"setText",
         {[](ViewWidget& v, PluginMetaData&) {
              QTimer::singleShot(50, [] {
                  if (QWidget* popup = QApplication::activePopupWidget()) popup->close();
              });
              v.timerslot();  // builds the menu and opens it once
          },
          [](ViewWidget& v, qint32) {
              ASSERT_NE(v.contextMenu(), nullptr);
              EXPECT_EQ(v.contextMenu()->actions().last()->text(), "Counter Election");
          }}},
        {"get_analyze_data", takesCheckResults(20002801, {20002802, 20002803, 20002804})},
        {"get_DFM_data", takesCheckResults(20002817, {20002819, 20002820, 20002822})},
        {"showNetAnalyzeResult", selectsTheNet()},
        {"refresh_layer_compare_show",
         {[](ViewWidget& v, PluginMetaData& msg) {
              v.setCompareAreas(1, {QPolygonF({QPointF(0, 0), QPointF(1, 0), QPointF(1, 1)})});
              msg.data.insert("Clear", true);
          },
          [](ViewWidget& v, qint32 code) { EXPECT_TRUE(v.compareAreas(1).isEmpty()) << code; }}},
        {"eq_zoomIn_special_points",
         {[](ViewWidget& v, PluginMetaData&) {
              loadCheckResults(v, 20002801);
              PluginMetaData next = message(20002802);
              recMsgFromManager(&v, &next);
              v.areazoom(-5e7, -5e7, -4e7, -4e7);
          },
          [](ViewWidget& v, qint32 code) {
              const auto box = v.transform().visibleBox();
              EXPECT_NEAR((box.minX + box.maxX) / 2, 3e6, 1e4) << code;  // the first result, an error at (3 mm, 1 mm)
          }}},
        {"clear_result_viewer_painter",
         {[](ViewWidget& v, PluginMetaData&) { v.setCheckPoints({check_points()}); },
          [](ViewWidget& v, qint32) { EXPECT_TRUE(v.checkPoints().isEmpty()); }}},
        {"change_to_last_tool", opensTool<ZoomInTool>()},  // nothing remembered
        {"setResizeHoleTmpData", opensTool<AllignholeTool>()},
        {"doOpenEditTool",
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"Tool", 16}}; }, opensTool<ProfileBoundTool>().check}},
        {"transform_selection",
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"Interactive", true}}; },
          [](ViewWidget& v, qint32) { EXPECT_TRUE(toolIs<RotateTool>(v)); }}},
        {"bus_edit",  // no job bound: refused to the read-out with the reason
         {[](ViewWidget&, PluginMetaData& m) { m.data = {{"Mode", 1}}; },
          [this](ViewWidget&, qint32) {
              int toReadOut = 0;
              for (const PluginMetaData& sent : m_messages->withCode(20003212))
                  toReadOut += sent.receiver == PluginNames::Coordinate &&
                               sent.data["Message"].toString().startsWith("Bus edit refused");
              EXPECT_EQ(toReadOut, 1);
          }}},
        {"show_contour_fill_parameters",
         {[](ViewWidget& v, PluginMetaData&) { v.work_layer = "l1"; },
          [](ViewWidget& v, qint32) { EXPECT_NE(v.fillDialog(), nullptr); }}},
        {"doDeletePopView",
         {[](ViewWidget& v, PluginMetaData&) { v.openPopView(QRectF(0, 0, 1e6, 1e6)); },
          [](ViewWidget& v, qint32) { EXPECT_TRUE(v.get_popviews().isEmpty()); }}},
        {"TVDI mode and tool",
         {[](ViewWidget& v, PluginMetaData&) { v.changeTool(Graphic_ViewTool::SELECT_TOOL); },
          [](ViewWidget& v, qint32) {
              EXPECT_TRUE(v.tvdiMode());
              EXPECT_TRUE(toolIs<NormalTool>(v));
          }}},
        {"TVDI mode",
         {[](ViewWidget& v, PluginMetaData&) { v.changeTool(Graphic_ViewTool::SELECT_TOOL); },
          [](ViewWidget& v, qint32) {
              EXPECT_TRUE(v.tvdiMode());
              EXPECT_TRUE(toolIs<SelectTool>(v));
          }}},
        {"show_tvdi_export", {nullptr, [](ViewWidget& v, qint32) { EXPECT_NE(v.tvdiExportDialog(), nullptr); }}},
    };
    // Typed coordinates, the relative origin, the read-out options and the
    // search: each by what it leaves or answers (CoordinateMessages.h).
    const auto withPoint = [](ViewWidget&, PluginMetaData& m) { m.data = {{"X", 1000.0}, {"Y", -2000.0}}; };
    const auto centred = [](ViewWidget& v, qint32) { EXPECT_EQ(v.center(), QPointF(1000, -2000)); };
    const auto answers = [this](qint32 reply) {
        return [this, reply](ViewWidget&, qint32) {
            int toSender = 0;  // a refusal also goes to the coordinate panel
            for (const PluginMetaData& sent : m_messages->withCode(reply)) toSender += sent.receiver == PluginNames::JobList;
            EXPECT_EQ(toSender, 1);
        };
    };
    probes["get_coordinate_data"] = {withPoint, centred};
    probes["on_enter_pressed"] = {withPoint, centred};
    probes["clearMeasurements"] = {
        [](ViewWidget& v, PluginMetaData&) {
            const MeasurementShape shape{MeasurementShape::Line, {QPointF(0, 0), QPointF(1, 1)}, QStringLiteral("D")};
            v.setCurrentMeasurement(shape);
            v.setMeasurements({shape});
        },
        [](ViewWidget& v, qint32 code) {
            EXPECT_TRUE(v.currentMeasurement().isEmpty()) << code;
            EXPECT_TRUE(v.measurements().isEmpty()) << code;
        }};
    probes["sent_Mouse_Point"] = {nullptr, answers(20003213)};
    probes["add_note_from_check_point"] = {nullptr, answers(20000269)};  // no check point: the reason goes back
    // The rout order goes back to the rout menu; the drawing requests open the rout tool.
    const auto answersRoutMenu = [this](qint32 reply, bool toolOpens) {
        return [this, reply, toolOpens](ViewWidget& v, qint32) {
            int toMenu = 0;
            for (const PluginMetaData& sent : m_messages->withCode(reply)) toMenu += sent.receiver == PluginNames::MenuBarRout;
            EXPECT_EQ(toMenu, 1);
            EXPECT_EQ(v.currentTool()->getType() == Graphic_ViewTool::ROUT_TOOL, toolOpens);
        };
    };
    // 20003902 asks for the order; 20003903 without an order or "Optimise" is refused to its sender.
    probes["get_rout_selectorder"] = {nullptr, [answersRoutMenu, answers](ViewWidget& v, qint32 code) {
                                          if (code == 20003902) return answersRoutMenu(20003902, false)(v, code);
                                          answers(20003212)(v, code);
                                      }};
    probes["get_addchain_vector"] = {nullptr, answersRoutMenu(20003908, true)};
    probes["do_drawchain"] = opensTool<RoutTool>();
    probes["get_Mouse_rect"] = {nullptr, answers(20003214)};
    probes["zoomIn_search_feature"] = {[](ViewWidget&, PluginMetaData& m) { m.data = {{"Mode", "next"}}; },
                                       answers(20003212)};  // nothing to step through yet
    probes["get_coordinate_effect_layers"] = {[](ViewWidget&, PluginMetaData& m) { m.data = {{"Layers", QStringList{"l9"}}}; },
                                              answers(20003212)};  // no job: no such layer
    probes["get_archor_signal"] = {withPoint, [](ViewWidget& v, qint32 code) {
                                       // The profile and feature anchors need a job; the others take the point.
                                       const bool needsJob = code >= 20001406 && code <= 20001411;
                                       EXPECT_EQ(v.hasRelativeOrigin(), !needsJob && code != 20001419);
                                       if (v.hasRelativeOrigin()) {
                                           EXPECT_EQ(v.relativeOrigin(), QPointF(1000, -2000));
                                       }
                                   }};
    probes["edit_coordinate_setting"] = {[](ViewWidget&, PluginMetaData& m) { m.data = {{"Unit", "Inch"}}; },
                                         [this](ViewWidget& v, qint32 code) {
                                             EXPECT_EQ(m_messages->withCode(20003211).size(), 1u);
                                             if (code != 20001415) {
                                                 EXPECT_EQ(TOLVA::UIAPI::getCoordinate(v.host()).relative_mode, code == 20001414);
                                             }
                                         }};
    const std::set<std::string> opensATool = {"draw_use_symbol",  "doSignalBoxSelect", "diSignalBoxDelete", "zoom area", "doPointSelect",
                                              "doMoveAndCopySelect", "doLineEditSelect", "doPullFeatureSelect",
                                              "doOpenPopView", "doMeasureSelect", "do_mark", "doOpenEditTool"};

    for (const auto& e : expectedByCode()) {
        const qint32 code = e.first;
        const std::string& operation = e.second;
        SCOPED_TRACE(operation + " " + std::to_string(code));
        auto probe = probes.find(operation);
        ASSERT_NE(probe, probes.end()) << "no probe for " << operation;
        ViewWidget* v = static_cast<ViewWidget*>(GetViewInstance(&host));
        v->resize(200, 100);
        PluginMetaData msg = message(code);
        if (probe->second.prepare) probe->second.prepare(*v, msg);
        MessageRecorder messages;
        m_messages = &messages;
        LogCapture logs;
        deliver(v, msg);
        probe->second.check(*v, code);
        // Every operation is built: none may log itself as a stub.
        EXPECT_FALSE(logs.contains(" is not available yet"));
        // Only the requests that open a tool are remembered, whole.
        EXPECT_EQ(v->lastToolMessage().msgType, opensATool.count(operation) ? code : -1);
        m_messages = nullptr;
        delete v;
        for (Widget_MarkSetting* dialog : host.findChildren<Widget_MarkSetting*>()) delete dialog;
    }
}

TEST_F(Dispatcher, NeighboursOfListedCodesChangeNothing) {
    static constexpr qint32 kNeighbours[] = {49, 59, 10000101, 10000103, 10000512, 10000521, 20000060, 20000066,
                                             20000214, 20000226, 20000235, 20000411, 20001602, 20001648, 20001655,
                                             20002809, 20003907, 20004403, 20004800, 20004802};
    const auto routes = ViewWidget::messageRoutes();
    MessageRecorder messages;
    LogCapture logs;
    Graphic_ViewTool* tool = view->currentTool();
    const double scale = view->scale();
    for (qint32 code : kNeighbours) {
        EXPECT_EQ(routes.find(code), nullptr) << code;
        bool on = true;
        PluginMetaData msg = message(code);
        msg.payload = &on;
        deliver(view, msg);
    }
    EXPECT_TRUE(messages.entries().empty());
    EXPECT_TRUE(logs.lines().empty());
    EXPECT_EQ(view->currentTool(), tool);
    EXPECT_EQ(view->scale(), scale);
    EXPECT_EQ(view->lastToolMessage().msgType, -1);
    for (int i = 1; i <= 4; ++i) EXPECT_FALSE(view->optionFlag(i));
}

TEST_F(Dispatcher, OptionFlagsFollowTheBoolAtPayload) {
    struct Case { qint32 code; int flag; };
    static constexpr Case cases[] = {{10000506, 1}, {10000510, 2}, {10000511, 2}, {10000513, 2}, {10000514, 2},
                                     {10000519, 3}, {10000520, 4}};
    for (const Case& c : cases) {
        bool value = true;
        PluginMetaData msg = message(c.code);
        msg.payload = &value;
        deliver(view, msg);
        EXPECT_TRUE(view->optionFlag(c.flag)) << c.code;
        value = false;
        deliver(view, msg);
        EXPECT_FALSE(view->optionFlag(c.flag)) << c.code;
    }
}

TEST_F(Dispatcher, NullPayloadIsOneErrorLineAndNoChange) {
    bool on = true;
    PluginMetaData msg = message(10000506);
    msg.payload = &on;
    deliver(view, msg);
    LogCapture logs;
    msg.payload = nullptr;
    deliver(view, msg);
    EXPECT_EQ(logs.count(google::GLOG_ERROR), 1);
    EXPECT_TRUE(view->optionFlag(1));
}

TEST_F(Dispatcher, DisplayTvdiAndStatusFlags) {
    deliver(view, message(20000405));
    EXPECT_TRUE(view->displayFlag());
    deliver(view, message(20000406));
    EXPECT_FALSE(view->displayFlag());
    deliver(view, message(20004402));
    EXPECT_TRUE(view->tvdiMode());
    EXPECT_EQ(view->currentTool()->getType(), Graphic_ViewTool::NORMAL_TOOL);
    deliver(view, message(20004402));
    EXPECT_FALSE(view->tvdiMode());
    view->setStatusFlag(1, true);
    view->setStatusFlag(2, true);
    deliver(view, message(20000422));
    EXPECT_FALSE(view->statusFlag(1));
    EXPECT_TRUE(view->statusFlag(2));  // only the flag after the TVDI mode flag
}

TEST_F(Dispatcher, SnapCodesStoreTheirModeHereAndInTheSharedState) {
    struct Case { qint32 code; int mode; };
    static constexpr Case cases[] = {{20001647, 7}, {20001649, 2}, {20001650, 3}, {20001651, 1}, {20001652, 4},
                                     {20001653, 0}, {20001654, 5}, {20001676, 6}, {20000050, 0}, {20000053, 3},
                                     {20000057, 7}, {20000058, 7}};
    for (const Case& c : cases) {
        deliver(view, message(c.code));
        EXPECT_EQ(view->currentSnapMode(), c.mode) << c.code;
        EXPECT_EQ(TOLVA::UIAPI::getSnapMode(&host), c.mode) << c.code;
    }
}

TEST_F(Dispatcher, RelayGoesToTheJobListAsANewMessage) {
    MessageRecorder messages;
    PluginMetaData msg = message(20001630);
    msg.data.insert(QStringLiteral("secret"), 1);
    deliver(view, msg);
    const auto relayed = messages.withCode(20001630);
    ASSERT_EQ(relayed.size(), 1u);
    EXPECT_EQ(relayed[0].sender, PluginNames::GraphicView);
    EXPECT_EQ(relayed[0].receiver, PluginNames::JobList);
    EXPECT_TRUE(relayed[0].data.isEmpty());
}

TEST_F(Dispatcher, ClayerCodesSetLayersAndReferenceCodeAnswersTwice) {
    ScopedJob job("dispatch_job", 1e6, 1e6, {"top", "bot"});
    PluginMetaData bind = message(20001637);
    bind.data = {{QStringLiteral("JobName"), "dispatch_job"}, {QStringLiteral("Step"), "pcb"}};
    deliver(view, bind);

    PluginMetaData work = message(55);
    work.data.insert(QStringLiteral("clayer"), QStringLiteral("top"));
    deliver(view, work);
    EXPECT_EQ(view->work_layer, "top");

    MessageRecorder messages;
    PluginMetaData ref = message(58);
    ref.data = {{QStringLiteral("RefJobName"), "other"}, {QStringLiteral("RefStepName"), "panel"},
                {QStringLiteral("RefLayerList"), QStringList{"l1", "l2"}}};
    deliver(view, ref);
    const auto refs = TOLVA::UIAPI::getReferenceLayerInfo("dispatch_job", "pcb");
    ASSERT_EQ(refs.size(), 2u);
    EXPECT_EQ(refs[1].job, "other");
    EXPECT_EQ(refs[1].layer, "l2");
    ASSERT_EQ(messages.withCode(20001701).size(), 1u);
    EXPECT_EQ(messages.withCode(20001701)[0].receiver, PluginNames::JobList);
    ASSERT_EQ(messages.withCode(20001702).size(), 1u);
    const PluginMetaData actions = messages.withCode(20001702)[0];
    EXPECT_EQ(actions.receiver, PluginNames::MenuBarActions);
    EXPECT_EQ(actions.data.value("JobName").toString(), "other");
    EXPECT_EQ(actions.data.value("StepName").toString(), "panel");
    TOLVA::UIAPI::setReferenceLayerInfo("dispatch_job", "pcb", {});
}

TEST_F(Dispatcher, UnitCodeFollowsTheSharedUnit) {
    EXPECT_EQ(view->unitText(), "Inch");
    EXPECT_FALSE(view->Is_current_Unit_MM());
    QSignalSpy spy(view, &ViewWidget::changeUnit);
    TOLVA::UIAPI::setUnitString("MM");
    deliver(view, message(20002200));
    EXPECT_EQ(view->unitText(), "MM");
    EXPECT_TRUE(view->Is_current_Unit_MM());
    EXPECT_EQ(spy.count(), 1);
    TOLVA::UIAPI::setUnitString("mm");
    deliver(view, message(20002200));
    EXPECT_TRUE(view->Is_current_Unit_MM());
    TOLVA::UIAPI::setUnitString("Inch");
    deliver(view, message(20002200));
    EXPECT_FALSE(view->Is_current_Unit_MM());
}

TEST_F(Dispatcher, SetTextBeforeTheMenuExistsChangesNothing) {
    deliver(view, message(20002201));
    EXPECT_EQ(view->contextMenu(), nullptr);
}

TEST_F(Dispatcher, MarkSettingIsCreatedOnceAndFollowsTheUnit) {
    deliver(view, message(20000268));
    deliver(view, message(20000268));
    const auto dialogs = host.findChildren<Widget_MarkSetting*>();
    ASSERT_EQ(dialogs.size(), 1);
    EXPECT_TRUE(dialogs[0]->isVisible());
    TOLVA::UIAPI::setUnitString("MM");
    deliver(view, message(20002200));
    EXPECT_EQ(dialogs[0]->unitChanges(), 1);
    EXPECT_EQ(dialogs[0]->unitText(), "MM");
    TOLVA::UIAPI::setUnitString("Inch");
}

TEST_F(Dispatcher, DrawCenterTakesTheFirstPointOfTheList) {
    std::vector<TOLVA::API::point> points{{1200, -3400}, {5, 6}};
    PluginMetaData msg = message(20001822);
    msg.payload = &points;
    deliver(view, msg);
    EXPECT_EQ(view->crossPoint(), QPointF(1200, -3400));
    LogCapture logs;
    deliver(view, message(20001822));  // no list: ignored
    EXPECT_EQ(view->crossPoint(), QPointF(1200, -3400));
    EXPECT_EQ(logs.count(google::GLOG_ERROR), 1);
}

TEST_F(Dispatcher, RotateTurnsByAQuarterKeepingCentreAndScale) {
    ScopedJob job("rotate_job", 2e6, 1e6, {"top"});
    PluginMetaData bind = message(20001637);
    bind.data = {{QStringLiteral("JobName"), "rotate_job"}, {QStringLiteral("Step"), "pcb"}};
    deliver(view, bind);
    const double scale = view->scale();
    const QPointF centre = view->center();
    for (int expected : {90, 180, 270, 0}) {
        deliver(view, message(10000302));
        EXPECT_EQ(view->angle(), expected);
        EXPECT_EQ(view->scale(), scale);
        EXPECT_EQ(view->center(), centre);
    }
    int w = 0, h = 0;
    TOLVA::API::get_Canvas_Size(w, h);
    EXPECT_EQ(w, 400);  // the next draw gives the canvas the widget's size back
    EXPECT_EQ(h, 300);
}

TEST_F(Dispatcher, SetJobAndStepWithAMissingNameStopsWithABox) {
    TOLVA::API::init_canvas(123, 45);
    LogCapture logs;
    MessageRecorder messages;
    PluginMetaData msg = message(20001637);
    msg.data.insert(QStringLiteral("JobName"), QStringLiteral("somejob"));
    const double scale = view->scale();
    deliver(view, msg);
    EXPECT_EQ(prompts.texts(), QStringList{"Job name is empty or Step name is empty!"});
    EXPECT_EQ(prompts.requests()[0].title, "Information");
    EXPECT_TRUE(logs.contains("m_job or m_step is empty!!!"));
    EXPECT_TRUE(messages.entries().empty());
    EXPECT_EQ(view->scale(), scale);
    int w = 0, h = 0;
    TOLVA::API::get_Canvas_Size(w, h);
    EXPECT_EQ(w, 123);
    EXPECT_EQ(h, 45);
}

TEST_F(Dispatcher, KernelFailureWhileBindingIsReportedInGbk) {
    LogCapture logs;
    PluginMetaData msg = message(20001637);
    msg.data = {{QStringLiteral("JobName"), "no_such_job"}, {QStringLiteral("Step"), "pcb"}};
    deliver(view, msg);
    ASSERT_EQ(prompts.requests().size(), 1u);
    EXPECT_EQ(prompts.requests()[0].title, "Information");
    EXPECT_FALSE(prompts.requests()[0].text.isEmpty());
    EXPECT_EQ(logs.count(google::GLOG_ERROR, kFailurePositionLabel), 1);
    EXPECT_EQ(logs.count(google::GLOG_ERROR, kFailureDescriptionLabel), 1);
    EXPECT_EQ(view->jobName(), "no_such_job");  // kept, as the binding was read
}

TEST(PluginHost, LoadsTheViewByNameBindsItAndReceivesTheStepBox) {
    QWidget host;
    QTpluginsManger4CAM* manager = QTpluginsManger4CAM::instance();
    QString error;
    QWidget* widget = manager->createInstance(PluginNames::GraphicView, &host, &error);
    ASSERT_NE(widget, nullptr) << error.toStdString();
    widget->resize(500, 500);
    ScopedJob job("host_job", 2e6, 1e6, {"top"});

    std::vector<PluginMetaData> received;
    manager->registerReceiver(PluginNames::JobList, [&](void* h, const PluginMetaData& m) {
        EXPECT_EQ(h, &host);
        received.push_back(m);
    });
    PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, 20001637);
    bind.data = {{QStringLiteral("JobName"), "host_job"}, {QStringLiteral("Step"), "pcb"}};
    manager->recMegToPlugin(&host, bind);
    manager->unregisterReceiver(PluginNames::JobList);

    ASSERT_FALSE(received.empty());
    const PluginMetaData box = received.back();
    EXPECT_EQ(box.msgType, 10000601);
    // 2 mm x 1 mm in a square widget: the width fits, the height is centred.
    EXPECT_NEAR(box.data.value("xmin").toDouble(), 0, 4);
    EXPECT_NEAR(box.data.value("xmax").toDouble(), 2e6, 4);
    EXPECT_NEAR(box.data.value("ymin").toDouble(), -0.5e6, 4);
    EXPECT_NEAR(box.data.value("ymax").toDouble(), 1.5e6, 4);
    EXPECT_DOUBLE_EQ(box.data.value("scale").toDouble(), 500 / 2e6);
    EXPECT_NEAR(box.data.value("center_x").toDouble(), 1e6, 1);
    EXPECT_EQ(box.data.value("level").toInt(), static_cast<int>(std::lround(std::log2(500 / 2e6 / 9e-07))));
    delete widget;
    // A deleted instance gets no more messages.
    manager->recMegToPlugin(&host, bind);
}
