// What the sensor sees of a paper: geometry, colour modes, depths, windows, flips, files.
#include "simulator/paper.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

namespace scantk::sim {
namespace {

PageSettings Small(int dpi = 100) {
  PageSettings settings;
  settings.x_dpi = settings.y_dpi = dpi;
  settings.left = 90;
  settings.top = 270;
  settings.width = 1500;
  settings.height = 1200;
  return settings;
}

std::vector<uint8_t> Render(const char* paper, const PageSettings& settings) {
  return RenderPage(MakePaper(paper), settings);
}

TEST(PaperTest, LengthsAreInThreeHundredthsOfAnInch) {
  const struct {
    int dpi, width, height, bits;
    int pixels, rows;
    size_t bytes;
  } cases[] = {
      {300, 2550, 3508, 24, 2550, 3508, 7650},
      {600, 2550, 3508, 24, 5100, 7016, 15300},
      {75, 2550, 3508, 8, 637, 877, 637},
      {300, 2550, 10, 1, 2550, 10, 319},
      {150, 1, 1, 24, 0, 0, 0},
      {300, 3, 1, 36, 3, 1, 14},
      {600, 2550, 35080, 24, 5100, 70160, 15300},
  };
  for (const auto& one : cases) {
    PageSettings settings;
    settings.x_dpi = settings.y_dpi = one.dpi;
    settings.width = one.width;
    settings.height = one.height;
    settings.bits_per_pixel = one.bits;
    EXPECT_EQ(one.pixels, PixelsPerRow(settings));
    EXPECT_EQ(one.rows, RowsPerPage(settings));
    EXPECT_EQ(one.bytes, BytesPerRow(settings));
  }
}

TEST(PaperTest, NoTwoRowsOfTheChartAreAlike) {
  PageSettings settings = Small(100);
  settings.width = 2550;
  settings.left = settings.top = 0;
  settings.height = 3508;
  const std::vector<uint8_t> page = Render("chart", settings);
  const size_t row = BytesPerRow(settings);
  std::set<std::string> rows;
  for (size_t at = 0; at < page.size(); at += row)
    rows.emplace(page.begin() + at, page.begin() + at + row);
  EXPECT_EQ(page.size() / row, rows.size());
}

TEST(PaperTest, WindowIsACutOfTheWholePage) {
  for (const char* paper : {"chart", "pattern"}) {
    const PageSettings window = Small();
    PageSettings whole = window;
    whole.left = whole.top = 0;
    whole.width = 2550;
    whole.height = 3508;
    const std::vector<uint8_t> cut = Render(paper, window);
    const std::vector<uint8_t> page = Render(paper, whole);
    const size_t from = 90 * BytesPerRow(whole) + 30 * 3;  // 270 and 90 at 100 dpi
    for (int row = 0; row < RowsPerPage(window); ++row) {
      ASSERT_EQ(0, std::memcmp(&cut[row * BytesPerRow(window)],
                               &page[from + row * BytesPerRow(whole)], BytesPerRow(window)))
          << paper << " row " << row;
    }
  }
}

TEST(PaperTest, ModesAreViewsOfTheColourPage) {
  PageSettings settings = Small();
  const std::vector<uint8_t> color = Render("chart", settings);
  const size_t pixels = color.size() / 3;
  const size_t width = static_cast<size_t>(PixelsPerRow(settings));

  settings.data_type = DataType::kGray;
  settings.bits_per_pixel = 8;
  const std::vector<uint8_t> gray = Render("chart", settings);
  ASSERT_EQ(pixels, gray.size());
  for (size_t i = 0; i < pixels; ++i) {
    const double expected =
        0.299 * color[3 * i] + 0.587 * color[3 * i + 1] + 0.114 * color[3 * i + 2];
    ASSERT_NEAR(expected, gray[i], 2.0) << i;
  }

  settings.data_type = DataType::kThreshold;
  settings.bits_per_pixel = 1;
  const std::vector<uint8_t> bilevel = Render("chart", settings);
  ASSERT_EQ((width + 7) / 8 * static_cast<size_t>(RowsPerPage(settings)), bilevel.size());
  for (size_t i = 0; i < pixels; ++i) {  // white is 1
    const uint8_t byte = bilevel[i / width * ((width + 7) / 8) + i % width / 8];
    ASSERT_EQ(gray[i] >= 128, (byte >> (7 - i % width % 8) & 1) != 0) << i;
  }

  settings.data_type = DataType::kDither;
  const std::vector<uint8_t> dithered = Render("chart", settings);
  size_t white = 0;
  double light = 0;
  for (size_t i = 0; i < pixels; ++i) {
    white += dithered[i / width * ((width + 7) / 8) + i % width / 8] >> (7 - i % width % 8) & 1;
    light += gray[i] / 255.0;
  }
  EXPECT_NEAR(light / static_cast<double>(pixels),
              static_cast<double>(white) / static_cast<double>(pixels), 0.01);
}

TEST(PaperTest, DeepSamplesKeepTheirEightBitsOnTop) {
  PageSettings settings = Small();
  const std::vector<uint8_t> plain = Render("chart", settings);
  const size_t row_samples = BytesPerRow(settings);
  for (int bits : {10, 12, 16}) {
    settings.bits_per_pixel = 3 * bits;
    const std::vector<uint8_t> deep = Render("chart", settings);
    const size_t row_bytes = BytesPerRow(settings);
    ASSERT_EQ(row_bytes * static_cast<size_t>(RowsPerPage(settings)), deep.size());
    for (size_t i = 0; i < plain.size(); ++i) {
      const uint8_t* row = &deep[i / row_samples * row_bytes];
      const size_t bit = i % row_samples * static_cast<size_t>(bits);
      unsigned top = row[bit / 8 + (bits == 16 ? 1 : 0)];
      if (bits != 16 && bit % 8 != 0) top = (top << 8 | row[bit / 8 + 1]) >> (8 - bit % 8) & 0xFF;
      ASSERT_EQ(plain[i], top) << bits << " bits, sample " << i;
    }
  }
}

TEST(PaperTest, FlipsAndToneMapsChangeOnlyWhatTheySay) {
  PageSettings settings = Small();
  settings.side = {1, true};
  const std::vector<uint8_t> upright = Render("chart", settings);
  const size_t row = BytesPerRow(settings);
  const size_t rows = static_cast<size_t>(RowsPerPage(settings));

  settings.flip = Flip::kVertical;
  const std::vector<uint8_t> flipped = Render("chart", settings);
  settings.flip = Flip::kTurn180;
  const std::vector<uint8_t> turned = Render("chart", settings);
  for (size_t y = 0; y < rows; ++y) {
    ASSERT_EQ(0, std::memcmp(&upright[y * row], &flipped[(rows - 1 - y) * row], row));
    for (size_t x = 0; x < row; x += 3)
      ASSERT_EQ(0, std::memcmp(&upright[y * row + x], &turned[(rows - y) * row - x - 3], 3));
  }

  settings.flip = Flip::kNone;
  settings.tone_map.emplace();
  for (int i = 0; i < 256; ++i)
    (*settings.tone_map)[static_cast<size_t>(i)] = static_cast<uint8_t>(255 - i);
  const std::vector<uint8_t> negative = Render("chart", settings);
  for (size_t i = 0; i < upright.size(); ++i) ASSERT_EQ(255 - upright[i], negative[i]);

  settings.tone_map.reset();
  settings.side.back = false;
  EXPECT_NE(upright, Render("chart", settings));
}

// A cached row must be the row that would have been drawn.
TEST(PaperTest, RowsMayBeAskedInAnyOrder) {
  for (const char* paper : {"chart", "pattern", "white"}) {
    for (DataType type : {DataType::kColor, DataType::kDither}) {
      PageSettings settings = Small();
      settings.data_type = type;
      settings.bits_per_pixel = type == DataType::kColor ? 24 : 1;
      settings.flip = Flip::kVertical;
      const std::vector<uint8_t> page = Render(paper, settings);
      const auto made = MakePaper(paper);
      PageRenderer renderer(made, settings);
      for (int row : {399, 0, 64, 63, 0, 0, 128, 200, 8, 7, 399}) {
        ASSERT_EQ(0, std::memcmp(renderer.Row(row),
                                 &page[static_cast<size_t>(row) * BytesPerRow(settings)],
                                 BytesPerRow(settings)))
            << paper << " row " << row;
      }
    }
  }
}

class PictureTest : public testing::Test {
 protected:
  PictureTest() {
    char name[] = "/tmp/scantk-paper-XXXXXX";
    folder_ = mkdtemp(name);
  }
  ~PictureTest() override { std::filesystem::remove_all(folder_); }
  std::string Write(const std::string& name, const std::string& bytes) {
    std::ofstream(folder_ + "/" + name, std::ios::binary) << bytes;
    return folder_ + "/" + name;
  }
  std::string folder_;
};

TEST_F(PictureTest, FilesLieInTheCornerOfAWhiteSheet) {
  const std::string rgb = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x10\x11\x12";
  const std::string expected = rgb.substr(0, 6) + "\xff\xff\xff" + rgb.substr(6) + "\xff\xff\xff";
  const std::string gray = std::string("P5 2 2 255\n") + "\x01\x80\xfe" + std::string(1, '\0');
  PageSettings settings;
  settings.width = 3;
  settings.height = 2;

  std::vector<std::string> files = {Write("a.ppm", "P6\n# a comment\n2 2\n255\n" + rgb)};
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = image.height = 2;
  image.format = PNG_FORMAT_RGB;
  files.push_back(folder_ + "/a.png");
  ASSERT_TRUE(png_image_write_to_file(&image, files[1].c_str(), 0, rgb.data(), 0, nullptr));
  for (const std::string& file : files) {
    const std::vector<uint8_t> page = Render(file.c_str(), settings);
    EXPECT_EQ(expected, std::string(page.begin(), page.end())) << file;
  }
  settings.data_type = DataType::kGray;
  settings.bits_per_pixel = 8;
  const std::vector<uint8_t> shades = Render(Write("a.pgm", gray).c_str(), settings);
  EXPECT_EQ((std::vector<uint8_t>{0x01, 0x80, 255, 0xfe, 0x00, 255}), shades);
  const std::vector<uint8_t> bits = Render(Write("a.pbm", "P4 2 2\n\x40\x80").c_str(), settings);
  EXPECT_EQ((std::vector<uint8_t>{255, 0, 255, 0, 255, 255}), bits);
}

TEST_F(PictureTest, FilesThatAreNoPicturesAreRefused) {
  const std::string cases[] = {
      Write("empty", ""),
      Write("text", "hello, this is no picture"),
      Write("short.ppm", "P6 2 2 255\nabc"),
      Write("huge.ppm", "P6 99999 99999 255\nabc"),
      Write("zero.ppm", "P6 0 2 255\n"),
      Write("deep.ppm", "P6 1 1 65535\nabcdef"),
      Write("cut.ppm", "P6 #"),
      Write("cut.png", "\x89PNG\r\n\x1a\nxxxx"),
      folder_ + "/missing.png",
  };
  for (const std::string& file : cases) {
    EXPECT_THROW(MakePaper(file), std::runtime_error) << file;
  }
}

}  // namespace
}  // namespace scantk::sim
