// Recordings as files: what is written is read again, and what is no recording is refused.
#include "simulator/recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace scantk::sim::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr char kStart[] = "scantk conversation 1\n";

std::vector<uint8_t> Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string WhyRefused(const std::string& text) {
  try {
    ParseRecording(text);
  } catch (const std::invalid_argument& problem) {
    return problem.what();
  }
  return "accepted";
}

TEST(RecordingTest, BytesSurviveTheFile) {
  std::vector<std::vector<uint8_t>> samples = {
      Bytes("\x1b*s10323p300V"),
      Bytes("a \"quoted\" \\ back"),
      Bytes(std::string(300, 'x')),
      Bytes(std::string(100000, 'a')),
      {0},
  };
  std::vector<uint8_t> mixed;
  for (int i = 0; i < 3000; ++i) {
    mixed.push_back(static_cast<uint8_t>(i * i >> 4));
    if (i % 97 == 0) mixed.insert(mixed.end(), static_cast<size_t>(i % 20), 0xFF);
  }
  samples.push_back(mixed);
  std::string text = std::string(kStart) + RecordingLines(7, RecordedKind::kOpen, 0, {});
  // Another sender in between, so that none is joined to the next.
  for (const auto& sample : samples) {
    text += RecordingLines(7, RecordedKind::kDevice, 12, sample);
    text += RecordingLines(7, RecordedKind::kHost, 1, Bytes("-"));
  }
  text += RecordingLines(7, RecordedKind::kReset, 4, {});
  EXPECT_LT(text.size(), 20000u);  // runs are counted
  const Recording read = ParseRecording(text);
  ASSERT_EQ(1u, read.conversations.size());
  const RecordedConversation& events = read.conversations[0];
  ASSERT_EQ(2 * samples.size() + 1, events.size());
  for (size_t i = 0; i < samples.size(); ++i) {
    EXPECT_EQ(RecordedKind::kDevice, events[2 * i].kind);
    EXPECT_EQ(12, events[2 * i].pause_ms);
    EXPECT_TRUE(samples[i] == events[2 * i].bytes) << i;
  }
  EXPECT_EQ(RecordedKind::kReset, events.back().kind);
}

TEST(RecordingTest, PeopleMayWriteOne) {
  const Recording read = ParseRecording(std::string(kStart) +
                                        "# A cover that was opened.\r\n"
                                        "# expect:   1 E_FAIL\n"
                                        "\n"
                                        "3 open 0\r\n"
                                        "4 open 0\n"
                                        "3 device 5 \"00\" 0A0b*2  ff*3\n"
                                        "# not of the head\n"
                                        "3 device 0 \"\\x41\\e\"\n"
                                        "4 gone 8\n"
                                        "3 device 6 07\n"
                                        "3 gone 0\n"
                                        "3 open 9");
  EXPECT_EQ((std::vector<std::string>{"A cover that was opened.", "expect:   1 E_FAIL"}),
            read.head);
  EXPECT_EQ("1 E_FAIL", read.HeadValue("expect"));
  EXPECT_EQ("", read.HeadValue("expec"));
  ASSERT_EQ(3u, read.conversations.size());
  ASSERT_EQ(3u, read.conversations[0].size());
  EXPECT_EQ(Bytes("00\x0a\x0b\x0a\x0b\xff\xff\xff"
                  "A\x1b"),
            read.conversations[0][0].bytes);
  EXPECT_EQ(5, read.conversations[0][0].pause_ms);
  EXPECT_EQ(6, read.conversations[0][1].pause_ms);
  EXPECT_EQ(RecordedKind::kGone, read.conversations[1][0].kind);
  EXPECT_TRUE(read.conversations[2].empty());
}

TEST(RecordingTest, WhatIsNoneIsRefusedWithItsLine) {
  EXPECT_THAT(WhyRefused(""), StartsWith("line 1: "));
  EXPECT_THAT(WhyRefused("something else\n"), StartsWith("line 1: "));
  const char* lines[] = {
      "1",
      "x open 0",
      "-1 open 0",
      "1 opens 0",
      "1 open",
      "1 open 0",               // again
      "1 open 0 00",            // with bytes
      "2 host 0 00",            // not open
      "1 host 0",               // without bytes
      "1 host -4 00",           // before the line before it
      "1 host 86400001 00",     // more than a day
      "1 host 0 0",             // half a byte
      "1 host 0 0g",            // no digit
      "1 host 0 *4",            // nothing repeated
      "1 host 0 00*",           // not said how often
      "1 host 0 00*999999999",  // beyond the limit
      "1 host 0 00*-1",         //
      "1 host 0 00*0",          // no bytes after all
      "1 host 0 \"",            // no end
      "1 host 0 \"\\",          // nothing escaped
      "1 host 0 \"\\n\"",       // no such escape
      "1 host 0 \"\\x1\"",      // one digit
      "1 host 0 \"a\"b",        // no blank between
  };
  for (const char* line : lines) {
    const std::string why = WhyRefused(std::string(kStart) + "\n1 open 0\n" + line + "\n");
    EXPECT_THAT(why, StartsWith("line 4: ")) << line;
  }
}

TEST(RecordingTest, LimitsHoldForAllOfIt) {
  const std::string half = "1 host 0 00*140000000\n";
  EXPECT_THAT(WhyRefused(kStart + std::string("1 open 0\n") + half + half),
              HasSubstr("line 4: the recording holds too many bytes"));
  std::string many = kStart;
  for (int i = 0; i < 1001; ++i) many += std::to_string(i) + " open 0\n";
  EXPECT_THAT(WhyRefused(many), StartsWith("line 1002: "));
  EXPECT_THROW(ReadRecording("/nowhere/at/all"), std::runtime_error);
}

}  // namespace
}  // namespace scantk::sim::test
