// The sessions of the process: one entry for each device name, shared by every opening of that name
// from any object, found by handle or by name.
#ifndef SCANTK_SESSION_SESSION_REGISTRY_H_
#define SCANTK_SESSION_SESSION_REGISTRY_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "config/device_settings.h"
#include "diag/scanner_lock.h"
#include "platform/component_support.h"
#include "session/session_state.h"

namespace scantk {

struct SessionEntry {
  static constexpr uint32_t kValid = 0xF1E2D3C4;

  explicit SessionEntry(const std::string& name);
  ~SessionEntry() { EndEngine(); }

  // Disconnects the device and destroys the engine, when there is one.
  void EndEngine();

  ModulePin pin;                // the device would stay locked and connected without the library
  int32_t reference_count = 1;  // open sessions; guarded by the registry
  uint32_t handle = 0;
  uint32_t validity_mark = kValid;
  SessionState state;
  ScannerLock lock;
  char device_name[kDeviceNameSize];
  std::mutex opening;      // the second opening of a name waits for the first to be done
  bool open = false;       // it was done well; guarded by `opening`
  std::mutex connecting;   // the first hold connects and the last one disconnects, one at a time
  bool connected = false;  // guarded by `connecting`
};

// A method that looked an entry up keeps it alive while it works, even when another thread closes
// the session meanwhile.
using SessionPtr = std::shared_ptr<SessionEntry>;

// Any thread may call any operation; none holds the registry while a session is worked on.
class SessionRegistry {
 public:
  // The entry of `name` with one more reference, made when there is none. `name` must fit the
  // entry's name field.
  SessionPtr Acquire(const std::string& name, int32_t* reference_count);
  // Null when `handle` names no open session.
  SessionPtr Lookup(uint32_t handle) const;
  static bool IsValid(const SessionEntry* entry);
  // Gives one reference back. The last one gives every hold of the device's lock back and takes the
  // entry out of the registry.
  bool Release(SessionEntry& entry, int32_t* reference_count);

 private:
  mutable std::mutex mutex_;
  std::map<uint32_t, SessionPtr> by_handle_;
  std::map<std::string, SessionPtr, std::less<>> by_name_;
};

// The registry of the process; it outlives every object.
SessionRegistry& Sessions();

}  // namespace scantk

#endif  // SCANTK_SESSION_SESSION_REGISTRY_H_
