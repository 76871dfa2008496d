#include "simulator/device_log.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace scantk::sim {
namespace {

constexpr size_t kMostLines = 20000;

}  // namespace

int64_t SteadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

DeviceLog::DeviceLog(bool keep, const std::string& path)
    : keep_(keep), started_(SteadyMilliseconds()) {
  if (path.empty()) return;
  file_ = path == "-" ? stderr : std::fopen(path.c_str(), "w");
  if (!file_) throw std::runtime_error(path + ": " + std::strerror(errno));
}

DeviceLog::~DeviceLog() {
  if (file_ && file_ != stderr) std::fclose(file_);
}

std::function<void(const std::string&)> DeviceLog::Lines() {
  if (!keep_ && !file_) return {};
  return [this](const std::string& text) { Write(text); };
}

void DeviceLog::Write(const std::string& text) {
  char time[32];
  std::snprintf(time, sizeof time, "%9.3f ",
                static_cast<double>(SteadyMilliseconds() - started_) / 1e3);
  if (file_) {
    std::fprintf(file_, "%s%s\n", time, text.c_str());
    std::fflush(file_);
  }
  if (!keep_) return;
  lines_.push_back(time + text);
  if (lines_.size() > kMostLines) lines_.pop_front();
}

int DeviceLog::Count(const std::string& text) const {
  return static_cast<int>(std::count_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
    return line.find(text) != std::string::npos;
  }));
}

}  // namespace scantk::sim
