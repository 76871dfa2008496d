#include "tests/contract/installation.h"

#include <dlfcn.h>

#include <cstdlib>

namespace scantk::test {

OwnRegistry::OwnRegistry(const std::string& folder) {
  setenv("SCANTK_REGISTRY", (folder + "/registry.reg").c_str(), 1);
}

OwnRegistry::~OwnRegistry() {
  unsetenv("SCANTK_REGISTRY");
}

std::string LibraryPath() {
  return SCANTK_LIBRARY_PATH;
}

HRESULT CallEntryPoint(const char* name) {
  void* library = dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
  auto entry = reinterpret_cast<HRESULT (*)()>(dlsym(library, name));
  return entry ? entry() : E_UNEXPECTED;
}

}  // namespace scantk::test
