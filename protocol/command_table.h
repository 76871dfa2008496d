// The vocabulary of QRL: which commands and inquiries there are, and their bytes. Pure functions of
// a constant table.
#ifndef SCANTK_PROTOCOL_COMMAND_TABLE_H_
#define SCANTK_PROTOCOL_COMMAND_TABLE_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

// The device variables and actions that the toolkit knows by name. The table holds more: every
// number below kCommandCount is a valid identifier.
enum CommandId : uint32_t {
  SL_RESET = 0,
  SL_CLEAR_ERRORS = 1,
  SL_START_SCAN = 2,
  SL_X_RESOLUTION = 9,
  SL_Y_RESOLUTION = 10,
  SL_XPOS_PIXEL = 17,
  SL_YPOS_PIXEL = 18,
  SL_XEXT_PIXEL = 19,
  SL_YEXT_PIXEL = 20,
  SL_DATA_TYPE = 26,
  SL_BITS_PER_PIXEL = 27,
  SL_TONEMAP = 29,
  SL_DOWNLOAD_TYPE = 30,
  SL_DOWNLOAD_LENGTH = 31,
  SL_LAMP = 33,
  SL_ADF_EJECT_PAGE = 38,
  SL_ADF_FEED_PAGE = 39,
  SL_ADF_STATUS = 44,
  SL_ADF_PRESENT = 45,
  SL_ERROR_COUNT = 50,
  SL_OLDEST_ERROR = 52,
  SL_PIXELS_PER_LINE = 53,
  SL_BYTES_PER_LINE = 54,
  SL_LINES_PER_SCAN = 55,
  SL_ADF_READY = 56,
  SL_MODEL_ID_ALT = 91,
  SL_MODEL_ID = 92,
  SL_MODEL_RIX = 93,
  SL_SPF_DATA = 94,
  SL_SCANNER_VENDOR = 99,
  SL_COMPRESSION = 103,
  SL_DEVLOCK = 108,
  SL_DEVLOCK_TIMEOUT = 109,
  SL_DEVLOCK_ID = 110,
  SL_SET_ADF_PAGESIZE = 128,
  SL_SCAN_TRANSFER_TYPE = 130,
  SL_JPEG_COMPRESSION = 131,
  SL_URS_STATE = 132,
  SL_SCANTYPE = 133,
  SL_SCANTO_SETTINGS = 134,
  SL_URS_VARIABLE = 135,
  SL_X_RESOLUTION_FLAT = 139,
  SL_Y_RESOLUTION_FLAT = 140,
  SL_YEXT_PIXEL_FLAT = 144,
  SL_X_RESOLUTION_ADF = 145,
  SL_Y_RESOLUTION_ADF = 146,
  SL_YEXT_PIXEL_ADF = 150,
  SL_YEXT_PIXEL_DUPLEX = 160,
  SL_DUPLEX_SUPPORTED = 161,
  SL_DUPLEX = 164,
  SL_DUPLEX_VFLIP = 165,
  SL_DUPLEX_HFLIP = 166,
  SL_DUPLEX_FLIP = 167,
  SL_SPF_SIZE = 168,
};

inline constexpr uint32_t kCommandCount = 169;

// Values of SL_COMPRESSION and SL_SCAN_TRANSFER_TYPE.
inline constexpr int32_t SL_JPEG = 2;
inline constexpr int32_t SL_PACKETIZED2 = 2;

// The kinds of a numeric inquiry.
inline constexpr char kCurrent = 'R';
inline constexpr char kMinimum = 'L';
inline constexpr char kMaximum = 'H';

// What the buffers of the two builders must hold, the terminating NUL included.
inline constexpr size_t kCommandBufferSize = 16;
inline constexpr size_t kInquiryBufferSize = 10;

// Identifiers whose answer is a byte string. BuildInquire does not tell them apart.
constexpr bool IsStringRange(uint32_t id) {
  return id >= 67 && id <= 94;
}
constexpr bool IsStringInquiry(uint32_t id) {
  return IsStringRange(id) || id == SL_DEVLOCK_ID;
}

// Writes the command that sets `id` to `value`, NUL-terminated, and returns its length without the
// NUL. 0, and nothing written: there is no such command.
size_t BuildCommand(uint32_t id, int32_t value, char* buffer);

// Writes the inquiry for the current ('R'), least ('L') or greatest ('H') value of `id`,
// NUL-terminated, and returns its length without the NUL. 0, and nothing written: it cannot be
// inquired.
size_t BuildInquire(uint32_t id, char kind, char* buffer);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_COMMAND_TABLE_H_
