#pragma once
// The CAM kernel: feature database, selection, edits and the canvas
// rasteriser. Every call takes names as byte strings (UTF-8) and throws a
// KernelText (std::string) naming the problem on bad input; an edit that
// throws leaves the job exactly as it was.
//
// TOLVA::DB holds the journal twins: while get_SaveFlag() is true, the caller
// invokes <name>_db_save with the same arguments immediately before <name>,
// and the twin appends one replayable line to the job's journal.
#include "TOLVA_API_types.h"

#if defined(_WIN32)
#  if defined(TOLVA_API_BUILD)
#    define TOLVA_API_EXPORT __declspec(dllexport)
#  else
#    define TOLVA_API_EXPORT __declspec(dllimport)
#  endif
#else
#  define TOLVA_API_EXPORT __attribute__((visibility("default")))
#endif

namespace TOLVA {
namespace API {

using str = std::string;
using str_list = std::vector<std::string>;

// ---- canvas -------------------------------------------------------------
// One RGBA8888 canvas, rows packed without padding. Cleared pixels are the
// background, opaque black (0, 0, 0, 255); everything a draw call paints has a
// non-zero colour byte (black is painted as (1, 1, 1)), so a pixel whose colour
// bytes are all zero is background. Drawing goes to the box last given to
// zoom_to_box (micrometres), mapped onto the canvas each axis on its own (rows
// run down from ymax).
// init_canvas with a zero or negative size makes a 0 x 0 canvas, for which
// canvas() returns a null pointer. Formats and rules: platform/TOLVA_API/FORMATS.md.
TOLVA_API_EXPORT void init_canvas(int width, int height);
TOLVA_API_EXPORT unsigned char* canvas(int& width, int& height);
TOLVA_API_EXPORT void get_Canvas_Size(int& width, int& height);
TOLVA_API_EXPORT void clear_canvas();
TOLVA_API_EXPORT void zoom_to_box(double xmin, double ymin, double xmax, double ymax);

// ---- rendering ----------------------------------------------------------
// draw_layer paints the layer in layer order over what the canvas holds:
// positive features in (r, g, b, a), negative ones cleared to the background
// (0, 0, 0, 255).
// draw_highlighted_selected_features paints the selected features in opaque
// white (255, 255, 255, 255); draw_profile draws the outline one pixel wide;
// draw_layer_notes draws the layer's review notes (TOLVA_Notes.h): a pin
// (a small square with a dot) or a box with a pin at its top-left corner,
// and the label "#<id>"; open notes yellow, resolved ones grey.
TOLVA_API_EXPORT void draw_layer(const str& job, const str& step, const str& layer, int r, int g,
                                 int b, int a);
TOLVA_API_EXPORT void draw_gds(const str& job, const str& step, const str& layer, int r, int g,
                               int b, int a);
TOLVA_API_EXPORT void draw_highlighted_selected_features(const str& job, const str& step,
                                                         const str& layer);
TOLVA_API_EXPORT void draw_profile(const str& job, const str& step, int r, int g, int b, int a);
TOLVA_API_EXPORT void draw_layer_notes(const str& job, const str& step, const str& layer);

// ---- job structure ------------------------------------------------------
TOLVA_API_EXPORT bool has_profile(const str& job, const str& step);
// The box of the step's profile; without a profile, the box of all its
// features (all zero for an empty step). layer_box: the box of one layer.
TOLVA_API_EXPORT reply_box profile_box(const str& job, const str& step);
TOLVA_API_EXPORT reply_box layer_box(const str& job, const str& step, const str& layer);
// How many features of the layer have the centre of their box in each cell
// of a cols x rows grid laid over `box` (nanometres), row-major from the
// (xmin, ymin) corner; features centred outside the box are not counted.
// Reads only the feature records, for overviews of whole boards.
TOLVA_API_EXPORT std::vector<int> feature_density(const str& job, const str& step,
                                                  const str& layer, const reply_box& box,
                                                  int cols, int rows);
TOLVA_API_EXPORT std::vector<graphic_info> get_graphics(const str& job);
TOLVA_API_EXPORT std::vector<matrix_info> get_matrix(const str& job);
// Rewrites the row whose number is row.row (name, context, type, polarity).
TOLVA_API_EXPORT void change_matrix(const str& job, const matrix_info& row);
// Adds an empty layer to the job's matrix at the 0-based position (row
// position + 1); -1 or a position past the end appends it. The new row is
// "misc", "document", "positive" until change_matrix rewrites it. Returns
// false when a layer of that name exists already.
TOLVA_API_EXPORT bool create_new_layer(const str& job, const str& step, const str& layer,
                                       int position);

// ---- symbols and feature strings ----------------------------------------
// Registers `symbol` in the layer's symbol table if it is not there and
// returns its index in `index`. A registration belongs to the next edit: its
// undo takes the symbol back (FORMATS.md, "Undo"), so register right before
// building the records that use it.
TOLVA_API_EXPORT void create_new_symbol(const str& job, const str& step, const str& layer,
                                        const str& symbol, int& index);
// polarity: POL_POSITIVE / POL_NEGATIVE; dcode is carried as the "dcode" field.
TOLVA_API_EXPORT str GreateLineString(double x1, double y1, double x2, double y2, int symbol,
                                      int polarity, int dcode);
// angle in degrees (counter-clockwise), mirror 0 or 1; scale resizes the symbol
// (0 and 1 both mean the symbol's own size).
TOLVA_API_EXPORT str GreatePadString(double x, double y, int symbol, int polarity, int angle,
                                     int mirror, double scale);
TOLVA_API_EXPORT str GreateArcString(double xs, double ys, double xe, double ye, double xc,
                                     double yc, int symbol, int polarity, int dcode,
                                     bool clockwise);
// One or more closed contours: a contour ends at the point that repeats its
// first point, and the next point starts the next contour. Filled with the
// even-odd rule, so contours inside an island are holes. With `close` set an
// open last contour is closed implicitly.
TOLVA_API_EXPORT str GreateSurfaceString(const std::vector<lPoint>& points, int polarity,
                                         int dcode, bool close);
TOLVA_API_EXPORT str GreateTextString(double x, double y, const str& text, int polarity,
                                      int angle, double xsize, double ysize, double width_factor,
                                      const str& font, int mirror, double scale);

// ---- storing features ---------------------------------------------------
// Adds the one feature string given for each layer; every new feature gets
// `attributes`. With select_new the new features become selected.
TOLVA_API_EXPORT void AddFeature(const str& job, const str& step, const str_list& layers,
                                 const std::map<str, str>& strings, const attr_map& attributes,
                                 bool select_new);
// Adds the strings of each layer; the string i of a layer gets
// attributes[i] when that entry exists, none otherwise.
TOLVA_API_EXPORT void AddFeatures(const str& job, const str& step, const str_list& layers,
                                  const std::map<str, str_list>& strings,
                                  const std::vector<attr_map>& attributes);

// ---- edits --------------------------------------------------------------
// Copies or moves the selected features of each layer by (dx, dy).
TOLVA_API_EXPORT void copy_features_in_samelayer(const str& job, const str& step,
                                                 const str_list& layers, int dx, int dy);
TOLVA_API_EXPORT void move_same_layer(const str& job, const str& step, const str_list& layers,
                                      int dx, int dy);
// One copy of the selected features of each layer per offset.
TOLVA_API_EXPORT void multi_copy_features_in_samelayer(const str& job, const str& step,
                                                       const str_list& layers,
                                                       const std::vector<point>& offsets);
// Moves or copies the given features (looked up by layer and index, and
// checked against the record) by (dx, dy).
TOLVA_API_EXPORT void move_specified_features(const str& job, const str& step,
                                              const str_list& layers,
                                              const std::map<str, std::vector<featureInfo>>& features,
                                              int dx, int dy);
TOLVA_API_EXPORT void copy_specified_features(const str& job, const str& step,
                                              const str_list& layers,
                                              const std::map<str, std::vector<featureInfo>>& features,
                                              int dx, int dy);
// Deletes the selected features of each layer; the others keep their order
// (their indices close up). One undo step puts them back, selected as they were.
TOLVA_API_EXPORT void delete_selected_features(const str& job, const str& step,
                                               const str_list& layers);
// Undoes the last edit of the job; false when there is nothing to undo. The
// job is left exactly as it was before the edit: features, matrix, symbols
// registered for the edit, attribute sets it interned, and the selection
// (FORMATS.md, "Undo").
TOLVA_API_EXPORT bool undo_last_edit(const str& job);

// ---- selection ----------------------------------------------------------
// Selects (operation 0) or unselects (operation 1) the features whose
// outline meets the closed polygon and that pass the filter and the select
// parameters. With clear_first set the layer's selection is cleared first.
TOLVA_API_EXPORT select_report select_features(const str& job, const str& step, const str& layer,
                                               const std::vector<point>& polygon,
                                               const select_filter& filter, int operation,
                                               int clear_first);
// Selects every feature of the layer that passes the select parameters
// (kinds and polarities; inside_only asks nothing here, as there is no
// polygon); returns how many are selected.
TOLVA_API_EXPORT int select_features(const str& job, const str& step, const str& layer);
TOLVA_API_EXPORT void select_feature_by_id(const str& job, const str& step, const str& layer,
                                           int index);
TOLVA_API_EXPORT void clear_selected_features(const str& job, const str& step, const str& layer);
TOLVA_API_EXPORT void unselect_feature_by_info(const str& job, const str& step, const str& layer,
                                               const featureInfo& info);
TOLVA_API_EXPORT void unselect_features(const str& job, const str& step, const str& layer);
TOLVA_API_EXPORT void get_selected_feature_info(const str& job, const str& step, const str& layer,
                                                std::vector<featureInfo>& list);
TOLVA_API_EXPORT bool is_selected(const str& job, const str& step, const str& layer);
// False when the layer has no feature at that index.
TOLVA_API_EXPORT bool get_featureinfo_by_index(const str& job, const str& step, const str& layer,
                                               int index, featureInfo& out);
// Fills `list` (cleared first) with the layer's features whose outline,
// with the symbol's width, meets the closed box (board units), in layer
// order. Neither the selection nor the select parameters are involved. An
// inverted box throws, as do unknown names.
TOLVA_API_EXPORT void get_features_in_box(const str& job, const str& step, const str& layer,
                                          const reply_box& box, std::vector<featureInfo>& list);
TOLVA_API_EXPORT select_param get_select_param();
TOLVA_API_EXPORT void set_select_param(const select_param& param);

}  // namespace API

namespace DB {
using API::str;
using API::str_list;

TOLVA_API_EXPORT bool get_SaveFlag();
TOLVA_API_EXPORT void set_SaveFlag(bool on);

TOLVA_API_EXPORT void get_Canvas_Size_db_save(int& width, int& height);
TOLVA_API_EXPORT void has_profile_db_save(const str& job, const str& step);
TOLVA_API_EXPORT void profile_box_db_save(const str& job, const str& step);
TOLVA_API_EXPORT void change_matrix_db_save(const str& job, const API::matrix_info& row);
TOLVA_API_EXPORT void create_new_layer_db_save(const str& job, const str& step, const str& layer,
                                               int position);
TOLVA_API_EXPORT void create_new_symbol_db_save(const str& job, const str& step, const str& layer,
                                                const str& symbol, int& index);
TOLVA_API_EXPORT void GreateLineString_db_save(double x1, double y1, double x2, double y2,
                                               int symbol, int polarity, int dcode);
TOLVA_API_EXPORT void GreatePadString_db_save(double x, double y, int symbol, int polarity,
                                              int angle, int mirror);
TOLVA_API_EXPORT void GreateArcString_db_save(double xs, double ys, double xe, double ye,
                                              double xc, double yc, int symbol, int polarity,
                                              int dcode, bool clockwise);
TOLVA_API_EXPORT void GreateSurfaceString_db_save(const std::vector<API::lPoint>& points,
                                                  int polarity, int dcode, bool close);
TOLVA_API_EXPORT void GreateTextString_db_save(double x, double y, const str& text, int polarity,
                                               int angle, double xsize, double ysize,
                                               double width_factor, const str& font, int mirror);
TOLVA_API_EXPORT void AddFeature_db_save(const str& job, const str& step, const str_list& layers,
                                         const std::map<str, str>& strings,
                                         const API::attr_map& attributes);
TOLVA_API_EXPORT void AddFeatures_db_save(const str& job, const str& step, const str_list& layers,
                                          const std::map<str, str_list>& strings,
                                          const std::vector<API::attr_map>& attributes);
TOLVA_API_EXPORT void copy_features_in_samelayer_db_save(const str& job, const str& step,
                                                         const str_list& layers, int dx, int dy);
TOLVA_API_EXPORT void move_same_layer_db_save(const str& job, const str& step,
                                              const str_list& layers, int dx, int dy);
TOLVA_API_EXPORT void multi_copy_features_in_samelayer_db_save(
    const str& job, const str& step, const str_list& layers,
    const std::vector<API::point>& offsets);
TOLVA_API_EXPORT void delete_selected_features_db_save(const str& job, const str& step,
                                                       const str_list& layers);
TOLVA_API_EXPORT void move_specified_features_db_save(
    const str& job, const str& step, const str_list& layers,
    const std::map<str, std::vector<API::featureInfo>>& features, int dx, int dy);
TOLVA_API_EXPORT void copy_specified_features_db_save(
    const str& job, const str& step, const str_list& layers,
    const std::map<str, std::vector<API::featureInfo>>& features, int dx, int dy);
TOLVA_API_EXPORT void select_features_db_save(const str& job, const str& step, const str& layer,
                                              const std::vector<API::point>& polygon,
                                              const API::select_filter& filter, int operation,
                                              int clear_first);
TOLVA_API_EXPORT void select_all_features_db_save(const str& job, const str& step,
                                                  const str& layer);
TOLVA_API_EXPORT void select_feature_by_id_db_save(const str& job, const str& step,
                                                   const str& layer, int index);
TOLVA_API_EXPORT void clear_selected_features_db_save(const str& job, const str& step,
                                                      const str& layer);
TOLVA_API_EXPORT void unselect_feature_by_info_db_save(const str& job, const str& step,
                                                       const str& layer,
                                                       const API::featureInfo& info);
TOLVA_API_EXPORT void unselect_features_db_save(const str& job, const str& step,
                                                const str& layer);
TOLVA_API_EXPORT void get_selected_feature_info_db_save(const str& job, const str& step,
                                                        const str& layer);
TOLVA_API_EXPORT void is_selected_db_save(const str& job, const str& step, const str& layer);
TOLVA_API_EXPORT void get_featureinfo_by_index_db_save(const str& job, const str& step,
                                                       const str& layer, int index);
TOLVA_API_EXPORT void set_select_param_db_save(const API::select_param& param);

}  // namespace DB
}  // namespace TOLVA
