// The colour rule that composes layer images, measured on layer images that
// look like what the kernel renders, against a memcpy of the same buffer.
//
// Every layer image is RGBA8888 on the kernel's cleared canvas, opaque black
// (0, 0, 0, 255), with painted pixels in one palette colour, alpha 255; the
// composition starts as a copy of a cleared canvas, as in draw(). Sizes are
// the view's full-HD and 4K compositions; feature sizes in pixels grow with
// the width, as the same board drawn at a higher resolution would.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "core/blend.h"

namespace {

using TOLVA::GRAPHIC::blend;
using TOLVA::GRAPHIC::blendScalar;
using Clock = std::chrono::steady_clock;

constexpr int kPixelBytes = 4;
constexpr double kSparseCoverage = 0.20;  // traces and pads of a signal layer
constexpr double kDenseCoverage = 0.80;   // a copper pour with its clearances

using Rgb = std::array<unsigned char, 3>;
// Palette entries the view uses for its first layers.
constexpr Rgb kRed{255, 0, 0};
constexpr Rgb kGreen{0, 255, 0};
constexpr Rgb kBlue{0, 0, 255};
constexpr Rgb kOlive{180, 180, 47};

std::size_t bufferBytes(int w, int h) { return static_cast<std::size_t>(w) * h * kPixelBytes; }

// A buffer of w x h background pixels.
std::vector<unsigned char> clearedCanvas(int w, int h) {
    std::vector<unsigned char> px(bufferBytes(w, h), 0);
    for (std::size_t i = 3; i < px.size(); i += kPixelBytes) px[i] = 255;
    return px;
}

bool hasColour(const unsigned char* p) { return (p[0] | p[1] | p[2]) != 0; }

// A layer image with a count of its painted pixels.
class LayerImage {
public:
    LayerImage(int w, int h) : m_w(w), m_h(h), m_px(clearedCanvas(w, h)) {}

    int width() const { return m_w; }
    int height() const { return m_h; }
    const unsigned char* data() const { return m_px.data(); }
    std::size_t bytes() const { return m_px.size(); }
    double coverage() const { return static_cast<double>(m_painted) / (static_cast<double>(m_w) * m_h); }
    // The share of `span`-byte stretches holding at least one painted pixel:
    // with 32, what the fast path cannot skip; with 64, the cache lines of
    // the destination it has to bring in.
    double busyShare(std::size_t span) const {
        std::size_t busy = 0, all = 0;
        for (std::size_t i = 0; i < m_px.size(); i += span, ++all) {
            bool any = false;
            for (std::size_t j = i; j < std::min(i + span, m_px.size()) && !any; j += kPixelBytes) any = hasColour(&m_px[j]);
            busy += any;
        }
        return all ? static_cast<double>(busy) / all : 0;
    }

    // Paints (or clears) the rectangle [x0, x0 + w) x [y0, y0 + h), clipped.
    void fill(int x0, int y0, int w, int h, const Rgb& c, bool paint = true) {
        const int x1 = std::min(m_w, x0 + w), y1 = std::min(m_h, y0 + h);
        x0 = std::max(0, x0);
        y0 = std::max(0, y0);
        for (int y = y0; y < y1; ++y) {
            unsigned char* p = m_px.data() + (static_cast<std::size_t>(y) * m_w + x0) * kPixelBytes;
            for (int x = x0; x < x1; ++x, p += kPixelBytes) {
                const bool was = hasColour(p);
                if (paint) {
                    p[0] = c[0], p[1] = c[1], p[2] = c[2];
                    m_painted += !was;
                } else {
                    p[0] = p[1] = p[2] = 0;
                    m_painted -= was;
                }
                p[3] = 255;
            }
        }
    }

    // A disc of radius r about (cx, cy), painted or cleared.
    void disc(int cx, int cy, int r, const Rgb& c, bool paint) {
        for (int dy = -r; dy <= r; ++dy) {
            int half = 0;
            while ((half + 1) * (half + 1) + dy * dy <= r * r) ++half;
            fill(cx - half, cy + dy, 2 * half + 1, 1, c, paint);
        }
    }

private:
    int m_w, m_h;
    std::vector<unsigned char> m_px;
    long m_painted = 0;
};

// A signal layer: mostly horizontal traces of a few pixels' width and
// varying length, some vertical ones, and square pads, placed at random
// until about `coverage` of the pixels are painted. Long empty stretches
// remain between them, as on a real board seen whole.
LayerImage signalLayer(int w, int h, const Rgb& colour, unsigned seed, double coverage = kSparseCoverage) {
    LayerImage img(w, h);
    std::mt19937 rng(seed);
    const double k = w / 1920.0;  // pixels per full-HD pixel
    auto uniform = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    auto scaled = [&](int v) { return std::max(1, static_cast<int>(v * k + 0.5)); };
    while (img.coverage() < coverage) {
        const int kind = uniform(0, 99);
        const int x = uniform(0, w - 1), y = uniform(0, h - 1);
        if (kind < 65) {  // horizontal trace
            img.fill(x, y, scaled(uniform(30, 600)), scaled(uniform(2, 5)), colour);
        } else if (kind < 80) {  // vertical trace
            img.fill(x, y, scaled(uniform(2, 4)), scaled(uniform(20, 250)), colour);
        } else {  // pad
            const int side = scaled(uniform(4, 16));
            img.fill(x, y, side, side, colour);
        }
    }
    return img;
}

// A plane layer: a copper pour over the whole image, opened by round and
// square clearances around pads and by horizontal isolation gaps along
// traces, until about `coverage` of the pixels are still painted.
LayerImage planeLayer(int w, int h, const Rgb& colour, unsigned seed, double coverage = kDenseCoverage) {
    LayerImage img(w, h);
    img.fill(0, 0, w, h, colour);
    std::mt19937 rng(seed);
    const double k = w / 1920.0;
    auto uniform = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    auto scaled = [&](int v) { return std::max(1, static_cast<int>(v * k + 0.5)); };
    while (img.coverage() > coverage) {
        const int kind = uniform(0, 99);
        const int x = uniform(0, w - 1), y = uniform(0, h - 1);
        if (kind < 45) {  // clearance around a round pad or via
            img.disc(x, y, scaled(uniform(4, 14)), colour, false);
        } else if (kind < 60) {  // clearance around a square pad
            const int side = scaled(uniform(8, 28));
            img.fill(x, y, side, side, colour, false);
        } else {  // isolation along a trace
            img.fill(x, y, scaled(uniform(50, 400)), scaled(uniform(3, 6)), colour, false);
        }
    }
    return img;
}

// Everything one size needs, built once: the images to blend and the
// composition they are blended into (a cleared canvas that already holds
// the top layer in red and an inner signal layer in green, composed by the
// reference rule).
struct Scene {
    LayerImage sparse;
    LayerImage dense;
    std::vector<unsigned char> composition;

    Scene(int w, int h)
        : sparse(signalLayer(w, h, kBlue, 3)), dense(planeLayer(w, h, kOlive, 4)), composition(clearedCanvas(w, h)) {
        const LayerImage top = signalLayer(w, h, kRed, 1);
        const LayerImage inner = signalLayer(w, h, kGreen, 2);
        blendScalar(composition.data(), top.data(), top.bytes());
        blendScalar(composition.data(), inner.data(), inner.bytes());
    }
};

const Scene& scene(int w, int h) {
    static std::map<std::pair<int, int>, std::unique_ptr<Scene>> scenes;
    std::unique_ptr<Scene>& s = scenes[{w, h}];
    if (!s) s = std::make_unique<Scene>(w, h);
    return *s;
}

double seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

// The yardstick: one memcpy of a w x h x 4 byte buffer.
void BM_Memcpy(benchmark::State& state) {
    const std::size_t bytes = bufferBytes(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    std::vector<unsigned char> from(bytes, 1), to(bytes, 0);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

// Blends `layer` into a fresh copy of the scene's composition per iteration.
//
// The blend writes its destination, so every iteration needs the
// composition as it was. Restoring it costs a memcpy of the whole buffer,
// as much as a large part of the blend itself, so it must stay out of the
// measured time. Two destinations are kept: both are restored from the
// pristine composition while timing is paused, then blended into one after
// the other. Pausing costs well under a microsecond on this machine, paid
// once per two blends of a few hundred microseconds or more, so it adds
// far less than the run-to-run noise.
//
// With four buffers of the composition's size in turn (pristine, two
// destinations, the layer image), and a large memcpy writing past the cache,
// the blend meets its destination in memory rather than in cache: the
// likelier state in draw() too, where the kernel renders a whole layer
// between two blends.
//
// The restoring copies are a memcpy of the same buffer size as the yardstick;
// they are timed with the same clock as the blends, interleaved with them,
// which gives "x_memcpy" (blend time / memcpy time) from one process in one
// run, whatever else the shared machine is doing meanwhile. That copy meets
// the same memory state as the blend; BM_Memcpy, two buffers copied over and
// over, stays in cache at full HD, so the ratio against its row is the
// stricter of the two. "busy32" and "busy64" tell how much of the image the
// fast path cannot skip.
template <class BlendFn>
void blendInto(benchmark::State& state, const LayerImage& layer, BlendFn&& fn) {
    const Scene& s = scene(layer.width(), layer.height());
    const std::size_t bytes = layer.bytes();
    std::array<std::vector<unsigned char>, 2> dst{std::vector<unsigned char>(bytes), std::vector<unsigned char>(bytes)};
    Clock::duration copyTime{}, blendTime{};
    long copies = 0, blends = 0;
    std::size_t next = dst.size();  // both need restoring before the first blend
    for (auto _ : state) {
        if (next == dst.size()) {
            state.PauseTiming();
            for (std::vector<unsigned char>& d : dst) {
                const Clock::time_point t0 = Clock::now();
                std::memcpy(d.data(), s.composition.data(), bytes);
                benchmark::ClobberMemory();
                copyTime += Clock::now() - t0;
                ++copies;
            }
            next = 0;
            state.ResumeTiming();
        }
        unsigned char* d = dst[next++].data();
        const Clock::time_point t0 = Clock::now();
        fn(d, layer.data(), bytes);
        benchmark::DoNotOptimize(d);
        benchmark::ClobberMemory();
        blendTime += Clock::now() - t0;
        ++blends;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
    if (copies > 0 && blends > 0) {
        const double copyMs = seconds(copyTime) * 1e3 / copies;
        state.counters["memcpy_ms"] = copyMs;
        state.counters["x_memcpy"] = seconds(blendTime) * 1e3 / blends / copyMs;
    }
    state.counters["coverage"] = layer.coverage();
    state.counters["busy32"] = layer.busyShare(32);
    state.counters["busy64"] = layer.busyShare(64);
}

void BM_BlendSparse(benchmark::State& state) {
    const Scene& s = scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    blendInto(state, s.sparse, blend);
}

void BM_BlendDense(benchmark::State& state) {
    const Scene& s = scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    blendInto(state, s.dense, blend);
}

// The reference rule, pixel by pixel, on the dense image.
void BM_BlendScalar(benchmark::State& state) {
    const Scene& s = scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    blendInto(state, s.dense, blendScalar);
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Memcpy)->Apply(sizes);
BENCHMARK(BM_BlendSparse)->Apply(sizes);
BENCHMARK(BM_BlendDense)->Apply(sizes);
BENCHMARK(BM_BlendScalar)->Args({1920, 1080})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
