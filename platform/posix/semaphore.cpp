// A named semaphore is a lock file in memory-backed storage: the kernel gives it back when its
// holder dies. Such a lock cannot be waited for with a limit, so it is asked for again after short
// sleeps. The file goes with the last object that has it open.
#include "platform/semaphore.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <thread>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file_lock.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr const char* kFolders[] = {"/dev/shm/scantk", "/tmp/scantk", "/var/tmp/scantk"};
constexpr mode_t kFolderMode = 01777;  // for everybody, but only owners remove their files
constexpr size_t kMaxName = 259;
constexpr size_t kMaxFileName = 200;  // the system's limit is 255 bytes

// The bytes of the lock file that are locked.
constexpr off_t kCountByte = 0;  // exclusively: the count is taken
constexpr off_t kUsersByte = 1;  // shared: an object has it open

// One file name for each name: everything but plain characters is written as %XX, and the end of a
// long name as its hash.
std::string FileName(const std::string& scope, std::string_view name) {
  std::string encoded = scope;
  uint64_t hash = 0xCBF29CE484222325;
  for (char c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_' || c == '.';
    char text[4] = {c, 0, 0, 0};
    if (!plain) std::snprintf(text, sizeof text, "%%%02X", static_cast<uint8_t>(c));
    encoded += text;
    hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3;
  }
  if (encoded.size() <= kMaxFileName) return encoded;
  encoded.resize(kMaxFileName);
  return encoded + "+" + std::to_string(hash);
}

// Made under another name first, so that nobody sees it before it is everybody's.
void MakeSharedFolder(const std::string& folder) {
  const std::string fresh = folder + "." + std::to_string(ThreadId());
  if (mkdir(fresh.c_str(), 0700) != 0) return;
  if (chmod(fresh.c_str(), kFolderMode) != 0 || rename(fresh.c_str(), folder.c_str()) != 0)
    rmdir(fresh.c_str());
}

// Whether every user may put lock files there. Somebody's own folder of that name would keep the
// others out, so it counts for nobody, its owner included: all must find the same place.
bool IsShared(const std::string& folder) {
  const File open_folder(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status;
  return open_folder && fstat(open_folder.Get(), &status) == 0 &&
         (status.st_mode & 07777) == kFolderMode;
}

// The folder of all lock files, or empty.
std::string SharedFolder() {
  for (const char* folder : kFolders) {
    if (IsShared(folder)) return folder;
    MakeSharedFolder(folder);
    if (IsShared(folder)) return folder;
  }
  return std::string();
}

// Marks the file as in use, which keeps it from being removed. True when another object had it open
// already.
bool JoinUsers(int file) {
  if (TryLock(file, F_WRLCK, kUsersByte, 1) == 0) {
    TryLock(file, F_RDLCK, kUsersByte, 1);
    return false;
  }
  // Another one that is joining or leaving at this moment holds the mark alone for an instant.
  constexpr int kYields = 100, kTries = 1000;
  for (int i = 0; i < kTries && IsBusy(TryLock(file, F_RDLCK, kUsersByte, 1)); ++i) {
    if (i < kYields)
      std::this_thread::yield();
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
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
  std::string path;                // of the file; empty when it has no name
  const pid_t process = getpid();  // that opened it; a forked child shares the locks but owns none
  std::mutex mutex;
  bool taken = false;  // through this object; its file's lock cannot tell a second taker

  ~State() {
    const bool mine = file && !path.empty() && process == getpid();
    if (mine && TryLock(file.Get(), F_WRLCK, kUsersByte, 1) == 0) unlink(path.c_str());
  }

  // Opens the lock file of a name and joins its users. *existed: others have it open. False: errno
  // tells why.
  bool Open(const std::string& name, bool* existed) {
    const std::string folder = SharedFolder();
    errno = EACCES;
    if (folder.empty()) return false;
    path = folder + "/" + name;
    do {
      file = OpenLockFile(path);
      if (!file) return false;
      *existed = JoinUsers(file.Get());
    } while (!IsLinked(file.Get()));  // its last user has just removed it
    return true;
  }

  // 0: taken; EAGAIN: not now; else what failed.
  int TryTake() {
    std::lock_guard<std::mutex> guard(mutex);
    if (taken) return EAGAIN;
    const int failure = TryLock(file.Get(), F_WRLCK, kCountByte, 1);
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
  bool existed = false;
  if (name.empty())  // nobody else's
    state->file.Reset(memfd_create("semaphore", MFD_CLOEXEC));
  else
    state->Open(FileName(scope, plain), &existed);
  if (!state->file) {
    SetLastError(FileError(errno));
    return semaphore;
  }
  SetLastError(existed ? error::kAlreadyExists : error::kSuccess);
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
  const int failure = TryLock(state_->file.Get(), F_UNLCK, kCountByte, 1);
  if (failure != 0) {
    SetLastError(FileError(failure));
    return false;
  }
  state_->taken = false;
  return true;
}

}  // namespace scantk
