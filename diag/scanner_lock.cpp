#include "diag/scanner_lock.h"

#include <algorithm>
#include <chrono>

#include "diag/function_trace.h"
#include "diag/shared_security.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr uint32_t kError = TRACE_CLASS_ERROR | TRACE_LOCK;
constexpr uint32_t kWarning = TRACE_CLASS_WARNING | TRACE_LOCK;

}  // namespace

std::string ScannerLockName(const std::string& device_name, const OsVersion& version) {
  // npos + 1 is 0: a name without a backslash is used whole.
  const std::string name = device_name.substr(device_name.rfind('\\') + 1);
  const bool all_sessions = version.platform == 2 && version.major >= 5;
  return all_sessions ? "Global\\" + name : name;
}

ScannerLock::ScannerLock(const char* device_name) {
  FunctionTrace function("CScannerLock::Constructor", 0, nullptr, TRACE_LOCK);
  name_ = ScannerLockName(device_name ? device_name : "", SystemVersion());
  trace_.Print(TRACE_INFO | TRACE_LOCK, "Lock Semaphore name is %s", name_);
  semaphore_ = NamedSemaphore::CreateOrOpen(name_, kSharedSecurity);
  function.SetResult(error::ToResult(LastError()));
}

ScannerLock::~ScannerLock() {
  std::lock_guard lock(mutex_);
  Unlock();
  semaphore_ = NamedSemaphore();
}

ScannerLock::Hold ScannerLock::TakeNested(int32_t lock_type) {
  if (lock_count_ == 0) return Hold::kMustWait;
  if (lock_type != lock_type_) {
    trace_.Print(kError, "Requested lock type does not match original lock, returning failure");
    return Hold::kRefused;
  }
  if (lock_type_ == kThread && ThreadId() != owner_thread_) {
    trace_.Print(kError, "Lock Failed, calling thread (%lx) != locking thread (%lx)", ThreadId(),
                 owner_thread_);
    return Hold::kMustWait;
  }
  ++lock_count_;
  trace_.Print(TRACE_LOCK, "Lock obtained, new LockCount = %d", lock_count_);
  return Hold::kTaken;
}

uint32_t ScannerLock::WaitForTurn(std::unique_lock<std::recursive_mutex>& guard, uint32_t limit) {
  using std::chrono::milliseconds;
  if (limit == kWaitForever) {
    turn_.wait(guard);
    return limit;
  }
  const auto start = std::chrono::steady_clock::now();
  turn_.wait_for(guard, milliseconds(limit));
  const auto passed = std::chrono::steady_clock::now() - start;
  return limit - static_cast<uint32_t>(std::min<int64_t>(
                     limit, std::chrono::duration_cast<milliseconds>(passed).count()));
}

uint32_t ScannerLock::Lock(int32_t lock_type, uint32_t timeout_ms) {
  FunctionTrace function("CScannerLock::Lock", 0, nullptr, TRACE_LOCK);
  std::unique_lock guard(mutex_);
  if (lock_type != kProcess && lock_type != kThread) return 0;
  trace_.Print(TRACE_LOCK,
               "Using Session locking:  Requested Lock type = %s, Current LockCount = %d",
               lock_type == kProcess ? "PROCESS" : "THREAD", lock_count_);
  // One thread at a time waits for the semaphore. When it has got it the others may nest, for which
  // a second wait would never end.
  Hold hold = TakeNested(lock_type);
  while (hold == Hold::kMustWait && waiting_ && timeout_ms != 0) {
    timeout_ms = WaitForTurn(guard, timeout_ms);
    hold = TakeNested(lock_type);
  }
  if (hold != Hold::kMustWait) return hold == Hold::kTaken ? lock_count_ : 0;
  if (waiting_ || !WaitForSemaphore(guard, timeout_ms)) {
    trace_.Print(kError, "Error:  Lock wait failed");
    return 0;
  }
  owner_process_ = ProcessId();
  owner_thread_ = ThreadId();
  ++lock_count_;
  lock_type_ = lock_type;
  trace_.Print(TRACE_LOCK, "Lock obtained, PID (%lx), TID (%lx), new lockcount = %d",
               owner_process_, owner_thread_, lock_count_);
  return lock_count_;
}

bool ScannerLock::WaitForSemaphore(std::unique_lock<std::recursive_mutex>& guard, uint32_t limit) {
  waiting_ = true;
  guard.unlock();  // so that the queries of other threads do not wait with us
  const bool taken = semaphore_ && semaphore_.Wait(limit) == WaitResult::kSignalled;
  guard.lock();
  waiting_ = false;
  turn_.notify_all();
  return taken;
}

bool ScannerLock::CallerMayUnlock() {
  if (lock_count_ == 0) {
    trace_.Print(kWarning, "Unlock called and LockCount is already 0");
    return false;
  }
  if (lock_type_ == kProcess && ProcessId() != owner_process_) {
    trace_.Print(kError, "Error - current PID (%lx) doesn't match lock PID (%lx)", ProcessId(),
                 owner_process_);
    return false;
  }
  if (lock_type_ == kThread && ThreadId() != owner_thread_) {
    trace_.Print(kError, "Error - current TID (%lx) doesn't match lock TID (%lx)", ThreadId(),
                 owner_thread_);
    return false;
  }
  return true;
}

bool ScannerLock::Unlock() {
  FunctionTrace function("CScannerLock::Unlock", 0, nullptr, TRACE_LOCK);
  std::lock_guard lock(mutex_);
  if (!CallerMayUnlock()) return false;
  if (--lock_count_ >= 1) {
    trace_.Print(TRACE_LOCK, "Unlock succeeded, lockcount is %d", lock_count_);
    return true;
  }
  trace_.Print(TRACE_LOCK, "Unlock - Releasing Lock Semaphores");
  const bool released = semaphore_.Release();
  if (!released) function.SetResult(error::ToResult(LastError()));
  owner_process_ = 0;
  owner_thread_ = 0;
  lock_type_ = kNone;
  return released;
}

bool ScannerLock::IsLocked() const {
  std::lock_guard lock(mutex_);
  return lock_count_ != 0;
}

bool ScannerLock::IsLockedByCaller() const {
  std::lock_guard lock(mutex_);
  return lock_count_ != 0 && (lock_type_ == kProcess || owner_thread_ == ThreadId());
}

uint32_t ScannerLock::GetLockCount() const {
  std::lock_guard lock(mutex_);
  return lock_count_;
}

}  // namespace scantk
