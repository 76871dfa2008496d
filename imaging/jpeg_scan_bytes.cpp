#include "imaging/jpeg_scan_bytes.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace scantk {
namespace {

// Copies up to the next 0xFF, `count` bytes at most; `to` has room for 7 more. Returns the bytes.
size_t CopyPlain(const uint8_t* from, size_t count, uint8_t* to) {
  constexpr uint64_t kOnes = 0x0101010101010101;
  size_t at = 0;
  for (; at + 8 <= count; at += 8) {
    uint64_t word;
    std::memcpy(&word, from + at, 8);
    const uint64_t zeros = ~word;  // a zero byte is a 0xFF
    if ((zeros - kOnes) & word & (kOnes << 7)) break;
    std::memcpy(to + at, &word, 8);
  }
  for (; at < count && from[at] != 0xFF; ++at) to[at] = from[at];
  return at;
}

}  // namespace

bool JpegScanBytes::Allocate() {
  if (!memory_) memory_.reset(new (std::nothrow) Memory);
  return memory_ != nullptr;
}

void JpegScanBytes::Fill(const uint8_t* input, size_t available) {
  if (covered_ > available) {  // a caller who went back on his word: take what is there now
    const uint64_t bit = bit_;
    Reset();
    bit_ = bit;
  }
  if (at_marker_ || end_ - begin_ >= kLowWater) return;
  Compact();

  uint8_t* const bytes = memory_->bytes;
  const uint8_t* from = input + covered_;
  const uint8_t* const input_end = input + available;
  while (end_ < kCapacity && from < input_end) {
    const size_t span = std::min(kCapacity - end_, static_cast<size_t>(input_end - from));
    const size_t plain = CopyPlain(from, span, bytes + end_);
    end_ += plain;
    from += plain;
    if (plain == span) continue;
    if (input_end - from < 2) break;  // what it is depends on a byte that is not here
    if (from[1] != 0) {
      at_marker_ = true;
      break;
    }
    memory_->stuffed[last_stuffed_++] = static_cast<uint16_t>(end_);
    bytes[end_++] = 0xFF;
    from += 2;
  }
  covered_ = static_cast<size_t>(from - input);
}

// Moves what is left to the start.
void JpegScanBytes::Compact() {
  std::memmove(memory_->bytes, memory_->bytes + begin_, end_ - begin_);
  uint16_t* const stuffed = memory_->stuffed;
  for (size_t i = first_stuffed_; i < last_stuffed_; ++i) {
    stuffed[i - first_stuffed_] = static_cast<uint16_t>(stuffed[i] - begin_);
  }
  last_stuffed_ -= first_stuffed_;
  first_stuffed_ = 0;
  end_ -= begin_;
  begin_ = 0;
}

size_t JpegScanBytes::Advance(uint64_t bit) {
  const size_t count = static_cast<size_t>(bit >> 3);
  const size_t before = first_stuffed_;
  begin_ += count;
  while (first_stuffed_ < last_stuffed_ && memory_->stuffed[first_stuffed_] < begin_) {
    ++first_stuffed_;
  }
  const size_t passed = count + (first_stuffed_ - before);
  covered_ -= passed;
  bit_ = bit & 7;
  return passed;
}

void JpegScanBytes::Reset() {
  begin_ = end_ = covered_ = first_stuffed_ = last_stuffed_ = 0;
  bit_ = 0;
  at_marker_ = false;
}

}  // namespace scantk
