// The escape sequences of a host, taken apart. A pure machine over bytes: any chunking gives the
// same commands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace scantk::sim {

/// One escape sequence: ESC E, or ESC * group value letter.
struct Command {
  char group = 0;   ///< the lower-case letter after the star; 0 for the reset
  char letter = 0;  ///< the upper-case letter at the end
  bool has_value = false;
  int64_t value = 0;
  bool IsInquiry() const { return group == 's'; }
};

/// What the answer to an inquiry begins with.
std::string AnswerStart(const Command& inquiry);

/// The bytes of a table that follow the command, 0 when it announces none.
size_t TableBytes(const Command& command);

class CommandParser {
 public:
  /// Takes `size` bytes; the commands that they complete are appended to `commands`. Stops behind
  /// the first command and returns the bytes taken, so that a download can follow it.
  size_t Take(const uint8_t* bytes, size_t size, Command* command, bool* complete);
  /// The next `bytes` bytes are data, not commands.
  void ExpectData(size_t bytes) {
    data_left_ = bytes;
    data_.clear();
  }
  bool ExpectsData() const { return data_left_ > 0; }
  /// The download that has come whole, and is given away.
  std::vector<uint8_t> TakeData() { return std::exchange(data_, {}); }
  /// Bytes that fitted no command so far.
  int64_t strays() const { return strays_; }

 private:
  enum class State { kIdle, kEscape, kStar, kValue };

  State state_ = State::kIdle;
  Command command_;
  bool negative_ = false;
  size_t data_left_ = 0;
  std::vector<uint8_t> data_;
  int64_t strays_ = 0;
};

}  // namespace scantk::sim
