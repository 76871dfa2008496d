// Mirrors rows by shuffles; see mirror.h.
#ifndef SCANTK_IMAGING_MIRROR_VECTOR_H_
#define SCANTK_IMAGING_MIRROR_VECTOR_H_

#include <array>

#include "imaging/mirror.h"
#include "imaging/vector.h"

namespace scantk {
namespace {

// Puts the whole pixels of the first 16 bytes, reversed, at the upper end of 16 bytes. The bytes
// below them are rubbish that the next, lower store covers.
template <size_t kPixelBytes>
constexpr std::array<uint8_t, 16> kMirrorControl = [] {
  std::array<uint8_t, 16> control{};
  for (size_t at = 0; at + kPixelBytes <= 16; at += kPixelBytes) {
    for (size_t i = 0; i < kPixelBytes; ++i) {
      control[16 - kPixelBytes - at + i] = static_cast<uint8_t>(at + i);
    }
  }
  return control;
}();

constexpr std::array<uint8_t, 16> kReversedNibbles = {0, 8, 4, 12, 2, 10, 6, 14,
                                                      1, 9, 5, 13, 3, 11, 7, 15};

SCANTK_VECTOR_INLINE Vector InEveryLane(const std::array<uint8_t, 16>& bytes) {
  return LoadLanes(bytes.data(), bytes.data());
}

template <size_t kPixelBytes>
SCANTK_SHUFFLE void MirrorVector(const uint8_t* input, uint8_t* output, size_t bytes,
                                 const uint8_t* later) {
  constexpr size_t kStep = 16 / kPixelBytes * kPixelBytes;
  const Vector control = InEveryLane(kMirrorControl<kPixelBytes>);
  size_t at = 0;
  for (; at + 64 <= bytes; at += 4 * kStep) {
    __builtin_prefetch(later + at);
    for (size_t i = at; i < at + 4 * kStep; i += kLanes * kStep) {
      const Vector mirrored = Shuffle(LoadLanes(input + i, input + i + kStep), control);
      uint8_t* const to = output + bytes - i - 16;
      StoreLanes(mirrored, to, to - kStep);
    }
  }
  kPlainMirrors.Choose(8 * kPixelBytes)(input + at, output, bytes - at, later);
}

SCANTK_SHUFFLE void MirrorBitsVector(const uint8_t* input, uint8_t* output, size_t bytes,
                                     const uint8_t* later) {
  const Vector control = InEveryLane(kMirrorControl<1>);
  const Vector nibbles = InEveryLane(kReversedNibbles);
  const Vector low_mask = Set8(0x0F);
  size_t at = 0;
  for (; at + kVectorBytes <= bytes; at += kVectorBytes) {
    const Vector mirrored = Shuffle(LoadLanes(input + at, input + at + 16), control);
    const Vector low = And(mirrored, low_mask);
    const Vector high = And(Right16<4>(mirrored), low_mask);
    uint8_t* const to = output + bytes - at - 16;
    StoreLanes(Or(Left16<4>(Shuffle(nibbles, low)), Shuffle(nibbles, high)), to, to - 16);
  }
  kPlainMirrors.bits(input + at, output, bytes - at, later);
}

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_MIRROR_VECTOR_H_
