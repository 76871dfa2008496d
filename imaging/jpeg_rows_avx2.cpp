// Interleaving 32 pixels at a time: in each lane 16 pixels become three vectors, every one of them
// put together from a shuffle of each plane.
#include "imaging/cpu.h"
#include "imaging/jpeg_rows.h"

#if SCANTK_X86
#include <immintrin.h>

#define SCANTK_INLINE_AVX2 SCANTK_TARGET_AVX2 __attribute__((always_inline)) inline

namespace scantk {
namespace {

// Where the bytes of output vector `part` come from in plane `plane`; 0x80 clears a byte.
struct Masks {
  constexpr explicit Masks(int chroma_step) : bytes() {
    for (int part = 0; part < 3; ++part) {
      for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < 16; ++i) {
          const int at = 16 * part + i;
          const int pixel = at / 3;
          const int source = plane == 0 ? pixel : pixel / chroma_step;
          bytes[part][plane][i] = static_cast<uint8_t>(at % 3 == plane ? source : 0x80);
        }
      }
    }
  }
  alignas(16) uint8_t bytes[3][3][16];
};
constexpr Masks kFullMasks(1);
constexpr Masks kHalfMasks(2);

SCANTK_INLINE_AVX2 __m256i Mask(const uint8_t* bytes) {
  return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(bytes)));
}

// The chroma of 32 pixels.
template <int kChromaStep>
SCANTK_INLINE_AVX2 __m256i LoadChroma(const uint8_t* from) {
  if (kChromaStep == 1) return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
  const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  return _mm256_permute4x64_epi64(_mm256_castsi128_si256(samples), 0x50);
}

template <int kChromaStep>
SCANTK_INLINE_AVX2 void InterleaveBlock(const __m256i masks[3][3], const uint8_t* const* planes,
                                        size_t x, uint8_t* out) {
  const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(planes[0] + x));
  const __m256i b = LoadChroma<kChromaStep>(planes[1] + x / kChromaStep);
  const __m256i c = LoadChroma<kChromaStep>(planes[2] + x / kChromaStep);
  __m128i* const to = reinterpret_cast<__m128i*>(out);
  for (int i = 0; i < 3; ++i) {
    const __m256i both = _mm256_or_si256(
        _mm256_or_si256(_mm256_shuffle_epi8(a, masks[i][0]), _mm256_shuffle_epi8(b, masks[i][1])),
        _mm256_shuffle_epi8(c, masks[i][2]));
    _mm_storeu_si128(to + i, _mm256_castsi256_si128(both));
    _mm_storeu_si128(to + 3 + i, _mm256_extracti128_si256(both, 1));
  }
}

template <int kChromaStep>
SCANTK_INLINE_AVX2 void Interleave(const Masks& from, const uint8_t* const* planes, uint8_t* out,
                                   size_t width) {
  __m256i masks[3][3];
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) masks[i][j] = Mask(from.bytes[i][j]);
  }
  size_t x = 0;
  for (; x + 32 <= width; x += 32) InterleaveBlock<kChromaStep>(masks, planes, x, out + 3 * x);
  if (x == width) return;
  uint8_t rest[96];
  InterleaveBlock<kChromaStep>(masks, planes, x, rest);
  __builtin_memcpy(out + 3 * x, rest, 3 * (width - x));
}

SCANTK_TARGET_AVX2 void InterleaveFull(const uint8_t* const* planes, uint8_t* out, size_t width) {
  Interleave<1>(kFullMasks, planes, out, width);
}

SCANTK_TARGET_AVX2 void InterleaveHalf(const uint8_t* const* planes, uint8_t* out, size_t width) {
  Interleave<2>(kHalfMasks, planes, out, width);
}

}  // namespace

JpegInterleaveKind Avx2JpegInterleave() {
  return HasAvx2() ? JpegInterleaveKind{InterleaveFull, InterleaveHalf} : JpegInterleaveKind{};
}

}  // namespace scantk

#else

namespace scantk {

JpegInterleaveKind Avx2JpegInterleave() {
  return {};
}

}  // namespace scantk

#endif
