#pragma once
// Writing the layers of a job out as fabrication files: Gerber X2 (RS-274X
// with attributes) for artwork layers, Excellon for drill and rout layers.
//
// Each writer is the inverse of the reader in TOLVA_Import.h: a file written
// here and read back into a fresh job gives the same features (kind,
// coordinates to the nanometre, symbol, polarity, pad angle and mirror,
// attributes), in the same order. FORMATS.md ("Export") lists what maps to
// what, and the few constructs a fabrication format cannot carry.
//
// An unknown job, step or layer throws a KernelText naming it; nothing is
// changed in the job.
#include <map>
#include <string>
#include <vector>

#include "TOLVA_API.h"
#include "TOLVA_Import.h"

namespace TOLVA {
namespace EXPORT {

struct export_options {
    // X2 file attributes to write ("name" -> "value", e.g. ".FileFunction" ->
    // "Copper,L1,Top"), such as an import_report's file_attributes. They take
    // the place of the ones the writer derives from the layer matrix.
    std::map<std::string, std::string> file_attributes;
    // The .CreationDate value; empty for the current local time.
    std::string creation_date;
};

// A Gerber X2 file of the layer's features in that step.
TOLVA_API_EXPORT std::string export_gerber(const std::string& job, const std::string& step,
                                           const std::string& layer);
TOLVA_API_EXPORT std::string export_gerber(const std::string& job, const std::string& step,
                                           const std::string& layer, const export_options& options);

// An Excellon file (metric, decimal coordinates) of the layer's hits, slots
// and rout chains in that step.
TOLVA_API_EXPORT std::string export_excellon(const std::string& job, const std::string& step,
                                             const std::string& layer);
TOLVA_API_EXPORT std::string export_excellon(const std::string& job, const std::string& step,
                                             const std::string& layer, const export_options& options);

// "excellon" for drill and rout layers, "gerber" for every other type.
TOLVA_API_EXPORT std::string export_format_for(const std::string& job, const std::string& layer);

// The file name a layer is written to: "<layer>.gbr", "<layer>.drl" (drill)
// or "<layer>.rou" (rout); characters that cannot stand in a file name
// ('/', '\\', ':', control bytes) become '_'. IMPORT::layer_name_for gives
// the layer name back (lower-cased).
TOLVA_API_EXPORT std::string export_file_name(const std::string& job, const std::string& layer);

// The layer in the format its type calls for; `file_name` receives
// export_file_name(job, layer).
TOLVA_API_EXPORT std::string export_layer(const std::string& job, const std::string& step,
                                          const std::string& layer, std::string& file_name);
TOLVA_API_EXPORT std::string export_layer(const std::string& job, const std::string& step,
                                          const std::string& layer, std::string& file_name,
                                          const export_options& options);

// Every layer of the matrix, in row order, as IMPORT::import_job reads them
// back: export_job's result handed to import_job makes the same layers with
// the same features.
TOLVA_API_EXPORT std::vector<IMPORT::import_file> export_job(const std::string& job,
                                                             const std::string& step);

}  // namespace EXPORT
}  // namespace TOLVA
