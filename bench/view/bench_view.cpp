// The view widget on a generated board of 1,000,000 features over 10 board
// layers, all shown, at 1920 x 1080: a full redraw, and one wheel step of
// navigation end to end. Every figure that should be read as a ratio has its
// baseline measured in the same process, interleaved with the measured work.
#include <benchmark/benchmark.h>
#include <glog/logging.h>

#include <QApplication>
#include <QResizeEvent>
#include <QWheelEvent>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <exception>
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
using GRAPHIC::ShownLayer;
using GRAPHIC::ViewWidget;
using Clock = std::chrono::steady_clock;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr long kFeatures = 1000000;
constexpr int kBoardLayers = 10;
constexpr int kPaletteSize = 10;
constexpr qint32 kBindCode = 20001637;
constexpr int kWheelStep = 120;  // one notch
const char* const kJob = "bench_view";
const char* const kStep = "pcb";

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

int boardLayerCount(const std::string& job) {
    int n = 0;
    for (const API::matrix_info& row : API::get_matrix(job)) n += row.context == "board";
    return n;
}

// Generates the board with as many signal layers as it takes to have ten
// board layers (the generator adds drill, rout, silk and mask to them).
void generateBoard() {
    JOB::generate_params params;
    params.features = kFeatures;
    JOB::generate_job(kJob, kStep, params);
    const int extra = kBoardLayers - boardLayerCount(kJob);
    if (extra == 0) return;
    JOB::delete_job(kJob);
    params.signal_layers += extra;
    JOB::generate_job(kJob, kStep, params);
}

// One wheel notch at a widget position, up (zoom in) or down, delivered
// through the application as the window system's would be.
const QPointF kCursor(kWidth * 0.3, kHeight * 0.6);

void sendNotch(ViewWidget* view, bool up) {
    QWheelEvent wheel(kCursor, view->mapToGlobal(kCursor.toPoint()), QPoint(), QPoint(0, up ? kWheelStep : -kWheelStep),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view, &wheel);
}

bool sameScale(double a, double b) { return std::fabs(a - b) <= 1e-9 * std::fabs(b); }

// A 1920 x 1080 memcpy, the yardstick of every ratio.
class Yardstick {
public:
    Yardstick() : m_from(std::size_t(kWidth) * kHeight * 4, 1), m_to(m_from.size(), 0) {}
    double copyMs() {
        const Clock::time_point t0 = Clock::now();
        std::memcpy(m_to.data(), m_from.data(), m_from.size());
        benchmark::DoNotOptimize(m_to.data());
        benchmark::ClobberMemory();
        return msSince(t0);
    }

private:
    std::vector<unsigned char> m_from, m_to;
};

// The view bound to the generated board, every board layer shown, after its
// first resize (which fits the profile with its margin): the whole-board view
// a user gets on opening the job. Built once for every benchmark.
struct Bench {
    std::unique_ptr<ViewWidget> view;
    std::string error;
    int layers = 0;
};

Bench makeBench() {
    Bench b;
    try {
        generateBoard();
        QList<ShownLayer> shown;
        for (const API::matrix_info& row : API::get_matrix(kJob))
            if (row.context == "board") shown.append({QString::fromStdString(row.name), shown.size() % kPaletteSize});
        b.layers = shown.size();
        if (b.layers != kBoardLayers) {
            b.error = "the generated board has " + std::to_string(b.layers) + " board layers";
            return b;
        }
        b.view.reset(static_cast<ViewWidget*>(GetViewInstance(nullptr)));
        if (!b.view) {
            b.error = "the view could not be created";
            return b;
        }
        b.view->resize(kWidth, kHeight);
        b.view->setShownLayers(shown);
        PluginMetaData bind(PluginNames::JobList, PluginNames::GraphicView, kBindCode);
        bind.data.insert(QStringLiteral("JobName"), QString::fromLatin1(kJob));
        bind.data.insert(QStringLiteral("Step"), QString::fromLatin1(kStep));
        recMsgFromManager(b.view.get(), &bind);
        QResizeEvent resize(QSize(kWidth, kHeight), QSize(kWidth, kHeight));
        QApplication::sendEvent(b.view.get(), &resize);
        if (b.view->compositionSize() != QSize(kWidth, kHeight)) {
            b.error = "the view did not take its size";
            return b;
        }
        // The whole board must be in view.
        const API::reply_box profile = API::profile_box(kJob, kStep);
        for (double x : {double(profile.xmin), double(profile.xmax)})
            for (double y : {double(profile.ymin), double(profile.ymax)}) {
                int px = -1, py = -1;
                b.view->db2view(x, y, px, py);
                if (px < 0 || px > kWidth || py < 0 || py > kHeight) b.error = "the board is not wholly in view";
            }
        if (!b.error.empty()) return b;
        // Every layer's spatial index is built by the first draw; keep that
        // out of the figures.
        b.view->draw();
        b.view->refresh();
        // The wheel must reach the tool and zoom, and the opposite notch
        // must bring the scale back.
        const double scale = b.view->scale();
        sendNotch(b.view.get(), true);
        const double zoomed = b.view->scale();
        sendNotch(b.view.get(), false);
        if (!(zoomed > scale) || !sameScale(b.view->scale(), scale))
            b.error = "a wheel notch does not zoom the view (scale " + std::to_string(scale) + ", then " +
                      std::to_string(zoomed) + ", then " + std::to_string(b.view->scale()) + ")";
    } catch (const std::string& text) {
        b.error = "board: " + text;
    } catch (const std::exception& e) {
        b.error = std::string("board: ") + e.what();
    }
    return b;
}

// Made on first use, so that listing the benchmarks generates nothing.
std::unique_ptr<Bench> g_bench;

Bench& bench() {
    if (!g_bench) g_bench = std::make_unique<Bench>(makeBench());
    return *g_bench;
}

ViewWidget* viewOrSkip(benchmark::State& state) {
    Bench& b = bench();
    if (!b.error.empty()) {
        state.SkipWithError(b.error.c_str());
        return nullptr;
    }
    return b.view.get();
}

// The share of the composition's pixels with colour: a check that the
// whole board was drawn, not an empty or clipped view.
double paintedShare(const ViewWidget& view) {
    const unsigned char* p = view.compositionBuffer();
    const QSize size = view.compositionSize();
    const long pixels = static_cast<long>(size.width()) * size.height();
    if (!p || pixels == 0) return 0;
    long painted = 0;
    for (long i = 0; i < pixels; ++i, p += 4) painted += (p[0] | p[1] | p[2]) != 0;
    return static_cast<double>(painted) / pixels;
}

// draw() of all ten layers. The view's own split of its time (kernel
// rendering, blending) is averaged over the iterations; "other_ms" is the
// rest of draw() (canvas and composition clears, the profile overlay).
// After each draw, with timing paused, one 1920 x 1080 x 4 memcpy is timed:
// "memcpy_ms" is the yardstick from the same run, and
// "blend_layer_x_memcpy" the blend of one layer image against it.
void BM_Draw10Layers(benchmark::State& state) {
    ViewWidget* view = viewOrSkip(state);
    if (!view) return;
    Yardstick yardstick;
    double kernelMs = 0, blendMs = 0, drawMs = 0, copyMs = 0;
    for (auto _ : state) {
        const Clock::time_point t0 = Clock::now();
        view->draw();
        drawMs += msSince(t0);
        kernelMs += view->lastDrawTimings().kernelMs;
        blendMs += view->lastDrawTimings().blendMs;
        state.PauseTiming();
        copyMs += yardstick.copyMs();
        state.ResumeTiming();
    }
    const double n = static_cast<double>(state.iterations());
    if (n == 0) return;
    state.counters["kernel_ms"] = kernelMs / n;
    state.counters["blend_ms"] = blendMs / n;
    state.counters["other_ms"] = (drawMs - kernelMs - blendMs) / n;
    state.counters["memcpy_ms"] = copyMs / n;
    state.counters["blend_layer_x_memcpy"] = blendMs / bench().layers / copyMs;
    state.counters["painted"] = paintedShare(*view);
}

// One wheel notch about a cursor off the centre, as the window system would
// deliver it: the event goes through the application to the view, whose
// active tool (the normal one) zooms about the cursor and redraws (draw,
// refresh, the step box message). Notches alternate up and down, so the
// scale stays at the whole-board view and one step into it.
//
// After each notch, with timing paused, the same view state is redrawn by
// draw() and refresh() alone. "x_draw" and "x_redraw" are the notches' time
// over those, from the same iterations; on a shared machine they carry the
// kernel's run-to-run noise, which is larger than what navigation costs.
// "nav_ms" takes that noise out: the view reports where each draw() spent
// its time, so both the notch and the lone draw() lose their kernel and
// blend time, and what is left of the notch beyond the lone draw()'s rest
// and refresh() is the navigation itself (the event, the tool, the zoom
// arithmetic, the step box message). It is the median over the iterations;
// "nav_pct" is it over the mean redraw (draw + refresh), in percent.
void BM_WheelZoom(benchmark::State& state) {
    ViewWidget* view = viewOrSkip(state);
    if (!view) return;
    const double startScale = view->scale();
    auto renderMs = [&] { return view->lastDrawTimings().kernelMs + view->lastDrawTimings().blendMs; };
    double wheelMs = 0, drawMs = 0, refreshMs = 0;
    std::vector<double> navMs;
    bool up = true;
    for (auto _ : state) {
        Clock::time_point t0 = Clock::now();
        sendNotch(view, up);
        const double wheel = msSince(t0);
        state.PauseTiming();
        up = !up;
        const double wheelRender = renderMs();
        t0 = Clock::now();
        view->draw();
        const double draw = msSince(t0);
        const double drawRender = renderMs();
        t0 = Clock::now();
        view->refresh();
        const double refresh = msSince(t0);
        QCoreApplication::processEvents();
        wheelMs += wheel;
        drawMs += draw;
        refreshMs += refresh;
        navMs.push_back((wheel - wheelRender) - (draw - drawRender) - refresh);
        state.ResumeTiming();
    }
    if (!up) sendNotch(view, false);  // back to the whole-board view for the next run
    const double n = static_cast<double>(state.iterations());
    if (n == 0) return;
    if (!sameScale(view->scale(), startScale))
        state.SkipWithError("the wheel did not leave the scale where it started");
    std::nth_element(navMs.begin(), navMs.begin() + navMs.size() / 2, navMs.end());
    const double nav = navMs[navMs.size() / 2];
    state.counters["draw_ms"] = drawMs / n;
    state.counters["refresh_ms"] = refreshMs / n;
    state.counters["redraw_ms"] = (drawMs + refreshMs) / n;
    state.counters["x_draw"] = wheelMs / drawMs;
    state.counters["x_redraw"] = wheelMs / (drawMs + refreshMs);
    state.counters["nav_ms"] = nav;
    state.counters["nav_pct"] = nav / ((drawMs + refreshMs) / n) * 100;
}

BENCHMARK(BM_Draw10Layers)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WheelZoom)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    return runViewBenchmarks(argc, argv, [] { g_bench.reset(); });
}
