// What every command that uses a device begins with: a simulated one if asked for, the device's
// entry in the registry, the toolkit, an open and locked session.
#ifndef SCANTK_HOST_DEVICE_CONTEXT_H_
#define SCANTK_HOST_DEVICE_CONTEXT_H_

#include <optional>

#include "host/arguments.h"
#include "host/session.h"
#include "host/simulation.h"

namespace scanhost {

class DeviceContext {
 public:
  // Reads --simulate, --trace, --library, --timeout and the device's name (the only positional
  // word). Waits for a device in use with a message on standard error; throws Interrupted when
  // Ctrl-C ended that wait.
  DeviceContext(const Arguments& arguments, uint32_t timeout_ms);

  const Toolkit& toolkit() const { return *toolkit_; }
  Session& session() { return *session_; }
  const Device& device() const { return device_; }

 private:
  // In the order of their lives.
  std::optional<Simulation> simulation_;
  Device device_;
  std::optional<Toolkit> toolkit_;
  std::optional<Session> session_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_DEVICE_CONTEXT_H_
