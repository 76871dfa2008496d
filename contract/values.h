// The values that the fields of the records and the parameters of the methods take.
#ifndef SCANTK_CONTRACT_VALUES_H_
#define SCANTK_CONTRACT_VALUES_H_

#include <cstdint>

// Positions and extents are in units of 1/300 inch.
inline constexpr uint32_t T_UNITS_PER_INCH = 300;

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

// Pixel orders and packings of SCANNER_CAPABILITIES, of the many that devices know.
inline constexpr uint16_t T_ORDER_RGB = 1;
inline constexpr uint16_t T_PACKED = 1;  // the samples of one pixel together; else planes

// Paper paths: a device with glass, or with a feeder alone.
inline constexpr uint16_t T_PATH_FLATBED = 0;
inline constexpr uint16_t T_PATH_SCROLL = 1;

// Feeder types: sheets are put on the glass, or pass by.
inline constexpr uint16_t T_FEEDER_PLATEN = 0;
inline constexpr uint16_t T_FEEDER_SCROLL = 1;

// The edge of the sheet that goes in first.
inline constexpr uint16_t T_FEED_TOP = 0;
inline constexpr uint16_t T_FEED_LEFT = 1;
inline constexpr uint16_t T_FEED_BOTTOM = 2;
inline constexpr uint16_t T_FEED_RIGHT = 3;

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

// Panel variables, as GetControlPanelValue takes them, and panel strings.
inline constexpr uint32_t T_CONTROL_PANEL_ZERO = 4;    // always reads 0
inline constexpr uint32_t T_CONTROL_PANEL_SCANTO = 8;  // the scan-to settings
inline constexpr uint32_t T_CONTROL_PANEL_STRING_LCD1 = 1;

// The only code page of panel texts.
inline constexpr uint32_t T_CODE_PAGE = 1252;

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

#endif  // SCANTK_CONTRACT_VALUES_H_
