// From words on the command line to the record that the toolkit takes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/info_command.h"
#include "host/scan_request.h"
#include "host/trace_command.h"

namespace scanhost {
namespace {

using testing::HasSubstr;

ScanRequest Parse(std::vector<std::string> words) {
  return ParseScanRequest(Arguments::Parse(words, ScanOptions()));
}

std::string ErrorOf(std::vector<std::string> words) {
  try {
    Parse(std::move(words));
  } catch (const UsageError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Arguments, TakesValuesApart) {
  constexpr Option options[] = {{"--name", "TEXT", ""}, {"--flag", "", ""}};
  const std::vector<std::string> words = {"first",  "--name", "--flag", "--name=a=b",
                                          "--flag", "-",      "--",     "--other"};
  const Arguments arguments = Arguments::Parse(words, options);
  EXPECT_EQ(arguments.Value("--name"), "a=b") << "the last one counts, and may hold a =";
  EXPECT_TRUE(arguments.Has("--flag"));
  EXPECT_EQ(arguments.Positional(), (std::vector<std::string>{"first", "-"}));
  EXPECT_EQ(arguments.Rest(), std::vector<std::string>{"--other"});
  EXPECT_EQ(arguments.Value("--missing", "otherwise"), "otherwise");
}

TEST(Arguments, SaysWhichWordIsWrong) {
  EXPECT_THAT(ErrorOf({"--nonsense"}), HasSubstr("--nonsense"));
  EXPECT_THAT(ErrorOf({"--resolution"}), HasSubstr("--resolution needs a value"));
  EXPECT_THAT(ErrorOf({"--duplex=yes"}), HasSubstr("--duplex takes no value"));
  EXPECT_THAT(ErrorOf({"--resolution", "0"}), HasSubstr("\"0\""));
  EXPECT_THAT(ErrorOf({"--resolution", "300x"}), HasSubstr("vertical resolution"));
  EXPECT_THAT(ErrorOf({"--resolution", "65536"}), HasSubstr("65535"));
  EXPECT_THAT(ErrorOf({"--resolution", "-300"}), HasSubstr("\"-300\""));
  EXPECT_THAT(ErrorOf({"--mode", "sepia"}), HasSubstr("\"sepia\""));
  EXPECT_THAT(ErrorOf({"--jpeg", "2", "--no-jpeg"}), HasSubstr("exclude"));
  EXPECT_THAT(ErrorOf({"--duplex"}), HasSubstr("--feeder"));
  EXPECT_THAT(ErrorOf({"--feeder", "--pages", "0"}), HasSubstr("--pages"));
  EXPECT_THAT(ErrorOf({"-o", "page.gif"}), HasSubstr(".pnm"));
  EXPECT_THAT(ErrorOf({"-o", "folder.pnm/page"}), HasSubstr("must end in"));
}

TEST(Area, ConvertsEachUnitToThreeHundredths) {
  struct {
    const char* text;
    Area area;
  } constexpr cases[] = {
      {"0,0,25.4,50.8", {0, 0, 300, 600}},           {"10,10,100,150.5", {118, 118, 1181, 1778}},
      {"10,10,100,150.5mm", {118, 118, 1181, 1778}}, {"0.5,1,8.5,11in", {150, 300, 2550, 3300}},
      {"1,2,2550,3300u", {1, 2, 2550, 3300}},        {"0,0,65535,65535u", {0, 0, 65535, 65535}},
  };
  for (const auto& one : cases) EXPECT_EQ(ParseArea(one.text), one.area) << one.text;
  for (const char* text : {"", "1,2,3", "1,2,3,4,5", "1,2,3,4cm", "1,2,3,", "-1,0,10,10", "a,0,1,1",
                           "0,0,0,10", "0,0,10,0.01", "0,0,65536,10u", "nan,0,1,1", "0,0,inf,1",
                           "0,0,1e99,1", " 1,2,3,4", "1;2;3;4"})
    EXPECT_THROW(ParseArea(text), UsageError) << text;
}

TEST(ScanRequest, BecomesTheToolkitsRecord) {
  ScanRequest request = Parse({"--resolution", "150x600", "--mode=gray", "--preview"});
  SCANNER_PARAMETERS record = MakeScanParameters(request, 2550, 3508, T_GREY_RED | T_GREY_NTSC);
  EXPECT_EQ(record.dwWidth, 2550u);
  EXPECT_EQ(record.dwLength, 3508u);
  EXPECT_EQ(record.dwScanMode, T_GREYSCALE);
  EXPECT_EQ(record.dwScanOptions, T_PREVIEW);
  EXPECT_EQ(record.byBitsPerChannel, 8);
  EXPECT_EQ(record.wXResolution, 150);
  EXPECT_EQ(record.wYResolution, 600);
  EXPECT_EQ(record.wGreyChannel, T_GREY_NTSC);
  EXPECT_EQ(record.wScanMethod, T_METHOD_FLATBED);

  request = Parse({"--mode=bw", "--feeder", "--duplex", "--area=1,2,3,4u", "-o", "x.pnm"});
  record = MakeScanParameters(request, 2550, 3508, T_GREY_GREEN | T_GREY_BLUE);
  EXPECT_EQ(record.dwLeft, 1u);
  EXPECT_EQ(record.dwTop, 2u);
  EXPECT_EQ(record.dwWidth, 3u);
  EXPECT_EQ(record.dwLength, 4u);
  EXPECT_EQ(record.dwScanMode, T_BW);
  EXPECT_EQ(record.byBitsPerChannel, 1);
  EXPECT_EQ(record.wGreyChannel, T_GREY_GREEN) << "the first channel that the device has";
  EXPECT_EQ(record.wScanMethod, T_METHOD_ADF);
}

TEST(ScanRequest, NamesTheFileOfEachPage) {
  EXPECT_EQ(PageFileName("page.png", 1, false), "page.png");
  EXPECT_EQ(PageFileName("page.png", 7, true), "page-007.png");
  EXPECT_EQ(PageFileName("a/page-%03d.png", 12, true), "a/page-012.png");
  EXPECT_EQ(PageFileName("page%d.png", 1234, false), "page1234.png");
  EXPECT_EQ(PageFileName("page%2d.png", 3, false), "page 3.png");
  // Anything else after a percent sign is part of the name.
  EXPECT_EQ(PageFileName("100%s.png", 1, false), "100%s.png");
  EXPECT_EQ(PageFileName("p%", 1, false), "p%");
  EXPECT_EQ(PageFileName("%99999d.png", 1, false), "%99999d.png");
}

TEST(TraceLevel, IsAWordOrAMask) {
  EXPECT_EQ(ParseTraceLevel("errors"), 0x80000040u);
  EXPECT_EQ(ParseTraceLevel("0xB0000042"), 0xB0000042u);
  EXPECT_THROW(ParseTraceLevel("loud"), UsageError);
  // Each level shows what the one before it shows.
  uint32_t below = 0;
  for (const char* level : {"errors", "calls", "flow", "data", "all"}) {
    EXPECT_EQ(ParseTraceLevel(level) & below, below) << level;
    below = ParseTraceLevel(level);
  }
}

TEST(BitNames, LeavesNoBitOut) {
  constexpr BitName names[] = {{1, "one"}, {4, "four"}};
  EXPECT_EQ(BitNames(0, names), "none");
  EXPECT_EQ(BitNames(5, names), "one, four");
  EXPECT_EQ(BitNames(0x8F, names), "one, four, 0x8A");
}

}  // namespace
}  // namespace scanhost
