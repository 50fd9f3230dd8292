// DFM repairs: duplicate holes deleted, pads enlarged for their annular
// ring. Each works the whole change out first, then makes it as one edit.
#include "TOLVA_Repair.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "TOLVA_API.h"
#include "geometry.h"
#include "kernel.h"
#include "measure_geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using namespace MEASURE_GEOM;
using CHECKS::check_result;
using CHECKS::location_kind;
using CHECKS::severity;

struct Layer {
    size_t index;
    const std::string& name;
    const LayerDef& def;
    LayerData& data;
    LayerContext ctx() const { return {def, data}; }
};

Layer layerOf(Job& j, size_t step, const std::string& name) {
    const size_t l = findLayerIndex(j, name);
    LayerData& d = j.steps[step].layers[l];
    ensureIndex(j.layers[l], d);
    return {l, name, j.layers[l], d};
}

bool positivePad(const Feature& f) { return f.positive() && f.type == API::FT_PAD; }

// A hole's diameter as the checks take it: the smaller side of its symbol
// after the pad's scale.
double holeSize(const LayerDef& def, const Feature& f) {
    const PadShape p = padShape(def.symbols[f.ref], f);
    return std::min(p.w, p.h);
}

const std::string& attrOf(const Job& job, const Feature& f, const char* key) {
    static const std::string none;
    const API::attr_map& a = job.attrs.sets[f.attrs];
    const auto it = a.find(key);
    return it == a.end() ? none : it->second;
}

SpatialIndex::Box queryBox(double xmin, double ymin, double xmax, double ymax) {
    const IBox q = clampBox(xmin, ymin, xmax, ymax);
    return SpatialIndex::Box({q.xmin, q.ymin}, {q.xmax, q.ymax});
}

SpatialIndex::Box grownBox(const Layer& l, const Feature& f, double margin) {
    const IBox b = featureBox(l.ctx(), f);
    const double m = std::ceil(margin);
    return queryBox(b.xmin - m, b.ymin - m, b.xmax + m, b.ymax + m);
}

MEASURE::measure_point mp(const Vec& v) { return {v.x, v.y}; }

check_result newResult(const char* check, severity level, double value, double limit) {
    check_result r;
    r.check = check;
    r.level = level;
    r.value = value;
    r.limit = limit;
    return r;
}

void addFeature(check_result& r, const std::string& layer, uint32_t index) {
    if (std::find(r.layers.begin(), r.layers.end(), layer) == r.layers.end()) r.layers.push_back(layer);
    r.features.push_back({layer, static_cast<int>(index)});
}

void setPoint(check_result& r, const Vec& p) {
    r.location.kind = location_kind::POINT;
    r.location.a = r.location.b = mp(p);
}

void checkLimit(double v, const char* name) {
    if (!std::isfinite(v) || !(v > 0))
        fail(std::string(name) + " must be finite and positive, not " + std::to_string(v));
}

// ---- duplicate holes --------------------------------------------------------------------

// The holes of one drill layer to delete (increasing), and what was found.
std::vector<uint32_t> duplicateHoles(const Layer& l, std::vector<check_result>& out) {
    const std::vector<Feature>& fs = l.data.features;
    std::vector<char> dropped(fs.size(), 0);
    std::vector<uint32_t> ids, drop;
    for (uint32_t i = 0; i < fs.size(); ++i) {
        if (!positivePad(fs[i]) || dropped[i]) continue;
        ids.clear();
        l.data.index.query(fs, grownBox(l, fs[i], 0), ids);
        std::sort(ids.begin(), ids.end());
        Core mine;
        bool built = false;
        for (uint32_t j : ids) {
            if (j <= i || !positivePad(fs[j]) || dropped[j]) continue;
            const double size = holeSize(l.def, fs[i]);
            if (fs[i].x1 == fs[j].x1 && fs[i].y1 == fs[j].y1 && size == holeSize(l.def, fs[j])) {
                dropped[j] = 1;
                drop.push_back(j);
                check_result r = newResult("duplicate_hole_removed", severity::ERROR, size, 0);
                addFeature(r, l.name, i);
                addFeature(r, l.name, j);
                setPoint(r, {double(fs[i].x1), double(fs[i].y1)});
                out.push_back(std::move(r));
                continue;
            }
            if (!built) featureCore(l.ctx(), fs[i], mine);
            built = true;
            Core theirs;
            featureCore(l.ctx(), fs[j], theirs);
            const Closest c = shapeDistance(mine, theirs);
            if (c.distance > 0) continue;
            check_result r = newResult("overlapping_holes", severity::ERROR, 0, 0);
            addFeature(r, l.name, i);
            addFeature(r, l.name, j);
            r.location.kind = location_kind::POINTS;
            r.location.a = mp(c.a);
            r.location.b = mp(c.b);
            out.push_back(std::move(r));
        }
    }
    std::sort(drop.begin(), drop.end());
    return drop;
}

// ---- annular rings ------------------------------------------------------------------

// A round or square pad as it is or as it would be enlarged.
struct PadGeom {
    SymbolShape shape = SymbolShape::Round;
    Vec centre;
    double size = 0;  // diameter or side
    int angle = 0;
};

Core padCore(const PadGeom& p) {
    Core c;
    if (p.shape == SymbolShape::Round) {
        c.curves.push_back(segmentCurve(p.centre, p.centre));
        c.probes.push_back(p.centre);
        c.radius = p.size / 2;
        return c;
    }
    PadShape s;
    s.shape = p.shape;
    s.cx = p.centre.x;
    s.cy = p.centre.y;
    s.w = s.h = p.size;
    s.angle = p.angle;
    Vec corners[4];
    rectCorners(s, corners);
    addRing(c, std::vector<Vec>(corners, corners + 4));
    return c;
}

// How far `v` (inside the pad) is from the pad's centre, measured the way
// the pad's outline runs: the length for a round pad, the larger of the
// offsets along the sides for a square one.
double reach(const PadGeom& p, const Vec& v) {
    const double dx = v.x - p.centre.x, dy = v.y - p.centre.y;
    if (p.shape == SymbolShape::Round) return std::hypot(dx, dy);
    const double a = -p.angle * kPi / 180.0;
    const double u = dx * std::cos(a) - dy * std::sin(a), w = dx * std::sin(a) + dy * std::cos(a);
    return std::max(std::fabs(u), std::fabs(w));
}

struct PadChoice {
    long pad = -1;     // the pad giving the widest ring, -1 for none
    double ring = 0;
    bool enlargeable = false;
};

// The pads of one copper layer being worked on: their enlarged shapes so
// far (by feature id) and the new symbol names.
struct CopperWork {
    Layer layer;
    std::map<uint32_t, PadGeom> enlarged;

    bool geomOf(uint32_t id, PadGeom& out) const {
        const auto it = enlarged.find(id);
        if (it != enlarged.end()) {
            out = it->second;
            return true;
        }
        const Feature& f = layer.data.features[id];
        const PadShape p = padShape(layer.def.symbols[f.ref], f);
        if (p.shape != SymbolShape::Round && p.shape != SymbolShape::Square) return false;
        out = {p.shape, {p.cx, p.cy}, p.w, p.angle};
        return true;
    }

    void coreOf(uint32_t id, Core& out) const {
        const auto it = enlarged.find(id);
        if (it != enlarged.end())
            out = padCore(it->second);
        else
            featureCore(layer.ctx(), layer.data.features[id], out);
    }

    // Among the positive pads whose outline holds the centre, the one that
    // gives the widest ring (as CHECKS::annular_ring).
    PadChoice bestPad(const Vec& centre, double radius) const {
        PadChoice best;
        std::vector<uint32_t> ids;
        layer.data.index.query(layer.data.features, queryBox(centre.x, centre.y, centre.x, centre.y), ids);
        std::sort(ids.begin(), ids.end());
        Core point;
        point.curves.push_back(segmentCurve(centre, centre));
        point.probes.push_back(centre);
        std::vector<Curve> curves;
        for (uint32_t id : ids) {
            if (!positivePad(layer.data.features[id])) continue;
            Core core;
            coreOf(id, core);
            if (shapeDistance(core, point).distance > 0) continue;
            PadGeom g;
            const bool simple = geomOf(id, g);
            double edge;
            if (simple) {
                edge = g.size / 2 - reach(g, centre);
            } else {
                curves.clear();
                featureOutline(layer.ctx(), layer.data.features[id], curves);
                edge = -1;
                for (const Curve& c : curves) {
                    const double d = closestPoint(c, centre).distance;
                    if (edge < 0 || d < edge) edge = d;
                }
                if (edge < 0) continue;
            }
            const double ring = std::max(0.0, edge - radius);
            if (best.pad < 0 || ring > best.ring) best = {static_cast<long>(id), ring, simple};
        }
        return best;
    }
};

// The symbol name for a pad of at least `size` nm, rounded up to the next
// tenth of a micrometre (a size on the grid, up to rounding noise, stays).
std::string symbolName(SymbolShape shape, double size, double& rounded) {
    const long long tenths = static_cast<long long>(std::ceil(size / 100 - 1e-9));
    rounded = tenths * 100.0;
    std::string n = std::to_string(tenths / 10);
    if (tenths % 10) n += "." + std::to_string(tenths % 10);
    return (shape == SymbolShape::Round ? "r" : "s") + n;
}

struct Blocker {
    long feature = -1;
    Closest where;
};

// The distance from a pad to the outline of a negative feature around it
// (a clearance cut into a pour): the copper beyond that outline is as near.
// False when the feature does not hold the pad's centre.
bool cutAround(const Layer& l, const Feature& cut, const Vec& centre, const Core& pad, Closest& out) {
    Core area;
    featureCore(l.ctx(), cut, area);
    Core point;
    point.curves.push_back(segmentCurve(centre, centre));
    point.probes.push_back(centre);
    if (shapeDistance(area, point).distance > 0) return false;
    Core rim;
    featureOutline(l.ctx(), cut, rim.curves);
    for (const Curve& c : rim.curves) rim.probes.push_back(c.a);
    out = shapeDistance(pad, rim);
    return true;
}

// The nearest feature closer than `gap` to the enlarged pad that is not of
// the pad's net and does not touch the pad as it is, or a negative feature
// around the pad whose outline is closer than `gap`.
Blocker blocker(const Job& job, const CopperWork& w, uint32_t pad, const Core& now, const Core& grown,
                const PadGeom& g, double gap) {
    const Layer& l = w.layer;
    const std::vector<Feature>& fs = l.data.features;
    const std::string& net = attrOf(job, fs[pad], ".net");
    const double half = g.size * std::sqrt(0.5) + gap + 1;
    std::vector<uint32_t> ids;
    l.data.index.query(fs, queryBox(g.centre.x - half, g.centre.y - half, g.centre.x + half, g.centre.y + half), ids);
    std::sort(ids.begin(), ids.end());
    Blocker b;
    Core other;
    for (uint32_t id : ids) {
        if (id == pad) continue;
        Closest c;
        if (!fs[id].positive()) {
            if (!cutAround(l, fs[id], g.centre, grown, c)) continue;
        } else {
            if (!net.empty() && attrOf(job, fs[id], ".net") == net) continue;
            w.coreOf(id, other);
            if (shapeDistance(now, other).distance == 0) continue;  // connected already
            c = shapeDistance(grown, other);
        }
        if (c.distance >= gap) continue;
        if (b.feature < 0 || c.distance < b.where.distance) b = {static_cast<long>(id), c};
    }
    return b;
}

struct Enlargement {
    size_t layer;
    uint32_t pad;
    std::string symbol;
};

}  // namespace
}  // namespace KERNEL

namespace REPAIR {

using namespace KERNEL;
using namespace KERNEL::MEASURE_GEOM;

std::vector<CHECKS::check_result> remove_duplicate_holes(const str& job, const str& step,
                                                         const str_list& drill_layers) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    for (const std::string& name : drill_layers) findLayerIndex(j, name);
    std::vector<CHECKS::check_result> out;
    std::vector<std::pair<size_t, std::vector<uint32_t>>> drops;
    for (const std::string& name : drill_layers) {
        const Layer l = layerOf(j, s, name);
        if (std::any_of(drops.begin(), drops.end(), [&](const auto& d) { return d.first == l.index; })) continue;
        drops.emplace_back(l.index, duplicateHoles(l, out));
    }
    if (std::all_of(drops.begin(), drops.end(), [](const auto& d) { return d.second.empty(); })) return out;
    UndoRecord u = beginEdit(j, UndoRecord::Removed);
    for (const auto& d : drops)
        if (!d.second.empty()) u.removed.push_back(removeLayerFeatures(j, s, d.first, d.second));
    commitEdit(j, std::move(u));
    return out;
}

std::vector<CHECKS::check_result> enlarge_pads_for_ring(const str& job, const str& step, const str& drill_layer,
                                                        const str_list& copper_layers, double min_ring_nm,
                                                        double min_clearance_nm) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const size_t drillIndex = findLayerIndex(j, drill_layer);
    for (const std::string& name : copper_layers)
        if (findLayerIndex(j, name) == drillIndex) fail("the drill layer '" + drill_layer + "' is also a copper layer");
    checkLimit(min_ring_nm, "minimum ring");
    checkLimit(min_clearance_nm, "minimum clearance");

    std::vector<CHECKS::check_result> out;
    std::vector<Enlargement> changes;
    const Layer drill = layerOf(j, s, drill_layer);
    const std::vector<Feature>& holes = drill.data.features;
    for (const std::string& name : copper_layers) {
        CopperWork w{layerOf(j, s, name), {}};
        for (uint32_t h = 0; h < holes.size(); ++h) {
            if (!positivePad(holes[h]) || attrOf(j, holes[h], ".drill") == "non_plated") continue;
            const Vec centre{double(holes[h].x1), double(holes[h].y1)};
            const double radius = holeSize(drill.def, holes[h]) / 2;
            const PadChoice pad = w.bestPad(centre, radius);
            if (pad.pad >= 0 && pad.ring >= min_ring_nm) continue;
            CHECKS::check_result r = newResult("ring_not_repaired", CHECKS::severity::ERROR, pad.ring, min_ring_nm);
            addFeature(r, drill_layer, h);
            setPoint(r, centre);
            if (pad.pad < 0) {
                r.layers.push_back(name);
                out.push_back(std::move(r));
                continue;
            }
            const uint32_t id = static_cast<uint32_t>(pad.pad);
            addFeature(r, name, id);
            PadGeom g;
            if (!pad.enlargeable || !w.geomOf(id, g)) {
                out.push_back(std::move(r));
                continue;
            }
            double size = 0;
            const std::string symbol = symbolName(g.shape, 2 * (radius + min_ring_nm + reach(g, centre)), size);
            if (size > kMaxSymbolSize) {
                out.push_back(std::move(r));
                continue;
            }
            PadGeom grown = g;
            grown.size = size;
            Core now, bigger = padCore(grown);
            w.coreOf(id, now);
            const Blocker b = blocker(j, w, id, now, bigger, grown, min_clearance_nm);
            if (b.feature >= 0) {
                r.value = b.where.distance;
                r.limit = min_clearance_nm;
                addFeature(r, name, static_cast<uint32_t>(b.feature));
                r.location.kind = CHECKS::location_kind::POINTS;
                r.location.a = mp(b.where.a);
                r.location.b = mp(b.where.b);
                out.push_back(std::move(r));
                continue;
            }
            r.check = "ring_repaired";
            r.level = CHECKS::severity::WARNING;
            out.push_back(std::move(r));
            w.enlarged[id] = grown;
            changes.push_back({w.layer.index, id, symbol});
        }
    }
    if (changes.empty()) return out;

    // Nothing can fail from here on but memory; the symbols registered now
    // belong to this edit, and its undo takes them back.
    UndoRecord u = beginEdit(j, UndoRecord::Replaced);
    std::map<size_t, size_t> slot;  // layer -> entry of u.replaced
    for (const Enlargement& e : changes) {
        int index = -1;
        API::create_new_symbol(job, step, j.layers[e.layer].row.name, e.symbol, index);
        if (!slot.count(e.layer)) {
            slot[e.layer] = u.replaced.size();
            u.replaced.push_back({s, e.layer, {}, {}});
        }
        RemovedFeatures& before = u.replaced[slot[e.layer]];
        LayerData& d = j.steps[s].layers[e.layer];
        Feature& f = d.features[e.pad];
        const auto seen = std::find(before.ids.begin(), before.ids.end(), e.pad);
        if (seen == before.ids.end()) {  // the first change of the pad keeps its record
            before.ids.push_back(e.pad);
            before.records.push_back(f);
        }
        f.ref = static_cast<uint32_t>(index);
        f.setScale(1.0f);
        d.index.markChanged(d.features, e.pad);
    }
    commitEdit(j, std::move(u));
    return out;
}

}  // namespace REPAIR
}  // namespace TOLVA
