// Stands between hosts and a real device on the network, and writes down what passes.
#ifndef SCANTK_SIMULATOR_TAP_H_
#define SCANTK_SIMULATOR_TAP_H_

#include <cstdint>
#include <memory>
#include <string>

namespace scantk::sim {

struct TapConfig {
  std::string address = "127.0.0.1";  // local IPv4 address at which hosts find it
  uint16_t port = 9290;
  std::string device;  // the device's host name or IPv4 address
  uint16_t device_port = 9290;
  std::string record_path;
};

// Listens from construction to destruction, on a thread of its own. A host's connection is
// accepted before the device's is made: a device that cannot be reached shows as a connection
// that is reset.
class Tap {
 public:
  // Returns once it listens. Throws std::runtime_error (address in use, no such device, no file)
  // or std::invalid_argument (no address) with a text for people.
  explicit Tap(const TapConfig& config);
  ~Tap();
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_TAP_H_
