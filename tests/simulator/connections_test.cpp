// Who may connect, who is turned away, and what becomes of those who leave.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

#include "simulator/simulated_device.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

DeviceConfig At(const std::string& address, uint16_t port = 9290) {
  DeviceConfig config;
  config.address = address;
  config.port = port;
  config.paper = "pattern";
  return config;
}

TEST(ConnectionsTest, OneHostAtATimeUnlessToldOtherwise) {
  SimulatedDevice device(At("127.0.67.3"));
  RawHost first("127.0.67.3");
  EXPECT_EQ("00", first.greeting());
  RawHost second("127.0.67.3");
  EXPECT_EQ("01", second.greeting());
  EXPECT_TRUE(second.Closed());
  EXPECT_EQ("*s257d0V", first.Ask("257E"));
  EXPECT_EQ(1, device.open_connections());
  EXPECT_EQ(1, device.stats().busy_greetings);
  first.Close();
  RawHost third("127.0.67.3");
  EXPECT_EQ("00", third.greeting());
}

// The first words to the next host must not depend on how the last one went.
TEST(ConnectionsTest, AHostThatDiesFreesTheDeviceAtOnce) {
  SimulatedDevice device(At("127.0.67.3"));
  for (int round = 0; round < 50; ++round) {
    RawHost host("127.0.67.3");
    ASSERT_EQ("00", host.greeting()) << "round " << round;
    host.Send("~*f1H");
    ASSERT_EQ("*s505d" + std::to_string(std::to_string(2 * round + 1).size()) + "W" +
                  std::to_string(2 * round + 1),
              host.Ask("505E"));
    host.Send("~*m2S~*a600R~*a600S~*f0S");
    if (round % 2) host.Read(100000);
    host.Close();
    RawHost next("127.0.67.3");
    ASSERT_EQ("00", next.greeting()) << "round " << round;
    EXPECT_FALSE(device.locked());
    next.Command("~E");
  }
  EXPECT_EQ(50, device.stats().pages_aborted);
}

// What was said before a clean goodbye still counts.
TEST(ConnectionsTest, LastWordsAreHeard) {
  SimulatedDevice device(At("127.0.67.3"));
  RawHost host("127.0.67.3");
  host.Command("~*f1H");
  host.Send("~*a150R~*f0H");
  host.Close();
  RawHost next("127.0.67.3");
  EXPECT_EQ("*s10323p150V", next.Ask("10323R"));
}

TEST(ConnectionsTest, GreetingsGoWrongAsTold) {
  SimulatedDevice device(At("127.0.67.3"));
  const struct {
    const char* fault;
    const char* greeting;
    bool closes;
  } cases[] = {{"busy*1", "01", true},
               {"refuse*1", "02", true},
               {"no-greeting*1", "", false},
               {"short-greeting*1", "0", false},
               {"odd-greeting*1", "XY", false}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    device.AddFault(one.fault);
    RawHost host("127.0.67.3");
    EXPECT_EQ(one.greeting, host.greeting());
    EXPECT_EQ(one.closes, host.Closed(one.closes ? 4000 : 50));
    host.Close();
    RawHost next("127.0.67.3");
    EXPECT_EQ("00", next.greeting());
  }
  device.AddFault("busy@connection:" + std::to_string(device.stats().connections + 2));
  RawHost{"127.0.67.3"}.Command("~E");
  EXPECT_EQ("01", RawHost("127.0.67.3").greeting());
}

TEST(ConnectionsTest, ConnectionsBreakAtTheirMoment) {
  SimulatedDevice device(At("127.0.67.3"));
  for (const char* fault : {"drop@command:2*1", "reset@answer:1*1", "drop@variable:10324*1"}) {
    SCOPED_TRACE(fault);
    device.AddFault(fault);
    RawHost host("127.0.67.3");
    host.Send("~*a100R");
    EXPECT_FALSE(host.Closed(30));
    host.Send("~*a100S~*s10324R");
    EXPECT_TRUE(host.Closed());
  }
  // A device that takes nothing more still sees its host go.
  device.AddFault("deaf*1");
  RawHost deaf("127.0.67.3");
  deaf.Send("~E");
  EXPECT_EQ("", deaf.Ask("257E"));
  deaf.Close();
  EXPECT_EQ("00", RawHost("127.0.67.3").greeting());
}

// A host that asks and asks and never reads must not fill the device's memory, nor stop others.
TEST(ConnectionsTest, AFloodIsHeldBack) {
  DeviceConfig config = At("127.0.67.3");
  config.max_connections = 2;
  config.keep_log = false;
  SimulatedDevice device(config);
  device.AddFault("endless-string@variable:508=1000000");
  RawHost flood("127.0.67.3");
  for (int i = 0; i < 200; ++i) flood.Send("~*s508E");
  RawHost other("127.0.67.3");
  EXPECT_EQ("*s257d0V", other.Ask("257E"));
  EXPECT_EQ(0u, flood.Read(20).find("\x1b*s508d1000000W"));
}

TEST(ConnectionsTest, DevicesWorkSideBySide) {
  std::vector<std::unique_ptr<SimulatedDevice>> devices;
  std::vector<std::thread> hosts;
  for (int i = 0; i < 6; ++i) {
    DeviceConfig config =
        At("127.0.67." + std::to_string(10 + i / 3), static_cast<uint16_t>(9290 + i % 3));
    config.keep_log = false;
    devices.push_back(std::make_unique<SimulatedDevice>(config));
  }
  EXPECT_THROW(SimulatedDevice{At("127.0.67.10")}, std::runtime_error);
  EXPECT_THROW(SimulatedDevice{At("localhost")}, std::invalid_argument);
  for (const auto& device : devices) {
    hosts.emplace_back([&device] {
      for (int page = 0; page < 3; ++page) {
        RawHost host(device->config().address, device->config().port);
        ASSERT_EQ("00", host.greeting());
        host.Send("~E~*m2S~*a100R~*a100S~*f0S");
        const WirePage got = host.ReadPage();
        EXPECT_TRUE(RenderPage(MakePaper("pattern"), *device->last_page()) == got.image);
        device->stats();
      }
    });
  }
  for (std::thread& host : hosts) host.join();
  for (const auto& device : devices) {
    EXPECT_EQ(3, device->stats().pages_finished);
    EXPECT_EQ(0, device->stats().pages_aborted);
  }
}

TEST(ConnectionsTest, TheLogTellsTheConversation) {
  SimulatedDevice device(At("127.0.67.3"));
  {
    RawHost host("127.0.67.3");
    host.Command("~*a150R~*m2S~*f8Q");
    host.Ask("19E");
    host.Send("~*f0S");
    host.ReadPage();
  }
  for (const char* line : {"greeted with \"00\"", "< SL_X_RESOLUTION 150",
                           "SL_MODEL_ID 19E = \"ZM-16\"", "< SL_START_SCAN", "> block 1, "}) {
    EXPECT_EQ(1, device.CountInLog(line)) << line;
  }
  EXPECT_EQ(5, device.stats().commands + 1);
  EXPECT_EQ(2, device.stats().inquiries);
  device.ClearLog();
  EXPECT_TRUE(device.log().empty() || device.CountInLog("SL_") == 0);
}

}  // namespace
}  // namespace scantk::sim::test
