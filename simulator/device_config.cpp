#include "simulator/device_config.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "simulator/variables.h"

namespace scantk::sim {

AtRest ParseAtRest(const std::string& text) {
  constexpr std::pair<const char*, AtRest::State> kStates[] = {{"", AtRest::State::kInOrder},
                                                               {"jam", AtRest::State::kJam},
                                                               {"empty", AtRest::State::kEmpty},
                                                               {"busy", AtRest::State::kBusy}};
  const size_t colon = std::min(text.find(':'), text.size());
  AtRest rest;
  bool known = false;
  for (const auto& [name, state] : kStates)
    if (text.substr(0, colon) == name) rest.state = state, known = true;
  const char* end = text.data() + text.size();
  const char* digits = text.data() + std::min(colon + 1, text.size());
  const auto [rest_of, error] = std::from_chars(digits, end, rest.milliseconds);
  known = known && (colon == text.size() || (error == std::errc() && rest_of == end));
  if (!known || rest.milliseconds < 0)
    throw std::invalid_argument("at rest a device has a jam, is empty or busy, not \"" + text +
                                "\"");
  return rest;
}

DeviceConfig CheckedConfig(DeviceConfig config) {
  const DeliveryOptions& delivery = config.delivery;
  if (delivery.block_bytes < 64 || delivery.record_bytes < 1 || delivery.record_bytes > 32767)
    throw std::invalid_argument("blocks take 64 bytes or more, records 1 to 32767");
  const int blocks = delivery.jpeg_horizontal * delivery.jpeg_vertical;
  if (std::min(delivery.jpeg_horizontal, delivery.jpeg_vertical) < 1 || blocks > 8 ||
      std::max(delivery.jpeg_horizontal, delivery.jpeg_vertical) > 4)
    throw std::invalid_argument("JPEG sampling factors are 1 to 4, their product at most 8");
  return config;
}

PageSettings DefaultPage(const std::string& model) {
  return PageOf(Variables(model));
}

}  // namespace scantk::sim
