#include "platform/in_use.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/posix/environment.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file.h"

namespace scantk {
namespace {

thread_local uint32_t t_last_error = 0;

constexpr OsVersion kTargetVersion = {2, 10, 0};

std::string WithCarriageReturns(const char* text, size_t size) {
  std::string translated;
  translated.reserve(size + size / 16);
  for (size_t i = 0; i < size; ++i) {
    if (text[i] == '\n') translated.push_back('\r');
    translated.push_back(text[i]);
  }
  return translated;
}

}  // namespace

const char kPathSeparator = '/';

uint32_t ProcessId() {
  return static_cast<uint32_t>(getpid());
}

uint32_t ThreadId() {
  return static_cast<uint32_t>(syscall(SYS_gettid));
}

OsVersion TrueSystemVersion() {
  return kTargetVersion;
}

uint32_t LastError() {
  return t_last_error;
}

void SetLastError(uint32_t number) {
  t_last_error = number;
}

std::string ExecutablePath() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? std::string(path, static_cast<size_t>(length)) : std::string();
}

std::string ModulePath(const void* address) {
  Dl_info info;
  if (dladdr(address, &info) == 0 || !info.dli_fname) return std::string();
  char path[PATH_MAX];
  return realpath(info.dli_fname, path) ? path : std::string();
}

std::string TemporaryFolder() {
  const char* chosen = Environment("TMPDIR");
  std::string folder = chosen ? chosen : "/tmp";
  if (folder.back() != kPathSeparator) folder.push_back(kPathSeparator);
  return folder;
}

std::string CommonDataFolder() {
  const char* chosen = Environment("SCANTK_COMMON_DATA");
  return chosen ? chosen : "/var/lib/scantk";
}

std::string CreateTemporaryFile(const std::string& folder, const char* prefix) {
  struct stat status;
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    SetLastError(error::kDirectory);
    return std::string();
  }
  // Four digits are all that the name has room for; the start differs between calls so that busy
  // folders do not make every call begin with the same collisions.
  constexpr uint32_t kNames = 0x10000;
  const uint32_t start = TheClock().TickCount() ^ ProcessId();
  for (uint32_t i = 0; i < kNames; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "%.3s%04X.tmp", prefix, (start + i) % kNames);
    std::string path = folder;
    if (path.back() != kPathSeparator) path.push_back(kPathSeparator);
    path += name;
    File file(Uninterrupted(
        [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
    if (file) return path;
    if (errno != EEXIST) {
      SetLastError(FileError(errno));
      return std::string();
    }
  }
  SetLastError(error::kAlreadyExists);
  return std::string();
}

void DebugOutput(const char* text) {
  if (Environment("SCANTK_DEBUG_OUTPUT")) std::fputs(text, stderr);
}

bool AppendToFile(const std::string& path, const void* data, size_t size, bool translate_newlines) {
  std::string translated;
  if (translate_newlines) {
    translated = WithCarriageReturns(static_cast<const char*>(data), size);
    data = translated.data();
    size = translated.size();
  }
  File file(Uninterrupted(
      [&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666); }));
  if (file && WriteAll(file.Get(), data, size)) return true;
  SetLastError(FileError(errno));
  return false;
}

}  // namespace scantk
