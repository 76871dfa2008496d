#include "imaging/cpu.h"

#include <atomic>

namespace scantk {
namespace {

std::atomic<bool> force_plain{false};

#if SCANTK_X86
bool CpuHasSsse3() {
  return __builtin_cpu_supports("ssse3") != 0;
}

bool CpuHasAvx2() {
  // LZCNT came with BMI1 on every processor that has AVX2; compilers of this age cannot ask for it.
  return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
         __builtin_cpu_supports("bmi2") != 0;
}
#else
bool CpuHasSsse3() {
  return false;
}

bool CpuHasAvx2() {
  return false;
}
#endif

}  // namespace

bool HasSsse3() {
  static const bool has = CpuHasSsse3();
  return has && !force_plain.load(std::memory_order_relaxed);
}

bool HasAvx2() {
  static const bool has = CpuHasAvx2();
  return has && !force_plain.load(std::memory_order_relaxed);
}

void ForcePlainPath(bool plain) {
  force_plain.store(plain, std::memory_order_relaxed);
}

}  // namespace scantk
