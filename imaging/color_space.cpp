// XFORM_COLOR_SPACE: turns 24-bit pixels from one colour space to another; rows of fewer bits pass
// unchanged. Parameter 0 is the kind:
//     0  red, green, blue to luminance and chrominance, by the tables that parameter 1 names
//     1  the reverse
//     2  Y, Cb, Cr to red, green, blue as the devices define it
//     3  the reverse of 2, near-gray pixels made gray
//     4  lightness, hue, saturation to red, green, blue
//     5  the reverse
//   100  first and third byte of every pixel swapped
// Parameter 1 for the kinds 0 and 1: 0 the weights of BT.601, 1 those of BT.709, full range. The
// devices use kind 2 alone; it is the one with a vectorised path.
#include <algorithm>
#include <cstring>

#include "imaging/built_in_xforms.h"
#include "imaging/color_kinds.h"
#include "imaging/kernels.h"
#include "imaging/row_xform.h"

namespace scantk {
namespace {

TripleFunction Choose(int64_t kind, int64_t table) {
  switch (kind) {
    case 0:
      return ChooseTableToLuma(table);
    case 1:
      return ChooseTableFromLuma(table);
    case kLumaChromaToRgb:
      return ChosenKernels().luma_chroma_to_rgb;
    case 3:
      return RgbToLumaChroma;
    case 4:
      return LightnessHueSaturationToRgb;
    case 5:
      return RgbToLightnessHueSaturation;
    case 100:
      return SwapFirstAndThird;
    default:
      return nullptr;
  }
}

class ColorSpace : public RowXform {
 public:
  static constexpr uint32_t kCheckValue = 0x4BA1DACE;

  bool AcceptInput() const { return RowXform::AcceptInput() && in_traits_.bitsPerPixel <= 24; }

  // A kind that does not exist fails with the first row that would need it.
  bool AcceptParams(const int64_t* params) {
    convert_ = Choose(params[0], params[1]);
    return true;
  }

  IpResult Convert(RowCall& call) {
    if (!call.input) return IP_FINISHED;
    const size_t bytes = RowBytes(in_traits_);
    if (!HasInputRow(call, bytes) || !HasOutputRow(call, bytes)) return IP_FATAL_ERROR;
    if (in_traits_.bitsPerPixel < 24) {
      std::memcpy(call.output, call.input, bytes);
    } else if (convert_) {
      convert_(call.input, call.output, bytes / 3);
    } else {
      return IP_FATAL_ERROR;
    }
    call.used = call.produced = bytes;
    return IP_ROW_IN | IP_ROW_OUT | IP_NEED_INPUT;
  }

 private:
  TripleFunction convert_ = nullptr;
};

}  // namespace

const XformOps kColorSpaceOps = RowXformOps<ColorSpace>::kTable;

}  // namespace scantk
