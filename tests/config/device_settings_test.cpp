#include "config/device_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/settings_key.h"
#include "tests/config/config_fixture.h"
#include "tests/config/fake_discovery.h"

namespace scantk {
namespace {

class DeviceSettingsTest : public ConfigFixture {
 protected:
  DeviceSettingsTest() {
    Script() = DiscoveryScript();
    RegisterBuiltInClass(CLSID_DiscoveryBroker, FakeBroker::Create);
  }

  uint32_t Find(const char* wanted) {
    TraceLog trace;
    settings_ = {};
    return GetDIScannerDeviceSettings(trace, wanted, &settings_, &switches_);
  }
  RegistryKey MakeDevice(const std::string& name, const char* file, const char* network_id) {
    RegistryKey key = Instance(name), data = Data(name);
    Set(key, "CreateFileName", file);
    Set(key, "DriverDesc", "A scanner");
    if (*network_id) data.SetDword("VelkanIOType", 5);
    Set(data, "NetworkDeviceID", network_id);
    Set(data, "PortNumber", "2");
    Set(data, "ModelString", "Model");
    return data;
  }

  DeviceSettings settings_;
  DeviceSwitches switches_;
};

TEST_F(DeviceSettingsTest, MatchesTheStoredNamesBeginning) {
  MakeDevice("7001", "USB#VID_1234&PID_5678#7", "");
  MakeDevice("7002", "usb#vid_9", "").SetDword("VelkanIOType", 1);
  RegistryKey network = MakeDevice("7003x", "only#file", "net#one");
  Set(network, "StaticIP", "host");
  const struct {
    const char *wanted, *key, *opened;  // no key: not found
  } cases[] = {
      {"usb#vid_1234", "7001", "usb#vid_1234"},
      {"USB#VID_1234&pid_5678#7", "7001", "USB#VID_1234&pid_5678#7"},
      {"usb#vid_9", "7002", "usb#vid_9"},
      {"usb#vid_9z", "", "\\name:\\port:"},
      {"NET#", "7003", "\\name:host\\port:2"},
      {"only#file", "", "\\name:\\port:"},
      {"", "7001", ""},
      {nullptr, "7001", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wanted ? c.wanted : "null");
    switches_ = {};
    EXPECT_EQ(*c.key ? 1u : 0u, Find(c.wanted));
    EXPECT_STREQ(c.key, switches_.deviceKeyName);
    EXPECT_STREQ(c.opened, settings_.ioDeviceName);
  }
  EXPECT_EQ(0u, Find(std::string(400, 'x').c_str()));
  MakeDevice("7005", std::string(259, 'y').c_str(), "");
  EXPECT_EQ(1u, Find(std::string(259, 'Y').c_str()));
  EXPECT_EQ(std::string(259, 'Y'), settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, SwitchesKeepWhatTheRegistryLacks) {
  RegistryKey data = MakeDevice("7001", "dev", "");
  data.SetDword("ImgLog", 1);
  data.SetDword("MaskADF", 2);
  data.SetDword("ScrollCap0", 3);
  data.SetDword("DeviceBW", 4);
  Set(data, "URS_Counter", "5");  // whatever its type
  EXPECT_EQ(1u, Find("dev"));
  MakeDevice("7002", "other", "");
  EXPECT_EQ(1u, Find("other"));
  EXPECT_STREQ("7002", switches_.deviceKeyName);
  EXPECT_EQ(1u, switches_.ImgLog);
  EXPECT_EQ(2u, switches_.m_wMaskADF);
  EXPECT_EQ(3u, switches_.ScrollCap0);
  EXPECT_EQ(4u, switches_.DeviceBW);
  EXPECT_EQ(0x35u, switches_.m_wURS_Counter);
  // Without a description the result is 0, and the rest is as it is.
  Set(*std::make_unique<RegistryKey>(Instance("7003")), "CreateFileName", "third");
  Data("7003").SetDword("MaskADF", 7);
  EXPECT_EQ(0u, Find("third"));
  EXPECT_EQ(7u, switches_.m_wMaskADF);
  EXPECT_STREQ("third", settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, NetworkDeviceByRediscovery) {
  RegistryKey data = MakeDevice("7003", "", "net#1");
  Set(data, "GUID", "G");
  Script().addresses["G"] = "10.0.0.9";
  const struct {
    uint32_t get_address, result;
    const char* told;
  } cases[] = {
      {0, 1, "After Rediscovery"},
      {256, 1, "After Rediscovery"},
      {257, 1, "S_REDISCOVERED - 10.0.0.9"},
      {260, 0, "Unknown error - PortID: 10.0.0.9"},
      {0x8004FFFC, 0, "E_REDISCOVERY_MUTEX_FAIL"},
      {0x8004FFFD, 0, "E_REDISCOVERY_MUTEX_FAIL"},
      {0x8004FFFE, 0, "E_DEVICE_NOT_FOUND"},
      {0x8004FFFF, 0, "E_NO_NETWORK_DATA"},
      {0x80004005, 0, "Unknown error - PortID: 10.0.0.1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.told);
    Set(data, "PortID", "10.0.0.1");
    Script().get_address = static_cast<HRESULT>(c.get_address);
    NewLines();
    EXPECT_EQ(c.result, Find("net#1"));
    EXPECT_STREQ(c.result ? "\\name:10.0.0.9\\port:2" : "net#1", settings_.ioDeviceName);
    EXPECT_THAT(NewLines(), testing::Contains(testing::HasSubstr(c.told)));
  }
  Script().get_address = S_OK;
  Set(data, "PortNumber", "12345678");  // does not fit: none
  EXPECT_EQ(0u, Find("net#1"));
  EXPECT_STREQ("net#1", settings_.ioDeviceName);
  Set(data, "PortNumber", "1234567");
  EXPECT_EQ(1u, Find("net#1"));
  EXPECT_STREQ("\\name:10.0.0.9\\port:1234567", settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, PerUserKeyIsNamedAfterVendorAndModel) {
  MakeDevice("7003 long name", "", "net#1");
  RegistryKey user = Make(UserPath("\\7003_Model"), RegistryRoot::kCurrentUser);
  Set(user, "PortID", "10.0.0.7");
  EXPECT_EQ(1u, Find("net#1"));
  EXPECT_STREQ("\\name:10.0.0.7\\port:2", settings_.ioDeviceName);
  if (kPathSeparator == '\\') return;  // the default vendor's key is not the tests' there
  TraceLog trace;
  RegistryKey classes, key;
  ASSERT_EQ(0u, RegistryKey::OpenImagingClass(&classes));
  EXPECT_EQ(0u, OpenSettingsKey(trace, classes, "7009", &key));
  EXPECT_EQ("OpenSettingsKey: Created key HKCU\\Software\\Orvane\\Imvanta\\RIX Settings",
            NewLines().back());
}

}  // namespace
}  // namespace scantk
