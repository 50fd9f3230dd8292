// The interactive edits on the generated board of 1,000,000 features:
//   BM_PullPreview: one plan_pull (the preview a pull tool works out on every
//     mouse move) of the middle segment of a 50-segment trace added to the
//     top layer, in 45° corner mode. Reported against one get_features_in_box
//     over the box of the pulled segment and its neighbours, the same run
//     (x_box_query), and against a memcpy of the trace's records (x_memcpy).
//   BM_DeleteBox: 10,000 features of the largest copper layer selected by a
//     box and deleted (select_features + delete_selected_features); the undo
//     that puts them back, and the index rebuilt after it, are not timed.
//     Reported against a memcpy of the layer's feature records (x_memcpy).
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "TOLVA_Edit.h"
#include "TOLVA_Job.h"
#include "bench_baseline.h"

namespace {

using namespace TOLVA;
using bench_baseline::kFeatureBytes;

constexpr long kBoardFeatures = 1000000;
constexpr int kTraceSegments = 50;
constexpr int kDeleteTarget = 10000;
const char* const kJob = "bench_edit_tools";
const char* const kStep = "pcb";

double msSince(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

struct Board {
    int traceFirst = 0;       // index of the trace's first segment on "top"
    std::string biggest;      // the copper layer with the most features
};

// Generated once, the indices of every layer built before timing.
const Board& board() {
    static const Board b = [] {
        Board out;
        JOB::generate_params p;
        p.signal_layers = 6;
        p.features = kBoardFeatures;
        JOB::generate_job(kJob, kStep, p);
        int most = -1;
        for (const API::matrix_info& row : API::get_matrix(kJob)) {
            if (row.type != "signal" && row.type != "power_ground") continue;
            const int n = JOB::feature_count(kJob, kStep, row.name);
            if (n > most) {
                most = n;
                out.biggest = row.name;
            }
        }
        // A zig-zag trace of 45° steps across the middle of the board: 100 um
        // runs joined by 100 um diagonals, 1 mm off the profile's centre line.
        int symbol = -1;
        API::create_new_symbol(kJob, kStep, "top", "r100", symbol);
        const API::reply_box box = API::profile_box(kJob, kStep);
        double x = (box.xmin + box.xmax) / 2.0 - 2.5e6, y = (box.ymin + box.ymax) / 2.0 + 1e6;
        API::str_list records;
        for (int i = 0; i < kTraceSegments; ++i) {
            const double nx = x + 100000, ny = i % 2 ? y : y + (i % 4 == 0 ? 100000 : -100000);
            records.push_back(API::GreateLineString(x, y, nx, ny, symbol, API::POL_POSITIVE, 0));
            x = nx;
            y = ny;
        }
        out.traceFirst = JOB::feature_count(kJob, kStep, "top");
        API::AddFeatures(kJob, kStep, {"top"}, {{"top", records}}, {});
        for (const API::matrix_info& row : API::get_matrix(kJob)) API::layer_box(kJob, kStep, row.name);
        return out;
    }();
    return b;
}

void BM_PullPreview(benchmark::State& st) {
    const Board& b = board();
    const int pulled = b.traceFirst + kTraceSegments / 2 + 1;  // a straight run between two diagonals
    API::featureInfo before, self, after;
    API::get_featureinfo_by_index(kJob, kStep, "top", pulled - 1, before);
    API::get_featureinfo_by_index(kJob, kStep, "top", pulled, self);
    API::get_featureinfo_by_index(kJob, kStep, "top", pulled + 1, after);
    const API::reply_box region{int32_t(std::min({before.xmin, self.xmin, after.xmin})),
                                int32_t(std::min({before.ymin, self.ymin, after.ymin})),
                                int32_t(std::max({before.xmax, self.xmax, after.xmax})),
                                int32_t(std::max({before.ymax, self.ymax, after.ymax}))};
    size_t added = 0;
    std::string error;
    const auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) {
        const EDIT::edit_plan p = EDIT::plan_pull(kJob, kStep, "top", pulled, 30000, 1);
        added = p.add.size();
        error = p.error;
        benchmark::DoNotOptimize(p.add.data());
    }
    const double ms = msSince(t0) / double(st.iterations());
    if (!error.empty()) st.SkipWithError(error.c_str());
    // The baseline: one box query over the same region, best of a few.
    std::vector<API::featureInfo> found;
    double query = 1e9;
    for (int i = 0; i < 50; ++i) {
        const auto q0 = std::chrono::steady_clock::now();
        API::get_features_in_box(kJob, kStep, "top", region, found);
        query = std::min(query, msSince(q0));
    }
    st.counters["plan_ms"] = ms;
    st.counters["box_query_ms"] = query;
    st.counters["x_box_query"] = ms / query;
    st.counters["plan_features"] = double(added);
    st.counters["under_2ms"] = ms < 2.0 ? 1 : 0;
    bench_baseline::reportAgainstMemcpy(st, ms * double(st.iterations()), size_t(kTraceSegments) * kFeatureBytes);
}
BENCHMARK(BM_PullPreview)->Unit(benchmark::kMicrosecond)->UseRealTime();

// A square around the layer's centre holding about kDeleteTarget features.
std::vector<API::point> deleteBox(const std::string& layer, int& selected) {
    const API::reply_box box = API::layer_box(kJob, kStep, layer);
    const double cx = (box.xmin + double(box.xmax)) / 2, cy = (box.ymin + double(box.ymax)) / 2;
    double lo = 0, hi = std::max(double(box.xmax) - box.xmin, double(box.ymax) - box.ymin);
    std::vector<API::point> square;
    for (int i = 0; i < 40; ++i) {
        const double half = (lo + hi) / 2;
        square = {{int32_t(cx - half), int32_t(cy - half)}, {int32_t(cx + half), int32_t(cy - half)},
                  {int32_t(cx + half), int32_t(cy + half)}, {int32_t(cx - half), int32_t(cy + half)}};
        selected = API::select_features(kJob, kStep, layer, square, {}, 0, 1).selected;
        API::clear_selected_features(kJob, kStep, layer);
        if (selected == kDeleteTarget) break;
        (selected < kDeleteTarget ? lo : hi) = half;
    }
    return square;
}

void BM_DeleteBox(benchmark::State& st) {
    const std::string& layer = board().biggest;
    int selected = 0;
    const std::vector<API::point> square = deleteBox(layer, selected);
    const int features = JOB::feature_count(kJob, kStep, layer);
    double total = 0;
    for (auto _ : st) {
        const auto t0 = std::chrono::steady_clock::now();
        selected = API::select_features(kJob, kStep, layer, square, {}, 0, 1).selected;
        API::delete_selected_features(kJob, kStep, {layer});
        total += msSince(t0);
        st.PauseTiming();
        API::undo_last_edit(kJob);
        API::clear_selected_features(kJob, kStep, layer);
        API::layer_box(kJob, kStep, layer);  // the index, rebuilt after the undo
        st.ResumeTiming();
    }
    const double ms = total / double(st.iterations());
    st.counters["delete_ms"] = ms;
    st.counters["deleted"] = selected;
    st.counters["layer_features"] = features;
    st.counters["under_16ms"] = ms < 16.0 ? 1 : 0;
    bench_baseline::reportAgainstMemcpy(st, total, size_t(features) * kFeatureBytes);
}
BENCHMARK(BM_DeleteBox)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

}  // namespace

BENCHMARK_MAIN();
