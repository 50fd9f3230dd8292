#pragma once
// The drawing board of the demo generator: layers under construction, their
// symbol tables, nets, and the copper primitives a CAM operator expects to
// find (pads with solder-mask openings, traces, vias with their drills and
// plane clearances, plated and non-plated holes). Pour clearances and
// thermal reliefs are added by the primitives themselves, so the layouts in
// generate_layout.cpp only say what goes where.
//
// Each layer collects its features in three runs that are joined on commit:
// pours first, then the negative features that cut them, then the positive
// features drawn over both (the kernel paints in layer order).
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "kernel.h"

namespace TOLVA {
namespace KERNEL {
namespace gen {

using Coord = int64_t;  // nanometres; wide so that sums of offsets never wrap

struct Pt {
    Coord x = 0, y = 0;
};

struct Box {
    Coord x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    bool contains(const Box& b) const { return b.x0 >= x0 && b.y0 >= y0 && b.x1 <= x1 && b.y1 <= y1; }
    bool empty() const { return x1 <= x0 || y1 <= y0; }
    Pt centre() const { return {(x0 + x1) / 2, (y0 + y1) / 2}; }
};

// Random numbers from one Mersenne twister, turned into values by our own
// arithmetic so that a seed gives the same board with every standard library.
class Rng {
public:
    explicit Rng(unsigned seed) : m_engine(seed) {}
    double unit() { return (m_engine() >> 5) * (1.0 / 134217728.0); }  // [0, 1)
    int below(int n) { return n <= 1 ? 0 : static_cast<int>(unit() * n); }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }  // [lo, hi]
    double range(double a, double b) { return a + (b - a) * unit(); }
    bool chance(double p) { return unit() < p; }

private:
    std::mt19937 m_engine;
};

// A right-angled frame: local u runs along `side` (0 east, 1 north, 2 west,
// 3 south), v a quarter turn to its left. Footprints are drawn once in local
// coordinates and turned to each side; integer coordinates stay integer, so
// 45-degree segments stay exactly diagonal.
struct Frame {
    Pt o;
    int side = 0;
    Pt at(Coord u, Coord v) const {
        switch (side & 3) {
        case 0: return {o.x + u, o.y + v};
        case 1: return {o.x - v, o.y + u};
        case 2: return {o.x - u, o.y - v};
        default: return {o.x + v, o.y - u};
        }
    }
    Coord u(Pt p) const {
        switch (side & 3) {
        case 0: return p.x - o.x;
        case 1: return p.y - o.y;
        case 2: return o.x - p.x;
        default: return o.y - p.y;
        }
    }
    Coord v(Pt p) const {
        switch (side & 3) {
        case 0: return p.y - o.y;
        case 1: return o.x - p.x;
        case 2: return o.y - p.y;
        default: return p.x - o.x;
        }
    }
    bool turned() const { return side & 1; }
};

enum class Shape : uint8_t { Round, Square, Rect, Oval, Donut };

// A pad or pen shape in nanometres: w across x, h across y (the inner
// diameter for a donut). Round and square use w only.
struct PadGeom {
    Shape shape = Shape::Round;
    Coord w = 0, h = 0;
    // The same shape in a frame turned a quarter: width and height swap.
    PadGeom in(const Frame& f) const { return f.turned() && shape != Shape::Donut ? PadGeom{shape, h, w} : *this; }
    PadGeom grown(Coord by) const { return {shape, w + 2 * by, shape == Shape::Donut ? h : h + 2 * by}; }
    Coord halfW() const { return w / 2; }
    Coord halfH() const { return (shape == Shape::Rect || shape == Shape::Oval ? h : w) / 2; }
};
inline PadGeom round(Coord d) { return {Shape::Round, d, d}; }
inline PadGeom rect(Coord w, Coord h) { return {Shape::Rect, w, h}; }

// What each copper layer is for.
enum class Role : uint8_t {
    Outer,        // top or bottom: components, fan-out, a ground pour with clearances
    Inner,        // inner routing layer
    GroundPlane,  // a solid GND plane with antipads and thermal reliefs
    PowerPlane,   // a plane split into power regions
};

// Fixed nets. Signals get their own numbers from kFirstSignal on.
constexpr uint32_t kNoNet = 0;
constexpr uint32_t kGnd = 1;
constexpr uint32_t kFirstPower = 2;
constexpr int kPowerNets = 5;
constexpr uint32_t kFirstSignal = kFirstPower + kPowerNets;
const char* powerNetName(uint32_t net);

// Sizes that depend on the board's scale, in nanometres.
struct Rules {
    Coord clearance = 0;       // outer pours keep this far from foreign copper
    Coord planeClearance = 0;  // antipad ring on planes
    Coord maskGrow = 0;        // solder-mask opening beyond the pad, each side
    Coord spoke = 0;           // thermal spoke width
    Coord silkPen = 0;         // silk outline width
};

enum class ViaKind { Small, Signal, Power };
struct ViaSize {
    Coord pad = 0, drill = 0;
};

class Board {
public:
    // Where each kind of layer sits in the matrix (-1: absent).
    struct Layers {
        std::vector<int> copper;  // top first
        std::vector<Role> roles;  // parallel to copper
        int drill = -1, rout = -1, maskTop = -1, maskBottom = -1, silkTop = -1, silkBottom = -1;
        int count = 0;            // matrix rows
    };
    // Copper pours: the outline every pour stays inside, the cells of the
    // component grid with the area cut out of the top pour in each, and
    // the power plane's regions (split at x positions, one net each).
    struct Pours {
        Box area;
        Coord gridX = 0, gridY = 0, cellW = 1, cellH = 1;
        int cols = 0, rows = 0;
        std::vector<Box> holes;    // per cell, row-major; empty: no cut-out
        std::vector<Box> cutouts;  // each cut-out once (a package may hold several cells)
        std::vector<Coord> splits;       // region boundaries, ascending
        std::vector<uint32_t> regionNet; // splits.size() + 1 nets
        Coord splitGap = 0;
    };

    explicit Board(const Layers& layers);
    // The design rules and the footprint scale: nanometres per micrometre of
    // footprint geometry (1000 at full size). Set before drawing.
    void setScale(const Rules& rules, double scale);

    const Layers& layers() const { return m_layers; }
    const Rules& rules() const { return m_rules; }
    Pours& pours() { return m_pours; }
    const Pours& pours() const { return m_pours; }
    int copperCount() const { return static_cast<int>(m_layers.copper.size()); }
    ViaSize viaSize(ViaKind kind) const;
    // Total features so far.
    long count() const;

    // ---- nets ----------------------------------------------------------
    uint32_t newNet();
    // The two nets are one; a fixed net (GND, power) absorbs a signal.
    void join(uint32_t a, uint32_t b);
    uint32_t powerNetAt(Coord x) const;

    // ---- copper --------------------------------------------------------
    // A surface-mount pad on the top (bottom = false) or bottom copper, with
    // its mask opening and, inside a pour, a clearance or a thermal relief.
    void smdPad(bool bottom, Pt at, const PadGeom& g, uint32_t net);
    // An orthogonal or diagonal trace on copper layer `copper`.
    void trace(int copper, Pt a, Pt b, Coord width, uint32_t net);
    // Consecutive traces through the points (repeated points are skipped).
    void path(int copper, const std::vector<Pt>& points, Coord width, uint32_t net);
    void via(Pt at, ViaKind kind, uint32_t net);
    // A plated through hole with the same pad on every routing layer.
    void pth(Pt at, const PadGeom& g, Coord drill, uint32_t net);
    void npth(Pt at, Coord drill);
    // A copper mark without a net (fiducial) on the top or bottom layer.
    void fiducial(bool bottom, Pt at, Coord diameter);
    // The pour surface of every layer that has one: the top gets the pour
    // area with the cells' holes cut out, the bottom and the GND planes the
    // whole area, power planes one surface per region.
    void pourSurfaces(const std::vector<Pt>& outline);

    // ---- raw features --------------------------------------------------
    enum Run { kRunPour, kRunNegative, kRunPositive };
    int symbol(int layer, const PadGeom& g);
    void pad(int layer, Run run, Pt at, const PadGeom& g, uint32_t attrs = 0);
    void line(int layer, Run run, Pt a, Pt b, const PadGeom& pen, uint32_t attrs = 0);
    void arc(int layer, Run run, Pt start, Pt end, Pt centre, bool clockwise, const PadGeom& pen,
             uint32_t attrs = 0);
    void surface(int layer, const std::vector<std::vector<Pt>>& contours, uint32_t attrs);
    void text(int layer, Pt anchor, const std::string& s, Coord height, int angle, bool mirror,
              bool positive = true);

    // ---- attributes ----------------------------------------------------
    // Feature attributes are codes until commit: the net of a copper
    // feature, or one of the fixed sets below.
    enum Fixed : uint32_t { kDrillVia, kDrillPlated, kDrillNonPlated, kRoutChain, kFiducial, kFixedCount };
    static uint32_t fixed(Fixed f);
    static uint32_t netCode(uint32_t net, bool smd = false);

    // Moves everything into the job's layers (rows created by the caller, in
    // matrix order, empty) and interns the attribute sets.
    void commit(Job& job, size_t step);

private:
    struct Out {
        std::vector<Feature> runs[3];
        LayerData geometry;  // surfaces and texts only
        std::vector<Symbol> symbols;
        std::unordered_map<uint64_t, int> symbolByKey;
    };
    enum class Kind { Smd, Via, Pth };

    Feature& push(int layer, Run run, uint8_t type, uint32_t attrs, bool positive);
    uint32_t find(uint32_t net);
    // The net of the pour under a feature's box on copper layer i, kNoNet
    // where there is none (outside the pour area, in a cell's cut-out, in a
    // split of the power plane).
    uint32_t pourNet(int copper, const Box& box) const;
    // The clearance or relief that a pad of `net` needs in the pour of layer i.
    void relieve(int copper, Pt at, const PadGeom& g, uint32_t net, Kind kind);
    void spokes(int copper, Pt at, const PadGeom& g, Coord reach);
    void thermalRing(int copper, Pt at, Coord inner, Coord outer);
    void drill(Pt at, Coord diameter, Fixed kind);
    void mask(bool bottom, Pt at, const PadGeom& g);
    bool isPlane(int copper) const {
        return m_layers.roles[copper] == Role::GroundPlane || m_layers.roles[copper] == Role::PowerPlane;
    }
    int outer(bool bottom) const;
    uint32_t resolve(uint32_t code, AttrTable& table, std::vector<uint32_t>& netSets,
                     std::vector<uint32_t>& smdSets, uint32_t fixedSets[], uint32_t& signals);

    Layers m_layers;
    Rules m_rules;
    double m_scale;
    Pours m_pours;
    std::vector<Out> m_out;
    std::vector<uint32_t> m_parent;  // union-find over net numbers
};

}  // namespace gen
}  // namespace KERNEL
}  // namespace TOLVA
