// The trace settings of the process, as the registry gives them, and what a trace object takes from
// them.
#ifndef SCANTK_DIAG_TRACE_SETTINGS_H_
#define SCANTK_DIAG_TRACE_SETTINGS_H_

#include <cstdint>
#include <memory>
#include <string>

#include "diag/log_collector.h"
#include "platform/owner.h"

namespace scantk {

inline constexpr size_t kTracePathSize = 260;  // bytes of "LogFile", with its NUL

// Destinations, combined.
inline constexpr uint32_t kTraceToFile = 1;
inline constexpr uint32_t kTraceToDebugger = 2;
inline constexpr uint32_t kTraceToCollector = 4;

// The collector and its entry in the global interface table, which is revoked with it.
class SharedCollector {
 public:
  SharedCollector() = default;
  SharedCollector(const SharedCollector&) = delete;
  SharedCollector& operator=(const SharedCollector&) = delete;
  ~SharedCollector();

  // Creates the collector in the calling thread and enters it into the table. Without either there
  // is no collector.
  void Create();
  // A reference that the calling thread may use; null when there is none.
  ComPtr<ILogCollector> ForThisThread() const;

 private:
  uint32_t thread_ = 0;  // that made the collector
  ComPtr<ILogCollector> collector_;
  uint32_t cookie_ = 0;  // 0: not in the table
};

// What the registry says. Never changes once read; a reload makes another.
struct TraceValues {
  uint32_t LogEnabled = 0;
  uint32_t LogLevel = 0x80000040;
  uint32_t LogDestination = 0;
  std::string LogFile;
  SharedCollector collector;

  // Reads the key named after the identifier text; what cannot be read keeps its default.
  void Load(const std::string& identifier);
  // The level for the test of a line: 0 when nothing is to be written at all.
  uint32_t EffectiveLevel() const { return LogEnabled != 0 && LogDestination != 0 ? LogLevel : 0; }
};

// Where one trace object writes.
struct TraceTargets {
  uint32_t destinations = 0;
  std::string path;
  ComPtr<ILogCollector> collector;
};

// The process's holder; made, counted and deleted by AcquireTraceSettings and ReleaseTraceSettings.
struct TraceSettings {
  explicit TraceSettings(const GUID& id);

  std::string identifier;  // in registry form
  std::shared_ptr<const TraceValues> values;

  // Reads the registry again. Any thread.
  void Reload();
  // Any thread; the collector is good for the calling thread.
  std::shared_ptr<const TraceTargets> TakeTargets() const;
};

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_SETTINGS_H_
