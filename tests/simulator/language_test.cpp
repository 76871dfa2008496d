// The command language: what a device hears, answers, and lets whom have.
#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/command_parser.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

// Catches: commands that depend on how the line cut them, values and downloads taken apart wrong.
TEST(ParserTest, AnyChunkingGivesTheSameCommands) {
  const std::string bytes =
      "xx\x1b*a30\x1b*u-1K\x1b*a1D\x1b*a3W\x1b*E\x1b?\x1b*a5-R\x1b"
      "E\x1b*a99999999999999R";
  for (size_t piece = 1; piece <= bytes.size(); ++piece) {
    CommandParser parser;
    std::string said;
    for (size_t at = 0; at < bytes.size();) {
      Command command;
      bool complete = false;
      const auto* data = reinterpret_cast<const uint8_t*>(&bytes[at]);
      at += parser.Take(data, std::min(piece, bytes.size() - at), &command, &complete);
      if (!complete) continue;
      said += std::to_string(parser.TakeData().size()) + command.letter +
              std::to_string(command.value) + " ";
      if (command.letter == 'W') parser.ExpectData(3);
    }
    EXPECT_EQ(std::string("0K-1 0D1 0W3 3") + '\0' + "0 0E0 0R1099511627776 ", said) << piece;
    EXPECT_EQ(5, parser.strays());
  }
}

struct LanguageTest : DeviceTest {
  void Expect(std::initializer_list<const char*> answers) {  // each behind its inquiry and a blank
    for (const std::string words : answers) {
      const size_t blank = words.find(' ');
      EXPECT_EQ("*s" + words.substr(blank + 1), host->Ask(words.substr(0, blank)));
    }
  }
};

// Catches: sides that a model does not have, limits not kept, settings that a reset keeps, axes
// mixed up.
TEST_F(LanguageTest, DevicesHaveLimitsAndForgetAtAReset) {
  DeviceConfig config;
  for (const std::string& model : ModelNames()) {
    config.model = model;
    Start(config);
    EXPECT_EQ(model == "ZM-15" || model == "ZM-16", host->Ask("13505R").back() == 'V');
  }
  config = {};
  config.overrides = {
      {.number = 1025, .null = true}, {.number = 9, .value = -5}, {.number = 20, .text = "A B"}};
  Start(config);
  Expect({"10323L 10323k75V", "10323H 10323g600V", "10324H 10324g1200V", "20E 20d3WA B"});
  host->Send("~*a150R~*a600S~*f1200P~*f600Q");
  Expect({"10323R 10323p150V", "10324R 10324p600V", "1024E 1024d600V", "1026E 1026d1200V"});
  host->Send("~*a9999R~*a-4S~*a77U");
  Expect({"10323R 10323p600V", "10324R 10324p75V", "1025E 1025d0N", "9R 9p-5V"});
  device->RaiseError(7);
  host->Command("~E");
  Expect({"257E 257d0V", "10323R 10323p300V", "1024E 1024d2550V", "9R 9p-5V", "99E 99d0N"});
  device->RaiseError(1026);
  device->RaiseError(3);
  Expect({"257E 257d2V", "261E 261d1026V"});
  host->Send("~*oE");
  Expect({"257E 257d0V"});
  EXPECT_EQ(1, device->CountInLog("< SL_X_RESOLUTION 150"));
}

// Catches: a lock given twice, taken away by others, kept for the dead; last words unheard.
TEST_F(LanguageTest, TheLockHasOneHolderAndTheDeviceSoManyHosts) {
  DeviceConfig config;
  config.max_connections = 2;
  Start(config);
  RawHost other(device->config().address);
  EXPECT_EQ("01", RawHost(device->config().address).greeting());
  host->Send("~*f1H");
  EXPECT_EQ("*s505d1W1", host->Ask("505E"));
  other.Send("~*f1H~*f0H~*m2S~*f0S");
  EXPECT_TRUE(other.ReadPage().aborted);  // a page is for the holder
  EXPECT_EQ(1, device->lock_holder());
  host->Send("~*a150R");
  host->Close();
  Await([&] { return other.Ask("257E"), !device->locked(); });
  EXPECT_EQ("*s10323p150V", other.Ask("10323R"));
  EXPECT_EQ("00", RawHost(device->config().address).greeting());
  for (bool reserved : {true, false}) {
    device->ReserveElsewhere(reserved);
    other.Send("~*f1H");
    EXPECT_EQ(reserved ? "*s505d1W0" : "*s505d1W2", other.Ask("505E"));
  }
  EXPECT_THROW(SimulatedDevice{device->config()}, std::runtime_error);  // is taken
}

// Catches: moments and values of faults read as others.
TEST(FaultTest, TextsSayWhatFaultsAre) {
  for (const char* text : {"busy", "drop@page:2,block:3=100*1", "silent@connection:2,answer:5*3"})
    EXPECT_EQ(text, FaultText(ParseFault(text)));
  for (const char* text : {"", "bang", "drop@", "drop@block", "drop@block:x", "drop=many", "drop*"})
    EXPECT_THROW(ParseFault(text), std::invalid_argument) << text;
}

}  // namespace
}  // namespace scantk::sim::test
