// The operations of vector.h on x86-64: one text for SSE2 and SSSE3 and for AVX2, whose names
// differ in their prefix.
#ifndef SCANTK_IMAGING_VECTOR_X86_H_
#define SCANTK_IMAGING_VECTOR_X86_H_

#include <immintrin.h>

#if SCANTK_VECTOR_LANES == 2
#define SCANTK_VECTOR SCANTK_TARGET_AVX2
#define SCANTK_SHUFFLE SCANTK_TARGET_AVX2
#define SCANTK_PREFIX(name) _mm256_##name
#define SCANTK_WHOLE(name) _mm256_##name##_si256
#else
#define SCANTK_VECTOR
#define SCANTK_SHUFFLE __attribute__((target("ssse3")))
#define SCANTK_PREFIX(name) _mm_##name
#define SCANTK_WHOLE(name) _mm_##name##_si128
#endif

// An operation of two vectors, of one and a constant, of two that SSE2 does not have.
#define SCANTK_OP2(Name, intrinsic)                                                     \
  SCANTK_VECTOR __attribute__((always_inline)) inline Vector Name(Vector a, Vector b) { \
    return SCANTK_PREFIX(intrinsic)(a, b);                                              \
  }
#define SCANTK_SHIFT(Name, intrinsic)                                         \
  template <int kBits>                                                        \
  SCANTK_VECTOR __attribute__((always_inline)) inline Vector Name(Vector a) { \
    return SCANTK_PREFIX(intrinsic)(a, kBits);                                \
  }
#define SCANTK_SHUFFLE_OP2(Name, intrinsic)                                              \
  SCANTK_SHUFFLE __attribute__((always_inline)) inline Vector Name(Vector a, Vector b) { \
    return SCANTK_PREFIX(intrinsic)(a, b);                                               \
  }

namespace scantk {
namespace {

#if SCANTK_VECTOR_LANES == 2
using Vector = __m256i;
#else
using Vector = __m128i;
#endif

SCANTK_OP2(Add8, add_epi8)
SCANTK_OP2(Sub8, sub_epi8)
SCANTK_OP2(Add16, add_epi16)
SCANTK_OP2(Sub16, sub_epi16)
SCANTK_OP2(AddSaturated16, adds_epi16)
SCANTK_OP2(Add32, add_epi32)
SCANTK_OP2(Sub32, sub_epi32)
SCANTK_OP2(MulAdd, madd_epi16)      // 32-bit sums of the products of 16-bit pairs
SCANTK_OP2(MulHigh16, mulhi_epi16)  // the upper halves of the products
SCANTK_OP2(MulHighUnsigned16, mulhi_epu16)
SCANTK_OP2(Pack32, packs_epi32)           // to 16 bits, saturated; the first vector's first
SCANTK_OP2(Pack16, packs_epi16)           // to signed bytes
SCANTK_OP2(PackUnsigned16, packus_epi16)  // to bytes 0 to 255
SCANTK_OP2(UnpackLow8, unpacklo_epi8)     // in turn, from the lower halves of both
SCANTK_OP2(UnpackHigh8, unpackhi_epi8)
SCANTK_OP2(UnpackLow16, unpacklo_epi16)
SCANTK_OP2(UnpackHigh16, unpackhi_epi16)
SCANTK_OP2(UnpackLow32, unpacklo_epi32)
SCANTK_OP2(UnpackHigh32, unpackhi_epi32)
SCANTK_OP2(UnpackLow64, unpacklo_epi64)
SCANTK_OP2(UnpackHigh64, unpackhi_epi64)
SCANTK_SHIFT(Left16, slli_epi16)
SCANTK_SHIFT(Right16, srli_epi16)
SCANTK_SHIFT(RightSigned16, srai_epi16)
SCANTK_SHIFT(RightSigned32, srai_epi32)
SCANTK_SHUFFLE_OP2(Shuffle, shuffle_epi8)     // byte i is a[b[i]], 0 where b[i] is 0x80
SCANTK_SHUFFLE_OP2(MulRound16, mulhrs_epi16)  // (a b + 2^14) >> 15
SCANTK_SHUFFLE_OP2(WithSign16, sign_epi16)    // a, negated where b is negative, 0 where it is 0

SCANTK_SHUFFLE __attribute__((always_inline)) inline Vector Absolute16(Vector a) {
  return SCANTK_PREFIX(abs_epi16)(a);
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector And(Vector a, Vector b) {
  return SCANTK_WHOLE(and)(a, b);
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Or(Vector a, Vector b) {
  return SCANTK_WHOLE(or)(a, b);
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Zero() {
  return SCANTK_WHOLE(setzero)();
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Set8(int value) {
  return SCANTK_PREFIX(set1_epi8)(static_cast<char>(value));
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Set16(int value) {
  return SCANTK_PREFIX(set1_epi16)(static_cast<int16_t>(value));
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Set32(uint32_t value) {
  return SCANTK_PREFIX(set1_epi32)(static_cast<int>(value));
}
// The even and the odd 32-bit words of both.
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Evens32(Vector a, Vector b) {
#if SCANTK_VECTOR_LANES == 2
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
#else
  return _mm_castps_si128(
      _mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
#endif
}
SCANTK_VECTOR __attribute__((always_inline)) inline Vector Odds32(Vector a, Vector b) {
#if SCANTK_VECTOR_LANES == 2
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), _MM_SHUFFLE(3, 1, 3, 1)));
#else
  return _mm_castps_si128(
      _mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), _MM_SHUFFLE(3, 1, 3, 1)));
#endif
}

SCANTK_VECTOR __attribute__((always_inline)) inline Vector Load(const void* from) {
  return SCANTK_WHOLE(loadu)(static_cast<const Vector*>(from));
}
SCANTK_VECTOR __attribute__((always_inline)) inline void Store(void* to, Vector value) {
  SCANTK_WHOLE(storeu)(static_cast<Vector*>(to), value);
}

// Lane by lane: 16 bytes from each place, or to it; with one lane the second place is left alone.
SCANTK_VECTOR __attribute__((always_inline)) inline Vector LoadLanes(const void* first,
                                                                     const void* second) {
#if SCANTK_VECTOR_LANES == 2
  return _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(static_cast<const __m128i*>(first))),
      _mm_loadu_si128(static_cast<const __m128i*>(second)), 1);
#else
  (void)second;
  return Load(first);
#endif
}
SCANTK_VECTOR __attribute__((always_inline)) inline void StoreLanes(Vector value, void* first,
                                                                    void* second) {
#if SCANTK_VECTOR_LANES == 2
  _mm_storeu_si128(static_cast<__m128i*>(first), _mm256_castsi256_si128(value));
  _mm_storeu_si128(static_cast<__m128i*>(second), _mm256_extracti128_si256(value, 1));
#else
  (void)second;
  Store(first, value);
#endif
}
// Eight bytes for the lower half of each lane, one lane's behind the other's.
SCANTK_VECTOR __attribute__((always_inline)) inline Vector LoadHalfLanes(const void* from) {
#if SCANTK_VECTOR_LANES == 2
  const __m128i bytes = _mm_loadu_si128(static_cast<const __m128i*>(from));
  return _mm256_permute4x64_epi64(_mm256_castsi128_si256(bytes), 0x50);
#else
  return _mm_loadl_epi64(static_cast<const __m128i*>(from));
#endif
}
// The lower and the upper half of lane `kLane`.
template <int kLane>
SCANTK_VECTOR __attribute__((always_inline)) inline void StoreHalves(Vector value, void* lower,
                                                                     void* upper) {
#if SCANTK_VECTOR_LANES == 2
  const __m128i lane = _mm256_extracti128_si256(value, kLane);
#else
  const __m128i lane = value;
#endif
  _mm_storel_epi64(static_cast<__m128i*>(lower), lane);
  _mm_storeh_pd(static_cast<double*>(upper), _mm_castsi128_pd(lane));
}

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_VECTOR_X86_H_
