// Layer compare: the fullest signal layer of a generated board (about
// 100,000 features) against the same layer of a second copy of the board
// in which a few hundred pads and tracks were moved, as a component or a
// track moved by an edit. (A moved pour would cost what a boolean over its
// whole area costs: the compare follows the area of the differences.)
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "TOLVA_Compare.h"
#include "TOLVA_Job.h"
#include "bench_baseline.h"

namespace {

using namespace TOLVA;

constexpr long kBoardFeatures = 300000;  // puts about 100,000 on "top"
const char* const kFirst = "bench_compare_a";
const char* const kSecond = "bench_compare_b";
const char* const kStep = "pcb";
const char* const kLayer = "top";
constexpr int kMoveEvery = 300;       // every 300th pad or line moved: a few hundred
constexpr int kMoveBy = 20000;        // nm

// Both boards are generated once with the same seed; the second has every
// kMoveEvery-th feature of the layer moved. The indices are built before timing.
int layerFeatures() {
    static const int count = [] {
        JOB::generate_params p;
        p.signal_layers = 6;
        p.features = kBoardFeatures;
        JOB::generate_job(kFirst, kStep, p);
        JOB::generate_job(kSecond, kStep, p);
        const int n = JOB::feature_count(kSecond, kStep, kLayer);
        API::featureInfo info;
        for (int i = 0, seen = 0; i < n; ++i) {
            API::get_featureinfo_by_index(kSecond, kStep, kLayer, i, info);
            if (info.type != API::FT_PAD && info.type != API::FT_LINE) continue;
            if (seen++ % kMoveEvery == 0) API::select_feature_by_id(kSecond, kStep, kLayer, i);
        }
        API::move_same_layer(kSecond, kStep, {kLayer}, kMoveBy, kMoveBy);
        API::clear_selected_features(kSecond, kStep, kLayer);
        API::layer_box(kFirst, kStep, kLayer);
        API::layer_box(kSecond, kStep, kLayer);
        return n;
    }();
    return count;
}

void BM_LayerCompare(benchmark::State& st) {
    const int features = layerFeatures();
    COMPARE::compare_result r;
    const auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) {
        r = COMPARE::compare_layers({kFirst, kStep, kLayer}, {kSecond, kStep, kLayer});
        benchmark::DoNotOptimize(r.first_only.data());
    }
    // Both layers' records are read.
    bench_baseline::reportAgainstMemcpy(
        st, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count(),
        2 * size_t(features) * bench_baseline::kFeatureBytes);
    st.counters["layer_features"] = features;
    st.counters["unmatched"] = double(r.stats.first_unmatched + r.stats.second_unmatched);
    st.counters["neighbours"] = double(r.stats.neighbours);
    st.counters["groups"] = double(r.stats.groups);
    st.counters["first_only"] = double(r.first_only.size());
    st.counters["second_only"] = double(r.second_only.size());
}
BENCHMARK(BM_LayerCompare)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
