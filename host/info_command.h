// scanhost info: what a device can do.
#ifndef SCANTK_HOST_INFO_COMMAND_H_
#define SCANTK_HOST_INFO_COMMAND_H_

#include <cstdint>
#include <span>
#include <string>

namespace scanhost {

int RunInfoCommand(std::span<const std::string> words);
std::string InfoHelp();

struct BitName {
  uint32_t bit;
  const char* name;
};

// "colour, gray"; bits without a name as one number; "none".
std::string BitNames(uint32_t bits, std::span<const BitName> names);

}  // namespace scanhost

#endif  // SCANTK_HOST_INFO_COMMAND_H_
