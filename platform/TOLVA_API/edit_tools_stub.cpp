// Feature edits for the interactive tools: the entry points not made yet.
#include "TOLVA_Edit.h"

#include "kernel.h"

namespace TOLVA {
namespace EDIT {

namespace {
[[noreturn]] void notYet() { throw API::KernelText("not implemented"); }
}  // namespace

void set_profile_from_features(const str&, const str&, const str&, const std::vector<int>&) { notYet(); }
void set_profile_rect(const str&, const str&, double, double, double, double, double) { notYet(); }

}  // namespace EDIT
}  // namespace TOLVA
