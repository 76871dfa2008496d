// Owners for this system's handles.
#ifndef SCANTK_PLATFORM_POSIX_FILE_H_
#define SCANTK_PLATFORM_POSIX_FILE_H_

#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "platform/owner.h"

namespace scantk {

struct FileTraits {
  using Value = int;
  static Value Invalid() { return -1; }
  static void Close(Value file) { close(file); }
};
using File = Owner<FileTraits>;

// Repeats a system call that a signal interrupted.
template <class Call>
auto Uninterrupted(Call call) {
  for (;;) {
    auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// Writes all of `data`. False: errno tells why.
inline bool WriteAll(int file, const void* data, size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = Uninterrupted([&] { return write(file, next, size); });
    if (written < 0) return false;
    next += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_FILE_H_
