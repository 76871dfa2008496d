// The records that cross the interface by pointer. Their layout is part of the contract: fields in
// this order, each aligned to its own width, the sizes asserted below. Several fields named dw...
// are 16 bits wide; the declared width is the one that counts.
//
// Positions and extents are in 1/300 inch (T_UNITS_PER_INCH), resolutions in dots per inch. Records
// that the toolkit fills are 0 in what it could not learn, and in what is reserved.
#ifndef SCANTK_CONTRACT_RECORDS_H_
#define SCANTK_CONTRACT_RECORDS_H_

#include <cstdint>

#include "contract/values.h"

// What the glass of a device can do; of a device without glass, what its feeder can.
struct SCANNER_CAPABILITIES {
  uint8_t byModelNumber[16];     // zero-terminated; "ZT-4410" of a device without a name
  uint16_t wLampWarmupTime;      // 0: the lamp is the device's own business
  uint16_t wOpticalResolution;   // the larger of the next two
  uint16_t wMaximumXResolution;  // what is asked beyond these two is enlarged by the toolkit
  uint16_t wMaximumYResolution;
  uint16_t wMinimumResolution;
  uint32_t dwMaximumWidth;
  uint32_t dwMinimumWidth;
  uint32_t dwMaximumHeight;  // 0: there is no glass
  uint32_t dwMinimumHeight;
  uint16_t wRawPixelOrder;            // T_ORDER_RGB
  uint16_t wPixelPacking;             // T_PACKED
  uint32_t dwScanModesSupported;      // T_COLOR and T_GREYSCALE; T_BW where it is switched on
  uint32_t dwScanOptionsSupported;    // T_PREVIEW and T_PIXEL_COORDINATES
  uint16_t wGreyChannelsSupported;    // T_GREY_NTSC
  uint16_t wPaperPath;                // T_PATH_FLATBED or T_PATH_SCROLL
  uint16_t wGammaTableSize;           // 0; obsolete
  uint8_t byColorBitsPerChannel[8];   // 8, then 10, 12 or 16 if there is more; the first 0 ends it
  uint8_t byGreyBitsPerChannel[8];    // 8; the first 0 ends it
  uint32_t dwGammaEntriesPerChannel;  // 256, as SetGammaTable takes them
  uint32_t dwGammaMaxEntryValue;      // 255
  uint16_t dwGammaBytesPerEntry;      // 1
  uint16_t wMaxGreyCCDResolution;     // of T_GREY_CCD, where that channel is supported
  uint32_t dwMaxRotationBytes;        // largest image that the device can rotate; 0: none
  uint16_t wReserved[14];
};
static_assert(sizeof(SCANNER_CAPABILITIES) == 124);

// Tone settings, embedded in the scan parameters. They reach no device of today: a tone map does
// (SetGammaTable).
struct TONEMAP_PARAMETERS {
  uint16_t wGamma;  // times 1000: 2200 means 2.2
  uint8_t byBrightness;
  uint8_t byContrast;
  uint16_t wHighlight;  // highlight and shadow point, as samples
  uint16_t wShadow;
};
static_assert(sizeof(TONEMAP_PARAMETERS) == 8);

// What the host wants scanned. Clear the whole record first: 0 is the default of every field but
// the extents, the mode, the bits and the resolutions, which have none. The device is sent what is
// marked (*); the rest is only shown in the trace.
struct SCANNER_PARAMETERS {
  uint32_t dwLeft;              // (*) in 1/300 inch, or pixels of the scan with T_PIXEL_COORDINATES
  uint32_t dwTop;               // (*) the same; positions and extents up to 65535 units
  uint32_t dwWidth;             // (*) up to dwMaximumWidth
  uint32_t dwLength;            // (*) up to dwMaximumHeight of glass or feeder
  uint32_t dwScanMode;          // (*) T_COLOR, T_GREYSCALE or T_BW
  uint32_t dwScanOptions;       // (*) of T_PREVIEW, T_PIXEL_COORDINATES, T_BW_DITHER
  uint8_t byBitsPerChannel;     // (*) of the capabilities' list; T_BW has 1 whatever stands here
  uint16_t wXResolution;        // (*) from wMinimumResolution; beyond the maximum it is enlarged
  uint16_t wYResolution;        // (*) the same
  uint16_t wGreyChannel;        // one of the channels, of T_GREYSCALE and T_BW
  uint16_t wScanMethod;         // T_METHOD_FLATBED or T_METHOD_ADF: which paper the toolkit moves
  uint32_t dwBWThreshold;       // with T_BW_THRESHOLD
  uint16_t wFeedEdge;           // T_FEED_TOP and its like
  TONEMAP_PARAMETERS tonemap;   // with T_TONEMAP_PARAMETERS
  uint8_t bySharpeningLevel;    // with T_SHARPENING
  uint8_t byNoiseRemovalLevel;  // with T_NOISE_REMOVAL
  uint8_t byContentType;        // with T_CONTENT_TYPE: T_CONTENT_ANY and its like
  uint8_t byReserved;           // set this and the rest to 0
  uint16_t wReserved;
  uint32_t dwReserved[7];
};
static_assert(sizeof(SCANNER_PARAMETERS) == 84);

// The geometry of the coming scan, as the host will receive it.
struct BUFFER_INFO {
  uint32_t dwPixelWidth;    // pixels per line
  uint32_t dwPixelHeight;   // lines; a sheet may end earlier
  uint32_t dwBytesPerLine;  // (pixels per line x bits per pixel + 7) / 8; 0: no such line
  uint32_t dwReserved[10];
};
static_assert(sizeof(BUFFER_INFO) == 52);

// What the document feeder can do: the first record. Here and in the next two, fields that are
// named as in SCANNER_CAPABILITIES mean the same of scans from the feeder; without a feeder all
// that counts is byHasADF.
struct ADF_CAPABILITIES {
  uint8_t byHasADF;  // 0 or 1
  uint8_t byModelNumber[16];
  uint16_t wADFType;  // T_FEEDER_PLATEN or T_FEEDER_SCROLL
  uint16_t wOpticalResolution;
  uint16_t wMaximumXResolution;
  uint16_t wMaximumYResolution;
  uint16_t wMinimumResolution;
  uint32_t dwMaximumWidth;
  uint32_t dwMinimumWidth;
  uint32_t dwMaximumHeight;
  uint32_t dwMinimumHeight;
  uint32_t dwScanModesSupported;
  uint32_t dwScanOptionsSupported;
  uint16_t wGreyChannelsSupported;
  uint16_t wGammaTableSize;
  uint8_t byColorBitsPerChannel[8];  // 8 alone
  uint8_t byGreyBitsPerChannel[8];
  uint32_t dwGammaEntriesPerChannel;
  uint32_t dwGammaMaxEntryValue;
  uint16_t dwGammaBytesPerEntry;
  uint16_t wMaxGreyCCDResolution;
  uint16_t wReserved[16];
};
static_assert(sizeof(ADF_CAPABILITIES) == 116);

// The second feeder record: two-sided scanning.
struct ADF2_CAPABILITIES {
  uint8_t byHasADF;
  uint8_t byModelNumber[16];
  uint16_t wADFType;
  uint8_t byADFCanDetectEndOfPage;         // 1: a page ends where its sheet ends
  uint8_t byADFFeedCanDetectLengthOfPage;  // 0: no feeder measures a sheet before it is scanned
  // T_ADF_MULTIPAGE_FLOW; with two sides T_ADF_DUPLEX and T_ADF_FLIP_DUPLEX_PAGE_DATA, too
  uint32_t dwADFOptionsSupported;
  uint16_t wOpticalResolution;
  uint16_t wMaximumXResolution;
  uint16_t wMaximumYResolution;
  uint16_t wMinimumResolution;
  uint32_t dwMaximumWidth;
  uint32_t dwMinimumWidth;
  uint32_t dwMaximumHeight;
  uint32_t dwMinimumHeight;
  uint32_t dwDuplexMaximumWidth;  // the same four of two-sided scans; 0 without T_ADF_DUPLEX
  uint32_t dwDuplexMinimumWidth;
  uint32_t dwDuplexMaximumHeight;
  uint32_t dwDuplexMinimumHeight;
  uint32_t dwScanModesSupported;
  uint32_t dwScanOptionsSupported;
  uint16_t wGreyChannelsSupported;
  uint8_t byColorBitsPerChannel[8];
  uint8_t byGreyBitsPerChannel[8];
  uint32_t dwGammaEntriesPerChannel;
  uint32_t dwGammaMaxEntryValue;
  uint16_t dwGammaBytesPerEntry;
  uint16_t wMaxGreyCCDResolution;
  uint32_t dwLongPageMaximumHeight;        // with T_ADF_LONGPAGE_MODE; 0
  uint32_t dwDuplexLongPageMaximumHeight;  // the same of two-sided scans; 0
  uint32_t dwOverscanYDelta;               // scanned beyond top and bottom with T_ADF_OVERSCAN; 0
  uint16_t wReserved[33];
};
static_assert(sizeof(ADF2_CAPABILITIES) == 188);

// The third feeder record: the second with duplex switch, capacity and rotation. Fields that are
// named as in the second mean the same.
struct ADF3_CAPABILITIES {
  uint8_t byHasADF;
  uint8_t byModelNumber[16];
  uint16_t wADFType;
  uint8_t byADFCanDetectEndOfPage;
  uint8_t byADFFeedCanDetectLengthOfPage;
  uint8_t byHasHWDuplexToggle;   // 0: no device has a switch for two sides
  uint16_t wHWDuplexToggleType;  // T_STATE_CHANGEABLE, T_SW_CONTROL; 0
  uint8_t byADFReverseOrder;     // 1: the last sheet comes first; 0
  uint32_t dwADFOptionsSupported;
  uint16_t wOpticalResolution;
  uint16_t wMaximumXResolution;
  uint16_t wMaximumYResolution;
  uint16_t wMinimumResolution;
  uint32_t dwMaximumWidth;
  uint32_t dwMinimumWidth;
  uint32_t dwMaximumHeight;
  uint32_t dwMinimumHeight;
  uint32_t dwDuplexMaximumWidth;
  uint32_t dwDuplexMinimumWidth;
  uint32_t dwDuplexMaximumHeight;
  uint32_t dwDuplexMinimumHeight;
  uint32_t dwScanModesSupported;
  uint32_t dwScanOptionsSupported;
  uint16_t wGreyChannelsSupported;
  uint8_t byColorBitsPerChannel[8];
  uint8_t byGreyBitsPerChannel[8];
  uint32_t dwGammaEntriesPerChannel;
  uint32_t dwGammaMaxEntryValue;
  uint16_t dwGammaBytesPerEntry;
  uint16_t wMaxGreyCCDResolution;
  uint16_t wMaxFeederCapacity;  // sheets; 0: not known
  uint16_t wRotation;           // that the device applies to feeder pages; 0: none
  uint32_t dwLongPageMaximumHeight;
  uint32_t dwDuplexLongPageMaximumHeight;
  uint32_t dwOverscanYDelta;
  uint16_t wReserved[32];
};
static_assert(sizeof(ADF3_CAPABILITIES) == 192);

// How the device can compress on the wire; the host reads raster lines in any case.
struct COMPRESSION_CAPABILITIES {
  uint32_t dwTypesOfCompression;                // T_COMPRESSION_NONE and T_COMPRESSION_JPEG
  uint32_t dwDefaultCompressionType;            // T_COMPRESSION_JPEG: what a session begins with
  uint32_t dwCompressionLongevity;              // 1: a choice holds until the session ends
  uint32_t dwJPEGLevelMinimum;                  // 1: the finest
  uint32_t dwJPEGLevelMaximum;                  // 5: the smallest pages
  uint32_t dwCompressionOptions;                // T_COMPRESSION_OPTION_JPEG_LEVEL
  uint16_t wMaxHWCompressionResolution;         // 0: any
  uint32_t dwExcludeColorCompressionTypes;      // types that T_COLOR cannot be scanned with; 0
  uint32_t dwExcludeGreyscaleCompressionTypes;  // of T_GREYSCALE; 0
  uint32_t dwExcludeBWCompressionTypes;         // of T_BW; 0: such scans are never compressed
  uint16_t wReserved[12];
};
static_assert(sizeof(COMPRESSION_CAPABILITIES) == 64);

// What the front panel offers to hosts.
struct CONTROL_PANEL_CAPABILITIES {
  uint8_t byHasControlPanel;          // 1
  uint32_t dwSupportedValues;         // set of T_CONTROL_PANEL_...; 0: no variable can be read
  uint32_t dwSupportedStrings;        // set of T_CONTROL_PANEL_STRING_...; 0
  uint32_t dwCurrentCodePage;         // 0: not told
  uint16_t wMaxStringCharacters[32];  // a string's longest text, by its bit; 0
  uint32_t dwSupportedCodePages[16];  // T_CODE_PAGE; the first 0 ends the list
  uint32_t dwDestinationListEntries;  // of the device's scan-to list; 2 when it does not tell
  uint16_t dwMaxDestinationListEntryLength;  // characters and a NUL; 0: none can be set
  uint32_t dwReserved[10];
};
static_assert(sizeof(CONTROL_PANEL_CAPABILITIES) == 192);

// The SPF data block of the device.
struct SPF_CAPABILITIES {
  uint32_t dwSPFsize;   // bytes of data
  uint8_t byEncrypted;  // 1: the device delivers it enciphered, and the toolkit only moves it; 0
  uint32_t dwReserved[10];
};
static_assert(sizeof(SPF_CAPABILITIES) == 48);

#endif  // SCANTK_CONTRACT_RECORDS_H_
