#pragma once
// Exact geometric queries on a job's features, for the canvas's measure and
// snap tools and the clearance checks built on them. Everything is worked
// out from the stored geometry, never from pixels; coordinates, distances and
// lengths are nanometres (board units) as doubles, areas square nanometres.
//
// A feature is named by its layer and its index within that layer in the
// step (featureInfo::index). An unknown job, step or layer, or an index the
// layer does not have, throws a KernelText naming it, as the rest of the API.
//
// The filled outline of a feature (FORMATS.md, "Measuring and snapping"):
//   pads:     the symbol's shape at the centre, scaled, mirrored (x flipped
//             before the rotation) and rotated by the pad's angle;
//   lines:    the round pen of the symbol's largest size swept along the
//             line (round ends) for r, oval and donut_r symbols; the
//             axis-aligned symbol swept along it (square ends) for s and rect;
//   arcs:     the round pen of the symbol's largest size swept along the arc;
//   surfaces: the contours filled by the even-odd rule (a point in a hole is
//             outside);
//   texts:    the text's box.
// Polarity plays no part: a negative feature is measured by its shape.
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace MEASURE {

using API::str;
using API::str_list;

// The UI's snap modes, with the same numbers as SNAP_TYPE_MODE in
// UIAPICommon.h (a Qt-side header the kernel does not include): code that
// sees both can static_assert(int(snap_mode::EDGE) == SNAP_EDGE) and so on.
enum class snap_mode : int {
    CENTER = 0,        // pad centres, arc centres, line and arc end points,
                       // surface and text box centres
    SKELETON = 1,      // nearest point on the centre line of a line or arc
    EDGE = 2,          // nearest point on a feature's outline (holes included)
    INTERSECTION = 3,  // crossings of the centre lines of two lines or arcs,
                       // and of the outlines of two features
    GRID = 4,          // nearest node of the grid (origin + i * pitch)
    MIDPOINT = 5,      // midpoints of lines, arcs and surface contour edges
    PROFILE = 6,       // nearest point on the step profile's outline
    OFF = 7,           // the point itself
};

struct feature_ref {
    str layer;
    int index = -1;
};

struct measure_point {
    double x = 0;
    double y = 0;
};

// The shortest distance between two outlines (0 when they touch or overlap)
// and a closest point on each: `a` on the first, `b` on the second, so that
// distance == |b - a|. When they overlap, a and b are one point that lies in
// both.
struct distance_result {
    double distance = 0;
    measure_point a;
    measure_point b;
};

// Distance between the filled outlines of two features of the step; they
// may lie on different layers.
TOLVA_API_EXPORT distance_result feature_distance(const str& job, const str& step,
                                                  const feature_ref& first,
                                                  const feature_ref& second);
// Distance from a feature's filled outline to a point (0 inside it); `b` is
// the point.
TOLVA_API_EXPORT distance_result point_distance(const str& job, const str& step,
                                                const feature_ref& feature, double x, double y);
// Distance from a feature's filled outline to the step profile's outline
// (the closed polyline, not the area it encloses); `b` lies on the profile.
// Throws when the step has no profile.
TOLVA_API_EXPORT distance_result profile_distance(const str& job, const str& step,
                                                  const feature_ref& feature);

// A pad's centre, an arc's centre, a line's midpoint, the centre of a
// surface's or text's box.
TOLVA_API_EXPORT measure_point feature_center(const str& job, const str& step,
                                              const feature_ref& feature);
// Length of the centre line of a line or an arc (a full circle: its
// circumference); throws for other kinds.
TOLVA_API_EXPORT double feature_length(const str& job, const str& step,
                                       const feature_ref& feature);
// Sum of the lengths of all contours of a surface, holes included; throws
// for other kinds.
TOLVA_API_EXPORT double surface_perimeter(const str& job, const str& step,
                                          const feature_ref& feature);
// Filled area of a surface by the even-odd rule (holes subtracted), square
// nanometres; throws for other kinds.
TOLVA_API_EXPORT double surface_area(const str& job, const str& step,
                                     const feature_ref& feature);
// Angle between the directions (start to end) of two lines, degrees in
// [0, 180]; the angle between the lines themselves is min(a, 180 - a).
// Throws for other kinds and for a line of zero length.
TOLVA_API_EXPORT double line_angle(const str& job, const str& step, const feature_ref& first,
                                   const feature_ref& second);

// ---- snapping -------------------------------------------------------------
struct snap_request {
    str_list layers;           // searched in this order; ties keep the first
    double x = 0, y = 0;       // the cursor
    double radius = 0;         // nothing farther from the cursor is taken
    snap_mode mode = snap_mode::OFF;
    // GRID: nodes at (grid_x + i * grid_pitch_x, grid_y + j * grid_pitch_y);
    // a pitch that is not positive throws.
    double grid_x = 0, grid_y = 0;
    double grid_pitch_x = 0, grid_pitch_y = 0;
};

struct snap_result {
    bool found = false;
    double x = 0, y = 0;   // the snapped point (the cursor when nothing found)
    double distance = 0;   // from the cursor
    str layer;             // the feature it came from (empty for OFF, GRID, PROFILE)
    int index = -1;
    // INTERSECTION: the second feature of the crossing.
    str layer2;
    int index2 = -1;
};

// The nearest point of the kind the mode asks for within `radius` of the
// cursor (distance <= radius). Only the features whose boxes meet the
// radius's box are looked at (the layers' spatial indices), so the cost
// follows the features near the cursor, not the board.
TOLVA_API_EXPORT snap_result snap(const str& job, const str& step, const snap_request& request);

}  // namespace MEASURE
}  // namespace TOLVA
