#include "simulator/recording.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "simulator/recording_format.h"

namespace scantk::sim {
namespace {

constexpr size_t kMostConversations = 1000;
constexpr size_t kMostEvents = 4 << 20;
constexpr size_t kMostFileBytes = size_t{1} << 30;
constexpr int64_t kLongestPause = 24 * 3600 * 1000;
constexpr size_t kMergedBytes = 65536;  // then the next event begins

[[noreturn]] void Refuse(const std::string& why) {
  throw std::invalid_argument(why);
}

// Cuts up to the next `mark` off the front; the mark goes, too.
std::string_view CutTo(std::string_view* text, char mark) {
  const size_t at = std::min(text->find(mark), text->size());
  const std::string_view front = text->substr(0, at);
  text->remove_prefix(std::min(at + 1, text->size()));
  return front;
}

int64_t Number(std::string_view text, int64_t most, const char* what) {
  int64_t value = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0 || value > most)
    Refuse("\"" + std::string(text.substr(0, 40)) + "\" is no " + what);
  return value;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

uint8_t HexByte(std::string_view two) {
  if (two.size() < 2 || HexDigit(two[0]) < 0 || HexDigit(two[1]) < 0)
    Refuse("\"" + std::string(two.substr(0, 2)) + "\" are no two hexadecimal digits");
  return static_cast<uint8_t>(HexDigit(two[0]) * 16 + HexDigit(two[1]));
}

// Appends bytes as long as the whole recording may grow by `*room`.
void Append(std::span<const uint8_t> bytes, size_t count, size_t* room, std::vector<uint8_t>* to) {
  if (count > 0 && bytes.size() > *room / count) Refuse("the recording holds too many bytes");
  *room -= bytes.size() * count;
  for (size_t i = 0; i < count; ++i) to->insert(to->end(), bytes.begin(), bytes.end());
}

// A text, its first quotation mark being cut off already.
void ParseText(std::string_view* text, size_t* room, std::vector<uint8_t>* to) {
  for (;;) {
    if (text->empty()) Refuse("a text has no end");
    uint8_t byte = static_cast<uint8_t>(text->front());
    text->remove_prefix(1);
    if (byte == '"') break;
    if (byte == '\\') {
      const char escaped = text->empty() ? '\0' : text->front();
      if (!text->empty()) text->remove_prefix(1);
      if (escaped == 'e') {
        byte = kEscapeByte;
      } else if (escaped == 'x') {
        byte = HexByte(*text);
        text->remove_prefix(2);
      } else if (escaped == '\\' || escaped == '"') {
        byte = static_cast<uint8_t>(escaped);
      } else {
        Refuse("a backslash stands before none of e, x, \\ and \"");
      }
    }
    Append({&byte, 1}, 1, room, to);
  }
  if (!text->empty() && !CutTo(text, ' ').empty()) Refuse("no blank behind a text");
}

void ParseHex(std::string_view word, size_t* room, std::vector<uint8_t>* to) {
  const bool repeated = word.find('*') != std::string_view::npos;
  std::string_view digits = CutTo(&word, '*');
  const int64_t count =
      repeated ? Number(word, int64_t{kMostRecordedBytes}, "number of repetitions") : 1;
  std::vector<uint8_t> bytes;
  for (; !digits.empty(); digits.remove_prefix(2)) bytes.push_back(HexByte(digits));
  if (bytes.empty()) Refuse("there are no digits to repeat");
  Append(bytes, static_cast<size_t>(count), room, to);
}

void ParseBytes(std::string_view text, size_t* room, std::vector<uint8_t>* to) {
  while (!text.empty()) {
    if (text.front() == ' ') {
      text.remove_prefix(1);
    } else if (text.front() == '"') {
      text.remove_prefix(1);
      ParseText(&text, room, to);
    } else {
      ParseHex(CutTo(&text, ' '), room, to);
    }
  }
}

class Parser {
 public:
  explicit Parser(size_t most_bytes) : room_(most_bytes) {}

  void TakeLine(std::string_view line) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (++lines_ == 1) {
      if (line != kRecordingStart)
        Refuse("a recording begins with \"" + std::string(kRecordingStart) + "\"");
      return;
    }
    if (line.empty()) return;
    if (line.front() == '#') {
      if (events_ == 0) TakeComment(line.substr(1));
      return;
    }
    TakeEvent(line);
  }

  size_t lines() const { return lines_; }
  Recording Result() {
    if (lines_ == 0) TakeLine("");
    return std::move(recording_);
  }

 private:
  void TakeComment(std::string_view text) {
    if (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    recording_.head.emplace_back(text);
  }

  void TakeEvent(std::string_view line) {
    if (++events_ > kMostEvents) Refuse("the recording has too many lines");
    const int64_t connection = Number(CutTo(&line, ' '), INT64_MAX, "connection");
    const std::string_view word = CutTo(&line, ' ');
    const auto row = std::find_if(std::begin(kRecordedKinds), std::end(kRecordedKinds),
                                  [&](const auto& one) { return word == one.name; });
    if (row == std::end(kRecordedKinds))
      Refuse("\"" + std::string(word.substr(0, 40)) + "\" is nothing that happens");
    RecordedEvent event;
    event.kind = row->kind;
    event.pause_ms = Number(CutTo(&line, ' '), kLongestPause, "pause in milliseconds");
    ParseBytes(line, &room_, &event.bytes);
    if (Sends(event.kind) == event.bytes.empty())
      Refuse(event.bytes.empty() ? "nothing is sent" : "bytes behind what sends none");
    Add(connection, std::move(event));
  }

  void Add(int64_t connection, RecordedEvent event) {
    const auto open = open_.find(connection);
    if (event.kind == RecordedKind::kOpen) {
      if (open != open_.end()) Refuse("the connection is open already");
      if (recording_.conversations.size() == kMostConversations)
        Refuse("the recording has too many connections");
      open_[connection] = recording_.conversations.size();
      recording_.conversations.emplace_back();
      return;
    }
    if (open == open_.end()) Refuse("the connection is not open");
    RecordedConversation& events = recording_.conversations[open->second];
    if (!Sends(event.kind)) open_.erase(open);
    if (!events.empty() && events.back().kind == event.kind && event.pause_ms == 0 &&
        events.back().bytes.size() + event.bytes.size() <= kMergedBytes) {
      std::vector<uint8_t>& bytes = events.back().bytes;
      bytes.insert(bytes.end(), event.bytes.begin(), event.bytes.end());
    } else {
      events.push_back(std::move(event));
    }
  }

  Recording recording_;
  std::map<int64_t, size_t> open_;  // connection to its place among the conversations
  size_t lines_ = 0;
  size_t events_ = 0;
  size_t room_;
};

}  // namespace

std::string Recording::HeadValue(const std::string& key) const {
  for (const std::string& line : head)
    if (line.starts_with(key + ":"))
      return line.substr(std::min(line.find_first_not_of(' ', key.size() + 1), line.size()));
  return "";
}

Recording ParseRecording(std::string_view text, size_t most_bytes) {
  Parser parser(most_bytes);
  try {
    if (text.size() > kMostFileBytes) Refuse("the file is too large");
    while (!text.empty()) parser.TakeLine(CutTo(&text, '\n'));
    return parser.Result();
  } catch (const std::invalid_argument& problem) {
    throw std::invalid_argument("line " + std::to_string(std::max<size_t>(parser.lines(), 1)) +
                                ": " + problem.what());
  }
}

Recording ReadRecording(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  if (!file || file.bad()) throw std::runtime_error("cannot read " + path);
  try {
    return ParseRecording(text);
  } catch (const std::invalid_argument& problem) {
    throw std::invalid_argument(path + ": " + problem.what());
  }
}

}  // namespace scantk::sim
