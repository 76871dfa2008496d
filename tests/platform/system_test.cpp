#include "platform/system.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/clock.h"
#include "platform/component.h"
#include "platform/error_codes.h"
#include "tests/diag/test_place.h"

namespace scantk {
namespace {

TEST(SystemTest, TheClockGoes) {
  const uint32_t before = TheClock().TickCount();
  TheClock().Sleep(60);
  EXPECT_GE(TheClock().TickCount() - before, 40u);  // the target's tick has steps of 16 ms
  const LocalTime now = TheClock().Now();
  EXPECT_TRUE(now.year >= 2024 && now.month >= 1 && now.month <= 12 && now.milliseconds < 1000);
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
  uint32_t other = 0;
  std::thread([&] { other = ThreadId(); }).join();
  EXPECT_NE(other, ThreadId());
  EXPECT_EQ(SystemVersion().platform, 2u);
  EXPECT_GE(SystemVersion().major, 6u);
}

TEST(SystemTest, TemporaryFilesAreNewAndEmpty) {
  const TestPlace place;
  const std::string first = CreateTemporaryFile(place.Folder(), "Imgx");
  EXPECT_NE(first, CreateTemporaryFile(place.Folder(), "Imgx"));
  ASSERT_GT(first.size(), place.Folder().size() + 5);
  EXPECT_EQ(first.substr(place.Folder().size() + 1, 3), "Img");
  EXPECT_EQ(first.substr(first.size() - 4), ".tmp");
  EXPECT_EQ(std::filesystem::file_size(first), 0u);
  EXPECT_EQ(CreateTemporaryFile(place.File("none"), "Img"), "");
  EXPECT_EQ(LastError(), error::kDirectory);
}

TEST(SystemTest, AppendsToFiles) {
  const TestPlace place;
  const std::string path = place.File("log");
  EXPECT_TRUE(AppendToFile(path, "one\n", 4, true));
  EXPECT_TRUE(AppendToFile(path, "\n\r\n", 3, true));
  EXPECT_TRUE(AppendToFile(path, "\n\0x", 3, false));
  EXPECT_EQ(ReadWholeFile(path), std::string("one\r\n\r\n\r\r\n\n\0x", 13));
  EXPECT_FALSE(AppendToFile(place.Folder(), "x", 1, false));
}

TEST(SystemTest, SystemStringsCarryTheirLength) {
  WideChar* text = AllocSystemString("10.0.0.9");
  ASSERT_NE(text, nullptr);
  uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<char*>(text) - sizeof bytes, sizeof bytes);
  EXPECT_EQ(bytes, 16u);
  EXPECT_EQ(Narrow(text), "10.0.0.9");
  FreeSystemString(text);
  FreeSystemString(nullptr);
}

}  // namespace
}  // namespace scantk
