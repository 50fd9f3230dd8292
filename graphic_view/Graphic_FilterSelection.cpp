// Selection requests: the select tool's boxes and point lists become
// requests to the job list, which owns the job and selects in the kernel.
#include <glog/logging.h>

#include "PluginNames.h"
#include "QTpluginsManger4CAM.h"
#include "TOLVA_API.h"
#include "graphic_view.h"

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

void ViewWidget::send_filter_selection_info(QRectF, bool, bool) { notYetAvailable("send_filter_selection_info"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
