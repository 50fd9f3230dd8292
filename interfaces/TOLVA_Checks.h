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
#include <atomic>
#include <functional>
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
    // "outside_profile", "sliver_neck", "sliver_gap", "missing_mask_opening",
    // "mask_clearance", "silk_over_copper", "open", "short".
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

// Slivers inside the positive surfaces of the layers: places where two edges
// of one surface's outline (its islands and holes together) come closer than
// the limits. Two edges are looked at when they share no vertex, their
// closest points a and b are apart (an outline that touches itself is not a
// sliver), the segment a-b faces both edges (it makes at least 60 degrees
// with each, so the chords of a curve drawn in short edges are not taken),
// and a-b crosses no other edge. Copper between a and b is a "sliver_neck"
// (a hole near the outline, a thin strip), space a "sliver_gap" (a narrow
// notch, an island close to the rim of its hole). Of neighbouring edge pairs
// along the outline only the narrowest is reported, so one sliver between a
// straight edge and a curve drawn in short edges gives one result. Closest
// points of parallel edges are taken in the middle of their overlap.
// Location: the closest points. Features: the surface.
TOLVA_API_EXPORT std::vector<check_result> slivers(const str& job, const str& step,
                                                   const str_list& layers,
                                                   const check_params& params);

// Solder mask over the pads of a copper layer. A positive pad that no
// positive feature of `mask_layer` touches or overlaps has no opening: a
// "missing_mask_opening" result, unless the pad is a via's (its
// ".aper_function" is "ViaPad", or a via hole of a drill layer of the step,
// ".drill" "via", is centred on it): vias are covered by the mask unless the
// design opens them (value 0, an error, limit error_limit;
// location: the pad's box; features: the pad). Otherwise the pad's
// clearance is, over the openings on it, the largest distance from the
// pad's outline to the opening's outline when the opening holds the whole
// pad, 0 when it does not (the mask reaches onto the pad); below the limits a
// "mask_clearance" result. Location: the closest points (a on the pad, b on
// the opening). Features: the pad, then the opening.
TOLVA_API_EXPORT std::vector<check_result> mask_clearance(const str& job, const str& step,
                                                          const str& copper_layer,
                                                          const str& mask_layer,
                                                          const check_params& params);

// Silk over exposed copper: the distance from each positive feature of
// `silk_layer` to each positive feature of `mask_layer` that exposes copper
// (touches or overlaps a positive feature of `copper_layer`), 0 when the
// silk lies on the opening; below the limits a "silk_over_copper" result.
// Location: the closest points (a on the silk). Features: the silk feature,
// then the opening.
TOLVA_API_EXPORT std::vector<check_result> silk_over_copper(const str& job, const str& step,
                                                            const str& silk_layer,
                                                            const str& mask_layer,
                                                            const str& copper_layer,
                                                            const check_params& params);

// ---- nets ---------------------------------------------------------------
// Copper is connected where positive features of one copper layer touch or
// overlap, unless a negative feature drawn after the earlier of the two holds
// one of them whole (an antipad around a via, the clearance around a pad in
// a pour). A plated hole (a positive pad of a drill layer whose ".drill" is
// not "non_plated") joins the copper it touches on every given copper layer
// that is a board signal, power_ground or mixed layer: no span is stored, so
// a hole goes through them all; a negative feature drawn after a copper
// feature that holds the hole whole cuts that contact. Negative features and
// non-plated holes belong to no net.
struct net_group {
    // Copper layers first, then drill layers, each in the order given; by
    // index within a layer.
    std::vector<MEASURE::feature_ref> features;
    str_list nets;  // the distinct ".net" names its features carry, sorted
};
struct net_analysis {
    // Ordered by their first feature.
    std::vector<net_group> groups;
    // "open": a ".net" name carried by more than one group; value: how many
    // groups, limit 1; features: the first feature of the net in each group;
    // location: the box around them. Then "short": two nets of one group that
    // meet, one result per pair of nets, at the first contact (in feature
    // order) between features that carry them or are reached from them
    // first; value: the nets of the group, limit 1; features: the two
    // features that meet; location: a point of their contact. Opens by
    // net name, shorts by group. All errors.
    std::vector<check_result> results;
};
// Throws for unknown names; a layer listed twice counts once.
TOLVA_API_EXPORT net_analysis analyze_nets(const str& job, const str& step,
                                           const str_list& copper_layers,
                                           const str_list& drill_layers);
// The group of one feature (named by a layer among the copper and drill
// layers and its index), in the order of net_group::features; empty for a
// negative feature or a non-plated hole. Costs what the group holds, not the
// board: for highlighting a net.
TOLVA_API_EXPORT std::vector<MEASURE::feature_ref> net_of(const str& job, const str& step,
                                                          const str_list& copper_layers,
                                                          const str_list& drill_layers,
                                                          const str& layer, int index);

// ---- running a plan -----------------------------------------------------
// One check of a plan: `check` is a function name above ("spacing",
// "line_width", "pad_size", "hole_spacing", "min_drill", "annular_ring",
// "drill_to_copper", "profile_clearance", "slivers", "mask_clearance",
// "silk_over_copper", "nets").
struct check_task {
    str check;
    // The layers it runs on; for annular_ring, drill_to_copper,
    // mask_clearance, silk_over_copper and nets the copper layers.
    str_list layers;
    str drill_layer;        // annular_ring, drill_to_copper
    str mask_layer;         // mask_clearance, silk_over_copper
    str silk_layer;         // silk_over_copper
    str_list drill_layers;  // nets
    check_params params;    // not read by "nets"
};

struct run_report {
    // The results of every task in plan order, each as its function returns
    // them; empty when cancelled.
    std::vector<check_result> results;
    bool cancelled = false;
    check_stats stats;  // what the spacing tasks looked at
};

// Called on the calling thread with (0, total) before any work and as pieces
// of work finish, (total, total) last. It must not call the kernel (workers
// are reading the job).
using check_progress = std::function<void(int done, int total)>;

// Runs a plan over the step, its pieces (a layer, or a run of features of a
// large layer) on `threads` worker threads (0: hardware_concurrency, at
// least one). Every name,
// check and limit is checked before any work, so a bad plan throws a
// KernelText with nothing done. The results do not depend on the number of
// threads. When *cancel turns true before the run returns, the workers stop
// at the next feature batch and the report comes back with `cancelled` set
// and no results; the
// job is never changed. Holds the kernel lock for the whole run.
TOLVA_API_EXPORT run_report run_checks(const str& job, const str& step,
                                       const std::vector<check_task>& plan,
                                       const check_progress& progress = nullptr,
                                       const std::atomic<bool>* cancel = nullptr,
                                       int threads = 0);

}  // namespace CHECKS
}  // namespace TOLVA
