// The log of a device: lines with their time, kept for its owner and written to a file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <vector>

namespace scantk::sim {

/// Milliseconds of a clock that never jumps.
int64_t SteadyMilliseconds();

/// One thread at a time.
class DeviceLog {
 public:
  /// `path` "" for no file, "-" for standard error. Throws std::runtime_error when the file cannot
  /// be written.
  DeviceLog(bool keep, const std::string& path);
  ~DeviceLog();
  DeviceLog(const DeviceLog&) = delete;
  DeviceLog& operator=(const DeviceLog&) = delete;

  /// Whether anybody will see a line.
  bool wanted() const { return keep_ || file_; }
  void Write(const std::string& text);
  std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }
  int Count(const std::string& text) const;  ///< lines that contain `text`
  void Clear() { lines_.clear(); }

 private:
  const bool keep_;
  const int64_t started_;
  FILE* file_ = nullptr;
  std::deque<std::string> lines_;  // the last 20000
};

}  // namespace scantk::sim
