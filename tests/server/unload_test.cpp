// A host that lets the library go before it has closed its sessions.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <dlfcn.h>
#endif

#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

class Library {
 public:
#ifdef _WIN32
  Library() : handle_(LoadLibraryA(LibraryPath().c_str())) {}
  void Stay() const {}
  ~Library() {
    FreeLibrary(handle_);
  }
  void* Entry(const char* name) const {
    return reinterpret_cast<void*>(GetProcAddress(handle_, name));
  }

 private:
  HMODULE handle_;
#else
  Library() : handle_(dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL)) {}
  // What the library makes once for the process is never freed: as long as it is loaded, a leak
  // checker sees who points there.
  void Stay() const {
    dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_NODELETE);
  }
  ~Library() {
    dlclose(handle_);
  }
  void* Entry(const char* name) const {
    return dlsym(handle_, name);
  }

 private:
  void* handle_;
#endif
};

HRESULT CanUnload(const Library& library) {
  return reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)()>(library.Entry("DllCanUnloadNow"))();
}

ComPtr<IScanner> MakeScanner(const Library& library) {
  const auto get_class = reinterpret_cast<HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**)>(
      library.Entry("DllGetClassObject"));
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
  {
    const Library library;
    ComPtr<IScanner> scanner = MakeScanner(library);
    EXPECT_EQ(S_FALSE, CanUnload(library));
    ASSERT_EQ(S_OK, scanner->OpenScannerSession(name.c_str(), T_IO_NETWORK, &session, &code));
    scanner.Reset();
    EXPECT_EQ(S_FALSE, CanUnload(library));
  }
  const Library again;
  EXPECT_EQ(S_FALSE, CanUnload(again)) << "it was not unloaded";
  ComPtr<IScanner> scanner = MakeScanner(again);
  EXPECT_EQ(S_OK, scanner->CloseScannerSession(session, &code));
  scanner.Reset();
  EXPECT_EQ(S_OK, CanUnload(again));
  again.Stay();
}

}  // namespace
}  // namespace scantk::test
