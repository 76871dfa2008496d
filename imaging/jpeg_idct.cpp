// The plain transform: the factorisation by Loeffler, Ligtenberg and Moschytz with 12
// multiplications, constants scaled by 2^13, columns first with two fraction bits kept.
//
// It is defined for every coefficient: products wrap at 32 bits, columns saturate at 16 bits, as
// they do in vector registers. No picture that was ever encoded comes near either limit.
#include "imaging/jpeg_idct.h"

#include <algorithm>

namespace scantk {

namespace {

constexpr int kFractionBits = 13;
constexpr int kColumnShift = kFractionBits - 2;   // keeps two bits for the rows
constexpr int kRowShift = kFractionBits + 2 + 3;  // and takes them off, with the factor 8

#define SCANTK_INLINE __attribute__((always_inline)) inline

// One dimension: results 0 to 3 are even + odd, 7 to 4 even - odd, before the descaling.
struct Half {
  uint32_t v[4];
};

SCANTK_INLINE Half EvenPart(uint32_t in0, uint32_t in2, uint32_t in4, uint32_t in6,
                            uint32_t rounding) {
  const uint32_t z1 = (in2 + in6) * 4433u;
  const uint32_t t2 = z1 - in6 * 15137u;
  const uint32_t t3 = z1 + in2 * 6270u;
  const uint32_t t0 = ((in0 + in4) << kFractionBits) + rounding;
  const uint32_t t1 = ((in0 - in4) << kFractionBits) + rounding;
  return {{t0 + t3, t1 + t2, t1 - t2, t0 - t3}};
}

SCANTK_INLINE Half OddPart(uint32_t in1, uint32_t in3, uint32_t in5, uint32_t in7) {
  const uint32_t z5 = (in1 + in3 + in5 + in7) * 9633u;
  const uint32_t z1 = (in7 + in1) * 7373u;
  const uint32_t z2 = (in5 + in3) * 20995u;
  const uint32_t z3 = z5 - (in7 + in3) * 16069u;
  const uint32_t z4 = z5 - (in5 + in1) * 3196u;
  return {{in1 * 12299u - z1 + z4, in3 * 25172u - z2 + z3, in5 * 16819u - z2 + z4,
           in7 * 2446u - z1 + z3}};
}

// The sample for every value of a row, of which the upper 14 bits are left: clamped to 0 ... 255.
struct Samples {
  constexpr Samples() : of() {
    for (int i = 0; i < 1 << 14; ++i) {
      const int value = (i < 1 << 13 ? i : i - (1 << 14)) + 128;
      of[i] = static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
  }
  uint8_t of[1 << 14];
};
constexpr Samples kSamples;

// One column of coefficients, of which the first `kRows` rows may differ from zero. Returns the
// results in one word which has bits above the lower 16 when one of them needs more than 16.
template <int kRows>
SCANTK_INLINE uint32_t Column(const int16_t* in, int32_t* out) {
  const auto at = [&](int row) __attribute__((always_inline)) {
    return row < kRows ? static_cast<uint32_t>(in[8 * row]) : 0u;
  };
  uint32_t rest = 0;
  for (int row = 1; row < kRows; ++row) rest |= at(row);
  if (rest == 0) {
    const int32_t value = static_cast<int32_t>(at(0) << (kFractionBits - kColumnShift));
    for (int i = 0; i < 8; ++i) out[8 * i] = value;
    return static_cast<uint32_t>(value) + 0x8000;
  }
  const Half even = EvenPart(at(0), at(2), at(4), at(6), 1u << (kColumnShift - 1));
  const Half odd = OddPart(at(1), at(3), at(5), at(7));
  uint32_t range = 0;
  for (int i = 0; i < 4; ++i) {
    out[8 * i] = static_cast<int32_t>(even.v[i] + odd.v[i]) >> kColumnShift;
    out[8 * (7 - i)] = static_cast<int32_t>(even.v[i] - odd.v[i]) >> kColumnShift;
    range |= static_cast<uint32_t>(out[8 * i] + 0x8000);
    range |= static_cast<uint32_t>(out[8 * (7 - i)] + 0x8000);
  }
  return range;
}

template <int kColumns>
SCANTK_INLINE void Row(const int32_t* in, uint8_t* out) {
  const auto at = [&](int column) __attribute__((always_inline)) {
    return column < kColumns ? static_cast<uint32_t>(in[column]) : 0u;
  };
  // The rounding is half of the last bit, which is 16 in units of the first value.
  const uint32_t first = static_cast<uint32_t>(std::min(in[0] + 16, 32767));
  const Half even = EvenPart(first, at(2), at(4), at(6), 0);
  const Half odd = OddPart(at(1), at(3), at(5), at(7));
  for (int i = 0; i < 4; ++i) {
    out[i] = kSamples.of[(even.v[i] + odd.v[i]) >> kRowShift];
    out[7 - i] = kSamples.of[(even.v[i] - odd.v[i]) >> kRowShift];
  }
}

// For blocks of which only the first `kRows` rows and `kColumns` columns may differ from zero.
template <int kRows, int kColumns>
void TransformBlock(int16_t* coefficients, const JpegTarget& target) {
  int32_t columns[64];
  uint32_t range = 0;
  for (int x = 0; x < kColumns; ++x) range |= Column<kRows>(coefficients + x, columns + x);
  if (range > 0xFFFF) {
    for (int i = 0; i < 64; ++i) {
      if (i % 8 < kColumns) columns[i] = std::clamp(columns[i], -32768, 32767);
    }
  }
  for (int y = 0; y < 8; ++y) Row<kColumns>(columns + 8 * y, target.samples + y * target.stride);
  std::memset(coefficients, 0, 8 * kRows * sizeof(*coefficients));
}

// Whether one of eight groups of four coefficients, `step` apart, differs from zero.
bool AnyOf(const int16_t* coefficients, int step) {
  uint64_t all = 0;
  for (int i = 0; i < 8; ++i) {
    uint64_t four;
    std::memcpy(&four, coefficients + i * step, sizeof(four));
    all |= four;
  }
  return all != 0;
}

void TransformLarge(int16_t* coefficients, const JpegTarget& target) {
  const bool lower = AnyOf(coefficients + 32, 4);
  const bool right = AnyOf(coefficients + 4, 8);
  if (lower && right) {
    TransformBlock<8, 8>(coefficients, target);
  } else if (lower) {
    TransformBlock<8, 4>(coefficients, target);
  } else {
    TransformBlock<4, 8>(coefficients, target);
  }
}

}  // namespace

void RunPlainJpegTransform(JpegBlockQueue& queue) {
  for (int i = 0; i < queue.counts[0]; ++i) {
    const int place = queue.places[0][i];
    TransformLarge(queue.coefficients[place], queue.targets[place]);
  }
  for (int i = 0; i < queue.counts[1]; ++i) {
    const int place = queue.places[1][i];
    TransformBlock<4, 4>(queue.coefficients[place], queue.targets[place]);
  }
  queue.counts[0] = queue.counts[1] = queue.used = 0;
}

}  // namespace scantk
