// Scans from devices that are attached: over a pseudo-terminal and over a DOT4 stack.
#include "tests/end_to_end/attached.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/clock.h"

namespace scantk::test {
namespace {

TEST_P(AttachedTest, FlatbedPagesAreExact) {
  for (uint32_t mode : {T_COLOR, T_GREYSCALE, T_BW})
    for (uint16_t dpi : {75, 300}) {
      SCOPED_TRACE("mode " + std::to_string(mode) + " at " + std::to_string(dpi) + " dpi");
      ExpectPerfect(Scan(Parameters(mode, dpi)));
    }
}

TEST_P(AttachedTest, AJpegPageComesOutAsThePaper) {
  UseJpeg(true);
  const Page page = Scan(Parameters(T_COLOR, 150));
  EXPECT_EQ(kEndOfPage, page.last_read);
  EXPECT_EQ(kOk, page.stop);
  const std::vector<uint8_t> seen = PaperOnAttached();
  ASSERT_EQ(seen.size(), page.bytes.size());
  ASSERT_FALSE(seen.empty());
  uint64_t difference = 0;
  for (size_t i = 0; i < seen.size(); ++i) difference += std::abs(seen[i] - page.bytes[i]);
  EXPECT_LT(difference / seen.size(), 8u);
  UseJpeg(false);
  ExpectPerfectScan("a JPEG page");
}

TEST_P(AttachedTest, TheHostStopsInMidPage) {
  for (int reads : {0, 1, 4}) {
    SCOPED_TRACE(reads);
    const uint32_t before = TheClock().TickCount();
    const Page page = Scan(Parameters(T_COLOR, 300), 20, [&](int read) { return read < reads; });
    EXPECT_EQ(kOk, page.last_read);
    EXPECT_EQ(kOk, page.stop);
    EXPECT_LT(TheClock().TickCount() - before, 8000u);
    const std::vector<uint8_t> seen = PaperOnAttached();
    ASSERT_LE(page.bytes.size(), seen.size());
    EXPECT_TRUE(std::equal(page.bytes.begin(), page.bytes.end(), seen.begin()));
    EXPECT_TRUE(SoonFree());
    EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::UnlockScanner, session));
    EXPECT_EQ(kOk, Lock());
    ExpectPerfectScan("a cancel by the host");
  }
}

TEST_P(AttachedTest, SheetsOfTheFeederComeInOrder) {
  ADF2_CAPABILITIES caps;
  ASSERT_EQ(kOk, Call(toolkit->feeder, &IADF2::GetADF2Capabilities, session, &caps));
  ASSERT_EQ(kOk,
            Call(toolkit->feeder, &IADF2::SetADFOptions, session, uint32_t{T_ADF_MULTIPAGE_FLOW}));
  UseJpeg(false);  // the capabilities, once learned, set what is usual
  attached->SetSheets(2);
  SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 150);
  parameters.wScanMethod = T_METHOD_ADF;
  parameters.dwWidth = 1200;
  for (int sheet = 1; sheet <= 2; ++sheet) {
    SCOPED_TRACE(sheet);
    uint8_t ready = 0;
    EXPECT_EQ(kOk, Call(toolkit->feeder, &IADF::ADFIsReady, session, &ready));
    EXPECT_EQ(1, ready);
    EXPECT_EQ(kOk, Call(toolkit->feeder, &IADF::ADFPaperFeed, session));
    const Page page = Scan(parameters, 97);
    EXPECT_EQ(kOk, page.start);
    EXPECT_EQ(kEndOfPage, page.last_read);
    EXPECT_FALSE(page.bytes.empty());
    EXPECT_TRUE(page.bytes == PaperOnAttached());
    EXPECT_TRUE(sheet < 2 ? attached->locked() : SoonFree());
  }
  ExpectPerfectScan("a feeder job");
}

TEST_P(AttachedTest, UnpluggedInMidScan) {
  uint32_t unplugged = 0;
  const Page page = Scan(Parameters(T_COLOR, 300), 20, [&](int read) {
    if (read != 3) return true;
    unplugged = TheClock().TickCount();
    attached->Unplug();
    return true;
  });
  EXPECT_EQ(kCommunication, page.last_read);
  const std::vector<uint8_t> seen = PaperOnAttached();
  ASSERT_LT(page.bytes.size(), seen.size());
  EXPECT_TRUE(std::equal(page.bytes.begin(), page.bytes.end(), seen.begin()));
  Close();
  EXPECT_LT(TheClock().TickCount() - unplugged, 8000u);
  attached->Plug();
  OpenAndLockAttached();
  UseJpeg(false);
  ExpectPerfectScan("the device came back");
}

TEST_P(AttachedTest, SlowPagesAreWhole) {
  for (const char* fault : {"stall@block:3=1200", "slow@block:2=400"}) {
    SCOPED_TRACE(fault);
    attached->AddFault(fault);
    ExpectPerfect(Scan(Parameters(T_GREYSCALE, 150)));
    attached->ClearFaults();
  }
}

TEST_P(AttachedTest, BrokenPagesEndWhereTheyBreak) {
  constexpr Outcome kCancelled = {E_FAIL, TERR_CANCEL_PRESSED};
  const struct {
    const char* fault;
    Outcome last_read;
    bool connection_ends = false;  // a new session is due
  } pages[] = {
      {"cancel@block:3*1", kCancelled},
      {"drop@block:3=1000*1", kCommunication, true},
      {"truncate@block:2=700*1", kCommunication, true},
      {"block-length@block:2=4294967295*1", kCommunication},
      {"record-type@block:2*1", kCommunication},
      {"record-length@block:2*1", kCommunication},
  };
  for (const auto& broken : pages) {
    SCOPED_TRACE(broken.fault);
    attached->AddFault(broken.fault);
    const uint32_t before = TheClock().TickCount();
    const Page page = Scan(Parameters(T_COLOR, 150));
    EXPECT_LT(TheClock().TickCount() - before, 8000u);
    attached->ClearFaults();
    EXPECT_EQ(broken.last_read, page.last_read);
    const std::vector<uint8_t> seen = PaperOnAttached();
    ASSERT_LT(page.bytes.size(), seen.size());
    EXPECT_TRUE(std::equal(page.bytes.begin(), page.bytes.end(), seen.begin()));
    if (broken.connection_ends) {
      Close();
      OpenAndLockAttached();
      UseJpeg(false);
    }
    ExpectPerfectScan("a broken page");
  }
}

class ChannelTest : public AttachedTest {};

// The stack takes its channel away while a page is under way: the page ends where it was, and the
// transport makes a new connection for the next write.
TEST_P(ChannelTest, IsMadeAgainWhenItIsLost) {
  const Page page = Scan(Parameters(T_COLOR, 300), 20, [&](int read) {
    if (read == 3) stack->LoseHandles();
    return true;
  });
  EXPECT_EQ(kCommunication, page.last_read);
  EXPECT_TRUE(sandbox.Traced("DOT4Write  Connection lost...Retrying DOT4 Connection"));
  EXPECT_TRUE(sandbox.Traced("Dot4: ReConnectToDOT4: Connection established to DOT4"));
  ExpectPerfectScan("a lost channel");

  for (const uint32_t error : {6u, 31u, 1609u}) {
    SCOPED_TRACE(error);
    sandbox.ClearTrace();
    stack->FailRequests(sim::Dot4Code::kWrite, {0, 0, error});
    ExpectPerfectScan("a lost connection between two commands");
    EXPECT_TRUE(sandbox.Traced("DOT4Write  Connection lost...Retrying DOT4 Connection"));
  }
  Close();
  EXPECT_EQ(0, stack->open_channels());
}

class BadDeviceFile : public AttachedTest {
 protected:
  void SetUp() override { sandbox.SwitchTraceOn(); }
  Outcome OpenNamed(const std::string& path) {
    if (!toolkit) toolkit = std::make_unique<Toolkit>();
    const std::string name = sandbox.AddAttachedDevice(path, GetParam());
    return Call(toolkit->scanner, &IScanner::OpenScannerSession, Wide(name).c_str(), GetParam(),
                &session);
  }
};

TEST_P(BadDeviceFile, IsNoDevice) {
  constexpr Outcome kNotFound = {E_FAIL, TERR_SCANNER_NOT_FOUND};
  const std::string document = sandbox.Folder() + "/document";
  std::ofstream(document) << "a letter";
  { const sim::Dot4Device gone(sim::DeviceConfig(), sandbox.Folder() + "/gone"); }
  for (const std::string& path : {sandbox.Folder() + "/nowhere", sandbox.Folder(), document,
                                  sandbox.Folder() + "/gone", document + "/below"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(kNotFound, OpenNamed(path));
  }
  std::string text;
  std::getline(std::ifstream(document), text);
  EXPECT_EQ("a letter", text) << "nothing is written into a document";
}

// It answers nothing, and is gone a little later: nobody waits longer than for that.
TEST_P(BadDeviceFile, AnswersNothingAndGoes) {
  StartAttached();
  attached->AddFault("silent");
  OpenAndLockAttached();
  const uint32_t before = TheClock().TickCount();
  std::thread owner([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    attached->Unplug();
  });
  SCANNER_CAPABILITIES caps;
  EXPECT_EQ(kCommunication,
            Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps));
  owner.join();
  Close();
  EXPECT_LT(TheClock().TickCount() - before, 3000u);
}

INSTANTIATE_TEST_SUITE_P(Stack, ChannelTest, ::testing::Values(T_IO_DOT4));

INSTANTIATE_TEST_SUITE_P(Media, BadDeviceFile, ::testing::Values(T_IO_USB, T_IO_DOT4),
                         [](const auto& medium) {
                           return std::string(medium.param == T_IO_USB ? "Usb" : "Dot4");
                         });

INSTANTIATE_TEST_SUITE_P(Media, AttachedTest, ::testing::Values(T_IO_USB, T_IO_DOT4),
                         [](const auto& medium) {
                           return std::string(medium.param == T_IO_USB ? "Usb" : "Dot4");
                         });

}  // namespace
}  // namespace scantk::test
