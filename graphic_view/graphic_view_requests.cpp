// Requests of the dispatcher whose features are not available yet; each
// reports so in the log, so that no message is dropped silently.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

void ViewWidget::get_archor_signal(PluginMetaData) { notYetAvailable("get_archor_signal"); }
void ViewWidget::zoomIn_search_feature(PluginMetaData) { notYetAvailable("zoomIn_search_feature"); }
void ViewWidget::edit_coordinate_setting(PluginMetaData) { notYetAvailable("edit_coordinate_setting"); }
void ViewWidget::get_Mouse_rect(PluginMetaData) { notYetAvailable("get_Mouse_rect"); }
void ViewWidget::sent_Mouse_Point(PluginMetaData) { notYetAvailable("sent_Mouse_Point"); }
void ViewWidget::get_coordinate_data(PluginMetaData) { notYetAvailable("get_coordinate_data"); }
void ViewWidget::on_enter_pressed(PluginMetaData) { notYetAvailable("on_enter_pressed"); }
void ViewWidget::get_coordinate_effect_layers(PluginMetaData) { notYetAvailable("get_coordinate_effect_layers"); }
void ViewWidget::setResizeHoleTmpData(PluginMetaData) { notYetAvailable("setResizeHoleTmpData"); }

// Ends a clip: the polygon being entered is dropped.
void ViewWidget::unselect_clip_area(PluginMetaData) {
    m_polygonPoints.clear();
    m_polyline.clear();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
