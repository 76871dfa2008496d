// What the engine keeps in mind: resolutions above the device's, values that the device holds, its
// lock.
#include <gtest/gtest.h>

#include <limits>

#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

constexpr int32_t kMost = std::numeric_limits<int32_t>::max();

// Catches a width that is cut, an axis that shrinks, and an enlarging that a failed reset ends.
TEST(Resolution, WidthsAreRoundedUntilAReset) {
  ScriptedEngine e;
  e.script.Command("*a600R").Ask("1024E", "d100V").Ask("1024E", "d101V");
  e.script.Command("*a75R").Command("*a600S");
  e.engine.exchange.SendCommand(SL_X_RESOLUTION, 1000);
  for (const int32_t rounded : {167, 168})
    EXPECT_EQ(Answered(SL_OK, rounded), e.Number(SL_PIXELS_PER_LINE, 'R'));
  e.engine.exchange.SendCommand(SL_X_RESOLUTION, 75);
  e.engine.exchange.SendCommand(SL_Y_RESOLUTION, 600);
  const auto geometry = [&](int32_t lines) {
    e.script.Ask("1026E", "d100V").Ask("1024E", "d100V");
    EXPECT_EQ(Answered(SL_OK, lines), e.Number(SL_LINES_PER_SCAN, 'R'));
    EXPECT_EQ(Answered(SL_OK, 100), e.Number(SL_PIXELS_PER_LINE, 'R'));
  };
  geometry(99);
  e.script.FailWrite(std::string("\x1b") + "E", kTransportFailure);
  EXPECT_EQ(SL_BADACCESS, e.engine.Reset());
  geometry(99);
  e.script.Command("E");
  EXPECT_EQ(SL_OK, e.engine.Reset());
  geometry(100);
}

TEST(Resolution, LearnsMaxima) {
  ScriptedEngine e;
  const auto learn = [&](uint32_t id, const char* inquiry, const char* answer) {
    e.script.Ask(inquiry, answer);
    e.Number(id, 'H');
  };
  const auto sends = [&](uint32_t id, const char* command) {
    e.script.Command(command);
    e.engine.exchange.SendCommand(id, 5000);
  };
  learn(SL_X_RESOLUTION_FLAT, "11323H", "g1200V");
  learn(SL_X_RESOLUTION_ADF, "12323H", "g300V");  // the flatbed's stands
  sends(SL_X_RESOLUTION, "*a1200R");
  learn(SL_X_RESOLUTION_FLAT, "11323H", "gN");  // could not be learnt: limits nothing
  sends(SL_X_RESOLUTION, "*a5000R");
  learn(SL_X_RESOLUTION_ADF, "12323H", "g300V");
  learn(SL_X_RESOLUTION, "10323H", "g100V");
  sends(SL_X_RESOLUTION, "*a300R");
  learn(SL_Y_RESOLUTION, "10324H", "gN");  // neither answers
  sends(SL_Y_RESOLUTION, "*a2400S");
  learn(SL_Y_RESOLUTION, "10324H", "g600V");
  sends(SL_Y_RESOLUTION, "*a600S");
  learn(SL_Y_RESOLUTION_FLAT, "11324H", "g1200V");
  learn(SL_Y_RESOLUTION, "10324H", "g600V");
  sends(SL_Y_RESOLUTION, "*a1200S");
}

// Catches a division by what a device does not know any more.
TEST(Resolution, BearsALostMaximum) {
  ScriptedEngine e;
  e.script.Command("*a600R").Command("*a2400S").Ask("11323H", "gN").Ask("1024E", "d100V");
  e.engine.exchange.SendCommand(SL_X_RESOLUTION, kMost);
  e.engine.exchange.SendCommand(SL_Y_RESOLUTION, kMost);
  e.Number(SL_X_RESOLUTION_FLAT, 'H');
  EXPECT_EQ(Answered(SL_OK, 100), e.Number(SL_PIXELS_PER_LINE, 'R'));
  e.script.Command("*a0S").Ask("1026E", "d100V");
  e.engine.exchange.SendCommand(SL_Y_RESOLUTION, 0);
  EXPECT_EQ(Answered(SL_OK, 100), e.Number(SL_LINES_PER_SCAN, 'R'));
}

TEST(Cache, SkipsWhatTheDeviceHolds) {
  ScriptedEngine e;
  // Each pair is sent once while the cache is on; off, and for what is never kept, twice.
  const auto twice = [&](uint32_t id, int32_t value, const char* command, int sent) {
    for (int i = 0; i < sent; ++i) e.script.Command(command);
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(SL_OK, e.engine.exchange.SendCommand(id, value)) << command;
  };
  twice(SL_DUPLEX, 1, "*d1D", 2);
  e.TurnCacheOn();
  twice(SL_DUPLEX, 1, "*d1D", 1);
  e.script.FailWrite("\x1b*d0D", 0, 3);  // a short write is not remembered
  EXPECT_EQ(SL_BADACCESS, e.engine.exchange.SendCommand(SL_DUPLEX, 0));
  twice(SL_DUPLEX, 0, "*d0D", 1);
  twice(SL_COMPRESSION, 2, "*a2C", 1);
  twice(SL_RESET, 0, "E", 2);  // makes it forget compression but not duplex
  twice(SL_COMPRESSION, 2, "*a2C", 1);
  twice(SL_DUPLEX, 0, "", 0);
  twice(SL_X_RESOLUTION, 300, "*a300R", 2);
  twice(SL_DEVLOCK, 1, "*f1H", 2);
  twice(SL_SCAN_TRANSFER_TYPE, 2, "*m2S", 2);
  int32_t model = 0;
  e.script.AskText("19E", "ZM-13");  // a known model turns it off
  EXPECT_EQ(SL_OK, e.engine.exchange.InquireModel(&model));
  twice(SL_DUPLEX, 0, "*d0D", 2);
}

TEST(Cache, AnswersKnownValuesByKind) {
  ScriptedEngine e;
  e.TurnCacheOn();
  e.script.Ask("10956R", "q7V").Ask("10956R", "pN");  // what failed is asked again
  EXPECT_EQ(Answered(SL_BADRESPONSE, 0), e.Number(SL_TONEMAP, 'R'));
  EXPECT_EQ(Answered(SL_NULLRESPONSE, 0), e.Number(SL_TONEMAP, 'R'));
  e.script.Ask("10956R", "p1V").Ask("10956L", "k0V").Ask("10956H", "g9V");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Answered(SL_OK, 1), e.Number(SL_TONEMAP, 'R'));
    EXPECT_EQ(Answered(SL_OK, 0), e.Number(SL_TONEMAP, 'L'));
    EXPECT_EQ(Answered(SL_OK, 9), e.Number(SL_TONEMAP, 'H'));
  }
  // The window is taken to be at the origin until a reset or a clearing of errors.
  EXPECT_EQ(SL_OK, e.engine.exchange.SendCommand(SL_YPOS_PIXEL, 0));
  e.script.Command("*oE").Command("*f0Y");
  for (const uint32_t id : {SL_CLEAR_ERRORS, SL_YPOS_PIXEL})
    EXPECT_EQ(SL_OK, e.engine.exchange.SendCommand(id, 0));
  // The error count is known until the next command that is sent, or cannot be built.
  e.script.Ask("257E", "d0V");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(SL_OK, e.engine.errors.InquireOldestError());
  e.script.Command("*d1D").Ask("257E", "d0V");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(SL_OK, e.engine.exchange.SendCommand(SL_DUPLEX, 1));  // the second is not sent
    EXPECT_EQ(SL_OK, e.engine.errors.InquireOldestError());
  }
  e.script.Ask("257E", "d0V");
  EXPECT_EQ(SL_INVALID_REQUEST, e.engine.exchange.SendCommand(SL_ADF_PRESENT, 1));
  EXPECT_EQ(SL_OK, e.engine.errors.InquireOldestError());
}

TEST(DeviceLock, IsTakenAndGivenBack) {
  ScriptedEngine e;
  e.script.Ask("257E", "d0V").Command("*f1H").AskText("505E", "17 host").Command("*f60I");
  EXPECT_EQ(SL_OK, e.engine.lock.LockScanner(60));
  EXPECT_TRUE(e.engine.lock.IsHeld());
  // A lock that could not be given back is still held; without one the transport is let go all the
  // same.
  e.script.Command("*f0I").FailWrite("\x1b*f0H", kTransportFailure).Disconnect();
  EXPECT_EQ(SL_BADACCESS, e.engine.lock.UnLockScanner());
  EXPECT_TRUE(e.engine.lock.IsHeld());
  e.script.Command("*f0I").Command("*f0H").Disconnect().Disconnect();
  for (int i = 0; i < 2; ++i) EXPECT_EQ(SL_OK, e.engine.lock.UnLockScanner());
  EXPECT_FALSE(e.engine.lock.IsHeld());
}

// Catches a lock that is told as held, free or busy when it is not, and a failed step that ends the
// wrong way.
TEST(DeviceLock, IsBusyFailsOrGoesOnStepByStep) {
  ScriptedEngine e;
  const auto locks = [&](QrlStatus status, bool held) {
    EXPECT_EQ(status, e.engine.lock.LockScanner(5));
    EXPECT_EQ(held, e.engine.lock.IsHeld());
  };
  for (const char* id : {"0", "", "none"}) {  // even where the request cannot be taken back
    e.script.Ask("257E", "d0V").Command("*f1H").AskText("505E", id).Command("*f0I");
    e.script.FailWrite("\x1b*f0H", kTransportFailure).Disconnect();
    locks(SL_BUSY, false);
  }
  e.script.Ask("257E", "d1V").Ask("261E", "d502V").Command("*oE");  // a cancel is not gone over
  locks(SL_CANCEL, false);
  e.script.Ask("257E", "d0V").FailWrite("\x1b*f1H", kTransportFailure);
  locks(SL_BADRESPONSE, false);
  e.script.Ask("257E", "d1V").Ask("261E", "d1026V").Command("*oE").Command("*f1H");
  e.script.AskText("505E", "3").FailWrite("\x1b*f5I", kTransportFailure);
  locks(SL_ERR_MAPPED_FEEDER_EMPTY, true);  // without its time, and tells the error
  e.script.AskText("505E", "4").Command("*f30I").AskText("505E", "0").Ask("505E", "dN");
  for (const QrlStatus status : {SL_OK, SL_OK, SL_BADRESPONSE})
    EXPECT_EQ(status, e.engine.lock.SetDeviceTimeout(30));
}

}  // namespace
}  // namespace scantk::test
