// Names of network devices: tokens separated by backslashes, each a key and a value with a colon
// between them, as in \name:10.1.2.3\port:1.
#ifndef SCANTK_IO_NETWORK_NAME_H_
#define SCANTK_IO_NETWORK_NAME_H_

#include <cstdint>

namespace scantk {

// A device name, taken apart. The texts end with a NUL and have none behind it.
struct NetworkDeviceId {
  char host[260];  // host name or dotted IPv4 address
  uint16_t port;   // of the print server: 0 when the name has none
  char macaddr[24];
  char guid[80];
};
static_assert(sizeof(NetworkDeviceId) == 366);

// Fills `id` from `name`: the keys name and hostname (host), port, macaddr and guid, without regard
// to case; others are ignored, a later one replaces an earlier one, text too long is cut. 0, or
// E_FAIL with `id` untouched when a pointer is null or the name empty. Any thread.
int32_t ParseNetworkDeviceName(const char* name, NetworkDeviceId* id);

enum class HostAddressKind : uint8_t { kDotted = 0, kHostName = 1, kUnsupported = 255 };

// What kind of address a text is: four decimal numbers, a name to be looked up, or one that cannot
// be connected to (numbers out of range, the longer addresses of hex digits and colons). Any
// thread.
HostAddressKind ClassifyHostAddress(const char* text);

// The TCP port that serves scans behind print-server port `port`; 0 when there is none.
uint16_t ScanPort(uint16_t port);

}  // namespace scantk

#endif  // SCANTK_IO_NETWORK_NAME_H_
