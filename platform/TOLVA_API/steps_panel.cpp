// Production panels: the array of boards inside the margins, and the rails'
// fiducials and tooling holes.
#include <algorithm>
#include <cmath>

#include "TOLVA_Job.h"
#include "TOLVA_Step.h"
#include "edit_tools_internal.h"
#include "steps_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace SR {
namespace {

struct Extent2 {
    double xmin, ymin, xmax, ymax;
    double width() const { return xmax - xmin; }
    double height() const { return ymax - ymin; }
};

// The board's outline box after the quarter turn, in the board's own
// coordinates turned about its datum.
Extent2 turnedBox(const Job& job, size_t board, int rotation) {
    const std::vector<Vec> outline = stepOutline(job, board);
    if (outline.empty()) fail("step '" + job.steps[board].name + "' has neither a profile nor features to panelise");
    const Placement p = Placement::of(rotation, false, 0, 0);
    Extent2 e{std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
              -std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()};
    for (const Vec& v : outline) {
        const Vec q = p.apply(v);
        e.xmin = std::min(e.xmin, q.x);
        e.ymin = std::min(e.ymin, q.y);
        e.xmax = std::max(e.xmax, q.x);
        e.ymax = std::max(e.ymax, q.y);
    }
    if (!(e.width() > 0) || !(e.height() > 0)) fail("step '" + job.steps[board].name + "' has no area to panelise");
    return e;
}

// How many boards of `size` with `gap` between them fit in `room`.
int fitting(double room, double size, double gap) {
    if (room < size) return 0;
    return static_cast<int>(std::floor((room - size) / (size + gap))) + 1;
}

int countAlong(int asked, int fit, const char* what) {
    if (asked < 0) fail(std::string("the number of ") + what + " cannot be negative");
    if (fit < 1) fail(std::string("not one board fits between the margins (") + what + ")");
    if (asked > fit)
        fail(std::to_string(asked) + " " + what + " were asked for, only " + std::to_string(fit) + " fit");
    return asked == 0 ? fit : asked;
}

bool isOuterCopperCandidate(const API::matrix_info& row) {
    return row.context == "board" && (row.type == "signal" || row.type == "power_ground" || row.type == "mixed");
}

}  // namespace
}  // namespace SR
}  // namespace KERNEL

namespace STEP {

using namespace KERNEL;
using namespace KERNEL::SR;

panel_report create_panel(const str& job, const str& panelStep, const str& boardStep, const panel_params& params) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t board = findStepIndex(j, boardStep);
    for (double v : {params.width, params.height, params.margin_left, params.margin_right, params.margin_top,
                     params.margin_bottom, params.spacing_x, params.spacing_y})
        checkFinite(v, "panel size");
    if (!(params.width > 0) || !(params.height > 0) || params.width > kMaxCoordinate || params.height > kMaxCoordinate)
        fail("the panel's width and height must be positive and within the board's range");
    for (double v : {params.margin_left, params.margin_right, params.margin_top, params.margin_bottom,
                     params.spacing_x, params.spacing_y})
        if (v < 0) fail("margins and spacings cannot be negative");
    if (params.rotation % 90 != 0) fail("boards are turned by quarter turns only, not " + std::to_string(params.rotation));
    if (panelStep == boardStep) fail("step '" + boardStep + "' cannot be a panel of itself");
    bool exists = false;
    for (const Step& s : j.steps) exists |= s.name == panelStep;
    if (exists && places(j, board, findStepIndex(j, panelStep)))
        fail("step '" + boardStep + "' places step '" + panelStep + "' already, so it cannot be placed in it");

    const Extent2 b = turnedBox(j, board, params.rotation);
    const double roomX = params.width - params.margin_left - params.margin_right;
    const double roomY = params.height - params.margin_bottom - params.margin_top;
    panel_report report;
    report.columns = countAlong(params.columns, fitting(roomX, b.width(), params.spacing_x), "columns");
    report.rows = countAlong(params.rows, fitting(roomY, b.height(), params.spacing_y), "rows");
    report.placed = report.columns * report.rows;
    report.board_width = b.width();
    report.board_height = b.height();
    // Whole nanometres: every instance then lands on whole coordinates.
    const double dx = std::round(b.width() + params.spacing_x), dy = std::round(b.height() + params.spacing_y);
    const double arrayW = (report.columns - 1) * dx + b.width(), arrayH = (report.rows - 1) * dy + b.height();
    const double x0 = std::round(params.margin_left + (roomX - arrayW) / 2);
    const double y0 = std::round(params.margin_bottom + (roomY - arrayH) / 2);
    const IBox a = clampBox(x0, y0, x0 + arrayW, y0 + arrayH);
    report.array_box = {a.xmin, a.ymin, a.xmax, a.ymax};

    sr_row row;
    row.child = boardStep;
    row.x = x0 - std::round(b.xmin);
    row.y = y0 - std::round(b.ymin);
    row.dx = report.columns > 1 ? dx : 0;
    row.dy = report.rows > 1 ? dy : 0;
    row.nx = report.columns;
    row.ny = report.rows;
    row.angle = ((params.rotation % 360) + 360) % 360;
    if (!exists) JOB::create_step(job, panelStep);
    const size_t panel = findStepIndex(j, panelStep);
    UndoRecord u = beginEdit(j, UndoRecord::Composite);
    u.tableChanged = true;
    u.tableStep = panel;
    u.oldTable = j.steps[panel].srTable;
    u.profileChanged = true;
    u.profileStep = panel;
    u.oldProfile = j.steps[panel].profile;
    j.steps[panel].srTable = {row};
    j.steps[panel].profile = {{0, 0}, {params.width, 0}, {params.width, params.height}, {0, params.height}};
    commitEdit(j, std::move(u));
    return report;
}

rail_report add_panel_rails(const str& job, const str& step, const rail_params& params) {
    KERNEL_LOCK;
    Job& j = findJob(job);
    const size_t s = findStepIndex(j, step);
    for (double v : {params.fiducial_x_inset, params.fiducial_y_inset, params.tooling_inset})
        checkFinite(v, "rail inset");
    const std::vector<API::lPoint>& profile = j.steps[s].profile;
    if (profile.empty()) fail("step '" + step + "' has no profile: the rails are placed along it");
    double xmin = profile[0].x, ymin = profile[0].y, xmax = xmin, ymax = ymin;
    for (const API::lPoint& p : profile) {
        xmin = std::min(xmin, p.x);
        ymin = std::min(ymin, p.y);
        xmax = std::max(xmax, p.x);
        ymax = std::max(ymax, p.y);
    }
    rail_report report;
    const double fx = params.fiducial_x_inset, fy = params.fiducial_y_inset, t = params.tooling_inset;
    report.fiducials = {{xmin + fx, ymin + fy}, {xmin + fx, ymax - fy}, {xmax - fx, ymax - fy}};
    report.tooling_holes = {{xmin + t, ymin + t}, {xmax - t, ymin + t}, {xmax - t, ymax - t}, {xmin + t, ymax - t}};

    // Nothing may land on a board.
    const std::vector<STEP::sr_instance> instances = list_instances(job, step);
    auto checkFree = [&](const API::lPoint& p, const char* what) {
        if (p.x < xmin || p.x > xmax || p.y < ymin || p.y > ymax)
            fail(std::string("the ") + what + " at (" + std::to_string(p.x) + ", " + std::to_string(p.y) +
                 ") lies outside the panel");
        for (const STEP::sr_instance& in : instances)
            if (p.x >= in.box.xmin && p.x <= in.box.xmax && p.y >= in.box.ymin && p.y <= in.box.ymax)
                fail(std::string("the ") + what + " at (" + std::to_string(p.x) + ", " + std::to_string(p.y) +
                     ") would land on instance (" + std::to_string(in.ix) + ", " + std::to_string(in.iy) +
                     ") of row " + std::to_string(in.row) + ": widen the rails or move it");
    };
    for (const API::lPoint& p : report.fiducials) checkFree(p, "fiducial");
    for (const API::lPoint& p : report.tooling_holes) checkFree(p, "tooling hole");

    long firstCopper = -1, lastCopper = -1;
    for (size_t l = 0; l < j.layers.size(); ++l)
        if (isOuterCopperCandidate(j.layers[l].row)) {
            if (firstCopper < 0) firstCopper = static_cast<long>(l);
            lastCopper = static_cast<long>(l);
        }
    if (firstCopper < 0) fail("job '" + job + "' has no copper layer for the fiducials");

    EDITS::SymbolBook symbols;
    std::vector<EDITS::LayerEdit> edits;
    auto addPads = [&](size_t l, const std::string& symbol, const std::vector<API::lPoint>& at, str_list& names) {
        EDITS::LayerEdit e;
        e.layer = l;
        const uint32_t index = symbols.index(j.layers[l], symbol);
        for (const API::lPoint& p : at) {
            EDITS::Piece piece;
            piece.p.f = padFeature(p.x, p.y, static_cast<int>(index), API::POL_POSITIVE, 0, 0, 1.0);
            e.append.push_back(std::move(piece));
        }
        report.pads_added += static_cast<int>(at.size());
        names.push_back(j.layers[l].row.name);
        edits.push_back(std::move(e));
    };
    addPads(static_cast<size_t>(firstCopper), params.fiducial_symbol, report.fiducials, report.copper_layers);
    if (lastCopper != firstCopper)
        addPads(static_cast<size_t>(lastCopper), params.fiducial_symbol, report.fiducials, report.copper_layers);
    for (size_t l = 0; l < j.layers.size(); ++l) {
        const API::matrix_info& row = j.layers[l].row;
        if (row.context != "board") continue;
        if (row.type == "solder_mask") addPads(l, params.fiducial_mask_symbol, report.fiducials, report.mask_layers);
        if (row.type == "drill") addPads(l, params.tooling_symbol, report.tooling_holes, report.drill_layers);
    }
    EDITS::commitEdits(j, s, edits, symbols, {});
    return report;
}

}  // namespace STEP
}  // namespace TOLVA
