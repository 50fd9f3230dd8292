// Feature edits for the interactive tools: the entry points not made yet.
#include "TOLVA_Edit.h"

#include "kernel.h"

namespace TOLVA {
namespace EDIT {

namespace {
[[noreturn]] void notYet() { throw API::KernelText("not implemented"); }
}  // namespace

edit_plan plan_line_end(const str&, const str&, const str&, int, int, const API::lPoint&, bool) { notYet(); }
edit_plan plan_move_segment(const str&, const str&, const str&, int, double, double, bool) { notYet(); }
edit_plan plan_split(const str&, const str&, const str&, int, const API::lPoint&) { notYet(); }
edit_plan plan_join(const str&, const str&, const str&, int, int) { notYet(); }
edit_plan plan_surface_vertex(const str&, const str&, const str&, int, int, int, const API::lPoint&, bool) {
    notYet();
}
std::vector<std::vector<API::lPoint>> get_surface_contours(const str&, const str&, const str&, int) { notYet(); }
edit_plan plan_arc_radius(const str&, const str&, const str&, int, double) { notYet(); }
edit_plan plan_arc_to_line(const str&, const str&, const str&, int) { notYet(); }
edit_plan plan_pull(const str&, const str&, const str&, int, double, int) { notYet(); }
std::vector<int> apply_plan(const str&, const str&, const edit_plan&) { notYet(); }
int transform_selected(const str&, const str&, const str_list&, const transform&) { notYet(); }
std::vector<CHECKS::check_result> align_holes(const str&, const str&, const str&, const std::vector<int>&,
                                              const str_list&, double) {
    notYet();
}
int resize_holes(const str&, const str&, const str&, const std::vector<std::pair<double, double>>&, bool) {
    notYet();
}
std::vector<int> divide_surface(const str&, const str&, const str&, int, const std::vector<API::lPoint>&, int) {
    notYet();
}
void set_profile_from_features(const str&, const str&, const str&, const std::vector<int>&) { notYet(); }
void set_profile_rect(const str&, const str&, double, double, double, double, double) { notYet(); }

}  // namespace EDIT
}  // namespace TOLVA
