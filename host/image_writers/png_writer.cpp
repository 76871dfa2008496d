#include "host/image_writers/png_writer.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

#include "host/error_advice.h"
#include "host/image_writers/part_file.h"

namespace scanhost {
namespace {

// Thrown through the library's frames, which hold nothing that needs an end of its own; what the
// structures own is freed by the owners below.
[[noreturn]] void ThrowPngError(png_structp, png_const_charp text) {
  throw HostFailure(std::string("PNG: ") + text);
}

void IgnorePngWarning(png_structp, png_const_charp) {}

// The encoder of one picture whose height is known.
class PngEncoder {
 public:
  PngEncoder(const std::string& path, const PageFormat& format)
      : path_(path), file_(OpenStream(path, "wb")) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, ThrowPngError, IgnorePngWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) throw HostFailure("PNG: no memory");
    png_init_io(png_, file_.Get());
    const bool color = format.kind == PixelKind::kColor;
    png_set_IHDR(png_, info_, format.width, format.height,
                 format.kind == PixelKind::kBlackAndWhite ? 1 : 8,
                 color ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Dots per metre.
    const auto metric = [](uint32_t dpi) {
      return static_cast<png_uint_32>(std::lround(dpi / 0.0254));
    };
    png_set_pHYs(png_, info_, metric(format.x_resolution), metric(format.y_resolution),
                 PNG_RESOLUTION_METER);
    // A scanner does not wait long: the fast level costs a tenth in size.
    png_set_compression_level(png_, 3);
    png_set_filter(png_, PNG_FILTER_TYPE_BASE,
                   format.kind == PixelKind::kBlackAndWhite ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_write_info(png_, info_);
  }
  ~PngEncoder() { png_destroy_write_struct(&png_, &info_); }
  PngEncoder(const PngEncoder&) = delete;
  PngEncoder& operator=(const PngEncoder&) = delete;

  void WriteRow(const uint8_t* row) { png_write_row(png_, row); }

  void End() {
    png_write_end(png_, info_);
    if (std::fclose(file_.Release()) != 0)
      throw HostFailure("cannot write " + path_ + ": " + std::strerror(errno));
  }

 private:
  std::string path_;
  Stream file_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

// The decoder of a picture that PngEncoder wrote.
class PngDecoder {
 public:
  explicit PngDecoder(const std::string& path) : file_(OpenStream(path, "rb")) {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, ThrowPngError, IgnorePngWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) throw HostFailure("PNG: no memory");
    png_init_io(png_, file_.Get());
    png_read_info(png_, info_);
  }
  ~PngDecoder() { png_destroy_read_struct(&png_, &info_, nullptr); }
  PngDecoder(const PngDecoder&) = delete;
  PngDecoder& operator=(const PngDecoder&) = delete;

  void ReadRow(uint8_t* row) { png_read_row(png_, row, nullptr); }

 private:
  Stream file_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

// The height stands at the head of a PNG file and cannot be changed in one that is being written.
// So the picture is written with the announced height; in the rare page that ends elsewhere it is
// filled up, or the rows beyond are put aside, and the picture is written once more.
class PngWriter : public PageWriter {
 public:
  explicit PngWriter(const std::string& path)
      : part_(path), extra_file_(path + ".rows"), again_(path + ".again") {}

  bool ManyPages() const override { return false; }

  void BeginPage(const PageFormat& format) override {
    format_ = format;
    format_.height = std::max(format.height, 1u);
    rows_ = 0;
    encoder_ = std::make_unique<PngEncoder>(part_.path(), format_);
  }

  void WriteRows(const uint8_t* rows, uint32_t count) override {
    for (uint32_t i = 0; i < count; ++i, ++rows_, rows += format_.bytes_per_row)
      if (rows_ < format_.height) {
        encoder_->WriteRow(rows);
      } else {
        if (!extra_) extra_ = OpenStream(extra_file_.path(), "w+b");
        WriteAll(extra_.Get(), rows, format_.bytes_per_row, extra_file_.path());
      }
  }

  void EndPage() override {
    if (rows_ == 0) throw HostFailure("PNG: a picture without rows cannot be written");
    const std::vector<uint8_t> white(format_.bytes_per_row, 255);
    for (uint32_t row = rows_; row < format_.height; ++row) encoder_->WriteRow(white.data());
    encoder_->End();
    encoder_.reset();
    if (rows_ != format_.height) {
      WriteAgain();
      again_.CommitAs(part_.path());
    }
    complete_ = true;
  }

  void DropPage() override {
    encoder_.reset();
    complete_ = false;
  }

  bool Finish() override {
    if (complete_) part_.Commit();
    return complete_;
  }

 private:
  void WriteAgain() {
    PngDecoder decoder(part_.path());
    PageFormat corrected = format_;
    corrected.height = rows_;
    PngEncoder encoder(again_.path(), corrected);
    std::vector<uint8_t> row(format_.bytes_per_row);
    if (extra_) std::rewind(extra_.Get());
    for (uint32_t i = 0; i < rows_; ++i) {
      if (i < format_.height)
        decoder.ReadRow(row.data());
      else if (std::fread(row.data(), row.size(), 1, extra_.Get()) != 1)
        throw HostFailure("cannot read " + extra_file_.path() + " back");
      encoder.WriteRow(row.data());
    }
    encoder.End();
    extra_.Reset();
  }

  PartFile part_;
  PartFile extra_file_;
  PartFile again_;
  Stream extra_;
  PageFormat format_;
  std::unique_ptr<PngEncoder> encoder_;
  uint32_t rows_ = 0;
  bool complete_ = false;
};

}  // namespace

std::unique_ptr<PageWriter> MakePngWriter(const std::string& path) {
  return std::make_unique<PngWriter>(path);
}

}  // namespace scanhost
