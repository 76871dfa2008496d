#include "simulator/simulated_device.h"

#include "simulator/network_line.h"
#include "simulator/scanner_core.h"

namespace scantk::sim {

class SimulatedDevice::Impl {
 public:
  Impl(DeviceConfig given, const MakeLine& make_line)
      : config(CheckedConfig(std::move(given))),
        log(config.keep_log, config.log_path),
        core(config, log.Lines(), SteadyMilliseconds),
        recorder(Recorder::Open(config.record_path, "A simulated device, " + config.model + ".")),
        line(make_line({mutex, core, log, recorder.get()})) {
    line->Start();
  }
  ~Impl() { line->Stop(); }

  const DeviceConfig config;
  mutable std::mutex mutex;  // guards everything below
  DeviceLog log;
  ScannerCore core;
  std::unique_ptr<Recorder> recorder;
  std::unique_ptr<Line> line;
};

SimulatedDevice::SimulatedDevice(const DeviceConfig& config)
    : impl_(std::make_unique<Impl>(
          config, NetworkLineAt(config.address, config.port, config.max_connections))) {}

SimulatedDevice::SimulatedDevice(DeviceConfig config, const MakeLine& make_line, std::string path)
    : path_(std::move(path)), impl_(std::make_unique<Impl>(std::move(config), make_line)) {}

SimulatedDevice::~SimulatedDevice() = default;

const DeviceConfig& SimulatedDevice::config() const {
  return impl_->config;
}

Line& SimulatedDevice::line() const {
  return *impl_->line;
}

std::mutex& SimulatedDevice::mutex() const {
  return impl_->mutex;
}

void SimulatedDevice::Unplug() {
  std::lock_guard guard(impl_->mutex);
  impl_->log.Write("unplugged");
  impl_->line->Detach();
  impl_->line->Wake();
}

void SimulatedDevice::Plug() {
  std::lock_guard guard(impl_->mutex);
  impl_->line->Attach();
  impl_->log.Write("plugged in");
  impl_->line->Wake();
}

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
  if (reserved) holder = ScannerCore::kElsewhere;
  if (!reserved && holder == ScannerCore::kElsewhere) holder = 0;
}

int SimulatedDevice::open_connections() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->line->OpenConnections();
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

bool SimulatedDevice::paper_in_path() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.paper_in_path();
}

void SimulatedDevice::TakePaperOut() {
  std::lock_guard guard(impl_->mutex);
  impl_->core.TakePaperOut();
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

}  // namespace scantk::sim
