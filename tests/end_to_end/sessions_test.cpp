// Sessions, the lock and the connection, with real devices and real processes.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/clock.h"
#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

class SessionsTest : public ScanTest {
 protected:
  void SetUp() override {
    ScanTest::SetUp();
    StartDevice();
  }
  Outcome Unlock() { return Call(toolkit->scanner, &IScanner::UnlockScanner, session); }
};

TEST_F(SessionsTest, OneEntryForOneName) {
  Open();
  Toolkit other;
  uint32_t again = 0;
  ASSERT_EQ(kOk, Call(other.scanner, &IScanner::OpenScannerSession, Wide(device_name).c_str(),
                      T_IO_NETWORK, &again));
  EXPECT_EQ(session, again);
  EXPECT_EQ(kOk, Call(other.scanner, &IScanner::CloseScannerSession, again));
  EXPECT_TRUE(sandbox.Traced("CloseScannerSession: I/O NOT shut nSessionReferenceCount is 1"));
  EXPECT_EQ(kOk, Lock());
  ExpectCleanScan("the first of two closes");
}

TEST_F(SessionsTest, HoldsNestAndTheLastOneDisconnects) {
  Open();
  EXPECT_EQ(kOk, Lock());
  EXPECT_EQ(kOk, Lock());
  EXPECT_EQ(1, device->open_connections());
  EXPECT_EQ(kOk, Unlock());
  EXPECT_EQ(1, device->open_connections());
  EXPECT_EQ(kOk, Unlock());
  EXPECT_EQ((Outcome{S_OK, TERR_SCANNER_NOT_LOCKED}), Unlock());
  for (int wait = 0; wait < 100 && device->open_connections(); ++wait) TheClock().Sleep(10);
  EXPECT_EQ(0, device->open_connections());
}

TEST_F(SessionsTest, NamesAndIoTypesThatAreRefusedLeaveNothingBehind) {
  toolkit = std::make_unique<Toolkit>();
  const auto open = [&](const std::string& name, uint32_t type) {
    uint32_t handle = 0;
    const Outcome outcome =
        Call(toolkit->scanner, &IScanner::OpenScannerSession, Wide(name).c_str(), type, &handle);
    if (outcome == kOk) {
      EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::CloseScannerSession, handle));
    } else if (handle) {
      EXPECT_EQ(kInvalidSession, Call(toolkit->scanner, &IScanner::CloseScannerSession, handle));
    }
    return outcome;
  };
  for (uint32_t type : {0u, 2u, 3u, 6u, 0xFFFFFFFFu})
    EXPECT_EQ(kInvalidParameter, open(device_name, type)) << type;
  EXPECT_EQ(kOk, open(std::string(259, 'x'), T_IO_NETWORK));
  EXPECT_EQ(kInvalidParameter, open(std::string(260, 'x'), T_IO_NETWORK));
  EXPECT_EQ(kOk, open("Bürogerät \xE2\x82\xAC", T_IO_NETWORK));
  sandbox.ClearTrace();
  uint32_t handle = 0;
  EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::OpenScannerSession,
                      static_cast<const WideChar*>(nullptr), T_IO_NETWORK, &handle));
  EXPECT_TRUE(sandbox.Traced("GetDIScannerDeviceSettings -  CreateFileName LM_QRL"));
  EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::CloseScannerSession, handle));
}

TEST_F(SessionsTest, ConnectionsThatFailGiveTheirHoldBack) {
  Open();
  device->AddFault("busy");
  EXPECT_EQ((Outcome{E_FAIL, TERR_NET_SOCKET_BUSY}), Lock());
  EXPECT_EQ(5, device->stats().busy_greetings + 0);
  device->ClearFaults();
  device->AddFault("refuse*1");
  EXPECT_EQ((Outcome{VELKAN_E_SCONF_REJECTED, TERR_SCANNER_COMMUNICATION_FAILED}), Lock());
  const sim::DeviceConfig config = device->config();
  device.reset();
  const uint32_t before = TheClock().TickCount();
  EXPECT_EQ((Outcome{VELKAN_E_SCONF_FIREWALL, TERR_SCANNER_COMMUNICATION_FAILED}), Lock());
  EXPECT_LT(TheClock().TickCount() - before, 2000u);
  device = std::make_unique<sim::SimulatedDevice>(config);
  EXPECT_EQ((Outcome{S_OK, TERR_SCANNER_NOT_LOCKED}), Unlock());
  EXPECT_EQ(kOk, Lock());
  ExpectCleanScan("refused connections");
}

TEST_F(SessionsTest, ThreadLocksKeepThreadsApart) {
  Open();
  const auto lock = [&](uint16_t type) {
    return Call(toolkit->scanner, &IScanner::LockScanner, session, type, 0u);
  };
  constexpr Outcome kFailed = {E_FAIL, TERR_SCANNER_LOCK_FAILED};
  EXPECT_EQ(kFailed, lock(2));
  EXPECT_EQ(kOk, lock(T_LOCK_THREAD));
  EXPECT_EQ(kFailed, lock(T_LOCK_PROCESS));
  std::thread([&] {
    EXPECT_EQ(kFailed, lock(T_LOCK_THREAD));
    EXPECT_EQ(kNotLocked, Call(toolkit->scanner, &IScanner::LampOn, session));
    EXPECT_EQ((Outcome{S_OK, TERR_SCANNER_NOT_LOCKED}), Unlock());
  }).join();
  EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::LampOn, session));
  EXPECT_EQ(1, device->open_connections());
}

// The other process: opens the device, says so, and holds its lock until it is killed or told to
// go.
pid_t HoldInAnotherProcess(const std::string& device_name, bool scan, int* ready, int* go) {
  int out[2], in[2];
  if (pipe2(out, O_CLOEXEC) || pipe2(in, O_CLOEXEC)) return -1;
  const pid_t child = fork();
  if (child == 0) {
    fcntl(out[1], F_SETFD, 0);
    fcntl(in[0], F_SETFD, 0);
    execl(SCANTK_HOLDER_PATH, SCANTK_HOLDER_PATH, device_name.c_str(), scan ? "scan" : "hold",
          std::to_string(out[1]).c_str(), std::to_string(in[0]).c_str(),
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(out[1]);
  close(in[0]);
  *ready = out[0];
  *go = in[1];
  char word = 0;
  EXPECT_EQ(1, read(out[0], &word, 1));
  return child;
}

TEST_F(SessionsTest, AnotherProcessHoldsTheDevice) {
  Open();
  int ready, go;
  const pid_t child = HoldInAnotherProcess(device_name, false, &ready, &go);
  ASSERT_GT(child, 0);
  uint32_t before = TheClock().TickCount();
  EXPECT_EQ((Outcome{E_FAIL, TERR_SCANNER_LOCK_FAILED}), Lock(0));
  EXPECT_LT(TheClock().TickCount() - before, 200u);
  before = TheClock().TickCount();
  EXPECT_EQ((Outcome{E_FAIL, TERR_SCANNER_LOCK_FAILED}), Lock(500));
  EXPECT_GE(TheClock().TickCount() - before, 490u);
  EXPECT_LT(TheClock().TickCount() - before, 900u);
  close(go);  // it lets go of the device and ends
  EXPECT_EQ(kOk, Lock(5000));
  int status = -1;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  close(ready);
  ExpectCleanScan("another process");
}

TEST_F(SessionsTest, AProcessKilledInMidScanFreesTheDeviceAtOnce) {
  Open();
  int ready, go;
  const pid_t child = HoldInAnotherProcess(device_name, true, &ready, &go);
  ASSERT_GT(child, 0);
  EXPECT_TRUE(device->locked());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  const uint32_t before = TheClock().TickCount();
  EXPECT_EQ(kOk, Lock(1000));
  EXPECT_LT(TheClock().TickCount() - before, 1000u);
  ExpectCleanScan("a host that was killed");
  close(ready);
  close(go);
}

TEST_F(SessionsTest, ClosingGivesEveryHoldBack) {
  Open();
  EXPECT_EQ(kOk, Lock());
  EXPECT_EQ(kOk, Lock());
  Close();
  int ready, go;
  const pid_t child = HoldInAnotherProcess(device_name, false, &ready, &go);
  ASSERT_GT(child, 0);
  close(go);
  int status = -1;
  EXPECT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  close(ready);
}

TEST_F(SessionsTest, ManyThreadsOpenLockAndClose) {
  toolkit = std::make_unique<Toolkit>();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      Toolkit own;
      for (int round = 0; round < 10; ++round) {
        const auto& scanner = round % 2 ? own.scanner : toolkit->scanner;
        uint32_t handle = 0;
        ASSERT_EQ(kOk, Call(scanner, &IScanner::OpenScannerSession, Wide(device_name).c_str(),
                            T_IO_NETWORK, &handle));
        ASSERT_EQ(kOk, Call(scanner, &IScanner::LockScanner, handle, T_LOCK_THREAD, 20000u));
        EXPECT_EQ(kOk, Call(scanner, &IScanner::LampOn, handle));
        EXPECT_EQ(kOk, Call(scanner, &IScanner::UnlockScanner, handle));
        EXPECT_EQ(kOk, Call(scanner, &IScanner::CloseScannerSession, handle));
      }
    });
  for (std::thread& thread : threads) thread.join();
  OpenAndLock();
  ExpectCleanScan("many threads");
}

}  // namespace
}  // namespace scantk::test
