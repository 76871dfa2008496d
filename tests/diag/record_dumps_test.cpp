#include "diag/record_dumps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

class RecordDumps : public TraceFixture {
 protected:
  template <class Record>
  std::vector<std::string> Dump(void (*dump)(TraceLog&, const Record*, uint32_t),
                                const Record& record) {
    TraceLog trace;
    dump(trace, &record, TRACE_FLOW);
    return NewLines();
  }
};

// Fields that several records share.
template <class Record>
Record Filled() {
  Record r = {};
  std::memcpy(r.byModelNumber, "MODEL-0123456789", 16);  // fills the field: no terminator
  r.wOpticalResolution = 1200;
  r.wMaximumXResolution = 2400;
  r.wMaximumYResolution = 4800;
  r.wMinimumResolution = 75;
  r.dwMaximumWidth = 2550;
  r.dwMinimumWidth = 1;
  r.dwMaximumHeight = 3508;
  r.dwMinimumHeight = 2;
  r.dwScanModesSupported = 0x1F;
  r.dwScanOptionsSupported = 0x7FBF;
  r.wGreyChannelsSupported = 0x3F;
  r.byColorBitsPerChannel[0] = 8;
  r.byColorBitsPerChannel[1] = 16;
  std::memset(r.byGreyBitsPerChannel, 1, 8);
  r.dwGammaEntriesPerChannel = 256;
  r.dwGammaMaxEntryValue = 255;
  r.dwGammaBytesPerEntry = 1;
  r.wMaxGreyCCDResolution = 600;
  return r;
}

constexpr char kAllOptions[] =
    "Scan Options Supported = PREVIEW | QUALITY | PIXEL COORDINATES | BW_DITHER | IR | DEWARP | "
    "T_HW_ROTATE_90 | T_HW_ROTATE_270 | T_HW_ROTATE_AUTO | T_BW_THRESHOLD | T_TONEMAP_PARAMETERS | "
    "T_NOISE_REMOVAL | T_SHARPENING | T_CONTENT_TYPE ";
constexpr char kAllChannels[] =
    "Grey Channels Supported = GREEN | RED | BLUE | NTSC Grey | Grey CCD | Grey CCD Emulation ";

TEST_F(RecordDumps, ScannerCapabilities) {
  auto r = Filled<SCANNER_CAPABILITIES>();
  r.wLampWarmupTime = 30;
  r.wRawPixelOrder = 6;
  r.wPixelPacking = 1;
  r.wPaperPath = 1;
  r.wGammaTableSize = 9;
  r.dwMaxRotationBytes = 1000000;
  EXPECT_THAT(
      Dump(DumpScannerCapabilities, r),
      ElementsAre(" <<< SCANNER CAPABILITIES >>> ", "ModelNumber = MODEL-0123456789",
                  "Lamp Warmup Time = 30", "OpticalResolution = 1200",
                  "Maximum X Resolution = 2400", "Maximum Y Resolution = 4800",
                  "Minimum Resolution = 75", "Maximum Width = 2550", "Minimum Width = 1",
                  "Maximum Height = 3508", "Minimum Height = 2", "Pixel Order = BGR_CYBORG",
                  "Pixel Packing = PACKED",
                  "Scan Modes Supported = COLOR | GREYSCALE | BW | COLOR_S3L | "
                  "COLOR_S3L_RAW ",
                  kAllOptions, kAllChannels, "Scanner Paper Path = Scroll",
                  "Gamma Table Size (obsolete) = 9", "Supported Color Bits per pixel = 8, 16, ",
                  "Supported Grey Bits per pixel = 1, 1, 1, 1, 1, 1, 1, 1, ",
                  "Gamma Entries Per Channel = 256", "Gamma Maximum Entry Value = 255",
                  "Gamma Bytes Per Entry = 1", "Maximum optical Grey CCD resolution = 600",
                  "Max flatbed HW rotation bytes = 1000000"));

  r.wRawPixelOrder = 77;
  r.wPixelPacking = 2;
  r.wPaperPath = 0;
  r.dwScanModesSupported = T_GREYSCALE;
  r.wGreyChannelsSupported = T_GREY_RED;
  r.dwScanOptionsSupported = 0;
  r.dwMaxRotationBytes = 0;
  r.byModelNumber[5] = 0;
  const auto lines = Dump(DumpScannerCapabilities, r);
  EXPECT_THAT(lines,
              IsSupersetOf({"ModelNumber = MODEL", "Pixel Order = Unknown Type: 77",
                            "Pixel Packing = PLANAR", "Scanner Paper Path = Flatbed",
                            "Scan Modes Supported = | GREYSCALE ",
                            "Grey Channels Supported = | RED ", "Scan Options Supported = "}));
  EXPECT_THAT(lines, Not(Contains(StartsWith("Maximum optical Grey CCD"))));
  EXPECT_THAT(lines, Not(Contains(StartsWith("Max flatbed"))));
}

TEST_F(RecordDumps, BufferInfo) {
  BUFFER_INFO r = {};
  r.dwPixelWidth = 2550;
  r.dwPixelHeight = 3300;
  r.dwBytesPerLine = 7650;
  EXPECT_THAT(Dump(DumpBufferInfo, r), ElementsAre(" << BUFFER_INFO >>> ", "Bytes Per Line = 7650",
                                                   "Pixel Width = 2550", "Pixel Height = 3300"));
}

TEST_F(RecordDumps, ScannerParameters) {
  SCANNER_PARAMETERS r = {};
  r.dwLeft = 1;
  r.dwTop = 2;
  r.dwWidth = 3;
  r.dwLength = 0xFFFFFFFF;
  r.dwScanMode = T_BW;
  r.dwScanOptions = 0x7FBF;
  r.byBitsPerChannel = 8;
  r.wXResolution = 300;
  r.wYResolution = 600;
  r.wGreyChannel = T_GREY_NTSC;
  r.wScanMethod = T_METHOD_ADF;
  r.dwBWThreshold = 128;
  r.wFeedEdge = 3;
  r.tonemap = {2200, 100, 101, 250, 5};
  r.bySharpeningLevel = 4;
  r.byNoiseRemovalLevel = 6;
  r.byContentType = T_CONTENT_DOCUMENT;
  EXPECT_THAT(
      Dump(DumpScannerParameters, r),
      ElementsAre(" << SCANNER PARAMETERS >>> ", "PixelLeft = 1", "PixelTop = 2", "PixelWidth = 3",
                  "PixelLength = 4294967295", "Scan Mode = BW", "Scan Options = ", "   PREVIEW",
                  "   QUALITY", "   Pixel Coordinates", "   BW_DITHER", "   IR", "   DEWARP",
                  "   T_HW_ROTATE_90", "   T_HW_ROTATE_270",
                  "   T_HW_ROTATE_AUTO (rotate upright automatically)",
                  "   T_BW_THRESHOLD (dwBWThreshold = 128)",
                  "   T_TONEMAP_PARAMETERS:", "      wGamma = 2.2", "      byBrightness = 100",
                  "      byContrast = 101", "      wHighlight = 250", "      wShadow = 5",
                  "   T_NOISE_REMOVAL (byNoizeRemovalLevel = 6)",
                  "   T_SHARPENING (bySharpeningLevel = 4)",
                  "   T_CONTENT_TYPE (byContentType = T_CONTENT_DOCUMENT)", "Bits Per Channel = 8",
                  "X Resolution = 300", "Y Resolution = 600", "Grey Channel = NTSC ",
                  "Scan Method = ADF", "Right Edge Feed"));

  r.dwScanMode = 3;
  r.dwScanOptions = T_CONTENT_TYPE;
  r.byContentType = 0xAB;
  r.wGreyChannel = 0;
  r.wScanMethod = 4;
  r.wFeedEdge = 0x10;
  EXPECT_THAT(Dump(DumpScannerParameters, r),
              IsSupersetOf({"Scan Mode = unknown type: 0x3",
                            "   T_CONTENT_TYPE (byContentType = unknown type: 0xab)",
                            "Grey Channel = unknown type: 0x0", "Scan Method = unknown type: 0x4",
                            "unknown type: 0x10"}));
}

TEST_F(RecordDumps, FirstFeederRecord) {
  auto r = Filled<ADF_CAPABILITIES>();
  r.byHasADF = 1;
  r.wADFType = 1;
  r.wGammaTableSize = 3;
  EXPECT_THAT(
      Dump(DumpADFCapabilities, r),
      ElementsAre(" << ADF CAPABILITIES >>> ", "Has ADF = TRUE", "Model Number = MODEL-0123456789",
                  "ADF Type = Scroll Fed", "OpticalResolution = 1200",
                  "Maximum X Resolution = 2400", "Maximum Y Resolution = 4800",
                  "Minimum Resolution = 75", "Maximum Width = 2550", "Minimum Width = 1",
                  "Maximum Height = 3508", "Minimum Height = 2",
                  "Scan Modes Supported = COLOR | GREYSCALE | BW ", kAllOptions, kAllChannels,
                  "Gamma Table Size (obsolete) = 3", "Supported Color Bits per pixel = 8, 16, ",
                  "Supported Grey Bits per pixel = 1, 1, 1, 1, 1, 1, 1, 1, ",
                  "Gamma Entries Per Channel = 256", "Gamma Maximum Entry Value = 255",
                  "Gamma Bytes Per Entry = 1", "Maximum optical Grey CCD resolution = 600"));
}

TEST_F(RecordDumps, ThirdFeederRecord) {
  auto r = Filled<ADF3_CAPABILITIES>();
  r.byADFCanDetectEndOfPage = 1;
  r.byHasHWDuplexToggle = 1;
  r.wHWDuplexToggleType = T_SW_CONTROL;
  r.byADFReverseOrder = 1;
  r.dwADFOptionsSupported = 0xFFF;
  r.dwDuplexMaximumWidth = 11;
  r.dwDuplexMinimumWidth = 12;
  r.dwDuplexMaximumHeight = 13;
  r.dwDuplexMinimumHeight = 14;
  r.wMaxFeederCapacity = 50;
  r.wRotation = 180;
  r.dwLongPageMaximumHeight = 21;
  r.dwDuplexLongPageMaximumHeight = 22;
  r.dwOverscanYDelta = 23;
  EXPECT_THAT(
      Dump(DumpADF3Capabilities, r),
      ElementsAre(
          " << ADF3_CAPABILITIES >>> ", "Has ADF = FALSE", "Model Number = MODEL-0123456789",
          "ADF Type = Platen/Flatbed", "ADF can detect end of page = TRUE",
          "ADF can feed and detect page length = FALSE", "ADF has Hardware Duplex toggle = TRUE",
          "ADF reverses page order = TRUE", "ADF Hardware Duplex toggle type: | T_SW_CONTROL ",
          "ADF Options Supported = DUPLEX | SINGLEPAGE_FLOW | MULTIPAGE_FLOW | "
          "FAST_DUPLEX_MODE | FLIP_DUPLEX_PAGE_DATA | FLIP_DUPLEX_PAGE_DATA_SHORTSIDE | "
          "T_ADF_DPD_LENGTH | T_ADF_DPD_THICKNESS | T_ADF_LONGPAGE_MODE | "
          "T_ADF_BLACK_BACKGROUND | T_ADF_DUPLEX_TABLET_LAYOUT | T_ADF_OVERSCAN ",
          "OpticalResolution = 1200", "Maximum X Resolution = 2400", "Maximum Y Resolution = 4800",
          "Minimum Resolution = 75", "Maximum Width = 2550", "Minimum Width = 1",
          "Maximum Height = 3508", "Minimum Height = 2", "Maximum Width Duplex = 11",
          "Minimum Width Duplex = 12", "Maximum Height Duplex = 13", "Minimum Height Duplex = 14",
          "Long Page Maximum Height = 21", "Duplex Long Page Maximum Height = 22",
          "Scan Modes Supported = COLOR | GREYSCALE | BW ", kAllOptions, kAllChannels,
          "Supported Color Bits per pixel = 8, 16, ",
          "Supported Grey Bits per pixel = 1, 1, 1, 1, 1, 1, 1, 1, ",
          "Gamma Entries Per Channel = 256", "Gamma Maximum Entry Value = 255",
          "Gamma Bytes Per Entry = 1", "Maximum optical Grey CCD resolution = 600",
          "Max Feeder Capacity = 50", "Rotation = 180", "Overscan Y Delta (300 dpi):23"));
}

TEST_F(RecordDumps, SecondFeederRecordHasOptionalLines) {
  auto r = Filled<ADF2_CAPABILITIES>();
  r.wADFType = 7;
  r.byADFFeedCanDetectLengthOfPage = 1;
  r.dwADFOptionsSupported = T_ADF_LONGPAGE_MODE | T_ADF_OVERSCAN;
  r.dwOverscanYDelta = 30;
  auto lines = Dump(DumpADF2Capabilities, r);
  EXPECT_EQ(31u, lines.size());
  EXPECT_THAT(lines,
              IsSupersetOf({" << ADF2_CAPABILITIES >>> ", "ADF Type = unknown type: 0x7",
                            "ADF can feed and detect page length = TRUE",
                            "ADF Options Supported = | T_ADF_LONGPAGE_MODE | T_ADF_OVERSCAN ",
                            "Long Page Maximum Height = 0", "Duplex Long Page Maximum Height = 0",
                            "Overscan Y Delta (300 dpi):30"}));
  r.dwADFOptionsSupported = 0;
  r.wGreyChannelsSupported = 0;
  lines = Dump(DumpADF2Capabilities, r);
  EXPECT_EQ(27u, lines.size());
}

TEST_F(RecordDumps, NeedTheirCategory) {
  Configure(1, 0xFFFFFFFF & ~TRACE_DUMP, 1);
  TraceLog trace;
  trace.ReloadSettings();
  const BUFFER_INFO record = {};
  DumpBufferInfo(trace, &record, TRACE_FLOW);
  EXPECT_THAT(NewLines(), ElementsAre());
}

}  // namespace
}  // namespace scantk
