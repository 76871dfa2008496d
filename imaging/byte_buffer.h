// The memory of the pipeline and its transforms. Sizes come from traits, and traits come from a
// device, so every request passes through here and is held against one limit.
#ifndef SCANTK_IMAGING_BYTE_BUFFER_H_
#define SCANTK_IMAGING_BYTE_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace scantk {

// The largest single buffer, in bytes: above any row that a scanner makes (2^20 pixels of 48 bits
// take 6 MB) and all that the JPEG decoder needs, far below what would hurt the host.
inline constexpr size_t kMaxBufferBytes = size_t{8} << 20;

// Bytes allocated behind every buffer's capacity, never counted as space.
inline constexpr size_t kBufferSlack = 12;

// Uninitialised bytes that only ever grow. Nothing throws.
class ByteBuffer {
 public:
  uint8_t* data() { return bytes_.get(); }
  const uint8_t* data() const { return bytes_.get(); }
  size_t capacity() const { return capacity_; }

  // Grows to at least `capacity` bytes; the `kept` bytes from offset `from` move to the start.
  // False, with the buffer as it was, when the size is beyond the limit or there is no memory.
  bool Grow(size_t capacity, size_t from = 0, size_t kept = 0) {
    if (capacity <= capacity_) return true;
    if (capacity > kMaxBufferBytes) return false;
    std::unique_ptr<uint8_t[]> grown(new (std::nothrow) uint8_t[capacity + kBufferSlack]);
    if (!grown) return false;
    if (kept > 0) std::memcpy(grown.get(), bytes_.get() + from, kept);
    bytes_ = std::move(grown);
    capacity_ = capacity;
    return true;
  }

 private:
  std::unique_ptr<uint8_t[]> bytes_;
  size_t capacity_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_BYTE_BUFFER_H_
