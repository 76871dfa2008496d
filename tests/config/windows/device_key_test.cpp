// A device's key as an administrator may have left it: users read and write values, nothing else.
#include <gtest/gtest.h>

#include "config/rediscovery.h"
#include "tests/config/config_fixture.h"

#include <sddl.h>

namespace scantk {
namespace {

class DeviceKeyTest : public ConfigFixture {
 protected:
  // Gives everybody these rights to the device's data, and nobody any other.
  static void Grant(const char* rights) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, 1, &descriptor, nullptr));
    HKEY key = nullptr;
    const std::string path = std::string(kImagingClassPath) + "\\7001\\DeviceData";
    ASSERT_EQ(0, RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, WRITE_DAC, &key));
    EXPECT_EQ(0, RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor));
    RegCloseKey(key);
    LocalFree(descriptor);
  }
};

TEST_F(DeviceKeyTest, AnAddressIsWrittenWithTheRightToWrite) {
  Instance("7001");
  Data("7001");
  RegistryKey classes, all;
  ASSERT_EQ(0u, RegistryKey::OpenImagingClass(&classes));
  Grant("D:(A;;KRKW;;;WD)");
  const std::string path = std::string(kImagingClassPath) + "\\7001\\DeviceData";
  const uint32_t full = RegistryKey::Create(RegistryRoot::kLocalMachine, path, &all, nullptr);
  EXPECT_EQ(0u, SetRegistryString(classes, "7001\\DeviceData", "PortID", "10.0.0.9"));
  Grant("D:(A;;KA;;;WD)");
  if (full == 0) GTEST_SKIP() << "this system does not look at the rights to a key";
}

}  // namespace
}  // namespace scantk
