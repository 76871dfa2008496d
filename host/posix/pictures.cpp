// PNG, TIFF and JPEG by the libraries of the distribution.
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>

#include "host/error_advice.h"
#include "host/pictures/picture_file.h"

namespace scanhost {
namespace {

constexpr char kSoftware[] = "scanhost";

// Thrown through the libraries' frames, which hold nothing that needs an end of its own; what their
// structures own is freed by the owners below.
[[noreturn]] void ThrowPngError(png_structp, png_const_charp text) {
  throw HostFailure(std::string("PNG: ") + text);
}

class PngFile : public PictureFile {
 public:
  explicit PngFile(const std::string& path) : path_(path), file_(OpenStream(path, "wb")) {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, ThrowPngError,
                                   [](png_structp, png_const_charp) {});
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) throw HostFailure("PNG: no memory");
    png_init_io(png_, file_.get());
  }
  ~PngFile() override { png_destroy_write_struct(&png_, &info_); }

  void AddPage(const PageFormat& page, Spool& rows) override {
    const bool bits = page.kind == PixelKind::kBlackAndWhite;
    png_set_IHDR(png_, info_, page.width, page.height, static_cast<int>(page.depth),
                 page.Samples() == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const auto per_metre = [](uint32_t dpi) {
      return static_cast<png_uint_32>(std::lround(dpi / 0.0254));
    };
    png_set_pHYs(png_, info_, per_metre(page.x_resolution), per_metre(page.y_resolution),
                 PNG_RESOLUTION_METER);
    SetText(page);
    // A scanner does not wait long: the fast level costs a tenth in size.
    png_set_compression_level(png_, 3);
    png_set_filter(png_, PNG_FILTER_TYPE_BASE, bits ? PNG_FILTER_NONE : PNG_FILTER_SUB);
    png_write_info(png_, info_);
    if (page.depth == 16) png_set_swap(png_);
    std::vector<uint8_t> row(page.bytes_per_row);
    for (uint32_t y = 0; y < page.height; ++y) {
      rows.Read(row.data(), row.size());
      png_write_row(png_, row.data());
    }
    png_write_end(png_, info_);
  }

  void Finish() override { CloseStream(std::move(file_), path_); }

 private:
  void SetText(const PageFormat& page) {
    std::string values[] = {page.description, kSoftware, page.device, page.time};
    const char* keys[] = {"Description", "Software", "Source", "Creation Time"};
    png_text texts[4] = {};
    for (int i = 0; i < 4; ++i) {
      texts[i].compression = PNG_TEXT_COMPRESSION_NONE;
      texts[i].key = const_cast<char*>(keys[i]);
      texts[i].text = values[i].data();
      texts[i].text_length = values[i].size();
    }
    png_set_text(png_, info_, texts, 4);
  }

  std::string path_;
  Stream file_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

struct TiffCloser {
  void operator()(TIFF* file) const { TIFFClose(file); }
};

// What the library said last; it reports through a process-wide handler.
std::string g_tiff_error;

void KeepTiffError(const char* module, const char* format, va_list arguments) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, arguments);
  g_tiff_error = std::string(module ? module : "TIFF") + ": " + text;
}

// Deflate, for black and white CCITT Group 4. A page's directory is linked in when it is complete.
class TiffFile : public PictureFile {
 public:
  explicit TiffFile(const std::string& path) : path_(path) {
    TIFFSetErrorHandler(KeepTiffError);
    TIFFSetWarningHandler(nullptr);
    file_.reset(TIFFOpen(path.c_str(), "w"));
    Check(file_ != nullptr);
  }

  void AddPage(const PageFormat& page, Spool& rows) override {
    const bool bits = page.kind == PixelKind::kBlackAndWhite;
    Set(TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
    Set(TIFFTAG_IMAGEWIDTH, page.width);
    Set(TIFFTAG_IMAGELENGTH, page.height);
    Set(TIFFTAG_BITSPERSAMPLE, page.depth);
    Set(TIFFTAG_SAMPLESPERPIXEL, page.Samples());
    Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    Set(TIFFTAG_PHOTOMETRIC, page.Samples() == 3 ? PHOTOMETRIC_RGB
                             : bits              ? PHOTOMETRIC_MINISWHITE
                                                 : PHOTOMETRIC_MINISBLACK);
    Set(TIFFTAG_COMPRESSION, bits ? COMPRESSION_CCITTFAX4 : COMPRESSION_ADOBE_DEFLATE);
    if (!bits) Set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    Set(TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file_.get(), 0));
    Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    Set(TIFFTAG_XRESOLUTION, double(page.x_resolution));
    Set(TIFFTAG_YRESOLUTION, double(page.y_resolution));
    std::string time = page.time;
    if (time.size() == 19) time[4] = time[7] = ':';  // this format's own form
    Set(TIFFTAG_DATETIME, time.c_str());
    Set(TIFFTAG_IMAGEDESCRIPTION, page.description.c_str());
    Set(TIFFTAG_SOFTWARE, kSoftware);
    Set(TIFFTAG_MODEL, page.device.c_str());
    std::vector<uint8_t> row(page.bytes_per_row);
    for (uint32_t y = 0; y < page.height; ++y) {
      rows.Read(row.data(), row.size());
      if (bits)
        for (uint8_t& byte : row) byte = static_cast<uint8_t>(~byte);
      Check(TIFFWriteScanline(file_.get(), row.data(), y, 0) == 1);
    }
    Check(TIFFWriteDirectory(file_.get()) == 1);
    Check(TIFFFlush(file_.get()) == 1);
  }

  void Finish() override { file_.reset(); }

 private:
  template <class Value>
  void Set(uint32_t tag, Value value) {
    Check(TIFFSetField(file_.get(), tag, value) == 1);
  }
  void Check(bool good) const {
    if (!good) throw HostFailure("cannot write " + path_ + ": " + g_tiff_error);
  }

  std::string path_;
  std::unique_ptr<TIFF, TiffCloser> file_;
};

[[noreturn]] void ThrowJpegError(j_common_ptr info) {
  char text[JMSG_LENGTH_MAX];
  info->err->format_message(info, text);
  throw HostFailure(std::string("JPEG: ") + text);
}

class JpegFile : public PictureFile {
 public:
  JpegFile(const std::string& path, int quality)
      : path_(path), quality_(quality), file_(OpenStream(path, "wb")) {
    info_.err = jpeg_std_error(&errors_);
    errors_.error_exit = ThrowJpegError;
    jpeg_create_compress(&info_);
  }
  ~JpegFile() override { jpeg_destroy_compress(&info_); }

  void AddPage(const PageFormat& page, Spool& rows) override {
    jpeg_stdio_dest(&info_, file_.get());
    info_.image_width = page.width;
    info_.image_height = page.height;
    info_.input_components = static_cast<int>(page.Samples());
    info_.in_color_space = page.Samples() == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&info_);
    jpeg_set_quality(&info_, quality_, TRUE);
    jpeg_start_compress(&info_, TRUE);
    std::vector<uint8_t> row(page.bytes_per_row);
    JSAMPROW line = row.data();
    while (info_.next_scanline < info_.image_height) {
      rows.Read(row.data(), row.size());
      jpeg_write_scanlines(&info_, &line, 1);
    }
    jpeg_finish_compress(&info_);
  }

  void Finish() override { CloseStream(std::move(file_), path_); }

 private:
  std::string path_;
  int quality_;
  Stream file_;
  jpeg_error_mgr errors_ = {};
  jpeg_compress_struct info_ = {};
};

}  // namespace

Stream OpenShortLived(const std::string& path) {
  Stream file = OpenStream(path, "w+b");
  std::remove(path.c_str());
  return file;
}

std::unique_ptr<PictureFile> MakePngFile(const std::string& path, const PictureOptions&) {
  return std::make_unique<PngFile>(path);
}

std::unique_ptr<PictureFile> MakeTiffFile(const std::string& path, const PictureOptions&) {
  return std::make_unique<TiffFile>(path);
}

std::unique_ptr<PictureFile> MakeJpegFile(const std::string& path, const PictureOptions& options) {
  return std::make_unique<JpegFile>(path, options.jpeg_quality);
}

}  // namespace scanhost
