// Files of scanned pages. A page comes whole: its rows lie in a spool until the height is known, so
// memory does not grow with it and nothing is encoded twice.
#ifndef SCANTK_HOST_PICTURES_PICTURE_FILE_H_
#define SCANTK_HOST_PICTURES_PICTURE_FILE_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace scanhost {

enum class PixelKind { kColor, kGray, kBlackAndWhite };

// The raster as the toolkit hands it over: rows of `bytes_per_row` without padding between them;
// R G B samples, gray samples (all bits set: white) of one byte, or of two with the low byte first,
// or bits (most significant first, set: white), a last partial byte being filled up.
struct PageFormat {
  PixelKind kind = PixelKind::kColor;
  uint32_t depth = 8;   // bits of a sample: 1, 8 or 16
  uint32_t width = 0;   // pixels
  uint32_t height = 0;  // rows
  uint32_t bytes_per_row = 0;
  uint32_t x_resolution = 0;  // dots per inch, as granted
  uint32_t y_resolution = 0;
  // What the file says about itself where the format has a place for it.
  std::string description;
  std::string time;  // 2026-01-31 23:59:58
  std::string device;

  uint32_t Samples() const { return kind == PixelKind::kColor ? 3 : 1; }
};

// Bytes that `width` pixels take.
uint32_t BytesPerRow(PixelKind kind, uint32_t depth, uint32_t width);

struct StreamCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

// Throw HostFailure with the system's reason.
Stream OpenStream(const std::string& path, const char* mode);
// A new file to write and read, which the system removes when it is closed.
Stream OpenShortLived(const std::string& path);
void WriteAll(std::FILE* file, const void* data, size_t size, const std::string& path);
void CloseStream(Stream file, const std::string& path);

// Rows of one page on their way to a file.
class Spool {
 public:
  // Makes the file, which is gone when the spool or the process is, however that ends. Throws
  // HostFailure, as do the others.
  explicit Spool(const std::string& path) : path_(path), file_(OpenShortLived(path)) {}
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;

  void Write(const void* rows, size_t bytes);
  void Rewind();
  void Read(void* rows, size_t bytes);

 private:
  std::string path_;
  Stream file_;
};

// One file: of one page, or of several where the format can. Every failure is thrown as
// HostFailure. Between two calls the file holds every page that was added.
class PictureFile {
 public:
  virtual ~PictureFile() = default;
  // Takes `page.height` rows from the spool's present place on.
  virtual void AddPage(const PageFormat& page, Spool& rows) = 0;
  // Completes the file. It is useless without.
  virtual void Finish() = 0;
};

struct PictureOptions {
  int jpeg_quality = 0;  // of pages inside a PDF file; 0: lossless
};

struct PictureFormat {
  const char* name;        // "png"
  const char* extensions;  // ".png", separated by blanks
  bool many_pages;
  std::unique_ptr<PictureFile> (*make)(const std::string& path, const PictureOptions& options);
};

// The format called `name`, or without one that of `path`'s extension. Throws UsageError.
const PictureFormat& FindFormat(const std::string& name, const std::string& path);

// The writers; the first two, and the JPEG picture of one page, come from the system's libraries.
std::unique_ptr<PictureFile> MakePngFile(const std::string& path, const PictureOptions& options);
std::unique_ptr<PictureFile> MakeTiffFile(const std::string& path, const PictureOptions& options);
std::unique_ptr<PictureFile> MakeJpegFile(const std::string& path, const PictureOptions& options);
std::unique_ptr<PictureFile> MakePnmFile(const std::string& path, const PictureOptions& options);
std::unique_ptr<PictureFile> MakePdfFile(const std::string& path, const PictureOptions& options);

}  // namespace scanhost

#endif  // SCANTK_HOST_PICTURES_PICTURE_FILE_H_
