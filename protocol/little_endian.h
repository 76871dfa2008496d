// Numbers as the device sends them.
#ifndef SCANTK_PROTOCOL_LITTLE_ENDIAN_H_
#define SCANTK_PROTOCOL_LITTLE_ENDIAN_H_

#include <cstdint>

namespace scantk {

inline uint32_t LittleEndian32(const uint8_t* bytes) {
  return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

inline int16_t LittleEndian16(const uint8_t* bytes) {
  return static_cast<int16_t>(bytes[0] | bytes[1] << 8);
}

inline uint32_t ByteSwapped(uint32_t number) {
  return number >> 24 | (number >> 8 & 0xFF00u) | (number << 8 & 0xFF0000u) | number << 24;
}

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_LITTLE_ENDIAN_H_
