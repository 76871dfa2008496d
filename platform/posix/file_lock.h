// Lock files: locks that belong to an open file, so that the kernel gives them back when the last
// descriptor of a dead holder goes, and two openings of one process exclude each other like those
// of two processes.
#ifndef SCANTK_PLATFORM_POSIX_FILE_LOCK_H_
#define SCANTK_PLATFORM_POSIX_FILE_LOCK_H_

#include <sys/types.h>

#include <string>

#include "platform/posix/file.h"

namespace scantk {

// Opens the lock file at `path`, made by whichever process comes first, for everybody. errno tells
// why there is none.
File OpenLockFile(const std::string& path);

// Locks `count` bytes (0: all that follow) from `first`: `type` F_RDLCK, F_WRLCK or F_UNLCK. Never
// blocks. 0, or errno.
int TryLock(int file, short type, off_t first, off_t count);

// True for the errno that tells of another holder.
bool IsBusy(int lock_error);

// False when somebody has removed the file since it was opened: what is locked then is nobody
// else's any more.
bool IsLinked(int file);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_FILE_LOCK_H_
