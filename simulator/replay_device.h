// A recorded device.
#ifndef SCANTK_SIMULATOR_REPLAY_DEVICE_H_
#define SCANTK_SIMULATOR_REPLAY_DEVICE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulator/line.h"
#include "simulator/recording.h"

namespace scantk::sim {

struct ReplayConfig {
  std::string address = "127.0.0.1";  // local IPv4 address
  uint16_t port = 9290;
  int pauses = 100;         // percent of those that were recorded; 0 plays without pauses
  bool keep_log = true;     // keep the conversation for log()
  std::string log_path;     // also write it to this file, "-" for standard error
  std::string record_path;  // record the replay to this file
};

// Listens from construction to destruction, on a thread of its own; see ReplayCore for what it
// says. Every method may be called from any thread.
class ReplayDevice {
 public:
  // Returns once the device listens. Throws what SimulatedDevice does.
  ReplayDevice(const Recording& recording, const ReplayConfig& config);
  // On another line (UsbLine, Dot4Line): address and port do not matter, nor does the greeting
  // that was recorded.
  ReplayDevice(const Recording& recording, const ReplayConfig& config, const MakeLine& make_line);
  ~ReplayDevice();
  ReplayDevice(const ReplayDevice&) = delete;
  ReplayDevice& operator=(const ReplayDevice&) = delete;

  std::vector<std::string> log() const;
  // Commands of hosts that did not come as they were recorded.
  int64_t departures() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_REPLAY_DEVICE_H_
