// scanhost as the devices' installer: what it writes is what it, and the toolkit, find again.
#include "host/device_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "host/arguments.h"
#include "host/devices_command.h"
#include "host/error_advice.h"
#include "host/trace_command.h"
#include "platform/console.h"
#include "platform/system.h"
#include "server/contract/records.h"

namespace scanhost {
namespace {

namespace fs = std::filesystem;

class DeviceRegistry : public testing::Test {
 protected:
  void SetUp() override {
    path_ = fs::temp_directory_path() /
            ("host_registry_" + std::to_string(scantk::ProcessId()) + ".reg");
    fs::remove(path_);
    scantk::SetEnvironment("SCANTK_REGISTRY", path_.string());
  }
  void TearDown() override { fs::remove(path_); }

  // Of the first device.
  static std::optional<std::string> ValueOf(std::string_view name) {
    const DeviceValue* value = kDeviceValues;
    while (!value->name.empty() && value->name != name) ++value;
    return DeviceValueText("0000", *value);
  }

  fs::path path_;
};

TEST_F(DeviceRegistry, KeepsDevices) {
  EXPECT_TRUE(ConfiguredDevices().empty());
  EXPECT_THROW(FindDevice(""), HostFailure);

  EXPECT_EQ(AddDevice(NetworkDeviceValues("Office", "10.0.0.1", false, "2", "", "00:11")), "0000");
  EXPECT_EQ(FindDevice("").description, "Office") << "the only one needs no name";
  EXPECT_EQ(AddDevice(NetworkDeviceValues("Hall", "10.0.0.12", true, "1", "{a-guid}", "")), "0001");
  EXPECT_EQ(AddDevice({{"DriverDesc", "Desk"}, {"CreateFileName", "usb#1"}, {"VelkanIOType", "1"}}),
            "0002");

  const std::vector<Device> devices = ConfiguredDevices();
  ASSERT_EQ(devices.size(), 3u);
  EXPECT_EQ(devices[0].io_type, T_IO_NETWORK);
  EXPECT_EQ(devices[0].address, "10.0.0.1");
  EXPECT_EQ(devices[0].port, "2");
  EXPECT_FALSE(devices[0].fixed_address);
  EXPECT_TRUE(devices[1].fixed_address);
  EXPECT_EQ(devices[1].name, "{a-guid}");
  EXPECT_EQ(devices[2].io_type, T_IO_USB);
  EXPECT_EQ(devices[2].name, "usb#1");

  EXPECT_EQ(FindDevice("hall").key, "0001");
  EXPECT_EQ(FindDevice("0002").description, "Desk");
  EXPECT_EQ(FindDevice("{A-GUID}").key, "0001");
  EXPECT_THROW(FindDevice(""), HostFailure) << "several";
  EXPECT_THROW(FindDevice("Offi"), HostFailure) << "no abbreviations";

  RemoveDevice("0001");
  EXPECT_THROW(FindDevice("Hall"), HostFailure);
  EXPECT_EQ(AddDevice(NetworkDeviceValues("New", "10.0.0.2", false, "1", "", "")), "0001")
      << "the lowest free number";
}

TEST_F(DeviceRegistry, MakesIdentitiesNoneOfWhichBeginsAnother) {
  std::vector<std::string> names;
  for (const char* address : {"10.0.0.1", "10.0.0.12", "printer", "printer-1"})
    for (const char* port : {"1", "2"})
      names.push_back(NetworkDeviceValues("x", address, false, port, "", "")[2].second);
  for (const std::string& a : names)
    for (const std::string& b : names) EXPECT_EQ(b.starts_with(a), &a == &b) << a << " " << b;
}

TEST_F(DeviceRegistry, TakesOnlyKnownValuesOfTheRightKind) {
  AddDevice(NetworkDeviceValues("Office", "10.0.0.1", false, "1", "", ""));
  SetDeviceValues("0000", {{"imglog", "1"}, {"PortNumber", "3"}});
  EXPECT_EQ(ValueOf("ImgLog"), "1");
  EXPECT_EQ(ValueOf("PortNumber"), "3");
  EXPECT_EQ(ValueOf("MAC"), std::nullopt);
  EXPECT_THROW(SetDeviceValues("0000", {{"PortNumber", "1"}, {"Nonsense", "1"}}), UsageError);
  EXPECT_THROW(SetDeviceValues("0000", {{"PortNumber", "1"}, {"ImgLog", "yes"}}), UsageError);
  EXPECT_EQ(FindDevice("0000").port, "3") << "nothing is written when one value is wrong";
}

TEST_F(DeviceRegistry, KeepsTheTraceSettings) {
  EXPECT_FALSE(ReadTraceSettings().enabled);
  WriteTraceSettings({true, 0xB0000042, 3, "some file"});
  const TraceSettings settings = ReadTraceSettings();
  EXPECT_TRUE(settings.enabled);
  EXPECT_EQ(settings.level, 0xB0000042u);
  EXPECT_EQ(settings.destination, 3u);
  EXPECT_EQ(settings.file, "some file");
  EXPECT_THROW(WriteTraceSettings({true, 1, 1, std::string(260, 'x')}), UsageError);
}

TEST_F(DeviceRegistry, NeverWritesOverAFileItCannotRead) {
  const std::string text = "this is not a registry file\n";
  std::ofstream(path_) << text;
  EXPECT_THROW(AddDevice(NetworkDeviceValues("Office", "10.0.0.1", false, "1", "", "")),
               HostFailure);
  std::ifstream file(path_);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), text);
}

}  // namespace
}  // namespace scanhost
