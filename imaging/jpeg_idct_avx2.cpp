// The transform for two blocks at a time, one in each 128-bit lane; nothing crosses the lanes.
//
// Coefficients stand in pairs, so that one multiply-add makes a product sum of two, and a column
// pass leaves pairs for the row pass. In memory a block is eight vectors of four pairs:
//   rows (0,2) of columns 0 2 1 3, rows (1,3) of the same; then rows (4,6) and (5,7) of the same;
//   then all four for columns 4 6 5 7.
// The upper left 4x4 thus is the first 32 bytes. A pass is a sum of products with the constants of
// the plain transform multiplied out, which is the same number modulo 2^32.
#include <algorithm>
#include <iterator>

#include "imaging/cpu.h"
#include "imaging/jpeg_idct.h"

#if SCANTK_X86
#include <immintrin.h>

#define SCANTK_INLINE_AVX2 SCANTK_TARGET_AVX2 __attribute__((always_inline)) inline

namespace scantk {
namespace {

// What the plain transform's additions make of its constants. By mathematics some of them are
// equal; rounded, and added up on different ways, they are not.
constexpr int kOne = 8192;
constexpr int kEven2 = 10703, kEven6 = 4433;            // 4433 + 6270, 4433
constexpr int kOdd1[4] = {11363, 9633, 6437, 2260};     // by which values 1, 3, 5 and 7 go into
constexpr int kOdd3[4] = {9633, -2259, -11362, -6436};  // results 0 and 7, 1 and 6, ...
constexpr int kOdd5[4] = {6437, -11362, 2261, 9633};
constexpr int kOdd7[4] = {2260, -6436, 9633, -11363};

struct Pairs {
  __m256i v02, v13, v46, v57;
};

struct Eight {
  __m256i v[8];
};

SCANTK_INLINE_AVX2 __m256i Constants(int low, int high) {
  return _mm256_set1_epi32(
      static_cast<int>(static_cast<uint32_t>(low & 0xFFFF) | static_cast<uint32_t>(high) << 16));
}

SCANTK_INLINE_AVX2 __m256i MulAdd(__m256i pairs, int low, int high) {
  return _mm256_madd_epi16(pairs, Constants(low, high));
}

template <bool kSmall>
SCANTK_INLINE_AVX2 __m256i Sum(__m256i first, int a, int b, __m256i second, int c, int d) {
  const __m256i sum = MulAdd(first, a, b);
  return kSmall ? sum : _mm256_add_epi32(sum, MulAdd(second, c, d));
}

// One dimension for four columns (or rows) of both blocks. Without the rounding of the row pass,
// which its caller has put into value 0.
template <bool kSmall, int kShift, bool kRound>
SCANTK_INLINE_AVX2 Eight Pass(const Pairs& in) {
  __m256i even[4] = {Sum<kSmall>(in.v02, kOne, kEven2, in.v46, kOne, kEven6),
                     Sum<kSmall>(in.v02, kOne, kEven6, in.v46, -kOne, -kEven2 - 1),
                     Sum<kSmall>(in.v02, kOne, -kEven6, in.v46, -kOne, kEven2 + 1),
                     Sum<kSmall>(in.v02, kOne, -kEven2, in.v46, kOne, -kEven6)};
  const __m256i odd[4] = {Sum<kSmall>(in.v13, kOdd1[0], kOdd3[0], in.v57, kOdd5[0], kOdd7[0]),
                          Sum<kSmall>(in.v13, kOdd1[1], kOdd3[1], in.v57, kOdd5[1], kOdd7[1]),
                          Sum<kSmall>(in.v13, kOdd1[2], kOdd3[2], in.v57, kOdd5[2], kOdd7[2]),
                          Sum<kSmall>(in.v13, kOdd1[3], kOdd3[3], in.v57, kOdd5[3], kOdd7[3])};
  Eight out;
  for (int i = 0; i < 4; ++i) {
    if (kRound) even[i] = _mm256_add_epi32(even[i], _mm256_set1_epi32(1 << (kShift - 1)));
    out.v[i] = _mm256_srai_epi32(_mm256_add_epi32(even[i], odd[i]), kShift);
    out.v[7 - i] = _mm256_srai_epi32(_mm256_sub_epi32(even[i], odd[i]), kShift);
  }
  return out;
}

SCANTK_INLINE_AVX2 __m256i Load(const int16_t* a, const int16_t* b, int vector) {
  const __m128i* from_a = reinterpret_cast<const __m128i*>(a) + vector;
  const __m128i* from_b = reinterpret_cast<const __m128i*>(b) + vector;
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_load_si128(from_a)),
                                 _mm_load_si128(from_b), 1);
}

SCANTK_INLINE_AVX2 __m256i Evens(__m256i a, __m256i b) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
}

SCANTK_INLINE_AVX2 __m256i Odds(__m256i a, __m256i b) {
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), _MM_SHUFFLE(3, 1, 3, 1)));
}

// Four rows of four pairs become the four columns.
SCANTK_INLINE_AVX2 Pairs Transposed(__m256i r0, __m256i r1, __m256i r2, __m256i r3) {
  const __m256i a = _mm256_unpacklo_epi32(r0, r1);
  const __m256i b = _mm256_unpacklo_epi32(r2, r3);
  const __m256i c = _mm256_unpackhi_epi32(r0, r1);
  const __m256i d = _mm256_unpackhi_epi32(r2, r3);
  return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b), _mm256_unpacklo_epi64(c, d),
          _mm256_unpackhi_epi64(c, d)};
}

// The column pass: rows 0 to 3 in `upper`, 4 to 7 in `lower`.
template <bool kSmall>
SCANTK_INLINE_AVX2 void Columns(const int16_t* a, const int16_t* b, Pairs& upper, Pairs& lower) {
  const __m256i zero = _mm256_setzero_si256();
  if (kSmall) {
    const Eight r = Pass<true, 11, true>({Load(a, b, 0), Load(a, b, 1), zero, zero});
    const __m256i r01 = _mm256_packs_epi32(r.v[0], r.v[1]);
    const __m256i r23 = _mm256_packs_epi32(r.v[2], r.v[3]);
    const __m256i r45 = _mm256_packs_epi32(r.v[4], r.v[5]);
    const __m256i r67 = _mm256_packs_epi32(r.v[6], r.v[7]);
    upper = {Evens(r01, r23), Odds(r01, r23), zero, zero};
    lower = {Evens(r45, r67), Odds(r45, r67), zero, zero};
    return;
  }
  const Eight left =
      Pass<false, 11, true>({Load(a, b, 0), Load(a, b, 1), Load(a, b, 2), Load(a, b, 3)});
  const Eight right =
      Pass<false, 11, true>({Load(a, b, 4), Load(a, b, 5), Load(a, b, 6), Load(a, b, 7)});
  __m256i r[8];
  for (int i = 0; i < 8; ++i) r[i] = _mm256_packs_epi32(left.v[i], right.v[i]);
  upper = Transposed(r[0], r[1], r[2], r[3]);
  lower = Transposed(r[4], r[5], r[6], r[7]);
}

// Writes two rows of each block.
SCANTK_INLINE_AVX2 void Store(__m256i rows, const JpegTarget& a, const JpegTarget& b, int y) {
  const __m128i low = _mm256_castsi256_si128(rows);
  const __m128i high = _mm256_extracti128_si256(rows, 1);
  uint8_t* to_a = a.samples + y * a.stride;
  uint8_t* to_b = b.samples + y * b.stride;
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to_a), low);
  _mm_storeh_pd(reinterpret_cast<double*>(to_a + a.stride), _mm_castsi128_pd(low));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to_b), high);
  _mm_storeh_pd(reinterpret_cast<double*>(to_b + b.stride), _mm_castsi128_pd(high));
}

template <bool kSmall>
SCANTK_INLINE_AVX2 void TransformTwo(const int16_t* a, const int16_t* b, const JpegTarget& to_a,
                                     const JpegTarget& to_b) {
  Pairs upper, lower;
  Columns<kSmall>(a, b, upper, lower);
  const __m256i rounding = Constants(16, 0);
  upper.v02 = _mm256_adds_epi16(upper.v02, rounding);
  lower.v02 = _mm256_adds_epi16(lower.v02, rounding);
  const Eight top = Pass<kSmall, 18, false>(upper);
  const Eight bottom = Pass<kSmall, 18, false>(lower);
  __m256i c[8];
  for (int i = 0; i < 8; ++i) c[i] = _mm256_packs_epi32(top.v[i], bottom.v[i]);

  // Bytes, columns 0 and 2, 1 and 3, ...; then rows out of columns.
  const __m256i c02 = _mm256_packs_epi16(c[0], c[2]);
  const __m256i c13 = _mm256_packs_epi16(c[1], c[3]);
  const __m256i c46 = _mm256_packs_epi16(c[4], c[6]);
  const __m256i c57 = _mm256_packs_epi16(c[5], c[7]);
  const __m256i c01 = _mm256_unpacklo_epi8(c02, c13);
  const __m256i c23 = _mm256_unpackhi_epi8(c02, c13);
  const __m256i c45 = _mm256_unpacklo_epi8(c46, c57);
  const __m256i c67 = _mm256_unpackhi_epi8(c46, c57);
  const __m256i left_top = _mm256_unpacklo_epi16(c01, c23);
  const __m256i left_bottom = _mm256_unpackhi_epi16(c01, c23);
  const __m256i right_top = _mm256_unpacklo_epi16(c45, c67);
  const __m256i right_bottom = _mm256_unpackhi_epi16(c45, c67);
  const __m256i middle = _mm256_set1_epi8(-128);  // added to a signed byte, it makes a sample
  Store(_mm256_add_epi8(_mm256_unpacklo_epi32(left_top, right_top), middle), to_a, to_b, 0);
  Store(_mm256_add_epi8(_mm256_unpackhi_epi32(left_top, right_top), middle), to_a, to_b, 2);
  Store(_mm256_add_epi8(_mm256_unpacklo_epi32(left_bottom, right_bottom), middle), to_a, to_b, 4);
  Store(_mm256_add_epi8(_mm256_unpackhi_epi32(left_bottom, right_bottom), middle), to_a, to_b, 6);
}

template <bool kSmall>
SCANTK_INLINE_AVX2 void Clear(int16_t* block) {
  __m256i* vectors = reinterpret_cast<__m256i*>(block);
  for (int i = 0; i < (kSmall ? 1 : 4); ++i) {
    _mm256_store_si256(vectors + i, _mm256_setzero_si256());
  }
}

template <bool kSmall>
SCANTK_INLINE_AVX2 void RunPairs(JpegBlockQueue& queue) {
  const uint8_t* places = queue.places[kSmall];
  for (int i = 0; i < queue.counts[kSmall]; i += 2) {
    int16_t* a = queue.coefficients[places[i]];
    int16_t* b = queue.coefficients[places[i + 1]];
    TransformTwo<kSmall>(a, b, queue.targets[places[i]], queue.targets[places[i + 1]]);
    Clear<kSmall>(a);
    Clear<kSmall>(b);
  }
}

SCANTK_TARGET_AVX2 void RunAvx2(JpegBlockQueue& queue) {
  int& large = queue.counts[0];
  int& small = queue.counts[1];
  // An odd small block becomes a large one's partner, an odd large one its own.
  if (small % 2 != 0) queue.places[0][large++] = queue.places[1][--small];
  if (large % 2 != 0) queue.places[0][large] = queue.places[0][large - 1];
  RunPairs<false>(queue);
  RunPairs<true>(queue);
  large = small = queue.used = 0;
}

struct VectorOrder {
  VectorOrder() {
    std::fill(std::begin(places), std::end(places), uint8_t{JpegBlockQueue::kScratch});
    for (int i = 0; i < 64; ++i) {
      const int row = kJpegNaturalOrder[i] / 8;
      const int column = kJpegNaturalOrder[i] % 8;
      const int vector = column / 4 * 4 + row / 4 * 2 + row % 2;
      const int pair = column % 4 / 2 + column % 2 * 2;
      places[i] = static_cast<uint8_t>(8 * vector + 2 * pair + row % 4 / 2);
    }
  }
  uint8_t places[128];
};

}  // namespace

JpegTransformKind Avx2JpegTransform() {
  static const VectorOrder order;
  return HasAvx2() ? JpegTransformKind{RunAvx2, order.places, 0x30} : JpegTransformKind{};
}

}  // namespace scantk

#else

namespace scantk {

JpegTransformKind Avx2JpegTransform() {
  return {};
}

}  // namespace scantk

#endif
