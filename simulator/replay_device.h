// A recorded device on the network.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulator/recording.h"

namespace scantk::sim {

struct ReplayConfig {
  std::string address = "127.0.0.1";  ///< local IPv4 address
  uint16_t port = 9290;
  int pauses = 100;         ///< percent of those that were recorded; 0 plays without pauses
  bool keep_log = true;     ///< keep the conversation for log()
  std::string log_path;     ///< also write it to this file, "-" for standard error
  std::string record_path;  ///< record the replay to this file
};

/// Listens from construction to destruction, on a thread of its own; see ReplayCore for what it
/// says. Every method may be called from any thread.
class ReplayDevice {
 public:
  /// Returns once the device listens. Throws what SimulatedDevice does.
  ReplayDevice(const Recording& recording, const ReplayConfig& config);
  ~ReplayDevice();
  ReplayDevice(const ReplayDevice&) = delete;
  ReplayDevice& operator=(const ReplayDevice&) = delete;

  std::vector<std::string> log() const;
  /// Commands of hosts that did not come as they were recorded.
  int64_t departures() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace scantk::sim
