#include "io/network_name.h"

#include <climits>
#include <cstring>
#include <string_view>

#include "contract/component_types.h"
#include "platform/network.h"

namespace scantk {
namespace {

char LowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsKey(std::string_view text, std::string_view key) {
  if (text.size() != key.size()) return false;
  for (size_t i = 0; i < key.size(); ++i)
    if (LowerCase(text[i]) != key[i]) return false;
  return true;
}

template <size_t N>
void CopyText(std::string_view text, char (&field)[N]) {
  std::memset(field, 0, N);
  std::memcpy(field, text.data(), text.size() < N ? text.size() : N - 1);
}

// The number at the head of a text, held at the largest 32-bit one, so that no number of digits
// wraps round to a port that exists.
uint16_t LeadingNumber(std::string_view text) {
  int64_t value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') break;
    value = value * 10 + (c - '0');
    if (value > INT_MAX) value = INT_MAX;
  }
  return static_cast<uint16_t>(value);
}

void ParseToken(std::string_view token, NetworkDeviceId* id) {
  const size_t colon = token.find(':');
  if (colon == std::string_view::npos) return;
  const std::string_view key = token.substr(0, colon);
  const std::string_view value = token.substr(colon + 1);
  if (IsKey(key, "name") || IsKey(key, "hostname")) {
    CopyText(value, id->host);
  } else if (IsKey(key, "port")) {
    id->port = LeadingNumber(value);
  } else if (IsKey(key, "macaddr")) {
    CopyText(value, id->macaddr);
  } else if (IsKey(key, "guid")) {
    CopyText(value, id->guid);
  }
}

}  // namespace

int32_t ParseNetworkDeviceName(const char* name, NetworkDeviceId* id) {
  if (!name || !id || *name == '\0') return E_FAIL;
  *id = {};
  std::string_view rest = name;
  while (!rest.empty()) {
    const size_t end = rest.find('\\');
    ParseToken(rest.substr(0, end), id);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return S_OK;
}

HostAddressKind ClassifyHostAddress(const char* text) {
  size_t dots = 0;
  size_t separators = 0;
  bool all_hex = true;
  bool all_decimal = true;
  for (const char* p = text; *p != '\0'; ++p) {
    const char c = LowerCase(*p);
    if (c == '.' || c == ':') {
      ++separators;
      if (c == '.') ++dots;
    } else if (c >= 'a' && c <= 'f') {
      all_decimal = false;
    } else if (c < '0' || c > '9') {
      all_hex = all_decimal = false;
    }
  }
  if (all_decimal && dots == 3 && separators == 3) {
    return TheNetwork().ParseDotted(text) != kNoAddress ? HostAddressKind::kDotted
                                                        : HostAddressKind::kUnsupported;
  }
  if (!all_hex || separators == 0 || separators == dots) return HostAddressKind::kHostName;
  return HostAddressKind::kUnsupported;
}

uint16_t ScanPort(uint16_t port) {
  switch (port) {
    case 0:
    case 1:
      return 9290;
    case 2:
      return 9291;
    case 3:
      return 9292;
    default:
      return 0;
  }
}

}  // namespace scantk
