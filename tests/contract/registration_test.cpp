// The entry points of the library: registration, unloading.
#include <gtest/gtest.h>

#include "platform/component.h"
#include "tests/contract/class_keys.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

class RegistrationTest : public ::testing::Test {
 protected:
  Sandbox sandbox;
};

TEST_F(RegistrationTest, WritesAndTakesOutItsKeys) {
  ASSERT_EQ(S_OK, CallEntryPoint("DllRegisterServer"));
  ExpectRegistered(LibraryPath());
  ComPtr<IScanner> scanner;
  EXPECT_EQ(S_OK, CreateComponent(CLSID_scanner, IID_IScanner, scanner.OutVoid()));
  scanner.Reset();

  ASSERT_EQ(S_OK, CallEntryPoint("DllUnregisterServer"));
  ExpectUnregistered();
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
