#include "kernel_calls.h"

namespace TOLVA {
namespace JOBLIST {
namespace kernel {

namespace {
bool journalling() { return DB::get_SaveFlag(); }
}  // namespace

void clearSelected(const Where& w, const std::string& layer) {
    if (journalling()) DB::clear_selected_features_db_save(w.job, w.step, layer);
    API::clear_selected_features(w.job, w.step, layer);
}

void selectById(const Where& w, const std::string& layer, int index) {
    if (journalling()) DB::select_feature_by_id_db_save(w.job, w.step, layer, index);
    API::select_feature_by_id(w.job, w.step, layer, index);
}

void unselect(const Where& w, const std::string& layer, const API::featureInfo& info) {
    if (journalling()) DB::unselect_feature_by_info_db_save(w.job, w.step, layer, info);
    API::unselect_feature_by_info(w.job, w.step, layer, info);
}

API::select_report selectInPolygon(const Where& w, const std::string& layer, const std::vector<API::point>& polygon,
                                   const API::select_filter& filter, int operation, bool clearFirst) {
    const int clear = clearFirst ? 1 : 0;
    if (journalling()) DB::select_features_db_save(w.job, w.step, layer, polygon, filter, operation, clear);
    return API::select_features(w.job, w.step, layer, polygon, filter, operation, clear);
}

void selectAll(const Where& w, const std::string& layer) {
    if (journalling()) DB::select_all_features_db_save(w.job, w.step, layer);
    API::select_features(w.job, w.step, layer);
}

std::vector<API::featureInfo> selected(const Where& w, const std::string& layer) {
    std::vector<API::featureInfo> list;
    if (journalling()) DB::get_selected_feature_info_db_save(w.job, w.step, layer);
    API::get_selected_feature_info(w.job, w.step, layer, list);
    return list;
}

std::vector<API::featureInfo> inBox(const Where& w, const std::string& layer, const API::reply_box& box) {
    std::vector<API::featureInfo> list;
    API::get_features_in_box(w.job, w.step, layer, box, list);
    return list;
}

bool featureAt(const Where& w, const std::string& layer, int index, API::featureInfo& out) {
    if (journalling()) DB::get_featureinfo_by_index_db_save(w.job, w.step, layer, index);
    return API::get_featureinfo_by_index(w.job, w.step, layer, index, out);
}

void deleteSelected(const Where& w, const std::vector<std::string>& layers) {
    if (journalling()) DB::delete_selected_features_db_save(w.job, w.step, layers);
    API::delete_selected_features(w.job, w.step, layers);
}

}  // namespace kernel
}  // namespace JOBLIST
}  // namespace TOLVA
