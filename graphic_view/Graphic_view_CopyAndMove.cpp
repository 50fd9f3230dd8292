// The edit buffer, move and copy. The view measures displacements and names
// the layers; the kernel moves or copies. The buffer lives in the shared UI
// state, so every view and plug-in of the program pastes the same contents.
#include <glog/logging.h>

#include <QThread>
#include <algorithm>
#include <cmath>

#include "PluginNames.h"
#include "TOLVA_API.h"
#include "UIAPICommon.h"
#include "core/prompt.h"
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

namespace {
using T = Graphic_ViewTool;
constexpr int kCut = 0;
constexpr int kCopy = 2;
constexpr int kSettleMs = 200;  // lets the operator see the result before the tool changes back
constexpr qint32 kOffsetMove = 20001402;
constexpr qint32 kCopyOrCut = 20001416;
constexpr qint32 kPaste = 20001417;

// The kernel takes displacements as int, truncated toward zero (10.6 -> 10,
// -10.6 -> -10); beyond the int range truncToInt saturates, and the kernel
// refuses the move as out of range.
int toOffset(double d) { return truncToInt(d); }

// The move of the box centre from box 0 to box 1.
QPointF boxDisplacement(const QList<QRectF>& boxes) {
    return {(boxes[1].left() + boxes[1].right()) * 0.5 - (boxes[0].left() + boxes[0].right()) * 0.5,
            (boxes[1].top() + boxes[1].bottom()) * 0.5 - (boxes[0].top() + boxes[0].bottom()) * 0.5};
}

bool isSelected(const std::string& job, const std::string& step, const std::string& layer) {
    if (DB::get_SaveFlag()) DB::is_selected_db_save(job, step, layer);
    return API::is_selected(job, step, layer);
}

bool outside(const API::featureInfo& f, const QRectF& box) {
    return f.xmin < box.left() || f.xmax > box.right() || f.ymin < box.top() || f.ymax > box.bottom();
}

// The request data of get_offset: the optional working box.
bool boxOf(const PluginMetaData& msg, QRectF& box) {
    static const char* const keys[] = {"xmin", "ymin", "xmax", "ymax"};
    double v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = msg.data.value(QLatin1String(keys[i])).toDouble(&ok);
        if (!ok) return false;
    }
    box = QRectF(QPointF(v[0], v[1]), QPointF(v[2], v[3])).normalized();
    return true;
}

// delete_last_edit: the withdraw request of the tool kinds that keep edit steps.
qint32 withdrawCode(int toolType, int angle) {
    const bool upright = angle % 180 == 0;
    switch (toolType) {
    case T::TEXT_INFO_TOOL: return 10000515;
    case T::PROFILE_BOUND_TOOL: return 10000516;
    case T::REGION_DIVISION_TOOL: return upright ? 10000513 : 10000514;
    case T::REGION_DIVISION_TOOL_2: return upright ? 10000514 : 10000513;
    case T::SELECT_TOOL: return 10000518;
    default: return 0;
    }
}
}  // namespace

std::vector<std::string> ViewWidget::editLayers() const {
    std::vector<std::string> layers = affected_layers;
    if (!work_layer.empty() && std::find(layers.begin(), layers.end(), work_layer) == layers.end())
        layers.push_back(work_layer);
    return layers;
}

bool ViewWidget::check_active_layers(std::vector<std::string>& layers, bool ask_all) {
    layers = editLayers();
    if (layers.empty()) {
        prompt::information(this, tr("Information"), tr("There are no active layers!"));
        return false;
    }
    if (layers.size() > 1 &&
        prompt::ask({this, tr("Information"), tr("Operation will be done on multiple layers, Continue?"),
                     QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::NoButton}) == QMessageBox::Cancel)
        return false;
    bool anySelected = false;
    if (!guarded(__FILE__, __LINE__, [&] {
            for (const std::string& layer : layers) anySelected = isSelected(job(), step(), layer) || anySelected;
        }))
        return false;
    if (anySelected || !ask_all) return true;
    if (prompt::ask({this, tr("Information"), tr("Operation will be performed on All features.Continue?"),
                     QMessageBox::Yes | QMessageBox::No, QMessageBox::NoButton}) == QMessageBox::No)
        return false;
    // The operator chose the whole layers: they become the selection acted on.
    return guarded(__FILE__, __LINE__, [&] {
        for (const std::string& layer : layers) {
            if (DB::get_SaveFlag()) DB::select_all_features_db_save(job(), step(), layer);
            API::select_features(job(), step(), layer);
        }
    });
}

std::map<std::string, std::vector<API::featureInfo>> ViewWidget::selectedFeatures(
    const std::vector<std::string>& layers) {
    std::map<std::string, std::vector<API::featureInfo>> features;
    for (const std::string& layer : layers) {
        if (!isSelected(job(), step(), layer)) continue;
        if (DB::get_SaveFlag()) DB::get_selected_feature_info_db_save(job(), step(), layer);
        API::get_selected_feature_info(job(), step(), layer, features[layer]);
    }
    return features;
}

void ViewWidget::redrawAfterEdit() {
    draw();
    refresh();
    update_rout_info();
    sendJobListChangeSelectedIcon();
}

// ---- the buffer -----------------------------------------------------------------

void ViewWidget::do_buffer_tool_change(PluginMetaData msg) {
    if (msg.msgType == kCopyOrCut) {
        std::vector<std::string> layers;
        if (!check_active_layers(layers, true)) return;
    } else if (msg.msgType == kPaste) {
        if (UIAPI::getEditBuffer(m_host).features.empty()) {
            prompt::information(this, tr("ERROR!"), tr("Buffer is empty!"));
            return;
        }
    } else {
        return;
    }
    // A second request while the buffer tool is open re-configures it
    // instead of toggling it off.
    if (!m_tool || m_tool->getType() != T::EDIT_BUFFER_TOOL) {
        const Graphic_ViewTool* before = m_tool;
        changeTool(T::EDIT_BUFFER_TOOL);
        if (m_tool == before || m_tool->getType() != T::EDIT_BUFFER_TOOL) return;
    }
    m_tool->setWorkParam(&msg);
}

void ViewWidget::get_copy_or_cut_features() {
    get_tool_edit_copy_or_cut_features();
    change_to_last_tool();
}

// Fills the buffer with the selection of the layer set and unselects what it
// took, so that the operator sees what went into the buffer.
void ViewWidget::get_tool_edit_copy_or_cut_features() {
    UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_host);
    guarded(__FILE__, __LINE__, [&] {
        buffer.features = selectedFeatures(editLayers());
        buffer.boxes.clear();
        UIAPI::Selection& selection = UIAPI::getSelection(m_host);
        for (const auto& entry : buffer.features)
            for (const API::featureInfo& f : entry.second) {
                if (DB::get_SaveFlag()) DB::unselect_feature_by_info_db_save(job(), step(), entry.first, f);
                API::unselect_feature_by_info(job(), step(), entry.first, f);
            }
        selection.count = 0;
    });
    redrawAfterEdit();
}

bool ViewWidget::is_feature_isExist(const std::string& layer, const API::featureInfo& info) {
    API::featureInfo now;
    bool found = false;
    guarded(__FILE__, __LINE__, [&] {
        if (DB::get_SaveFlag()) DB::get_featureinfo_by_index_db_save(job(), step(), layer, info.index);
        found = API::get_featureinfo_by_index(job(), step(), layer, info.index, now);
    });
    return found && now == info;
}

void ViewWidget::clear_eidt_buffer() {
    UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_host);
    buffer.features.clear();
    buffer.edit_type = -1;
    buffer.preview = QPixmap();
    buffer.boxes.clear();
    LOG(INFO) << "GRAPHIC_VIEW_EDIT_BUFFER: the buffer has been cleared";
}

void ViewWidget::receive_Buffer_CpyAndCut() {
    UIAPI::Edit_Buffer& buffer = UIAPI::getEditBuffer(m_host);
    if (buffer.boxes.size() < 2) {
        LOG(ERROR) << "move rect list size is not fit!";
        return;
    }
    if (buffer.edit_type != kCut && buffer.edit_type != kCopy) {
        LOG(ERROR) << "GRAPHIC_VIEW_EDIT_BUFFER: edit type " << buffer.edit_type << " is neither cut nor copy";
        return;
    }
    const QPointF d = boxDisplacement(buffer.boxes);
    std::vector<std::string> layers;
    if (!check_active_layers(layers, false)) return;
    std::map<std::string, std::vector<API::featureInfo>> features;
    for (const std::string& layer : layers) {
        auto it = buffer.features.find(layer);
        if (it != buffer.features.end()) features.insert(*it);
    }
    if (buffer.edit_type == kCopy) {
        for (const auto& entry : features)
            for (const API::featureInfo& f : entry.second)
                if (!is_feature_isExist(entry.first, f)) {
                    // The buffer no longer describes the job: nothing is copied.
                    buffer.features.clear();
                    buffer.boxes.clear();
                    change_to_last_tool();
                    return;
                }
    }
    guarded(__FILE__, __LINE__, [&] {
        const int dx = toOffset(d.x()), dy = toOffset(d.y());
        if (buffer.edit_type == kCut) {
            if (DB::get_SaveFlag()) DB::move_specified_features_db_save(job(), step(), layers, features, dx, dy);
            API::move_specified_features(job(), step(), layers, features, dx, dy);
            // The cut features now sit at the paste position: later pastes
            // copy them from there.
            for (auto& entry : buffer.features)
                for (API::featureInfo& f : entry.second)
                    API::get_featureinfo_by_index(job(), step(), entry.first, f.index, f);
            buffer.edit_type = kCopy;
            buffer.boxes[0] = buffer.boxes[1];
        } else {
            if (DB::get_SaveFlag()) DB::copy_specified_features_db_save(job(), step(), layers, features, dx, dy);
            API::copy_specified_features(job(), step(), layers, features, dx, dy);
        }
    });
    redrawAfterEdit();
    change_to_last_tool();
}

// ---- offsets -------------------------------------------------------------------

void ViewWidget::applySameLayerOffset(bool copy, double dx, double dy) {
    guarded(__FILE__, __LINE__, [&] {
        std::vector<std::string> layers;
        for (const std::string& layer : editLayers())
            if (m_outsideBoxConfirmed || isSelected(job(), step(), layer)) layers.push_back(layer);
        const int x = toOffset(dx), y = toOffset(dy);
        if (copy) {
            if (DB::get_SaveFlag()) DB::copy_features_in_samelayer_db_save(job(), step(), layers, x, y);
            API::copy_features_in_samelayer(job(), step(), layers, x, y);
        } else {
            if (DB::get_SaveFlag()) DB::move_same_layer_db_save(job(), step(), layers, x, y);
            API::move_same_layer(job(), step(), layers, x, y);
        }
    });
    m_outsideBoxConfirmed = false;
    draw();
    refresh();
    update_rout_info();
}

void ViewWidget::offsetByBoxes(bool copy, const QList<QRectF>& boxes) {
    if (boxes.size() < 2) {
        LOG(ERROR) << "GRAPHIC_VIEW: an offset needs two boxes, " << boxes.size() << " given";
        return;
    }
    const QPointF d = boxDisplacement(boxes);
    applySameLayerOffset(copy, d.x(), d.y());
    QThread::msleep(kSettleMs);
    change_to_last_tool();
    sendJobListChangeSelectedIcon();
}

void ViewWidget::receive_CopyOffset_box(QList<QRectF> boxes) { offsetByBoxes(true, boxes); }
void ViewWidget::receive_MoveOffset_box(QList<QRectF> boxes) { offsetByBoxes(false, boxes); }

void ViewWidget::receive_tool_edit_copy_and_cut(double dx, double dy, QObject*, bool copy) {
    std::vector<std::string> layers;
    if (!check_active_layers(layers, true)) return;
    guarded(__FILE__, __LINE__, [&] {
        const std::map<std::string, std::vector<API::featureInfo>> features = selectedFeatures(layers);
        const int x = toOffset(dx), y = toOffset(dy);
        if (copy) {
            if (DB::get_SaveFlag()) DB::copy_specified_features_db_save(job(), step(), layers, features, x, y);
            API::copy_specified_features(job(), step(), layers, features, x, y);
        } else {
            if (DB::get_SaveFlag()) DB::move_specified_features_db_save(job(), step(), layers, features, x, y);
            API::move_specified_features(job(), step(), layers, features, x, y);
        }
        for (const std::string& layer : layers) {
            if (DB::get_SaveFlag()) DB::unselect_features_db_save(job(), step(), layer);
            API::unselect_features(job(), step(), layer);
        }
    });
    update_rout_info();
    draw();
    refresh();
    sendJobListChangeSelectedIcon();
}

// An offset edit of the selection: 20001402 moves, 20001403 copies, by the
// "dx" and "dy" the request carries (board units). A request without them
// opens the same-layer tool, where the operator shows the offset with two
// boxes. A request with a working box ("xmin" .. "ymax") asks before acting
// on selected features that lie outside it.
void ViewWidget::get_offset(PluginMetaData msg) {
    const bool copy = msg.msgType != kOffsetMove;
    std::vector<std::string> layers;
    if (!check_active_layers(layers, true)) return;
    m_outsideBoxConfirmed = false;
    QRectF box;
    if (boxOf(msg, box)) {
        bool anyOutside = false;
        if (!guarded(__FILE__, __LINE__, [&] {
                for (const auto& entry : selectedFeatures(layers))
                    for (const API::featureInfo& f : entry.second) anyOutside = anyOutside || outside(f, box);
            }))
            return;
        if (anyOutside) {
            if (prompt::ask({this, tr("Information"), tr("Some features have been selected outside box. Continue?"),
                             QMessageBox::Yes | QMessageBox::No, QMessageBox::NoButton}) != QMessageBox::Yes)
                return;
            m_outsideBoxConfirmed = true;
        }
    }
    bool okX = false, okY = false;
    const double dx = msg.data.value(QStringLiteral("dx")).toDouble(&okX);
    const double dy = msg.data.value(QStringLiteral("dy")).toDouble(&okY);
    if (okX && okY) {
        applySameLayerOffset(copy, dx, dy);
        sendJobListChangeSelectedIcon();
        return;
    }
    const Graphic_ViewTool* before = m_tool;
    if (!m_tool || m_tool->getType() != T::MOVE_COPY_SAME_LAYER_TOOL) changeTool(T::MOVE_COPY_SAME_LAYER_TOOL);
    if (m_tool != before || m_tool->getType() == T::MOVE_COPY_SAME_LAYER_TOOL) m_tool->setWorkParam(&msg);
}

// ---- ending an edit, undo ----------------------------------------------------------

void ViewWidget::RecieveMidbuttonclick() {
    refresh();
    change_to_last_tool();
    sendJobListChangeSelectedIcon();
}

void ViewWidget::delete_last_edit() {
    if (!m_tool) return;
    const qint32 code = withdrawCode(m_tool->getType(), m_angle);
    if (code) sendTo(PluginNames::JobList, code);
}

bool ViewWidget::undoLastEdit() {
    bool undone = false;
    guarded(__FILE__, __LINE__, [&] { undone = API::undo_last_edit(job()); });
    if (!undone) return false;
    sendMatrixUpdate();
    redrawAfterEdit();
    return true;
}

void ViewWidget::getNewSelectedFeature(QRectF box) {
    guarded(__FILE__, __LINE__, [&] {
        for (const std::string& layer : editLayers()) {
            if (DB::get_SaveFlag()) DB::clear_selected_features_db_save(job(), step(), layer);
            API::clear_selected_features(job(), step(), layer);
        }
    });
    sendBoxRequest(20000401, box, {{QStringLiteral("is_single_select"), true}});
}

}  // namespace GRAPHIC
}  // namespace TOLVA
