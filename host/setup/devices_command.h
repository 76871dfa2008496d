// scanhost devices: the installer's part.
#ifndef SCANTK_HOST_SETUP_DEVICES_COMMAND_H_
#define SCANTK_HOST_SETUP_DEVICES_COMMAND_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace scanhost {

struct NewDevice {
  std::string name;
  std::string address, usb, dot4;  // one of them
  uint32_t port = 1;
  bool fixed = false;
  std::string guid, mac;
  bool force = false;
};

// Each gives the exit status; they throw UsageError and HostFailure.
int ListDevices();
int ShowDevice(const std::string& name);
int AddNewDevice(const NewDevice& device);
int SetDevice(const std::string& name, const std::vector<std::string>& assignments);
int RemoveOneDevice(const std::string& name);

// The registry values of a new device. Throws UsageError for an address that none can have.
std::vector<std::pair<std::string, std::string>> DeviceValues(const NewDevice& device);

}  // namespace scanhost

#endif  // SCANTK_HOST_SETUP_DEVICES_COMMAND_H_
