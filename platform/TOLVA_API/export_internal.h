#pragma once
// Shared pieces of the Gerber and Excellon writers. Internal to the library.
//
// Writers read the kernel's own tables under the kernel lock: feature
// records, the layer's symbol table and the job's attribute sets.
#include <map>
#include <string>
#include <vector>

#include "TOLVA_Export.h"
#include "kernel.h"

namespace TOLVA {
namespace EXPORT {
namespace DETAIL {

// One layer of one step, found by name (throws a text naming what is missing).
struct LayerRef {
    const KERNEL::Job& job;
    const KERNEL::LayerDef& def;
    const KERNEL::LayerData& data;
    size_t row;  // position in the matrix
};
LayerRef findLayer(const std::string& job, const std::string& step, const std::string& layer);

// Nanometres as millimetres with up to six decimals ("12.5", "-0.000001",
// "0"): exact for every whole nanometre.
std::string millimetres(long long nm);

// Absolute surface contours of a surface feature, nanometres.
std::vector<std::vector<API::point>> contoursOf(const KERNEL::LayerData& data, const KERNEL::Feature& f);

// The X2 file attributes a layer gets: derived from its matrix row (and, for
// drill and rout layers, the plating of its features), then `given` on top.
std::map<std::string, std::string> fileAttributes(const LayerRef& ref, const std::string& step,
                                                  const export_options& options);

// Text safe inside a comment: '*' and '%' (Gerber) and control bytes become '_'.
std::string commentText(const std::string& s);

// The plating a drill feature declares: "plated", "non_plated", "via" or "".
std::string platingOf(const API::attr_map& attrs);

}  // namespace DETAIL
}  // namespace EXPORT
}  // namespace TOLVA
