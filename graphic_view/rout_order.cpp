#include "rout_order.h"

#include <QLineF>
#include <algorithm>
#include <numeric>

namespace TOLVA {
namespace GRAPHIC {
namespace rout {

namespace {
double distance(const QPointF& a, const QPointF& b) { return QLineF(a, b).length(); }

std::vector<int> identity(size_t n) {
    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    return order;
}

// From the origin, always to the nearest plunge not visited yet.
std::vector<int> nearestNeighbour(const std::vector<Leg>& legs, const QPointF& origin) {
    std::vector<bool> visited(legs.size(), false);
    std::vector<int> order;
    QPointF at = origin;
    for (size_t step = 0; step < legs.size(); ++step) {
        int best = -1;
        double bestDistance = 0;
        for (size_t k = 0; k < legs.size(); ++k) {
            if (visited[k]) continue;
            const double d = distance(at, legs[k].plunge);
            if (best < 0 || d < bestDistance) {
                best = static_cast<int>(k);
                bestDistance = d;
            }
        }
        visited[static_cast<size_t>(best)] = true;
        order.push_back(best);
        at = legs[static_cast<size_t>(best)].retract;
    }
    return order;
}

// The travel between neighbours of `order` in both directions, as prefix
// sums: forward[k] sums the hops 0->1 .. k-1->k, backward[k] the hops
// 1->0 .. k->k-1 (what they cost once a stretch is cut the other way round).
void prefixSums(const std::vector<Leg>& legs, const std::vector<int>& order, std::vector<double>& forward,
                std::vector<double>& backward) {
    const size_t n = order.size();
    forward.assign(n, 0);
    backward.assign(n, 0);
    for (size_t k = 1; k < n; ++k) {
        const Leg& a = legs[static_cast<size_t>(order[k - 1])];
        const Leg& b = legs[static_cast<size_t>(order[k])];
        forward[k] = forward[k - 1] + distance(a.retract, b.plunge);
        backward[k] = backward[k - 1] + distance(b.retract, a.plunge);
    }
}

// One round of 2-opt: every stretch [i, j] of the order whose reversal
// shortens the travel is turned round. The chains keep their own direction,
// so the hops inside the stretch change too (the travel is not symmetric).
bool improveOnce(const std::vector<Leg>& legs, std::vector<int>& order, const QPointF& origin) {
    const size_t n = order.size();
    std::vector<double> forward, backward;
    prefixSums(legs, order, forward, backward);
    bool improved = false;
    auto leg = [&](size_t k) -> const Leg& { return legs[static_cast<size_t>(order[k])]; };
    for (size_t i = 0; i + 1 < n; ++i) {
        for (size_t j = i + 1; j < n; ++j) {
            const QPointF before = i == 0 ? origin : leg(i - 1).retract;
            const double inside = forward[j] - forward[i];
            const double turned = backward[j] - backward[i];
            double now = distance(before, leg(i).plunge) + inside;
            double then = distance(before, leg(j).plunge) + turned;
            if (j + 1 < n) {
                now += distance(leg(j).retract, leg(j + 1).plunge);
                then += distance(leg(i).retract, leg(j + 1).plunge);
            }
            // A gain smaller than rounding would let two equal orders swap for ever.
            if (then < now - 1e-9 * (1 + now)) {
                std::reverse(order.begin() + static_cast<long>(i), order.begin() + static_cast<long>(j) + 1);
                prefixSums(legs, order, forward, backward);
                improved = true;
            }
        }
    }
    return improved;
}
}  // namespace

double airTravel(const std::vector<Leg>& legs, const std::vector<int>& order, const QPointF& origin) {
    double total = 0;
    QPointF at = origin;
    for (int k : order) {
        const Leg& leg = legs[static_cast<size_t>(k)];
        total += distance(at, leg.plunge);
        at = leg.retract;
    }
    return total;
}

std::vector<int> shortestOrder(const std::vector<Leg>& legs, const QPointF& origin) {
    const std::vector<int> given = identity(legs.size());
    if (legs.size() < 2) return given;
    std::vector<int> order = nearestNeighbour(legs, origin);
    for (int round = 0; round < kMostTwoOptRounds && improveOnce(legs, order, origin); ++round) {
    }
    return airTravel(legs, order, origin) < airTravel(legs, given, origin) ? order : given;
}

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
