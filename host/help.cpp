#include "host/help.h"

#include <algorithm>

namespace scanhost {

std::string OptionsHelp(std::span<const Option> options) {
  const auto left = [](const Option& option) {
    return std::string(option.name) + (option.value.empty() ? "" : " " + std::string(option.value));
  };
  size_t width = 0;
  for (const Option& option : options) width = std::max(width, left(option).size());
  std::string text;
  for (const Option& option : options) {
    std::string head = left(option);
    head.resize(width + 2, ' ');
    text += "  " + head + std::string(option.help) + "\n";
  }
  return text;
}

}  // namespace scanhost
