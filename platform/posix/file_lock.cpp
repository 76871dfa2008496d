#include "platform/posix/file_lock.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace scantk {

// Not with O_CREAT alone: the kernel refuses that for another user's file in a shared folder.
File OpenLockFile(const std::string& path) {
  constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  for (;;) {
    File file(Uninterrupted([&] { return open(path.c_str(), kFlags); }));
    if (file || errno != ENOENT) return file;
    file.Reset(Uninterrupted([&] { return open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666); }));
    // Regardless of the creator's umask; only the creator may.
    if (file) fchmod(file.Get(), 0666);
    if (file || errno != EEXIST) return file;
  }
}

int TryLock(int file, short type, off_t first, off_t count) {
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = first;
  range.l_len = count;
  return Uninterrupted([&] { return fcntl(file, F_OFD_SETLK, &range); }) == 0 ? 0 : errno;
}

bool IsBusy(int lock_error) {
  return lock_error == EAGAIN || lock_error == EACCES;
}

bool IsLinked(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && status.st_nlink > 0;
}

}  // namespace scantk
