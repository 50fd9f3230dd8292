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

// Rough cost of a piece per feature it goes over, relative to one spacing
// test. The workers take the costliest pieces first, so that no long piece
// starts when the others are nearly done.
constexpr double kPairCost = 1.0;     // spacing, hole spacing, nets contacts, mask and silk
constexpr double kHoleCost = 1.0;     // a hole against one copper layer
constexpr double kSingleCost = 0.1;   // one value per feature

struct Piece {
    std::function<void(std::vector<check_result>&, check_stats&)> run;
    std::vector<check_result> out;
    check_stats stats;
    double cost = 0;
    // The piece that puts together what this one found (-1: none); it runs
    // once all the pieces that feed it are done, on the worker that ends last.
    long feeds = -1;
    int fedBy = 0;
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
                const size_t n = l.data.features.size();
                for (size_t b = 0; b == 0 || b < n; b += kChunk)
                    piece(kPairCost * double(std::min(kChunk, n - std::min(n, b))),
                          [this, l, p, b, holes](std::vector<check_result>& out, check_stats& st) {
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
                const double perFeature = c == "slivers" || c == "profile_clearance" ? kPairCost : kSingleCost;
                piece(perFeature * double(l.data.features.size()), [this, l, p, c](std::vector<check_result>& out, check_stats&) {
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
                piece(kHoleCost * double(drill.data.features.size()),
                      [this, drill, l, p, c](std::vector<check_result>& out, check_stats&) {
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
                piece(kPairCost * double(l.data.features.size() + marks.data.features.size()),
                      [this, mask, marks, l, p, silk, vias](std::vector<check_result>& out, check_stats&) {
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
            const long finish = static_cast<long>(m_pieces.size() + run->layers());
            for (size_t l = 0; l < run->layers(); ++l) {
                piece(kPairCost * double(run->features(l)),
                      [this, run, l](std::vector<check_result>&, check_stats&) { run->contacts(l, m_stop); });
                m_pieces.back().feeds = finish;
            }
            piece(0, [this, run](std::vector<check_result>& out, check_stats&) { out = run->finish(m_stop).results; });
            m_pieces.back().fedBy = static_cast<int>(run->layers());
        } else {
            fail("unknown check '" + c + "'");
        }
    }

    std::vector<Piece>& pieces() { return m_pieces; }

private:
    void piece(double cost, std::function<void(std::vector<check_result>&, check_stats&)> run) {
        Piece p;
        p.run = std::move(run);
        p.cost = cost;
        m_pieces.push_back(std::move(p));
    }

    const Scope& m_s;
    const std::atomic<bool>* m_stop;
    NetIds m_nets;
    std::vector<Piece> m_pieces;
};

// The pieces a worker may start, costliest first (plan order among equals);
// the pieces that put others' work together are started by the last feeder.
std::vector<size_t> costliestFirst(const std::vector<Piece>& pieces) {
    std::vector<size_t> order;
    for (size_t k = 0; k < pieces.size(); ++k)
        if (pieces[k].fedBy == 0) order.push_back(k);
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return pieces[a].cost > pieces[b].cost; });
    return order;
}

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
    const std::vector<size_t> order = costliestFirst(pieces);
    std::atomic<size_t> next{0};
    std::mutex m;
    std::condition_variable cv;
    int done = 0, finished = 0;
    std::exception_ptr error;
    // Runs piece k, then the piece it feeds when k was the last to feed it.
    auto runPiece = [&](size_t k) {
        for (long at = static_cast<long>(k); at >= 0 && !stop.load();) {
            Piece& p = pieces[static_cast<size_t>(at)];
            try {
                p.run(p.out, p.stats);
            } catch (...) {
                std::lock_guard<std::mutex> g(m);
                if (!error) error = std::current_exception();
                stop = true;
                return;
            }
            std::lock_guard<std::mutex> g(m);
            ++done;
            cv.notify_all();
            at = p.feeds >= 0 && --pieces[static_cast<size_t>(p.feeds)].fedBy == 0 ? p.feeds : -1;
        }
    };
    auto worker = [&] {
        for (;;) {
            const size_t k = next++;
            if (k >= order.size() || stop.load()) break;
            runPiece(order[k]);
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
    if (cancelled || stopped(cancel)) {
        report.cancelled = true;
        return report;
    }
    if (progress && total > 0) progress(total, total);
    size_t found = 0;
    for (const Piece& p : pieces) found += p.out.size();
    report.results.reserve(found);
    for (Piece& p : pieces) {
        report.stats.features += p.stats.features;
        report.stats.pairs += p.stats.pairs;
        for (check_result& r : p.out) report.results.push_back(std::move(r));
    }
    return report;
}

}  // namespace CHECKS
}  // namespace TOLVA
