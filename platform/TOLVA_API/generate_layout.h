#pragma once
// The demo board's layout: a grid of component cells (fine-pitch QFPs,
// BGAs, rows of SOICs, arrays of series resistors), each with its fan-out,
// pull-ups and decoupling capacitors in the corners of its cell; buses on
// the inner layers between neighbouring cells; edge connectors; mounting and
// tooling holes, fiducials, a via fence along the edge, the pours, the rout
// and the silk screen.
#include <vector>

#include "generate_board.h"

namespace TOLVA {
namespace KERNEL {
namespace gen {

struct BoardSpec {
    Coord width = 0, height = 0;
    unsigned seed = 1;
    long target = 0;  // features wanted in all
};

// The board outline: a rectangle from (0, 0) with rounded corners. The
// profile is this polygon; the rout follows it with true arcs.
Coord cornerRadius(Coord width, Coord height);
std::vector<Pt> roundedRect(const Box& box, Coord radius, int segmentsPerCorner);

// How the features of a drawn board divide up.
struct Drawn {
    long modules = 0;     // the component cells, their buses and connectors
    long fixed = 0;       // outline, holes, marks, pours
    long fence = 0;       // the via fence, which takes what the target leaves
};

// Draws a board with `cells` component cells on a fresh board, each cell
// bringing at most `share` times its part of the target (smaller packages,
// fewer capacitors); the via fence fills up to the target where it can.
Drawn drawBoard(Board& board, const BoardSpec& spec, long cells, double share);

}  // namespace gen
}  // namespace KERNEL
}  // namespace TOLVA
