// The inner loops, one table of them for each path. All tables give the same bytes.
#ifndef SCANTK_IMAGING_KERNELS_H_
#define SCANTK_IMAGING_KERNELS_H_

#include "imaging/blend.h"
#include "imaging/cpu.h"
#include "imaging/jpeg_idct.h"
#include "imaging/luma_chroma.h"
#include "imaging/mirror.h"
#include "imaging/scale_columns.h"

namespace scantk {

struct ImageKernels {
  JpegTransformKind transform;
  InterleaveFunction interleave[2];  // chroma with a sample for every pixel, for every other
  InterleaveFunction to_rgb[2];      // the same, converted from Y Cb Cr on the way
  TripleFunction luma_chroma_to_rgb;
  BlendFunction blend;
  const MirrorFunctions* mirror;
  EnlargeFunction enlarge;
};

// Of one of CpuPaths().
const ImageKernels& Kernels(CpuPath path);

// To be asked for once per image.
inline const ImageKernels& ChosenKernels() {
  return Kernels(ChosenPath());
}

// For Kernels(): those of the processor's vectors, whose functions need them.
extern const ImageKernels kPlainKernels;
extern const ImageKernels kVector128Kernels;
extern const ImageKernels kAvx2Kernels;

}  // namespace scantk

#endif  // SCANTK_IMAGING_KERNELS_H_
