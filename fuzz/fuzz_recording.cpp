// Recordings of conversations: taking them apart, and playing one to the host that it is of.
//
// Input: the recording.
#include <stdexcept>

#include "fuzz/fuzz_input.h"
#include "simulator/recording.h"
#include "simulator/replay_core.h"

using namespace scantk::fuzz;
using namespace scantk::sim;

namespace {

constexpr size_t kMostBytes = size_t{1} << 20;

std::string Write(const Recording& recording) {
  std::string text = "scantk conversation 1\n";
  for (size_t i = 0; i < recording.conversations.size(); ++i) {
    const int64_t connection = static_cast<int64_t>(i);
    text += RecordingLines(connection, RecordedKind::kOpen, 0, {});
    for (const RecordedEvent& event : recording.conversations[i])
      text += RecordingLines(connection, event.kind, event.pause_ms, event.bytes);
  }
  return text;
}

std::vector<uint8_t> SentBy(RecordedKind kind, const RecordedConversation& events) {
  std::vector<uint8_t> bytes;
  for (const RecordedEvent& event : events)
    if (event.kind == kind) bytes.insert(bytes.end(), event.bytes.begin(), event.bytes.end());
  return bytes;
}

// A host that takes what there is before it speaks.
void Play(ReplayCore& core, int64_t id, const RecordedConversation& events) {
  Conversation host;
  host.id = id;
  core.Greet(host, false);
  std::vector<uint8_t> heard;
  const auto listen = [&] {
    for (core.Produce(host); !host.out.empty(); core.Produce(host)) {
      heard.insert(heard.end(), host.out.front().begin(), host.out.front().end());
      host.out.pop_front();
    }
  };
  for (const RecordedEvent& event : events) {
    listen();
    if (event.kind != RecordedKind::kHost) continue;
    for (size_t at = 0; at < event.bytes.size();) {
      at += core.Receive(host, event.bytes.data() + at, event.bytes.size() - at);
      listen();
    }
  }
  listen();
  Require(heard == SentBy(RecordedKind::kDevice, events), "the same host is answered the same");
  core.Leave(host);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min<size_t>(size, 16384));
  Recording recording;
  try {
    recording = ParseRecording(input.RestText(), kMostBytes);
  } catch (const std::invalid_argument& problem) {
    Require(std::string(problem.what()).starts_with("line "), "a refusal names the line");
    return 0;
  }
  const Recording again = ParseRecording(Write(recording));
  Require(again.conversations.size() == recording.conversations.size(), "none is lost");
  for (size_t i = 0; i < recording.conversations.size(); ++i) {
    for (const RecordedKind kind : {RecordedKind::kHost, RecordedKind::kDevice})
      Require(SentBy(kind, again.conversations[i]) == SentBy(kind, recording.conversations[i]),
              "bytes survive the file");
  }
  ReplayCore core(recording, 0, nullptr, [] { return 0; });
  int64_t id = 0;
  for (const RecordedConversation& events : recording.conversations) Play(core, ++id, events);
  Require(core.departures == 0, "a recording's own host does not depart from it");
  return 0;
}
