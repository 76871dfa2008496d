#include "diag/record_dumps.h"

#include <cstddef>
#include <iterator>

#include "diag/dump_lines.h"

namespace scantk {
namespace {

constexpr Name kScanModes[] = {
    {T_COLOR, "COLOR"},         {T_GREYSCALE, "GREYSCALE"},         {T_BW, "BW"},
    {T_COLOR_S3L, "COLOR_S3L"}, {T_COLOR_S3L_RAW, "COLOR_S3L_RAW"},
};
// What a feeder scans is one of the first three.
constexpr size_t kFeederScanModes = 3;

// In the order in which they are printed.
constexpr Name kScanOptions[] = {
    {T_PREVIEW, "PREVIEW"},
    {T_QUALITY, "QUALITY"},
    {T_PIXEL_COORDINATES, "PIXEL COORDINATES"},
    {T_BW_DITHER, "BW_DITHER"},
    {T_IR, "IR"},
    {T_DEWARP, "DEWARP"},
    {T_HW_ROTATE_90, "T_HW_ROTATE_90"},
    {T_HW_ROTATE_270, "T_HW_ROTATE_270"},
    {T_HW_ROTATE_AUTO, "T_HW_ROTATE_AUTO"},
    {T_BW_THRESHOLD, "T_BW_THRESHOLD"},
    {T_TONEMAP_PARAMETERS, "T_TONEMAP_PARAMETERS"},
    {T_NOISE_REMOVAL, "T_NOISE_REMOVAL"},
    {T_SHARPENING, "T_SHARPENING"},
    {T_CONTENT_TYPE, "T_CONTENT_TYPE"},
};

constexpr Name kGreyChannelSet[] = {
    {T_GREY_GREEN, "GREEN"},  {T_GREY_RED, "RED"},
    {T_GREY_BLUE, "BLUE"},    {T_GREY_NTSC, "NTSC Grey"},
    {T_GREY_CCD, "Grey CCD"}, {T_GREY_CCD_EMULATION, "Grey CCD Emulation"},
};

constexpr Name kGreyChannels[] = {
    {T_GREY_RED, "RED "},   {T_GREY_GREEN, "GREEN"},   {T_GREY_BLUE, "BLUE "},
    {T_GREY_NTSC, "NTSC "}, {T_GREY_CCD, "Grey CCD "}, {T_GREY_CCD_EMULATION, "Grey CCD Emulation"},
};

constexpr Name kPixelOrders[] = {
    {T_ORDER_RGB, "RGB"}, {2, "BGR"},        {3, "RGBABC"},
    {4, "BGRABC"},        {5, "RGB_CYBORG"}, {6, "BGR_CYBORG"},
};

constexpr Name kScanMethods[] = {
    {T_METHOD_FLATBED, "Flatbed"},
    {T_METHOD_ADF, "ADF"},
    {T_METHOD_XPA_POSITIVE, "XPA Positive"},
    {T_METHOD_XPA_NEGATIVE, "XPA Negative"},
};

constexpr Name kFeedEdges[] = {
    {T_FEED_TOP, "Top Edge Feed (default)"},
    {T_FEED_LEFT, "Left Edge Feed"},
    {T_FEED_BOTTOM, "Bottom Edge Feed"},
    {T_FEED_RIGHT, "Right Edge Feed"},
};

constexpr Name kContentTypes[] = {
    {T_CONTENT_ANY, "T_CONTENT_ANY"},
    {T_CONTENT_PHOTO, "T_CONTENT_PHOTO"},
    {T_CONTENT_DOCUMENT, "T_CONTENT_DOCUMENT"},
};

constexpr Name kFeederTypes[] = {{T_FEEDER_PLATEN, "Platen/Flatbed"},
                                 {T_FEEDER_SCROLL, "Scroll Fed"}};

constexpr Name kFeederOptions[] = {
    {T_ADF_DUPLEX, "DUPLEX"},
    {T_ADF_SINGLEPAGE_FLOW, "SINGLEPAGE_FLOW"},
    {T_ADF_MULTIPAGE_FLOW, "MULTIPAGE_FLOW"},
    {T_ADF_FAST_DUPLEX_MODE, "FAST_DUPLEX_MODE"},
    {T_ADF_FLIP_DUPLEX_PAGE_DATA, "FLIP_DUPLEX_PAGE_DATA"},
    {T_ADF_FLIP_DUPLEX_PAGE_DATA_SHORTSIDE, "FLIP_DUPLEX_PAGE_DATA_SHORTSIDE"},
    {T_ADF_DPD_LENGTH, "T_ADF_DPD_LENGTH"},
    {T_ADF_DPD_THICKNESS, "T_ADF_DPD_THICKNESS"},
    {T_ADF_LONGPAGE_MODE, "T_ADF_LONGPAGE_MODE"},
    {T_ADF_BLACK_BACKGROUND, "T_ADF_BLACK_BACKGROUND"},
    {T_ADF_DUPLEX_TABLET_LAYOUT, "T_ADF_DUPLEX_TABLET_LAYOUT"},
    {T_ADF_OVERSCAN, "T_ADF_OVERSCAN"},
};

constexpr Name kToggleTypes[] = {
    {T_STATE_CHANGEABLE, "T_STATE_CHANGEABLE"},
    {T_SW_CONTROL, "T_SW_CONTROL"},
};

// The groups of fields that several records have under the same names.

template <class Record>
void DumpLimits(Dump& dump, const Record& r) {
  dump.Number("OpticalResolution", r.wOpticalResolution);
  dump.Number("Maximum X Resolution", r.wMaximumXResolution);
  dump.Number("Maximum Y Resolution", r.wMaximumYResolution);
  dump.Number("Minimum Resolution", r.wMinimumResolution);
  dump.Number("Maximum Width", r.dwMaximumWidth);
  dump.Number("Minimum Width", r.dwMinimumWidth);
  dump.Number("Maximum Height", r.dwMaximumHeight);
  dump.Number("Minimum Height", r.dwMinimumHeight);
}

template <class Record>
void DumpBitDepths(Dump& dump, const Record& r) {
  dump.List("Supported Color Bits per pixel", r.byColorBitsPerChannel);
  dump.List("Supported Grey Bits per pixel", r.byGreyBitsPerChannel);
}

template <class Record>
void DumpGamma(Dump& dump, const Record& r) {
  dump.Number("Gamma Entries Per Channel", r.dwGammaEntriesPerChannel);
  dump.Number("Gamma Maximum Entry Value", r.dwGammaMaxEntryValue);
  dump.Number("Gamma Bytes Per Entry", r.dwGammaBytesPerEntry);
}

template <class Record>
void DumpGreyCcd(Dump& dump, const Record& r) {
  dump.Number("Maximum optical Grey CCD resolution", r.wMaxGreyCCDResolution);
}

template <class Record>
void DumpFeederHead(Dump& dump, const Record& r) {
  dump.Bool("Has ADF", r.byHasADF);
  dump.Chars("Model Number", r.byModelNumber);
  dump.One("ADF Type", r.wADFType, kFeederTypes);
}

template <class Record>
void DumpFeederModes(Dump& dump, const Record& r) {
  dump.Set("Scan Modes Supported", r.dwScanModesSupported, kScanModes, kFeederScanModes);
  dump.Set("Scan Options Supported", r.dwScanOptionsSupported, kScanOptions);
  dump.Set("Grey Channels Supported", r.wGreyChannelsSupported, kGreyChannelSet);
}

// What the second and the third feeder record share, up to the lines that only one of them has.
template <class Record>
void DumpDetection(Dump& dump, const Record& r) {
  dump.Bool("ADF can detect end of page", r.byADFCanDetectEndOfPage);
  dump.Bool("ADF can feed and detect page length", r.byADFFeedCanDetectLengthOfPage);
}

template <class Record>
void DumpDuplexFeeder(Dump& dump, const Record& r) {
  dump.Set("ADF Options Supported", r.dwADFOptionsSupported, kFeederOptions);
  DumpLimits(dump, r);
  dump.Number("Maximum Width Duplex", r.dwDuplexMaximumWidth);
  dump.Number("Minimum Width Duplex", r.dwDuplexMinimumWidth);
  dump.Number("Maximum Height Duplex", r.dwDuplexMaximumHeight);
  dump.Number("Minimum Height Duplex", r.dwDuplexMinimumHeight);
  if (r.dwADFOptionsSupported & T_ADF_LONGPAGE_MODE) {
    dump.Number("Long Page Maximum Height", r.dwLongPageMaximumHeight);
    dump.Number("Duplex Long Page Maximum Height", r.dwDuplexLongPageMaximumHeight);
  }
  DumpFeederModes(dump, r);
  DumpBitDepths(dump, r);
  DumpGamma(dump, r);
  if (r.wGreyChannelsSupported & T_GREY_CCD) DumpGreyCcd(dump, r);
}

template <class Record>
void DumpOverscan(Dump& dump, const Record& r) {
  if (r.dwADFOptionsSupported & T_ADF_OVERSCAN)
    AppendFormatted(dump.line(), "Overscan Y Delta (300 dpi):%u\n", r.dwOverscanYDelta);
}

// One option of the scan parameters with the values that it makes valid.
void DumpParameterOption(Dump& dump, const SCANNER_PARAMETERS& r, const Name& option) {
  TraceLine& line = dump.line();
  switch (option.value) {
    case T_PIXEL_COORDINATES:
      return dump.Line("   Pixel Coordinates");
    case T_HW_ROTATE_AUTO:
      return dump.Line("   T_HW_ROTATE_AUTO (rotate upright automatically)");
    case T_BW_THRESHOLD:
      return AppendFormatted(line, "   T_BW_THRESHOLD (dwBWThreshold = %u)\n", r.dwBWThreshold);
    case T_TONEMAP_PARAMETERS:
      dump.Line("   T_TONEMAP_PARAMETERS:");
      AppendFormatted(line, "      wGamma = %g\n", r.tonemap.wGamma / 1000.0);
      dump.Number("      byBrightness", r.tonemap.byBrightness);
      dump.Number("      byContrast", r.tonemap.byContrast);
      dump.Number("      wHighlight", r.tonemap.wHighlight);
      return dump.Number("      wShadow", r.tonemap.wShadow);
    case T_NOISE_REMOVAL:
      return AppendFormatted(line, "   T_NOISE_REMOVAL (byNoizeRemovalLevel = %u)\n",
                             r.byNoiseRemovalLevel);
    case T_SHARPENING:
      return AppendFormatted(line, "   T_SHARPENING (bySharpeningLevel = %u)\n",
                             r.bySharpeningLevel);
    case T_CONTENT_TYPE:
      line.append("   T_CONTENT_TYPE (byContentType = ");
      dump.AppendOne(r.byContentType, kContentTypes);
      return dump.Line(")");
    default:
      line.append("   ");
      return dump.Line(option.text);
  }
}

}  // namespace

void DumpScannerCapabilities(TraceLog& trace, const SCANNER_CAPABILITIES* record, uint32_t mask) {
  trace.Compose(mask | TRACE_DUMP, [record](TraceLine& line) {
    const SCANNER_CAPABILITIES& r = *record;
    Dump dump(line);
    dump.Line(" <<< SCANNER CAPABILITIES >>> ");
    dump.Chars("ModelNumber", r.byModelNumber);
    dump.Number("Lamp Warmup Time", r.wLampWarmupTime);
    DumpLimits(dump, r);
    dump.Label("Pixel Order");
    dump.AppendOne(r.wRawPixelOrder, kPixelOrders, "Unknown Type: %u");
    line.append("\n");
    dump.Text("Pixel Packing", r.wPixelPacking == T_PACKED ? "PACKED" : "PLANAR");
    dump.Set("Scan Modes Supported", r.dwScanModesSupported, kScanModes);
    dump.Set("Scan Options Supported", r.dwScanOptionsSupported, kScanOptions);
    dump.Set("Grey Channels Supported", r.wGreyChannelsSupported, kGreyChannelSet);
    dump.Text("Scanner Paper Path", r.wPaperPath == T_PATH_FLATBED ? "Flatbed" : "Scroll");
    dump.Number("Gamma Table Size (obsolete)", r.wGammaTableSize);
    DumpBitDepths(dump, r);
    DumpGamma(dump, r);
    if (r.wGreyChannelsSupported & T_GREY_CCD) DumpGreyCcd(dump, r);
    if (r.dwMaxRotationBytes != 0)
      dump.Number("Max flatbed HW rotation bytes", r.dwMaxRotationBytes);
  });
}

void DumpBufferInfo(TraceLog& trace, const BUFFER_INFO* record, uint32_t mask) {
  trace.Compose(mask | TRACE_DUMP, [record](TraceLine& line) {
    Dump dump(line);
    dump.Line(" << BUFFER_INFO >>> ");
    dump.Number("Bytes Per Line", record->dwBytesPerLine);
    dump.Number("Pixel Width", record->dwPixelWidth);
    dump.Number("Pixel Height", record->dwPixelHeight);
  });
}

void DumpScannerParameters(TraceLog& trace, const SCANNER_PARAMETERS* record, uint32_t mask) {
  trace.Compose(mask | TRACE_DUMP, [record](TraceLine& line) {
    const SCANNER_PARAMETERS& r = *record;
    Dump dump(line);
    dump.Line(" << SCANNER PARAMETERS >>> ");
    dump.Number("PixelLeft", r.dwLeft);
    dump.Number("PixelTop", r.dwTop);
    dump.Number("PixelWidth", r.dwWidth);
    dump.Number("PixelLength", r.dwLength);
    dump.One("Scan Mode", r.dwScanMode, kScanModes);
    dump.Text("Scan Options", "");
    for (const Name& option : kScanOptions)
      if (r.dwScanOptions & option.value) DumpParameterOption(dump, r, option);
    dump.Number("Bits Per Channel", r.byBitsPerChannel);
    dump.Number("X Resolution", r.wXResolution);
    dump.Number("Y Resolution", r.wYResolution);
    dump.One("Grey Channel", r.wGreyChannel, kGreyChannels);
    dump.One("Scan Method", r.wScanMethod, kScanMethods);
    dump.AppendOne(r.wFeedEdge, kFeedEdges);
    line.append("\n");
  });
}

void DumpADFCapabilities(TraceLog& trace, const ADF_CAPABILITIES* record, uint32_t mask) {
  trace.Compose(mask | TRACE_DUMP, [record](TraceLine& line) {
    const ADF_CAPABILITIES& r = *record;
    Dump dump(line);
    dump.Line(" << ADF CAPABILITIES >>> ");
    DumpFeederHead(dump, r);
    DumpLimits(dump, r);
    DumpFeederModes(dump, r);
    dump.Number("Gamma Table Size (obsolete)", r.wGammaTableSize);
    DumpBitDepths(dump, r);
    DumpGamma(dump, r);
    DumpGreyCcd(dump, r);
  });
}

void DumpADF2Capabilities(TraceLog& trace, const ADF2_CAPABILITIES* record, uint32_t mask) {
  trace.Compose(mask | TRACE_DUMP, [record](TraceLine& line) {
    Dump dump(line);
    dump.Line(" << ADF2_CAPABILITIES >>> ");
    DumpFeederHead(dump, *record);
    DumpDetection(dump, *record);
    DumpDuplexFeeder(dump, *record);
    DumpOverscan(dump, *record);
  });
}

void DumpADF3Capabilities(TraceLog& trace, const ADF3_CAPABILITIES* record, uint32_t mask) {
  trace.Compose(mask | TRACE_DUMP, [record](TraceLine& line) {
    const ADF3_CAPABILITIES& r = *record;
    Dump dump(line);
    dump.Line(" << ADF3_CAPABILITIES >>> ");
    DumpFeederHead(dump, r);
    DumpDetection(dump, r);
    dump.Bool("ADF has Hardware Duplex toggle", r.byHasHWDuplexToggle);
    dump.Bool("ADF reverses page order", r.byADFReverseOrder);
    if (r.byHasHWDuplexToggle) {
      line.append("ADF Hardware Duplex toggle type: ");
      dump.AppendSet(r.wHWDuplexToggleType, kToggleTypes, std::size(kToggleTypes));
    }
    DumpDuplexFeeder(dump, r);
    dump.Number("Max Feeder Capacity", r.wMaxFeederCapacity);
    dump.Number("Rotation", r.wRotation);
    DumpOverscan(dump, r);
  });
}

}  // namespace scantk
