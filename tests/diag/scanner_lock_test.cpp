#include "diag/scanner_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "platform/clock.h"
#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

constexpr auto kProcess = ScannerLock::kProcess;
constexpr auto kThread = ScannerLock::kThread;

TEST(ScannerLockName, IsTheTextBehindTheLastBackslash) {
  EXPECT_EQ("Global\\Usbscan0", ScannerLockName("\\\\.\\Usbscan0", {2, 10, 0}));
  EXPECT_EQ("Global\\LM_QRL", ScannerLockName("LM_QRL", {2, 5, 0}));
  for (const OsVersion& old : {OsVersion{2, 4, 0}, OsVersion{1, 6, 0}})
    EXPECT_EQ("Usbscan0", ScannerLockName("\\\\.\\Usbscan0", old));
}

class ScannerLockTest : public TraceFixture {
 protected:
  ScannerLockTest() {
    // Unique on the machine: the folder's name is.
    device_ = "\\\\.\\" + place_.Folder().substr(place_.Folder().find_last_of("/\\") + 1);
  }
  template <class Body>
  static void InThread(const Body& body) {
    std::thread(body).join();
  }

  std::string device_;
};

TEST_F(ScannerLockTest, ProcessLockNestsAcrossThreads) {
  ScannerLock lock(device_.c_str()), rival(device_.c_str());
  EXPECT_FALSE(lock.IsLocked() || lock.IsLockedByCaller());
  EXPECT_EQ(1u, lock.Lock(kProcess, 0));
  InThread([&] {
    EXPECT_EQ(2u, lock.Lock(kProcess, 0));
    EXPECT_TRUE(lock.IsLockedByCaller());
  });
  const uint32_t start = TheClock().TickCount();
  EXPECT_EQ(0u, rival.Lock(kProcess, 200));
  EXPECT_GE(TheClock().TickCount() - start, 185u);
  EXPECT_TRUE(lock.Unlock());
  EXPECT_EQ(0u, rival.Lock(kProcess, 0));
  EXPECT_TRUE(lock.Unlock());
  EXPECT_FALSE(lock.IsLocked());
  EXPECT_EQ(1u, rival.Lock(kProcess, 0));
  EXPECT_FALSE(lock.Unlock());
  EXPECT_EQ(0u, lock.Lock(2, 0));
  {
    ScannerLock gone(device_.c_str());
    EXPECT_TRUE(rival.Unlock());
    EXPECT_EQ(1u, gone.Lock(kProcess, 0));
  }
  EXPECT_EQ(1u, rival.Lock(kProcess, 0)) << "the destructor gave it back";
}

TEST_F(ScannerLockTest, ThreadLockExcludesOtherThreads) {
  ScannerLock lock(device_.c_str());
  EXPECT_EQ(1u, lock.Lock(kThread, 0));
  EXPECT_EQ(2u, lock.Lock(kThread, 0));
  EXPECT_EQ(0u, lock.Lock(kProcess, 0)) << "of the other type";
  InThread([&] {
    EXPECT_EQ(0u, lock.Lock(kThread, 0));
    EXPECT_FALSE(lock.IsLockedByCaller() || lock.Unlock());
  });
  EXPECT_EQ(2u, lock.GetLockCount());
  // Waiting threads become the owner one after the other when the last hold is given back.
  const auto wait = [&] {
    EXPECT_EQ(1u, lock.Lock(kThread, kWaitForever));
    EXPECT_TRUE(lock.IsLockedByCaller());
    EXPECT_TRUE(lock.Unlock());
  };
  std::thread first(wait), second(wait);
  EXPECT_TRUE(lock.Unlock());
  EXPECT_TRUE(lock.Unlock());
  first.join();
  second.join();
  EXPECT_FALSE(lock.IsLocked());
}

// A thread that waits for another process keeps no other one waiting beyond its time, nor from
// nesting into the hold that it gets.
TEST_F(ScannerLockTest, EveryThreadWaitsItsOwnTime) {
  ScannerLock rival(device_.c_str()), lock(device_.c_str());
  ASSERT_EQ(1u, rival.Lock(kProcess, 0));
  uint32_t counts[2] = {}, start = TheClock().TickCount();
  const auto waiter = [&](uint32_t* count, uint32_t limit) {
    NewLines();
    std::thread waiting([&lock, count, limit] { *count = lock.Lock(kProcess, limit); });
    using testing::Contains, testing::HasSubstr;
    const auto waits = testing::Matches(Contains(HasSubstr("Using Session locking")));
    while (!waits(NewLines()) && TheClock().TickCount() - start < 30000) std::this_thread::yield();
    return waiting;
  };
  std::thread first = waiter(&counts[0], kWaitForever);
  start = TheClock().TickCount();
  EXPECT_EQ(0u, lock.Lock(kProcess, 0));
  EXPECT_EQ(0u, lock.Lock(kProcess, 200));
  EXPECT_GE(TheClock().TickCount() - start, 185u);
  std::thread second = waiter(&counts[1], 20000);
  start = TheClock().TickCount();
  EXPECT_TRUE(rival.Unlock());
  first.join();
  second.join();
  EXPECT_EQ(3u, counts[0] + counts[1]) << "one and two";
  EXPECT_LT(TheClock().TickCount() - start, 10000u);
}

// Errors reach a log of errors, the warning only one where warnings are wanted.
TEST_F(ScannerLockTest, LinesHaveTheirClass) {
  const std::pair<uint32_t, const char*> told[] = {{TRACE_CLASS_ERROR, "does not match"},
                                                   {TRACE_CLASS_WARNING | TRACE_LOCK, "already 0"}};
  for (const auto& [level, text] : told) {
    Configure(1, level, 1);
    ScannerLock lock(device_.c_str());
    GlobalTrace().ReloadSettings();
    NewLines();
    lock.Unlock();
    lock.Lock(kProcess, 0);
    lock.Lock(kThread, 0);
    EXPECT_THAT(NewLines(), testing::ElementsAre(testing::HasSubstr(text)));
  }
}

#ifndef _WIN32
TEST_F(ScannerLockTest, AChildDoesNotReleaseItsParentsLock) {
  ScannerLock lock(device_.c_str()), rival(device_.c_str());
  ASSERT_TRUE(lock.Lock(kProcess, 0));
  const pid_t child = fork();
  if (child == 0) _exit(lock.Unlock() ? 1 : 0);
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_THAT(NewLines(), testing::Contains(testing::HasSubstr("doesn't match lock PID")));
  EXPECT_FALSE(rival.Lock(kProcess, 0));
  EXPECT_TRUE(lock.Unlock());
  EXPECT_TRUE(rival.Lock(kProcess, 0));
}
#endif

}  // namespace
}  // namespace scantk
