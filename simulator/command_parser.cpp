#include "simulator/command_parser.h"

#include <algorithm>

#include "simulator/variables.h"

namespace scantk::sim {
namespace {

constexpr uint8_t kEscape = 0x1B;
constexpr int64_t kLargestValue = int64_t{1} << 40;  // more digits say nothing that a device knows
constexpr int64_t kMaxData = 1 << 20;

}  // namespace

std::string AnswerStart(const Command& inquiry) {
  const char kind = inquiry.letter;
  const char letter = kind == 'R' ? 'p' : kind == 'L' ? 'k' : kind == 'H' ? 'g' : 'd';
  return "\x1B*s" + std::to_string(inquiry.value) + letter;
}

size_t TableBytes(const Command& command) {
  const auto known = FindCommand(command.group, command.letter);
  if (!known || known->number != number::kDownloadLength) return 0;
  return static_cast<size_t>(std::clamp<int64_t>(command.value, 0, kMaxData));
}

size_t CommandParser::Take(const uint8_t* bytes, size_t size, Command* command, bool* complete) {
  *complete = false;
  size_t at = 0;
  while (at < size && !*complete) {
    if (data_left_ > 0) {
      at += TakeData(bytes + at, size - at);
      command_ = {};
      *complete = data_left_ == 0;
    } else {
      *complete = TakeByte(bytes[at++]);
    }
  }
  if (*complete) *command = command_;
  return at;
}

size_t CommandParser::TakeData(const uint8_t* bytes, size_t size) {
  const size_t count = std::min(data_left_, size);
  if (data_.size() + count <= size_t{kMaxData}) data_.insert(data_.end(), bytes, bytes + count);
  data_left_ -= count;
  return count;
}

// True: it ends a command.
bool CommandParser::TakeByte(uint8_t byte) {
  if (byte == kEscape) {
    state_ = State::kEscape;
    command_ = {};
    negative_ = false;
    return false;
  }
  const State state = std::exchange(state_, State::kIdle);
  if (state == State::kEscape && byte == 'E') {
    command_.letter = 'E';
    return true;
  }
  if (state == State::kEscape && byte == '*') {
    state_ = State::kStar;
  } else if (state == State::kStar && byte >= 'a' && byte <= 'z') {
    command_.group = static_cast<char>(byte);
    state_ = State::kValue;
  } else if (state == State::kValue) {
    return TakeValue(byte);
  } else {
    ++strays_;
  }
  return false;
}

bool CommandParser::TakeValue(uint8_t byte) {
  if (byte >= 'A' && byte <= 'Z') {
    command_.letter = static_cast<char>(byte);
    if (negative_) command_.value = -command_.value;
    return true;
  }
  state_ = State::kValue;
  if (byte == '-' && !command_.has_value) {
    negative_ = true;
  } else if (byte >= '0' && byte <= '9') {
    command_.has_value = true;
    command_.value = std::min(command_.value * 10 + (byte - '0'), kLargestValue);
  } else {
    ++strays_;
    state_ = State::kIdle;
  }
  return false;
}

}  // namespace scantk::sim
