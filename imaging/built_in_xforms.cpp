// The table of the transforms that the library brings.
#include "imaging/built_in_xforms.h"

#include "imaging/image_pipeline.h"
#ifdef SCANTK_HAVE_JPEG_DECODE
#include "imaging/jpeg_decode.h"
#endif

namespace scantk {

const XformOps* BuiltInXform(uint32_t id) {
  switch (id) {
#ifdef SCANTK_HAVE_JPEG_DECODE
    case XFORM_JPEG_DECODE:
      return &kJpegDecodeOps;
#endif
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
