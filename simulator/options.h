// The command line of scantk-sim.
#ifndef SCANTK_SIMULATOR_OPTIONS_H_
#define SCANTK_SIMULATOR_OPTIONS_H_

#include <string>
#include <vector>

#include "simulator/device_config.h"

namespace scantk::sim {

// A device, and what it is when it is not a simulated one on the network.
struct DeviceOrder : DeviceConfig {
  std::string usb;
  std::string dot4;
  std::string replay;
  int pauses = 100;
  std::string tap;  // host name or address
  uint16_t tap_port = 9290;
};

struct Arguments {
  std::vector<DeviceOrder> devices;
  std::string render;
  std::vector<std::string> command;  // to run while the devices serve
  bool help = false;
  bool version = false;
};

// Throws std::invalid_argument with a text for people.
Arguments ParseArguments(const std::vector<std::string>& words);

std::string Help();

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_OPTIONS_H_
