#include "tests/sweep/failing_memory.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace scantk::test {
namespace {

thread_local int under_test = 0;
thread_local int holds = 0;
// Other threads may free what this one allocated.
std::atomic<int64_t> allocations{0};
std::atomic<int64_t> failing{-1};
std::atomic<int64_t> live{0};
std::atomic<int64_t> peak{0};

void* Allocate(size_t size, size_t alignment) {
  if (IsToolkitAtWork() && allocations++ == failing) return nullptr;
  void* memory = alignment > alignof(std::max_align_t)
                     ? std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment)
                     : std::malloc(size > 0 ? size : 1);
  if (!memory) return nullptr;
  const int64_t now = live += static_cast<int64_t>(malloc_usable_size(memory));
  peak = std::max<int64_t>(peak, now);
  return memory;
}

void Free(void* memory) {
  if (memory) live -= static_cast<int64_t>(malloc_usable_size(memory));
  std::free(memory);
}

void* AllocateOrThrow(size_t size, size_t alignment) {
  if (void* memory = Allocate(size, alignment)) return memory;
  throw std::bad_alloc();
}

}  // namespace

bool IsToolkitAtWork() {
  return under_test > 0 && holds == 0;
}

ToolkitAtWork::ToolkitAtWork() {
  ++under_test;
}
ToolkitAtWork::~ToolkitAtWork() {
  --under_test;
}
TestAtWork::TestAtWork() {
  ++holds;
}
TestAtWork::~TestAtWork() {
  --holds;
}

void CountAllocations(int64_t number) {
  allocations = 0;
  failing = number;
  live = 0;
  peak = 0;
}

int64_t CountedAllocations() {
  return allocations;
}

int64_t PeakBytes() {
  return peak;
}

}  // namespace scantk::test

using scantk::test::Allocate;
using scantk::test::AllocateOrThrow;
using scantk::test::Free;

constexpr size_t kPlain = 1;

#define SCANTK_NEW(NAME, ALIGNMENT, ...)                                                        \
  void* operator NAME(size_t size __VA_OPT__(, ) __VA_ARGS__) {                                 \
    return AllocateOrThrow(size, ALIGNMENT);                                                    \
  }                                                                                             \
  void* operator NAME(size_t size __VA_OPT__(, ) __VA_ARGS__, const std::nothrow_t&) noexcept { \
    return Allocate(size, ALIGNMENT);                                                           \
  }
#define SCANTK_DELETE(NAME, ...)                                         \
  void operator NAME(void* memory __VA_OPT__(, ) __VA_ARGS__) noexcept { \
    Free(memory);                                                        \
  }

SCANTK_NEW(new, kPlain)
SCANTK_NEW(new[], kPlain)
SCANTK_NEW(new, static_cast<size_t>(alignment), std::align_val_t alignment)
SCANTK_NEW(new[], static_cast<size_t>(alignment), std::align_val_t alignment)
SCANTK_DELETE(delete)
SCANTK_DELETE(delete[])
SCANTK_DELETE(delete, size_t)
SCANTK_DELETE(delete[], size_t)
SCANTK_DELETE(delete, std::align_val_t)
SCANTK_DELETE(delete[], std::align_val_t)
