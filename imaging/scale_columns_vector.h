// Enlarges rows by shuffles; see scale_columns.h.
#ifndef SCANTK_IMAGING_SCALE_COLUMNS_VECTOR_H_
#define SCANTK_IMAGING_SCALE_COLUMNS_VECTOR_H_

#include "imaging/scale_columns.h"
#include "imaging/vector.h"

namespace scantk {
namespace {

// ((256 - w) a + w b) >> 8 is a + (((b - a) w) >> 8), and the latter fits a 16-bit high multiply as
// ((b - a) << 7) * (2 w) >> 16.
SCANTK_VECTOR_INLINE Vector Between(Vector a, Vector b, Vector doubled_weights) {
  return Add16(a, MulHigh16(Left16<7>(Sub16(b, a)), doubled_weights));
}

SCANTK_SHUFFLE size_t EnlargeVector(const EnlargedGroup* groups, size_t count, size_t components,
                                    const uint8_t* input, uint8_t* output) {
  const Vector zero = Zero();
  size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    const EnlargedGroup& x = groups[i];
    const EnlargedGroup& y = groups[i + kLanes - 1];  // the second lane's
    const uint8_t* const from_x = input + x.base;
    const uint8_t* const from_y = input + y.base;
    const Vector control = LoadLanes(x.control, y.control);
    const Vector a = Shuffle(LoadLanes(from_x, from_y), control);
    const Vector b = Shuffle(LoadLanes(from_x + components, from_y + components), control);
    const Vector low =
        Between(UnpackLow8(a, zero), UnpackLow8(b, zero), LoadLanes(x.weights, y.weights));
    const Vector high = Between(UnpackHigh8(a, zero), UnpackHigh8(b, zero),
                                LoadLanes(x.weights + 8, y.weights + 8));
    Store(output + 16 * i, PackUnsigned16(low, high));
  }
  return i;
}

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_SCALE_COLUMNS_VECTOR_H_
