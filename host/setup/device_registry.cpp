#include "host/setup/device_registry.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

#include "contract/records.h"
#include "host/error_advice.h"
#include "platform/error_codes.h"

namespace scanhost {
namespace {

using scantk::RegistryAccess;
using scantk::RegistryKey;
using scantk::RegistryRoot;

constexpr char kDataKey[] = "\\DeviceData";

// Sanity limit of one value's text.
constexpr uint32_t kMaxTextBytes = 4096;

const DeviceValue& ValueByName(const std::string& name) {
  for (const DeviceValue* value = kDeviceValues; !value->name.empty(); ++value)
    if (SameText(value->name, name)) return *value;
  throw UsageError("\"" + name + "\" is not a value of a device");
}

void WriteValue(const std::string& instance, const DeviceValue& value, const std::string& text) {
  const std::string path = std::string(scantk::kImagingClassPath) + "\\" + instance +
                           (value.device_data ? kDataKey : "");
  RegistryKey key;
  CheckRegistry(RegistryKey::Create(RegistryRoot::kLocalMachine, path, &key, nullptr), path);
  const std::string name(value.name);
  CheckRegistry(value.number
                    ? key.SetDword(name, ParseNumber(text, name))
                    : key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size() + 1)),
                path + "\\" + name);
}

// Numbers are tested before anything is written, so that a wrong one leaves no half of a device.
void CheckValues(const std::vector<std::pair<std::string, std::string>>& values) {
  for (const auto& [name, text] : values) {
    const DeviceValue& value = ValueByName(name);
    if (value.number) ParseNumber(text, name);
  }
}

std::vector<std::string> InstanceKeys() {
  RegistryKey class_key;
  const uint32_t error = RegistryKey::OpenImagingClass(&class_key);
  if (error == scantk::error::kFileNotFound) return {};
  CheckRegistry(error, "the imaging device class");
  std::vector<std::string> keys;
  std::string name;
  for (uint32_t i = 0; class_key.EnumerateSubkey(i, &name) == 0; ++i)
    // The system keeps a key named Properties beside the instance keys.
    if (name.size() >= 4 && std::all_of(name.begin(), name.begin() + 4,
                                        [](unsigned char c) { return std::isdigit(c) != 0; }))
      keys.push_back(name);
  return keys;
}

Device ReadDevice(const std::string& instance) {
  const std::string path = std::string(scantk::kImagingClassPath) + "\\" + instance;
  RegistryKey key;
  CheckRegistry(RegistryKey::Open(RegistryRoot::kLocalMachine, path, RegistryAccess::kRead, &key),
                path);
  Device device;
  device.key = instance;
  device.description = ReadText(key, "DriverDesc").value_or("");
  device.name = ReadText(key, "CreateFileName").value_or("");
  RegistryKey data;
  if (key.OpenSubkey("DeviceData", RegistryAccess::kRead, &data) != 0) return device;
  device.io_type = ReadNumber(data, "VelkanIOType").value_or(0);
  if (device.io_type != T_IO_NETWORK) return device;
  device.name = ReadText(data, "NetworkDeviceID").value_or("");
  const std::optional<std::string> fixed = ReadText(data, "StaticIP");
  device.fixed_address = fixed.has_value() && !fixed->empty();
  device.address = device.fixed_address ? *fixed : ReadText(data, "PortID").value_or("");
  device.port = ReadText(data, "PortNumber").value_or("");
  return device;
}

}  // namespace

uint32_t ParseNumber(const std::string& text, const std::string& what) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char* begin = text.data() + (hexadecimal ? 2 : 0);
  const char* end = text.data() + text.size();
  uint32_t number = 0;
  const auto [stop, error] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
  if (begin == end || error != std::errc() || stop != end)
    throw UsageError(what + " must be a number from 0 to 4294967295, not \"" + text + "\"");
  return number;
}

const DeviceValue kDeviceValues[] = {
    {"DriverDesc", false, false, "the name that users see"},
    {"CreateFileName", false, false, "device file (USB, DOT4)"},
    {"Vendor", false, false, "vendor, part of the per-user settings key"},
    {"VelkanIOType", true, true, "1 USB, 4 DOT4, 5 network"},
    {"NetworkDeviceID", false, true, "identity of a network device"},
    {"PortID", false, true, "last known address of a network device"},
    {"StaticIP", false, true, "fixed address of a network device"},
    {"PortNumber", false, true, "port of the print server: 1, 2 or 3"},
    {"GUID", false, true, "by which a moved network device is found again"},
    {"MAC", false, true, "the same, where the GUID does not find it"},
    {"ModelString", false, true, "model, as the device reported it last"},
    {"ImgLog", true, true, "1: keep the image data of every scan for the driver's makers"},
    {"MaskADF", true, true, "1: hide the feeder"},
    {"ScrollCap0", true, true, "1: a device without a flatbed says so"},
    {"DeviceBW", true, true, "1: offer black and white scans"},
    {"URS_Counter", true, true, "user-ready-to-scan counter"},
    {"VelkanCLSID", false, true, "class identifier of the driver, for the trace"},
    {"LoadSettingsOnce", true, true, "1: the toolkit is to store what it learns, 2: it has"},
    {"", false, false, ""},
};

std::string IoTypeName(uint32_t io_type) {
  switch (io_type) {
    case T_IO_USB:
      return "USB";
    case T_IO_DOT4:
      return "DOT4";
    case T_IO_NETWORK:
      return "network";
    default:
      return "I/O type " + std::to_string(io_type);
  }
}

std::vector<Device> ConfiguredDevices() {
  std::vector<Device> devices;
  for (const std::string& instance : InstanceKeys()) devices.push_back(ReadDevice(instance));
  return devices;
}

Device FindDevice(const std::string& text) {
  const std::vector<Device> devices = ConfiguredDevices();
  std::vector<Device> found;
  for (const Device& device : devices)
    if (text.empty() || SameText(device.key, text) || SameText(device.description, text) ||
        SameText(device.name, text))
      found.push_back(device);
  if (found.size() == 1) return found[0];
  if (devices.empty())
    throw HostFailure("no device is configured; add one with `scanhost devices add`");
  if (found.empty())
    throw HostFailure("no device is called \"" + text + "\"; `scanhost devices` lists them");
  throw HostFailure(text.empty()
                        ? "several devices are configured: name one (`scanhost devices`)"
                        : "several devices are called \"" + text + "\": use the number in front");
}

std::string AddDevice(const std::vector<std::pair<std::string, std::string>>& values) {
  CheckValues(values);
  const std::vector<std::string> taken = InstanceKeys();
  for (int number = 0; number <= 9999; ++number) {
    char key[8] = "";
    std::snprintf(key, sizeof key, "%04d", number);
    if (std::any_of(taken.begin(), taken.end(),
                    [&](const std::string& name) { return name.substr(0, 4) == key; }))
      continue;
    // Whoever makes the key has it: another process may be adding a device at this moment.
    const std::string path = std::string(scantk::kImagingClassPath) + "\\" + key;
    RegistryKey made;
    bool created = false;
    CheckRegistry(RegistryKey::Create(RegistryRoot::kLocalMachine, path, &made, &created), path);
    if (!created) continue;
    SetDeviceValues(key, values);
    return key;
  }
  throw HostFailure("there is no room for another device");
}

void SetDeviceValues(const std::string& key,
                     const std::vector<std::pair<std::string, std::string>>& values) {
  CheckValues(values);
  for (const auto& [name, text] : values) WriteValue(key, ValueByName(name), text);
}

void RemoveDevice(const std::string& key) {
  RegistryKey class_key;
  CheckRegistry(RegistryKey::Open(RegistryRoot::kLocalMachine, scantk::kImagingClassPath,
                                  RegistryAccess::kReadWrite, &class_key),
                scantk::kImagingClassPath);
  CheckRegistry(class_key.DeleteSubtree(key), std::string(scantk::kImagingClassPath) + "\\" + key);
}

std::string DeviceEntryText(const Device& device) {
  std::string text;
  for (const DeviceValue* value = kDeviceValues; !value->name.empty(); ++value)
    if (const auto stored = DeviceValueText(device.key, *value)) {
      char line[512];
      std::snprintf(line, sizeof line, "%-16.*s %-28s %.*s\n", static_cast<int>(value->name.size()),
                    value->name.data(), stored->c_str(), static_cast<int>(value->help.size()),
                    value->help.data());
      text += line;
    }
  return text;
}

std::optional<std::string> DeviceValueText(const std::string& instance, const DeviceValue& value) {
  const std::string path = std::string(scantk::kImagingClassPath) + "\\" + instance +
                           (value.device_data ? kDataKey : "");
  RegistryKey key;
  if (RegistryKey::Open(RegistryRoot::kLocalMachine, path, RegistryAccess::kRead, &key) != 0)
    return std::nullopt;
  const std::string name(value.name);
  if (!value.number) return ReadText(key, name);
  const std::optional<uint32_t> number = ReadNumber(key, name);
  return number ? std::optional(std::to_string(*number)) : std::nullopt;
}

std::optional<std::string> ReadText(const scantk::RegistryKey& key, const std::string& name) {
  uint32_t size = 0;
  scantk::RegistryType type;
  if (key.QueryValue(name, &type, nullptr, &size) != 0 || size > kMaxTextBytes) return std::nullopt;
  std::string text(size, '\0');
  if (key.QueryValue(name, &type, text.data(), &size) != 0 || type != scantk::RegistryType::kString)
    return std::nullopt;
  text.resize(size);
  text.resize(std::min(text.find('\0'), text.size()));
  return text;
}

std::optional<uint32_t> ReadNumber(const scantk::RegistryKey& key, const std::string& name) {
  uint32_t number = 0;
  uint32_t size = sizeof number;
  scantk::RegistryType type;
  if (key.QueryValue(name, &type, &number, &size) != 0 || type != scantk::RegistryType::kDword)
    return std::nullopt;
  return number;
}

void CheckRegistry(uint32_t error, const std::string& what) {
  switch (error) {
    case scantk::error::kSuccess:
      return;
    case scantk::error::kAccessDenied:
      throw HostFailure("no permission for " + what + " in the registry; run as administrator");
    case scantk::error::kFileNotFound:
      throw HostFailure(what + " is not in the registry, or its file cannot be made");
    case scantk::error::kBadFormat:
      throw HostFailure(
          "the registry file cannot be read: repair it, or name another one with "
          "SCANTK_REGISTRY");
    default:
      throw HostFailure("the registry answered error " + std::to_string(error) + " for " + what);
  }
}

bool SameText(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace scanhost
