// What the user wants scanned, from the command line to the record that the toolkit takes.
#ifndef SCANTK_HOST_SCAN_REQUEST_H_
#define SCANTK_HOST_SCAN_REQUEST_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "host/area.h"
#include "host/arguments.h"
#include "host/image_writers/page_writer.h"
#include "server/contract/records.h"

namespace scanhost {

struct ScanRequest {
  std::string output = DefaultPictureName();
  PixelKind kind = PixelKind::kColor;
  uint32_t x_resolution = 300;
  uint32_t y_resolution = 300;
  std::optional<Area> area;            // none: all that the device can scan
  std::optional<uint32_t> jpeg_level;  // none: the toolkit's choice
  bool jpeg = true;
  bool preview = false;
  bool feeder = false;
  bool duplex = false;
  uint32_t pages = 0;           // of a feeder job; 0: until the feeder is empty
  uint32_t timeout_ms = 30000;  // how long to wait for a device that is in use
};

// The options of `scanhost scan`.
std::span<const Option> ScanOptions();

// Throws UsageError for values that cannot be meant.
ScanRequest ParseScanRequest(const Arguments& arguments);

// The scan parameters for the request. `maximum_width` and `maximum_height` (1/300 inch) are taken
// where no area was given, `grey_channels` is the device's set of grey-channel bits.
SCANNER_PARAMETERS MakeScanParameters(const ScanRequest& request, uint32_t maximum_width,
                                      uint32_t maximum_height, uint16_t grey_channels);

// The file for page `number` (from 1): a %d or %03d in the name is replaced by the number; a name
// without one gets "-NNN" before its extension when `numbered` is set.
std::string PageFileName(const std::string& pattern, uint32_t number, bool numbered);

}  // namespace scanhost

#endif  // SCANTK_HOST_SCAN_REQUEST_H_
