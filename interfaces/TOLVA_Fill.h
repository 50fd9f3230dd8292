#pragma once
// Contour fill: the geometry of copper balancing on panels and of hatched or
// solid pours on boards. These calls work a fill out and change nothing; the
// caller writes the result as new features (one AddFeatures call, so that the
// whole fill is one undo step).
//
// A region is one or more islands, each an outer ring with the holes inside
// it. Rings are closed implicitly (a repeated closing vertex is accepted and
// ignored); their orientation does not matter. Coordinates, widths, pitches
// and clearances are nanometres, angles degrees counter-clockwise.
//
// Refusals throw a KernelText before any work and name the reason: an open
// or degenerate contour (fewer than three distinct vertices, no area), a
// pitch or width that is zero, negative or not finite, a negative clearance,
// an unknown symbol, and a fill that would make more than kMaxFillFeatures
// features (estimated from the region's area and the pitch, before anything
// is generated). Unknown job, step or layer names throw as the rest of the API.
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace FILL {

using API::lPoint;
using API::str;

struct contour {
    std::vector<lPoint> outer;
    std::vector<std::vector<lPoint>> holes;
};
using region = std::vector<contour>;

constexpr long long kMaxFillFeatures = 10000000;

// ---- where contours come from ------------------------------------------------

// The islands of a surface feature with their holes (its contours nest by the
// even-odd rule: a contour inside an odd number of others is a hole).
// Throws when the feature is not a surface.
TOLVA_API_EXPORT region surface_contour(const str& job, const str& step, const str& layer, int index);

// The closed outlines traced by lines and arcs of a layer joined end to end
// (their centre lines; ends within kJoinTolerance meet). Several loops nest as
// a surface's contours do. Refused: a feature that is not a line or an arc, a
// repeated index, and a chain that does not close (the message gives the
// loose end in millimetres). Arcs are followed within kArcTolerance.
constexpr double kJoinTolerance = 1000;  // 1 um
constexpr double kArcTolerance = 250;    // largest gap between an arc and its chords
TOLVA_API_EXPORT region chain_contour(const str& job, const str& step, const str& layer,
                                      const std::vector<int>& indices);

// The area of a panel step's profile outside the placed profile outlines of
// its instances (TOLVA_Step.h): where copper balancing goes. Refused: a step
// without a profile, without instances, or covered by them.
TOLVA_API_EXPORT region panel_contour(const str& job, const str& step);

// The points of one surface (GreateSurfaceString's form: each contour closed
// by repeating its first point, islands and holes filled by the even-odd
// rule) covering the region.
TOLVA_API_EXPORT std::vector<lPoint> solid_surface(const region& area);

// ---- hatch -------------------------------------------------------------------------
struct hatch_params {
    double width = 0;   // of the round pen
    double pitch = 0;   // from one line's centre to the next
    double angle = 0;   // of the lines, degrees from the x axis
    bool cross = false; // a second set of lines at angle + 90
};
struct hatch_result {
    str symbol;  // the round symbol of the width ("r254" for 254 um)
    std::vector<API::feature_point> lines;  // xs, ys, xe, ye
};
// Lines at the pitch across the region, cut where the round-capped body of a
// line would leave it: every line lies wholly inside the region and clear of
// its holes, and where it was cut its cap touches the boundary (within a
// nanometre, kept inside so that rounding to whole nanometres never crosses).
// The first line of each direction touches the region's lowest point.
TOLVA_API_EXPORT hatch_result hatch_lines(const region& area, const hatch_params& params);

// ---- pad grid --------------------------------------------------------------------
struct pad_params {
    str symbol;           // the pad's symbol ("r500", "s1000", "rect800x400" ...), unrotated
    double pitch_x = 0;
    double pitch_y = 0;
    bool staggered = false;  // every other row shifted by half pitch_x
    double clearance = 0;    // from the layer's copper and from the region's boundary
    bool clip = false;       // pads cut by the boundary: clipped to it (true) or dropped
};
struct pad_result {
    std::vector<lPoint> centres;  // whole pads, whole nanometres
    // Pads cut by the boundary, clipped: each the points of one surface (as
    // solid_surface gives them) inside the region shrunk by the clearance.
    std::vector<std::vector<lPoint>> clipped;
    long nodes = 0;               // grid nodes looked at
    long blocked_by_copper = 0;   // nodes dropped for the layer's copper
};
// A grid of pads over the region: nodes at (xmin + pitch_x / 2 + i * pitch_x,
// ymin + pitch_y / 2 + j * pitch_y) of the region's box, odd rows shifted by
// half a pitch when staggered. A pad is kept when its outline is at
// `clearance` or more (exact distance) from every positive feature of
// `layer` and from every ring of the region, with its centre inside;
// otherwise, when clipping and clear of copper, the part of it inside the
// region shrunk by the clearance is kept as a surface (parts under a tenth
// of the pad's area are dropped).
TOLVA_API_EXPORT pad_result pad_grid(const str& job, const str& step, const str& layer,
                                     const region& area, const pad_params& params);

}  // namespace FILL
}  // namespace TOLVA
