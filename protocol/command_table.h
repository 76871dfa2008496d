// Which commands and inquiries there are, and their bytes. Pure functions of a constant table.
#ifndef SCANTK_PROTOCOL_COMMAND_TABLE_H_
#define SCANTK_PROTOCOL_COMMAND_TABLE_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

// The device variables and actions that the toolkit knows by name; commands.inc has all of them.
enum CommandId : uint32_t {
#define SCANTK_COMMAND(id, name, command, inquiry, traits) name = id,
#define SCANTK_COMMAND_WITHOUT_NAME(id, command, inquiry, traits)
#include "protocol/commands.inc"
#undef SCANTK_COMMAND
#undef SCANTK_COMMAND_WITHOUT_NAME
};

inline constexpr uint32_t kCommandCount = 169;

// Values of SL_DATA_TYPE.
inline constexpr int32_t kThresholded = 0;
inline constexpr int32_t kDithered = 3;
inline constexpr int32_t kGrey = 4;
inline constexpr int32_t kColour = 5;

// Values of SL_COMPRESSION and SL_SCAN_TRANSFER_TYPE.
inline constexpr int32_t kNoCompression = 0;
inline constexpr int32_t SL_JPEG = 2;
inline constexpr int32_t kPlainTransfer = 0;
inline constexpr int32_t SL_PACKETIZED2 = 2;

// The kinds of a numeric inquiry.
inline constexpr char kCurrent = 'R';
inline constexpr char kMinimum = 'L';
inline constexpr char kMaximum = 'H';

// What the buffers of the two builders must hold, the terminating NUL included.
inline constexpr size_t kCommandBufferSize = 16;
inline constexpr size_t kInquiryBufferSize = 10;

// What a command is besides its texts; bits of a word.
enum CommandTrait : uint32_t {
  kTextAnswer = 1,          // its answer is a byte string, never a number
  kTextOrNumberAnswer = 2,  // a byte string, and it may be asked as a number too
  kVolatile = 4,   // a reset, a clearing of errors or a start may change it behind our back
  kNeverKept = 8,  // changes by itself, or must be sent every time
  kAtOrigin = 16,  // known to be 0 in a device that was just connected
};

// Whether any of `traits` is the command's. False for identifiers that there are not.
bool HasTrait(uint32_t id, uint32_t traits);

// Writes the command that sets `id` to `value`, NUL-terminated, and returns its length without the
// NUL. 0, and nothing written: there is no such command.
size_t BuildCommand(uint32_t id, int32_t value, char* buffer);

// Writes the inquiry for the current, least or greatest value of `id` (kCurrent, kMinimum,
// kMaximum), NUL-terminated, and returns its length without the NUL. 0, and nothing written: it
// cannot be inquired.
size_t BuildInquire(uint32_t id, char kind, char* buffer);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_COMMAND_TABLE_H_
