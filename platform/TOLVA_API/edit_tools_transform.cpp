// Mirror, rotation, scale and move of the selected features, every kind
// exactly: arcs flip their direction under one mirror, pads and texts keep
// their angle and mirror flag consistent with how they are drawn (symbol
// mirrored, then rotated, then placed), scaled symbols are registered anew.
#include <algorithm>

#include "edit_tools_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace EDITS {
namespace {

// The transform as a map of points, exact for quarter turns.
class PointMap {
public:
    explicit PointMap(const EDIT::transform& t) : m_t(t) {
        const double quarter = t.angle_deg / 90.0;
        if (quarter == std::round(quarter)) {
            const int q = static_cast<int>(((static_cast<long long>(quarter) % 4) + 4) % 4);
            m_cos = q == 0 ? 1 : q == 2 ? -1 : 0;
            m_sin = q == 1 ? 1 : q == 3 ? -1 : 0;
        } else {
            m_cos = std::cos(t.angle_deg * kPi / 180.0);
            m_sin = std::sin(t.angle_deg * kPi / 180.0);
        }
    }
    Vec operator()(const Vec& p) const {
        double x = p.x - m_t.px, y = p.y - m_t.py;
        if (m_t.mirror_x) x = -x;
        if (m_t.mirror_y) y = -y;
        const double rx = x * m_cos - y * m_sin, ry = x * m_sin + y * m_cos;
        return {rx * m_t.scale + m_t.px + m_t.dx, ry * m_t.scale + m_t.py + m_t.dy};
    }
    // Rounded to the nanometre and checked for range.
    Vec at(double x, double y, const char* what) const {
        const Vec v = (*this)({x, y});
        return {double(toCoordinate(v.x, what)), double(toCoordinate(v.y, what))};
    }
    // A pad's or text's angle and mirror flag after the transform; false
    // when the angle would have to be rounded.
    bool orient(int angle, bool mirrored, int16_t& outAngle, bool& outMirror) const {
        double a = angle;
        if (m_t.mirror_x && m_t.mirror_y) {
            a += 180;
        } else if (m_t.mirror_x) {
            a = -a;
        } else if (m_t.mirror_y) {
            a = 180 - a;
        }
        a += m_t.angle_deg;
        outMirror = mirrored != (m_t.mirror_x != m_t.mirror_y);
        const double whole = std::round(a);
        outAngle = static_cast<int16_t>(((static_cast<long long>(whole) % 360) + 360) % 360);
        return std::fabs(a - whole) < 1e-9;
    }
    bool flips() const { return m_t.mirror_x != m_t.mirror_y; }
    double scale() const { return m_t.scale; }

private:
    EDIT::transform m_t;
    double m_cos = 1, m_sin = 0;
};

bool hasAngle(SymbolShape s) { return s != SymbolShape::Round && s != SymbolShape::Donut; }

uint32_t scaledSymbol(LayerDef& def, SymbolBook& symbols, uint32_t ref, double k) {
    if (k == 1) return ref;
    const Symbol& s = def.symbols[ref];
    return symbols.index(def, symbolName(s.shape, s.width * k, s.height * k, s.inner * k));
}

void setPoint(int32_t& x, int32_t& y, const Vec& v) {
    x = static_cast<int32_t>(v.x);
    y = static_cast<int32_t>(v.y);
}

// The transformed feature `id`; throws when it cannot be made exactly.
Piece transformed(const EditLayer& l, uint32_t id, const PointMap& map, SymbolBook& symbols) {
    const Feature& f = l.data.features[id];
    Piece piece;
    Feature& g = piece.p.f;
    g = f;
    const std::string which = "feature " + std::to_string(id) + " of layer '" + l.name + "'";
    switch (f.type) {
    case API::FT_LINE:
    case API::FT_ARC:
        setPoint(g.x1, g.y1, map.at(f.x1, f.y1, "start"));
        setPoint(g.x2, g.y2, map.at(f.x2, f.y2, "end"));
        if (f.type == API::FT_ARC) {
            setPoint(g.xc, g.yc, map.at(f.xc, f.yc, "centre"));
            if (g.x1 == g.xc && g.y1 == g.yc) fail(which + ": the arc would shrink onto its centre");
            if (map.flips()) g.flags ^= kClockwise;
        }
        g.ref = scaledSymbol(l.def, symbols, f.ref, map.scale());
        break;
    case API::FT_PAD:
    case API::FT_TEXT: {
        setPoint(g.x1, g.y1, map.at(f.x1, f.y1, "anchor"));
        bool mirror = false;
        const bool whole = map.orient(f.angle, f.flags & kMirror, g.angle, mirror);
        g.flags = static_cast<uint8_t>((g.flags & ~kMirror) | (mirror ? kMirror : 0));
        if (f.type == API::FT_PAD) {
            if (!whole && hasAngle(l.def.symbols[f.ref].shape))
                fail(which + " is a " + l.def.symbols[f.ref].name +
                     " pad: its angle is kept in whole degrees, so it can only turn by whole degrees");
            g.ref = scaledSymbol(l.def, symbols, f.ref, map.scale());
        } else {
            if (!whole) fail(which + " is a text: its angle is kept in whole degrees, so it can only turn by whole degrees");
            piece.p.text = l.data.texts[f.ref];
            piece.p.text.xsize *= map.scale();
            piece.p.text.ysize *= map.scale();
            if (piece.p.text.xsize * piece.p.text.scale > kMaxSymbolSize || piece.p.text.ysize * piece.p.text.scale > kMaxSymbolSize)
                fail(which + ": the text would be too large");
            finishText(piece.p);
        }
        break;
    }
    case API::FT_SURFACE: {
        std::vector<std::vector<API::lPoint>> contours = contoursOf(l.data, f);
        for (auto& c : contours)
            for (API::lPoint& p : c) {
                const Vec v = map.at(p.x, p.y, "surface vertex");
                p = {v.x, v.y};
            }
        piece.p = surfaceOf(contours, f);
        break;
    }
    default:
        break;
    }
    return piece;
}

bool sameGeometry(const LayerData& d, const Feature& f, const ParsedFeature& p) {
    const Feature& g = p.f;
    const uint8_t mask = static_cast<uint8_t>(~(kSelected | kInOverlay));
    if (f.x1 != g.x1 || f.y1 != g.y1 || f.angle != g.angle || (f.flags & mask) != (g.flags & mask)) return false;
    if (f.type != API::FT_SURFACE && f.type != API::FT_TEXT && f.ref != g.ref) return false;  // the symbol
    switch (f.type) {
    case API::FT_LINE:
    case API::FT_ARC:
        return std::tie(f.x2, f.y2, f.xc, f.yc) == std::tie(g.x2, g.y2, g.xc, g.yc);
    case API::FT_SURFACE: {
        const SurfaceGeom& s = d.surfaces[f.ref];
        return s.contourCount == p.contours.size() &&
               std::equal(p.contours.begin(), p.contours.end(), d.contourSizes.begin() + s.firstContour) &&
               std::equal(p.vertices.begin(), p.vertices.end(), d.vertices.begin() + s.firstVertex);
    }
    case API::FT_TEXT: {
        const TextGeom& t = d.texts[f.ref];
        return t.xsize == p.text.xsize && t.ysize == p.text.ysize;
    }
    default:
        return true;
    }
}

}  // namespace
}  // namespace EDITS
}  // namespace KERNEL

namespace EDIT {

using namespace KERNEL;
using namespace KERNEL::EDITS;

int transform_selected(const str& job, const str& step, const str_list& layers, const transform& t) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    for (double v : {t.angle_deg, t.scale, t.px, t.py, t.dx, t.dy}) checkFinite(v, "transform");
    if (!(t.scale > 0)) fail("the scale must be positive, not " + std::to_string(t.scale));
    const PointMap map(t);
    SymbolBook symbols;
    std::vector<LayerEdit> edits;
    int changed = 0;
    for (const std::string& name : layers) {
        const EditLayer l = editLayer(j, s, name);
        if (std::any_of(edits.begin(), edits.end(), [&](const LayerEdit& e) { return e.layer == l.layer; })) continue;
        LayerEdit e;
        e.layer = l.layer;
        for (uint32_t id = 0; id < l.data.features.size(); ++id) {
            const Feature& f = l.data.features[id];
            if (!f.selected()) continue;
            Piece piece = transformed(l, id, map, symbols);
            if (sameGeometry(l.data, f, piece.p)) continue;
            e.replaceIds.push_back(id);
            e.replaceWith.push_back(std::move(piece));
            ++changed;
        }
        edits.push_back(std::move(e));
    }
    commitEdits(j, s, edits, symbols, {});
    return changed;
}

}  // namespace EDIT
}  // namespace TOLVA
