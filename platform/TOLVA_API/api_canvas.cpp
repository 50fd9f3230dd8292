// The canvas and the view box.
#include <algorithm>

#include "kernel.h"

namespace TOLVA {

using namespace KERNEL;

namespace {
// Largest canvas accepted: 1 GiB of pixels.
constexpr long long kMaxCanvasPixels = 1LL << 28;
}  // namespace

namespace API {

void init_canvas(int width, int height) {
    KERNEL_LOCK;
    KernelState& s = state();
    width = std::max(width, 0);
    height = std::max(height, 0);
    if (static_cast<long long>(width) * height > kMaxCanvasPixels)
        fail("canvas of " + std::to_string(width) + " x " + std::to_string(height) + " is too large");
    if (width == 0 || height == 0) width = height = 0;
    s.width = width;
    s.height = height;
    s.canvas.assign(static_cast<size_t>(width) * static_cast<size_t>(height), backgroundPixel());
    s.canvas.shrink_to_fit();
}

unsigned char* canvas(int& width, int& height) {
    KERNEL_LOCK;
    KernelState& s = state();
    width = s.width;
    height = s.height;
    return s.canvas.empty() ? nullptr : reinterpret_cast<unsigned char*>(s.canvas.data());
}

void get_Canvas_Size(int& width, int& height) {
    KERNEL_LOCK;
    width = state().width;
    height = state().height;
}

void clear_canvas() {
    KERNEL_LOCK;
    std::fill(state().canvas.begin(), state().canvas.end(), backgroundPixel());
}

void zoom_to_box(double xmin, double ymin, double xmax, double ymax) {
    KERNEL_LOCK;
    for (double v : {xmin, ymin, xmax, ymax}) checkFinite(v, "view box coordinate");
    // A box of no area (a view not laid out yet) is kept and shows nothing.
    if (xmax < xmin || ymax < ymin)
        fail("view box is inverted (" + std::to_string(xmin) + ", " + std::to_string(ymin) + ", " +
             std::to_string(xmax) + ", " + std::to_string(ymax) + ")");
    KernelState& s = state();
    s.box = {xmin * 1000.0, ymin * 1000.0, xmax * 1000.0, ymax * 1000.0};  // micrometres to nm
    s.boxSet = true;
}

}  // namespace API
}  // namespace TOLVA
