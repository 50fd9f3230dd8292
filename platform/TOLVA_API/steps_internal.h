#pragma once
// Step and repeat inside the kernel: where an instance puts its child, the
// child's features placed (for drawing, flattening, export and checks), and
// the nesting rules of the tables.
#include <string>
#include <vector>

#include "geometry.h"
#include "kernel.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {
namespace SR {

// Where a child point lands in its parent: mirrored in x (when mirror), then
// turned counter-clockwise about the child's datum and rounded to the
// nanometre, then moved by the whole-nanometre offset (ox, oy). Quarter
// turns are exact. Rounding before the move makes a placed layer the same
// at every offset: an instance drawn from its child turned once and moved
// is exactly the instance flattened.
struct Placement {
    double c = 1, s = 0;
    bool mirror = false;
    double ox = 0, oy = 0;  // whole nanometres
    double angle = 0;       // degrees, kept for pads and texts

    // The offset is rounded to the nanometre.
    static Placement of(double angle, bool mirror, double ox, double oy);
    Vec turn(const Vec& p) const {
        const double x = mirror ? -p.x : p.x;
        return {x * c - p.y * s, x * s + p.y * c};
    }
    Vec apply(const Vec& p) const {
        const Vec t = turn(p);
        return {std::round(t.x) + ox, std::round(t.y) + oy};
    }
    // The child point that lands on p (up to the rounding).
    Vec inverse(const Vec& p) const {
        const double x = p.x - ox, y = p.y - oy;
        const double cx = x * c + y * s, cy = -x * s + y * c;
        return {mirror ? -cx : cx, cy};
    }
    // This placement applied after `inner` (a grandchild placed in this child).
    Placement then(const Placement& inner) const;
    // The same turn and mirror without the offset.
    Placement orientation() const { return of(angle, mirror, 0, 0); }
    bool identity() const { return c == 1 && s == 0 && !mirror && ox == 0 && oy == 0; }
    bool sameOrientation(const Placement& o) const { return c == o.c && s == o.s && mirror == o.mirror; }
};

// The origin of instance (ix, iy) of a row.
inline Vec instanceOrigin(const STEP::sr_row& r, int ix, int iy) { return {r.x + ix * r.dx, r.y + iy * r.dy}; }
inline Placement placementOf(const STEP::sr_row& r, int ix, int iy) {
    const Vec o = instanceOrigin(r, ix, iy);
    return Placement::of(r.angle, r.mirror, o.x, o.y);
}

// Step index of a row's child; throws when it is missing.
size_t childIndex(const Job& job, const STEP::sr_row& r);
// Whether step `from` places step `target`, directly or through nesting.
bool places(const Job& job, size_t from, size_t target);

// The outline a step shows as an instance, in its own coordinates: its
// profile, or the box of what it holds when it has none (empty when it holds
// nothing).
std::vector<Vec> stepOutline(const Job& job, size_t step);

// One feature placed: the record transformed (pads and texts turn with the
// instance; arcs change direction under a mirror), surface vertices relative
// to the first as usual.
ParsedFeature placeFeature(const LayerDef& def, const LayerData& data, const Feature& f, const Placement& p);

// Every feature of layer `layer` of step `step` placed with p, the step's own
// first, then each instance's in table order through every level; calls
// out(parsed feature) for each.
template <class Out>
void forEachPlaced(const Job& job, size_t step, size_t layer, const Placement& p, Out&& out);

// Features of the layer of the step counting every instance.
long long flattenedCount(const Job& job, size_t step, size_t layer);

// A layer of a step with every instance's features appended (its own
// first), for exporters and checks: built on demand and kept until the job
// changes. Returns the step's own LayerData when it has no table.
LayerData& flattenedLayer(Job& job, size_t step, size_t layer);
// The same for a step given by reference (one of job.steps).
inline LayerData& flattenedLayer(Job& job, Step& step, size_t layer) {
    if (step.srTable.empty()) return step.layers[layer];
    return flattenedLayer(job, static_cast<size_t>(&step - job.steps.data()), layer);
}
// The same for the step turned (and mirrored) as `orientation` says, without
// its offset: what an instance shows before it is moved into place. The
// step's own LayerData when upright without a table.
LayerData& orientedLayer(Job& job, size_t step, size_t layer, const Placement& orientation);

// ---- implementation of the template ----------------------------------------------
template <class Out>
void forEachPlaced(const Job& job, size_t step, size_t layer, const Placement& p, Out&& out) {
    const LayerDef& def = job.layers[layer];
    const LayerData& data = job.steps[step].layers[layer];
    for (const Feature& f : data.features) out(placeFeature(def, data, f, p));
    for (const STEP::sr_row& r : job.steps[step].srTable) {
        const size_t child = childIndex(job, r);
        for (int iy = 0; iy < r.ny; ++iy)
            for (int ix = 0; ix < r.nx; ++ix) forEachPlaced(job, child, layer, p.then(placementOf(r, ix, iy)), out);
    }
}

}  // namespace SR
}  // namespace KERNEL
}  // namespace TOLVA
