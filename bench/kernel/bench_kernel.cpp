// Kernel benchmarks.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "TOLVA_Job.h"

namespace {
constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

void BM_CanvasMemcpy(benchmark::State& st) {
    std::vector<unsigned char> a(kWidth * kHeight * 4, 1), b(kWidth * kHeight * 4);
    for (auto _ : st) {
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_CanvasMemcpy)->Unit(benchmark::kMillisecond);
}  // namespace

BENCHMARK_MAIN();
