// Asking for more than the device has: what is sent, and what the answers are turned into.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

constexpr int32_t kMost = std::numeric_limits<int32_t>::max();

TEST(Resolution, AboveTheMaximumTheDeviceGetsItsMaximum) {
  ScriptedEngine e;
  e.script.Command("*a600R").Command("*a2400S");
  EXPECT_EQ(SL_OK, e.engine.SendCommand(SL_X_RESOLUTION, 1200));
  EXPECT_EQ(SL_OK, e.engine.SendCommand(SL_Y_RESOLUTION, 4800));
  e.script.Ask("10323R", "p600V").Ask("10324R", "p2400V");
  EXPECT_EQ(Answered(SL_OK, 1200), e.Number(SL_X_RESOLUTION, 'R'));
  EXPECT_EQ(Answered(SL_OK, 4800), e.Number(SL_Y_RESOLUTION, 'R'));
  // Only the current value is dressed up, and only where it is the maximum.
  e.script.Ask("10323R", "p599V").Ask("10323L", "k600V");
  EXPECT_EQ(Answered(SL_OK, 599), e.Number(SL_X_RESOLUTION, 'R'));
  EXPECT_EQ(Answered(SL_OK, 600), e.Number(SL_X_RESOLUTION, 'L'));

  e.script.Ask("1026E", "d3000V").Ask("1024E", "d2550V").Ask("10312R", "p24V").Ask("1025E", "d1V");
  EXPECT_EQ(Answered(SL_OK, 5999), e.Number(SL_LINES_PER_SCAN, 'R'));
  EXPECT_EQ(Answered(SL_OK, 5100), e.Number(SL_PIXELS_PER_LINE, 'R'));
  EXPECT_EQ(Answered(SL_OK, 24), e.Number(SL_BITS_PER_PIXEL, 'R'));
  EXPECT_EQ(Answered(SL_OK, 15300), e.Number(SL_BYTES_PER_LINE, 'R'));
  // Failures stay failures, and show no value.
  e.script.Ask("1026E", "dN");
  EXPECT_EQ(Answered(SL_NULLRESPONSE, 0), e.Number(SL_LINES_PER_SCAN, 'R'));
  EXPECT_EQ("", e.script.Faults());
}

TEST(Resolution, OnlyAResetEndsTheEnlarging) {
  ScriptedEngine e;
  e.script.Command("*a600R").Command("*a300R").Command("*a600S");
  e.engine.SendCommand(SL_X_RESOLUTION, 1200);
  e.engine.SendCommand(SL_X_RESOLUTION, 300);
  e.engine.SendCommand(SL_Y_RESOLUTION, 600);
  e.script.Ask("1026E", "d100V");
  EXPECT_EQ(Answered(SL_OK, 99), e.Number(SL_LINES_PER_SCAN, 'R'));
  e.script
      .FailWrite(
          "\x1b"
          "E",
          kTransportFailure)
      .Ask("1026E", "d100V");
  EXPECT_EQ(SL_BADACCESS, e.engine.Reset());
  EXPECT_EQ(Answered(SL_OK, 99), e.Number(SL_LINES_PER_SCAN, 'R'));
  e.script.Command("E").Ask("1026E", "d100V");
  EXPECT_EQ(SL_OK, e.engine.Reset());
  EXPECT_EQ(Answered(SL_OK, 100), e.Number(SL_LINES_PER_SCAN, 'R'));
  EXPECT_EQ("", e.script.Faults());
}

TEST(Resolution, LearnsMaxima) {
  ScriptedEngine e;
  const auto learn = [&](uint32_t id, const char* inquiry, const char* answer) {
    e.script.Ask(inquiry, answer);
    e.Number(id, 'H');
  };
  const auto sends = [&](int32_t asked, int32_t sent) {
    e.script.Command("*a" + std::to_string(sent) + "R");
    e.engine.SendCommand(SL_X_RESOLUTION, asked);
    EXPECT_EQ("", e.script.Faults()) << asked;
  };
  learn(SL_X_RESOLUTION_FLAT, "11323H", "g1200V");
  sends(2400, 1200);
  learn(SL_X_RESOLUTION_ADF, "12323H", "g300V");  // the flatbed's stands
  sends(2400, 1200);
  learn(SL_X_RESOLUTION_FLAT, "11323H", "gN");  // could not be learnt: limits nothing
  sends(2400, 2400);
  learn(SL_X_RESOLUTION_ADF, "12323H", "g300V");
  sends(2400, 300);
  learn(SL_X_RESOLUTION, "10323H", "g100V");
  sends(2400, 300);
  learn(SL_X_RESOLUTION_FLAT, "11323H", "g-7V");
  sends(2400, 2400);
  EXPECT_EQ("", e.script.Faults());
}

// Numbers that no honest device has; the sanitizer watches the arithmetic.
TEST(Resolution, BearsAbsurdNumbers) {
  ScriptedEngine e;
  e.script.Command("*a600R").Command("*a2400S");
  e.engine.SendCommand(SL_X_RESOLUTION, kMost);
  e.engine.SendCommand(SL_Y_RESOLUTION, kMost);
  for (const char* answer : {"d2147483647V", "d-2147483648V", "d-1V", "d0V"}) {
    e.script.Ask("1024E", answer)
        .Ask("10312R", "p2147483647V")
        .Ask("1025E", answer)
        .Ask("1026E", answer);
    for (const uint32_t id :
         {SL_PIXELS_PER_LINE, SL_BITS_PER_PIXEL, SL_BYTES_PER_LINE, SL_LINES_PER_SCAN}) {
      EXPECT_EQ(SL_OK, e.Number(id, 'R').first);
    }
  }
  // The maximum is lost after the enlarging began, and the resolution asked for is none.
  e.script.Ask("11323H", "gN").Ask("1024E", "d100V").Command("*a0S").Ask("1026E", "d100V");
  e.Number(SL_X_RESOLUTION_FLAT, 'H');
  EXPECT_EQ(Answered(SL_OK, 100), e.Number(SL_PIXELS_PER_LINE, 'R'));
  e.engine.SendCommand(SL_Y_RESOLUTION, 0);
  EXPECT_EQ(Answered(SL_OK, 100), e.Number(SL_LINES_PER_SCAN, 'R'));
  EXPECT_EQ("", e.script.Faults());
}

TEST(Resolution, OneModelHasAVerticalExtentOfItsOwn) {
  ScriptedEngine e;
  e.script.Ask("10482H", "g4200V").AskText("19E", "ZM-14");
  EXPECT_EQ(Answered(SL_OK, 4200), e.Number(SL_YEXT_PIXEL, 'H'));
  e.script.Ask("10482H", "g4200V").Ask("19E", "dN").AskText("18E", "any");
  EXPECT_EQ(Answered(SL_OK, 3508), e.Number(SL_YEXT_PIXEL, 'H'));
  EXPECT_EQ("", e.script.Faults());
}

}  // namespace
}  // namespace scantk::test
