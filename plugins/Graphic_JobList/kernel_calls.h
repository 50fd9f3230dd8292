#pragma once
// The kernel calls of the job list, each preceded by its journal twin while
// journalling is on, so that a replayed journal reproduces the selection the
// operator built. Every call throws what the kernel throws.
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace JOBLIST {

// The job and step every call works on.
struct Where {
    std::string job;
    std::string step;
};

namespace kernel {

void clearSelected(const Where& w, const std::string& layer);
void selectById(const Where& w, const std::string& layer, int index);
void unselect(const Where& w, const std::string& layer, const API::featureInfo& info);
API::select_report selectInPolygon(const Where& w, const std::string& layer, const std::vector<API::point>& polygon,
                                   const API::select_filter& filter, int operation, bool clearFirst);
// Selects every feature of the layer that passes the select parameters.
void selectAll(const Where& w, const std::string& layer);
std::vector<API::featureInfo> selected(const Where& w, const std::string& layer);
std::vector<API::featureInfo> inBox(const Where& w, const std::string& layer, const API::reply_box& box);
bool featureAt(const Where& w, const std::string& layer, int index, API::featureInfo& out);
// Deletes the selected features of the layers (one undo step).
void deleteSelected(const Where& w, const std::vector<std::string>& layers);

}  // namespace kernel
}  // namespace JOBLIST
}  // namespace TOLVA
