#include "host/progress.h"

#include <cstdio>

#include "host/console.h"
#include "host/interruption.h"

namespace scanhost {
namespace {

constexpr auto kRedraw = std::chrono::milliseconds(100);

}  // namespace

Progress::Progress() : terminal_(IsTerminal(StandardStream::kError)) {}

void Progress::Begin(const std::string& label, uint32_t total, uint32_t row_bytes) {
  Close();
  label_ = label;
  total_ = total;
  row_bytes_ = row_bytes;
  start_ = shown_ = Clock::now();
  if (!terminal_) std::fprintf(stderr, "%s: scanning %u rows\n", label.c_str(), total);
}

void Progress::Update(uint32_t rows) {
  const auto now = Clock::now();
  if (!terminal_ || now - shown_ < kRedraw || Interruption::Status() != 0) return;
  shown_ = now;
  open_ = true;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double left = rows == 0 || rows > total_ ? 0 : seconds * (total_ - rows) / rows;
  std::fprintf(stderr, "\r%s: %u of %u rows, %.0f%%, %.1f MB/s, %.0f s left   ", label_.c_str(),
               rows, total_, total_ == 0 ? 0 : rows * 100.0 / total_,
               double(rows) * row_bytes_ / 1e6 / seconds, left);
  std::fflush(stderr);
}

void Progress::Close() {
  if (open_) std::fputc('\n', stderr);
  open_ = false;
  Interruption::EndLine();
}

}  // namespace scanhost
