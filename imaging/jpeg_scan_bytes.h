// A window onto one interval of entropy-coded data (up to the next marker) with the stuffed zero
// bytes taken out, so that the decoder reads plain bits.
#ifndef SCANTK_IMAGING_JPEG_SCAN_BYTES_H_
#define SCANTK_IMAGING_JPEG_SCAN_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <memory>

namespace scantk {

class JpegScanBytes {
 public:
  // Of these, the window holds at least so many while the input has them and no marker comes.
  static constexpr size_t kLowWater = 4096;
  // Readable behind the window's end, with any content: a decoder may go on with the most that an
  // MCU takes before it looks where it is.
  static constexpr size_t kOverrun = 2560;

  // False without memory.
  bool Allocate();

  // Takes in more of the input. Its first byte must be the one that bit() is in, and what follows
  // must be what followed in the calls before.
  void Fill(const uint8_t* input, size_t available);

  const uint8_t* bytes() const { return memory_->bytes + begin_; }
  uint64_t bit() const { return bit_; }  // the next bit, 0 to 7
  uint64_t end_bit() const { return 8 * static_cast<uint64_t>(end_ - begin_); }
  bool at_marker() const { return at_marker_; }  // a marker follows the last byte

  // The next bit is now `bit`, at most end_bit(). Returns the number of input bytes passed.
  size_t Advance(uint64_t bit);

  // Input bytes that the window stands for.
  size_t covered() const { return covered_; }

  // Begins another interval.
  void Reset();

 private:
  void Compact();

  static constexpr size_t kCapacity = 2 * kLowWater;

  struct Memory {
    uint8_t bytes[kCapacity + kOverrun] = {};
    uint16_t stuffed[kCapacity];  // where a zero byte was taken out, in order
  };
  std::unique_ptr<Memory> memory_;
  size_t first_stuffed_ = 0;
  size_t last_stuffed_ = 0;
  size_t begin_ = 0;
  size_t end_ = 0;
  size_t covered_ = 0;
  uint64_t bit_ = 0;
  bool at_marker_ = false;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_SCAN_BYTES_H_
