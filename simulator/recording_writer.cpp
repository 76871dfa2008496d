#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "simulator/device_log.h"
#include "simulator/recording_format.h"

namespace scantk::sim {
namespace {

constexpr size_t kLineWidth = 96;   // where a line of bytes ends
constexpr size_t kShortestRun = 8;  // equal bytes that are worth a count
constexpr size_t kLongestText = 4096;

void AppendHex(uint8_t byte, std::string* text) {
  constexpr char kDigits[] = "0123456789abcdef";
  *text += kDigits[byte >> 4];
  *text += kDigits[byte & 15];
}

// Whether people would rather read it as text.
bool IsText(std::span<const uint8_t> bytes) {
  return bytes.size() <= kLongestText && std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) {
           return byte == kEscapeByte || (byte >= ' ' && byte < 0x7F);
         });
}

// Appends a text of as many bytes as a line takes, and returns their number.
size_t AppendText(std::span<const uint8_t> bytes, std::string* line) {
  *line += " \"";
  size_t taken = 0;
  for (; taken < bytes.size() && line->size() < kLineWidth; ++taken) {
    const char byte = static_cast<char>(bytes[taken]);
    if (bytes[taken] == kEscapeByte)
      *line += "\\e";
    else if (byte == '"' || byte == '\\')
      *line += {'\\', byte};
    else
      *line += byte;
  }
  *line += '"';
  return taken;
}

size_t RunLength(std::span<const uint8_t> bytes) {
  const auto end =
      std::find_if(bytes.begin(), bytes.end(), [&](uint8_t byte) { return byte != bytes.front(); });
  return static_cast<size_t>(end - bytes.begin());
}

// The same in digits.
size_t AppendDigits(std::span<const uint8_t> bytes, std::string* line) {
  size_t taken = 0;
  bool in_word = false;
  while (taken < bytes.size() && line->size() < kLineWidth) {
    const size_t run = RunLength(bytes.subspan(taken));
    const bool counted = run >= kShortestRun;
    if (!in_word || counted) *line += ' ';
    AppendHex(bytes[taken], line);
    if (counted) *line += "*" + std::to_string(run);
    in_word = !counted;
    taken += counted ? run : 1;
  }
  return taken;
}

}  // namespace

std::string RecordingLines(int64_t connection, RecordedKind kind, int64_t pause_ms,
                           std::span<const uint8_t> bytes) {
  const auto row = std::find_if(std::begin(kRecordedKinds), std::end(kRecordedKinds),
                                [&](const auto& one) { return kind == one.kind; });
  const std::string start = std::to_string(connection) + " " + row->name + " ";
  const bool text = IsText(bytes);
  std::string lines;
  do {
    std::string line = start + std::to_string(lines.empty() ? std::max<int64_t>(pause_ms, 0) : 0);
    if (!bytes.empty())
      bytes = bytes.subspan(text ? AppendText(bytes, &line) : AppendDigits(bytes, &line));
    lines += line + '\n';
  } while (!bytes.empty());
  return lines;
}

Recorder::Recorder(const std::string& path, const std::string& comment,
                   std::function<int64_t()> milliseconds)
    : file_(std::fopen(path.c_str(), "w")), milliseconds_(std::move(milliseconds)) {
  if (!file_) throw std::runtime_error(path + ": " + std::strerror(errno));
  std::fprintf(file_, "%s\n# %s\n", kRecordingStart.data(), comment.c_str());
  std::fflush(file_);
}

std::unique_ptr<Recorder> Recorder::Open(const std::string& path, const std::string& comment) {
  if (path.empty()) return nullptr;
  return std::make_unique<Recorder>(path, comment, SteadyMilliseconds);
}

Recorder::~Recorder() {
  std::fclose(file_);
}

void Recorder::Write(int64_t connection, RecordedKind kind, std::span<const uint8_t> bytes) {
  const int64_t now = milliseconds_();
  const auto before = last_.find(connection);
  const int64_t pause = before == last_.end() ? 0 : now - before->second;
  const std::string lines = RecordingLines(connection, kind, pause, bytes);
  std::fwrite(lines.data(), 1, lines.size(), file_);
  std::fflush(file_);
  if (kind == RecordedKind::kOpen || Sends(kind))
    last_[connection] = now;
  else
    last_.erase(connection);
}

}  // namespace scantk::sim
