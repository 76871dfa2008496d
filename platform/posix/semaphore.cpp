// A named semaphore is a lock file in memory-backed storage, locked through its open file
// description: the kernel gives the lock back when the last descriptor of a dead holder goes, and
// two objects of one process exclude each other like two processes. Such a lock cannot be waited
// for with a limit, so it is asked for again after short sleeps.
#include "platform/semaphore.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string_view>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr const char* kFolders[] = {"/dev/shm/scantk", "/tmp/scantk"};
constexpr size_t kMaxName = 259;
constexpr size_t kChunk = 200;  // file names are at most 255 bytes

// The bytes of the lock file that are locked.
constexpr off_t kCountByte = 0;  // exclusively: the count is taken
constexpr off_t kUsersByte = 1;  // shared: an object has it open

// 0, or errno. Never blocks.
int TryLock(int file, short type, off_t byte) {
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = byte;
  range.l_len = 1;
  return Uninterrupted([&] { return fcntl(file, F_OFD_SETLK, &range); }) == 0 ? 0 : errno;
}

bool IsBusy(int lock_error) {
  return lock_error == EAGAIN || lock_error == EACCES;
}

// One file name for each name: everything but plain characters is written as %XX.
std::string Encoded(std::string_view name) {
  std::string encoded;
  for (char c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_' || c == '.';
    char text[4] = {c, 0, 0, 0};
    if (!plain) std::snprintf(text, sizeof text, "%%%02X", static_cast<uint8_t>(c));
    encoded += text;
  }
  return encoded;
}

// A folder that every user may put lock files into, but whose files only their owners remove.
bool MakeSharedFolder(const std::string& folder) {
  if (mkdir(folder.c_str(), 01777) == 0) return chmod(folder.c_str(), 01777) == 0;
  struct stat status;
  return errno == EEXIST && lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Opens the file, made by whichever process comes first. Not with O_CREAT alone: the kernel refuses
// that for another user's file in a folder like this.
File OpenShared(const std::string& path) {
  for (;;) {
    constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
    File file(Uninterrupted([&] { return open(path.c_str(), kFlags); }));
    if (file || errno != ENOENT) return file;
    file.Reset(Uninterrupted([&] { return open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666); }));
    // Regardless of the creator's umask; only the creator may.
    if (file) fchmod(file.Get(), 0666);
    if (file || errno != EEXIST) return file;
  }
}

// The lock file of a name; errno when there is none. A long name is cut into folders.
File OpenLockFile(const std::string& scope, std::string_view name) {
  std::string encoded = scope + Encoded(name);
  for (const char* base : kFolders) {
    if (!MakeSharedFolder(base)) continue;
    std::string path = base;
    std::string_view left = encoded;
    for (; left.size() > kChunk; left.remove_prefix(kChunk)) {
      path += "/" + std::string(left.substr(0, kChunk)) + "+";
      if (!MakeSharedFolder(path)) return File();
    }
    return OpenShared(path + "/" + std::string(left));
  }
  return File();
}

// Marks the file as in use. True when another object had it open already.
bool JoinUsers(int file) {
  if (TryLock(file, F_WRLCK, kUsersByte) == 0) {
    TryLock(file, F_RDLCK, kUsersByte);
    return false;
  }
  // Another one that is joining at this moment holds the mark alone for an instant.
  for (int i = 0; i < 20 && IsBusy(TryLock(file, F_RDLCK, kUsersByte)); ++i) TheClock().Sleep(1);
  return true;
}

bool StripPrefix(std::string_view* name, std::string_view prefix) {
  if (name->substr(0, prefix.size()) != prefix) return false;
  name->remove_prefix(prefix.size());
  return true;
}

// 0, or what is wrong with a name whose part without its prefix is `plain`.
uint32_t CheckName(std::string_view name, std::string_view plain) {
  if (name.size() > kMaxName) return error::kNameTooLong;
  if (plain.find('\\') != std::string_view::npos) return error::kPathNotFound;
  return plain.empty() && !name.empty() ? error::kInvalidName : 0;
}

}  // namespace

struct NamedSemaphore::State {
  File file;
  std::mutex mutex;
  bool taken = false;  // through this object; its file's lock cannot tell a second taker

  // 0: taken; EAGAIN: not now; else what failed.
  int TryTake() {
    std::lock_guard<std::mutex> guard(mutex);
    if (taken) return EAGAIN;
    const int failure = TryLock(file.Get(), F_WRLCK, kCountByte);
    taken = failure == 0;
    return failure;
  }
};

NamedSemaphore::NamedSemaphore() = default;
NamedSemaphore::NamedSemaphore(NamedSemaphore&& other) noexcept = default;
NamedSemaphore& NamedSemaphore::operator=(NamedSemaphore&& other) noexcept = default;
NamedSemaphore::~NamedSemaphore() = default;

NamedSemaphore NamedSemaphore::CreateOrOpen(const std::string& name, const char* /*security*/) {
  NamedSemaphore semaphore;
  std::string_view plain = name;
  // What is not global is seen by the user's own processes.
  std::string scope = "g-";
  if (!StripPrefix(&plain, "Global\\")) {
    scope = std::to_string(getuid());
    scope.insert(scope.begin(), 'u');
    scope.push_back('-');
    StripPrefix(&plain, "Local\\");
  }
  if (const uint32_t wrong = CheckName(name, plain)) {
    SetLastError(wrong);
    return semaphore;
  }
  auto state = std::make_unique<State>();
  // Without a name it is nobody else's.
  state->file =
      name.empty() ? File(memfd_create("semaphore", MFD_CLOEXEC)) : OpenLockFile(scope, plain);
  if (!state->file) {
    SetLastError(FileError(errno));
    return semaphore;
  }
  SetLastError(JoinUsers(state->file.Get()) ? error::kAlreadyExists : error::kSuccess);
  semaphore.state_ = std::move(state);
  return semaphore;
}

NamedSemaphore::operator bool() const {
  return state_ != nullptr;
}

WaitResult NamedSemaphore::Wait(uint32_t milliseconds) {
  if (!state_) {
    SetLastError(error::kInvalidHandle);
    return WaitResult::kFailed;
  }
  constexpr uint32_t kLongestSleep = 10;
  Clock& clock = TheClock();
  const uint32_t start = clock.TickCount();
  for (uint32_t sleep = 1;; sleep = std::min(sleep * 2, kLongestSleep)) {
    const int failure = state_->TryTake();
    if (failure == 0) return WaitResult::kSignalled;
    if (!IsBusy(failure)) {
      SetLastError(FileError(failure));
      return WaitResult::kFailed;
    }
    const uint32_t waited = clock.TickCount() - start;
    if (milliseconds != kWaitForever) {
      if (waited >= milliseconds) return WaitResult::kTimeout;
      sleep = std::min(sleep, milliseconds - waited);
    }
    clock.Sleep(sleep);
  }
}

bool NamedSemaphore::Release() {
  if (!state_) {
    SetLastError(error::kInvalidHandle);
    return false;
  }
  std::lock_guard<std::mutex> guard(state_->mutex);
  if (!state_->taken) {
    SetLastError(error::kTooManyPosts);
    return false;
  }
  const int failure = TryLock(state_->file.Get(), F_UNLCK, kCountByte);
  if (failure != 0) {
    SetLastError(FileError(failure));
    return false;
  }
  state_->taken = false;
  return true;
}

}  // namespace scantk
