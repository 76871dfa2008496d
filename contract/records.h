// The records that cross the interface by pointer. Their layout is part of the contract: fields in
// this order, each aligned to its own width, the sizes asserted below. Extents are in 1/300 inch
// unless the scan option T_PIXEL_COORDINATES is set, resolutions in dots per inch. Several fields
// named dw... are 16 bits wide; the declared width is the one that counts.
#ifndef SCANTK_CONTRACT_RECORDS_H_
#define SCANTK_CONTRACT_RECORDS_H_

#include <cstdint>

// What the flatbed of a device can do.
struct SCANNER_CAPABILITIES {
  uint8_t byModelNumber[16];     // model string, zero-terminated
  uint16_t wLampWarmupTime;      // lamp warm-up time
  uint16_t wOpticalResolution;   // optical resolution
  uint16_t wMaximumXResolution;  // highest horizontal resolution
  uint16_t wMaximumYResolution;  // highest vertical resolution
  uint16_t wMinimumResolution;   // lowest resolution
  uint32_t dwMaximumWidth;       // widest scan area
  uint32_t dwMinimumWidth;       // narrowest scan area
  uint32_t dwMaximumHeight;      // tallest scan area
  uint32_t dwMinimumHeight;      // shortest scan area
  uint16_t wRawPixelOrder;       // order of colour samples
  uint16_t wPixelPacking;  // 1 = "PACKED" (samples of one pixel together); any other value "PLANAR"
  uint32_t dwScanModesSupported;     // set of scan-mode bits
  uint32_t dwScanOptionsSupported;   // set of scan-option bits
  uint16_t wGreyChannelsSupported;   // set of grey-channel bits
  uint16_t wPaperPath;               // 0 "Flatbed", non-zero "Scroll"
  uint16_t wGammaTableSize;          // gamma table size (obsolete; still reported)
  uint8_t byColorBitsPerChannel[8];  // supported bits per colour channel, list ended by the first 0
  uint8_t byGreyBitsPerChannel[8];   // supported bits per grey pixel, list ended by the first 0
  uint32_t dwGammaEntriesPerChannel;  // entries per gamma channel
  uint32_t dwGammaMaxEntryValue;      // largest gamma entry value
  uint16_t dwGammaBytesPerEntry;      // bytes per gamma entry
  // highest resolution of the grey CCD mode (meaningful when the "Grey CCD" channel bit is set)
  uint16_t wMaxGreyCCDResolution;
  uint32_t dwMaxRotationBytes;  // largest image, in bytes, that can be rotated
  uint16_t wReserved[14];       // reserved, zero
};
static_assert(sizeof(SCANNER_CAPABILITIES) == 124);

// Tone settings, embedded in the scan parameters.
struct TONEMAP_PARAMETERS {
  uint16_t wGamma;       // gamma times 1000 (2200 means 2.2)
  uint8_t byBrightness;  // brightness
  uint8_t byContrast;    // contrast
  uint16_t wHighlight;   // highlight point
  uint16_t wShadow;      // shadow point
};
static_assert(sizeof(TONEMAP_PARAMETERS) == 8);

// What the host wants scanned.
struct SCANNER_PARAMETERS {
  uint32_t dwLeft;              // left edge of the scan area
  uint32_t dwTop;               // top edge
  uint32_t dwWidth;             // width
  uint32_t dwLength;            // length (height)
  uint32_t dwScanMode;          // exactly one scan-mode value
  uint32_t dwScanOptions;       // set of scan-option bits
  uint8_t byBitsPerChannel;     // bits per channel (colour) or per pixel (grey)
  uint16_t wXResolution;        // horizontal resolution
  uint16_t wYResolution;        // vertical resolution
  uint16_t wGreyChannel;        // one grey-channel value (grey and black-and-white scans)
  uint16_t wScanMethod;         // scan-method value
  uint32_t dwBWThreshold;       // black-and-white threshold (with option T_BW_THRESHOLD)
  uint16_t wFeedEdge;           // feed-edge value
  TONEMAP_PARAMETERS tonemap;   // tone settings (with option T_TONEMAP_PARAMETERS)
  uint8_t bySharpeningLevel;    // sharpening level (with option T_SHARPENING)
  uint8_t byNoiseRemovalLevel;  // noise-removal level (with option T_NOISE_REMOVAL)
  uint8_t byContentType;        // content-type value (with option T_CONTENT_TYPE)
  uint8_t byReserved;           // reserved
  uint16_t wReserved;           // reserved
  uint32_t dwReserved[7];       // reserved
};
static_assert(sizeof(SCANNER_PARAMETERS) == 84);

// The geometry of the coming scan, as the host will receive it.
struct BUFFER_INFO {
  uint32_t dwPixelWidth;   // pixels per line, as the device reports it
  uint32_t dwPixelHeight;  // lines of the scan, as the device reports it
  // bytes per raster line handed to the host: (pixels per line × bits per pixel + 7) / 8
  uint32_t dwBytesPerLine;
  uint32_t dwReserved[10];  // reserved
};
static_assert(sizeof(BUFFER_INFO) == 52);

// What the document feeder can do: the first record.
struct ADF_CAPABILITIES {
  uint8_t byHasADF;           // non-zero when a feeder is present
  uint8_t byModelNumber[16];  // model string
  uint16_t wADFType;          // 0 "Platen/Flatbed", 1 "Scroll Fed"
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
  uint16_t wGammaTableSize;  // obsolete
  uint8_t byColorBitsPerChannel[8];
  uint8_t byGreyBitsPerChannel[8];
  uint32_t dwGammaEntriesPerChannel;
  uint32_t dwGammaMaxEntryValue;
  uint16_t dwGammaBytesPerEntry;
  uint16_t wMaxGreyCCDResolution;
  uint16_t wReserved[16];  // reserved
};
static_assert(sizeof(ADF_CAPABILITIES) == 116);

// The second feeder record: two-sided scanning.
struct ADF2_CAPABILITIES {
  uint8_t byHasADF;                        // non-zero when a feeder is present
  uint8_t byModelNumber[16];               // model string
  uint16_t wADFType;                       // 0 "Platen/Flatbed", 1 "Scroll Fed"
  uint8_t byADFCanDetectEndOfPage;         // feeder detects the end of a page
  uint8_t byADFFeedCanDetectLengthOfPage;  // feeder can feed and measure the page length
  uint32_t dwADFOptionsSupported;          // set of feeder-option bits
  uint16_t wOpticalResolution;
  uint16_t wMaximumXResolution;
  uint16_t wMaximumYResolution;
  uint16_t wMinimumResolution;
  uint32_t dwMaximumWidth;
  uint32_t dwMinimumWidth;
  uint32_t dwMaximumHeight;
  uint32_t dwMinimumHeight;
  uint32_t dwDuplexMaximumWidth;  // duplex scan limits
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
  uint32_t dwLongPageMaximumHeight;  // longest page in long-page mode (option T_ADF_LONGPAGE_MODE)
  uint32_t dwDuplexLongPageMaximumHeight;  // the same for duplex
  // extra length scanned at top and bottom, in 1/300 inch (option T_ADF_OVERSCAN)
  uint32_t dwOverscanYDelta;
  uint16_t wReserved[33];  // reserved
};
static_assert(sizeof(ADF2_CAPABILITIES) == 188);

// The third feeder record: duplex switch, capacity, rotation.
struct ADF3_CAPABILITIES {
  uint8_t byHasADF;                        // non-zero when a feeder is present
  uint8_t byModelNumber[16];               // model string
  uint16_t wADFType;                       // 0 "Platen/Flatbed", 1 "Scroll Fed"
  uint8_t byADFCanDetectEndOfPage;         // feeder detects the end of a page
  uint8_t byADFFeedCanDetectLengthOfPage;  // feeder can feed and measure the page length
  uint8_t byHasHWDuplexToggle;             // device has a duplex switch
  uint16_t wHWDuplexToggleType;            // set of duplex-switch bits
  uint8_t byADFReverseOrder;               // feeder delivers pages in reverse order
  uint32_t dwADFOptionsSupported;          // set of feeder-option bits
  uint16_t wOpticalResolution;
  uint16_t wMaximumXResolution;
  uint16_t wMaximumYResolution;
  uint16_t wMinimumResolution;
  uint32_t dwMaximumWidth;
  uint32_t dwMinimumWidth;
  uint32_t dwMaximumHeight;
  uint32_t dwMinimumHeight;
  uint32_t dwDuplexMaximumWidth;  // duplex scan limits
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
  uint16_t wMaxFeederCapacity;       // sheets the feeder holds
  uint16_t wRotation;                // rotation the device applies to feeder pages
  uint32_t dwLongPageMaximumHeight;  // longest page in long-page mode (option T_ADF_LONGPAGE_MODE)
  uint32_t dwDuplexLongPageMaximumHeight;  // the same for duplex
  // extra length scanned at top and bottom, in 1/300 inch (option T_ADF_OVERSCAN)
  uint32_t dwOverscanYDelta;
  uint16_t wReserved[32];  // reserved
};
static_assert(sizeof(ADF3_CAPABILITIES) == 192);

// How the device can compress.
struct COMPRESSION_CAPABILITIES {
  uint32_t dwTypesOfCompression;
  uint32_t dwDefaultCompressionType;
  uint32_t dwCompressionLongevity;
  uint32_t dwJPEGLevelMinimum;
  uint32_t dwJPEGLevelMaximum;
  uint32_t dwCompressionOptions;
  uint16_t wMaxHWCompressionResolution;
  uint32_t dwExcludeColorCompressionTypes;
  uint32_t dwExcludeGreyscaleCompressionTypes;
  uint32_t dwExcludeBWCompressionTypes;
  uint16_t wReserved[12];
};
static_assert(sizeof(COMPRESSION_CAPABILITIES) == 64);

// What the front panel offers.
struct CONTROL_PANEL_CAPABILITIES {
  uint8_t byHasControlPanel;
  uint32_t dwSupportedValues;
  uint32_t dwSupportedStrings;
  uint32_t dwCurrentCodePage;
  uint16_t wMaxStringCharacters[32];
  uint32_t dwSupportedCodePages[16];
  uint32_t dwDestinationListEntries;
  uint16_t dwMaxDestinationListEntryLength;
  uint32_t dwReserved[10];
};
static_assert(sizeof(CONTROL_PANEL_CAPABILITIES) == 192);

// The SPF data block of the device.
struct SPF_CAPABILITIES {
  uint32_t dwSPFsize;  // size of the SPF data in bytes
  // non-zero when the device delivers the SPF data enciphered; the toolkit only moves the data
  uint8_t byEncrypted;
  uint32_t dwReserved[10];
};
static_assert(sizeof(SPF_CAPABILITIES) == 48);
// Scan modes: one in SCANNER_PARAMETERS, a set in the capabilities. The first three can be scanned.
inline constexpr uint32_t T_COLOR = 1;
inline constexpr uint32_t T_GREYSCALE = 2;
inline constexpr uint32_t T_BW = 4;
inline constexpr uint32_t T_COLOR_S3L = 8;
inline constexpr uint32_t T_COLOR_S3L_RAW = 16;

// Scan options.
inline constexpr uint32_t T_PREVIEW = 0x1;
inline constexpr uint32_t T_PIXEL_COORDINATES = 0x2;  // the scan area is in pixels of the scan
inline constexpr uint32_t T_QUALITY = 0x4;
inline constexpr uint32_t T_BW_DITHER = 0x8;  // dither instead of threshold
inline constexpr uint32_t T_IR = 0x10;
inline constexpr uint32_t T_DEWARP = 0x20;
inline constexpr uint32_t T_HW_ROTATE_90 = 0x80;         // the device rotates 90 degrees clockwise
inline constexpr uint32_t T_HW_ROTATE_270 = 0x100;       // 270 degrees clockwise
inline constexpr uint32_t T_BW_THRESHOLD = 0x200;        // dwBWThreshold is valid
inline constexpr uint32_t T_HW_ROTATE_AUTO = 0x400;      // the device turns pages upright by itself
inline constexpr uint32_t T_TONEMAP_PARAMETERS = 0x800;  // tonemap is valid
inline constexpr uint32_t T_NOISE_REMOVAL = 0x1000;      // byNoiseRemovalLevel is valid
inline constexpr uint32_t T_SHARPENING = 0x2000;         // bySharpeningLevel is valid
inline constexpr uint32_t T_CONTENT_TYPE = 0x4000;       // byContentType is valid

// Grey channels.
inline constexpr uint16_t T_GREY_RED = 1;
inline constexpr uint16_t T_GREY_GREEN = 2;
inline constexpr uint16_t T_GREY_BLUE = 4;
inline constexpr uint16_t T_GREY_NTSC = 8;
inline constexpr uint16_t T_GREY_CCD = 16;
inline constexpr uint16_t T_GREY_CCD_EMULATION = 32;

// Scan methods.
inline constexpr uint16_t T_METHOD_FLATBED = 0;
inline constexpr uint16_t T_METHOD_ADF = 1;
inline constexpr uint16_t T_METHOD_XPA_POSITIVE = 2;
inline constexpr uint16_t T_METHOD_XPA_NEGATIVE = 3;

// Content types.
inline constexpr uint8_t T_CONTENT_ANY = 0;
inline constexpr uint8_t T_CONTENT_PHOTO = 1;
inline constexpr uint8_t T_CONTENT_DOCUMENT = 2;

// Feeder options.
inline constexpr uint32_t T_ADF_DUPLEX = 0x1;
inline constexpr uint32_t T_ADF_SINGLEPAGE_FLOW = 0x2;
inline constexpr uint32_t T_ADF_MULTIPAGE_FLOW = 0x4;
inline constexpr uint32_t T_ADF_FAST_DUPLEX_MODE = 0x8;
inline constexpr uint32_t T_ADF_FLIP_DUPLEX_PAGE_DATA = 0x10;
inline constexpr uint32_t T_ADF_FLIP_DUPLEX_PAGE_DATA_SHORTSIDE = 0x20;
inline constexpr uint32_t T_ADF_DPD_LENGTH = 0x40;     // double-pick detection by length
inline constexpr uint32_t T_ADF_DPD_THICKNESS = 0x80;  // double-pick detection by thickness
inline constexpr uint32_t T_ADF_LONGPAGE_MODE = 0x100;
inline constexpr uint32_t T_ADF_BLACK_BACKGROUND = 0x200;
inline constexpr uint32_t T_ADF_DUPLEX_TABLET_LAYOUT = 0x400;  // bound at top or bottom
inline constexpr uint32_t T_ADF_OVERSCAN = 0x800;

// Duplex switch types.
inline constexpr uint16_t T_STATE_CHANGEABLE = 0x1;
inline constexpr uint16_t T_SW_CONTROL = 0x2;

// Compression types, as SetCompressionType takes them, and compression options.
inline constexpr uint32_t T_COMPRESSION_NONE = 1;
inline constexpr uint32_t T_COMPRESSION_JPEG = 4;
inline constexpr uint32_t T_COMPRESSION_OPTION_JPEG_LEVEL = 1;

// Panel strings.
inline constexpr uint32_t T_CONTROL_PANEL_STRING_LCD1 = 1;

// Device I/O types of OpenScannerSession.
inline constexpr uint32_t T_IO_USB = 1;
inline constexpr uint32_t T_IO_DOT4 = 4;
inline constexpr uint32_t T_IO_NETWORK = 5;

// Lock types of LockScanner: a lock of the whole process, or of the calling thread.
inline constexpr uint16_t T_LOCK_PROCESS = 0;
inline constexpr uint16_t T_LOCK_THREAD = 1;

// The handshake with a person at the device.
enum URS_STATE : uint32_t {
  T_URS_DEFAULT = 1,
  T_URS_WAIT = 2,   // waiting for the user
  T_URS_START = 3,  // the scan may start
};

#endif  // SCANTK_CONTRACT_RECORDS_H_
