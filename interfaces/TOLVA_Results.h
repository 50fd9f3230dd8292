#pragma once
// Check results kept with the job: per step, in named sets ("analysis",
// "dfm", "compare", or any other name), each set an ordered list of
// check_result records as the checks, repairs and compares return them.
//
// The sets are saved and loaded with the job (FORMATS.md, "Saved jobs").
// Storing or clearing results is not an edit of the board: it leaves no undo
// record and is not journalled. It is, however, work a host would lose on
// closing the job, so every call that changes the stored results advances
// JOB::edit_serial, the number hosts compare to tell unsaved work.
//
// An unknown job or step throws a KernelText as the rest of the API; so does
// an empty set name, and a record that could not be saved and read back as
// it is (a value, limit or location coordinate that is not finite, a level
// or location kind out of range, a feature without a layer name). A call
// that throws changes nothing.
#include <string>
#include <vector>

#include "TOLVA_Checks.h"

namespace TOLVA {
namespace RESULTS {

using API::str;
using API::str_list;

// Replaces the set (an empty list is kept as a set with no results: the
// checks ran and found nothing).
TOLVA_API_EXPORT void set_results(const str& job, const str& step, const str& set,
                                  const std::vector<CHECKS::check_result>& results);
// The set's results in the order stored; empty when there is no such set.
TOLVA_API_EXPORT std::vector<CHECKS::check_result> get_results(const str& job, const str& step,
                                                               const str& set);
// Forgets the set; false when there was none.
TOLVA_API_EXPORT bool clear_results(const str& job, const str& step, const str& set);
// The names of the step's sets, in byte order.
TOLVA_API_EXPORT str_list result_sets(const str& job, const str& step);

}  // namespace RESULTS
}  // namespace TOLVA
