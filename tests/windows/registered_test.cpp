// The component as the system's installer and its component runtime see it: registered by regsvr32,
// created by class identifier.
#include "contract/component_types.h"

#include <gtest/gtest.h>
#include <oleauto.h>

#include <cstdlib>
#include <thread>

#include "tests/contract/class_keys.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

// Runs `body` on a thread of its own in an apartment of the kind `apartment`.
template <class Body>
void InApartment(COINIT apartment, const Body& body) {
  std::thread([&] {
    CoInitializeEx(nullptr, apartment);
    body();
    CoUninitialize();
  }).join();
}

constexpr char kTypeLibrary[] = "TypeLib\\{3C9E5B21-8A74-4D0F-B6E2-91F07A3C5D48}";

int RegSvr32(const std::string& options) {
  return std::system(("regsvr32 " + options + " \"" + LibraryPath() + "\"").c_str());
}

TEST(RegSvr32Test, WritesTheKeysAndTakesThemOut) {
  ASSERT_EQ(0, RegSvr32("/s"));
  ExpectRegistered(LibraryPath());
  EXPECT_EQ(LibraryPath(), ClassValue(std::string(kTypeLibrary) + "\\1.0\\0\\win64"));
  ASSERT_EQ(0, RegSvr32("/s /u"));
  ExpectUnregistered();
  EXPECT_FALSE(ClassKeyExists(kTypeLibrary));
  EXPECT_EQ(0, RegSvr32("/s /u")) << "a second time";
  EXPECT_NE(0, std::system("regsvr32 /s \"no such library.dll\"")) << "failures would be seen";
}

class RegisteredTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(0, RegSvr32("/s")); }
  static void TearDownTestSuite() { EXPECT_EQ(0, RegSvr32("/s /u")); }

  template <class Interface>
  static HRESULT Create(ComPtr<Interface>* object, const IID& iid) {
    return CoCreateInstance(CLSID_scanner, nullptr, CLSCTX_INPROC_SERVER, iid, object->OutVoid());
  }
};

// Whether the object's code is the library's own, and not a proxy's.
bool IsServedByTheLibrary(IUnknown* object) {
  HMODULE owner = nullptr;
  GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      *reinterpret_cast<const char**>(object), &owner);
  return owner && owner == GetModuleHandleA("scantk1.dll");
}

TEST_F(RegisteredTest, ServesEveryApartmentDirectly) {
  for (COINIT apartment : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED}) {
    SCOPED_TRACE(apartment);
    InApartment(apartment, [&] {
      ComPtr<IScanner> scanner;
      ASSERT_EQ(S_OK, Create(&scanner, IID_IScanner));
      EXPECT_TRUE(IsServedByTheLibrary(scanner.Get()));
      EXPECT_EQ(kInvalidSession, Call(scanner, &IScanner::CloseScannerSession, 4711u));
    });
  }
}

TEST_F(RegisteredTest, IsFoundByItsNames) {
  InApartment(COINIT_MULTITHREADED, [] {
    for (const wchar_t* name : {L"Kelvra_scantk1.scanner", L"Kelvra_scantk1.scanner.1"}) {
      CLSID clsid = {};
      EXPECT_EQ(S_OK, CLSIDFromProgID(name, &clsid));
      EXPECT_TRUE(clsid == CLSID_scanner);
    }
    ComPtr<ITypeLib> library;
    EXPECT_EQ(S_OK, LoadRegTypeLib(LIBID_DRIVERLib, 1, 0, 0, library.Out()));
  });
}

// Runs in the only apartment of the process, so that the runtime may unload the library.
TEST_F(RegisteredTest, IsUnloadedWhenNothingIsLeft) {
  InApartment(COINIT_MULTITHREADED, [] {
    ComPtr<IScanner> scanner;
    ASSERT_EQ(S_OK, Create(&scanner, IID_IScanner));
    using CanUnload = HRESULT(WINAPI*)();
    const auto can_unload = reinterpret_cast<CanUnload>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleA("scantk1.dll"), "DllCanUnloadNow")));
    ASSERT_TRUE(can_unload);
    EXPECT_EQ(S_FALSE, can_unload());
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_TRUE(GetModuleHandleA("scantk1.dll")) << "while an object lives";
    scanner.Reset();
    EXPECT_EQ(S_OK, can_unload());
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_FALSE(GetModuleHandleA("scantk1.dll"));
    // And it can come back.
    EXPECT_EQ(S_OK, Create(&scanner, IID_IScanner));
  });
}

}  // namespace
}  // namespace scantk::test
