// Reverses the order of the pixels in a row.
#ifndef SCANTK_IMAGING_MIRROR_H_
#define SCANTK_IMAGING_MIRROR_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

// Writes the `bytes` bytes of a row to `output`, last pixel first. A bilevel row is reversed bit by
// bit, the padding bits of its last byte included. `input` and `output` do not overlap.
// `later` is a row of the same size that will be mirrored soon (or `input` again): it is asked from
// memory along the way, since rows that are read in reverse order are not foreseen by the
// processor.
using MirrorFunction = void (*)(const uint8_t* input, uint8_t* output, size_t bytes,
                                const uint8_t* later);

struct MirrorFunctions {
  MirrorFunction bits, one_byte, two_bytes, three_bytes, six_bytes;

  // The function for rows of `bits_per_pixel` (1, 8, 16, 24 or 48); null for any other size.
  MirrorFunction Choose(int bits_per_pixel) const;
};
extern const MirrorFunctions kPlainMirrors;

}  // namespace scantk

#endif  // SCANTK_IMAGING_MIRROR_H_
