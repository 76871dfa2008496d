// A device that a host reaches through a file instead of the network: what a cable and a DOT4 stack
// have in common. What carries the bytes is derived from it.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "simulator/scanner_core.h"
#include "simulator/simulated_device.h"

namespace scantk::sim {

/// Every public method may be called from any thread while the device works. Of the configuration,
/// address, port and the greeting's faults mean nothing here.
class AttachedDevice {
 public:
  virtual ~AttachedDevice();
  AttachedDevice(const AttachedDevice&) = delete;
  AttachedDevice& operator=(const AttachedDevice&) = delete;

  /// The file that hosts open.
  const std::string& path() const { return path_; }
  const DeviceConfig& config() const { return config_; }

  /// The far side of the file is gone, and so is the file; hosts that have it open find out. Once
  /// this returns nobody is served any more.
  void Unplug();
  /// It is there again, for hosts that open it. Throws std::runtime_error when it cannot be.
  void Plug();

  Stats stats() const;  ///< a host that opens the file, or a channel, counts as a connection
  std::vector<std::string> log() const;  ///< the last 20000 lines
  int CountInLog(const std::string& text) const;
  bool locked() const;
  void AddFault(const std::string& text);  ///< see ParseFault
  void ClearFaults();
  void RaiseError(int code);
  void SetSheets(int sheets);
  std::optional<PageSettings> last_page() const;

 protected:
  /// A conversation and the pace at which its bytes leave.
  struct Line {
    Conversation host;
    int64_t paced_at = 0;
  };

  /// Throws what SimulatedDevice does.
  AttachedDevice(DeviceConfig config, std::string path);

  // For the constructor and the destructor of a derived class: the thread runs in between.
  void Start();
  void Stop();

  /// Makes the file, or takes it away. Called with mutex_ held.
  virtual void Attach() = 0;
  virtual void Detach() = 0;
  /// Waits for something to do, with wake_file() among it, and does it. Locks mutex_ itself, but
  /// not while it waits.
  virtual void Turn() = 0;

  std::unique_ptr<Line> NewLine();
  /// Appends up to `most` bytes that leave now, and returns how many; none while the line stalls.
  size_t Take(Line& line, size_t most, std::vector<uint8_t>* to);
  /// Milliseconds until the line moves: 0 at once, -1 not before the host speaks.
  int Delay(Line& line);
  /// The line is due to break: all that was to be sent before it is.
  static bool Breaks(const Line& line);
  int wake_file() const { return wake_[0]; }
  void TakeWakeWords();
  void Log(const std::string& text);

  static int64_t Milliseconds();

  const DeviceConfig config_;
  const std::string path_;
  mutable std::mutex mutex_;  // guards all that follows, and the derived class's members
  ScannerCore core_;

 private:
  void Wake();

  int64_t started_;
  int64_t next_id_ = 0;
  std::deque<std::string> log_lines_;
  FILE* log_file_ = nullptr;
  int wake_[2] = {-1, -1};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace scantk::sim
