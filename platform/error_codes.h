// The error numbers that the toolkit knows, the same on every system: they appear in result codes,
// in decisions and in the trace.
#ifndef SCANTK_PLATFORM_ERROR_CODES_H_
#define SCANTK_PLATFORM_ERROR_CODES_H_

#include <cstdint>

#include "contract/component_types.h"

namespace scantk::error {

inline constexpr uint32_t kSuccess = 0;
inline constexpr uint32_t kFileNotFound = 2;
inline constexpr uint32_t kPathNotFound = 3;
inline constexpr uint32_t kAccessDenied = 5;
inline constexpr uint32_t kInvalidHandle = 6;
inline constexpr uint32_t kNotEnoughMemory = 8;
inline constexpr uint32_t kBadFormat = 11;
inline constexpr uint32_t kGenFailure = 31;
inline constexpr uint32_t kSharingViolation = 32;
inline constexpr uint32_t kNotSupported = 50;
inline constexpr uint32_t kUnexpectedNetError = 59;
inline constexpr uint32_t kNetworkAccessDenied = 65;
inline constexpr uint32_t kInvalidParameter = 87;
inline constexpr uint32_t kBrokenPipe = 109;
inline constexpr uint32_t kDiskFull = 112;
inline constexpr uint32_t kInvalidName = 123;
inline constexpr uint32_t kAlreadyExists = 183;
inline constexpr uint32_t kNameTooLong = 206;
inline constexpr uint32_t kMoreData = 234;
inline constexpr uint32_t kTimeout = 258;  // a wait that ran out
inline constexpr uint32_t kNoMoreItems = 259;
inline constexpr uint32_t kDirectory = 267;
inline constexpr uint32_t kTooManyPosts = 298;  // a semaphore released beyond its maximum
inline constexpr uint32_t kOperationAborted = 995;
inline constexpr uint32_t kIoIncomplete = 996;
inline constexpr uint32_t kIoPending = 997;
inline constexpr uint32_t kDeviceNotConnected = 1167;
inline constexpr uint32_t kConnectionAborted = 1236;
inline constexpr uint32_t kPrivilegeNotHeld = 1314;
inline constexpr uint32_t kStoreTimeout = 1460;
inline constexpr uint32_t kInvalidHandleState = 1609;

// Of a failed operation on a socket: the system sometimes gives none.
constexpr uint32_t OfFailure(uint32_t number) {
  return number == kSuccess ? kUnexpectedNetError : number;
}

// Sockets.
inline constexpr uint32_t kSocketWouldBlock = 10035;
inline constexpr uint32_t kSocketAlready = 10037;
inline constexpr uint32_t kSocketNotSocket = 10038;
inline constexpr uint32_t kSocketAddressInUse = 10048;
inline constexpr uint32_t kSocketAddressNotAvailable = 10049;
inline constexpr uint32_t kSocketNetUnreachable = 10051;
inline constexpr uint32_t kSocketNetReset = 10052;
inline constexpr uint32_t kSocketConnectionAborted = 10053;
inline constexpr uint32_t kSocketConnectionReset = 10054;
inline constexpr uint32_t kSocketIsConnected = 10056;
inline constexpr uint32_t kSocketNotConnected = 10057;
inline constexpr uint32_t kSocketShutDown = 10058;
inline constexpr uint32_t kSocketTimedOut = 10060;
inline constexpr uint32_t kSocketRefused = 10061;
inline constexpr uint32_t kSocketHostUnreachable = 10065;
inline constexpr uint32_t kSocketNotStarted = 10093;
inline constexpr uint32_t kHostNotFound = 11001;

// The result code of a system error number; numbers that already are one pass unchanged.
constexpr HRESULT ToResult(uint32_t number) {
  return static_cast<int32_t>(number) <= 0 ? static_cast<HRESULT>(number)
                                           : static_cast<HRESULT>((number & 0xFFFFu) | 0x80070000u);
}

}  // namespace scantk::error

#endif  // SCANTK_PLATFORM_ERROR_CODES_H_
