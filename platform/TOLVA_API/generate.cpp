// Generated boards for tests, benchmarks and the demo.
//
// The matrix follows the stack from the top: sst, smt, top, l2 ... bottom,
// smb, ssb, then drill and rout. The inner layers of boards with four and
// more copper layers start with a GND plane (l2) and end with a split power
// plane, with pairs of routing layers between further GND planes.
//
// The board is drawn by generate_layout.cpp. How many component cells make
// the wanted feature count depends on the packages the seed picks, so the
// board is drawn, measured and drawn again with the cell count corrected,
// a few times at most; the via fence along the edge then takes up most of
// what is left.
#include <algorithm>
#include <cmath>
#include <memory>

#include "TOLVA_Job.h"
#include "generate_board.h"
#include "generate_layout.h"
#include "kernel.h"

namespace TOLVA {
namespace KERNEL {

namespace {

constexpr int kMaxSignalLayers = 64;
constexpr int kMaxPasses = 6;
// Within this share of the target a drawn board is taken as it is.
constexpr double kTolerance = 0.03;
// The share the component cells aim at: the fence fills up the rest.
constexpr double kCellShare = 0.985;
// At first a cell may bring three times its part of the target: only a
// board of one cell needs the packages smaller than the cell allows.
constexpr double kFirstShare = 3;
// Up to this many cells the count is tuned by the cells' share too.
constexpr long kFewCells = 16;

struct Row {
    std::string name, type;
};

// The roles of the copper layers, top first.
std::vector<gen::Role> copperRoles(int n) {
    using gen::Role;
    std::vector<Role> roles;
    for (int i = 0; i < n; ++i) {
        if (i == 0 || i == n - 1) roles.push_back(Role::Outer);
        else if (i == 1) roles.push_back(Role::GroundPlane);
        else if (i == n - 2) roles.push_back(Role::PowerPlane);
        else roles.push_back((i - 2) % 3 == 2 ? Role::GroundPlane : Role::Inner);
    }
    return roles;
}

std::string copperName(int i, int n) { return i == 0 ? "top" : i == n - 1 ? "bottom" : "l" + std::to_string(i + 1); }

// The matrix rows in order, and where each kind of layer landed.
std::vector<Row> planMatrix(int signalLayers, gen::Board::Layers& layers) {
    std::vector<Row> rows;
    auto add = [&](const std::string& name, const char* type) {
        rows.push_back({name, type});
        return static_cast<int>(rows.size()) - 1;
    };
    layers.roles = copperRoles(signalLayers);
    layers.silkTop = add("sst", "silk_screen");
    layers.maskTop = add("smt", "solder_mask");
    for (int i = 0; i < signalLayers; ++i) {
        const bool plane = layers.roles[i] == gen::Role::GroundPlane || layers.roles[i] == gen::Role::PowerPlane;
        layers.copper.push_back(add(copperName(i, signalLayers), plane ? "power_ground" : "signal"));
    }
    layers.maskBottom = add("smb", "solder_mask");
    layers.silkBottom = add("ssb", "silk_screen");
    layers.drill = add("drill", "drill");
    layers.rout = add("rout", "rout");
    layers.count = static_cast<int>(rows.size());
    return rows;
}

// A first guess of the features one cell brings, from boards of the
// default kind; the passes that follow correct it.
long cellsFor(long features, int signalLayers) {
    const double perCell = 175.0 * (signalLayers + 6);
    return std::max(1L, std::lround(features / perCell));
}

std::unique_ptr<gen::Board> drawToTarget(const gen::Board::Layers& layers, const gen::BoardSpec& spec,
                                         int signalLayers) {
    double cells = static_cast<double>(cellsFor(spec.target, signalLayers));
    double share = kFirstShare;
    long below = 0, above = 0;  // cell counts that gave too few and too many features
    std::unique_ptr<gen::Board> best;
    double bestMiss = 0;
    for (int pass = 0; pass < kMaxPasses; ++pass) {
        const long n = std::max(1L, std::lround(cells));
        auto board = std::make_unique<gen::Board>(layers);
        const gen::Drawn drawn = gen::drawBoard(*board, spec, n, share);
        const long total = board->count();
        const double miss = std::abs(double(total) / double(spec.target) - 1);
        if (!best || miss < bestMiss) {
            best = std::move(board);
            bestMiss = miss;
        }
        if (bestMiss <= kTolerance || drawn.modules == 0) break;
        (total < spec.target ? below : above) = n;
        // In proportion until the target is bracketed, then half way: the
        // count does not always grow with the cells (fewer cells get larger
        // footprints), so a straight line through two passes can run off.
        const double wanted = kCellShare * double(spec.target) - double(drawn.fixed);
        double next = below && above ? 0.5 * double(below + above) : n * wanted / double(drawn.modules);
        next = std::max(0.5 * n, std::min(2.0 * n, next));
        if (std::lround(next) == n || next < 1) {
            // A cell more or less is too coarse (or there is just one): the
            // cells' share of the features moves instead, which on a board
            // of few cells decides the package sizes.
            if (n > kFewCells) break;
            share *= std::max(0.25, std::min(4.0, wanted / double(drawn.modules)));
            next = std::max(1.0, next);
            below = above = 0;
        }
        cells = next;
    }
    return best;
}

}  // namespace
}  // namespace KERNEL

namespace JOB {

using namespace KERNEL;

void generate_job(const str& job, const str& step, const generate_params& params) {
    KERNEL_LOCK;
    if (params.signal_layers < 0 || params.signal_layers > kMaxSignalLayers)
        fail("signal layer count " + std::to_string(params.signal_layers) + " is out of range");
    if (params.features < 0 || params.features > 100000000L)
        fail("feature count " + std::to_string(params.features) + " is out of range");
    for (double v : {params.width_nm, params.height_nm}) {
        checkFinite(v, "board size");
        if (v < 1e6 || v > kMaxCoordinate) fail("board size " + std::to_string(v) + " nm is out of range");
    }
    if (job_exists(job)) fail("job '" + job + "' exists already");
    create_job(job);
    try {
        create_step(job, step);
        gen::BoardSpec spec;
        spec.width = std::llround(params.width_nm);
        spec.height = std::llround(params.height_nm);
        spec.seed = params.seed;
        spec.target = params.features;
        std::vector<API::lPoint> profile;
        for (const gen::Pt& p : gen::roundedRect({0, 0, spec.width, spec.height},
                                                 gen::cornerRadius(spec.width, spec.height), 8))
            profile.push_back({double(p.x), double(p.y)});
        set_profile(job, step, profile);
        gen::Board::Layers layers;
        for (const Row& row : planMatrix(params.signal_layers, layers))
            add_layer(job, row.name, "board", row.type, "positive");
        if (spec.target > 0) drawToTarget(layers, spec, params.signal_layers)->commit(findJob(job), 0);
    } catch (...) {
        delete_job(job);
        throw;
    }
}

}  // namespace JOB
}  // namespace TOLVA
