// How far a network device can be reached, without the toolkit.
#ifndef SCANTK_HOST_NETWORK_PROBE_H_
#define SCANTK_HOST_NETWORK_PROBE_H_

#include <cstdint>
#include <string>

namespace scanhost {

// The IPv4 address of a host name or of an address in text; empty when it has none, with the
// system's reason in *reason. May take as long as the system's name service.
std::string ResolveHost(const std::string& name, std::string* reason);

struct Probe {
  bool connected = false;
  std::string reason;    // why not
  std::string greeting;  // the two characters that the device sends first; fewer: it sent no more
};
// Connects to an IPv4 address and waits for the greeting, `milliseconds` at most for each.
Probe ProbePort(const std::string& address, uint16_t port, uint32_t milliseconds);

// "process 4711 (scanhost)" for the holder of the device's lock on this computer, where the system
// tells; empty otherwise. `device`: the name by which it is opened.
std::string LockHolder(const std::string& device);

}  // namespace scanhost

#endif  // SCANTK_HOST_NETWORK_PROBE_H_
