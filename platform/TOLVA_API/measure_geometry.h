#pragma once
// Exact distances, closest points and crossings between feature shapes, for
// measuring and snapping.
//
// Every filled feature outline is written as a core swept by a disc: the set
// of points within `radius` of the core. The core is a set of curves (segments
// and circular arcs); when `filled`, the curves are the edges of closed rings
// and the core is the area they enclose by the even-odd rule. Round pads and
// round-ended lines are a point or a segment swept by their radius, ovals a
// segment, arcs and donuts an arc or circle; rectangles, square-ended lines,
// surfaces and text boxes are filled rings with no radius. The distance
// between two such shapes is the distance between the cores less both radii,
// which is exact (no polygon approximation of the round parts).
#include <vector>

#include "geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace MEASURE_GEOM {

// A segment a-b (a point when a == b), or an arc: g's sweep of its circle,
// from a (on g's first ray) to b (on its last ray).
struct Curve {
    bool arc = false;
    Vec a, b;
    ArcGeom g;
    Extent box{0, 0, 0, 0};
};

Curve segmentCurve(const Vec& a, const Vec& b);
// The counter-clockwise arc around c of radius r from direction u0 to u1
// (unit vectors); full: the whole circle starting at u0.
Curve arcCurve(const Vec& c, double r, const Vec& u0, const Vec& u1, bool full);
// An arc feature's centre line, with its stored end points.
Curve arcCurve(const Feature& f);

struct Core {
    std::vector<Curve> curves;
    bool filled = false;
    std::vector<std::vector<Vec>> rings;  // filled: the rings, for point tests
    // One point of every connected piece of the curves (a ring's first
    // vertex): when two cores do not cross, one holds the other's pieces
    // entirely or not at all, so these points decide containment.
    std::vector<Vec> probes;
    double radius = 0;
};

struct Closest {
    double distance = 0;
    Vec a, b;  // on the first and second shape
};

// The filled outline of a feature as a swept core.
void featureCore(const LayerContext& ctx, const Feature& f, Core& out);
// A closed polyline as a curve core (not filled).
void polylineCore(const std::vector<Vec>& pts, Core& out);
void addRing(Core& core, const std::vector<Vec>& ring);

// The boundary of a feature's filled outline as curves; the centre line of a
// line or arc (nothing for other kinds).
void featureOutline(const LayerContext& ctx, const Feature& f, std::vector<Curve>& out);
void featureSkeleton(const Feature& f, std::vector<Curve>& out);

// Closest points between primitives and cores. Distances between cores are
// 0 when they cross or one holds the other; for swept shapes see
// shapeDistance.
Closest closestPoint(const Curve& c, const Vec& p);  // a on the curve, b = p
Closest closestCurves(const Curve& c, const Curve& d);
Closest closestCores(const Core& a, const Core& b);
// Distance between the swept shapes (the cores widened by their radii).
Closest shapeDistance(const Core& a, const Core& b);
bool coreContains(const Core& c, const Vec& p);

// Points where two curves cross (appended); overlapping collinear segments
// give the ends of the overlap, coinciding circles nothing.
void crossings(const Curve& c, const Curve& d, std::vector<Vec>& out);

// Distance from a point to a box (0 inside).
double boxDistance(const Extent& e, const Vec& p);

}  // namespace MEASURE_GEOM
}  // namespace KERNEL
}  // namespace TOLVA
