// Planes to triples and Y Cb Cr to red, green, blue by vectors; see luma_chroma.h.
//
// The tables of the conversion as 16-bit arithmetic, equal for every d from -128 to 127:
//   floor(c d + 0.5) = d + ((d k + 0x4000) >> 15)    k near (c - 1) 2^15
//   trunc(-c 16 d)   = -sign(d) (((|d| << s) k) >> 16)    k near c 2^(20-s)
#ifndef SCANTK_IMAGING_LUMA_CHROMA_VECTOR_H_
#define SCANTK_IMAGING_LUMA_CHROMA_VECTOR_H_

#include <cstring>

#include "imaging/luma_chroma.h"
#include "imaging/vector.h"

namespace scantk {
namespace {

constexpr int kCrRed = 13090;
constexpr int kCbBlue = 25314;
constexpr int kCbGreen = 45118;
constexpr int kCbGreenShift = 3;
constexpr int kCrGreen = 47002;
constexpr int kCrGreenShift = 4;

// The controls of shuffles between three planes, 16 pixels each, and the same pixels in 48 bytes.
struct TripleControls {
  // In each of three vectors, for each plane: where a byte comes from, or 0x80: from another plane.
  constexpr explicit TripleControls(int chroma_step) : into(), out_of() {
    for (int part = 0; part < 3; ++part) {
      for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < 16; ++i) {
          const int at = 16 * part + i;
          const int source = plane == 0 ? at / 3 : at / 3 / chroma_step;
          into[part][plane][i] = static_cast<uint8_t>(at % 3 == plane ? source : 0x80);
          const int from = 3 * i + plane - 16 * part;
          out_of[part][plane][i] = static_cast<uint8_t>(from >= 0 && from < 16 ? from : 0x80);
        }
      }
    }
  }
  alignas(16) uint8_t into[3][3][16];
  alignas(16) uint8_t out_of[3][3][16];
};
constexpr TripleControls kFullControls(1);
constexpr TripleControls kHalfControls(2);

struct Planes {
  Vector a, b, c;
};

// The shuffles of three vectors, put together.
SCANTK_SHUFFLE_INLINE Vector Gather(const Planes& from, const uint8_t* a, const uint8_t* b,
                                    const uint8_t* c) {
  return Or(Or(Shuffle(from.a, LoadLanes(a, a)), Shuffle(from.b, LoadLanes(b, b))),
            Shuffle(from.c, LoadLanes(c, c)));
}

// Each lane holds 16 pixels, which make 48 bytes.
SCANTK_SHUFFLE_INLINE void StoreTriples(const Planes& planes, const TripleControls& controls,
                                        uint8_t* to) {
  for (int i = 0; i < 3; ++i) {
    const auto& control = controls.into[i];
    StoreLanes(Gather(planes, control[0], control[1], control[2]), to + 16 * i, to + 48 + 16 * i);
  }
}

SCANTK_SHUFFLE_INLINE Planes LoadTriples(const uint8_t* from) {
  const Planes parts = {LoadLanes(from, from + 48), LoadLanes(from + 16, from + 64),
                        LoadLanes(from + 32, from + 80)};
  const auto& control = kFullControls.out_of;
  return {Gather(parts, control[0][0], control[1][0], control[2][0]),
          Gather(parts, control[0][1], control[1][1], control[2][1]),
          Gather(parts, control[0][2], control[1][2], control[2][2])};
}

// What chroma adds to luma, in 16 bits, for the lower or the upper half of each lane.
struct ChromaOffsets {
  Vector red, green, blue;
};

SCANTK_SHUFFLE_INLINE ChromaOffsets OffsetsOf(Vector cb_bytes, Vector cr_bytes) {
  const Vector middle = Set16(128);
  const Vector cb = Sub16(cb_bytes, middle);
  const Vector cr = Sub16(cr_bytes, middle);
  const Vector cb_green =
      WithSign16(MulHighUnsigned16(Left16<kCbGreenShift>(Absolute16(cb)), Set16(kCbGreen)), cb);
  const Vector cr_green =
      WithSign16(MulHighUnsigned16(Left16<kCrGreenShift>(Absolute16(cr)), Set16(kCrGreen)), cr);
  return {Add16(cr, MulRound16(cr, Set16(kCrRed))),
          RightSigned16<4>(Sub16(Sub16(Set16(8), cb_green), cr_green)),
          Add16(cb, MulRound16(cb, Set16(kCbBlue)))};
}

SCANTK_SHUFFLE_INLINE Planes ToRgb(Vector y, const ChromaOffsets& low, const ChromaOffsets& high) {
  const Vector y_low = UnpackLow8(y, Zero());
  const Vector y_high = UnpackHigh8(y, Zero());
  return {PackUnsigned16(Add16(y_low, low.red), Add16(y_high, high.red)),
          PackUnsigned16(Add16(y_low, low.green), Add16(y_high, high.green)),
          PackUnsigned16(Add16(y_low, low.blue), Add16(y_high, high.blue))};
}

// Chroma bytes for every pixel.
SCANTK_SHUFFLE_INLINE Planes ToRgb(const Planes& in) {
  const Vector zero = Zero();
  return ToRgb(in.a, OffsetsOf(UnpackLow8(in.b, zero), UnpackLow8(in.c, zero)),
               OffsetsOf(UnpackHigh8(in.b, zero), UnpackHigh8(in.c, zero)));
}

// Chroma bytes for every other pixel, in the lower halves.
SCANTK_SHUFFLE_INLINE Planes HalfToRgb(const Planes& in) {
  const Vector zero = Zero();
  const ChromaOffsets at = OffsetsOf(UnpackLow8(in.b, zero), UnpackLow8(in.c, zero));
  return ToRgb(
      in.a,
      {UnpackLow16(at.red, at.red), UnpackLow16(at.green, at.green), UnpackLow16(at.blue, at.blue)},
      {UnpackHigh16(at.red, at.red), UnpackHigh16(at.green, at.green),
       UnpackHigh16(at.blue, at.blue)});
}

// The pixels of one vector from `x` on.
template <bool kHalf, bool kToRgb>
SCANTK_SHUFFLE_INLINE void InterleaveBlock(const uint8_t* const* planes, size_t x, uint8_t* out) {
  Planes in{Load(planes[0] + x), {}, {}};
  if constexpr (kHalf) {
    in.b = LoadHalfLanes(planes[1] + x / 2);
    in.c = LoadHalfLanes(planes[2] + x / 2);
  } else {
    in.b = Load(planes[1] + x);
    in.c = Load(planes[2] + x);
  }
  if constexpr (kToRgb) {
    StoreTriples(kHalf ? HalfToRgb(in) : ToRgb(in), kFullControls, out);
  } else {
    StoreTriples(in, kHalf ? kHalfControls : kFullControls, out);
  }
}

template <bool kHalf, bool kToRgb>
SCANTK_SHUFFLE_INLINE void InterleaveRow(const uint8_t* const* planes, uint8_t* out, size_t width) {
  size_t x = 0;
  for (; x + kVectorBytes <= width; x += kVectorBytes) {
    InterleaveBlock<kHalf, kToRgb>(planes, x, out + 3 * x);
  }
  if (x == width) return;
  uint8_t rest[3 * kVectorBytes];
  InterleaveBlock<kHalf, kToRgb>(planes, x, rest);
  std::memcpy(out + 3 * x, rest, 3 * (width - x));
}

template <bool kHalf>
SCANTK_SHUFFLE void InterleaveVector(const uint8_t* const* planes, uint8_t* out, size_t width) {
  InterleaveRow<kHalf, false>(planes, out, width);
}

template <bool kHalf>
SCANTK_SHUFFLE void InterleaveToRgbVector(const uint8_t* const* planes, uint8_t* out,
                                          size_t width) {
  InterleaveRow<kHalf, true>(planes, out, width);
}

SCANTK_SHUFFLE void LumaChromaToRgbVector(const uint8_t* input, uint8_t* output, size_t pixels) {
  size_t i = 0;
  for (; i + kVectorBytes <= pixels; i += kVectorBytes) {
    StoreTriples(ToRgb(LoadTriples(input + 3 * i)), kFullControls, output + 3 * i);
  }
  LumaChromaToRgbPlain(input + 3 * i, output + 3 * i, pixels - i);
}

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_LUMA_CHROMA_VECTOR_H_
