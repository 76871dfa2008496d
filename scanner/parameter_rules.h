// The arithmetic of the scan parameters: pure rules, from the host's record to the device's values.
#ifndef SCANTK_SCANNER_PARAMETER_RULES_H_
#define SCANTK_SCANNER_PARAMETER_RULES_H_

#include <cstdint>

#include "contract/records.h"
#include "protocol/command_table.h"

namespace scantk {

// Positions and extents go to the device in 1/300 inch.
constexpr uint32_t ToDeviceUnits(uint32_t value, uint32_t resolution) {
  if (resolution == T_UNITS_PER_INCH || resolution == 0) return value;
  return value * T_UNITS_PER_INCH / resolution;
}

// What the device calls a colour mode.
struct DataType {
  int32_t code;  // of SL_DATA_TYPE
  int32_t bits_per_pixel;
};

// False for a mode that cannot be scanned.
constexpr bool DataTypeOf(const SCANNER_PARAMETERS& wanted, DataType* type) {
  switch (wanted.dwScanMode) {
    case T_COLOR:
      *type = {kColour, wanted.byBitsPerChannel * 3};
      return true;
    case T_GREYSCALE:
      *type = {kGrey, wanted.byBitsPerChannel};
      return true;
    case T_BW:
      *type = {(wanted.dwScanOptions & T_BW_DITHER) ? kDithered : kThresholded, 1};
      return true;
    default:
      return false;
  }
}

// Bytes of one raster line as the host gets it; 0 for a width that no line can have, so that reads
// are refused.
constexpr uint32_t BytesPerLine(int32_t pixels, int32_t bits_per_pixel) {
  if (pixels <= 0 || bits_per_pixel <= 0) return 0;
  const uint64_t bytes =
      (static_cast<uint64_t>(pixels) * static_cast<uint64_t>(bits_per_pixel) + 7) / 8;
  return bytes > INT32_MAX ? 0 : static_cast<uint32_t>(bytes);
}

// Below this horizontal resolution the automatic JPEG factor tells previews apart.
inline constexpr uint32_t kLowestPlainResolution = 100;

// The JPEG quality factor when the host chose none.
constexpr uint32_t AutomaticJpegFactor(uint32_t x_resolution, bool preview) {
  if (x_resolution >= 2400) return 5;
  if (x_resolution > 600) return 3;
  if (x_resolution >= kLowestPlainResolution) return 2;
  return preview ? 1 : 0;
}

}  // namespace scantk

#endif  // SCANTK_SCANNER_PARAMETER_RULES_H_
