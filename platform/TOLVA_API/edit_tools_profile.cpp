// The step profile drawn from lines and arcs, or as a (rounded) rectangle.
// Arcs become points no further than 1 um from the arc and at most 0.05 mm
// apart. Setting the profile is an edit: its undo puts the old one back.
#include <algorithm>

#include "edit_tools_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {
namespace {

constexpr double kChordError = 1000;   // nm
constexpr double kMaxChord = 50000;    // nm
constexpr double kEndsMeet = 1000;     // nm: ends this close are one corner

// Points along the arc around c of radius r from angle a0 sweeping `sweep`
// radians (negative: clockwise), the first point left out.
void arcPoints(const Vec& c, double r, double a0, double sweep, std::vector<API::lPoint>& out) {
    double step = kTwoPi;
    if (r > kChordError) step = 2 * std::acos(1 - kChordError / r);
    step = std::min(step, 2 * std::asin(std::min(1.0, kMaxChord / (2 * r))));
    const int n = std::max(1, static_cast<int>(std::ceil(std::fabs(sweep) / step)));
    for (int i = 1; i <= n; ++i) {
        const double a = a0 + sweep * i / n;
        out.push_back({std::round(c.x + r * std::cos(a)), std::round(c.y + r * std::sin(a))});
    }
}

// One line or arc of the chain, walked from `from` to `to`.
struct Link {
    uint32_t id;
    Vec from, to;
};

void appendLink(const Feature& f, const Link& link, std::vector<API::lPoint>& out) {
    if (f.type == API::FT_LINE) {
        out.push_back({link.to.x, link.to.y});
        return;
    }
    const ArcGeom g = arcGeom(f);
    const bool cw = f.flags & kClockwise;
    const bool forward = same(link.from, start(f));
    double sweep = g.sweep() * (cw ? -1 : 1);
    if (!forward) sweep = -sweep;
    const Vec c{g.cx, g.cy};
    const Vec from = forward ? start(f) : end(f);
    const double r = length(from - c);
    arcPoints(c, r, std::atan2(from.y - c.y, from.x - c.x), sweep, out);
    out.back() = {link.to.x, link.to.y};  // the stored end, not the one worked out
}

std::vector<API::lPoint> chainOutline(const EditLayer& l, const std::vector<uint32_t>& ids) {
    if (ids.empty()) fail("no lines or arcs to make a profile of");
    for (uint32_t id : ids) {
        const Feature& f = l.data.features[id];
        if (f.type != API::FT_LINE && f.type != API::FT_ARC)
            fail("feature " + std::to_string(id) + " of layer '" + l.name + "' is not a line or arc: a profile is made of lines and arcs");
    }
    std::vector<char> used(ids.size(), 0);
    used[0] = 1;
    const Feature& first = l.data.features[ids[0]];
    const Vec origin = start(first);
    std::vector<Link> chain{{ids[0], start(first), end(first)}};
    for (size_t n = 1; n < ids.size(); ++n) {
        const Vec at = chain.back().to;
        long next = -1;
        bool reversed = false;
        for (size_t k = 0; k < ids.size(); ++k) {
            if (used[k]) continue;
            const Feature& f = l.data.features[ids[k]];
            const bool atStart = length(start(f) - at) <= kEndsMeet, atEnd = length(end(f) - at) <= kEndsMeet;
            if (!atStart && !atEnd) continue;
            if (next >= 0) fail("the outline branches at " + where(at));
            next = static_cast<long>(k);
            reversed = !atStart;
        }
        if (next < 0) {
            if (length(at - origin) <= kEndsMeet)
                fail("the features make more than one outline (one closes at " + where(at) + ")");
            fail("the outline is open at " + where(at));
        }
        used[static_cast<size_t>(next)] = 1;
        const Feature& f = l.data.features[ids[static_cast<size_t>(next)]];
        chain.push_back({ids[static_cast<size_t>(next)], reversed ? end(f) : start(f), reversed ? start(f) : end(f)});
    }
    if (length(chain.back().to - origin) > kEndsMeet) fail("the outline is open at " + where(chain.back().to));
    std::vector<API::lPoint> out{{origin.x, origin.y}};
    for (const Link& link : chain) appendLink(l.data.features[link.id], link, out);
    if (out.size() > 1 && length(Vec{out.back().x, out.back().y} - origin) <= kEndsMeet) out.pop_back();  // closed implicitly
    if (out.size() < 3) fail("the outline has fewer than three corners");
    return out;
}

void setProfile(Job& j, size_t step, std::vector<API::lPoint> outline) {
    for (const API::lPoint& p : outline) {
        toCoordinate(p.x, "profile x");
        toCoordinate(p.y, "profile y");
    }
    ProfileChange change{true, std::move(outline)};
    std::vector<LayerEdit> none;
    SymbolBook symbols;
    commitEdits(j, step, none, symbols, change);
}

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

void set_profile_from_features(const str& job, const str& step, const str& layer, const std::vector<int>& indices) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const EditLayer l = editLayer(j, s, layer);
    std::vector<uint32_t> ids;
    if (indices.empty()) {
        for (uint32_t i = 0; i < l.data.features.size(); ++i)
            if (l.data.features[i].selected()) ids.push_back(i);
    } else {
        for (int i : indices) {
            const uint32_t id = featureId(l, i);
            if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
        }
    }
    setProfile(j, s, chainOutline(l, ids));
}

void set_profile_rect(const str& job, const str& step, double x0, double y0, double x1, double y1, double corner_radius) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    for (double v : {x0, y0, x1, y1, corner_radius}) checkFinite(v, "profile rectangle");
    const double xmin = std::min(x0, x1), xmax = std::max(x0, x1), ymin = std::min(y0, y1), ymax = std::max(y0, y1);
    if (xmax - xmin <= 0 || ymax - ymin <= 0) fail("the profile rectangle has no area");
    const double r = corner_radius;
    if (r < 0 || r > std::min(xmax - xmin, ymax - ymin) / 2)
        fail("the corner radius must be between 0 and half the shorter side, not " + std::to_string(r));
    std::vector<API::lPoint> outline;
    const Vec corners[4] = {{xmax - r, ymin + r}, {xmax - r, ymax - r}, {xmin + r, ymax - r}, {xmin + r, ymin + r}};
    for (int k = 0; k < 4; ++k) {
        const double a0 = -kPi / 2 + k * kPi / 2;  // each corner turns a quarter counter-clockwise
        outline.push_back({std::round(corners[k].x + r * std::cos(a0)), std::round(corners[k].y + r * std::sin(a0))});
        if (r > 0) arcPoints(corners[k], r, a0, kPi / 2, outline);
    }
    setProfile(j, s, std::move(outline));
}

void set_profile_polygon(const str& job, const str& step, const std::vector<API::lPoint>& outline) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    std::vector<API::lPoint> points = outline;
    if (points.size() > 1 && points.back().x == points.front().x && points.back().y == points.front().y) points.pop_back();
    if (points.size() < 3) fail("a profile needs at least three points");
    setProfile(j, s, std::move(points));
}

std::vector<API::lPoint> get_profile(const str& job, const str& step) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    return findStep(j, step).profile;
}

}  // namespace EDIT
}  // namespace TOLVA
