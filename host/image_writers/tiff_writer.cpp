#include "host/image_writers/tiff_writer.h"

#include <tiffio.h>

#include <cstdarg>
#include <vector>

#include "host/error_advice.h"
#include "host/image_writers/part_file.h"

namespace scanhost {
namespace {

struct TiffTraits {
  using Value = TIFF*;
  static Value Invalid() { return nullptr; }
  static void Close(Value file) { TIFFClose(file); }
};

// What the library said last; it reports through a process-wide handler.
std::string g_last_error;

void KeepError(const char* module, const char* format, va_list arguments) {
  char text[256];
  std::vsnprintf(text, sizeof text, format, arguments);
  g_last_error = std::string(module ? module : "TIFF") + ": " + text;
}

// Rows that are packed together: a strip of some hundred kilobytes at most.
constexpr uint32_t kRowsPerStrip = 32;

class TiffWriter : public PageWriter {
 public:
  explicit TiffWriter(const std::string& path) : part_(path) {
    TIFFSetErrorHandler(KeepError);
    TIFFSetWarningHandler(nullptr);
  }

  bool ManyPages() const override { return true; }

  void BeginPage(const PageFormat& format) override {
    format_ = format;
    rows_ = 0;
    if (!file_) file_.Reset(TIFFOpen(part_.path().c_str(), "w"));
    if (!file_) throw HostFailure("cannot open " + part_.path() + ": " + g_last_error);
    const bool color = format.kind == PixelKind::kColor;
    const bool bits = format.kind == PixelKind::kBlackAndWhite;
    Set(TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
    Set(TIFFTAG_IMAGEWIDTH, format.width);
    Set(TIFFTAG_BITSPERSAMPLE, bits ? 1 : 8);
    Set(TIFFTAG_SAMPLESPERPIXEL, color ? 3 : 1);
    Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    Set(TIFFTAG_PHOTOMETRIC, color  ? PHOTOMETRIC_RGB
                             : bits ? PHOTOMETRIC_MINISWHITE
                                    : PHOTOMETRIC_MINISBLACK);
    Set(TIFFTAG_COMPRESSION, bits ? COMPRESSION_CCITTFAX4 : COMPRESSION_ADOBE_DEFLATE);
    if (!bits) Set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    Set(TIFFTAG_ROWSPERSTRIP, kRowsPerStrip);
    Set(TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    Check(TIFFSetField(file_.Get(), TIFFTAG_XRESOLUTION, double(format.x_resolution)) &&
          TIFFSetField(file_.Get(), TIFFTAG_YRESOLUTION, double(format.y_resolution)));
    strip_.clear();
    strip_.reserve(size_t{format.bytes_per_row} * kRowsPerStrip);
  }

  void WriteRows(const uint8_t* rows, uint32_t count) override {
    for (uint32_t i = 0; i < count; ++i, rows += format_.bytes_per_row) {
      for (uint32_t x = 0; x < format_.bytes_per_row; ++x)
        strip_.push_back(format_.kind == PixelKind::kBlackAndWhite ? static_cast<uint8_t>(~rows[x])
                                                                   : rows[x]);
      if (++rows_ % kRowsPerStrip == 0) WriteStrip();
    }
  }

  void EndPage() override {
    if (rows_ == 0) throw HostFailure("TIFF: a picture without rows cannot be written");
    WriteStrip();
    Check(TIFFWriteDirectory(file_.Get()) == 1);
    ++pages_;
  }

  void DropPage() override {
    if (!file_) return;
    if (pages_ == 0) {
      file_.Reset();
      return;
    }
    // The page is completed as it stands and then taken out of the chain of pages.
    if (rows_ == 0) WriteRows(std::vector<uint8_t>(format_.bytes_per_row).data(), 1);
    WriteStrip();
    Check(TIFFWriteDirectory(file_.Get()) == 1);
    Check(TIFFUnlinkDirectory(file_.Get(), static_cast<tdir_t>(pages_ + 1)) == 1);
  }

  bool Finish() override {
    if (pages_ == 0) return false;
    Check(TIFFFlush(file_.Get()) == 1);
    file_.Reset();
    part_.Commit();
    return true;
  }

 private:
  // The length is not announced: it grows by a strip at a time.
  void WriteStrip() {
    if (strip_.empty()) return;
    Set(TIFFTAG_IMAGELENGTH, rows_);
    Check(TIFFWriteEncodedStrip(file_.Get(), (rows_ - 1) / kRowsPerStrip, strip_.data(),
                                static_cast<tmsize_t>(strip_.size())) > 0);
    strip_.clear();
  }

  template <class Value>
  void Set(uint32_t tag, Value value) {
    Check(TIFFSetField(file_.Get(), tag, value) == 1);
  }
  void Check(bool good) const {
    if (!good) throw HostFailure("cannot write " + part_.path() + ": " + g_last_error);
  }

  PartFile part_;
  scantk::Owner<TiffTraits> file_;
  PageFormat format_;
  uint32_t rows_ = 0;
  uint32_t pages_ = 0;
  std::vector<uint8_t> strip_;  // rows that wait for the rest of their strip
};

}  // namespace

std::unique_ptr<PageWriter> MakeTiffWriter(const std::string& path) {
  return std::make_unique<TiffWriter>(path);
}

}  // namespace scanhost
