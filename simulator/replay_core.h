// A device that says what a recorded one said, for as long as its hosts ask what was asked then.
#ifndef SCANTK_SIMULATOR_REPLAY_CORE_H_
#define SCANTK_SIMULATOR_REPLAY_CORE_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulator/recording.h"
#include "simulator/responder.h"

namespace scantk::sim {

// The first connection plays the first one that was recorded, and so on; behind the last the
// recording begins anew. Within a connection what the device sent comes in the order and after
// the pauses of the recording, but nothing before the host has sent what it sent then. How a
// host's bytes are cut and when they come does not matter, nor does the value that a command sets.
//
// Where a host departs from the recording, the log says so, and:
//  - when what it sends was sent soon after (within 8 commands, and before the next start of a
//    page), what lies between is left out;
//  - otherwise an inquiry is answered as the recording last answered it, or else as it answers it
//    later, or else as a variable that the device does not have; a command is passed over.
// One thread at a time.
class ReplayCore : public Responder {
 public:
  using LogLine = std::function<void(const std::string&)>;

  // `pauses` in percent of those that were recorded.
  ReplayCore(const Recording& recording, int pauses, LogLine log,
             std::function<int64_t()> milliseconds);

  bool Greet(Conversation& host, bool busy) override;
  void Meet(Conversation& host) override;
  size_t Receive(Conversation& host, const uint8_t* bytes, size_t size) override;
  void Produce(Conversation& host) override;
  void Leave(Conversation& host) override;

  int64_t departures = 0;  // commands that did not come as they were recorded

 private:
  // A step of a conversation: the host's command, or what the device did.
  struct Step {
    RecordedKind kind = RecordedKind::kHost;
    Command command;
    int64_t pause_ms = 0;
    std::vector<uint8_t> bytes;
  };
  using Script = std::vector<Step>;
  struct Player {
    const Script* script = nullptr;
    size_t next = 0;
    int64_t last_ms = 0;          // of the step before
    std::deque<Command> unheard;  // of the host, still to be compared
  };

  static Script MakeScript(const RecordedConversation& events);
  bool Hear(Conversation& host, Player& player);
  void Perform(Conversation& host, Player& player, const Step& step);
  void AnswerExtra(Conversation& host, const Player& player, const Command& command);
  static std::optional<size_t> FindSoon(const Player& player, const Command& command);
  void Log(const Conversation& host, const std::string& text);

  std::vector<Script> scripts_;
  const int pauses_;
  LogLine log_;
  std::function<int64_t()> milliseconds_;
  size_t next_script_ = 0;
  std::map<int64_t, Player> players_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_REPLAY_CORE_H_
