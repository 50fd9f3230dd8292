// Measuring: outline distances between features, to points and to the
// profile; centres, lengths, perimeters, areas and angles.
#include "TOLVA_Measure.h"

#include <algorithm>

#include "hit.h"
#include "measure_geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace {

using namespace MEASURE_GEOM;

struct Located {
    const LayerDef& def;
    const LayerData& data;
    const Feature& f;
    LayerContext ctx() const { return {def, data}; }
};

Located locate(const std::string& job, const std::string& step, const MEASURE::feature_ref& ref) {
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const size_t l = findLayerIndex(j, ref.layer);
    const LayerData& d = j.steps[s].layers[l];
    if (ref.index < 0 || static_cast<size_t>(ref.index) >= d.features.size())
        fail("layer '" + ref.layer + "' has no feature " + std::to_string(ref.index));
    return {j.layers[l], d, d.features[static_cast<size_t>(ref.index)]};
}

MEASURE::distance_result toResult(const Closest& c) {
    MEASURE::distance_result r;
    r.distance = c.distance;
    r.a = {c.a.x, c.a.y};
    r.b = {c.b.x, c.b.y};
    return r;
}

const char* kindName(int type) {
    switch (type) {
    case API::FT_LINE: return "line";
    case API::FT_PAD: return "pad";
    case API::FT_ARC: return "arc";
    case API::FT_SURFACE: return "surface";
    case API::FT_TEXT: return "text";
    }
    return "feature";
}

void expectKind(const MEASURE::feature_ref& ref, const Feature& f, int type, const char* what) {
    if (f.type != type)
        fail(std::string(what) + ": feature " + std::to_string(ref.index) + " of layer '" + ref.layer +
             "' is a " + kindName(f.type) + ", not a " + kindName(type));
}

// Contours of a surface in absolute coordinates.
std::vector<std::vector<Vec>> surfaceRings(const Located& l) {
    std::vector<std::vector<Vec>> rings;
    for (const ContourSpan& c : surfaceContours(l.data, l.f)) {
        std::vector<Vec> ring;
        for (uint32_t i = 0; i < c.count; ++i)
            ring.push_back({double(l.f.x1) + c.points[i].x, double(l.f.y1) + c.points[i].y});
        rings.push_back(std::move(ring));
    }
    return rings;
}

}  // namespace
}  // namespace KERNEL

namespace MEASURE {

using namespace KERNEL;
using namespace KERNEL::MEASURE_GEOM;

distance_result feature_distance(const str& job, const str& step, const feature_ref& first,
                                 const feature_ref& second) {
    KERNEL_LOCK;
    const Located a = locate(job, step, first), b = locate(job, step, second);
    Core ca, cb;
    featureCore(a.ctx(), a.f, ca);
    featureCore(b.ctx(), b.f, cb);
    return toResult(shapeDistance(ca, cb));
}

distance_result point_distance(const str& job, const str& step, const feature_ref& feature,
                               double x, double y) {
    KERNEL_LOCK;
    checkFinite(x, "point x");
    checkFinite(y, "point y");
    const Located a = locate(job, step, feature);
    Core ca, cp;
    featureCore(a.ctx(), a.f, ca);
    cp.curves.push_back(segmentCurve({x, y}, {x, y}));
    cp.probes.push_back({x, y});
    return toResult(shapeDistance(ca, cp));
}

distance_result profile_distance(const str& job, const str& step, const feature_ref& feature) {
    KERNEL_LOCK;
    const Located a = locate(job, step, feature);
    const Step& s = findStep(findJob(job), step);
    if (s.profile.empty()) fail("step '" + step + "' has no profile");
    std::vector<Vec> pts;
    for (const API::lPoint& p : s.profile) pts.push_back({p.x, p.y});
    Core ca, cp;
    featureCore(a.ctx(), a.f, ca);
    polylineCore(pts, cp);
    return toResult(shapeDistance(ca, cp));
}

measure_point feature_center(const str& job, const str& step, const feature_ref& feature) {
    KERNEL_LOCK;
    const Feature& f = locate(job, step, feature).f;
    switch (f.type) {
    case API::FT_PAD: return {double(f.x1), double(f.y1)};
    case API::FT_ARC: return {double(f.xc), double(f.yc)};
    case API::FT_LINE: return {0.5 * (double(f.x1) + f.x2), 0.5 * (double(f.y1) + f.y2)};
    default: return {0.5 * (double(f.x2) + f.xc), 0.5 * (double(f.y2) + f.yc)};  // the box
    }
}

double feature_length(const str& job, const str& step, const feature_ref& feature) {
    KERNEL_LOCK;
    const Feature& f = locate(job, step, feature).f;
    if (f.type == API::FT_LINE) return std::hypot(double(f.x2) - f.x1, double(f.y2) - f.y1);
    if (f.type == API::FT_ARC) {
        const ArcGeom g = arcGeom(f);
        return g.radius * g.sweep();
    }
    fail("length: feature " + std::to_string(feature.index) + " of layer '" + feature.layer + "' is a " +
         kindName(f.type) + ", not a line or an arc");
}

double surface_perimeter(const str& job, const str& step, const feature_ref& feature) {
    KERNEL_LOCK;
    const Located l = locate(job, step, feature);
    expectKind(feature, l.f, API::FT_SURFACE, "perimeter");
    double sum = 0;
    for (const ContourSpan& c : surfaceContours(l.data, l.f))
        for (uint32_t i = 0; i < c.count; ++i) {
            const API::point& p = c.points[i];
            const API::point& q = c.points[(i + 1) % c.count];
            sum += std::hypot(double(q.x) - p.x, double(q.y) - p.y);
        }
    return sum;
}

double surface_area(const str& job, const str& step, const feature_ref& feature) {
    KERNEL_LOCK;
    const Located l = locate(job, step, feature);
    expectKind(feature, l.f, API::FT_SURFACE, "area");
    const std::vector<ContourSpan> spans = surfaceContours(l.data, l.f);
    const std::vector<std::vector<Vec>> rings = surfaceRings(l);
    // Even-odd: a contour inside an odd number of others bounds a hole. Twice
    // each contour's area is summed exactly in 128 bits (vertex offsets are
    // 32-bit, their products need 64 and the sum a little more).
    __int128 twice = 0;
    for (size_t k = 0; k < spans.size(); ++k) {
        const ContourSpan& c = spans[k];
        __int128 a = 0;
        for (uint32_t i = 0; i < c.count; ++i) {
            const API::point& p = c.points[i];
            const API::point& q = c.points[(i + 1) % c.count];
            a += static_cast<__int128>(p.x) * q.y - static_cast<__int128>(q.x) * p.y;
        }
        if (a < 0) a = -a;
        int depth = 0;
        for (size_t o = 0; o < rings.size(); ++o)
            if (o != k && pointInPolygon(rings[k][0], rings[o])) ++depth;
        twice += depth % 2 ? -a : a;
    }
    return static_cast<double>(twice) / 2;
}

double line_angle(const str& job, const str& step, const feature_ref& first, const feature_ref& second) {
    KERNEL_LOCK;
    const Feature& a = locate(job, step, first).f;
    const Feature& b = locate(job, step, second).f;
    expectKind(first, a, API::FT_LINE, "angle");
    expectKind(second, b, API::FT_LINE, "angle");
    const double ax = double(a.x2) - a.x1, ay = double(a.y2) - a.y1;
    const double bx = double(b.x2) - b.x1, by = double(b.y2) - b.y1;
    if ((ax == 0 && ay == 0) || (bx == 0 && by == 0)) fail("angle: a line of zero length has no direction");
    return std::atan2(std::fabs(ax * by - ay * bx), ax * bx + ay * by) * 180.0 / kPi;
}

}  // namespace MEASURE
}  // namespace TOLVA
