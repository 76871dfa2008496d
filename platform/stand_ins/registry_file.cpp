#include "platform/stand_ins/registry_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file_lock.h"

namespace scantk {
namespace {

// What tells one state of the file from another.
struct FileState {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = -1;
  timespec modified = {};

  bool operator==(const FileState& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

// The last state of a file that was read. A file whose time stamp was still fresh when it was read
// may have changed since without showing it, so such a state is read again.
struct Reading {
  FileState state;
  bool settled = false;
  std::shared_ptr<const RegistryText> text;
  std::string reported;  // what was last written to standard error
};
struct Readings {
  std::mutex mutex;
  std::map<std::string, Reading> by_path;
};
Readings& TheReadings() {
  static auto* readings = new Readings;
  return *readings;
}

FileState StateOf(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

bool IsSettled(const FileState& state) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  constexpr int64_t kTimeStampStepNs = 50'000'000;
  const int64_t age = (static_cast<int64_t>(now.tv_sec) - state.modified.tv_sec) * 1'000'000'000 +
                      (now.tv_nsec - state.modified.tv_nsec);
  return age > kTimeStampStepNs;
}

// The file behind symbolic links, also one that is not there yet: a rewrite replaces the file, not
// the link.
std::string Resolved(const std::string& path) {
  std::string file = path;
  char target[PATH_MAX];
  for (int links = 0; links < 40; ++links) {
    const ssize_t length = readlink(file.c_str(), target, sizeof target);
    if (length <= 0 || length == sizeof target) break;
    const std::string folder = target[0] == '/' ? "" : file.substr(0, file.rfind('/') + 1);
    file = folder + std::string(target, static_cast<size_t>(length));
  }
  return file;
}

uint32_t ReadBytes(int file, std::string* bytes) {
  char piece[65536];
  for (;;) {
    const ssize_t got = Uninterrupted([&] { return read(file, piece, sizeof piece); });
    if (got < 0) return FileError(errno);
    if (got == 0) return 0;
    bytes->append(piece, static_cast<size_t>(got));
    if (bytes->size() > kMaxRegistryBytes) return 0;  // refused as too large by its reader
  }
}

void ReportOnce(const std::string& path, Reading* reading) {
  std::string all;
  for (const RegistryReport& report : reading->text->Reports()) {
    all += path + ":" + std::to_string(report.line) + ": " + report.text + "\n";
  }
  if (all != reading->reported) std::fputs(all.c_str(), stderr);
  reading->reported = std::move(all);
}

uint32_t Load(const std::string& path, Reading* reading) {
  File file(Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  struct stat status = {};
  if (!file && (errno == ENOENT || errno == ENOTDIR)) {
    reading->settled = false;
    reading->text = std::make_shared<RegistryText>();
    return 0;
  }
  if (!file || fstat(file.Get(), &status) != 0) return FileError(errno);
  if (!S_ISREG(status.st_mode)) return error::kAccessDenied;
  const FileState state = StateOf(status);
  if (reading->settled && reading->state == state) return 0;
  std::string bytes;
  if (const uint32_t failure = ReadBytes(file.Get(), &bytes)) return failure;
  reading->text = std::make_shared<RegistryText>(bytes);
  reading->state = state;
  reading->settled = IsSettled(state);
  ReportOnce(path, reading);
  return 0;
}

uint32_t MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const std::string folder = path.substr(0, slash);
    if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST && errno != EISDIR) {
      struct stat status;
      if (stat(folder.c_str(), &status) != 0) return FileError(errno);
    }
  }
  return 0;
}

// The right to change a file: a lock file beside it, there only while somebody has it, so that
// nobody's owner or mode keeps the next one out.
class RegistryLock {
 public:
  RegistryLock() = default;
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;
  ~RegistryLock() {
    if (file_) unlink(name_.c_str());
  }

  uint32_t Take(const std::string& path);

 private:
  std::string name_;
  File file_;
};

uint32_t RegistryLock::Take(const std::string& path) {
  // Whoever keeps the lock for so long may keep it for ever: the writes that follow ask in passing.
  static std::atomic<bool> kept = false;
  const uint32_t limit = kept ? 100 : 5000;  // ms
  Clock& clock = TheClock();
  const uint32_t start = clock.TickCount();
  name_ = path + ".lock";
  for (uint32_t sleep = 1;;) {
    File file = OpenLockFile(name_);
    if (!file) return FileError(errno);
    const int failure = TryLock(file.Get(), F_WRLCK, 0, 0);
    if (failure == 0 && IsLinked(file.Get())) {
      file_ = std::move(file);
      kept = false;
      return 0;
    }
    if (failure == 0) continue;  // its last holder has just removed it
    if (!IsBusy(failure)) return FileError(failure);
    if (clock.TickCount() - start >= limit) {
      kept = true;
      return error::kTimeout;
    }
    clock.Sleep(sleep);
    sleep = std::min(sleep * 2, 10u);
  }
}

// True for the errno of what a file's folder or owner forbids, though the file may be written.
bool IsForbidden(int errno_value) {
  return errno_value == EPERM || errno_value == EACCES || errno_value == EEXIST;
}

// Puts a new file in the place of `path`, with the old one's owner and mode; `old` is null when
// there is none. The name of the new file is always the same, the lock keeps others away from it;
// so one that a killed writer left is used up by the next. 0, or errno and the old file is as it
// was.
int Replace(const std::string& path, const struct stat* old, const std::string& bytes) {
  const std::string temporary = path + ".new";
  unlink(temporary.c_str());
  File file(Uninterrupted(
      [&] { return open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600); }));
  if (!file) return errno;
  struct stat fresh;
  const auto keep_owner = [&] {
    if (!old) return true;
    if (fstat(file.Get(), &fresh) != 0) return false;
    const bool same = fresh.st_uid == old->st_uid && fresh.st_gid == old->st_gid;
    return same || fchown(file.Get(), old->st_uid, old->st_gid) == 0;
  };
  if (keep_owner() && fchmod(file.Get(), old ? old->st_mode & 0777 : 0644) == 0 &&
      WriteAll(file.Get(), bytes.data(), bytes.size()) && fsync(file.Get()) == 0 &&
      rename(temporary.c_str(), path.c_str()) == 0) {
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    File parent(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent) fsync(parent.Get());
    return 0;
  }
  const int failure = errno;
  unlink(temporary.c_str());
  return failure;
}

// For a file that no other may stand in for. Room is made first: a full disk leaves the old file.
int Overwrite(const std::string& path, const struct stat& old, const std::string& bytes) {
  File file(Uninterrupted([&] { return open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW); }));
  if (!file) return errno;
  const auto size = static_cast<off_t>(bytes.size());
  const int failure = size > old.st_size ? posix_fallocate(file.Get(), 0, size) : 0;
  if (failure != 0) return failure;
  const bool written = WriteAll(file.Get(), bytes.data(), bytes.size()) &&
                       ftruncate(file.Get(), size) == 0 && fsync(file.Get()) == 0;
  return written ? 0 : errno;
}

// Another file in its place would lose links to it, and an owner who is not ours to give.
uint32_t WriteWhole(const std::string& path, const std::string& bytes) {
  struct stat old;
  const bool exists = stat(path.c_str(), &old) == 0;
  const bool linked = exists && old.st_nlink > 1;
  const int failure = linked ? EPERM : Replace(path, exists ? &old : nullptr, bytes);
  return FileError(exists && IsForbidden(failure) ? Overwrite(path, old, bytes) : failure);
}

// 0 when `path` may be written, or is missing and the folder for it could be made.
int CheckWritable(const std::string& path) {
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0) return 0;
  if (errno != ENOENT) return errno;
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? CheckWritable(".")
                                    : CheckWritable(slash == 0 ? "/" : path.substr(0, slash));
}

}  // namespace

uint32_t ReadRegistryFile(const std::string& path, std::shared_ptr<const RegistryText>* text) {
  if (path.empty()) {
    *text = std::make_shared<RegistryText>();
    return 0;
  }
  Readings& readings = TheReadings();
  std::lock_guard<std::mutex> guard(readings.mutex);
  Reading& reading = readings.by_path[path];
  if (const uint32_t failure = Load(path, &reading)) return failure;
  *text = reading.text;
  return reading.text->IsRegistry() ? 0 : error::kBadFormat;
}

uint32_t ChangeRegistryFile(const std::string& named,
                            const std::function<uint32_t(RegistryText*)>& change) {
  if (const uint32_t failure = CheckRegistryWritable(named)) return failure;
  const std::string path = Resolved(named);
  if (const uint32_t failure = MakeFolders(path)) return failure;
  static std::mutex one_thread;  // threads wait for one another without a limit: each wait has one
  std::lock_guard<std::mutex> guard(one_thread);
  RegistryLock lock;
  if (const uint32_t failure = lock.Take(path)) return failure;
  std::shared_ptr<const RegistryText> current;
  if (const uint32_t failure = ReadRegistryFile(path, &current)) return failure;
  RegistryText changed(*current);
  if (const uint32_t failure = change(&changed)) return failure;
  const std::string bytes = changed.Bytes();
  if (bytes.size() > kMaxRegistryBytes) return error::kDiskFull;
  return bytes == current->Bytes() ? 0 : WriteWhole(path, bytes);
}

uint32_t CheckRegistryWritable(const std::string& path) {
  if (path.empty()) return error::kPathNotFound;
  const std::string file = Resolved(path);
  const size_t slash = file.find_last_of('/');
  int failure = CheckWritable(file);
  // Its lock lies beside it.
  if (failure == 0)
    failure = CheckWritable(slash == std::string::npos ? "." : file.substr(0, slash + 1));
  return FileError(failure);
}

}  // namespace scantk
