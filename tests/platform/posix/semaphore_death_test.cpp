// What only this system promises: a holder that dies gives the semaphore back.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/semaphore.h"
#include "platform/system.h"

namespace scantk {
namespace {

TEST(SemaphoreDeathTest, AKilledHolderGivesItBackAtOnce) {
  const std::string name = "Global\\scantk-death-" + std::to_string(ProcessId());
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl(PLATFORM_PEER, PLATFORM_PEER, "hold", name.c_str(), nullptr);
    _exit(1);
  }
  char word[5] = {};
  ASSERT_EQ(read(ends[0], word, 5), 5);
  NamedSemaphore semaphore = NamedSemaphore::CreateOrOpen(name, nullptr);
  EXPECT_EQ(LastError(), error::kAlreadyExists);
  EXPECT_EQ(semaphore.Wait(50), WaitResult::kTimeout);
  kill(holder, SIGKILL);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(semaphore.Wait(5000), WaitResult::kSignalled);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
  ASSERT_EQ(waitpid(holder, nullptr, 0), holder);
  EXPECT_TRUE(semaphore.Release());
  close(ends[0]);
  close(ends[1]);
}

// A clock on which sleeping takes no time.
class VirtualClock final : public Clock {
 public:
  uint32_t TickCount() override { return now_; }
  int64_t SecondsSince1970() override { return 0; }
  LocalTime Now() override { return {}; }
  void Sleep(uint32_t milliseconds) override {
    now_ += milliseconds;
    ++sleeps_;
  }
  int Sleeps() const { return sleeps_; }

 private:
  uint32_t now_ = 0xFFFFFFF0;
  int sleeps_ = 0;
};

TEST(SemaphoreDeathTest, WaitsOnTheClockAndSleepsBetweenTries) {
  NamedSemaphore first = NamedSemaphore::CreateOrOpen("", nullptr);
  ASSERT_EQ(first.Wait(0), WaitResult::kSignalled);
  VirtualClock clock;
  SetClock(&clock);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(first.Wait(10000), WaitResult::kTimeout);
  SetClock(nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2000));
  EXPECT_GT(clock.Sleeps(), 900);
  EXPECT_LT(clock.Sleeps(), 1100);
}

TEST(SemaphoreDeathTest, LockFilesAreForEveryUser) {
  const std::string name = "scantk-mode-" + std::to_string(ProcessId());
  const mode_t old = umask(077);
  NamedSemaphore semaphore = NamedSemaphore::CreateOrOpen("Global\\" + name, nullptr);
  umask(old);
  struct stat status;
  ASSERT_EQ(stat(("/dev/shm/scantk/g-" + name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666u);
  ASSERT_EQ(stat("/dev/shm/scantk", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 01777u);
}

}  // namespace
}  // namespace scantk
