// Requests of the dispatcher whose features are not available yet; each
// reports so in the log, so that no message is dropped silently.
#include "graphic_view.h"

namespace TOLVA {
namespace GRAPHIC {

// Ends a clip: the polygon being entered is dropped.
void ViewWidget::unselect_clip_area(PluginMetaData) {
    m_polygonPoints.clear();
    m_polyline.clear();
}

}  // namespace GRAPHIC
}  // namespace TOLVA
