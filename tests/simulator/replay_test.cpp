// Recorded devices and taps, with hosts that speak to them byte by byte.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>

#include "simulator/replay_device.h"
#include "simulator/simulated_device.h"
#include "simulator/tap.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

constexpr char kAddress[] = "127.0.71.1";
constexpr char kTapAddress[] = "127.0.71.2";
constexpr char kConversation[] = R"(scantk conversation 1
1 open 0
1 device 0 "00"
1 host 0 "\eE\e*s19E"
1 device 0 "\e*s19d5WZM-16"
1 host 0 "\e*a300R\e*a300S\e*s10323R"
1 device 200 "\e*s10323p300V"
1 host 0 "\e*a0D\e*s257E"
1 device 0 "\e*s257d0V"
1 host 0 "\e*f0S"
1 device 100 0a000000 0800 0008 0102
1 device 100 08000000 0800 0008
1 host 0 "\e*oE\e*s257E"
1 device 0 "\e*s257d4V"
1 drop 0
2 open 0
2 device 0 "01"
2 drop 50
)";

struct Replayed : testing::Test {
  void Start(const std::string& text, int pauses = 100) {
    ReplayConfig config;
    config.address = kAddress;
    config.pauses = pauses;
    device = std::make_unique<ReplayDevice>(ParseRecording(text), config);
    host = std::make_unique<RawHost>(kAddress);
  }
  std::unique_ptr<ReplayDevice> device;
  std::unique_ptr<RawHost> host;
};

int64_t MillisecondsOf(const std::function<void()>& what) {
  const auto start = std::chrono::steady_clock::now();
  what();
  using std::chrono::milliseconds;
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(Replayed, SaysWhatWasSaidWhenItWasSaid) {
  for (const int pauses : {100, 0}) {
    SCOPED_TRACE(pauses);
    Start(kConversation, pauses);
    EXPECT_EQ("00", host->greeting());
    host->Send("~");  // other pieces than were recorded
    host->Send("E");
    EXPECT_EQ("*s19d5WZM-16", host->Ask("19E"));
    host->Send("~*a150R~*a300S");  // another value
    const int64_t asked = MillisecondsOf([&] { EXPECT_EQ("*s10323p300V", host->Ask("10323R")); });
    if (pauses) {
      EXPECT_GE(asked, 195);
    } else {
      EXPECT_LT(asked, 150);
    }
    host->Send("~*a0D");
    EXPECT_EQ("*s257d0V", host->Ask("257E"));
    host->Send("~*f0S");
    const int64_t page = MillisecondsOf([&] { EXPECT_EQ(18u, host->Read(18, 1000).size()); });
    EXPECT_GE(page, pauses ? 195 : 0);
    host->Send("~*oE");
    EXPECT_EQ("*s257d4V", host->Ask("257E"));
    EXPECT_TRUE(host->Closed(500));
    RawHost second(kAddress);
    EXPECT_EQ("01", second.greeting());
    EXPECT_TRUE(second.Closed(500));
    EXPECT_EQ("00", RawHost(kAddress).greeting());  // the recording begins anew
    EXPECT_EQ(0, device->departures());
    device.reset();
  }
}

TEST_F(Replayed, HostsThatDepartAreAnsweredAllTheSame) {
  Start(kConversation);
  EXPECT_EQ("*s10323p300V", host->Ask("10323R"));  // left out: the reset, the model, two commands
  EXPECT_EQ(1, device->departures());
  EXPECT_EQ("*s19d5WZM-16", host->Ask("19E"));  // from before
  EXPECT_EQ("*s257d0V", host->Ask("257E"));     // soon after; the command before it left out
  EXPECT_EQ("*s257d0V", host->Ask("257E"));     // the page between is not
  EXPECT_EQ("*s1024d0N", host->Ask("1024E"));   // never asked
  host->Send("~*a0C~*s1025E");                  // never sent, and never asked
  EXPECT_EQ("\x1b*s1025d0N", host->Read(11));
  EXPECT_EQ(7, device->departures());
  host->Send("~*f0S");
  EXPECT_EQ(18u, host->Read(18).size());
  EXPECT_EQ("*s257d4V", host->Ask("257E"));
  EXPECT_TRUE(host->Closed());
  EXPECT_EQ(8, device->departures());
}

TEST_F(Replayed, TablesAreNoCommands) {
  Start(
      "scantk conversation 1\n1 open 0\n1 device 0 \"00\"\n"
      "1 host 0 \"\\e*a1D\\e*a6W\\eE\\eE\\eE\\e*s257E\"\n"
      "1 device 0 \"\\e*s257d0V\"\n1 reset 0\n");
  host->Send("~*a1D~*a6W~*s19E~*s257E");
  EXPECT_EQ("\x1b*s257d0V", host->Read(100));
  EXPECT_EQ(0, device->departures());
}

TEST_F(Replayed, EmptyRecordingsHaveNothingToSay) {
  Start("scantk conversation 1\n");
  EXPECT_EQ("", host->greeting());
  EXPECT_EQ("*s19d0N", host->Ask("19E"));
}

struct Tapped : testing::Test {
  void SetUp() override {
    path = std::filesystem::temp_directory_path() / ("scantk-tap-" + std::to_string(getpid()));
    config.device = kAddress;
    config.address = kTapAddress;
    config.record_path = path.string();
  }
  void TearDown() override { std::filesystem::remove(path); }

  std::filesystem::path path;
  TapConfig config;
};

// A small page; returns what the host saw of it.
std::string Scan(const std::string& address) {
  RawHost host(address);
  std::string seen = host.greeting();
  host.Command("~E~*a75R~*a75S~*f600P~*f200Q~*a4T~*a8G~*m2S");
  seen += host.Ask("1024E") + host.Ask("1026E");
  host.Send("~*f0S");
  const WirePage page = host.ReadPage();
  seen += std::string(page.image.begin(), page.image.end()) + (page.broken ? "broken" : "whole");
  if (!page.broken) seen += host.Ask("257E");
  return seen;
}

TEST_F(Tapped, WhatPassesIsPlayedAgain) {
  DeviceConfig device;
  device.address = kAddress;
  for (const char* fault : {"", "drop@block:2=100", "reset@block:1=30", "stall@page:1=150*1"}) {
    SCOPED_TRACE(fault);
    device.delivery.block_bytes = 2000;
    device.faults.clear();
    if (*fault) device.faults.push_back(ParseFault(fault));
    std::string seen;
    {
      SimulatedDevice real(device);
      Tap tap(config);
      seen = Scan(kTapAddress);
    }
    EXPECT_GT(seen.size(), 20u);
    ReplayConfig replay;
    replay.address = kAddress;
    ReplayDevice again(ReadRecording(config.record_path), replay);
    std::string seen_again;
    const int64_t time = MillisecondsOf([&] { seen_again = Scan(kAddress); });
    EXPECT_TRUE(seen == seen_again);
    EXPECT_EQ(0, again.departures());
    if (std::string(fault).starts_with("stall")) {
      EXPECT_GE(time, 145);
    }
  }
}

TEST_F(Tapped, DevicesThatAreNotThereAreResets) {
  Tap tap(config);
  EXPECT_TRUE(RawHost(kTapAddress).Closed());
  EXPECT_EQ(RecordedKind::kReset, ReadRecording(config.record_path).conversations.at(0).at(0).kind);
  config.record_path = "/nowhere/at/all";
  config.address = "127.0.71.3";
  EXPECT_THROW(Tap{config}, std::runtime_error);
}

}  // namespace
}  // namespace scantk::sim::test
