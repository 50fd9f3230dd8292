#pragma once
// What "Run Checks" runs: every check the job's layers call for, each with
// the operator's two limits, as a list of calls the runner works through
// one by one (so that the view keeps drawing between them: each call holds
// the kernel only while it runs).
#include <QMap>
#include <QString>
#include <vector>

#include "TOLVA_API_types.h"
#include "TOLVA_Checks.h"

namespace TOLVA {
namespace ANALYSIS {

// One kind of check the dialog offers, with its default limits in nanometres.
struct CheckKind {
    const char* key;    // the settings key and the kernel's check name
    const char* title;  // as the dialog shows it
    double error;       // default error limit
    double warning;     // default warning limit
};
const std::vector<CheckKind>& checkKinds();

using Limits = QMap<QString, CHECKS::check_params>;
// The defaults, overridden by what the operator last entered.
Limits rememberedLimits();
void rememberLimits(const Limits& limits);

// One kernel call of a run (a one-task plan, which the kernel spreads over
// the cores) and what it is about, for the progress dialog.
struct PlannedCheck {
    QString label;
    CHECKS::check_task task;
};

// The calls for the step's layers: copper layers ("signal", "power_ground",
// "mixed" on the board) get spacing, line width, pad size, slivers and, with
// a profile, profile clearance; a solder mask its opening clearance against
// the nearest copper layer in the matrix, a silk screen the exposed copper
// of the nearest mask and copper; the copper and drill layers together a
// net analysis (opens and shorts); drill layers hole spacing and minimum
// drill, and annular ring and drill to copper against every copper layer.
std::vector<PlannedCheck> planChecks(const std::vector<API::matrix_info>& matrix, bool hasProfile,
                                     const Limits& limits);

}  // namespace ANALYSIS
}  // namespace TOLVA
