// Feeder jobs over TCP: sheets, both sides, the ends of jobs, and what goes wrong on the way.
#include <cstdlib>

#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

constexpr Outcome kFeederEmpty = {S_OK, TERR_ADF_EMPTY};

class FeederTest : public ScanTest {
 protected:
  void SetUp() override {
    ScanTest::SetUp();
    StartDevice();
    OpenAndLock();
    ADF2_CAPABILITIES caps;
    ASSERT_EQ(kOk, Call(toolkit->feeder, &IADF2::GetADF2Capabilities, session, &caps));
    ASSERT_EQ(21u, caps.dwADFOptionsSupported);
    UseJpeg(false);
    Duplex(false);
  }
  void UseJpeg(bool jpeg) {
    Call(toolkit->compression, &ICompression::SetCompressionType, session,
         jpeg ? T_COMPRESSION_JPEG : T_COMPRESSION_NONE);
  }
  void Duplex(bool duplex) {
    EXPECT_EQ(kOk, Call(toolkit->feeder, &IADF2::SetADFOptions, session,
                        duplex ? T_ADF_DUPLEX | T_ADF_MULTIPAGE_FLOW : T_ADF_MULTIPAGE_FLOW));
  }
  Outcome Ready(uint8_t* ready) { return Call(toolkit->feeder, &IADF::ADFIsReady, session, ready); }
  SCANNER_PARAMETERS FeederPage(uint32_t mode, uint16_t dpi) const {
    SCANNER_PARAMETERS parameters = Parameters(mode, dpi);
    parameters.wScanMethod = T_METHOD_ADF;
    parameters.dwWidth =
        1200;  // whole bytes of bilevel pixels: mirrored rows begin with their padding
    return parameters;
  }
  // Feeds and scans the next side.
  Page Next(const SCANNER_PARAMETERS& parameters) {
    EXPECT_EQ(kOk, Call(toolkit->feeder, &IADF::ADFPaperFeed, session));
    return Scan(parameters, 97);
  }
  // The side that was scanned last, the right way up.
  std::vector<uint8_t> SideSeen() const {
    sim::PageSettings settings = *device->last_page();
    settings.flip = sim::Flip::kNone;
    return sim::RenderPage(sim::MakePaper(device->config().paper), settings);
  }
  void SetFlip(int64_t flip) {
    sim::VariableOverride change;
    change.number = 13510;
    change.value = flip;
    change.minimum = 0;
    change.maximum = 2;
    device->SetVariable(change);
  }
};

TEST_F(FeederTest, SheetsComeInOrderUntilTheFeederIsEmpty) {
  for (uint16_t dpi : {75, 150, 300}) {
    SCOPED_TRACE(dpi);
    device->SetSheets(3);
    for (int sheet = 1; sheet <= 3; ++sheet) {
      uint8_t ready = 0;
      EXPECT_EQ(kOk, Ready(&ready));
      EXPECT_EQ(1, ready);
      const Page page = Next(FeederPage(T_GREYSCALE, dpi));
      EXPECT_EQ(kOk, page.start);
      EXPECT_EQ(kEndOfPage, page.last_read);
      EXPECT_FALSE(device->last_page()->side.back);
      EXPECT_TRUE(page.bytes == SideSeen());
      // Held for the pages to come, let go of with the last.
      EXPECT_EQ(sheet < 3, device->locked());
      EXPECT_EQ(sheet < 3 ? kOk : page.stop, page.stop);
    }
    uint8_t ready = 1;
    EXPECT_EQ(kFeederEmpty, Ready(&ready));
    EXPECT_EQ(0, ready);
  }
  const Page none = Next(FeederPage(T_GREYSCALE, 75));
  EXPECT_EQ((Outcome{E_FAIL, TERR_ADF_EMPTY}), none.start);
  EXPECT_FALSE(device->locked());
  ExpectCleanScan("an empty feeder");
}

TEST_F(FeederTest, BackSidesAreTurnedTheRightWayUp) {
  Duplex(true);
  for (int64_t flip : {0, 1, 2})
    for (uint32_t mode : {T_COLOR, T_GREYSCALE, T_BW}) {
      SCOPED_TRACE("flip " + std::to_string(flip) + " mode " + std::to_string(mode));
      SetFlip(flip);
      device->SetSheets(2);
      for (int side = 0; side < 4; ++side) {
        const Page page = Next(FeederPage(mode, 100));
        EXPECT_EQ(kEndOfPage, page.last_read);
        EXPECT_EQ(side % 2 == 1, device->last_page()->side.back);
        EXPECT_TRUE(page.bytes == SideSeen()) << side;
      }
      EXPECT_FALSE(device->locked());
    }
}

TEST_F(FeederTest, JpegPagesAreCloseToThePaper) {
  UseJpeg(true);
  Duplex(true);
  SetFlip(2);
  device->SetSheets(2);
  for (int side = 0; side < 4; ++side) {
    const Page page = Next(FeederPage(T_COLOR, 150));
    EXPECT_EQ(kEndOfPage, page.last_read);
    const std::vector<uint8_t> seen = SideSeen();
    ASSERT_EQ(seen.size(), page.bytes.size());
    double difference = 0;
    for (size_t i = 0; i < seen.size(); ++i) difference += std::abs(seen[i] - page.bytes[i]);
    EXPECT_LT(difference / static_cast<double>(seen.size()), 6) << side;
  }
}

TEST_F(FeederTest, ShortSheetsAreTrimmedToTheirRows) {
  device->AddFault("short-page=40");
  device->SetSheets(2);
  for (int sheet = 0; sheet < 2; ++sheet) {
    const Page page = Next(FeederPage(T_GREYSCALE, 100));
    EXPECT_EQ(kEndOfPage, page.last_read);
    const std::vector<uint8_t> seen = SideSeen();
    ASSERT_EQ(seen.size() - 40 * page.granted.dwBytesPerLine, page.bytes.size());
    EXPECT_TRUE(std::equal(page.bytes.begin(), page.bytes.end(), seen.begin()));
  }
}

TEST_F(FeederTest, WhatGoesWrongLosesNoPageAndTheNextJobWorks) {
  const struct {
    const char* fault;  // on the second page
    Outcome start, read;
  } cases[] = {
      {"jam@page:2*1", {E_FAIL, TERR_ADF_JAMMED}, kOk},
      {"empty@page:2*1", {E_FAIL, TERR_ADF_EMPTY}, kOk},
      {"cancel@page:2,block:1*1", kOk, {E_FAIL, TERR_CANCEL_PRESSED}},
      {"jam@page:2,block:3*1", kOk, {E_FAIL, TERR_CANCEL_PRESSED}},  // a sheet pulled out
      {"drop@page:2,block:2*1", kOk, kCommunication},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    Close();
    StartDevice();
    OpenAndLock();
    ADF_CAPABILITIES caps;
    Call(toolkit->feeder, &IADF::GetADFCapabilities, session, &caps);
    UseJpeg(false);
    Duplex(false);
    device->SetSheets(3);
    device->AddFault(one.fault);
    const Page first = Next(FeederPage(T_COLOR, 150));
    EXPECT_EQ(kEndOfPage, first.last_read);
    EXPECT_TRUE(first.bytes == SideSeen());
    const Page second = Next(FeederPage(T_COLOR, 150));
    EXPECT_EQ(one.start, second.start);
    if (one.start == kOk) {
      EXPECT_EQ(one.read, second.last_read);
    }
    device->ClearFaults();
    Call(toolkit->scanner, &IScanner::UnlockScanner, session);
    ASSERT_EQ(kOk, Lock());
    device->SetSheets(1);
    const Page after = Next(FeederPage(T_GREYSCALE, 100));
    EXPECT_EQ(kEndOfPage, after.last_read);
    EXPECT_TRUE(after.bytes == SideSeen());
    EXPECT_FALSE(device->locked());
  }
}

TEST_F(FeederTest, ACancelledPageReportsTheCancelBehindItsEject) {
  device->SetSheets(1);
  device->AddFault("cancel@block:5*1");
  const Page page = Next(FeederPage(T_COLOR, 300));
  EXPECT_EQ((Outcome{E_FAIL, TERR_CANCEL_PRESSED}), page.last_read);
  EXPECT_FALSE(page.bytes.empty());
  EXPECT_FALSE(device->locked());
  ExpectCleanScan("a cancelled feeder page");
}

TEST_F(FeederTest, TheHostCancelsBetweenTwoReads) {
  device->SetSheets(3);
  EXPECT_EQ(kOk, Call(toolkit->feeder, &IADF::ADFPaperFeed, session));
  const Page page = Scan(FeederPage(T_COLOR, 300), 20, [](int read) { return read < 3; });
  EXPECT_EQ(kOk, page.last_read);
  EXPECT_EQ(kOk, page.stop);
  EXPECT_FALSE(device->locked());
  EXPECT_EQ(1, device->CountInLog("SL_ADF_EJECT_PAGE"));
  EXPECT_EQ(2, device->sheets());
  const Page next = Next(FeederPage(T_GREYSCALE, 100));
  EXPECT_EQ(kEndOfPage, next.last_read);
  EXPECT_TRUE(next.bytes == SideSeen());
}

TEST_F(FeederTest, ScrollFedDevicesHaveNoGlass) {
  Close();
  sim::DeviceConfig config;
  config.model = "ZM-14";
  config.sheets = 1;
  StartDevice(config);
  OpenAndLock();
  SCANNER_CAPABILITIES caps;
  ASSERT_EQ(kOk, Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps));
  UseJpeg(false);
  EXPECT_EQ(1, caps.wPaperPath);
  EXPECT_EQ((Outcome{E_FAIL, TERR_ADF_EMPTY}), Scan(Parameters(T_GREYSCALE, 75)).start);
  const Page page = Next(FeederPage(T_GREYSCALE, 75));
  EXPECT_EQ(kEndOfPage, page.last_read);
  EXPECT_TRUE(page.bytes == SideSeen());
  EXPECT_EQ(0, device->CountInLog("SL_SET_ADF_PAGESIZE"));
}

}  // namespace
}  // namespace scantk::test
