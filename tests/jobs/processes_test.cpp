// What no conversation can say: several processes and threads at one device, and files that a scan
// leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

#include "host/console.h"
#include "platform/clock.h"
#include "tests/jobs/far_side.h"
#include "tests/jobs/host.h"

namespace scantk::test {
namespace {

constexpr Outcome kLockFailed = {E_FAIL, TERR_SCANNER_LOCK_FAILED};
constexpr Outcome kNoHold = {S_OK, TERR_SCANNER_NOT_LOCKED};

class ProcessesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.emplace(name, T_IO_NETWORK);
    ASSERT_TRUE(host->Open());
  }
  void TearDown() override {
    host->Close();
    EXPECT_THAT(host->problems, ::testing::IsEmpty());
  }
  Outcome Lock(uint32_t limit_ms, uint16_t type = T_LOCK_PROCESS) {
    return Call(host->toolkit.scanner, &IScanner::LockScanner, host->session, type, limit_ms);
  }
  Outcome Plain(HRESULT (STDMETHODCALLTYPE IScanner::*method)(uint32_t, uint32_t*)) {
    return Call(host->toolkit.scanner, method, host->session);
  }
  // Another process at the device; it has said `said` (see the helper).
  std::unique_ptr<scanhost::ChildProcess> Other(const std::string& what, const std::string& said) {
    std::string error, line;
    auto other = scanhost::ChildProcess::Start(
        SCANTK_HELPER, {"session", name, device->config().address, what}, &error);
    EXPECT_TRUE(other && other->ReadLine(30000, &line)) << error;
    EXPECT_EQ(said, line);
    return other;
  }
  Sandbox sandbox;
  const Place place{sandbox, Medium::kNetwork};
  FarSide& device = *place.device;
  const std::string& name = place.name;
  std::optional<Host> host;
};

// Two threads that want the first hold at once: both have it, one connects, also where that fails.
TEST_F(ProcessesTest, ThreadsTakeTheirFirstHoldAtOnce) {
  for (int round = 0; round < 60; ++round) {
    const bool busy = round % 3 == 0;
    if (busy) device->AddFault("busy");
    std::atomic<int> good = 0, refused = 0;
    const auto take = [&] {
      const Outcome outcome = Lock(0xFFFFFFFF);
      good += outcome == kOk;
      refused += outcome == Outcome{E_FAIL, TERR_NET_SOCKET_BUSY};
    };
    std::thread other(take);
    take();
    other.join();
    ASSERT_EQ(2, busy ? refused : good) << good << " good in round " << round;
    for (int i = 0; i < good; ++i) ASSERT_EQ(kOk, Plain(&IScanner::UnlockScanner));
    ASSERT_EQ(kNoHold, Plain(&IScanner::UnlockScanner));
    if (busy) device->ClearFaults();
  }
}

// Catches a lock that does not reach across processes, ends its wait early or late, or is not free
// once its holder let go.
TEST_F(ProcessesTest, OneHoldsTheDeviceTheOthersWait) {
  auto other = Other("1500", "locked");
  uint32_t before = TheClock().TickCount();
  EXPECT_EQ(kLockFailed, Lock(300));
  EXPECT_GE(TheClock().TickCount() - before, 280u);
  EXPECT_EQ(kOk, Lock(30000));
  std::string line;
  ASSERT_TRUE(other->ReadLine(10000, &line));
  EXPECT_EQ("released", line);
  host->ScanPerfectly("a page", "chart");
  Other("hold", "TERR_SCANNER_LOCK_FAILED");
  // Closing gives every hold back.
  EXPECT_EQ(kOk, Lock(0));
  host->Close();
  Other("0", "locked");
}

// Catches a thread's lock that another thread gets, uses or gives back.
TEST_F(ProcessesTest, ALockOfAThreadIsThatThreadsAlone) {
  EXPECT_EQ(kOk, Lock(0, T_LOCK_THREAD));
  std::thread([&] {
    EXPECT_EQ(kLockFailed, Lock(0, T_LOCK_THREAD));
    EXPECT_EQ(kNotLocked, Plain(&IScanner::LampOn));
    EXPECT_EQ(kNoHold, Plain(&IScanner::UnlockScanner));
  }).join();
  EXPECT_EQ(kOk, Plain(&IScanner::LampOn));
  EXPECT_EQ(1, device.Connections());
}

// Catches names that overrun the entry's field, and sessions that cannot be had by their name
// again.
TEST_F(ProcessesTest, LongAndForeignNamesAreNames) {
  const auto open = [&](const std::string& device_name) {
    uint32_t handle = 0;
    const auto& scanner = host->toolkit.scanner;
    const Outcome outcome = Call(scanner, &IScanner::OpenScannerSession, Wide(device_name).c_str(),
                                 T_IO_NETWORK, &handle);
    EXPECT_EQ(outcome == kOk ? kOk : kInvalidSession,
              Call(scanner, &IScanner::CloseScannerSession, handle));
    return outcome;
  };
  EXPECT_EQ(kOk, open(std::string(259, 'x')));
  EXPECT_EQ(kInvalidParameter, open(std::string(260, 'x')));
  EXPECT_EQ(kOk, open("B\xC3\xBCroger\xC3\xA4t \xE2\x82\xAC"));
}

// Catches an image log that is not written, or is not what the device sent.
TEST_F(ProcessesTest, TheImageLogKeepsWhatTheDeviceSent) {
  if (Media().size() < 3) GTEST_SKIP() << "this system has one folder for everybody";
  namespace fs = std::filesystem;
  fs::create_directories(sandbox.Folder() + "/OV");
  sandbox.SetDeviceValue(name, "ImgLog", 1);
  host->Close();
  ASSERT_TRUE(host->Open());
  EXPECT_EQ(kOk, Lock(0));
  host->ScanPerfectly("a page", "chart");
  int found = 0;
  for (const auto& entry : fs::directory_iterator(sandbox.Folder() + "/OV")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    found += bytes == host->page.bytes;
  }
  EXPECT_EQ(1, found);
}

}  // namespace
}  // namespace scantk::test
