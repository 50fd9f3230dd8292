// Nets: the copper that touches, through the layers and the plated holes,
// and the opens and shorts against the ".net" names it carries.
#include <deque>
#include <memory>
#include <map>
#include <numeric>
#include <set>

#include "checks_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace CHECKS_IMPL {

namespace {

using MEASURE::feature_ref;

// One layer of the analysis; global ids run over the layers in order.
struct NetLayer {
    LayerRef ref;
    bool drill = false;
    bool crossed = false;  // copper that the holes go through
    size_t offset = 0;
};

bool plated(const Job& job, const Feature& f) {
    const API::attr_map& a = job.attrs.sets[f.attrs];
    const auto it = a.find(".drill");
    return it == a.end() || it->second != "non_plated";
}

class Graph {
public:
    Graph(const Scope& s, const API::str_list& copper, const API::str_list& drills) : m_job(s.job) {
        std::set<std::string> seen;
        size_t offset = 0;
        auto add = [&](const std::string& name, bool drill) {
            if (!seen.insert(name).second) return;
            const LayerRef ref = s.peek(name);
            NetLayer l{ref, drill, !drill && crossedByDrills(ref.def), offset};
            offset += ref.data.features.size();
            m_layers.push_back(l);
            m_near.emplace_back();
        };
        for (const std::string& n : copper) add(n, false);
        for (const std::string& n : drills) add(n, true);
        m_total = offset;
        m_held.resize(m_layers.size() * m_layers.size());
        m_negatives.assign(m_layers.size(), -1);
    }

    size_t total() const { return m_total; }
    const std::vector<NetLayer>& layers() const { return m_layers; }
    size_t layerOf(size_t id) const {
        size_t l = 0;
        while (l + 1 < m_layers.size() && m_layers[l + 1].offset <= id) ++l;
        return l;
    }
    long layerNamed(const std::string& name) const {
        for (size_t l = 0; l < m_layers.size(); ++l)
            if (m_layers[l].ref.name == name) return static_cast<long>(l);
        return -1;
    }
    const Feature& feature(size_t l, uint32_t i) const { return m_layers[l].ref.data.features[i]; }
    feature_ref ref(size_t id) const {
        const size_t l = layerOf(id);
        return {m_layers[l].ref.name, static_cast<int>(id - m_layers[l].offset)};
    }
    // Positive copper and plated holes: what nets are made of.
    bool member(size_t l, uint32_t i) const {
        const Feature& f = feature(l, i);
        if (!f.positive()) return false;
        return !m_layers[l].drill || (f.type == API::FT_PAD && plated(m_job, f));
    }
    const Core& core(size_t l, uint32_t i) { return near(l)[i]; }

    // Two members of one copper layer touch, their contact not cut out.
    bool copperContact(size_t l, uint32_t i, uint32_t j) {
        if (near(l).distance(i, j, 0).distance != 0) return false;
        const int64_t first = std::min(i, j);
        return cover(l, i) <= first && cover(l, j) <= first;
    }
    // The largest index of a negative feature of copper layer c that holds
    // the feature (layer l, index i) whole; -1 for none.
    int64_t holding(size_t c, size_t l, uint32_t i) {
        if (!hasNegatives(c)) return -1;
        const LayerRef& copper = m_layers[c].ref;
        const LayerRef& held = m_layers[l].ref;
        const Feature& f = held.data.features[i];
        std::vector<uint32_t> ids;
        copper.data.index.query(copper.data.features, grownBox(held, f, 0), ids);
        const IBox box = featureBox(held.ctx(), f);
        int64_t best = -1;
        for (uint32_t k : ids) {
            const Feature& n = copper.data.features[k];
            if (n.positive() || int64_t(k) <= best) continue;
            const IBox nb = featureBox(copper.ctx(), n);  // a holder's box holds the box
            if (nb.xmin > box.xmin || nb.ymin > box.ymin || nb.xmax < box.xmax || nb.ymax < box.ymax) continue;
            if (wholeInside(held.ctx(), f, copper.ctx(), n)) best = k;
        }
        return best;
    }
    // A hole (layer d, index h) touches copper (layer c, index i), given the
    // negative that holds the hole latest on that layer.
    bool holeContact(size_t d, uint32_t h, size_t c, uint32_t i, int64_t holeCover) {
        if (holeCover > int64_t(i)) return false;
        return near(c).distanceTo(core(d, h), i, 0).distance == 0;
    }

    // Every neighbour of a member from global id `from` on, in a fixed order.
    template <class Visit>
    void neighbours(size_t l, uint32_t i, size_t from, std::vector<uint32_t>& ids, Visit&& visit) {
        auto later = [&](size_t ol, uint32_t j) { return m_layers[ol].offset + j >= from; };
        const NetLayer& me = m_layers[l];
        const Feature& f = feature(l, i);
        if (!me.drill) {
            query(l, me.ref, f, ids);
            for (uint32_t j : ids)
                if (j != i && later(l, j) && member(l, j) && copperContact(l, i, j)) visit(l, j);
            if (!me.crossed) return;
            for (size_t d = 0; d < m_layers.size(); ++d) {
                if (!m_layers[d].drill || endsBefore(d, from)) continue;
                query(d, me.ref, f, ids);
                for (uint32_t h : ids)
                    if (later(d, h) && member(d, h) && holeContact(d, h, l, i, heldBy(l, d, h))) visit(d, h);
            }
            return;
        }
        for (size_t c = 0; c < m_layers.size(); ++c) {
            if (!m_layers[c].crossed || endsBefore(c, from)) continue;
            query(c, me.ref, f, ids);
            int64_t cover = -2;
            for (uint32_t j : ids) {
                if (!later(c, j) || !member(c, j)) continue;
                if (cover == -2) cover = heldBy(c, l, i);
                if (holeContact(l, i, c, j, cover)) visit(c, j);
            }
        }
    }

    IBox box(size_t id) const {
        const size_t l = layerOf(id);
        const LayerRef& r = m_layers[l].ref;
        return featureBox(r.ctx(), r.data.features[id - m_layers[l].offset]);
    }

private:
    // Ids of layer l's features whose boxes meet the box of `f` (of layer `of`), sorted.
    void query(size_t l, const LayerRef& of, const Feature& f, std::vector<uint32_t>& ids) const {
        ids.clear();
        const LayerRef& r = m_layers[l].ref;
        r.data.index.query(r.data.features, grownBox(of, f, 0), ids);
        std::sort(ids.begin(), ids.end());
    }
    // Most signal layers cut nothing out: no box query for what holds a feature there.
    bool hasNegatives(size_t l) {
        int8_t& has = m_negatives[l];
        if (has < 0) {
            const std::vector<Feature>& fs = m_layers[l].ref.data.features;
            has = std::any_of(fs.begin(), fs.end(), [](const Feature& f) { return !f.positive(); });
        }
        return has == 1;
    }
    // Every feature of layer l has a global id below `from`.
    bool endsBefore(size_t l, size_t from) const {
        return m_layers[l].offset + m_layers[l].ref.data.features.size() <= from;
    }
    int64_t cover(size_t l, uint32_t i) { return heldBy(l, l, i); }
    // holding(c, l, i), worked out once: a hole meets every copper feature
    // around it, and a feature every neighbour.
    int64_t heldBy(size_t c, size_t l, uint32_t i) {
        std::vector<int32_t>& held = m_held[c * m_layers.size() + l];
        if (held.empty()) held.assign(m_layers[l].ref.data.features.size(), -2);
        int32_t& h = held[i];
        if (h == -2) h = static_cast<int32_t>(holding(c, l, i));
        return h;
    }

    const Job& m_job;
    std::vector<NetLayer> m_layers;
    // Built on first use: a piece of the work touches few layers.
    NearCores& near(size_t l) {
        if (!m_near[l]) m_near[l] = std::make_unique<NearCores>(m_layers[l].ref);
        return *m_near[l];
    }

    std::vector<std::unique_ptr<NearCores>> m_near;
    std::vector<int8_t> m_negatives;  // by layer; -1: not looked at yet
    std::vector<std::vector<int32_t>> m_held;  // by (copper, held layer); -2: not worked out yet
    size_t m_total = 0;
};

struct UnionFind {
    std::vector<uint32_t> parent;
    explicit UnionFind(size_t n) : parent(n) { std::iota(parent.begin(), parent.end(), 0u); }
    uint32_t find(uint32_t x) {
        while (parent[x] != x) x = parent[x] = parent[parent[x]];
        return x;
    }
    void join(uint32_t a, uint32_t b) {
        a = find(a), b = find(b);
        if (a != b) parent[std::max(a, b)] = std::min(a, b);
    }
};

void setBoxAround(check_result& r, const Graph& g, const std::vector<size_t>& ids) {
    IBox b = g.box(ids[0]);
    for (size_t id : ids) {
        const IBox o = g.box(id);
        b = {std::min(b.xmin, o.xmin), std::min(b.ymin, o.ymin), std::max(b.xmax, o.xmax), std::max(b.ymax, o.ymax)};
    }
    r.location.kind = location_kind::BOX;
    r.location.a = {double(b.xmin), double(b.ymin)};
    r.location.b = {double(b.xmax), double(b.ymax)};
}

check_result netResult(const char* check, const Graph& g, const std::vector<size_t>& ids, double value) {
    check_result r;
    r.check = check;
    r.level = severity::ERROR;
    r.value = value;
    r.limit = 1;
    for (size_t id : ids) {
        const feature_ref f = g.ref(id);
        if (std::find(r.layers.begin(), r.layers.end(), f.layer) == r.layers.end()) r.layers.push_back(f.layer);
        r.features.push_back(f);
    }
    return r;
}

}  // namespace

NetRun::NetRun(const Scope& s, API::str_list copper, API::str_list drills)
    : m_s(s), m_copper(std::move(copper)), m_drills(std::move(drills)) {
    m_edges.resize(Graph(m_s, m_copper, m_drills).layers().size());
}

size_t NetRun::features(size_t layer) const {
    return Graph(m_s, m_copper, m_drills).layers()[layer].ref.data.features.size();
}

void NetRun::contacts(size_t l, const std::atomic<bool>* cancel) {
    Graph g(m_s, m_copper, m_drills);
    std::vector<std::pair<uint32_t, uint32_t>>& edges = m_edges[l];
    std::vector<uint32_t> ids;
    const NetLayer& nl = g.layers()[l];
    const uint32_t n = static_cast<uint32_t>(nl.ref.data.features.size());
    for (uint32_t i = 0; i < n; ++i) {
        if (!g.member(l, i)) continue;
        if ((i & 1023) == 0 && stopped(cancel)) return;
        const uint32_t me = static_cast<uint32_t>(nl.offset + i);
        // Each contact once: from the feature of the smaller id.
        g.neighbours(l, i, me + 1, ids, [&](size_t ol, uint32_t j) {
            edges.emplace_back(me, static_cast<uint32_t>(g.layers()[ol].offset + j));
        });
    }
}

CHECKS::net_analysis NetRun::finish(const std::atomic<bool>* cancel) {
    CHECKS::net_analysis out;
    if (stopped(cancel)) return out;
    Graph g(m_s, m_copper, m_drills);
    const NetIds nets(m_s.job);
    UnionFind uf(g.total());
    std::vector<std::pair<uint32_t, uint32_t>> edges;  // contacts, in the order found
    for (const auto& layer : m_edges) edges.insert(edges.end(), layer.begin(), layer.end());
    for (const auto& e : edges) uf.join(e.first, e.second);
    // Groups by their first feature.
    std::vector<long> groupOf(g.total(), -1);
    std::vector<std::vector<size_t>> members;
    for (size_t l = 0; l < g.layers().size(); ++l) {
        const NetLayer& nl = g.layers()[l];
        for (uint32_t i = 0; i < nl.ref.data.features.size(); ++i) {
            if (!g.member(l, i)) continue;
            const size_t id = nl.offset + i;
            const uint32_t root = uf.find(static_cast<uint32_t>(id));
            if (groupOf[root] < 0) {
                groupOf[root] = static_cast<long>(members.size());
                members.emplace_back();
            }
            groupOf[id] = groupOf[root];
            members[groupOf[root]].push_back(id);
        }
    }
    auto netOfId = [&](size_t id) {
        const size_t l = g.layerOf(id);
        return nets(g.feature(l, static_cast<uint32_t>(id - g.layers()[l].offset)));
    };
    // Opens: a net's first feature in each group that carries it.
    std::map<std::string, std::vector<size_t>> pieces;
    for (const std::vector<size_t>& m : members) {
        CHECKS::net_group group;
        std::set<uint32_t> carried;
        for (size_t id : m) {
            group.features.push_back(g.ref(id));
            const uint32_t net = netOfId(id);
            if (net != 0 && carried.insert(net).second) pieces[nets.name(net)].push_back(id);
        }
        for (uint32_t net : carried) group.nets.push_back(nets.name(net));
        std::sort(group.nets.begin(), group.nets.end());
        out.groups.push_back(std::move(group));
    }
    for (const auto& piece : pieces) {
        if (piece.second.size() < 2) continue;
        check_result r = netResult("open", g, piece.second, double(piece.second.size()));
        setBoxAround(r, g, piece.second);
        out.results.push_back(std::move(r));
    }
    // Shorts: every feature of a group of several nets takes the net of the
    // named feature nearest to it (breadth first from all of them); a contact
    // between two labels is where their nets meet.
    std::vector<size_t> shorted;
    for (size_t k = 0; k < members.size(); ++k)
        if (out.groups[k].nets.size() > 1) shorted.push_back(k);
    if (shorted.empty()) return out;
    std::map<uint32_t, std::vector<uint32_t>> adjacent;
    for (const auto& e : edges)
        if (out.groups[groupOf[e.first]].nets.size() > 1) {
            adjacent[e.first].push_back(e.second);
            adjacent[e.second].push_back(e.first);
        }
    std::vector<uint32_t> label(g.total(), 0);
    std::deque<uint32_t> queue;
    for (size_t k : shorted)
        for (size_t id : members[k])
            if ((label[id] = netOfId(id)) != 0) queue.push_back(static_cast<uint32_t>(id));
    while (!queue.empty()) {
        const uint32_t at = queue.front();
        queue.pop_front();
        for (uint32_t n : adjacent[at])
            if (label[n] == 0) {
                label[n] = label[at];
                queue.push_back(n);
            }
    }
    std::vector<std::vector<check_result>> byGroup(members.size());
    std::set<std::pair<size_t, std::pair<std::string, std::string>>> met;  // by group
    for (const auto& e : edges) {
        const uint32_t la = label[e.first], lb = label[e.second];
        if (la == 0 || lb == 0 || la == lb) continue;
        std::pair<std::string, std::string> names(nets.name(la), nets.name(lb));
        if (names.first > names.second) std::swap(names.first, names.second);
        const size_t group = static_cast<size_t>(groupOf[e.first]);
        if (!met.insert({group, names}).second) continue;
        check_result r = netResult("short", g, {e.first, e.second}, double(out.groups[group].nets.size()));
        const size_t l1 = g.layerOf(e.first), l2 = g.layerOf(e.second);
        const Closest c = shapeDistance(g.core(l1, uint32_t(e.first - g.layers()[l1].offset)),
                                        g.core(l2, uint32_t(e.second - g.layers()[l2].offset)));
        setPoint(r, c.a);
        byGroup[group].push_back(std::move(r));
    }
    for (auto& rs : byGroup)
        for (check_result& r : rs) out.results.push_back(std::move(r));
    return out;
}

CHECKS::net_analysis netsBody(const Scope& s, const API::str_list& copper, const API::str_list& drills,
                              const std::atomic<bool>* cancel) {
    NetRun run(s, copper, drills);
    for (size_t l = 0; l < run.layers(); ++l) run.contacts(l, cancel);
    return run.finish(cancel);
}

std::vector<MEASURE::feature_ref> netOfBody(const Scope& s, const API::str_list& copper, const API::str_list& drills,
                                            const std::string& layer, int index) {
    Graph g(s, copper, drills);
    const long l = g.layerNamed(layer);
    if (l < 0) fail("layer '" + layer + "' is neither one of the copper nor of the drill layers given");
    const size_t count = g.layers()[l].ref.data.features.size();
    if (index < 0 || static_cast<size_t>(index) >= count)
        fail("layer '" + layer + "' has no feature " + std::to_string(index));
    std::vector<MEASURE::feature_ref> out;
    if (!g.member(l, static_cast<uint32_t>(index))) return out;
    std::vector<char> seen(g.total(), 0);
    std::vector<size_t> found;
    std::deque<std::pair<size_t, uint32_t>> queue{{size_t(l), uint32_t(index)}};
    seen[g.layers()[l].offset + index] = 1;
    std::vector<uint32_t> ids;
    while (!queue.empty()) {
        const auto at = queue.front();
        queue.pop_front();
        found.push_back(g.layers()[at.first].offset + at.second);
        g.neighbours(at.first, at.second, 0, ids, [&](size_t ol, uint32_t j) {
            char& s = seen[g.layers()[ol].offset + j];
            if (!s) {
                s = 1;
                queue.emplace_back(ol, j);
            }
        });
    }
    std::sort(found.begin(), found.end());
    for (size_t id : found) out.push_back(g.ref(id));
    return out;
}

}  // namespace CHECKS_IMPL
}  // namespace KERNEL

namespace CHECKS {

using namespace KERNEL;
using namespace KERNEL::CHECKS_IMPL;

namespace {
Scope netScope(const str& job, const str& step, const str_list& copper, const str_list& drills) {
    Scope s = scope(job, step);
    checkLayers(s, copper);
    checkLayers(s, drills);
    for (const std::string& n : copper) s.layer(n);
    for (const std::string& n : drills) s.layer(n);
    return s;
}
}  // namespace

net_analysis analyze_nets(const str& job, const str& step, const str_list& copper_layers,
                          const str_list& drill_layers) {
    KERNEL_LOCK;
    return netsBody(netScope(job, step, copper_layers, drill_layers), copper_layers, drill_layers, nullptr);
}

std::vector<MEASURE::feature_ref> net_of(const str& job, const str& step, const str_list& copper_layers,
                                         const str_list& drill_layers, const str& layer, int index) {
    KERNEL_LOCK;
    return netOfBody(netScope(job, step, copper_layers, drill_layers), copper_layers, drill_layers, layer, index);
}

}  // namespace CHECKS
}  // namespace TOLVA
