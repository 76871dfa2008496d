#include "imaging/scale_bilevel.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/scale_columns.h"

namespace scantk {
namespace {

constexpr int64_t kOne = 0x10000;
constexpr int64_t kTwo = 2 * kOne;

// Which pixels of a byte (1 to 8 from the most significant bit) are doubled to make 8 + 2 m pixels.
constexpr bool IsDoubled(unsigned m, int pixel) {
  switch (m) {
    case 0:
      return false;
    case 1:
      return pixel == 4 || pixel == 8;
    case 2:
      return pixel % 2 == 0;
    case 3:
      return pixel != 1 && pixel != 5;
    default:
      return true;
  }
}

using StretchTable = std::array<std::array<uint16_t, 256>, 5>;

constexpr StretchTable kStretched = [] {
  StretchTable table{};
  for (unsigned m = 0; m <= 4; ++m) {
    for (unsigned byte = 0; byte < 256; ++byte) {
      unsigned bits = 0;
      for (int pixel = 1; pixel <= 8; ++pixel) {
        const unsigned bit = byte >> (8 - pixel) & 1u;
        bits = bits << 1 | bit;
        if (IsDoubled(m, pixel)) bits = bits << 1 | bit;
      }
      table[m][byte] = static_cast<uint16_t>(bits);
    }
  }
  return table;
}();

// Backwards, so that it can run in place.
void DoubleBytes(uint8_t* row, size_t bytes) {
  for (size_t i = bytes; i-- > 0;) {
    const uint16_t pixels = kStretched[4][row[i]];
    row[2 * i] = static_cast<uint8_t>(pixels >> 8);
    row[2 * i + 1] = static_cast<uint8_t>(pixels);
  }
}

// Packs the stretched bytes backwards from `end`; returns the number of pixels. `factor` is
// from 1.0 to 2.0, so there are at most twice as many.
size_t StretchBytes(const uint8_t* input, size_t bytes, int64_t factor, uint8_t* end) {
  int64_t carry = 0;  // in half pixels of 16.16, below one pair
  uint32_t bits = 0;
  unsigned held = 0;
  size_t made = 0;
  for (size_t i = bytes; i-- > 0;) {
    const int64_t due = carry + 8 * factor;
    carry = due & (kTwo - 1);
    const unsigned pairs = static_cast<unsigned>(due / kTwo);  // 4 to 8
    bits |= static_cast<uint32_t>(kStretched[pairs - 4][input[i]]) << held;
    held += 2 * pairs;
    made += 2 * pairs;
    for (; held >= 8; held -= 8, bits >>= 8) *--end = static_cast<uint8_t>(bits);
  }
  if (held > 0) *--end = static_cast<uint8_t>(bits);
  return made;
}

// Copies the `count` pixels that lie before `end` to the start of `output`, `room` pixels: what is
// too much is cut off (whole bytes went in, so what filled the last one came out too), what is
// missing is white (pairs of pixels were rounded down).
void CopyFromFirstPixel(const uint8_t* end, size_t count, uint8_t* output, size_t room) {
  const size_t bytes = (room + 7) / 8;
  const uint8_t* from = end - (count + 7) / 8;
  const unsigned shift = (8 - count % 8) % 8;
  count = std::min(count, room);
  for (size_t i = 0; i < bytes; ++i, ++from) {
    const unsigned low = from + 1 < end ? from[1] : 0xFFu;
    output[i] = from < end ? static_cast<uint8_t>((unsigned{from[0]} << 8 | low) >> (8 - shift))
                           : uint8_t{0xFF};
  }
  if (count % 8 != 0) output[count / 8] |= static_cast<uint8_t>(0xFFu >> count % 8);
}

unsigned Pixel(const uint8_t* row, size_t index) {
  return row[index / 8] >> (7 - index % 8) & 1u;
}

void SetPixel(uint8_t* row, size_t index, unsigned value) {
  row[index / 8] = static_cast<uint8_t>(row[index / 8] | value << (7 - index % 8));
}

}  // namespace

void BilevelScaler::Init(size_t pixels, size_t out_pixels, int64_t factor) {
  pixels_ = pixels;
  out_pixels_ = out_pixels;
  factor_ = factor;
  size_t bytes = (pixels + 7) / 8;
  for (; factor > kTwo; factor /= 2) bytes *= 2;
  doubled_.resize(bytes);
  stretched_.resize(2 * bytes);
}

void BilevelScaler::Scale(const uint8_t* input, uint8_t* output) {
  if (factor_ < kOne) return Sample(input, output);
  if (factor_ == kOne) {
    std::memcpy(output, input, (out_pixels_ + 7) / 8);
    return;
  }
  size_t bytes = (pixels_ + 7) / 8;
  int64_t factor = factor_;
  std::memcpy(doubled_.data(), input, bytes);
  for (; factor > kTwo; factor /= 2, bytes *= 2) DoubleBytes(doubled_.data(), bytes);
  uint8_t* const end = stretched_.data() + stretched_.size();
  const size_t made = StretchBytes(doubled_.data(), bytes, factor, end);
  CopyFromFirstPixel(end, made, output, out_pixels_);
}

void BilevelScaler::Sample(const uint8_t* input, uint8_t* output) const {
  const int64_t step = ScaleStep(factor_);
  std::memset(output, 0, (out_pixels_ + 7) / 8);
  for (size_t j = 0; j < out_pixels_; ++j) {
    const size_t source = static_cast<size_t>(static_cast<int64_t>(j) * step / kOne);
    SetPixel(output, j, Pixel(input, std::min(source, pixels_ - 1)));
  }
}

BilevelSmoother::BilevelSmoother(size_t pixels, size_t out_pixels, int64_t x_factor,
                                 int64_t y_factor)
    : pixels_(pixels),
      out_pixels_(out_pixels),
      step_(ScaleStep(x_factor)),
      enlarges_(x_factor > kOne && y_factor > kOne) {}

void BilevelSmoother::Scale(const uint8_t* above, const uint8_t* row, const uint8_t* below,
                            bool lower, uint8_t* output) const {
  std::memset(output, 0, (out_pixels_ + 7) / 8);
  const uint8_t* near_row = lower ? below : above;
  const uint8_t* far_row = lower ? above : below;
  for (size_t j = 0; j < out_pixels_; ++j) {
    const int64_t position = static_cast<int64_t>(j) * step_;
    const size_t x = std::min(static_cast<size_t>(position / kOne), pixels_ - 1);
    unsigned value = Pixel(row, x);
    if (enlarges_) {
      const unsigned left = x > 0 ? Pixel(row, x - 1) : value;
      const unsigned right = x + 1 < pixels_ ? Pixel(row, x + 1) : value;
      const bool right_half = position % kOne >= kOne / 2;
      const unsigned near_side = right_half ? right : left;
      const unsigned far_side = right_half ? left : right;
      const unsigned near = Pixel(near_row, x);
      if (near == near_side && near != far_side && near_side != Pixel(far_row, x)) value = near;
    }
    SetPixel(output, j, value);
  }
}

}  // namespace scantk
