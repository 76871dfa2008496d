#include "platform/semaphore.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

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
  EXPECT_EQ(first.Wait(0), WaitResult::kSignalled);
  EXPECT_EQ(first.Wait(0), WaitResult::kTimeout) << "the count is one, not one for each object";
  EXPECT_EQ(second.Wait(0), WaitResult::kTimeout);
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
  const std::string base = Name("name"), local = base.substr(7);
  const std::string longest = base + std::string(258 - base.size(), '%');
  std::vector<NamedSemaphore> held;
  for (const std::string& name : {base, base + ".", base + "%2E", base + "/x", base + "\xC3\xA4",
                                  longest + "a", longest + "b", local}) {
    held.push_back(Make(name));
    EXPECT_EQ(held.back().Wait(0), WaitResult::kSignalled) << name << " " << LastError();
    EXPECT_EQ(Make(name).Wait(0), WaitResult::kTimeout) << name;
  }
  EXPECT_EQ(Make("Local\\" + local).Wait(0), WaitResult::kTimeout);
  for (const char* wrong : {"folder\\name", "Global\\folder\\name"}) {
    EXPECT_FALSE(Make(wrong));
    Make(wrong);
    EXPECT_EQ(LastError(), error::kPathNotFound) << wrong;
  }
  EXPECT_FALSE(Make(std::string(260, 'x')));
}

}  // namespace
}  // namespace scantk
