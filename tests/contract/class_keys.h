// The registered classes, as tests look at them.
#ifndef SCANTK_TESTS_CONTRACT_CLASS_KEYS_H_
#define SCANTK_TESTS_CONTRACT_CLASS_KEYS_H_

#include <gtest/gtest.h>

#include <string>

#include "platform/registry.h"

namespace scantk::test {

inline const std::string kScannerClass = "{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37}";
inline const std::string kScannerKey = "CLSID\\" + kScannerClass;

inline bool ClassKeyExists(const std::string& path) {
  RegistryKey key;
  return RegistryKey::Open(RegistryRoot::kClassesRoot, path, RegistryAccess::kRead, &key) == 0;
}

inline std::string ClassValue(const std::string& path, const std::string& name = "") {
  RegistryKey key;
  char text[1024] = {};
  uint32_t size = sizeof text - 1;
  RegistryType type;
  if (RegistryKey::Open(RegistryRoot::kClassesRoot, path, RegistryAccess::kRead, &key) ||
      key.QueryValue(name, &type, text, &size))
    return "(none)";
  return text;
}

inline void ExpectRegistered(const std::string& library) {
  EXPECT_EQ("Kelvra_scantk1.scanner.1", ClassValue("Kelvra_scantk1.scanner\\CurVer"));
  for (const char* prog_id : {"Kelvra_scantk1.scanner.1", "Kelvra_scantk1.scanner"}) {
    EXPECT_EQ("scanner Class", ClassValue(prog_id));
    EXPECT_EQ(kScannerClass, ClassValue(std::string(prog_id) + "\\CLSID"));
  }
  EXPECT_EQ("scanner Class", ClassValue(kScannerKey));
  EXPECT_EQ("scantk1.scanner.1", ClassValue(kScannerKey + "\\ProgID"));
  EXPECT_EQ("Kelvra_scantk1.scanner", ClassValue(kScannerKey + "\\VersionIndependentProgID"));
  EXPECT_EQ(library, ClassValue(kScannerKey + "\\InprocServer32"));
  EXPECT_EQ("Both", ClassValue(kScannerKey + "\\InprocServer32", "ThreadingModel"));
  EXPECT_EQ("{3C9E5B21-8A74-4D0F-B6E2-91F07A3C5D48}", ClassValue(kScannerKey + "\\TypeLib"));
  for (const char* category :
       {"{5B8E2C47-0D91-4F3A-A6E2-7C19B4D05F38}", "{C2094E7A-6B3F-4D15-8E71-A0F3D5C28B64}",
        "{7E31A9D5-2C68-4B07-9F4E-36D8B1A7C520}"})
    EXPECT_TRUE(ClassKeyExists(kScannerKey + "\\Implemented Categories\\" + category)) << category;
}

inline void ExpectUnregistered() {
  EXPECT_FALSE(ClassKeyExists(kScannerKey));
  EXPECT_FALSE(ClassKeyExists("Kelvra_scantk1.scanner"));
  EXPECT_FALSE(ClassKeyExists("Kelvra_scantk1.scanner.1"));
  EXPECT_TRUE(ClassKeyExists("CLSID"));
}

}  // namespace scantk::test

#endif  // SCANTK_TESTS_CONTRACT_CLASS_KEYS_H_
