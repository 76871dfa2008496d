#include "tests/sweep/failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "tests/sweep/failing_memory.h"

namespace scantk::test {
namespace {

std::atomic<int64_t> calls{0};
std::atomic<int64_t> failing{-1};

bool Fails() {
  if (!IsToolkitAtWork() || calls++ != failing) return false;
  errno = EIO;
  return true;
}

// The system's own function of this name.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void CountSystemCalls(int64_t number) {
  calls = 0;
  failing = number;
}

int64_t CountedSystemCalls() {
  return calls;
}

}  // namespace scantk::test

using scantk::test::Fails;
using scantk::test::Next;

extern "C" int open(const char* path, int flags, ...) {
  static const auto next = Next<int(const char*, int, ...)>("open");
  mode_t mode = 0;
  if (flags & O_CREAT) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);  // NOLINT(clang-analyzer-valist.Uninitialized): it is started
    va_end(rest);
  }
  return Fails() ? -1 : next(path, flags, mode);
}

extern "C" ssize_t read(int file, void* bytes, size_t size) {
  static const auto next = Next<ssize_t(int, void*, size_t)>("read");
  return Fails() ? -1 : next(file, bytes, size);
}

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
  static const auto next = Next<ssize_t(int, const void*, size_t)>("write");
  return Fails() ? -1 : next(file, bytes, size);
}

extern "C" int fsync(int file) {
  static const auto next = Next<int(int)>("fsync");
  return Fails() ? -1 : next(file);
}

extern "C" int rename(const char* from, const char* to) noexcept {
  static const auto next = Next<int(const char*, const char*)>("rename");
  return Fails() ? -1 : next(from, to);
}
