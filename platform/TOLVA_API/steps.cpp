// Step-and-repeat tables: their edits (one undo step each), their instances,
// and the step flattened for counting, hitting and copying.
#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <tuple>
#include <set>

#include "TOLVA_Job.h"
#include "TOLVA_Step.h"
#include "edit_tools_internal.h"
#include "hit.h"
#include "steps_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace SR {
namespace {

using STEP::sr_instance;
using STEP::sr_ref;
using STEP::sr_row;

// Rows may not place more instances than this (a typo of a count, not a panel).
constexpr long long kMaxRowInstances = 1000000;

std::string rowText(size_t i) { return "step-and-repeat row " + std::to_string(i); }

void checkRow(const Job& job, size_t step, const sr_row& r, const std::string& what) {
    for (double v : {r.x, r.y, r.dx, r.dy, r.angle}) checkFinite(v, what.c_str());
    if (r.nx < 1 || r.ny < 1)
        fail(what + ": the counts must be at least 1 (" + std::to_string(r.nx) + " x " + std::to_string(r.ny) + ")");
    if (static_cast<long long>(r.nx) * r.ny > kMaxRowInstances)
        fail(what + ": " + std::to_string(r.nx) + " x " + std::to_string(r.ny) + " instances are too many for one row");
    long child = -1;
    for (size_t i = 0; i < job.steps.size(); ++i)
        if (job.steps[i].name == r.child) child = static_cast<long>(i);
    if (child < 0) fail(what + ": step '" + r.child + "' does not exist in job '" + job.name + "'");
    if (static_cast<size_t>(child) == step)
        fail(what + ": step '" + r.child + "' cannot place itself");
    if (places(job, static_cast<size_t>(child), step))
        fail(what + ": step '" + r.child + "' places step '" + job.steps[step].name +
             "' already, so it cannot be placed in it");
    const Vec last = instanceOrigin(r, r.nx - 1, r.ny - 1);
    for (double v : {r.x, r.y, last.x, last.y})
        if (std::fabs(v) > kMaxCoordinate) fail(what + ": an instance lies outside the board's range");
}

// Makes the table change as one undo step.
void commitTable(Job& job, size_t step, std::vector<sr_row> table) {
    UndoRecord u = beginEdit(job, UndoRecord::Composite);
    u.tableChanged = true;
    u.tableStep = step;
    u.oldTable = job.steps[step].srTable;
    job.steps[step].srTable = std::move(table);
    commitEdit(job, std::move(u));
}

struct Where {
    Job& job;
    size_t step;
};
Where locate(const std::string& job, const std::string& step) {
    Job& j = findJob(job);
    return {j, findStepIndex(j, step)};
}

API::reply_box boxOf(const std::vector<Vec>& outline, const Placement& p) {
    if (outline.empty()) {
        const int32_t x = toCoordinate(std::round(p.ox), "origin"), y = toCoordinate(std::round(p.oy), "origin");
        return {x, y, x, y};
    }
    double xmin = std::numeric_limits<double>::max(), ymin = xmin, xmax = -xmin, ymax = -xmin;
    for (const Vec& v : outline) {
        const Vec q = p.apply(v);
        xmin = std::min(xmin, q.x);
        ymin = std::min(ymin, q.y);
        xmax = std::max(xmax, q.x);
        ymax = std::max(ymax, q.y);
    }
    const IBox b = clampBox(std::floor(xmin), std::floor(ymin), std::ceil(xmax), std::ceil(ymax));
    return {b.xmin, b.ymin, b.xmax, b.ymax};
}

std::vector<sr_instance> instancesOf(const Job& job, size_t step) {
    std::vector<sr_instance> out;
    const std::vector<sr_row>& table = job.steps[step].srTable;
    for (size_t ri = 0; ri < table.size(); ++ri) {
        const sr_row& r = table[ri];
        const std::vector<Vec> outline = stepOutline(job, childIndex(job, r));
        for (int iy = 0; iy < r.ny; ++iy)
            for (int ix = 0; ix < r.nx; ++ix) {
                sr_instance in;
                in.row = static_cast<int>(ri);
                in.ix = ix;
                in.iy = iy;
                in.child = r.child;
                const Vec o = instanceOrigin(r, ix, iy);
                in.x = o.x;
                in.y = o.y;
                in.angle = r.angle;
                in.mirror = r.mirror;
                in.box = boxOf(outline, placementOf(r, ix, iy));
                out.push_back(std::move(in));
            }
    }
    return out;
}

// The instances named, checked, as (row, ix, iy) triples.
std::set<std::tuple<int, int, int>> refSet(const std::vector<sr_row>& table, const std::vector<sr_ref>& refs) {
    std::set<std::tuple<int, int, int>> out;
    for (const sr_ref& r : refs) {
        if (r.row < 0 || static_cast<size_t>(r.row) >= table.size())
            fail("there is no step-and-repeat row " + std::to_string(r.row));
        const sr_row& row = table[static_cast<size_t>(r.row)];
        if (r.ix < 0 || r.ix >= row.nx || r.iy < 0 || r.iy >= row.ny)
            fail(rowText(static_cast<size_t>(r.row)) + " has no instance (" + std::to_string(r.ix) + ", " +
                 std::to_string(r.iy) + ")");
        out.insert({r.row, r.ix, r.iy});
    }
    if (out.empty()) fail("no instance given");
    return out;
}

sr_row single(const sr_row& r, int ix, int iy) {
    sr_row one = r;
    const Vec o = instanceOrigin(r, ix, iy);
    one.x = o.x;
    one.y = o.y;
    one.nx = one.ny = 1;
    one.dx = one.dy = 0;
    return one;
}

// The table with the named instances taken out of their rows: what stays of
// each row keeps its place (as runs along x), and each instance taken is
// handed to `taken` (which may append rows of its own to the new table).
template <class Taken>
std::vector<sr_row> splitOut(const std::vector<sr_row>& table, const std::set<std::tuple<int, int, int>>& refs,
                             Taken&& taken) {
    std::vector<sr_row> out;
    std::vector<sr_row> extracted;
    for (size_t ri = 0; ri < table.size(); ++ri) {
        const sr_row& r = table[ri];
        const int row = static_cast<int>(ri);
        const bool touched = refs.lower_bound({row, 0, 0}) != refs.lower_bound({row + 1, 0, 0});
        if (!touched) {
            out.push_back(r);
            continue;
        }
        for (int iy = 0; iy < r.ny; ++iy) {
            int ix = 0;
            while (ix < r.nx) {
                if (refs.count({row, ix, iy})) {
                    taken(single(r, ix, iy), extracted);
                    ++ix;
                    continue;
                }
                int end = ix;
                while (end < r.nx && !refs.count({row, end, iy})) ++end;
                sr_row run = single(r, ix, iy);
                run.nx = end - ix;
                run.dx = r.dx;
                out.push_back(run);
                ix = end;
            }
        }
    }
    out.insert(out.end(), extracted.begin(), extracted.end());
    return out;
}

Vec boxCentre(const Job& job, const sr_row& one) {
    const API::reply_box b = boxOf(stepOutline(job, childIndex(job, one)), placementOf(one, 0, 0));
    return {(double(b.xmin) + b.xmax) / 2, (double(b.ymin) + b.ymax) / 2};
}

void checkAll(const Job& job, size_t step, const std::vector<sr_row>& table) {
    for (size_t i = 0; i < table.size(); ++i) checkRow(job, step, table[i], rowText(i));
}

}  // namespace
}  // namespace SR
}  // namespace KERNEL

namespace STEP {

using namespace KERNEL;
using namespace KERNEL::SR;

std::vector<sr_row> get_sr_table(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    return findStep(j, step).srTable;
}

void set_sr_table(const str& job, const str& step, const std::vector<sr_row>& rows) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    checkAll(w.job, w.step, rows);
    commitTable(w.job, w.step, rows);
}

int add_sr_row(const str& job, const str& step, const sr_row& row) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    checkRow(w.job, w.step, row, "the new step-and-repeat row");
    std::vector<sr_row> table = w.job.steps[w.step].srTable;
    table.push_back(row);
    const int position = static_cast<int>(table.size() - 1);
    commitTable(w.job, w.step, std::move(table));
    return position;
}

void remove_sr_row(const str& job, const str& step, int row) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    std::vector<sr_row> table = w.job.steps[w.step].srTable;
    if (row < 0 || static_cast<size_t>(row) >= table.size())
        fail("step '" + step + "' has no step-and-repeat row " + std::to_string(row));
    table.erase(table.begin() + row);
    commitTable(w.job, w.step, std::move(table));
}

std::vector<sr_instance> list_instances(const str& job, const str& step) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    return instancesOf(w.job, w.step);
}

std::vector<sr_instance> instances_in_box(const str& job, const str& step, double xmin, double ymin, double xmax,
                                          double ymax, bool inside_only) {
    KERNEL_LOCK;
    for (double v : {xmin, ymin, xmax, ymax}) checkFinite(v, "box");
    if (xmin > xmax) std::swap(xmin, xmax);
    if (ymin > ymax) std::swap(ymin, ymax);
    Where w = locate(job, step);
    std::vector<sr_instance> out;
    for (sr_instance& in : instancesOf(w.job, w.step)) {
        const API::reply_box& b = in.box;
        const bool meets = b.xmax >= xmin && b.xmin <= xmax && b.ymax >= ymin && b.ymin <= ymax;
        const bool inside = b.xmin >= xmin && b.xmax <= xmax && b.ymin >= ymin && b.ymax <= ymax;
        if (inside_only ? inside : meets) out.push_back(std::move(in));
    }
    return out;
}

sr_instance instance_at(const str& job, const str& step, double x, double y, bool& found) {
    KERNEL_LOCK;
    checkFinite(x, "x");
    checkFinite(y, "y");
    Where w = locate(job, step);
    found = false;
    sr_instance hit;
    for (sr_instance& in : instancesOf(w.job, w.step))
        if (x >= in.box.xmin && x <= in.box.xmax && y >= in.box.ymin && y <= in.box.ymax) {
            hit = std::move(in);
            found = true;
        }
    return hit;
}

namespace {
// The greatest common divisor of the moves between instances placed alike
// (whole nanometres), 0 when there is none or a move is not whole.
long long instanceSpacing(const std::vector<sr_instance>& instances) {
    std::map<std::tuple<str, double, bool>, const sr_instance*> first;
    long long g = 0;
    for (const sr_instance& in : instances) {
        const auto placed = first.emplace(std::make_tuple(in.child, in.angle, in.mirror), &in);
        if (placed.second) continue;
        const sr_instance& a = *placed.first->second;
        for (double d : {in.x - a.x, in.y - a.y}) {
            if (d != std::nearbyint(d) || std::fabs(d) > 1e15) return 0;
            g = std::gcd(g, std::llabs(static_cast<long long>(d)));
        }
    }
    return g;
}
}  // namespace

double whole_pixel_scale(const str& job, const str& step, double nm_per_pixel, double most) {
    KERNEL_LOCK;
    checkFinite(nm_per_pixel, "pixel size");
    checkFinite(most, "zoom-out limit");
    if (!(nm_per_pixel > 0)) fail("pixel size must be above 0");
    if (most < 1) fail("zoom-out limit must be at least 1");
    Where w = locate(job, step);
    const long long g = instanceSpacing(instancesOf(w.job, w.step));
    const double least = std::ceil(nm_per_pixel), limit = std::floor(nm_per_pixel * most);
    long long best = 0;
    // The divisors of g come in pairs about its square root.
    for (long long i = 1; g > 0 && i <= g / i; ++i) {
        if (g % i != 0) continue;
        for (long long d : {i, g / i})
            if (d >= least && d <= limit && (best == 0 || d < best)) best = d;
    }
    return static_cast<double>(best);
}

std::vector<std::vector<API::lPoint>> instance_outlines(const str& job, const str& step) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    std::vector<std::vector<API::lPoint>> out;
    for (const sr_row& r : w.job.steps[w.step].srTable) {
        const std::vector<Vec> outline = stepOutline(w.job, childIndex(w.job, r));
        for (int iy = 0; iy < r.ny; ++iy)
            for (int ix = 0; ix < r.nx; ++ix) {
                const Placement p = placementOf(r, ix, iy);
                std::vector<API::lPoint> placed;
                for (const Vec& v : outline) {
                    const Vec q = p.apply(v);
                    placed.push_back({q.x, q.y});
                }
                out.push_back(std::move(placed));
            }
    }
    return out;
}

void move_instances(const str& job, const str& step, const std::vector<sr_ref>& refs, double dx, double dy) {
    KERNEL_LOCK;
    checkFinite(dx, "dx");
    checkFinite(dy, "dy");
    Where w = locate(job, step);
    const std::vector<sr_row>& table = w.job.steps[w.step].srTable;
    std::vector<sr_row> next = splitOut(table, refSet(table, refs), [&](sr_row one, std::vector<sr_row>& out) {
        one.x += dx;
        one.y += dy;
        out.push_back(one);
    });
    checkAll(w.job, w.step, next);
    commitTable(w.job, w.step, std::move(next));
}

void copy_instances(const str& job, const str& step, const std::vector<sr_ref>& refs, double dx, double dy) {
    KERNEL_LOCK;
    checkFinite(dx, "dx");
    checkFinite(dy, "dy");
    Where w = locate(job, step);
    std::vector<sr_row> next = w.job.steps[w.step].srTable;
    for (const auto& ref : refSet(next, refs)) {
        sr_row one = single(next[static_cast<size_t>(std::get<0>(ref))], std::get<1>(ref), std::get<2>(ref));
        one.x += dx;
        one.y += dy;
        next.push_back(one);
    }
    checkAll(w.job, w.step, next);
    commitTable(w.job, w.step, std::move(next));
}

void rotate_instances(const str& job, const str& step, const std::vector<sr_ref>& refs, double angle) {
    KERNEL_LOCK;
    checkFinite(angle, "angle");
    Where w = locate(job, step);
    const std::vector<sr_row>& table = w.job.steps[w.step].srTable;
    const Placement turn = Placement::of(angle, false, 0, 0);
    std::vector<sr_row> next = splitOut(table, refSet(table, refs), [&](sr_row one, std::vector<sr_row>& out) {
        // Turned about the middle of its box, so that it stays where it was.
        const Vec c = boxCentre(w.job, one);
        const Vec o = turn.apply({one.x - c.x, one.y - c.y});
        one.x = std::round(c.x + o.x);
        one.y = std::round(c.y + o.y);
        one.angle = std::fmod(one.angle + angle, 360.0);
        if (one.angle < 0) one.angle += 360;
        out.push_back(one);
    });
    checkAll(w.job, w.step, next);
    commitTable(w.job, w.step, std::move(next));
}

void delete_instances(const str& job, const str& step, const std::vector<sr_ref>& refs) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    const std::vector<sr_row>& table = w.job.steps[w.step].srTable;
    std::vector<sr_row> next = splitOut(table, refSet(table, refs), [](const sr_row&, std::vector<sr_row>&) {});
    commitTable(w.job, w.step, std::move(next));
}

long long flattened_feature_count(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    return flattenedCount(w.job, w.step, findLayerIndex(w.job, layer));
}

namespace {

// The topmost feature of the step's layer (drawn last) under the square of
// half side `tol` around p, given in the step's coordinates, the square's
// corners being `corners` there.
bool hitIn(Job& job, size_t step, size_t layer, const std::vector<Vec>& corners, instance_hit& out) {
    Step& s = job.steps[step];
    // Instances are drawn over the step's own features, later rows over earlier.
    for (size_t ri = s.srTable.size(); ri-- > 0;) {
        const sr_row& r = s.srTable[ri];
        const size_t child = childIndex(job, r);
        for (int iy = r.ny; iy-- > 0;)
            for (int ix = r.nx; ix-- > 0;) {
                const Placement p = placementOf(r, ix, iy);
                std::vector<Vec> local;
                for (const Vec& c : corners) local.push_back(p.inverse(c));
                if (!hitIn(job, child, layer, local, out)) continue;
                out.path.insert(out.path.begin(), sr_ref{static_cast<int>(ri), ix, iy});
                return true;
            }
    }
    LayerData& d = s.layers[layer];
    if (d.features.empty()) return false;
    std::vector<API::point> poly;
    double xmin = corners[0].x, ymin = corners[0].y, xmax = xmin, ymax = ymin;
    for (const Vec& c : corners) {
        poly.push_back({static_cast<int32_t>(std::lround(c.x)), static_cast<int32_t>(std::lround(c.y))});
        xmin = std::min(xmin, c.x);
        ymin = std::min(ymin, c.y);
        xmax = std::max(xmax, c.x);
        ymax = std::max(ymax, c.y);
    }
    const HitPolygon q(poly);
    ensureIndex(job.layers[layer], d);
    std::vector<uint32_t> ids;
    auto clampInt = [](double v) { return static_cast<int32_t>(std::max(-2147483647.0, std::min(2147483647.0, v))); };
    SpatialIndex::Box box({clampInt(std::floor(xmin)), clampInt(std::floor(ymin))},
                          {clampInt(std::ceil(xmax)), clampInt(std::ceil(ymax))});
    d.index.query(d.features, box, ids);
    std::sort(ids.begin(), ids.end());
    const LayerContext ctx{job.layers[layer], d};
    for (auto it = ids.rbegin(); it != ids.rend(); ++it)
        if (featureMeets(ctx, d.features[*it], q, false)) {
            out.hit = true;
            out.child = s.name;
            out.index = static_cast<int>(*it);
            return true;
        }
    return false;
}

}  // namespace

instance_hit hit_feature(const str& job, const str& step, const str& layer, double x, double y, double tolerance) {
    KERNEL_LOCK;
    for (double v : {x, y, tolerance}) checkFinite(v, "hit");
    Where w = locate(job, step);
    const size_t l = findLayerIndex(w.job, layer);
    const double t = std::max(tolerance, 1.0);
    const std::vector<Vec> corners = {{x - t, y - t}, {x + t, y - t}, {x + t, y + t}, {x - t, y + t}};
    instance_hit out;
    hitIn(w.job, w.step, l, corners, out);
    return out;
}

void flatten_step(const str& job, const str& step, const str& target, const str_list& layers) {
    KERNEL_LOCK;
    Where w = locate(job, step);
    if (target == step) fail("step '" + step + "' cannot be flattened into itself");
    std::vector<size_t> which;
    if (layers.empty())
        for (size_t l = 0; l < w.job.layers.size(); ++l) which.push_back(l);
    for (const str& name : layers) which.push_back(findLayerIndex(w.job, name));
    bool exists = false;
    for (const Step& s : w.job.steps) exists |= s.name == target;
    if (exists && places(w.job, findStepIndex(w.job, target), w.step))
        fail("step '" + target + "' places step '" + step + "': it cannot take its flattened copy");
    if (!exists) JOB::create_step(job, target);
    const size_t t = findStepIndex(w.job, target);
    std::vector<EDITS::LayerEdit> edits;
    for (size_t l : which) {
        EDITS::LayerEdit e;
        e.layer = l;
        const LayerData& old = w.job.steps[t].layers[l];
        for (uint32_t id = 0; id < old.features.size(); ++id) e.remove.push_back(id);
        forEachPlaced(w.job, w.step, l, Placement{}, [&](const ParsedFeature& pf) {
            EDITS::Piece piece;
            piece.p = pf;
            e.append.push_back(std::move(piece));
        });
        edits.push_back(std::move(e));
    }
    EDITS::SymbolBook symbols;
    EDITS::ProfileChange profile;
    profile.set = true;
    profile.outline = w.job.steps[w.step].profile;
    const std::vector<sr_row> oldTable = w.job.steps[t].srTable;
    EDITS::commitEdits(w.job, t, edits, symbols, profile);
    // The same undo step takes the target's table back.
    UndoRecord& u = w.job.undo.back();
    u.tableChanged = true;
    u.tableStep = t;
    u.oldTable = oldTable;
    w.job.steps[t].srTable.clear();
}

}  // namespace STEP
}  // namespace TOLVA
