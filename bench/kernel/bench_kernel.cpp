// Kernel benchmarks on the generated board of 1,000,000 features (the demo
// board's twelve layers, the top copper the fullest), canvas 1920 x 1080.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "TOLVA_Job.h"
#include "bench_baseline.h"

namespace {

using namespace TOLVA;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr long kFeatures = 1000000;
const char* const kJob = "bench";
const char* const kStep = "pcb";
const char* const kLayer = "top";  // the fullest layer, about a third of the board

long residentBytes() {
    long pages = 0, resident = 0;
    FILE* f = std::fopen("/proc/self/statm", "r");
    if (!f) return 0;
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
    return resident * sysconf(_SC_PAGESIZE);
}

struct Board {
    double bytesPerFeature = 0;
    API::reply_box profile;
};

// The board is generated once for all benchmarks. Its memory is measured
// after every layer's spatial index has been built.
const Board& board() {
    static Board b = [] {
        Board out;
        long before = residentBytes();
        JOB::generate_params p;
        p.signal_layers = 6;
        p.features = kFeatures;
        JOB::generate_job(kJob, kStep, p);
        for (const API::matrix_info& row : API::get_matrix(kJob)) API::layer_box(kJob, kStep, row.name);
        // What the generator freed (its working lists) goes back to the
        // system first: the figure is what the job holds.
        malloc_trim(0);
        out.bytesPerFeature = double(residentBytes() - before) / kFeatures;
        out.profile = API::profile_box(kJob, kStep);
        API::init_canvas(kWidth, kHeight);
        return out;
    }();
    return b;
}

// Zooms to a box of `fraction` of the board's width and height around its
// centre, widened to the canvas's aspect ratio (as the view does).
void zoomTo(double fraction) {
    const API::reply_box& p = board().profile;
    double cx = 0.5 * (p.xmin + p.xmax), cy = 0.5 * (p.ymin + p.ymax);
    double w = (p.xmax - p.xmin) * fraction, h = (p.ymax - p.ymin) * fraction;
    double s = std::max(w / kWidth, h / kHeight);  // nm per pixel
    w = s * kWidth;
    h = s * kHeight;
    API::zoom_to_box((cx - w / 2) * 0.001, (cy - h / 2) * 0.001, (cx + w / 2) * 0.001, (cy + h / 2) * 0.001);
}

// One copy of a canvas-sized buffer: the baseline of the drawing benchmarks.
double memcpyMs() { return bench_baseline::memcpyMs(size_t(kWidth) * kHeight * 4); }

// Times the benchmark's loop and sets x_memcpy: milliseconds per iteration
// over memcpyMs() taken right after.
template <class Body>
void timedAgainstMemcpy(benchmark::State& st, Body&& body) {
    auto t0 = std::chrono::steady_clock::now();
    for (auto _ : st) body();
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    if (st.iterations() > 0) st.counters["x_memcpy"] = ms / double(st.iterations()) / memcpyMs();
}

void BM_CanvasMemcpy(benchmark::State& st) {
    std::vector<unsigned char> a(size_t(kWidth) * kHeight * 4, 1), b(a.size());
    for (auto _ : st) {
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_CanvasMemcpy)->Unit(benchmark::kMillisecond);

void BM_DrawLayerWholeBoard(benchmark::State& st) {
    const Board& b = board();
    zoomTo(1.0);
    API::clear_canvas();
    timedAgainstMemcpy(st, [] { API::draw_layer(kJob, kStep, kLayer, 255, 0, 0, 255); });
    st.counters["bytes_per_feature"] = b.bytesPerFeature;
    st.counters["features"] = JOB::feature_count(kJob, kStep, kLayer);
}
BENCHMARK(BM_DrawLayerWholeBoard)->Unit(benchmark::kMillisecond);

void BM_DrawLayerZoomed(benchmark::State& st) {
    board();
    zoomTo(0.1);  // a tenth of each side: 1% of the board
    API::clear_canvas();
    timedAgainstMemcpy(st, [] { API::draw_layer(kJob, kStep, kLayer, 255, 0, 0, 255); });
}
BENCHMARK(BM_DrawLayerZoomed)->Unit(benchmark::kMillisecond);

// All ten layers at the whole-board view, as the view composes them.
void BM_DrawAllLayersWholeBoard(benchmark::State& st) {
    board();
    zoomTo(1.0);
    std::vector<std::string> layers;
    for (const API::matrix_info& row : API::get_matrix(kJob)) layers.push_back(row.name);
    timedAgainstMemcpy(st, [&] {
        for (const std::string& l : layers) {
            API::clear_canvas();
            API::draw_layer(kJob, kStep, l, 0, 255, 0, 255);
        }
    });
}
BENCHMARK(BM_DrawAllLayersWholeBoard)->Unit(benchmark::kMillisecond);

// The same at a new scale every time (a wheel step out and back in), so that
// nothing worked out for an earlier scale is reused.
void BM_DrawAllLayersNewScale(benchmark::State& st) {
    board();
    std::vector<std::string> layers;
    for (const API::matrix_info& row : API::get_matrix(kJob)) layers.push_back(row.name);
    int step = 0;
    timedAgainstMemcpy(st, [&] {
        zoomTo(1.0 + 1e-4 * (++step % 1000));
        for (const std::string& l : layers) {
            API::clear_canvas();
            API::draw_layer(kJob, kStep, l, 0, 255, 0, 255);
        }
    });
}
BENCHMARK(BM_DrawAllLayersNewScale)->Unit(benchmark::kMillisecond);

// Each layer on its own at the whole-board view (argument: matrix row - 1).
void BM_DrawEachLayerWholeBoard(benchmark::State& st) {
    board();
    zoomTo(1.0);
    const std::string layer = API::get_matrix(kJob)[size_t(st.range(0))].name;
    API::clear_canvas();
    for (auto _ : st) API::draw_layer(kJob, kStep, layer, 0, 255, 0, 255);
    st.SetLabel(layer);
}
BENCHMARK(BM_DrawEachLayerWholeBoard)->DenseRange(0, 11)->Unit(benchmark::kMillisecond);

std::vector<API::point> centreBox(double fraction) {
    const API::reply_box& p = board().profile;
    double cx = 0.5 * (p.xmin + p.xmax), cy = 0.5 * (p.ymin + p.ymax);
    int32_t hw = int32_t((p.xmax - p.xmin) * fraction / 2), hh = int32_t((p.ymax - p.ymin) * fraction / 2);
    int32_t x = int32_t(cx), y = int32_t(cy);
    return {{x - hw, y - hh}, {x - hw, y + hh}, {x + hw, y + hh}, {x + hw, y - hh}};
}

void BM_SelectBox(benchmark::State& st) {
    board();
    const std::vector<API::point> box = centreBox(0.1);  // 1% of the board
    int selected = 0;
    for (auto _ : st) selected = API::select_features(kJob, kStep, kLayer, box, {}, 0, 1).selected;
    st.counters["selected"] = selected;
    API::clear_selected_features(kJob, kStep, kLayer);
}
BENCHMARK(BM_SelectBox)->Unit(benchmark::kMillisecond);

// What snapping asks for under the cursor: the features in a box of 0.2 mm.
void BM_FeaturesInBox(benchmark::State& st) {
    const API::reply_box& p = board().profile;
    const int32_t cx = (p.xmin + p.xmax) / 2, cy = (p.ymin + p.ymax) / 2;
    std::vector<API::featureInfo> list;
    size_t found = 0;
    int k = 0;
    for (auto _ : st) {
        const int32_t x = cx + (k % 100) * 997000, y = cy + (k / 100 % 50) * 991000;
        ++k;
        API::get_features_in_box(kJob, kStep, kLayer, {x - 100000, y - 100000, x + 100000, y + 100000}, list);
        found += list.size();
    }
    st.counters["features_per_box"] = st.iterations() ? double(found) / double(st.iterations()) : 0.0;
}
BENCHMARK(BM_FeaturesInBox)->Unit(benchmark::kMicrosecond);

void BM_MoveSelected(benchmark::State& st) {
    board();
    API::clear_selected_features(kJob, kStep, kLayer);
    for (int i = 0; i < 10000; ++i) API::select_feature_by_id(kJob, kStep, kLayer, i * 10);
    int dx = 1000;
    for (auto _ : st) {
        API::move_same_layer(kJob, kStep, {kLayer}, dx, 0);
        dx = -dx;
    }
    API::clear_selected_features(kJob, kStep, kLayer);
}
BENCHMARK(BM_MoveSelected)->Unit(benchmark::kMillisecond);

// Undoing a move of 10,000 selected features (every tenth of the first
// 100,000) of the generated board's top layer (the view's Ctrl+Z after a
// drag). Only the undo is timed; the move before each
// one is not. Counters: undo_ms, the mean undo; memcpy_ms, one memcpy of the
// layer's feature records (40 bytes each, KERNEL::Feature) measured in the
// same run; x_memcpy, their ratio.
void BM_UndoMove(benchmark::State& st) {
    board();
    API::clear_selected_features(kJob, kStep, kLayer);
    for (int i = 0; i < 10000; ++i) API::select_feature_by_id(kJob, kStep, kLayer, i * 10);
    API::layer_box(kJob, kStep, kLayer);  // the index up to date, as after a draw
    double undoMs = 0;
    for (auto _ : st) {
        st.PauseTiming();
        API::move_same_layer(kJob, kStep, {kLayer}, 1000, -1000);
        st.ResumeTiming();
        const auto t0 = std::chrono::steady_clock::now();
        const bool undone = API::undo_last_edit(kJob);
        undoMs += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        benchmark::DoNotOptimize(undone);
        st.PauseTiming();
        API::layer_box(kJob, kStep, kLayer);  // the next draw brings the index up to date
        st.ResumeTiming();
    }
    const double copyMs =
        bench_baseline::memcpyMs(size_t(JOB::feature_count(kJob, kStep, kLayer)) * bench_baseline::kFeatureBytes);
    if (st.iterations() > 0) {
        undoMs /= double(st.iterations());
        st.counters["undo_ms"] = undoMs;
        st.counters["memcpy_ms"] = copyMs;
        st.counters["x_memcpy"] = undoMs / copyMs;
    }
    st.counters["moved"] = 10000;
    st.counters["features"] = JOB::feature_count(kJob, kStep, kLayer);
    API::clear_selected_features(kJob, kStep, kLayer);
}
BENCHMARK(BM_UndoMove)->Unit(benchmark::kMillisecond);

void BM_GenerateJob(benchmark::State& st) {
    for (auto _ : st) {
        JOB::generate_params p;
        p.features = kFeatures;
        JOB::generate_job("gen", "pcb", p);
        st.PauseTiming();
        JOB::delete_job("gen");
        st.ResumeTiming();
    }
}
BENCHMARK(BM_GenerateJob)->Unit(benchmark::kMillisecond)->Iterations(1);

// Generating the demo board of 1,000,000 features, against sorting 1,000,000
// ints measured in the same run (best of a few): counter x_sort.
void BM_GenerateMillion(benchmark::State& st) {
    constexpr long kMillion = 1000000;
    std::vector<int> shuffled(kMillion);
    unsigned x = 12345;
    for (int& v : shuffled) v = static_cast<int>(x = x * 1103515245u + 12345u);
    double sortMs = 1e9;
    for (int i = 0; i < 3; ++i) {
        std::vector<int> v = shuffled;
        auto t0 = std::chrono::steady_clock::now();
        std::sort(v.begin(), v.end());
        benchmark::DoNotOptimize(v.data());
        sortMs = std::min(sortMs, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    double generateMs = 0;
    long features = 0;
    for (auto _ : st) {
        JOB::generate_params p;
        p.features = kMillion;
        auto t0 = std::chrono::steady_clock::now();
        JOB::generate_job("million", "pcb", p);
        generateMs += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        st.PauseTiming();
        features = 0;
        for (const API::matrix_info& row : API::get_matrix("million")) features += JOB::feature_count("million", "pcb", row.name);
        JOB::delete_job("million");
        st.ResumeTiming();
    }
    if (st.iterations() > 0) {
        generateMs /= double(st.iterations());
        st.counters["generate_ms"] = generateMs;
        st.counters["sort_ms"] = sortMs;
        st.counters["x_sort"] = generateMs / sortMs;
        st.counters["features"] = double(features);
    }
}
BENCHMARK(BM_GenerateMillion)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
