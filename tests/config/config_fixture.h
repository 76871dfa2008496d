// A registry with imaging devices, and a trace of every category.
#ifndef SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_
#define SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_

#include <string>
#include <vector>

#include "platform/registry.h"
#include "tests/diag/trace_fixture.h"

namespace scantk {

// A vendor of the tests' own keeps the per-user key out of everybody's way.
inline constexpr char kTestVendor[] = "scantk tests";

class ConfigFixture : public TraceFixture {
 protected:
  ~ConfigFixture() override {
    RegistryKey classes, user;
    if (RegistryKey::Open(RegistryRoot::kLocalMachine, kImagingClassPath,
                          RegistryAccess::kReadWrite, &classes) == 0)
      for (const std::string& key : made_) classes.DeleteSubtree(key);
    if (RegistryKey::Open(RegistryRoot::kCurrentUser, "Software", RegistryAccess::kReadWrite,
                          &user) == 0)
      user.DeleteSubtree(kTestVendor);
  }

  RegistryKey Make(const std::string& path, RegistryRoot root = RegistryRoot::kLocalMachine) {
    RegistryKey key;
    EXPECT_EQ(0u, RegistryKey::Create(root, path, &key, nullptr)) << path;
    return key;
  }

  // A device's key and its DeviceData.
  RegistryKey Instance(const std::string& name) {
    made_.push_back(name);
    RegistryKey key = Make(std::string(kImagingClassPath) + "\\" + name);
    Set(key, "Vendor", kTestVendor);
    return key;
  }
  RegistryKey Data(const std::string& name) {
    return Make(std::string(kImagingClassPath) + "\\" + name + "\\DeviceData");
  }
  static std::string UserPath(const std::string& subkey = "") {
    return std::string("Software\\") + kTestVendor + "\\Imvanta\\RIX Settings" + subkey;
  }

  static void Set(RegistryKey& key, const char* name, const std::string& text) {
    EXPECT_EQ(0u, key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size()) + 1));
  }
  // A value as text: strings without their terminator, numbers in decimal, "none" when missing.
  static std::string Get(const RegistryKey& key, const char* name) {
    char bytes[600] = {};
    uint32_t size = sizeof bytes - 1;
    RegistryType type;
    if (key.QueryValue(name, &type, bytes, &size) != 0) return "none";
    if (type != RegistryType::kDword) return bytes;
    uint32_t number;
    std::memcpy(&number, bytes, sizeof number);
    return std::to_string(number);
  }

 private:
  std::vector<std::string> made_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_
