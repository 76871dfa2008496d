#include "diag/scanner_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "platform/clock.h"
#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr auto kProcess = CScannerLock::kProcess;
constexpr auto kThread = CScannerLock::kThread;

TEST(ScannerLockName, IsTheTextBehindTheLastBackslash) {
  const OsVersion now = {2, 10, 0}, nt4 = {2, 4, 0}, other = {1, 6, 0};
  EXPECT_EQ("Global\\Usbscan0", ScannerLockName("\\\\.\\Usbscan0", now));
  EXPECT_EQ("Usbscan0", ScannerLockName("\\\\.\\Usbscan0", nt4));
  EXPECT_EQ("Usbscan0", ScannerLockName("\\\\.\\Usbscan0", other));
  EXPECT_EQ("Global\\LM_QRL", ScannerLockName("LM_QRL", {2, 5, 0}));
  EXPECT_EQ("Global\\", ScannerLockName("ends\\", now));
}

class ScannerLockTest : public TraceFixture {
 protected:
  ScannerLockTest() {
    // Unique on the machine: the folder's name is.
    device_ = "\\\\.\\" + place_.Folder().substr(place_.Folder().find_last_of("/\\") + 1);
    Configure(1, 0xFFFFFFFF & ~TRACE_API, 1);  // the steps without the function traces
    GlobalTrace().ReloadSettings();
  }

  template <class Body>
  static void InThread(const Body& body) {
    std::thread(body).join();
  }

  std::unique_ptr<ChildProcess> LockInChild(std::string* answer) {
    std::string error;
    auto child = ChildProcess::Start(NeighbourProgram("diag_child"), {"lock", device_}, &error);
    EXPECT_TRUE(child) << error;
    EXPECT_TRUE(child && child->ReadLine(60000, answer));
    return child;
  }

  std::string device_;
};

TEST_F(ScannerLockTest, ProcessLockNestsAcrossThreads) {
  CScannerLock lock(device_.c_str());
  EXPECT_FALSE(lock.IsLocked());
  EXPECT_FALSE(lock.IsLockedByCaller());
  EXPECT_TRUE(lock.Lock(kProcess, 0));
  InThread([&] {
    EXPECT_TRUE(lock.Lock(kProcess, 0));
    EXPECT_TRUE(lock.IsLockedByCaller());
  });
  EXPECT_EQ(2u, lock.GetLockCount());
  CScannerLock rival(device_.c_str());
  EXPECT_FALSE(rival.Lock(kProcess, 0));
  EXPECT_TRUE(lock.Unlock());
  EXPECT_FALSE(rival.Lock(kProcess, 0));
  EXPECT_TRUE(lock.Unlock());
  EXPECT_FALSE(lock.IsLocked());
  EXPECT_TRUE(rival.Lock(kProcess, 0));
  EXPECT_FALSE(lock.Unlock());
}

TEST_F(ScannerLockTest, ThreadLockExcludesOtherThreads) {
  CScannerLock lock(device_.c_str());
  EXPECT_TRUE(lock.Lock(kThread, 0));
  EXPECT_TRUE(lock.Lock(kThread, 0));
  EXPECT_FALSE(lock.Lock(kProcess, 0));
  InThread([&] {
    EXPECT_FALSE(lock.Lock(kThread, 0));
    EXPECT_FALSE(lock.IsLockedByCaller());
    EXPECT_FALSE(lock.Unlock());
  });
  EXPECT_EQ(2u, lock.GetLockCount());

  // A waiting thread becomes the owner when the last hold is given back.
  std::thread waiter([&] {
    EXPECT_TRUE(lock.Lock(kThread, kWaitForever));
    EXPECT_TRUE(lock.IsLockedByCaller());
    EXPECT_TRUE(lock.Unlock());
  });
  EXPECT_TRUE(lock.Unlock());
  EXPECT_TRUE(lock.Unlock());
  waiter.join();
  EXPECT_FALSE(lock.IsLocked());
}

TEST_F(ScannerLockTest, StepsAreTraced) {
  const std::string name = device_.substr(4);
  {
    CScannerLock lock(device_.c_str());
    EXPECT_THAT(NewLines(), ElementsAre("     Lock Semaphore name is Global\\" + name));
    lock.Lock(kProcess, 0);
    lock.Lock(kProcess, 0);
    lock.Lock(kThread, 0);
    const auto taken = NewLines();
    ASSERT_EQ(6u, taken.size());
    EXPECT_EQ("     Using Session locking:  Requested Lock type = PROCESS, Current LockCount = 0",
              taken[0]);
    EXPECT_THAT(taken[1], MatchesRegex("     Lock obtained, PID \\(\\w+\\), TID "
                                       "\\(\\w+\\), new lockcount = 1"));
    EXPECT_EQ("     Using Session locking:  Requested Lock type = PROCESS, Current LockCount = 1",
              taken[2]);
    EXPECT_EQ("     Lock obtained, new LockCount = 2", taken[3]);
    EXPECT_EQ("     Using Session locking:  Requested Lock type = THREAD, Current LockCount = 2",
              taken[4]);
    EXPECT_EQ("     Requested lock type does not match original lock, returning failure", taken[5]);
    lock.Unlock();
    lock.Unlock();
    lock.Unlock();
    EXPECT_THAT(NewLines(), ElementsAre("     Unlock succeeded, lockcount is 1",
                                        "     Unlock - Releasing Lock Semaphores",
                                        "     Unlock called and LockCount is already 0"));
    EXPECT_FALSE(lock.Lock(2, 0));
    EXPECT_THAT(NewLines(), ElementsAre());

    lock.Lock(kThread, 0);
    NewLines();
    InThread([&] {
      lock.Lock(kThread, 0);
      lock.Unlock();
    });
    const auto refused = NewLines();
    ASSERT_EQ(4u, refused.size());
    EXPECT_THAT(refused[1], MatchesRegex("     Lock Failed, calling thread \\(\\w+\\) != "
                                         "locking thread \\(\\w+\\)"));
    EXPECT_EQ("     Error:  Lock wait failed", refused[2]);
    EXPECT_THAT(refused[3], MatchesRegex("     Error - current TID \\(\\w+\\) doesn't match "
                                         "lock TID \\(\\w+\\)"));
  }
  EXPECT_THAT(NewLines(), Contains(HasSubstr("Unlock - Releasing Lock Semaphores")));
}

// The masks: errors in a log of errors, the warning only where warnings are wanted.
TEST_F(ScannerLockTest, LinesHaveTheirClass) {
  const auto lines_at = [&](uint32_t level) {
    Configure(1, level, 1);
    CScannerLock lock(device_.c_str());
    GlobalTrace().ReloadSettings();
    NewLines();
    lock.Unlock();
    lock.Lock(kProcess, 0);
    lock.Lock(kThread, 0);
    return NewLines();
  };
  EXPECT_THAT(lines_at(TRACE_CLASS_ERROR),
              ElementsAre("     Requested lock type does not match original lock, returning "
                          "failure"));
  EXPECT_THAT(lines_at(TRACE_CLASS_WARNING | TRACE_LOCK),
              ElementsAre("     Unlock called and LockCount is already 0"));
  EXPECT_EQ(3u, lines_at(TRACE_CLASS_INFO | TRACE_LOCK).size());
}

TEST_F(ScannerLockTest, ConstructorsExitLineShowsWhoWasFirst) {
  Configure(1, 0xFFFFFFFF, 1);
  GlobalTrace().ReloadSettings();
  CScannerLock first(device_.c_str());
  EXPECT_THAT(NewLines(), Contains(HasSubstr("---CScannerLock::Constructor :  Returned 0x0: ")));
  CScannerLock second(device_.c_str());
  EXPECT_THAT(NewLines(),
              Contains(HasSubstr("---CScannerLock::Constructor :  ERROR: Returned 0x800700b7: ")));
}

TEST_F(ScannerLockTest, WaitEndsWithItsTime) {
  CScannerLock holder(device_.c_str());
  ASSERT_TRUE(holder.Lock(kProcess, 0));
  CScannerLock lock(device_.c_str());
  const uint32_t start = TheClock().TickCount();
  EXPECT_FALSE(lock.Lock(kProcess, 300));
  EXPECT_GE(TheClock().TickCount() - start, 290u);
  EXPECT_EQ(0u, lock.GetLockCount());
}

TEST_F(ScannerLockTest, ExcludesOtherProcesses) {
  std::string answer;
  {
    CScannerLock lock(device_.c_str());
    ASSERT_TRUE(lock.Lock(kProcess, 0));
    LockInChild(&answer);
    EXPECT_EQ("refused", answer);
  }
  auto child = LockInChild(&answer);  // the destructor gave the lock back
  EXPECT_EQ("locked", answer);
  CScannerLock lock(device_.c_str());
  EXPECT_FALSE(lock.Lock(kProcess, 100));
}

TEST_F(ScannerLockTest, DeadHolderGivesTheLockBack) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "a property of the semaphores of the other system";
  CScannerLock lock(device_.c_str());
  std::string answer;
  auto child = LockInChild(&answer);
  ASSERT_EQ("locked", answer);
  ASSERT_FALSE(lock.Lock(kProcess, 0));
  child.reset();  // ends it where it stands, with the lock held
  EXPECT_TRUE(lock.Lock(kProcess, 1000));
}

}  // namespace
}  // namespace scantk
