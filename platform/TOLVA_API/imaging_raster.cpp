// One layer's image, strip by strip: the features of each strip are painted
// by the kernel's rasteriser into a strip buffer in board orientation, read
// back along each image row (mirror and rotation are only the direction of
// that walk), packed to one bit a pixel and handed to libtiff.
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "imaging_internal.h"

namespace TOLVA {
namespace KERNEL {
namespace imaging {
namespace {

using IMAGING::export_param;
using IMAGING::image_frame;

// The strip buffer holds at most this many bytes of 4-byte pixels (image
// rows of a 600 mm panel at 2,540 dpi: about 70 rows).
constexpr size_t kStripBufferBytes = 16u << 20;
// Features are sorted into strips by their box widened by this many pixels:
// a feature smaller than a pixel paints the pixel of its first point.
constexpr double kStripMarginPixels = 1;
const uint32_t kPainted = 0xffffffffu;

struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};

// Image rows [first, last] that a board box may paint, clamped to the image.
bool rowRange(const IBox& b, const image_frame& frame, const export_param& p, long& first, long& last) {
    double lo = 1e300, hi = -1e300;
    for (double x : {double(b.xmin), double(b.xmax)})
        for (double y : {double(b.ymin), double(b.ymax)}) {
            double px = 0, py = 0;
            IMAGING::board_to_image(frame, p, x, y, px, py);
            lo = std::min(lo, py);
            hi = std::max(hi, py);
        }
    first = std::max(0L, static_cast<long>(std::floor(lo - kStripMarginPixels)));
    last = std::min(long(frame.height) - 1, static_cast<long>(std::floor(hi + kStripMarginPixels)));
    return first <= last;
}

// Feature ids per strip of `rows` image rows, each list in layer order.
std::vector<std::vector<uint32_t>> featuresByStrip(const ImagedLayer& layer, const image_frame& frame,
                                                   const export_param& p, long rows) {
    std::vector<std::vector<uint32_t>> strips((frame.height + rows - 1) / rows);
    const LayerContext ctx{layer.def, layer.data};
    for (uint32_t id = 0; id < layer.data.features.size(); ++id) {
        if (!layer.drawn[id]) continue;
        long first = 0, last = 0;
        if (!rowRange(featureBox(ctx, layer.data.features[id]), frame, p, first, last)) continue;
        for (long k = first / rows; k <= last / rows; ++k) strips[k].push_back(id);
    }
    return strips;
}

// One sample a pixel, so the planar configuration and the fill order keep
// TIFF's defaults (contiguous, most significant bit first).
void setTags(TIFF* t, const image_frame& frame, const export_param& p, long rows) {
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(frame.width));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(frame.height));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, uint16_t(1));
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, uint16_t(1));
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, uint16_t(PHOTOMETRIC_MINISBLACK));
    TIFFSetField(t, TIFFTAG_COMPRESSION,
                 uint16_t(p.compress == IMAGING::compression::packbits ? COMPRESSION_PACKBITS : COMPRESSION_CCITTFAX4));
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, uint32_t(rows));
    TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, uint16_t(RESUNIT_INCH));
    TIFFSetField(t, TIFFTAG_XRESOLUTION, float(p.dpi));
    TIFFSetField(t, TIFFTAG_YRESOLUTION, float(p.dpi));
}

// The strip's cells in board orientation: board rows [j0, j1) across the
// whole grid, or board columns [i0, i1) down the whole grid after a quarter
// turn. `r0`..`r1` are its image rows.
struct StripCells {
    long i0, i1, j0, j1;
};
StripCells stripCells(const Grid& g, const export_param& p, long r0, long r1) {
    const RowWalk a = rowWalk(g, p, r0), b = rowWalk(g, p, r1 - 1);
    if (p.rotate == 90 || p.rotate == 270)
        return {std::min(a.ai, b.ai), std::max(a.ai, b.ai) + 1, 0, g.hb};
    return {0, g.wb, std::min(a.aj, b.aj), std::max(a.aj, b.aj) + 1};
}

// Image row r from the strip buffer into `bits`, one bit a pixel, MSB first.
void packRow(const std::vector<uint32_t>& buffer, const StripCells& cells, const RowWalk& w, long width,
             bool negative, std::vector<uint8_t>& bits) {
    std::fill(bits.begin(), bits.end(), 0);
    const long bw = cells.i1 - cells.i0;
    const long step = w.bj * bw + w.bi;
    const uint32_t* src = buffer.data() + (w.aj - cells.j0) * bw + (w.ai - cells.i0);
    const uint32_t colourMask = 0x00ffffffu;  // the colour bytes of an RGBA pixel, little-endian
    for (long c = 0; c < width; ++c, src += step) {
        const bool lit = ((*src & colourMask) != 0) != negative;
        if (lit) bits[c >> 3] |= uint8_t(0x80u >> (c & 7));
    }
}

}  // namespace

bool writeLayerImage(const std::string& path, ImagedLayer& layer, const image_frame& frame, const export_param& p,
                     long& rowsDone, long rowsTotal, const IMAGING::progress_fn& progress) {
    const Grid g = gridOf(frame, p);
    const long width = frame.width;
    const long rows = std::max(1L, std::min<long>(frame.height, long(kStripBufferBytes / (4 * size_t(width)))));
    std::unique_ptr<TIFF, TiffCloser> tiff(TIFFOpen(path.c_str(), "w"));
    if (!tiff) fail("cannot create \"" + path + "\"");
    setTags(tiff.get(), frame, p, rows);
    const std::vector<std::vector<uint32_t>> strips = featuresByStrip(layer, frame, p, rows);
    std::vector<uint32_t> buffer;
    std::vector<uint8_t> bits((width + 7) / 8);
    for (size_t k = 0; k < strips.size(); ++k) {
        const long r0 = long(k) * rows, r1 = std::min<long>(frame.height, r0 + rows);
        const StripCells cells = stripCells(g, p, r0, r1);
        const long bw = cells.i1 - cells.i0, bh = cells.j1 - cells.j0;
        buffer.assign(size_t(bw) * size_t(bh), backgroundPixel());
        const ViewBox box{g.x0 + cells.i0 * g.sx, g.y1 - cells.j1 * g.sy, g.x0 + cells.i1 * g.sx,
                          g.y1 - cells.j0 * g.sy};
        Raster raster(buffer.data(), int(bw), int(bh), box);
        paintFeatures(raster, layer.def, layer.data, strips[k], kPainted);
        for (long r = r0; r < r1; ++r) {
            packRow(buffer, cells, rowWalk(g, p, r), width, p.negative, bits);
            if (TIFFWriteScanline(tiff.get(), bits.data(), uint32_t(r), 0) < 0)
                fail("cannot write \"" + path + "\" (row " + std::to_string(r) + ")");
        }
        rowsDone += r1 - r0;
        if (progress && !progress(rowsDone, rowsTotal)) return false;
    }
    if (!TIFFFlush(tiff.get())) fail("cannot write \"" + path + "\"");
    return true;
}

}  // namespace imaging
}  // namespace KERNEL
}  // namespace TOLVA
