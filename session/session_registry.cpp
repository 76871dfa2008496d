#include "session/session_registry.h"

#include <algorithm>
#include <string_view>

namespace scantk {

SessionEntry::SessionEntry(const std::string& name) : lock(name.c_str()) {
  const size_t length = std::min(name.size(), sizeof device_name - 1);
  std::copy_n(name.data(), length, device_name);
  std::fill(device_name + length, std::end(device_name), '\0');
}

void SessionEntry::EndEngine() {
  if (state.engine) state.engine->channel.DisConnectFromIO();
  state.engine.reset();
}

SessionPtr SessionRegistry::Acquire(const std::string& name, int32_t* reference_count) {
  std::lock_guard guard(mutex_);
  if (auto found = by_name_.find(name); found != by_name_.end()) {
    *reference_count = ++found->second->reference_count;
    return found->second;
  }
  auto entry = std::make_shared<SessionEntry>(name);
  entry->handle = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(entry.get()));
  while (by_handle_.count(entry->handle)) ++entry->handle;
  auto named = by_name_.emplace(name, entry).first;
  try {
    by_handle_.emplace(entry->handle, entry);
  } catch (...) {
    by_name_.erase(named);
    throw;
  }
  *reference_count = entry->reference_count;
  return entry;
}

SessionPtr SessionRegistry::Lookup(uint32_t handle) const {
  std::lock_guard guard(mutex_);
  auto found = by_handle_.find(handle);
  return found == by_handle_.end() || !IsValid(found->second.get()) ? nullptr : found->second;
}

bool SessionRegistry::IsValid(const SessionEntry* entry) {
  return entry && entry->validity_mark == SessionEntry::kValid;
}

bool SessionRegistry::Release(SessionEntry& entry, int32_t* reference_count) {
  std::lock_guard guard(mutex_);
  *reference_count = 0;
  // Two closes at once may both have found the entry; the second has nothing to give back.
  if (!IsValid(&entry) || entry.reference_count <= 0) return false;
  *reference_count = --entry.reference_count;
  if (entry.reference_count > 0) return true;
  if (entry.lock.IsLocked())
    while (entry.lock.Unlock()) {
    }
  by_handle_.erase(entry.handle);
  const auto named =
      by_name_.find(std::string_view(entry.device_name));  // without a copy: no failure
  if (named != by_name_.end()) by_name_.erase(named);
  return true;
}

SessionRegistry& Sessions() {
  // Never destroyed: sessions left open stay open until the process ends, and objects may still be
  // used while static objects are being taken down.
  static SessionRegistry* registry = new SessionRegistry;
  return *registry;
}

}  // namespace scantk
