// Design-rule checks: spacing, widths and sizes, drills, annular rings and
// profile clearance, exact on the outlines of measure_geometry and fed by
// the layers' spatial indices.
#include "TOLVA_Checks.h"

#include <algorithm>
#include <cmath>

#include "hit.h"
#include "kernel.h"
#include "measure_geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using namespace MEASURE_GEOM;
using CHECKS::check_params;
using CHECKS::check_result;
using CHECKS::location_kind;
using CHECKS::severity;

void checkLimit(double v, const char* name) {
    if (std::isnan(v)) fail(std::string(name) + " is not a number");
    if (!std::isfinite(v)) fail(std::string(name) + " is not finite");
    if (v <= 0) fail(std::string(name) + " must be positive, not " + std::to_string(v));
}

void checkParams(const check_params& p) {
    checkLimit(p.error_limit, "error limit");
    checkLimit(p.warning_limit, "warning limit");
    if (p.error_limit > p.warning_limit)
        fail("error limit " + std::to_string(p.error_limit) + " exceeds the warning limit " +
             std::to_string(p.warning_limit));
}

// Sets the severity and limit of a value that breaks a limit; false when it
// breaks none (a value equal to a limit breaks nothing).
bool classify(double value, const check_params& p, check_result& r) {
    if (value < p.error_limit) {
        r.level = severity::ERROR;
        r.limit = p.error_limit;
    } else if (value < p.warning_limit) {
        r.level = severity::WARNING;
        r.limit = p.warning_limit;
    } else {
        return false;
    }
    r.value = value;
    return true;
}

// One layer of the step, its index brought up to date.
struct LayerRef {
    const std::string& name;
    const LayerDef& def;
    LayerData& data;
    LayerContext ctx() const { return {def, data}; }
};

struct Scope {
    Job& job;
    Step& step;
    LayerRef layer(const std::string& name) const {
        const size_t l = findLayerIndex(job, name);
        LayerData& d = step.layers[l];
        ensureIndex(job.layers[l], d);
        return {name, job.layers[l], d};
    }
};

Scope scope(const std::string& job, const std::string& step) {
    Job& j = findJob(job);
    return {j, j.steps[findStepIndex(j, step)]};
}

// Every layer name is looked up before any work, so a bad name throws with
// nothing done.
void checkLayers(const Scope& s, const API::str_list& layers) {
    for (const std::string& l : layers) findLayerIndex(s.job, l);
}

MEASURE::measure_point mp(const Vec& v) { return {v.x, v.y}; }

void setPoints(check_result& r, const Closest& c) {
    r.location.kind = location_kind::POINTS;
    r.location.a = mp(c.a);
    r.location.b = mp(c.b);
}
void setPoint(check_result& r, const Vec& p) {
    r.location.kind = location_kind::POINT;
    r.location.a = r.location.b = mp(p);
}
void setBox(check_result& r, const LayerRef& l, const Feature& f) {
    const IBox b = featureBox(l.ctx(), f);
    r.location.kind = location_kind::BOX;
    r.location.a = {double(b.xmin), double(b.ymin)};
    r.location.b = {double(b.xmax), double(b.ymax)};
}

check_result newResult(const char* check, const std::string& layer, uint32_t index) {
    check_result r;
    r.check = check;
    r.layers.push_back(layer);
    r.features.push_back({layer, static_cast<int>(index)});
    return r;
}
void addFeature(check_result& r, const std::string& layer, uint32_t index) {
    if (std::find(r.layers.begin(), r.layers.end(), layer) == r.layers.end()) r.layers.push_back(layer);
    r.features.push_back({layer, static_cast<int>(index)});
}

// The ".net" of a feature, empty when it has none.
const std::string& netOf(const Job& job, const Feature& f) {
    static const std::string none;
    const API::attr_map& a = job.attrs.sets[f.attrs];
    const auto it = a.find(".net");
    return it == a.end() ? none : it->second;
}

// Cores built on first use: a pairwise check meets most features several times.
class CoreCache {
public:
    explicit CoreCache(const LayerRef& l) : m_layer(l), m_cores(l.data.features.size()),
                                            m_built(l.data.features.size(), 0) {}
    const Core& operator[](uint32_t id) {
        if (!m_built[id]) {
            featureCore(m_layer.ctx(), m_layer.data.features[id], m_cores[id]);
            m_built[id] = 1;
        }
        return m_cores[id];
    }

private:
    const LayerRef& m_layer;
    std::vector<Core> m_cores;
    std::vector<char> m_built;
};

// The R-tree box of a feature grown by `margin` on every side.
SpatialIndex::Box grownBox(const LayerRef& l, const Feature& f, double margin) {
    const IBox b = featureBox(l.ctx(), f);
    const double m = std::ceil(margin);
    const IBox q = clampBox(b.xmin - m, b.ymin - m, b.xmax + m, b.ymax + m);
    return SpatialIndex::Box({q.xmin, q.ymin}, {q.xmax, q.ymax});
}

// Calls visit(i, j) once for every pair i < j of positive features of the
// layer whose boxes come within `margin` of each other; returns the features and pairs seen.
template <class Visit>
CHECKS::check_stats closePairs(const LayerRef& l, double margin, bool (*accept)(const Feature&), Visit&& visit) {
    CHECKS::check_stats stats;
    std::vector<uint32_t> ids;
    const std::vector<Feature>& fs = l.data.features;
    for (uint32_t i = 0; i < fs.size(); ++i) {
        if (!accept(fs[i])) continue;
        ++stats.features;
        ids.clear();
        l.data.index.query(fs, grownBox(l, fs[i], margin), ids);
        std::sort(ids.begin(), ids.end());
        for (uint32_t j : ids) {
            if (j <= i || !accept(fs[j])) continue;
            ++stats.pairs;
            visit(i, j);
        }
    }
    return stats;
}

bool positiveFeature(const Feature& f) { return f.positive(); }
bool positivePad(const Feature& f) { return f.positive() && f.type == API::FT_PAD; }

// The smaller side of a pad after its scale (a round or donut pad: the outer
// diameter).
double padSize(const LayerDef& def, const Feature& f) {
    const PadShape p = padShape(def.symbols[f.ref], f);
    return std::min(p.w, p.h);
}

double strokeWidth(const LayerDef& def, const Feature& f) {
    const Symbol& s = def.symbols[f.ref];
    if (f.type == API::FT_LINE && squareEnds(s)) return std::min(s.width, s.height);
    return 2 * strokeRadius(s);
}

}  // namespace
}  // namespace KERNEL

namespace CHECKS {

using namespace KERNEL;
using namespace KERNEL::MEASURE_GEOM;

namespace {

// The step of a check once the layer names (and the drill layer, when
// given) and the limits have been checked. The caller holds the kernel lock.
Scope checkedScope(const str& job, const str& step, const str_list& layers, const check_params& params,
                   const str* drillLayer = nullptr) {
    Scope s = scope(job, step);
    if (drillLayer) findLayerIndex(s.job, *drillLayer);
    checkLayers(s, layers);
    checkParams(params);
    return s;
}

// Runs `perLayer(scope, layer, name, out)` on each layer in turn, all under
// the kernel lock.
template <class PerLayer>
std::vector<check_result> eachLayer(const str& job, const str& step, const str_list& layers,
                                    const check_params& params, PerLayer&& perLayer) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, layers, params);
    std::vector<check_result> out;
    for (const std::string& name : layers) perLayer(s, s.layer(name), name, out);
    return out;
}

}  // namespace

std::vector<check_result> spacing(const str& job, const str& step, const str_list& layers,
                                  const check_params& params) {
    check_stats stats;
    return spacing(job, step, layers, params, stats);
}

std::vector<check_result> spacing(const str& job, const str& step, const str_list& layers,
                                  const check_params& params, check_stats& stats) {
    return eachLayer(job, step, layers, params, [&](const Scope& s, const LayerRef& l, const std::string& name,
                                                    std::vector<check_result>& out) {
        CoreCache cores(l);
        const std::vector<Feature>& fs = l.data.features;
        const check_stats seen = closePairs(l, params.warning_limit, positiveFeature, [&](uint32_t i, uint32_t j) {
            const std::string& net = netOf(s.job, fs[i]);
            if (!net.empty() && net == netOf(s.job, fs[j])) return;
            const Closest c = shapeDistance(cores[i], cores[j]);
            if (c.distance == 0) return;  // touching features are connected
            check_result r = newResult("spacing", name, i);
            if (!classify(c.distance, params, r)) return;
            addFeature(r, name, j);
            setPoints(r, c);
            out.push_back(std::move(r));
        });
        stats.features += seen.features;
        stats.pairs += seen.pairs;
    });
}

namespace {

// A check of one value per feature, each layer on its own.
template <class Value>
std::vector<check_result> perFeature(const str& job, const str& step, const str_list& layers,
                                     const check_params& params, const char* check,
                                     bool (*accept)(const Feature&), Value&& value, bool boxLocation) {
    return eachLayer(job, step, layers, params, [&](const Scope&, const LayerRef& l, const std::string& name,
                                                    std::vector<check_result>& out) {
        const std::vector<Feature>& fs = l.data.features;
        for (uint32_t i = 0; i < fs.size(); ++i) {
            if (!accept(fs[i])) continue;
            check_result r = newResult(check, name, i);
            if (!classify(value(l.def, fs[i]), params, r)) continue;
            if (boxLocation)
                setBox(r, l, fs[i]);
            else
                setPoint(r, {double(fs[i].x1), double(fs[i].y1)});
            out.push_back(std::move(r));
        }
    });
}

bool positiveStroke(const Feature& f) {
    return f.positive() && (f.type == API::FT_LINE || f.type == API::FT_ARC);
}

}  // namespace

std::vector<check_result> line_width(const str& job, const str& step, const str_list& layers,
                                     const check_params& params) {
    return perFeature(job, step, layers, params, "line_width", positiveStroke, strokeWidth, true);
}

std::vector<check_result> pad_size(const str& job, const str& step, const str_list& layers,
                                   const check_params& params) {
    return perFeature(job, step, layers, params, "pad_size", positivePad, padSize, true);
}

std::vector<check_result> min_drill(const str& job, const str& step, const str_list& layers,
                                    const check_params& params) {
    return perFeature(job, step, layers, params, "min_drill", positivePad, padSize, false);
}

std::vector<check_result> hole_spacing(const str& job, const str& step, const str_list& layers,
                                       const check_params& params) {
    return eachLayer(job, step, layers, params, [&](const Scope&, const LayerRef& l, const std::string& name,
                                                    std::vector<check_result>& out) {
        CoreCache cores(l);
        const std::vector<Feature>& fs = l.data.features;
        closePairs(l, params.warning_limit, positivePad, [&](uint32_t i, uint32_t j) {
            check_result r = newResult("hole_spacing", name, i);
            if (fs[i].x1 == fs[j].x1 && fs[i].y1 == fs[j].y1 && padSize(l.def, fs[i]) == padSize(l.def, fs[j])) {
                r.check = "duplicate_hole";
                r.level = severity::ERROR;
                r.value = 0;
                r.limit = params.error_limit;
                setPoint(r, {double(fs[i].x1), double(fs[i].y1)});
            } else {
                const Closest c = shapeDistance(cores[i], cores[j]);
                if (!classify(c.distance, params, r)) return;
                setPoints(r, c);
            }
            addFeature(r, name, j);
            out.push_back(std::move(r));
        });
    });
}

namespace {

struct Ring {
    double value = 0;
    Vec edge;       // nearest point of the pad's outline
    long pad = -1;  // the pad, -1 for none
};

// The best ring a positive pad of `copper` gives the hole of radius
// `radius` at `centre`.
Ring bestRing(const LayerRef& copper, const Vec& centre, double radius, std::vector<uint32_t>& ids,
              std::vector<Curve>& curves) {
    Ring best;
    best.edge = centre;
    const IBox q = clampBox(centre.x, centre.y, centre.x, centre.y);
    ids.clear();
    copper.data.index.query(copper.data.features, SpatialIndex::Box({q.xmin, q.ymin}, {q.xmax, q.ymax}), ids);
    std::sort(ids.begin(), ids.end());
    Core point;
    point.curves.push_back(segmentCurve(centre, centre));
    point.probes.push_back(centre);
    for (uint32_t id : ids) {
        const Feature& f = copper.data.features[id];
        if (!positivePad(f)) continue;
        Core core;
        featureCore(copper.ctx(), f, core);
        if (shapeDistance(core, point).distance > 0) continue;  // the centre is not on the pad
        curves.clear();
        featureOutline(copper.ctx(), f, curves);
        Closest edge;
        edge.distance = -1;
        for (const Curve& c : curves) {
            const Closest k = closestPoint(c, centre);
            if (edge.distance < 0 || k.distance < edge.distance) edge = k;
        }
        if (edge.distance < 0) continue;
        const double ring = std::max(0.0, edge.distance - radius);
        if (best.pad < 0 || ring > best.value) {
            best.value = ring;
            best.edge = edge.a;
            best.pad = id;
        }
    }
    return best;
}

}  // namespace

std::vector<check_result> annular_ring(const str& job, const str& step, const str& drill_layer,
                                       const str_list& copper_layers, const check_params& params) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, copper_layers, params, &drill_layer);
    std::vector<check_result> out;
    const LayerRef drill = s.layer(drill_layer);
    std::vector<uint32_t> ids;
    std::vector<Curve> curves;
    for (const std::string& name : copper_layers) {
        const LayerRef copper = s.layer(name);
        const std::vector<Feature>& holes = drill.data.features;
        for (uint32_t h = 0; h < holes.size(); ++h) {
            if (!positivePad(holes[h])) continue;
            const Vec centre{double(holes[h].x1), double(holes[h].y1)};
            const Ring ring = bestRing(copper, centre, padSize(drill.def, holes[h]) / 2, ids, curves);
            check_result r = newResult("annular_ring", drill_layer, h);
            if (!classify(ring.value, params, r)) continue;
            if (ring.pad >= 0)
                addFeature(r, name, static_cast<uint32_t>(ring.pad));
            else if (name != drill_layer)
                r.layers.push_back(name);
            r.location.kind = location_kind::POINTS;
            r.location.a = mp(centre);
            r.location.b = mp(ring.edge);
            out.push_back(std::move(r));
        }
    }
    return out;
}

std::vector<check_result> drill_to_copper(const str& job, const str& step, const str& drill_layer,
                                          const str_list& copper_layers, const check_params& params) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, copper_layers, params, &drill_layer);
    std::vector<check_result> out;
    const LayerRef drill = s.layer(drill_layer);
    CoreCache holes(drill);
    std::vector<uint32_t> ids;
    for (const std::string& name : copper_layers) {
        const LayerRef copper = s.layer(name);
        CoreCache cores(copper);
        const std::vector<Feature>& hs = drill.data.features;
        for (uint32_t h = 0; h < hs.size(); ++h) {
            if (!positivePad(hs[h])) continue;
            ids.clear();
            copper.data.index.query(copper.data.features, grownBox(drill, hs[h], params.warning_limit), ids);
            std::sort(ids.begin(), ids.end());
            for (uint32_t id : ids) {
                if (!copper.data.features[id].positive()) continue;
                const Closest c = shapeDistance(holes[h], cores[id]);
                if (c.distance == 0) continue;  // the hole's own copper
                check_result r = newResult("drill_to_copper", drill_layer, h);
                if (!classify(c.distance, params, r)) continue;
                addFeature(r, name, id);
                setPoints(r, c);
                out.push_back(std::move(r));
            }
        }
    }
    return out;
}

std::vector<check_result> profile_clearance(const str& job, const str& step, const str_list& layers,
                                            const check_params& params) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, layers, params);
    if (s.step.profile.empty()) fail("step '" + step + "' has no profile");
    std::vector<Vec> outline;
    for (const API::lPoint& p : s.step.profile) outline.push_back({p.x, p.y});
    Core profile;
    polylineCore(outline, profile);
    std::vector<check_result> out;
    for (const std::string& name : layers) {
        const LayerRef l = s.layer(name);
        const std::vector<Feature>& fs = l.data.features;
        for (uint32_t i = 0; i < fs.size(); ++i) {
            if (!fs[i].positive()) continue;
            Core core;
            featureCore(l.ctx(), fs[i], core);
            const Closest c = shapeDistance(core, profile);
            check_result r = newResult("profile_clearance", name, i);
            // Clear of the outline, the feature lies wholly on one side of it:
            // its closest point tells which.
            if (c.distance == 0 || !pointInPolygon(c.a, outline)) {
                r.check = "outside_profile";
                r.level = severity::ERROR;
                r.value = 0;
                r.limit = params.error_limit;
            } else if (!classify(c.distance, params, r)) {
                continue;
            }
            setPoints(r, c);
            out.push_back(std::move(r));
        }
    }
    return out;
}

}  // namespace CHECKS
}  // namespace TOLVA
