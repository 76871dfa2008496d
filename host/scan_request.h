// What the user wants scanned, as the command line says it.
#ifndef SCANTK_HOST_SCAN_REQUEST_H_
#define SCANTK_HOST_SCAN_REQUEST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contract/codes.h"
#include "host/area.h"
#include "host/pictures/picture_file.h"

namespace scanhost {

enum class Source { kAuto, kGlass, kFeeder, kTransparency, kNegative };

struct ScanRequest {
  std::string output = "page.png";  // "-": standard output
  std::string format;               // empty: the output's extension
  bool force = false;
  bool strict = false;
  bool json = false;
  PictureOptions picture;
  PixelKind kind = PixelKind::kColor;
  uint32_t depth = 8;
  uint32_t x_resolution = 300;
  uint32_t y_resolution = 300;
  std::optional<Area> area;  // none: all that the device can scan
  std::optional<uint32_t> jpeg_level;
  bool jpeg = true;
  bool preview = false;
  Source source = Source::kAuto;
  bool duplex = false;
  uint32_t pages = 0;  // of a feeder job; 0: until the feeder is empty
  // Tone: none of them leaves the device's own.
  int brightness = 0;  // -100 to 100
  int contrast = 0;    // -100 to 100
  double gamma = 1;
  std::string tone_file;
  std::optional<uint32_t> wait_s;  // for paper and for the device

  bool OwnResolutions() const { return x_resolution != y_resolution; }
};

}  // namespace scanhost

#endif  // SCANTK_HOST_SCAN_REQUEST_H_
