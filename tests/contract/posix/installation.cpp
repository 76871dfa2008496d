#include "tests/contract/toolkit.h"

#include <dlfcn.h>

#include <cstdlib>

namespace scantk::test {

OwnRegistry::OwnRegistry(const std::string& folder) {
  // The C library keeps every text that it is given to copy; these it only points to.
  static std::string settings[3];
  settings[0] = "SCANTK_REGISTRY=" + folder + "/registry.reg";
  settings[1] = "SCANTK_DEVICE_STORE=" + folder + "/devices.txt";
  settings[2] = "SCANTK_COMMON_DATA=" + folder;
  for (std::string& setting : settings) putenv(setting.data());
}

OwnRegistry::~OwnRegistry() {
  for (const char* name : {"SCANTK_REGISTRY", "SCANTK_DEVICE_STORE", "SCANTK_COMMON_DATA"})
    unsetenv(name);
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
