#include "platform/posix/registry_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include "platform/error_codes.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file.h"

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

// The last state that was read. A file whose time stamp was still fresh when it was read may have
// changed since without showing it, so such a state is read again.
struct Cache {
  std::mutex mutex;
  std::string path;
  FileState state;
  bool settled = false;
  std::shared_ptr<const RegistryText> text;
  std::string reported;  // what was last written to standard error
};
Cache& TheCache() {
  static auto* cache = new Cache;
  return *cache;
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

// The file behind a symbolic link, so that a rewrite replaces it and not the link.
std::string Resolved(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) ? resolved : path;
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

void ReportOnce(const std::string& path, const RegistryText& text, Cache* cache) {
  std::string all;
  for (const RegistryReport& report : text.Reports()) {
    all += path + ":" + std::to_string(report.line) + ": " + report.text + "\n";
  }
  if (all != cache->reported) std::fputs(all.c_str(), stderr);
  cache->reported = std::move(all);
}

// With the cache's mutex held.
uint32_t Load(const std::string& path, Cache* cache) {
  File file(Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  struct stat status = {};
  if (!file && errno == ENOENT) {
    cache->path.clear();
    cache->text = std::make_shared<RegistryText>();
    return 0;
  }
  if (!file || fstat(file.Get(), &status) != 0) return FileError(errno);
  if (!S_ISREG(status.st_mode)) return error::kAccessDenied;
  const FileState state = StateOf(status);
  if (cache->settled && cache->path == path && cache->state == state) return 0;
  std::string bytes;
  if (const uint32_t failure = ReadBytes(file.Get(), &bytes)) return failure;
  cache->text = std::make_shared<RegistryText>(bytes);
  cache->path = path;
  cache->state = state;
  cache->settled = IsSettled(state);
  ReportOnce(path, *cache->text, cache);
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

uint32_t Lock(const std::string& path, File* lock) {
  const std::string name = path + ".lock";
  lock->Reset(Uninterrupted(
      [&] { return open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666); }));
  if (!*lock) return FileError(errno);
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  if (Uninterrupted([&] { return fcntl(lock->Get(), F_OFD_SETLKW, &whole); }) != 0) {
    return FileError(errno);
  }
  return 0;
}

// A failure leaves the old file as it was. The new file's name is always the same, the lock keeps
// others away from it; so one that a killed writer left is used up by the next.
uint32_t WriteWhole(const std::string& path, const std::string& bytes) {
  struct stat old;
  const mode_t mode = stat(path.c_str(), &old) == 0 ? old.st_mode & 0777 : 0644;
  const std::string temporary = path + ".new";
  File file(Uninterrupted([&] {
    return open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  }));
  if (!file) return FileError(errno);
  if (WriteAll(file.Get(), bytes.data(), bytes.size()) && fchmod(file.Get(), mode) == 0 &&
      fsync(file.Get()) == 0 && rename(temporary.c_str(), path.c_str()) == 0) {
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    File parent(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent) fsync(parent.Get());
    return 0;
  }
  const uint32_t failure = FileError(errno);
  unlink(temporary.c_str());
  return failure;
}

}  // namespace

std::string RegistryFilePath() {
  const char* named = std::getenv("SCANTK_REGISTRY");
  if (named && *named) return named;
  const char* configuration = std::getenv("XDG_CONFIG_HOME");
  if (configuration && *configuration == '/') {
    return std::string(configuration) + "/scantk/registry.reg";
  }
  const char* home = std::getenv("HOME");
  if (!home || *home == '\0') return std::string();
  return std::string(home) + "/.config/scantk/registry.reg";
}

uint32_t ReadRegistryFile(std::shared_ptr<const RegistryText>* text) {
  const std::string path = RegistryFilePath();
  Cache& cache = TheCache();
  std::lock_guard<std::mutex> guard(cache.mutex);
  if (path.empty()) {
    *text = std::make_shared<RegistryText>();
    return 0;
  }
  if (const uint32_t failure = Load(path, &cache)) return failure;
  *text = cache.text;
  return cache.text->IsRegistry() ? 0 : error::kBadFormat;
}

uint32_t ChangeRegistryFile(const std::function<uint32_t(RegistryText*)>& change) {
  const std::string path = Resolved(RegistryFilePath());
  if (path.empty()) return error::kPathNotFound;
  if (const uint32_t failure = MakeFolders(path)) return failure;
  File lock;
  if (const uint32_t failure = Lock(path, &lock)) return failure;
  std::shared_ptr<const RegistryText> current;
  if (const uint32_t failure = ReadRegistryFile(&current)) return failure;
  RegistryText changed(*current);
  if (const uint32_t failure = change(&changed)) return failure;
  const std::string bytes = changed.Bytes();
  if (bytes.size() > kMaxRegistryBytes) return error::kDiskFull;
  return bytes == current->Bytes() ? 0 : WriteWhole(path, bytes);
}

uint32_t CheckRegistryWritable() {
  const std::string path = RegistryFilePath();
  if (path.empty()) return error::kPathNotFound;
  if (access(path.c_str(), W_OK) == 0 || errno == ENOENT || errno == ENOTDIR) return 0;
  return FileError(errno);
}

}  // namespace scantk
