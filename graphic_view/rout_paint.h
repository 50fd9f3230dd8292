#pragma once
// How the rout overlay looks: the line-width display modes the cutter band
// is drawn in, the colour of a chain, and the spacing of the arrows that
// show its direction of travel. Pixel sizes stay the same at every zoom so
// that the marks remain readable.
#include <QColor>
#include <QFont>
#include <QImage>
#include <map>
#include <QString>

namespace TOLVA {
namespace GRAPHIC {

namespace rout {

// The shared line-width display mode (UIAPI::getWidth).
enum WidthMode : int {
    WidthFilled = 0,   // lines as wide as drawn
    WidthCentre = 1,   // centre lines only
    WidthOutline = 2,  // the outline of each line's area, its inside left empty
};

// A chain's colour, fixed by its number so that it keeps its colour while
// other chains come and go.
QColor chainColour(int chain);
// A chain's number in white on its colour, kept in `cache` once drawn.
const QImage& labelImage(std::map<int, QImage>& cache, int number, const QColor& colour, const QFont& font);
// The band is see-through so that the board under the cutter stays visible.
constexpr int kBandAlpha = 150;
// Bands this many pixels wide or less are stroked with square ends and
// corners: a round end of a pixel and a half is not seen, and rounding it
// is most of what a thin band costs to draw.
constexpr int kSquareBandPixels = 3;

constexpr double kArrowSpacing = 80;   // pixels between arrows along a piece
constexpr double kShortestArrowed = 16;  // pieces shorter on screen get no arrow
constexpr double kArrowLength = 7;     // from the tip back along the piece
constexpr double kArrowHalfWidth = 4;
constexpr int kPlungeRadius = 4;       // the disc where the cutter goes down
constexpr int kRetractHalf = 5;        // the square where it comes up
constexpr int kLabelGap = 6;           // the chain number beside its start
constexpr int kTipReachPixels = 5;     // how near the cursor must rest for the tooltip

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
