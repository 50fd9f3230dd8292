// Surfaces divided along a cut line or with an outline cut out. The work is
// done on integer polygons (nanometres) with Boost.Geometry's boolean
// operations: the pieces on the two sides of a cut are the surface's
// intersection with, and difference from, one polygon bounded by the cut,
// so they meet along the cut.
#include <algorithm>

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/linestring.hpp>
#include <boost/geometry/geometries/multi_polygon.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>

#include "edit_tools_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {
namespace {

namespace bg = boost::geometry;
using IPoint = bg::model::d2::point_xy<int64_t>;
using IPolygon = bg::model::polygon<IPoint>;
using IMulti = bg::model::multi_polygon<IPolygon>;
using ILine = bg::model::linestring<IPoint>;

IPoint ipoint(const API::lPoint& p) { return {static_cast<int64_t>(p.x), static_cast<int64_t>(p.y)}; }

IPolygon polygonOf(const std::vector<API::lPoint>& ring) {
    IPolygon p;
    for (const API::lPoint& v : ring) p.outer().push_back(ipoint(v));
    bg::correct(p);
    return p;
}

// The surface as a multi-polygon: its contours combined by the even-odd
// rule, as it is filled.
IMulti multiOf(const std::vector<std::vector<API::lPoint>>& contours) {
    IMulti m;
    for (const auto& c : contours) {
        IMulti ring;
        ring.push_back(polygonOf(c));
        IMulti next;
        bg::sym_difference(m, ring, next);
        m = std::move(next);
    }
    return m;
}

std::vector<std::vector<API::lPoint>> contoursOf(const IPolygon& p) {
    auto ringOf = [](const auto& r) {
        std::vector<API::lPoint> out;
        for (size_t i = 0; i + 1 < r.size(); ++i) out.push_back({double(r[i].x()), double(r[i].y())});  // closed: last repeats
        return out;
    };
    std::vector<std::vector<API::lPoint>> out{ringOf(p.outer())};
    for (const auto& inner : p.inners()) out.push_back(ringOf(inner));
    return out;
}

// Where the ray from `from` through `to` (continued beyond `to`) leaves the
// box, as a position along the box's outline counted counter-clockwise from
// its lower left corner.
double exitAlongBox(const bg::model::box<IPoint>& box, const IPoint& from, const IPoint& to, IPoint& exit) {
    const double x0 = double(box.min_corner().x()), y0 = double(box.min_corner().y());
    const double x1 = double(box.max_corner().x()), y1 = double(box.max_corner().y());
    const double dx = double(to.x() - from.x()), dy = double(to.y() - from.y());
    double t = 1e300;
    if (dx > 0) t = std::min(t, (x1 - to.x()) / dx);
    if (dx < 0) t = std::min(t, (x0 - to.x()) / dx);
    if (dy > 0) t = std::min(t, (y1 - to.y()) / dy);
    if (dy < 0) t = std::min(t, (y0 - to.y()) / dy);
    const double x = std::clamp(std::round(to.x() + dx * t), x0, x1), y = std::clamp(std::round(to.y() + dy * t), y0, y1);
    exit = {static_cast<int64_t>(x), static_cast<int64_t>(y)};
    const double w = x1 - x0, h = y1 - y0;
    if (y == y0) return x - x0;
    if (x == x1) return w + (y - y0);
    if (y == y1) return w + h + (x1 - x);
    return 2 * w + h + (y1 - y);
}

// The polygon on the left of the cut: the cut, continued from its last point
// out to a box around everything, the box's outline counter-clockwise back to
// where the cut's start continued backwards leaves it, and in to the start.
IPolygon leftOfCut(const ILine& cut, const IMulti& surface) {
    bg::model::box<IPoint> box;
    bg::envelope(surface, box);
    bg::model::box<IPoint> c;
    bg::envelope(cut, c);
    bg::expand(box, c);
    const int64_t margin = std::max<int64_t>(1000, std::max(box.max_corner().x() - box.min_corner().x(),
                                                            box.max_corner().y() - box.min_corner().y()));
    box = {{box.min_corner().x() - margin, box.min_corner().y() - margin},
           {box.max_corner().x() + margin, box.max_corner().y() + margin}};
    IPoint endExit, startExit;
    double from = exitAlongBox(box, cut[cut.size() - 2], cut.back(), endExit);
    double to = exitAlongBox(box, cut[1], cut.front(), startExit);
    const double perimeter = 2.0 * double(box.max_corner().x() - box.min_corner().x() + box.max_corner().y() - box.min_corner().y());
    if (to < from) to += perimeter;
    const IPoint corners[4] = {{box.max_corner().x(), box.min_corner().y()}, box.max_corner(),
                               {box.min_corner().x(), box.max_corner().y()}, box.min_corner()};
    const double w = double(box.max_corner().x() - box.min_corner().x()), h = double(box.max_corner().y() - box.min_corner().y());
    const double at[4] = {w, w + h, 2 * w + h, perimeter};
    IPolygon p;
    for (const IPoint& v : cut) p.outer().push_back(v);
    p.outer().push_back(endExit);
    for (int lap = 0; lap < 2; ++lap)
        for (int k = 0; k < 4; ++k) {
            const double pos = at[k] + lap * perimeter;
            if (pos > from && pos < to) p.outer().push_back(corners[k]);
        }
    p.outer().push_back(startExit);
    p.outer().push_back(cut.front());
    bg::correct(p);
    return p;
}

void collect(const IMulti& m, std::vector<std::vector<std::vector<API::lPoint>>>& pieces) {
    for (const IPolygon& p : m)
        if (bg::area(p) != 0) pieces.push_back(contoursOf(p));
}

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

std::vector<int> divide_surface(const str& job, const str& step, const str& layer, int index,
                                const std::vector<API::lPoint>& cut, int mode) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    const EditLayer l = editLayer(j, s, layer);
    const uint32_t id = featureId(l, index);
    const Feature& f = l.data.features[id];
    if (mode != 0 && mode != 1) fail("divide mode must be 0 (along a line) or 1 (an outline cut out), not " + std::to_string(mode));
    if (f.type != API::FT_SURFACE) fail("feature " + std::to_string(index) + " of layer '" + layer + "' is not a surface");
    std::vector<API::lPoint> points;
    for (const API::lPoint& p : cut) {
        const API::lPoint v{double(toCoordinate(p.x, "cut x")), double(toCoordinate(p.y, "cut y"))};
        if (points.empty() || points.back().x != v.x || points.back().y != v.y) points.push_back(v);
    }
    const IMulti surface = multiOf(KERNEL::EDITS::contoursOf(l.data, f));
    std::vector<std::vector<std::vector<API::lPoint>>> pieces;
    if (mode == 0) {
        if (points.size() < 2) fail("a cut line needs two points or more");
        ILine line;
        for (const API::lPoint& p : points) line.push_back(ipoint(p));
        if (!bg::is_simple(line)) fail("the cut line crosses itself");
        for (const IPoint& end : {line.front(), line.back()})
            if (bg::within(end, surface)) fail("the cut line must start and end outside the surface or on its outline");
        const IPolygon left = leftOfCut(line, surface);
        if (!bg::is_valid(left)) fail("the cut line winds back across its own ends: draw its ends leading away from the surface");
        IMulti in, out;
        bg::intersection(surface, left, in);
        bg::difference(surface, left, out);
        collect(in, pieces);
        const size_t inside = pieces.size();
        collect(out, pieces);
        if (inside == 0 || pieces.size() == inside) fail("the cut line does not cross the surface");
    } else {
        if (points.size() > 1 && points.back().x == points.front().x && points.back().y == points.front().y) points.pop_back();
        if (points.size() < 3) fail("a cut outline needs three points or more");
        const IPolygon outline = polygonOf(points);
        if (!bg::is_valid(outline)) fail("the cut outline crosses itself or has no area");
        if (!bg::intersects(surface, outline) || bg::touches(surface, outline)) fail("the cut outline does not meet the surface");
        IMulti rest;
        bg::difference(surface, outline, rest);
        collect(rest, pieces);
        if (pieces.empty()) fail("the cut outline takes all of the surface away");
    }
    LayerEdit e;
    e.layer = l.layer;
    for (size_t i = 0; i < pieces.size(); ++i) {
        Piece piece;
        piece.p = surfaceOf(pieces[i], f);
        if (i == 0) {
            e.replaceIds.push_back(id);
            e.replaceWith.push_back(std::move(piece));
        } else {
            e.append.push_back(std::move(piece));
        }
    }
    if (l.data.features.size() + e.append.size() > kMaxLayerFeatures) fail("layer '" + layer + "' would hold too many features");
    std::vector<LayerEdit> edits{std::move(e)};
    SymbolBook none;
    return commitEdits(j, s, edits, none, {}).front();
}

}  // namespace EDIT
}  // namespace TOLVA
