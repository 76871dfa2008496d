// Pages written row by row and read back by the formats' own libraries.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/arguments.h"
#include "host/error_advice.h"
#include "host/image_writers/page_writer.h"
#ifdef SCANTK_HAVE_PNG
#include <png.h>
#endif
#ifdef SCANTK_HAVE_TIFF
#include <tiffio.h>
#endif

namespace scanhost {
namespace {

namespace fs = std::filesystem;

struct Picture {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t x_resolution = 0;  // 0: the format does not tell
  std::vector<uint8_t> rows;  // as the writer is given them
};

std::string Slurp(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// Bits beyond the width of a row mean nothing.
void ClearPadding(Picture* picture) {
  const uint32_t used = picture->width % 8;
  const uint32_t row_bytes = (picture->width + 7) / 8;
  if (used == 0) return;
  for (size_t at = row_bytes - 1; at < picture->rows.size(); at += row_bytes)
    picture->rows[at] &= static_cast<uint8_t>(0xFF00 >> used);
}

Picture ReadPnm(const std::string& path, PixelKind kind) {
  const std::string file = Slurp(path);
  Picture picture;
  std::istringstream text(file);
  std::string magic;
  uint32_t maximum = 255;
  text >> magic >> picture.width >> picture.height;
  if (kind != PixelKind::kBlackAndWhite) text >> maximum;
  text.get();
  EXPECT_EQ(magic, kind == PixelKind::kColor ? "P6" : kind == PixelKind::kGray ? "P5" : "P4");
  EXPECT_EQ(maximum, 255u);
  const std::string rows = file.substr(static_cast<size_t>(text.tellg()));
  picture.rows.assign(rows.begin(), rows.end());
  if (kind == PixelKind::kBlackAndWhite)
    for (uint8_t& byte : picture.rows) byte = static_cast<uint8_t>(~byte);
  return picture;
}

#ifdef SCANTK_HAVE_PNG
Picture ReadPng(const std::string& path, PixelKind kind) {
  Picture picture;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  picture.width = png_get_image_width(png, info);
  picture.height = png_get_image_height(png, info);
  picture.x_resolution = png_get_x_pixels_per_inch(png, info);
  EXPECT_EQ(png_get_bit_depth(png, info), kind == PixelKind::kBlackAndWhite ? 1 : 8);
  for (uint32_t y = 0; y < picture.height; ++y) {
    const uint8_t* row = png_get_rows(png, info)[y];
    picture.rows.insert(picture.rows.end(), row, row + png_get_rowbytes(png, info));
  }
  png_destroy_read_struct(&png, &info, nullptr);
  std::fclose(file);
  return picture;
}
#endif

#ifdef SCANTK_HAVE_TIFF
Picture ReadTiff(const std::string& path, PixelKind kind, int page = 0) {
  Picture picture;
  TIFF* file = TIFFOpen(path.c_str(), "r");
  if (!file || !TIFFSetDirectory(file, static_cast<tdir_t>(page))) {
    ADD_FAILURE() << path << " page " << page;
    return picture;
  }
  float resolution = 0;
  uint16_t photometric = 0;
  TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &picture.width);
  TIFFGetField(file, TIFFTAG_IMAGELENGTH, &picture.height);
  TIFFGetField(file, TIFFTAG_XRESOLUTION, &resolution);
  TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &photometric);
  picture.x_resolution = static_cast<uint32_t>(resolution);
  picture.rows.resize(static_cast<size_t>(TIFFScanlineSize(file)) * picture.height);
  for (uint32_t y = 0; y < picture.height; ++y)
    EXPECT_EQ(
        TIFFReadScanline(file, &picture.rows[y * static_cast<size_t>(TIFFScanlineSize(file))], y),
        1);
  if (photometric == PHOTOMETRIC_MINISWHITE)
    for (uint8_t& byte : picture.rows) byte = static_cast<uint8_t>(~byte);
  EXPECT_EQ(photometric == PHOTOMETRIC_RGB, kind == PixelKind::kColor);
  TIFFClose(file);
  return picture;
}

int TiffPages(const std::string& path) {
  TIFF* file = TIFFOpen(path.c_str(), "r");
  if (!file) return 0;
  const int pages = TIFFNumberOfDirectories(file);
  TIFFClose(file);
  return pages;
}
#endif

Picture Read(const std::string& path, PixelKind kind) {
#ifdef SCANTK_HAVE_PNG
  if (path.ends_with(".png")) return ReadPng(path, kind);
#endif
#ifdef SCANTK_HAVE_TIFF
  if (path.ends_with(".tif")) return ReadTiff(path, kind);
#endif
  return ReadPnm(path, kind);
}

std::vector<std::string> Formats() {
  std::vector<std::string> formats = {"pnm"};
#ifdef SCANTK_HAVE_PNG
  formats.push_back("png");
#endif
#ifdef SCANTK_HAVE_TIFF
  formats.push_back("tif");
#endif
  return formats;
}

class PageWriters : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = fs::temp_directory_path() /
              ("page_writers_" + std::to_string(testing::UnitTest::GetInstance()->random_seed()) +
               std::to_string(reinterpret_cast<uintptr_t>(this)));
    fs::create_directories(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  size_t Files() const {
    return static_cast<size_t>(
        std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  static std::vector<uint8_t> Rows(const PageFormat& format, uint32_t count, uint32_t seed) {
    std::vector<uint8_t> rows(size_t{format.bytes_per_row} * count);
    for (uint8_t& byte : rows) {
      seed = seed * 1664525u + 1013904223u;
      byte = static_cast<uint8_t>(seed >> 24);
    }
    return rows;
  }

  // In pieces of seven rows.
  static void Write(PageWriter& writer, const PageFormat& format,
                    const std::vector<uint8_t>& rows) {
    const auto count = static_cast<uint32_t>(rows.size() / format.bytes_per_row);
    for (uint32_t row = 0; row < count; row += 7)
      writer.WriteRows(&rows[size_t{row} * format.bytes_per_row], std::min(7u, count - row));
  }

  static PageFormat Format(PixelKind kind, uint32_t width, uint32_t height) {
    return {kind, width, height, BytesPerRow(kind, width), 300, 200};
  }

  fs::path folder_;
};

TEST_F(PageWriters, KeepEveryRowWhereverThePageEnds) {
  for (const std::string& extension : Formats())
    for (PixelKind kind : {PixelKind::kColor, PixelKind::kGray, PixelKind::kBlackAndWhite})
      for (uint32_t rows : {1u, 40u, 99u, 100u, 101u, 333u}) {
        SCOPED_TRACE(extension + " kind " + std::to_string(static_cast<int>(kind)) + " rows " +
                     std::to_string(rows));
        const std::string path = Path("page." + extension);
        const PageFormat format = Format(kind, 61, 100);
        Picture wanted{61, rows, 0, Rows(format, rows, rows)};
        {
          const auto writer = MakePageWriter(path);
          writer->BeginPage(format);
          Write(*writer, format, wanted.rows);
          EXPECT_FALSE(fs::exists(path)) << "no final name before the end";
          writer->EndPage();
          EXPECT_TRUE(writer->Finish());
        }
        EXPECT_EQ(Files(), 1u);
        Picture read = Read(path, kind);
        EXPECT_EQ(read.width, 61u);
        EXPECT_EQ(read.height, rows);
        EXPECT_TRUE(read.x_resolution == 0 || read.x_resolution == 300u);
        if (kind == PixelKind::kBlackAndWhite) {
          ClearPadding(&read);
          ClearPadding(&wanted);
        }
        EXPECT_EQ(read.rows, wanted.rows);
        fs::remove(path);
      }
}

TEST_F(PageWriters, LeaveNothingOfAPageThatWasNotFinished) {
  const PageFormat format = Format(PixelKind::kColor, 20, 50);
  for (const std::string& extension : Formats())
    for (uint32_t rows : {0u, 10u, 50u, 60u})
      for (bool drop : {false, true}) {
        SCOPED_TRACE(extension + " " + std::to_string(rows) + (drop ? " dropped" : " destroyed"));
        const std::string path = Path("page." + extension);
        std::ofstream(path) << "old";
        {
          const auto writer = MakePageWriter(path);
          writer->BeginPage(format);
          Write(*writer, format, Rows(format, rows, 1));
          if (drop) {
            writer->DropPage();
            EXPECT_FALSE(writer->Finish());
          }
        }
        EXPECT_EQ(Files(), 1u);
        EXPECT_EQ(Slurp(path), "old");
        fs::remove(path);
      }
}

#ifdef SCANTK_HAVE_TIFF
TEST_F(PageWriters, TiffHoldsTheCompletePagesOfAJob) {
  const std::string path = Path("job.tiff");
  constexpr int kPages = 3;
  const auto format = [](int page) { return Format(PixelKind::kGray, 50u + page * 10u, 80); };
  for (bool broken : {false, true}) {
    SCOPED_TRACE(broken);
    const auto writer = MakePageWriter(path);
    for (int page = 0; page < kPages; ++page) {
      writer->BeginPage(format(page));
      Write(*writer, format(page), Rows(format(page), 80, static_cast<uint32_t>(page)));
      writer->EndPage();
    }
    if (broken) {
      writer->BeginPage(format(9));
      Write(*writer, format(9), Rows(format(9), 33, 9));
      writer->DropPage();
    }
    EXPECT_TRUE(writer->Finish());
    EXPECT_EQ(TiffPages(path), kPages);
    for (int page = 0; page < kPages; ++page)
      EXPECT_EQ(ReadTiff(path, PixelKind::kGray, page).rows,
                Rows(format(page), 80, static_cast<uint32_t>(page)));
  }
}
#endif

TEST_F(PageWriters, SayWhatCannotBeWritten) {
  EXPECT_THROW(MakePageWriter("page"), UsageError);
  EXPECT_THROW(MakePageWriter("page.jpg"), UsageError);
  for (const std::string& extension : Formats()) {
    const auto writer = MakePageWriter(Path("missing/page." + extension));
    EXPECT_THROW(writer->BeginPage(Format(PixelKind::kGray, 8, 8)), HostFailure) << extension;
  }
}

}  // namespace
}  // namespace scanhost
