// The lines of a record that come only with what they are about, and words that spell flags and
// enumerations out. (What a usual record looks like is seen in the traces of whole sessions.)
#include "diag/record_dumps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

class RecordDumps : public TraceFixture {
 protected:
  // The dump as one text, with '|' behind each line.
  template <class Record>
  std::string Dump(void (*dump)(TraceLog&, const Record*, uint32_t), const Record& record) {
    TraceLog trace;
    dump(trace, &record, TRACE_FLOW);
    std::string all;
    for (const std::string& line : NewLines()) all += line + "|";
    return all;
  }
};

bool Has(const std::string& dump, const std::string& text) {
  return dump.find(text) != std::string::npos;
}

TEST_F(RecordDumps, LinesComeWithWhatTheyAreAbout) {
  SCANNER_CAPABILITIES scanner = {};
  std::memcpy(scanner.byModelNumber, "MODEL-0123456789", 16);  // fills the field: no terminator
  std::memset(scanner.byGreyBitsPerChannel, 1, 8);
  scanner.wMaxGreyCCDResolution = 600;
  scanner.wRawPixelOrder = 77;
  scanner.dwScanModesSupported = T_GREYSCALE;
  std::string dump = Dump(DumpScannerCapabilities, scanner);
  for (const char* text : {"ModelNumber = MODEL-0123456789|", "Unknown Type: 77|",
                           "Scan Modes Supported = | GREYSCALE |",
                           "Grey Bits per pixel = 1, 1, 1, 1, 1, 1, 1, 1, |", "Bits per pixel = |"})
    EXPECT_TRUE(Has(dump, text)) << text << dump;
  EXPECT_FALSE(Has(dump, "Grey CCD resolution") || Has(dump, "rotation bytes")) << dump;
  scanner.wGreyChannelsSupported = T_GREY_CCD;
  scanner.dwMaxRotationBytes = 1;
  dump = Dump(DumpScannerCapabilities, scanner);
  EXPECT_TRUE(Has(dump, "Grey CCD resolution = 600|") && Has(dump, "rotation bytes = 1|")) << dump;

  const char* const optional[] = {"Long Page Maximum Height", "Overscan Y Delta",
                                  "Grey CCD resolution", "toggle type"};
  for (size_t only = 0; only <= std::size(optional); ++only) {
    ADF3_CAPABILITIES adf = {};
    adf.dwADFOptionsSupported = only == 0 ? T_ADF_LONGPAGE_MODE : only == 1 ? T_ADF_OVERSCAN : 0;
    adf.wGreyChannelsSupported = only == 2 ? T_GREY_CCD : 0;
    adf.byHasHWDuplexToggle = only == 3;
    dump = Dump(DumpADF3Capabilities, adf);
    for (size_t i = 0; i < std::size(optional); ++i)
      EXPECT_EQ(i == only, Has(dump, optional[i])) << optional[i] << dump;
  }

  SCANNER_PARAMETERS page = {};
  page.dwScanOptions = T_TONEMAP_PARAMETERS | T_BW_THRESHOLD;
  page.dwBWThreshold = 99;
  page.tonemap.wGamma = 2200;
  dump = Dump(DumpScannerParameters, page);
  EXPECT_TRUE(Has(dump, "   T_BW_THRESHOLD (dwBWThreshold = 99)|") && Has(dump, "2.2")) << dump;
  EXPECT_FALSE(Has(dump, "PREVIEW") || Has(dump, "T_SHARPENING")) << dump;
}

}  // namespace
}  // namespace scantk
