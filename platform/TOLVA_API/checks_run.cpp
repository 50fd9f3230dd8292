// A plan of checks over a step, its pieces spread over worker threads.
//
// The calling thread takes the kernel lock, checks the whole plan and brings
// every index it needs up to date; the workers then only read the job and
// never lock (the lock is held by the caller all along). Each piece writes
// into its own slot, and the slots are joined in plan order, so the result
// does not depend on which thread ran what.
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "checks_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace CHECKS_IMPL {
namespace {

using CHECKS::check_task;

// Pairwise checks of large layers are split into runs of this many
// features, so that one crowded layer keeps every core busy.
constexpr size_t kChunk = 8192;

struct Piece {
    std::function<void(std::vector<check_result>&, check_stats&)> run;
    std::vector<check_result> out;
    check_stats stats;
    bool last = false;  // puts together what other pieces found: run once they are all done
};

void need(const std::string& name, const char* what, const std::string& check) {
    if (name.empty()) fail(std::string("check '") + check + "' needs a " + what);
}

class Planner {
public:
    Planner(const Scope& s, const std::atomic<bool>* stop) : m_s(s), m_stop(stop), m_nets(s.job) {}

    // Checks one task and lays out its pieces; throws before any work.
    void add(const check_task& t) {
        checkLayers(m_s, t.layers);
        const std::string& c = t.check;
        if (c != "nets") checkParams(t.params);
        const check_params p = t.params;
        if (c == "spacing" || c == "hole_spacing") {
            const bool holes = c == "hole_spacing";
            for (const std::string& name : t.layers) {
                const LayerRef l = m_s.layer(name);
                for (size_t b = 0; b == 0 || b < l.data.features.size(); b += kChunk)
                    piece([this, l, p, b, holes](std::vector<check_result>& out, check_stats& st) {
                        if (holes)
                            holeSpacingBody(l, p, Range{b, b + kChunk}, out, m_stop);
                        else
                            spacingBody(m_s, m_nets, l, p, Range{b, b + kChunk}, out, st, m_stop);
                    });
            }
        } else if (c == "line_width" || c == "pad_size" || c == "min_drill" || c == "slivers" ||
                   c == "profile_clearance") {
            if (c == "profile_clearance" && m_s.step.profile.empty())
                fail("step '" + m_s.step.name + "' has no profile");
            for (const std::string& name : t.layers) {
                const LayerRef l = m_s.layer(name);
                piece([this, l, p, c](std::vector<check_result>& out, check_stats&) {
                    if (c == "line_width") lineWidthBody(l, p, out);
                    else if (c == "pad_size") padSizeBody(l, p, out);
                    else if (c == "min_drill") minDrillBody(l, p, out);
                    else if (c == "slivers") sliverBody(l, p, out, m_stop);
                    else profileBody(m_s, l, p, out, m_stop);
                });
            }
        } else if (c == "annular_ring" || c == "drill_to_copper") {
            need(t.drill_layer, "drill layer", c);
            const LayerRef drill = m_s.layer(t.drill_layer);
            for (const std::string& name : t.layers) {
                const LayerRef l = m_s.layer(name);
                piece([this, drill, l, p, c](std::vector<check_result>& out, check_stats&) {
                    if (c == "annular_ring")
                        annularRingBody(drill, l, p, out, m_stop);
                    else
                        drillToCopperBody(drill, l, p, out, m_stop);
                });
            }
        } else if (c == "mask_clearance" || c == "silk_over_copper") {
            need(t.mask_layer, "mask layer", c);
            const LayerRef mask = m_s.layer(t.mask_layer);
            const bool silk = c == "silk_over_copper";
            if (silk) need(t.silk_layer, "silk layer", c);
            const std::string& silkName = silk ? t.silk_layer : t.mask_layer;
            const LayerRef marks = m_s.layer(silkName);
            const auto vias = std::make_shared<const ViaPads>(m_s);
            for (const std::string& name : t.layers) {
                const LayerRef l = m_s.layer(name);
                piece([this, mask, marks, l, p, silk, vias](std::vector<check_result>& out, check_stats&) {
                    if (silk)
                        silkBody(marks, mask, l, p, out, m_stop);
                    else
                        maskBody(l, mask, *vias, p, out, m_stop);
                });
            }
        } else if (c == "nets") {
            checkLayers(m_s, t.drill_layers);
            for (const std::string& n : t.layers) m_s.layer(n);
            for (const std::string& n : t.drill_layers) m_s.layer(n);
            const auto run = std::make_shared<NetRun>(m_s, t.layers, t.drill_layers);
            for (size_t l = 0; l < run->layers(); ++l)
                piece([this, run, l](std::vector<check_result>&, check_stats&) { run->contacts(l, m_stop); });
            piece([this, run](std::vector<check_result>& out, check_stats&) { out = run->finish(m_stop).results; });
            m_pieces.back().last = true;
        } else {
            fail("unknown check '" + c + "'");
        }
    }

    std::vector<Piece>& pieces() { return m_pieces; }

private:
    void piece(std::function<void(std::vector<check_result>&, check_stats&)> run) {
        m_pieces.push_back({std::move(run), {}, {}, false});
    }

    const Scope& m_s;
    const std::atomic<bool>* m_stop;
    NetIds m_nets;
    std::vector<Piece> m_pieces;
};

}  // namespace
}  // namespace CHECKS_IMPL
}  // namespace KERNEL

namespace CHECKS {

using namespace KERNEL;
using namespace KERNEL::CHECKS_IMPL;

run_report run_checks(const str& job, const str& step, const std::vector<check_task>& plan,
                      const check_progress& progress, const std::atomic<bool>* cancel, int threads) {
    KERNEL_LOCK;
    const Scope s = scope(job, step);
    std::atomic<bool> stop{false};
    Planner planner(s, &stop);
    for (const check_task& t : plan) planner.add(t);
    std::vector<Piece>& pieces = planner.pieces();
    run_report report;
    const int total = static_cast<int>(pieces.size());
    if (progress) progress(0, total);
    if (stopped(cancel)) {
        report.cancelled = true;
        return report;
    }

    if (threads <= 0) threads = static_cast<int>(std::thread::hardware_concurrency());
    threads = std::max(1, std::min(threads, std::max(1, total)));
    std::atomic<size_t> next{0};
    std::mutex m;
    std::condition_variable cv;
    int done = 0, finished = 0;
    std::exception_ptr error;
    auto worker = [&] {
        for (;;) {
            const size_t k = next++;
            if (k >= pieces.size() || stop.load()) break;
            if (pieces[k].last) continue;
            try {
                pieces[k].run(pieces[k].out, pieces[k].stats);
            } catch (...) {
                std::lock_guard<std::mutex> g(m);
                if (!error) error = std::current_exception();
                stop = true;
            }
            std::lock_guard<std::mutex> g(m);
            ++done;
            cv.notify_all();
        }
        std::lock_guard<std::mutex> g(m);
        ++finished;
        cv.notify_all();
    };
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) pool.emplace_back(worker);
    bool cancelled = false;
    {
        std::unique_lock<std::mutex> lock(m);
        int shown = 0;
        while (finished < threads) {
            if (done != shown && done < total && progress && !stop) {
                shown = done;
                lock.unlock();
                try {
                    progress(shown, total);
                } catch (...) {  // the workers are stopped and joined before it goes on
                    lock.lock();
                    if (!error) error = std::current_exception();
                    stop = true;
                    continue;
                }
                lock.lock();
                continue;
            }
            cv.wait_for(lock, std::chrono::milliseconds(20));
            if (stopped(cancel) && !stop) {
                cancelled = true;
                stop = true;
            }
        }
    }
    for (std::thread& t : pool) t.join();
    if (error) std::rethrow_exception(error);
    for (Piece& p : pieces) {
        if (!p.last || stopped(cancel)) continue;
        p.run(p.out, p.stats);
        if (progress && ++done < total) progress(done, total);
    }
    if (cancelled || stopped(cancel)) {
        report.cancelled = true;
        return report;
    }
    if (progress && total > 0) progress(total, total);
    for (Piece& p : pieces) {
        report.stats.features += p.stats.features;
        report.stats.pairs += p.stats.pairs;
        for (check_result& r : p.out) report.results.push_back(std::move(r));
    }
    return report;
}

}  // namespace CHECKS
}  // namespace TOLVA
