// Scans from devices that are attached: over a pseudo-terminal and over a DOT4 stack.
#include "tests/end_to_end/attached.h"

#include <algorithm>
#include <cstdlib>

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
    EXPECT_FALSE(attached->locked());
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
    EXPECT_EQ(sheet < 2, attached->locked());
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

INSTANTIATE_TEST_SUITE_P(Media, AttachedTest, ::testing::Values(T_IO_USB, T_IO_DOT4),
                         [](const auto& medium) {
                           return std::string(medium.param == T_IO_USB ? "Usb" : "Dot4");
                         });

}  // namespace
}  // namespace scantk::test
