// Time that passes only when somebody waits.
#ifndef SCANTK_TESTS_SWEEP_VIRTUAL_CLOCK_H_
#define SCANTK_TESTS_SWEEP_VIRTUAL_CLOCK_H_

#include <cstdint>

#include "platform/clock.h"

namespace scantk::test {

// The process's clock while it lives. One thread.
class VirtualClock : public Clock {
 public:
  VirtualClock() { SetClock(this); }
  ~VirtualClock() override { SetClock(nullptr); }

  int64_t Milliseconds() const { return now_; }
  void Advance(int64_t milliseconds) { now_ += milliseconds; }

  uint32_t TickCount() override { return static_cast<uint32_t>(now_); }
  int64_t SecondsSince1970() override { return 1'000'000'000 + now_ / 1000; }
  LocalTime Now() override { return {2001, 9, 9, 1, 46, 40, static_cast<int>(now_ % 1000)}; }
  void Sleep(uint32_t milliseconds) override { Advance(milliseconds); }

 private:
  int64_t now_ = 1000;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_VIRTUAL_CLOCK_H_
