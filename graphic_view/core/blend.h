#pragma once
// The colour rule that composes layer images, and the profile overlay.
// Pure functions over RGBA8888 byte buffers (dst: the composition, src: the
// kernel canvas); byte 3 of each pixel is never touched by the blend.
#include <cstddef>
#include <cstdint>

namespace TOLVA {
namespace GRAPHIC {

// The overlap factors of the darkening step; C++ doubles, products truncated.
constexpr double kDarkenHalf = 0.5;
constexpr double kDarkenMost = 0.7;

// The reference implementation, written as the rule reads: white on white is
// left alone; each colour byte becomes the sum folded back at 510; a pixel
// left with a zero colour byte under a coloured source is darkened.
void blendScalar(unsigned char* dst, const unsigned char* src, std::size_t bytes);

// The same rule, vectorised with AVX2 when the CPU has it (chosen at run
// time), skipping stretches of source without colour.
void blend(unsigned char* dst, const unsigned char* src, std::size_t bytes);

// The AVX2 path itself; call only when hasAvx2() is true.
void blendAvx2(unsigned char* dst, const unsigned char* src, std::size_t bytes);
bool hasAvx2();

// Every byte whose source byte is non-zero becomes 255 (colour and alpha alike).
void profileOverlayScalar(unsigned char* dst, const unsigned char* src, std::size_t bytes);
void profileOverlay(unsigned char* dst, const unsigned char* src, std::size_t bytes);

}  // namespace GRAPHIC
}  // namespace TOLVA
