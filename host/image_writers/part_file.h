// A file under its temporary name.
#ifndef SCANTK_HOST_IMAGE_WRITERS_PART_FILE_H_
#define SCANTK_HOST_IMAGE_WRITERS_PART_FILE_H_

#include <cstdio>
#include <string>

#include "platform/owner.h"

namespace scanhost {

struct StreamTraits {
  using Value = std::FILE*;
  static Value Invalid() { return nullptr; }
  static void Close(Value file) { std::fclose(file); }
};
using Stream = scantk::Owner<StreamTraits>;

// Throws HostFailure, with the system's reason.
Stream OpenStream(const std::string& path, const char* mode);
void WriteAll(std::FILE* file, const void* data, size_t size, const std::string& path);

// NAME.part, which becomes NAME by Commit and is removed by the destructor otherwise. Whoever
// writes it must have closed it before either.
class PartFile {
 public:
  explicit PartFile(const std::string& final_path) : final_path_(final_path) {}
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  std::string path() const { return final_path_ + ".part"; }
  void Commit() { CommitAs(final_path_); }
  // The same under another name.
  void CommitAs(const std::string& name);

 private:
  std::string final_path_;
  bool committed_ = false;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_IMAGE_WRITERS_PART_FILE_H_
