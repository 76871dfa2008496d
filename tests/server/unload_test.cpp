// A host that lets the library go before it has closed its sessions.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <dlfcn.h>
#endif

#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

#ifdef _WIN32
HMODULE Load() {
  return LoadLibraryA(LibraryPath().c_str());
}
const auto Free = FreeLibrary;
void* Entry(HMODULE library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(library, name));
}
#else
void* Load() {
  return dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
}
const auto Free = dlclose;
const auto Entry = dlsym;
#endif

HRESULT CanUnload(decltype(Load()) library) {
  return reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)()>(Entry(library, "DllCanUnloadNow"))();
}

ComPtr<IScanner> MakeScanner(decltype(Load()) library) {
  const auto get_class = reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**)>(
      Entry(library, "DllGetClassObject"));
  ComPtr<IClassFactory> factory;
  ComPtr<IScanner> scanner;
  EXPECT_EQ(S_OK, get_class(CLSID_scanner, IID_IClassFactory, factory.OutVoid()));
  EXPECT_EQ(S_OK, factory->CreateInstance(nullptr, IID_IScanner, scanner.OutVoid()));
  return scanner;
}

// Without that its device stays locked until the process ends.
TEST(UnloadTest, AnOpenSessionKeepsTheLibrary) {
  Sandbox sandbox;
  const auto name = Wide(sandbox.AddNetworkDevice("127.0.0.1"));
  uint32_t session = 0, code = 0;
  const auto library = Load();
  ComPtr<IScanner> scanner = MakeScanner(library);
  ASSERT_EQ(S_OK, scanner->OpenScannerSession(name.c_str(), T_IO_NETWORK, &session, &code));
  scanner.Reset();
  EXPECT_EQ(S_FALSE, CanUnload(library));
  Free(library);
  const auto again = Load();
  EXPECT_EQ(S_FALSE, CanUnload(again)) << "it was not unloaded";
  scanner = MakeScanner(again);
  EXPECT_EQ(S_OK, scanner->CloseScannerSession(session, &code));
  scanner.Reset();
  EXPECT_EQ(S_OK, CanUnload(again));
  // It stays: what it made once for the process a leak checker finds by way of it.
}

}  // namespace
}  // namespace scantk::test
