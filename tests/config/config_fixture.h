// A registry with imaging devices, a discovery component that does as the test says, and a trace of
// every category.
#ifndef SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_
#define SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_

#include <cstring>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "tests/diag/trace_fixture.h"
#include "tests/doubles/fake_discovery.h"

namespace scantk {

class ConfigFixture : public TraceFixture {
 protected:
  // A vendor of the tests' own keeps the per-user key out of everybody's way.
  static constexpr char kVendor[] = "scantk tests";

  ConfigFixture() {
    discovery = {};
    RegisterBuiltInClass(CLSID_DiscoveryBroker, FakeDiscovery::Create);
  }
  ~ConfigFixture() override {
    EXPECT_EQ(0u, discovery.references);
    for (const std::string& name : made_) Make(kImagingClassPath).DeleteSubtree(name);
    Make("Software", RegistryRoot::kCurrentUser).DeleteSubtree(kVendor);
  }

  static RegistryKey Make(const std::string& path,
                          RegistryRoot root = RegistryRoot::kLocalMachine) {
    RegistryKey key;
    EXPECT_EQ(0u, RegistryKey::Create(root, path, &key, nullptr)) << path;
    return key;
  }
  // A device's key and its DeviceData.
  RegistryKey Instance(const std::string& name) {
    made_.push_back(name);
    RegistryKey key = Make(std::string(kImagingClassPath) + "\\" + name);
    Set(key, "Vendor", kVendor);
    return key;
  }
  static RegistryKey Data(const std::string& name) {
    return Make(std::string(kImagingClassPath) + "\\" + name + "\\DeviceData");
  }
  static RegistryKey User(const std::string& subkey = "") {
    return Make(std::string("Software\\") + kVendor + "\\Imvanta\\RIX Settings" + subkey,
                RegistryRoot::kCurrentUser);
  }

  static void Set(RegistryKey& key, const char* name, const std::string& text) {
    EXPECT_EQ(0u, key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size()) + 1));
  }
  // A value as text: strings without their terminator, numbers in decimal, "none" when missing.
  static std::string Get(const RegistryKey& key, const char* name) {
    char bytes[600] = {};
    uint32_t size = sizeof bytes - 1, number = 0;
    RegistryType type;
    if (key.QueryValue(name, &type, bytes, &size) != 0) return "none";
    std::memcpy(&number, bytes, sizeof number);
    return type == RegistryType::kDword ? std::to_string(number) : bytes;
  }

 private:
  std::vector<std::string> made_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_
