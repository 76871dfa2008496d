// CRC-32 as PNG, ZIP and Ethernet use it.
#ifndef SCANTK_HOST_CRC32_H_
#define SCANTK_HOST_CRC32_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace scanhost {

// Goes on from `crc`, which is 0 in the beginning.
inline uint32_t Crc32(uint32_t crc, const void* data, size_t size) {
  static const auto table = [] {
    std::array<uint32_t, 256> made{};
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ (value & 1 ? 0xEDB88320u : 0);
      made[i] = value;
    }
    return made;
  }();
  crc = ~crc;
  for (auto byte = static_cast<const uint8_t*>(data); size > 0; ++byte, --size)
    crc = crc >> 8 ^ table[(crc ^ *byte) & 255];
  return ~crc;
}

}  // namespace scanhost

#endif  // SCANTK_HOST_CRC32_H_
