// The configured devices, as their installer leaves them in the registry: one instance key each
// under the key of the imaging device class. Here scanhost plays that installer's part.
#ifndef SCANTK_HOST_SETUP_DEVICE_REGISTRY_H_
#define SCANTK_HOST_SETUP_DEVICE_REGISTRY_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace scanhost {

// One configured device.
struct Device {
  std::string key;          // the instance key: "0000"
  std::string description;  // the name that users see
  uint32_t io_type = 0;     // T_IO_USB, T_IO_DOT4 or T_IO_NETWORK
  // What OpenScannerSession is given: the network identity, or the device's file name.
  std::string name;
  std::string address;  // of a network device: the last known one, or the fixed one
  bool fixed_address = false;
  std::string port;  // the print server's port of a network device: "1"
};

// "USB", "DOT4", "network", or the number.
std::string IoTypeName(uint32_t io_type);

// A value of a device's key that can be set from the command line.
struct DeviceValue {
  std::string_view name;
  bool number;       // a 32-bit value, else text
  bool device_data;  // below "DeviceData", else in the instance key itself
  std::string_view help;
};
// All of them, in the order in which they are shown; ends with an empty name.
extern const DeviceValue kDeviceValues[];

// In the registry's order. Throws HostFailure when the registry cannot be read; no class key means
// no devices.
std::vector<Device> ConfiguredDevices();

// The device that `text` means: its instance key, its description or its name, without regard to
// case. Empty text means the only device there is. Throws HostFailure when none or several match.
Device FindDevice(const std::string& text);

// Writes a new instance key with the lowest free number. `values` are (name, value) pairs of
// kDeviceValues. Returns the key's name.
std::string AddDevice(const std::vector<std::pair<std::string, std::string>>& values);
// Changes values of a device. Throws UsageError for a name that is not in kDeviceValues.
void SetDeviceValues(const std::string& key,
                     const std::vector<std::pair<std::string, std::string>>& values);
void RemoveDevice(const std::string& key);

// A decimal number, or a hexadecimal one with 0x. Throws UsageError about `what`.
uint32_t ParseNumber(const std::string& text, const std::string& what);

// All values of the entry, one a line with what it means.
std::string DeviceEntryText(const Device& device);

// Values of kDeviceValues and those that the toolkit wrote back, of one device; nothing where the
// value is missing.
std::optional<std::string> DeviceValueText(const std::string& key, const DeviceValue& value);

// Text and numbers of an open key; nothing when the value is missing or of the wrong size.
std::optional<std::string> ReadText(const scantk::RegistryKey& key, const std::string& name);
std::optional<uint32_t> ReadNumber(const scantk::RegistryKey& key, const std::string& name);

// Throws HostFailure with `what` and what the number means, unless it is 0.
void CheckRegistry(uint32_t error, const std::string& what);

// Equality of ASCII letters without regard to case.
bool SameText(std::string_view a, std::string_view b);

}  // namespace scanhost

#endif  // SCANTK_HOST_SETUP_DEVICE_REGISTRY_H_
