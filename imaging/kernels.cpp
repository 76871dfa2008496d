#include "imaging/kernels.h"

namespace scantk {

constinit const ImageKernels kPlainKernels = {
    kPlainJpegTransform,
    {InterleavePlain, InterleaveHalfPlain},
    {InterleaveToRgbPlain, InterleaveHalfToRgbPlain},
    LumaChromaToRgbPlain,
    BlendPlain,
    &kPlainMirrors,
    EnlargePlain,
};

#if SCANTK_VECTORS

namespace {

// Without shuffles, vectors are worth it for two.
const ImageKernels& Vector128Kernels() {
  static const ImageKernels kernels = [] {
    ImageKernels list = HasShuffle128() ? kVector128Kernels : kPlainKernels;
    list.transform = kVector128Kernels.transform;
    list.blend = kVector128Kernels.blend;
    return list;
  }();
  return kernels;
}

}  // namespace

#endif

const ImageKernels& Kernels([[maybe_unused]] CpuPath path) {
#if SCANTK_X86
  if (path == CpuPath::kAvx2) return kAvx2Kernels;
#endif
#if SCANTK_VECTORS
  if (path == CpuPath::kVector128) return Vector128Kernels();
#endif
  return kPlainKernels;
}

}  // namespace scantk
