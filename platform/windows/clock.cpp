#include "platform/in_use.h"

#include <windows.h>

#include <ctime>

namespace scantk {
namespace {

class RealClock final : public Clock {
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

RealClock g_system_clock;

}  // namespace

Clock& SystemClock() {
  return g_system_clock;
}

}  // namespace scantk
