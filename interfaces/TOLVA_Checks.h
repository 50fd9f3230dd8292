#pragma once
// Design-rule checks on a job's stored geometry. Every value is worked out
// exactly from the features' filled outlines (TOLVA_Measure.h), never from
// pixels; candidates for the pairwise checks come from the layers' spatial
// indices, so the cost follows the close pairs, not the square of the layer.
//
// Every check takes two limits in nanometres: a value below `error_limit`
// is an error, a value below `warning_limit` (and not below the error limit)
// a warning. A value equal to a limit breaks nothing. Limits must be finite,
// positive, and error_limit <= warning_limit; otherwise the check throws a
// KernelText naming the limit. An unknown job, step or layer throws as the
// rest of the API does. A check never changes the job; an empty layer gives
// no result.
//
// Negative features clear copper rather than add it: the checks look at
// positive features only.
//
// Results come in a fixed order: by the layers as given, then by the index
// of the first feature, then of the second.
#include <string>
#include <vector>

#include "TOLVA_API.h"
#include "TOLVA_Measure.h"

namespace TOLVA {
namespace CHECKS {

using API::str;
using API::str_list;

enum class severity : int {
    WARNING = 0,
    ERROR = 1,
};

// Where a result lies:
//   POINT:  `a` (b == a), e.g. a hole's centre;
//   POINTS: the two closest points, `a` on the first feature, `b` on the
//           second (or on the profile);
//   BOX:    the feature's box, `a` its lower-left and `b` its upper-right corner.
enum class location_kind : int {
    POINT = 0,
    POINTS = 1,
    BOX = 2,
};

struct check_location {
    location_kind kind = location_kind::POINT;
    MEASURE::measure_point a;
    MEASURE::measure_point b;
};

struct check_result {
    // "spacing", "line_width", "pad_size", "hole_spacing", "duplicate_hole",
    // "min_drill", "annular_ring", "drill_to_copper", "profile_clearance",
    // "outside_profile".
    str check;
    severity level = severity::WARNING;
    double value = 0;  // measured, nm
    double limit = 0;  // the limit it broke: error_limit for errors, warning_limit for warnings
    // The features involved (one or two), each naming its layer; `layers`
    // lists those layers in the same order, without repeats.
    str_list layers;
    std::vector<MEASURE::feature_ref> features;
    check_location location;
};

struct check_params {
    double error_limit = 0;    // nm
    double warning_limit = 0;  // nm
};

// Copper spacing, each layer on its own: the outline distance between two
// features of the layer. Features that touch or overlap (distance 0) are
// connected and never a violation; neither are two features whose ".net"
// attributes are both present and equal. Location: the closest points.
TOLVA_API_EXPORT std::vector<check_result> spacing(const str& job, const str& step,
                                                   const str_list& layers,
                                                   const check_params& params);

// What a pairwise check looked at: the positive features it took, and the
// candidate pairs (boxes within the warning limit) whose exact distance it
// worked out or, for same-net pairs, ruled out by net.
struct check_stats {
    long features = 0;
    long pairs = 0;
};
// spacing, also counting its work into `stats` (added to what it holds).
TOLVA_API_EXPORT std::vector<check_result> spacing(const str& job, const str& step,
                                                   const str_list& layers,
                                                   const check_params& params,
                                                   check_stats& stats);

// Width of lines and arcs: the symbol's stroke, i.e. the diameter of the
// round pen (r, oval and donut_r lines, and every arc: the symbol's largest
// size), the side of an s line, the smaller side of a rect line.
// Location: the feature's box.
TOLVA_API_EXPORT std::vector<check_result> line_width(const str& job, const str& step,
                                                      const str_list& layers,
                                                      const check_params& params);

// Size of pads: the smaller side of the symbol after the pad's scale (a round
// or donut pad: its outer diameter). Location: the feature's box.
TOLVA_API_EXPORT std::vector<check_result> pad_size(const str& job, const str& step,
                                                    const str_list& layers,
                                                    const check_params& params);

// Drill layers: the holes are the pads; a hole's diameter is its pad size as
// above.
//
// hole_spacing: the distance between the edges of two holes (0 when they
// touch or overlap, so overlapping holes are always errors); location: the
// closest points. Two holes with the same centre and diameter are one
// "duplicate_hole" result instead (value 0, an error, limit error_limit,
// location: the centre).
TOLVA_API_EXPORT std::vector<check_result> hole_spacing(const str& job, const str& step,
                                                        const str_list& layers,
                                                        const check_params& params);
// min_drill: holes of a diameter below the limits; location: the centre.
TOLVA_API_EXPORT std::vector<check_result> min_drill(const str& job, const str& step,
                                                     const str_list& layers,
                                                     const check_params& params);

// Annular ring of every hole of `drill_layer` on each copper layer: among the
// positive pads of the layer whose outline holds the hole's centre, the
// largest of (distance from the centre to the pad's outline - hole radius),
// i.e. the ring on the hole's narrowest side; 0 when no pad holds the
// centre or the hole breaks out of the pad. Location: the hole's centre
// (a) and the nearest point of the pad's outline (b; the centre when there
// is no pad). Features: the hole, then the pad when there is one.
TOLVA_API_EXPORT std::vector<check_result> annular_ring(const str& job, const str& step,
                                                        const str& drill_layer,
                                                        const str_list& copper_layers,
                                                        const check_params& params);

// Clearance between every hole of `drill_layer` and the positive features of
// each copper layer: the outline distance from the hole to the feature.
// Copper the hole touches or cuts (distance 0: its own pad, a track through
// it) counts as connected, not as a violation. Location: the closest points
// (a on the hole). Features: the hole, then the copper feature.
TOLVA_API_EXPORT std::vector<check_result> drill_to_copper(const str& job, const str& step,
                                                           const str& drill_layer,
                                                           const str_list& copper_layers,
                                                           const check_params& params);

// Clearance to the step profile's outline of every feature of the layers.
// A feature whose outline meets the profile's outline or lies outside the
// profile is an "outside_profile" result (value 0, an error, limit
// error_limit); one inside it closer than the limits a "profile_clearance"
// result. Location: the closest points (b on the profile). Throws when the
// step has no profile.
TOLVA_API_EXPORT std::vector<check_result> profile_clearance(const str& job, const str& step,
                                                             const str_list& layers,
                                                             const check_params& params);

}  // namespace CHECKS
}  // namespace TOLVA
