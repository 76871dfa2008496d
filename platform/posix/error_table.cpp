#include "platform/posix/error_table.h"

#include <netdb.h>

#include <cerrno>
#include <utility>

#include "platform/error_codes.h"

namespace scantk {
namespace {

struct Row {
  int errno_value;
  uint32_t file;    // what a file operation means by it
  uint32_t socket;  // what a socket operation means by it
};

constexpr Row kTable[] = {
    {0, error::kSuccess, error::kSuccess},
    {ENOENT, error::kFileNotFound, error::kFileNotFound},
    {ENOTDIR, error::kPathNotFound, error::kPathNotFound},
    {ELOOP, error::kPathNotFound, error::kPathNotFound},
    {EACCES, error::kAccessDenied, error::kAccessDenied},
    {EPERM, error::kAccessDenied, error::kAccessDenied},
    {EROFS, error::kAccessDenied, error::kAccessDenied},
    {EISDIR, error::kAccessDenied, error::kAccessDenied},
    {EBADF, error::kInvalidHandle, error::kSocketNotSocket},
    {ENOMEM, error::kNotEnoughMemory, error::kNotEnoughMemory},
    {ENOBUFS, error::kNotEnoughMemory, error::kNotEnoughMemory},
    {EMFILE, error::kNotEnoughMemory, error::kNotEnoughMemory},
    {ENFILE, error::kNotEnoughMemory, error::kNotEnoughMemory},
    {EIO, error::kGenFailure, error::kGenFailure},
    {EBUSY, error::kSharingViolation, error::kSharingViolation},
    {ETXTBSY, error::kSharingViolation, error::kSharingViolation},
    {ENOTTY, error::kNotSupported, error::kNotSupported},
    {ENOSYS, error::kNotSupported, error::kNotSupported},
    {EOPNOTSUPP, error::kNotSupported, error::kNotSupported},
    {EINVAL, error::kInvalidParameter, error::kInvalidParameter},
    {EPIPE, error::kBrokenPipe, error::kSocketConnectionReset},
    {ENOSPC, error::kDiskFull, error::kDiskFull},
    {EDQUOT, error::kDiskFull, error::kDiskFull},
    {EFBIG, error::kDiskFull, error::kDiskFull},
    {ENAMETOOLONG, error::kNameTooLong, error::kNameTooLong},
    {EEXIST, error::kAlreadyExists, error::kAlreadyExists},
    {ECANCELED, error::kOperationAborted, error::kOperationAborted},
    {EAGAIN, error::kIoPending, error::kSocketWouldBlock},
    {EINPROGRESS, error::kIoPending, error::kSocketWouldBlock},
    {ENODEV, error::kFileNotFound, error::kFileNotFound},
    {ENXIO, error::kDeviceNotConnected, error::kDeviceNotConnected},
    {ESHUTDOWN, error::kDeviceNotConnected, error::kSocketShutDown},
    {ENOTSOCK, error::kInvalidHandle, error::kSocketNotSocket},
    {EADDRINUSE, error::kSharingViolation, error::kSocketAddressInUse},
    {EADDRNOTAVAIL, error::kInvalidParameter, error::kSocketAddressNotAvailable},
    {EALREADY, error::kIoPending, error::kSocketAlready},
    {EISCONN, error::kInvalidParameter, error::kSocketIsConnected},
    {ENETRESET, error::kConnectionAborted, error::kSocketNetReset},
    {ENETUNREACH, error::kUnexpectedNetError, error::kSocketNetUnreachable},
    {ENETDOWN, error::kUnexpectedNetError, error::kSocketNetUnreachable},
    {ECONNABORTED, error::kConnectionAborted, error::kSocketConnectionAborted},
    {ECONNRESET, error::kConnectionAborted, error::kSocketConnectionReset},
    {ENOTCONN, error::kDeviceNotConnected, error::kSocketNotConnected},
    {ETIMEDOUT, error::kTimeout, error::kSocketTimedOut},
    {ECONNREFUSED, error::kConnectionAborted, error::kSocketRefused},
    {EHOSTUNREACH, error::kUnexpectedNetError, error::kSocketHostUnreachable},
    {EHOSTDOWN, error::kUnexpectedNetError, error::kSocketHostUnreachable},
};

constexpr Row kUnknown = {-1, error::kGenFailure, error::kUnexpectedNetError};

thread_local int g_unknown_socket_errno = 0;

constexpr const Row& Find(int errno_value) {
  for (const Row& row : kTable) {
    if (row.errno_value == errno_value) return row;
  }
  return kUnknown;
}

}  // namespace

uint32_t FileError(int errno_value) {
  return Find(errno_value).file;
}

uint32_t SocketError(int errno_value) {
  const Row& row = Find(errno_value);
  if (&row == &kUnknown) g_unknown_socket_errno = errno_value;
  return row.socket;
}

int TakeUnknownSocketErrno() {
  return std::exchange(g_unknown_socket_errno, 0);
}

uint32_t HostLookupError(int lookup_error, int errno_value) {
  switch (lookup_error) {
    case 0:
      return error::kSuccess;
    case EAI_MEMORY:
      return error::kNotEnoughMemory;
    case EAI_SYSTEM:
      return SocketError(errno_value);
    default:
      return error::kHostNotFound;
  }
}

}  // namespace scantk
