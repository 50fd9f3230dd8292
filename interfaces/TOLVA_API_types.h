#pragma once
// Records exchanged with the CAM kernel. Header-only, so that every library
// can hold them by value without linking the kernel.
//
// Units: feature coordinates are nanometres ("board units", "database
// units"); the kernel's viewing calls (zoom_to_box) take micrometres.
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace TOLVA {
namespace API {

// A kernel failure is thrown either as a std::exception or as "a text": a
// KernelText, i.e. a std::string holding the message. Every catch site
// handles both (and, defensively, a thrown const char*).
using KernelText = std::string;

using attr_map = std::map<std::string, std::string>;

struct point {
    int32_t x = 0;
    int32_t y = 0;
};
inline bool operator==(const point& a, const point& b) { return a.x == b.x && a.y == b.y; }
inline bool operator!=(const point& a, const point& b) { return !(a == b); }

struct reply_box {
    int32_t xmin = 0;
    int32_t ymin = 0;
    int32_t xmax = 0;
    int32_t ymax = 0;
};
inline bool operator==(const reply_box& a, const reply_box& b) {
    return a.xmin == b.xmin && a.ymin == b.ymin && a.xmax == b.xmax && a.ymax == b.ymax;
}

// One surface vertex in board units.
struct lPoint {
    double x = 0;
    double y = 0;
};

enum feature_type : int { FT_LINE = 1, FT_PAD = 2, FT_ARC = 3, FT_SURFACE = 4, FT_TEXT = 5 };
enum polarity_type : int { POL_NEGATIVE = 0, POL_POSITIVE = 1 };

// The kernel's description of one feature, copied by value. Two records are
// the same feature when every member compares equal.
struct featureInfo {
    // ten doubles of geometry
    double xs = 0, ys = 0;  // line/arc start; pad and text anchor
    double xe = 0, ye = 0;  // line/arc end
    double xc = 0, yc = 0;  // arc centre
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;  // extent including the symbol
    // three ints
    int type = 0;  // feature_type
    int polarity = POL_POSITIVE;
    int symbol_index = -1;
    // two byte strings
    std::string symbol;  // symbol name ("r250"), empty for surfaces and texts
    std::string layer;
    // one int
    int angle = 0;  // pad and text rotation in degrees
    // five byte strings
    std::string direction;  // "CW" or "CCW" for arcs
    std::string text;       // text features
    std::string font;       // text features
    std::string net;        // net name, empty when unknown
    std::string record;     // the stored feature string
    attr_map attributes;
    int index = -1;  // position of the feature within its layer
    double xsize = 0, ysize = 0;  // symbol or character size
    int mirror = 0;
};

// Every member in order, as references (const or not, as the record is):
// for comparison and for writing and reading records field by field.
template <class F, class = std::enable_if_t<std::is_same<std::remove_const_t<F>, featureInfo>::value>>
inline auto tie_members(F& f) {
    return std::tie(f.xs, f.ys, f.xe, f.ye, f.xc, f.yc, f.xmin, f.ymin, f.xmax, f.ymax, f.type,
                    f.polarity, f.symbol_index, f.symbol, f.layer, f.angle, f.direction, f.text,
                    f.font, f.net, f.record, f.attributes, f.index, f.xsize, f.ysize, f.mirror);
}
inline bool operator==(const featureInfo& a, const featureInfo& b) {
    return tie_members(a) == tie_members(b);
}
inline bool operator!=(const featureInfo& a, const featureInfo& b) { return !(a == b); }

// Line or arc geometry for the batched content operations. The two trailing
// members are carried along but not read by them.
struct feature_point {
    double xs = 0, ys = 0;
    double xe = 0, ye = 0;
    double xc = 0, yc = 0;
    double reserved0 = 0;
    double reserved1 = 0;
};

// One entry of get_graphics: a step ("step"), a layer (kind "layer", or
// "rout" for rout layers, "GDS" for GDS layers) of the job.
struct graphic_info {
    std::string kind;
    std::string name;
};

// One row of the job's layer matrix.
struct matrix_info {
    int row = 0;           // 1-based row number
    std::string name;      // layer name
    std::string context;   // "board" or "misc"
    std::string type;      // "signal", "power_ground", "mixed", "solder_mask", "silk_screen",
                           // "solder_paste", "drill", "rout", "document", "gds"
    std::string polarity;  // "positive" or "negative"
};

// What select_features considers. Feature kinds and polarities can be
// switched off; inside_only requires the whole outline in the polygon.
struct select_param {
    bool lines = true, pads = true, arcs = true, surfaces = true, texts = true;
    bool positive = true, negative = true;
    bool inside_only = false;
};
inline bool operator==(const select_param& a, const select_param& b) {
    return std::tie(a.lines, a.pads, a.arcs, a.surfaces, a.texts, a.positive, a.negative,
                    a.inside_only) == std::tie(b.lines, b.pads, b.arcs, b.surfaces, b.texts,
                                               b.positive, b.negative, b.inside_only);
}

// Attribute filter of a polygon selection. Each entry is (name, value):
// "Polarity" with "POS" or "NEG", "SymbolText" with a symbol name, or an
// attribute name with a value ("" matches any value). A feature passes when
// it matches every include entry and no exclude entry.
struct select_filter {
    std::vector<std::pair<std::string, std::string>> include;
    std::vector<std::pair<std::string, std::string>> exclude;
};

// Result of a polygon selection: how many features became selected, and the
// already selected features in the polygon that the exclude entries reject
// (the caller unselects them).
struct select_report {
    int selected = 0;
    std::vector<featureInfo> dropped;
};

}  // namespace API
}  // namespace TOLVA
