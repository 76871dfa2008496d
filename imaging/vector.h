// Vectors of one or two lanes of 16 bytes, by named operations: SSE2 with SSSE3, AVX2, NEON. No
// operation crosses from lane to lane, so that an algorithm is written once and gives the same
// bytes on every path; with two lanes it works on twice as much. SCANTK_VECTOR_LANES says how many,
// before this is included; a function that uses operations is a SCANTK_VECTOR one, with one of
// those that shuffle a SCANTK_SHUFFLE one.
#ifndef SCANTK_IMAGING_VECTOR_H_
#define SCANTK_IMAGING_VECTOR_H_

#include <cstddef>
#include <cstdint>

#include "imaging/cpu.h"

#if SCANTK_X86
#include "imaging/vector_x86.h"
#elif SCANTK_VECTORS
#include "imaging/vector_neon.h"
#endif

#define SCANTK_VECTOR_INLINE SCANTK_VECTOR __attribute__((always_inline)) inline
#define SCANTK_SHUFFLE_INLINE SCANTK_SHUFFLE __attribute__((always_inline)) inline

namespace scantk {

// Lanes in a vector, and its bytes.
inline constexpr size_t kLanes = SCANTK_VECTOR_LANES;
inline constexpr size_t kVectorBytes = 16 * kLanes;

}  // namespace scantk

#endif  // SCANTK_IMAGING_VECTOR_H_
