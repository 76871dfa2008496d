#include "tests/platform/scratch.h"

#include <cstdlib>
#include <filesystem>

#include "platform/system.h"

namespace scantk {

ScratchFolder::ScratchFolder() {
  path_ = TemporaryFolder() + "scantk-test-XXXXXX";
  if (!mkdtemp(path_.data())) std::abort();
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

ScratchRegistry::ScratchRegistry() {
  setenv("SCANTK_REGISTRY", (folder_.Path() + "/deep/er/registry.reg").c_str(), 1);
}

ScratchRegistry::~ScratchRegistry() {
  unsetenv("SCANTK_REGISTRY");
}

}  // namespace scantk
