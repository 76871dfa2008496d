// The operation tables of the row transforms, one per file of the same name.
#ifndef SCANTK_IMAGING_BUILT_IN_XFORMS_H_
#define SCANTK_IMAGING_BUILT_IN_XFORMS_H_

#include "imaging/image_pipeline.h"

namespace scantk {

extern const XformOps kScaleOps;       // enlarges and shrinks rows and columns
extern const XformOps kColorSpaceOps;  // turns 24-bit pixels from one colour space to another
extern const XformOps kTableOps;       // copies rows, or looks samples up in tables
extern const XformOps kFlipOps;        // mirrors rows and reverses their order

// Parameter 0 of XFORM_COLOR_SPACE: Y, Cb, Cr to red, green, blue as the devices define it.
inline constexpr int64_t kLumaChromaToRgb = 2;

}  // namespace scantk

#endif  // SCANTK_IMAGING_BUILT_IN_XFORMS_H_
