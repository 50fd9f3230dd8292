#pragma once
// The baseline the kernel benchmarks report against: one memcpy of a buffer
// of the size the benchmark works on, the best of a few, measured in the same
// run so that a ratio holds on a busy machine where absolute times do not.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

namespace bench_baseline {

// The size of one kernel feature record (KERNEL::Feature, asserted in kernel.h).
constexpr size_t kFeatureBytes = 40;

inline double memcpyMs(size_t bytes, int tries = 50) {
    std::vector<unsigned char> a(std::max<size_t>(bytes, 1), 1), b(a.size());
    double best = 1e9;
    for (int i = 0; i < tries; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        std::memcpy(b.data(), a.data(), a.size());
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
        best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    return best;
}

// Sets memcpy_ms (a copy of `bytes`) and x_memcpy (the mean milliseconds of
// one iteration, `totalMs` over the state's iterations, over that copy).
inline void reportAgainstMemcpy(benchmark::State& st, double totalMs, size_t bytes) {
    if (st.iterations() == 0) return;
    const double copy = memcpyMs(bytes);
    st.counters["memcpy_ms"] = copy;
    st.counters["x_memcpy"] = totalMs / double(st.iterations()) / copy;
}

}  // namespace bench_baseline
