#include "host/scan_request.h"

#include <cctype>
#include <cstdio>

namespace scanhost {
namespace {

constexpr Option kScanOptions[] = {
    {"-o", "FILE", "picture to write: .png, .tif, .pnm; default page.png; %03d: the page's number"},
    {"--resolution", "N or NxM", "dots per inch, default 300"},
    {"--mode", "MODE", "color (default), gray or bw"},
    {"--area", "L,T,W,H", "left, top, width and height in mm (with \"u\" behind: 1/300 inch)"},
    {"--jpeg", "LEVEL", "have the device compress with this level"},
    {"--no-jpeg", "", "have the device send its rows as they are"},
    {"--preview", "", "a quick scan"},
    {"--feeder", "", "scan from the document feeder until it is empty"},
    {"--duplex", "", "both sides of each sheet"},
    {"--pages", "N", "end a feeder job after this many pages"},
    {"--timeout", "MS", "how long to wait while another program or computer has the device"},
    // Of every command that uses a device.
    {"--library", "FILE", "the toolkit's library, instead of the registered one"},
    {"--simulate", "", "start a simulated device; words after -- are scantk-sim's"},
    {"--trace", "FILE", "with --simulate: write the toolkit's trace there"},
};

void ParseResolution(const std::string& text, ScanRequest* request) {
  constexpr uint32_t kHighest = 65535;
  const size_t cross = text.find('x');
  request->x_resolution = ParseNumber(text.substr(0, cross), 1, kHighest, "the resolution");
  request->y_resolution =
      cross == std::string::npos
          ? request->x_resolution
          : ParseNumber(text.substr(cross + 1), 1, kHighest, "the vertical resolution");
}

PixelKind ParseMode(const std::string& text) {
  if (text == "color" || text == "colour") return PixelKind::kColor;
  if (text == "gray" || text == "grey") return PixelKind::kGray;
  if (text == "bw") return PixelKind::kBlackAndWhite;
  throw UsageError("the mode is color, gray or bw, not \"" + text + "\"");
}

}  // namespace

std::span<const Option> ScanOptions() {
  return kScanOptions;
}

ScanRequest ParseScanRequest(const Arguments& arguments) {
  ScanRequest request;
  request.output = arguments.Value("-o", request.output);
  if (arguments.Has("--resolution")) ParseResolution(arguments.Value("--resolution"), &request);
  request.kind = ParseMode(arguments.Value("--mode", "color"));
  if (arguments.Has("--area")) request.area = ParseArea(arguments.Value("--area"));
  if (arguments.Has("--jpeg") && arguments.Has("--no-jpeg"))
    throw UsageError("--jpeg and --no-jpeg exclude one another");
  if (arguments.Has("--jpeg"))
    request.jpeg_level = ParseNumber(arguments.Value("--jpeg"), 0, 0xFFFFFFFF, "the JPEG level");
  request.jpeg = !arguments.Has("--no-jpeg");
  request.preview = arguments.Has("--preview");
  request.feeder = arguments.Has("--feeder");
  request.duplex = arguments.Has("--duplex");
  if (arguments.Has("--pages"))
    request.pages = ParseNumber(arguments.Value("--pages"), 1, 1000000, "--pages");
  if ((request.duplex || request.pages != 0) && !request.feeder)
    throw UsageError("--duplex and --pages need --feeder");
  if (arguments.Has("--timeout"))
    request.timeout_ms =
        ParseNumber(arguments.Value("--timeout"), 0, 0x7FFFFFFF, "the time-out in milliseconds");
  HoldsManyPages(request.output);  // throws for a name that cannot be written
  return request;
}

SCANNER_PARAMETERS MakeScanParameters(const ScanRequest& request, uint32_t maximum_width,
                                      uint32_t maximum_height, uint16_t grey_channels) {
  SCANNER_PARAMETERS parameters = {};
  const Area area = request.area.value_or(Area{0, 0, maximum_width, maximum_height});
  parameters.dwLeft = area.left;
  parameters.dwTop = area.top;
  parameters.dwWidth = area.width;
  parameters.dwLength = area.height;
  parameters.dwScanMode = request.kind == PixelKind::kColor  ? T_COLOR
                          : request.kind == PixelKind::kGray ? T_GREYSCALE
                                                             : T_BW;
  parameters.dwScanOptions = request.preview ? T_PREVIEW : 0;
  parameters.byBitsPerChannel = request.kind == PixelKind::kBlackAndWhite ? 1 : 8;
  parameters.wXResolution = static_cast<uint16_t>(request.x_resolution);
  parameters.wYResolution = static_cast<uint16_t>(request.y_resolution);
  if (request.kind != PixelKind::kColor)
    // The weighted mean of the colours where the device has it, else the first channel it has.
    parameters.wGreyChannel = grey_channels & T_GREY_NTSC
                                  ? T_GREY_NTSC
                                  : static_cast<uint16_t>(grey_channels & (~grey_channels + 1u));
  parameters.wScanMethod = request.feeder ? T_METHOD_ADF : T_METHOD_FLATBED;
  return parameters;
}

std::string PageFileName(const std::string& pattern, uint32_t number, bool numbered) {
  const size_t percent = pattern.find('%');
  if (percent != std::string::npos) {
    size_t end = percent + 1;
    while (end < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[end]))) ++end;
    if (end < pattern.size() && pattern[end] == 'd' && end - percent <= 3) {
      const std::string width = pattern.substr(percent + 1, end - percent - 1);
      char text[128];
      std::snprintf(text, sizeof text, width.starts_with('0') ? "%0*u" : "%*u",
                    width.empty() ? 0 : std::stoi(width), number);
      return pattern.substr(0, percent) + text + pattern.substr(end + 1);
    }
  }
  if (!numbered) return pattern;
  char text[16];
  std::snprintf(text, sizeof text, "-%03u", number);
  const size_t dot = pattern.rfind('.');
  return pattern.substr(0, dot) + text + pattern.substr(dot);
}

}  // namespace scanhost
