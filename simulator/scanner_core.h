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

#include "simulator/responder.h"
#include "simulator/variables.h"

namespace scantk::sim {

/// One thread at a time.
class ScannerCore : public Responder {
 public:
  using LogLine = std::function<void(const std::string&)>;

  ScannerCore(const DeviceConfig& config, LogLine log, std::function<int64_t()> milliseconds);

  bool Greet(Conversation& host, bool busy) override;
  size_t Receive(Conversation& host, const uint8_t* bytes, size_t size) override;
  /// Puts the next block of a page that is under way into `out` when that is empty.
  void Produce(Conversation& host) override;
  /// Its lock is free and its page is over.
  void Leave(Conversation& host) override;

  /// Somebody takes every sheet out, also the one that is half-way through.
  void TakePaperOut() {
    side_ = {};
    sheets = 0;
  }

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
