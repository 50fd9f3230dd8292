#pragma once
// The order in which a cutter visits the chains of a rout layer. Between
// chains the cutter is lifted and travels through the air from one chain's
// retract point to the next one's plunge point; that travel is wasted
// machine time, so the order that keeps it short is worth looking for.
// Each chain is cut in its own direction: only the order changes.
#include <QPointF>
#include <vector>

namespace TOLVA {
namespace GRAPHIC {
namespace rout {

// Where the cutter goes down into a chain and where it comes up again.
struct Leg {
    QPointF plunge;
    QPointF retract;
};

// The air travel of visiting `legs` in `order` (indices into `legs`),
// starting at `origin`: origin to the first plunge, then each retract to
// the next plunge.
double airTravel(const std::vector<Leg>& legs, const std::vector<int>& order, const QPointF& origin);

// An order of `legs` whose air travel from `origin` is as short as a
// nearest-neighbour tour improved by 2-opt moves finds; never longer than
// the given order (0, 1, 2, ...), which is returned when nothing shorter is
// found.
std::vector<int> shortestOrder(const std::vector<Leg>& legs, const QPointF& origin);

// Rounds of 2-opt improvement at most; each round tries every pair once.
constexpr int kMostTwoOptRounds = 64;

}  // namespace rout
}  // namespace GRAPHIC
}  // namespace TOLVA
