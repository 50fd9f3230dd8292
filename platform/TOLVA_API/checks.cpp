// Design-rule checks: spacing, widths and sizes, drills, annular rings and
// profile clearance, exact on the outlines of measure_geometry and fed by
// the layers' spatial indices.
#include "TOLVA_Checks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "checks_internal.h"
#include "steps_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace CHECKS_IMPL {

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

LayerRef Scope::layer(const std::string& name) const {
    const size_t l = findLayerIndex(job, name);
    LayerData& d = SR::flattenedLayer(job, step, l);  // a panel is checked with every instance
    ensureIndex(job.layers[l], d);
    return {name, job.layers[l], d};
}

LayerRef Scope::peek(const std::string& name) const {
    const size_t l = findLayerIndex(job, name);
    return {name, job.layers[l], SR::flattenedLayer(job, step, l)};
}

Scope scope(const std::string& job, const std::string& step) {
    Job& j = findJob(job);
    return {j, j.steps[findStepIndex(j, step)]};
}

void checkLayers(const Scope& s, const API::str_list& layers) {
    for (const std::string& l : layers) findLayerIndex(s.job, l);
}

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
    nameResult(r, check, layer, index);
    return r;
}
void nameResult(check_result& r, const char* check, const std::string& layer, uint32_t index) {
    r.check = check;
    r.layers.reserve(2);  // most results name two features
    r.features.reserve(2);
    r.layers.push_back(layer);
    r.features.push_back({layer, static_cast<int>(index)});
}
void addFeature(check_result& r, const std::string& layer, uint32_t index) {
    if (std::find(r.layers.begin(), r.layers.end(), layer) == r.layers.end()) r.layers.push_back(layer);
    r.features.push_back({layer, static_cast<int>(index)});
}
void setBroken(check_result& r, const check_params& p) {
    r.level = severity::ERROR;
    r.value = 0;
    r.limit = p.error_limit;
}

NetIds::NetIds(const Job& job) : m_names{std::string()} {
    m_ids.reserve(job.attrs.sets.size());
    std::map<std::string, uint32_t> seen;
    for (const API::attr_map& a : job.attrs.sets) {
        const auto it = a.find(".net");
        if (it == a.end() || it->second.empty()) {
            m_ids.push_back(0);
            continue;
        }
        const auto ins = seen.emplace(it->second, static_cast<uint32_t>(m_names.size()));
        if (ins.second) m_names.push_back(it->second);
        m_ids.push_back(ins.first->second);
    }
}

SpatialIndex::Box grownBox(const LayerRef& l, const Feature& f, double margin) {
    const IBox b = featureBox(l.ctx(), f);
    const double m = std::ceil(margin);
    const IBox q = clampBox(b.xmin - m, b.ymin - m, b.xmax + m, b.ymax + m);
    return SpatialIndex::Box({q.xmin, q.ymin}, {q.xmax, q.ymax});
}

double padSize(const LayerDef& def, const Feature& f) {
    const PadShape p = padShape(def.symbols[f.ref], f);
    return std::min(p.w, p.h);
}

double strokeWidth(const LayerDef& def, const Feature& f) {
    const Symbol& s = def.symbols[f.ref];
    if (f.type == API::FT_LINE && squareEnds(s)) return std::min(s.width, s.height);
    return 2 * strokeRadius(s);
}

Core pointCore(const Vec& p) {
    Core point;
    point.curves.push_back(segmentCurve(p, p));
    point.probes.push_back(p);
    return point;
}

bool wholeInside(const LayerContext& ic, const Feature& inner, const LayerContext& oc, const Feature& outer) {
    std::vector<Curve> in, out;
    featureOutline(ic, inner, in);
    featureOutline(oc, outer, out);
    if (in.empty() || out.empty()) return false;
    for (const Curve& c : in)
        for (const Curve& d : out) {
            if (c.box.xmax < d.box.xmin || d.box.xmax < c.box.xmin || c.box.ymax < d.box.ymin ||
                d.box.ymax < c.box.ymin)
                continue;
            if (closestCurves(c, d).distance == 0) return false;
        }
    Core outerCore;
    featureCore(oc, outer, outerCore);
    return shapeDistance(outerCore, pointCore(in[0].a)).distance == 0;
}

bool crossedByDrills(const LayerDef& def) {
    const API::matrix_info& row = def.row;
    return row.context == "board" && (row.type == "signal" || row.type == "power_ground" || row.type == "mixed");
}

// ---- exact distances near large outlines -------------------------------------
namespace {

namespace bgi = boost::geometry::index;

// Outlines of more curves than this (pours, planes) get an index of their own.
constexpr size_t kLargeCore = 24;

CurveBox curveBox(const Extent& e, double margin) {
    return CurveBox({e.xmin - margin, e.ymin - margin}, {e.xmax + margin, e.ymax + margin});
}

Extent coreBox(const Core& c) {
    Extent e = c.curves.front().box;
    for (const Curve& k : c.curves)
        e = {std::min(e.xmin, k.box.xmin), std::min(e.ymin, k.box.ymin), std::max(e.xmax, k.box.xmax),
             std::max(e.ymax, k.box.ymax)};
    return e;
}

double boxGap2(const Extent& a, const Extent& b) {
    const double dx = std::max({0.0, a.xmin - b.xmax, b.xmin - a.xmax});
    const double dy = std::max({0.0, a.ymin - b.ymax, b.ymin - a.ymax});
    return dx * dx + dy * dy;
}

void near(const Core& c, const CurveTree* t, const Core& other, double reach, std::vector<uint32_t>& out);
bool inside(const Core& c, const CurveTree* t, const Vec& q);
Closest widen(const Closest& c, double ra, double rb);

}  // namespace

NearCores::NearCores(const LayerRef& l) : m_cores(l) {}
NearCores::~NearCores() = default;

Closest NearCores::distance(uint32_t i, uint32_t j, double margin) {
    return between(m_cores[i], tree(i, m_cores[i]), m_cores[j], tree(j, m_cores[j]), margin);
}

Closest NearCores::distanceTo(const Core& a, uint32_t j, double margin) {
    return between(a, nullptr, m_cores[j], tree(j, m_cores[j]), margin);
}

Closest NearCores::between(const Core& a, const CurveTree* ta, const Core& b, const CurveTree* tb, double margin) {
    if ((!ta && !tb) || a.curves.empty() || b.curves.empty()) return shapeDistance(a, b);
    const double reach = margin + a.radius + b.radius + 1;
    near(a, ta, b, reach, m_nearA);
    near(b, tb, a, reach, m_nearB);
    Closest best{std::numeric_limits<double>::infinity(), {}, {}};
    for (uint32_t x : m_nearA)
        for (uint32_t y : m_nearB) {
            const Curve &c = a.curves[x], &d = b.curves[y];
            if (boxGap2(c.box, d.box) >= best.distance * best.distance) continue;
            const Closest k = closestCurves(c, d);
            if (k.distance < best.distance) best = k;
            if (best.distance == 0) return best;
        }
    if (b.filled)
        for (const Vec& q : a.probes)
            if (inside(b, tb, q)) return {0, q, q};
    if (a.filled)
        for (const Vec& q : b.probes)
            if (inside(a, ta, q)) return {0, q, q};
    return widen(best, a.radius, b.radius);
}

const CurveTree* NearCores::tree(uint32_t id, const Core& c) {
    if (c.curves.size() <= kLargeCore) return nullptr;
    std::unique_ptr<CurveTree>& t = m_trees[id];
    if (!t) {
        std::vector<std::pair<CurveBox, uint32_t>> boxes;
        for (uint32_t k = 0; k < c.curves.size(); ++k) boxes.emplace_back(curveBox(c.curves[k].box, 0), k);
        t = std::make_unique<CurveTree>(boxes.begin(), boxes.end());
    }
    return t.get();
}

namespace {

// The curves of `c` that come within `reach` of the box of `other`, in order.
void near(const Core& c, const CurveTree* t, const Core& other, double reach, std::vector<uint32_t>& out) {
    out.clear();
    if (!t) {
        for (uint32_t k = 0; k < c.curves.size(); ++k) out.push_back(k);
        return;
    }
    for (auto it = t->qbegin(bgi::intersects(curveBox(coreBox(other), reach))); it != t->qend(); ++it)
        out.push_back(it->second);
    std::sort(out.begin(), out.end());
}

// The even-odd test of pointInPolygon over the rings, on the edges that
// reach the ray from q towards +x only (the others never flip it).
bool inside(const Core& c, const CurveTree* t, const Vec& q) {
    if (!t) return coreContains(c, q);
    bool in = false;
    const CurveBox ray({q.x - 1, q.y}, {std::numeric_limits<double>::max(), q.y});
    for (auto it = t->qbegin(bgi::intersects(ray)); it != t->qend(); ++it) {
        const Curve& e = c.curves[it->second];
        const Vec& a = e.b;  // pointInPolygon walks each ring from a vertex to the one before
        const Vec& b = e.a;
        if ((a.y > q.y) != (b.y > q.y) && q.x < (b.x - a.x) * (q.y - a.y) / (b.y - a.y) + a.x) in = !in;
    }
    return in;
}

// shapeDistance's step from the cores to the swept shapes.
Closest widen(const Closest& c, double ra, double rb) {
    if (c.distance == std::numeric_limits<double>::infinity() || c.distance == 0) return c;
    const double d = c.distance, gap = d - ra - rb;
    if (gap <= 0) {
        const double lo = std::max(0.0, d - rb), hi = std::min(d, ra);
        const double t = std::max(lo, std::min(hi, 0.5 * (ra + d - rb))) / d;
        const Vec q{c.a.x + t * (c.b.x - c.a.x), c.a.y + t * (c.b.y - c.a.y)};
        return {0, q, q};
    }
    const double ux = (c.b.x - c.a.x) / d, uy = (c.b.y - c.a.y) / d;
    return {gap, {c.a.x + ra * ux, c.a.y + ra * uy}, {c.b.x - rb * ux, c.b.y - rb * uy}};
}

}  // namespace

// ---- bodies -------------------------------------------------------------------
void spacingBody(const Scope&, const NetIds& nets, const LayerRef& l, const check_params& p, Range range,
                 std::vector<check_result>& out, check_stats& stats, const std::atomic<bool>* cancel) {
    NearCores cores(l);
    const std::vector<Feature>& fs = l.data.features;
    closePairs(l, p.warning_limit, positiveFeature, range.begin, range.end, stats, cancel,
               [&](uint32_t i, uint32_t j) {
                   const uint32_t net = nets(fs[i]);
                   if (net != 0 && net == nets(fs[j])) return;
                   const Closest c = cores.distance(i, j, p.warning_limit);
                   if (c.distance == 0) return;  // touching features are connected
                   check_result r;
                   if (!classify(c.distance, p, r)) return;
                   nameResult(r, "spacing", l.name, i);
                   addFeature(r, l.name, j);
                   setPoints(r, c);
                   out.push_back(std::move(r));
               });
}

namespace {

bool positiveStroke(const Feature& f) {
    return f.positive() && (f.type == API::FT_LINE || f.type == API::FT_ARC);
}

// A check of one value per feature.
template <class Value>
void perFeature(const LayerRef& l, const check_params& p, const char* check, bool (*accept)(const Feature&),
                Value&& value, bool boxLocation, std::vector<check_result>& out) {
    const std::vector<Feature>& fs = l.data.features;
    for (uint32_t i = 0; i < fs.size(); ++i) {
        if (!accept(fs[i])) continue;
        check_result r;
        if (!classify(value(l.def, fs[i]), p, r)) continue;
        nameResult(r, check, l.name, i);
        if (boxLocation)
            setBox(r, l, fs[i]);
        else
            setPoint(r, {double(fs[i].x1), double(fs[i].y1)});
        out.push_back(std::move(r));
    }
}

}  // namespace

void lineWidthBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out) {
    perFeature(l, p, "line_width", positiveStroke, strokeWidth, true, out);
}
void padSizeBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out) {
    perFeature(l, p, "pad_size", positivePad, padSize, true, out);
}
void minDrillBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out) {
    perFeature(l, p, "min_drill", positivePad, padSize, false, out);
}

void holeSpacingBody(const LayerRef& l, const check_params& p, Range range, std::vector<check_result>& out,
                     const std::atomic<bool>* cancel) {
    CoreCache cores(l);
    const std::vector<Feature>& fs = l.data.features;
    check_stats stats;
    closePairs(l, p.warning_limit, positivePad, range.begin, range.end, stats, cancel, [&](uint32_t i, uint32_t j) {
        check_result r;
        if (fs[i].x1 == fs[j].x1 && fs[i].y1 == fs[j].y1 && padSize(l.def, fs[i]) == padSize(l.def, fs[j])) {
            nameResult(r, "duplicate_hole", l.name, i);
            setBroken(r, p);
            setPoint(r, {double(fs[i].x1), double(fs[i].y1)});
        } else {
            const Closest c = shapeDistance(cores[i], cores[j]);
            if (!classify(c.distance, p, r)) return;
            nameResult(r, "hole_spacing", l.name, i);
            setPoints(r, c);
        }
        addFeature(r, l.name, j);
        out.push_back(std::move(r));
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
    const Core point = pointCore(centre);
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

void annularRingBody(const LayerRef& drill, const LayerRef& copper, const check_params& p,
                     std::vector<check_result>& out, const std::atomic<bool>* cancel) {
    std::vector<uint32_t> ids;
    std::vector<Curve> curves;
    const std::vector<Feature>& holes = drill.data.features;
    for (uint32_t h = 0; h < holes.size(); ++h) {
        if (!positivePad(holes[h])) continue;
        if ((h & 1023) == 0 && stopped(cancel)) return;
        const Vec centre{double(holes[h].x1), double(holes[h].y1)};
        const Ring ring = bestRing(copper, centre, padSize(drill.def, holes[h]) / 2, ids, curves);
        check_result r;
        if (!classify(ring.value, p, r)) continue;
        nameResult(r, "annular_ring", drill.name, h);
        if (ring.pad >= 0)
            addFeature(r, copper.name, static_cast<uint32_t>(ring.pad));
        else if (copper.name != drill.name)
            r.layers.push_back(copper.name);
        r.location.kind = location_kind::POINTS;
        r.location.a = mp(centre);
        r.location.b = mp(ring.edge);
        out.push_back(std::move(r));
    }
}

void drillToCopperBody(const LayerRef& drill, const LayerRef& copper, const check_params& p,
                       std::vector<check_result>& out, const std::atomic<bool>* cancel) {
    CoreCache holes(drill);
    NearCores cores(copper);  // holes fall inside planes and pours
    std::vector<uint32_t> ids;
    const std::vector<Feature>& hs = drill.data.features;
    for (uint32_t h = 0; h < hs.size(); ++h) {
        if (!positivePad(hs[h])) continue;
        if ((h & 1023) == 0 && stopped(cancel)) return;
        ids.clear();
        copper.data.index.query(copper.data.features, grownBox(drill, hs[h], p.warning_limit), ids);
        std::sort(ids.begin(), ids.end());
        for (uint32_t id : ids) {
            if (!copper.data.features[id].positive()) continue;
            const Closest c = cores.distanceTo(holes[h], id, p.warning_limit);
            if (c.distance == 0) continue;  // the hole's own copper
            check_result r;
            if (!classify(c.distance, p, r)) continue;
            nameResult(r, "drill_to_copper", drill.name, h);
            addFeature(r, copper.name, id);
            setPoints(r, c);
            out.push_back(std::move(r));
        }
    }
}

void profileBody(const Scope& s, const LayerRef& l, const check_params& p, std::vector<check_result>& out,
                 const std::atomic<bool>* cancel) {
    if (s.step.profile.empty()) fail("step '" + s.step.name + "' has no profile");
    std::vector<Vec> outline;
    for (const API::lPoint& q : s.step.profile) outline.push_back({q.x, q.y});
    Core profile;
    polylineCore(outline, profile);
    const std::vector<Feature>& fs = l.data.features;
    for (uint32_t i = 0; i < fs.size(); ++i) {
        if (!fs[i].positive()) continue;
        if ((i & 1023) == 0 && stopped(cancel)) return;
        Core core;
        featureCore(l.ctx(), fs[i], core);
        const Closest c = shapeDistance(core, profile);
        check_result r;
        // Clear of the outline, the feature lies wholly on one side of it:
        // its closest point tells which.
        if (c.distance == 0 || !pointInPolygon(c.a, outline)) {
            nameResult(r, "outside_profile", l.name, i);
            setBroken(r, p);
        } else if (classify(c.distance, p, r)) {
            nameResult(r, "profile_clearance", l.name, i);
        } else {
            continue;
        }
        setPoints(r, c);
        out.push_back(std::move(r));
    }
}

}  // namespace CHECKS_IMPL
}  // namespace KERNEL

namespace CHECKS {

using namespace KERNEL;
using namespace KERNEL::CHECKS_IMPL;

namespace {

// The step of a check once the layer names (and the extra single layers,
// when given) and the limits have been checked. The caller holds the kernel lock.
Scope checkedScope(const str& job, const str& step, const str_list& layers, const check_params& params,
                   const str_list& extra = {}) {
    Scope s = scope(job, step);
    checkLayers(s, extra);
    checkLayers(s, layers);
    checkParams(params);
    return s;
}

// Runs `perLayer(scope, layer, out)` on each layer in turn, all under the
// kernel lock.
template <class PerLayer>
std::vector<check_result> eachLayer(const str& job, const str& step, const str_list& layers,
                                    const check_params& params, PerLayer&& perLayer) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, layers, params);
    std::vector<check_result> out;
    for (const std::string& name : layers) perLayer(s, s.layer(name), out);
    return out;
}

// The same for the checks of one drill or mask layer against each of the
// other layers.
template <class PerLayer>
std::vector<check_result> eachAgainst(const str& job, const str& step, const str& first, const str_list& layers,
                                      const check_params& params, PerLayer&& perLayer) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, layers, params, {first});
    std::vector<check_result> out;
    const LayerRef one = s.layer(first);
    for (const std::string& name : layers) perLayer(s, one, s.layer(name), out);
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
    KERNEL_LOCK;
    const NetIds nets(findJob(job));
    return eachLayer(job, step, layers, params, [&](const Scope& s, const LayerRef& l, std::vector<check_result>& out) {
        spacingBody(s, nets, l, params, Range{}, out, stats, nullptr);
    });
}

std::vector<check_result> line_width(const str& job, const str& step, const str_list& layers,
                                     const check_params& params) {
    return eachLayer(job, step, layers, params,
                     [&](const Scope&, const LayerRef& l, std::vector<check_result>& out) { lineWidthBody(l, params, out); });
}

std::vector<check_result> pad_size(const str& job, const str& step, const str_list& layers,
                                   const check_params& params) {
    return eachLayer(job, step, layers, params,
                     [&](const Scope&, const LayerRef& l, std::vector<check_result>& out) { padSizeBody(l, params, out); });
}

std::vector<check_result> min_drill(const str& job, const str& step, const str_list& layers,
                                    const check_params& params) {
    return eachLayer(job, step, layers, params,
                     [&](const Scope&, const LayerRef& l, std::vector<check_result>& out) { minDrillBody(l, params, out); });
}

std::vector<check_result> hole_spacing(const str& job, const str& step, const str_list& layers,
                                       const check_params& params) {
    return eachLayer(job, step, layers, params, [&](const Scope&, const LayerRef& l, std::vector<check_result>& out) {
        holeSpacingBody(l, params, Range{}, out, nullptr);
    });
}

std::vector<check_result> annular_ring(const str& job, const str& step, const str& drill_layer,
                                       const str_list& copper_layers, const check_params& params) {
    return eachAgainst(job, step, drill_layer, copper_layers, params,
                       [&](const Scope&, const LayerRef& drill, const LayerRef& copper, std::vector<check_result>& out) {
                           annularRingBody(drill, copper, params, out, nullptr);
                       });
}

std::vector<check_result> drill_to_copper(const str& job, const str& step, const str& drill_layer,
                                          const str_list& copper_layers, const check_params& params) {
    return eachAgainst(job, step, drill_layer, copper_layers, params,
                       [&](const Scope&, const LayerRef& drill, const LayerRef& copper, std::vector<check_result>& out) {
                           drillToCopperBody(drill, copper, params, out, nullptr);
                       });
}

std::vector<check_result> profile_clearance(const str& job, const str& step, const str_list& layers,
                                            const check_params& params) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, layers, params);
    if (s.step.profile.empty()) fail("step '" + step + "' has no profile");
    std::vector<check_result> out;
    for (const std::string& name : layers) profileBody(s, s.layer(name), params, out, nullptr);
    return out;
}

std::vector<check_result> slivers(const str& job, const str& step, const str_list& layers,
                                  const check_params& params) {
    return eachLayer(job, step, layers, params, [&](const Scope&, const LayerRef& l, std::vector<check_result>& out) {
        sliverBody(l, params, out, nullptr);
    });
}

std::vector<check_result> mask_clearance(const str& job, const str& step, const str& copper_layer,
                                         const str& mask_layer, const check_params& params) {
    return eachAgainst(job, step, mask_layer, {copper_layer}, params,
                       [&](const Scope& s, const LayerRef& mask, const LayerRef& copper, std::vector<check_result>& out) {
                           maskBody(copper, mask, ViaPads(s), params, out, nullptr);
                       });
}

std::vector<check_result> silk_over_copper(const str& job, const str& step, const str& silk_layer,
                                           const str& mask_layer, const str& copper_layer,
                                           const check_params& params) {
    KERNEL_LOCK;
    const Scope s = checkedScope(job, step, {silk_layer, mask_layer, copper_layer}, params);
    std::vector<check_result> out;
    silkBody(s.layer(silk_layer), s.layer(mask_layer), s.layer(copper_layer), params, out, nullptr);
    return out;
}

}  // namespace CHECKS
}  // namespace TOLVA
