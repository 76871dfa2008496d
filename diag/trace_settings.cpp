#include "diag/trace_settings.h"

#include <mutex>
#include <utility>

#include "diag/trace_log.h"
#include "platform/component.h"
#include "platform/registry_values.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr char kTraceKey[] = "Software\\Orvane\\Lumora\\Velkan\\";

// Guards the holder, its count and its values. Nothing that can call out runs under it.
std::mutex& HolderMutex() {
  static auto& mutex = *new std::mutex;  // outlives every static trace object
  return mutex;
}
TraceSettings* holder = nullptr;
uint32_t holder_users = 0;

// Takes the existing holder, or null. With `fresh`, makes it the holder when there is none.
TraceSettings* TakeHolder(std::unique_ptr<TraceSettings>* fresh) {
  std::lock_guard lock(HolderMutex());
  if (!holder && fresh) {
    holder = fresh->release();
    trace_gate::level.store(holder->values->EffectiveLevel(), std::memory_order_relaxed);
    trace_gate::present.store(true, std::memory_order_release);
  }
  if (holder) ++holder_users;
  return holder;
}

}  // namespace

SharedCollector::~SharedCollector() {
  if (cookie_) GlobalInterfaceTable::Revoke(cookie_);
}

void SharedCollector::Create() {
  thread_ = ThreadId();
  if (FAILED(CreateComponent(CLSID_LogCollector, IID_ILogCollector, collector_.OutVoid())) ||
      !collector_ || !GlobalInterfaceTable::Available()) {
    collector_.Reset();
    return;
  }
  if (FAILED(GlobalInterfaceTable::Register(collector_.Get(), IID_ILogCollector, &cookie_))) {
    cookie_ = 0;
    collector_.Reset();
  }
}

ComPtr<ILogCollector> SharedCollector::ForThisThread() const {
  if (!collector_ || cookie_ == 0 || thread_ == ThreadId()) return collector_;
  ComPtr<ILogCollector> mine;
  if (FAILED(GlobalInterfaceTable::Get(cookie_, IID_ILogCollector, mine.OutVoid()))) mine.Reset();
  return mine;
}

void TraceValues::Load(const std::string& identifier) {
  RegistryKey key;
  const std::string path = (kTraceKey + identifier).substr(0, kTracePathSize - 1);
  if (RegistryKey::Open(RegistryRoot::kLocalMachine, path, RegistryAccess::kRead, &key) != 0)
    return;
  QueryDword(key, "LogEnabled", &LogEnabled);
  QueryDword(key, "LogLevel", &LogLevel);
  QueryDword(key, "LogDestination", &LogDestination);
  char file[kTracePathSize];
  if (QueryText(key, "LogFile", file, sizeof file)) LogFile = file;
  key.Close();
  if (LogDestination & kTraceToCollector) collector.Create();
}

TraceSettings::TraceSettings(const GUID& id) : identifier(GuidText(id)) {
  auto loaded = std::make_shared<TraceValues>();
  loaded->Load(identifier);
  values = std::move(loaded);
}

void TraceSettings::Reload() {
  auto fresh = std::make_shared<TraceValues>();
  fresh->Load(identifier);
  std::shared_ptr<const TraceValues> old = std::move(fresh);  // dropped after the lock
  std::lock_guard lock(HolderMutex());
  values.swap(old);
  trace_gate::level.store(values->EffectiveLevel(), std::memory_order_relaxed);
}

std::shared_ptr<const TraceTargets> TraceSettings::TakeTargets() const {
  std::shared_ptr<const TraceValues> now;
  {
    std::lock_guard lock(HolderMutex());
    now = values;
  }
  auto targets = std::make_shared<TraceTargets>();
  targets->destinations = now->LogDestination;
  targets->path = now->LogFile.empty() ? TemporaryFolder() + "velkan.log" : now->LogFile;
  if (now->LogEnabled != 0 && (now->LogDestination & kTraceToCollector))
    targets->collector = now->collector.ForThisThread();
  return targets;
}

TraceSettings* AcquireTraceSettings(const GUID& identifier) {
  LastErrorKeeper keep;
  TraceSettings* settings = TakeHolder(nullptr);
  if (settings || identifier == GUID{}) return settings;
  try {
    auto fresh = std::make_unique<TraceSettings>(identifier);
    return TakeHolder(&fresh);
  } catch (...) {
    return nullptr;
  }
}

void ReleaseTraceSettings() {
  LastErrorKeeper keep;
  std::unique_ptr<TraceSettings> last;  // deleted after the lock
  std::lock_guard lock(HolderMutex());
  if (holder_users == 0 || --holder_users > 0) return;
  trace_gate::present.store(false, std::memory_order_relaxed);
  trace_gate::level.store(0, std::memory_order_relaxed);
  last.reset(std::exchange(holder, nullptr));
}

}  // namespace scantk
