// What the system's IEEE 1284.4 (DOT4) stack is sent with its device-control requests and returns:
// little-endian records at fixed offsets.
#ifndef SCANTK_IO_DOT4_RECORDS_H_
#define SCANTK_IO_DOT4_RECORDS_H_

#include <bit>
#include <cstddef>
#include <cstdint>

namespace scantk::dot4 {

static_assert(std::endian::native == std::endian::little, "the records are used as they lie");

// Control codes.
inline constexpr uint32_t kCreateSocket = 0x3A2022;
inline constexpr uint32_t kDestroySocket = 0x3A202A;
inline constexpr uint32_t kOpenChannel = 0x3A2006;
inline constexpr uint32_t kCloseChannel = 0x3A2008;
inline constexpr uint32_t kRead = 0x3A200E;
inline constexpr uint32_t kWrite = 0x3A2011;

inline constexpr uint32_t kNoTimeLimit = 0xFFFFFFFF;

// The input of every request.
struct RequestHeader {
  uint32_t channel;  // to close, read or write; 0 otherwise
  uint32_t size;     // of the data or of the reply
  uint32_t offset;   // 0
  uint32_t timeout;  // milliseconds
};
static_assert(sizeof(RequestHeader) == 16);
static_assert(offsetof(RequestHeader, timeout) == 12);

inline constexpr size_t kServiceNameSize = 41;  // with its NUL

struct CreateRecord {
  uint8_t bPsid;  // the peripheral's socket
  char service[kServiceNameSize];
  uint8_t type;
  uint8_t reserved1;
  uint32_t BuffSz;  // bytes
  uint16_t H2P;     // largest packet from host to peripheral
  uint16_t P2H;     // and back
  uint8_t bHsid;    // returned: the host's socket
  uint8_t reserved2[3];
};
static_assert(sizeof(CreateRecord) == 56);
static_assert(offsetof(CreateRecord, type) == 42);
static_assert(offsetof(CreateRecord, BuffSz) == 44);
static_assert(offsetof(CreateRecord, H2P) == 48);
static_assert(offsetof(CreateRecord, P2H) == 50);
static_assert(offsetof(CreateRecord, bHsid) == 52);

struct OpenRecord {
  uint8_t bHsid;
  uint8_t flag;  // 0
  uint8_t reserved[2];
  uint32_t channel;  // returned
};
static_assert(sizeof(OpenRecord) == 8);
static_assert(offsetof(OpenRecord, channel) == 4);

// What the stack is told of an open in its header, larger than the record itself.
inline constexpr uint32_t kOpenReplySize = 16;

}  // namespace scantk::dot4

#endif  // SCANTK_IO_DOT4_RECORDS_H_
