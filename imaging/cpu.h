// What the processor can do, asked at run time. A vectorised function carries its own target
// attribute and lives between #if SCANTK_X86 and #endif beside its plain twin; a caller chooses
// once per image (not per row) by asking here.
#ifndef SCANTK_IMAGING_CPU_H_
#define SCANTK_IMAGING_CPU_H_

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__)) && !defined(SCANTK_PLAIN_ONLY)
#define SCANTK_X86 1
#define SCANTK_TARGET_SSSE3 __attribute__((target("ssse3")))
#define SCANTK_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt")))
#else
#define SCANTK_X86 0
#endif

namespace scantk {

// 128-bit byte shuffles.
bool HasSsse3();

// 256-bit integer vectors, together with BMI1, BMI2 and LZCNT.
bool HasAvx2();

// While set, both answer false: tests compare the twins, benchmarks measure the plain one. A
// process-wide switch; it takes effect for the images begun after it.
void ForcePlainPath(bool plain);

}  // namespace scantk

#endif  // SCANTK_IMAGING_CPU_H_
