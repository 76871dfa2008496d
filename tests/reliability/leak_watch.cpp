#include "tests/reliability/leak_watch.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace scantk::test {
namespace {

// That of a listing's own descriptor is counted, too, each time.
int CountEntries(const char* folder) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

std::string LockFile(const std::string& name) {
  std::string file = "/dev/shm/scantk/g-";
  for (char c : name.substr(name.rfind("Global\\") + 7)) {
    const bool plain = isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.';
    char text[4] = {c, 0, 0, 0};
    if (!plain) std::snprintf(text, sizeof text, "%%%02X", static_cast<unsigned char>(c));
    file += text;
  }
  return file;
}

// Whether somebody has locked this byte of the semaphore's lock file.
bool ByteLocked(const std::string& name, off_t byte) {
  const int fd = open(LockFile(name).c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return false;
  struct flock range = {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  range.l_start = byte;
  range.l_len = 1;
  const bool locked = fcntl(fd, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
  close(fd);
  return locked;
}

}  // namespace

Holdings Holdings::Now() {
  Holdings now;
  const struct mallinfo2 heap = mallinfo2();
  now.heap = heap.uordblks + heap.hblkhd;
  if (FILE* file = std::fopen("/proc/self/statm", "r")) {
    size_t all = 0, pages = 0;
    if (std::fscanf(file, "%zu %zu", &all, &pages) == 2)
      now.resident = pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
    std::fclose(file);
  }
  now.files = CountEntries("/proc/self/fd");
  now.threads = CountEntries("/proc/self/task");
  return now;
}

std::string OpenFiles() {
  std::string all;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    all += entry.path().filename().string() + " " +
           std::filesystem::read_symlink(entry.path(), ignored).string() + "; ";
  return all;
}

bool SemaphoreHeld(const std::string& name) {
  return ByteLocked(name, 0);
}
bool SemaphoreOpen(const std::string& name) {
  return ByteLocked(name, 1);
}
void RemoveSemaphore(const std::string& name) {
  if (!SemaphoreOpen(name)) unlink(LockFile(name).c_str());
}

}  // namespace scantk::test
