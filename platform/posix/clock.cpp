#include "platform/in_use.h"

#include <ctime>

#include <cerrno>

namespace scantk {
namespace {

class RealClock final : public Clock {
 public:
  uint32_t TickCount() override {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                                 static_cast<uint64_t>(now.tv_nsec) / 1000000);
  }

  int64_t SecondsSince1970() override { return std::time(nullptr); }

  LocalTime Now() override {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local = {};
    localtime_r(&now.tv_sec, &local);
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(now.tv_nsec / 1000000)};
  }

  void Sleep(uint32_t milliseconds) override {
    timespec left = {static_cast<time_t>(milliseconds / 1000),
                     static_cast<long>(milliseconds % 1000) * 1000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
  }
};

RealClock g_system_clock;

}  // namespace

Clock& SystemClock() {
  return g_system_clock;
}

}  // namespace scantk
