// The device behind every medium: variables, lock, errors, feeder and glass. Bytes of a host go in,
// bytes for it come out; what carries them is somebody else's matter.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/command_parser.h"
#include "simulator/page_job.h"
#include "simulator/simulated_device.h"
#include "simulator/variables.h"

namespace scantk::sim {

/// One host's conversation with the device.
class Conversation {
 public:
  int64_t id = 0;
  CommandParser parser;
  std::deque<std::vector<uint8_t>> out;  ///< bytes for the host, oldest first
  size_t out_bytes = 0;
  /// More waits for the host to read than a device keeps; it is not listened to meanwhile.
  bool Flooded() const { return out_bytes > (4 << 20); }
  size_t sent_of_first = 0;
  std::unique_ptr<PageJob> page;
  FaultMoment now;
  bool drop_when_sent = false;  ///< close once everything in `out` is sent
  bool reset_when_sent = false;
  int64_t stalled_until = 0;  ///< milliseconds of the device's clock
  int64_t bytes_per_ms = 0;   ///< 0: as fast as it goes
  bool deaf = false;

  void Send(std::vector<uint8_t> bytes);
  void SendText(const std::string& text);
};

/// One thread at a time.
class ScannerCore {
 public:
  using LogLine = std::function<void(const std::string&)>;

  ScannerCore(const DeviceConfig& config, LogLine log, std::function<int64_t()> milliseconds);

  /// What the device says to a new connection, and whether it then stays.
  bool Greet(Conversation& host, bool busy);
  /// Returns the bytes taken: fewer than `size` when the answers so far wait for the host to read.
  size_t Receive(Conversation& host, const uint8_t* bytes, size_t size);
  /// Puts the next block of a page that is under way into `out` when that is empty.
  void Produce(Conversation& host);
  /// The connection is gone: its lock is free and its page is over.
  void Leave(Conversation& host);

  Stats stats;
  FaultList faults;
  Variables variables;
  std::deque<int> errors;
  int64_t lock_holder = 0;  ///< a conversation's id; -1 another computer
  int sheets = 0;
  std::shared_ptr<const Paper> paper;
  std::optional<PageSettings> last_page;

 private:
  struct Side {
    bool loaded = false;
    bool back = false;
    bool scanned = false;
    int sheet = 0;
  };

  std::optional<int64_t> Strike(FaultKind kind, FaultStage stage, const Conversation& host);
  void StrikeLine(Conversation& host, FaultStage stage);
  void OnCommand(Conversation& host, const Command& command);
  void OnInquiry(Conversation& host, const Command& command);
  void OnDownload(Conversation& host);
  void Lock(Conversation& host, bool take);
  void Feed(Conversation& host);
  bool Advance();
  void StartScan(Conversation& host);
  int WhyNoScan(const Conversation& host);
  PageOrder Order(Conversation& host);
  void AbortPage(Conversation& host, const char* why);
  bool DisturbBlock(Conversation& host, std::vector<uint8_t>* block);
  bool DropInBlock(Conversation& host);
  PageSettings Settings() const;
  bool NumberAnswer(int number, char kind, int64_t* answer) const;
  bool Computed(int number, int64_t* answer) const;
  std::optional<std::string> TextAnswer(const Conversation& host, int number) const;
  bool HasMoreSides() const;
  void Log(const Conversation& host, const std::string& text);

  DeviceConfig config_;
  LogLine log_;
  std::function<int64_t()> milliseconds_;
  Side side_;
  int64_t feeder_status_ = 0;
  std::optional<std::array<uint8_t, 256>> tone_map_;
};

}  // namespace scantk::sim
