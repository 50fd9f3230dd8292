#pragma once
// Step and repeat: a step (a panel) that places copies of other steps (its
// children, e.g. the board) in rows, and the production panel built around
// them.
//
// A step's step-and-repeat table is a list of rows. A row places nx x ny
// copies (instances) of one child step; instance (ix, iy) of a row has its
// origin at (x + ix * dx, y + iy * dy). The child's datum (its point 0, 0)
// lands on that origin: every child point is first mirrored (x -> -x, when
// `mirror`), then rotated by `angle` degrees counter-clockwise about the
// datum, then moved to the origin. A child may have a table of its own: a
// panel of panels is flattened through every level.
//
// The table is the single description of what a step places: an instance
// that an edit takes out of a regular row (moved, rotated) becomes a row of
// its own (1 x 1), and the row it came from is split so that the remaining
// instances keep their places.
//
// Every call that changes a table is one edit: one undo step
// (API::undo_last_edit takes it back whole), journalled through its twin in
// TOLVA::DB like the other edits. Refusals (unknown job or step, a child
// that is the step itself or contains it through any level, a count below
// 1, values that are not finite, an instance the table does not have) throw
// a KernelText naming the reason and change nothing.
//
// API::draw_layer on a step with a table draws the step's own features and
// every instance's features, exactly as if the table were flattened into
// the step. Coordinates and lengths are nanometres, angles degrees.
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace STEP {

using API::str;
using API::str_list;

// ---- the table -------------------------------------------------------------------

struct sr_row {
    str child;            // the step placed
    double x = 0, y = 0;  // origin of instance (0, 0)
    double dx = 0, dy = 0;  // pitch between columns and between rows
    int nx = 1, ny = 1;   // columns and rows, each at least 1
    double angle = 0;     // degrees counter-clockwise, any value
    bool mirror = false;  // mirrored in x before the rotation
};

TOLVA_API_EXPORT std::vector<sr_row> get_sr_table(const str& job, const str& step);
// Replaces the whole table (an empty table makes the step a plain step again).
TOLVA_API_EXPORT void set_sr_table(const str& job, const str& step, const std::vector<sr_row>& rows);
// Appends one row; returns its position in the table.
TOLVA_API_EXPORT int add_sr_row(const str& job, const str& step, const sr_row& row);
// Takes row `row` (0-based) out of the table.
TOLVA_API_EXPORT void remove_sr_row(const str& job, const str& step, int row);

// ---- instances -------------------------------------------------------------------

// One instance names its row and its column and row within that row.
struct sr_ref {
    int row = 0;
    int ix = 0, iy = 0;
};

struct sr_instance {
    int row = 0;
    int ix = 0, iy = 0;
    str child;
    double x = 0, y = 0;  // the instance's origin (where the child's datum lands)
    double angle = 0;
    bool mirror = false;
    // The child's profile box as placed (the box of the placed profile
    // outline); the child's features' box when it has no profile.
    API::reply_box box;
};

// Top-level instances of the step in table order (row by row; within a row
// ix fastest, then iy).
TOLVA_API_EXPORT std::vector<sr_instance> list_instances(const str& job, const str& step);
// Instances whose placed box meets (inside_only: lies within) the box.
TOLVA_API_EXPORT std::vector<sr_instance> instances_in_box(const str& job, const str& step,
                                                           double xmin, double ymin, double xmax,
                                                           double ymax, bool inside_only);
// The instance whose placed box holds the point (the last one in table
// order when boxes overlap, i.e. the one drawn on top); `found` false when
// none.
TOLVA_API_EXPORT sr_instance instance_at(const str& job, const str& step, double x, double y,
                                         bool& found);
// The placed profile outline of each top-level instance, in list_instances
// order (closed, the first vertex not repeated): the panel area outside
// them is what rails, copper thieving and fills may use.
TOLVA_API_EXPORT std::vector<std::vector<API::lPoint>> instance_outlines(const str& job,
                                                                         const str& step);

// The whole-panel view drawn fast: the smallest whole number of nanometres
// per pixel, at least `nm_per_pixel` and at most `most` times it, at which
// every two top-level instances placed the same way round lie a whole
// number of pixels apart on both axes, so that a view at that scale draws
// each child once and copies it to the others. 0 when there is none: no two
// instances alike, origins off whole nanometres, or a spacing that no pixel
// in the range divides. Refused: `nm_per_pixel` not above 0, `most` below 1.
TOLVA_API_EXPORT double whole_pixel_scale(const str& job, const str& step, double nm_per_pixel, double most);

// Instance edits. An instance that changes place leaves its row (see above).
// move: by (dx, dy). copy: a copy of each, offset by (dx, dy), appended as
// rows of their own. rotate: by `angle` degrees counter-clockwise about the
// centre of each instance's placed box (so that it stays in place).
// delete: the instances go; a row left empty goes too.
TOLVA_API_EXPORT void move_instances(const str& job, const str& step, const std::vector<sr_ref>& refs,
                                     double dx, double dy);
TOLVA_API_EXPORT void copy_instances(const str& job, const str& step, const std::vector<sr_ref>& refs,
                                     double dx, double dy);
TOLVA_API_EXPORT void rotate_instances(const str& job, const str& step, const std::vector<sr_ref>& refs,
                                       double angle);
TOLVA_API_EXPORT void delete_instances(const str& job, const str& step, const std::vector<sr_ref>& refs);

// ---- the step flattened ------------------------------------------------------------

// Features of the layer in the step counting every instance through every
// level (the step's own features included).
TOLVA_API_EXPORT long long flattened_feature_count(const str& job, const str& step, const str& layer);

// A feature under a point, searched through the instances.
struct instance_hit {
    bool hit = false;
    // The instances from the step down to the one holding the feature
    // (empty: a feature of the step itself).
    std::vector<sr_ref> path;
    str child;       // the step that holds the feature (the step itself when path is empty)
    int index = -1;  // the feature's index in that step's layer
};
// The topmost feature (drawn last) whose shape holds the point, within
// `tolerance` nanometres.
TOLVA_API_EXPORT instance_hit hit_feature(const str& job, const str& step, const str& layer, double x,
                                          double y, double tolerance);

// Copies every instance's features (through every level) of the listed
// layers (all layers when empty) into step `target` (created when missing,
// emptied of those layers' features and of its table otherwise) with the
// step's own features and profile: a plain step that exporters and tools
// without step-and-repeat can take. One undo step.
TOLVA_API_EXPORT void flatten_step(const str& job, const str& step, const str& target,
                                   const str_list& layers);

// ---- panels -------------------------------------------------------------------------

struct panel_params {
    double width = 0, height = 0;  // the panel
    double margin_left = 0, margin_right = 0, margin_top = 0, margin_bottom = 0;
    double spacing_x = 0, spacing_y = 0;  // between the boards' profile boxes
    int columns = 0, rows = 0;  // 0: as many as fit
    int rotation = 0;           // of the boards: 0, 90, 180 or 270
};

struct panel_report {
    int columns = 0, rows = 0;
    int placed = 0;  // columns x rows
    // The rotated board's profile box size and where the array sits.
    double board_width = 0, board_height = 0;
    API::reply_box array_box;
};

// Makes `panelStep` (created when missing, outside the undo step) a panel of `boardStep`: the
// profile becomes the rectangle (0, 0)-(width, height), the table one row of
// columns x rows boards inside the margins, the array centred in the area
// the margins leave. Refused when not one board fits, when more columns or
// rows are asked than fit, or when the rotation is not a quarter turn. One
// undo step.
TOLVA_API_EXPORT panel_report create_panel(const str& job, const str& panelStep, const str& boardStep,
                                           const panel_params& params);

struct rail_params {
    str fiducial_symbol = "r1000";        // copper pad of each fiducial
    str fiducial_mask_symbol = "r3000";   // its solder-mask opening
    str tooling_symbol = "r3000";         // tooling hole
    // Fiducial centres: this far from the left or right panel edge, and
    // fiducial_y_inset from the bottom or top edge (in the rail, beside the
    // tooling hole).
    double fiducial_x_inset = 15000000;
    double fiducial_y_inset = 5000000;
    double tooling_inset = 5000000;       // from both panel edges at each corner to the hole centre
};

struct rail_report {
    // Three fiducials (bottom-left, top-left, top-right: asymmetric, so a
    // panel put in turned is seen), four tooling holes (one at each corner).
    std::vector<API::lPoint> fiducials;
    std::vector<API::lPoint> tooling_holes;
    str_list copper_layers, mask_layers, drill_layers;
    int pads_added = 0;  // over all layers
};

// Puts fiducials on the outer copper layers (signal/power/mixed at the
// first and last board row) and the solder mask layers, and tooling holes
// on the drill layers, in the rails of the panel step (inside its profile
// box). Refused when the step has no profile or the job no outer copper
// layer, or when a fiducial or hole would land on an instance's placed box.
// One undo step.
TOLVA_API_EXPORT rail_report add_panel_rails(const str& job, const str& step, const rail_params& params);

}  // namespace STEP

namespace DB {
TOLVA_API_EXPORT void set_sr_table_db_save(const API::str& job, const API::str& step,
                                           const std::vector<STEP::sr_row>& rows);
TOLVA_API_EXPORT void add_sr_row_db_save(const API::str& job, const API::str& step, const STEP::sr_row& row);
TOLVA_API_EXPORT void remove_sr_row_db_save(const API::str& job, const API::str& step, int row);
TOLVA_API_EXPORT void move_instances_db_save(const API::str& job, const API::str& step,
                                             const std::vector<STEP::sr_ref>& refs, double dx, double dy);
TOLVA_API_EXPORT void copy_instances_db_save(const API::str& job, const API::str& step,
                                             const std::vector<STEP::sr_ref>& refs, double dx, double dy);
TOLVA_API_EXPORT void rotate_instances_db_save(const API::str& job, const API::str& step,
                                               const std::vector<STEP::sr_ref>& refs, double angle);
TOLVA_API_EXPORT void delete_instances_db_save(const API::str& job, const API::str& step,
                                               const std::vector<STEP::sr_ref>& refs);
TOLVA_API_EXPORT void flatten_step_db_save(const API::str& job, const API::str& step, const API::str& target,
                                           const API::str_list& layers);
TOLVA_API_EXPORT void create_panel_db_save(const API::str& job, const API::str& panelStep,
                                           const API::str& boardStep, const STEP::panel_params& params);
TOLVA_API_EXPORT void add_panel_rails_db_save(const API::str& job, const API::str& step,
                                              const STEP::rail_params& params);
}  // namespace DB
}  // namespace TOLVA
