// The global resize of an imaging export: every feature grown (or shrunk) by
// the same distance on each side. Lines, arcs and pads take a grown symbol,
// which is exact for them: a round pen or pad grows its radius, a rectangle
// its sides, a donut its outer diameter while its hole shrinks. Negative
// (clearing) features shrink by the same distance. Surfaces are
// offset as polygons (round joins, so that a grown corner is the arc a
// machine's exposure spot would make). Texts keep their strokes.
#include "boost_geometry.h"
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#include <boost/geometry/geometries/multi_polygon.hpp>

#include <algorithm>
#include <cmath>

#include "imaging_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace imaging {
namespace {

namespace bg = boost::geometry;
using BPoint = bg::model::d2::point_xy<double>;
using BPolygon = bg::model::polygon<BPoint>;
using BMulti = bg::model::multi_polygon<BPolygon>;

// Points of a full circle in the round joins of an offset surface: the chord
// of a 1 mm radius then strays less than 1 um from the arc.
constexpr int kJoinPointsPerCircle = 72;

// The symbol grown by `grow` on each side; false when nothing is left.
bool grownSymbol(Symbol& s, double grow) {
    s.width += 2 * grow;
    s.height += 2 * grow;
    if (s.shape == SymbolShape::Donut) {
        s.inner = std::max(0.0, s.inner - 2 * grow);
        if (s.width <= s.inner) return false;
    }
    return s.width > 0 && s.height > 0;
}

// The surface's rings as one area under the even-odd rule: each ring toggles
// what it encloses.
BMulti evenOddArea(const LayerData& data, const Feature& f) {
    const SurfaceGeom& g = data.surfaces[f.ref];
    const API::point* p = data.vertices.data() + g.firstVertex;
    BMulti area;
    for (uint32_t c = 0; c < g.contourCount; ++c) {
        const uint32_t n = data.contourSizes[g.firstContour + c];
        BPolygon ring;
        for (uint32_t i = 0; i < n; ++i, ++p) ring.outer().push_back(BPoint(double(f.x1) + p->x, double(f.y1) + p->y));
        bg::correct(ring);
        BMulti toggled;
        bg::sym_difference(area, ring, toggled);
        area.swap(toggled);
    }
    return area;
}

void appendRing(const std::vector<BPoint>& ring, const Feature& f, LayerData& out, IBox& box) {
    // Closed rings repeat their first point; the kernel's contours do not.
    const size_t n = ring.size() > 1 && bg::equals(ring.front(), ring.back()) ? ring.size() - 1 : ring.size();
    for (size_t i = 0; i < n; ++i) {
        const int32_t x = static_cast<int32_t>(std::lround(ring[i].x()));
        const int32_t y = static_cast<int32_t>(std::lround(ring[i].y()));
        out.vertices.push_back({x - f.x1, y - f.y1});
        box = {std::min(box.xmin, x), std::min(box.ymin, y), std::max(box.xmax, x), std::max(box.ymax, y)};
    }
    out.contourSizes.push_back(static_cast<uint32_t>(n));
}

// Replaces surface f's geometry in `out` by its offset; false when the
// offset leaves nothing.
bool offsetSurface(const LayerData& in, Feature& f, double grow, LayerData& out) {
    const BMulti area = evenOddArea(in, f);
    BMulti offset;
    bg::buffer(area, offset, bg::strategy::buffer::distance_symmetric<double>(grow),
               bg::strategy::buffer::side_straight(), bg::strategy::buffer::join_round(kJoinPointsPerCircle),
               bg::strategy::buffer::end_flat(), bg::strategy::buffer::point_circle(kJoinPointsPerCircle));
    if (offset.empty()) return false;
    SurfaceGeom g;
    g.firstVertex = static_cast<uint32_t>(out.vertices.size());
    g.firstContour = static_cast<uint32_t>(out.contourSizes.size());
    IBox box{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
    for (const BPolygon& poly : offset) {
        appendRing(poly.outer(), f, out, box);
        for (const auto& inner : poly.inners()) appendRing(inner, f, out, box);
    }
    g.contourCount = static_cast<uint32_t>(out.contourSizes.size()) - g.firstContour;
    f.ref = static_cast<uint32_t>(out.surfaces.size());
    out.surfaces.push_back(g);
    f.x2 = box.xmin, f.y2 = box.ymin, f.xc = box.xmax, f.yc = box.ymax;
    return true;
}

}  // namespace

void resizedLayer(const LayerDef& def, const LayerData& data, double grow, ImagedLayer& out) {
    out.def.row = def.row;
    out.def.symbols = def.symbols;
    out.data.features = data.features;
    out.data.texts = data.texts;
    out.drawn.assign(data.features.size(), true);
    if (grow == 0) {
        out.data.vertices = data.vertices;
        out.data.contourSizes = data.contourSizes;
        out.data.surfaces = data.surfaces;
        return;
    }
    // Negative features clear: a grown image has smaller clearances, so they
    // take the symbols shrunk by the same distance, stored after the grown.
    const size_t n = def.symbols.size();
    out.def.symbols.insert(out.def.symbols.end(), def.symbols.begin(), def.symbols.end());
    std::vector<bool> symbolLeft(2 * n);
    for (size_t k = 0; k < 2 * n; ++k) symbolLeft[k] = grownSymbol(out.def.symbols[k], k < n ? grow : -grow);
    for (size_t id = 0; id < out.data.features.size(); ++id) {
        Feature& f = out.data.features[id];
        const double by = f.positive() ? grow : -grow;
        if (f.type == API::FT_SURFACE) {
            out.drawn[id] = offsetSurface(data, f, by, out.data);
        } else if (f.type != API::FT_TEXT) {
            if (!f.positive()) f.ref += static_cast<uint32_t>(n);
            out.drawn[id] = symbolLeft[f.ref];
        }
    }
}

}  // namespace imaging
}  // namespace KERNEL
}  // namespace TOLVA
