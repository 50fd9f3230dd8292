#pragma once
// Job management of the CAM kernel: what a host, a test or a benchmark needs
// around the feature calls of TOLVA_API.h (creating, generating, saving and
// loading jobs, the journal file).
#include "TOLVA_API.h"

namespace TOLVA {
namespace JOB {

using API::str;

TOLVA_API_EXPORT void create_job(const str& job);
TOLVA_API_EXPORT void delete_job(const str& job);
TOLVA_API_EXPORT bool job_exists(const str& job);
TOLVA_API_EXPORT std::vector<str> list_jobs();
TOLVA_API_EXPORT void create_step(const str& job, const str& step);
TOLVA_API_EXPORT std::vector<str> list_steps(const str& job);
// Appends a layer row to the matrix (context "board"/"misc", type, polarity).
TOLVA_API_EXPORT void add_layer(const str& job, const str& layer, const str& context,
                                const str& type, const str& polarity);
// Sets the step's profile: one closed outline in board units.
TOLVA_API_EXPORT void set_profile(const str& job, const str& step,
                                  const std::vector<API::lPoint>& outline);
// Attaches a note (a text at a position) to a layer of a step.
TOLVA_API_EXPORT void add_layer_note(const str& job, const str& step, const str& layer, double x,
                                     double y, const str& text);
// Number of features of a layer in a step.
TOLVA_API_EXPORT int feature_count(const str& job, const str& step, const str& layer);
// Number of selected features of a layer in a step (a count, without the
// records that get_selected_feature_info builds).
TOLVA_API_EXPORT int selected_count(const str& job, const str& step, const str& layer);
// Grows with every edit and every undo of the job (never with a selection):
// a host keeps the value it saved at and asks before losing work when it differs.
TOLVA_API_EXPORT unsigned long long edit_serial(const str& job);

// ---- generated jobs -----------------------------------------------------
// The matrix of a generated job, all "board" rows, from the top of the stack:
//   sst (silk_screen), smt (solder_mask),
//   top, l2 ... l<n-1>, bottom (copper: signal_layers of them; "top" is the
//     first row of type signal; inner planes are power_ground: l2 a GND
//     plane, the last inner layer a power plane split into regions, further
//     GND planes between pairs of inner signal layers),
//   smb (solder_mask), ssb (silk_screen), drill (drill, the only one),
//   rout (rout).
// With one signal layer it is "top" alone, with two "top" and "bottom".
struct generate_params {
    int signal_layers = 6;         // copper layers, 0 to 64
    long features = 100000;        // total over all layers, met to within a few percent
    double width_nm = 300e6;       // profile size
    double height_nm = 200e6;
    unsigned seed = 1;             // the same seed gives the same board
};
// Builds a realistic board: component footprints with their fan-out, buses
// on the inner layers, planes and pours with clearances and thermal reliefs,
// drills, masks, silk with reference designators, and a rout along the
// profile, which has rounded corners; one step. Copper carries ".net".
TOLVA_API_EXPORT void generate_job(const str& job, const str& step, const generate_params& params);

// ---- persistence --------------------------------------------------------
// Writes the job into `directory` (created if missing) in the documented text
// format; the write goes to a temporary name that is renamed at the end.
TOLVA_API_EXPORT void save_job(const str& job, const str& directory);
// Loads a saved job and returns its name; a corrupt file throws a text that
// names the file and line, and nothing is loaded.
TOLVA_API_EXPORT str load_job(const str& directory);

// ---- journal ------------------------------------------------------------
// The file that the _db_save twins of this job append to.
TOLVA_API_EXPORT void set_journal_path(const str& job, const str& path);
TOLVA_API_EXPORT str journal_path(const str& job);
// Replays the journal lines in order on the current jobs.
TOLVA_API_EXPORT void replay_journal(const str& path);

}  // namespace JOB
}  // namespace TOLVA
