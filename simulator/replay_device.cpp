#include "simulator/replay_device.h"

#include <mutex>

#include "simulator/network_line.h"
#include "simulator/replay_core.h"

namespace scantk::sim {
namespace {

constexpr int kMostHosts = 1000;  // a recorded device sent its busy greetings itself

}  // namespace

class ReplayDevice::Impl {
 public:
  Impl(const Recording& recording, const ReplayConfig& config, const MakeLine& make_line)
      : log(config.keep_log, config.log_path),
        core(recording, config.pauses, log.Lines(), SteadyMilliseconds),
        recorder(Recorder::Open(config.record_path, "A replay.")),
        line(make_line({mutex, core, log, recorder.get()})) {
    line->Start();
  }
  ~Impl() { line->Stop(); }

  mutable std::mutex mutex;  // guards everything below
  DeviceLog log;
  ReplayCore core;
  std::unique_ptr<Recorder> recorder;
  std::unique_ptr<Line> line;
};

ReplayDevice::ReplayDevice(const Recording& recording, const ReplayConfig& config)
    : ReplayDevice(recording, config, NetworkLineAt(config.address, config.port, kMostHosts)) {}
ReplayDevice::ReplayDevice(const Recording& recording, const ReplayConfig& config,
                           const MakeLine& make_line)
    : impl_(std::make_unique<Impl>(recording, config, make_line)) {}
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
