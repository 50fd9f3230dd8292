// The colour rule of overlapping layers and the profile overlay; the fast
// path must equal the scalar reference byte for byte.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "core/blend.h"

using namespace TOLVA::GRAPHIC;

namespace {
using Pixel = std::array<unsigned char, 4>;

Pixel blendOne(Pixel dst, const Pixel& src, bool fast) {
    // Fill a whole AVX2 chunk so that the vector path, not its scalar tail, runs.
    std::vector<unsigned char> d(64), s(64);
    for (int i = 0; i < 16; ++i)
        for (int c = 0; c < 4; ++c) {
            d[i * 4 + c] = dst[c];
            s[i * 4 + c] = src[c];
        }
    if (fast) blend(d.data(), s.data(), d.size());
    else blendScalar(d.data(), s.data(), d.size());
    return {d[20], d[21], d[22], d[23]};
}
}  // namespace

TEST(Blend, Rule) {
    struct Case { const char* name; Pixel dst, src, expected; };
    static const Case cases[] = {
        {"red over black", {0, 0, 0, 255}, {255, 0, 0, 255}, {255, 0, 0, 255}},
        {"red over green darkens", {0, 255, 0, 255}, {255, 0, 0, 255}, {127, 178, 0, 255}},
        {"red over red folds to 0", {255, 0, 0, 255}, {255, 0, 0, 255}, {0, 0, 0, 255}},
        {"white over white kept", {255, 255, 255, 255}, {255, 255, 255, 255}, {255, 255, 255, 255}},
        {"white over near white folds", {255, 255, 254, 255}, {255, 255, 255, 255}, {0, 0, 1, 255}},
        {"fold back at 510", {200, 0, 0, 255}, {100, 0, 0, 255}, {210, 0, 0, 255}},
        {"red and blue darken red and blue", {0, 0, 200, 255}, {100, 0, 0, 255}, {50, 0, 140, 255}},
        {"green and blue darken green and blue", {0, 90, 0, 255}, {0, 0, 100, 255}, {0, 62, 50, 255}},
        {"0.7 of 170 truncates below 119", {0, 170, 0, 255}, {0, 0, 10, 255}, {0, 118, 5, 255}},
        {"0.7 of 180 truncates below 126", {0, 180, 0, 255}, {1, 0, 0, 255}, {0, 125, 0, 255}},
        {"half of 181 truncates to 90", {181, 0, 0, 255}, {0, 0, 3, 255}, {90, 0, 2, 255}},
        {"three colours are not darkened", {10, 20, 30, 255}, {1, 1, 1, 0}, {11, 21, 31, 255}},
        {"single colour is not darkened", {0, 0, 0, 255}, {0, 0, 77, 255}, {0, 0, 77, 255}},
        {"colourless source keeps destination", {0, 90, 170, 255}, {0, 0, 0, 255}, {0, 90, 170, 255}},
        {"alpha untouched", {0, 0, 0, 13}, {255, 0, 0, 200}, {255, 0, 0, 13}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(blendOne(c.dst, c.src, false), c.expected) << c.name << " (scalar)";
        EXPECT_EQ(blendOne(c.dst, c.src, true), c.expected) << c.name << " (fast)";
    }
}

TEST(Blend, SeventyPercentIsTheDoubleProduct) {
    // green + blue with green = v: green becomes trunc(v * 0.7).
    for (int v = 1; v < 256; ++v) {
        const Pixel out = blendOne({0, static_cast<unsigned char>(v), 0, 0}, {0, 0, 2, 0}, false);
        EXPECT_EQ(out[1], static_cast<int>(v * 0.7)) << v;
        EXPECT_EQ(blendOne({0, static_cast<unsigned char>(v), 0, 0}, {0, 0, 2, 0}, true), out) << v;
    }
}

TEST(Blend, FastEqualsScalarOnEdgeValues) {
    static constexpr unsigned char kEdges[] = {0, 1, 127, 128, 254, 255};
    std::vector<unsigned char> dst, src;
    for (unsigned char d0 : kEdges)
        for (unsigned char d1 : kEdges)
            for (unsigned char d2 : kEdges)
                for (unsigned char s0 : kEdges)
                    for (unsigned char s1 : kEdges)
                        for (unsigned char s2 : kEdges) {
                            dst.insert(dst.end(), {d0, d1, d2, 77});
                            src.insert(src.end(), {s0, s1, s2, 99});
                        }
    std::vector<unsigned char> scalar = dst, fast = dst;
    blendScalar(scalar.data(), src.data(), src.size());
    blend(fast.data(), src.data(), src.size());
    ASSERT_EQ(scalar.size(), fast.size());
    for (std::size_t i = 0; i < scalar.size(); ++i) ASSERT_EQ(scalar[i], fast[i]) << "byte " << i;
}

TEST(Blend, FastEqualsScalarOnRandomBuffers) {
    std::mt19937 rng(1234);
    // Sparse (mostly empty source) and dense buffers, with a length that
    // leaves a tail for the scalar remainder.
    for (double fill : {0.05, 0.5, 1.0}) {
        const std::size_t bytes = 4 * 100003;
        std::vector<unsigned char> dst(bytes), src(bytes);
        std::uniform_int_distribution<int> byte(0, 255);
        std::bernoulli_distribution painted(fill);
        for (std::size_t i = 0; i < bytes; i += 4) {
            for (int c = 0; c < 4; ++c) dst[i + c] = static_cast<unsigned char>(byte(rng));
            if (painted(rng))
                for (int c = 0; c < 4; ++c) src[i + c] = static_cast<unsigned char>(byte(rng) < 64 ? 255 : byte(rng));
        }
        std::vector<unsigned char> scalar = dst, fast = dst;
        blendScalar(scalar.data(), src.data(), bytes);
        blend(fast.data(), src.data(), bytes);
        EXPECT_EQ(scalar, fast) << "fill " << fill;
    }
}

TEST(Blend, Avx2PathIsTestedWhenAvailable) {
    if (!hasAvx2()) GTEST_SKIP() << "no AVX2 on this CPU";
    std::vector<unsigned char> d(32, 0), s(32, 0);
    s[0] = 255;
    s[5] = 255;
    d[4] = 255;
    blendAvx2(d.data(), s.data(), d.size());
    EXPECT_EQ(d[0], 255);
    EXPECT_EQ(d[4], 127);  // red + green darkened
    EXPECT_EQ(d[5], 178);
}

TEST(Blend, ProfileOverlaySetsEveryPaintedByte) {
    std::vector<unsigned char> dst = {10, 20, 30, 40, 50, 60, 70, 80};
    const std::vector<unsigned char> src = {0, 1, 0, 255, 0, 0, 0, 0};
    std::vector<unsigned char> ref = dst;
    profileOverlay(dst.data(), src.data(), dst.size());
    profileOverlayScalar(ref.data(), src.data(), ref.size());
    EXPECT_EQ(dst, (std::vector<unsigned char>{10, 255, 30, 255, 50, 60, 70, 80}));
    EXPECT_EQ(dst, ref);
}

// Long enough for the wide steps and a tail after them: every byte of the
// profile's colour lights its byte in the picture, and no other byte changes.
TEST(Blend, ProfileOverlayWideStepsMatchScalar) {
    std::vector<unsigned char> dst(16 * 5 + 7), src(dst.size());
    for (std::size_t i = 0; i < dst.size(); ++i) {
        dst[i] = static_cast<unsigned char>(i * 37 % 251);
        src[i] = (i % 3 == 0 || i == dst.size() - 1) ? static_cast<unsigned char>(1 + i % 200) : 0;
    }
    std::vector<unsigned char> ref = dst;
    profileOverlay(dst.data(), src.data(), dst.size());
    profileOverlayScalar(ref.data(), src.data(), ref.size());
    EXPECT_EQ(dst, ref);
    EXPECT_EQ(dst.back(), 255);
    EXPECT_EQ(dst[1], ref[1]);
    EXPECT_EQ(dst[1], 37);
}
