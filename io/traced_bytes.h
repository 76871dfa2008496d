// The head of a buffer as a trace line shows it.
#ifndef SCANTK_IO_TRACED_BYTES_H_
#define SCANTK_IO_TRACED_BYTES_H_

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "io/transport.h"

namespace scantk {

// A copy of at most kTracedBytes bytes, shown up to the first NUL in it.
class TracedBytes {
 public:
  TracedBytes(const void* buffer, uint32_t length) {
    if (buffer) std::memcpy(text_, buffer, std::min<size_t>(length, kTracedBytes));
  }
  const char* Text() const { return text_; }
  // Commands begin with the escape character, which a text cannot show.
  const char* BehindEscape() const { return text_ + 1; }

 private:
  char text_[kTracedBytes + 1] = {};
};

// An address as "%x" shows it.
inline uint32_t TracedAddress(const void* address) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
}

}  // namespace scantk

#endif  // SCANTK_IO_TRACED_BYTES_H_
