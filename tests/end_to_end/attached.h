// A simulated device behind a file, and a host that scans from it.
#ifndef SCANTK_TESTS_END_TO_END_ATTACHED_H_
#define SCANTK_TESTS_END_TO_END_ATTACHED_H_

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "simulator/dot4_device.h"
#include "simulator/usb_device.h"
#include "tests/end_to_end/scanned.h"

namespace scantk::test {

// The devices of this test are of the I/O type that is the parameter.
class AttachedTest : public ScanTest, public ::testing::WithParamInterface<uint32_t> {
 protected:
  void SetUp() override {
    ScanTest::SetUp();
    StartAttached();
    OpenAndLockAttached();
    UseJpeg(false);
  }

  void StartAttached() {
    const std::string path = sandbox.Folder() + "/device";
    if (GetParam() == T_IO_USB) {
      attached = std::make_unique<sim::UsbDevice>(sim::DeviceConfig(), path);
    } else {
      auto made = std::make_unique<sim::Dot4Device>(sim::DeviceConfig(), path);
      stack = made.get();
      attached = std::move(made);
    }
    device_name = sandbox.AddAttachedDevice(path, GetParam());
  }
  void OpenAndLockAttached() {
    if (!toolkit) toolkit = std::make_unique<Toolkit>();
    ASSERT_EQ(kOk, Call(toolkit->scanner, &IScanner::OpenScannerSession, Wide(device_name).c_str(),
                        GetParam(), &session));
    ASSERT_EQ(kOk, Lock());
  }
  void UseJpeg(bool jpeg) {
    Call(toolkit->compression, &ICompression::SetCompressionType, session,
         jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
  }
  std::vector<uint8_t> PaperOnAttached() const {
    const auto settings = attached->last_page();
    if (!settings) return {};
    return sim::RenderPage(sim::MakePaper(attached->config().paper), *settings);
  }
  void ExpectPerfect(const Page& page) {
    EXPECT_EQ(kOk, page.start);
    EXPECT_EQ(kEndOfPage, page.last_read);
    EXPECT_EQ(kOk, page.stop);
    EXPECT_FALSE(page.bytes.empty());
    EXPECT_EQ(page.bytes.size(), size_t{page.granted.dwBytesPerLine} * page.granted.dwPixelHeight);
    EXPECT_TRUE(page.bytes == PaperOnAttached());
    EXPECT_TRUE(SoonFree());
  }
  // The host's last command may be on its way yet.
  bool SoonFree() const {
    for (int i = 0; i < 200 && attached->locked(); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return !attached->locked();
  }
  void ExpectPerfectScan(const std::string& after) {
    SCOPED_TRACE("the scan after " + after);
    ExpectPerfect(Scan(Parameters(T_GREYSCALE, 100)));
  }
  // The host asked for nothing that the stack had to refuse.
  void TearDown() override {
    ScanTest::TearDown();
    if (!stack) return;
    EXPECT_EQ(std::vector<std::string>(), stack->layout_faults());
  }

  std::unique_ptr<sim::AttachedDevice> attached;
  sim::Dot4Device* stack = nullptr;  // when it is one
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_END_TO_END_ATTACHED_H_
