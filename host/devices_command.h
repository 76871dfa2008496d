// scanhost devices: lists and edits the configured devices.
#ifndef SCANTK_HOST_DEVICES_COMMAND_H_
#define SCANTK_HOST_DEVICES_COMMAND_H_

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/arguments.h"

namespace scanhost {

int RunDevicesCommand(std::span<const std::string> words);
std::string DevicesHelp();

// The registry values of a network device that is called `description`: its identity is its GUID
// where there is one, else made from address and port.
std::vector<std::pair<std::string, std::string>> NetworkDeviceValues(
    const std::string& description, const std::string& address, bool fixed_address,
    const std::string& port, const std::string& guid, const std::string& mac);

}  // namespace scanhost

#endif  // SCANTK_HOST_DEVICES_COMMAND_H_
