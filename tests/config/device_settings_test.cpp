#include "config/device_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/settings_key.h"
#include "tests/config/config_fixture.h"
#include "tests/config/fake_discovery.h"

namespace scantk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;

class DeviceSettingsTest : public ConfigFixture {
 protected:
  DeviceSettingsTest() {
    Script() = DiscoveryScript();
    RegisterBuiltInClass(CLSID_DiscoveryBroker, FakeBroker::Create);
  }

  uint32_t Find(const char* wanted) {
    TraceLog trace;
    settings_ = {};
    switches_ = {};
    NewLines();
    return GetDIScannerDeviceSettings(trace, wanted, &settings_, &switches_);
  }

  void MakeUsb(const std::string& name, const std::string& file) {
    RegistryKey key = Instance(name);
    Set(key, "CreateFileName", file);
    Set(key, "DriverDesc", "A scanner");
  }
  RegistryKey MakeNetwork(const std::string& name, const std::string& id) {
    RegistryKey key = Instance(name);
    Set(key, "DriverDesc", "A scanner");
    RegistryKey data = Data(name);
    data.SetDword("VelkanIOType", 5);
    Set(data, "NetworkDeviceID", id);
    Set(data, "PortNumber", "2");
    Set(data, "ModelString", "Model");
    return data;
  }

  DeviceSettings settings_;
  DeviceSwitches switches_;
};

TEST_F(DeviceSettingsTest, MatchesTheStoredNamesBeginning) {
  MakeUsb("7001", "USB#VID_1234&PID_5678#7");
  MakeUsb("7002", "usb#vid_9");
  Data("7002").SetDword("VelkanIOType", 1);
  MakeNetwork("7003x", "net#one");
  RegistryKey both = Instance("7004");
  Set(both, "CreateFileName", "only#file");
  Data("7004").SetDword("VelkanIOType", 5);
  const struct {
    const char* wanted;
    uint32_t result;
    const char* key;
    const char* opened;
  } cases[] = {
      {"usb#vid_1234", 1, "7001", "usb#vid_1234"},
      {"USB#VID_1234&pid_5678#7", 1, "7001", "USB#VID_1234&pid_5678#7"},
      {"usb#vid_9", 1, "7002", "usb#vid_9"},
      {"usb#vid_9z", 0, "", "\\name:\\port:"},
      {"NET#", 1, "7003", "\\name:host\\port:2"},
      {"only#file", 0, "", "\\name:\\port:"},
      {"nothing like it", 0, "", "\\name:\\port:"},
      {"", 1, "7001", ""},
      {nullptr, 1, "7001", ""},
  };
  Set(*std::make_unique<RegistryKey>(Data("7003x")), "StaticIP", "host");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.wanted ? c.wanted : "null");
    EXPECT_EQ(c.result, Find(c.wanted));
    EXPECT_STREQ(c.key, switches_.deviceKeyName);
    EXPECT_STREQ(c.opened, settings_.ioDeviceName);
  }
  const std::string longest(400, 'x');
  EXPECT_EQ(0u, Find(longest.c_str()));
  MakeUsb("7005", std::string(259, 'y'));
  EXPECT_EQ(1u, Find(std::string(259, 'Y').c_str()));
  EXPECT_EQ(std::string(259, 'Y'), settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, SwitchesKeepWhatTheRegistryLacks) {
  MakeUsb("7001", "dev");
  RegistryKey data = Data("7001");
  data.SetDword("ImgLog", 1);
  data.SetDword("MaskADF", 2);
  data.SetDword("ScrollCap0", 3);
  data.SetDword("DeviceBW", 4);
  data.SetDword("URS_Counter", 5);
  EXPECT_EQ(1u, Find("dev"));
  EXPECT_EQ(1u, switches_.ImgLog);
  EXPECT_EQ(2u, switches_.m_wMaskADF);
  EXPECT_EQ(3u, switches_.ScrollCap0);
  EXPECT_EQ(4u, switches_.DeviceBW);
  EXPECT_EQ(5u, switches_.m_wURS_Counter);

  MakeUsb("7002", "other");
  TraceLog trace;
  EXPECT_EQ(1u, GetDIScannerDeviceSettings(trace, "other", &settings_, &switches_));
  EXPECT_STREQ("7002", switches_.deviceKeyName);
  EXPECT_EQ(4u, switches_.DeviceBW);
}

TEST_F(DeviceSettingsTest, WithoutADescriptionTheResultIsZero) {
  RegistryKey key = Instance("7001");
  Set(key, "CreateFileName", "dev");
  Data("7001").SetDword("MaskADF", 1);
  EXPECT_EQ(0u, Find("dev"));
  EXPECT_EQ(1u, switches_.m_wMaskADF);
  EXPECT_STREQ("dev", settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, TracesALocalDevice) {
  MakeUsb("7001", "no");
  MakeUsb("7002", "device#1");
  RegistryKey data = Data("7002");
  data.SetDword("VelkanIOType", 1);
  data.SetDword("DeviceBW", 1);
  EXPECT_EQ(1u, Find("device"));
  EXPECT_THAT(
      NewLines(),
      ElementsAre(
          "scantk: GetDIScannerDeviceSettings -  CreateFileName device",
          "scantk: @@@@@GetDIScannerDeviceSettings NEW temp -  CreateFileName \\name:\\port: , "
          "count 12",
          "idx 0  registry CreateFilename no desired deviceName is device",
          "GetDIScanDeviceSettings:Not a Match  idx 0  Reg CreateFileName  no  desired device is "
          "device",
          "GetDIScanDeviceSettings: idx 1  registry CreateFilename device#1 desired deviceName is "
          "device",
          "GetDIScanDeviceSettings: Match  idx 1  Reg Port  device#1  CreateFileName device "
          "Friendlyname A scanner",
          "GetDIScanDeviceSettings: DeviceDataPath 7002\\DeviceData",
          "GetDIScanDeviceSettings: ImgLog 0, Image Logging not found.",
          " GetDIScanDeviceSettings:Problem: CLSID of Velkan driver not found",
          " GetDIScanDeviceSettings:Problem: Model of Velkan driver not found",
          " GetDIScanDeviceSettings:m_wMaskADF not found, set to 0",
          "GetDIScanDeviceSettings:ScrollCap0 not found, set to 0",
          "GetDIScanDeviceSettings:DeviceBW is 1",
          " GetDIScanDeviceSettings:URS_Counter not found, set to 0",
          "GetDIScanDeviceSettings: pszCreateFileName2: device"));
  Find("unknown");
  EXPECT_EQ("scantk: GetDIScanDeviceSettings: before leaving routine: bRet: 0", NewLines().back());

  // In a log of errors only the problems are left.
  Configure(1, TRACE_CLASS_ERROR, 1);
  TraceLog trace;
  trace.ReloadSettings();
  GetDIScannerDeviceSettings(trace, "no", &settings_, &switches_);
  EXPECT_THAT(NewLines(),
              ElementsAre(" GetDIScanDeviceSettings:Problem: CLSID of Velkan driver not found",
                          " GetDIScanDeviceSettings:Problem: Model of Velkan driver not found",
                          "GetDIScanDeviceSettings:DeviceBW not found, set to 0"));
}

TEST_F(DeviceSettingsTest, MissingClassKeyIsAnError) {
  RegistryKey classes;
  if (RegistryKey::OpenImagingClass(&classes) == 0) GTEST_SKIP() << "the system has the key";
  EXPECT_EQ(0u, Find("device"));
  EXPECT_STREQ("\\name:\\port:", settings_.ioDeviceName);
  EXPECT_EQ("GetDIScannerDeviceSettings -  SetupDiOpenClassRegKey  KEY_READ problem 2 0x2",
            NewLines().back());
}

TEST_F(DeviceSettingsTest, NetworkDeviceByRediscovery) {
  RegistryKey data = MakeNetwork("7003", "net#1");
  Set(data, "VelkanCLSID", "{class}");
  Set(data, "GUID", "G");
  const struct {
    HRESULT get_address;
    uint32_t result;
    const char* line;
  } cases[] = {
      {S_OK, 1, ""},
      {256, 1, ""},
      {257, 1, " GetDIScanDeviceSettings:S_REDISCOVERED - 10.0.0.9"},
      {static_cast<HRESULT>(0x8004FFFC), 0,
       " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_REDISCOVERY_MUTEX_FAIL"},
      {static_cast<HRESULT>(0x8004FFFD), 0,
       " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_REDISCOVERY_MUTEX_FAIL"},
      {static_cast<HRESULT>(0x8004FFFE), 0,
       " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_DEVICE_NOT_FOUND"},
      {static_cast<HRESULT>(0x8004FFFF), 0,
       " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_NO_NETWORK_DATA"},
      {E_FAIL, 0, " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: Unknown error - PortID: 10.0.0.1"},
      {260, 0, " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: Unknown error - PortID: 10.0.0.9"},
  };
  Script().addresses["G"] = "10.0.0.9";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    Set(data, "PortID", "10.0.0.1");
    Script().get_address = c.get_address;
    EXPECT_EQ(c.result, Find("net#1"));
    EXPECT_STREQ(c.result ? "\\name:10.0.0.9\\port:2" : "net#1", settings_.ioDeviceName);
    const auto lines = NewLines();
    if (*c.line) {
      EXPECT_THAT(lines, Contains(c.line));
    }
    EXPECT_THAT(lines,
                IsSupersetOf({"GetDIScanDeviceSettings: idx 0 - registry NetworkDeviceID is net#1, "
                              "desired deviceName is net#1",
                              "GetDIScanDeviceSettings: CLSID of Velkan driver is {class}",
                              "GetDIScanDeviceSettings: Model is Model",
                              " GetDIScanDeviceSettings:PortNumber is 2"}));
    const std::string end =
        c.result ? "GetDIScanDeviceSettings: After Rediscovery: pszCreateFileName2: "
                 : "GetDIScanDeviceSettings: REDISCOVERY FAILED; original address was: "
                   "pszCreateFileName2: ";
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(end + settings_.ioDeviceName, lines[lines.size() - 2]);
    EXPECT_EQ("scantk: GetDIScanDeviceSettings: before leaving routine: bRet: " +
                  std::to_string(c.result),
              lines.back());
  }
}

TEST_F(DeviceSettingsTest, NetworkDeviceNeedsItsPortNumber) {
  RegistryKey key = Instance("7003");  // without a description, which rediscovery makes up for
  RegistryKey data = Data("7003");
  data.SetDword("VelkanIOType", 5);
  Set(data, "NetworkDeviceID", "net#1");
  Set(data, "StaticIP", "10.0.0.5");
  EXPECT_EQ(0u, Find("net#1"));
  EXPECT_STREQ("net#1", settings_.ioDeviceName);
  EXPECT_THAT(NewLines(), Contains(" GetDIScanDeviceSettings:PortNumber not found"));
  Set(data, "PortNumber", "12345678");
  EXPECT_EQ(0u, Find("net#1"));
  Set(data, "PortNumber", "1234567");
  EXPECT_EQ(1u, Find("net#1"));
  EXPECT_STREQ("\\name:10.0.0.5\\port:1234567", settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, PerUserKeyIsNamedAfterTheModel) {
  RegistryKey data = MakeNetwork("7003 long name", "net#1");
  RegistryKey user = Make(UserPath("\\7003_Model"), RegistryRoot::kCurrentUser);
  Set(user, "PortID", "10.0.0.7");
  EXPECT_EQ(1u, Find("net#1"));
  EXPECT_STREQ("\\name:10.0.0.7\\port:2", settings_.ioDeviceName);
}

TEST_F(DeviceSettingsTest, SettingsKeyIsMadeForTheVendor) {
  Instance("7001");
  RegistryKey classes, key;
  ASSERT_EQ(0u, RegistryKey::OpenImagingClass(&classes));
  TraceLog trace;
  NewLines();
  EXPECT_EQ(0u, OpenSettingsKey(trace, classes, "7001", &key));
  EXPECT_TRUE(key.IsOpen());
  EXPECT_EQ(0u, OpenSettingsKey(trace, classes, "7001", &key));
  EXPECT_THAT(NewLines(), ElementsAre("OpenSettingsKey: Opened index key 7001",
                                      "OpenSettingsKey: Created key HKCU\\" + UserPath(),
                                      "OpenSettingsKey: Opened index key 7001",
                                      "OpenSettingsKey: Opened key HKCU\\" + UserPath()));
  if (kPathSeparator == '\\') return;  // the default vendor's key is not the tests' there
  EXPECT_EQ(0u, OpenSettingsKey(trace, classes, "7009", &key));
  EXPECT_THAT(NewLines(),
              ElementsAre("OpenSettingsKey: Couldn't open index key 7009",
                          "OpenSettingsKey: Created key HKCU\\Software\\Orvane\\Imvanta\\RIX "
                          "Settings"));
}

}  // namespace
}  // namespace scantk
