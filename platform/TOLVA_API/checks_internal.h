#pragma once
// What the design-rule checks share: limits, result building, the layers of
// a step with their indices, lazily built cores and the candidate pairs.
//
// The per-layer bodies below take no lock and never refresh an index: the
// public entry points take the kernel lock, check names and limits, and
// bring every index they need up to date first (Scope::layer), so that
// run_checks can hand the bodies to worker threads that only read.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "TOLVA_Checks.h"
#include "hit.h"
#include "kernel.h"
#include "measure_geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace CHECKS_IMPL {

using namespace MEASURE_GEOM;
using CHECKS::check_params;
using CHECKS::check_result;
using CHECKS::check_stats;
using CHECKS::location_kind;
using CHECKS::severity;

void checkLimit(double v, const char* name);
void checkParams(const check_params& p);
// Sets the severity and limit of a value that breaks a limit; false when it
// breaks none (a value equal to a limit breaks nothing).
bool classify(double value, const check_params& p, check_result& r);

// One layer of the step.
struct LayerRef {
    const std::string& name;
    const LayerDef& def;
    LayerData& data;
    LayerContext ctx() const { return {def, data}; }
};

struct Scope {
    Job& job;
    Step& step;
    // The layer with its index brought up to date (the calling thread only).
    LayerRef layer(const std::string& name) const;
    // The layer as it is, for workers once `layer` has been called on it.
    LayerRef peek(const std::string& name) const;
};
Scope scope(const std::string& job, const std::string& step);
// Every layer name is looked up before any work, so a bad name throws with
// nothing done.
void checkLayers(const Scope& s, const API::str_list& layers);

inline MEASURE::measure_point mp(const Vec& v) { return {v.x, v.y}; }
void setPoints(check_result& r, const Closest& c);
void setPoint(check_result& r, const Vec& p);
void setBox(check_result& r, const LayerRef& l, const Feature& f);
check_result newResult(const char* check, const std::string& layer, uint32_t index);
// The same naming on a result already classified: most pairs and features
// break no limit, and they should cost no strings.
void nameResult(check_result& r, const char* check, const std::string& layer, uint32_t index);
void addFeature(check_result& r, const std::string& layer, uint32_t index);
// A value-free result (value 0, an error at the error limit).
void setBroken(check_result& r, const check_params& p);

// The ".net" of each attribute set of the job as a small number (0: none),
// worked out once per check so that pairs compare integers.
class NetIds {
public:
    explicit NetIds(const Job& job);
    uint32_t operator()(const Feature& f) const { return f.attrs < m_ids.size() ? m_ids[f.attrs] : 0; }
    const std::string& name(uint32_t id) const { return m_names[id]; }

private:
    std::vector<uint32_t> m_ids;
    std::vector<std::string> m_names;
};

// Cores built on first use: a pairwise check meets most features several
// times. Only the features met get a core (a slot of 4 bytes each for the
// rest), so that a run over a part of a large layer stays cheap; the cores
// stay where they are as more are built.
class CoreCache {
public:
    explicit CoreCache(const LayerRef& l) : m_layer(l), m_slot(l.data.features.size(), kNone) {}
    const Core& operator[](uint32_t id) {
        uint32_t& slot = m_slot[id];
        if (slot == kNone) {
            slot = static_cast<uint32_t>(m_cores.size());
            m_cores.emplace_back();
            featureCore(m_layer.ctx(), m_layer.data.features[id], m_cores.back());
        }
        return m_cores[slot];
    }

private:
    static constexpr uint32_t kNone = UINT32_MAX;
    LayerRef m_layer;
    std::vector<uint32_t> m_slot;
    std::deque<Core> m_cores;
};

// Cores with an index over the curves of the large ones (pours, planes).
// shapeDistance looks at every pair of curves and every edge for
// containment; beside a pour most of them are far away. Below `margin`
// (plus both radii) the distance is the same value, found on the same pair
// of curves, as shapeDistance's; beyond it only "not closer than margin" is
// certain. One per thread.
using CurveBox = boost::geometry::model::box<boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>>;
using CurveTree = boost::geometry::index::rtree<std::pair<CurveBox, uint32_t>, boost::geometry::index::rstar<16>>;
class NearCores {
public:
    explicit NearCores(const LayerRef& l);
    ~NearCores();
    const Core& operator[](uint32_t id) { return m_cores[id]; }
    // Between features i and j of the layer.
    Closest distance(uint32_t i, uint32_t j, double margin);
    // From a small shape of elsewhere (a hole) to feature j of the layer.
    Closest distanceTo(const Core& a, uint32_t j, double margin);

private:
    const CurveTree* tree(uint32_t id, const Core& c);
    Closest between(const Core& a, const CurveTree* ta, const Core& b, const CurveTree* tb, double margin);

    CoreCache m_cores;
    std::unordered_map<uint32_t, std::unique_ptr<CurveTree>> m_trees;  // the large outlines only
    std::vector<uint32_t> m_nearA, m_nearB;
};

// The R-tree box of a feature grown by `margin` on every side.
SpatialIndex::Box grownBox(const LayerRef& l, const Feature& f, double margin);

inline bool positiveFeature(const Feature& f) { return f.positive(); }
inline bool positivePad(const Feature& f) { return f.positive() && f.type == API::FT_PAD; }

// A run may be stopped between features: bodies poll this.
inline bool stopped(const std::atomic<bool>* cancel) {
    return cancel && cancel->load(std::memory_order_relaxed);
}

// Calls visit(i, j) once for every pair i < j of accepted features of the
// layer whose boxes come within `margin` of each other, for i in
// [begin, end); counts the features and pairs seen into `stats`.
template <class Accept, class Visit>
void closePairs(const LayerRef& l, double margin, Accept&& accept, size_t begin, size_t end,
                check_stats& stats, const std::atomic<bool>* cancel, Visit&& visit) {
    std::vector<uint32_t> ids;
    const std::vector<Feature>& fs = l.data.features;
    end = std::min(end, fs.size());
    for (uint32_t i = static_cast<uint32_t>(begin); i < end; ++i) {
        if (!accept(fs[i])) continue;
        if ((i & 1023) == 0 && stopped(cancel)) return;
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
}

// The smaller side of a pad after its scale (a round or donut pad: the outer
// diameter).
double padSize(const LayerDef& def, const Feature& f);
double strokeWidth(const LayerDef& def, const Feature& f);

// Whether the filled outline of `inner` lies wholly inside that of `outer`
// (their outlines apart, and a point of the inner one inside the outer).
bool wholeInside(const LayerContext& ic, const Feature& inner, const LayerContext& oc, const Feature& outer);
// A core of one point, for containment tests.
Core pointCore(const Vec& p);

// ---- the bodies of the checks: no lock, indices already fresh ----------------
struct Range {
    size_t begin = 0;
    size_t end = static_cast<size_t>(-1);
};

void spacingBody(const Scope& s, const NetIds& nets, const LayerRef& l, const check_params& p, Range r,
                 std::vector<check_result>& out, check_stats& stats, const std::atomic<bool>* cancel);
void lineWidthBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out);
void padSizeBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out);
void minDrillBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out);
void holeSpacingBody(const LayerRef& l, const check_params& p, Range r, std::vector<check_result>& out,
                     const std::atomic<bool>* cancel);
void annularRingBody(const LayerRef& drill, const LayerRef& copper, const check_params& p,
                     std::vector<check_result>& out, const std::atomic<bool>* cancel);
void drillToCopperBody(const LayerRef& drill, const LayerRef& copper, const check_params& p,
                       std::vector<check_result>& out, const std::atomic<bool>* cancel);
// Throws when the step has no profile.
void profileBody(const Scope& s, const LayerRef& l, const check_params& p, std::vector<check_result>& out,
                 const std::atomic<bool>* cancel);
void sliverBody(const LayerRef& l, const check_params& p, std::vector<check_result>& out,
                const std::atomic<bool>* cancel);
// The copper pads that belong to vias. A via is covered by the mask (tented)
// unless the design opens it, so a via pad without an opening is no fault.
// A pad is a via's when its aperture function says so (".aper_function"
// "ViaPad", as fabrication data carries it) or when a via hole of a drill
// layer of the step (".drill" "via") has its centre on the pad's centre.
class ViaPads {
public:
    explicit ViaPads(const Scope& s);
    bool operator()(const Feature& pad) const;

private:
    std::vector<bool> m_viaSets;  // by attribute set
    std::vector<uint64_t> m_centres;  // sorted
};

void maskBody(const LayerRef& copper, const LayerRef& mask, const ViaPads& vias, const check_params& p,
              std::vector<check_result>& out, const std::atomic<bool>* cancel);
void silkBody(const LayerRef& silk, const LayerRef& mask, const LayerRef& copper, const check_params& p,
              std::vector<check_result>& out, const std::atomic<bool>* cancel);
CHECKS::net_analysis netsBody(const Scope& s, const API::str_list& copper, const API::str_list& drills,
                              const std::atomic<bool>* cancel);

// The nets in pieces: the contacts found from each layer's features (by
// different threads, each layer once), then put together in layer order.
class NetRun {
public:
    NetRun(const Scope& s, API::str_list copper, API::str_list drills);
    size_t layers() const { return m_edges.size(); }  // the layers, each once
    size_t features(size_t layer) const;
    void contacts(size_t layer, const std::atomic<bool>* cancel);
    CHECKS::net_analysis finish(const std::atomic<bool>* cancel);

private:
    Scope m_s;
    API::str_list m_copper, m_drills;
    std::vector<std::vector<std::pair<uint32_t, uint32_t>>> m_edges;
};

// Whether a layer's matrix row is board copper a drill goes through.
bool crossedByDrills(const LayerDef& def);

}  // namespace CHECKS_IMPL
}  // namespace KERNEL
}  // namespace TOLVA
