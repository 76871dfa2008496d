// A clock that moves when a test says so: sleeps take no time and are remembered.
#ifndef SCANTK_TESTS_DOUBLES_TEST_CLOCK_H_
#define SCANTK_TESTS_DOUBLES_TEST_CLOCK_H_

#include <atomic>
#include <vector>

#include "platform/clock.h"

namespace scantk {

// The process's clock while it lives.
class TestClock : public Clock {
 public:
  TestClock() { SetClock(this); }
  ~TestClock() override { SetClock(nullptr); }
  uint32_t TickCount() override { return ticks += step; }
  int64_t SecondsSince1970() override { return ticks / 1000; }
  LocalTime Now() override { return {2026, 11, 7, 9, 5, 3, 250}; }
  void Sleep(uint32_t milliseconds) override {
    sleeps.push_back(milliseconds);
    ticks += milliseconds;
  }

  std::atomic<uint32_t> ticks = 0xFFFFFF00;  // about to wrap
  uint32_t step = 0;                         // from one look at it to the next
  std::vector<uint32_t> sleeps;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_DOUBLES_TEST_CLOCK_H_
