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

std::vector<PlannedCheck> planChecks(const std::vector<API::matrix_info>& matrix, bool hasProfile,
                                     const Limits& limits) {
    API::str_list copper, drills;
    for (const API::matrix_info& row : matrix) {
        if (isCopper(row)) copper.push_back(row.name);
        if (isDrill(row)) drills.push_back(row.name);
    }
    std::vector<PlannedCheck> plan;
    // `limitsOf` names the dialog's entry; `task.check` the kernel's check.
    auto add = [&](const char* limitsOf, const std::string& layer, CHECKS::check_task task) {
        task.params = limits.value(QLatin1String(limitsOf));
        plan.push_back({QStringLiteral("%1 on %2").arg(QLatin1String(limitsOf), QString::fromStdString(layer)),
                        std::move(task)});
    };
    auto onLayers = [](const char* check, API::str_list layers) {
        CHECKS::check_task t;
        t.check = check;
        t.layers = std::move(layers);
        return t;
    };
    for (const std::string& layer : copper) {
        for (const char* check : {"spacing", "line_width", "pad_size"}) add(check, layer, onLayers(check, {layer}));
        if (hasProfile) add("profile_clearance", layer, onLayers("profile_clearance", {layer}));
        add("sliver", layer, onLayers("slivers", {layer}));
    }
    for (const API::matrix_info& row : matrix) {
        const API::matrix_info* metal = nearest(matrix, row, isCopper);
        if (isMask(row) && metal) {
            CHECKS::check_task t = onLayers("mask_clearance", {metal->name});
            t.mask_layer = row.name;
            add("mask_clearance", row.name, t);
        }
        const API::matrix_info* opening = nearest(matrix, row, isMask);
        if (onBoard(row) && row.type == "silk_screen" && metal && opening) {
            CHECKS::check_task t = onLayers("silk_over_copper", {metal->name});
            t.mask_layer = opening->name;
            t.silk_layer = row.name;
            add("silk_over_copper", row.name, t);
        }
    }
    if (!copper.empty()) {
        CHECKS::check_task nets = onLayers("nets", copper);
        nets.drill_layers = drills;
        plan.push_back({QStringLiteral("nets"), nets});
    }
    for (const std::string& drill : drills) {
        for (const char* check : {"hole_spacing", "min_drill"}) add(check, drill, onLayers(check, {drill}));
        if (copper.empty()) continue;
        for (const char* check : {"annular_ring", "drill_to_copper"}) {
            CHECKS::check_task t = onLayers(check, copper);
            t.drill_layer = drill;
            add(check, drill, t);
        }
    }
    return plan;
}

}  // namespace ANALYSIS
}  // namespace TOLVA
