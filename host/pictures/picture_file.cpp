#include "host/pictures/picture_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "host/error_advice.h"

namespace scanhost {
namespace {

constexpr PictureFormat kFormats[] = {
    {"png", ".png", false, MakePngFile},
    {"tiff", ".tif .tiff", true, MakeTiffFile},
    {"pdf", ".pdf", true, MakePdfFile},
    {"pnm", ".pnm .ppm .pgm .pbm", false, MakePnmFile},
};

}  // namespace

uint32_t BytesPerRow(PixelKind kind, uint32_t depth, uint32_t width) {
  if (kind == PixelKind::kBlackAndWhite) return (width + 7) / 8;
  return width * (kind == PixelKind::kColor ? 3 : 1) * (depth / 8);
}

Stream OpenStream(const std::string& path, const char* mode) {
  Stream file(std::fopen(path.c_str(), mode));
  if (!file) throw HostFailure("cannot open " + path + ": " + std::strerror(errno));
  return file;
}

void WriteAll(std::FILE* file, const void* data, size_t size, const std::string& path) {
  if (std::fwrite(data, 1, size, file) != size)
    throw HostFailure("cannot write " + path + ": " + std::strerror(errno));
}

void CloseStream(Stream file, const std::string& path) {
  if (std::fclose(file.release()) != 0)
    throw HostFailure("cannot write " + path + ": " + std::strerror(errno));
}

void Spool::Write(const void* rows, size_t bytes) {
  WriteAll(file_.get(), rows, bytes, path_);
}

void Spool::Rewind() {
  if (std::fseek(file_.get(), 0, SEEK_SET) != 0)
    throw HostFailure("cannot write " + path_ + ": " + std::strerror(errno));
}

void Spool::Read(void* rows, size_t bytes) {
  if (std::fread(rows, 1, bytes, file_.get()) != bytes)
    throw HostFailure("cannot read " + path_ + " back");
}

const PictureFormat& FindFormat(const std::string& name, const std::string& path) {
  const auto lower = [](std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  const std::string extension = lower(std::filesystem::path(path).extension().string());
  std::string known;
  for (const PictureFormat& format : kFormats) {
    std::istringstream list(format.extensions);
    for (std::string one; list >> one;)
      if (name.empty() ? one == extension : "." + lower(name) == one || lower(name) == format.name)
        return format;
    known += std::string(known.empty() ? "" : " ") + format.extensions;
  }
  throw UsageError(name.empty() ? "cannot write \"" + path + "\": the name must end in one of " +
                                      known + ", or --format say what it is"
                                : "\"" + name + "\" is no picture format: one of " + known);
}

}  // namespace scanhost
