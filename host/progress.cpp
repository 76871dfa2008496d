#include "host/progress.h"

#include <algorithm>
#include <cstdio>

namespace scanhost {
namespace {

constexpr uint32_t kBarWidth = 40;

}  // namespace

void Progress::Begin(const std::string& label, uint32_t total) {
  Close();
  label_ = label;
  total_ = total;
  shown_ = 0;
  open_ = bar_;
  if (bar_)
    Update(0);
  else
    std::fprintf(stderr, "%s: scanning %u rows\n", label.c_str(), total);
}

void Progress::Update(uint32_t rows) {
  const uint64_t steps = bar_ ? 100 : 4;
  const auto step =
      total_ == 0 ? 0u : static_cast<uint32_t>(std::min<uint64_t>(rows * steps / total_, steps));
  if (step == shown_ && rows != 0) return;
  shown_ = step;
  if (!bar_) {
    std::fprintf(stderr, "%s: %u of %u rows (%u%%)\n", label_.c_str(), rows, total_, step * 25);
    return;
  }
  const std::string done(step * kBarWidth / 100, '#');
  std::fprintf(stderr, "\r%s [%-*s] %3u%% %u rows", label_.c_str(), int{kBarWidth}, done.c_str(),
               step, rows);
  std::fflush(stderr);
}

void Progress::Close() {
  if (open_) std::fputc('\n', stderr);
  open_ = false;
}

}  // namespace scanhost
