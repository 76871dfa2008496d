#include "imaging/blend.h"

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

struct Plain {
  template <int kEighths>
  static void Run(const uint8_t* a, const uint8_t* b, uint8_t* output, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) output[i] = Blend<kEighths>(a[i], b[i]);
  }
};

}  // namespace

void BlendPlain(const uint8_t* a, const uint8_t* b, int k, uint8_t* output, size_t bytes) {
  BlendRows<Plain>(a, b, k, output, bytes);
}

}  // namespace scantk
