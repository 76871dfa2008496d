#include "platform/system.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "tests/platform/scratch.h"

namespace scantk {
namespace {

std::string Contents(const std::string& path) {
  std::string contents;
  if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
    char piece[256];
    for (size_t got; (got = std::fread(piece, 1, sizeof piece, file)) > 0;) {
      contents.append(piece, got);
    }
    std::fclose(file);
  }
  return contents;
}

// A clock on which sleeping takes no time.
class VirtualClock final : public Clock {
 public:
  uint32_t TickCount() override { return now_; }
  int64_t SecondsSince1970() override { return 1000; }
  LocalTime Now() override { return {2026, 11, 7, 9, 5, 3, 250}; }
  void Sleep(uint32_t milliseconds) override { now_ += milliseconds; }

 private:
  uint32_t now_ = 0xFFFFFF00;  // close to the wrap
};

TEST(SystemTest, ClockCanBeReplaced) {
  VirtualClock clock;
  SetClock(&clock);
  const uint32_t start = TheClock().TickCount();
  TheClock().Sleep(3600 * 1000);
  EXPECT_EQ(TheClock().TickCount() - start, 3600u * 1000);
  SetClock(nullptr);
  const uint32_t before = TheClock().TickCount();
  TheClock().Sleep(60);
  const uint32_t slept = TheClock().TickCount() - before;
  EXPECT_GE(slept, 40u);  // the target's tick has steps of 16 ms
  EXPECT_LT(slept, 5000u);
  const LocalTime now = TheClock().Now();
  EXPECT_GE(now.year, 2024);
  EXPECT_TRUE(now.month >= 1 && now.month <= 12 && now.milliseconds < 1000);
  EXPECT_GT(TheClock().SecondsSince1970(), 1700000000);
}

TEST(SystemTest, LastErrorBelongsToTheThread) {
  SetLastError(error::kTimeout);
  uint32_t elsewhere = error::kTimeout;
  std::thread([&] { elsewhere = LastError(); }).join();
  EXPECT_NE(elsewhere, error::kTimeout);

  // Read before anything else that may call the system.
  SetLastError(error::kTimeout);
  {
    const LastErrorKeeper keeper;
    SetLastError(error::kBadFormat);
  }
  const uint32_t kept = LastError();
  EXPECT_EQ(kept, error::kTimeout);
}

TEST(SystemTest, FactsAboutTheProcess) {
  EXPECT_NE(ExecutablePath().find("platform_test"), std::string::npos);
  static const int here = 0;
  EXPECT_EQ(ModulePath(&here), ExecutablePath());
  EXPECT_EQ(TemporaryFolder().back(), kPathSeparator);
  EXPECT_FALSE(CommonDataFolder().empty());
  EXPECT_NE(ProcessId(), 0u);
  uint32_t other = 0;
  std::thread([&] { other = ThreadId(); }).join();
  EXPECT_NE(other, ThreadId());

  EXPECT_EQ(SystemVersion().platform, 2u);
  EXPECT_GE(SystemVersion().major, 6u);
  const OsVersion old = {2, 5, 0};
  OverrideSystemVersion(&old);
  EXPECT_EQ(SystemVersion().major, 5u);
  OverrideSystemVersion(nullptr);
  EXPECT_GE(SystemVersion().major, 6u);
}

TEST(SystemTest, TemporaryFilesAreNewAndEmpty) {
  const ScratchFolder folder;
  const std::string first = CreateTemporaryFile(folder.Path(), "Imgx");
  const std::string second = CreateTemporaryFile(folder.Path(), "Imgx");
  EXPECT_NE(first, second);
  ASSERT_FALSE(first.empty());
  const std::string name = first.substr(folder.Path().size() + 1);
  EXPECT_EQ(name.substr(0, 3), "Img");
  EXPECT_EQ(name.substr(name.size() - 4), ".tmp");
  EXPECT_EQ(Contents(first), "");
  EXPECT_EQ(CreateTemporaryFile(folder.Path() + kPathSeparator + "none", "Img"), "");
  EXPECT_EQ(LastError(), error::kDirectory);
}

TEST(SystemTest, AppendsToFiles) {
  const ScratchFolder folder;
  const std::string path = folder.Path() + kPathSeparator + "log";
  EXPECT_TRUE(AppendToFile(path, "one\n", 4, true));
  EXPECT_TRUE(AppendToFile(path, "\n\r\n", 3, true));
  EXPECT_TRUE(AppendToFile(path, "\n\0x", 3, false));
  EXPECT_EQ(Contents(path), std::string("one\r\n\r\n\r\r\n\n\0x", 13));
  EXPECT_FALSE(AppendToFile(folder.Path(), "x", 1, false));
}

TEST(SystemTest, PlainTextConverts) {
  const WideChar wide[] = {'P', 'o', 'r', 't', 0};
  EXPECT_EQ(Narrow(wide), "Port");
  EXPECT_EQ(Utf16("Port"), u"Port");
  EXPECT_EQ(Utf16(""), u"");
}

}  // namespace
}  // namespace scantk
