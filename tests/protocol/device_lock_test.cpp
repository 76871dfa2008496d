// The lock inside the device: the order of its conversation, and how each step's failure ends it.
#include <gtest/gtest.h>

#include "tests/protocol/engine_fixture.h"

namespace scantk::test {
namespace {

TEST(DeviceLock, IsTakenAndGivenBack) {
  ScriptedEngine e;
  e.script.Ask("257E", "d0V").Command("*f1H").AskText("505E", "17 host").Command("*f60I");
  EXPECT_EQ(SL_OK, e.engine.LockScanner(60));
  EXPECT_TRUE(e.engine.HasDeviceLock());
  e.script.Command("*f0I").Command("*f0H").Disconnect();
  EXPECT_EQ(SL_OK, e.engine.UnLockScanner());
  EXPECT_FALSE(e.engine.HasDeviceLock());
  EXPECT_EQ("", e.script.Faults());
  // Without a lock there is nothing to say, and still the transport is let go.
  e.script.Disconnect();
  EXPECT_EQ(SL_OK, e.engine.UnLockScanner());
  EXPECT_EQ("", e.script.Faults());
}

TEST(DeviceLock, OfAnotherHostIsBusy) {
  for (const char* id : {"0", "", "none", "-0"}) {
    ScriptedEngine e;
    e.script.Ask("257E", "d0V").Command("*f1H").AskText("505E", id);
    e.script.Command("*f0I").Command("*f0H").Disconnect();
    EXPECT_EQ(SL_BUSY, e.engine.LockScanner(0)) << id;
    EXPECT_FALSE(e.engine.HasDeviceLock());
    EXPECT_EQ("", e.script.Faults()) << id;
  }
  // Even where the request could not be taken back.
  ScriptedEngine e;
  e.script.Ask("257E", "d0V").Command("*f1H").AskText("505E", "0");
  e.script.Command("*f0I").FailWrite("\x1b*f0H", kTransportFailure).Disconnect();
  EXPECT_EQ(SL_BUSY, e.engine.LockScanner(0));
  EXPECT_FALSE(e.engine.HasDeviceLock());
  EXPECT_EQ("", e.script.Faults());
}

TEST(DeviceLock, TellsAPendingErrorAndGoesOn) {
  ScriptedEngine e;
  e.script.Ask("257E", "d1V").Ask("261E", "d1026V").Command("*oE");
  e.script.Command("*f1H").AskText("505E", "3").Command("*f0I");
  EXPECT_EQ(SL_ERR_MAPPED_FEEDER_EMPTY, e.engine.LockScanner(0));
  EXPECT_TRUE(e.engine.HasDeviceLock());
  EXPECT_EQ("", e.script.Faults());

  ScriptedEngine cancelled;  // a cancel at the device is not gone over
  cancelled.script.Ask("257E", "d1V").Ask("261E", "d502V").Command("*oE");
  EXPECT_EQ(SL_CANCEL, cancelled.engine.LockScanner(0));
  EXPECT_FALSE(cancelled.engine.HasDeviceLock());
  EXPECT_EQ("", cancelled.script.Faults());
}

TEST(DeviceLock, FailsStepByStep) {
  ScriptedEngine no_command;
  no_command.script.Ask("257E", "d0V").FailWrite("\x1b*f1H", kTransportFailure);
  EXPECT_EQ(SL_BADRESPONSE, no_command.engine.LockScanner(0));
  ScriptedEngine no_id;
  no_id.script.Ask("257E", "d0V").Command("*f1H").Ask("505E", "dN");
  EXPECT_EQ(SL_BADRESPONSE, no_id.engine.LockScanner(0));
  EXPECT_FALSE(no_command.engine.HasDeviceLock() || no_id.engine.HasDeviceLock());
  ScriptedEngine no_timeout;  // the lock holds all the same
  no_timeout.script.Ask("257E", "d0V")
      .Command("*f1H")
      .AskText("505E", "9")
      .FailWrite("\x1b*f5I", kTransportFailure);
  EXPECT_EQ(SL_OK, no_timeout.engine.LockScanner(5));
  EXPECT_TRUE(no_timeout.engine.HasDeviceLock());
  EXPECT_EQ("", no_command.script.Faults() + no_id.script.Faults() + no_timeout.script.Faults());
  // A lock that could not be given back is still held.
  no_timeout.script.Command("*f0I").FailWrite("\x1b*f0H", kTransportFailure).Disconnect();
  EXPECT_EQ(SL_BADACCESS, no_timeout.engine.UnLockScanner());
  EXPECT_TRUE(no_timeout.engine.HasDeviceLock());
  EXPECT_EQ("", no_timeout.script.Faults());
}

TEST(DeviceLock, ChangesItsTimeoutOnlyWhereThereIsOne) {
  ScriptedEngine e;
  e.script.AskText("505E", "4").Command("*f30I");
  EXPECT_EQ(SL_OK, e.engine.SetDeviceTimeout(30));
  e.script.AskText("505E", "0");
  EXPECT_EQ(SL_OK, e.engine.SetDeviceTimeout(30));
  e.script.Ask("505E", "dN");
  EXPECT_EQ(SL_BADRESPONSE, e.engine.SetDeviceTimeout(30));
  e.script.AskText("505E", "4").FailWrite("\x1b*f30I", kTransportFailure);
  EXPECT_EQ(SL_BADACCESS, e.engine.SetDeviceTimeout(30));
  EXPECT_EQ("", e.script.Faults());
}

}  // namespace
}  // namespace scantk::test
