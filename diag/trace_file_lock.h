// Exclusion of all processes that write to one trace file.
#ifndef SCANTK_DIAG_TRACE_FILE_LOCK_H_
#define SCANTK_DIAG_TRACE_FILE_LOCK_H_

#include <cstdint>
#include <string>

#include "platform/semaphore.h"

namespace scantk {

// The name of the semaphore that guards the file at `path`: the path without every '\' and ':'.
std::string TraceFileLockName(const std::string& path);

// Made for each write; gives back what it holds when it goes out of scope. An empty path has no
// semaphore, and taking it fails.
class TraceFileLock {
 public:
  explicit TraceFileLock(const std::string& path);
  TraceFileLock(const TraceFileLock&) = delete;
  TraceFileLock& operator=(const TraceFileLock&) = delete;
  ~TraceFileLock() { Release(); }

  // Waits without a limit.
  bool Take();
  void Release();

 private:
  NamedSemaphore semaphore_;
  uint32_t owner_ = 0;  // the process that holds it; a forked child is not the owner
};

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_FILE_LOCK_H_
