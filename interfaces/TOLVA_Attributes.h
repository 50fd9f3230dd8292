#pragma once
// Rewriting one feature in place: its attributes, or the symbol a pad, line
// or arc is drawn with. Each call that changes something is one edit: one
// undo step (API::undo_last_edit puts the feature back as it was, symbol
// registrations and attribute sets included); a call that would change
// nothing makes no edit. The feature keeps its index, geometry and
// selection.
//
// Unknown names throw a KernelText as the rest of the API, and so do an
// index outside the layer and a feature of the wrong kind; a call that
// throws changes nothing.
#include <string>

#include "TOLVA_API.h"

namespace TOLVA {
namespace ATTRIBUTES {

using API::str;

// Replaces the attributes of feature `index` of `layer` with `attributes`
// as a whole (an empty map clears them).
TOLVA_API_EXPORT void set_feature_attributes(const str& job, const str& step, const str& layer, int index,
                                             const API::attr_map& attributes);

// Draws pad, line or arc `index` of `layer` with `symbol` (registered in the
// layer's table when missing, as create_new_symbol does).
TOLVA_API_EXPORT void change_feature_symbol(const str& job, const str& step, const str& layer, int index,
                                            const str& symbol);

}  // namespace ATTRIBUTES

namespace DB {

// Journal twins. The journal's replay has no entry for these edits yet: the
// twins write them as comment lines, which a replay reads past, so that a
// journal stays readable and shows where an edit of this kind was made.
TOLVA_API_EXPORT void set_feature_attributes_db_save(const API::str& job, const API::str& step,
                                                     const API::str& layer, int index,
                                                     const API::attr_map& attributes);
TOLVA_API_EXPORT void change_feature_symbol_db_save(const API::str& job, const API::str& step,
                                                    const API::str& layer, int index, const API::str& symbol);

}  // namespace DB
}  // namespace TOLVA
