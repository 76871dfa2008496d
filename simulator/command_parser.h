// The escape sequences of a host, taken apart. A pure machine over bytes: any chunking gives the
// same commands.
#ifndef SCANTK_SIMULATOR_COMMAND_PARSER_H_
#define SCANTK_SIMULATOR_COMMAND_PARSER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace scantk::sim {

// One escape sequence: ESC E, or ESC * group value letter.
struct Command {
  char group = 0;   // the lower-case letter after the star; 0 for the reset
  char letter = 0;  // the upper-case letter at the end
  bool has_value = false;
  int64_t value = 0;
  bool IsInquiry() const { return group == 's'; }
};

// What the answer to an inquiry begins with.
std::string AnswerStart(const Command& inquiry);

// The bytes of a table that follow the command, 0 when it announces none.
size_t TableBytes(const Command& command);

class CommandParser {
 public:
  // Takes bytes up to the end of the first command, or all of them, and returns their number: a
  // download may follow a command. `*complete`: `*command` is that command; without a letter it is
  // the end of a download.
  size_t Take(const uint8_t* bytes, size_t size, Command* command, bool* complete);
  // The next `bytes` bytes are data, not commands.
  void ExpectData(size_t bytes) {
    data_left_ = bytes;
    data_.clear();
  }
  // The download that has come whole, and is given away.
  std::vector<uint8_t> TakeData() { return std::exchange(data_, {}); }
  // Bytes that fitted no command so far.
  int64_t strays() const { return strays_; }

 private:
  enum class State { kIdle, kEscape, kStar, kValue };

  size_t TakeData(const uint8_t* bytes, size_t size);
  bool TakeByte(uint8_t byte);
  bool TakeValue(uint8_t byte);

  State state_ = State::kIdle;
  Command command_;
  bool negative_ = false;
  size_t data_left_ = 0;
  std::vector<uint8_t> data_;
  int64_t strays_ = 0;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_COMMAND_PARSER_H_
