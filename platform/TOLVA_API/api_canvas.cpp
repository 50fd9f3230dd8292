// The canvas and the view box.
#include <algorithm>
#include <cmath>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "kernel.h"

namespace TOLVA {

using namespace KERNEL;

namespace {
// Largest canvas accepted: 1 GiB of pixels.
constexpr long long kMaxCanvasPixels = 1LL << 28;
// Sets every pixel to the background, 16 bytes at a time.
void fillBackground(std::vector<uint32_t>& pixels) {
    const uint32_t c = backgroundPixel();
    uint32_t* p = pixels.data();
    const size_t n = pixels.size();
    size_t i = 0;
#if defined(__SSE2__)
    for (; i < n && reinterpret_cast<uintptr_t>(p + i) % 16 != 0; ++i) p[i] = c;
    const __m128i v = _mm_set1_epi32(static_cast<int>(c));
    for (; i + 16 <= n; i += 16) {
        _mm_store_si128(reinterpret_cast<__m128i*>(p + i), v);
        _mm_store_si128(reinterpret_cast<__m128i*>(p + i + 4), v);
        _mm_store_si128(reinterpret_cast<__m128i*>(p + i + 8), v);
        _mm_store_si128(reinterpret_cast<__m128i*>(p + i + 12), v);
    }
#endif
    for (; i < n; ++i) p[i] = c;
}

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
    fillBackground(state().canvas);
}

void zoom_to_box(double xmin, double ymin, double xmax, double ymax) {
    KERNEL_LOCK;
    for (double v : {xmin, ymin, xmax, ymax}) checkFinite(v, "view box coordinate");
    // A box of no area (a view not laid out yet) is kept and shows nothing.
    if (xmax < xmin || ymax < ymin)
        fail("view box is inverted (" + std::to_string(xmin) + ", " + std::to_string(ymin) + ", " +
             std::to_string(xmax) + ", " + std::to_string(ymax) + ")");
    KernelState& s = state();
    // Micrometres to nm. A view box of whole nanometres comes back from the
    // micrometres a hair off them: it is put back, so that its pixel is the
    // exact width the view chose (instances whole pixels apart stay so).
    auto toNm = [](double um) {
        const double nm = um * 1000.0, whole = std::nearbyint(nm);
        return std::fabs(nm - whole) <= 1e-12 * std::max(1.0, std::fabs(whole)) ? whole : nm;
    };
    s.box = {toNm(xmin), toNm(ymin), toNm(xmax), toNm(ymax)};
    s.boxSet = true;
}

}  // namespace API
}  // namespace TOLVA
