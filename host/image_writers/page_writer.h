// Writers of scanned pages. Rows go to the file as they come, so that memory does not grow with the
// page, and the height is put right at the end: a page may end before or after the row that was
// announced.
//
// Nothing bears the final name until it is complete: the file is called NAME.part while it is
// written.
#ifndef SCANTK_HOST_IMAGE_WRITERS_PAGE_WRITER_H_
#define SCANTK_HOST_IMAGE_WRITERS_PAGE_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace scanhost {

enum class PixelKind { kColor, kGray, kBlackAndWhite };

// The raster as the toolkit hands it over: rows of `bytes_per_row` without padding between them;
// R G B bytes, gray bytes (255 white), or bits (most significant first, set: white), a last partial
// byte being filled up.
struct PageFormat {
  PixelKind kind = PixelKind::kColor;
  uint32_t width = 0;   // pixels
  uint32_t height = 0;  // rows announced; the page may end elsewhere
  uint32_t bytes_per_row = 0;
  uint32_t x_resolution = 0;  // dots per inch
  uint32_t y_resolution = 0;
};

// Bytes that `width` pixels take.
uint32_t BytesPerRow(PixelKind kind, uint32_t width);

// One output file: of one page, or of several where the format can. Calls come as
// (BeginPage, WriteRows..., EndPage)..., Finish; every failure is thrown as HostFailure. Destroyed
// without Finish it removes what it wrote.
class PageWriter {
 public:
  virtual ~PageWriter() = default;

  // Whether a second BeginPage is possible.
  virtual bool ManyPages() const = 0;
  virtual void BeginPage(const PageFormat& format) = 0;
  virtual void WriteRows(const uint8_t* rows, uint32_t count) = 0;
  // The page has as many rows as were written.
  virtual void EndPage() = 0;
  // Leaves the page that was begun out of the file.
  virtual void DropPage() = 0;
  // Gives the file its final name, over an old one. Without a complete page no file is left, and
  // the answer is false.
  virtual bool Finish() = 0;
};

// The writer for a file name: by its extension .pnm, .ppm, .pgm, .pbm, .png, .tif or .tiff. Throws
// UsageError for any other, and for a format that this build of the program lacks.
std::unique_ptr<PageWriter> MakePageWriter(const std::string& path);

// What a picture is called when the user does not say: page.png, or page.pnm without PNG.
const char* DefaultPictureName();

// Whether the extension of `path` names a format that holds several pages.
bool HoldsManyPages(const std::string& path);

}  // namespace scanhost

#endif  // SCANTK_HOST_IMAGE_WRITERS_PAGE_WRITER_H_
