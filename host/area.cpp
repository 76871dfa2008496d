#include "host/area.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "host/error_advice.h"

namespace scanhost {
namespace {

struct Unit {
  std::string_view suffix;
  double per_unit;  // 1/300 inch in one of it
};
constexpr Unit kUnits[] = {{"mm", 300 / 25.4}, {"in", 300}, {"u", 1}};

// The device takes positions and extents as 16-bit numbers.
constexpr double kLargest = 65535;

}  // namespace

Area ParseArea(const std::string& text) {
  std::string_view left = text;
  double factor = kUnits[0].per_unit;
  for (const Unit& unit : kUnits)
    if (left.ends_with(unit.suffix)) {
      left.remove_suffix(unit.suffix.size());
      factor = unit.per_unit;
      break;
    }
  uint32_t numbers[4];
  for (int i = 0; i < 4; ++i) {
    double value = 0;
    const auto [stop, error] = std::from_chars(left.data(), left.data() + left.size(), value);
    left.remove_prefix(static_cast<size_t>(stop - left.data()));
    const bool separated = i == 3 ? left.empty() : left.starts_with(',');
    // The comparison also turns away what is not a number.
    if (error != std::errc() || !separated || !(value >= 0 && value * factor <= kLargest))
      throw UsageError("the area \"" + text +
                       "\" is not LEFT,TOP,WIDTH,HEIGHT in mm, or with \"in\" or \"u\" (1/300 "
                       "inch) behind");
    numbers[i] = static_cast<uint32_t>(std::lround(value * factor));
    if (i < 3) left.remove_prefix(1);
  }
  if (numbers[2] == 0 || numbers[3] == 0) throw UsageError("the area \"" + text + "\" is empty");
  return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

Area NamedSize(const std::string& name) {
  constexpr struct {
    const char* name;
    double width, height;  // mm
  } kSizes[] = {
      {"a4", 210, 297}, {"a5", 148, 210}, {"letter", 215.9, 279.4}, {"legal", 215.9, 355.6}};
  for (const auto& size : kSizes)
    if (name == size.name)
      return {0, 0, static_cast<uint32_t>(std::lround(size.width / kMillimetre)),
              static_cast<uint32_t>(std::lround(size.height / kMillimetre))};
  throw UsageError("the size is a4, a5, letter, legal or max, not \"" + name + "\"");
}

std::string SizeInMillimetres(double width_units, double height_units) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f x %.1f mm", width_units * kMillimetre,
                height_units * kMillimetre);
  return text;
}

}  // namespace scanhost
