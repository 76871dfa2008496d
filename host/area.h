// Parts of the glass, in 1/300 inch.
#ifndef SCANTK_HOST_AREA_H_
#define SCANTK_HOST_AREA_H_

#include <cstdint>
#include <string>

namespace scanhost {

constexpr double kMillimetre = 25.4 / 300;  // one unit in millimetres

struct Area {
  uint32_t left = 0, top = 0, width = 0, height = 0;
};

// "L,T,W,H" in millimetres, or with "in" or "u" (1/300 inch) behind. Throws UsageError.
Area ParseArea(const std::string& text);

// "a4", "a5", "letter", "legal": at the upper left corner. Throws UsageError.
Area NamedSize(const std::string& name);

// "210.0 x 297.0 mm".
std::string SizeInMillimetres(double width_units, double height_units);

}  // namespace scanhost

#endif  // SCANTK_HOST_AREA_H_
