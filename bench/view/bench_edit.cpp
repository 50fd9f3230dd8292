// The grid repeat as the operator starts it (message 20001605 through the
// plug-in entry point): 1,000 selected pads copied on a 20 x 20 grid, 399,000
// new features, against a plain kernel multi-copy of the same offsets timed
// in the same iterations. While the view repeats, a zero-interval timer
// measures the longest time the GUI thread's event loop went without a turn.
#include <benchmark/benchmark.h>
#include <glog/logging.h>

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "PluginMetaData.h"
#include "PluginNames.h"
#include "TOLVA_Job.h"
#include "graphic_view/graphic_view.h"
#include "view_bench_main.h"

namespace {

using namespace TOLVA;
using GRAPHIC::ViewWidget;
using Clock = std::chrono::steady_clock;

const char* const kJob = "bench_edit";
const char* const kStep = "pcb";
const char* const kLayer = "top";
constexpr int kSelected = 1000;
constexpr int kGrid = 20;
constexpr double kPitch = 100000;            // 0.1 mm between the selected pads
constexpr double kCopyStep = 4e6;  // 4 mm between the copies
constexpr qint32 kRepeatCode = 20001605;
constexpr qint32 kBindCode = 20001637;

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

struct Board {
    std::unique_ptr<QWidget> host;
    ViewWidget* view = nullptr;
    std::string error;
};

Board makeBoard() {
    Board b;
    try {
        if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
        JOB::create_job(kJob);
        JOB::create_step(kJob, kStep);
        JOB::add_layer(kJob, kLayer, "board", "signal", "positive");
        const double side = kGrid * kCopyStep + 1e7;
        JOB::set_profile(kJob, kStep, {{0, 0}, {side, 0}, {side, side}, {0, side}, {0, 0}});
        int symbol = -1;
        API::create_new_symbol(kJob, kStep, kLayer, "r50", symbol);
        std::vector<std::string> pads;
        for (int i = 0; i < kSelected; ++i)
            pads.push_back(API::GreatePadString(1e6 + (i % 40) * kPitch, 1e6 + (i / 40) * kPitch, symbol,
                                                API::POL_POSITIVE, 0, 0, 0.0));
        API::AddFeatures(kJob, kStep, {kLayer}, {{kLayer, pads}}, {});
        b.host = std::make_unique<QWidget>();
        b.view = static_cast<ViewWidget*>(GetViewInstance(b.host.get()));
        b.view->resize(800, 600);
        // No layer shown: the redraw that ends the repeat is the draw
        // benchmarks' subject; here it is the repeat's own machinery.
        b.view->setShownLayers({});
        PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, kBindCode);
        bind.data.insert(QStringLiteral("JobName"), QString::fromLatin1(kJob));
        bind.data.insert(QStringLiteral("Step"), QString::fromLatin1(kStep));
        recMsgFromManager(b.view, &bind);
        b.view->work_layer = kLayer;
        b.view->draw();
    } catch (const std::string& text) {
        b.error = text;
    }
    return b;
}

std::unique_ptr<Board> g_board;

ViewWidget* viewOrSkip(benchmark::State& state) {
    if (!g_board) g_board = std::make_unique<Board>(makeBoard());
    if (!g_board->error.empty()) {
        state.SkipWithError(g_board->error.c_str());
        return nullptr;
    }
    return g_board->view;
}

std::vector<API::point> gridOffsets() {
    std::vector<API::point> offsets;
    for (int j = 0; j < kGrid; ++j)
        for (int i = 0; i < kGrid; ++i)
            if (i || j) offsets.push_back({int32_t(i * kCopyStep), int32_t(j * kCopyStep)});
    return offsets;
}

void selectOriginals() {
    API::clear_selected_features(kJob, kStep, kLayer);
    for (int i = 0; i < kSelected; ++i) API::select_feature_by_id(kJob, kStep, kLayer, i);
}

// Takes the copies back; false when the layer does not hold what one repeat makes.
bool undoRepeat() {
    const bool made = JOB::feature_count(kJob, kStep, kLayer) == kSelected * kGrid * kGrid;
    API::undo_last_edit(kJob);
    return made && JOB::feature_count(kJob, kStep, kLayer) == kSelected;
}

double kernelCopyMs() {
    const std::vector<API::point> offsets = gridOffsets();
    selectOriginals();
    const Clock::time_point t0 = Clock::now();
    API::multi_copy_features_in_samelayer(kJob, kStep, {kLayer}, offsets);
    return msSince(t0);
}

// The view's repeat; "gap_ms" is the longest stretch without an event-loop
// turn on the GUI thread, "view_x_kernel" the repeat's time over the plain
// kernel copy of the same grid measured in the same iterations, and
// "without_redraw_x_kernel" the same less the closing redraw of the window.
void BM_RepeatGrid(benchmark::State& state) {
    ViewWidget* view = viewOrSkip(state);
    if (!view) return;
    ViewWidget::RepeatParameters grid{kGrid, kGrid, kCopyStep, kCopyStep};
    PluginMetaData repeat(PluginNames::MenuBarStep, PluginNames::GraphicView, kRepeatCode);
    repeat.payload = &grid;
    // One untimed round first: the kernel side below is always measured warm
    // (it runs right after the view's copy), so the view's side is too.
    selectOriginals();
    recMsgFromManager(view, &repeat);
    if (!undoRepeat()) {
        state.SkipWithError("the repeat did not make 399,000 copies");
        return;
    }
    double viewMs = 0, kernelMs = 0, redrawMs = 0, worstGap = 0;
    for (auto _ : state) {
        state.PauseTiming();
        selectOriginals();
        Clock::time_point lastTurn = Clock::now();
        double gap = 0;
        QTimer turns;
        turns.setInterval(0);
        QObject::connect(&turns, &QTimer::timeout, [&] {
            gap = std::max(gap, msSince(lastTurn));
            lastTurn = Clock::now();
        });
        state.ResumeTiming();

        const Clock::time_point t0 = Clock::now();
        turns.start();
        lastTurn = Clock::now();
        recMsgFromManager(view, &repeat);
        turns.stop();
        viewMs += msSince(t0);

        state.PauseTiming();
        worstGap = std::max(worstGap, gap);
        if (!undoRepeat()) {
            state.SkipWithError("the repeat did not make 399,000 copies");
            return;
        }
        kernelMs += kernelCopyMs();
        undoRepeat();
        // The redraw that ends every repeat, on its own: the part of the
        // view's time that grows with the window, not with the copy.
        const Clock::time_point r0 = Clock::now();
        view->draw();
        view->refresh();
        redrawMs += msSince(r0);
        state.ResumeTiming();
    }
    state.counters["gap_ms"] = worstGap;
    state.counters["view_x_kernel"] = kernelMs > 0 ? viewMs / kernelMs : 0;
    state.counters["redraw_ms"] = redrawMs / state.iterations();
    state.counters["without_redraw_x_kernel"] = kernelMs > 0 ? (viewMs - redrawMs) / kernelMs : 0;
    state.counters["new_features"] = double(kSelected) * (kGrid * kGrid - 1);
}
BENCHMARK(BM_RepeatGrid)->Unit(benchmark::kMillisecond)->Iterations(5);

// The plain kernel copy of the same grid, for the table.
void BM_MultiCopy(benchmark::State& state) {
    if (!viewOrSkip(state)) return;
    const std::vector<API::point> offsets = gridOffsets();
    for (auto _ : state) {
        state.PauseTiming();
        selectOriginals();
        state.ResumeTiming();
        API::multi_copy_features_in_samelayer(kJob, kStep, {kLayer}, offsets);
        state.PauseTiming();
        undoRepeat();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_MultiCopy)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

int main(int argc, char** argv) {
    return runViewBenchmarks(argc, argv, [] { g_board.reset(); });
}
