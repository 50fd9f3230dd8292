#pragma once
// Outlines of features for the editing tools' previews: the extent of a set
// of features, an image of their outlines for the shared edit buffer, and
// the outlines drawn over a board box on the view while the features are
// being placed or dragged.
#include <QColor>
#include <QPixmap>
#include <QRectF>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TOLVA_API_types.h"

class QPainter;
class QPolygonF;

namespace TOLVA {
namespace GRAPHIC {

// Features per layer, as the edit buffer holds them.
using FeatureMap = std::map<std::string, std::vector<API::featureInfo>>;

// The union of the features' extents (xmin..xmax, ymin..ymax) in board
// units; nothing when there are no features.
std::optional<QRectF> featureExtent(const FeatureMap& features);

// An image of the features' outlines over `extent`: board y upwards, the
// longer side kOutlinePreviewPixels long, transparent elsewhere. Lines and
// arcs are drawn as their centre path, every other feature as its extent.
// A null pixmap when there is nothing to draw.
QPixmap outlinePreview(const FeatureMap& features, const QRectF& extent);
constexpr int kOutlinePreviewPixels = 512;
extern const QColor kOutlineColor;
// The dashed frame of a box on the view, apart from the outlines it holds.
extern const QColor kBoxFrameColor;

// Frames a box given by its corners on the view, in the order of
// EditingTool::onView.
void drawBoxFrame(QPainter* painter, const QPolygonF& corners);

// Frames the box at `corners` and draws in it the outlines of `features`
// as they lie in `extent`. Up to kMostOutlinesPerFrame features are drawn
// as lines, one pixel wide at any zoom; beyond that, `preview` (their image
// over `extent`) is stretched over the box instead, so that a paint stays
// quick.
// `colour` draws the outlines (not the frame): a tool shows what an edit
// will remove in a warning colour.
void drawOutlinesAt(QPainter* painter, const FeatureMap& features, const QRectF& extent, const QPixmap& preview,
                    const QPolygonF& corners, const QColor& colour = kOutlineColor);
constexpr int kMostOutlinesPerFrame = 2000;

}  // namespace GRAPHIC
}  // namespace TOLVA
