// scanhost, whole: a process that scans from a simulated device over TCP.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "host/device_registry.h"
#include "host/devices_command.h"
#include "platform/console.h"
#include "platform/system.h"
#include "simulator/dot4_device.h"
#include "simulator/simulated_device.h"
#include "simulator/usb_device.h"
#include "tests/host/scanhost_process.h"

namespace scanhost {
namespace {

namespace fs = std::filesystem;
namespace sim = scantk::sim;
using scantk::sim::SimulatedDevice;
using std::chrono::milliseconds;
using testing::HasSubstr;
using Words = std::vector<std::string>;

struct Pnm {
  uint32_t width = 0;
  uint32_t height = 0;
  std::vector<uint8_t> rows;
};

class Scanhost : public testing::Test {
 protected:
  void SetUp() override {
    static int count = 0;
    const uint32_t process = scantk::ProcessId();
    ++count;
    folder_ = fs::temp_directory_path() /
              ("scanhost_" + std::to_string(process) + "_" + std::to_string(count));
    fs::create_directories(folder_);
    scantk::SetEnvironment("SCANTK_REGISTRY", (folder_ / "registry.reg").string());
    address_ = "127.91." + std::to_string(process % 250 + 1) + "." + std::to_string(count);
  }
  void TearDown() override {
    device_.reset();
    fs::remove_all(folder_);
  }

  void StartDevice(const sim::DeviceConfig& wanted = {}) {
    sim::DeviceConfig config = wanted;
    config.address = address_;
    device_ = std::make_unique<SimulatedDevice>(config);
    AddDevice(NetworkDeviceValues("Office", address_, true, "1", "", ""));
  }

  Ended Run(const Words& words) { return RunScanhost(folder_.string(), words); }
  static Words ScanWords(const Words& more = {}) {
    Words words = {"scan", "--no-jpeg", "-o", "page.pnm", "--area=0,0,600,800u"};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  Pnm ReadPnm(const std::string& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    Pnm picture;
    std::string magic;
    int maximum = 0;
    file >> magic >> picture.width >> picture.height;
    if (magic != "P4") file >> maximum;
    file.get();
    picture.rows.assign(std::istreambuf_iterator<char>(file), {});
    if (magic == "P4")
      for (uint8_t& byte : picture.rows) byte = static_cast<uint8_t>(~byte);
    return picture;
  }

  std::vector<uint8_t> PaperSeen() const {
    const auto settings = device_->last_page();
    return settings ? sim::RenderPage(sim::MakePaper(device_->config().paper), *settings)
                    : std::vector<uint8_t>();
  }

  // Pictures in the folder, finished or not.
  std::vector<std::string> Pictures() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with("page")) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void ExpectCleanScan(const std::string& after) {
    const Ended ended = Run(ScanWords({"--timeout=0"}));
    EXPECT_EQ(ended.status, 0) << after << "\n" << ended.errors;
    EXPECT_TRUE(ReadPnm("page.pnm").rows == PaperSeen()) << after;
    fs::remove(folder_ / "page.pnm");
  }

  // Waits until the device has sent some of a page.
  void WaitForBlocks(int64_t count) const {
    for (int i = 0; i < 500 && device_->stats().blocks < count; ++i)
      std::this_thread::sleep_for(milliseconds(10));
    ASSERT_GE(device_->stats().blocks, count);
  }

  fs::path folder_;
  std::string address_;
  std::unique_ptr<SimulatedDevice> device_;
};

TEST_F(Scanhost, DeliversThePaperByteForByte) {
  StartDevice();
  const Words cases[] = {
      {},
      {"--mode=gray"},
      {"--mode=bw"},
      {"--resolution=150"},
      {"--resolution=75x300", "--mode=gray"},
      {"--area=31,17,333,211u", "--resolution=600"},
      {"--mode=bw", "--area=1,0,333,100u"},
      {"--preview", "--resolution=75"},
  };
  for (const Words& words : cases) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Ended ended = Run(ScanWords(words));
    ASSERT_EQ(ended.status, 0) << ended.errors;
    const Pnm picture = ReadPnm("page.pnm");
    EXPECT_TRUE(picture.rows == PaperSeen());
    EXPECT_THAT(ended.output, HasSubstr("granted   " + std::to_string(picture.width) + " x " +
                                        std::to_string(picture.height) + " pixels"));
    EXPECT_THAT(ended.output, HasSubstr("delivered " + std::to_string(picture.height) + " rows, " +
                                        std::to_string(picture.rows.size()) + " bytes"));
    EXPECT_EQ(device_->lock_holder(), 0);
  }
  EXPECT_EQ(Pictures(), Words{"page.pnm"}) << "nothing else is left behind";
}

TEST_F(Scanhost, ScansFromDevicesThatAreAttached) {
  const std::string usb = (folder_ / "usb").string(), dot4 = (folder_ / "dot4").string();
  const sim::UsbDevice cable(sim::DeviceConfig(), usb);
  const sim::Dot4Device stack(sim::DeviceConfig(), dot4);
  EXPECT_EQ(0, Run({"devices", "add", "cable", "--usb", usb}).status);
  EXPECT_EQ(0, Run({"devices", "add", "stack", "--dot4", dot4}).status);
  for (const sim::AttachedDevice* device : {static_cast<const sim::AttachedDevice*>(&cable),
                                            static_cast<const sim::AttachedDevice*>(&stack)}) {
    const std::string name = device == &cable ? "cable" : "stack";
    SCOPED_TRACE(name);
    for (const char* mode : {"--mode=color", "--mode=bw"}) {
      const Ended ended = Run({"scan", name, "--no-jpeg", mode, "-o", "page.pnm"});
      ASSERT_EQ(ended.status, 0) << ended.errors;
      const auto settings = device->last_page();
      ASSERT_TRUE(settings.has_value());
      EXPECT_TRUE(ReadPnm("page.pnm").rows == sim::RenderPage(sim::MakePaper("chart"), *settings));
      EXPECT_FALSE(device->locked());
    }
  }
  EXPECT_EQ(stack.layout_faults(), Words());
}

TEST_F(Scanhost, SaysWhatTheDeviceCanDo) {
  StartDevice();
  const Ended ended = Run({"info", "office"});
  EXPECT_EQ(ended.status, 0) << ended.errors;
  for (const char* text : {"0000 Office, network", "flatbed\n", "compression\n", "resolution",
                           "JPEG levels        1 to 5", "control panel"})
    EXPECT_THAT(ended.output, HasSubstr(text));
}

TEST_F(Scanhost, NamesTheErrorAndTheRemedy) {
  const struct {
    const char* fault;
    const char* code;
    const char* remedy;
  } cases[] = {
      {"busy", "TERR_NET_SOCKET_BUSY (18)", "another computer"},
      {"refuse", "VELKAN_E_SCONF_REJECTED", "switched on"},
      {"reserved", "TERR_RESERVE_BUSY (400)", "reserved the device"},
      {"cancel@block:2", "TERR_CANCEL_PRESSED (16)", "cancelled at the device"},
      {"drop@block:2", "TERR_SCANNER_COMMUNICATION_FAILED (12)", "scanhost trace on"},
  };
  StartDevice();
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    device_->AddFault(one.fault);
    const Ended ended = Run(ScanWords({"--timeout=0"}));
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, HasSubstr(one.code));
    EXPECT_THAT(ended.errors, HasSubstr(one.remedy));
    EXPECT_EQ(Pictures(), Words()) << "no picture of a page that failed";
    device_->ClearFaults();
    device_->ReserveElsewhere(false);
    ExpectCleanScan(one.fault);
  }
}

TEST_F(Scanhost, ReportsAPageThatIsCutShort) {
  StartDevice();
  for (const std::string format : {"pnm", "png", "tif"}) {
    device_->AddFault("short-page=100*1");
    const Ended ended = Run(ScanWords({"-o", "page." + format}));
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.errors, HasSubstr("of the 800 granted: the page is cut short"));
    EXPECT_THAT(ended.output, HasSubstr("wrote page." + format));
  }
  const Pnm picture = ReadPnm("page.pnm");
  EXPECT_LT(picture.height, 800u);
  EXPECT_EQ(picture.rows.size(), size_t{picture.height} * 1800);
  ExpectCleanScan("short pages");
}

TEST_F(Scanhost, CtrlCFreesTheDevice) {
  StartDevice();
  for (int number : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(number);
    device_->AddFault("slow@block:3=400");
    const int64_t aborted = device_->stats().pages_aborted;
    const int64_t blocks = device_->stats().blocks;
    ScanhostProcess host(folder_.string(), ScanWords({"-o", "page.png"}));
    WaitForBlocks(blocks + 2);
    const auto start = std::chrono::steady_clock::now();
    host.Signal(number);
    const Ended ended = host.Wait();
    EXPECT_EQ(ended.status, 128 + number) << ended.errors;
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(5000));
    EXPECT_THAT(ended.errors, HasSubstr("cancelled"));
    EXPECT_EQ(Pictures(), Words());
    EXPECT_EQ(device_->lock_holder(), 0);
    EXPECT_EQ(device_->stats().pages_aborted, aborted + 1);
    device_->ClearFaults();
    ExpectCleanScan("Ctrl-C");
  }
}

TEST_F(Scanhost, CompetingProcessesTakeTurns) {
  StartDevice();
  std::vector<std::unique_ptr<ScanhostProcess>> hosts;
  for (const char* name : {"page1.pnm", "page2.pnm", "page3.pnm"})
    hosts.push_back(std::make_unique<ScanhostProcess>(folder_.string(), ScanWords({"-o", name})));
  for (const auto& host : hosts) {
    const Ended ended = host->Wait();
    EXPECT_EQ(ended.status, 0) << ended.errors;
  }
  for (const char* name : {"page1.pnm", "page2.pnm", "page3.pnm"})
    EXPECT_TRUE(ReadPnm(name).rows == PaperSeen()) << name;
  EXPECT_EQ(device_->stats().pages_finished, 3);
}

TEST_F(Scanhost, GivesUpWaitingWhenTold) {
  StartDevice();
  device_->AddFault("slow@block:3=50");
  ScanhostProcess holder(folder_.string(), ScanWords());
  WaitForBlocks(1);
  const Ended late = Run(ScanWords({"-o", "page2.pnm", "--timeout=300"}));
  EXPECT_EQ(late.status, 1);
  EXPECT_THAT(late.errors, HasSubstr("TERR_SCANNER_LOCK_FAILED (5)"));
  EXPECT_THAT(late.errors, HasSubstr("waiting: Another program"));

  ScanhostProcess patient(folder_.string(), ScanWords({"-o", "page2.pnm"}));
  for (int i = 0; i < 500 && patient.ErrorsSoFar().empty(); ++i)
    std::this_thread::sleep_for(milliseconds(10));
  patient.Signal(SIGINT);
  EXPECT_EQ(patient.Wait().status, 130) << "Ctrl-C ends the wait as well";
}

TEST_F(Scanhost, AKilledHostFreesTheDeviceAtOnce) {
  StartDevice();
  device_->AddFault("slow@block:3=50");
  ScanhostProcess host(folder_.string(), ScanWords());
  WaitForBlocks(1);
  host.Signal(SIGKILL);
  EXPECT_EQ(host.Wait().status, -SIGKILL);
  device_->ClearFaults();
  EXPECT_FALSE(fs::exists(folder_ / "page.pnm"));
  const auto start = std::chrono::steady_clock::now();
  ExpectCleanScan("a killed host");
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(3000));
}

TEST_F(Scanhost, EmptiesTheFeeder) {
  sim::DeviceConfig config;
  config.sheets = 3;
  StartDevice(config);
  Ended ended = Run(ScanWords({"--feeder", "--resolution=75", "-o", "page-%02d.pnm"}));
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_EQ(Pictures(), (Words{"page-01.pnm", "page-02.pnm", "page-03.pnm"}));
  EXPECT_TRUE(ReadPnm("page-03.pnm").rows == PaperSeen());
  EXPECT_EQ(device_->sheets(), 0);
  EXPECT_EQ(device_->lock_holder(), 0);

  ended = Run(ScanWords({"--feeder", "--resolution=75"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, HasSubstr("TERR_ADF_EMPTY (101)"));
  EXPECT_THAT(ended.errors, HasSubstr("Put paper in"));

  device_->SetSheets(2);
  ended = Run(ScanWords({"--feeder", "--duplex", "--resolution=75", "-o", "job.tif"}));
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_THAT(ended.output, HasSubstr("page 4: asked"));
  EXPECT_THAT(ended.output, HasSubstr("wrote job.tif"));

  device_->SetSheets(3);
  ended = Run(ScanWords({"--feeder", "--pages=2", "--resolution=75", "-o", "some.tif"}));
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_EQ(device_->sheets(), 1);
}

TEST_F(Scanhost, KeepsThePagesBeforeAJam) {
  sim::DeviceConfig config;
  config.sheets = 3;
  StartDevice(config);
  device_->AddFault("jam@page:2*1");
  const Ended ended = Run(ScanWords({"--feeder", "--resolution=75", "-o", "page-%d.pnm"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, HasSubstr("TERR_ADF_JAMMED (100)"));
  EXPECT_THAT(ended.errors, HasSubstr("1 complete page kept"));
  EXPECT_EQ(Pictures(), Words{"page-1.pnm"});
}

TEST_F(Scanhost, HoldsNoPageInMemory) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer keeps freed memory";
#endif
  StartDevice();
  for (const char* name : {"page.pnm", "page.png", "page.tif"}) {
    const Ended stripe = Run(ScanWords({"-o", name, "--area=0,0,2550,300u"}));
    const Ended whole = Run(ScanWords({"-o", name, "--area=0,0,2550,3500u"}));
    EXPECT_EQ(stripe.status, 0) << stripe.errors;
    EXPECT_EQ(whole.status, 0) << whole.errors;
    EXPECT_LT(whole.peak_kilobytes, stripe.peak_kilobytes + 2048) << name;
  }
}

TEST_F(Scanhost, HasAnExampleThatWorks) {
  StartDevice();
  ScanhostProcess example(folder_.string(), {address_ + "#1", SCANTK_LIBRARY_PATH}, EXAMPLE_PATH);
  const Ended ended = example.Wait();
  EXPECT_EQ(ended.status, 0) << ended.errors;
  const std::string header = "P6 1200 1800 255\n";
  ASSERT_TRUE(ended.output.starts_with(header));
  const std::vector<uint8_t> rows(ended.output.begin() + static_cast<ptrdiff_t>(header.size()),
                                  ended.output.end());
  EXPECT_TRUE(rows == PaperSeen());
  EXPECT_EQ(device_->lock_holder(), 0);
}

TEST_F(Scanhost, BringsADeviceOfItsOwn) {
  const Ended ended = Run(ScanWords({"--simulate", "--trace=trace.log"}));
  EXPECT_EQ(ended.status, 0) << ended.errors;
  const Pnm picture = ReadPnm("page.pnm");
  sim::PageSettings settings = sim::DefaultPage(sim::DeviceConfig().model);
  settings.width = 600;
  settings.height = 800;
  EXPECT_TRUE(picture.rows == sim::RenderPage(sim::MakePaper("chart"), settings));
  std::ifstream trace(folder_ / "trace.log");
  const std::string text(std::istreambuf_iterator<char>(trace), {});
  EXPECT_THAT(text, HasSubstr("+++scantk::StartScan"));
  EXPECT_FALSE(fs::exists(folder_ / "registry.reg")) << "the user's registry is left alone";
}

}  // namespace
}  // namespace scanhost
