// The command language: taking the byte stream apart, answers to inquiries, models, settings,
// faults of answers.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "simulator/command_parser.h"
#include "simulator/simulated_device.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

// What the parser makes of `bytes` when they come in pieces of `piece` bytes: a word per command,
// downloads in angle brackets. A command *a#W announces as many bytes of data.
std::string Parsed(const std::string& bytes, size_t piece) {
  CommandParser parser;
  std::string said;
  for (size_t start = 0; start < bytes.size(); start += piece) {
    const auto* at = reinterpret_cast<const uint8_t*>(bytes.data()) + start;
    size_t left = std::min(piece, bytes.size() - start);
    while (left > 0) {
      Command command;
      bool complete = false;
      const size_t taken = parser.Take(at, left, &command, &complete);
      EXPECT_GT(taken, 0u);
      at += taken;
      left -= taken;
      if (!complete) continue;
      if (command.letter == 0) {
        const std::vector<uint8_t> data = parser.TakeData();
        said += "<" + std::string(data.begin(), data.end()) + "> ";
        continue;
      }
      if (command.group == 'a' && command.letter == 'W' && command.value > 0)
        parser.ExpectData(static_cast<size_t>(command.value));
      if (command.group) said += command.group;
      if (command.has_value) said += std::to_string(command.value);
      said += std::string(1, command.letter) + " ";
    }
  }
  return said + "strays " + std::to_string(parser.strays());
}

TEST(ParserTest, AnyChunkingGivesTheSameCommands) {
  const struct {
    const char* bytes;
    const char* said;
  } cases[] = {
      {"~E~*oE~*f0S", "E oE f0S strays 0"},
      {"~*a300R~*u-1K~*s10323H", "a300R u-1K s10323H strays 0"},
      {"~*a1D~*a7W~E~*a1~~E",
       "a1D a7W <\x1b"
       "E\x1b*a1\x1b> E strays 0"},
      {"xx~*a30", "strays 2"},
      {"~*a30~*a40R", "a40R strays 0"},
      {"~?~*A~*a3x~*a5R", "a5R strays 3"},
      {"~*a-5-6R~E", "E strays 3"},
      {"~*a99999999999999999999R", "a1099511627776R strays 0"},
  };
  for (const auto& one : cases) {
    std::string bytes = one.bytes;
    for (char& c : bytes) c = c == '~' ? '\x1b' : c;
    for (size_t piece = 1; piece <= bytes.size(); ++piece)
      EXPECT_EQ(one.said, Parsed(bytes, piece)) << one.bytes << " in pieces of " << piece;
  }
}

class LanguageTest : public testing::Test {
 protected:
  void Start(DeviceConfig config = {}) {
    host.reset();
    device.reset();
    config.address = "127.0.67.1";
    device = std::make_unique<SimulatedDevice>(config);
    host = std::make_unique<RawHost>(config.address);
    ASSERT_EQ("00", host->greeting());
  }
  void StartModel(const std::string& model) {
    DeviceConfig config;
    config.model = model;
    Start(config);
  }
  std::unique_ptr<SimulatedDevice> device;
  std::unique_ptr<RawHost> host;
};

bool IsNull(const std::string& answer) {
  return !answer.empty() && answer.back() == 'N';
}

TEST_F(LanguageTest, ModelsIdentifyThemselves) {
  for (int family = 11; family <= 16; ++family) {
    const std::string name = "ZM-" + std::to_string(family);
    StartModel(name);
    EXPECT_EQ("*s19d5W" + name, host->Ask("19E"));
    EXPECT_EQ("*s257d0V", host->Ask("257E"));
  }
  StartModel("alternative");
  EXPECT_TRUE(IsNull(host->Ask("19E")));
  EXPECT_NE(std::string::npos, host->Ask("18E").find("W"));
  StartModel("unknown");
  EXPECT_EQ("*s19d5WQX-99", host->Ask("19E"));
  EXPECT_THROW(StartModel("ZM-99"), std::invalid_argument);
}

// Every inquiry of every model ends in one well-formed answer that repeats it.
TEST_F(LanguageTest, EveryAnswerEchoesItsInquiry) {
  const int numbers[] = {3,     18,    19,    20,    22,    23,    24,    257,   261,
                         503,   505,   507,   508,   1024,  1025,  1026,  1027,  2100,
                         2101,  10308, 10312, 10323, 10324, 10325, 10474, 10481, 10482,
                         10489, 10490, 10956, 11323, 11324, 11482, 12323, 12324, 12482,
                         13482, 13500, 13505, 13506, 13507, 13510, 99999};
  const std::pair<char, char> letters[] = {{'R', 'p'}, {'L', 'k'}, {'H', 'g'}, {'E', 'd'}};
  for (const std::string& model : ModelNames()) {
    StartModel(model);
    for (int number : numbers) {
      for (const auto& [kind, letter] : letters) {
        const std::string echo = "*s" + std::to_string(number) + letter;
        const std::string answer = host->Ask(std::to_string(number) + kind);
        ASSERT_EQ(echo, answer.substr(0, echo.size())) << model;
        const size_t end = answer.find_first_not_of("-0123456789", echo.size());
        ASSERT_NE(std::string::npos, end) << model << " " << answer;
        ASSERT_NE(std::string::npos, std::string("VNW").find(answer[end]))
            << model << " " << answer;
      }
    }
  }
}

TEST_F(LanguageTest, SettingsStayWithinTheirLimitsAndEndWithAReset) {
  Start();
  EXPECT_EQ("*s10323p300V", host->Ask("10323R"));
  EXPECT_EQ("*s10323k75V", host->Ask("10323L"));
  EXPECT_EQ("*s10323g600V", host->Ask("10323H"));
  host->Send("~*a150R~*f1200P~*f600Q");
  EXPECT_EQ("*s10323p150V", host->Ask("10323R"));
  EXPECT_EQ("*s1024d600V", host->Ask("1024E"));
  EXPECT_EQ("*s1025d1800V", host->Ask("1025E"));
  host->Send("~*a0T~*a1G~*a9999R~*a-4S");
  EXPECT_EQ("*s10323p600V", host->Ask("10323R"));
  EXPECT_EQ("*s10324p75V", host->Ask("10324R"));
  EXPECT_EQ("*s1025d300V", host->Ask("1025E"));
  EXPECT_EQ("*s1026d150V", host->Ask("1026E"));
  host->Send("~E");
  EXPECT_EQ("*s10323p300V", host->Ask("10323R"));
  EXPECT_EQ("*s1024d2550V", host->Ask("1024E"));
}

TEST_F(LanguageTest, OverridesReplaceAndDeny) {
  DeviceConfig config;
  config.overrides = {{.number = 10323, .maximum = 1200}, {.number = 10312, .null = true},
                      {.number = 1026, .value = 77},      {.number = 1025, .null = true},
                      {.number = 19, .text = "ZM-13"},    {.number = 4711, .value = -5}};
  Start(config);
  EXPECT_EQ("*s10323g1200V", host->Ask("10323H"));
  EXPECT_TRUE(IsNull(host->Ask("10312H")));
  EXPECT_EQ("*s1026d77V", host->Ask("1026E"));
  EXPECT_TRUE(IsNull(host->Ask("1025E")));
  EXPECT_EQ("*s19d5WZM-13", host->Ask("19E"));
  EXPECT_EQ("*s4711p-5V", host->Ask("4711R"));
  host->Command("~E");
  EXPECT_EQ("*s4711p-5V", host->Ask("4711R"));
  device->SetVariable({.number = 1025, .value = 3});
  EXPECT_EQ("*s1025d3V", host->Ask("1025E"));
}

TEST_F(LanguageTest, ErrorsWaitUntilTheyAreCleared) {
  Start();
  device->RaiseError(1026);
  device->RaiseError(3);
  EXPECT_EQ("*s257d2V", host->Ask("257E"));
  EXPECT_EQ("*s261d1026V", host->Ask("261E"));
  EXPECT_EQ("*s261d1026V", host->Ask("261E"));
  host->Send("~*oE");
  EXPECT_EQ("*s257d0V", host->Ask("257E"));
}

TEST_F(LanguageTest, TheLockHasOneHolder) {
  DeviceConfig config;
  config.max_connections = 2;
  Start(config);
  RawHost other(config.address = "127.0.67.1");
  ASSERT_EQ("00", other.greeting());
  EXPECT_EQ("*s505d1W0", host->Ask("505E"));
  host->Send("~*f1H");
  EXPECT_EQ("*s505d1W1", host->Ask("505E"));
  other.Send("~*f1H");
  EXPECT_EQ("*s505d1W0", other.Ask("505E"));
  EXPECT_EQ(1, device->lock_holder());

  other.Send("~*m2S~*f0S");  // a page is for the holder
  EXPECT_TRUE(other.ReadPage().aborted);
  other.Send("~*f0H");  // so is the release
  EXPECT_EQ("*s505d1W0", other.Ask("505E"));
  EXPECT_TRUE(device->locked());

  host->Close();
  for (int i = 0; i < 100 && device->locked(); ++i) other.Ask("257E");
  other.Send("~*f1H");
  EXPECT_EQ("*s505d1W2", other.Ask("505E"));
  other.Command("~*f0H");
  EXPECT_FALSE(device->locked());

  device->ReserveElsewhere(true);
  other.Send("~*f1H");
  EXPECT_EQ("*s505d1W0", other.Ask("505E"));
  device->ReserveElsewhere(false);
  other.Send("~*f1H");
  EXPECT_EQ("*s505d1W2", other.Ask("505E"));
}

TEST_F(LanguageTest, AnswersGoWrongAsTold) {
  const struct {
    const char* fault;
    const char* inquiry;
    const char* answer;
  } cases[] = {
      {"silent@variable:10323", "10323R", ""},
      {"null@variable:10323", "10323R", "*s10323p0N"},
      {"answer@variable:10323=-7", "10323R", "*s10323p-7V"},
      {"wrong-echo@variable:10323", "10323R", "*s10324p300V"},
      {"wrong-letter@variable:10323", "10323R", "*s10323q300V"},
      {"wrong-terminator@variable:10323", "10323R", "*s10323p300X"},
      {"cut-answer@variable:10323=4", "10323R", "*s1"},
      {"endless-number@variable:10323=8", "10323R", "*s10323p77777777V"},
      {"endless-string@variable:19=4", "19E", "*s19d4Waaaa"},
      {"string-length@variable:19=99", "19E", "*s19d99WZM-16"},
      {"null@variable:19", "19E", "*s19d0N"},
      {"answer@answer:2=5", "10323R", "*s10323p300V"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    Start();
    device->AddFault(one.fault);
    EXPECT_EQ(one.answer, host->Ask(one.inquiry));
    if (std::string(one.fault).starts_with("cut")) continue;
    device->ClearFaults();
    EXPECT_EQ("*s10324p300V", host->Ask("10324R"));
  }
}

TEST(FaultTest, TextsSayWhatFaultsAre) {
  for (const char* text : {"busy", "drop@page:2,block:3=100*1", "null@variable:19", "error=1024",
                           "silent@connection:2,answer:5*3", "block-length@block:1=-1"}) {
    EXPECT_EQ(text, FaultText(ParseFault(text)));
  }
  for (const char* text : {"", "bang", "drop@", "drop@block", "drop@block:x", "drop@blok:1",
                           "drop=many", "drop*", "drop@block:1,", "=3"}) {
    EXPECT_THROW(ParseFault(text), std::invalid_argument) << text;
  }
}

}  // namespace
}  // namespace scantk::sim::test
