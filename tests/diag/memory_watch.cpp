#include "tests/diag/memory_watch.h"

#include <cstdlib>
#include <new>

namespace scantk {
std::atomic<int> allocations = 0;
std::atomic<bool> refuse_memory = false;
}  // namespace scantk

void* operator new(size_t size) {
  ++scantk::allocations;
  void* memory = scantk::refuse_memory ? nullptr : std::malloc(size);
  if (!memory) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
