#include "diag/trace_file_lock.h"

#include <algorithm>

#include "diag/shared_security.h"
#include "platform/clock.h"
#include "platform/system.h"

namespace scantk {

std::string TraceFileLockName(const std::string& path) {
  std::string name = path;
  std::erase_if(name, [](char c) { return c == '\\' || c == ':'; });
  return name;
}

TraceFileLock::TraceFileLock(const std::string& path) {
  if (!path.empty())
    semaphore_ = NamedSemaphore::CreateOrOpen(TraceFileLockName(path), kSharedSecurity);
}

bool TraceFileLock::Take() {
  if (!semaphore_ || semaphore_.Wait(kWaitForever) != WaitResult::kSignalled) return false;
  owner_ = ProcessId();
  return true;
}

void TraceFileLock::Release() {
  if (owner_ == 0 || owner_ != ProcessId()) return;
  owner_ = 0;
  semaphore_.Release();
}

}  // namespace scantk
