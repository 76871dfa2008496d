#include "imaging/blend.h"

#include <cstring>

#include "imaging/cpu.h"

#if SCANTK_X86
#include <immintrin.h>
#endif

namespace scantk {
namespace {

template <int kEighths>
uint8_t Blend(unsigned a, unsigned b) {
  unsigned sum = 0;
  if constexpr (kEighths == 1) sum = (a >> 3) + b - (b >> 3);
  if constexpr (kEighths == 2) sum = (a >> 2) + b - (b >> 2);
  if constexpr (kEighths == 3) sum = (a >> 2) + (a >> 3) + (b >> 1) + (b >> 3);
  if constexpr (kEighths == 4) sum = (a >> 1) + (b >> 1);
  if constexpr (kEighths == 5) sum = (a >> 1) + (a >> 3) + (b >> 2) + (b >> 3);
  if constexpr (kEighths == 6) sum = a - (a >> 2) + (b >> 2);
  if constexpr (kEighths == 7) sum = a - (a >> 3) + (b >> 3);
  return static_cast<uint8_t>(sum);
}

template <int kEighths>
void BlendBytes(const uint8_t* a, const uint8_t* b, uint8_t* output, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) output[i] = Blend<kEighths>(a[i], b[i]);
}

#if SCANTK_X86

template <int kBits>
SCANTK_TARGET_AVX2 inline __m256i Shift(__m256i bytes) {
  return _mm256_and_si256(_mm256_srli_epi16(bytes, kBits), _mm256_set1_epi8(0xFF >> kBits));
}

SCANTK_TARGET_AVX2 inline __m256i Add(__m256i x, __m256i y) {
  return _mm256_add_epi8(x, y);
}

SCANTK_TARGET_AVX2 inline __m256i Less(__m256i x, __m256i y) {
  return _mm256_sub_epi8(x, y);
}

template <int kEighths>
SCANTK_TARGET_AVX2 inline __m256i Blend(__m256i a, __m256i b) {
  if constexpr (kEighths == 1) return Add(Shift<3>(a), Less(b, Shift<3>(b)));
  if constexpr (kEighths == 2) return Add(Shift<2>(a), Less(b, Shift<2>(b)));
  if constexpr (kEighths == 3) {
    return Add(Add(Shift<2>(a), Shift<3>(a)), Add(Shift<1>(b), Shift<3>(b)));
  }
  if constexpr (kEighths == 4) return Add(Shift<1>(a), Shift<1>(b));
  if constexpr (kEighths == 5) {
    return Add(Add(Shift<1>(a), Shift<3>(a)), Add(Shift<2>(b), Shift<3>(b)));
  }
  if constexpr (kEighths == 6) return Add(Less(a, Shift<2>(a)), Shift<2>(b));
  if constexpr (kEighths == 7) return Add(Less(a, Shift<3>(a)), Shift<3>(b));
}

template <int kEighths>
SCANTK_TARGET_AVX2 void BlendBytesAvx2(const uint8_t* a, const uint8_t* b, uint8_t* output,
                                       size_t bytes) {
  size_t i = 0;
  for (; i + 32 <= bytes; i += 32) {
    const __m256i from_a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + i));
    const __m256i from_b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(output + i), Blend<kEighths>(from_a, from_b));
  }
  BlendBytes<kEighths>(a + i, b + i, output + i, bytes - i);
}

struct Vectorised {
  template <int kEighths>
  static void Run(const uint8_t* a, const uint8_t* b, uint8_t* output, size_t bytes) {
    BlendBytesAvx2<kEighths>(a, b, output, bytes);
  }
};

#endif

struct Plain {
  template <int kEighths>
  static void Run(const uint8_t* a, const uint8_t* b, uint8_t* output, size_t bytes) {
    BlendBytes<kEighths>(a, b, output, bytes);
  }
};

template <class Path>
void BlendRows(const uint8_t* a, const uint8_t* b, int k, uint8_t* output, size_t bytes) {
  switch (k) {
    case 1:
      return Path::template Run<1>(a, b, output, bytes);
    case 2:
      return Path::template Run<2>(a, b, output, bytes);
    case 3:
      return Path::template Run<3>(a, b, output, bytes);
    case 4:
      return Path::template Run<4>(a, b, output, bytes);
    case 5:
      return Path::template Run<5>(a, b, output, bytes);
    case 6:
      return Path::template Run<6>(a, b, output, bytes);
    case 7:
      return Path::template Run<7>(a, b, output, bytes);
    default:
      std::memcpy(output, k <= 0 ? b : a, bytes);
  }
}

}  // namespace

BlendFunction ChooseBlend() {
#if SCANTK_X86
  if (HasAvx2()) return BlendRows<Vectorised>;
#endif
  return BlendRows<Plain>;
}

}  // namespace scantk
