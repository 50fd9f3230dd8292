#pragma once
// Feature edits for the interactive tools: line and surface editing, pulls,
// transforms, hole alignment, surface division and the step profile.
//
// Two kinds of call:
//  * plan_* work an edit out without making it: the plan holds the features
//    it would take out and put in, so that a tool can draw it under the mouse
//    (a preview on every move) and make it with apply_plan when the operator
//    lets go. Planning never changes the job. A plan the operator cannot have
//    (a zero-length line, a self-crossing outline...) comes back with
//    `error` set, for the tool to show; the job is not touched either way.
//  * the direct edits change the job at once.
// Every call that changes the job is one edit: one undo step
// (API::undo_last_edit takes it back whole), journalled through its twin in
// TOLVA::DB like the other edits. An edit that finds nothing to change makes
// no edit (no undo record, no serial step).
//
// Unknown job, step or layer names, feature indices the layer does not have,
// and values that are not finite throw a KernelText as the rest of the API;
// a call that throws changes nothing. Coordinates and lengths are nanometres.
#include <string>
#include <utility>
#include <vector>

#include "TOLVA_Checks.h"

namespace TOLVA {
namespace EDIT {

using API::str;
using API::str_list;

// ---- plans ------------------------------------------------------------------------

// An edit of one layer, worked out and not yet made.
struct edit_plan {
    str layer;
    // JOB::edit_serial(job) when the plan was worked out: apply_plan refuses
    // a plan made before the job last changed (indices may be stale).
    unsigned long long serial = 0;
    // Indices of the features taken out, ascending. Every feature that an
    // entry of `add` replaces is listed here too, so a tool can draw all of
    // the old outlines from this list alone.
    std::vector<int> remove;
    // The features put in, as complete records: type, geometry (xs..yc),
    // box (xmin..ymax, with the symbol), symbol name and its size (xsize,
    // ysize), polarity, angle, mirror, direction ("CW"/"CCW" for arcs),
    // attributes and net. `index` and `record` are not filled (-1 and "").
    // Surfaces carry their outline in `contours`.
    std::vector<API::featureInfo> add;
    // Parallel to `add`: for a surface, its contours (contour 0 the island,
    // the others holes, each without repeating its first vertex); empty for
    // the other kinds.
    std::vector<std::vector<std::vector<API::lPoint>>> contours;
    // Parallel to `add`: the index of the feature it replaces (one of
    // `remove`), or -1 for a feature that is new. A replacing feature takes
    // the place of the one it replaces, so it keeps that index and its
    // selection.
    std::vector<int> moved_from;
    // Non-empty: the edit is refused, with the reason for the operator; the
    // rest of the plan is empty and apply_plan would refuse it.
    str error;
    // Parallel to `add` (added later; may be empty, then moved_from stands
    // for it): the feature whose record details that featureInfo does not
    // carry (the dcode of a line, arc or surface) the new feature takes
    // over, or -1. A split line's second half names the line it came from.
    std::vector<int> source;
};

// Moves one end of a line or arc (which_end 0: the start, 1: the end) to
// `to`. An arc keeps its direction and its sweep angle (so the ratio of its
// sagitta to its chord, and the side of the chord its centre is on); the
// centre follows. With `follow`, every other line and arc of the layer with
// an end exactly at the old point (same nanometre) moves that end too (arcs
// the same way). Refused: a pad, surface or text; a line or arc that would
// become zero-length.
TOLVA_API_EXPORT edit_plan plan_line_end(const str& job, const str& step, const str& layer,
                                         int index, int which_end, const API::lPoint& to,
                                         bool follow);

// Moves a whole line by (dx, dy) (rounded to the nanometre). With `follow`,
// the lines and arcs of the layer with an end exactly at one of its ends
// move that end along (they stretch; arcs keep their sweep). Refused: not a
// line; a neighbour that would become zero-length.
TOLVA_API_EXPORT edit_plan plan_move_segment(const str& job, const str& step, const str& layer,
                                             int index, double dx, double dy, bool follow);

// Splits a line or arc in two at `at` projected onto it (onto the line, or
// radially onto the arc's circle), rounded to the nanometre. The first piece
// replaces the feature, the second is new; both keep symbol, polarity,
// attributes and (arcs) centre and direction. Refused: the projection falls
// on an end (or rounds onto one), or beyond the feature.
TOLVA_API_EXPORT edit_plan plan_split(const str& job, const str& step, const str& layer,
                                      int index, const API::lPoint& at);

// Joins two lines (or two arcs of one circle and one direction) that share
// an end point into one running between their far ends; it replaces `a`,
// keeping a's attributes, and `b` is taken out. Two lines need not be in
// line: the joined line is the straight one between the far ends. Refused:
// no shared end, kinds that differ, different symbols or polarities (the
// reason names both), arcs on different circles or directions, a result of
// zero length (the far ends coincide).
TOLVA_API_EXPORT edit_plan plan_join(const str& job, const str& step, const str& layer, int a,
                                     int b);

// Moves vertex `vertex` of contour `contour` of surface `index` to `to`, or,
// with insert_after, puts a new vertex at `to` after `vertex` (between it
// and the next one). Vertices are counted as get_surface_contours gives
// them (no repeated closing vertex). Refused: not a surface; a contour that
// would cross itself or another contour of the surface; a hole that would
// leave its island; a contour left with no area.
TOLVA_API_EXPORT edit_plan plan_surface_vertex(const str& job, const str& step, const str& layer,
                                               int index, int contour, int vertex,
                                               const API::lPoint& to, bool insert_after);

// The contours of surface `index` (contour 0 the island, the others holes,
// each without repeating its first vertex), for a tool to pick a vertex.
// Throws for a feature that is not a surface.
TOLVA_API_EXPORT std::vector<std::vector<API::lPoint>> get_surface_contours(
    const str& job, const str& step, const str& layer, int index);

// Gives arc `index` the radius `radius`: both ends and the direction stay,
// the centre moves along the chord's bisector and stays on the side of the
// chord it was on (a minor arc stays minor, a major one major), rounded to
// the nanometre. Refused: not an arc; a radius below half the chord.
TOLVA_API_EXPORT edit_plan plan_arc_radius(const str& job, const str& step, const str& layer,
                                           int index, double radius);

// Replaces arc `index` by the straight line between its ends (same symbol,
// polarity, attributes). Refused: not an arc; ends that coincide.
TOLVA_API_EXPORT edit_plan plan_arc_to_line(const str& job, const str& step, const str& layer,
                                            int index);

// Pulls line `index` sideways by `offset` nm (positive: to the left of its
// direction, start to end), rounded to the nanometre. The lines and arcs
// joined at its two ends (an end exactly at the line's end) stretch so that
// the trace stays connected.
//   mode 0: the neighbours' joined ends follow the moved ends.
//   mode 1 (45° corners), at each end of the pulled line:
//     - one line joined there, meeting the pulled line at 45°, 90° or 135°:
//       its joined end slides along its own direction onto the moved line,
//       so both corners keep their angles;
//     - a line in line with the pulled one, one at another angle, or more
//       than one neighbour: the neighbours stay, and a new diagonal segment
//       (the pulled line's symbol, polarity and attributes) runs at 45° from
//       the old end point to the moved line, which is shortened to meet it;
//     - only arcs joined there: they stretch as in mode 0;
//     - nothing joined: the end moves with the line.
//     Every corner between the pulled line and its neighbours is then a
//     multiple of 45° (to within the nanometre rounding).
// Refused: not a line; offset 0 (nothing to do); a neighbour or the pulled
// line that would become zero-length or reverse its direction.
TOLVA_API_EXPORT edit_plan plan_pull(const str& job, const str& step, const str& layer,
                                     int index, double offset, int mode);

// Bus edit: re-spaces a set of roughly parallel traces running between two
// rows of pads. `indices` are the lines of the bus (each trace a chain of
// lines joined end to end, in any order); every trace keeps its two ends
// (on their pads) and gets a straight run at its new offset across the bus,
// reached from each end by a 45° jog. The runs are ordered as the traces
// were (by their offset across the bus: the perpendicular to the left of
// the bus direction, which points from the traces' left ends to their right
// ends, or upwards for vertical buses) and are spaced evenly:
//   mode 0 (pitch): at `pitch` centre to centre, about the mean of the
//     traces' present offsets;
//   mode 1 (limits): from the first trace's present offset moved by `lower`
//     to the last trace's moved by `upper` (0, 0: the outer traces stay and
//     the others spread evenly between them).
// A trace's run is the longest of its lines; its symbol, polarity and
// attributes go to every line of the new trace. The new traces keep
// `clearance` (edge to edge, exact) from each other and from every other
// feature of the layer that neither touches the trace as it was (its pads)
// nor carries its net.
// Refused, with the reason (error set): fewer than two traces; a feature
// that is not a line; lines that do not make simple chains; a trace more
// than 10° off the bus direction; a pitch or clearance below zero (pitch 0
// in mode 0); a trace too short for its two jogs; traces that would come
// closer than the clearance (the reason names them by their place in the
// bus, from 1).
struct bus_params {
    int mode = 0;
    double pitch = 0;
    double lower = 0, upper = 0;
    double clearance = 0;
};
TOLVA_API_EXPORT edit_plan plan_bus(const str& job, const str& step, const str& layer,
                                    const std::vector<int>& indices, const bus_params& params);

// Makes a plan: one undo step. Returns the indices the features of `add`
// have afterwards, in the order of `add`. The features of `remove` not
// replaced by an entry of `add` are taken out (the others close up their
// indices, as delete_selected_features does), features new to the layer
// are appended, and symbols the layer lacks are registered (the undo takes
// them back). Refused (a KernelText, nothing changed): a plan with `error`
// set, a plan whose serial is not the job's edit_serial (on journal replay
// the serial is not compared: the journal's order stands for it), indices
// the layer does not have, parallel lists of the wrong size, a record the
// kernel would not store (unknown symbol name, coordinates out of range).
TOLVA_API_EXPORT std::vector<int> apply_plan(const str& job, const str& step,
                                             const edit_plan& plan);

// ---- transforms -----------------------------------------------------------------

// About the pivot (px, py): mirror first (mirror_x: x -> -x, mirror_y:
// y -> -y), then rotate counter-clockwise by angle_deg, then scale; then
// translate by (dx, dy). Results are rounded to the nanometre.
struct transform {
    double angle_deg = 0;
    bool mirror_x = false;
    bool mirror_y = false;
    double scale = 1;
    double px = 0, py = 0;
    double dx = 0, dy = 0;
};

// Transforms the selected features of each layer; returns how many changed.
// Every kind is transformed exactly:
//  * lines: both ends; the symbol is kept (a square or rect symbol is an
//    aperture: a line drawn with one stays drawn with it whatever the
//    rotation).
//  * arcs: ends and centre; the direction is kept under a rotation and
//    flips (CW <-> CCW) under one mirror, not under both.
//  * pads: the centre; angle += rotation. A pad is drawn as its symbol
//    mirrored (x -> -x, when its mirror flag is set), then rotated by its
//    angle, then placed at its centre. So a mirror_x toggles the mirror
//    flag and negates the angle; a mirror_y toggles the flag and makes the
//    angle 180 - angle; both together add 180. Angles are kept in
//    [0, 360).
//  * surfaces: every vertex (a mirror reverses the contours' order of
//    vertices, which the even-odd fill does not mind).
//  * texts: anchor, angle and mirror as pads; the character size scales.
// With scale != 1 (scale > 0 required), a line, arc or pad gets the symbol
// of its shape with every size scaled and rounded to the nearest 0.1 um
// (the symbol is registered in the layer when missing; the undo takes it
// back); a pad keeps its own scale factor. Refused (a KernelText, nothing
// changed): an angle that is not a whole number of degrees when a selected
// pad that is not round, or a text, would have to round its angle (a round
// pad has no angle to keep); a scale <= 0; results outside the +-1e9 nm
// range or a scaled symbol over 100 mm.
TOLVA_API_EXPORT int transform_selected(const str& job, const str& step, const str_list& layers,
                                        const transform& t);

// ---- holes ----------------------------------------------------------------------

// Moves each hole (a pad of drill_layer; `holes` gives their indices, each
// of which must be a pad, or is empty for the selected pads of the layer) onto the centre of the
// copper pad it sits on: on each copper layer, the positive pad whose
// outline holds the hole's centre (the nearest centre when several do). A
// layer with no such pad does not count; with pads on several layers,
// their centres must agree within 1 nm. The hole moves when its offset to
// the centre is within tolerance_nm (and is more than 0).
// Results, by hole in the order given (or of the layer):
//   "hole_aligned": a warning; value = the offset moved, limit =
//     tolerance_nm; location: POINTS (a: the old centre, b: the new one);
//     features: the hole, then the pad (of the first copper layer that has
//     one).
//   "hole_not_aligned": an error; location: the hole's centre (POINT);
//     - no copper pad holds the centre: value 0, limit tolerance_nm,
//       features: the hole;
//     - the offset is over the tolerance: value = the offset, limit =
//       tolerance_nm, features: the hole, the pad;
//     - the pads of two copper layers disagree: value = the distance
//       between their centres, limit 1, features: the hole and both pads.
// A hole already on its pad's centre gives no result. One undo step if any
// hole moved. The tolerance must be finite and not negative; the drill
// layer may not be one of the copper layers.
TOLVA_API_EXPORT std::vector<CHECKS::check_result> align_holes(
    const str& job, const str& step, const str& drill_layer, const std::vector<int>& holes,
    const str_list& copper_layers, double tolerance_nm);

// Resizes holes: every pad of drill_layer whose diameter (the smaller side
// of its symbol times the pad's scale) is within 1 nm of the `first` of a
// pair gets a symbol of its shape with the `second` diameter: a round or
// square one that size, other shapes with every size scaled by second /
// diameter (sizes rounded to the nearest 0.1 um; the symbol is registered
// in the layer when missing); its scale becomes 1. The first matching pair counts. With selected_only, only selected
// pads. Returns how many changed; one undo step if any did. Diameters must
// be finite and positive.
TOLVA_API_EXPORT int resize_holes(const str& job, const str& step, const str& drill_layer,
                                  const std::vector<std::pair<double, double>>& old_to_new_diameter_nm,
                                  bool selected_only);

// ---- surfaces -------------------------------------------------------------------

// Divides surface `index` (a feature of kind surface):
//   mode 0: along the open polyline `cut` (two or more points; its first and
//     last points outside the surface or on its outline), which must cross
//     the surface: each connected piece becomes a surface of its own. The
//     cut has no width: the pieces share the cut's edges exactly.
//   mode 1: `cut` is a closed outline (three or more points, the first not
//     repeated); the part of the surface inside it is taken away, leaving a
//     hole or a notch (or several pieces, each its own surface).
// Coordinates are integer nanometres throughout, so the pieces meet exactly
// (in mode 0 their areas add up to the original). The first piece replaces
// the surface (its index), the others are appended; every piece keeps the
// polarity, attributes and dcode. Returns the indices of the pieces. One
// undo step. Refused (a KernelText, nothing changed): not a surface; a cut
// that misses the surface or leaves it whole (mode 0), a cut outline that
// does not meet it (mode 1) or takes all of it away; a cut that crosses
// itself.
TOLVA_API_EXPORT std::vector<int> divide_surface(const str& job, const str& step,
                                                 const str& layer, int index,
                                                 const std::vector<API::lPoint>& cut, int mode);

// ---- profile --------------------------------------------------------------------

// Chains the lines and arcs `indices` (empty: the selected features of the
// layer) of `layer` into one closed outline, ends matching within 1 um, and
// makes it the step's profile (arcs as points no further than 1 um from the
// arc, chords at most 0.05 mm). Refused: other kinds; a chain that does not
// close or branches: the message names where it is open (the free end,
// x y in nanometres). One undo step: the undo puts the old profile back.
TOLVA_API_EXPORT void set_profile_from_features(const str& job, const str& step,
                                                const str& layer,
                                                const std::vector<int>& indices);

// Makes the rectangle between the corners (x0, y0) and (x1, y1) the step's
// profile, its corners rounded with corner_radius (0: square), the rounded
// corners as points no further than 1 um from the arc and at most 0.05 mm
// apart. Refused: no area; a radius below 0 or above half the shorter side.
// One undo step.
TOLVA_API_EXPORT void set_profile_rect(const str& job, const str& step, double x0, double y0,
                                       double x1, double y1, double corner_radius);

// Makes the closed outline `outline` (three or more points, the first not
// repeated at the end; a repeated one is dropped) the step's profile, as one
// undo step (JOB::set_profile sets it without one). Refused: fewer than three
// points, a point out of range.
TOLVA_API_EXPORT void set_profile_polygon(const str& job, const str& step,
                                          const std::vector<API::lPoint>& outline);

// The step's profile as it is stored (no repeated closing point); empty when
// the step has none.
TOLVA_API_EXPORT std::vector<API::lPoint> get_profile(const str& job, const str& step);

}  // namespace EDIT

namespace DB {

// Journal twins of the edits (see TOLVA_API.h).
TOLVA_API_EXPORT void apply_plan_db_save(const API::str& job, const API::str& step,
                                         const EDIT::edit_plan& plan);
TOLVA_API_EXPORT void transform_selected_db_save(const API::str& job, const API::str& step,
                                                 const API::str_list& layers,
                                                 const EDIT::transform& t);
TOLVA_API_EXPORT void align_holes_db_save(const API::str& job, const API::str& step,
                                          const API::str& drill_layer,
                                          const std::vector<int>& holes,
                                          const API::str_list& copper_layers,
                                          double tolerance_nm);
TOLVA_API_EXPORT void resize_holes_db_save(
    const API::str& job, const API::str& step, const API::str& drill_layer,
    const std::vector<std::pair<double, double>>& old_to_new_diameter_nm, bool selected_only);
TOLVA_API_EXPORT void divide_surface_db_save(const API::str& job, const API::str& step,
                                             const API::str& layer, int index,
                                             const std::vector<API::lPoint>& cut, int mode);
TOLVA_API_EXPORT void set_profile_from_features_db_save(const API::str& job,
                                                        const API::str& step,
                                                        const API::str& layer,
                                                        const std::vector<int>& indices);
TOLVA_API_EXPORT void set_profile_polygon_db_save(const API::str& job, const API::str& step,
                                                  const std::vector<API::lPoint>& outline);
TOLVA_API_EXPORT void set_profile_rect_db_save(const API::str& job, const API::str& step,
                                               double x0, double y0, double x1, double y1,
                                               double corner_radius);

}  // namespace DB
}  // namespace TOLVA
