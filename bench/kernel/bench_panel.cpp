// Step-and-repeat drawing: a 4 x 6 panel of the generated 1,000,000-feature
// board (24,000,000 features by instance) on a 1920 x 1080 canvas, against
// the board drawn alone in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "TOLVA_Job.h"
#include "TOLVA_Step.h"

namespace {

using namespace TOLVA;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr long kFeatures = 1000000;
constexpr int kColumns = 4, kRows = 6;
// Boards 10 mm apart (room for break-away tabs): pitches of 310 and 210 mm
// share 10 mm, which the view's fit turns into 1.25 mm pixels. Pitches that
// share nothing near the fit's pixel are the plain-fit case below.
constexpr double kSpacing = 10000000;
constexpr double kMargin = 10000000;  // rails
// Iterations of the board-alone reference timed inside each benchmark.
constexpr int kReferenceRuns = 5;
const char* const kJob = "bench_panel";
const char* const kBoard = "pcb";
const char* const kPanel = "panel";
const char* const kLayer = "top";

struct Setup {
    API::reply_box board, panel;
    double fitScale = 0;  // nm per pixel that fit the panel's profile into the canvas
    double scale = 0;     // the same nudged to put the instances whole pixels apart
    std::vector<std::string> layers;
};

// Nanometres per pixel that fit `extent` nm into `pixels`.
double fitScaleOf(double extent, int pixels) { return extent / pixels; }

const Setup& setup() {
    static Setup s = [] {
        Setup out;
        JOB::generate_params p;
        p.signal_layers = 6;
        p.features = kFeatures;
        JOB::generate_job(kJob, kBoard, p);
        for (const API::matrix_info& row : API::get_matrix(kJob))
            if (out.layers.size() < 10) out.layers.push_back(row.name);
        out.board = API::profile_box(kJob, kBoard);
        const double bw = out.board.xmax - out.board.xmin, bh = out.board.ymax - out.board.ymin;
        // Boards the spacing apart, as a panel is laid out. It spans more
        // than the metre that create_panel's (0, 0) corner leaves room for:
        // centred on the origin instead.
        STEP::sr_row r;
        r.child = kBoard;
        r.nx = kColumns;
        r.ny = kRows;
        r.dx = bw + kSpacing;
        r.dy = bh + kSpacing;
        r.x = -std::round(kColumns * r.dx / 2) - out.board.xmin;
        r.y = -std::round(kRows * r.dy / 2) - out.board.ymin;
        JOB::create_step(kJob, kPanel);
        STEP::set_sr_table(kJob, kPanel, {r});
        const double hw = kColumns * r.dx / 2 + kMargin, hh = kRows * r.dy / 2 + kMargin;
        JOB::set_profile(kJob, kPanel, {{-hw, -hh}, {hw, -hh}, {hw, hh}, {-hw, hh}});
        out.panel = API::profile_box(kJob, kPanel);
        // The view's fit, and the whole-pixel scale it settles on for a panel.
        out.fitScale = std::max(fitScaleOf(out.panel.xmax - out.panel.xmin, kWidth),
                                fitScaleOf(out.panel.ymax - out.panel.ymin, kHeight));
        out.scale = STEP::whole_pixel_scale(kJob, kPanel, out.fitScale, 1.25);
        API::init_canvas(kWidth, kHeight);
        return out;
    }();
    return s;
}

// A view of `scale` nm per pixel centred on the box (whole micrometres, so
// that the kernel sees exactly this box).
void viewAt(const API::reply_box& b, double scale) {
    const double cx = std::round((b.xmin + b.xmax) / 2000.0) * 1000, cy = std::round((b.ymin + b.ymax) / 2000.0) * 1000;
    const double x0 = cx - scale * kWidth / 2, y0 = cy - scale * kHeight / 2;
    API::zoom_to_box(x0 * 0.001, y0 * 0.001, (x0 + scale * kWidth) * 0.001, (y0 + scale * kHeight) * 0.001);
}

void drawAll(const char* step, const std::vector<std::string>& layers) {
    for (const std::string& l : layers) {
        API::clear_canvas();
        API::draw_layer(kJob, step, l, 0, 255, 0, 255);
    }
}

template <class Body>
double msPerRun(int runs, Body&& body) {
    const auto t0 = std::chrono::steady_clock::now();
    for (int i = 0; i < runs; ++i) body();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count() / runs;
}

// Times the loop and sets the ratio to the reference.
template <class Body>
void timedAgainst(benchmark::State& st, double referenceMs, Body&& body) {
    const auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) body();
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    if (st.iterations() > 0) st.counters["x_board"] = ms / double(st.iterations()) / referenceMs;
    st.counters["reference_ms"] = referenceMs;
}

// Ten layers of the board at the whole-board view, the reference of the
// whole-panel view.
double boardTenLayersMs(const Setup& s) {
    const double bw = s.board.xmax - s.board.xmin, bh = s.board.ymax - s.board.ymin;
    viewAt(s.board, std::max(fitScaleOf(bw, kWidth), fitScaleOf(bh, kHeight)));
    drawAll(kBoard, s.layers);  // warm: indices and span tables
    return msPerRun(kReferenceRuns, [&] { drawAll(kBoard, s.layers); });
}

void BM_PanelWholeView(benchmark::State& st) {
    const Setup& s = setup();
    if (s.scale <= 0) {
        st.SkipWithError("no whole-pixel scale for the panel");
        return;
    }
    const double reference = boardTenLayersMs(s);
    viewAt(s.panel, s.scale);
    timedAgainst(st, reference, [&] { drawAll(kPanel, s.layers); });
    st.counters["features"] = double(STEP::flattened_feature_count(kJob, kPanel, kLayer));
    st.counters["zoom_out"] = s.scale / s.fitScale;
}
BENCHMARK(BM_PanelWholeView)->Unit(benchmark::kMillisecond);

// The same at the plain fit's scale, where no two instances are a whole
// number of pixels apart: every one is drawn feature by feature.
void BM_PanelWholeViewOddScale(benchmark::State& st) {
    const Setup& s = setup();
    const double reference = boardTenLayersMs(s);
    viewAt(s.panel, s.fitScale);
    timedAgainst(st, reference, [&] { drawAll(kPanel, s.layers); });
}
BENCHMARK(BM_PanelWholeViewOddScale)->Unit(benchmark::kMillisecond);

// One instance in view, a tenth of the board's sides (1% of it), against
// the board drawn alone at the same zoom.
void BM_PanelZoomed(benchmark::State& st) {
    const Setup& s = setup();
    const double bw = s.board.xmax - s.board.xmin, bh = s.board.ymax - s.board.ymin;
    const double scale = std::max(bw / 10 / kWidth, bh / 10 / kHeight);
    viewAt(s.board, scale);
    API::clear_canvas();
    API::draw_layer(kJob, kBoard, kLayer, 255, 0, 0, 255);
    const double reference = msPerRun(kReferenceRuns * 4, [] { API::draw_layer(kJob, kBoard, kLayer, 255, 0, 0, 255); });
    const std::vector<STEP::sr_instance> instances = STEP::list_instances(kJob, kPanel);
    viewAt(instances[instances.size() / 2].box, scale);
    API::clear_canvas();
    timedAgainst(st, reference, [] { API::draw_layer(kJob, kPanel, kLayer, 255, 0, 0, 255); });
}
BENCHMARK(BM_PanelZoomed)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
