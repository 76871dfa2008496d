#include "tests/contract/installation.h"

#include <dlfcn.h>

#include <cstdlib>

namespace scantk::test {

OwnRegistry::OwnRegistry(const std::string& folder) {
  // The C library keeps every text that it is given to copy; this one it only points to.
  static std::string setting;
  setting = "SCANTK_REGISTRY=" + folder + "/registry.reg";
  putenv(setting.data());
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
