// Holes moved onto the centres of their copper pads, and holes resized.
#include <algorithm>
#include <cmath>

#include "checks_internal.h"
#include "edit_tools_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {
namespace {

using namespace MEASURE_GEOM;
using CHECKS::check_result;
using CHECKS::location_kind;
using CHECKS::severity;
using CHECKS_IMPL::addFeature;
using CHECKS_IMPL::newResult;
using CHECKS_IMPL::setPoint;

bool pad(const Feature& f) { return f.type == API::FT_PAD; }

// The positive pad of a copper layer whose outline holds `centre`, the one
// with the nearest centre when several do; -1 for none.
long padUnder(const EditLayer& l, const Vec& centre) {
    std::vector<uint32_t> ids;
    const int32_t x = static_cast<int32_t>(centre.x), y = static_cast<int32_t>(centre.y);
    l.data.index.query(l.data.features, SpatialIndex::Box({x, y}, {x, y}), ids);
    std::sort(ids.begin(), ids.end());
    Core point;
    point.curves.push_back(segmentCurve(centre, centre));
    point.probes.push_back(centre);
    long best = -1;
    double bestDistance = 0;
    for (uint32_t id : ids) {
        const Feature& f = l.data.features[id];
        if (!pad(f) || !f.positive()) continue;
        Core core;
        featureCore(l.ctx(), f, core);
        if (shapeDistance(core, point).distance > 0) continue;
        const double d = length(start(f) - centre);
        if (best < 0 || d < bestDistance) {
            best = id;
            bestDistance = d;
        }
    }
    return best;
}

// A result about hole `id` of the drill layer.
check_result holeResult(const char* check, severity level, double value, double limit, const EditLayer& drill,
                        uint32_t id) {
    check_result r = newResult(check, drill.name, id);
    r.level = level;
    r.value = value;
    r.limit = limit;
    return r;
}

void checkPositive(double v, const char* what) {
    if (!std::isfinite(v) || !(v > 0)) fail(std::string(what) + " must be finite and positive, not " + std::to_string(v));
}

// The holes to work on: the given indices (each a pad), or the selected pads.
std::vector<uint32_t> holesOf(const EditLayer& drill, const std::vector<int>& holes) {
    std::vector<uint32_t> ids;
    if (holes.empty()) {
        for (uint32_t i = 0; i < drill.data.features.size(); ++i)
            if (drill.data.features[i].selected() && pad(drill.data.features[i])) ids.push_back(i);
        return ids;
    }
    for (int h : holes) {
        const uint32_t id = featureId(drill, h);
        if (!pad(drill.data.features[id])) fail("feature " + std::to_string(h) + " of layer '" + drill.name + "' is not a hole (a pad)");
        if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
    }
    return ids;
}

struct PadFound {
    size_t layer;
    long index;
    Vec centre;
};

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

std::vector<CHECKS::check_result> align_holes(const str& job, const str& step, const str& drill_layer,
                                              const std::vector<int>& holes, const str_list& copper_layers,
                                              double tolerance_nm) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const EditLayer drill = editLayer(j, s, drill_layer);
    std::vector<EditLayer> copper;
    for (const std::string& name : copper_layers) {
        copper.push_back(editLayer(j, s, name));
        if (copper.back().layer == drill.layer) fail("the drill layer '" + drill_layer + "' cannot be a copper layer too");
    }
    if (!std::isfinite(tolerance_nm) || tolerance_nm < 0)
        fail("the tolerance must be finite and not negative, not " + std::to_string(tolerance_nm));
    std::vector<check_result> out;
    LayerEdit e;
    e.layer = drill.layer;
    for (uint32_t id : holesOf(drill, holes)) {
        const Feature& hole = drill.data.features[id];
        const Vec centre = start(hole);
        std::vector<PadFound> found;
        for (size_t c = 0; c < copper.size(); ++c) {
            const long p = padUnder(copper[c], centre);
            if (p >= 0) found.push_back({c, p, start(copper[c].data.features[static_cast<size_t>(p)])});
        }
        check_result r;
        auto failHere = [&](double value, double limit) {
            r = holeResult("hole_not_aligned", severity::ERROR, value, limit, drill, id);
            setPoint(r, centre);
        };
        auto addPad = [&](const PadFound& p) { addFeature(r, copper[p.layer].name, static_cast<uint32_t>(p.index)); };
        if (found.empty()) {
            failHere(0, tolerance_nm);
            out.push_back(std::move(r));
            continue;
        }
        const auto apart = std::find_if(found.begin(), found.end(),
                                        [&](const PadFound& f) { return length(f.centre - found.front().centre) > 1; });
        if (apart != found.end()) {
            failHere(length(apart->centre - found.front().centre), 1);
            addPad(found.front());
            addPad(*apart);
            out.push_back(std::move(r));
            continue;
        }
        const Vec target = found.front().centre;
        const double offset = length(target - centre);
        if (offset == 0) continue;
        if (offset > tolerance_nm) {
            failHere(offset, tolerance_nm);
            addPad(found.front());
            out.push_back(std::move(r));
            continue;
        }
        r = holeResult("hole_aligned", severity::WARNING, offset, tolerance_nm, drill, id);
        r.location.kind = location_kind::POINTS;
        r.location.a = {centre.x, centre.y};
        r.location.b = {target.x, target.y};
        addPad(found.front());
        out.push_back(std::move(r));
        Piece moved;
        moved.p.f = hole;
        moved.p.f.x1 = static_cast<int32_t>(target.x);
        moved.p.f.y1 = static_cast<int32_t>(target.y);
        e.replaceIds.push_back(id);
        e.replaceWith.push_back(std::move(moved));
    }
    std::vector<LayerEdit> edits{std::move(e)};
    SymbolBook none;
    commitEdits(j, s, edits, none, {});
    return out;
}

int resize_holes(const str& job, const str& step, const str& drill_layer,
                 const std::vector<std::pair<double, double>>& old_to_new_diameter_nm, bool selected_only) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const EditLayer drill = editLayer(j, s, drill_layer);
    for (const auto& m : old_to_new_diameter_nm) {
        checkPositive(m.first, "a diameter");
        checkPositive(m.second, "a diameter");
    }
    SymbolBook symbols;
    LayerEdit e;
    e.layer = drill.layer;
    for (uint32_t id = 0; id < drill.data.features.size(); ++id) {
        const Feature& f = drill.data.features[id];
        if (!pad(f) || (selected_only && !f.selected())) continue;
        const Symbol& sym = drill.def.symbols[f.ref];
        const PadShape shape = padShape(sym, f);
        const double diameter = std::min(shape.w, shape.h);
        const auto m = std::find_if(old_to_new_diameter_nm.begin(), old_to_new_diameter_nm.end(),
                                    [&](const std::pair<double, double>& p) { return std::fabs(p.first - diameter) <= 1; });
        if (m == old_to_new_diameter_nm.end()) continue;
        const double k = m->second / diameter;
        Piece resized;
        resized.p.f = f;
        resized.p.f.ref = symbols.index(drill.def, symbolName(sym.shape, shape.w * k, shape.h * k, shape.inner * k));
        resized.p.f.setScale(1);
        if (resized.p.f.ref == f.ref && f.scale() == 1) continue;
        e.replaceIds.push_back(id);
        e.replaceWith.push_back(std::move(resized));
    }
    const int changed = static_cast<int>(e.replaceIds.size());
    std::vector<LayerEdit> edits{std::move(e)};
    commitEdits(j, s, edits, symbols, {});
    return changed;
}

}  // namespace EDIT
}  // namespace TOLVA
