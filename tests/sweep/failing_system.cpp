#include "tests/sweep/failing_system.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace scantk::test {

constinit Failing failing_allocations, failing_file_calls;

namespace {

// Other threads may free what this one allocated.
std::atomic<int64_t> live{0}, peak{0};

void* Allocate(size_t size, size_t alignment) {
  if (failing_allocations.Strikes()) return nullptr;
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

bool FileCallFails() {
  return failing_file_calls.Strikes() && (errno = EIO);
}

}  // namespace

int64_t TakePeakBytes() {
  live = 0;
  return peak.exchange(0);
}

}  // namespace scantk::test

using scantk::test::Allocate;
using scantk::test::AllocateOrThrow;
using scantk::test::FileCallFails;
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
SCANTK_DELETE(delete, size_t, std::align_val_t)
SCANTK_DELETE(delete[], size_t, std::align_val_t)

// Stands before the system's own function of this name.
#define SCANTK_CALL(RESULT, NAME, PARAMETERS, ARGUMENTS, ...)                                 \
  extern "C" RESULT NAME PARAMETERS __VA_ARGS__ {                                             \
    static const auto next = reinterpret_cast<RESULT(*) PARAMETERS>(dlsym(RTLD_NEXT, #NAME)); \
    return FileCallFails() ? -1 : next ARGUMENTS;                                             \
  }
SCANTK_CALL(ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size))
SCANTK_CALL(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size))
SCANTK_CALL(int, fsync, (int file), (file))
SCANTK_CALL(int, rename, (const char* from, const char* to), (from, to), noexcept)

extern "C" int open(const char* path, int flags, ...) {
  static const auto next = reinterpret_cast<decltype(&open)>(dlsym(RTLD_NEXT, "open"));
  mode_t mode = 0;
  if (flags & O_CREAT) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);  // NOLINT(clang-analyzer-valist.Uninitialized): it is started
    va_end(rest);
  }
  return FileCallFails() ? -1 : next(path, flags, mode);
}
