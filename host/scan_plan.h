// From what was asked to what the device can give, before anything moves.
#ifndef SCANTK_HOST_SCAN_PLAN_H_
#define SCANTK_HOST_SCAN_PLAN_H_

#include <cstdint>
#include <string>
#include <vector>

#include "contract/records.h"
#include "host/scan_request.h"

namespace scanhost {

// What the glass, or the feeder, can do. A maximum of 0 was not told and limits nothing. Neither
// does a least length that is the greatest, too: some devices answer with the length of their glass
// whatever is asked.
struct Abilities {
  std::string place = "glass";
  uint32_t modes = 0;
  uint16_t grey_channels = 0;
  uint32_t minimum_resolution = 0, maximum_x = 0, maximum_y = 0;
  uint32_t minimum_width = 0, maximum_width = 0, minimum_height = 0, maximum_height = 0;
  std::vector<uint8_t> color_depths, grey_depths;
};

template <class Record>
Abilities AbilitiesOf(const Record& record, const char* place) {
  const auto list = [](const uint8_t(&depths)[8]) {
    std::vector<uint8_t> known;
    for (uint8_t depth : depths)
      if (depth != 0)
        known.push_back(depth);
      else
        break;
    return known;
  };
  return {place,
          record.dwScanModesSupported,
          record.wGreyChannelsSupported,
          record.wMinimumResolution,
          record.wMaximumXResolution,
          record.wMaximumYResolution,
          record.dwMinimumWidth,
          record.dwMaximumWidth,
          record.dwMinimumHeight < record.dwMaximumHeight ? record.dwMinimumHeight : 0,
          record.dwMaximumHeight,
          list(record.byColorBitsPerChannel),
          list(record.byGreyBitsPerChannel)};
}

// The page's geometry at one of the three stations: asked, granted, delivered.
struct Geometry {
  uint32_t x_resolution = 0, y_resolution = 0;
  double width_mm = 0, height_mm = 0;
};

struct ScanPlan {
  SCANNER_PARAMETERS parameters = {};
  Geometry asked;
  // Where these differ from what was asked, the toolkit enlarges.
  uint32_t device_x = 0, device_y = 0;

  bool Enlarged() const { return device_x != asked.x_resolution || device_y != asked.y_resolution; }
};

// Throws HostFailure naming what is possible where the request does not fit.
ScanPlan MakePlan(const ScanRequest& request, const Abilities& can);

// What the device grants, read from the announced picture: the horizontal resolution from its
// width, the vertical one the same unless another was asked for, the rest is a shorter page.
Geometry ReadGranted(const ScanPlan& plan, bool own_resolutions, const BUFFER_INFO& announced);

// Whether two geometries differ by more than the rounding of a device.
bool Differ(const Geometry& asked, const Geometry& granted);

std::string KindName(PixelKind kind);
// Of a capability record's modes: "color, gray".
std::string ModeNames(uint32_t modes);
// "300 dpi", "300 x 600 dpi".
std::string ResolutionText(const Geometry& geometry);

}  // namespace scanhost

#endif  // SCANTK_HOST_SCAN_PLAN_H_
