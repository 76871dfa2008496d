#include "simulator/simulated_device.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>

#include "simulator/device_log.h"
#include "simulator/network_line.h"
#include "simulator/recording.h"
#include "simulator/scanner_core.h"

namespace scantk::sim {

class SimulatedDevice::Impl {
 public:
  explicit Impl(DeviceConfig given)
      : config(CheckedConfig(std::move(given))),
        log(config.keep_log, config.log_path),
        core(config,
             log.wanted()
                 ? ScannerCore::LogLine([this](const std::string& text) { log.Write(text); })
                 : ScannerCore::LogLine(),
             SteadyMilliseconds),
        recorder(config.record_path.empty()
                     ? nullptr
                     : std::make_unique<Recorder>(config.record_path,
                                                  "A simulated device, " + config.model + ".",
                                                  SteadyMilliseconds)),
        line(config.address, config.port, config.max_connections, core, recorder.get(), mutex) {
    line.Start();
  }

  const DeviceConfig config;
  mutable std::mutex mutex;  // guards everything below
  DeviceLog log;
  ScannerCore core;
  std::unique_ptr<Recorder> recorder;
  NetworkLine line;
};

SimulatedDevice::SimulatedDevice(DeviceConfig config)
    : impl_(std::make_unique<Impl>(std::move(config))) {}
SimulatedDevice::~SimulatedDevice() = default;

Stats SimulatedDevice::stats() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.stats;
}

std::vector<std::string> SimulatedDevice::log() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->log.lines();
}

int SimulatedDevice::CountInLog(const std::string& text) const {
  std::lock_guard guard(impl_->mutex);
  return impl_->log.Count(text);
}

void SimulatedDevice::ClearLog() {
  std::lock_guard guard(impl_->mutex);
  impl_->log.Clear();
}

int SimulatedDevice::lock_holder() const {
  std::lock_guard guard(impl_->mutex);
  return static_cast<int>(impl_->core.lock_holder);
}

void SimulatedDevice::ReserveElsewhere(bool reserved) {
  std::lock_guard guard(impl_->mutex);
  int64_t& holder = impl_->core.lock_holder;
  if (reserved) holder = -1;
  if (!reserved && holder == -1) holder = 0;
}

int SimulatedDevice::open_connections() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->line.OpenConnections();
}

void SimulatedDevice::AddFault(const Fault& fault) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.faults.Add(fault);
}

void SimulatedDevice::AddFault(const std::string& text) {
  AddFault(ParseFault(text));
}

void SimulatedDevice::ClearFaults() {
  std::lock_guard guard(impl_->mutex);
  impl_->core.faults.Clear();
}

void SimulatedDevice::RaiseError(int code) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.errors.push_back(code);
}

void SimulatedDevice::SetSheets(int sheets) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.sheets = sheets;
}

int SimulatedDevice::sheets() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.sheets;
}

std::optional<int64_t> SimulatedDevice::Variable(int number) const {
  std::lock_guard guard(impl_->mutex);
  const sim::Variable* variable = impl_->core.variables.Find(number);
  if (!variable || variable->is_text) return {};
  return variable->value;
}

void SimulatedDevice::SetVariable(const VariableOverride& change) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.variables.Change(change);
}

void SimulatedDevice::SetPaper(const std::string& paper) {
  auto made = MakePaper(paper);
  std::lock_guard guard(impl_->mutex);
  impl_->core.paper = std::move(made);
}

std::optional<PageSettings> SimulatedDevice::last_page() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.last_page;
}

const DeviceConfig& SimulatedDevice::config() const {
  return impl_->config;
}

DeviceConfig CheckedConfig(DeviceConfig config) {
  const DeliveryOptions& delivery = config.delivery;
  if (delivery.block_bytes < 64 || delivery.record_bytes < 1 || delivery.record_bytes > 32767)
    throw std::invalid_argument("blocks take 64 bytes or more, records 1 to 32767");
  const int blocks = delivery.jpeg_horizontal * delivery.jpeg_vertical;
  if (std::min(delivery.jpeg_horizontal, delivery.jpeg_vertical) < 1 || blocks > 8 ||
      std::max(delivery.jpeg_horizontal, delivery.jpeg_vertical) > 4)
    throw std::invalid_argument("JPEG sampling factors are 1 to 4, their product at most 8");
  return config;
}

PageSettings DefaultPage(const std::string& model) {
  const Variables variables(model);
  PageSettings settings;
  settings.width = static_cast<int>(variables.Get(number::kXExtent));
  settings.height = static_cast<int>(variables.Get(number::kYExtent));
  return settings;
}

}  // namespace scantk::sim
