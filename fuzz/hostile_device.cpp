#include "fuzz/hostile_device.h"

#include <string>

#include "tests/sweep/failing_memory.h"

// The heap is the sanitizer's, which would not have it replaced; nothing fails here.
namespace scantk::test {
TestAtWork::TestAtWork() = default;
TestAtWork::~TestAtWork() = default;
}  // namespace scantk::test

namespace scantk::fuzz {
namespace {

constexpr uint8_t kAnswerHarms = 5, kBlockHarms = 4, kByteHarms = 8;

bool IsAnswer(const std::vector<uint8_t>& message) {
  return message.size() > 5 && message[0] == 0x1B && message[1] == '*' && message[2] == 's';
}

bool IsDigit(uint8_t byte) {
  return (byte >= '0' && byte <= '9') || byte == '-';
}

// The number of an answer: behind the letter that follows the echo.
size_t NumberStart(const std::vector<uint8_t>& answer) {
  size_t at = 3;
  while (at < answer.size() && IsDigit(answer[at])) ++at;
  return std::min(at + 1, answer.size());
}

size_t NumberEnd(const std::vector<uint8_t>& answer) {
  size_t at = NumberStart(answer);
  while (at < answer.size() && IsDigit(answer[at])) ++at;
  return at;
}

}  // namespace

HostileDevice::HostileDevice(const sim::DeviceConfig& config, FuzzInput harm,
                             std::function<int64_t()> milliseconds)
    : milliseconds_(milliseconds),
      harm_(harm),
      unharmed_(harm_.Byte()),
      core_(config, nullptr, milliseconds) {}

bool HostileDevice::Greet(sim::Conversation& host, bool busy) {
  const bool stays = core_.Greet(host, busy);
  HarmNew(host, 0);
  return stays;
}

size_t HostileDevice::Receive(sim::Conversation& host, const uint8_t* bytes, size_t size) {
  const size_t known = host.out.size();
  const size_t taken = core_.Receive(host, bytes, size);
  HarmNew(host, known);
  return taken;
}

void HostileDevice::Produce(sim::Conversation& host) {
  const size_t known = host.out.size();
  core_.Produce(host);
  HarmNew(host, known);
}

// Of the messages for the host, those behind the first `known` ones have not been looked at.
void HostileDevice::HarmNew(sim::Conversation& host, size_t known) {
  while (known < host.out.size() && !relented_ && !harm_.Empty()) {
    if (unharmed_ > 0) {
      --unharmed_;
    } else {
      Message& message = host.out[known];
      host.out_bytes -= message.size();
      Harm(host, &message);
      host.out_bytes += message.size();
      if (message.empty()) {
        host.out.erase(host.out.begin() + static_cast<ptrdiff_t>(known));
        continue;
      }
    }
    ++known;
  }
}

void HostileDevice::Harm(sim::Conversation& host, Message* message) {
  uint8_t kind = harm_.Byte();
  if (IsAnswer(*message) && kind < 0x80)
    HarmAnswer(kind % kAnswerHarms, message);
  else if (!IsAnswer(*message) && message->size() >= 8 && kind < 0x80)
    HarmBlock(kind % kBlockHarms, message);
  else
    HarmBytes(kind % kByteHarms, host, message);
  unharmed_ = harm_.Byte();
}

void HostileDevice::ReplaceNumber(Message* message, int64_t number) {
  const std::string text = std::to_string(number);
  const auto begin = message->begin();
  const auto start = static_cast<ptrdiff_t>(NumberStart(*message));
  message->erase(begin + start, begin + static_cast<ptrdiff_t>(NumberEnd(*message)));
  message->insert(message->begin() + start, text.begin(), text.end());
}

void HostileDevice::HarmAnswer(uint8_t kind, Message* message) {
  switch (kind) {
    case 0:
      ReplaceNumber(message, static_cast<int32_t>(harm_.Number(4)));
      break;
    case 1:
      ReplaceNumber(message, harm_.Byte());
      break;
    case 2:
      ReplaceNumber(message, static_cast<int64_t>(harm_.Number(2)));
      break;
    case 3:  // it has no such variable
      message->resize(NumberEnd(*message));
      message->push_back('N');
      break;
    case 4: {
      const size_t end = NumberEnd(*message);
      if (end < message->size()) (*message)[end] = static_cast<uint8_t>('A' + harm_.Byte() % 26);
      break;
    }
  }
}

void HostileDevice::HarmBlock(uint8_t kind, Message* message) {
  const auto put = [&](size_t at, int bytes) {
    for (int i = 0; i < bytes; ++i) (*message)[at + static_cast<size_t>(i)] = harm_.Byte();
  };
  switch (kind) {
    case 0:
      put(0, 4);  // length
      break;
    case 1:
      put(4, 2);  // first record
      break;
    case 2:
      put(7, 1);  // flags
      break;
    case 3: {  // a part of the first records
      const size_t at = 8 + harm_.Byte();
      if (at + 4 <= message->size()) put(at, 4);
      break;
    }
  }
}

void HostileDevice::HarmBytes(uint8_t kind, sim::Conversation& host, Message* message) {
  const size_t size = message->size();
  const auto place = [&] { return size == 0 ? 0 : harm_.Number(2) % size; };
  switch (kind) {
    case 0:
      message->clear();
      break;
    case 1:
      message->resize(std::min<size_t>(size, harm_.Number(2)));
      break;
    case 2:
      message->resize(std::min<size_t>(size, harm_.Number(2)));
      host.drop_when_sent = true;
      break;
    case 3:
      if (size > 0) (*message)[place()] = harm_.Byte();
      break;
    case 4: {  // so many bytes of the input instead
      message->resize(harm_.Byte() % 48);
      for (uint8_t& byte : *message) byte = harm_.Byte();
      break;
    }
    case 5: {
      const Message twice = *message;
      message->insert(message->end(), twice.begin(), twice.end());
      break;
    }
    case 6:  // late
      host.stalled_until = milliseconds_() + static_cast<int64_t>(harm_.Number(2));
      break;
    case 7: {
      const size_t at = place();
      for (size_t count = harm_.Byte() % 16, i = at; count > 0 && i < size; --count, ++i)
        (*message)[i] = harm_.Byte();
      break;
    }
  }
}

}  // namespace scantk::fuzz
