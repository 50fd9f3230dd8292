// Selection requests: the select tool's boxes and point lists become
// requests to the job list, which owns the job and selects in the kernel.
#include <glog/logging.h>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "graphic_view.h"

#include <algorithm>

namespace TOLVA {
namespace GRAPHIC {

namespace {
using T = Graphic_ViewTool;
const QString kSingle = QStringLiteral("is_single_select");
const QString kType = QStringLiteral("type");
constexpr qint32 kFeatureMode = 20000202;
constexpr qint32 kNetMode = 20000224;
constexpr qint32 kPolylineMode = 20000242;

// receive_text_box: the request code of a click by the active tool.
struct ClickRoute {
    int toolType;
    qint32 code;
    bool single;  // carries "is_single_select" true
};
constexpr ClickRoute kClickRoutes[] = {
    {T::TEXT_INFO_TOOL, 10000203, false}, {T::PROFILE_BOUND_TOOL, 10000204, false},
    {T::ALLIGN_HOLE_TOOL, 10000505, false}, {T::SELECT_TOOL, 20000401, true},
    {T::MOVE_COPY_TOOL, 20000401, true},  {T::DELETE_TOOL, 20000403, false},
    {T::LINE_EDIT_TOOL, 20000211, false},
};
}  // namespace

// The payload points at the box for the duration of the synchronous delivery.
void ViewWidget::sendBoxRequest(qint32 code, QRectF& box, const QVariantMap& data) {
    sendTo(PluginNames::JobList, code, data, &box);
}

void ViewWidget::receive_text_box(QRectF box) {
    if (!m_tool) return;
    for (const ClickRoute& route : kClickRoutes) {
        if (m_tool->getType() != route.toolType) continue;
        sendBoxRequest(route.code, box, route.single ? QVariantMap{{kSingle, true}} : QVariantMap{});
        return;
    }
}

void ViewWidget::receive_text_box_doubleClick(QRectF box) {
    if (!m_tool) return;
    if (m_tool->getType() == T::DELETE_TOOL) sendBoxRequest(20000404, box);
    else if (m_tool->getType() == T::SELECT_TOOL) sendBoxRequest(20000402, box);
}

void ViewWidget::receive_rect_text_box(QRectF box) { sendBoxRequest(20000203, box, {{kSingle, false}}); }
void ViewWidget::receive_unselect_text_box(QRectF box) { sendBoxRequest(20001640, box, {{kType, kFeatureMode}}); }
void ViewWidget::receive_text_box_mid_doubleClick(QRectF box) { sendBoxRequest(20000407, box); }
void ViewWidget::receive_select_invert_text_box(QRectF box) { sendBoxRequest(20000215, box); }
void ViewWidget::receive_unselect_invert_text_box(QRectF box) { sendBoxRequest(20001640, box, {{kType, kFeatureMode}}); }
void ViewWidget::receive_change_polarity_textbox(QRectF box) { sendBoxRequest(20000235, box); }
void ViewWidget::receive_net_selection_box(QRectF box) { sendBoxRequest(20000224, box); }
void ViewWidget::receive_net_unselection_box(QRectF box) { sendBoxRequest(20001640, box, {{kType, kNetMode}}); }
void ViewWidget::receive_select_polyLine_box(QRectF box) { sendBoxRequest(20000242, box); }
void ViewWidget::receive_unselect_polyLine_box(QRectF box) { sendBoxRequest(20001640, box, {{kType, kPolylineMode}}); }
void ViewWidget::receive_select_BoardNet_box(QRectF box) { sendBoxRequest(20000245, box); }
void ViewWidget::receive_select_LayerNet_box(QRectF box) { sendBoxRequest(20000244, box); }
void ViewWidget::receive_HighLightTextBox(QRectF box) { sendBoxRequest(20000414, box, {{kSingle, true}}); }
void ViewWidget::receive_HighLightTextBox_double(QRectF box) { sendBoxRequest(20000415, box, {{kSingle, false}}); }
void ViewWidget::receive_unHighlightTextBox(QRectF box) { sendBoxRequest(20000416, box, {{kSingle, false}}); }
void ViewWidget::receive_HightLight_Rect_Box(QRectF box) { sendBoxRequest(20004403, box, {{kSingle, false}}); }

void ViewWidget::receive_polygon_box(QVector<QPointF> points) {
    sendTo(PluginNames::JobList, 20000223, {}, &points);
}

void ViewWidget::receive_clip_area_box(QVector<QPointF> points) {
    sendTo(PluginNames::JobList, 20002001, {}, &points);
}

// ---- the attribute filter ------------------------------------------------------

namespace {
// The closed polygon of a box in kernel integer points, truncated toward zero.
std::vector<API::point> boxPolygon(const QRectF& box) {
    auto pt = [](double x, double y) { return API::point{truncToInt(x), truncToInt(y)}; };
    return {pt(box.left(), box.bottom()), pt(box.left(), box.top()), pt(box.right(), box.top()),
            pt(box.right(), box.bottom())};
}

qint32 moveToolbarCode(bool first, bool select) {
    if (first) return select ? 20000061 : 20000063;
    return select ? 20000062 : 20000064;
}

void addEntries(std::vector<std::pair<std::string, std::string>>& entries, const QVariantMap& map) {
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        entries.emplace_back(it.key().toStdString(), it.value().toString().toStdString());
}
}  // namespace

// The filter settings come with the request that opens the filter mode:
// "Polarity" ("POS" or "NEG"), "SymbolText" (a symbol name) and
// "Attributes" (attribute name to value, an empty value matching any) must
// all match; "Exclude" (the same kinds of entries in one map) must not.
// A request without settings keeps the previous ones.
void ViewWidget::takeAttributeFilter(const PluginMetaData& msg) {
    static const QString keys[] = {QStringLiteral("Polarity"), QStringLiteral("SymbolText"),
                                   QStringLiteral("Attributes"), QStringLiteral("Exclude")};
    if (std::none_of(std::begin(keys), std::end(keys), [&](const QString& k) { return msg.data.contains(k); }))
        return;
    API::select_filter filter;
    for (const QString& key : {keys[0], keys[1]})
        if (!msg.data.value(key).toString().isEmpty())
            filter.include.emplace_back(key.toStdString(), msg.data.value(key).toString().toStdString());
    addEntries(filter.include, msg.data.value(keys[2]).toMap());
    addEntries(filter.exclude, msg.data.value(keys[3]).toMap());
    m_attributeFilter = filter;
}

// Selects (or, with `select` clear, unselects) the features of the work
// layer in the box that pass the attribute filter, and tells the move tool
// bar what happened. Features that were selected and that the filter now
// excludes are unselected.
void ViewWidget::send_filter_selection_info(QRectF box, bool first, bool select) {
    if (work_layer.empty()) {
        LOG(WARNING) << "GRAPHIC_VIEW: filter selection without a work layer ignored";
        return;
    }
    const std::vector<API::point> polygon = boxPolygon(box);
    const int operation = select ? 0 : 1;
    API::select_report report;
    const bool done = guarded(__FILE__, __LINE__, [&] {
        if (DB::get_SaveFlag())
            DB::select_features_db_save(job(), step(), work_layer, polygon, m_attributeFilter, operation, 0);
        report = API::select_features(job(), step(), work_layer, polygon, m_attributeFilter, operation, 0);
        for (const API::featureInfo& f : report.dropped) {
            if (DB::get_SaveFlag()) DB::unselect_feature_by_info_db_save(job(), step(), work_layer, f);
            API::unselect_feature_by_info(job(), step(), work_layer, f);
        }
    });
    if (!done) return;
    if (report.selected > 0 || !select || !report.dropped.empty())
        sendTo(PluginNames::ToolbarMove, moveToolbarCode(first, select),
               {{QStringLiteral("LayerName"), QString::fromStdString(work_layer)},
                {QStringLiteral("count"), report.selected},
                {QStringLiteral("dropped"), int(report.dropped.size())}});
    draw();
    refresh();
    sendJobListChangeSelectedIcon();
}

// ---- the job list's answers ------------------------------------------------------

// The job list answers a net or contour request with the features it found:
// "LayerName", "Indexes" (feature indices of that layer) and "Select"
// (false to unselect them; true when absent). The view applies the answer
// in the kernel and shows it.
void ViewWidget::applySelectionAnswer(const PluginMetaData& msg, const char* what) {
    const std::string layer = msg.data.value(QStringLiteral("LayerName")).toString().toStdString();
    const QVariantList indexes = msg.data.value(QStringLiteral("Indexes")).toList();
    if (layer.empty()) {
        LOG(ERROR) << "GRAPHIC_VIEW: " << what << " answer without a layer ignored";
        return;
    }
    const bool select = msg.data.value(QStringLiteral("Select"), true).toBool();
    // Every named feature is looked up before any is changed: an answer
    // naming a feature the layer does not have changes nothing.
    guarded(__FILE__, __LINE__, [&] {
        std::vector<API::featureInfo> named;
        for (const QVariant& v : indexes) {
            bool ok = false;
            const int index = v.toInt(&ok);
            named.emplace_back();
            if (!ok || !API::get_featureinfo_by_index(job(), step(), layer, index, named.back()))
                throw API::KernelText("layer '" + layer + "' has no feature " + v.toString().toStdString());
        }
        for (const API::featureInfo& f : named) {
            if (select) {
                if (DB::get_SaveFlag()) DB::select_feature_by_id_db_save(job(), step(), layer, f.index);
                API::select_feature_by_id(job(), step(), layer, f.index);
            } else {
                if (DB::get_SaveFlag()) DB::unselect_feature_by_info_db_save(job(), step(), layer, f);
                API::unselect_feature_by_info(job(), step(), layer, f);
            }
        }
    });
    draw();
    refresh();
    sendJobListChangeSelectedIcon();
}

void ViewWidget::select_net_items(const PluginMetaData& msg) { applySelectionAnswer(msg, "net"); }
void ViewWidget::select_contour_items(const PluginMetaData& msg) { applySelectionAnswer(msg, "contour"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
