// Bus edit: a set of roughly parallel traces re-spaced evenly across the bus,
// each keeping its ends on its pads and reaching its new run by 45° jogs.
// Worked out as a plan, so the dialog can show it while the pitch changes.
#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <set>
#include <sstream>

#include "edit_tools_planner.h"
#include "measure_geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {
namespace {

using EDIT::bus_params;
namespace MG = MEASURE_GEOM;

constexpr double kMaxSkewDegrees = 10;
// Jog corners are rounded to the nanometre; a gap short of the clearance by
// less than that rounding is not a violation.
constexpr double kRoundingSlack = 1.0;
constexpr size_t kMaxNamedViolations = 8;

struct Trace {
    std::vector<uint32_t> ids;  // chain order, from `from` to `to`
    Vec from, to;
    uint32_t run = 0;           // the longest line: direction, offset, symbol
    double offset = 0;          // of the run's middle, across the bus
    std::vector<Vec> path;      // the new trace
};

using Key = std::pair<int32_t, int32_t>;
Key keyOf(int32_t x, int32_t y) { return {x, y}; }

double lineLength(const Feature& f) { return length(end(f) - start(f)); }

// Orders the lines of each connected set end to end. Empty with `why` set
// when a set is not one open chain.
std::vector<Trace> chainTraces(const Planner& p, const std::vector<uint32_t>& ids, std::string& why) {
    std::map<Key, std::vector<uint32_t>> at;
    for (uint32_t id : ids) {
        const Feature& f = p.at(id);
        at[keyOf(f.x1, f.y1)].push_back(id);
        at[keyOf(f.x2, f.y2)].push_back(id);
    }
    for (const auto& entry : at)
        if (entry.second.size() > 2) {
            why = "the bus lines branch at " + where({double(entry.first.first), double(entry.first.second)});
            return {};
        }
    std::set<uint32_t> used;
    std::vector<Trace> traces;
    for (const auto& entry : at) {
        if (entry.second.size() != 1 || used.count(entry.second.front())) continue;
        Trace t;
        Key key = entry.first;
        uint32_t id = entry.second.front();
        t.from = {double(key.first), double(key.second)};
        for (;;) {
            used.insert(id);
            t.ids.push_back(id);
            const Feature& f = p.at(id);
            key = keyOf(f.x1, f.y1) == key ? keyOf(f.x2, f.y2) : keyOf(f.x1, f.y1);
            const std::vector<uint32_t>& next = at[key];
            const auto other = std::find_if(next.begin(), next.end(), [&](uint32_t n) { return !used.count(n); });
            if (other == next.end()) break;
            id = *other;
        }
        t.to = {double(key.first), double(key.second)};
        traces.push_back(std::move(t));
    }
    if (used.size() != ids.size()) {
        why = "the bus lines make a closed loop";
        return {};
    }
    return traces;
}

// The bus direction: the mean direction of the traces' runs, pointing to +x
// (or +y for a vertical bus). Empty `why` when every run is within the skew
// allowed of it.
Vec busDirection(const Planner& p, std::vector<Trace>& traces, std::string& why) {
    Vec sum{0, 0}, first{0, 0};
    for (Trace& t : traces) {
        t.run = *std::max_element(t.ids.begin(), t.ids.end(), [&](uint32_t a, uint32_t b) {
            return lineLength(p.at(a)) < lineLength(p.at(b));
        });
        const Feature& run = p.at(t.run);
        Vec d = (end(run) - start(run)) * (1 / lineLength(run));
        if (&t == &traces.front()) first = d;
        if (dot(d, first) < 0) d = d * -1;
        sum = sum + d;
    }
    Vec u = sum * (1 / length(sum));
    if (u.x < -1e-12 || (std::fabs(u.x) <= 1e-12 && u.y < 0)) u = u * -1;
    const double limit = std::cos(kMaxSkewDegrees * M_PI / 180);
    for (size_t i = 0; i < traces.size(); ++i) {
        const Feature& run = p.at(traces[i].run);
        if (std::fabs(dot(end(run) - start(run), u)) / lineLength(run) < limit - 1e-12) {
            why = "line " + std::to_string(traces[i].run) + " is more than 10 degrees off the bus direction";
            return {0, 0};
        }
    }
    return u;
}

std::vector<double> targetOffsets(const std::vector<Trace>& traces, const bus_params& params, std::string& why) {
    const size_t n = traces.size();
    std::vector<double> out(n);
    if (params.mode == 0) {
        if (!(params.pitch > 0)) {
            why = "the bus pitch must be more than 0";
            return {};
        }
        double mean = 0;
        for (const Trace& t : traces) mean += t.offset / n;
        for (size_t i = 0; i < n; ++i) out[i] = mean + (i - (n - 1) / 2.0) * params.pitch;
        return out;
    }
    const double lo = traces.front().offset + params.lower, hi = traces.back().offset + params.upper;
    for (size_t i = 0; i < n; ++i) out[i] = lo + (hi - lo) * i / (n - 1);
    return out;
}

// From each end a 45° jog across to the run at `offset`, then the run.
bool jogPath(Trace& t, const Vec& u, const Vec& v, double offset) {
    const double a = offset - dot(t.from, v), b = offset - dot(t.to, v);
    const Vec p1 = rounded(t.from + u * std::fabs(a) + v * a);
    const Vec p2 = rounded(t.to - u * std::fabs(b) + v * b);
    if (dot(p2 - p1, u) < -kRoundingSlack) return false;
    t.path.clear();
    for (const Vec& q : {t.from, p1, p2, t.to})
        if (t.path.empty() || !same(t.path.back(), q)) t.path.push_back(q);
    return true;
}

Feature lineLike(const Feature& like, const Vec& a, const Vec& b) {
    Feature f = like;
    f.x1 = static_cast<int32_t>(a.x);
    f.y1 = static_cast<int32_t>(a.y);
    f.x2 = static_cast<int32_t>(b.x);
    f.y2 = static_cast<int32_t>(b.y);
    return f;
}

std::vector<Feature> newLines(const Planner& p, const Trace& t) {
    std::vector<Feature> out;
    for (size_t i = 1; i < t.path.size(); ++i) out.push_back(lineLike(p.at(t.run), t.path[i - 1], t.path[i]));
    return out;
}

// The clearance check of the new traces, against each other and against the
// rest of the layer.
class ClearanceCheck {
public:
    ClearanceCheck(const Planner& p, const std::vector<Trace>& traces, const std::vector<uint32_t>& bus, double clearance)
        : m_p(p), m_traces(traces), m_bus(bus.begin(), bus.end()), m_clearance(clearance) {
        for (const Trace& t : traces) {
            std::vector<MG::Core> cores;
            for (const Feature& f : newLines(p, t)) cores.push_back(core(f));
            m_cores.push_back(std::move(cores));
        }
    }

    // Empty when every gap is at least the clearance; else the offenders.
    std::string violations() {
        for (size_t a = 0; a < m_traces.size(); ++a) {
            for (size_t b = a + 1; b < m_traces.size(); ++b)
                if (closer(m_cores[a], m_cores[b])) note(a, "trace " + std::to_string(b + 1));
            againstLayer(a);
        }
        if (m_found.empty()) return {};
        std::ostringstream out;
        out << "the bus cannot keep the clearance of " << micrometres(m_clearance) << " um:";
        for (size_t i = 0; i < m_found.size() && i < kMaxNamedViolations; ++i) out << (i ? "," : "") << " " << m_found[i];
        if (m_found.size() > kMaxNamedViolations) out << " and " << m_found.size() - kMaxNamedViolations << " more";
        return out.str();
    }

private:
    MG::Core core(const Feature& f) const {
        MG::Core c;
        MG::featureCore(m_p.layer().ctx(), f, c);
        return c;
    }
    // Touching copper of another trace is a short at any clearance.
    bool tooClose(double gap) const { return gap <= 0 || gap + kRoundingSlack < m_clearance; }
    bool closer(const std::vector<MG::Core>& a, const std::vector<MG::Core>& b) const {
        for (const MG::Core& x : a)
            for (const MG::Core& y : b)
                if (tooClose(MG::shapeDistance(x, y).distance)) return true;
        return false;
    }
    void note(size_t trace, const std::string& other) {
        m_found.push_back("trace " + std::to_string(trace + 1) + " to " + other);
    }
    // A feature that touches the trace as it was (its pads, a via on it) or
    // carries its net is the trace's own copper.
    bool ownCopper(size_t trace, uint32_t id, const MG::Core& other) const {
        const API::attr_map& mine = m_p.job().attrs.sets[m_p.at(m_traces[trace].run).attrs];
        const API::attr_map& theirs = m_p.job().attrs.sets[m_p.at(id).attrs];
        const auto net = mine.find(".net"), otherNet = theirs.find(".net");
        if (net != mine.end() && otherNet != theirs.end() && !net->second.empty() && net->second == otherNet->second)
            return true;
        for (uint32_t old : m_traces[trace].ids)
            if (MG::shapeDistance(core(m_p.at(old)), other).distance <= 0) return true;
        return false;
    }
    void againstLayer(size_t trace) {
        std::set<uint32_t> near;
        const int32_t reach = static_cast<int32_t>(std::ceil(m_clearance));
        for (const Feature& f : newLines(m_p, m_traces[trace])) {
            const IBox b = featureBox(m_p.layer().ctx(), f);
            std::vector<uint32_t> ids;
            m_p.layer().data.index.query(m_p.layer().data.features,
                                         SpatialIndex::Box({b.xmin - reach, b.ymin - reach}, {b.xmax + reach, b.ymax + reach}),
                                         ids);
            near.insert(ids.begin(), ids.end());
        }
        for (uint32_t id : near) {
            if (m_bus.count(id) || !m_p.at(id).positive()) continue;
            const MG::Core other = core(m_p.at(id));
            if (!ownCopper(trace, id, other) && closer(m_cores[trace], {other}))
                note(trace, "feature " + std::to_string(id));
        }
    }

    const Planner& m_p;
    const std::vector<Trace>& m_traces;
    std::set<uint32_t> m_bus;
    double m_clearance;
    std::vector<std::vector<MG::Core>> m_cores;
    std::vector<std::string> m_found;
};

// The new trace takes the places of the old lines in chain order; spare old
// lines go, extra new ones are appended.
void planTrace(Planner& p, const Trace& t) {
    const std::vector<Feature> lines = newLines(p, t);
    for (size_t i = 0; i < std::max(lines.size(), t.ids.size()); ++i) {
        if (i < lines.size() && i < t.ids.size())
            p.replace(t.ids[i], lines[i]);
        else if (i < t.ids.size())
            p.remove(t.ids[i]);
        else
            p.addNew(lines[i], t.run);
    }
}

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

edit_plan plan_bus(const str& job, const str& step, const str& layer, const std::vector<int>& indices,
                   const bus_params& params) {
    KERNEL_LOCK;
    Planner p(findJob(job), step, layer);
    for (double v : {params.pitch, params.lower, params.upper, params.clearance}) checkFinite(v, "bus parameter");
    if (params.mode != 0 && params.mode != 1) fail("bus mode must be 0 or 1, not " + std::to_string(params.mode));
    if (params.pitch < 0 || params.clearance < 0) return p.refuse("the bus pitch and clearance cannot be negative");
    std::vector<uint32_t> ids;
    for (int index : indices) ids.push_back(p.id(index));
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    for (uint32_t id : ids) {
        const Feature& f = p.at(id);
        if (f.type != API::FT_LINE) return p.refuse("feature " + std::to_string(id) + " is not a line");
        if (lineLength(f) == 0) return p.refuse("line " + std::to_string(id) + " has no length");
    }
    std::string why;
    std::vector<Trace> traces = chainTraces(p, ids, why);
    if (!why.empty()) return p.refuse(why);
    if (traces.size() < 2) return p.refuse("a bus needs at least two traces");
    const Vec u = busDirection(p, traces, why), v{-u.y, u.x};
    if (!why.empty()) return p.refuse(why);
    for (Trace& t : traces) {
        if (dot(t.to - t.from, u) < 0) {
            std::swap(t.from, t.to);
            std::reverse(t.ids.begin(), t.ids.end());
        }
        const Feature& run = p.at(t.run);
        t.offset = dot((start(run) + end(run)) * 0.5, v);
    }
    std::stable_sort(traces.begin(), traces.end(), [](const Trace& a, const Trace& b) { return a.offset < b.offset; });
    const std::vector<double> offsets = targetOffsets(traces, params, why);
    if (!why.empty()) return p.refuse(why);
    for (size_t i = 0; i < traces.size(); ++i)
        if (!jogPath(traces[i], u, v, offsets[i]))
            return p.refuse("trace " + std::to_string(i + 1) + " is too short for its jogs to the new spacing");
    why = ClearanceCheck(p, traces, ids, params.clearance).violations();
    if (!why.empty()) return p.refuse(why);
    for (const Trace& t : traces) planTrace(p, t);
    return p.finish();
}

}  // namespace EDIT
}  // namespace TOLVA
