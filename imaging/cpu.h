// Which code the processor runs, decided in one place and asked for by name. Every vectorised
// function has a plain twin of the same bytes; a caller chooses once per image, not per row.
#ifndef SCANTK_IMAGING_CPU_H_
#define SCANTK_IMAGING_CPU_H_

#include <optional>
#include <vector>

#if defined(__x86_64__) && !defined(SCANTK_PLAIN_ONLY)
#define SCANTK_X86 1
#define SCANTK_VECTORS 1
#define SCANTK_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt")))
#elif defined(__aarch64__) && !defined(SCANTK_PLAIN_ONLY)
#define SCANTK_X86 0
#define SCANTK_VECTORS 1
#else
#define SCANTK_X86 0
#define SCANTK_VECTORS 0
#endif

namespace scantk {

enum class CpuPath {
  kPlain,      // no vectors
  kVector128,  // 16-byte vectors: SSE2, and SSSE3 where there is a shuffle; NEON
  kAvx2,       // 32-byte vectors, together with BMI1, BMI2 and LZCNT
};

// "plain", "vector128", "avx2".
const char* PathName(CpuPath path);

// The paths that this processor can take, the best last.
const std::vector<CpuPath>& CpuPaths();

// 16-byte shuffles: all processors with kVector128 but some x86-64 of before 2011.
bool HasShuffle128();

// The path for the images begun from now on: the best one, or the one forced.
CpuPath ChosenPath();

// For tests and benchmarks, one of CpuPaths(); nothing: the best again. Process-wide.
void ForcePath(std::optional<CpuPath> path);

}  // namespace scantk

#endif  // SCANTK_IMAGING_CPU_H_
