// Blends by vectors; see blend.h.
#ifndef SCANTK_IMAGING_BLEND_VECTOR_H_
#define SCANTK_IMAGING_BLEND_VECTOR_H_

#include "imaging/blend.h"
#include "imaging/vector.h"

namespace scantk {
namespace {

// Every byte shifted.
template <int kBits>
SCANTK_VECTOR_INLINE Vector Shifted(Vector bytes) {
  return And(Right16<kBits>(bytes), Set8(0xFF >> kBits));
}

template <int kEighths>
SCANTK_VECTOR_INLINE Vector Blended(Vector a, Vector b) {
  if constexpr (kEighths == 1) return Add8(Shifted<3>(a), Sub8(b, Shifted<3>(b)));
  if constexpr (kEighths == 2) return Add8(Shifted<2>(a), Sub8(b, Shifted<2>(b)));
  if constexpr (kEighths == 3) {
    return Add8(Add8(Shifted<2>(a), Shifted<3>(a)), Add8(Shifted<1>(b), Shifted<3>(b)));
  }
  if constexpr (kEighths == 4) return Add8(Shifted<1>(a), Shifted<1>(b));
  if constexpr (kEighths == 5) {
    return Add8(Add8(Shifted<1>(a), Shifted<3>(a)), Add8(Shifted<2>(b), Shifted<3>(b)));
  }
  if constexpr (kEighths == 6) return Add8(Sub8(a, Shifted<2>(a)), Shifted<2>(b));
  if constexpr (kEighths == 7) return Add8(Sub8(a, Shifted<3>(a)), Shifted<3>(b));
}

struct VectorBlend {
  template <int kEighths>
  SCANTK_VECTOR static void Run(const uint8_t* a, const uint8_t* b, uint8_t* output, size_t bytes) {
    size_t i = 0;
    for (; i + kVectorBytes <= bytes; i += kVectorBytes) {
      Store(output + i, Blended<kEighths>(Load(a + i), Load(b + i)));
    }
    BlendPlain(a + i, b + i, kEighths, output + i, bytes - i);
  }
};

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_BLEND_VECTOR_H_
