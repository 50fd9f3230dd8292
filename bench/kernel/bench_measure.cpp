// Measuring and snapping: the snap search under the cursor on the generated
// board of 1,000,000 features, and the exact outline distance between two
// features of every pair of kinds.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

#include "TOLVA_Job.h"
#include "TOLVA_Measure.h"

namespace {

using namespace TOLVA;

constexpr int kWidth = 1920;  // canvas pixels across
constexpr double kSnapPixels = 10;
constexpr long kFeatures = 1000000;
const char* const kJob = "bench";
const char* const kStep = "pcb";
const char* const kLayer = "top";  // the fullest layer

struct Board {
    API::reply_box profile;
    std::vector<std::string> layers;
};

// Generated once; every layer's spatial index is built before timing.
const Board& board() {
    static Board b = [] {
        Board out;
        JOB::generate_params p;
        p.signal_layers = 6;
        p.features = kFeatures;
        JOB::generate_job(kJob, kStep, p);
        for (const API::matrix_info& row : API::get_matrix(kJob)) {
            API::layer_box(kJob, kStep, row.name);
            out.layers.push_back(row.name);
        }
        out.profile = API::profile_box(kJob, kStep);
        return out;
    }();
    return b;
}

// Edge snapping at cursor positions spread over the board. Argument 0: the
// view's width as a fraction of the board's, in percent (100: whole board,
// 1: a 1% view); the radius is 10 pixels of that view on a 1920-pixel-wide
// canvas. Argument 1: 0 for the top copper alone, 1 for every layer.
void snapQuery(benchmark::State& st, MEASURE::snap_mode mode) {
    const Board& b = board();
    const double viewWidth = (double(b.profile.xmax) - b.profile.xmin) * double(st.range(0)) / 100.0;
    MEASURE::snap_request q;
    q.mode = mode;
    q.radius = viewWidth / kWidth * kSnapPixels;
    q.layers = st.range(1) ? b.layers : std::vector<std::string>{kLayer};
    const double x0 = b.profile.xmin, y0 = b.profile.ymin;
    const double w = double(b.profile.xmax) - x0, h = double(b.profile.ymax) - y0;
    long found = 0, k = 0;
    for (auto _ : st) {
        // A 97 x 89 lattice of cursors, skewed so that it does not follow the board's grid.
        q.x = x0 + w * ((k % 97) + 0.37) / 97.0;
        q.y = y0 + h * ((k / 97 % 89) + 0.61) / 89.0;
        ++k;
        const MEASURE::snap_result r = MEASURE::snap(kJob, kStep, q);
        found += r.found;
        benchmark::DoNotOptimize(r);
    }
    st.counters["radius_um"] = q.radius / 1000.0;
    st.counters["found_pct"] = st.iterations() ? 100.0 * double(found) / double(st.iterations()) : 0.0;
}
void BM_SnapQuery(benchmark::State& st) { snapQuery(st, MEASURE::snap_mode::EDGE); }
BENCHMARK(BM_SnapQuery)
    ->ArgsProduct({{100, 1}, {0, 1}})
    ->ArgNames({"view_pct", "all_layers"})
    ->Unit(benchmark::kMicrosecond);

// The same for crossings, which pair up the features near the cursor.
void BM_SnapIntersection(benchmark::State& st) { snapQuery(st, MEASURE::snap_mode::INTERSECTION); }
BENCHMARK(BM_SnapIntersection)
    ->ArgsProduct({{100, 1}, {0, 1}})
    ->ArgNames({"view_pct", "all_layers"})
    ->Unit(benchmark::kMicrosecond);

// One feature of every kind twice, the second copy far from the first (so
// that every distance is a real search, not an early overlap).
struct Kinds {
    std::vector<std::string> names;
    std::vector<int> first, second;
};

const Kinds& kinds() {
    static Kinds k = [] {
        const char* job = "measure_kinds";
        if (JOB::job_exists(job)) JOB::delete_job(job);
        JOB::create_job(job);
        JOB::create_step(job, kStep);
        JOB::add_layer(job, "a", "board", "signal", "positive");
        auto sym = [&](const char* name) {
            int i = -1;
            API::create_new_symbol(job, kStep, "a", name, i);
            return i;
        };
        Kinds out;
        auto add = [&](const std::string& record) {
            API::AddFeature(job, kStep, {"a"}, {{"a", record}}, {}, false);
            return JOB::feature_count(job, kStep, "a") - 1;
        };
        const int P = API::POL_POSITIVE;
        for (int copy = 0; copy < 2; ++copy) {
            const double dy = copy * 7e6 + 1.3e6 * copy, dx = copy * 0.4e6;
            std::vector<int>& ids = copy ? out.second : out.first;
            ids.push_back(add(API::GreatePadString(dx, dy, sym("r100"), P, 0, 0, 1)));
            ids.push_back(add(API::GreatePadString(1e6 + dx, dy, sym("rect200x100"), P, 30, 1, 1)));
            ids.push_back(add(API::GreatePadString(2e6 + dx, dy, sym("oval300x100"), P, 45, 0, 1)));
            ids.push_back(add(API::GreatePadString(3e6 + dx, dy, sym("donut_r500x300"), P, 0, 0, 1)));
            ids.push_back(add(API::GreateLineString(dx, 1e6 + dy, 1e6 + dx, 1.5e6 + dy, sym("r50"), P, 0)));
            ids.push_back(add(API::GreateLineString(2e6 + dx, 1e6 + dy, 3e6 + dx, 1.6e6 + dy, sym("s50"), P, 0)));
            ids.push_back(add(API::GreateArcString(5.5e6 + dx, dy, 5e6 + dx, 0.5e6 + dy, 5e6 + dx, dy, sym("r50"), P, 0, false)));
            ids.push_back(add(API::GreateSurfaceString({{dx, 3e6 + dy}, {1e6 + dx, 3e6 + dy}, {1e6 + dx, 4e6 + dy},
                                                        {dx, 4e6 + dy}, {dx, 3e6 + dy}, {3e5 + dx, 3.3e6 + dy},
                                                        {7e5 + dx, 3.3e6 + dy}, {7e5 + dx, 3.7e6 + dy}, {3e5 + dx, 3.7e6 + dy}},
                                                       P, 0, true)));
            ids.push_back(add(API::GreateTextString(4e6 + dx, 3e6 + dy, "R12", P, 0, 200000, 300000, 1, "std", 0, 1)));
        }
        out.names = {"pad_round", "pad_rect", "pad_oval", "pad_donut", "line_round",
                     "line_square", "arc", "surface", "text"};
        return out;
    }();
    return k;
}

// Every unordered pair of kinds; the counters give each pair's time per call.
void BM_EdgeDistance(benchmark::State& st) {
    const Kinds& k = kinds();
    const size_t n = k.names.size();
    constexpr int kRepeat = 200;
    std::vector<double> ns(n * n, 0.0);
    for (auto _ : st) {
        for (size_t i = 0; i < n; ++i)
            for (size_t j = i; j < n; ++j) {
                const MEASURE::feature_ref a{"a", k.first[i]}, b{"a", k.second[j]};
                const auto t0 = std::chrono::steady_clock::now();
                for (int r = 0; r < kRepeat; ++r)
                    benchmark::DoNotOptimize(MEASURE::feature_distance("measure_kinds", kStep, a, b));
                ns[i * n + j] += std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - t0).count();
            }
    }
    const double calls = double(st.iterations()) * kRepeat;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = i; j < n; ++j)
            st.counters[k.names[i] + "/" + k.names[j] + "_ns"] = calls > 0 ? ns[i * n + j] / calls : 0.0;
}
BENCHMARK(BM_EdgeDistance)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
