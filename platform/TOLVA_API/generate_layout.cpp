// The demo board's layout (see generate_layout.h).
//
// Routing stays free of crossings by construction rather than by search:
//  * every package fans its pins out to staggered via columns just outside
//    its pads (its ports, one per side), or, for the few pins nearest a
//    corner, to pull-up resistors in that corner of its cell;
//  * buses join the facing ports of neighbouring cells, east-west on the
//    horizontal inner layers and north-south on the vertical ones, each
//    trace running straight, then diagonally, then straight again, all
//    turning at the same place so that parallel traces stay in order;
//  * buses keep within the span both ports share, so they never reach the
//    corners of a cell, where the passives and their vias sit.
#include "generate_layout.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

#include "geometry.h"

namespace TOLVA {
namespace KERNEL {
namespace gen {

namespace {

// Footprint sizes are micrometres at full scale (see Layout::S).
constexpr double kNominalCellUm = 34000;  // a cell that holds the larger packages with their corners
constexpr double kCornerUm = 4000;        // least room between a package and its cell's edge
constexpr double kGapUm = 500;            // between a package's keep-out and its corners
constexpr double kStripUm = 9000;         // the connector strips along the long edges
constexpr double kFanStepUm = 1500;       // between the pull-up resistors in a corner
constexpr long kCellsForDouble = 24;      // fewer cells than this: no package over two by two
constexpr int kMostBalls = 41;            // balls along a side of the largest BGA
// Board-level sizes are micrometres on a board of 100 mm and more (Layout::B).
constexpr double kMarginUm = 9500;        // board edge to the component grid
constexpr double kCornerZoneUm = 22000;   // the corners with mounting holes, kept free of the fence
constexpr long kFullBoard = 2000;         // below this many features only the outline and the fence

enum Side { kEast, kNorth, kWest, kSouth };

struct PortPin {
    Pt at;
    uint32_t net;
};

struct Module {
    Box keepout;                    // empty: the cell holds nothing
    std::vector<PortPin> ports[4];  // vias a bus may start from, per side
};

// The room beside a package towards one corner of its cell, in the package's
// frame turned to one side: u from u0 to u1, v from v0 to v1.
struct Corner {
    Frame f;
    Coord u0 = 0, u1 = 0, v0 = 0, v1 = 0;
};

// Pull-up resistors in a corner, fed by the pins nearest that corner.
struct Fan {
    int count = 0;
    Coord ua = 0;  // where the traces turn diagonal
    Coord u0 = 0;  // first resistor column
    Coord y0 = 0;  // resistor row
    Coord top = 0; // first v above the resistors' vias and names
};

double boardScale(Coord width, Coord height) {
    return std::min(1000.0, static_cast<double>(std::min(width, height)) / 100000.0);
}

Box grow(const Box& b, Coord by) { return {b.x0 - by, b.y0 - by, b.x1 + by, b.y1 + by}; }

class Layout {
public:
    Layout(Board& board, const BoardSpec& spec, long cells, double share);
    Drawn draw();

private:
    Coord S(double um) const { return std::llround(um * m_s); }
    Coord B(double um) const { return std::llround(um * m_bs); }
    // The part of a cell its contents use: at most a nominal cell, centred,
    // so that a sparse board spreads packages of the usual sizes.
    Box cellBox(int c, int r) const {
        const Coord w = std::min(m_cw, S(kNominalCellUm)), h = std::min(m_ch, S(kNominalCellUm));
        const Coord x = m_grid.x0 + c * m_cw + (m_cw - w) / 2, y = m_grid.y0 + r * m_ch + (m_ch - h) / 2;
        return {x, y, x + w, y + h};
    }
    // The same, for a package that takes two cells by two from (c, r).
    Box doubleCellBox(int c, int r) const {
        const Coord w = std::min(2 * m_cw, S(2 * kNominalCellUm)), h = std::min(2 * m_ch, S(2 * kNominalCellUm));
        const Coord x = m_grid.x0 + c * m_cw + (2 * m_cw - w) / 2, y = m_grid.y0 + r * m_ch + (2 * m_ch - h) / 2;
        return {x, y, x + w, y + h};
    }
    // The module that holds cell (c, r).
    Module& module(int c, int r) { return m_modules[static_cast<size_t>(m_owner[static_cast<size_t>(r * m_cols + c)])]; }
    std::string next(const char* prefix, int& counter) { return prefix + std::to_string(++counter); }

    void planGrid(long cells, double share);
    void setRules();
    void assignLayers();

    // Board-level features.
    void rout();
    void holesAndMarks();
    void legends();
    void fence(long budget);

    // Cells.
    void placeCells();
    bool qfp(Module& m, const Box& cell);
    bool bga(Module& m, const Box& cell);
    bool soicRow(Module& m, const Box& cell);
    bool resistorArray(Module& m, const Box& cell);
    Pt placeCentre(const Box& cell, Coord halfW, Coord halfH);
    void claim(Module& m, const Box& cell, const Box& keepout);
    Corner cornerOf(const Box& keepout, const Box& cell, int side) const;
    Fan planFan(Coord pc, Coord halfPad, Coord vTop, Coord pitch, const Corner& c, int most) const;
    void drawFan(const Frame& f, const Fan& fan, Coord pc, Coord vTop, Coord pitch,
                 const std::vector<uint32_t>& nets, uint32_t power);
    void capacitors(const Corner& c, Coord vFrom, uint32_t power, int cornersLeft);
    long pinRoom() const;
    void packageCorners(Module& m, const Box& cell, uint32_t power);
    void silkBox(Pt a, Pt b);
    void label(bool bottom, const std::string& text, Pt centre, Coord height, bool vertical);

    // Routing between cells.
    void routeBuses();
    void bus(const std::vector<PortPin>& from, const std::vector<PortPin>& to, bool vertical,
             const std::vector<int>& layers);
    void connectors();
    void connector(int column, bool south);

    Board& m_b;
    const BoardSpec& m_spec;
    Rng m_rng;
    Coord m_w, m_h;
    double m_bs, m_s;  // nanometres per micrometre: board-level and footprint sizes
    Box m_grid;
    Coord m_strip = 0, m_cw = 1, m_ch = 1;
    int m_cols = 0, m_rows = 0;
    long m_cells = 0;
    long m_cellBudget = 0, m_cellStart = 0;  // features a cell may bring, and the count before it
    std::vector<Module> m_modules;  // per cell; a double cell's module sits at its first cell
    std::vector<int> m_owner;       // per cell: the index of the module holding it
    std::vector<int> m_horizontal, m_vertical;  // copper layers of the buses
    int m_top = -1, m_bottom = -1;
    int m_refU = 0, m_refR = 0, m_refC = 0, m_refJ = 0;
};

Layout::Layout(Board& board, const BoardSpec& spec, long cells, double share)
    : m_b(board), m_spec(spec), m_rng(spec.seed), m_w(spec.width), m_h(spec.height),
      m_bs(boardScale(spec.width, spec.height)), m_s(m_bs) {
    const Coord margin = B(kMarginUm);
    m_grid = {margin, margin, m_w - margin, m_h - margin};
    if (cells > 0 && spec.target >= kFullBoard && !m_grid.empty()) planGrid(cells, share);
    setRules();
    assignLayers();
}

// Cells as square as the grid allows; the footprints shrink below full size
// only when the cells get smaller than a nominal cell.
void Layout::planGrid(long cells, double share) {
    const double gw = double(m_grid.x1 - m_grid.x0), gh = double(m_grid.y1 - m_grid.y0);
    m_cells = cells;
    m_cols = static_cast<int>(std::max(1.0, std::round(std::sqrt(cells * gw / gh))));
    m_rows = static_cast<int>((cells + m_cols - 1) / m_cols);
    m_cellBudget = std::lround(share * double(m_spec.target) / double(cells));
    const double first = std::min(1000.0, std::min(gw / m_cols, gh / m_rows) / kNominalCellUm);
    m_strip = std::llround(kStripUm * first);
    if (gh - 2.0 * m_strip < gh / 2) m_strip = 0;
    m_grid.y0 += m_strip;
    m_grid.y1 -= m_strip;
    m_cw = (m_grid.x1 - m_grid.x0) / m_cols;
    m_ch = (m_grid.y1 - m_grid.y0) / m_rows;
    m_s = std::min(1000.0, static_cast<double>(std::min(m_cw, m_ch)) / kNominalCellUm);
    m_modules.assign(static_cast<size_t>(m_cols * m_rows), Module());
    for (int i = 0; i < m_cols * m_rows; ++i) m_owner.push_back(i);
}

void Layout::setRules() {
    Rules r;
    r.clearance = S(200);
    r.planeClearance = S(250);
    r.maskGrow = S(50);
    r.spoke = S(250);
    r.silkPen = S(150);
    m_b.setScale(r, m_s);
    Board::Pours& p = m_b.pours();
    p.area = {B(500), B(500), m_w - B(500), m_h - B(500)};
    p.gridX = m_grid.x0;
    p.gridY = m_grid.y0;
    p.cellW = m_cw;
    p.cellH = m_ch;
    p.cols = m_cols;
    p.rows = m_rows;
    p.holes.assign(m_modules.size(), Box());
    // The power plane splits between columns of cells, one supply per region.
    const int regions = std::max(1, std::min(4, m_cols));
    for (int k = 1; k < regions; ++k) p.splits.push_back(m_grid.x0 + (k * m_cols / regions) * m_cw);
    for (int k = 0; k < regions; ++k) p.regionNet.push_back(kFirstPower + static_cast<uint32_t>(k));
    p.splitGap = S(600);
}

// Horizontal buses on every other inner routing layer, vertical ones on the
// rest; a board without inner routing layers uses its outer layers.
void Layout::assignLayers() {
    const Board::Layers& l = m_b.layers();
    const int n = m_b.copperCount();
    m_top = n > 0 ? 0 : -1;
    m_bottom = n > 1 ? n - 1 : -1;
    for (int i = 0; i < n; ++i)
        if (l.roles[i] == Role::Inner) (m_horizontal.size() <= m_vertical.size() ? m_horizontal : m_vertical).push_back(i);
    if (m_horizontal.empty()) m_horizontal.push_back(m_top);
    if (m_vertical.empty()) m_vertical.push_back(m_bottom >= 0 ? m_bottom : m_top);
}

// ---- board-level features ----------------------------------------------------------

Coord cornerRadiusFor(double bs) { return std::llround(5000 * bs); }

void Layout::rout() {
    const Coord r = cornerRadiusFor(m_bs), W = m_w, H = m_h;
    const PadGeom bit = round(B(2000));
    const uint32_t chain = Board::fixed(Board::kRoutChain);
    const int layer = m_b.layers().rout;
    const Pt a{r, 0}, b{W - r, 0}, c{W, r}, d{W, H - r}, e{W - r, H}, f{r, H}, g{0, H - r}, h{0, r};
    m_b.line(layer, Board::kRunPositive, a, b, bit, chain);
    m_b.arc(layer, Board::kRunPositive, b, c, {W - r, r}, false, bit, chain);
    m_b.line(layer, Board::kRunPositive, c, d, bit, chain);
    m_b.arc(layer, Board::kRunPositive, d, e, {W - r, H - r}, false, bit, chain);
    m_b.line(layer, Board::kRunPositive, e, f, bit, chain);
    m_b.arc(layer, Board::kRunPositive, f, g, {r, H - r}, false, bit, chain);
    m_b.line(layer, Board::kRunPositive, g, h, bit, chain);
    m_b.arc(layer, Board::kRunPositive, h, a, {r, r}, false, bit, chain);
}

void Layout::holesAndMarks() {
    const Coord W = m_w, H = m_h, m = B(6000);
    for (Pt p : {Pt{m, m}, Pt{W - m, m}, Pt{W - m, H - m}, Pt{m, H - m}}) m_b.pth(p, round(B(5500)), B(3200), kGnd);
    const Coord tx = B(16000), fx = B(24000), y = B(6500);
    for (Pt p : {Pt{tx, y}, Pt{W - tx, y}, Pt{tx, H - y}}) m_b.npth(p, B(2000));
    for (Pt p : {Pt{fx, y}, Pt{W - fx, H - y}, Pt{fx, H - y}}) m_b.fiducial(false, p, B(1000));
    if (m_bottom >= 0)
        for (Pt p : {Pt{W - fx, y}, Pt{W - fx - B(8000), H - y}}) m_b.fiducial(true, p, B(1000));
}

// Layer numbers etched into every copper layer (mirrored on the bottom, so
// they read from its side) and the board's name on the silk screen.
void Layout::legends() {
    const Board::Layers& l = m_b.layers();
    const Coord h = B(1800), x = B(40000), y = B(4000);
    for (int i = 0; i < m_b.copperCount(); ++i) {
        const bool mirror = i == m_bottom;
        m_b.text(l.copper[i], {mirror ? x + 5 * h : x, y}, "L" + std::to_string(i + 1), h, 0, mirror,
                 l.roles[i] == Role::Inner);
    }
    m_b.text(l.silkTop, {x, m_h - B(7500)}, "CAM DEMO BOARD REV A", B(2500), 0, false);
    m_b.text(l.silkBottom, {m_w - x, m_h - B(7500)}, "BOTTOM SIDE", B(2500), 0, true);
}

// GND vias in up to two rows along the straight edges, as many as the
// feature budget leaves room for.
void Layout::fence(long budget) {
    int cost = 1;  // the drill
    for (int i = 0; i < m_b.copperCount(); ++i) {
        const Role role = m_b.layers().roles[i];
        cost += role != Role::GroundPlane;  // a pad, or the power plane's antipad
    }
    long wanted = budget / cost;
    const Coord z = B(kCornerZoneUm), W = m_w, H = m_h;
    const Coord along = std::max<Coord>(0, W - 2 * z), across = std::max<Coord>(0, H - 2 * z);
    const Coord length = 2 * (along + across);
    const Coord spacing = std::max<Coord>(3 * m_b.viaSize(ViaKind::Signal).pad, B(800));
    if (wanted <= 0 || length <= 0 || spacing <= 0) return;
    for (Coord inset : {B(2000), B(3200)}) {
        const long row = std::min<long>(wanted, length / spacing);
        for (long i = 0; i < row; ++i) {
            Coord t = static_cast<Coord>((i + 0.5) * double(length) / double(row));
            Pt p;
            if (t < along) p = {z + t, inset};
            else if ((t -= along) < across) p = {W - inset, z + t};
            else if ((t -= across) < along) p = {W - z - t, H - inset};
            else p = {inset, H - z - (t - along)};
            m_b.via(p, ViaKind::Signal, kGnd);
        }
        wanted -= row;
    }
}

// ---- cells ----------------------------------------------------------------------------

Pt Layout::placeCentre(const Box& cell, Coord halfW, Coord halfH) {
    // A little play within the cell, so the rows do not look ruled.
    const Coord room = S(kCornerUm + kGapUm);
    const Coord playX = std::min(S(1500), std::max<Coord>(0, (cell.x1 - cell.x0) / 2 - halfW - room));
    const Coord playY = std::min(S(1500), std::max<Coord>(0, (cell.y1 - cell.y0) / 2 - halfH - room));
    const Pt c = cell.centre();
    return {c.x + std::llround(m_rng.range(-0.5, 0.5) * playX), c.y + std::llround(m_rng.range(-0.5, 0.5) * playY)};
}

void Layout::claim(Module& m, const Box& cell, const Box& keepout) {
    m.keepout = keepout;
    const int index = static_cast<int>(&m - m_modules.data());
    const Box hole = cell.contains(grow(keepout, S(kGapUm / 2))) ? grow(keepout, S(kGapUm / 2)) : keepout;
    Board::Pours& pours = m_b.pours();
    for (size_t i = 0; i < m_owner.size(); ++i)
        if (m_owner[i] == index) pours.holes[i] = hole;
    pours.cutouts.push_back(hole);
}

Corner Layout::cornerOf(const Box& k, const Box& cell, int side) const {
    Corner c;
    c.f = {k.centre(), side};
    const Coord hw = (k.x1 - k.x0) / 2, hh = (k.y1 - k.y0) / 2;
    const Coord ku = c.f.turned() ? hh : hw, kv = c.f.turned() ? hw : hh;
    Coord umax = 0, vmax = 0;
    for (Pt p : {Pt{cell.x0, cell.y0}, Pt{cell.x1, cell.y0}, Pt{cell.x0, cell.y1}, Pt{cell.x1, cell.y1}}) {
        umax = std::max(umax, c.f.u(p));
        vmax = std::max(vmax, c.f.v(p));
    }
    const Coord g = S(kGapUm);
    c.u0 = ku + g;
    c.u1 = umax - g;
    c.v0 = kv + g;
    c.v1 = vmax - g;
    return c;
}

// The most pins (up to `most`) whose pull-ups fit in the corner. Pin j from
// the corner end sits at vTop - j * pitch; its trace runs out to ua, climbs
// diagonally to the resistor column u0 + j * kFanStepUm and up into the
// resistor at y0. The columns step wider than the pins, so every trace
// turns up beyond the one before it and none crosses another.
Fan Layout::planFan(Coord pc, Coord halfPad, Coord vTop, Coord pitch, const Corner& c, int most) const {
    Fan fan;
    fan.ua = pc + halfPad + S(300);
    const Coord step = S(kFanStepUm);
    fan.u0 = std::max(c.u0 + S(575), fan.ua + S(600));
    for (int k = most; k >= 2; --k) {
        if (fan.u0 + (k - 1) * step + S(775) > c.u1) continue;
        fan.y0 = std::max(c.v0 + S(500), vTop + fan.u0 + (k - 1) * (step - pitch) - fan.ua + S(400));
        fan.top = fan.y0 + S(1600 + 1150 + 225 + 200 + 2200);
        if (fan.top > c.v1) continue;
        fan.count = k;
        return fan;
    }
    return Fan();
}

void Layout::drawFan(const Frame& f, const Fan& fan, Coord pc, Coord vTop, Coord pitch,
                     const std::vector<uint32_t>& nets, uint32_t power) {
    const PadGeom pad = rect(S(950), S(800)).in(f);
    for (int j = 0; j < fan.count; ++j) {
        const Coord v = vTop - j * pitch, u = fan.u0 + j * S(kFanStepUm);
        m_b.path(m_top, {f.at(pc, v), f.at(fan.ua, v), f.at(u, v + u - fan.ua), f.at(u, fan.y0)}, S(100), nets[j]);
        m_b.smdPad(false, f.at(u, fan.y0), pad, nets[j]);
        m_b.smdPad(false, f.at(u, fan.y0 + S(1600)), pad, power);
        m_b.trace(m_top, f.at(u, fan.y0 + S(1600)), f.at(u, fan.y0 + S(2750)), S(250), power);
        m_b.via(f.at(u, fan.y0 + S(2750)), ViaKind::Signal, power);
        label(false, next("R", m_refR), f.at(u, fan.y0 + S(4100)), S(500), !f.turned());
    }
}

// Decoupling capacitors in rows: supply via, capacitor, GND via.
void Layout::capacitors(const Corner& c, Coord vFrom, uint32_t power, int cornersLeft) {
    const Coord cu = S(3400), cv = S(1600);
    if (c.u1 <= c.u0 || c.v1 <= vFrom) return;
    const long cols = std::min<long>(4, (c.u1 - c.u0) / cu);
    const long cost = 2 * (m_b.copperCount() + 8);  // pads, traces, vias, drills, clearances, name
    const long left = m_cellBudget - (m_b.count() - m_cellStart);
    const long allowed = std::max(0L, left / std::max(1, cornersLeft) / cost);
    const long rows = std::min<long>({6, (c.v1 - vFrom) / cv, cols > 0 ? allowed / cols : 0});
    const PadGeom pad = rect(S(500), S(600)).in(c.f);
    const Frame& f = c.f;
    for (long iv = 0; iv < rows; ++iv)
        for (long iu = 0; iu < cols; ++iu) {
            const Coord u = c.u0 + iu * cu, v = vFrom + iv * cv, y = v + S(550);
            const Pt pv = f.at(u + S(300), y), p1 = f.at(u + S(1150), y), p2 = f.at(u + S(2150), y),
                     gv = f.at(u + S(3000), y);
            m_b.smdPad(false, p1, pad, power);
            m_b.smdPad(false, p2, pad, kGnd);
            m_b.trace(m_top, p1, pv, S(200), power);
            m_b.trace(m_top, p2, gv, S(200), kGnd);
            m_b.via(pv, ViaKind::Signal, power);
            m_b.via(gv, ViaKind::Signal, kGnd);
            label(false, next("C", m_refC), f.at(u + S(1650), v + S(1200)), S(400), f.turned());
        }
}

// The corners of a cell that holds no fan: capacitors only.
void Layout::packageCorners(Module& m, const Box& cell, uint32_t power) {
    for (int side = 0; side < 4; ++side) {
        const Corner c = cornerOf(m.keepout, cell, side);
        capacitors(c, c.v0, power, 4 - side);
    }
}

// How many pins a package may have within the cell's share of the features.
long Layout::pinRoom() const { return std::max(16L, m_cellBudget / (m_b.copperCount() + 7)); }

// A name centred on a point, reading from the bottom or from the right (and
// mirrored on the bottom side, so it reads from there).
void Layout::label(bool bottom, const std::string& text, Pt centre, Coord h, bool vertical) {
    const Coord length = Coord(text.size()) * h * 8 / 10;
    const int layer = bottom ? m_b.layers().silkBottom : m_b.layers().silkTop;
    Pt anchor = vertical ? Pt{centre.x + h / 2, centre.y + (bottom ? length : -length) / 2}
                         : Pt{centre.x + (bottom ? length : -length) / 2, centre.y - h / 2};
    m_b.text(layer, anchor, text, h, vertical ? 90 : 0, bottom);
}

void Layout::silkBox(Pt a, Pt b) {
    const int layer = m_b.layers().silkTop;
    const PadGeom pen = round(m_b.rules().silkPen);
    const Pt c{b.x, a.y}, d{a.x, b.y};
    m_b.line(layer, Board::kRunPositive, a, c, pen);
    m_b.line(layer, Board::kRunPositive, c, b, pen);
    m_b.line(layer, Board::kRunPositive, b, d, pen);
    m_b.line(layer, Board::kRunPositive, d, a, pen);
}

// A quad flat pack: pads on four sides at 0.4, 0.5 or 0.65 mm, each pin
// fanned out to one of two staggered via columns, an exposed GND pad on
// some, decoupling on the bottom under the larger ones.
bool Layout::qfp(Module& m, const Box& cell) {
    const double pitchUm = m_rng.chance(0.15) ? 400 : m_rng.chance(0.7) ? 500 : 650;
    const double padL = pitchUm >= 500 ? 1500 : 1200, padW = 0.55 * pitchUm;
    const ViaKind viaKind = pitchUm < 500 ? ViaKind::Small : ViaKind::Signal;
    const double viaUm = pitchUm < 500 ? 400 : 450;
    const double overhead = 1000 + 400 + padL / 2 + 500 + 600 + viaUm / 2 + 400;
    const double roomUm = double(std::min(cell.x1 - cell.x0, cell.y1 - cell.y0)) / m_s - 2 * (kCornerUm + kGapUm);
    static const int kPinsPerSide[] = {8, 11, 12, 16, 20, 25, 32, 36, 44, 52};
    int fits = 0;
    for (int n : kPinsPerSide) fits += (n - 1) * pitchUm + 2 * overhead <= roomUm && 4 * n <= pinRoom();
    if (fits == 0) return false;
    const int n = kPinsPerSide[std::max(0, fits - 1 - m_rng.below(3))];
    const Coord P = S(pitchUm), span = (n - 1) * P, bodyHalf = span / 2 + S(1000), pc = bodyHalf + S(400);
    const Coord r1 = pc + S(padL / 2 + 500), r2 = r1 + S(600), half = r2 + S(viaUm / 2 + 400);
    const Pt c = placeCentre(cell, half, half);
    claim(m, cell, {c.x - half, c.y - half, c.x + half, c.y + half});
    const uint32_t power = m_b.powerNetAt(c.x);
    const PadGeom padShape = rect(S(padL), S(padW));
    int cornersLeft = 4;
    for (int side : {kWest, kSouth, kEast, kNorth}) {
        const Frame f{c, side};
        const Fan fan = planFan(pc, S(padL / 2), span / 2, P, cornerOf(m.keepout, cell, side), 6);
        std::vector<uint32_t> fanNets;
        for (int i = n - 1; i >= 0; --i) {
            const Coord v = -span / 2 + i * P;
            const bool fanned = n - 1 - i < fan.count;
            const uint32_t net = fanned ? m_b.newNet() : i % 8 == 2 ? kGnd : i % 8 == 6 ? power : m_b.newNet();
            m_b.smdPad(false, f.at(pc, v), padShape.in(f), net);
            if (fanned) {
                fanNets.push_back(net);
                continue;
            }
            const Coord u = i % 2 == 0 ? r1 : r2;
            m_b.trace(m_top, f.at(pc, v), f.at(u, v), S(100), net);
            m_b.via(f.at(u, v), viaKind, net);
            if (net >= kFirstSignal) m.ports[side].push_back({f.at(u, v), net});
        }
        drawFan(f, fan, pc, span / 2, P, fanNets, power);
        const Corner corner = cornerOf(m.keepout, cell, side);
        capacitors(corner, fan.count ? fan.top : corner.v0, power, cornersLeft--);
    }
    // An exposed GND pad stitched to the planes, or capacitors under the body.
    if (m_rng.chance(0.5)) {
        const Coord e = bodyHalf * 7 / 20, step = e * 6 / 10;
        m_b.smdPad(false, c, rect(2 * e, 2 * e), kGnd);
        for (int i = -1; i <= 1; ++i)
            for (int j = -1; j <= 1; ++j) m_b.via({c.x + i * step, c.y + j * step}, ViaKind::Power, kGnd);
    } else if (m_bottom >= 0 && bodyHalf >= S(5500)) {
        const int caps = static_cast<int>(std::min<Coord>(4, span / S(3000)));
        const Coord uc = bodyHalf - S(1500);
        for (int side = 0; side < 4; ++side) {
            const Frame f{c, side};
            for (int k = 0; k < caps; ++k) {
                const Coord v = -span / 2 + S(1500) + (caps > 1 ? k * (span - S(3000)) / (caps - 1) : 0);
                const Pt p1 = f.at(uc, v - S(500)), p2 = f.at(uc, v + S(500));
                const Pt pv = f.at(uc - S(1000), v - S(500)), gv = f.at(uc - S(1000), v + S(500));
                m_b.smdPad(true, p1, rect(S(600), S(500)).in(f), power);
                m_b.smdPad(true, p2, rect(S(600), S(500)).in(f), kGnd);
                m_b.trace(m_bottom, p1, pv, S(200), power);
                m_b.trace(m_bottom, p2, gv, S(200), kGnd);
                m_b.via(pv, ViaKind::Signal, power);
                m_b.via(gv, ViaKind::Signal, kGnd);
                label(true, next("C", m_refC), f.at(uc + S(700), v), S(400), !f.turned());
            }
        }
    }
    const Coord outline = bodyHalf - S(600);
    silkBox({c.x - outline, c.y - outline}, {c.x + outline, c.y + outline});
    m_b.pad(m_b.layers().silkTop, Board::kRunPositive, {c.x - outline + S(700), c.y + outline - S(700)}, round(S(500)));
    const Coord h = std::min(S(1500), bodyHalf * 3 / 10);
    const std::string name = next("U", m_refU);
    m_b.text(m_b.layers().silkTop, {c.x - Coord(name.size()) * h * 4 / 10, c.y + outline - S(900) - 2 * h}, name, h, 0,
             false);
    return true;
}

// A ball grid array: the two outer rings escape on the top layer to ports
// like a QFP's (the second ring between the balls of the first), every
// inner ball has a dog-bone via towards its quadrant's corner.
bool Layout::bga(Module& m, const Box& cell) {
    const double pitchUm = m_rng.chance(0.35) ? 800 : 1000, hpUm = pitchUm / 2;
    const ViaKind viaKind = pitchUm < 1000 ? ViaKind::Small : ViaKind::Signal;
    const double viaUm = pitchUm < 1000 ? 400 : 450;
    const double overhead = hpUm + 750 + 600 + viaUm / 2 + 400;
    const double roomUm = double(std::min(cell.x1 - cell.x0, cell.y1 - cell.y0)) / m_s - 2 * (kCornerUm + kGapUm);
    const int most = std::min({kMostBalls, static_cast<int>((roomUm / 2 - overhead) / hpUm) + 1,
                               static_cast<int>(std::sqrt(double(pinRoom())))});
    if (most < 8) return false;
    const int n = m_rng.between(std::max(8, most * 3 / 4), most);
    const Coord H = S(hpUm), P = 2 * H, u0 = (n - 1) * H, r1 = u0 + H + S(750), r2 = r1 + S(600);
    const Coord half = r2 + S(viaUm / 2 + 400);
    const Pt c = placeCentre(cell, half, half);
    claim(m, cell, {c.x - half, c.y - half, c.x + half, c.y + half});
    const uint32_t power = m_b.powerNetAt(c.x);
    const PadGeom ball = round(H);
    auto at = [&](int i) { return (2 * i - (n - 1)) * H; };
    int cornersLeft = 4;
    for (int side = 0; side < 4; ++side) {
        const Frame f{c, side};
        const Fan fan = planFan(u0, H / 2, at(n - 2), P, cornerOf(m.keepout, cell, side), 6);
        std::vector<uint32_t> fanNets;
        for (int j = n - 2; j >= 1; --j) {  // the outer ring, from the corner end
            const Coord v = at(j);
            const bool fanned = n - 2 - j < fan.count;
            const uint32_t net = !fanned && j % 6 == 3 ? kGnd : m_b.newNet();
            m_b.smdPad(false, f.at(u0, v), ball, net);
            if (fanned) {
                fanNets.push_back(net);
                continue;
            }
            m_b.trace(m_top, f.at(u0, v), f.at(r1, v), S(100), net);
            m_b.via(f.at(r1, v), viaKind, net);
            if (net >= kFirstSignal) m.ports[side].push_back({f.at(r1, v), net});
        }
        const Coord lowestFan = fan.count ? at(n - 2) - (fan.count - 1) * P : at(n);
        for (int j = 2; j <= n - 3; ++j) {  // the second ring, out between the balls of the first
            const Coord u = u0 - P, v = at(j);
            const uint32_t net = m_b.newNet();
            m_b.smdPad(false, f.at(u, v), ball, net);
            if (v + P > lowestFan) continue;  // no way out beside the fanned pins: not connected
            m_b.path(m_top, {f.at(u, v), f.at(u + H, v + H), f.at(r2, v + H)}, S(100), net);
            m_b.via(f.at(r2, v + H), viaKind, net);
            m.ports[side].push_back({f.at(r2, v + H), net});
        }
        drawFan(f, fan, u0, at(n - 2), P, fanNets, power);
        const Corner corner = cornerOf(m.keepout, cell, side);
        capacitors(corner, fan.count ? fan.top : corner.v0, power, cornersLeft--);
    }
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b) {
            const int ring = std::min({a, b, n - 1 - a, n - 1 - b});
            const bool corner = ring <= 1 && (a == ring || a == n - 1 - ring) && (b == ring || b == n - 1 - ring);
            if (ring <= 1 && !corner) continue;
            const Pt p{c.x + at(a), c.y + at(b)};
            const Pt v{p.x + (at(a) >= 0 ? H : -H), p.y + (at(b) >= 0 ? H : -H)};
            const uint32_t net = corner || (a + b) % 2 == 0 ? kGnd : (a + 2 * b) % 3 == 0 ? power : m_b.newNet();
            m_b.smdPad(false, p, ball, net);
            m_b.trace(m_top, p, v, S(100), net);
            m_b.via(v, viaKind, net);
        }
    const Coord outline = u0 + H + S(300);
    silkBox({c.x - outline, c.y - outline}, {c.x + outline, c.y + outline});
    m_b.pad(m_b.layers().silkTop, Board::kRunPositive, {c.x - outline - S(500), c.y + outline + S(500)}, round(S(600)));
    m_b.text(m_b.layers().silkTop, {c.x - outline + S(300), c.y + outline + S(400)}, next("U", m_refU), S(1200), 0, false);
    return true;
}

// Small-outline packages side by side, each one's east pins wired straight
// across to the next one's west pins on the top layer.
bool Layout::soicRow(Module& m, const Box& cell) {
    const int k = m_rng.between(4, 14);
    const double pc = k <= 8 ? 2700 : 4650, pitch = 1270, padL = 1550, padW = 600;
    const double spanUm = (k - 1) * pitch, portUm = pc + padL / 2 + 700, marginUm = 225 + 400;
    const double roomW = double(cell.x1 - cell.x0) / m_s - 2 * (kCornerUm + kGapUm);
    const double roomH = double(cell.y1 - cell.y0) / m_s - 2 * (kCornerUm + kGapUm);
    std::vector<double> shift{0};  // each package's offset in y, micrometres
    double widthUm = 2 * (portUm + marginUm), spread = 0;
    const double heightUm = spanUm + 2 * 2100;
    while (shift.size() < 4) {
        const double s = 100 * m_rng.between(-15, 15);
        const double wider = 2 * (pc + padL / 2) + std::abs(s - shift.back()) + 3000;
        const double grown = std::max(spread, std::abs(s));
        if (widthUm + wider > roomW || heightUm + 2 * grown > roomH || 2 * k * long(shift.size() + 1) > pinRoom()) break;
        widthUm += wider;
        spread = grown;
        shift.push_back(s);
    }
    if (heightUm + 2 * spread > roomH || widthUm > roomW) return false;
    const Coord halfW = S(widthUm / 2), halfH = S(heightUm / 2 + spread);
    const Pt c = placeCentre(cell, halfW, halfH);
    claim(m, cell, {c.x - halfW, c.y - halfH, c.x + halfW, c.y + halfH});
    const uint32_t power = m_b.powerNetAt(c.x);
    const Coord P = S(pitch), span = (k - 1) * P, PC = S(pc), end = S(pc + padL / 2);
    const PadGeom pad = rect(S(padL), S(padW));
    // Package centres from the west, one package pitch plus the jog apart.
    std::vector<Pt> centres;
    Coord x = c.x - halfW + S(portUm + marginUm) - PC;
    for (size_t i = 0; i < shift.size(); ++i) {
        if (i > 0) x += 2 * end + S(std::abs(shift[i] - shift[i - 1]) + 3000);
        centres.push_back({x + PC, c.y + S(shift[i])});
    }
    std::vector<uint32_t> east;  // the previous package's east nets, by pin from the south
    for (size_t i = 0; i < centres.size(); ++i) {
        const Pt o = centres[i];
        for (int side : {kWest, kEast}) {
            const Frame f{o, side};
            std::vector<uint32_t> nets;
            for (int j = 0; j < k; ++j) {
                const Coord v = -span / 2 + j * P;
                uint32_t net;
                const bool supply = j == k - 1;  // pin k is GND, pin 2k the supply
                if (supply) net = side == kWest ? kGnd : power;
                else if (side == kWest && i > 0 && east[k - 1 - j] >= kFirstSignal) net = east[k - 1 - j];
                else net = m_b.newNet();
                nets.push_back(net);
                m_b.smdPad(false, f.at(PC, v), pad.in(f), net);
                if (supply) {
                    const Coord inward = PC - S(padL / 2 + 525);
                    m_b.trace(m_top, f.at(PC, v), f.at(inward, v), S(250), net);
                    m_b.via(f.at(inward, v), ViaKind::Signal, net);
                    continue;
                }
                const bool outerSide = (side == kWest && i == 0) || (side == kEast && i + 1 == centres.size());
                if (!outerSide) continue;
                const Coord u = S(portUm);
                m_b.trace(m_top, f.at(PC, v), f.at(u, v), S(127), net);
                m_b.via(f.at(u, v), ViaKind::Signal, net);
                m.ports[side].push_back({f.at(u, v), net});
            }
            if (side == kEast) east = nets;
        }
        if (i + 1 < centres.size()) {
            const Pt n = centres[i + 1];
            for (int j = 0; j + 1 < k; ++j) {
                const Coord ys = o.y - span / 2 + j * P, yt = n.y - span / 2 + j * P;
                const Coord ua = o.x + end + S(300), d = std::abs(yt - ys);
                if (east[j] < kFirstSignal || j == 0) continue;  // pin 1 of the next package is its own
                m_b.path(m_top, {{o.x + PC, ys}, {ua, ys}, {ua + d, yt}, {n.x - PC, yt}}, S(127), east[j]);
            }
        }
        // The decoupling capacitor above the package, and the silk.
        const Coord yc = o.y + span / 2 + S(1400);
        const PadGeom capPad = rect(S(500), S(600));
        m_b.smdPad(false, {o.x - S(500), yc}, capPad, power);
        m_b.smdPad(false, {o.x + S(500), yc}, capPad, kGnd);
        m_b.trace(m_top, {o.x - S(500), yc}, {o.x - S(1300), yc}, S(200), power);
        m_b.trace(m_top, {o.x + S(500), yc}, {o.x + S(1300), yc}, S(200), kGnd);
        m_b.via({o.x - S(1300), yc}, ViaKind::Signal, power);
        m_b.via({o.x + S(1300), yc}, ViaKind::Signal, kGnd);
        const Coord bx = PC - S(padL / 2 + 250), by = span / 2 + S(700);
        silkBox({o.x - bx, o.y - by}, {o.x + bx, o.y + by});
        m_b.pad(m_b.layers().silkTop, Board::kRunPositive, {o.x - bx + S(400), o.y + by - S(400)}, round(S(300)));
        const std::string name = next("U", m_refU);
        const Coord h = std::min(S(1000), bx * 6 / 5);
        m_b.text(m_b.layers().silkTop, {o.x + h / 2, o.y - Coord(name.size()) * h * 4 / 10}, name, h, 90, false);
    }
    packageCorners(m, cell, power);
    return true;
}

// A column of 0603 series resistors between two via columns.
bool Layout::resistorArray(Module& m, const Box& cell) {
    const double roomW = double(cell.x1 - cell.x0) / m_s - 2 * (kCornerUm + kGapUm);
    const double roomH = double(cell.y1 - cell.y0) / m_s - 2 * (kCornerUm + kGapUm);
    const int most = std::min({32L, static_cast<long>((roomH - 800) / 1500), pinRoom() / 2});
    const double halfUm = 2100 + 225 + 2900;
    if (most < 4 || 2 * halfUm > roomW) return false;
    const int rows = m_rng.between(std::max(4, most / 2), most);
    const Coord halfW = S(halfUm), halfH = (rows - 1) * S(750) + S(800);
    const Pt c = placeCentre(cell, halfW, halfH);
    claim(m, cell, {c.x - halfW, c.y - halfH, c.x + halfW, c.y + halfH});
    const PadGeom pad = rect(S(800), S(950));
    const PadGeom pen = round(m_b.rules().silkPen);
    const int silk = m_b.layers().silkTop;
    for (int r = 0; r < rows; ++r) {
        const Coord y = c.y + (2 * r - (rows - 1)) * S(750);
        const uint32_t west = m_b.newNet(), east = m_b.newNet();
        const Pt wv{c.x - S(2100), y}, ev{c.x + S(2100), y}, wp{c.x - S(800), y}, ep{c.x + S(800), y};
        m_b.smdPad(false, wp, pad, west);
        m_b.smdPad(false, ep, pad, east);
        m_b.trace(m_top, wp, wv, S(127), west);
        m_b.trace(m_top, ep, ev, S(127), east);
        m_b.via(wv, ViaKind::Signal, west);
        m_b.via(ev, ViaKind::Signal, east);
        m.ports[kWest].push_back({wv, west});
        m.ports[kEast].push_back({ev, east});
        for (Coord dy : {S(650), -S(650)})
            m_b.line(silk, Board::kRunPositive, {c.x - S(300), y + dy}, {c.x + S(300), y + dy}, pen);
        m_b.text(silk, {c.x + S(2600), y - S(250)}, next("R", m_refR), S(500), 0, false);
    }
    packageCorners(m, cell, m_b.powerNetAt(c.x));
    return true;
}

void Layout::placeCells() {
    const long all = long(m_cols) * m_rows;
    // The cells the count leaves over stay empty, spread over the grid.
    auto populated = [&](int c, int r) {
        const long i = r * m_cols + c;
        return (i + 1) * m_cells / all != i * m_cells / all && m_owner[static_cast<size_t>(i)] == i;
    };
    const long budget = m_cellBudget;
    for (int r = 0; r < m_rows; ++r)
        for (int c = 0; c < m_cols; ++c) {
            if (!populated(c, r)) continue;
            const int i = r * m_cols + c;
            Module& m = m_modules[static_cast<size_t>(i)];
            m_cellStart = m_b.count();
            // Now and then, on a board of many cells, a large package over two cells by two.
            if (m_cells >= kCellsForDouble && c + 1 < m_cols && r + 1 < m_rows && populated(c + 1, r) && populated(c, r + 1) &&
                populated(c + 1, r + 1) && m_rng.chance(0.08)) {
                for (int k : {i + 1, i + m_cols, i + m_cols + 1}) m_owner[static_cast<size_t>(k)] = i;
                m_cellBudget = 4 * budget;
                const Box cell = doubleCellBox(c, r);
                if (!(m_rng.chance(0.7) ? bga(m, cell) : qfp(m, cell))) resistorArray(m, cell);
                m_cellBudget = budget;
                continue;
            }
            const Box cell = cellBox(c, r);
            const double kind = m_rng.unit();
            bool placed = kind < 0.35   ? qfp(m, cell)
                          : kind < 0.6  ? bga(m, cell)
                          : kind < 0.8  ? soicRow(m, cell)
                                        : resistorArray(m, cell);
            if (!placed) placed = resistorArray(m, cell);
        }
}

// ---- routing between cells ----------------------------------------------------------

// Between every two neighbouring modules once. A double cell meets two
// neighbours on a side; they face different parts of its port.
void Layout::routeBuses() {
    std::set<std::pair<const Module*, const Module*>> done;
    auto join = [&](Module& a, Module& b, bool vertical) {
        if (&a == &b || !done.insert({&a, &b}).second) return;
        if (vertical) bus(a.ports[kNorth], b.ports[kSouth], true, m_vertical);
        else bus(a.ports[kEast], b.ports[kWest], false, m_horizontal);
    };
    for (int r = 0; r < m_rows; ++r)
        for (int c = 0; c < m_cols; ++c) {
            if (c + 1 < m_cols) join(module(c, r), module(c + 1, r), false);
            if (r + 1 < m_rows) join(module(c, r), module(c, r + 1), true);
        }
}

// Joins the pins two facing ports share the span of, as many as can make
// their jog in the room between the ports: straight out, diagonal, straight
// in. All traces turn at the same place and keep the order of both ends, so
// the diagonals run parallel (those going down below those going up).
// Straight runs stay on their port pin's line, between the other port's
// staggered vias.
void Layout::bus(const std::vector<PortPin>& from, const std::vector<PortPin>& to, bool vertical,
                 const std::vector<int>& layers) {
    struct End {
        Coord u, v;
        uint32_t net;
    };
    const Frame f{{0, 0}, vertical ? kNorth : kEast};
    auto ends = [&](const std::vector<PortPin>& pins) {
        std::vector<End> out;
        for (const PortPin& p : pins) out.push_back({f.u(p.at), f.v(p.at), p.net});
        std::sort(out.begin(), out.end(), [](const End& a, const End& b) { return a.v < b.v; });
        return out;
    };
    std::vector<End> s = ends(from), t = ends(to);
    if (s.empty() || t.empty()) return;
    const Coord lo = std::max(s.front().v, t.front().v), hi = std::min(s.back().v, t.back().v);
    auto within = [&](std::vector<End>& e) {
        e.erase(std::remove_if(e.begin(), e.end(), [&](const End& x) { return x.v < lo || x.v > hi; }), e.end());
    };
    within(s);
    within(t);
    if (s.empty() || t.empty()) return;
    Coord us = s.front().u, ut = t.front().u;
    for (const End& e : s) us = std::max(us, e.u);
    for (const End& e : t) ut = std::min(ut, e.u);
    const Coord gap = S(500);
    size_t n = std::min(s.size(), t.size()), a0 = 0, b0 = 0;
    Coord jog = 0;
    for (; n > 0; n -= std::max<size_t>(1, n / 8)) {
        a0 = (s.size() - n) / 2;
        b0 = (t.size() - n) / 2;
        jog = 0;
        for (size_t j = 0; j < n; ++j) jog = std::max(jog, std::abs(t[b0 + j].v - s[a0 + j].v));
        if (us + gap + jog + gap <= ut) break;
    }
    const Coord turn = us + gap + (ut - us - 2 * gap - jog) / 2;  // the jog half way across
    for (size_t j = 0; j < n; ++j) {
        const End& a = s[a0 + j];
        const End& b = t[b0 + j];
        const Coord d = std::abs(b.v - a.v);
        m_b.join(a.net, b.net);
        m_b.path(layers[j % layers.size()], {f.at(a.u, a.v), f.at(turn, a.v), f.at(turn + d, b.v), f.at(b.u, b.v)},
                 S(127), a.net);
    }
}

void Layout::connectors() {
    if (m_strip == 0) return;
    for (int c = 0; c < m_cols; ++c) {
        if (m_rng.chance(0.7)) connector(c, true);
        if (m_rng.chance(0.5)) connector(c, false);
    }
}

// A pin header in the strip under (or over) a column of cells: the row
// facing the cells carries signals to the nearest cell's port, the other
// row GND and supplies with thermal reliefs in the planes.
void Layout::connector(int column, bool south) {
    const Box cell = cellBox(column, south ? 0 : m_rows - 1);
    const Coord P = S(2540);
    const int n = static_cast<int>(std::min<Coord>(40, (m_cw * 3 / 4) / P));
    if (n < 4) return;
    const bool dual = m_rng.chance(0.5);
    const Coord yc = south ? m_grid.y0 - m_strip / 2 : m_grid.y1 + m_strip / 2;
    const Coord toward = south ? P / 2 : -P / 2;
    const Coord nearY = dual ? yc + toward : yc, farY = yc - toward;
    const Coord x0 = cell.centre().x - (n - 1) * P / 2;
    Module header;
    std::vector<PortPin>& port = header.ports[south ? kNorth : kSouth];
    for (int i = 0; i < n; ++i) {
        const Pt at{x0 + i * P, nearY};
        const uint32_t net = i % 4 == 3 ? kGnd : m_b.newNet();
        m_b.pth(at, {i == 0 ? Shape::Square : Shape::Round, S(1700), S(1700)}, S(1000), net);
        if (net >= kFirstSignal) port.push_back({at, net});
        if (dual) {
            const Pt back{at.x, farY};
            m_b.pth(back, round(S(1700)), S(1000), i % 3 == 2 ? m_b.powerNetAt(back.x) : kGnd);
        }
    }
    const Coord lo = std::min(nearY, dual ? farY : nearY) - P / 2, hi = std::max(nearY, dual ? farY : nearY) + P / 2;
    silkBox({x0 - P / 2 - S(200), lo - S(200)}, {x0 + (n - 1) * P + P / 2 + S(200), hi + S(200)});
    m_b.pad(m_b.layers().silkTop, Board::kRunPositive, {x0 - P / 2 - S(700), nearY}, round(S(500)));
    const std::string name = next("J", m_refJ);
    const Coord h = S(1500);
    m_b.text(m_b.layers().silkTop, {x0 - P / 2 - S(1200) - Coord(name.size()) * h * 8 / 10, yc - h / 2}, name, h, 0,
             false);
    Module& target = module(column, south ? 0 : m_rows - 1);
    if (south) bus(port, target.ports[kSouth], true, m_vertical);
    else bus(target.ports[kNorth], port, true, m_vertical);
}

Drawn Layout::draw() {
    Drawn d;
    rout();
    if (m_spec.target < kFullBoard) {
        d.fixed = m_b.count();
        fence(m_spec.target - d.fixed);
        d.fence = m_b.count() - d.fixed;
        return d;
    }
    holesAndMarks();
    legends();
    const long before = m_b.count();
    placeCells();
    routeBuses();
    connectors();
    d.modules = m_b.count() - before;
    const Coord inset = B(500);
    m_b.pourSurfaces(roundedRect({inset, inset, m_w - inset, m_h - inset}, cornerRadiusFor(m_bs) - inset, 8));
    d.fixed = m_b.count() - d.modules;
    fence(m_spec.target - m_b.count());
    d.fence = m_b.count() - d.modules - d.fixed;
    return d;
}

}  // namespace

Coord cornerRadius(Coord width, Coord height) { return cornerRadiusFor(boardScale(width, height)); }

std::vector<Pt> roundedRect(const Box& b, Coord r, int segments) {
    r = std::max<Coord>(1, std::min({r, (b.x1 - b.x0) / 2, (b.y1 - b.y0) / 2}));
    const Pt centres[4] = {{b.x1 - r, b.y0 + r}, {b.x1 - r, b.y1 - r}, {b.x0 + r, b.y1 - r}, {b.x0 + r, b.y0 + r}};
    std::vector<Pt> out;
    for (int k = 0; k < 4; ++k) {
        // Each corner from the end of one straight side to the start of the next.
        for (int i = 0; i <= segments; ++i) {
            const double a = (k - 1) * kPi / 2 + i * (kPi / 2) / segments;
            out.push_back({centres[k].x + std::llround(r * std::cos(a)), centres[k].y + std::llround(r * std::sin(a))});
        }
    }
    return out;
}

Drawn drawBoard(Board& board, const BoardSpec& spec, long cells, double share) {
    return Layout(board, spec, cells, share).draw();
}

}  // namespace gen
}  // namespace KERNEL
}  // namespace TOLVA
