#include "imaging/jpeg_scan_bytes.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace scantk {

bool JpegScanBytes::Allocate() {
  if (!bytes_) bytes_.reset(new (std::nothrow) uint8_t[kCapacity + kOverrun]());
  return bytes_ != nullptr;
}

void JpegScanBytes::Fill(const uint8_t* input, size_t available) {
  if (covered_ > available) {  // a caller who went back on his word: take what is there now
    end_ = begin_;
    covered_ = 0;
    at_marker_ = false;
  }
  if (at_marker_ || end_ - begin_ >= kLowWater) return;
  std::memmove(bytes_.get(), bytes_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;

  const uint8_t* from = input + covered_;
  const uint8_t* const input_end = input + available;
  while (end_ < kCapacity && from < input_end) {
    const size_t span = std::min(kCapacity - end_, static_cast<size_t>(input_end - from));
    const void* found = std::memchr(from, 0xFF, span);
    const size_t plain =
        found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - from) : span;
    std::memcpy(bytes_.get() + end_, from, plain);
    end_ += plain;
    from += plain;
    if (!found) continue;
    if (input_end - from < 2) break;  // what it is depends on a byte that is not here
    if (from[1] != 0) {
      at_marker_ = true;
      break;
    }
    bytes_[end_++] = 0xFF;
    from += 2;
  }
  covered_ = static_cast<size_t>(from - input);
}

size_t JpegScanBytes::Advance(uint64_t bit) {
  const size_t count = static_cast<size_t>(bit >> 3);
  const uint8_t* at = bytes();
  const uint8_t* const to = at + count;
  size_t passed = count;
  while ((at = static_cast<const uint8_t*>(std::memchr(at, 0xFF, static_cast<size_t>(to - at))))) {
    ++passed;  // each had a zero byte behind it
    ++at;
  }
  begin_ += count;
  covered_ -= passed;
  bit_ = bit & 7;
  return passed;
}

void JpegScanBytes::Reset() {
  begin_ = end_ = covered_ = 0;
  bit_ = 0;
  at_marker_ = false;
}

}  // namespace scantk
