#include "host/scan_plan.h"

#include <algorithm>
#include <cmath>

#include "contract/codes.h"
#include "host/error_advice.h"

namespace scanhost {
namespace {

// The toolkit makes up to so many times the device's own rows, and pixels of 8 bits a channel
// alone.
constexpr uint32_t kMostEnlarged = 7;

struct Mode {
  PixelKind kind;
  uint32_t bit;
  const char* name;
};
constexpr Mode kModes[] = {{PixelKind::kColor, T_COLOR, "color"},
                           {PixelKind::kGray, T_GREYSCALE, "gray"},
                           {PixelKind::kBlackAndWhite, T_BW, "bw"}};

const Mode& ModeOf(PixelKind kind) {
  return *std::find_if(std::begin(kModes), std::end(kModes),
                       [&](const Mode& mode) { return mode.kind == kind; });
}

void CheckMode(const ScanRequest& request, const Abilities& can) {
  if (can.modes & ModeOf(request.kind).bit) return;
  throw HostFailure("the device scans " + ModeNames(can.modes) + ", not " +
                    ModeOf(request.kind).name +
                    (request.kind == PixelKind::kBlackAndWhite
                         ? "; if it can, `scanhost devices set DEVICE DeviceBW=1` says so"
                         : ""));
}

void CheckDepth(const ScanRequest& request, const Abilities& can) {
  if (request.kind == PixelKind::kBlackAndWhite) return;
  const auto& depths = request.kind == PixelKind::kColor ? can.color_depths : can.grey_depths;
  if (depths.empty() || std::count(depths.begin(), depths.end(), request.depth) != 0) return;
  std::string offered;
  for (uint8_t depth : depths) offered += (offered.empty() ? "" : ", ") + std::to_string(depth);
  throw HostFailure("the " + can.place + " scans " + KindName(request.kind) + " with " + offered +
                    " bits a channel, not " + std::to_string(request.depth));
}

// The resolution that the device itself will scan at.
uint32_t CheckResolution(uint32_t asked, uint32_t least, uint32_t most, const char* direction) {
  if (asked < least || (most != 0 && asked > most * kMostEnlarged))
    throw HostFailure("the device scans " + std::to_string(least) + " to " + std::to_string(most) +
                      " dpi " + direction + " and the toolkit enlarges up to " +
                      std::to_string(most * kMostEnlarged) + "; " + std::to_string(asked) +
                      " is not possible");
  return most == 0 ? asked : std::min(asked, most);
}

Area CheckArea(const ScanRequest& request, const Abilities& can) {
  const Area whole = {0, 0, can.maximum_width, can.maximum_height};
  const Area area = request.area.value_or(whole);
  const auto outside = [](uint32_t start, uint32_t size, uint32_t all) {
    return all != 0 && (start > all || size > all - start);
  };
  if (outside(area.left, area.width, can.maximum_width) ||
      outside(area.top, area.height, can.maximum_height))
    throw HostFailure("the area leaves the " + can.place + ", which is " +
                      SizeInMillimetres(can.maximum_width, can.maximum_height) +
                      "; --size max scans all of it");
  if (area.width < can.minimum_width || area.height < can.minimum_height)
    throw HostFailure("the device scans nothing smaller than " +
                      SizeInMillimetres(can.minimum_width, can.minimum_height));
  return area;
}

uint16_t Method(Source source) {
  switch (source) {
    case Source::kFeeder:
      return T_METHOD_ADF;
    case Source::kTransparency:
      return T_METHOD_XPA_POSITIVE;
    case Source::kNegative:
      return T_METHOD_XPA_NEGATIVE;
    default:
      return T_METHOD_FLATBED;
  }
}

}  // namespace

ScanPlan MakePlan(const ScanRequest& request, const Abilities& can) {
  CheckMode(request, can);
  CheckDepth(request, can);
  const Area area = CheckArea(request, can);
  ScanPlan plan;
  plan.device_x =
      CheckResolution(request.x_resolution, can.minimum_resolution, can.maximum_x, "across");
  plan.device_y =
      CheckResolution(request.y_resolution, can.minimum_resolution, can.maximum_y, "along");
  if (request.depth == 16 && request.kind != PixelKind::kBlackAndWhite &&
      (plan.device_x < request.x_resolution || plan.device_y < request.y_resolution))
    throw HostFailure("the device scans up to " + std::to_string(can.maximum_x) + " x " +
                      std::to_string(can.maximum_y) +
                      " dpi, and with 16 bits a channel the toolkit enlarges nothing");
  plan.asked = {request.x_resolution, request.y_resolution, area.width * kMillimetre,
                area.height * kMillimetre};
  SCANNER_PARAMETERS& parameters = plan.parameters;
  parameters.dwLeft = area.left;
  parameters.dwTop = area.top;
  parameters.dwWidth = area.width;
  parameters.dwLength = area.height;
  parameters.dwScanMode = ModeOf(request.kind).bit;
  parameters.dwScanOptions = request.preview ? T_PREVIEW : 0;
  parameters.byBitsPerChannel =
      static_cast<uint8_t>(request.kind == PixelKind::kBlackAndWhite ? 1 : request.depth);
  parameters.wXResolution = static_cast<uint16_t>(request.x_resolution);
  parameters.wYResolution = static_cast<uint16_t>(request.y_resolution);
  if (request.kind != PixelKind::kColor)
    // The weighted mean of the colours where the device has it, else the first channel it has.
    parameters.wGreyChannel =
        can.grey_channels & T_GREY_NTSC
            ? T_GREY_NTSC
            : static_cast<uint16_t>(can.grey_channels & (~can.grey_channels + 1u));
  parameters.wScanMethod = Method(request.source);
  return plan;
}

Geometry ReadGranted(const ScanPlan& plan, bool own_resolutions, const BUFFER_INFO& announced) {
  const auto resolution = [](uint32_t pixels, double expected, uint32_t asked, uint32_t slack) {
    if (expected <= 0 || std::abs(pixels - expected) <= slack) return asked;
    return std::max(static_cast<uint32_t>(std::lround(asked * (pixels / expected))), 1u);
  };
  const SCANNER_PARAMETERS& asked = plan.parameters;
  // A device rounds rows to whole pixels or bytes of its own, which enlarging multiplies.
  const uint32_t slack = 1 + 8 * ((asked.wXResolution + plan.device_x - 1) / plan.device_x) / 4;
  Geometry granted;
  granted.x_resolution =
      resolution(announced.dwPixelWidth, asked.dwWidth * asked.wXResolution / 300.0,
                 asked.wXResolution, slack);
  granted.y_resolution = own_resolutions ? asked.wYResolution : granted.x_resolution;
  granted.width_mm = announced.dwPixelWidth * 25.4 / granted.x_resolution;
  granted.height_mm = announced.dwPixelHeight * 25.4 / granted.y_resolution;
  return granted;
}

bool Differ(const Geometry& asked, const Geometry& granted) {
  const auto apart = [](double a, double b, uint32_t resolution) {
    return std::abs(a - b) > std::max(0.5, 4 * 25.4 / resolution);
  };
  return asked.x_resolution != granted.x_resolution || asked.y_resolution != granted.y_resolution ||
         apart(asked.width_mm, granted.width_mm, granted.x_resolution) ||
         apart(asked.height_mm, granted.height_mm, granted.y_resolution);
}

std::string ModeNames(uint32_t modes) {
  std::string names;
  for (const Mode& mode : kModes)
    if (modes & mode.bit) names += std::string(names.empty() ? "" : ", ") + mode.name;
  return names;
}

std::string KindName(PixelKind kind) {
  return ModeOf(kind).name;
}

std::string ResolutionText(const Geometry& geometry) {
  return std::to_string(geometry.x_resolution) +
         (geometry.y_resolution == geometry.x_resolution
              ? ""
              : " x " + std::to_string(geometry.y_resolution)) +
         " dpi";
}

}  // namespace scanhost
