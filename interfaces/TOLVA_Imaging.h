#pragma once
// Layers of a step as 1-bit raster images for a direct-imaging machine.
//
// Each chosen layer becomes one TIFF file (one bit per pixel, 1 = exposed,
// PhotometricInterpretation min-is-black) of the step's image area: the
// profile's box, or the chosen layers' box when the step has no profile.
// The image is built from the board picture in this order:
//   1. every feature grown by `resize` nanometres on each side (negative
//      shrinks; a feature shrunk to nothing is left out);
//   2. the board stretched by x_scale along board x and y_scale along board y
//      (compensation of the panel's expected stretch);
//   3. mirrored left to right (about the image's vertical axis);
//   4. turned counter-clockwise by `rotate` degrees (0, 90, 180, 270);
//   5. inverted when `negative` is set.
// Image pixel (0, 0) is the top-left one. Pixels are painted by the kernel's
// own rasteriser, so an unscaled image equals draw_layer's canvas of the same
// box at the same pixel size.
//
// Images are rasterised and written in horizontal strips of the output, so a
// panel of any size needs only one strip in memory. Each file is written to a
// temporary name in the output folder and renamed when complete: a failure
// leaves no file behind.
//
// Beside the images a registration file (JSON) names the positioning (global)
// holes and the area holes, each in board nanometres and in image pixels.
//
// Refusals (a KernelText, nothing written): an output folder that does not
// exist or cannot be written, a resolution that is not positive, a scale that
// is not positive, a rotation other than 0/90/180/270, an unknown job, step
// or layer, no layer, an image area without extent.
#include <functional>
#include <string>
#include <vector>

#include "TOLVA_API.h"

namespace TOLVA {
namespace IMAGING {

enum class compression { ccitt_g4, packbits };

// A registration hole in board nanometres.
struct reg_hole {
    double x = 0, y = 0;
    double diameter = 0;
};

struct export_param {
    std::vector<std::string> layers;
    double dpi = 2540;
    int rotate = 0;
    bool mirror = false;
    double x_scale = 1.0, y_scale = 1.0;
    bool negative = false;
    double resize = 0;  // nanometres on each side
    std::string output_dir;
    // File name of each image; placeholders {job} {step} {layer} {dpi}
    // {index} (1-based position of the layer among the chosen). ".tif" is
    // added when the name has no extension. Characters that cannot stand in
    // a file name become '_'.
    std::string name_format = "{job}_{step}_{layer}";
    compression compress = compression::ccitt_g4;
    std::vector<reg_hole> global_holes;
    std::vector<reg_hole> area_holes;
};

// The board area an export images and the size of its images.
struct image_frame {
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;  // board nm of the imaged area
    int width = 0, height = 0;                       // image pixels
};

struct export_result {
    std::vector<std::string> files;  // the images, full paths, in layer order
    std::string registration;        // the registration file, full path
    image_frame frame;
};

// Called after each strip with the rows written so far over all images and
// their total; return false to stop (the export then throws "cancelled" and
// leaves no file).
using progress_fn = std::function<bool(long done, long total)>;

// Checks the parameters as export_layers does (without touching the folder)
// and gives the frame; throws the same refusals.
TOLVA_API_EXPORT image_frame export_frame(const std::string& job, const std::string& step,
                                          const export_param& param);

TOLVA_API_EXPORT export_result export_layers(const std::string& job, const std::string& step,
                                             const export_param& param, const progress_fn& progress = {});

// A board point to image pixel coordinates (continuous: pixel (c, r) covers
// [c, c+1) x [r, r+1)), and back.
TOLVA_API_EXPORT void board_to_image(const image_frame& frame, const export_param& param, double x, double y,
                                     double& px, double& py);
TOLVA_API_EXPORT void image_to_board(const image_frame& frame, const export_param& param, double px, double py,
                                     double& x, double& y);

// The name format applied to one layer (no folder).
TOLVA_API_EXPORT std::string image_file_name(const std::string& format, const std::string& job,
                                             const std::string& step, const std::string& layer, double dpi,
                                             int index);

}  // namespace IMAGING
}  // namespace TOLVA
