// The device behind every medium: variables, lock, errors, feeder and glass. Bytes of a host go in,
// bytes for it come out; what carries them is somebody else's matter.
#ifndef SCANTK_SIMULATOR_SCANNER_CORE_H_
#define SCANTK_SIMULATOR_SCANNER_CORE_H_

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

// The errors that the device has for its hosts.
namespace error {
inline constexpr int kSettings = 2, kCancelled = 502, kJam = 1024, kLocked = 1025, kEmpty = 1026;
}

// One thread at a time.
class ScannerCore : public Responder {
 public:
  using LogLine = std::function<void(const std::string&)>;

  ScannerCore(const DeviceConfig& config, LogLine log, std::function<int64_t()> milliseconds);

  bool Greet(Conversation& host, bool busy) override;
  size_t Receive(Conversation& host, const uint8_t* bytes, size_t size) override;
  // Puts the next block of a page that is under way into `out` when that is empty.
  void Produce(Conversation& host) override;
  // Its lock is free and its page is over.
  void Leave(Conversation& host) override;

  bool paper_in_path() const { return side_.loaded; }
  // Somebody takes every sheet out, also the one that is half-way through.
  void TakePaperOut() {
    side_ = {};
    sheets = 0;
  }

  FaultList faults;
  Variables variables;
  std::deque<int> errors;
  static constexpr int64_t kElsewhere = -1;  // another computer
  int64_t lock_holder = 0;                   // a conversation's id, 0 nobody, or kElsewhere
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
  bool Rests(AtRest::State state) const;
  void Log(const Conversation& host, const std::string& text);

  // What a command does beside setting its variable.
  using Deed = void (ScannerCore::*)(Conversation& host, const Command& command);
  static Deed FindDeed(const Command& command);
  void OnCommand(Conversation& host, const Command& command);
  void OnDownload(Conversation& host);
  void Reset(Conversation& host, const Command& command);
  void ClearErrors(Conversation& host, const Command& command);
  void Lock(Conversation& host, const Command& command);
  void Feed(Conversation& host, const Command& command);
  void Eject(Conversation& host, const Command& command);
  void StartScan(Conversation& host, const Command& command);

  // Inquiries (scanner_answers.cpp).
  struct Answer {
    bool known = false;
    int64_t value = 0;
    std::optional<std::string> text;
  };
  void OnInquiry(Conversation& host, const Command& command);
  Answer AnswerTo(const Conversation& host, int number, char kind) const;
  bool Computed(int number, int64_t* answer) const;
  void DisturbAnswer(Conversation& host, Answer* answer);
  std::string Worded(Conversation& host, const Command& command, const Answer& answer);
  void DisturbWords(Conversation& host, size_t echo, bool text, std::string* words);

  // Paper and pages (scanner_pages.cpp).
  bool HasMoreSides() const;
  bool Advance();
  PageSettings Settings() const;
  Flip BackFlip() const;
  int WhyNoScan(const Conversation& host) const;
  PageOrder Order(Conversation& host);
  void AbortPage(Conversation& host, const char* why);
  bool EndsEarly(Conversation& host);
  bool DropInBlock(Conversation& host);
  bool DisturbBlock(Conversation& host, std::vector<uint8_t>* block);

  DeviceConfig config_;
  LogLine log_;
  std::function<int64_t()> milliseconds_;
  Side side_;
  int64_t feeder_status_ = 0;
  AtRest at_rest_;
  int64_t started_;
  std::optional<std::array<uint8_t, 256>> tone_map_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_SCANNER_CORE_H_
