// Import benchmarks on the largest multi-file board among gerbv's example
// files: ekf2, fifteen Gerber and four Excellon files, about 125,000
// features. The files are read from disk once, outside the timed loops.
//
// Counters: features (of the whole board), bytes_per_feature (heap the
// kernel holds per feature after the import, from the allocator's own
// figures) and ms_per_36k_features (the iteration's time scaled to 36,000
// features).
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TOLVA_Import.h"
#include "TOLVA_Job.h"

namespace {

using namespace TOLVA;

const char* const kBoardDir = "/usr/share/doc/gerbv/examples/ekf2";
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
const char* const kJob = "bench_import";

// The board's Gerber (.grb) and Excellon (.exc) files, sorted by name.
const std::vector<IMPORT::import_file>& boardFiles() {
    static const std::vector<IMPORT::import_file> files = [] {
        std::vector<IMPORT::import_file> out;
        DIR* d = opendir(kBoardDir);
        if (!d) return out;
        std::vector<std::string> names;
        while (dirent* e = readdir(d)) {
            const std::string n = e->d_name;
            if (n.size() > 4 && (n.compare(n.size() - 4, 4, ".grb") == 0 || n.compare(n.size() - 4, 4, ".exc") == 0))
                names.push_back(n);
        }
        closedir(d);
        std::sort(names.begin(), names.end());
        for (const std::string& n : names) {
            std::ifstream in(std::string(kBoardDir) + "/" + n, std::ios::binary);
            std::ostringstream text;
            text << in.rdbuf();
            out.push_back({n, text.str()});
        }
        return out;
    }();
    return files;
}

size_t heapInUse() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

long importBoard() {
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
    long features = 0;
    for (const IMPORT::import_report& r : IMPORT::import_job(kJob, boardFiles())) features += r.features;
    return features;
}

// Kernel heap per feature: the job imported once more after a trim, the heap
// in use before and after it.
double bytesPerFeature() {
    if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
    malloc_trim(0);
    const size_t before = heapInUse();
    const long features = importBoard();
    for (const API::matrix_info& row : API::get_matrix(kJob)) API::layer_box(kJob, "pcb", row.name);
    const size_t after = heapInUse();
    return features ? double(after - before) / features : 0.0;
}

bool haveBoard(benchmark::State& state) {
    if (boardFiles().empty()) {
        state.SkipWithError("gerbv's example board ekf2 is not installed");
        return false;
    }
    return true;
}

void report(benchmark::State& state, long features, double seconds, double bytes) {
    state.counters["features"] = double(features);
    state.counters["bytes_per_feature"] = bytes;
    const double perIteration = seconds / std::max<double>(1, double(state.iterations()));
    state.counters["ms_per_36k_features"] = features ? perIteration * 1e3 * 36000.0 / features : 0.0;
}

// Parsing and storing every file of the board into a fresh job.
void BM_ImportBoard(benchmark::State& state) {
    if (!haveBoard(state)) return;
    const double bytes = bytesPerFeature();
    long features = 0;
    double seconds = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
        state.ResumeTiming();
        const auto t0 = std::chrono::steady_clock::now();
        features = importBoard();
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    report(state, features, seconds, bytes);
}

// The import and the first picture of every layer at 1920 x 1080, the
// board fitted to the canvas.
void BM_ImportAndRender(benchmark::State& state) {
    if (!haveBoard(state)) return;
    const double bytes = bytesPerFeature();
    API::init_canvas(kWidth, kHeight);
    long features = 0;
    double seconds = 0;
    for (auto _ : state) {
        state.PauseTiming();
        if (JOB::job_exists(kJob)) JOB::delete_job(kJob);
        API::clear_canvas();
        state.ResumeTiming();
        const auto t0 = std::chrono::steady_clock::now();
        features = importBoard();
        const API::reply_box b = API::profile_box(kJob, "pcb");
        API::zoom_to_box(b.xmin * 0.001, b.ymin * 0.001, b.xmax * 0.001, b.ymax * 0.001);
        for (const API::matrix_info& row : API::get_matrix(kJob)) API::draw_layer(kJob, "pcb", row.name, 255, 255, 255, 255);
        int w = 0, h = 0;
        benchmark::DoNotOptimize(API::canvas(w, h));
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    report(state, features, seconds, bytes);
}

BENCHMARK(BM_ImportBoard)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportAndRender)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
