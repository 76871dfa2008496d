#define SCANTK_VECTOR_LANES 1
#include "imaging/kernels_vector.h"

#if SCANTK_VECTORS
constinit const scantk::ImageKernels scantk::kVector128Kernels = kVectorKernels;
#endif
