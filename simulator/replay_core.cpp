#include "simulator/replay_core.h"

#include <algorithm>
#include <string_view>

#include "simulator/variables.h"

namespace scantk::sim {
namespace {

constexpr size_t kSoon = 8;            // commands that a host may leave out
constexpr size_t kMostUnheard = 4096;  // commands that wait for the device to catch up

bool Same(const Command& a, const Command& b) {
  if (a.group != b.group || a.letter != b.letter) return false;
  return !a.IsInquiry() || a.value == b.value;
}

std::string Text(const Command& command) {
  if (command.letter == 0) return "a table";
  if (command.group == 0) return "SL_RESET";
  const auto known = FindCommand(command.group, command.letter);
  std::string text = known ? known->name : std::string("*") + command.group;
  const std::string value = command.has_value ? std::to_string(command.value) : "";
  if (known) return text + (value.empty() ? "" : " ") + value;
  text += value + command.letter;
  const char* variable = command.IsInquiry() ? VariableName(static_cast<int>(command.value)) : "";
  return *variable ? text + " (" + variable + ")" : text;
}

bool StartsPage(const Command& command) {
  const auto known = FindCommand(command.group, command.letter);
  return known && std::string_view(known->name) == "SL_START_SCAN";
}

}  // namespace

ReplayCore::ReplayCore(const Recording& recording, int pauses, LogLine log,
                       std::function<int64_t()> milliseconds)
    : pauses_(pauses), log_(std::move(log)), milliseconds_(std::move(milliseconds)) {
  for (const RecordedConversation& events : recording.conversations)
    scripts_.push_back(MakeScript(events));
  if (scripts_.empty()) scripts_.emplace_back();
}

// What the host sent, taken apart into commands; each stands where it was complete.
ReplayCore::Script ReplayCore::MakeScript(const RecordedConversation& events) {
  Script script;
  CommandParser parser;
  for (const RecordedEvent& event : events) {
    if (event.kind != RecordedKind::kHost) {
      script.push_back({event.kind, {}, event.pause_ms, event.bytes});
      continue;
    }
    for (size_t at = 0; at < event.bytes.size();) {
      Step step;
      bool complete = false;
      at += parser.Take(event.bytes.data() + at, event.bytes.size() - at, &step.command, &complete);
      if (!complete) continue;
      if (const size_t table = TableBytes(step.command)) parser.ExpectData(table);
      script.push_back(std::move(step));
    }
  }
  return script;
}

void ReplayCore::Log(const Conversation& host, const std::string& text) {
  if (log_) log_("host " + std::to_string(host.id) + " " + text);
}

bool ReplayCore::Greet(Conversation& host, bool) {
  ++stats.connections;
  Player& player = players_[host.id];
  player.script = &scripts_[next_script_];
  player.last_ms = milliseconds_();
  Log(host, "connected, hears connection " + std::to_string(next_script_ + 1) + " of " +
                std::to_string(scripts_.size()));
  next_script_ = (next_script_ + 1) % scripts_.size();
  return true;
}

// What was recorded on the network begins with a greeting of two characters.
void ReplayCore::Meet(Conversation& host) {
  Greet(host, false);
  Player& player = players_[host.id];
  const Script& script = *player.script;
  if (script.empty() || script[0].kind != RecordedKind::kDevice || script[0].bytes.size() != 2)
    return;
  player.next = 1;
}

void ReplayCore::Leave(Conversation& host) {
  players_.erase(host.id);
  Log(host, "gone");
}

size_t ReplayCore::Receive(Conversation& host, const uint8_t* bytes, size_t size) {
  Player& player = players_[host.id];
  size_t at = 0;
  while (at < size && player.unheard.size() < kMostUnheard) {
    Command command;
    bool complete = false;
    at += host.parser.Take(bytes + at, size - at, &command, &complete);
    if (!complete) continue;
    if (const size_t table = TableBytes(command)) host.parser.ExpectData(table);
    if (command.letter == 0) host.parser.TakeData();
    ++(command.IsInquiry() ? stats.inquiries : stats.commands);
    player.unheard.push_back(command);
  }
  stats.bytes_received += static_cast<int64_t>(at);
  return at;
}

void ReplayCore::Produce(Conversation& host) {
  Player& player = players_[host.id];
  while (host.out.empty() && !host.drop_when_sent && !host.reset_when_sent) {
    const bool over = player.next == player.script->size();
    const Step* step = over ? nullptr : &(*player.script)[player.next];
    if (step && step->kind == RecordedKind::kGone) {
      ++player.next;  // when a host goes is its own matter
    } else if (step && step->kind != RecordedKind::kHost) {
      Perform(host, player, *step);
    } else if (!Hear(host, player)) {
      return;
    }
  }
}

// What the device did: it is due a pause after the step before.
void ReplayCore::Perform(Conversation& host, Player& player, const Step& step) {
  ++player.next;
  host.stalled_until = player.last_ms + step.pause_ms * pauses_ / 100;
  player.last_ms = std::max(milliseconds_(), host.stalled_until);
  host.drop_when_sent = step.kind == RecordedKind::kDrop;
  host.reset_when_sent = step.kind == RecordedKind::kReset;
  if (step.kind != RecordedKind::kDevice) {
    Log(host, "the device ends the connection");
    return;
  }
  Log(host, "> " + std::to_string(step.bytes.size()) + " bytes");
  host.Send(step.bytes);
}

// Compares the oldest command that was not compared yet with what was recorded; false when there
// is none.
bool ReplayCore::Hear(Conversation& host, Player& player) {
  if (player.unheard.empty()) return false;
  const Command command = player.unheard.front();
  player.unheard.pop_front();
  player.last_ms = milliseconds_();
  Log(host, "< " + Text(command));
  const Script& script = *player.script;
  if (player.next < script.size() && Same(script[player.next].command, command)) {
    ++player.next;
    return true;
  }
  ++departures;
  const std::string recorded =
      player.next < script.size() ? Text(script[player.next].command) : "nothing more";
  const std::string start = "! departs from the recording, in which " + recorded + " came: ";
  if (const auto found = FindSoon(player, command)) {
    Log(host, start + "going on behind the next " + Text(script[*found].command));
    player.next = *found + 1;
  } else {
    Log(host, start + (command.IsInquiry() ? "answered from elsewhere" : "passed over"));
    if (command.IsInquiry()) AnswerExtra(host, player, command);
  }
  return true;
}

std::optional<size_t> ReplayCore::FindSoon(const Player& player, const Command& command) {
  const Script& script = *player.script;
  size_t commands = 0;
  for (size_t i = player.next; i < script.size() && commands <= kSoon; ++i) {
    const Step& step = script[i];
    if (step.kind == RecordedKind::kDrop || step.kind == RecordedKind::kReset) break;
    if (step.kind != RecordedKind::kHost) continue;
    if (Same(step.command, command)) return i;
    if (StartsPage(step.command)) break;
    ++commands;
  }
  return {};
}

void ReplayCore::AnswerExtra(Conversation& host, const Player& player, const Command& command) {
  const Script& script = *player.script;
  const std::string start = AnswerStart(command);
  const auto answers = [&](size_t i) {
    const Step& step = script[i];
    return step.kind == RecordedKind::kDevice && step.bytes.size() > start.size() &&
           std::equal(start.begin(), start.end(), step.bytes.begin());
  };
  size_t found = player.next;
  while (found > 0 && !answers(found - 1)) --found;
  if (found > 0)
    --found;
  else
    for (found = player.next; found < script.size() && !answers(found);) ++found;
  if (found == script.size()) return host.SendText(start + "0N");
  // The rest of it may have come after a pause.
  std::vector<uint8_t> answer;
  for (; found < script.size() && script[found].kind == RecordedKind::kDevice; ++found)
    answer.insert(answer.end(), script[found].bytes.begin(), script[found].bytes.end());
  host.Send(std::move(answer));
}

}  // namespace scantk::sim
