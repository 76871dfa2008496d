#include "simulator/attached_device.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace scantk::sim {
namespace {

constexpr size_t kLogLines = 20000;

}  // namespace

int64_t AttachedDevice::Milliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

AttachedDevice::AttachedDevice(DeviceConfig config, std::string path)
    : config_(CheckedConfig(std::move(config))),
      path_(std::move(path)),
      core_(config_,
            config_.keep_log || !config_.log_path.empty()
                ? ScannerCore::LogLine([this](const std::string& text) { Log(text); })
                : ScannerCore::LogLine(),
            Milliseconds),
      started_(Milliseconds()) {
  if (!config_.log_path.empty())
    log_file_ = config_.log_path == "-" ? stderr : std::fopen(config_.log_path.c_str(), "w");
  if (!config_.log_path.empty() && !log_file_)
    throw std::runtime_error(config_.log_path + ": " + std::strerror(errno));
  if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0)
    throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
}

AttachedDevice::~AttachedDevice() {
  close(wake_[0]);
  close(wake_[1]);
  if (log_file_ && log_file_ != stderr) std::fclose(log_file_);
}

void AttachedDevice::Start() {
  Plug();
  thread_ = std::thread([this] {
    while (!stop_) Turn();
  });
}

void AttachedDevice::Stop() {
  stop_ = true;
  Wake();
  if (thread_.joinable()) thread_.join();
  std::lock_guard guard(mutex_);
  Detach();
}

void AttachedDevice::Wake() {
  const char word = 0;
  [[maybe_unused]] const ssize_t written = write(wake_[1], &word, 1);
}

void AttachedDevice::TakeWakeWords() {
  char words[64];
  while (read(wake_[0], words, sizeof words) > 0) {
  }
}

void AttachedDevice::Unplug() {
  std::lock_guard guard(mutex_);
  Log("unplugged");
  Detach();
  Wake();
}

void AttachedDevice::Plug() {
  std::lock_guard guard(mutex_);
  Detach();
  Attach();
  Log("plugged in as " + path_);
  Wake();
}

void AttachedDevice::Log(const std::string& text) {
  char time[32];
  std::snprintf(time, sizeof time, "%9.3f ", static_cast<double>(Milliseconds() - started_) / 1e3);
  if (log_file_) {
    std::fprintf(log_file_, "%s%s\n", time, text.c_str());
    std::fflush(log_file_);
  }
  if (!config_.keep_log) return;
  log_lines_.push_back(time + text);
  if (log_lines_.size() > kLogLines) log_lines_.pop_front();
}

// --- the line ---

std::unique_ptr<AttachedDevice::Line> AttachedDevice::NewLine() {
  auto line = std::make_unique<Line>();
  line->host.id = ++next_id_;
  line->host.now.connection = next_id_;
  ++core_.stats.connections;
  return line;
}

size_t AttachedDevice::Take(Line& line, size_t most, std::vector<uint8_t>* to) {
  Conversation& host = line.host;
  core_.Produce(host);
  const int64_t now = Milliseconds();
  if (host.out.empty() || now < host.stalled_until) return 0;
  if (host.bytes_per_ms > 0) {
    const int64_t elapsed = line.paced_at ? now - line.paced_at : 1;
    if (elapsed <= 0) return 0;
    most = static_cast<size_t>(std::min(static_cast<int64_t>(most), elapsed * host.bytes_per_ms));
    line.paced_at = now;
  }
  const int64_t rate = host.bytes_per_ms;
  // A stall or a slower pace that a block brings begins with that block.
  size_t taken = 0;
  while (taken < most && !host.out.empty() && host.stalled_until <= now &&
         host.bytes_per_ms == rate) {
    const std::vector<uint8_t>& first = host.out.front();
    const size_t size = std::min(first.size() - host.sent_of_first, most - taken);
    const auto begin = first.begin() + static_cast<std::ptrdiff_t>(host.sent_of_first);
    to->insert(to->end(), begin, begin + static_cast<std::ptrdiff_t>(size));
    taken += size;
    host.sent_of_first += size;
    host.out_bytes -= size;
    if (host.sent_of_first < first.size()) break;
    host.out.pop_front();
    host.sent_of_first = 0;
    core_.Produce(host);
  }
  core_.stats.bytes_sent += static_cast<int64_t>(taken);
  return taken;
}

int AttachedDevice::Delay(Line& line) {
  Conversation& host = line.host;
  core_.Produce(host);
  if (host.out.empty() && !host.drop_when_sent && !host.reset_when_sent) return -1;
  const int64_t stall = host.stalled_until - Milliseconds();
  if (stall > 0) return static_cast<int>(std::min<int64_t>(stall, 1 << 30));
  return host.bytes_per_ms > 0 && !host.out.empty() ? 1 : 0;
}

bool AttachedDevice::Breaks(const Line& line) {
  return line.host.out.empty() && (line.host.drop_when_sent || line.host.reset_when_sent) &&
         line.host.stalled_until <= Milliseconds();
}

// --- what its owner sees and disturbs ---

Stats AttachedDevice::stats() const {
  std::lock_guard guard(mutex_);
  return core_.stats;
}

std::vector<std::string> AttachedDevice::log() const {
  std::lock_guard guard(mutex_);
  return {log_lines_.begin(), log_lines_.end()};
}

int AttachedDevice::CountInLog(const std::string& text) const {
  std::lock_guard guard(mutex_);
  return static_cast<int>(
      std::count_if(log_lines_.begin(), log_lines_.end(),
                    [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

bool AttachedDevice::locked() const {
  std::lock_guard guard(mutex_);
  return core_.lock_holder != 0;
}

void AttachedDevice::AddFault(const std::string& text) {
  std::lock_guard guard(mutex_);
  core_.faults.Add(ParseFault(text));
}

void AttachedDevice::ClearFaults() {
  std::lock_guard guard(mutex_);
  core_.faults.Clear();
}

void AttachedDevice::RaiseError(int code) {
  std::lock_guard guard(mutex_);
  core_.errors.push_back(code);
}

void AttachedDevice::SetSheets(int sheets) {
  std::lock_guard guard(mutex_);
  core_.sheets = sheets;
}

std::optional<PageSettings> AttachedDevice::last_page() const {
  std::lock_guard guard(mutex_);
  return core_.last_page;
}

}  // namespace scantk::sim
