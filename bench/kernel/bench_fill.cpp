// Contour fill on the generated board: a 100 x 100 mm contour filled with a
// 1 mm pad grid kept at the clearance from the densest signal layer's copper.
// Reports the pads placed and x_memcpy, the time over one memcpy of the
// layer's feature records (bench_baseline.h), measured in the same run.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "TOLVA_Fill.h"
#include "TOLVA_Job.h"
#include "bench_baseline.h"
#include "bench_board.h"

namespace {

using namespace TOLVA;

constexpr double kMm = 1e6;
const char* const kJob = "bench_fill";
const char* const kStep = "pcb";

// Generated once; the signal layer with the most features, index built.
const std::string& denseLayer() {
    static const std::string layer = [] {
        benchboard::generate(kJob, kStep);
        return benchboard::signalLayer(kJob, kStep, -1);
    }();
    return layer;
}

void BM_ContourFillPads(benchmark::State& st) {
    const std::string& layer = denseLayer();
    const API::reply_box board = API::profile_box(kJob, kStep);
    // The middle of the board, where the copper is densest.
    const double x0 = (board.xmin + board.xmax) / 2.0 - 50 * kMm, y0 = (board.ymin + board.ymax) / 2.0 - 50 * kMm;
    const FILL::region area{{{{x0, y0}, {x0 + 100 * kMm, y0}, {x0 + 100 * kMm, y0 + 100 * kMm}, {x0, y0 + 100 * kMm}}, {}}};
    const FILL::pad_params params{"r500", 1 * kMm, 1 * kMm, false, 0.2 * kMm, false};
    FILL::pad_result r;
    const auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) {
        r = FILL::pad_grid(kJob, kStep, layer, area, params);
        benchmark::DoNotOptimize(r.centres.data());
    }
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    const int features = JOB::feature_count(kJob, kStep, layer);
    bench_baseline::reportAgainstMemcpy(st, ms, size_t(features) * bench_baseline::kFeatureBytes);
    st.counters["layer_features"] = features;
    st.counters["nodes"] = double(r.nodes);
    st.counters["pads_placed"] = double(r.centres.size());
    st.counters["blocked_by_copper"] = double(r.blocked_by_copper);
}
BENCHMARK(BM_ContourFillPads)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
