// Solder mask and silk screen against the copper they open or must keep off.
#include "checks_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace CHECKS_IMPL {

namespace {

struct Clearance {
    double value = 0;
    Vec a, b;  // on the pad's and the opening's outline
};

// How far the opening's outline lies beyond the pad's: their outline
// distance when the opening holds the whole pad, 0 otherwise.
Clearance openingClearance(const LayerRef& copper, const Feature& pad, const LayerRef& mask, const Feature& opening,
                           const Core& openingCore) {
    std::vector<Curve> in, out;
    featureOutline(copper.ctx(), pad, in);
    featureOutline(mask.ctx(), opening, out);
    Clearance best;
    if (in.empty() || out.empty()) return best;
    Closest c;
    c.distance = -1;
    for (const Curve& x : in)
        for (const Curve& y : out) {
            const Closest k = closestCurves(x, y);
            if (c.distance < 0 || k.distance < c.distance) c = k;
        }
    best.a = c.a;
    best.b = c.b;
    if (c.distance > 0 && shapeDistance(openingCore, pointCore(in[0].a)).distance == 0) best.value = c.distance;
    return best;
}

uint64_t centreKey(const Feature& f) {
    return (uint64_t(uint32_t(f.x1)) << 32) | uint32_t(f.y1);
}

bool attributeIs(const API::attr_map& a, const char* name, const char* value) {
    const auto it = a.find(name);
    return it != a.end() && it->second == value;
}

}  // namespace

ViaPads::ViaPads(const Scope& s) {
    m_viaSets.reserve(s.job.attrs.sets.size());
    std::vector<bool> viaHoles;
    for (const API::attr_map& a : s.job.attrs.sets) {
        m_viaSets.push_back(attributeIs(a, ".aper_function", "ViaPad"));
        viaHoles.push_back(attributeIs(a, ".drill", "via"));
    }
    for (size_t l = 0; l < s.job.layers.size() && l < s.step.layers.size(); ++l) {
        if (s.job.layers[l].row.type != "drill") continue;
        for (const Feature& f : s.step.layers[l].features)
            if (positivePad(f) && f.attrs < viaHoles.size() && viaHoles[f.attrs]) m_centres.push_back(centreKey(f));
    }
    std::sort(m_centres.begin(), m_centres.end());
}

bool ViaPads::operator()(const Feature& pad) const {
    if (pad.attrs < m_viaSets.size() && m_viaSets[pad.attrs]) return true;
    return std::binary_search(m_centres.begin(), m_centres.end(), centreKey(pad));
}

void maskBody(const LayerRef& copper, const LayerRef& mask, const ViaPads& vias, const check_params& p,
              std::vector<check_result>& out, const std::atomic<bool>* cancel) {
    CoreCache pads(copper), openings(mask);
    std::vector<uint32_t> ids;
    const std::vector<Feature>& fs = copper.data.features;
    const std::vector<Feature>& ms = mask.data.features;
    for (uint32_t i = 0; i < fs.size(); ++i) {
        if (!positivePad(fs[i])) continue;
        if ((i & 1023) == 0 && stopped(cancel)) return;
        ids.clear();
        mask.data.index.query(ms, grownBox(copper, fs[i], 0), ids);
        std::sort(ids.begin(), ids.end());
        long bestOpening = -1;
        Clearance best;
        for (uint32_t m : ids) {
            if (!ms[m].positive() || shapeDistance(pads[i], openings[m]).distance > 0) continue;
            const Clearance c = openingClearance(copper, fs[i], mask, ms[m], openings[m]);
            if (bestOpening < 0 || c.value > best.value) {
                best = c;
                bestOpening = m;
            }
        }
        check_result r;
        if (bestOpening < 0) {
            if (vias(fs[i])) continue;
            nameResult(r, "missing_mask_opening", copper.name, i);
            r.layers.push_back(mask.name);
            setBroken(r, p);
            setBox(r, copper, fs[i]);
            out.push_back(std::move(r));
            continue;
        }
        if (!classify(best.value, p, r)) continue;
        nameResult(r, "mask_clearance", copper.name, i);
        addFeature(r, mask.name, static_cast<uint32_t>(bestOpening));
        r.location.kind = location_kind::POINTS;
        r.location.a = mp(best.a);
        r.location.b = mp(best.b);
        out.push_back(std::move(r));
    }
}

void silkBody(const LayerRef& silk, const LayerRef& mask, const LayerRef& copper, const check_params& p,
              std::vector<check_result>& out, const std::atomic<bool>* cancel) {
    // Openings and copper may be large (a pour, a window over a ground
    // plane): only their edges near the other shape are measured.
    CoreCache marks(silk);
    NearCores openings(mask), metal(copper);
    const std::vector<Feature>& ss = silk.data.features;
    const std::vector<Feature>& ms = mask.data.features;
    const std::vector<Feature>& cs = copper.data.features;
    // Whether each opening exposes copper, worked out on first use.
    std::vector<int8_t> exposes(ms.size(), -1);
    std::vector<uint32_t> ids, under;
    auto exposed = [&](uint32_t m) {
        if (exposes[m] < 0) {
            exposes[m] = 0;
            under.clear();
            copper.data.index.query(cs, grownBox(mask, ms[m], 0), under);
            std::sort(under.begin(), under.end());
            for (uint32_t c : under)
                if (cs[c].positive() && metal.distanceTo(openings[m], c, 0).distance == 0) {
                    exposes[m] = 1;
                    break;
                }
        }
        return exposes[m] == 1;
    };
    for (uint32_t i = 0; i < ss.size(); ++i) {
        if (!ss[i].positive()) continue;
        if ((i & 1023) == 0 && stopped(cancel)) return;
        ids.clear();
        mask.data.index.query(ms, grownBox(silk, ss[i], p.warning_limit), ids);
        std::sort(ids.begin(), ids.end());
        for (uint32_t m : ids) {
            if (!ms[m].positive() || !exposed(m)) continue;
            const Closest c = openings.distanceTo(marks[i], m, p.warning_limit);
            check_result r;
            if (!classify(c.distance, p, r)) continue;
            nameResult(r, "silk_over_copper", silk.name, i);
            addFeature(r, mask.name, m);
            setPoints(r, c);
            out.push_back(std::move(r));
        }
    }
}

}  // namespace CHECKS_IMPL
}  // namespace KERNEL
}  // namespace TOLVA
