// Blends two rows in eighths, by shifts alone. Each share loses its own lower bits, so that the sum
// never carries and a weight of none or all is a copy.
#ifndef SCANTK_IMAGING_BLEND_H_
#define SCANTK_IMAGING_BLEND_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace scantk {

// Writes `bytes` bytes of k eighths of `a` and 8 - k eighths of `b`, 0 <= k <= 8. No overlap.
using BlendFunction = void (*)(const uint8_t* a, const uint8_t* b, int k, uint8_t* output,
                               size_t bytes);

void BlendPlain(const uint8_t* a, const uint8_t* b, int k, uint8_t* output, size_t bytes);

// The rows of one weight are made by Path::Run<k>; none and all of a row are copies.
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

}  // namespace scantk

#endif  // SCANTK_IMAGING_BLEND_H_
