#include "host/devices_command.h"

#include <cstdio>

#include "host/device_registry.h"
#include "host/help.h"
#include "server/contract/records.h"

namespace scanhost {
namespace {

using Values = std::vector<std::pair<std::string, std::string>>;

constexpr Option kAddOptions[] = {
    {"--network", "ADDRESS", "a network device: its address or host name"},
    {"--fixed", "", "never look for another address (StaticIP)"},
    {"--port", "N", "port of the print server: 1 (default), 2 or 3"},
    {"--guid", "GUID", "find the device again by this when its address changes"},
    {"--mac", "MAC", "the same, where the GUID does not find it"},
    {"--usb", "FILE", "a device on USB: its device file"},
    {"--dot4", "FILE", "a device behind an IEEE 1284.4 stack: its device file"},
};

int List() {
  const std::vector<Device> devices = ConfiguredDevices();
  if (devices.empty()) {
    std::printf("no devices; add one with `scanhost devices add`\n");
    return 0;
  }
  for (const Device& device : devices) {
    std::printf("%s  %s\n", device.key.c_str(), device.description.c_str());
    std::printf("      %s, opened as \"%s\"", IoTypeName(device.io_type).c_str(),
                device.name.c_str());
    if (device.io_type == T_IO_NETWORK)
      std::printf(", %s %s, port %s", device.fixed_address ? "fixed address" : "address",
                  device.address.c_str(), device.port.c_str());
    std::printf("\n");
  }
  return 0;
}

int Show(const std::string& name) {
  const Device device = FindDevice(name);
  for (const DeviceValue* value = kDeviceValues; !value->name.empty(); ++value)
    if (const auto text = DeviceValueText(device.key, *value))
      std::printf("%-16s %-28s %.*s\n", std::string(value->name).c_str(), text->c_str(),
                  static_cast<int>(value->help.size()), value->help.data());
  return 0;
}

int Add(const std::string& description, const Arguments& arguments) {
  const int kinds = arguments.Has("--network") + arguments.Has("--usb") + arguments.Has("--dot4");
  if (kinds != 1) throw UsageError("a new device needs one of --network, --usb and --dot4");
  Values values;
  if (arguments.Has("--network")) {
    const uint32_t port = ParseNumber(arguments.Value("--port", "1"), 0, 3, "the port");
    values = NetworkDeviceValues(description, arguments.Value("--network"),
                                 arguments.Has("--fixed"), std::to_string(port),
                                 arguments.Value("--guid"), arguments.Value("--mac"));
  } else {
    const bool usb = arguments.Has("--usb");
    values = {{"DriverDesc", description},
              {"CreateFileName", arguments.Value(usb ? "--usb" : "--dot4")},
              {"VelkanIOType", std::to_string(usb ? T_IO_USB : T_IO_DOT4)}};
  }
  std::printf("added %s  %s\n", AddDevice(values).c_str(), description.c_str());
  return 0;
}

int Set(const std::string& name, std::span<const std::string> assignments) {
  const Device device = FindDevice(name);
  Values values;
  for (const std::string& assignment : assignments) {
    const size_t equals = assignment.find('=');
    if (equals == std::string::npos) throw UsageError("\"" + assignment + "\" is not NAME=VALUE");
    values.emplace_back(assignment.substr(0, equals), assignment.substr(equals + 1));
  }
  SetDeviceValues(device.key, values);
  return Show(device.key);
}

}  // namespace

std::vector<std::pair<std::string, std::string>> NetworkDeviceValues(
    const std::string& description, const std::string& address, bool fixed_address,
    const std::string& port, const std::string& guid, const std::string& mac) {
  Values values = {{"DriverDesc", description},
                   {"VelkanIOType", std::to_string(T_IO_NETWORK)},
                   // The toolkit finds a device by the beginning of its identity: one must not
                   // begin another's, as 10.0.0.1 begins 10.0.0.12.
                   {"NetworkDeviceID", guid.empty() ? address + "#" + port : guid},
                   {"PortID", address},
                   {"PortNumber", port}};
  if (fixed_address) values.emplace_back("StaticIP", address);
  if (!guid.empty()) values.emplace_back("GUID", guid);
  if (!mac.empty()) values.emplace_back("MAC", mac);
  return values;
}

int RunDevicesCommand(std::span<const std::string> words) {
  const Arguments arguments = Arguments::Parse(words, kAddOptions);
  const std::vector<std::string>& given = arguments.Positional();
  const std::string action = given.empty() ? "list" : given[0];
  const std::string name = given.size() > 1 ? given[1] : "";
  if (action == "list" && given.size() <= 1) return List();
  if (name.empty() && (action == "add" || action == "set" || action == "remove"))
    throw UsageError("`scanhost devices " + action + "` needs the device's name");
  if (action == "add" && given.size() == 2) return Add(name, arguments);
  if (action == "show" && given.size() <= 2) return Show(name);
  if (action == "set" && given.size() > 2) return Set(name, std::span(given).subspan(2));
  if (action == "remove" && given.size() == 2) {
    const Device device = FindDevice(name);
    RemoveDevice(device.key);
    std::printf("removed %s  %s\n", device.key.c_str(), device.description.c_str());
    return 0;
  }
  throw UsageError("`scanhost devices` takes list, show, add, set or remove");
}

std::string DevicesHelp() {
  return "scanhost devices [list]\n"
         "scanhost devices show DEVICE\n"
         "scanhost devices add NAME --network ADDRESS | --usb FILE | --dot4 FILE [options]\n" +
         OptionsHelp(kAddOptions) +
         "scanhost devices set DEVICE NAME=VALUE...   (`show` prints the names)\n"
         "scanhost devices remove DEVICE\n";
}

}  // namespace scanhost
