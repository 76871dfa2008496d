#include "tests/platform/scratch.h"

#include <filesystem>

#include "platform/system.h"

namespace scantk {

ScratchFolder::ScratchFolder() : path_(CreateTemporaryFile(TemporaryFolder(), "tst")) {
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

// The test runs in a Wine prefix of its build's own, whose registry is as good as a new one; the
// tests remove what they made.
ScratchRegistry::ScratchRegistry() {}
ScratchRegistry::~ScratchRegistry() {}

}  // namespace scantk
