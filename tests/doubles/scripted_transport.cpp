#include "tests/doubles/scripted_transport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace scantk::test {

Script& Script::Add(Step step) {
  steps_.push_back(std::move(step));
  return *this;
}
Script& Script::Write(std::string bytes) {
  const auto count = static_cast<uint32_t>(bytes.size());
  return Add({Kind::kWrite, std::move(bytes), 0, count});
}
Script& Script::FailWrite(std::string bytes, IoResult result, uint32_t count) {
  return Add({Kind::kWrite, std::move(bytes), result, count});
}
Script& Script::Read(std::string bytes) {
  return Add({Kind::kRead, std::move(bytes)});
}
Script& Script::EndRead(IoResult result) {
  return Add({Kind::kEndRead, {}, result});
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
  return Add({Kind::kDisconnect});
}

std::string Script::TakeFaults() {
  static const char* const kNever[] = {
      "never written: ", "never read: ", "no read ended: ", "never disconnected"};
  std::string text = std::exchange(faults_, {});
  for (const Step& step : std::exchange(steps_, {}))
    text += kNever[static_cast<int>(step.kind)] +
            testing::PrintToString(step.bytes.substr(step.used, 60)) + "\n";
  return text;
}

IoResult ScriptedTransport::ReadData(void* buffer, uint32_t* length, Overlapped*) {
  ++script_.reads;
  const uint32_t wanted = *length;
  *length = 0;
  while (*length < wanted && script_.Next(Script::Kind::kRead)) {
    Script::Step& step = script_.steps_.front();
    const size_t count = std::min<size_t>(step.bytes.size() - step.used, wanted - *length);
    std::memcpy(static_cast<char*>(buffer) + *length, step.bytes.data() + step.used, count);
    *length += static_cast<uint32_t>(count);
    step.used += count;
    if (step.used == step.bytes.size()) script_.steps_.pop_front();
  }
  if (*length == wanted) return 0;
  IoResult result = kIoTimeout;
  if (script_.Next(Script::Kind::kEndRead)) {
    result = script_.steps_.front().result;
    script_.steps_.pop_front();
  }
  if (result == kIoTimeout && script_.on_timeout) script_.on_timeout();
  return result;
}

IoResult ScriptedTransport::WriteData(const void* buffer, uint32_t length, uint32_t* written,
                                      Overlapped*) {
  const std::string bytes(static_cast<const char*>(buffer), length);
  *written = length;
  const bool in_turn = script_.Next(Script::Kind::kWrite);
  if (!in_turn || script_.steps_.front().bytes != bytes)
    script_.faults_ += "not to be written: " + testing::PrintToString(bytes.substr(0, 60)) + "\n";
  if (!in_turn) return 0;
  const Script::Step step = script_.steps_.front();
  script_.steps_.pop_front();
  *written = step.count;
  return step.result;
}

IoResult ScriptedTransport::Escape(uint32_t function, void* buffer, uint32_t, void*, uint32_t,
                                   uint32_t*) {
  if (function == GET_TIMEOUTS) std::memcpy(buffer, &script_.timeouts, sizeof script_.timeouts);
  if (function != SET_TIMEOUTS) return 0;
  std::memcpy(&script_.timeouts, buffer, sizeof script_.timeouts);
  script_.timeouts_set.push_back(script_.timeouts);
  return 0;
}

IoResult ScriptedTransport::DisConnectFromIO() {
  // After the script's end an engine may disconnect as it likes: each does when it goes away.
  if (script_.Next(Script::Kind::kDisconnect)) {
    script_.steps_.pop_front();
  } else if (!script_.steps_.empty()) {
    script_.faults_ += "disconnected out of turn\n";
  }
  return 0;
}

}  // namespace scantk::test
