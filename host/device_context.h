// What every command that uses a device begins with: the device that is meant (a configured one, or
// a simulated one of the command's own), the toolkit, and a session that holds the lock.
#ifndef SCANTK_HOST_DEVICE_CONTEXT_H_
#define SCANTK_HOST_DEVICE_CONTEXT_H_

#include <optional>
#include <string>
#include <vector>

#include "host/interruption.h"
#include "host/session.h"
#include "host/setup/simulation.h"

namespace scanhost {

struct DeviceOptions {
  std::string device;   // as FindDevice takes it
  std::string library;  // empty: the registered one
  bool simulate = false;
  std::vector<std::string> simulator_words;
  std::string trace;  // of a simulated device; empty: none
  std::string trace_level = "data";
  uint32_t timeout_ms = 30000;     // how long to wait for a device that is in use
  std::optional<uint32_t> wait_s;  // the same, with --wait
};

// The device, without a connection: starts the simulated one. Throws UsageError or HostFailure.
class ChosenDevice {
 public:
  explicit ChosenDevice(const DeviceOptions& options);
  const Device& device() const { return device_; }

 private:
  std::optional<Simulation> simulation_;
  Device device_;
};

class DeviceContext {
 public:
  // Throws ToolkitFailure, HostFailure, UsageError or Interrupted.
  explicit DeviceContext(const DeviceOptions& options);

  const Device& device() const { return chosen_.device(); }
  const Toolkit& toolkit() const { return toolkit_; }
  Session& session() { return session_; }

 private:
  ChosenDevice chosen_;
  Toolkit toolkit_;
  Session session_;
  Interruption::Guard guard_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_DEVICE_CONTEXT_H_
