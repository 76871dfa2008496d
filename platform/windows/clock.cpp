#include "platform/clock.h"

#include <windows.h>

#include <atomic>
#include <ctime>

namespace scantk {
namespace {

class SystemClock final : public Clock {
 public:
  uint32_t TickCount() override { return GetTickCount(); }

  int64_t SecondsSince1970() override { return std::time(nullptr); }

  LocalTime Now() override {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wYear,   now.wMonth,  now.wDay,         now.wHour,
            now.wMinute, now.wSecond, now.wMilliseconds};
  }

  void Sleep(uint32_t milliseconds) override { ::Sleep(milliseconds); }
};

SystemClock g_system_clock;
std::atomic<Clock*> g_clock{&g_system_clock};

}  // namespace

Clock& TheClock() {
  return *g_clock.load(std::memory_order_acquire);
}

void SetClock(Clock* clock) {
  g_clock.store(clock ? clock : &g_system_clock, std::memory_order_release);
}

}  // namespace scantk
