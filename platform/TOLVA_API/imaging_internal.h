#pragma once
// Internal pieces of the imaging export (TOLVA_Imaging.h).
#include <cstdint>
#include <string>
#include <vector>

#include "TOLVA_Imaging.h"
#include "kernel.h"
#include "raster.h"

namespace TOLVA {
namespace KERNEL {

// Paints features of a layer into a raster of the caller's own (render.cpp).
void paintFeatures(Raster& raster, const LayerDef& def, LayerData& data, const std::vector<uint32_t>& ids,
                   uint32_t colour);

namespace imaging {

// The board grid behind an image: Wb x Hb cells of sx x sy nanometres from
// the frame's top-left corner, before mirror and rotation.
struct Grid {
    double x0 = 0, y1 = 0;  // left and top of the grid, board nm
    double sx = 0, sy = 0;  // cell size, board nm
    long wb = 0, hb = 0;    // cells across and down
};
Grid gridOf(const IMAGING::image_frame& frame, const IMAGING::export_param& param);

// Image pixel (c, r) comes from grid cell (i, j) = (ai + bi*c, aj + bj*c) on
// image row r: the affine walk along one image row.
struct RowWalk {
    long ai, bi, aj, bj;
};
RowWalk rowWalk(const Grid& g, const IMAGING::export_param& param, long r);

// A layer as it is imaged: its symbols and surfaces grown by the resize, and
// the features left out because the resize shrank them to nothing.
struct ImagedLayer {
    LayerDef def;
    LayerData data;           // features, surfaces and texts only (no index)
    std::vector<bool> drawn;  // per feature
};
// `grow` in nanometres on each side; 0 copies the layer as it is.
void resizedLayer(const LayerDef& def, const LayerData& data, double grow, ImagedLayer& out);

// Writes one layer's image to `path` (a temporary name); returns false when
// the progress callback asked to stop. Throws a text on a write failure.
bool writeLayerImage(const std::string& path, ImagedLayer& layer, const IMAGING::image_frame& frame,
                     const IMAGING::export_param& param, long& rowsDone, long rowsTotal,
                     const IMAGING::progress_fn& progress);

}  // namespace imaging
}  // namespace KERNEL
}  // namespace TOLVA
