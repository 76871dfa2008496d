#include "simulator/replay_device.h"

#include <mutex>

#include "simulator/device_log.h"
#include "simulator/network_line.h"
#include "simulator/replay_core.h"

namespace scantk::sim {
namespace {

constexpr int kMostHosts = 1000;  // a recorded device sent its busy greetings itself

}  // namespace

class ReplayDevice::Impl {
 public:
  Impl(const Recording& recording, const ReplayConfig& config)
      : log(config.keep_log, config.log_path),
        core(recording, config.pauses,
             log.wanted()
                 ? ReplayCore::LogLine([this](const std::string& text) { log.Write(text); })
                 : ReplayCore::LogLine(),
             SteadyMilliseconds),
        recorder(
            config.record_path.empty()
                ? nullptr
                : std::make_unique<Recorder>(config.record_path, "A replay.", SteadyMilliseconds)),
        line(config.address, config.port, kMostHosts, core, recorder.get(), mutex) {
    line.Start();
  }

  mutable std::mutex mutex;  // guards everything below
  DeviceLog log;
  ReplayCore core;
  std::unique_ptr<Recorder> recorder;
  NetworkLine line;
};

ReplayDevice::ReplayDevice(const Recording& recording, const ReplayConfig& config)
    : impl_(std::make_unique<Impl>(recording, config)) {}
ReplayDevice::~ReplayDevice() = default;

std::vector<std::string> ReplayDevice::log() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->log.lines();
}

int64_t ReplayDevice::departures() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.departures;
}

}  // namespace scantk::sim
