// Design-rule checks: copper spacing over the fullest signal layer of a
// generated board of about 100,000 features on that layer.
#include <benchmark/benchmark.h>

#include <string>

#include "TOLVA_Checks.h"
#include "TOLVA_Job.h"

namespace {

using namespace TOLVA;

// The board's total over all layers, chosen so that its top copper layer
// holds about 100,000 features.
constexpr long kBoardFeatures = 300000;
const char* const kJob = "bench_checks";
const char* const kStep = "pcb";
const char* const kLayer = "top";  // the fullest signal layer

// Generated once; the layer's spatial index is built before timing.
int layerFeatures() {
    static const int count = [] {
        JOB::generate_params p;
        p.signal_layers = 6;
        p.features = kBoardFeatures;
        JOB::generate_job(kJob, kStep, p);
        API::layer_box(kJob, kStep, kLayer);
        return JOB::feature_count(kJob, kStep, kLayer);
    }();
    return count;
}

// Argument: the warning limit in micrometres (the error limit is two thirds
// of it); the wider it is, the more pairs the index hands out.
void BM_SpacingCheck(benchmark::State& st) {
    const int features = layerFeatures();
    const double warning = double(st.range(0)) * 1000.0;
    const CHECKS::check_params limits{warning * 2 / 3, warning};
    CHECKS::check_stats stats;
    size_t found = 0;
    for (auto _ : st) {
        stats = {};
        const std::vector<CHECKS::check_result> r = CHECKS::spacing(kJob, kStep, {kLayer}, limits, stats);
        found = r.size();
        benchmark::DoNotOptimize(r.data());
    }
    st.counters["layer_features"] = features;
    st.counters["features_per_s"] =
        benchmark::Counter(double(stats.features) * double(st.iterations()), benchmark::Counter::kIsRate);
    st.counters["close_pairs"] = double(stats.pairs);
    st.counters["violations"] = double(found);
}
BENCHMARK(BM_SpacingCheck)->Arg(50)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
