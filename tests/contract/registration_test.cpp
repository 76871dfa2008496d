// The entry points of the library: registration in the registry file, unloading.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "platform/component.h"
#include "platform/registry.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

constexpr char kClsid[] = "{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37}";
const std::string kClassKey = std::string("CLSID\\") + kClsid;

class RegistrationTest : public ::testing::Test {
 protected:
  HRESULT CallEntryPoint(const char* name) {
    void* library = dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    auto entry = reinterpret_cast<HRESULT (*)()>(dlsym(library, name));
    return entry ? entry() : E_UNEXPECTED;
  }
  static bool Exists(const std::string& path) {
    RegistryKey key;
    return RegistryKey::Open(RegistryRoot::kClassesRoot, path, RegistryAccess::kRead, &key) == 0;
  }
  static std::string Value(const std::string& path, const std::string& name = "") {
    RegistryKey key;
    char text[1024] = {};
    uint32_t size = sizeof text - 1;
    RegistryType type;
    if (RegistryKey::Open(RegistryRoot::kClassesRoot, path, RegistryAccess::kRead, &key) ||
        key.QueryValue(name, &type, text, &size))
      return "(none)";
    return text;
  }

  Sandbox sandbox;
};

TEST_F(RegistrationTest, WritesAndTakesOutItsKeys) {
  ASSERT_EQ(S_OK, CallEntryPoint("DllRegisterServer"));
  EXPECT_EQ("Kelvra_scantk1.scanner.1", Value("Kelvra_scantk1.scanner\\CurVer"));
  EXPECT_EQ(kClsid, Value("Kelvra_scantk1.scanner.1\\CLSID"));
  EXPECT_EQ(kClsid, Value("Kelvra_scantk1.scanner\\CLSID"));
  EXPECT_EQ("scanner Class", Value(kClassKey));
  EXPECT_EQ("scantk1.scanner.1", Value(kClassKey + "\\ProgID"));
  EXPECT_EQ("Kelvra_scantk1.scanner", Value(kClassKey + "\\VersionIndependentProgID"));
  EXPECT_EQ(LibraryPath(), Value(kClassKey + "\\InprocServer32"));
  EXPECT_EQ("Both", Value(kClassKey + "\\InprocServer32", "ThreadingModel"));
  EXPECT_EQ("{3C9E5B21-8A74-4D0F-B6E2-91F07A3C5D48}", Value(kClassKey + "\\TypeLib"));
  for (const char* category :
       {"{5B8E2C47-0D91-4F3A-A6E2-7C19B4D05F38}", "{C2094E7A-6B3F-4D15-8E71-A0F3D5C28B64}",
        "{7E31A9D5-2C68-4B07-9F4E-36D8B1A7C520}"})
    EXPECT_TRUE(Exists(kClassKey + "\\Implemented Categories\\" + category)) << category;

  ComPtr<IScanner> scanner;
  EXPECT_EQ(S_OK, CreateComponent(CLSID_scanner, IID_IScanner, scanner.OutVoid()));
  scanner.Reset();

  ASSERT_EQ(S_OK, CallEntryPoint("DllUnregisterServer"));
  EXPECT_FALSE(Exists(kClassKey));
  EXPECT_FALSE(Exists("Kelvra_scantk1.scanner"));
  EXPECT_FALSE(Exists("Kelvra_scantk1.scanner.1"));
  EXPECT_TRUE(Exists("CLSID"));
  EXPECT_EQ(REGDB_E_CLASSNOTREG, CreateComponent(CLSID_scanner, IID_IScanner, scanner.OutVoid()));
}

TEST_F(RegistrationTest, UnloadsOnlyWithoutObjectsAndLocks) {
  EXPECT_EQ(S_OK, CallEntryPoint("DllCanUnloadNow"));
  {
    Toolkit toolkit;
    EXPECT_EQ(S_FALSE, CallEntryPoint("DllCanUnloadNow"));
  }
  EXPECT_EQ(S_OK, CallEntryPoint("DllCanUnloadNow"));
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(S_OK,
            GetClassObjectFrom(LibraryPath(), CLSID_scanner, IID_IClassFactory, factory.OutVoid()));
  EXPECT_EQ(S_OK, CallEntryPoint("DllCanUnloadNow"));
  EXPECT_EQ(S_OK, factory->LockServer(1));
  EXPECT_EQ(S_FALSE, CallEntryPoint("DllCanUnloadNow"));
  EXPECT_EQ(S_OK, factory->LockServer(0));
  EXPECT_EQ(S_OK, CallEntryPoint("DllCanUnloadNow"));
}

}  // namespace
}  // namespace scantk::test
