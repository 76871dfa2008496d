// The transform by vectors, one block in each lane; see jpeg_idct.h.
//
// Coefficients stand in pairs, so that one multiply-add makes a product sum of two, and a column
// pass leaves pairs for the row pass. In memory a block is eight vectors of four pairs:
//   rows (0,2) of columns 0 2 1 3, rows (1,3) of the same; then rows (4,6) and (5,7) of the same;
//   then all four for columns 4 6 5 7.
// The upper left 4x4 thus is the first 32 bytes. A pass is a sum of products with the constants of
// the plain transform multiplied out, which is the same number modulo 2^32.
#ifndef SCANTK_IMAGING_JPEG_IDCT_VECTOR_H_
#define SCANTK_IMAGING_JPEG_IDCT_VECTOR_H_

#include "imaging/jpeg_idct.h"
#include "imaging/vector.h"

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
  Vector v02, v13, v46, v57;
};

struct Eight {
  Vector v[8];
};

SCANTK_VECTOR_INLINE Vector Constants(int low, int high) {
  return Set32(static_cast<uint32_t>(low & 0xFFFF) | static_cast<uint32_t>(high) << 16);
}

SCANTK_VECTOR_INLINE Vector MulAdd(Vector pairs, int low, int high) {
  return MulAdd(pairs, Constants(low, high));
}

template <bool kSmall>
SCANTK_VECTOR_INLINE Vector Sum(Vector first, int a, int b, Vector second, int c, int d) {
  const Vector sum = MulAdd(first, a, b);
  return kSmall ? sum : Add32(sum, MulAdd(second, c, d));
}

// One dimension for four columns (or rows) of both blocks. Without the rounding of the row pass,
// which its caller has put into value 0.
template <bool kSmall, int kShift, bool kRound>
SCANTK_VECTOR_INLINE Eight Pass(const Pairs& in) {
  Vector even[4] = {Sum<kSmall>(in.v02, kOne, kEven2, in.v46, kOne, kEven6),
                    Sum<kSmall>(in.v02, kOne, kEven6, in.v46, -kOne, -kEven2 - 1),
                    Sum<kSmall>(in.v02, kOne, -kEven6, in.v46, -kOne, kEven2 + 1),
                    Sum<kSmall>(in.v02, kOne, -kEven2, in.v46, kOne, -kEven6)};
  const Vector odd[4] = {Sum<kSmall>(in.v13, kOdd1[0], kOdd3[0], in.v57, kOdd5[0], kOdd7[0]),
                         Sum<kSmall>(in.v13, kOdd1[1], kOdd3[1], in.v57, kOdd5[1], kOdd7[1]),
                         Sum<kSmall>(in.v13, kOdd1[2], kOdd3[2], in.v57, kOdd5[2], kOdd7[2]),
                         Sum<kSmall>(in.v13, kOdd1[3], kOdd3[3], in.v57, kOdd5[3], kOdd7[3])};
  Eight out;
  for (int i = 0; i < 4; ++i) {
    if (kRound) even[i] = Add32(even[i], Set32(1u << (kShift - 1)));
    out.v[i] = RightSigned32<kShift>(Add32(even[i], odd[i]));
    out.v[7 - i] = RightSigned32<kShift>(Sub32(even[i], odd[i]));
  }
  return out;
}

// Of the blocks of both lanes.
struct Blocks {
  const int16_t* a;
  const int16_t* b;
};

SCANTK_VECTOR_INLINE Vector Load(const Blocks& blocks, int vector) {
  return LoadLanes(blocks.a + 8 * vector, blocks.b + 8 * vector);
}

// Four rows of four pairs become the four columns.
SCANTK_VECTOR_INLINE Pairs Transposed(Vector r0, Vector r1, Vector r2, Vector r3) {
  const Vector a = UnpackLow32(r0, r1);
  const Vector b = UnpackLow32(r2, r3);
  const Vector c = UnpackHigh32(r0, r1);
  const Vector d = UnpackHigh32(r2, r3);
  return {UnpackLow64(a, b), UnpackHigh64(a, b), UnpackLow64(c, d), UnpackHigh64(c, d)};
}

// The column pass: rows 0 to 3 in `upper`, 4 to 7 in `lower`.
template <bool kSmall>
SCANTK_VECTOR_INLINE void Columns(const Blocks& in, Pairs& upper, Pairs& lower) {
  const Vector zero = Zero();
  if (kSmall) {
    const Eight r = Pass<true, 11, true>({Load(in, 0), Load(in, 1), zero, zero});
    const Vector r01 = Pack32(r.v[0], r.v[1]);
    const Vector r23 = Pack32(r.v[2], r.v[3]);
    const Vector r45 = Pack32(r.v[4], r.v[5]);
    const Vector r67 = Pack32(r.v[6], r.v[7]);
    upper = {Evens32(r01, r23), Odds32(r01, r23), zero, zero};
    lower = {Evens32(r45, r67), Odds32(r45, r67), zero, zero};
    return;
  }
  const Eight left = Pass<false, 11, true>({Load(in, 0), Load(in, 1), Load(in, 2), Load(in, 3)});
  const Eight right = Pass<false, 11, true>({Load(in, 4), Load(in, 5), Load(in, 6), Load(in, 7)});
  Vector r[8];
  for (int i = 0; i < 8; ++i) r[i] = Pack32(left.v[i], right.v[i]);
  upper = Transposed(r[0], r[1], r[2], r[3]);
  lower = Transposed(r[4], r[5], r[6], r[7]);
}

// Writes two rows of each block.
SCANTK_VECTOR_INLINE void StoreRows(Vector rows, const JpegTarget& a, const JpegTarget& b, int y) {
  uint8_t* const to_a = a.samples + y * a.stride;
  StoreHalves<0>(rows, to_a, to_a + a.stride);
  if constexpr (kLanes == 1) return;
  uint8_t* const to_b = b.samples + y * b.stride;
  StoreHalves<kLanes - 1>(rows, to_b, to_b + b.stride);
}

template <bool kSmall>
SCANTK_VECTOR_INLINE void TransformLanes(const Blocks& in, const JpegTarget& to_a,
                                         const JpegTarget& to_b) {
  Pairs upper, lower;
  Columns<kSmall>(in, upper, lower);
  const Vector rounding = Constants(16, 0);
  upper.v02 = AddSaturated16(upper.v02, rounding);
  lower.v02 = AddSaturated16(lower.v02, rounding);
  const Eight top = Pass<kSmall, 18, false>(upper);
  const Eight bottom = Pass<kSmall, 18, false>(lower);
  Vector c[8];
  for (int i = 0; i < 8; ++i) c[i] = Pack32(top.v[i], bottom.v[i]);

  // Bytes, columns 0 and 2, 1 and 3, ...; then rows out of columns.
  const Vector c02 = Pack16(c[0], c[2]);
  const Vector c13 = Pack16(c[1], c[3]);
  const Vector c46 = Pack16(c[4], c[6]);
  const Vector c57 = Pack16(c[5], c[7]);
  const Vector c01 = UnpackLow8(c02, c13);
  const Vector c23 = UnpackHigh8(c02, c13);
  const Vector c45 = UnpackLow8(c46, c57);
  const Vector c67 = UnpackHigh8(c46, c57);
  const Vector left_top = UnpackLow16(c01, c23);
  const Vector left_bottom = UnpackHigh16(c01, c23);
  const Vector right_top = UnpackLow16(c45, c67);
  const Vector right_bottom = UnpackHigh16(c45, c67);
  const Vector middle = Set8(-128);  // added to a signed byte, it makes a sample
  StoreRows(Add8(UnpackLow32(left_top, right_top), middle), to_a, to_b, 0);
  StoreRows(Add8(UnpackHigh32(left_top, right_top), middle), to_a, to_b, 2);
  StoreRows(Add8(UnpackLow32(left_bottom, right_bottom), middle), to_a, to_b, 4);
  StoreRows(Add8(UnpackHigh32(left_bottom, right_bottom), middle), to_a, to_b, 6);
}

template <bool kSmall>
SCANTK_VECTOR_INLINE void Clear(int16_t* block) {
  constexpr size_t kUsed = (kSmall ? 16 : 64) * sizeof(*block);
  for (size_t at = 0; at < kUsed; at += kVectorBytes) {
    Store(reinterpret_cast<uint8_t*>(block) + at, Zero());
  }
}

template <bool kSmall>
SCANTK_VECTOR_INLINE void RunBlocks(JpegBlockQueue& queue) {
  const uint8_t* places = queue.places[kSmall];
  for (int i = 0; i < queue.counts[kSmall]; i += static_cast<int>(kLanes)) {
    const int first = places[i];
    const int last = places[i + static_cast<int>(kLanes) - 1];
    int16_t* const a = queue.coefficients[first];
    int16_t* const b = queue.coefficients[last];
    TransformLanes<kSmall>({a, b}, queue.targets[first], queue.targets[last]);
    Clear<kSmall>(a);
    if (kLanes > 1) Clear<kSmall>(b);
  }
}

SCANTK_VECTOR void RunVector(JpegBlockQueue& queue) {
  int& large = queue.counts[0];
  int& small = queue.counts[1];
  if constexpr (kLanes > 1) {
    // An odd small block becomes a large one's partner, an odd large one its own.
    if (small % 2 != 0) queue.places[0][large++] = queue.places[1][--small];
    if (large % 2 != 0) queue.places[0][large] = queue.places[0][large - 1];
  }
  RunBlocks<false>(queue);
  RunBlocks<true>(queue);
  large = small = queue.used = 0;
}

constexpr JpegOrder kVectorOrder([](int row, int column) {
  const int vector = column / 4 * 4 + row / 4 * 2 + row % 2;
  const int pair = column % 4 / 2 + column % 2 * 2;
  return static_cast<uint8_t>(8 * vector + 2 * pair + row % 4 / 2);
});

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_IDCT_VECTOR_H_
