// The table of the transforms that the library brings.
#include "imaging/built_in_xforms.h"

#include "imaging/image_pipeline.h"
#include "imaging/jpeg_decode.h"

namespace scantk {

const XformOps* BuiltInXform(uint32_t id) {
  switch (id) {
    case XFORM_JPEG_DECODE:
      return &kJpegDecodeOps;
    case XFORM_SCALE:
      return &kScaleOps;
    case XFORM_COLOR_SPACE:
      return &kColorSpaceOps;
    case XFORM_TABLE:
      return &kTableOps;
    case XFORM_FLIP:
      return &kFlipOps;
    default:
      return nullptr;
  }
}

}  // namespace scantk
