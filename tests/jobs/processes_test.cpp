// What no conversation can say: several processes and threads at one device, and files that a scan
// leaves.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "host/console.h"
#include "platform/clock.h"
#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"
#include "tests/jobs/far_side.h"
#include "tests/jobs/picture.h"

namespace scantk::test {
namespace {

constexpr Outcome kLockFailed = {E_FAIL, TERR_SCANNER_LOCK_FAILED};
constexpr Outcome kNoHold = {S_OK, TERR_SCANNER_NOT_LOCKED};

class ProcessesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::DeviceConfig config;
    config.address = FreshAddress();
    device = FarSide::Start(Medium::kNetwork, config, sandbox.Folder());
    name = sandbox.AddNetworkDevice(config.address);
  }
  void TearDown() override {
    if (session) Call(toolkit.scanner, &IScanner::CloseScannerSession, session);
  }
  void Open() {
    ASSERT_EQ(kOk, Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(name).c_str(),
                        T_IO_NETWORK, &session));
  }
  Outcome Lock(uint32_t limit_ms, uint16_t type = T_LOCK_PROCESS) {
    return Call(toolkit.scanner, &IScanner::LockScanner, session, type, limit_ms);
  }
  // Another process at the device; it has said `said` (see the helper).
  std::unique_ptr<scanhost::ChildProcess> Other(const std::string& what, const std::string& said) {
    std::string error, line;
    auto other = scanhost::ChildProcess::Start(
        SCANTK_HELPER, {"session", name, device->Config().address, what}, &error);
    EXPECT_TRUE(other && other->ReadLine(30000, &line)) << error;
    EXPECT_EQ(said, line);
    return other;
  }
  void ExpectWholePage() {
    ScannedPage page;
    page.asked = PageParameters(T_GREYSCALE, 100, {1200, 900});
    const auto& scanner = toolkit.scanner;
    Call(toolkit.compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
    EXPECT_EQ(kOk, Call(scanner, &IScanner::SetScannerParameters, session, &page.asked));
    EXPECT_EQ(kOk, Call(scanner, &IScanner::GetBufferInfo, session, &page.asked, &page.granted));
    EXPECT_EQ(kOk, Call(scanner, &IScanner::StartScan, session));
    page.bytes.resize(size_t{page.granted.dwBytesPerLine} * (page.granted.dwPixelHeight + 1));
    uint32_t got = 0;
    EXPECT_EQ(kEndOfPage, Call(scanner, &IScanner::ReadScanEx, session, page.bytes.data(),
                               static_cast<uint32_t>(page.bytes.size()), &got));
    page.bytes.resize(got);
    EXPECT_EQ("",
              Difference(PaperAsked(page, "chart", {}), page.bytes, page.granted.dwBytesPerLine));
    EXPECT_EQ(kOk, Call(scanner, &IScanner::StopScan, session));
  }

  Sandbox sandbox;
  std::unique_ptr<FarSide> device;
  Toolkit toolkit;
  std::string name;
  uint32_t session = 0;
};

// Two threads that want the first hold at once: both have it, one connects, also where that fails.
TEST_F(ProcessesTest, ThreadsTakeTheirFirstHoldAtOnce) {
  ASSERT_NO_FATAL_FAILURE(Open());
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
    for (int i = 0; i < good; ++i)
      ASSERT_EQ(kOk, Call(toolkit.scanner, &IScanner::UnlockScanner, session));
    ASSERT_EQ(kNoHold, Call(toolkit.scanner, &IScanner::UnlockScanner, session));
    if (busy) device->ClearFaults();
  }
}

// Catches a lock that does not reach across processes, ends its wait early or late, or is not free
// once its holder let go.
TEST_F(ProcessesTest, OneHoldsTheDeviceTheOthersWait) {
  Open();
  auto other = Other("1500", "locked");
  uint32_t before = TheClock().TickCount();
  EXPECT_EQ(kLockFailed, Lock(300));
  EXPECT_GE(TheClock().TickCount() - before, 280u);
  EXPECT_EQ(kOk, Lock(30000));
  std::string line;
  ASSERT_TRUE(other->ReadLine(10000, &line));
  EXPECT_EQ("released", line);
  ExpectWholePage();
  Other("hold", "TERR_SCANNER_LOCK_FAILED");
  // Closing gives every hold back.
  EXPECT_EQ(kOk, Lock(0));
  Call(toolkit.scanner, &IScanner::CloseScannerSession, session);
  session = 0;
  Other("0", "locked");
}

// Catches a dead host that keeps the device, or leaves it scanning for the next one.
TEST_F(ProcessesTest, AHostThatDiesInMidPageFreesTheDevice) {
  Open();
  Other("scan", "locked").reset();  // and is ended
  EXPECT_EQ(kOk, Lock(5000));
  ExpectWholePage();
}

// Catches a thread's lock that another thread gets, uses or gives back.
TEST_F(ProcessesTest, ALockOfAThreadIsThatThreadsAlone) {
  Open();
  EXPECT_EQ(kOk, Lock(0, T_LOCK_THREAD));
  std::thread([&] {
    EXPECT_EQ(kLockFailed, Lock(0, T_LOCK_THREAD));
    EXPECT_EQ(kNotLocked, Call(toolkit.scanner, &IScanner::LampOn, session));
    EXPECT_EQ(kNoHold, Call(toolkit.scanner, &IScanner::UnlockScanner, session));
  }).join();
  EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::LampOn, session));
  EXPECT_EQ(1, device->Connections());
}

// Catches names that overrun the entry's field, and sessions that cannot be had by their name
// again.
TEST_F(ProcessesTest, LongAndForeignNamesAreNames) {
  const auto open = [&](const std::string& device_name) {
    uint32_t handle = 0;
    const Outcome outcome = Call(toolkit.scanner, &IScanner::OpenScannerSession,
                                 Wide(device_name).c_str(), T_IO_NETWORK, &handle);
    EXPECT_EQ(outcome == kOk ? kOk : kInvalidSession,
              Call(toolkit.scanner, &IScanner::CloseScannerSession, handle));
    return outcome;
  };
  EXPECT_EQ(kOk, open(std::string(259, 'x')));
  EXPECT_EQ(kInvalidParameter, open(std::string(260, 'x')));
  EXPECT_EQ(kOk, open("B\xC3\xBCroger\xC3\xA4t \xE2\x82\xAC"));
}

// Catches an image log that is not written, or is not what the device sent.
TEST_F(ProcessesTest, TheImageLogKeepsWhatTheDeviceSent) {
  namespace fs = std::filesystem;
  fs::create_directories(sandbox.Folder() + "/OV");
  sandbox.SetDeviceValue(name, "ImgLog", 1);
  Open();
  EXPECT_EQ(kOk, Lock(0));
  ExpectWholePage();
  int found = 0;
  for (const auto& entry : fs::directory_iterator(sandbox.Folder() + "/OV")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
    ScannedPage page;
    page.asked = PageParameters(T_GREYSCALE, 100, {1200, 900});
    found += bytes == PaperAsked(page, "chart", {});
  }
  EXPECT_EQ(1, found);
}

}  // namespace
}  // namespace scantk::test
