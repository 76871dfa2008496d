// The colour conversions beside the devices' own Y Cb Cr to red, green, blue: integer arithmetic,
// one pixel at a time. All work on packed triples; `input` and `output` do not overlap.
#ifndef SCANTK_IMAGING_COLOR_KINDS_H_
#define SCANTK_IMAGING_COLOR_KINDS_H_

#include "imaging/luma_chroma.h"

namespace scantk {

// Red, green, blue to Y, Cb, Cr and back by the tables numbered `table`: 0 BT.601, 1 BT.709, both
// full range. Null for any other number.
TripleFunction ChooseTableToLuma(int64_t table);
TripleFunction ChooseTableFromLuma(int64_t table);

// The reverse of the devices' conversion. Chroma values within 4 of the neutral 128 become 128, so
// that the noise of gray paper gets no colour.
void RgbToLumaChroma(const uint8_t* input, uint8_t* output, size_t pixels);

// Bytes lightness, hue, saturation; hue 0 is red, 85 about green, 171 about blue, 256 would be red.
void LightnessHueSaturationToRgb(const uint8_t* input, uint8_t* output, size_t pixels);
void RgbToLightnessHueSaturation(const uint8_t* input, uint8_t* output, size_t pixels);

void SwapFirstAndThird(const uint8_t* input, uint8_t* output, size_t pixels);

}  // namespace scantk

#endif  // SCANTK_IMAGING_COLOR_KINDS_H_
