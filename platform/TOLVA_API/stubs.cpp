// Entry points still to be written.
#include "TOLVA_Job.h"
#include "kernel.h"

#define NYI ::TOLVA::KERNEL::fail("not implemented yet")

namespace TOLVA {
namespace API {
}  // namespace API

namespace DB {
bool get_SaveFlag() {
    KERNEL_LOCK;
    return KERNEL::state().saveFlag;
}
void set_SaveFlag(bool on) {
    KERNEL_LOCK;
    KERNEL::state().saveFlag = on;
}
void get_Canvas_Size_db_save(int&, int&) { NYI; }
void has_profile_db_save(const str&, const str&) { NYI; }
void profile_box_db_save(const str&, const str&) { NYI; }
void change_matrix_db_save(const str&, const API::matrix_info&) { NYI; }
void create_new_layer_db_save(const str&, const str&, const str&, int) { NYI; }
void create_new_symbol_db_save(const str&, const str&, const str&, const str&, int&) { NYI; }
void GreateLineString_db_save(double, double, double, double, int, int, int) { NYI; }
void GreatePadString_db_save(double, double, int, int, int, int) { NYI; }
void GreateArcString_db_save(double, double, double, double, double, double, int, int, int, bool) { NYI; }
void GreateSurfaceString_db_save(const std::vector<API::lPoint>&, int, int, bool) { NYI; }
void GreateTextString_db_save(double, double, const str&, int, int, double, double, double,
                              const str&, int) { NYI; }
void AddFeature_db_save(const str&, const str&, const str_list&, const std::map<str, str>&,
                        const API::attr_map&) { NYI; }
void AddFeatures_db_save(const str&, const str&, const str_list&, const std::map<str, str_list>&,
                         const std::vector<API::attr_map>&) { NYI; }
void copy_features_in_samelayer_db_save(const str&, const str&, const str_list&, int, int) { NYI; }
void move_same_layer_db_save(const str&, const str&, const str_list&, int, int) { NYI; }
void multi_copy_features_in_samelayer_db_save(const str&, const str&, const str_list&,
                                              const std::vector<API::point>&) { NYI; }
void move_specified_features_db_save(const str&, const str&, const str_list&,
                                     const std::map<str, std::vector<API::featureInfo>>&, int,
                                     int) { NYI; }
void copy_specified_features_db_save(const str&, const str&, const str_list&,
                                     const std::map<str, std::vector<API::featureInfo>>&, int,
                                     int) { NYI; }
void select_features_db_save(const str&, const str&, const str&, const std::vector<API::point>&,
                             const API::select_filter&, int, int) { NYI; }
void select_all_features_db_save(const str&, const str&, const str&) { NYI; }
void select_feature_by_id_db_save(const str&, const str&, const str&, int) { NYI; }
void clear_selected_features_db_save(const str&, const str&, const str&) { NYI; }
void unselect_feature_by_info_db_save(const str&, const str&, const str&, const API::featureInfo&) { NYI; }
void unselect_features_db_save(const str&, const str&, const str&) { NYI; }
void get_selected_feature_info_db_save(const str&, const str&, const str&) { NYI; }
void is_selected_db_save(const str&, const str&, const str&) { NYI; }
void get_featureinfo_by_index_db_save(const str&, const str&, const str&, int) { NYI; }
void set_select_param_db_save(const API::select_param&) { NYI; }
}  // namespace DB

namespace JOB {
void save_job(const str&, const str&) { NYI; }
str load_job(const str&) { NYI; }
void set_journal_path(const str&, const str&) { NYI; }
str journal_path(const str&) { NYI; }
void replay_journal(const str&) { NYI; }
}  // namespace JOB
}  // namespace TOLVA
