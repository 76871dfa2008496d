// A block of bytes without content, whose allocation may fail without throwing.
#ifndef SCANTK_PROTOCOL_RAW_BUFFER_H_
#define SCANTK_PROTOCOL_RAW_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace scantk {

class RawBuffer {
 public:
  // Replaces what it held by `size` bytes of unknown content. False, and the buffer empty: no
  // memory.
  bool Allocate(size_t size) {
    Free();
    bytes_.reset(new (std::nothrow) uint8_t[size]);
    if (!bytes_) return false;
    size_ = size;
    return true;
  }
  void Free() {
    bytes_.reset();
    size_ = 0;
  }

  uint8_t* data() const { return bytes_.get(); }
  size_t size() const { return size_; }
  explicit operator bool() const { return bytes_ != nullptr; }

 private:
  std::unique_ptr<uint8_t[]> bytes_;
  size_t size_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_RAW_BUFFER_H_
