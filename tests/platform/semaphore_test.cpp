#include "platform/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/error_codes.h"
#include "platform/system.h"
#include "tests/platform/scratch.h"

namespace scantk {
namespace {

using std::chrono::milliseconds;
using Now = std::chrono::steady_clock;

// Names that no other run uses.
std::string Name(const std::string& stem) {
  return "Global\\scantk-" + std::to_string(ProcessId()) + "-" + stem;
}

NamedSemaphore Make(const std::string& name) {
  return NamedSemaphore::CreateOrOpen(name, "D:(A;OICI;GA;;;BA)(A;OICI;GA;;;AU)");
}

milliseconds Took(const Now::time_point& start) {
  return std::chrono::duration_cast<milliseconds>(Now::now() - start);
}

TEST(SemaphoreTest, TwoObjectsOfOneProcessExcludeEachOther) {
  const std::string name = Name("pair");
  NamedSemaphore first = Make(name);
  EXPECT_EQ(LastError(), error::kSuccess);
  NamedSemaphore second = Make(name);
  EXPECT_EQ(LastError(), error::kAlreadyExists);
  ASSERT_TRUE(first && second);

  EXPECT_EQ(first.Wait(0), WaitResult::kSignalled);
  EXPECT_EQ(second.Wait(0), WaitResult::kTimeout);
  EXPECT_EQ(first.Wait(0), WaitResult::kTimeout);  // the count is one, not one for each object
  const auto start = Now::now();
  EXPECT_EQ(second.Wait(120), WaitResult::kTimeout);
  EXPECT_GE(Took(start), milliseconds(115));
  EXPECT_LT(Took(start), milliseconds(1000));
  EXPECT_TRUE(first.Release());
  EXPECT_FALSE(first.Release());
  EXPECT_EQ(LastError(), error::kTooManyPosts);
  EXPECT_EQ(second.Wait(0), WaitResult::kSignalled);
  EXPECT_TRUE(second.Release());

  first = NamedSemaphore();
  second = NamedSemaphore();
  NamedSemaphore later = Make(name);
  EXPECT_EQ(LastError(), error::kSuccess) << "nobody had it open";
}

TEST(SemaphoreTest, NamesAreKeptApart) {
  const std::string base = Name("name");
  const std::string longest = base + std::string(259 - base.size(), '%');
  const std::string names[] = {base,        base + ".",        base + "%2E",
                               base + "/x", base + "\xC3\xA4", longest};
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
}

TEST(SemaphoreTest, NamesThatAreNone) {
  const struct {
    std::string name;
    uint32_t reason;
  } kCases[] = {
      {"folder\\name", error::kPathNotFound},
      {"Global\\folder\\name", error::kPathNotFound},
      {"Global\\", error::kInvalidName},
      {std::string(260, 'x'), error::kNameTooLong},
  };
  for (const auto& wrong : kCases) {
    NamedSemaphore none = Make(wrong.name);
    const uint32_t reason = LastError();
    EXPECT_FALSE(none) << wrong.name;
    EXPECT_EQ(reason, wrong.reason) << wrong.name;
  }
  // Without a name, each is one of its own.
  EXPECT_EQ(Make("").Wait(0), WaitResult::kSignalled);
  NamedSemaphore other = Make("");
  EXPECT_EQ(LastError(), error::kSuccess);
}

TEST(SemaphoreTest, ThreadsExcludeEachOtherAndAnyMayRelease) {
  NamedSemaphore semaphore = Make(Name("threads"));
  std::atomic<int> inside{0}, worst{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 25; ++round) {
        ASSERT_EQ(semaphore.Wait(kWaitForever), WaitResult::kSignalled);
        worst = std::max(worst.load(), ++inside);
        std::this_thread::yield();
        --inside;
        ASSERT_TRUE(semaphore.Release());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(worst, 1);
  ASSERT_EQ(semaphore.Wait(0), WaitResult::kSignalled);
  std::thread([&] { EXPECT_TRUE(semaphore.Release()); }).join();
  EXPECT_EQ(semaphore.Wait(0), WaitResult::kSignalled);
}

TEST(SemaphoreTest, AnotherProcessIsKeptOut) {
  const ScratchFolder folder;
  const std::string name = Name("count"), path = folder.Path() + kPathSeparator + "number";
  constexpr int kRounds = 150;
  std::string error, line;
  std::unique_ptr<ChildProcess> counters[2];
  for (auto& counter : counters) {
    counter =
        ChildProcess::Start(PLATFORM_PEER, {"count", name, path, std::to_string(kRounds)}, &error);
    ASSERT_TRUE(counter) << error;
  }
  for (auto& counter : counters) {
    ASSERT_TRUE(counter->ReadLine(60000, &line));
    EXPECT_EQ(line, "done");
  }
  int number = 0;
  std::FILE* file = std::fopen(path.c_str(), "r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(std::fscanf(file, "%d", &number), 1);
  std::fclose(file);
  EXPECT_EQ(number, 2 * kRounds);
}

TEST(SemaphoreTest, WaitForAnotherProcessEndsInTime) {
  const std::string name = Name("held");
  std::string error, line;
  auto holder = ChildProcess::Start(PLATFORM_PEER, {"hold", name}, &error);
  ASSERT_TRUE(holder) << error;
  ASSERT_TRUE(holder->ReadLine(10000, &line));
  ASSERT_EQ(line, "held");
  NamedSemaphore semaphore = Make(name);
  EXPECT_EQ(LastError(), error::kAlreadyExists);
  const auto start = Now::now();
  EXPECT_EQ(semaphore.Wait(200), WaitResult::kTimeout);
  EXPECT_GE(Took(start), milliseconds(195));
  EXPECT_LT(Took(start), milliseconds(1500));
}

TEST(SemaphoreTest, NoSemaphoreFails) {
  NamedSemaphore none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.Wait(0), WaitResult::kFailed);
  EXPECT_FALSE(none.Release());
  EXPECT_EQ(LastError(), error::kInvalidHandle);
}

}  // namespace
}  // namespace scantk
