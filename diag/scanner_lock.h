// Exclusive use of a device: against other processes by a named semaphore, and, with a thread lock,
// against the other threads of this one.
#ifndef SCANTK_DIAG_SCANNER_LOCK_H_
#define SCANTK_DIAG_SCANNER_LOCK_H_

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "diag/trace_log.h"
#include "platform/semaphore.h"
#include "platform/system.h"

namespace scantk {

// The name of the semaphore that guards a device: what follows the last '\' of its name, with the
// prefix by which the systems that know logon sessions make it visible in all of them.
std::string ScannerLockName(const std::string& device_name, const OsVersion& version);

// Any thread may call any operation.
class ScannerLock {
 public:
  static constexpr int32_t kProcess = 0;
  static constexpr int32_t kThread = 1;
  static constexpr int32_t kNone = -1;

  // Makes or opens the semaphore named after the device; a failure shows in Lock.
  explicit ScannerLock(const char* device_name);
  ScannerLock(const ScannerLock&) = delete;
  ScannerLock& operator=(const ScannerLock&) = delete;
  virtual ~ScannerLock();

  // Takes the lock, or one more hold of it, waiting at most `timeout_ms` (kWaitForever: no limit).
  // The number of holds with this one; 0 when it was not to be had.
  uint32_t Lock(int32_t lock_type, uint32_t timeout_ms);
  // Gives one hold back. False: there was none, or it is not the caller's.
  bool Unlock();

  bool IsLocked() const;
  // Held, and by a process lock or by the calling thread.
  bool IsLockedByCaller() const;
  uint32_t GetLockCount() const;

 private:
  enum class Hold { kTaken, kRefused, kMustWait };

  // All under mutex_. TakeNested: one more hold where the lock is held already, or what is to be
  // done instead. The waits let the mutex go, for at most `limit` milliseconds. WaitForTurn: until
  // the thread that waits for the semaphore is done; what is left of the limit.
  Hold TakeNested(int32_t lock_type);
  uint32_t WaitForTurn(std::unique_lock<std::recursive_mutex>& guard, uint32_t limit);
  bool WaitForSemaphore(std::unique_lock<std::recursive_mutex>& guard, uint32_t limit);
  bool CallerMayUnlock();

  mutable std::recursive_mutex mutex_;  // guards the five values below
  std::condition_variable_any turn_;    // no thread of ours waits for the semaphore any more
  bool waiting_ = false;                // one does; the others may nest in what it gets
  uint32_t owner_process_ = 0;
  uint32_t owner_thread_ = 0;
  uint32_t lock_count_ = 0;
  int32_t lock_type_ = kNone;
  TraceLog trace_;
  std::string name_;
  NamedSemaphore semaphore_;
};

}  // namespace scantk

#endif  // SCANTK_DIAG_SCANNER_LOCK_H_
