#pragma once
// Geometric compare of two layers: one layer of a step against another, of
// the same job or of two jobs. Each layer is taken as the image it draws
// (positive features add copper, negative ones clear it, in layer order), and
// the compare gives the areas covered in the first image only and in the
// second only, each as a polygon in nanometres.
//
// The work follows the differences, not the layers: features with the same
// record in both layers (symbols compared by name) cancel first, and only
// the features left over, with the features of either layer whose boxes meet
// theirs, go into an exact polygon boolean, group by group of overlapping
// boxes (a group wider or higher than 2 mm, a moved pour say, in tiles of
// at most 2 mm whose pieces are joined again). A point covered by no
// left-over feature is taken as the same in both images (the matched
// features keep their order in both layers).
//
// Round shapes are flattened to chords within a quarter of the tolerance of
// the true circle, and a difference thinner than the tolerance is dropped:
// an area is kept when its width, 2 * area / perimeter (the width of a strip,
// a little under the widest point of a crescent), reaches the tolerance.
//
// An unknown job, step or layer throws a KernelText as the rest of the API,
// and so does a tolerance that is not finite and positive. Nothing changes.
#include <string>
#include <vector>

#include "TOLVA_Checks.h"

namespace TOLVA {
namespace COMPARE {

using API::str;
using API::str_list;
using MEASURE::measure_point;

struct layer_ref {
    str job;
    str step;
    str layer;
};

struct compare_params {
    double tolerance = 1000;  // nm: differences thinner than this are ignored
};

// One connected area: rings[0] is the outline (counter-clockwise), further
// rings are holes in it (clockwise); a ring's last point joins its first.
struct compare_area {
    std::vector<std::vector<measure_point>> rings;
    measure_point min;   // the box of the outline
    measure_point max;
    double area = 0;     // square nanometres, holes subtracted
    double width = 0;    // nm: 2 * area / perimeter (holes' rings included)
};

// What the compare looked at: the features of each layer, those that found
// no twin in the other layer, the neighbours that went into the boolean with
// them, and the groups the boolean ran on.
struct compare_stats {
    long first_features = 0;
    long second_features = 0;
    long first_unmatched = 0;
    long second_unmatched = 0;
    long neighbours = 0;
    long groups = 0;
};

struct compare_result {
    std::vector<compare_area> first_only;   // in the first layer's image, not the second's
    std::vector<compare_area> second_only;  // in the second's, not the first's
    compare_stats stats;
};

// Areas come in a fixed order: by group (the lowest left-over feature
// index of the first layer, then of the second), then as the boolean gives
// them.
TOLVA_API_EXPORT compare_result compare_layers(const layer_ref& first, const layer_ref& second,
                                               const compare_params& params = {});

// The areas as check results: "compare_first_only" for first_only (layers:
// the first layer), "compare_second_only" for second_only (the second
// layer); all errors, value = the area's width (nm, as above), limit = the
// tolerance, location BOX (the area's box), no features. When the two
// layers have the same name (two jobs) the layer appears once in each.
TOLVA_API_EXPORT std::vector<CHECKS::check_result> compare_results(const layer_ref& first,
                                                                   const layer_ref& second,
                                                                   const compare_params& params,
                                                                   const compare_result& result);

}  // namespace COMPARE
}  // namespace TOLVA
