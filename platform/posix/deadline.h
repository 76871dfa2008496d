// A time limit as a budget: what is left of it.
#ifndef SCANTK_PLATFORM_POSIX_DEADLINE_H_
#define SCANTK_PLATFORM_POSIX_DEADLINE_H_

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <optional>

#include "platform/clock.h"

namespace scantk {

using TimePoint = std::chrono::steady_clock::time_point;

// The waits for files and the network are real ones, whatever the toolkit's clock says.
class Deadline {
 public:
  // kWaitForever: there is none.
  explicit Deadline(uint32_t milliseconds) {
    if (milliseconds != kWaitForever)
      end_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  }

  // Brings it forward.
  void NotAfter(TimePoint end) { end_ = std::min(end_.value_or(TimePoint::max()), end); }

  // Milliseconds left, for poll: rounded up, so that a wait does not end early; -1 without limit.
  int Left() const {
    if (!end_) return -1;
    const auto left = *end_ - std::chrono::steady_clock::now();
    const auto count = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return static_cast<int>(std::clamp<int64_t>(count, 0, INT_MAX));
  }

 private:
  std::optional<TimePoint> end_;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_DEADLINE_H_
