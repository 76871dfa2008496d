#include "tests/doubles/scripted_transport.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace scantk::test {
namespace {

constexpr size_t kShownBytes = 60;

char AnswerLetter(char kind) {
  switch (kind) {
    case 'R':
      return 'p';
    case 'L':
      return 'k';
    case 'H':
      return 'g';
    default:
      return 'd';
  }
}

IoResult MoveTimeouts(IoTimeouts& timeouts, uint32_t function, void* buffer) {
  if (function == GET_TIMEOUTS) std::memcpy(buffer, &timeouts, sizeof timeouts);
  if (function == SET_TIMEOUTS) std::memcpy(&timeouts, buffer, sizeof timeouts);
  return 0;
}

}  // namespace

std::string Readable(std::string_view bytes) {
  std::string text;
  for (const char c : bytes.substr(0, kShownBytes)) {
    char piece[8];
    if (c == '\x1b') {
      std::snprintf(piece, sizeof piece, "<ESC>");
    } else if (c >= ' ' && c <= '~') {
      std::snprintf(piece, sizeof piece, "%c", c);
    } else {
      std::snprintf(piece, sizeof piece, "\\x%02x", static_cast<unsigned char>(c));
    }
    text += piece;
  }
  if (bytes.size() > kShownBytes) text += "... (" + std::to_string(bytes.size()) + " bytes)";
  return text;
}

Script& Script::Write(std::string bytes) {
  const auto count = static_cast<uint32_t>(bytes.size());
  steps_.push_back({Step::Kind::kWrite, std::move(bytes), 0, count});
  return *this;
}
Script& Script::FailWrite(std::string bytes, IoResult result, uint32_t count) {
  steps_.push_back({Step::Kind::kWrite, std::move(bytes), result, count});
  return *this;
}
Script& Script::Read(std::string bytes) {
  steps_.push_back({Step::Kind::kRead, std::move(bytes)});
  return *this;
}
Script& Script::EndRead(IoResult result) {
  steps_.push_back({Step::Kind::kEndRead, {}, result});
  return *this;
}
Script& Script::Ask(std::string_view inquiry, std::string_view answer) {
  const std::string head = "\x1b*s";
  Write(head + std::string(inquiry));
  return Read(head + std::string(inquiry.substr(0, inquiry.size() - 1)) + std::string(answer));
}
Script& Script::AskText(std::string_view inquiry, std::string_view text) {
  return Ask(inquiry, "d" + std::to_string(text.size()) + "W" + std::string(text));
}
Script& Script::Command(std::string_view text) {
  return Write("\x1b" + std::string(text));
}
Script& Script::Disconnect() {
  steps_.push_back({Step::Kind::kDisconnect, {}});
  return *this;
}

void Script::Fault(std::string text) {
  faults_.push_back(std::move(text));
}

std::string Script::Faults() const {
  std::string text;
  for (const std::string& fault : faults_) text += fault + "\n";
  for (const Step& step : steps_) {
    switch (step.kind) {
      case Step::Kind::kWrite:
        text += "never written: " + Readable(step.bytes) + "\n";
        break;
      case Step::Kind::kRead:
        text += "never read: " + Readable(std::string_view(step.bytes).substr(step.used)) + "\n";
        break;
      case Step::Kind::kEndRead:
        text += "no read ended with " + std::to_string(step.result) + "\n";
        break;
      case Step::Kind::kDisconnect:
        text += "never disconnected\n";
        break;
    }
  }
  return text;
}

IoResult ScriptedTransport::OpenIO(const char*) {
  return script_.open_result;
}
IoResult ScriptedTransport::ConnectToIO() {
  ++script_.connects;
  return script_.connect_result;
}

IoResult ScriptedTransport::ReadData(void* buffer, uint32_t* length, Overlapped*) {
  using Kind = Script::Step::Kind;
  ++script_.reads;
  const uint32_t wanted = *length;
  auto* out = static_cast<char*>(buffer);
  *length = 0;
  while (*length < wanted) {
    if (!script_.steps_.empty() && script_.steps_.front().kind == Kind::kRead) {
      Script::Step& step = script_.steps_.front();
      const size_t count = std::min<size_t>(step.bytes.size() - step.used, wanted - *length);
      std::memcpy(out + *length, step.bytes.data() + step.used, count);
      *length += static_cast<uint32_t>(count);
      step.used += count;
      if (step.used == step.bytes.size()) script_.steps_.pop_front();
      continue;
    }
    IoResult result = kIoTimeout;
    if (!script_.steps_.empty() && script_.steps_.front().kind == Kind::kEndRead) {
      result = script_.steps_.front().result;
      script_.steps_.pop_front();
    }
    if (result == kIoTimeout && script_.on_timeout) script_.on_timeout();
    return result;
  }
  return 0;
}

IoResult ScriptedTransport::WriteData(const void* buffer, uint32_t length, uint32_t* written,
                                      Overlapped*) {
  const std::string_view bytes(static_cast<const char*>(buffer), length);
  *written = length;
  if (script_.steps_.empty()) {
    script_.Fault("written after the end: " + Readable(bytes));
    return 0;
  }
  const Script::Step step = script_.steps_.front();
  if (step.kind != Script::Step::Kind::kWrite) {
    script_.Fault("written out of turn: " + Readable(bytes));
    return 0;
  }
  script_.steps_.pop_front();
  if (step.bytes != bytes) {
    script_.Fault("expected " + Readable(step.bytes) + ", written " + Readable(bytes));
  }
  *written = step.count;
  return step.result;
}

IoResult ScriptedTransport::Escape(uint32_t function, void* buffer, uint32_t, void*, uint32_t,
                                   uint32_t*) {
  const IoResult result = MoveTimeouts(script_.timeouts, function, buffer);
  if (function == SET_TIMEOUTS) script_.timeouts_set.push_back(script_.timeouts);
  return result;
}

IoResult ScriptedTransport::DisConnectFromIO() {
  // After the script's end an engine may disconnect as it likes: each does when it goes away.
  if (!script_.steps_.empty()) {
    if (script_.steps_.front().kind == Script::Step::Kind::kDisconnect) {
      script_.steps_.pop_front();
    } else {
      script_.Fault("disconnected out of turn");
    }
  }
  return script_.disconnect_result;
}
IoResult ScriptedTransport::CloseIO() {
  ++script_.closes;
  return 0;
}

std::vector<std::string> Device::Commands() const {
  std::vector<std::string> commands;
  std::copy_if(log.begin(), log.end(), std::back_inserter(commands),
               [](const std::string& line) { return line[0] != '?'; });
  return commands;
}

Device ColourDevice(int32_t pixels, int32_t rows) {
  Device device;
  device.numbers = {{"257E", 0},     {"10312R", 24},  {"1024E", pixels},
                    {"1026E", rows}, {"10323R", 300}, {"10324R", 300},
                    {"10308R", 0},   {"13510R", 0},   {"10482R", 3300}};
  device.strings = {{"19E", "ZM-14"}, {"505E", "1"}};
  return device;
}

IoResult DeviceDouble::ReadData(void* buffer, uint32_t* length, Overlapped*) {
  ++device_.reads;
  const size_t count = std::min<size_t>(device_.pending.size() - device_.taken, *length);
  std::memcpy(buffer, device_.pending.data() + device_.taken, count);
  device_.taken += count;
  if (device_.taken == device_.pending.size()) {
    device_.pending.clear();
    device_.taken = 0;
  }
  const bool all = count == *length;
  *length = static_cast<uint32_t>(count);
  if (all) return 0;
  device_.waited_ms += device_.timeouts.read;
  return kIoTimeout;
}

IoResult DeviceDouble::WriteData(const void* buffer, uint32_t length, uint32_t* written,
                                 Overlapped*) {
  *written = length;
  const std::string text(static_cast<const char*>(buffer), length);
  if (text.compare(0, 3, "\x1b*s") == 0) {
    device_.log.push_back("?" + text.substr(3));
    if (!device_.silent) Answer(text.substr(3));
    return 0;
  }
  const std::string command = text.substr(0, 1) == "\x1b" ? text.substr(1) : Readable(text);
  device_.log.push_back(command);
  if (device_.on_command) device_.on_command(command);
  if (command == "*f0S" && !device_.silent) device_.pending += device_.page;
  return 0;
}

void DeviceDouble::Answer(const std::string& inquiry) {
  const std::string head =
      "\x1b*s" + inquiry.substr(0, inquiry.size() - 1) + AnswerLetter(inquiry.back());
  if (const auto text = device_.strings.find(inquiry); text != device_.strings.end()) {
    device_.pending += head + std::to_string(text->second.size()) + "W" + text->second;
  } else if (const auto number = device_.numbers.find(inquiry); number != device_.numbers.end()) {
    device_.pending += head + std::to_string(number->second) + "V";
  } else {
    device_.pending += head + "N";
  }
}

IoResult DeviceDouble::Escape(uint32_t function, void* buffer, uint32_t, void*, uint32_t,
                              uint32_t*) {
  return MoveTimeouts(device_.timeouts, function, buffer);
}

}  // namespace scantk::test
