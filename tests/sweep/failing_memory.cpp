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

void* operator new(size_t size) {
  return AllocateOrThrow(size, kPlain);
}
void* operator new[](size_t size) {
  return AllocateOrThrow(size, kPlain);
}
void* operator new(size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<size_t>(alignment));
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, kPlain);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, kPlain);
}
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<size_t>(alignment));
}
void operator delete(void* memory) noexcept {
  Free(memory);
}
void operator delete[](void* memory) noexcept {
  Free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  Free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  Free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  Free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
  Free(memory);
}
void operator delete(void* memory, size_t, std::align_val_t) noexcept {
  Free(memory);
}
void operator delete[](void* memory, size_t, std::align_val_t) noexcept {
  Free(memory);
}
