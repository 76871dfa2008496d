// Recordings: as files, played, tapped.
#include "simulator/recording.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "simulator/replay_device.h"
#include "simulator/simulated_device.h"
#include "simulator/tap.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

const std::string kStart = "scantk conversation 1\n";

// Catches: bytes that change on their way through a file, lines misread instead of refused.
TEST(RecordingTest, BytesSurviveTheFileAndWhatIsNoneIsRefused) {
  std::vector<uint8_t> mixed;
  for (int i = 0; i < 3000; ++i)
    mixed.insert(mixed.end(), i % 97 ? 1 : i % 20, static_cast<uint8_t>(i * i >> 4));
  std::vector<std::vector<uint8_t>> samples = {mixed, {0}, std::vector<uint8_t>(100000, 'a')};
  for (const std::string text : {"\x1b*s10323p300V", "a \"quoted\" \\ back"})
    samples.emplace_back(text.begin(), text.end());
  for (const auto& sample : samples) {
    const std::string lines = RecordingLines(7, RecordedKind::kDevice, 12, sample);
    EXPECT_LT(lines.size(), 12000u);  // runs are counted
    const Recording read = ParseRecording(kStart + "# a: b\n7 open 0\n" + lines + "7 gone 3");
    EXPECT_TRUE(sample == read.conversations.at(0).at(0).bytes);
    EXPECT_EQ(12, read.conversations[0][0].pause_ms);
    EXPECT_EQ("b", read.HeadValue("a"));
  }
  for (const char* line : {"1", "x open 0", "1 opens 0", "1 open 0", "2 host 0 00", "1 host 0",
                           "1 host -4 00", "1 host 86400001 00", "1 host 0 0", "1 host 0 0g",
                           "1 host 0 *4", "1 host 0 00*", "1 host 0 00*999999999", "1 host 0 00*0",
                           "1 host 0 \"", "1 host 0 \"\\n\"", "1 host 0 \"a\"b"})
    EXPECT_THROW(ParseRecording(kStart + "1 open 0\n" + line), std::invalid_argument) << line;
}

// Catches: a replay that speaks before its turn, or is lost when a host departs from the recording.
TEST(RecordingTest, RecordingsArePlayedAlsoToHostsThatDepart) {
  ReplayConfig config;
  config.address = Address(1);
  config.pauses = 0;
  ReplayDevice device(ReadRecording(SCANTK_RECORDINGS "/three_questions.txt"), config);
  RawHost host(config.address);
  EXPECT_EQ("00", host.greeting());
  host.Send("~E");
  EXPECT_EQ("*s19d5WZM-16", host.Ask("19E"));
  host.Send("~*a150R");  // another value is no departure
  EXPECT_EQ("*s10323p300V", host.Ask("10323R"));
  host.Send("~*a1D~*a6W~*s19E");  // nor are the bytes of a table
  EXPECT_EQ("*s257d0V", host.Ask("257E"));
  EXPECT_EQ(0, device.departures());
  EXPECT_EQ("*s19d5WZM-16", host.Ask("19E"));  // from before
  EXPECT_EQ("*s1024d0N", host.Ask("1024E"));   // never asked
  EXPECT_EQ("*s257d0V", host.Ask("257E"));     // the page between is not left out
  EXPECT_EQ(3, device.departures());
  host.Send("~*f0S");
  EXPECT_EQ("page", host.Read(4));
  EXPECT_EQ("*s257d4V", host.Ask("257E"));
  EXPECT_EQ("01", RawHost(config.address).greeting());
}

// Catches: a tap that changes, loses or reorders what passes, or does not say how it ended.
TEST(RecordingTest, WhatIsTappedIsPlayedAgain) {
  const std::string path = TemporaryPath("scantk-tapped");
  const auto scan = [](const std::string& address) {
    RawHost host(address);
    host.Send("~E~*a75R~*a75S~*f600P~*f200Q~*a4T~*a8G~*m2S~*f0S");
    const WirePage page = host.ReadPage();
    return host.greeting() + page.Text() + (page.broken ? "b" : "w");
  };
  for (const char* fault : {"short-page=1", "drop@block:2=100", "reset@block:1=30"}) {
    SCOPED_TRACE(fault);
    DeviceConfig config;
    config.address = Address(2);
    config.delivery.block_bytes = 2000;
    config.faults = {ParseFault(fault)};
    auto real = std::make_unique<SimulatedDevice>(config);
    auto tap = std::make_unique<Tap>(TapConfig{Address(3), 9290, config.address, 9290, path});
    const std::string seen = scan(Address(3));
    tap.reset();
    real.reset();
    ReplayConfig replay;
    replay.address = config.address;
    ReplayDevice again(ReadRecording(path), replay);
    EXPECT_TRUE(seen == scan(replay.address));
    EXPECT_EQ(0, again.departures());
  }
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace scantk::sim::test
