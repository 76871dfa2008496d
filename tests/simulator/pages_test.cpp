// Pages on the wire, and what the sensor sees: a wrong command must show in them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

// A small colour window of the chart, in blocks.
constexpr char kSetUp[] = "~E~*a100R~*a100S~*f90X~*f270Y~*f1500P~*f900Q~*a5T~*a24G~*m2S";
constexpr char kStart[] = "~*oE~*f0S";

struct PagesTest : DeviceTest {
  void Start(const DeviceConfig& config = {}) {
    DeviceTest::Start(config);
    if (host->greeting() == "00") host->Command(kSetUp);
  }
  WirePage Scan(const std::string& settings = "") {
    host->Send(settings + kStart);
    return host->ReadPage();
  }
  void ExpectWhole(const WirePage& page) const {
    EXPECT_FALSE(page.broken || page.aborted || page.end_rows.empty());
    EXPECT_TRUE(RenderPage(MakePaper("chart"), *device->last_page()) == page.image);
  }
  void ExpectRefused(const WirePage& page, const std::string& error) const {
    EXPECT_TRUE(page.aborted);
    EXPECT_EQ("*s261d" + error + "V", host->Ask("261E"));
  }
};

std::vector<uint8_t> Render(const char* paper, int depth, DataType type, bool whole = false) {
  PageSettings page;
  page.x_dpi = 100;
  page.y_dpi = 150;
  page.left = whole ? 0 : 90;
  page.top = whole ? 0 : 270;
  page.width = whole ? 2550 : 1500;
  page.height = whole ? 3508 : 600;
  page.data_type = type;
  page.bits_per_pixel = depth;
  return RenderPage(MakePaper(paper), page);
}

// Catches: a window in the wrong place or at the wrong scale on one axis, depths and modes that are
// no views of the same picture, rows that repeat.
TEST(PaperTest, WhatTheSensorSeesIsOnePicture) {
  constexpr size_t kWidth = 500, kRows = 300, kPixels = kWidth * kRows;
  for (const char* paper : {"chart", "pattern"}) {
    const auto plain = Render(paper, 24, DataType::kColor);
    const auto page = Render(paper, 24, DataType::kColor, true);
    const auto deep = Render(paper, 48, DataType::kColor);
    const auto gray = Render(paper, 8, DataType::kGray);
    const auto twelve = Render(paper, 12, DataType::kGray);
    const auto bits = Render(paper, 1, DataType::kThreshold);
    ASSERT_EQ(kPixels * 3, plain.size());
    ASSERT_EQ(63 * kRows, bits.size());
    for (size_t i = 0; i < kPixels; ++i) {
      const size_t x = i % kWidth, y = i / kWidth, at = i / 2 * 3;
      ASSERT_EQ(plain[3 * i + 1], page[3 * ((y + 135) * 850 + x + 30) + 1]) << paper << i;
      ASSERT_NEAR(0.299 * plain[3 * i] + 0.587 * plain[3 * i + 1] + 0.114 * plain[3 * i + 2],
                  gray[i], 2);
      ASSERT_EQ(gray[i] >= 128, (bits[y * 63 + x / 8] >> (7 - x % 8) & 1) != 0);  // white is 1
      ASSERT_EQ(plain[3 * i], deep[6 * i + 1]);
      ASSERT_EQ(gray[i], i % 2 ? (twelve[at + 1] << 4 | twelve[at + 2] >> 4) & 0xFF : twelve[at]);
    }
  }
}

// Catches: picture files read wrong or beyond their end.
TEST(PaperTest, PicturesLieInTheCornerOfAWhiteSheet) {
  const std::string path = TemporaryPath("scantk-paper");
  const auto paper = [&](const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
    return MakePaper(path);
  };
  PageSettings page;
  page.width = 3;
  page.height = 1;
  EXPECT_EQ((std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 255, 255, 255}),
            RenderPage(paper("P6\n# so\n2 1\n255\n\1\2\3\4\5\6"), page));
  for (const char* bad : {"", "hello, no picture", "P6 2 2 255\nabc", "P6 99999 99999 255\nabc",
                          "P6 0 2 255\n", "P6 1 1 65535\nabcdef", "P6 #", "\x89PNG\r\n\x1a\nxxxx"})
    EXPECT_THROW(paper(bad), std::runtime_error) << bad;
  std::filesystem::remove(path);
}

// Catches: a table that outlives a reset, packets that nobody asked for.
TEST_F(PagesTest, TablesAndPacketsAreForPagesThatAskForThem) {
  Start();
  const WirePage plain = Scan();
  std::string map = "~*a1D~*a256W";
  for (int i = 0; i < 256; ++i) map += static_cast<char>(255 - i == '~' ? '}' : 255 - i);
  EXPECT_EQ(255 - plain.image[0], Scan(map + "~*u-1K").image[0]);
  EXPECT_EQ(plain.image[0], Scan(std::string(kSetUp) + "~*u-1K").image[0]);
  host->Send(std::string("~E~*f300P~*f10Q") + kStart);
  EXPECT_EQ(9000u, host->Read(9001, 300).size());
}

// Catches: blocks cut otherwise than told, counts in the wrong byte order, an encoder that does not
// follow its orders. (That the streams decode, hosts' tests show.)
TEST_F(PagesTest, PagesAreWrappedAndCodedAsTold) {
  DeviceConfig config;
  config.delivery.block_bytes = 1000;
  for (size_t record : {1u, 234u}) {  // four of the latter leave room for a header alone
    config.model = "ZM-13";
    config.delivery.record_bytes = record;
    config.delivery.end_in_own_block = record == 1;
    Start(config);
    const WirePage page = Scan("~*f300P~*f300Q");
    ExpectWhole(page);
    EXPECT_EQ(record, page.longest_record);
    EXPECT_NEAR(1000, static_cast<double>(page.blocks[0]), 8);
    EXPECT_EQ(record == 1, page.blocks.back() == 8 + 12);
    EXPECT_EQ(std::string("\0\0\0\x64\0\0\0\x64", 8), page.end_rows);
  }
  config = {};
  config.delivery.jpeg_vertical = 1;
  config.delivery.jpeg_restart = 7;
  Start(config);
  const std::string fine = Scan("~*a2C~*m1Q").Text();
  const std::string frame("\xFF\xC0\0\x11\x8\x1\x2C\x1\xF4\x3\x1\x21", 12);
  EXPECT_NE(std::string::npos, fine.find(frame));  // 300 rows, 500 columns, 2 x 1
  const std::string restart("\xFF\xDD\0\x4\0\x7", 6);
  EXPECT_NE(std::string::npos, fine.find(restart));
  EXPECT_LT(Scan("~*m5Q").image.size(), fine.size());
  ExpectWhole(Scan("~*a0T~*a1G"));  // bilevel pages are not compressed
}

// Catches: a device that guesses what its host may have meant, and paper that vanishes.
TEST_F(PagesTest, NothingIsDoneThatWasNotCommanded) {
  DeviceConfig config;
  config.sheets = 2;
  config.sheet_height = 600;
  Start(config);
  const WirePage sheet = Scan("~*u0X");
  ExpectWhole(sheet);
  EXPECT_EQ(110u, RawHost::Little(sheet.end_rows, 0, 4));  // of 2 inches, 0.9 above the window
  ExpectRefused(Scan(), "1026");  // no sheet moves by itself, and the path is not the glass
  EXPECT_TRUE(device->paper_in_path());
  EXPECT_EQ("*s1027d1V", host->Ask("1027E"));
  ExpectWhole(Scan("~*u0U"));
  EXPECT_EQ(0, device->last_page()->side.sheet);
  ExpectRefused(Scan("~*a4T~*a24G"), "2");  // gray pixels have no 24 bits
  host->Send("~*a600R~*a600S~*a5T~*f0X~*f0Y~*f2550P~*f3508Q");
  host->Send(kStart);  // a host that stops in mid-page without reading
  EXPECT_EQ(4u, host->Read(4).size());
  host->Send("~*oE");
  EXPECT_LT(host->Read(100 << 20, 500).size(), 60u << 20);  // of 107 MB
  ExpectWhole(Scan(kSetUp));
}

// Catches: faults that strike elsewhere or otherwise than they say.
TEST_F(PagesTest, FaultsDoWhatTheySay) {
  const std::tuple<const char*, int, int, size_t> rows[] = {// sheets left, error, bytes
                                                            {"short-page=10", 2, 0, 435000},
                                                            {"long-page=10", 2, 0, 465000},
                                                            {"cancel@block:2", 2, 502, 0},
                                                            {"jam@block:1", 2, 1024, 0},
                                                            {"jam@page:1", 1, 1024, 0}};
  for (const auto& [fault, sheets, error, bytes] : rows) {
    SCOPED_TRACE(fault);
    DeviceConfig config;
    config.sheets = 2;
    config.faults = {ParseFault(fault)};
    Start(config);
    const WirePage page = sheets == 2 ? Scan() : (host->Command("~*u0X"), WirePage());
    EXPECT_EQ(sheets, device->sheets());  // a sheet that jams is pulled out
    EXPECT_EQ("*s261d" + std::to_string(error) + "V", host->Ask("261E"));
    if (bytes > 0) {
      EXPECT_EQ(bytes, page.image.size());
    }
  }
}

// Catches: a device that is not found as told, or not set right in time.
TEST_F(PagesTest, AtRestSomethingMayBeWrong) {
  DeviceConfig config;
  config.sheets = 1;
  config.at_rest = "busy";
  Start(config);
  EXPECT_EQ("01", host->greeting());
  for (const char* state : {"jam", "empty:300"}) {
    config.at_rest = state;
    Start(config);
    host->Command("~*oE~E~*u0X");
    EXPECT_EQ(*state == 'j' ? "*s23d1024V" : "*s23d1026V", host->Ask("23E"));
    if (*state == 'j') ExpectRefused(Scan(kSetUp), "1024");
  }
  Await([&] { return host->Ask("1027E") != "*s1027d0V"; });
  ExpectWhole(Scan(std::string(kSetUp) + "~*u0X"));
  for (const char* state : {"full", "jam:", "jam:x", "empty:-1"})
    EXPECT_THROW(ParseAtRest(state), std::invalid_argument) << state;
}

}  // namespace
}  // namespace scantk::sim::test
