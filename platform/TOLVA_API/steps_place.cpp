// Placing a child step's features in its parent, and the step flattened.
#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "steps_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace SR {

Placement Placement::of(double angle, bool mirror, double ox, double oy) {
    Placement p;
    p.angle = angle;
    p.mirror = mirror;
    p.ox = std::round(ox);
    p.oy = std::round(oy);
    const double quarter = angle / 90.0;
    if (quarter == std::round(quarter)) {
        // Exact cosines for quarter turns, so that placed coordinates stay whole.
        const long long q = ((static_cast<long long>(quarter) % 4) + 4) % 4;
        p.c = q == 0 ? 1 : q == 2 ? -1 : 0;
        p.s = q == 1 ? 1 : q == 3 ? -1 : 0;
    } else {
        p.c = std::cos(angle * kPi / 180.0);
        p.s = std::sin(angle * kPi / 180.0);
    }
    return p;
}

Placement Placement::then(const Placement& inner) const {
    // A mirror outside turns the inner rotation's sense.
    const double angle = (mirror ? -inner.angle : inner.angle) + this->angle;
    const Vec o = apply({inner.ox, inner.oy});
    return of(angle, mirror != inner.mirror, o.x, o.y);
}

size_t childIndex(const Job& job, const STEP::sr_row& r) { return findStepIndex(job, r.child); }

bool places(const Job& job, size_t from, size_t target) {
    for (const STEP::sr_row& r : job.steps[from].srTable) {
        const long c = [&]() -> long {
            for (size_t i = 0; i < job.steps.size(); ++i)
                if (job.steps[i].name == r.child) return static_cast<long>(i);
            return -1;
        }();
        if (c < 0) continue;
        if (static_cast<size_t>(c) == target || places(job, static_cast<size_t>(c), target)) return true;
    }
    return false;
}

namespace {

void widen(double& xmin, double& ymin, double& xmax, double& ymax, const Vec& p) {
    xmin = std::min(xmin, p.x);
    ymin = std::min(ymin, p.y);
    xmax = std::max(xmax, p.x);
    ymax = std::max(ymax, p.y);
}

// Box of what a step holds: its features and its instances' outlines.
bool contentBox(const Job& job, size_t step, double& xmin, double& ymin, double& xmax, double& ymax) {
    bool any = false;
    xmin = ymin = std::numeric_limits<double>::max();
    xmax = ymax = -std::numeric_limits<double>::max();
    const Step& s = job.steps[step];
    for (size_t l = 0; l < job.layers.size(); ++l) {
        const LayerContext ctx{job.layers[l], s.layers[l]};
        for (const Feature& f : s.layers[l].features) {
            const IBox b = featureBox(ctx, f);
            widen(xmin, ymin, xmax, ymax, {double(b.xmin), double(b.ymin)});
            widen(xmin, ymin, xmax, ymax, {double(b.xmax), double(b.ymax)});
            any = true;
        }
    }
    for (const STEP::sr_row& r : s.srTable) {
        const std::vector<Vec> outline = stepOutline(job, childIndex(job, r));
        for (int iy = 0; iy < r.ny; ++iy)
            for (int ix = 0; ix < r.nx; ++ix) {
                const Placement p = placementOf(r, ix, iy);
                for (const Vec& v : outline) {
                    widen(xmin, ymin, xmax, ymax, p.apply(v));
                    any = true;
                }
            }
    }
    return any;
}

int16_t wholeDegrees(double a) {
    const long long whole = std::llround(a);
    return static_cast<int16_t>(((whole % 360) + 360) % 360);
}

int32_t coordinate(double v) { return toCoordinate(std::round(v), "placed coordinate"); }

void setPoint(int32_t& x, int32_t& y, const Placement& p, int32_t px, int32_t py) {
    const Vec v = p.apply({double(px), double(py)});
    x = coordinate(v.x);
    y = coordinate(v.y);
}

}  // namespace

std::vector<Vec> stepOutline(const Job& job, size_t step) {
    const Step& s = job.steps[step];
    std::vector<Vec> out;
    if (!s.profile.empty()) {
        for (const API::lPoint& p : s.profile) out.push_back({p.x, p.y});
        return out;
    }
    double xmin, ymin, xmax, ymax;
    if (!contentBox(job, step, xmin, ymin, xmax, ymax)) return out;
    return {{xmin, ymin}, {xmax, ymin}, {xmax, ymax}, {xmin, ymax}};
}

ParsedFeature placeFeature(const LayerDef& def, const LayerData& data, const Feature& f, const Placement& p) {
    ParsedFeature out;
    Feature& g = out.f;
    g = f;
    g.flags = static_cast<uint8_t>(f.flags & ~(kSelected | kInOverlay));
    switch (f.type) {
    case API::FT_LINE:
    case API::FT_ARC:
        setPoint(g.x1, g.y1, p, f.x1, f.y1);
        setPoint(g.x2, g.y2, p, f.x2, f.y2);
        if (f.type == API::FT_ARC) {
            setPoint(g.xc, g.yc, p, f.xc, f.yc);
            if (p.mirror) g.flags ^= kClockwise;
        }
        break;
    case API::FT_PAD:
    case API::FT_TEXT: {
        setPoint(g.x1, g.y1, p, f.x1, f.y1);
        // The symbol is mirrored, then turned, then placed: under a mirror
        // its own turn runs the other way.
        const double a = (p.mirror ? -double(f.angle) : double(f.angle)) + p.angle;
        g.angle = wholeDegrees(a);
        if (p.mirror) g.flags ^= kMirror;
        if (f.type == API::FT_TEXT) {
            out.text = data.texts[f.ref];
            finishText(out);
        }
        break;
    }
    case API::FT_SURFACE: {
        const SurfaceGeom& s = data.surfaces[f.ref];
        const API::point* v = data.vertices.data() + s.firstVertex;
        uint32_t total = 0;
        for (uint32_t c = 0; c < s.contourCount; ++c) {
            const uint32_t n = data.contourSizes[s.firstContour + c];
            out.contours.push_back(n);
            total += n;
        }
        for (uint32_t i = 0; i < total; ++i) {
            API::point q;
            setPoint(q.x, q.y, p, f.x1 + v[i].x, f.y1 + v[i].y);
            out.vertices.push_back(q);
        }
        finishSurface(out);
        break;
    }
    default:
        break;
    }
    (void)def;
    return out;
}

long long flattenedCount(const Job& job, size_t step, size_t layer) {
    long long n = static_cast<long long>(job.steps[step].layers[layer].features.size());
    for (const STEP::sr_row& r : job.steps[step].srTable)
        n += static_cast<long long>(r.nx) * r.ny * flattenedCount(job, childIndex(job, r), layer);
    return n;
}

namespace {
// Placed layers kept until their job changes (under the kernel lock).
struct PlacedKey {
    const Job* job;
    size_t step, layer;
    double c, s, angle;
    bool mirror;
    bool operator<(const PlacedKey& o) const {
        return std::tie(job, step, layer, c, s, angle, mirror) <
               std::tie(o.job, o.step, o.layer, o.c, o.s, o.angle, o.mirror);
    }
};
struct PlacedEntry {
    uint64_t serial = 0;
    LayerData data;
};
std::map<PlacedKey, PlacedEntry>& placedCache() {
    static std::map<PlacedKey, PlacedEntry> cache;
    return cache;
}
// Kept layers; past this many the cache starts again.
constexpr size_t kPlacedCacheEntries = 32;
}  // namespace

LayerData& orientedLayer(Job& job, size_t step, size_t layer, const Placement& orientation) {
    const bool upright = orientation.c == 1 && orientation.s == 0 && !orientation.mirror;
    if (upright && job.steps[step].srTable.empty()) return job.steps[step].layers[layer];
    auto& cache = placedCache();
    const PlacedKey key{&job, step, layer, orientation.c, orientation.s, orientation.angle, orientation.mirror};
    auto it = cache.find(key);
    if (it != cache.end() && it->second.serial == job.editSerial) return it->second.data;
    if (it == cache.end()) {
        if (cache.size() >= kPlacedCacheEntries) cache.clear();
        it = cache.emplace(key, PlacedEntry{}).first;
    }
    PlacedEntry& e = it->second;
    e.serial = job.editSerial;
    e.data = LayerData{};
    const Placement turn = orientation.orientation();
    forEachPlaced(job, step, layer, turn, [&](const ParsedFeature& pf) { appendFeature(e.data, pf, pf.f.attrs); });
    return e.data;
}

LayerData& flattenedLayer(Job& job, size_t step, size_t layer) { return orientedLayer(job, step, layer, Placement{}); }

}  // namespace SR
}  // namespace KERNEL
}  // namespace TOLVA
