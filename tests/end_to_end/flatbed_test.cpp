// Whole flatbed pages over TCP, byte for byte.
#include "platform/clock.h"
#include "tests/end_to_end/scanned.h"

namespace scantk::test {
namespace {

constexpr uint32_t kNoCompression = T_COMPRESSION_NONE;

class FlatbedTest : public ScanTest {
 protected:
  void SetUp() override {
    ScanTest::SetUp();
    StartDevice();
    OpenAndLock();
    // Uncompressed pages can be compared byte for byte.
    Call(toolkit->compression, &ICompression::SetCompressionType, session, kNoCompression);
  }
};

TEST_F(FlatbedTest, EveryModeAndResolutionIsExact) {
  for (uint32_t mode : {T_COLOR, T_GREYSCALE, T_BW})
    for (uint16_t dpi : {75, 150, 300, 600}) {
      SCOPED_TRACE("mode " + std::to_string(mode) + " at " + std::to_string(dpi) + " dpi");
      Page page = Scan(Parameters(mode, dpi));
      EXPECT_EQ(kOk, page.start);
      EXPECT_EQ(kEndOfPage, page.last_read);
      EXPECT_EQ(kOk, page.stop);
      EXPECT_EQ(page.bytes.size(),
                size_t{page.granted.dwBytesPerLine} * page.granted.dwPixelHeight);
      EXPECT_TRUE(page.bytes == PaperSeen());
      EXPECT_FALSE(device->locked());
    }
}

TEST_F(FlatbedTest, EveryReadSizeGivesTheSamePage) {
  const SCANNER_PARAMETERS parameters = Parameters(T_COLOR, 150);
  const Page whole = Scan(parameters, 10000);
  ASSERT_TRUE(whole.bytes == PaperSeen());
  for (uint32_t lines : {1u, 7u, 35u, 449u}) {
    const Page page = Scan(parameters, lines);
    EXPECT_EQ(kEndOfPage, page.last_read) << lines;
    EXPECT_TRUE(page.bytes == whole.bytes) << lines;
  }
}

TEST_F(FlatbedTest, PixelCoordinatesAreOfTheScan) {
  SCANNER_PARAMETERS inches = Parameters(T_GREYSCALE, 600);
  SCANNER_PARAMETERS pixels = inches;
  pixels.dwScanOptions = T_PIXEL_COORDINATES;
  pixels.dwLeft *= 2;
  pixels.dwTop *= 2;
  pixels.dwWidth *= 2;
  pixels.dwLength *= 2;
  EXPECT_TRUE(Scan(inches).bytes == Scan(pixels).bytes);
}

TEST_F(FlatbedTest, ReadScanFillsTheRestWithWhite) {
  SCANNER_PARAMETERS parameters = Parameters(T_GREYSCALE, 75);
  BUFFER_INFO info = {};
  const auto& scanner = toolkit->scanner;
  ASSERT_EQ(kOk, Call(scanner, &IScanner::SetScannerParameters, session, &parameters));
  ASSERT_EQ(kOk, Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info));
  ASSERT_EQ(kOk, Call(scanner, &IScanner::StartScan, session));
  const uint32_t page_bytes = info.dwBytesPerLine * info.dwPixelHeight;
  std::vector<uint8_t> buffer(page_bytes + 10 * info.dwBytesPerLine, 7);
  EXPECT_EQ(kEndOfPage, Call(scanner, &IScanner::ReadScan, session, buffer.data(),
                             static_cast<uint32_t>(buffer.size())));
  EXPECT_EQ(kOk, Call(scanner, &IScanner::StopScan, session));
  std::vector<uint8_t> expected = PaperSeen();
  ASSERT_EQ(page_bytes, expected.size());
  expected.resize(buffer.size(), 255);
  EXPECT_TRUE(buffer == expected);
}

TEST_F(FlatbedTest, TheTraceTellsWhatWasAskedAndDelivered) {
  sandbox.ClearTrace();
  const Page page = Scan(Parameters(T_GREYSCALE, 75), 100);
  const std::string lines = std::to_string(page.granted.dwPixelHeight);
  EXPECT_TRUE(sandbox.Traced("+++scantk::StartScan : SessionID=0x"));
  EXPECT_TRUE(sandbox.Traced("DownLoadScannerParameters :SetX Res 75  SetY Res 75 "));
  EXPECT_TRUE(sandbox.Traced("totLine " + lines));
  EXPECT_TRUE(sandbox.Traced("StopScan: Total ScanLines " + lines));
  EXPECT_TRUE(sandbox.Traced("VelkanError=TERR_SCANNER_END_OF_PAGE (f)"));
  EXPECT_TRUE(sandbox.Traced("StopScan: flatbed, scan done so unlock "));
  EXPECT_TRUE(sandbox.Traced(", VelkanError=none (0): LogTick(ms): "));
  EXPECT_EQ(std::string::npos, sandbox.Trace().find("ERROR: "));
}

TEST_F(FlatbedTest, TheHostStopsInMidPage) {
  const SCANNER_PARAMETERS large = Parameters(T_COLOR, 300);
  for (int reads : {1, 2, 5}) {
    SCOPED_TRACE(reads);
    const uint32_t before = TheClock().TickCount();
    const Page page = Scan(large, 20, [&](int read) { return read < reads; });
    EXPECT_EQ(kOk, page.last_read);
    EXPECT_EQ(kOk, page.stop);
    EXPECT_LT(TheClock().TickCount() - before, 3000u);
    const std::vector<uint8_t> seen = PaperSeen();
    ASSERT_LT(page.bytes.size(), seen.size());
    EXPECT_TRUE(std::equal(page.bytes.begin(), page.bytes.end(), seen.begin()));
    EXPECT_FALSE(device->locked());
    EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::UnlockScanner, session));
    EXPECT_EQ(kOk, Lock());
    ExpectCleanScan("a cancel by the host");
  }
}

TEST_F(FlatbedTest, StoppedBeforeTheFirstRead) {
  const Page page = Scan(Parameters(T_COLOR, 300), 20, [](int) { return false; });
  EXPECT_EQ(kOk, page.stop);
  EXPECT_FALSE(device->locked());
  ExpectCleanScan("a start without a read");
}

TEST_F(FlatbedTest, ToneMapGoesToTheDevice) {
  SCANNER_CAPABILITIES caps = {};
  ASSERT_EQ(kOk, Call(toolkit->scanner, &IScanner::GetScannerCapabilities, session, &caps));
  Call(toolkit->compression, &ICompression::SetCompressionType, session, kNoCompression);
  std::vector<uint8_t> map(256);
  for (int i = 0; i < 256; ++i) map[i] = static_cast<uint8_t>(255 - i);
  EXPECT_EQ(kInvalidParameter, Call(toolkit->scanner, &IScanner::SetGammaTable, session, 255u,
                                    map.data(), map.data(), map.data()));
  EXPECT_EQ(kOk, Call(toolkit->scanner, &IScanner::SetGammaTable, session, 256u, map.data(),
                      map.data(), map.data()));
  const Page page = Scan(Parameters(T_GREYSCALE, 75));
  ASSERT_TRUE(device->last_page()->tone_map.has_value());
  EXPECT_TRUE(page.bytes == PaperSeen());
}

}  // namespace
}  // namespace scantk::test
