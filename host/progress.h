// How far a page is: a line that redraws itself on a terminal, one line a page elsewhere. Written
// to standard error, so that standard output holds results alone.
#ifndef SCANTK_HOST_PROGRESS_H_
#define SCANTK_HOST_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace scanhost {

class Progress {
 public:
  Progress();
  ~Progress() { Close(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // A page called `label` of `total` rows of `row_bytes` begins.
  void Begin(const std::string& label, uint32_t total, uint32_t row_bytes);
  void Update(uint32_t rows);
  // Ends the line, so that other text can follow.
  void Close();

 private:
  using Clock = std::chrono::steady_clock;
  bool terminal_;
  bool open_ = false;
  std::string label_;
  uint32_t total_ = 0;
  uint32_t row_bytes_ = 0;
  Clock::time_point start_, shown_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_PROGRESS_H_
