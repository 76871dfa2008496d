#include "platform/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "tests/diag/test_place.h"

namespace scantk {
namespace {

// Names that no other run uses.
std::string Name(const std::string& stem) {
  return "Global\\scantk-" + std::to_string(ProcessId()) + "-" + stem;
}

NamedSemaphore Make(const std::string& name) {
  return NamedSemaphore::CreateOrOpen(name, "D:(A;OICI;GA;;;BA)(A;OICI;GA;;;AU)");
}

TEST(SemaphoreTest, TwoObjectsOfOneProcessExcludeEachOther) {
  const std::string name = Name("pair");
  NamedSemaphore first = Make(name);
  EXPECT_EQ(LastError(), error::kSuccess);
  NamedSemaphore second = Make(name);
  EXPECT_EQ(LastError(), error::kAlreadyExists);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first.Wait(0), WaitResult::kSignalled);
  EXPECT_EQ(first.Wait(0), WaitResult::kTimeout) << "the count is one, not one for each object";
  const uint32_t start = TheClock().TickCount();
  EXPECT_EQ(second.Wait(120), WaitResult::kTimeout);
  EXPECT_GE(TheClock().TickCount() - start, 105u);
  EXPECT_TRUE(first.Release());
  EXPECT_FALSE(first.Release());
  EXPECT_EQ(LastError(), error::kTooManyPosts);
  EXPECT_EQ(second.Wait(0), WaitResult::kSignalled);
  std::thread([&] { EXPECT_TRUE(second.Release()) << "any thread may"; }).join();
  first = NamedSemaphore();
  second = NamedSemaphore();
  NamedSemaphore later = Make(name);
  EXPECT_EQ(LastError(), error::kSuccess) << "nobody had it open";
}

TEST(SemaphoreTest, NamesAreKeptApart) {
  const std::string base = Name("name");
  const std::string longest = base + std::string(258 - base.size(), '%');
  const std::string names[] = {
      base, base + ".", base + "%2E", base + "/x", base + "\xC3\xA4", longest + "a", longest + "b"};
  std::vector<NamedSemaphore> held;
  for (const std::string& name : names) {
    held.push_back(Make(name));
    EXPECT_EQ(held.back().Wait(0), WaitResult::kSignalled) << name << " " << LastError();
  }
  for (const std::string& name : names) EXPECT_EQ(Make(name).Wait(0), WaitResult::kTimeout) << name;
  const std::string local = base.substr(7);
  NamedSemaphore mine = Make(local);
  EXPECT_EQ(mine.Wait(0), WaitResult::kSignalled) << "not global";
  EXPECT_EQ(Make("Local\\" + local).Wait(0), WaitResult::kTimeout);
  for (const char* wrong : {"folder\\name", "Global\\folder\\name"}) {
    EXPECT_FALSE(Make(wrong));
    Make(wrong);
    EXPECT_EQ(LastError(), error::kPathNotFound) << wrong;
  }
  EXPECT_FALSE(Make(std::string(260, 'x')));
}

TEST(SemaphoreTest, ThreadsExcludeEachOther) {
  NamedSemaphore semaphore = Make(Name("threads"));
  std::atomic<int> inside{0}, worst{0};
  const auto work = [&] {
    for (int round = 0; round < 50; ++round) {
      ASSERT_EQ(semaphore.Wait(kWaitForever), WaitResult::kSignalled);
      worst = std::max(worst.load(), ++inside);
      std::this_thread::yield();
      --inside;
      ASSERT_TRUE(semaphore.Release());
    }
  };
  std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work)};
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(worst, 1);
}

TEST(SemaphoreTest, WaitForAnotherProcessEndsInTime) {
  const std::string name = Name("held");
  std::string error, line;
  auto holder = ChildProcess::Start(SCANTK_HELPER, {"hold", name}, &error);
  ASSERT_TRUE(holder && holder->ReadLine(60000, &line) && line == "held") << error;
  NamedSemaphore semaphore = Make(name);
  EXPECT_EQ(LastError(), error::kAlreadyExists);
  const uint32_t start = TheClock().TickCount();
  EXPECT_EQ(semaphore.Wait(200), WaitResult::kTimeout);
  EXPECT_GE(TheClock().TickCount() - start, 185u);
}

}  // namespace
}  // namespace scantk
