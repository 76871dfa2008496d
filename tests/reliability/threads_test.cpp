// Many threads on one library: shared and different devices, through shared and different objects.
// Its worth is in the build with the thread sanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <thread>

#include "platform/component.h"
#include "platform/system.h"
#include "simulator/dot4_device.h"
#include "simulator/simulated_device.h"
#include "simulator/usb_device.h"
#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

constexpr int kThreads = 6;
constexpr uint32_t kPatience = 60000;

std::string FreshAddress() {
  static int count = 0;
  const uint32_t process = ProcessId();
  return "127." + std::to_string(32 + (process >> 8) % 200) + "." + std::to_string(process & 0xFF) +
         "." + std::to_string(1 + count++ % 250);
}

// A device and what the threads know of it.
struct Scanner {
  std::string name;
  uint32_t io_type = T_IO_NETWORK;
  std::unique_ptr<sim::SimulatedDevice> network;
  std::unique_ptr<sim::AttachedDevice> attached;
  std::mutex turn;  // of the threads that share a process lock

  std::vector<uint8_t> Paper() const {
    const auto page = network ? network->last_page() : attached->last_page();
    return page ? sim::RenderPage(sim::MakePaper("pattern"), *page) : std::vector<uint8_t>();
  }
};

// A toolkit object that threads share. It counts the lines of one page at a time, so that its pages
// are scanned in turns.
struct Object {
  Toolkit toolkit;
  std::mutex turn;
};

class ThreadsTest : public ::testing::Test {
 protected:
  void SetUp() override { sandbox.SwitchTraceOn(); }

  void AddDevices(int network, bool others) {
    sim::DeviceConfig config;
    config.paper = "pattern";
    for (int i = 0; i < network; ++i) {
      auto& added = Add(T_IO_NETWORK);
      config.address = FreshAddress();
      added.network = std::make_unique<sim::SimulatedDevice>(config);
      added.name = sandbox.AddNetworkDevice(config.address);
    }
    if (!others) return;
    const std::string path = sandbox.Folder() + "/device";
    Add(T_IO_USB).attached = std::make_unique<sim::UsbDevice>(config, path + "-usb");
    Add(T_IO_DOT4).attached = std::make_unique<sim::Dot4Device>(config, path + "-dot4");
    for (auto& scanner : scanners)
      if (scanner->attached)
        scanner->name = sandbox.AddAttachedDevice(scanner->attached->path(), scanner->io_type);
  }

  uint32_t Open(Toolkit& toolkit, const Scanner& scanner) {
    uint32_t session = 0;
    EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(scanner.name).c_str(),
                        scanner.io_type, &session));
    return session;
  }
  Outcome Lock(Toolkit& toolkit, uint32_t session, uint16_t type) {
    return Call(toolkit.scanner, &IScanner::LockScanner, session, type, kPatience);
  }
  void Unlock(Toolkit& toolkit, uint32_t session) {
    EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::UnlockScanner, session));
  }
  void Close(Toolkit& toolkit, uint32_t session) {
    EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::CloseScannerSession, session));
  }

  // A small page through a locked session. The thread has the device to itself.
  std::vector<uint8_t> Scan(Toolkit& toolkit, uint32_t session) {
    const auto& scanner = toolkit.scanner;
    Call(toolkit.compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
    SCANNER_PARAMETERS parameters = PageParameters(T_GREYSCALE, 150, {200, 200});
    BUFFER_INFO info = {};
    Call(scanner, &IScanner::SetScannerParameters, session, &parameters);
    EXPECT_EQ(kOk, Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
    EXPECT_EQ(kOk, Call(scanner, &IScanner::StartScan, session));
    std::vector<uint8_t> page, buffer(info.dwBytesPerLine * 30);
    Outcome read = kOk;
    while (read == kOk && !buffer.empty()) {
      uint32_t got = 0;
      read = Call(scanner, &IScanner::ReadScanEx, session, buffer.data(),
                  static_cast<uint32_t>(buffer.size()), &got);
      page.insert(page.end(), buffer.begin(), buffer.begin() + got);
    }
    EXPECT_EQ(kEndOfPage, read);
    EXPECT_EQ(kOk, Call(scanner, &IScanner::StopScan, session));
    return page;
  }

  void ExpectPage(Toolkit& toolkit, uint32_t session, const Scanner& scanner) {
    const std::vector<uint8_t> page = Scan(toolkit, session);
    EXPECT_FALSE(page.empty());
    EXPECT_TRUE(page == scanner.Paper());
  }

  void Run(const std::function<void(std::mt19937&)>& work) {
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int number = 0; number < kThreads; ++number)
      threads.emplace_back([number, &work] {
        InitializeComponents();
        std::mt19937 dice(static_cast<uint32_t>(number));
        work(dice);
        UninitializeComponents();
      });
    for (std::thread& thread : threads) thread.join();
  }

  Sandbox sandbox;
  std::vector<std::unique_ptr<Scanner>> scanners;

 private:
  Scanner& Add(uint32_t io_type) {
    scanners.push_back(std::make_unique<Scanner>());
    scanners.back()->io_type = io_type;
    return *scanners.back();
  }
};

TEST_F(ThreadsTest, ThreadLocksKeepScansApart) {
  AddDevices(3, true);
  Object shared[2];
  // What is attached stays open: it takes one host at a time, also while that one leaves.
  Toolkit keeper;
  std::vector<uint32_t> kept;
  for (const auto& scanner : scanners)
    if (scanner->attached) kept.push_back(Open(keeper, *scanner));
  Run([&](std::mt19937& dice) {
    Object own;
    for (int round = 0; round < 8; ++round) {
      Scanner& scanner = *scanners[dice() % scanners.size()];
      Object& object = dice() % 2 ? own : shared[dice() % 2];
      const uint32_t session = Open(object.toolkit, scanner);
      ASSERT_EQ(kOk, Lock(object.toolkit, session, T_LOCK_THREAD));
      {
        std::lock_guard turn(object.turn);
        ExpectPage(object.toolkit, session, scanner);
      }
      Unlock(object.toolkit, session);
      Close(object.toolkit, session);
    }
  });
  for (uint32_t session : kept) Close(keeper, session);
}

TEST_F(ThreadsTest, ThreadsTakeTurnsUnderAProcessLock) {
  AddDevices(2, false);
  Object shared;
  Run([&](std::mt19937& dice) {
    Object own;
    for (int round = 0; round < 8; ++round) {
      Scanner& scanner = *scanners[dice() % scanners.size()];
      Object& object = dice() % 2 ? own : shared;
      const uint32_t session = Open(object.toolkit, scanner);
      {
        std::lock_guard device_turn(scanner.turn);
        ASSERT_EQ(kOk, Lock(object.toolkit, session, T_LOCK_PROCESS));
        std::lock_guard object_turn(object.turn);
        ExpectPage(object.toolkit, session, scanner);
        Unlock(object.toolkit, session);
      }
      Close(object.toolkit, session);
    }
  });
}

TEST_F(ThreadsTest, HoldsOfAProcessLockNestAcrossThreads) {
  AddDevices(1, false);
  Scanner& scanner = *scanners[0];
  Toolkit shared;
  const uint32_t held = Open(shared, scanner);
  ASSERT_EQ(kOk, Lock(shared, held, T_LOCK_PROCESS));
  Run([&](std::mt19937& dice) {
    Toolkit own;
    for (int round = 0; round < 30; ++round) {
      Toolkit& toolkit = dice() % 2 ? own : shared;
      const uint32_t session = Open(toolkit, scanner);
      EXPECT_EQ(held, session);
      ASSERT_EQ(kOk, Lock(toolkit, session, T_LOCK_PROCESS));
      uint8_t lamp = 0;
      EXPECT_EQ(kOk, Call(toolkit.scanner, &IScanner::GetLampStatus, session, &lamp));
      EXPECT_EQ((Outcome{E_FAIL, TERR_SCANNER_LOCK_FAILED}), Lock(toolkit, session, T_LOCK_THREAD));
      Unlock(toolkit, session);
      Close(toolkit, session);
    }
  });
  EXPECT_EQ(1, scanner.network->open_connections());
  ExpectPage(shared, held, scanner);
  Unlock(shared, held);
  EXPECT_EQ((Outcome{S_OK, TERR_SCANNER_NOT_LOCKED}),
            Call(shared.scanner, &IScanner::UnlockScanner, held));
  Close(shared, held);
}

// The lines of all pages are counted in one place, so that the ends of pages may be cut; what is
// delivered is right all the same.
TEST_F(ThreadsTest, OneObjectScansFromManyDevicesAtOnce) {
  AddDevices(kThreads, false);
  Toolkit shared;
  std::atomic<size_t> next{0};
  Run([&](std::mt19937&) {
    Scanner& scanner = *scanners[next++];
    for (int round = 0; round < 5; ++round) {
      const uint32_t session = Open(shared, scanner);
      ASSERT_EQ(kOk, Lock(shared, session, T_LOCK_THREAD));
      const std::vector<uint8_t> page = Scan(shared, session);
      const std::vector<uint8_t> paper = scanner.Paper();
      ASSERT_LE(page.size(), paper.size());
      EXPECT_TRUE(std::equal(page.begin(), page.end(), paper.begin()));
      Unlock(shared, session);
      Close(shared, session);
    }
  });
}

}  // namespace
}  // namespace scantk::test
