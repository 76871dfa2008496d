// A conversation between hosts and a device, as a file for people: what a bug report brings and a
// test plays again.
//
//     scantk conversation 1
//     # what this file shows, in any number of lines
//     1 open 0
//     1 device 2 "00"
//     1 host 0 "\e*s10323R"
//     1 device 1 "\e*s10323p300V"
//     1 device 40 0f270000 08000000 ff*9991
//     1 drop 5
//
// A line is the number of the connection, what happened, the milliseconds since the line of that
// connection before it, and the bytes. What happens: `open`, the host connects; `host` and
// `device`, one of them sends; `drop` and `reset`, the device ends the connection; `gone`, the host
// does. Bytes are texts in quotation marks, in which \e, \\, \" and \xHH stand for bytes, and
// hexadecimal digits, in which *N repeats all digits before it up to the last blank.
#ifndef SCANTK_SIMULATOR_RECORDING_H_
#define SCANTK_SIMULATOR_RECORDING_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace scantk::sim {

enum class RecordedKind { kOpen, kHost, kDevice, kDrop, kReset, kGone };

struct RecordedEvent {
  RecordedKind kind = RecordedKind::kHost;
  int64_t pause_ms = 0;  // since the connection's event before this one
  std::vector<uint8_t> bytes;
};

// The events of one connection, without its `open`. Lines of one sender without a pause between
// them are one event.
using RecordedConversation = std::vector<RecordedEvent>;

struct Recording {
  std::vector<std::string> head;  // the comments before the first event, without mark and blank
  std::vector<RecordedConversation> conversations;  // in the order in which they were opened

  // What follows `key` and a colon in the first line of the head that begins with it; "" if none.
  std::string HeadValue(const std::string& key) const;
};

// What a recording may hold; one that says more is not believed.
inline constexpr size_t kMostRecordedBytes = size_t{256} << 20;

// Takes a recording apart. Throws std::invalid_argument, which names the line: also when it holds
// more than `most_bytes`, a thousand connections, or a pause of more than a day.
Recording ParseRecording(std::string_view text, size_t most_bytes = kMostRecordedBytes);

// The recording in the file `path`. Throws std::runtime_error when that cannot be read, and what
// ParseRecording throws, with the path before it.
Recording ReadRecording(const std::string& path);

// The lines for one event, each with its line end: long ones are split.
std::string RecordingLines(int64_t connection, RecordedKind kind, int64_t pause_ms,
                           std::span<const uint8_t> bytes);

// Writes a recording while it happens; every event is in the file once the call returns. One
// thread at a time.
class Recorder {
 public:
  // Throws std::runtime_error when the file cannot be written.
  Recorder(const std::string& path, const std::string& comment,
           std::function<int64_t()> milliseconds);
  // Nothing when `path` is empty. The milliseconds are SteadyMilliseconds'.
  static std::unique_ptr<Recorder> Open(const std::string& path, const std::string& comment);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  void Write(int64_t connection, RecordedKind kind, std::span<const uint8_t> bytes = {});

 private:
  FILE* file_;
  std::function<int64_t()> milliseconds_;
  std::map<int64_t, int64_t> last_;  // of each connection that is open
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_RECORDING_H_
