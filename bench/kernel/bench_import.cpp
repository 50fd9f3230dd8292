// Import benchmarks on the largest multi-file board among gerbv's example
// files: ekf2, fifteen Gerber and four Excellon files, about 125,000
// features. The files are read from disk once, outside the timed loops.
//
// Counters: features (of the whole board), bytes_per_feature (heap the
// kernel holds per feature after the import, from the allocator's own
// figures) and ms_per_36k_features (the iteration's time scaled to 36,000
// features).
//
// BM_SnapshotVsGerbv runs the whole application for a snapshot of the board
// and gerbv's export of the same files at the same window size, one after
// the other in each iteration, so that both meet the same load of a shared
// machine; ratio_to_gerbv is the application's time over gerbv's.
#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
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

// The names of the board's Gerber (.grb) and Excellon (.exc) files, sorted.
std::vector<std::string> boardNames() {
    std::vector<std::string> names;
    DIR* d = opendir(kBoardDir);
    if (!d) return names;
    while (dirent* e = readdir(d)) {
        const std::string n = e->d_name;
        if (n.size() > 4 && (n.compare(n.size() - 4, 4, ".grb") == 0 || n.compare(n.size() - 4, 4, ".exc") == 0))
            names.push_back(n);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

// The board's files with their text.
const std::vector<IMPORT::import_file>& boardFiles() {
    static const std::vector<IMPORT::import_file> files = [] {
        std::vector<IMPORT::import_file> out;
        for (const std::string& n : boardNames()) {
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

// Seconds that `argv` took from its start to its exit, its output dropped;
// negative when it could not be started or failed, with the reason in `why`.
double runProgram(const std::vector<std::string>& argv, std::string& why) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const auto t0 = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int started = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0) {
        why = argv[0] + " could not be started";
        return -1;
    }
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) {
        why = argv[0] + " was lost";
        return -1;
    }
    if (WIFSIGNALED(status)) why = argv[0] + " ended by signal " + std::to_string(WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0) why = argv[0] + " exited with " + std::to_string(WEXITSTATUS(status));
    if (!why.empty()) return -1;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// The application built beside this benchmark.
std::string hostProgram() {
    char self[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return std::string();
    std::string dir(self, static_cast<size_t>(n));
    dir.erase(dir.find_last_of('/') + 1);
    return access((dir + "tolva_host").c_str(), X_OK) == 0 ? dir + "tolva_host" : std::string();
}

void BM_SnapshotVsGerbv(benchmark::State& state) {
    if (!haveBoard(state)) return;
    const std::string host = hostProgram();
    if (host.empty()) {
        state.SkipWithError("tolva_host is not built beside the benchmark");
        return;
    }
    char dir[] = "/tmp/bench_snapshotXXXXXX";
    if (!mkdtemp(dir)) {
        state.SkipWithError("no temporary folder");
        return;
    }
    const std::string size = std::to_string(kWidth) + "x" + std::to_string(kHeight);
    std::vector<std::string> files;
    for (const std::string& n : boardNames()) files.push_back(std::string(kBoardDir) + "/" + n);
    std::vector<std::string> snapshot{host};
    snapshot.insert(snapshot.end(), files.begin(), files.end());
    for (const char* a : {"--snapshot", "", "--size", ""}) snapshot.push_back(a);
    snapshot[snapshot.size() - 3] = std::string(dir) + "/host.png";
    snapshot.back() = size;
    std::vector<std::string> gerbv{"gerbv", "-x", "png", "-o", std::string(dir) + "/gerbv.png", "--window=" + size};
    gerbv.insert(gerbv.end(), files.begin(), files.end());
    double hostSeconds = 0, gerbvSeconds = 0;
    for (auto _ : state) {
        std::string why;
        const double h = runProgram(snapshot, why);
        const double g = h < 0 ? -1 : runProgram(gerbv, why);
        if (h < 0 || g < 0) {
            state.SkipWithError(why.c_str());
            break;
        }
        hostSeconds += h;
        gerbvSeconds += g;
    }
    for (const char* f : {"/host.png", "/gerbv.png"}) std::remove((std::string(dir) + f).c_str());
    rmdir(dir);
    const double runs = std::max<double>(1, double(state.iterations()));
    state.counters["snapshot_ms"] = hostSeconds * 1e3 / runs;
    state.counters["gerbv_ms"] = gerbvSeconds * 1e3 / runs;
    state.counters["ratio_to_gerbv"] = gerbvSeconds > 0 ? hostSeconds / gerbvSeconds : 0.0;
}

BENCHMARK(BM_ImportBoard)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportAndRender)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SnapshotVsGerbv)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
