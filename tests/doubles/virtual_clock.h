// Time that passes only when somebody sleeps. The clock of the process while it lives.
#ifndef SCANTK_TESTS_DOUBLES_VIRTUAL_CLOCK_H_
#define SCANTK_TESTS_DOUBLES_VIRTUAL_CLOCK_H_

#include <atomic>

#include "platform/clock.h"

namespace scantk {

class VirtualClock : public Clock {
 public:
  VirtualClock() { SetClock(this); }
  ~VirtualClock() override { SetClock(nullptr); }
  uint32_t TickCount() override { return now; }
  int64_t SecondsSince1970() override { return 1000; }
  LocalTime Now() override { return {2026, 11, 7, 9, 5, 3, 250}; }
  void Sleep(uint32_t milliseconds) override {
    now += milliseconds;
    ++sleeps;
  }
  std::atomic<uint32_t> now = 0xFFFFF000;  // close to the wrap
  std::atomic<uint32_t> sleeps = 0;        // how many
};

}  // namespace scantk

#endif  // SCANTK_TESTS_DOUBLES_VIRTUAL_CLOCK_H_
