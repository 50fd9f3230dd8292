#pragma once
// Reading fabrication files into the CAM kernel: Gerber (RS-274X, with the
// X2 attributes) and Excellon drill and rout files.
//
// Every import parses the whole text before touching the job, so a malformed
// or truncated file throws a KernelText naming the file, the line and the
// fault, and leaves the job exactly as it was. The features of one file are
// added in one call, i.e. one undo step.
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace IMPORT {

struct import_report {
    std::string layer;
    std::string type;   // matrix type the layer was given or already had
    std::string file;   // the file name as given
    std::string format; // "gerber" or "excellon"
    int features = 0;   // features added
    bool outline = false;
    std::map<std::string, std::string> file_attributes;  // X2 file attributes, e.g. ".FileFunction"
    std::vector<std::string> warnings;
};

// The most memory the features of one file may take while they are read,
// in bytes (default 2 GiB). Step and repeat, block flashes and drill repeat
// codes turn a few bytes of text into many features; a file that would grow
// past the budget is refused ("<file>:<line>: the file expands past the
// import budget of N MB") before the copies are made. Returns the previous
// budget. A host with less memory, or a test harness, sets a smaller one.
TOLVA_API_EXPORT size_t set_import_budget(size_t bytes);

// "gerber", "excellon", or "" when the text is neither.
TOLVA_API_EXPORT std::string detect_format(const std::string& text);

// Appends the file's features to the layer of the step, creating the layer
// (typed from the file's name and attributes) when it is missing.
TOLVA_API_EXPORT import_report import_gerber(const std::string& job, const std::string& step,
                                             const std::string& layer, const std::string& text,
                                             const std::string& file_name);
TOLVA_API_EXPORT import_report import_excellon(const std::string& job, const std::string& step,
                                               const std::string& layer, const std::string& text,
                                               const std::string& file_name);

// The matrix type of a layer read from that file ("signal", "solder_mask",
// "silk_screen", "solder_paste", "drill", "rout", "document"), and whether
// the file holds the board outline. The X2 .FileFunction value, when known,
// decides before the name does.
struct layer_guess {
    std::string type = "document";
    bool outline = false;
};
TOLVA_API_EXPORT layer_guess guess_layer(const std::string& file_name,
                                         const std::string& x2_file_function);
TOLVA_API_EXPORT std::string guess_layer_type(const std::string& file_name,
                                              const std::string& x2_file_function);

// The layer name a file gets: its base name without directory and extension.
TOLVA_API_EXPORT std::string layer_name_for(const std::string& file_name);

// One file to read: its name (for the layer name, the type and messages) and
// its contents.
struct import_file {
    std::string name;
    std::string text;
};
// Creates `job` with step "pcb" and one layer per file, in order. The step's
// profile is the largest closed outline of the outline layer, when there is
// one. Every file is parsed before the job is created: any failure throws
// and no job is left behind.
TOLVA_API_EXPORT std::vector<import_report> import_job(const std::string& job,
                                                       const std::vector<import_file>& files);

}  // namespace IMPORT
}  // namespace TOLVA
