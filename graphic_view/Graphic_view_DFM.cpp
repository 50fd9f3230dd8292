// Display of design-for-manufacturing results. Not available yet.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

void ViewWidget::get_DFM_data(PluginMetaData) { notYetAvailable("get_DFM_data"); }

}  // namespace GRAPHIC
}  // namespace TOLVA
