// The lines of a record that come only with what they are about, and words that spell flags and
// enumerations out. (What a usual record looks like is seen in the traces of whole sessions.)
#include "diag/record_dumps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

// The record's dump, with '|' behind each line.
class RecordDumps : public TraceFixture {
 protected:
  template <class Record>
  std::string Dump(void (*dump)(TraceLog&, const Record*, uint32_t), const Record& record) {
    TraceLog trace;
    dump(trace, &record, TRACE_FLOW);
    std::string all;
    for (const std::string& line : NewLines()) all += line + "|";
    return all;
  }
};

TEST_F(RecordDumps, LinesComeWithWhatTheyAreAbout) {
  SCANNER_CAPABILITIES scanner = {};
  std::memcpy(scanner.byModelNumber, "MODEL-0123456789", 16);  // fills the field: no terminator
  std::memset(scanner.byGreyBitsPerChannel, 1, 8);
  scanner.wRawPixelOrder = 77;
  scanner.dwScanModesSupported = T_GREYSCALE;
  const std::string plain = Dump(DumpScannerCapabilities, scanner);
  for (const char* text :
       {"ModelNumber = MODEL-0123456789|", "Unknown Type: 77|", "Modes Supported = | GREYSCALE |",
        "Grey Bits per pixel = 1, 1, 1, 1, 1, 1, 1, 1, |", "Color Bits per pixel = |"})
    EXPECT_THAT(plain, testing::HasSubstr(text));
  scanner.wGreyChannelsSupported = T_GREY_CCD;
  scanner.dwMaxRotationBytes = 1;
  EXPECT_THAT(Dump(DumpScannerCapabilities, scanner),
              testing::ContainsRegex("Grey CCD resolution = 0.*rotation bytes = 1"));

  const char* const optional[] = {"Long Page Maximum Height", "Overscan Y Delta",
                                  "Grey CCD resolution", "toggle type", "rotation bytes"};
  for (const char* only : optional) {
    ADF3_CAPABILITIES adf = {};
    adf.dwADFOptionsSupported = only == optional[0]   ? T_ADF_LONGPAGE_MODE
                                : only == optional[1] ? T_ADF_OVERSCAN
                                                      : 0;
    adf.wGreyChannelsSupported = only == optional[2] ? T_GREY_CCD : 0;
    adf.byHasHWDuplexToggle = only == optional[3];
    const std::string dump = Dump(DumpADF3Capabilities, adf) + plain;
    for (const char* text : optional)
      EXPECT_EQ(text == only && only != optional[4], dump.find(text) != std::string::npos) << text;
  }

  SCANNER_PARAMETERS page = {};
  page.dwScanOptions = T_TONEMAP_PARAMETERS | T_BW_THRESHOLD;
  page.dwBWThreshold = 99;
  page.tonemap.wGamma = 2200;
  EXPECT_THAT(Dump(DumpScannerParameters, page),
              testing::ContainsRegex("BW_THRESHOLD \\(dwBWThreshold = 99\\)\\|.*= 2.2\\|"));
}

}  // namespace
}  // namespace scantk
