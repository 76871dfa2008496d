#define SCANTK_VECTOR_LANES 2
#include "imaging/kernels_vector.h"

#if SCANTK_X86
constinit const scantk::ImageKernels scantk::kAvx2Kernels = kVectorKernels;
#endif
