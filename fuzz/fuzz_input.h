// What the fuzz targets share: taking choices off the front of an input, and saying what must hold.
#ifndef SCANTK_FUZZ_FUZZ_INPUT_H_
#define SCANTK_FUZZ_FUZZ_INPUT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Every target defines it; libFuzzer calls it, or replay_main.cpp over files.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace scantk::fuzz {

// Stops the program, in every build, when something does not hold.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

// The bytes of one input, read from the front. Behind the end there are zeros.
class FuzzInput {
 public:
  FuzzInput(const uint8_t* data, size_t size) : next_(data), left_(size) {}

  bool Empty() const { return left_ == 0; }
  uint8_t Byte() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }
  // Low byte first.
  uint64_t Number(int bytes) {
    uint64_t number = 0;
    for (int i = 0; i < bytes; ++i) number |= uint64_t{Byte()} << (8 * i);
    return number;
  }
  // The size of a piece, 1 to 65026: small ones are the likely ones.
  size_t PieceSize() {
    const size_t root = Byte();
    return root * root + 1;
  }
  // Fewer at the end of the input.
  std::string Text(size_t count = SIZE_MAX) {
    const std::vector<uint8_t> text = Rest(count);
    return {text.begin(), text.end()};
  }
  // Up to the next line feed, which is taken and left out.
  std::string Line() {
    const std::string line =
        Text(static_cast<size_t>(std::find(next_, next_ + left_, '\n') - next_));
    Byte();
    return line;
  }
  // All that is left, `most` bytes of it; in memory of its own and exactly as large, so that a
  // sanitizer sees every byte beyond.
  std::vector<uint8_t> Rest(size_t most = SIZE_MAX) {
    const uint8_t* const first = next_;
    next_ += std::min(most, left_);
    left_ -= static_cast<size_t>(next_ - first);
    return {first, next_};
  }

 private:
  const uint8_t* next_;
  size_t left_;
};

// A NUL-terminated copy in memory of its own, exactly as large.
inline std::vector<char> Terminated(const std::string& text) {
  std::vector<char> copy(text.begin(), text.end());
  copy.push_back('\0');
  return copy;
}

}  // namespace scantk::fuzz

#endif  // SCANTK_FUZZ_FUZZ_INPUT_H_
