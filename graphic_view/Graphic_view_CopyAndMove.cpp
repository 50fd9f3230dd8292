// The edit buffer, move and copy. Not available yet: each operation reports
// so in the log.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

bool ViewWidget::check_active_layers(std::vector<std::string>&, bool) {
    notYetAvailable("check_active_layers");
    return false;
}
void ViewWidget::do_buffer_tool_change(PluginMetaData) { notYetAvailable("do_buffer_tool_change"); }
void ViewWidget::clear_eidt_buffer() { notYetAvailable("clear_eidt_buffer"); }
bool ViewWidget::is_feature_isExist(const std::string&, const API::featureInfo&) {
    notYetAvailable("is_feature_isExist");
    return false;
}
void ViewWidget::get_offset(PluginMetaData) { notYetAvailable("get_offset"); }
void ViewWidget::get_copy_or_cut_features() { notYetAvailable("get_copy_or_cut_features"); }
void ViewWidget::get_tool_edit_copy_or_cut_features() { notYetAvailable("get_tool_edit_copy_or_cut_features"); }
void ViewWidget::receive_Buffer_CpyAndCut() { notYetAvailable("receive_Buffer_CpyAndCut"); }
void ViewWidget::receive_CopyOffset_box(QList<QRectF>) { notYetAvailable("receive_CopyOffset_box"); }
void ViewWidget::receive_MoveOffset_box(QList<QRectF>) { notYetAvailable("receive_MoveOffset_box"); }
void ViewWidget::receive_tool_edit_copy_and_cut(double, double, QObject*, bool) {
    notYetAvailable("receive_tool_edit_copy_and_cut");
}
void ViewWidget::RecieveMidbuttonclick() { notYetAvailable("RecieveMidbuttonclick"); }
void ViewWidget::delete_last_edit() { notYetAvailable("delete_last_edit"); }
bool ViewWidget::undoLastEdit() { return false; }
void ViewWidget::getNewSelectedFeature(QRectF) {}

}  // namespace GRAPHIC
}  // namespace TOLVA
