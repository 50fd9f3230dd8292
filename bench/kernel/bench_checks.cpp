// Design-rule checks on the generated board of 1,000,000 features: copper
// spacing over the signal layer nearest 100,000 features, and a whole plan
// over every layer of the board on one and on all cores. Each benchmark also
// reports x_memcpy, its time over one memcpy of the feature records it
// reads (bench_baseline.h), measured in the same run.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "TOLVA_Checks.h"
#include "TOLVA_Job.h"
#include "bench_baseline.h"
#include "bench_board.h"

namespace {

using namespace TOLVA;
using bench_baseline::kFeatureBytes;

constexpr long kLayerTarget = 100000;
const char* const kJob = "bench_checks";
const char* const kStep = "pcb";

bool isSignal(const API::matrix_info& row) { return row.type == "signal"; }

// Generated once; the layers' spatial indices are built before timing.
// Returns the signal layer whose feature count is nearest kLayerTarget.
const std::string& spacingLayer() {
    static const std::string layer = [] {
        benchboard::generate(kJob, kStep);
        return benchboard::signalLayer(kJob, kStep, kLayerTarget);
    }();
    return layer;
}

double msSince(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

// Argument: the warning limit in micrometres (the error limit is two thirds
// of it); the wider it is, the more pairs the index hands out.
void BM_SpacingCheck(benchmark::State& st) {
    const std::string& layer = spacingLayer();
    const int features = JOB::feature_count(kJob, kStep, layer);
    const double warning = double(st.range(0)) * 1000.0;
    const CHECKS::check_params limits{warning * 2 / 3, warning};
    CHECKS::check_stats stats;
    size_t found = 0;
    const auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) {
        stats = {};
        const std::vector<CHECKS::check_result> r = CHECKS::spacing(kJob, kStep, {layer}, limits, stats);
        found = r.size();
        benchmark::DoNotOptimize(r.data());
    }
    bench_baseline::reportAgainstMemcpy(st, msSince(t0), size_t(features) * kFeatureBytes);
    st.counters["layer_features"] = features;
    st.counters["features_per_s"] =
        benchmark::Counter(double(stats.features) * double(st.iterations()), benchmark::Counter::kIsRate);
    st.counters["close_pairs"] = double(stats.pairs);
    st.counters["violations"] = double(found);
}
BENCHMARK(BM_SpacingCheck)->Arg(50)->Arg(100)->Unit(benchmark::kMillisecond)->UseRealTime();

// Every check over the whole board: spacing, widths, sizes and slivers on
// each copper layer, the drills against all copper, the profile, both
// masks and silks, and the nets through the drills.
std::vector<CHECKS::check_task> wholeBoardPlan(long& boardFeatures) {
    API::str_list copper;
    std::string drill;
    boardFeatures = 0;
    for (const API::matrix_info& row : API::get_matrix(kJob)) {
        boardFeatures += JOB::feature_count(kJob, kStep, row.name);
        if (isSignal(row) || row.type == "power_ground" || row.type == "mixed") copper.push_back(row.name);
        if (row.type == "drill") drill = row.name;
    }
    const CHECKS::check_params p{75000, 100000};
    auto task = [&](const char* check, const API::str_list& layers) {
        CHECKS::check_task t;
        t.check = check;
        t.layers = layers;
        t.params = p;
        t.drill_layer = drill;
        t.drill_layers = {drill};
        return t;
    };
    std::vector<CHECKS::check_task> plan = {
        task("spacing", copper),         task("line_width", copper),      task("pad_size", copper),
        task("slivers", copper),         task("profile_clearance", copper), task("hole_spacing", {drill}),
        task("min_drill", {drill}),      task("annular_ring", copper),    task("drill_to_copper", copper),
        task("nets", copper)};
    plan[7].params = {25000, 40000};  // annular rings
    for (const bool top : {true, false}) {
        const std::string side = top ? "top" : "bottom";
        CHECKS::check_task mask = task("mask_clearance", {side});
        mask.mask_layer = top ? "smt" : "smb";
        mask.params = {5000, 8000};
        CHECKS::check_task silk = task("silk_over_copper", {side});
        silk.mask_layer = mask.mask_layer;
        silk.silk_layer = top ? "sst" : "ssb";
        plan.push_back(mask);
        plan.push_back(silk);
    }
    return plan;
}

void BM_AllChecks(benchmark::State& st) {
    spacingLayer();
    long board = 0;
    const std::vector<CHECKS::check_task> plan = wholeBoardPlan(board);
    CHECKS::run_report report;
    const auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) {
        report = CHECKS::run_checks(kJob, kStep, plan, nullptr, nullptr, int(st.range(0)));
        benchmark::DoNotOptimize(report.results.data());
    }
    bench_baseline::reportAgainstMemcpy(st, msSince(t0), size_t(board) * kFeatureBytes);
    st.counters["threads"] = double(st.range(0));
    st.counters["board_features"] = double(board);
    st.counters["features_per_s"] =
        benchmark::Counter(double(board) * double(st.iterations()), benchmark::Counter::kIsRate);
    st.counters["close_pairs"] = double(report.stats.pairs);
    st.counters["results"] = double(report.results.size());
}
BENCHMARK(BM_AllChecks)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(3);

// One task of the whole-board plan at a time on one worker, to see where the
// time of BM_AllChecks goes; the label names the check.
void BM_EachCheck(benchmark::State& st) {
    spacingLayer();
    long board = 0;
    const std::vector<CHECKS::check_task> plan = {wholeBoardPlan(board)[size_t(st.range(0))]};
    CHECKS::run_report report;
    for (auto _ : st) {
        report = CHECKS::run_checks(kJob, kStep, plan, nullptr, nullptr, 1);
        benchmark::DoNotOptimize(report.results.data());
    }
    st.SetLabel(plan[0].check + (plan[0].layers.size() == 1 ? " " + plan[0].layers[0] : std::string()));
    st.counters["close_pairs"] = double(report.stats.pairs);
    st.counters["results"] = double(report.results.size());
}
BENCHMARK(BM_EachCheck)->DenseRange(0, 13)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
