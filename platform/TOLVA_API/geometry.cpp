// Symbols, feature extents, arcs, pads and the stroke font.
#include "geometry.h"

#include <algorithm>
#include <cstdlib>

namespace TOLVA {
namespace KERNEL {

namespace {

// Reads a size in micrometres ("250", "12.5") from name[pos...]; advances pos.
bool readSize(const std::string& name, size_t& pos, double& out) {
    size_t start = pos;
    while (pos < name.size() && std::isdigit(static_cast<unsigned char>(name[pos]))) ++pos;
    if (pos == start) return false;
    if (pos < name.size() && name[pos] == '.') {
        size_t frac = ++pos;
        while (pos < name.size() && std::isdigit(static_cast<unsigned char>(name[pos]))) ++pos;
        if (pos == frac) return false;
    }
    out = std::strtod(name.substr(start, pos - start).c_str(), nullptr) * 1000.0;  // to nm
    return true;
}

bool hasPrefix(const std::string& s, const char* prefix) {
    return s.compare(0, std::strlen(prefix), prefix) == 0;
}

}  // namespace

Symbol parseSymbol(const std::string& name) {
    Symbol s;
    s.name = name;
    size_t pos = 0;
    bool two = false;
    if (hasPrefix(name, "donut_r")) {
        s.shape = SymbolShape::Donut;
        pos = 7;
        two = true;
    } else if (hasPrefix(name, "rect")) {
        s.shape = SymbolShape::Rect;
        pos = 4;
        two = true;
    } else if (hasPrefix(name, "oval")) {
        s.shape = SymbolShape::Oval;
        pos = 4;
        two = true;
    } else if (hasPrefix(name, "r")) {
        s.shape = SymbolShape::Round;
        pos = 1;
    } else if (hasPrefix(name, "s")) {
        s.shape = SymbolShape::Square;
        pos = 1;
    } else {
        fail("unknown symbol '" + name + "' (expected r, s, rect, oval or donut_r)");
    }
    double a = 0, b = 0;
    bool ok = readSize(name, pos, a);
    if (ok && two) ok = pos < name.size() && name[pos] == 'x' && readSize(name, ++pos, b);
    if (!ok || pos != name.size()) fail("malformed symbol name '" + name + "'");
    if (a <= 0 || a > kMaxSymbolSize || (two && s.shape != SymbolShape::Donut && b <= 0) ||
        b > kMaxSymbolSize)
        fail("symbol '" + name + "' has a size out of range");
    switch (s.shape) {
    case SymbolShape::Round:
    case SymbolShape::Square:
        s.width = s.height = a;
        break;
    case SymbolShape::Rect:
    case SymbolShape::Oval:
        s.width = a;
        s.height = b;
        break;
    case SymbolShape::Donut:
        if (b >= a) fail("donut symbol '" + name + "' has an inner diameter not below the outer");
        s.width = s.height = a;
        s.inner = b;
        break;
    }
    return s;
}

double strokeRadius(const Symbol& s) { return 0.5 * std::max(s.width, s.height); }

bool squareEnds(const Symbol& s) {
    return s.shape == SymbolShape::Square || s.shape == SymbolShape::Rect;
}

ArcGeom arcGeom(double xs, double ys, double xe, double ye, double xc, double yc,
                bool clockwise) {
    ArcGeom g;
    g.cx = xc;
    g.cy = yc;
    // Directions straight from the points: no angle round trip (a quarter
    // turn stays exactly (0, 1)).
    const double dxs = xs - xc, dys = ys - yc, dxe = xe - xc, dye = ye - yc;
    g.radius = std::sqrt(dxs * dxs + dys * dys);
    const double re = std::sqrt(dxe * dxe + dye * dye);
    double usx = 1, usy = 0, uex = 1, uey = 0;
    if (g.radius > 0) {
        usx = dxs / g.radius;
        usy = dys / g.radius;
    }
    if (re > 0) {
        uex = dxe / re;
        uey = dye / re;
    }
    if (xs == xe && ys == ye) {
        g.ux0 = g.ux1 = usx;
        g.uy0 = g.uy1 = usy;
        return g;
    }
    g.ux0 = clockwise ? uex : usx;
    g.uy0 = clockwise ? uey : usy;
    g.ux1 = clockwise ? usx : uex;
    g.uy1 = clockwise ? usy : uey;
    // The turn from the first ray to the last, counter-clockwise: none (ends
    // on one ray: a whole turn), up to a half turn, or more.
    const double cross = g.ux0 * g.uy1 - g.uy0 * g.ux1, dot = g.ux0 * g.ux1 + g.uy0 * g.uy1;
    g.full = cross == 0 && dot > 0;
    g.minor = !g.full && (cross > 0 || (cross == 0 && dot < 0));
    return g;
}

ArcGeom arcGeom(const Feature& f) {
    return arcGeom(f.x1, f.y1, f.x2, f.y2, f.xc, f.yc, f.flags & kClockwise);
}

PadShape padShape(const Symbol& s, const Feature& f) {
    PadShape p;
    double k = f.scale();
    if (!(k > 0)) k = 1;
    p.shape = s.shape;
    p.cx = f.x1;
    p.cy = f.y1;
    p.w = s.width * k;
    p.h = s.height * k;
    p.inner = s.inner * k;
    p.angle = f.angle;
    return p;
}

void rectCorners(const PadShape& p, Vec out[4]) {
    double rad = p.angle * kPi / 180.0;
    double c = std::cos(rad), s = std::sin(rad);
    if (p.angle % 90 == 0) {  // exact for the common right angles
        int q = ((p.angle / 90) % 4 + 4) % 4;
        c = q == 0 ? 1 : q == 2 ? -1 : 0;
        s = q == 1 ? 1 : q == 3 ? -1 : 0;
    }
    const double hw = p.w / 2, hh = p.h / 2;
    const double local[4][2] = {{-hw, -hh}, {hw, -hh}, {hw, hh}, {-hw, hh}};
    for (int i = 0; i < 4; ++i)
        out[i] = {p.cx + local[i][0] * c - local[i][1] * s, p.cy + local[i][0] * s + local[i][1] * c};
}

void ovalSegment(const PadShape& p, Vec& a, Vec& b, double& radius) {
    double rad = p.angle * kPi / 180.0;
    double c = std::cos(rad), s = std::sin(rad);
    if (p.angle % 90 == 0) {
        int q = ((p.angle / 90) % 4 + 4) % 4;
        c = q == 0 ? 1 : q == 2 ? -1 : 0;
        s = q == 1 ? 1 : q == 3 ? -1 : 0;
    }
    double half;
    double ux, uy;  // unit vector along the long axis
    if (p.w >= p.h) {
        radius = p.h / 2;
        half = (p.w - p.h) / 2;
        ux = c;
        uy = s;
    } else {
        radius = p.w / 2;
        half = (p.h - p.w) / 2;
        ux = -s;
        uy = c;
    }
    a = {p.cx - ux * half, p.cy - uy * half};
    b = {p.cx + ux * half, p.cy + uy * half};
}

int squareLineHull(double x0, double y0, double x1, double y1, double hw, double hh, Vec out[8]) {
    Vec pts[8] = {{x0 - hw, y0 - hh}, {x0 + hw, y0 - hh}, {x0 + hw, y0 + hh}, {x0 - hw, y0 + hh},
                  {x1 - hw, y1 - hh}, {x1 + hw, y1 - hh}, {x1 + hw, y1 + hh}, {x1 - hw, y1 + hh}};
    std::sort(pts, pts + 8, [](const Vec& a, const Vec& b) {
        return a.x < b.x || (a.x == b.x && a.y < b.y);
    });
    auto cross = [](const Vec& o, const Vec& a, const Vec& b) {
        return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
    };
    Vec hull[16];
    int k = 0;
    for (int i = 0; i < 8; ++i) {  // lower hull
        while (k >= 2 && cross(hull[k - 2], hull[k - 1], pts[i]) <= 0) --k;
        hull[k++] = pts[i];
    }
    for (int i = 6, t = k + 1; i >= 0; --i) {  // upper hull
        while (k >= t && cross(hull[k - 2], hull[k - 1], pts[i]) <= 0) --k;
        hull[k++] = pts[i];
    }
    int n = std::min(k - 1, 8);
    for (int i = 0; i < n; ++i) out[i] = hull[i];
    return n;
}

std::vector<ContourSpan> surfaceContours(const LayerData& data, const Feature& f) {
    std::vector<ContourSpan> out;
    const SurfaceGeom& g = data.surfaces[f.ref];
    uint32_t v = g.firstVertex;
    for (uint32_t c = 0; c < g.contourCount; ++c) {
        uint32_t n = data.contourSizes[g.firstContour + c];
        out.push_back({data.vertices.data() + v, n});
        v += n;
    }
    return out;
}

IBox clampBox(double xmin, double ymin, double xmax, double ymax) {
    // Rounded outwards to whole units within 32 bits (no library call).
    auto clampLow = [](double v) {
        v = std::max(-2147483647.0, std::min(2147483647.0, v));
        long long i = static_cast<long long>(v);
        return static_cast<int32_t>(i - (v < i));
    };
    auto clampHigh = [](double v) {
        v = std::max(-2147483647.0, std::min(2147483647.0, v));
        long long i = static_cast<long long>(v);
        return static_cast<int32_t>(i + (v > i));
    };
    return {clampLow(xmin), clampLow(ymin), clampHigh(xmax), clampHigh(ymax)};
}

Extent arcExtent(const ArcGeom& g, const Feature& f, double r) {
    double xmin = std::min<double>(f.x1, f.x2), xmax = std::max<double>(f.x1, f.x2);
    double ymin = std::min<double>(f.y1, f.y2), ymax = std::max<double>(f.y1, f.y2);
    // The extreme points of the circle that the sweep passes.
    const double dirs[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    for (auto& d : dirs) {
        if (g.containsAngle(g.cx + d[0], g.cy + d[1])) {
            xmin = std::min(xmin, g.cx + d[0] * g.radius);
            xmax = std::max(xmax, g.cx + d[0] * g.radius);
            ymin = std::min(ymin, g.cy + d[1] * g.radius);
            ymax = std::max(ymax, g.cy + d[1] * g.radius);
        }
    }
    return {xmin - r, ymin - r, xmax + r, ymax + r};
}

IBox arcBox(const ArcGeom& g, const Feature& f, double r) {
    const Extent e = arcExtent(g, f, r);
    return clampBox(e.xmin, e.ymin, e.xmax, e.ymax);
}

Extent padExtent(const Symbol& s, const Feature& f) {
    PadShape p = padShape(s, f);
    double hx = p.w / 2, hy = p.h / 2;
    if ((p.shape == SymbolShape::Rect || p.shape == SymbolShape::Oval || p.shape == SymbolShape::Square) &&
        f.angle % 180 != 0) {
        double rad = f.angle * kPi / 180.0;
        double c = std::fabs(std::cos(rad)), sn = std::fabs(std::sin(rad));
        if (f.angle % 90 == 0) {
            c = 0;
            sn = 1;
        }
        hx = c * p.w / 2 + sn * p.h / 2;
        hy = sn * p.w / 2 + c * p.h / 2;
    }
    return {p.cx - hx, p.cy - hy, p.cx + hx, p.cy + hy};
}

IBox featureBox(const LayerContext& ctx, const Feature& f) {
    switch (f.type) {
    case API::FT_LINE: {
        const Symbol& s = ctx.def.symbols[f.ref];
        double hw = squareEnds(s) ? s.width / 2 : strokeRadius(s);
        double hh = squareEnds(s) ? s.height / 2 : strokeRadius(s);
        return clampBox(std::min(f.x1, f.x2) - hw, std::min(f.y1, f.y2) - hh,
                        std::max(f.x1, f.x2) + hw, std::max(f.y1, f.y2) + hh);
    }
    case API::FT_PAD: {
        const Extent e = padExtent(ctx.def.symbols[f.ref], f);
        return clampBox(e.xmin, e.ymin, e.xmax, e.ymax);
    }
    case API::FT_ARC:
        return arcBox(arcGeom(f), f, strokeRadius(ctx.def.symbols[f.ref]));
    default:  // surfaces and texts keep their box
        return {f.x2, f.y2, f.xc, f.yc};
    }
}

Extent textExtent(double x, double y, const TextLayout& t) {
    Extent e{x, y, x, y};
    for (const Segment& s : t.strokes) {
        e.xmin = std::min({e.xmin, s.a.x, s.b.x});
        e.xmax = std::max({e.xmax, s.a.x, s.b.x});
        e.ymin = std::min({e.ymin, s.a.y, s.b.y});
        e.ymax = std::max({e.ymax, s.a.y, s.b.y});
    }
    return {e.xmin - t.radius, e.ymin - t.radius, e.xmax + t.radius, e.ymax + t.radius};
}

// ---- stroke font ------------------------------------------------------------
// Each glyph is a list of polylines separated by blanks; a polyline is a run
// of digit pairs (x on 0..4, y on 0..6, y up). A single point is a dot.
const char* glyphStrokes(unsigned char c) {
    if (c >= 'a' && c <= 'z') c = static_cast<unsigned char>(c - 'a' + 'A');
    switch (c) {
    case ' ': return "";
    case '0': return "0006464000 0046";
    case '1': return "2026 1526 1030";
    case '2': return "064643030040";
    case '3': return "06464000 0343";
    case '4': return "060343 4640";
    case '5': return "464603434000";
    case '6': return "460600404303";
    case '7': return "064640";
    case '8': return "0006464000 0343";
    case '9': return "430306464000";
    case 'A': return "0004264440 0343";
    case 'B': return "00063645443303 3342413000";
    case 'C': return "4606000040";
    case 'D': return "00063645413000";
    case 'E': return "46060040 0333";
    case 'F': return "460600 0333";
    case 'G': return "46060040434323";
    case 'H': return "0006 4640 0343";
    case 'I': return "1636 2620 1030";
    case 'J': return "4641301001";
    case 'K': return "0006 460340";
    case 'L': return "060040";
    case 'M': return "0006234640";
    case 'N': return "00064046";
    case 'O': return "0006464000";
    case 'P': return "0006464303";
    case 'Q': return "0006464000 2240";
    case 'R': return "0006464303 2340";
    case 'S': return "464603434000";
    case 'T': return "0646 2620";
    case 'U': return "06004046";
    case 'V': return "062046";
    case 'W': return "0600234046";
    case 'X': return "0046 0640";
    case 'Y': return "0623 4623 2320";
    case 'Z': return "06460040";
    case '-': return "0343";
    case '_': return "0040";
    case '.': return "20";
    case ',': return "2110";
    case ':': return "21 24";
    case '+': return "0343 2125";
    case '/': return "0046";
    case '=': return "0242 0444";
    case '(': return "36252130";
    case ')': return "16252110";
    case '*': return "1135 1531 0343";
    case '#': return "1016 3036 0242 0444";
    default: return "0006464000";
    }
}

TextLayout layoutText(double x, double y, const TextGeom& t, int angle, bool mirror) {
    TextLayout out;
    layoutText(x, y, t, angle, mirror, out);
    return out;
}

// The nearest whole number, halves away from zero, without a library call
// (this is on the drawing path of every text).
static double wholeUnits(double v) {
    return static_cast<double>(static_cast<long long>(v + (v < 0 ? -0.5 : 0.5)));
}

void layoutText(double x, double y, const TextGeom& t, int angle, bool mirror, TextLayout& out) {
    out.strokes.clear();
    double k = t.scale > 0 ? t.scale : 1.0;
    double xs = t.xsize * k, ys = t.ysize * k;
    out.radius = 0.05 * ys * (t.widthFactor > 0 ? t.widthFactor : 1.0);
    double rad = angle * kPi / 180.0;
    double c = std::cos(rad), s = std::sin(rad);
    // Stroke ends are whole nanometres from the anchor, like every other
    // feature's points: a text moved by whole nanometres then lands on the
    // same pixels as its copy moved by whole pixels, so instances stamp it.
    auto place = [&](double lx, double ly) {
        if (mirror) lx = -lx;
        return Vec{x + wholeUnits(lx * c - ly * s), y + wholeUnits(lx * s + ly * c)};
    };
    for (size_t i = 0; i < t.text.size(); ++i) {
        const char* g = glyphStrokes(static_cast<unsigned char>(t.text[i]));
        double ox = static_cast<double>(i) * xs;
        while (*g) {
            if (*g == ' ') {
                ++g;
                continue;
            }
            Vec prev{};
            int n = 0;
            while (g[0] && g[0] != ' ' && g[1]) {
                Vec p = place(ox + (g[0] - '0') * xs / 5.0, (g[1] - '0') * ys / 6.0);
                if (n > 0) out.strokes.push_back({prev, p});
                prev = p;
                ++n;
                g += 2;
            }
            if (n == 1) out.strokes.push_back({prev, prev});
        }
    }
}

}  // namespace KERNEL
}  // namespace TOLVA
