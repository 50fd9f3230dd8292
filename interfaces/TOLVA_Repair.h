#pragma once
// Design-for-manufacturing repairs. Each call that changes the job is one
// edit: one undo step (API::undo_last_edit takes it back whole), journalled
// through its twin in TOLVA::DB like the other edits. A repair that finds
// nothing to change makes no edit. It returns check_result records that say
// what it changed and what it could not; feature indices in them are those
// the job had before the repair.
//
// Unknown names throw a KernelText as the rest of the API, and so do bad
// limits; a call that throws changes nothing.
#include <string>
#include <vector>

#include "TOLVA_Checks.h"

namespace TOLVA {
namespace REPAIR {

using API::str;
using API::str_list;

// Holes of each drill layer (its positive pads) with the same centre and
// diameter as an earlier hole of the layer (the diameter as
// CHECKS::hole_spacing takes it): all but the first are deleted.
// Results, per layer as given, by hole index:
//   "duplicate_hole_removed": one per deleted hole; an error, value = the
//     diameter, limit 0; location: the centre (POINT); features: the hole
//     kept, then the one deleted.
//   "overlapping_holes": two different holes whose outlines touch or
//     overlap (kept, for the operator to decide); an error, value 0,
//     limit 0; location: POINTS (a point both reach); features: both holes.
TOLVA_API_EXPORT std::vector<CHECKS::check_result> remove_duplicate_holes(
    const str& job, const str& step, const str_list& drill_layers);

// For every plated hole of `drill_layer` (a positive pad whose ".drill"
// attribute is not "non_plated") whose annular ring on a copper layer is
// below min_ring_nm (the ring as CHECKS::annular_ring works it out, from
// the pad that gives the hole the widest ring), the pad's symbol is replaced
// by a larger one of the same shape: a round pad gets a round symbol, a
// square one a square symbol, sized so that the ring reaches min_ring_nm
// around the hole where it sits on the pad, rounded up to the next tenth of
// a micrometre; the pad keeps its centre and angle, its scale becomes 1.
// The new size is taken only when the enlarged pad stays at least
// min_clearance_nm from every other positive feature of its layer that is
// not of the same ".net" and does not touch the pad as it is (pads enlarged
// earlier in the same call count as enlarged), and as far inside the
// outline of every negative feature that holds the pad's centre (a
// clearance cut into a pour around the pad: the pour beyond its outline
// touches the pad as it is, yet is not connected to it).
// Results, by copper layer as given, then by hole:
//   "ring_repaired": a warning; value = the ring before, limit = min_ring_nm;
//     location: the hole's centre (POINT); features: the hole, the pad.
//   "ring_not_repaired": an error, with the reason in value and limit:
//     - no positive pad holds the hole's centre: value 0, limit min_ring_nm,
//       features: the hole;
//     - the pad is neither round nor square, or would pass 100 mm: value =
//       the ring, limit = min_ring_nm, features: the hole, the pad;
//     - the enlarged pad would come too close to a feature: value = the
//       clearance it would have, limit = min_clearance_nm, location: the
//       closest points (POINTS, a on the enlarged pad), features: the hole,
//       the pad, the feature in the way (a positive feature, or the
//       negative one whose outline comes too close).
// Both limits must be finite and positive; the drill layer may not be one
// of the copper layers.
TOLVA_API_EXPORT std::vector<CHECKS::check_result> enlarge_pads_for_ring(
    const str& job, const str& step, const str& drill_layer, const str_list& copper_layers,
    double min_ring_nm, double min_clearance_nm);

}  // namespace REPAIR

namespace DB {

// Journal twins of the repairs (see TOLVA_API.h).
TOLVA_API_EXPORT void remove_duplicate_holes_db_save(const API::str& job, const API::str& step,
                                                     const API::str_list& drill_layers);
TOLVA_API_EXPORT void enlarge_pads_for_ring_db_save(const API::str& job, const API::str& step,
                                                    const API::str& drill_layer,
                                                    const API::str_list& copper_layers,
                                                    double min_ring_nm, double min_clearance_nm);

}  // namespace DB
}  // namespace TOLVA
