// scanhost info: what a device can do.
#include <cstdio>
#include <cstring>
#include <span>
#include <string>

#include "contract/interfaces.h"
#include "host/area.h"
#include "host/commands.h"
#include "host/error_advice.h"

namespace scanhost {
namespace {

struct BitName {
  uint32_t bit;
  const char* name;
};

constexpr BitName kModes[] = {{T_COLOR, "colour"},
                              {T_GREYSCALE, "gray"},
                              {T_BW, "black and white"},
                              {T_COLOR_S3L, "colour S3L"},
                              {T_COLOR_S3L_RAW, "colour S3L raw"}};
constexpr BitName kScanOptions[] = {{T_PREVIEW, "preview"},
                                    {T_PIXEL_COORDINATES, "pixel coordinates"},
                                    {T_QUALITY, "quality"},
                                    {T_BW_DITHER, "dithering"},
                                    {T_IR, "infrared"},
                                    {T_DEWARP, "dewarping"},
                                    {T_HW_ROTATE_90, "rotate by 90 degrees"},
                                    {T_HW_ROTATE_270, "rotate by 270 degrees"},
                                    {T_BW_THRESHOLD, "threshold"},
                                    {T_HW_ROTATE_AUTO, "turn pages upright"},
                                    {T_TONEMAP_PARAMETERS, "tone settings"},
                                    {T_NOISE_REMOVAL, "noise removal"},
                                    {T_SHARPENING, "sharpening"},
                                    {T_CONTENT_TYPE, "content type"}};
constexpr BitName kChannels[] = {
    {T_GREY_RED, "red"},         {T_GREY_GREEN, "green"},
    {T_GREY_BLUE, "blue"},       {T_GREY_NTSC, "weighted mean"},
    {T_GREY_CCD, "gray sensor"}, {T_GREY_CCD_EMULATION, "gray sensor emulation"}};
constexpr BitName kFeederOptions[] = {
    {T_ADF_DUPLEX, "two-sided"},
    {T_ADF_SINGLEPAGE_FLOW, "single pages"},
    {T_ADF_MULTIPAGE_FLOW, "many pages"},
    {T_ADF_FAST_DUPLEX_MODE, "fast two-sided"},
    {T_ADF_FLIP_DUPLEX_PAGE_DATA, "back sides flipped"},
    {T_ADF_FLIP_DUPLEX_PAGE_DATA_SHORTSIDE, "back sides flipped at the short side"},
    {T_ADF_DPD_LENGTH, "double-pick detection by length"},
    {T_ADF_DPD_THICKNESS, "double-pick detection by thickness"},
    {T_ADF_LONGPAGE_MODE, "long pages"},
    {T_ADF_BLACK_BACKGROUND, "black background"},
    {T_ADF_DUPLEX_TABLET_LAYOUT, "bound at top or bottom"},
    {T_ADF_OVERSCAN, "overscan"}};
constexpr BitName kCompressions[] = {{T_COMPRESSION_NONE, "none"}, {T_COMPRESSION_JPEG, "JPEG"}};

void Line(const char* what, const std::string& value) {
  std::printf("  %-18s %s\n", what, value.c_str());
}

// "colour, gray"; bits without a name as one number; "none".
std::string BitNames(uint32_t bits, std::span<const BitName> names) {
  std::string text;
  const auto append = [&](const std::string& word) { text += (text.empty() ? "" : ", ") + word; };
  for (const BitName& name : names)
    if (bits & name.bit) {
      append(name.name);
      bits &= ~name.bit;
    }
  if (bits != 0) {
    char rest[16];
    std::snprintf(rest, sizeof rest, "0x%X", bits);
    append(rest);
  }
  return text.empty() ? "none" : text;
}

// A list of bit depths that the first 0 ends.
std::string Depths(const uint8_t (&list)[8]) {
  std::string text;
  for (uint8_t depth : list) {
    if (depth == 0) break;
    text += (text.empty() ? "" : ", ") + std::to_string(depth);
  }
  return text.empty() ? "none" : text;
}

// What flatbed and feeder records have in common, under the same names.
template <class Record>
void ShowScanning(const Record& record) {
  Line("resolution", std::to_string(record.wMinimumResolution) + " to " +
                         std::to_string(record.wMaximumXResolution) + " x " +
                         std::to_string(record.wMaximumYResolution) + " dpi, optical " +
                         std::to_string(record.wOpticalResolution));
  Line("largest area", SizeInMillimetres(record.dwMaximumWidth, record.dwMaximumHeight));
  Line("smallest area", SizeInMillimetres(record.dwMinimumWidth, record.dwMinimumHeight));
  Line("modes", BitNames(record.dwScanModesSupported, kModes));
  Line("options", BitNames(record.dwScanOptionsSupported, kScanOptions));
  Line("bits per channel", "colour " + Depths(record.byColorBitsPerChannel) + "; gray " +
                               Depths(record.byGreyBitsPerChannel));
  Line("gray channels", BitNames(record.wGreyChannelsSupported, kChannels));
  Line("tone map", std::to_string(record.dwGammaEntriesPerChannel) + " entries up to " +
                       std::to_string(record.dwGammaMaxEntryValue));
}

void ShowFlatbed(Session& session) {
  SCANNER_CAPABILITIES record = {};
  session.Do("GetScannerCapabilities", &IScanner::GetScannerCapabilities, &record);
  const char* model = reinterpret_cast<const char*>(record.byModelNumber);
  std::printf("flatbed\n");
  Line("model", std::string(model, strnlen(model, sizeof record.byModelNumber)));
  Line("paper path", record.wPaperPath ? "scroll (no glass)" : "flatbed");
  ShowScanning(record);
}

void ShowFeeder(const Toolkit& toolkit, uint32_t handle) {
  const auto feeder = toolkit.Ask<IADF3>(IID_IADF3);
  ADF_CAPABILITIES first = {};
  Call("GetADFCapabilities", feeder.Get(), &IADF3::GetADFCapabilities, handle, &first);
  ADF3_CAPABILITIES third = {};
  Call("GetADF3Capabilities", feeder.Get(), &IADF3::GetADF3Capabilities, handle, &third);
  if (!first.byHasADF && !third.byHasADF) {
    std::printf("feeder: none\n");
    return;
  }
  std::printf("feeder\n");
  if (!third.byHasADF) {
    ShowScanning(first);
    return;
  }
  Line("feeder options", BitNames(third.dwADFOptionsSupported, kFeederOptions));
  if (third.dwADFOptionsSupported & T_ADF_DUPLEX)
    Line("largest, two-sided",
         SizeInMillimetres(third.dwDuplexMaximumWidth, third.dwDuplexMaximumHeight));
  ShowScanning(third);
}

void ShowCompression(const Toolkit& toolkit, uint32_t handle) {
  const auto compression = toolkit.Ask<ICompression>(IID_ICompression);
  COMPRESSION_CAPABILITIES record = {};
  Call("GetCompressionCapabilities", compression.Get(), &ICompression::GetCompressionCapabilities,
       handle, &record);
  std::printf("compression\n");
  Line("types", BitNames(record.dwTypesOfCompression, kCompressions));
  Line("default", BitNames(record.dwDefaultCompressionType, kCompressions));
  Line("JPEG levels", std::to_string(record.dwJPEGLevelMinimum) + " to " +
                          std::to_string(record.dwJPEGLevelMaximum));
}

void ShowPanel(const Toolkit& toolkit, uint32_t handle) {
  const auto panel = toolkit.Ask<IControlPanel>(IID_IControlPanel);
  CONTROL_PANEL_CAPABILITIES record = {};
  Call("GetControlPanelCapabilities", panel.Get(), &IControlPanel::GetControlPanelCapabilities,
       handle, &record);
  if (!record.byHasControlPanel) {
    std::printf("control panel: none\n");
    return;
  }
  std::printf("control panel\n");
  Line("destinations", std::to_string(record.dwDestinationListEntries));
  Line("code page", std::to_string(record.dwCurrentCodePage ? record.dwCurrentCodePage
                                                            : record.dwSupportedCodePages[0]));
}

void ShowSpf(const Toolkit& toolkit, uint32_t handle) {
  const auto spf = toolkit.Ask<ISPF>(IID_ISPF);
  SPF_CAPABILITIES record = {};
  const Outcome outcome =
      Try("GetSPFCapabilities", spf.Get(), &ISPF::GetSPFCapabilities, handle, &record);
  if (outcome.code == TERR_SPF_NOT_SUPPORTED) {
    std::printf("SPF data: none\n");
    return;
  }
  if (!outcome.Clean()) throw ToolkitFailure(outcome);
  std::printf("SPF data: %u bytes%s\n", record.dwSPFsize, record.byEncrypted ? ", enciphered" : "");
}

}  // namespace

int RunInfo(const DeviceOptions& options) {
  DeviceContext context(options);
  std::printf("%s %s, %s\n", context.device().key.c_str(), context.device().description.c_str(),
              IoTypeName(context.device().io_type).c_str());
  ShowFlatbed(context.session());
  const uint32_t handle = context.session().handle();
  ShowFeeder(context.toolkit(), handle);
  ShowCompression(context.toolkit(), handle);
  ShowPanel(context.toolkit(), handle);
  ShowSpf(context.toolkit(), handle);
  return 0;
}

}  // namespace scanhost
