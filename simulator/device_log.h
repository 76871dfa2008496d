// The log of a device: lines with their time, kept for its owner and written to a file.
#ifndef SCANTK_SIMULATOR_DEVICE_LOG_H_
#define SCANTK_SIMULATOR_DEVICE_LOG_H_

#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace scantk::sim {

// Milliseconds of a clock that never jumps.
int64_t SteadyMilliseconds();

// One thread at a time.
class DeviceLog {
 public:
  // `path` "" for no file, "-" for standard error. Throws std::runtime_error when the file cannot
  // be written.
  DeviceLog(bool keep, const std::string& path);
  ~DeviceLog();
  DeviceLog(const DeviceLog&) = delete;
  DeviceLog& operator=(const DeviceLog&) = delete;

  // Takes lines for it; empty when nobody will see one. Not after the log is gone.
  std::function<void(const std::string&)> Lines();
  void Write(const std::string& text);
  std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }
  int Count(const std::string& text) const;  // lines that contain `text`
  void Clear() { lines_.clear(); }

 private:
  const bool keep_;
  const int64_t started_;
  FILE* file_ = nullptr;
  std::deque<std::string> lines_;  // the last 20000
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_DEVICE_LOG_H_
