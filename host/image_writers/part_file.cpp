#include "host/image_writers/part_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/error_advice.h"

namespace scanhost {

Stream OpenStream(const std::string& path, const char* mode) {
  Stream file(std::fopen(path.c_str(), mode));
  if (!file) throw HostFailure("cannot open " + path + ": " + std::strerror(errno));
  return file;
}

void WriteAll(std::FILE* file, const void* data, size_t size, const std::string& path) {
  if (std::fwrite(data, 1, size, file) != size)
    throw HostFailure("cannot write " + path + ": " + std::strerror(errno));
}

PartFile::~PartFile() {
  std::error_code ignored;
  if (!committed_) std::filesystem::remove(path(), ignored);
}

void PartFile::CommitAs(const std::string& name) {
  std::error_code error;
  std::filesystem::rename(path(), name, error);
  if (error) throw HostFailure("cannot rename " + path() + ": " + error.message());
  committed_ = true;
}

}  // namespace scanhost
