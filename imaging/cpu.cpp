#include "imaging/cpu.h"

#include <atomic>

namespace scantk {
namespace {

constexpr int kBest = -1;
std::atomic<int> forced{kBest};

#if SCANTK_X86
bool CpuHasAvx2() {
  // LZCNT came with BMI1 on every processor that has AVX2; compilers of this age cannot ask for it.
  return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
         __builtin_cpu_supports("bmi2") != 0;
}
#endif

}  // namespace

const char* PathName(CpuPath path) {
  static constexpr const char* kNames[] = {"plain", "vector128", "avx2"};
  return kNames[static_cast<int>(path)];
}

const std::vector<CpuPath>& CpuPaths() {
  static const std::vector<CpuPath> paths = [] {
    std::vector<CpuPath> list = {CpuPath::kPlain};
    if (SCANTK_VECTORS) list.push_back(CpuPath::kVector128);
#if SCANTK_X86
    if (CpuHasAvx2()) list.push_back(CpuPath::kAvx2);
#endif
    return list;
  }();
  return paths;
}

bool HasShuffle128() {
#if SCANTK_X86
  static const bool has = __builtin_cpu_supports("ssse3") != 0;
  return has;
#else
  return SCANTK_VECTORS;
#endif
}

CpuPath ChosenPath() {
  static const CpuPath best = CpuPaths().back();
  const int path = forced.load(std::memory_order_relaxed);
  return path == kBest ? best : static_cast<CpuPath>(path);
}

void ForcePath(std::optional<CpuPath> path) {
  forced.store(path ? static_cast<int>(*path) : kBest, std::memory_order_relaxed);
}

}  // namespace scantk
