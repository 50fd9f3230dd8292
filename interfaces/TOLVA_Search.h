#pragma once
// Finding features of a step by what they are rather than where they are:
// by index, by an attribute value (".net", ".comp", ...) or by symbol name,
// for the canvas's feature search. Each query walks the compact records of
// the layers once, without building a featureInfo for features that do not
// match, so a search over a large layer stays linear and cheap.
//
// Unknown job, step or layer names throw a KernelText naming them, as the
// rest of the API.
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace SEARCH {

using API::str;
using API::str_list;

enum class search_kind : int {
    BY_INDEX = 0,      // the feature at `index` of each layer
    BY_ATTRIBUTE = 1,  // features carrying `attribute`; with a non-empty `value`, that value exactly
    BY_SYMBOL = 2,     // lines, pads and arcs drawn with the symbol named `symbol`
};

struct search_query {
    search_kind kind = search_kind::BY_INDEX;
    int index = -1;
    str attribute;
    str value;
    str symbol;
};

// One feature found: where it lives, its box with the symbol (board units)
// and its centre (a pad's own centre, otherwise the middle of the box).
struct found_feature {
    str layer;
    int index = -1;
    API::reply_box box;
    double x = 0;
    double y = 0;
};

// The features of `layers` (in that order, each layer in feature order) that
// match the query; at most `limit` of them (0: no limit).
TOLVA_API_EXPORT std::vector<found_feature> find_features(const str& job, const str& step,
                                                          const str_list& layers,
                                                          const search_query& query,
                                                          size_t limit = 0);

// The feature of `layers` whose centre lies nearest to (x, y) among those
// whose box meets the square of half-side `radius` around it; false when
// none does. Ties go to the earlier layer, then the lower index.
TOLVA_API_EXPORT bool nearest_feature(const str& job, const str& step, const str_list& layers,
                                      double x, double y, double radius, found_feature& out);

}  // namespace SEARCH
}  // namespace TOLVA
