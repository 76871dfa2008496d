#include "imaging/mirror.h"

#include <array>
#include <cstring>

namespace scantk {
namespace {

template <size_t kPixelBytes>
void Mirror(const uint8_t* input, uint8_t* output, size_t bytes, const uint8_t*) {
  uint8_t* to = output + bytes;
  for (size_t at = 0; at + kPixelBytes <= bytes; at += kPixelBytes) {
    to -= kPixelBytes;
    std::memcpy(to, input + at, kPixelBytes);
  }
}

constexpr uint8_t ReverseBits(unsigned byte) {
  unsigned reversed = 0;
  for (int bit = 0; bit < 8; ++bit) reversed |= (byte >> bit & 1u) << (7 - bit);
  return static_cast<uint8_t>(reversed);
}

constexpr std::array<uint8_t, 256> kReversed = [] {
  std::array<uint8_t, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) table[byte] = ReverseBits(byte);
  return table;
}();

void MirrorBits(const uint8_t* input, uint8_t* output, size_t bytes, const uint8_t*) {
  for (size_t at = 0; at < bytes; ++at) output[bytes - 1 - at] = kReversed[input[at]];
}

}  // namespace

constinit const MirrorFunctions kPlainMirrors = {MirrorBits, Mirror<1>, Mirror<2>, Mirror<3>,
                                                 Mirror<6>};

MirrorFunction MirrorFunctions::Choose(int bits_per_pixel) const {
  switch (bits_per_pixel) {
    case 1:
      return bits;
    case 8:
      return one_byte;
    case 16:
      return two_bytes;
    case 24:
      return three_bytes;
    case 48:
      return six_bytes;
    default:
      return nullptr;
  }
}

}  // namespace scantk
