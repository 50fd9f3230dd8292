// Drawing layers, selections, profiles and notes into the canvas.
#include <algorithm>
#include <map>
#include <memory>
#include <tuple>

#include "TOLVA_API.h"
#include "kernel.h"
#include "raster.h"
#include "steps_internal.h"

namespace TOLVA {
namespace KERNEL {

// Pins, boxes and labels of a layer's notes (notes.cpp).
void drawNoteMarks(Raster& raster, const std::vector<Note>& notes);

namespace {

// Colour of highlighted (selected) features: opaque white.
constexpr uint8_t kHighlight[4] = {255, 255, 255, 255};
// Below this share of the layer's box in view, the spatial index is queried
// instead of walking every feature.
constexpr double kQueryShare = 0.3;
// A stored box is rounded out to whole nanometres, so it is at most this much
// wider or higher than the shape (nanometres).
constexpr double kBoxRounding = 2;

#if defined(__GNUC__)
#define NOINLINE __attribute__((noinline))
#define ALWAYS_INLINE __attribute__((always_inline))
#else
#define NOINLINE
#define ALWAYS_INLINE
#endif

uint32_t packColour(int r, int g, int b, int a) {
    auto clamp = [](int v) { return static_cast<uint8_t>(std::max(0, std::min(255, v))); };
    uint8_t bytes[4] = {clamp(r), clamp(g), clamp(b), clamp(a)};
    // A painted pixel always has a non-zero colour byte, even when black is asked for.
    if (bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 0) bytes[0] = bytes[1] = bytes[2] = 1;
    uint32_t c;
    std::memcpy(&c, bytes, 4);
    return c;
}

// Per-symbol values the drawing loop needs, at the scale of the draw.
struct SymbolPen {
    SymbolShape shape;
    double radius;  // stroke radius of lines and arcs
    bool square;
    double hw, hh;  // half width and height
    // Pixel space: how far a line's pen reaches across and down, whether it
    // is drawn one pixel wide, the half sizes of a pad upright and turned a
    // quarter, and the round pad's pen.
    double lineU, lineV;
    bool hairline;
    double padU, padV, turnedU, turnedV;
    DiscPen disc;
    // Small round pads: how many have been drawn, and once there are enough
    // to pay for it, the table of their spans.
    bool small;
    bool looked;  // for a table made by an earlier draw
    int discs;
    std::shared_ptr<const DiscTable> table;
};

// Round pads of one symbol drawn before its span table is built.
constexpr int kDiscTableUses = 1024;
// Span tables kept for later draws at the same scale.
constexpr size_t kDiscTablesKept = 64;

// The span table of a round pen on a canvas of the given width, made by an
// earlier draw; or, with make set, made now. Null when there is none.
std::shared_ptr<const DiscTable> discTable(const DiscPen& pen, int stride, bool make) {
    using Key = std::tuple<double, double, double, double, int>;
    static std::map<Key, std::shared_ptr<const DiscTable>> kept;  // under the kernel lock
    const Key key{pen.ru, pen.rv, pen.ru2, pen.kv, stride};
    auto it = kept.find(key);
    if (it != kept.end()) return it->second;
    if (!make) return nullptr;
    if (kept.size() >= kDiscTablesKept) kept.clear();
    auto table = std::make_shared<const DiscTable>(pen, stride);
    kept.emplace(key, table);
    return table;
}

class LayerPainter {
public:
    LayerPainter(Raster& raster, const LayerDef& def, LayerData& data)
        : m_r(raster), m_def(def), m_data(data) {
        const double iu = 1.0 / raster.pixelWidth(), iv = 1.0 / raster.pixelHeight();
        for (const Symbol& s : def.symbols) {
            SymbolPen p;
            p.shape = s.shape;
            p.radius = strokeRadius(s);
            p.square = squareEnds(s);
            p.hw = s.width / 2;
            p.hh = s.height / 2;
            p.lineU = (p.square ? p.hw : p.radius) * iu;
            p.lineV = (p.square ? p.hh : p.radius) * iv;
            p.hairline = p.square ? 2 * p.hw < raster.pixelWidth() && 2 * p.hh < raster.pixelHeight()
                                  : raster.thin(p.radius);
            p.padU = p.hw * iu;
            p.padV = p.hh * iv;
            p.turnedU = p.hh * iu;
            p.turnedV = p.hw * iv;
            p.disc = raster.discPen(p.hw);
            p.small = s.shape == SymbolShape::Round && p.disc.ru <= DiscTable::kMaxRadius &&
                      p.disc.rv <= DiscTable::kMaxRadius;
            p.looked = false;
            p.discs = 0;
            m_pens.push_back(std::move(p));
        }
    }

    // Inside: the whole layer lies at least kInsideMargin pixels inside the
    // canvas, so no feature needs the tests against the canvas's edges.
    template <bool Inside>
    void draw(const Feature& f) {
        // Lines and unrotated, unscaled pads are the bulk of a board: they go
        // to pixel space once and their extent comes straight from the symbol.
        if (f.type == API::FT_LINE) {
            const SymbolPen& p = m_pens[f.ref];
            const double u1 = m_r.u(f.x1), v1 = m_r.v(f.y1), u2 = m_r.u(f.x2), v2 = m_r.v(f.y2);
            const double ulo = std::min(u1, u2), uhi = std::max(u1, u2);
            const double vlo = std::min(v1, v2), vhi = std::max(v1, v2);
            if (handledByCullUV<Inside>(ulo - p.lineU, uhi + p.lineU, vlo - p.lineV, vhi + p.lineV, u1, v1)) return;
            if (!p.hairline)
                drawLine(f);
            else if (Inside)
                m_r.hairlineInside(u1, v1, u2, v2, ulo, uhi, vlo, vhi);
            else
                m_r.hairlineUV(u1, v1, u2, v2);
            return;
        }
        if (f.type == API::FT_PAD && f.angle % 90 == 0 && f.scale() == 1.0f) {
            SymbolPen& p = m_pens[f.ref];
            const bool turned = f.angle % 180 != 0;
            const double hu = turned ? p.turnedU : p.padU, hv = turned ? p.turnedV : p.padV;
            const double uc = m_r.u(f.x1), vc = m_r.v(f.y1);
            if (handledByCullUV<Inside>(uc - hu, uc + hu, vc - hv, vc + hv, uc, vc)) return;
            if (p.shape == SymbolShape::Round) {
                if (!p.table)
                    drawDisc(p, uc, vc);
                else if (Inside)
                    m_r.discFromTable(uc, vc, p.disc, *p.table);
                else
                    m_r.discUV(uc, vc, p.disc, *p.table);
                return;
            }
            if (p.shape == SymbolShape::Square || p.shape == SymbolShape::Rect) {
                m_r.rectUV(uc - hu, uc + hu, vc - hv, vc + hv, uc, vc);
                return;
            }
        }
        drawOther(f);
    }

private:
    // True when the feature's box is off the canvas, or smaller than a pixel
    // (then it is drawn as the one pixel of its first point, which lies in
    // the box, so that a feature whose first point is on the canvas shows).
    bool handledByCull(const Extent& e, const Feature& f) {
        return handledByCullUV(m_r.u(e.xmin), m_r.u(e.xmax), m_r.v(e.ymax), m_r.v(e.ymin), m_r.u(f.x1),
                               m_r.v(f.y1));
    }
    // The same in pixel space: columns ul..ur, rows vt..vb, first point (pu, pv).
    template <bool Inside = false>
    bool handledByCullUV(double ul, double ur, double vt, double vb, double pu, double pv) {
        if (!Inside && (ur < 0 || vb < 0 || ul >= m_r.widthU() || vt >= m_r.heightV())) return true;
        if (ur - ul < 1 && vb - vt < 1) {
            m_r.dotAt(pu, pv);
            return true;
        }
        return false;
    }
    // A shape that covers no pixel centre shows as the pixel of its first point.
    void fallback(const Feature& f) {
        if (!m_r.painted()) m_r.dot(f.x1, f.y1);
    }

    // A round pad drawn before its symbol has a span table; builds the table
    // once enough of them have been drawn.
    NOINLINE void drawDisc(SymbolPen& p, double uc, double vc) {
        if (p.small) {
            if (!p.looked) {
                p.looked = true;
                p.table = discTable(p.disc, m_r.width(), false);
            }
            if (!p.table && ++p.discs == kDiscTableUses) p.table = discTable(p.disc, m_r.width(), true);
            if (p.table) {
                m_r.discUV(uc, vc, p.disc, *p.table);
                return;
            }
        }
        m_r.discUV(uc, vc, p.disc);
    }

    // Everything but lines and pads at right angles.
    NOINLINE void drawOther(const Feature& f) {
        switch (f.type) {
        case API::FT_ARC: {
            // The geometry once, for the box and the drawing.
            const SymbolPen& p = m_pens[f.ref];
            const ArcGeom g = arcGeom(f);
            if (handledByCull(arcExtent(g, f, p.radius), f)) return;
            if (m_r.thin(p.radius))
                m_r.hairArc(g);
            else
                m_r.arc(g, Vec{double(f.x1), double(f.y1)}, Vec{double(f.x2), double(f.y2)}, p.radius);
            break;
        }
        case API::FT_PAD:
            if (handledByCull(padExtent(m_def.symbols[f.ref], f), f)) return;
            drawPad(f);
            break;
        case API::FT_SURFACE:
            // Whole nanometre vertices: the stored box is the exact one.
            if (handledByCull(Extent{double(f.x2), double(f.y2), double(f.xc), double(f.yc)}, f)) return;
            drawSurface(f);
            break;
        case API::FT_TEXT:
            drawText(f);  // a text's strokes are shapes of their own: it falls back by itself
            return;
        default:
            return;
        }
        fallback(f);
    }

    // A line wider than a pixel.
    NOINLINE void drawLine(const Feature& f) {
        const SymbolPen& p = m_pens[f.ref];
        if (p.square) {
            Vec hull[8];
            int n = squareLineHull(f.x1, f.y1, f.x2, f.y2, p.hw, p.hh, hull);
            m_r.convexPolygon(hull, n);
        } else {
            m_r.capsule(f.x1, f.y1, f.x2, f.y2, p.radius);
        }
        fallback(f);
    }

    void drawPad(const Feature& f) {
        PadShape p = padShape(m_def.symbols[f.ref], f);
        switch (p.shape) {
        case SymbolShape::Round:
            m_r.disc(p.cx, p.cy, p.w / 2);
            break;
        case SymbolShape::Square:
        case SymbolShape::Rect:
            if (p.angle % 90 == 0) {
                double hx = p.w / 2, hy = p.h / 2;
                if (p.angle % 180 != 0) std::swap(hx, hy);
                m_r.rectUV(m_r.u(p.cx - hx), m_r.u(p.cx + hx), m_r.v(p.cy + hy), m_r.v(p.cy - hy), m_r.u(p.cx),
                           m_r.v(p.cy));
            } else {
                Vec c[4];
                rectCorners(p, c);
                m_r.convexPolygon(c, 4);
            }
            break;
        case SymbolShape::Oval: {
            Vec a, b;
            double r;
            ovalSegment(p, a, b, r);
            m_r.capsule(a.x, a.y, b.x, b.y, r);
            break;
        }
        case SymbolShape::Donut:
            m_r.annulus(p.cx, p.cy, p.w / 2, p.inner / 2);
            break;
        }
    }

    // Surfaces and texts reuse the painter's storage: no allocation per feature.
    void drawSurface(const Feature& f) {
        const SurfaceGeom& g = m_data.surfaces[f.ref];
        if (m_rings.size() < g.contourCount) m_rings.resize(g.contourCount);
        for (auto& ring : m_rings) ring.clear();
        const API::point* p = m_data.vertices.data() + g.firstVertex;
        for (uint32_t c = 0; c < g.contourCount; ++c) {
            const uint32_t n = m_data.contourSizes[g.firstContour + c];
            std::vector<Vec>& ring = m_rings[c];
            for (uint32_t i = 0; i < n; ++i, ++p) ring.push_back({double(f.x1) + p->x, double(f.y1) + p->y});
        }
        // Rings beyond this surface's contours are left empty, and skipped.
        m_r.polygon(m_rings);
    }

    void drawText(const Feature& f) {
        // The stored box (anchor and strokes, widened by the pen) culls; only
        // near a pixel's size is the exact one worked out.
        const double ul = m_r.u(f.x2), ur = m_r.u(f.xc), vt = m_r.v(f.yc), vb = m_r.v(f.y2);
        if (ur < 0 || vb < 0 || ul >= m_r.widthU() || vt >= m_r.heightV()) return;
        layoutText(f.x1, f.y1, m_data.texts[f.ref], f.angle, f.flags & kMirror, m_text);
        const TextLayout& t = m_text;
        if (ur - ul < 1 + kBoxRounding / m_r.pixelWidth() && vb - vt < 1 + kBoxRounding / m_r.pixelHeight() &&
            handledByCull(textExtent(f.x1, f.y1, t), f))
            return;
        const bool thin = m_r.thin(t.radius);
        bool any = false;
        for (const Segment& s : t.strokes) {
            if (thin)
                m_r.hairline(s.a.x, s.a.y, s.b.x, s.b.y);
            else
                m_r.capsule(s.a.x, s.a.y, s.b.x, s.b.y, t.radius);
            any |= m_r.painted();
        }
        if (!any) m_r.dot(f.x1, f.y1);
    }

    Raster& m_r;
    const LayerDef& m_def;
    LayerData& m_data;
    std::vector<SymbolPen> m_pens;
    std::vector<std::vector<Vec>> m_rings;
    TextLayout m_text;
};

ViewBox currentBox() {
    KernelState& s = state();
    if (s.boxSet) return s.box;
    // Before any zoom_to_box: one micrometre per pixel from the origin.
    return {0, 0, s.width * 1000.0, s.height * 1000.0};
}

// Whether there is anything to draw into: a canvas and a view box with area.
bool canDraw() {
    KernelState& s = state();
    if (s.width == 0 || s.height == 0) return false;
    ViewBox b = currentBox();
    return b.xmax > b.xmin && b.ymax > b.ymin;
}

enum class Pass { Layer, Highlight };

// How far inside the canvas (pixels) a layer must lie for its features to be
// drawn without tests against the canvas's edges: more than any rounding, and
// than the reach of a disc's span table.
constexpr double kInsideMargin = 2;

// A whole-nanometre move of every feature drawn: an instance drawn from its
// child's (turned) layer. Moving the records, not the raster, keeps every
// coordinate the rasteriser sees what the flattened step would give it.
struct Offset {
    int32_t dx = 0, dy = 0;
    bool none() const { return dx == 0 && dy == 0; }
};

// The features of one layer's data in view, moved by `off`, over what the
// canvas of the raster holds.
void paintData(Raster& raster, const LayerDef& def, LayerData& data, const ViewBox& vb, uint32_t colour, Pass pass,
               Offset off = {}) {
    if (data.features.empty()) return;
    LayerPainter painter(raster, def, data);

    ensureIndex(def, data);
    SpatialIndex::Box bounds;
    if (!data.index.bounds(bounds)) return;
    const double bx0 = bounds.min_corner().get<0>() + double(off.dx), by0 = bounds.min_corner().get<1>() + double(off.dy);
    const double bx1 = bounds.max_corner().get<0>() + double(off.dx), by1 = bounds.max_corner().get<1>() + double(off.dy);
    const double ix0 = std::max(bx0, vb.xmin), iy0 = std::max(by0, vb.ymin);
    const double ix1 = std::min(bx1, vb.xmax), iy1 = std::min(by1, vb.ymax);
    if (ix0 > ix1 || iy0 > iy1) return;
    const double layerArea = std::max(bx1 - bx0, 1.0) * std::max(by1 - by0, 1.0);
    const double share = std::max(ix1 - ix0, 1.0) * std::max(iy1 - iy0, 1.0) / layerArea;

    const uint32_t background = backgroundPixel();
    raster.setColour(colour);
    // Whole-board views usually show every feature well inside the canvas.
    const bool inside = raster.u(bx0) >= kInsideMargin && raster.u(bx1) <= raster.width() - kInsideMargin &&
                        raster.v(by1) >= kInsideMargin && raster.v(by0) <= raster.height() - kInsideMargin;
    auto paintOne = [&](const Feature& f) ALWAYS_INLINE {
        if (pass == Pass::Highlight) {
            if (!f.selected()) return;
        } else {
            const uint32_t c = f.positive() ? colour : background;
            if (c != raster.colour()) raster.setColour(c);
        }
        if (inside)
            painter.draw<true>(f);
        else
            painter.draw<false>(f);
    };
    auto paint = [&](const Feature& f) ALWAYS_INLINE {
        if (off.none()) {
            paintOne(f);
            return;
        }
        Feature moved = f;
        translate(data, moved, off.dx, off.dy);
        paintOne(moved);
    };
    if (share >= kQueryShare) {
        // Most of the layer is in view: every feature, in memory order (the
        // records stream in, and consecutive ones tend to be near each other).
        for (const Feature& f : data.features) paint(f);
        return;
    }
    std::vector<uint32_t> ids;
    auto clampInt = [](double v) {
        return static_cast<int32_t>(std::max(-2147483647.0, std::min(2147483647.0, v)));
    };
    SpatialIndex::Box view({clampInt(std::floor(vb.xmin - off.dx)), clampInt(std::floor(vb.ymin - off.dy))},
                           {clampInt(std::ceil(vb.xmax - off.dx)), clampInt(std::ceil(vb.ymax - off.dy))});
    data.index.query(data.features, view, ids);
    std::sort(ids.begin(), ids.end());  // layer order
    for (uint32_t id : ids) paint(data.features[id]);
}

// Instances that show the same child the same way round, a whole number of
// pixels apart on both axes, look the same: the first of them that lies
// wholly on the canvas (the leader) is drawn once more into a canvas of its
// own, the step-and-repeat canvas, and the others are copied from it.
// Instances at other sub-pixel phases, and all of them when none lies wholly
// on the canvas, are drawn feature by feature.
constexpr size_t kMaxStampGroups = 4;
// Pixels around the box of an instance's features that a stroke's rounding
// or a fallback pixel may reach.
constexpr int kStampMargin = 3;
// Step-and-repeat canvas pixels nothing has been drawn on: painted pixels
// have a colour byte set, the background an opaque alpha.
constexpr uint32_t kUnpainted = 0;

struct PixelBox {
    int u0, v0, u1, v1;
};

struct StampGroup {
    size_t child;
    SR::Placement leader;
    PixelBox box;
    std::vector<uint32_t>* pixels = nullptr;  // null until a copy is needed
};

std::vector<std::vector<uint32_t>>& stepRepeatCanvases() {
    static std::vector<std::vector<uint32_t>> canvases(kMaxStampGroups);  // under the kernel lock
    return canvases;
}

// Draws the leader into step-and-repeat canvas `n`.
std::vector<uint32_t>* drawLeader(const StampGroup& g, size_t n, const LayerDef& def, LayerData& data,
                                  const Raster& view, const ViewBox& vb, uint32_t colour) {
    std::vector<uint32_t>& pixels = stepRepeatCanvases()[n];
    const int w = view.width(), h = view.height();
    pixels.resize(static_cast<size_t>(w) * h);
    for (int v = g.box.v0; v <= g.box.v1; ++v)
        std::fill_n(pixels.data() + static_cast<size_t>(v) * w + g.box.u0, g.box.u1 - g.box.u0 + 1, kUnpainted);
    Raster raster(pixels.data(), w, h, vb);
    paintData(raster, def, data, vb, colour, Pass::Layer,
              Offset{static_cast<int32_t>(g.leader.ox), static_cast<int32_t>(g.leader.oy)});
    return &pixels;
}

// Copies the leader's picture moved by (ku, kv) pixels onto the canvas.
void stamp(const StampGroup& g, uint32_t* canvas, int w, int h, int ku, int kv) {
    const int a = std::max(g.box.u0, -ku), b = std::min(g.box.u1, w - 1 - ku);
    if (a > b) return;
    for (int v = std::max(g.box.v0, -kv); v <= std::min(g.box.v1, h - 1 - kv); ++v) {
        const uint32_t* src = g.pixels->data() + static_cast<size_t>(v) * w;
        uint32_t* dst = canvas + static_cast<size_t>(v + kv) * w + ku;
        // Written for every pixel of the span (the canvas's own where the
        // copy is unpainted) so that the loop is vectorised.
        for (int u = a; u <= b; ++u) dst[u] = src[u] != kUnpainted ? src[u] : dst[u];
    }
}

// Whole pixels between two placements of the same child, when the move is
// exactly whole on both axes.
bool wholePixels(const Raster& r, const SR::Placement& from, const SR::Placement& to, int& ku, int& kv) {
    const double du = (to.ox - from.ox) / r.pixelWidth(), dv = (from.oy - to.oy) / r.pixelHeight();
    if (du != std::nearbyint(du) || dv != std::nearbyint(dv) || std::fabs(du) > 1e6 || std::fabs(dv) > 1e6)
        return false;
    ku = static_cast<int>(du);
    kv = static_cast<int>(dv);
    return true;
}

void drawInstances(Job& j, size_t step, size_t layer, Raster& raster, const ViewBox& vb, uint32_t colour) {
    const LayerDef& def = j.layers[layer];
    const int w = raster.width(), h = raster.height();
    std::vector<StampGroup> groups;
    for (const STEP::sr_row& r : j.steps[step].srTable) {
        const size_t child = SR::childIndex(j, r);
        for (int iy = 0; iy < r.ny; ++iy)
            for (int ix = 0; ix < r.nx; ++ix) {
                const SR::Placement p = SR::placementOf(r, ix, iy);
                LayerData& data = SR::orientedLayer(j, child, layer, p);
                if (data.features.empty()) continue;
                ensureIndex(def, data);
                SpatialIndex::Box bounds;
                if (!data.index.bounds(bounds)) continue;
                const PixelBox box{
                    floorInt(raster.u(bounds.min_corner().get<0>() + p.ox)) - kStampMargin,
                    floorInt(raster.v(bounds.max_corner().get<1>() + p.oy)) - kStampMargin,
                    ceilInt(raster.u(bounds.max_corner().get<0>() + p.ox)) + kStampMargin,
                    ceilInt(raster.v(bounds.min_corner().get<1>() + p.oy)) + kStampMargin};
                if (box.u1 < 0 || box.v1 < 0 || box.u0 >= w || box.v0 >= h) continue;  // out of view: untouched
                bool stamped = false;
                for (size_t n = 0; n < groups.size() && !stamped; ++n) {
                    StampGroup& g = groups[n];
                    int ku = 0, kv = 0;
                    if (g.child != child || !g.leader.sameOrientation(p) || g.leader.angle != p.angle ||
                        !wholePixels(raster, g.leader, p, ku, kv))
                        continue;
                    if (!g.pixels) g.pixels = drawLeader(g, n, def, data, raster, vb, colour);
                    stamp(g, state().canvas.data(), w, h, ku, kv);
                    stamped = true;
                }
                if (stamped) continue;
                const bool whole = box.u0 >= 0 && box.v0 >= 0 && box.u1 < w && box.v1 < h;
                if (whole && groups.size() < kMaxStampGroups) groups.push_back(StampGroup{child, p, box, nullptr});
                paintData(raster, def, data, vb, colour, Pass::Layer,
                          Offset{static_cast<int32_t>(p.ox), static_cast<int32_t>(p.oy)});
            }
    }
}

void drawLayerPass(const std::string& job, const std::string& step, const std::string& layer,
                   uint32_t colour, Pass pass) {
    Job& j = findJob(job);
    const size_t si = findStepIndex(j, step);
    Step& s = j.steps[si];
    size_t li = findLayerIndex(j, layer);
    KernelState& st = state();
    if (!canDraw()) return;
    const ViewBox vb = currentBox();
    Raster raster(st.canvas.data(), st.width, st.height, vb);
    paintData(raster, j.layers[li], s.layers[li], vb, colour, pass);
    // Instances are drawn over the step's own features; they hold no selection.
    if (pass == Pass::Layer && !s.srTable.empty()) drawInstances(j, si, li, raster, vb, colour);
}

}  // namespace

// The given features of a layer (ids in layer order) into a raster of the
// caller's own: the imaging export paints a layer strip by strip.
void paintFeatures(Raster& raster, const LayerDef& def, LayerData& data, const std::vector<uint32_t>& ids,
                   uint32_t colour) {
    LayerPainter painter(raster, def, data);
    const uint32_t background = backgroundPixel();
    raster.setColour(colour);
    for (uint32_t id : ids) {
        const Feature& f = data.features[id];
        const uint32_t c = f.positive() ? colour : background;
        if (c != raster.colour()) raster.setColour(c);
        painter.draw<false>(f);
    }
}

}  // namespace KERNEL

namespace API {

using namespace KERNEL;

void draw_layer(const str& job, const str& step, const str& layer, int r, int g, int b, int a) {
    KERNEL_LOCK;
    drawLayerPass(job, step, layer, packColour(r, g, b, a), Pass::Layer);
}

void draw_gds(const str& job, const str& step, const str& layer, int r, int g, int b, int a) {
    KERNEL_LOCK;
    drawLayerPass(job, step, layer, packColour(r, g, b, a), Pass::Layer);
}

void draw_highlighted_selected_features(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    drawLayerPass(job, step, layer,
                  packColour(kHighlight[0], kHighlight[1], kHighlight[2], kHighlight[3]),
                  Pass::Highlight);
}

void draw_profile(const str& job, const str& step, int r, int g, int b, int a) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    KernelState& st = state();
    if (!canDraw() || s.profile.empty()) return;
    Raster raster(st.canvas.data(), st.width, st.height, currentBox());
    raster.setColour(packColour(r, g, b, a));
    const size_t n = s.profile.size();
    for (size_t i = 0; i < n; ++i) {
        const lPoint& p = s.profile[i];
        const lPoint& q = s.profile[(i + 1) % n];
        raster.hairline(p.x, p.y, q.x, q.y);
    }
}

void draw_layer_notes(const str& job, const str& step, const str& layer) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    Step& s = findStep(j, step);
    LayerData& data = s.layers[findLayerIndex(j, layer)];
    KernelState& st = state();
    if (!canDraw()) return;
    Raster raster(st.canvas.data(), st.width, st.height, currentBox());
    drawNoteMarks(raster, data.notes);
}

}  // namespace API
}  // namespace TOLVA
