// The scan area: as a user writes it and as the device takes it.
#ifndef SCANTK_HOST_AREA_H_
#define SCANTK_HOST_AREA_H_

#include <cstdint>
#include <string>

namespace scanhost {

// In 1/300 inch, from the left and top edge of the glass or the page.
struct Area {
  uint32_t left = 0;
  uint32_t top = 0;
  uint32_t width = 0;
  uint32_t height = 0;
  bool operator==(const Area&) const = default;
};

// "LEFT,TOP,WIDTH,HEIGHT" in millimetres ("10,10,100,150.5", also with "mm" behind), inches ("in"
// behind) or 1/300 inch ("u" behind). Each number is rounded to the nearest 1/300 inch. Throws
// UsageError for anything else, for an empty area, and beyond 65535.
Area ParseArea(const std::string& text);

// "215.9 x 279.4 mm", of an extent in 1/300 inch.
std::string SizeInMillimetres(uint32_t width, uint32_t height);

}  // namespace scanhost

#endif  // SCANTK_HOST_AREA_H_
