#include "host/setup/devices_command.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "contract/records.h"
#include "host/error_advice.h"
#include "host/setup/device_registry.h"

namespace scanhost {
namespace {

using Values = std::vector<std::pair<std::string, std::string>>;

// Letters, digits, dots and hyphens, as names and IPv4 addresses have them; a name of digits and
// dots alone must be such an address.
void CheckAddress(const std::string& address) {
  const auto fits = [](unsigned char c) { return std::isalnum(c) || c == '-' || c == '.'; };
  bool good = !address.empty() && address.size() <= 253 && address.front() != '.' &&
              address.front() != '-' && address.find("..") == std::string::npos &&
              std::all_of(address.begin(), address.end(), fits);
  if (good && address.find_first_not_of("0123456789.") == std::string::npos) {
    unsigned part[4];
    char more = 0;
    good = std::sscanf(address.c_str(), "%3u.%3u.%3u.%3u%c", &part[0], &part[1], &part[2], &part[3],
                       &more) == 4 &&
           std::all_of(part, part + 4, [](unsigned number) { return number <= 255; });
  }
  if (!good) throw UsageError("\"" + address + "\" is no host name and no IPv4 address");
}

// What would only be found out when the device is opened.
void CheckValue(const std::string& name, const std::string& value) {
  const auto is = [&](const char* known) { return SameText(name, known); };
  if (is("PortID") || (is("StaticIP") && !value.empty())) CheckAddress(value);
  if (is("PortNumber") && value != "1" && value != "2" && value != "3")
    throw UsageError("PortNumber is 1, 2 or 3, not \"" + value + "\"");
  if (is("VelkanIOType") && value != "1" && value != "4" && value != "5")
    throw UsageError("VelkanIOType is 1 (USB), 4 (DOT4) or 5 (network), not \"" + value + "\"");
}

}  // namespace

int ListDevices() {
  const std::vector<Device> devices = ConfiguredDevices();
  if (devices.empty()) std::printf("no devices; add one with `scanhost devices add`\n");
  for (const Device& device : devices) {
    std::printf("%s  %s\n      %s, opened as \"%s\"", device.key.c_str(),
                device.description.c_str(), IoTypeName(device.io_type).c_str(),
                device.name.c_str());
    if (device.io_type == T_IO_NETWORK)
      std::printf(", %s %s, port %s", device.fixed_address ? "fixed address" : "address",
                  device.address.c_str(), device.port.c_str());
    std::printf("\n");
  }
  return 0;
}

int ShowDevice(const std::string& name) {
  std::fputs(DeviceEntryText(FindDevice(name)).c_str(), stdout);
  return 0;
}

int AddNewDevice(const NewDevice& device) {
  const Values values = DeviceValues(device);
  for (const Device& known : ConfiguredDevices()) {
    if (!SameText(known.description, device.name) && !SameText(known.key, device.name)) continue;
    if (!device.force || SameText(known.key, device.name))
      throw HostFailure("a device is called \"" + device.name + "\" already (" + known.key +
                        "); --force replaces it");
    RemoveDevice(known.key);
  }
  std::printf("added %s  %s\n", AddDevice(values).c_str(), device.name.c_str());
  return 0;
}

int SetDevice(const std::string& name, const std::vector<std::string>& assignments) {
  const Device device = FindDevice(name);
  Values values;
  for (const std::string& assignment : assignments) {
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos) throw UsageError("\"" + assignment + "\" is not NAME=VALUE");
    values.emplace_back(assignment.substr(0, equals), assignment.substr(equals + 1));
    CheckValue(values.back().first, values.back().second);
  }
  SetDeviceValues(device.key, values);
  return ShowDevice(device.key);
}

int RemoveOneDevice(const std::string& name) {
  const Device device = FindDevice(name);
  RemoveDevice(device.key);
  std::printf("removed %s  %s\n", device.key.c_str(), device.description.c_str());
  return 0;
}

Values DeviceValues(const NewDevice& device) {
  if (device.name.empty()) throw UsageError("the device's name is empty");
  if (!device.usb.empty() || !device.dot4.empty())
    return {{"DriverDesc", device.name},
            {"CreateFileName", device.usb.empty() ? device.dot4 : device.usb},
            {"VelkanIOType", std::to_string(device.usb.empty() ? T_IO_DOT4 : T_IO_USB)}};
  CheckAddress(device.address);
  const std::string port = std::to_string(device.port);
  // The toolkit finds a device by the beginning of its identity: one must not begin another's, as
  // 10.0.0.1 begins 10.0.0.12.
  Values values = {
      {"DriverDesc", device.name},
      {"VelkanIOType", std::to_string(T_IO_NETWORK)},
      {"NetworkDeviceID", device.guid.empty() ? device.address + "#" + port : device.guid},
      {"PortID", device.address},
      {"PortNumber", port}};
  if (device.fixed) values.emplace_back("StaticIP", device.address);
  if (!device.guid.empty()) values.emplace_back("GUID", device.guid);
  if (!device.mac.empty()) values.emplace_back("MAC", device.mac);
  return values;
}

}  // namespace scanhost
