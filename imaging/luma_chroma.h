// Planes to packed triples, and Y Cb Cr to red, green, blue, with the rounding of the devices' own
// tables.
//
// For v from 0 to 255 and d = v - 128, in single precision:
//   Cr to red   floor(1.39946 d + 0.5)         Cb to green, x 16   trunc(-0.344228 d 16)
//   Cb to blue  floor(1.77243 d + 0.5)         Cr to green, x 16   trunc(-0.717202 d 16)
//   red = Y + CrR[Cr]    green = Y + ((CrG[Cr] + CbG[Cb] + 8) >> 4)    blue = Y + CbB[Cb]
// each clamped to 0..255.
#ifndef SCANTK_IMAGING_LUMA_CHROMA_H_
#define SCANTK_IMAGING_LUMA_CHROMA_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

// Converts `pixels` packed triples. `input` and `output` do not overlap.
using TripleFunction = void (*)(const uint8_t* input, uint8_t* output, size_t pixels);
void LumaChromaToRgbPlain(const uint8_t* input, uint8_t* output, size_t pixels);

// Interleaves `width` pixels of 3 planes, as they are or converted. The chroma planes have a sample
// for every pixel, or (Half) for every other. Reads up to kPlaneSlack bytes further, writes
// 3 * width bytes.
using InterleaveFunction = void (*)(const uint8_t* const* planes, uint8_t* out, size_t width);
inline constexpr size_t kPlaneSlack = 32;
void InterleavePlain(const uint8_t* const* planes, uint8_t* out, size_t width);
void InterleaveHalfPlain(const uint8_t* const* planes, uint8_t* out, size_t width);
void InterleaveToRgbPlain(const uint8_t* const* planes, uint8_t* out, size_t width);
void InterleaveHalfToRgbPlain(const uint8_t* const* planes, uint8_t* out, size_t width);

}  // namespace scantk

#endif  // SCANTK_IMAGING_LUMA_CHROMA_H_
