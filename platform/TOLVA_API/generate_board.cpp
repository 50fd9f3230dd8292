// The demo generator's drawing board (see generate_board.h).
#include "generate_board.h"

#include <algorithm>
#include <cmath>

#include "geometry.h"
#include "records.h"

namespace TOLVA {
namespace KERNEL {
namespace gen {

namespace {

constexpr uint32_t kNetTag = 1u << 31;
constexpr uint32_t kSmdTag = 1u << 30;
constexpr uint32_t kFixedTag = 1u << 29;
constexpr uint32_t kCodeMask = kFixedTag - 1;

// Symbol sizes are kept to a tenth of a micrometre, so names stay short and
// read back to the very size the features were drawn with.
constexpr Coord kSymbolStep = 100;

Coord snapSize(Coord v) { return std::max<Coord>(kSymbolStep, (v + kSymbolStep / 2) / kSymbolStep * kSymbolStep); }

std::string micrometres(Coord nm) {
    const Coord tenths = nm / kSymbolStep;
    std::string s = std::to_string(tenths / 10);
    if (tenths % 10) s += "." + std::to_string(tenths % 10);
    return s;
}

std::string symbolName(Shape shape, Coord w, Coord h) {
    switch (shape) {
    case Shape::Round: return "r" + micrometres(w);
    case Shape::Square: return "s" + micrometres(w);
    case Shape::Rect: return "rect" + micrometres(w) + "x" + micrometres(h);
    case Shape::Oval: return "oval" + micrometres(w) + "x" + micrometres(h);
    case Shape::Donut: return "donut_r" + micrometres(w) + "x" + micrometres(h);
    }
    return {};
}

int32_t coord(Coord v) {
    return static_cast<int32_t>(std::max<Coord>(-kMaxCoordinate, std::min<Coord>(kMaxCoordinate, v)));
}

Box padBox(Pt at, const PadGeom& g) { return {at.x - g.halfW(), at.y - g.halfH(), at.x + g.halfW(), at.y + g.halfH()}; }

const API::attr_map& fixedSet(Board::Fixed f) {
    static const API::attr_map sets[Board::kFixedCount] = {
        {{".drill", "via"}},
        {{".drill", "plated"}},
        {{".drill", "non_plated"}},
        {{".rout_chain", "1"}, {".comp", "left"}, {".rout_flag", "0"}, {".feed", "1200"}, {".speed", "30000"}},
        {{".fiducial", ""}},
    };
    return sets[f];
}

}  // namespace

const char* powerNetName(uint32_t net) {
    static const char* const names[kPowerNets] = {"+3V3", "+1V8", "+1V2", "+2V5", "+5V"};
    return net >= kFirstPower && net < kFirstSignal ? names[net - kFirstPower] : "";
}

Board::Board(const Layers& layers) : m_layers(layers), m_scale(1000), m_out(layers.count) {
    for (uint32_t n = 0; n < kFirstSignal; ++n) m_parent.push_back(n);
}

void Board::setScale(const Rules& rules, double scale) {
    m_rules = rules;
    m_scale = scale;
}

ViaSize Board::viaSize(ViaKind kind) const {
    auto um = [&](double v) { return snapSize(std::llround(v * m_scale)); };
    switch (kind) {
    case ViaKind::Small: return {um(400), um(200)};
    case ViaKind::Signal: return {um(450), um(250)};
    case ViaKind::Power: return {um(600), um(300)};
    }
    return {};
}

long Board::count() const {
    long n = 0;
    for (const Out& o : m_out)
        for (const auto& run : o.runs) n += static_cast<long>(run.size());
    return n;
}

// ---- nets -------------------------------------------------------------------

uint32_t Board::newNet() {
    m_parent.push_back(static_cast<uint32_t>(m_parent.size()));
    return m_parent.back();
}

uint32_t Board::find(uint32_t net) {
    while (m_parent[net] != net) {
        m_parent[net] = m_parent[m_parent[net]];
        net = m_parent[net];
    }
    return net;
}

void Board::join(uint32_t a, uint32_t b) {
    a = find(a);
    b = find(b);
    if (a == b || (a < kFirstSignal && b < kFirstSignal)) return;  // never short two supplies
    if (a > b) std::swap(a, b);
    m_parent[b] = a;
}

uint32_t Board::powerNetAt(Coord x) const {
    const auto& s = m_pours.splits;
    const size_t region = static_cast<size_t>(std::upper_bound(s.begin(), s.end(), x) - s.begin());
    return region < m_pours.regionNet.size() ? m_pours.regionNet[region] : kFirstPower;
}

uint32_t Board::pourNet(int copper, const Box& box) const {
    const Role role = m_layers.roles[copper];
    if (role == Role::Inner || !m_pours.area.contains(box)) return kNoNet;
    if (role == Role::GroundPlane) return kGnd;
    const Pt c = box.centre();
    if (role == Role::PowerPlane) return powerNetAt(c.x);
    if (copper != 0) return kGnd;  // the cut-outs are for the top's packages
    const Coord col = (c.x - m_pours.gridX) / m_pours.cellW, row = (c.y - m_pours.gridY) / m_pours.cellH;
    if (c.x >= m_pours.gridX && c.y >= m_pours.gridY && col < m_pours.cols && row < m_pours.rows) {
        const Box& hole = m_pours.holes[static_cast<size_t>(row * m_pours.cols + col)];
        if (!hole.empty() && hole.contains(box)) return kNoNet;
    }
    return kGnd;
}

// ---- raw features -------------------------------------------------------------

int Board::symbol(int layer, const PadGeom& g) {
    const Coord w = snapSize(g.w);
    const Coord h = g.shape == Shape::Rect || g.shape == Shape::Oval ? snapSize(g.h)
                    : g.shape == Shape::Donut ? std::min(snapSize(g.h), w - kSymbolStep)
                                              : 0;
    const uint64_t key = uint64_t(g.shape) << 58 | uint64_t(w) << 29 | uint64_t(std::max<Coord>(h, 0));
    Out& out = m_out[layer];
    auto it = out.symbolByKey.find(key);
    if (it != out.symbolByKey.end()) return it->second;
    const int index = static_cast<int>(out.symbols.size());
    out.symbols.push_back(parseSymbol(symbolName(g.shape, w, std::max<Coord>(h, 0))));
    out.symbolByKey.emplace(key, index);
    return index;
}

Feature& Board::push(int layer, Run run, uint8_t type, uint32_t attrs, bool positive) {
    std::vector<Feature>& v = m_out[layer].runs[run];
    v.emplace_back();
    Feature& f = v.back();
    f.type = type;
    f.attrs = attrs;
    f.flags = positive ? kPositive : 0;
    return f;
}

void Board::pad(int layer, Run run, Pt at, const PadGeom& g, uint32_t attrs) {
    if (layer < 0) return;
    const int sym = symbol(layer, g);
    Feature& f = push(layer, run, API::FT_PAD, attrs, run != kRunNegative);
    f.x1 = coord(at.x);
    f.y1 = coord(at.y);
    f.ref = static_cast<uint32_t>(sym);
    f.setScale(1.0f);
}

void Board::line(int layer, Run run, Pt a, Pt b, const PadGeom& pen, uint32_t attrs) {
    if (layer < 0) return;
    const int sym = symbol(layer, pen);
    Feature& f = push(layer, run, API::FT_LINE, attrs, run != kRunNegative);
    f.x1 = coord(a.x);
    f.y1 = coord(a.y);
    f.x2 = coord(b.x);
    f.y2 = coord(b.y);
    f.ref = static_cast<uint32_t>(sym);
}

void Board::arc(int layer, Run run, Pt start, Pt end, Pt centre, bool clockwise, const PadGeom& pen,
                uint32_t attrs) {
    if (layer < 0) return;
    const int sym = symbol(layer, pen);
    Feature& f = push(layer, run, API::FT_ARC, attrs, run != kRunNegative);
    f.x1 = coord(start.x);
    f.y1 = coord(start.y);
    f.x2 = coord(end.x);
    f.y2 = coord(end.y);
    f.xc = coord(centre.x);
    f.yc = coord(centre.y);
    if (clockwise) f.flags |= kClockwise;
    f.ref = static_cast<uint32_t>(sym);
}

void Board::surface(int layer, const std::vector<std::vector<Pt>>& contours, uint32_t attrs) {
    if (layer < 0 || contours.empty()) return;
    ParsedFeature p;
    p.f.type = API::FT_SURFACE;
    p.f.flags = kPositive;
    for (const auto& c : contours) {
        for (const Pt& v : c) p.vertices.push_back({coord(v.x), coord(v.y)});
        p.contours.push_back(static_cast<uint32_t>(c.size()));
    }
    finishSurface(p);
    LayerData& g = m_out[layer].geometry;
    SurfaceGeom s;
    s.firstVertex = static_cast<uint32_t>(g.vertices.size());
    s.firstContour = static_cast<uint32_t>(g.contourSizes.size());
    s.contourCount = static_cast<uint32_t>(p.contours.size());
    g.vertices.insert(g.vertices.end(), p.vertices.begin(), p.vertices.end());
    g.contourSizes.insert(g.contourSizes.end(), p.contours.begin(), p.contours.end());
    p.f.ref = static_cast<uint32_t>(g.surfaces.size());
    p.f.attrs = attrs;
    g.surfaces.push_back(s);
    m_out[layer].runs[kRunPour].push_back(p.f);
}

void Board::text(int layer, Pt anchor, const std::string& s, Coord height, int angle, bool mirror, bool positive) {
    if (layer < 0 || s.empty() || height <= 0) return;
    ParsedFeature p;
    p.f.type = API::FT_TEXT;
    p.f.x1 = coord(anchor.x);
    p.f.y1 = coord(anchor.y);
    p.f.flags = (positive ? kPositive : 0) | (mirror ? kMirror : 0);
    p.f.angle = static_cast<int16_t>(((angle % 360) + 360) % 360);
    p.text.text = s;
    p.text.font = "standard";
    p.text.xsize = 0.8 * static_cast<double>(height);
    p.text.ysize = static_cast<double>(height);
    p.text.widthFactor = 1;
    p.text.scale = 1;
    finishText(p);
    LayerData& g = m_out[layer].geometry;
    p.f.ref = static_cast<uint32_t>(g.texts.size());
    g.texts.push_back(std::move(p.text));
    m_out[layer].runs[positive ? kRunPositive : kRunNegative].push_back(p.f);
}

uint32_t Board::fixed(Fixed f) { return kFixedTag | f; }
uint32_t Board::netCode(uint32_t net, bool smd) { return net == kNoNet ? 0 : kNetTag | (smd ? kSmdTag : 0) | net; }

// ---- copper ---------------------------------------------------------------------

int Board::outer(bool bottom) const {
    if (m_layers.copper.empty() || (bottom && m_layers.copper.size() < 2)) return -1;
    return bottom ? copperCount() - 1 : 0;
}

void Board::mask(bool bottom, Pt at, const PadGeom& g) {
    pad(bottom ? m_layers.maskBottom : m_layers.maskTop, kRunPositive, at, g.grown(m_rules.maskGrow));
}

void Board::drill(Pt at, Coord diameter, Fixed kind) { pad(m_layers.drill, kRunPositive, at, round(diameter), fixed(kind)); }

void Board::spokes(int copper, Pt at, const PadGeom& g, Coord reach) {
    const int layer = m_layers.copper[copper];
    const PadGeom pen = round(m_rules.spoke);
    const uint32_t gnd = netCode(kGnd);
    if (g.shape == Shape::Round) {
        // Round pads take their spokes on the diagonals.
        const Coord d = std::llround((g.w / 2 + reach) / std::sqrt(2.0));
        for (int k = 0; k < 4; ++k)
            line(layer, kRunPositive, at, {at.x + (k & 1 ? d : -d), at.y + (k & 2 ? d : -d)}, pen, gnd);
        return;
    }
    const Coord dx = g.halfW() + reach, dy = g.halfH() + reach;
    line(layer, kRunPositive, at, {at.x + dx, at.y}, pen, gnd);
    line(layer, kRunPositive, at, {at.x - dx, at.y}, pen, gnd);
    line(layer, kRunPositive, at, {at.x, at.y + dy}, pen, gnd);
    line(layer, kRunPositive, at, {at.x, at.y - dy}, pen, gnd);
}

void Board::thermalRing(int copper, Pt at, Coord inner, Coord outer) {
    // Four negative arcs clear the ring and leave the spokes on the axes.
    const double mid = (inner + outer) / 4.0, pen = (outer - inner) / 2.0;
    const double gap = (m_rules.spoke + pen) / 2.0 / mid;  // half of each spoke's angle
    if (mid < 1 || gap >= kPi / 4) return;
    const int layer = m_layers.copper[copper];
    const PadGeom p = round(std::llround(pen));
    auto on = [&](double a) { return Pt{at.x + std::llround(mid * std::cos(a)), at.y + std::llround(mid * std::sin(a))}; };
    for (int k = 0; k < 4; ++k) {
        const double a0 = k * kPi / 2 + gap, a1 = (k + 1) * kPi / 2 - gap;
        arc(layer, kRunNegative, on(a0), on(a1), at, false, p);
    }
}

void Board::relieve(int copper, Pt at, const PadGeom& g, uint32_t net, Kind kind) {
    const bool plane = isPlane(copper);
    const Coord gap = plane ? m_rules.planeClearance : m_rules.clearance;
    const uint32_t poured = pourNet(copper, padBox(at, g.grown(gap)));
    if (poured == kNoNet) return;
    const int layer = m_layers.copper[copper];
    if (find(net) != poured) {
        pad(layer, kRunNegative, at, g.grown(gap));
        return;
    }
    if (kind == Kind::Via) return;  // vias join their pour solidly
    if (plane) {
        const Coord d = std::max(g.w, g.halfH() * 2);
        thermalRing(copper, at, d, d + 2 * gap);
        return;
    }
    pad(layer, kRunNegative, at, g.grown(gap));
    spokes(copper, at, g, gap + m_rules.spoke);
}

void Board::smdPad(bool bottom, Pt at, const PadGeom& g, uint32_t net) {
    const int copper = outer(bottom);
    if (copper >= 0) {
        pad(m_layers.copper[copper], kRunPositive, at, g, netCode(net, true));
        relieve(copper, at, g, net, Kind::Smd);
    }
    mask(bottom, at, g);
}

void Board::trace(int copper, Pt a, Pt b, Coord width, uint32_t net) {
    if (copper < 0 || copper >= copperCount() || isPlane(copper)) return;
    const int layer = m_layers.copper[copper];
    line(layer, kRunPositive, a, b, round(width), netCode(net));
    if (m_layers.roles[copper] != Role::Outer) return;
    const Coord r = width / 2 + m_rules.clearance;
    const Box box{std::min(a.x, b.x) - r, std::min(a.y, b.y) - r, std::max(a.x, b.x) + r, std::max(a.y, b.y) + r};
    const uint32_t poured = pourNet(copper, box);
    if (poured != kNoNet && find(net) != poured) line(layer, kRunNegative, a, b, round(width + 2 * m_rules.clearance));
}

void Board::path(int copper, const std::vector<Pt>& points, Coord width, uint32_t net) {
    for (size_t i = 1; i < points.size(); ++i)
        if (points[i].x != points[i - 1].x || points[i].y != points[i - 1].y)
            trace(copper, points[i - 1], points[i], width, net);
}

void Board::via(Pt at, ViaKind kind, uint32_t net) {
    const ViaSize size = viaSize(kind);
    const PadGeom g = round(size.pad);
    for (int i = 0; i < copperCount(); ++i) {
        if (!isPlane(i)) pad(m_layers.copper[i], kRunPositive, at, g, netCode(net));
        relieve(i, at, g, net, Kind::Via);
    }
    drill(at, size.drill, kDrillVia);
}

void Board::pth(Pt at, const PadGeom& g, Coord diameter, uint32_t net) {
    for (int i = 0; i < copperCount(); ++i) {
        if (!isPlane(i)) pad(m_layers.copper[i], kRunPositive, at, g, netCode(net));
        relieve(i, at, g, net, Kind::Pth);
    }
    mask(false, at, g);
    mask(true, at, g);
    drill(at, diameter, kDrillPlated);
}

void Board::npth(Pt at, Coord diameter) {
    const PadGeom keepout = round(diameter + 4 * m_rules.planeClearance);
    for (int i = 0; i < copperCount(); ++i)
        if (pourNet(i, padBox(at, keepout)) != kNoNet) pad(m_layers.copper[i], kRunNegative, at, keepout);
    mask(false, at, round(diameter));
    mask(true, at, round(diameter));
    drill(at, diameter, kDrillNonPlated);
}

void Board::fiducial(bool bottom, Pt at, Coord diameter) {
    const int copper = outer(bottom);
    const PadGeom keepout = round(3 * diameter);
    if (copper >= 0) {
        const int layer = m_layers.copper[copper];
        if (pourNet(copper, padBox(at, keepout)) != kNoNet) pad(layer, kRunNegative, at, keepout);
        pad(layer, kRunPositive, at, round(diameter), fixed(kFiducial));
    }
    pad(bottom ? m_layers.maskBottom : m_layers.maskTop, kRunPositive, at, round(2 * diameter));
}

namespace {

// The part of a convex outline between x = lo and x = hi.
std::vector<Pt> clipToStrip(const std::vector<Pt>& poly, Coord lo, Coord hi) {
    auto clip = [](const std::vector<Pt>& in, Coord x, bool keepAbove) {
        std::vector<Pt> out;
        for (size_t i = 0; i < in.size(); ++i) {
            const Pt a = in[i], b = in[(i + 1) % in.size()];
            const bool ina = keepAbove ? a.x >= x : a.x <= x, inb = keepAbove ? b.x >= x : b.x <= x;
            if (ina) out.push_back(a);
            if (ina != inb) {
                const double t = double(x - a.x) / double(b.x - a.x);
                out.push_back({x, a.y + std::llround(t * double(b.y - a.y))});
            }
        }
        return out;
    };
    return clip(clip(poly, lo, true), hi, false);
}

// A rectangle with chamfered corners: the cut-out around a component.
std::vector<Pt> octagon(const Box& b) {
    const Coord c = std::min(b.x1 - b.x0, b.y1 - b.y0) / 8;
    return {{b.x0 + c, b.y0}, {b.x1 - c, b.y0}, {b.x1, b.y0 + c}, {b.x1, b.y1 - c},
            {b.x1 - c, b.y1}, {b.x0 + c, b.y1}, {b.x0, b.y1 - c}, {b.x0, b.y0 + c}};
}

}  // namespace

void Board::pourSurfaces(const std::vector<Pt>& outline) {
    for (int i = 0; i < copperCount(); ++i) {
        const int layer = m_layers.copper[i];
        switch (m_layers.roles[i]) {
        case Role::Inner: break;
        case Role::GroundPlane: surface(layer, {outline}, netCode(kGnd)); break;
        case Role::Outer: {
            std::vector<std::vector<Pt>> contours{outline};
            for (const Box& hole : m_pours.cutouts)
                if (i == 0) contours.push_back(octagon(hole));
            surface(layer, contours, netCode(kGnd));
            break;
        }
        case Role::PowerPlane: {
            const auto& s = m_pours.splits;
            for (size_t r = 0; r <= s.size(); ++r) {
                const Coord lo = r == 0 ? m_pours.area.x0 : s[r - 1] + m_pours.splitGap / 2;
                const Coord hi = r == s.size() ? m_pours.area.x1 : s[r] - m_pours.splitGap / 2;
                std::vector<Pt> part = clipToStrip(outline, lo, hi);
                if (part.size() >= 3) surface(layer, {part}, netCode(m_pours.regionNet[r]));
            }
            break;
        }
        }
    }
}

// ---- commit ---------------------------------------------------------------------

uint32_t Board::resolve(uint32_t code, AttrTable& table, std::vector<uint32_t>& netSets,
                        std::vector<uint32_t>& smdSets, uint32_t fixedSets[], uint32_t& signals) {
    if (code == 0) return 0;
    if (!(code & kNetTag)) {
        uint32_t& set = fixedSets[code & kCodeMask];
        if (!set) set = table.intern(fixedSet(static_cast<Fixed>(code & kCodeMask)));
        return set;
    }
    const uint32_t net = find(code & kCodeMask);
    const bool smd = code & kSmdTag;
    uint32_t& set = (smd ? smdSets : netSets)[net];
    if (set) return set;
    // Signal nets are numbered in the order the layers meet them; the pad
    // set and the plain set of one net share the name.
    const uint32_t other = (smd ? netSets : smdSets)[net];
    const std::string name = net == kGnd             ? std::string("GND")
                             : net < kFirstSignal    ? std::string(powerNetName(net))
                             : other                 ? table.sets[other].at(".net")
                                                     : "N$" + std::to_string(++signals);
    API::attr_map attrs{{".net", name}};
    if (smd) attrs.emplace(".smd", "");
    set = table.intern(attrs);
    return set;
}

void Board::commit(Job& job, size_t step) {
    std::vector<uint32_t> netSets(m_parent.size(), 0), smdSets(m_parent.size(), 0);
    uint32_t fixedSets[kFixedCount] = {};
    uint32_t signals = 0;
    for (size_t l = 0; l < m_out.size(); ++l) {
        Out& out = m_out[l];
        LayerDef& def = job.layers[l];
        def.symbols = std::move(out.symbols);
        def.symbolIndex.clear();
        for (size_t i = 0; i < def.symbols.size(); ++i) def.symbolIndex.emplace(def.symbols[i].name, static_cast<int>(i));
        LayerData& data = job.steps[step].layers[l];
        size_t total = 0;
        for (const auto& run : out.runs) total += run.size();
        data.features.reserve(total);
        for (auto& run : out.runs) {
            for (Feature& f : run) {
                f.attrs = resolve(f.attrs, job.attrs, netSets, smdSets, fixedSets, signals);
                data.features.push_back(f);
            }
            std::vector<Feature>().swap(run);
        }
        data.vertices = std::move(out.geometry.vertices);
        data.contourSizes = std::move(out.geometry.contourSizes);
        data.surfaces = std::move(out.geometry.surfaces);
        data.texts = std::move(out.geometry.texts);
    }
}

}  // namespace gen
}  // namespace KERNEL
}  // namespace TOLVA
