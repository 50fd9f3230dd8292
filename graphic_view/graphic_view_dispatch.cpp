// The dispatcher: one table from message code to view operation, the flag
// and snap-mode codes it handles itself, and the messages the view sends.
#include <glog/logging.h>

#include <QtMath>
#include <cmath>

#include "MeasureMessages.h"
#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

using V = ViewWidget;
using M = PluginMetaData;

// Handlers that the table needs but that are not view operations of their own.
struct ViewRoutes {
    static void optionFlag(V& v, const M& m, int which) { v.setBoolFromPayload(v.m_optionFlags[which - 1], m); }
    static void storeSnapMode(V& v, int mode) {
        v.m_snapMode = mode;
        UIAPI::setSnapMode(v.m_host, mode);
    }
    static void toggleTvdi(V& v, const M& m, bool switchTools) {
        v.m_tvdiMode = !v.m_tvdiMode;
        v.takeHoleState(m);
        if (!switchTools) return;
        if (v.m_tvdiMode)
            v.changeTool(Graphic_ViewTool::NORMAL_TOOL);
        else
            v.change_to_last_tool();
    }
    static void relayToJobList(V& v) { v.sendTo(PluginNames::JobList, 20001630); }
    static void closeBufferTool(V& v, const M& m) {
        v.changeTool(Graphic_ViewTool::NORMAL_TOOL);
        v.do_buffer_tool_change(m);
    }
    static void filterSelect(V& v, const M& m) {
        v.takeAttributeFilter(m);
        v.doSignalBoxSelect(m);
    }
    // The tool bar's "Zoom Area" answers the context menu's request with the
    // same code, so that the view opens the rubber-band zoom tool the way
    // every other tool is opened (a second request toggles it off).
    static void zoomArea(V& v, const M& m) { v.openToolFromRequest(m, Graphic_ViewTool::ZOOMIN_TOOL, nullptr, 0); }
    static void measure(V& v, const M& m) {
        v.doMeasureSelect(m);
        v.unselect_clip_area(m);
    }
};

RouteTable<MessageHandler> ViewWidget::messageRoutes() {
    using R = ViewRoutes;
    constexpr Remember No = Remember::No;
    constexpr Remember Yes = Remember::Yes;
    // Sorted by code. Remember::Yes marks the requests that open a tool.
    static const ViewRoute routes[] = {
        {50, 50, Yes, "draw_use_symbol", [](V& v, const M& m) { v.draw_use_symbol(m); }},
        {51, 51, No, "set_symbol_attributes", [](V& v, const M& m) { v.set_symbol_attributes(m); }},
        {52, 52, No, "draw_use_symbol_line", [](V& v, const M& m) { v.draw_use_symbol_line(m); }},
        {53, 53, No, "show_contour_fill_parameters", [](V& v, const M& m) { v.show_contour_fill_parameters(m); }},
        {54, 54, No, "get_selected_layers", [](V& v, const M& m) { v.get_selected_layers(m); }},
        {55, 58, No, "get_clayer", [](V& v, const M& m) { v.get_clayer(m); }},
        {10000102, 10000102, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {10000302, 10000302, No, "doRotate", [](V& v, const M&) { v.doRotate(); }},
        {10000506, 10000506, No, "option flag 1", [](V& v, const M& m) { R::optionFlag(v, m, 1); }},
        {10000510, 10000511, No, "option flag 2", [](V& v, const M& m) { R::optionFlag(v, m, 2); }},
        {10000513, 10000514, No, "option flag 2", [](V& v, const M& m) { R::optionFlag(v, m, 2); }},
        {10000519, 10000519, No, "option flag 3", [](V& v, const M& m) { R::optionFlag(v, m, 3); }},
        {10000520, 10000520, No, "option flag 4", [](V& v, const M& m) { R::optionFlag(v, m, 4); }},
        {20000009, 20000009, No, "redoZoomin", [](V& v, const M&) { v.redoZoomin(); }},
        {20000050, 20000058, No, "change_current_snap_mode", [](V& v, const M& m) { v.change_current_snap_mode(m); }},
        {20000059, 20000059, No, "get_archor_signal", [](V& v, const M& m) { v.get_archor_signal(m); }},
        {20000061, 20000064, Yes, "doSignalBoxSelect", [](V& v, const M& m) { R::filterSelect(v, m); }},
        {20000065, 20000065, No, "zoomIn_search_feature", [](V& v, const M& m) { v.zoomIn_search_feature(m); }},
        {20000201, 20000201, Yes, "zoom area", [](V& v, const M& m) { R::zoomArea(v, m); }},
        {20000202, 20000205, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {20000206, 20000206, Yes, "diSignalBoxDelete", [](V& v, const M& m) { v.diSignalBoxDelete(m); }},
        {20000207, 20000210, Yes, "doMoveAndCopySelect", [](V& v, const M& m) { v.doMoveAndCopySelect(m); }},
        {20000211, 20000213, Yes, "doLineEditSelect", [](V& v, const M& m) { v.doLineEditSelect(m); }},
        {20000215, 20000215, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {20000216, 20000216, Yes, "doLineEditSelect", [](V& v, const M& m) { v.doLineEditSelect(m); }},
        {20000219, 20000222, Yes, "doPullFeatureSelect", [](V& v, const M& m) { v.doPullFeatureSelect(m); }},
        {20000223, 20000224, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {20000225, 20000225, Yes, "doOpenPopView", [](V& v, const M& m) { v.doOpenPopView(m); }},
        {20000227, 20000229, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {20000230, 20000234, Yes, "doMeasureSelect", [](V& v, const M& m) { R::measure(v, m); }},
        {20000236, 20000236, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {20000237, 20000240, Yes, "doLineEditSelect", [](V& v, const M& m) { v.doLineEditSelect(m); }},
        {20000241, 20000241, No, "do_buffer_tool_change", [](V& v, const M& m) { R::closeBufferTool(v, m); }},
        {20000242, 20000245, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {kNetAnswerCode, kNetAnswerCode, No, "select_net_items", [](V& v, const M& m) { v.select_net_items(m); }},
        {kContourAnswerCode, kContourAnswerCode, No, "select_contour_items",
         [](V& v, const M& m) { v.select_contour_items(m); }},
        {20000249, 20000250, Yes, "doPullFeatureSelect", [](V& v, const M& m) { v.doPullFeatureSelect(m); }},
        {20000254, 20000254, No, "change_SR_Edit_tool", [](V& v, const M& m) { v.change_SR_Edit_tool(m); }},
        {20000256, 20000256, No, "change_SR_Edit_tool", [](V& v, const M& m) { v.change_SR_Edit_tool(m); }},
        {20000259, 20000259, No, "change_SR_Edit_tool", [](V& v, const M& m) { v.change_SR_Edit_tool(m); }},
        {20000260, 20000260, Yes, "doPullFeatureSelect", [](V& v, const M& m) { v.doPullFeatureSelect(m); }},
        {20000263, 20000263, No, "change_Notes_tool", [](V& v, const M& m) { v.change_Notes_tool(m); }},
        {20000264, 20000264, No, "note_zoom_to_box", [](V& v, const M& m) { v.note_zoom_to_box(m); }},
        {20000265, 20000265, No, "change_layer_draw_note", [](V& v, const M& m) { v.change_layer_draw_note(m); }},
        {20000266, 20000266, Yes, "do_mark", [](V& v, const M& m) { v.do_mark(m); }},
        {20000267, 20000267, No, "change_SR_Edit_tool", [](V& v, const M& m) { v.change_SR_Edit_tool(m); }},
        {20000268, 20000268, No, "show_marksetting", [](V& v, const M&) { v.show_marksetting(); }},
        // Ours: a note at the current check point (Graphic_view_Notes.cpp).
        {20000269, 20000269, No, "add_note_from_check_point", [](V& v, const M& m) { v.add_note_from_check_point(m); }},
        // Open tool: "Tool" 16 profile, 17 align holes, 25 edit, 26 divide a
        // surface, 27 cut out of a surface; other values are refused in the log.
        // Tools without a request code of their own are opened by this one.
        {20000270, 20000270, Yes, "doOpenEditTool", [](V& v, const M& m) { v.doOpenEditTool(m); }},
        // Ours: transforms the selection (the edit menu's Transform dialog,
        // keys in Graphic_view_Transform.cpp), or opens the rotate tool.
        {20000271, 20000271, No, "transform_selection", [](V& v, const M& m) { v.transform_selection(m); }},
        {20000272, 20000272, No, "bus_edit", [](V& v, const M& m) { v.bus_edit(m); }},
        {20000405, 20000405, No, "display flag on", [](V& v, const M&) { v.m_displayFlag = true; }},
        {20000406, 20000406, No, "display flag off", [](V& v, const M&) { v.m_displayFlag = false; }},
        {20000410, 20000410, No, "showNetAnalyzeResult", [](V& v, const M& m) { v.showNetAnalyzeResult(m); }},
        {20000417, 20000417, No, "draw", [](V& v, const M&) { v.draw(); v.refresh(); }},
        {20000422, 20000422, No, "clear status flag", [](V& v, const M&) { v.m_statusFlags[0] = false; }},
        {20001012, 20001012, No, "eq_zoomIn_special_points", [](V& v, const M& m) { v.eq_zoomIn_special_points(m); }},
        {20001402, 20001403, No, "get_offset", [](V& v, const M& m) { v.get_offset(m); }},
        {20001404, 20001404, Yes, "doLineEditSelect", [](V& v, const M& m) { v.doLineEditSelect(m); }},
        {20001405, 20001412, No, "get_archor_signal", [](V& v, const M& m) { v.get_archor_signal(m); }},
        {20001413, 20001415, No, "edit_coordinate_setting", [](V& v, const M& m) { v.edit_coordinate_setting(m); }},
        {20001416, 20001417, No, "do_buffer_tool_change", [](V& v, const M& m) { v.do_buffer_tool_change(m); }},
        {20001418, 20001418, No, "change_step_repeat_tool", [](V& v, const M& m) { v.change_step_repeat_tool(m); }},
        {20001419, 20001419, No, "get_archor_signal", [](V& v, const M& m) { v.get_archor_signal(m); }},
        {20001420, 20001421, No, "change_SRselect_tool", [](V& v, const M& m) { v.change_SRselect_tool(m); }},
        {20001425, 20001425, No, "change_SRselect_tool", [](V& v, const M& m) { v.change_SRselect_tool(m); }},
        {20001605, 20001605, No, "repeat_selected_features", [](V& v, const M& m) { v.repeat_selected_features(m); }},
        {20001618, 20001618, No, "GraphicEditorUndo", [](V& v, const M&) { emit v.GraphicEditorUndo(); }},
        {20001630, 20001630, No, "relay to the job list", [](V& v, const M&) { R::relayToJobList(v); }},
        {20001637, 20001637, No, "setJobAndStep", [](V& v, const M& m) { v.setJobAndStep(m); }},
        {20001647, 20001647, No, "snap mode 7", [](V& v, const M&) { R::storeSnapMode(v, 7); }},
        {20001649, 20001649, No, "snap mode 2", [](V& v, const M&) { R::storeSnapMode(v, 2); }},
        {20001650, 20001650, No, "snap mode 3", [](V& v, const M&) { R::storeSnapMode(v, 3); }},
        {20001651, 20001651, No, "snap mode 1", [](V& v, const M&) { R::storeSnapMode(v, 1); }},
        {20001652, 20001652, No, "snap mode 4", [](V& v, const M&) { R::storeSnapMode(v, 4); }},
        {20001653, 20001653, No, "snap mode 0", [](V& v, const M&) { R::storeSnapMode(v, 0); }},
        {20001654, 20001654, No, "snap mode 5", [](V& v, const M&) { R::storeSnapMode(v, 5); }},
        {20001656, 20001656, No, "get_Mouse_rect", [](V& v, const M& m) { v.get_Mouse_rect(m); }},
        {20001664, 20001664, No, "sent_Mouse_Point", [](V& v, const M& m) { v.sent_Mouse_Point(m); }},
        {20001665, 20001665, No, "get_coordinate_data", [](V& v, const M& m) { v.get_coordinate_data(m); }},
        {20001670, 20001670, No, "sent_Mouse_Point", [](V& v, const M& m) { v.sent_Mouse_Point(m); }},
        {20001676, 20001676, No, "snap mode 6", [](V& v, const M&) { R::storeSnapMode(v, 6); }},
        {20001802, 20001803, Yes, "doPointSelect", [](V& v, const M& m) { v.doPointSelect(m); }},
        {20001805, 20001805, Yes, "doPointSelect", [](V& v, const M& m) { v.doPointSelect(m); }},
        {20001809, 20001809, Yes, "doPointSelect", [](V& v, const M& m) { v.doPointSelect(m); }},
        {20001814, 20001814, Yes, "doPointSelect", [](V& v, const M& m) { v.doPointSelect(m); }},
        {20001822, 20001822, No, "draw_center", [](V& v, const M& m) { v.draw_center(m); }},
        {20001825, 20001825, No, "refresh_layer_compare_show", [](V& v, const M& m) { v.refresh_layer_compare_show(m); }},
        {20002000, 20002001, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
        {20002002, 20002002, No, "unselect_clip_area", [](V& v, const M& m) { v.unselect_clip_area(m); }},
        {20002200, 20002200, No, "change_unit", [](V& v, const M& m) { v.change_unit(m); }},
        {20002201, 20002201, No, "setText", [](V& v, const M&) { v.setText(); }},
        {20002801, 20002808, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002810, 20002810, No, "clear_result_viewer_painter", [](V& v, const M& m) { v.clear_result_viewer_painter(m); }},
        {20002811, 20002816, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002817, 20002817, No, "get_DFM_data", [](V& v, const M& m) { v.get_DFM_data(m); }},
        {20002818, 20002818, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002819, 20002820, No, "get_DFM_data", [](V& v, const M& m) { v.get_DFM_data(m); }},
        {20002822, 20002823, No, "get_DFM_data", [](V& v, const M& m) { v.get_DFM_data(m); }},
        {20002825, 20002826, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002829, 20002830, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002831, 20002831, No, "clear_result_viewer_painter", [](V& v, const M& m) { v.clear_result_viewer_painter(m); }},
        {20002832, 20002836, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002838, 20002838, No, "get_archor_signal", [](V& v, const M& m) { v.get_archor_signal(m); }},
        {20002840, 20002841, No, "get_analyze_data", [](V& v, const M& m) { v.get_analyze_data(m); }},
        {20002843, 20002844, No, "get_DFM_data", [](V& v, const M& m) { v.get_DFM_data(m); }},
        {20003201, 20003201, No, "get_coordinate_data", [](V& v, const M& m) { v.get_coordinate_data(m); }},
        {20003202, 20003202, No, "on_enter_pressed", [](V& v, const M& m) { v.on_enter_pressed(m); }},
        {20003204, 20003204, No, "get_coordinate_effect_layers", [](V& v, const M& m) { v.get_coordinate_effect_layers(m); }},
        {MeasureMessages::kClear, MeasureMessages::kClear, No, "clearMeasurements", [](V& v, const M&) { v.clearMeasurements(); }},
        {20003901, 20003901, No, "create_rout_chain", [](V& v, const M& m) { v.create_rout_chain(m); }},
        {20003902, 20003903, No, "get_rout_selectorder", [](V& v, const M& m) { v.get_rout_selectorder(m); }},
        {20003905, 20003905, No, "do_drawchain", [](V& v, const M& m) { v.do_drawchain(m); }},
        {20003906, 20003906, No, "change_to_last_tool", [](V& v, const M&) { v.change_to_last_tool(); }},
        {20003908, 20003908, No, "get_addchain_vector", [](V& v, const M& m) { v.get_addchain_vector(m); }},
        {20003910, 20003910, No, "do_compensate", [](V& v, const M& m) { M copy(m); v.do_compensate(copy); }},
        {20003950, 20003950, No, "doDeletePopView", [](V& v, const M& m) { v.doDeletePopView(m); }},
        {20004202, 20004202, No, "get_archor_signal", [](V& v, const M& m) { v.get_archor_signal(m); }},
        {20004203, 20004204, Yes, "doPullFeatureSelect", [](V& v, const M& m) { v.doPullFeatureSelect(m); }},
        // Opens the hole tool (keys in ViewTool/AllignholeTool.cpp); not remembered,
        // since replaying a resize request would resize the holes again.
        {20004205, 20004205, No, "setResizeHoleTmpData", [](V& v, const M& m) { v.setResizeHoleTmpData(m); }},
        {20004401, 20004401, No, "TVDI mode and tool", [](V& v, const M& m) { R::toggleTvdi(v, m, true); }},
        {20004402, 20004402, No, "TVDI mode", [](V& v, const M& m) { R::toggleTvdi(v, m, false); }},
        {20004410, 20004410, No, "show_tvdi_export", [](V& v, const M& m) { v.show_tvdi_export(m); }},
        {20004801, 20004801, Yes, "doSignalBoxSelect", [](V& v, const M& m) { v.doSignalBoxSelect(m); }},
    };
    return {routes, sizeof(routes) / sizeof(routes[0])};
}

void ViewWidget::recMsgFromManager(PluginMetaData msg) {
    const ViewRoute* route = messageRoutes().find(msg.msgType);
    if (!route) return;  // unknown codes are ignored
    if (route->remember == Remember::Yes) m_lastToolMsg = msg;
    route->handler(*this, msg);
}

void ViewWidget::setBoolFromPayload(bool& flag, const PluginMetaData& msg) {
    if (!msg.payload) {
        LOG(ERROR) << "message " << msg.msgType << " carries no bool payload; ignored";
        return;
    }
    flag = *static_cast<const bool*>(msg.payload);
}

bool ViewWidget::optionFlag(int which) const {
    return which >= 1 && which <= 4 && m_optionFlags[which - 1];
}

bool ViewWidget::statusFlag(int which) const {
    return which >= 1 && which <= 3 && m_statusFlags[which - 1];
}

void ViewWidget::setStatusFlag(int which, bool on) {
    if (which >= 1 && which <= 3) m_statusFlags[which - 1] = on;
}

void ViewWidget::setHoleFlags(bool first, bool second, bool third) {
    m_holeFlags[0] = first;
    m_holeFlags[1] = second;
    m_holeFlags[2] = third;
}

// ---- requests handled here -------------------------------------------------

void ViewWidget::get_clayer(PluginMetaData msg) {
    switch (msg.msgType) {
    case 55: work_layer = msg.data.value(QStringLiteral("clayer")).toString().toStdString(); break;
    case 56: m_snapLayer = msg.data.value(QStringLiteral("snap_layer")).toString().toStdString(); break;
    case 57: m_highlightSecond = QStringList{msg.data.value(QStringLiteral("highlight_layer")).toString()}; break;
    case 58: {
        const QString refJob = msg.data.value(QStringLiteral("RefJobName")).toString();
        const QString refStep = msg.data.value(QStringLiteral("RefStepName")).toString();
        const QStringList refLayers = msg.data.value(QStringLiteral("RefLayerList")).toStringList();
        // A layer referenced before keeps its colour; new ones take the next index.
        const std::vector<UIAPI::ReferenceLayer> before = UIAPI::getReferenceLayerInfo(job(), step());
        std::vector<UIAPI::ReferenceLayer> refs;
        for (const QString& layer : refLayers) {
            UIAPI::ReferenceLayer ref{refJob.toStdString(), refStep.toStdString(), layer.toStdString(),
                                      static_cast<int>(refs.size() % 10)};
            for (const auto& old : before)
                if (old.job == ref.job && old.step == ref.step && old.layer == ref.layer) ref.color = old.color;
            refs.push_back(ref);
        }
        UIAPI::setReferenceLayerInfo(job(), step(), refs);
        const QString layers = refLayers.join(QLatin1Char(','));
        sendTo(PluginNames::JobList, 20001701, {{QStringLiteral("LayerName"), layers}});
        sendTo(PluginNames::MenuBarActions, 20001702,
               {{QStringLiteral("JobName"), refJob}, {QStringLiteral("StepName"), refStep},
                {QStringLiteral("LayerName"), layers}});
        break;
    }
    default: break;
    }
}

// Shown and affected layers as the job list reports them: "LayerList" (the
// shown layers in drawing order), "ColorList" (their palette indices; a
// missing entry takes the position modulo 10) and "AffectedLayers". A
// missing key leaves that list as it was.
void ViewWidget::get_selected_layers(PluginMetaData msg) {
    if (msg.data.contains(QStringLiteral("LayerList"))) {
        const QStringList names = msg.data.value(QStringLiteral("LayerList")).toStringList();
        const QVariantList colors = msg.data.value(QStringLiteral("ColorList")).toList();
        QList<ShownLayer> shown;
        for (int i = 0; i < names.size(); ++i)
            shown.append({names[i], i < colors.size() ? colors[i].toInt() : i % 10});
        m_shownLayers = shown;
    }
    if (msg.data.contains(QStringLiteral("AffectedLayers"))) {
        affected_layers.clear();
        m_highlightFirst.clear();
        for (const QString& name : msg.data.value(QStringLiteral("AffectedLayers")).toStringList()) {
            affected_layers.push_back(name.toStdString());
            m_highlightFirst.append(name);
        }
    }
}

// Codes 20000050 to 20000057 choose snap modes 0 to 7; 20000058 switches snapping off.
void ViewWidget::change_current_snap_mode(PluginMetaData msg) {
    constexpr qint32 kFirstSnapCode = 20000050;
    ViewRoutes::storeSnapMode(*this, std::min(msg.msgType - kFirstSnapCode, int(UIAPI::SNAP_OFF)));
}

// ---- messages out ------------------------------------------------------------

void ViewWidget::sendTo(const QString& receiver, qint32 code, const QVariantMap& data, void* payload) {
    PluginMetaData msg(PluginNames::GraphicView, receiver, code);
    msg.data = data;
    msg.payload = payload;
    QTpluginsManger4CAM::instance()->recMegToPlugin(m_host, msg);
}

void ViewWidget::send_step_box() {
    double minX = 0, minY = 0, maxX = 0, maxY = 0;
    real_box(minX, minY, maxX, maxY);
    const int level = static_cast<int>(std::lround(std::log2(m_scale / ScaleLimits::minimum)));
    sendTo(PluginNames::JobList, 10000601,
           {{QStringLiteral("xmin"), minX}, {QStringLiteral("ymin"), minY},
            {QStringLiteral("xmax"), maxX}, {QStringLiteral("ymax"), maxY},
            {QStringLiteral("scale"), m_scale}, {QStringLiteral("center_x"), m_cx},
            {QStringLiteral("center_y"), m_cy}, {QStringLiteral("level"), level}});
}

void ViewWidget::sendJobListChangeSelectedIcon() { sendTo(PluginNames::JobList, 20001817); }

namespace {
QVariantMap pointData(const QPointF& p) { return {{QStringLiteral("x"), p.x()}, {QStringLiteral("y"), p.y()}}; }
}  // namespace

void ViewWidget::forwardPointInfo(const QPointF& p) { sendTo(PluginNames::MenuBarEdit, 20001802, pointData(p)); }
void ViewWidget::forwardMovePointInfo(const QPointF& p) { sendTo(PluginNames::MenuBarEdit, 20001803, pointData(p)); }
void ViewWidget::forwardCopyPointInfo(const QPointF& p) { sendTo(PluginNames::MenuBarEdit, 20001805, pointData(p)); }
void ViewWidget::forwardCreateSymbolPointInfo(const QPointF& p) { sendTo(PluginNames::MenuBarEdit, 20001809, pointData(p)); }
void ViewWidget::forwardSubstitutePointInfo(const QPointF& p) { sendTo(PluginNames::MenuBarEdit, 20001814, pointData(p)); }

void ViewWidget::forwardAttributePointInfo(const QString& receiver, qint32 code, const API::attr_map& attributes) {
    QVariantMap data;
    for (const auto& a : attributes) data.insert(QString::fromStdString(a.first), QString::fromStdString(a.second));
    sendTo(receiver, code, data);
}

void ViewWidget::forwardFilterAttributePointInfo(const QString& attributeType) {
    sendTo(PluginNames::MenuBarActions, 20000060, {{QStringLiteral("AttributeType"), attributeType}});
}

void ViewWidget::forwardChangeSymbolPointInfo(const QString& receiver, const QString& symbol) {
    sendTo(receiver, 20001811, {{QStringLiteral("symbol"), symbol}});
}

void ViewWidget::forwardChangeTextPointInfo(const QString& text, bool positive) {
    sendTo(PluginNames::MenuBarEdit, 20001812,
           {{QStringLiteral("text"), text},
            {QStringLiteral("polarity"), positive ? QStringLiteral("POS") : QStringLiteral("NEG")}});
}

// Data keys of the forwards about picked points and features, agreed with
// the edit menu, the edit tool bar and the job list:
//   point data: "x", "y" (board units);
//   move / copy point data: "x", "y" the target, "from_x", "from_y" the
//     reference point, "dx", "dy" the displacement;
//   substitute point data: "x", "y" where the symbol goes, and "features": a
//     list of maps, one per feature to stand in for, each with the feature
//     keys below;
//   feature keys: "layer", "index" (position in the layer), "record" (the
//     stored feature string, so that a receiver can tell that the feature
//     is still the one picked), "type" (1 line, 2 pad, 3 arc, 4 surface,
//     5 text), "x", "y" (start or anchor);
//   symbol data: the feature keys and "symbol", its symbol name;
//   text data: the feature keys, "text" and "polarity" ("POS" or "NEG");
//   feature attributes: the feature keys and "attributes", a map of
//     attribute name to value;
//   filter attributes: "AttributeType", the feature's attribute names
//     joined by commas, and the keys of the feature attributes.
namespace {
QVariantMap featureKeys(const std::string& layer, const API::featureInfo& f) {
    return {{QStringLiteral("layer"), QString::fromStdString(layer)},
            {QStringLiteral("index"), f.index},
            {QStringLiteral("record"), QString::fromStdString(f.record)},
            {QStringLiteral("type"), f.type},
            {QStringLiteral("x"), f.xs},
            {QStringLiteral("y"), f.ys}};
}

QVariantMap twoPointData(const QPointF& from, const QPointF& to) {
    QVariantMap data = pointData(to);
    data.insert(QStringLiteral("from_x"), from.x());
    data.insert(QStringLiteral("from_y"), from.y());
    data.insert(QStringLiteral("dx"), to.x() - from.x());
    data.insert(QStringLiteral("dy"), to.y() - from.y());
    return data;
}

QVariantMap attributeData(const std::string& layer, const API::featureInfo& feature) {
    QVariantMap attributes;
    for (const auto& a : feature.attributes)
        attributes.insert(QString::fromStdString(a.first), QString::fromStdString(a.second));
    QVariantMap data = featureKeys(layer, feature);
    data.insert(QStringLiteral("attributes"), attributes);
    return data;
}

QString polarityText(int polarity) {
    return polarity == API::POL_NEGATIVE ? QStringLiteral("NEG") : QStringLiteral("POS");
}
}  // namespace

void ViewWidget::forwardMovePointInfo(const QPointF& from, const QPointF& to) {
    sendTo(PluginNames::MenuBarEdit, 20001803, twoPointData(from, to));
}
void ViewWidget::forwardCopyPointInfo(const QPointF& from, const QPointF& to) {
    sendTo(PluginNames::MenuBarEdit, 20001805, twoPointData(from, to));
}

void ViewWidget::forwardSubstitutePointInfo(const QPointF& point, const LayerFeatures& features) {
    QVariantList list;
    for (const auto& layer : features)
        for (const API::featureInfo& f : layer.second) list.append(featureKeys(layer.first, f));
    QVariantMap data = pointData(point);
    data.insert(QStringLiteral("features"), list);
    sendTo(PluginNames::MenuBarEdit, 20001814, data);
}

void ViewWidget::forwardChangeSymbolPointInfo(const QString& receiver, const std::string& layer,
                                              const API::featureInfo& feature) {
    QVariantMap data = featureKeys(layer, feature);
    data.insert(QStringLiteral("symbol"), QString::fromStdString(feature.symbol));
    sendTo(receiver, 20001811, data);
}

void ViewWidget::forwardChangeTextPointInfo(const std::string& layer, const API::featureInfo& feature) {
    QVariantMap data = featureKeys(layer, feature);
    data.insert(QStringLiteral("text"), QString::fromStdString(feature.text));
    data.insert(QStringLiteral("polarity"), polarityText(feature.polarity));
    sendTo(PluginNames::MenuBarEdit, 20001812, data);
}

void ViewWidget::forwardAttributePointInfo(const QString& receiver, qint32 code, const std::string& layer,
                                           const API::featureInfo& feature) {
    sendTo(receiver, code, attributeData(layer, feature));
}

void ViewWidget::forwardFilterAttributePointInfo(const std::string& layer, const API::featureInfo& feature) {
    QStringList names;
    for (const auto& a : feature.attributes) names << QString::fromStdString(a.first);
    QVariantMap data = attributeData(layer, feature);
    data.insert(QStringLiteral("AttributeType"), names.join(QLatin1Char(',')));
    sendTo(PluginNames::MenuBarActions, 20000060, data);
}

ViewWidget::LayerFeatures ViewWidget::selectedEditFeatures() {
    LayerFeatures features;
    guarded(__FILE__, __LINE__, [&] { features = selectedFeatures(editLayers()); });
    return features;
}

void ViewWidget::forwardStepRepeatPointInfo(const QPointF& p) {
    sendTo(PluginNames::MenuBarStep, 20001681,
           {{QStringLiteral("Step_Repeat_point_x"), p.x()}, {QStringLiteral("Step_Repeat_point_y"), p.y()}});
    sendTo(PluginNames::Coordinate, 20003205, {{QStringLiteral("X"), p.x()}, {QStringLiteral("Y"), p.y()}});
}

void ViewWidget::forwardSRcopypcsoffsetInfo(double xOffset, double yOffset) {
    sendTo(PluginNames::MenuBarStep, 20001688,
           {{QStringLiteral("Copy_xoffset"), xOffset}, {QStringLiteral("Copy_yoffset"), yOffset}});
}

}  // namespace GRAPHIC
}  // namespace TOLVA
