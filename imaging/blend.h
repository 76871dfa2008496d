// Blends two rows in eighths, by shifts alone. Each share loses its own lower bits, so that the sum
// never carries and a weight of none or all is a copy.
#ifndef SCANTK_IMAGING_BLEND_H_
#define SCANTK_IMAGING_BLEND_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

// Writes `bytes` bytes of k eighths of `a` and 8 - k eighths of `b`, 0 <= k <= 8. No overlap.
using BlendFunction = void (*)(const uint8_t* a, const uint8_t* b, int k, uint8_t* output,
                               size_t bytes);

BlendFunction ChooseBlend();

}  // namespace scantk

#endif  // SCANTK_IMAGING_BLEND_H_
