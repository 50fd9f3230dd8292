#include "blend.h"

#include <immintrin.h>

#include <cstring>

namespace TOLVA {
namespace GRAPHIC {
namespace {

constexpr int kColourBytes = 3;
constexpr int kPixelBytes = 4;

inline unsigned char truncTimes(unsigned char v, double factor) {
    return static_cast<unsigned char>(static_cast<int>(v * factor));
}

inline void blendPixelScalar(unsigned char* d, const unsigned char* s) {
    if (d[0] > 254 && d[1] > 254 && d[2] > 254 && s[0] > 254 && s[1] > 254 && s[2] > 254) return;
    for (int c = 0; c < kColourBytes; ++c) {
        const int sum = d[c] + s[c];
        d[c] = static_cast<unsigned char>(sum < 256 ? sum : 510 - sum);
    }
    const bool dstHasZero = !(d[0] && d[1] && d[2]);
    const bool srcHasColour = s[0] || s[1] || s[2];
    if (!dstHasZero || !srcHasColour) return;
    for (int k = 1; k <= 2; ++k) {
        if (d[k] && d[0]) {
            d[0] = truncTimes(d[0], kDarkenHalf);
            d[k] = truncTimes(d[k], kDarkenMost);
            return;
        }
    }
    if (d[2] && d[1]) {
        d[1] = truncTimes(d[1], kDarkenMost);
        d[2] = truncTimes(d[2], kDarkenHalf);
    }
}

// trunc(v * 0.7) in 16-bit lanes: v * 7 / 10 (the division as a multiply by
// 6554 >> 16, exact for v * 7 <= 1785), minus one where the double product
// falls just below a whole number (90, 170 and 180).
__attribute__((target("avx2"))) inline __m256i times07Epi16(__m256i v) {
    const __m256i tenth = _mm256_mulhi_epu16(_mm256_mullo_epi16(v, _mm256_set1_epi16(7)), _mm256_set1_epi16(6554));
    const __m256i below = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpeq_epi16(v, _mm256_set1_epi16(90)), _mm256_cmpeq_epi16(v, _mm256_set1_epi16(170))),
        _mm256_cmpeq_epi16(v, _mm256_set1_epi16(180)));
    return _mm256_add_epi16(tenth, below);  // the masks are -1
}

__attribute__((target("avx2"))) inline __m256i times07Epi8(__m256i v) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i lo = times07Epi16(_mm256_unpacklo_epi8(v, zero));
    const __m256i hi = times07Epi16(_mm256_unpackhi_epi8(v, zero));
    return _mm256_packus_epi16(lo, hi);
}

// Eight pixels at once; see blendPixelScalar for the rule.
__attribute__((target("avx2"))) inline __m256i blend8(__m256i d, __m256i s) {
    const __m256i colour = _mm256_set1_epi32(0x00FFFFFF);
    const __m256i zero = _mm256_setzero_si256();

    // Sum folded back at 510: a byte that carried becomes 254 - (wrapped sum).
    const __m256i wrapped = _mm256_add_epi8(d, s);
    const __m256i notCarried = _mm256_cmpeq_epi8(_mm256_adds_epu8(d, s), wrapped);
    __m256i out = _mm256_blendv_epi8(_mm256_sub_epi8(_mm256_set1_epi8(char(254)), wrapped), wrapped, notCarried);

    // Darkening needs exactly two non-zero colour bytes under a coloured
    // source; most pixels of a layer pass have one, so test before working.
    const __m256i nonZero = _mm256_andnot_si256(_mm256_cmpeq_epi8(out, zero), colour);
    const __m256i srcBlank = _mm256_cmpeq_epi32(_mm256_and_si256(s, colour), zero);
    const __m256i pairRG = _mm256_andnot_si256(srcBlank, _mm256_cmpeq_epi32(nonZero, _mm256_set1_epi32(0x0000FFFF)));
    const __m256i pairRB = _mm256_andnot_si256(srcBlank, _mm256_cmpeq_epi32(nonZero, _mm256_set1_epi32(0x00FF00FF)));
    const __m256i pairGB = _mm256_andnot_si256(srcBlank, _mm256_cmpeq_epi32(nonZero, _mm256_set1_epi32(0x00FFFF00)));
    const __m256i anyPair = _mm256_or_si256(_mm256_or_si256(pairRG, pairRB), pairGB);
    if (!_mm256_testz_si256(anyPair, anyPair)) {
        const __m256i byte0 = _mm256_set1_epi32(0x000000FF);
        const __m256i byte1 = _mm256_set1_epi32(0x0000FF00);
        const __m256i byte2 = _mm256_set1_epi32(0x00FF0000);
        const __m256i halfMask = _mm256_or_si256(_mm256_and_si256(_mm256_or_si256(pairRG, pairRB), byte0),
                                                 _mm256_and_si256(pairGB, byte2));
        const __m256i mostMask = _mm256_or_si256(_mm256_and_si256(_mm256_or_si256(pairRG, pairGB), byte1),
                                                 _mm256_and_si256(pairRB, byte2));
        const __m256i half = _mm256_and_si256(_mm256_srli_epi16(out, 1), _mm256_set1_epi8(0x7F));
        const __m256i most = times07Epi8(out);
        out = _mm256_blendv_epi8(out, half, halfMask);
        out = _mm256_blendv_epi8(out, most, mostMask);
    }

    // White on white keeps the destination, and alpha is never touched.
    const __m256i white = _mm256_and_si256(_mm256_cmpeq_epi32(_mm256_and_si256(d, colour), colour),
                                           _mm256_cmpeq_epi32(_mm256_and_si256(s, colour), colour));
    const __m256i keep = _mm256_or_si256(white, _mm256_set1_epi32(static_cast<int>(0xFF000000u)));
    return _mm256_blendv_epi8(out, d, keep);
}

constexpr std::size_t kChunk = 32;       // eight pixels
constexpr std::size_t kLine = 64;        // a cache line: two chunks
constexpr std::size_t kBlockLines = 64;  // one bit each in a block mask
constexpr std::size_t kBlock = kLine * kBlockLines;

// The lines of a block whose source has colour, found without branching
// (the pattern of a layer image defeats prediction), then their destination
// prefetched.
__attribute__((target("avx2"))) inline std::uint64_t scanBlock(const unsigned char* s, const unsigned char* d) {
    const __m256i colour = _mm256_set1_epi32(0x00FFFFFF);
    std::uint64_t busy = 0;
    for (std::size_t l = 0; l < kBlockLines; ++l) {
        const __m256i* p = reinterpret_cast<const __m256i*>(s + l * kLine);
        const __m256i v = _mm256_or_si256(_mm256_loadu_si256(p), _mm256_loadu_si256(p + 1));
        busy |= std::uint64_t(!_mm256_testz_si256(v, colour)) << l;
    }
    for (std::uint64_t left = busy; left; left &= left - 1)
        _mm_prefetch(reinterpret_cast<const char*>(d + __builtin_ctzll(left) * kLine), _MM_HINT_T0);
    return busy;
}

// Blends the busy lines; a chunk without colour in a busy line comes out as
// it went in, so both chunks of a line are blended alike.
__attribute__((target("avx2"))) inline void blendBlock(unsigned char* d, const unsigned char* s, std::uint64_t busy) {
    while (busy) {
        const std::size_t l = static_cast<std::size_t>(__builtin_ctzll(busy));
        busy &= busy - 1;
        __m256i* dp = reinterpret_cast<__m256i*>(d + l * kLine);
        const __m256i* sp = reinterpret_cast<const __m256i*>(s + l * kLine);
        _mm256_storeu_si256(dp, blend8(_mm256_loadu_si256(dp), _mm256_loadu_si256(sp)));
        _mm256_storeu_si256(dp + 1, blend8(_mm256_loadu_si256(dp + 1), _mm256_loadu_si256(sp + 1)));
    }
}

}  // namespace

void blendScalar(unsigned char* dst, const unsigned char* src, std::size_t bytes) {
    for (std::size_t i = 0; i + kPixelBytes <= bytes; i += kPixelBytes) blendPixelScalar(dst + i, src + i);
}

bool hasAvx2() {
    static const bool supported = __builtin_cpu_supports("avx2");
    return supported;
}

// Works through the buffer in blocks of 64 cache lines, scanning one block ahead
// of the one it blends: the scan finds the chunks with colour and prefetches
// their destination, so the misses of a sparse layer overlap with the work on
// the block before instead of stalling one after the other.
__attribute__((target("avx2"))) void blendAvx2(unsigned char* dst, const unsigned char* src, std::size_t bytes) {
    const std::size_t blocks = bytes / kBlock;
    std::uint64_t next = blocks ? scanBlock(src, dst) : 0;
    for (std::size_t b = 0; b < blocks; ++b) {
        const std::uint64_t busy = next;
        if (b + 1 < blocks) next = scanBlock(src + (b + 1) * kBlock, dst + (b + 1) * kBlock);
        blendBlock(dst + b * kBlock, src + b * kBlock, busy);
    }
    std::size_t i = blocks * kBlock;
    const __m256i colour = _mm256_set1_epi32(0x00FFFFFF);
    for (; i + kChunk <= bytes; i += kChunk) {
        const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
        if (_mm256_testz_si256(s, colour)) continue;
        const __m256i d = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(dst + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), blend8(d, s));
    }
    blendScalar(dst + i, src + i, bytes - i);
}

void blend(unsigned char* dst, const unsigned char* src, std::size_t bytes) {
    if (hasAvx2())
        blendAvx2(dst, src, bytes);
    else
        blendScalar(dst, src, bytes);
}

void profileOverlayScalar(unsigned char* dst, const unsigned char* src, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; ++i)
        if (src[i]) dst[i] = 255;
}

void profileOverlay(unsigned char* dst, const unsigned char* src, std::size_t bytes) {
    // Sixteen bytes a step: compilers leave the byte loop scalar at -O2, and
    // this pass runs over the whole window on every redraw.
    std::size_t i = 0;
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= bytes; i += 16) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i));
        const __m128i lit = _mm_andnot_si128(_mm_cmpeq_epi8(s, zero), _mm_set1_epi8(-1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_or_si128(d, lit));
    }
    profileOverlayScalar(dst + i, src + i, bytes - i);
}

}  // namespace GRAPHIC
}  // namespace TOLVA
