#include "config/device_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/settings_key.h"
#include "tests/config/config_fixture.h"

namespace scantk {
namespace {

class DeviceSettingsTest : public ConfigFixture {
 protected:
  uint32_t Find(const char* wanted) {
    TraceLog trace;
    settings_ = {};
    return GetDIScannerDeviceSettings(trace, wanted, &settings_, &switches_);
  }
  RegistryKey MakeDevice(const std::string& name, const std::string& file,
                         const char* network_id = "") {
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

// Catches a device that is not found, or another one's settings that are taken.
TEST_F(DeviceSettingsTest, MatchesTheStoredNamesBeginning) {
  MakeDevice("7001", "USB#VID_1234&PID_5678#7");
  MakeDevice("7002", "usb#vid_9").SetDword("VelkanIOType", 1);
  RegistryKey network = MakeDevice("7003x", "only#file", "net#one");
  Set(network, "StaticIP", "host");
  MakeDevice("7005", std::string(259, 'y'));
  const std::string longest(259, 'Y');
  const struct {
    const char *wanted, *key;  // no key: not found
    std::string opened;
  } cases[] = {{"usb#vid_1234", "7001", "usb#vid_1234"},
               {"usb#vid_9", "7002", "usb#vid_9"},
               {"usb#vid_9z", "", "\\name:\\port:"},
               {"NET#", "7003", "\\name:host\\port:2"},
               {"only#file", "", "\\name:\\port:"},
               {longest.c_str(), "7005", longest},
               {"", "7001", ""},
               {nullptr, "7001", ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wanted ? c.wanted : "null");
    switches_ = {};
    EXPECT_EQ(*c.key ? 1u : 0u, Find(c.wanted));
    EXPECT_STREQ(c.key, switches_.device_key_name);
    EXPECT_EQ(c.opened, settings_.io_device_name);
  }
  EXPECT_EQ(0u, Find(std::string(400, 'x').c_str()));
}

TEST_F(DeviceSettingsTest, SwitchesKeepWhatTheRegistryLacks) {
  RegistryKey data = MakeDevice("7001", "dev");
  uint32_t value = 0;
  for (const char* name : {"ImgLog", "MaskADF", "ScrollCap0", "DeviceBW"})
    data.SetDword(name, ++value);
  Set(data, "URS_Counter", "5");  // whatever its type
  MakeDevice("7002", "other");
  EXPECT_EQ(2u, Find("dev") + Find("other"));
  EXPECT_STREQ("7002", switches_.device_key_name);
  EXPECT_TRUE(switches_.img_log == 1 && switches_.mask_adf == 2 && switches_.scroll_cap0 == 3);
  EXPECT_TRUE(switches_.device_bw == 4 && switches_.urs_counter == 0x35);
  // Without a description the result is 0, and the rest is as it is.
  RegistryKey third = Instance("70");
  Set(third, "CreateFileName", "third");
  Data("70").SetDword("MaskADF", 7);
  EXPECT_EQ(0u, Find("third"));
  EXPECT_STREQ("70", switches_.device_key_name);
  EXPECT_EQ(7u, switches_.mask_adf);
  EXPECT_STREQ("third", settings_.io_device_name);
}

// Catches an address that is used although it is none, or told with another reason.
TEST_F(DeviceSettingsTest, NetworkDeviceByRediscovery) {
  RegistryKey data = MakeDevice("7003 long name", "", "net#1");
  Set(data, "GUID", "G");
  discovery.addresses["G"] = "10.0.0.9";
  const struct {
    uint32_t get_address, result;
    const char* told;
    const char* port = "2";
  } cases[] = {{0, 1, "After Rediscovery", "1234567"},
               {0, 0, "PortNumber not found", "12345678"},  // does not fit: none
               {256, 1, "After Rediscovery"},
               {257, 1, "S_REDISCOVERED - 10.0.0.9"},
               {260, 0, "Unknown error - PortID: 10.0.0.9"},
               {0x8004FFFC, 0, "E_REDISCOVERY_MUTEX_FAIL"},
               {0x8004FFFD, 0, "E_REDISCOVERY_MUTEX_FAIL"},
               {0x8004FFFE, 0, "E_DEVICE_NOT_FOUND"},
               {0x8004FFFF, 0, "E_NO_NETWORK_DATA"},
               {0x80004005, 0, "Unknown error - PortID: 10.0.0.1"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.told);
    Set(data, "PortID", "10.0.0.1");
    Set(data, "PortNumber", c.port);
    discovery.get_address = static_cast<HRESULT>(c.get_address);
    NewLines();
    EXPECT_EQ(c.result, Find("net#1"));
    EXPECT_EQ(c.result ? std::string("\\name:10.0.0.9\\port:") + c.port : "net#1",
              settings_.io_device_name);
    EXPECT_THAT(NewLines(), testing::Contains(testing::HasSubstr(c.told)));
  }
  // The per-user key is named after vendor, key and model.
  discovery.addresses.clear();
  RegistryKey user = User("\\7003_Model");
  Set(user, "PortID", "scanner7");
  EXPECT_EQ(1u, Find("net#1"));
  EXPECT_STREQ("\\name:scanner7\\port:2", settings_.io_device_name);
}

}  // namespace
}  // namespace scantk
