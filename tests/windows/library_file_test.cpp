// The library as a file: what it exports, what it needs, what it carries.
#include "contract/component_types.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "platform/owner.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

struct LibraryTraits {
  using Value = HMODULE;
  static Value Invalid() { return nullptr; }
  static void Close(Value library) { FreeLibrary(library); }
};

class LibraryFileTest : public ::testing::Test {
 protected:
  LibraryFileTest() : library_(LoadLibraryA(LibraryPath().c_str())) {}
  void SetUp() override { ASSERT_TRUE(library_); }

  template <class T>
  const T* At(DWORD offset) const {
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(library_.Get()) + offset);
  }
  template <class T>
  const T* Directory(int number) const {
    const auto* headers =
        At<IMAGE_NT_HEADERS64>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
    return At<T>(headers->OptionalHeader.DataDirectory[number].VirtualAddress);
  }

  Owner<LibraryTraits> library_;
};

TEST_F(LibraryFileTest, ExportsTheFourEntryPoints) {
  const auto* exports = Directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
  EXPECT_STREQ("scantk1.dll", At<char>(exports->Name));
  EXPECT_EQ(4u, exports->NumberOfFunctions);
  std::map<DWORD, std::string> names;
  for (DWORD i = 0; i < exports->NumberOfNames; ++i)
    names[exports->Base + At<WORD>(exports->AddressOfNameOrdinals)[i]] =
        At<char>(At<DWORD>(exports->AddressOfNames)[i]);
  EXPECT_THAT(names, ElementsAre(Pair(1, "DllCanUnloadNow"), Pair(2, "DllGetClassObject"),
                                 Pair(3, "DllRegisterServer"), Pair(4, "DllUnregisterServer")));
}

TEST_F(LibraryFileTest, NeedsTheSystemOnly) {
  const std::set<std::string> system = {"ADVAPI32.dll", "KERNEL32.dll", "msvcrt.dll",
                                        "ole32.dll",    "OLEAUT32.dll", "SETUPAPI.dll",
                                        "SHELL32.dll",  "WS2_32.dll"};
  std::set<uint64_t> atl;
  const auto* entry = Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
  for (; entry->Name != 0; ++entry) {
    const std::string name = At<char>(entry->Name);
    if (_stricmp(name.c_str(), "ATL.DLL") != 0) {
      EXPECT_EQ(1u, system.count(name)) << name;
      continue;
    }
    for (const auto* thunk = At<IMAGE_THUNK_DATA64>(entry->OriginalFirstThunk);
         thunk->u1.Ordinal != 0; ++thunk) {
      EXPECT_TRUE(IMAGE_SNAP_BY_ORDINAL64(thunk->u1.Ordinal)) << "imported by name";
      atl.insert(IMAGE_ORDINAL64(thunk->u1.Ordinal));
    }
  }
  EXPECT_THAT(atl, ElementsAre(15, 16, 18, 21, 23, 32, 49, 57));
}

TEST_F(LibraryFileTest, CarriesItsResources) {
  EXPECT_TRUE(FindResourceA(library_.Get(), MAKEINTRESOURCEA(1), "TYPELIB"));
  EXPECT_TRUE(FindResourceA(library_.Get(), MAKEINTRESOURCEA(101), "REGISTRY"));
  char name[32] = {};
  EXPECT_EQ(6, LoadStringA(library_.Get(), 100, name, sizeof name));
  EXPECT_STREQ("scantk", name);
}

}  // namespace
}  // namespace scantk::test
