// A place of its own for each test: a folder, and a registry that nobody else sees.
#ifndef SCANTK_TESTS_PLATFORM_SCRATCH_H_
#define SCANTK_TESTS_PLATFORM_SCRATCH_H_

#include <string>

namespace scantk {

// A new empty folder, removed with what lies in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

// An empty registry for this process and the programs that it starts.
class ScratchRegistry {
 public:
  ScratchRegistry();
  ~ScratchRegistry();
  ScratchRegistry(const ScratchRegistry&) = delete;
  ScratchRegistry& operator=(const ScratchRegistry&) = delete;

 private:
  ScratchFolder folder_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_PLATFORM_SCRATCH_H_
