// Feature creation through kernel feature strings. Not available yet: each
// operation reports so in the log.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

void ViewWidget::add_line_feature(std::string, double, double, double, double, int, int) { notYetAvailable("add_line_feature"); }
void ViewWidget::add_pad_feature(std::string, double, double, int, int, int) { notYetAvailable("add_pad_feature"); }
void ViewWidget::add_arc_feature(std::string, QPointF, QPointF, QPointF, int, int, bool) { notYetAvailable("add_arc_feature"); }
void ViewWidget::add_surface_feature(const QVector<QPointF>&, int, int, bool, bool) { notYetAvailable("add_surface_feature"); }
void ViewWidget::add_text_feature(QPointF, const std::string, int, int, double, double, double, const std::string, double, int) {
    notYetAvailable("add_text_feature");
}
bool ViewWidget::add_feature_confirm() {
    notYetAvailable("add_feature_confirm");
    return false;
}
void ViewWidget::add_features() { notYetAvailable("add_features"); }
void ViewWidget::set_line_feature_content(const std::string&, const std::vector<API::feature_point>&, int, int) {
    notYetAvailable("set_line_feature_content");
}
void ViewWidget::set_pad_feature_content(const std::string&, const QVector<QPointF>&, int, int, int, double) {
    notYetAvailable("set_pad_feature_content");
}
void ViewWidget::set_arc_feature_content(const std::string&, const std::vector<API::feature_point>&, int, int, bool) {
    notYetAvailable("set_arc_feature_content");
}
void ViewWidget::set_surface_feature_content(const std::vector<API::lPoint>&, int, int, bool) {
    notYetAvailable("set_surface_feature_content");
}
void ViewWidget::repeat_selected_features(PluginMetaData) { notYetAvailable("repeat_selected_features"); }
void ViewWidget::set_symbol_attributes(PluginMetaData) { notYetAvailable("set_symbol_attributes"); }
void ViewWidget::draw_use_symbol_line(PluginMetaData) { notYetAvailable("draw_use_symbol_line"); }
void ViewWidget::show_contour_fill_parameters(PluginMetaData) { notYetAvailable("show_contour_fill_parameters"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
