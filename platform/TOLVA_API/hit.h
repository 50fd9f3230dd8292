#pragma once
// Whether a feature's outline (with its symbol's width) meets a polygon.
#include <vector>

#include "geometry.h"

namespace TOLVA {
namespace KERNEL {

struct HitPolygon {
    std::vector<Vec> pts;  // closed implicitly
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    explicit HitPolygon(const std::vector<API::point>& points);
};

// insideOnly: the whole outline must lie inside the polygon.
bool featureMeets(const LayerContext& ctx, const Feature& f, const HitPolygon& q, bool insideOnly);

// Building blocks, exposed for tests.
bool pointInPolygon(const Vec& p, const std::vector<Vec>& poly);
double segmentDistance(const Vec& a, const Vec& b, const Vec& c, const Vec& d);
double pointSegmentDistance(const Vec& p, const Vec& a, const Vec& b);

}  // namespace KERNEL
}  // namespace TOLVA
