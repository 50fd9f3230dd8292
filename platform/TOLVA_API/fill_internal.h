#pragma once
// What the contour fills share: regions checked and turned into
// Boost.Geometry polygons, ring nesting, and the feature-count estimate.
#include "boost_geometry.h"
#include <boost/geometry/geometries/point_xy.hpp>
#include <string>
#include <vector>

#include "TOLVA_Fill.h"
#include "geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace FILL_IMPL {

namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;
using BPolygon = bg::model::polygon<BPoint, false, true>;  // counter-clockwise, closed
using BMulti = bg::model::multi_polygon<BPolygon>;
using Ring = std::vector<Vec>;

// Rounding a vertex to whole nanometres moves it by at most half a
// nanometre on each axis; the fills stay this far inside what they promise.
constexpr double kRoundingAllowance = 1.0;

// The ring without a repeated closing vertex or repeated neighbours; throws
// when fewer than three distinct vertices or no area remain.
Ring cleanRing(const std::vector<API::lPoint>& points, const char* what);
Ring cleanRing(const Ring& points, const char* what);
// Every ring of the region cleaned (outer rings first within each island);
// throws for an empty region.
std::vector<std::vector<Ring>> checkedRegion(const FILL::region& area);
BMulti toMulti(const std::vector<std::vector<Ring>>& islands);
// A closed Boost ring without its repeated last point.
std::vector<API::lPoint> ringPoints(const BPolygon::ring_type& ring);
// A Boost polygon back to the surface form (each ring closed by repeating its
// first point), appended to `out`.
void appendSurfacePoints(const BPolygon& polygon, std::vector<API::lPoint>& out);
// Islands from closed rings by the even-odd rule: a ring inside an odd number
// of others is a hole of the innermost ring that holds it.
FILL::region nestRings(const std::vector<Ring>& rings);
double signedArea(const Ring& ring);

// Throws when `value` is not finite and positive.
void checkPositive(double value, const char* what);
// Throws when the estimate exceeds FILL::kMaxFillFeatures.
void checkEstimate(double features, const char* what);

}  // namespace FILL_IMPL
}  // namespace KERNEL
}  // namespace TOLVA
