#include "host/image_writers/page_writer.h"

#include "host/arguments.h"
#include "host/device_registry.h"
#include "host/image_writers/png_writer.h"
#include "host/image_writers/pnm_writer.h"
#include "host/image_writers/tiff_writer.h"

namespace scanhost {
namespace {

struct Format {
  const char* extension;
  std::unique_ptr<PageWriter> (*make)(const std::string& path);
  bool many_pages;
};

constexpr Format kFormats[] = {
    {".pnm", MakePnmWriter, false}, {".ppm", MakePnmWriter, false},
    {".pgm", MakePnmWriter, false}, {".pbm", MakePnmWriter, false},
#ifdef SCANTK_HAVE_PNG
    {".png", MakePngWriter, false},
#endif
#ifdef SCANTK_HAVE_TIFF
    {".tif", MakeTiffWriter, true}, {".tiff", MakeTiffWriter, true},
#endif
};

const Format& FormatOf(const std::string& path) {
  std::string known;
  const size_t dot = path.find_last_of("./\\");
  const std::string extension = dot == std::string::npos ? "" : path.substr(dot);
  for (const Format& format : kFormats) {
    if (SameText(extension, format.extension)) return format;
    known += std::string(known.empty() ? "" : ", ") + format.extension;
  }
  throw UsageError("cannot write \"" + path + "\": the name must end in one of " + known);
}

}  // namespace

uint32_t BytesPerRow(PixelKind kind, uint32_t width) {
  switch (kind) {
    case PixelKind::kColor:
      return width * 3;
    case PixelKind::kGray:
      return width;
    default:
      return (width + 7) / 8;
  }
}

std::unique_ptr<PageWriter> MakePageWriter(const std::string& path) {
  return FormatOf(path).make(path);
}

const char* DefaultPictureName() {
#ifdef SCANTK_HAVE_PNG
  return "page.png";
#else
  return "page.pnm";
#endif
}

bool HoldsManyPages(const std::string& path) {
  return FormatOf(path).many_pages;
}

}  // namespace scanhost
