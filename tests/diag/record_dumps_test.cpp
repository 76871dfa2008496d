// The lines of a record that come only with what they are about, and words that spell flags and
// enumerations out. (What a usual record looks like is seen in the traces of whole sessions.)
#include "diag/record_dumps.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

class RecordDumps : public TraceFixture {
 protected:
  // What the dump has of these texts, and '|' behind each line.
  template <class Record>
  std::string Found(void (*dump)(TraceLog&, const Record*, uint32_t), const Record& record,
                    const std::vector<std::string>& texts) {
    TraceLog trace;
    dump(trace, &record, TRACE_FLOW);
    std::string all, found;
    for (const std::string& line : NewLines()) all += line + "|";
    for (const std::string& text : texts)
      if (all.find(text) != std::string::npos) found += text;
    return found;
  }
};

TEST_F(RecordDumps, LinesComeWithWhatTheyAreAbout) {
  SCANNER_CAPABILITIES scanner = {};
  std::memcpy(scanner.byModelNumber, "MODEL-0123456789", 16);  // fills the field: no terminator
  std::memset(scanner.byGreyBitsPerChannel, 1, 8);
  scanner.wMaxGreyCCDResolution = 600;
  scanner.wRawPixelOrder = 77;
  scanner.dwScanModesSupported = T_GREYSCALE;
  const std::vector<std::string> texts = {"ModelNumber = MODEL-0123456789|",
                                          "Unknown Type: 77|",
                                          "Scan Modes Supported = | GREYSCALE |",
                                          "Grey Bits per pixel = 1, 1, 1, 1, 1, 1, 1, 1, |",
                                          "Bits per pixel = |",
                                          "Grey CCD resolution = 600|",
                                          "rotation bytes = 1|"};
  const std::string always = texts[0] + texts[1] + texts[2] + texts[3] + texts[4];
  EXPECT_EQ(always, Found(DumpScannerCapabilities, scanner, texts));
  scanner.wGreyChannelsSupported = T_GREY_CCD;
  scanner.dwMaxRotationBytes = 1;
  EXPECT_EQ(always + texts[5] + texts[6], Found(DumpScannerCapabilities, scanner, texts));

  const std::vector<std::string> optional = {"Long Page Maximum Height", "Overscan Y Delta",
                                             "Grey CCD resolution", "toggle type"};
  for (size_t only = 0; only <= optional.size(); ++only) {
    ADF3_CAPABILITIES adf = {};
    adf.dwADFOptionsSupported = only == 0 ? T_ADF_LONGPAGE_MODE : only == 1 ? T_ADF_OVERSCAN : 0;
    adf.wGreyChannelsSupported = only == 2 ? T_GREY_CCD : 0;
    adf.byHasHWDuplexToggle = only == 3;
    EXPECT_EQ(only < 4 ? optional[only] : "", Found(DumpADF3Capabilities, adf, optional));
  }

  SCANNER_PARAMETERS page = {};
  page.dwScanOptions = T_TONEMAP_PARAMETERS | T_BW_THRESHOLD;
  page.dwBWThreshold = 99;
  page.tonemap.wGamma = 2200;
  EXPECT_EQ("T_BW_THRESHOLD (dwBWThreshold = 99)|2.2",
            Found(DumpScannerParameters, page,
                  {"T_BW_THRESHOLD (dwBWThreshold = 99)|", "2.2", "PREVIEW", "T_SHARPENING"}));
}

}  // namespace
}  // namespace scantk
