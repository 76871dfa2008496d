// The one place where this system's error numbers become the target's (error_codes.h).
#ifndef SCANTK_PLATFORM_POSIX_ERROR_TABLE_H_
#define SCANTK_PLATFORM_POSIX_ERROR_TABLE_H_

#include <cstdint>

namespace scantk {

// The number of an errno that a file, lock or registry operation left; 0 for 0. An errno that the
// table does not know is kGenFailure.
uint32_t FileError(int errno_value);

// The same for an errno of a socket operation.
uint32_t SocketError(int errno_value);

// The errno of the thread's last socket operation that the table does not know, once; 0: none.
int TakeUnknownSocketErrno();

// The number of a getaddrinfo failure.
uint32_t HostLookupError(int lookup_error, int errno_value);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_ERROR_TABLE_H_
