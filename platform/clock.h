// Time, as the toolkit sees it: every tick count, sleep and bounded wait goes through the process's
// one clock, so that a test can replace it and a retry of ten seconds takes none.
#ifndef SCANTK_PLATFORM_CLOCK_H_
#define SCANTK_PLATFORM_CLOCK_H_

#include <cstdint>

namespace scantk {

inline constexpr uint32_t kWaitForever = 0xFFFFFFFF;

// Local calendar time, for the trace.
struct LocalTime {
  int year, month, day, hour, minute, second, milliseconds;
};

// Any thread may call any operation.
class Clock {
 public:
  virtual ~Clock() = default;
  // Milliseconds since some start; wraps after 49 days.
  virtual uint32_t TickCount() = 0;
  virtual int64_t SecondsSince1970() = 0;
  virtual LocalTime Now() = 0;
  virtual void Sleep(uint32_t milliseconds) = 0;
};

// The clock in use: the system's, until a test sets another.
Clock& TheClock();

// Replaces the clock; null restores the system's. `clock` stays the caller's and must outlive its
// use. Not while another thread uses the toolkit.
void SetClock(Clock* clock);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_CLOCK_H_
