// The component with a device: the simulated one that with_simulator started.
#include "contract/component_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <vector>

#include "host/console.h"
#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"
#include "tests/doubles/fake_discovery.h"
#include "tests/windows/cable.h"
#include "tests/windows/com_class.h"

namespace scantk::test {
namespace {

using Now = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr Outcome kLockFailed = {E_FAIL, TERR_SCANNER_LOCK_FAILED};

class DeviceTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(std::getenv("SCANTK_TEST_DEVICE")); }
  static std::string Address() { return std::getenv("SCANTK_TEST_DEVICE"); }

  Outcome Open(const std::string& name, uint32_t* session) {
    return Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(name).c_str(), T_IO_NETWORK,
                session);
  }
  Outcome Lock(uint32_t session, uint32_t limit) {
    return Call(toolkit.scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, limit);
  }
  Outcome Unlock(uint32_t session) {
    return Call(toolkit.scanner, &IScanner::UnlockScanner, session);
  }
  void Close(uint32_t session) {
    EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::CloseScannerSession, session));
  }

  // Another process that locks the device and holds it for a while. Null when it did not start.
  std::unique_ptr<scanhost::ChildProcess> Rival(const std::string& device, int held_ms,
                                                std::string* answer) {
    std::string error;
    auto child = scanhost::ChildProcess::Start(
        SCANTK_HELPER, {"session", device, Address(), std::to_string(held_ms)}, &error);
    EXPECT_TRUE(child) << error;
    if (child && !child->ReadLine(20000, answer)) ADD_FAILURE() << "the other process says nothing";
    return child;
  }

  // A page, or as much of it as so many reads of ten rows bring.
  std::vector<uint8_t> ScanPage(uint32_t session, int reads,
                                const std::function<void(int)>& before_read = {}) {
    const auto& scanner = toolkit.scanner;
    SCANNER_PARAMETERS parameters = PageParameters(T_COLOR, 150, {1200, 900});
    BUFFER_INFO info = {};
    EXPECT_EQ(kOk, Call(scanner, &IScanner::SetScannerParameters, session, &parameters));
    EXPECT_EQ(kOk, Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
    last_read = Call(scanner, &IScanner::StartScan, session);
    std::vector<uint8_t> page, rows(size_t{info.dwBytesPerLine} * 10);
    for (int read = 0; read < reads && last_read == kOk; ++read) {
      if (before_read) before_read(read);
      uint32_t got = 0;
      last_read = Call(scanner, &IScanner::ReadScanEx, session, rows.data(),
                       static_cast<uint32_t>(rows.size()), &got);
      page.insert(page.end(), rows.begin(), rows.begin() + got);
    }
    Call(scanner, &IScanner::StopScan, session);
    return page;
  }

  Sandbox sandbox;
  Toolkit toolkit;
  Outcome last_read = kOk;
};

TEST_F(DeviceTest, ProcessesContendForTheLock) {
  const std::string device = sandbox.AddNetworkDevice(Address());
  uint32_t session = 0;
  ASSERT_EQ(kOk, Open(device, &session));
  {
    std::string answer;
    const auto rival = Rival(device, 1500, &answer);
    ASSERT_EQ("locked", answer);
    auto start = Now::now();
    EXPECT_EQ(kLockFailed, Lock(session, 300));
    EXPECT_GE(Now::now() - start, milliseconds(280));
    EXPECT_LT(Now::now() - start, milliseconds(1200)) << "the time-out ended it, not the rival";
    EXPECT_EQ(kOk, Lock(session, 15000)) << "as soon as the rival let go";
    ASSERT_TRUE(rival->ReadLine(5000, &answer));
    EXPECT_EQ("released", answer);
  }
  std::string answer;
  Rival(device, 0, &answer);
  EXPECT_EQ("TERR_SCANNER_LOCK_FAILED", answer);
  EXPECT_EQ(kOk, Unlock(session));
  Rival(device, 0, &answer);
  EXPECT_EQ("locked", answer);
  Close(session);
}

// Pages over USB are those over the network, and each comes after one that was not read to its end.
TEST_F(DeviceTest, PagesOverUsb) {
  const Cable cable(Address());
  std::vector<std::vector<uint8_t>> pages;
  for (const uint32_t io_type : {T_IO_NETWORK, T_IO_USB}) {
    SCOPED_TRACE(io_type);
    const bool usb = io_type == T_IO_USB;
    const std::string name = usb ? sandbox.AddAttachedDevice(cable.Path(), io_type)
                                 : sandbox.AddNetworkDevice(Address());
    uint32_t session = 0;
    SCANNER_CAPABILITIES caps;
    ASSERT_EQ(kOk, Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(name).c_str(), io_type,
                        &session));
    ASSERT_EQ(kOk, Lock(session, 5000));
    EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::GetScannerCapabilities, session, &caps));
    for (const uint32_t compression : {T_COMPRESSION_NONE, T_COMPRESSION_JPEG}) {
      Call(toolkit.compression, &ICompression::SetCompressionType, session, compression);
      const std::vector<uint8_t> beginning = ScanPage(session, 5);
      EXPECT_EQ(kOk, last_read);
      const std::vector<uint8_t> page = ScanPage(session, 1000000);
      EXPECT_EQ(kEndOfPage, last_read);
      EXPECT_FALSE(beginning.empty());
      ASSERT_GT(page.size(), 500000u);
      EXPECT_TRUE(std::equal(beginning.begin(), beginning.end(), page.begin()));
      pages.push_back(page);
    }
    EXPECT_EQ(kOk, Unlock(session));
    Close(session);
  }
  EXPECT_TRUE(pages[0] == pages[2]);
  EXPECT_TRUE(pages[1] == pages[3]);
  EXPECT_FALSE(pages[0] == pages[1]);
}

TEST_F(DeviceTest, UnpluggedUsb) {
  Cable cable(Address());
  uint32_t session = 0;
  const std::string name = sandbox.AddAttachedDevice(cable.Path(), T_IO_USB);
  ASSERT_EQ(kOk, Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(name).c_str(), T_IO_USB,
                      &session));
  ASSERT_EQ(kOk, Lock(session, 5000));
  const auto start = Now::now();
  ScanPage(session, 1000000, [&](int read) {
    if (read == 3) cable.Unplug();
  });
  EXPECT_EQ(kCommunication, last_read);
  Close(session);
  EXPECT_LT(Now::now() - start, milliseconds(20000));
}

TEST_F(DeviceTest, MovedIsFoundByTheDiscoveryComponent) {
  const std::string identity = "{11D0BEC7-0000-4F19-9C6A-2B8D0E4F1A37}";
  discovery.addresses[identity] = Address();
  const ServedClass served(CLSID_DiscoveryBroker, FakeDiscovery::Create);
  const std::string device = sandbox.AddNetworkDevice("127.0.0.1");
  sandbox.SetDeviceText(device, "StaticIP", "");
  sandbox.SetDeviceText(device, "PortID", "127.255.255.1");
  sandbox.SetDeviceText(device, "GUID", identity);
  uint32_t session = 0;
  ASSERT_EQ(kOk, Open(device, &session));
  EXPECT_EQ(kOk, Lock(session, 1000));
  EXPECT_EQ(kOk, Unlock(session));
  Close(session);
  EXPECT_EQ("||||" + identity + "|||", discovery.searches);
  EXPECT_EQ(Address(), sandbox.DeviceText(device, "PortID")) << "kept for the next time";
  EXPECT_EQ(0u, discovery.references);
}

}  // namespace
}  // namespace scantk::test
