// Pages on the wire: framing, modes, JPEG, the feeder, pages that end early or wrong.
#include <gtest/gtest.h>

#include <cstdio>
// The library's header wants stdio before it.
#include <jpeglib.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "simulator/simulated_device.h"
#include "tests/simulator/raw_host.h"

namespace scantk::sim::test {
namespace {

// A small colour window of the chart, in blocks.
constexpr char kSetUp[] = "~E~*a100R~*a100S~*f90X~*f270Y~*f1500P~*f900Q~*a5T~*a24G~*m2S";
constexpr char kStart[] = "~*oE~*f0S";

class PagesTest : public testing::Test {
 protected:
  void Start(DeviceConfig config = {}) {
    host.reset();
    device.reset();
    config.address = "127.0.67.2";
    device = std::make_unique<SimulatedDevice>(config);
    host = std::make_unique<RawHost>(config.address);
    host->Command(kSetUp);
  }
  WirePage Scan(const std::string& settings = "") {
    host->Send(settings + kStart);
    return host->ReadPage();
  }
  // What the page that was started last looks like.
  std::vector<uint8_t> Seen() {
    return RenderPage(MakePaper(device->config().paper), *device->last_page());
  }
  void ExpectWhole(const WirePage& page) {
    EXPECT_FALSE(page.broken);
    EXPECT_FALSE(page.aborted);
    EXPECT_TRUE(page.has_end);
    EXPECT_TRUE(Seen() == page.image);
  }
  std::unique_ptr<SimulatedDevice> device;
  std::unique_ptr<RawHost> host;
};

uint32_t Rows(const WirePage& page, bool big_endian = false) {
  uint32_t rows = 0;
  for (size_t i = 0; i < 4; ++i)
    rows |= static_cast<uint32_t>(page.end_rows[big_endian ? 3 - i : i]) << 8 * i;
  return rows;
}

TEST_F(PagesTest, EveryModeIsWhatThePaperShows) {
  Start();
  for (const char* mode : {"~*a5T~*a24G", "~*a5T~*a36G", "~*a5T~*a48G", "~*a4T~*a8G", "~*a0T~*a1G",
                           "~*a3T~*a1G", "~*a75R~*a600S~*f33X~*f7P~*f1Q"}) {
    SCOPED_TRACE(mode);
    const WirePage page = Scan(mode);
    ExpectWhole(page);
    EXPECT_EQ(static_cast<uint32_t>(RowsPerPage(*device->last_page())), Rows(page));
    EXPECT_EQ("*s1026d" + std::to_string(Rows(page)) + "V", host->Ask("1026E"));
    EXPECT_EQ("*s1025d" + std::to_string(BytesPerRow(*device->last_page())) + "V",
              host->Ask("1025E"));
  }
}

TEST_F(PagesTest, ToneMapsAreDownloaded) {
  Start();
  host->Send("~*a1D~*a256W");
  std::vector<uint8_t> table(256);
  for (size_t i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(255 - i);
  host->SendBytes(table);
  const WirePage page = Scan("~*u-1K");
  ASSERT_TRUE(device->last_page()->tone_map);
  ExpectWhole(page);
  ExpectWhole(Scan(kSetUp));
  EXPECT_FALSE(device->last_page()->tone_map);
}

TEST_F(PagesTest, BlocksAndRecordsAreCutAsTold) {
  for (size_t block : {64u, 1000u, 61440u, 1000000u}) {
    for (size_t record : {1u, 300u, 32767u}) {
      for (bool apart : {false, true}) {
        SCOPED_TRACE(std::to_string(block) + " " + std::to_string(record));
        DeviceConfig config;
        config.delivery = {.block_bytes = block, .record_bytes = record, .end_in_own_block = apart};
        Start(config);
        const WirePage page = Scan("~*f300P~*f300Q");
        ExpectWhole(page);
        for (size_t bytes : page.blocks) EXPECT_LE(bytes, block + 64);
        for (size_t bytes : page.records) EXPECT_LE(bytes, record);
        EXPECT_TRUE(!apart || page.blocks.back() == 8 + 12);
      }
    }
  }
}

TEST_F(PagesTest, RowCountsAreInTheModelsByteOrder) {
  for (const std::string& model : ModelNames()) {
    DeviceConfig config;
    config.model = model;
    config.sheets = 1;
    Start(config);
    const WirePage page = Scan(model == "ZM-14" ? "~*u0X" : "");
    ASSERT_TRUE(page.has_end) << model;
    EXPECT_EQ(300u, Rows(page, model == "ZM-13")) << model;
  }
}

TEST_F(PagesTest, WithoutPacketsThereAreOnlyImageBytes) {
  Start();
  host->Send(std::string("~*m0S") + kStart);
  const std::string bytes = host->Read(500 * 300 * 3);
  EXPECT_TRUE(Seen() == std::vector<uint8_t>(bytes.begin(), bytes.end()));
  EXPECT_EQ("*s257d0V", host->Ask("257E"));
}

struct Decoded {
  unsigned width = 0, height = 0, restart = 0;
  int components = 0, horizontal = 0, vertical = 0;
  std::vector<uint8_t> pixels;
};

Decoded Decode(const std::vector<uint8_t>& stream) {
  Decoded decoded;
  jpeg_decompress_struct codec = {};
  jpeg_error_mgr errors = {};
  codec.err = jpeg_std_error(&errors);
  errors.error_exit = [](j_common_ptr) { throw std::runtime_error("JPEG"); };
  jpeg_create_decompress(&codec);
  jpeg_mem_src(&codec, stream.data(), static_cast<unsigned long>(stream.size()));
  jpeg_read_header(&codec, TRUE);
  jpeg_start_decompress(&codec);
  decoded.width = codec.output_width;
  decoded.height = codec.output_height;
  decoded.restart = codec.restart_interval;
  decoded.components = codec.num_components;
  decoded.horizontal = codec.comp_info[0].h_samp_factor;
  decoded.vertical = codec.comp_info[0].v_samp_factor;
  const size_t row = decoded.width * static_cast<size_t>(codec.output_components);
  decoded.pixels.resize(row * decoded.height);
  while (codec.output_scanline < codec.output_height) {
    JSAMPROW at = &decoded.pixels[codec.output_scanline * row];
    jpeg_read_scanlines(&codec, &at, 1);
  }
  jpeg_finish_decompress(&codec);
  EXPECT_EQ(0, errors.num_warnings);
  jpeg_destroy_decompress(&codec);
  return decoded;
}

double MeanDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

TEST_F(PagesTest, JpegPagesDecodeToThePaper) {
  const struct {
    int horizontal, vertical, restart;
    const char* mode;
    int components;
  } cases[] = {{1, 1, 0, "~*a5T~*a24G", 3},
               {2, 1, 7, "~*a5T~*a24G", 3},
               {2, 2, 0, "~*a4T~*a8G", 1},
               {4, 2, 0, "~*a5T~*a48G", 3},
               {2, 2, 3, "~*a5T~*a24G", 3}};
  for (const auto& one : cases) {
    SCOPED_TRACE(std::to_string(one.horizontal) + "x" + std::to_string(one.vertical));
    DeviceConfig config;
    config.delivery.jpeg_horizontal = one.horizontal;
    config.delivery.jpeg_vertical = one.vertical;
    config.delivery.jpeg_restart = one.restart;
    config.delivery.jpeg_quality = 95;
    Start(config);
    // The landscape: smooth, so that coarse chroma shows little.
    const WirePage page = Scan(std::string("~*a2C~*m1Q~*f2420Y~*f570Q") + one.mode);
    ASSERT_FALSE(page.broken);
    const Decoded decoded = Decode(page.image);
    EXPECT_EQ(500u, decoded.width);
    EXPECT_EQ(190u, decoded.height);
    EXPECT_EQ(static_cast<unsigned>(one.restart), decoded.restart);
    EXPECT_EQ(one.components, decoded.components);
    if (one.components == 3) {
      EXPECT_EQ(one.horizontal, decoded.horizontal);
      EXPECT_EQ(one.vertical, decoded.vertical);
    }
    const std::vector<uint8_t> seen = Seen();
    ASSERT_EQ(seen.size(), decoded.pixels.size());
    EXPECT_LT(MeanDifference(seen, decoded.pixels), 3.0);
  }
}

TEST_F(PagesTest, CoarserLevelsGiveShorterPages) {
  Start();
  size_t last = SIZE_MAX;
  for (const char* level : {"~*m1Q", "~*m2Q", "~*m3Q", "~*m4Q", "~*m5Q"}) {
    const WirePage page = Scan(std::string("~*a2C") + level);
    EXPECT_LT(page.image.size(), last) << level;
    last = page.image.size();
  }
  ExpectWhole(Scan("~*a0T~*a1G"));  // bilevel pages are not compressed
}

TEST_F(PagesTest, APageBeyondTheCodecIsGivenUp) {
  DeviceConfig config;
  config.overrides = {{.number = 10482, .value = 70000, .maximum = 70000}};
  Start(config);
  EXPECT_TRUE(Scan("~*a2C~*a300S~*f70000Q~*f8P").aborted);
  ExpectWhole(Scan(kSetUp));
}

// A host that stops in mid-page without reading: what is on its way ends with an aborted block,
// soon and whatever was sent meanwhile, and the next page is whole.
TEST_F(PagesTest, ResetAndClearEndAPage) {
  DeviceConfig config;
  config.paper = "pattern";
  for (const char* stop : {"~E", "~*oE", "~*oE~E~*s1024E"}) {
    SCOPED_TRACE(stop);
    Start(config);
    host->Command("~E~*m2S~*a600R~*a600S");
    host->Send(kStart);
    EXPECT_EQ(4u, host->Read(4).size());
    host->Send(stop);  // into a device whose buffers are full
    host->Send("~*f0H~*f1H~*a100R");
    size_t drained = 4;
    std::string bytes;
    while (!(bytes = host->Read(1 << 20, 300)).empty()) drained += bytes.size();
    EXPECT_LT(drained, 60u << 20);  // of 107 MB
    EXPECT_EQ(1, device->stats().pages_aborted);
    host->Command(kSetUp);
    ExpectWhole(Scan());
  }
}

TEST_F(PagesTest, AnAbortedPageSaysSoAndCountsItsRows) {
  Start();
  device->AddFault("cancel@block:3*1");
  const WirePage cancelled = Scan();
  EXPECT_TRUE(cancelled.aborted);
  EXPECT_TRUE(cancelled.has_end);
  EXPECT_EQ(cancelled.image.size() / 1500, Rows(cancelled));
  const std::vector<uint8_t> seen = Seen();
  EXPECT_TRUE(std::equal(cancelled.image.begin(), cancelled.image.end(), seen.begin()));
  EXPECT_EQ("*s261d502V", host->Ask("261E"));
  device->AddFault("jam@block:1*1");
  EXPECT_TRUE(Scan().aborted);
  EXPECT_EQ("*s261d1024V", host->Ask("261E"));
  ExpectWhole(Scan());
}

TEST_F(PagesTest, PagesGoWrongAsTold) {
  const size_t row = 1500;
  const size_t whole = row * 300;
  const struct {
    const char* fault;
    size_t image;   // bytes that come
    uint32_t rows;  // that the end record reports
    bool broken;
  } cases[] = {
      {"short-page=100*1", row * 200, 200, false},
      {"long-page=5*1", row * 305, 305, false},
      {"ragged-page=7*1", whole - 7, 300, false},
      {"row-count=12345*1", whole, 12345, false},
      {"block-length@block:2=7*1", 61384, 0, true},
      {"record-type@block:1=3*1", 0, 0, true},
      {"record-offset@block:2=-1*1", 61384, 0, true},
      {"truncate@block:2=50*1", 61384, 0, true},
      {"drop@block:2=50*1", 61384, 0, true},
      {"reset@block:2*1", 61384, 0, true},
      {"drop@page:1*1", 0, 0, true},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.fault);
    Start();
    device->AddFault(one.fault);
    const WirePage page = Scan();
    EXPECT_EQ(one.broken, page.broken);
    if (!one.broken) {
      EXPECT_EQ(one.rows, Rows(page));
      EXPECT_EQ(one.image, page.image.size());
    } else {
      EXPECT_EQ(one.image, page.image.size());
    }
    const std::vector<uint8_t> seen = Seen();
    const size_t common = std::min(seen.size(), page.image.size());
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + static_cast<std::ptrdiff_t>(common),
                           page.image.begin()));
    host.reset();  // the fault was for one page: the next host gets it whole
    host = std::make_unique<RawHost>("127.0.67.2");
    ASSERT_EQ("00", host->greeting());
    host->Command(kSetUp);
    ExpectWhole(Scan());
  }
}

TEST_F(PagesTest, ABlockMayBeLate) {
  Start();
  device->AddFault("stall@block:3=400*1");
  host->Send(kStart);
  EXPECT_EQ(2u * 61440, host->Read(2 * 61440, 300).size());
  EXPECT_EQ("", host->Read(1, 100));
  EXPECT_EQ(8u, host->Read(8, 2000).size());
}

TEST_F(PagesTest, TheFeederDeliversItsSheetsSideBySide) {
  DeviceConfig config;
  config.sheets = 2;
  config.sheet_height = 600;
  config.overrides = {{.number = 13510, .value = 2}};
  Start(config);
  host->Command("~*d1D");
  const struct {
    int sheet;
    bool back;
  } sides[] = {{1, false}, {1, true}, {2, false}, {2, true}};
  for (const auto& side : sides) {
    EXPECT_EQ("*s1027d1V", host->Ask("1027E"));
    host->Send("~*u0X");
    EXPECT_EQ("*s23d0V", host->Ask("23E"));
    EXPECT_EQ(side.back ? "*s13510p2V" : "*s13510p0V", host->Ask("13510R"));
    const WirePage page = Scan();
    ExpectWhole(page);
    EXPECT_EQ(side.sheet, device->last_page()->side.sheet);
    EXPECT_EQ(side.back, device->last_page()->side.back);
    EXPECT_EQ(side.back ? Flip::kTurn180 : Flip::kNone, device->last_page()->flip);
    EXPECT_EQ(110u, Rows(page));  // a sheet of 2 inches, of which 0.9 lie above the window
  }
  EXPECT_EQ("*s1027d0V", host->Ask("1027E"));
  host->Send("~*u0X");
  EXPECT_EQ("*s23d1026V", host->Ask("23E"));
  host->Command("~*u0U");
  ExpectWhole(Scan());  // the glass
  EXPECT_EQ(0, device->last_page()->side.sheet);
}

TEST_F(PagesTest, TheFeederJamsAndRunsOut) {
  DeviceConfig config;
  config.sheets = 2;
  config.model = "ZM-14";
  Start(config);
  EXPECT_TRUE(Scan().aborted);  // a device without glass, and nothing fed
  EXPECT_EQ("*s261d1026V", host->Ask("261E"));
  device->AddFault("jam*1");
  host->Send("~*oE~*u0X");
  EXPECT_EQ("*s23d1024V", host->Ask("23E"));
  EXPECT_EQ("*s261d1024V", host->Ask("261E"));
  host->Send("~*oE~*u0X");
  EXPECT_EQ("*s23d0V", host->Ask("23E"));
  ExpectWhole(Scan());
  EXPECT_TRUE(Scan().aborted);  // no sheet follows
  device->SetSheets(1);
  host->Command("~*oE~*u0X");
  ExpectWhole(Scan());
  EXPECT_EQ(0, device->sheets());
}

}  // namespace
}  // namespace scantk::sim::test
