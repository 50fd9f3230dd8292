// Rout chains and their compensation. Not available yet: each operation
// reports so in the log.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

void ViewWidget::get_post_comp_pt(const int&, const int&, const QPointF&, const QPointF&, QPointF&, QPointF&) {
    notYetAvailable("get_post_comp_pt");
}
void ViewWidget::Get_post_comp_pt(const int& mode, const int& size, const QPointF& s, const QPointF& e, QPointF& os, QPointF& oe) {
    get_post_comp_pt(mode, size, s, e, os, oe);
}
void ViewWidget::get_arc_post_comp_pt(const int&, const int&, const QPointF&, const QPointF&, const QPointF&, const QString&,
                                      QPointF&, QPointF&) {
    notYetAvailable("get_arc_post_comp_pt");
}
void ViewWidget::Get_arc_post_comp_pt(const int& mode, const int& size, const QPointF& s, const QPointF& e, const QPointF& c,
                                      const QString& dir, QPointF& os, QPointF& oe) {
    get_arc_post_comp_pt(mode, size, s, e, c, dir, os, oe);
}
double ViewWidget::get_bites_num(const double& value, int) {
    notYetAvailable("get_bites_num");
    return value;
}
void ViewWidget::create_rout_chain(const PluginMetaData&) { notYetAvailable("create_rout_chain"); }
void ViewWidget::do_compensate(PluginMetaData&) { notYetAvailable("do_compensate"); }
void ViewWidget::add_chain_do_apply() { notYetAvailable("add_chain_do_apply"); }
void ViewWidget::get_rout_selectorder(PluginMetaData) { notYetAvailable("get_rout_selectorder"); }
void ViewWidget::do_drawchain(PluginMetaData) { notYetAvailable("do_drawchain"); }
void ViewWidget::get_addchain_vector(PluginMetaData) { notYetAvailable("get_addchain_vector"); }
void ViewWidget::update_rout_info() { notYetAvailable("update_rout_info"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
