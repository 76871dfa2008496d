// Class and interface identifiers in their registry form, the same on every system.
#include <cstdio>

#include "platform/component.h"

namespace scantk {
namespace {

constexpr char kShape[] = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
constexpr size_t kTextLength = sizeof kShape - 1;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

std::string GuidText(const GUID& guid) {
  char text[kTextLength + 1];
  const auto& tail = guid.Data4;
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, tail[0], tail[1],
                tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
  return text;
}

bool ParseGuid(const std::string& text, GUID* guid) {
  if (text.size() != kTextLength) return false;
  uint8_t bytes[16] = {};
  size_t digits = 0;
  for (size_t i = 0; i < kTextLength; ++i) {
    if (kShape[i] != 'x') {
      if (text[i] != kShape[i]) return false;
      continue;
    }
    const int digit = HexDigit(text[i]);
    if (digit < 0) return false;
    uint8_t& byte = bytes[digits++ / 2];
    byte = static_cast<uint8_t>(byte << 4 | digit);
  }
  // The text shows the first three fields as numbers, the rest byte by byte.
  guid->Data1 = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
                static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
  guid->Data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
  guid->Data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(guid->Data4, bytes + 8, 8);
  return true;
}

}  // namespace scantk
