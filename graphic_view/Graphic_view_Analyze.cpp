// Display of analysis results. Not available yet: each operation reports
// so in the log.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

void ViewWidget::showNetAnalyzeResult(PluginMetaData) { notYetAvailable("showNetAnalyzeResult"); }
void ViewWidget::get_analyze_data(PluginMetaData) { notYetAvailable("get_analyze_data"); }
void ViewWidget::eq_zoomIn_special_points(PluginMetaData) { notYetAvailable("eq_zoomIn_special_points"); }
void ViewWidget::refresh_layer_compare_show(PluginMetaData) { notYetAvailable("refresh_layer_compare_show"); }

// Forgets every check point and measurement shown over the board.
void ViewWidget::clear_result_viewer_painter(PluginMetaData) {
    m_checkPoints.clear();
    m_currentCheckPoint = check_points();
    m_currentMeasurement = MeasurementShape();
    m_measurements.clear();
    update();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
