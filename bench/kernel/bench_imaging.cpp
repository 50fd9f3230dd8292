// The imaging export of one signal layer of the generated board of 1,000,000
// features (the layer nearest 100,000 features) at 2,540 dpi: a 300 x 200 mm
// profile is 30,000 x 20,000 pixels, 600 megapixels, written as a CCITT G4
// TIFF in strips. Reported beside the time: megapixels a second, x_memcpy
// (the time over one memcpy of the image's 4-byte pixels, bench_baseline.h,
// measured in the same run) and the growth of the process's peak resident
// memory over the export (/proc/self/status; the export needs one strip, not
// the image).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "TOLVA_Imaging.h"
#include "TOLVA_Job.h"
#include "bench_baseline.h"
#include "bench_board.h"

namespace {

using namespace TOLVA;

constexpr long kLayerTarget = 100000;
constexpr double kDpi = 2540;
const char* const kJob = "bench_imaging";
const char* const kStep = "pcb";

// Generated once: the signal layer whose feature count is nearest kLayerTarget.
const std::string& imagedLayer() {
    static const std::string layer = [] {
        benchboard::generate(kJob, kStep);
        return benchboard::signalLayer(kJob, kStep, kLayerTarget);
    }();
    return layer;
}

// Kilobytes of a line of /proc/self/status ("VmRSS", "VmHWM").
long statusKb(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, key.size() + 1, key + ":") == 0) return std::atol(line.c_str() + key.size() + 1);
    return 0;
}

// Starts a new peak at the present resident size (Linux: "5" to clear_refs
// resets VmHWM), so that the generated board's own peak does not hide the
// export's; returns the present size.
long resetPeakKb() {
    std::ofstream("/proc/self/clear_refs") << "5";
    return statusKb("VmRSS");
}

void BM_ExportLayer(benchmark::State& st) {
    const std::string& layer = imagedLayer();
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "bench_imaging";
    std::filesystem::create_directories(dir);
    IMAGING::export_param p;
    p.layers = {layer};
    p.dpi = kDpi;
    p.output_dir = dir.string();
    const long rssBefore = resetPeakKb();
    double totalMs = 0;
    IMAGING::image_frame frame;
    for (auto _ : st) {
        const auto t0 = std::chrono::steady_clock::now();
        frame = IMAGING::export_layers(kJob, kStep, p).frame;
        totalMs += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    }
    const double megapixels = double(frame.width) * frame.height / 1e6;
    st.counters["features"] = JOB::feature_count(kJob, kStep, layer);
    st.counters["megapixels"] = megapixels;
    st.counters["Mpx_per_s"] = megapixels * double(st.iterations()) / (totalMs / 1000);
    st.counters["peak_rss_growth_MB"] = double(statusKb("VmHWM") - rssBefore) / 1024;
    bench_baseline::reportAgainstMemcpy(st, totalMs, size_t(frame.width) * size_t(frame.height) * 4);
    std::filesystem::remove_all(dir);
}
BENCHMARK(BM_ExportLayer)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
