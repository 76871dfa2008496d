// All vectorised loops, for the path whose file includes this.
#ifndef SCANTK_IMAGING_KERNELS_VECTOR_H_
#define SCANTK_IMAGING_KERNELS_VECTOR_H_

#include "imaging/kernels.h"
#include "imaging/vector.h"

#if SCANTK_VECTORS
#include "imaging/blend_vector.h"
#include "imaging/jpeg_idct_vector.h"
#include "imaging/luma_chroma_vector.h"
#include "imaging/mirror_vector.h"
#include "imaging/scale_columns_vector.h"

namespace scantk {
namespace {

constexpr MirrorFunctions kVectorMirrors = {MirrorBitsVector, MirrorVector<1>, MirrorVector<2>,
                                            MirrorVector<3>, MirrorVector<6>};

constexpr ImageKernels kVectorKernels = {
    {RunVector, kVectorOrder.places, 0x30},
    {InterleaveVector<false>, InterleaveVector<true>},
    {InterleaveToRgbVector<false>, InterleaveToRgbVector<true>},
    LumaChromaToRgbVector,
    BlendRows<VectorBlend>,
    &kVectorMirrors,
    EnlargeVector,
};

}  // namespace
}  // namespace scantk

#endif

#endif  // SCANTK_IMAGING_KERNELS_VECTOR_H_
