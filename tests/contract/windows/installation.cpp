#include "tests/contract/toolkit.h"

#include "platform/system.h"

namespace scantk::test {
namespace {

// Of this process, so that test programs run side by side.
std::string OwnKey() {
  return "Software\\scantk test registries\\" + std::to_string(ProcessId());
}

}  // namespace

OwnRegistry::OwnRegistry(const std::string&) {
  HKEY key = nullptr;
  RegCreateKeyExA(HKEY_CURRENT_USER, OwnKey().c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                  KEY_ALL_ACCESS, nullptr, &key, nullptr);
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, key);
  RegCloseKey(key);
}

OwnRegistry::~OwnRegistry() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegDeleteTreeA(HKEY_CURRENT_USER, OwnKey().c_str());
}

std::string LibraryPath() {
  char path[MAX_PATH];
  const DWORD length = GetFullPathNameA(SCANTK_LIBRARY_PATH, sizeof path, path, nullptr);
  return length < sizeof path ? std::string(path, length) : std::string();
}

HRESULT CallEntryPoint(const char* name) {
  const FARPROC entry = GetProcAddress(LoadLibraryA(LibraryPath().c_str()), name);
  if (!entry) return E_UNEXPECTED;
  return reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(entry))();
}

}  // namespace scantk::test
