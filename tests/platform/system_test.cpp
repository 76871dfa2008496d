#include "platform/system.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "platform/clock.h"
#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/network.h"
#include "tests/diag/test_place.h"

namespace scantk {
namespace {

// Catches a fact of the system or the process that is another one, or another thread's.
TEST(SystemTest, FactsAboutTheProcess) {
  const uint32_t before = TheClock().TickCount();
  TheClock().Sleep(60);
  EXPECT_GE(TheClock().TickCount() - before, 40u);  // the target's tick has steps of 16 ms
  const LocalTime now = TheClock().Now();
  EXPECT_TRUE(now.year >= 2024 && now.month >= 1 && now.month <= 12 && now.milliseconds < 1000);
  EXPECT_NE(ExecutablePath().find("platform_test"), std::string::npos);
  static const int here = 0;
  EXPECT_EQ(ModulePath(&here), ExecutablePath());
  EXPECT_EQ(TemporaryFolder().back(), kPathSeparator);
  EXPECT_FALSE(CommonDataFolder().empty());
  EXPECT_TRUE(SystemVersion().platform == 2 && SystemVersion().major >= 6);
  SetLastError(error::kTimeout);
  uint32_t elsewhere = error::kTimeout, other = 0;
  std::thread([&] {
    elsewhere = LastError();
    other = ThreadId();
  }).join();
  EXPECT_NE(elsewhere, error::kTimeout);
  EXPECT_NE(other, ThreadId());
  SetLastError(error::kTimeout);
  {
    const LastErrorKeeper keeper;
    SetLastError(error::kBadFormat);
  }
  const uint32_t kept = LastError();  // before anything else that may call the system
  EXPECT_EQ(kept, error::kTimeout);
}

TEST(SystemTest, Files) {
  const TestPlace place;
  const std::string first = CreateTemporaryFile(place.Folder(), "Imgx");
  EXPECT_NE(first, CreateTemporaryFile(place.Folder(), "Imgx"));
  EXPECT_TRUE(first.starts_with(place.File("Img")) && first.ends_with(".tmp")) << first;
  EXPECT_EQ(std::filesystem::file_size(first), 0u);
  EXPECT_EQ(CreateTemporaryFile(place.File("none"), "Img"), "");
  EXPECT_EQ(LastError(), error::kDirectory);
  EXPECT_TRUE(AppendToFile(first, "one\n", 4, true) && AppendToFile(first, "\n\r\n", 3, true));
  EXPECT_TRUE(AppendToFile(first, "\n\0x", 3, false));
  EXPECT_EQ(ReadWholeFile(first), std::string("one\r\n\r\n\r\r\n\n\0x", 13));
  EXPECT_FALSE(AppendToFile(place.Folder(), "x", 1, false));
}

TEST(SystemTest, SystemStringsCarryTheirLength) {
  WideChar* text = AllocSystemString("10.0.0.9");
  uint32_t bytes;
  std::memcpy(&bytes, reinterpret_cast<char*>(text) - sizeof bytes, sizeof bytes);
  EXPECT_EQ(bytes, 16u);
  EXPECT_EQ(Narrow(text), "10.0.0.9");
  FreeSystemString(text);
  FreeSystemString(nullptr);
}

TEST(SystemTest, NamesAndAddressesOfTheNetwork) {
  Network& network = TheNetwork();
  SocketLibraryInfo info;
  ASSERT_EQ(network.StartUp(&info), 0u);
  const uint32_t loopback = network.ParseDotted("127.0.0.1");
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(&loopback)[0], 127);
  EXPECT_EQ(network.LookUpHost("localhost"), loopback);
  EXPECT_EQ(network.LookUpHost("name.invalid"), kNoAddress);
  EXPECT_NE(network.LastSocketError(), 0u);
  for (const char* wrong : {"300.1.1.1", "", "scanner", "fe80::1"})
    EXPECT_EQ(network.ParseDotted(wrong), kNoAddress) << wrong;
  network.CleanUp();
}

}  // namespace
}  // namespace scantk
