#include "check_plan.h"

#include <QSettings>
#include <cstdlib>

namespace TOLVA {
namespace ANALYSIS {

namespace {

constexpr double kUm = 1000.0;  // nanometres per micrometre

bool onBoard(const API::matrix_info& row) { return row.context == "board"; }
bool isCopper(const API::matrix_info& row) {
    return onBoard(row) && (row.type == "signal" || row.type == "power_ground" || row.type == "mixed");
}
bool isDrill(const API::matrix_info& row) { return onBoard(row) && row.type == "drill"; }
bool isMask(const API::matrix_info& row) { return onBoard(row) && row.type == "solder_mask"; }

// The board row of `kind` nearest to `row` in the matrix (a mask belongs to
// the outer copper beside it, a silk screen to the mask beside it); null
// when there is none.
const API::matrix_info* nearest(const std::vector<API::matrix_info>& matrix, const API::matrix_info& row,
                                bool (*kind)(const API::matrix_info&)) {
    const API::matrix_info* best = nullptr;
    for (const API::matrix_info& other : matrix)
        if (kind(other) && (!best || std::abs(other.row - row.row) < std::abs(best->row - row.row))) best = &other;
    return best;
}

QString settingsKey(const QString& check, const char* which) {
    return QStringLiteral("analysis/%1/%2").arg(check, QLatin1String(which));
}

}  // namespace

const std::vector<CheckKind>& checkKinds() {
    static const std::vector<CheckKind> kinds = {
        {"spacing", "Spacing", 100 * kUm, 125 * kUm},
        {"line_width", "Line width", 100 * kUm, 125 * kUm},
        {"pad_size", "Pad size", 150 * kUm, 200 * kUm},
        {"profile_clearance", "Copper to profile", 250 * kUm, 300 * kUm},
        {"hole_spacing", "Hole to hole", 200 * kUm, 250 * kUm},
        {"min_drill", "Minimum drill", 150 * kUm, 200 * kUm},
        {"annular_ring", "Annular ring", 50 * kUm, 100 * kUm},
        {"drill_to_copper", "Drill to copper", 200 * kUm, 250 * kUm},
        {"sliver", "Slivers in surfaces", 75 * kUm, 100 * kUm},
        {"mask_clearance", "Mask opening clearance", 25 * kUm, 50 * kUm},
        {"silk_over_copper", "Silk to exposed copper", 75 * kUm, 125 * kUm},
    };
    return kinds;
}

Limits rememberedLimits() {
    QSettings settings;
    Limits limits;
    for (const CheckKind& k : checkKinds()) {
        const QString key = QLatin1String(k.key);
        CHECKS::check_params p;
        p.error_limit = settings.value(settingsKey(key, "error"), k.error).toDouble();
        p.warning_limit = settings.value(settingsKey(key, "warning"), k.warning).toDouble();
        limits.insert(key, p);
    }
    return limits;
}

void rememberLimits(const Limits& limits) {
    QSettings settings;
    for (auto it = limits.begin(); it != limits.end(); ++it) {
        settings.setValue(settingsKey(it.key(), "error"), it.value().error_limit);
        settings.setValue(settingsKey(it.key(), "warning"), it.value().warning_limit);
    }
}

std::vector<PlannedCheck> planChecks(const std::string& job, const std::string& step,
                                     const std::vector<API::matrix_info>& matrix, bool hasProfile,
                                     const Limits& limits) {
    API::str_list copper;
    for (const API::matrix_info& row : matrix)
        if (isCopper(row)) copper.push_back(row.name);
    std::vector<PlannedCheck> plan;
    auto add = [&](const char* check, const std::string& layer, auto call) {
        const CHECKS::check_params p = limits.value(QLatin1String(check));
        plan.push_back({QStringLiteral("%1 on %2").arg(QLatin1String(check), QString::fromStdString(layer)),
                        [=] { return call(p); }});
    };
    for (const std::string& layer : copper) {
        add("spacing", layer, [=](const CHECKS::check_params& p) { return CHECKS::spacing(job, step, {layer}, p); });
        add("line_width", layer, [=](const CHECKS::check_params& p) { return CHECKS::line_width(job, step, {layer}, p); });
        add("pad_size", layer, [=](const CHECKS::check_params& p) { return CHECKS::pad_size(job, step, {layer}, p); });
        if (hasProfile)
            add("profile_clearance", layer,
                [=](const CHECKS::check_params& p) { return CHECKS::profile_clearance(job, step, {layer}, p); });
    }
    for (const std::string& layer : copper)
        add("sliver", layer, [=](const CHECKS::check_params& p) { return CHECKS::slivers(job, step, {layer}, p); });
    API::str_list drills;
    for (const API::matrix_info& row : matrix) {
        const API::matrix_info* metal = nearest(matrix, row, isCopper);
        if (isMask(row) && metal) {
            const std::string mask = row.name, pads = metal->name;
            add("mask_clearance", mask,
                [=](const CHECKS::check_params& p) { return CHECKS::mask_clearance(job, step, pads, mask, p); });
        }
        const API::matrix_info* opening = nearest(matrix, row, isMask);
        if (onBoard(row) && row.type == "silk_screen" && metal && opening) {
            const std::string silk = row.name, mask = opening->name, pads = metal->name;
            add("silk_over_copper", silk, [=](const CHECKS::check_params& p) {
                return CHECKS::silk_over_copper(job, step, silk, mask, pads, p);
            });
        }
        if (isDrill(row)) drills.push_back(row.name);
    }
    if (!copper.empty())
        plan.push_back({QStringLiteral("nets"), [=] { return CHECKS::analyze_nets(job, step, copper, drills).results; }});
    for (const API::matrix_info& row : matrix) {
        if (!isDrill(row)) continue;
        const std::string drill = row.name;
        add("hole_spacing", drill, [=](const CHECKS::check_params& p) { return CHECKS::hole_spacing(job, step, {drill}, p); });
        add("min_drill", drill, [=](const CHECKS::check_params& p) { return CHECKS::min_drill(job, step, {drill}, p); });
        if (copper.empty()) continue;
        add("annular_ring", drill,
            [=](const CHECKS::check_params& p) { return CHECKS::annular_ring(job, step, drill, copper, p); });
        add("drill_to_copper", drill,
            [=](const CHECKS::check_params& p) { return CHECKS::drill_to_copper(job, step, drill, copper, p); });
    }
    return plan;
}

}  // namespace ANALYSIS
}  // namespace TOLVA
