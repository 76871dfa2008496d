// The trace log: lines of text at chosen masks, to a file shared by all processes, to the debugger
// and to a log collector, as the registry says. One process-wide TraceSettings, made by the first
// scanner object, serves every TraceLog; before it exists nothing is written. Tracing changes
// neither results nor the thread's last error, and nothing is thrown out of it: a line for which
// there is no memory is lost.
#ifndef SCANTK_DIAG_TRACE_LOG_H_
#define SCANTK_DIAG_TRACE_LOG_H_

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "contract/component_types.h"
#include "diag/trace_format.h"
#include "diag/trace_masks.h"
#include "platform/system.h"

namespace scantk {

struct TraceSettings;
struct TraceTargets;

// A line begun and not yet ended: the text so far, which ends with a newline. What follows a NUL in
// it is not written.
using TraceLine = std::string;

// Takes the process-wide settings and counts one more user. Without a holder, the null identifier
// gets null and any other makes the holder and reads the registry key of that identifier. Null also
// when there is no memory. Any thread.
TraceSettings* AcquireTraceSettings(const GUID& identifier);
// Gives one use back; the last one deletes the holder. Any thread.
void ReleaseTraceSettings();

// Whether a line of `mask` passes `level`, the registry's "LogLevel" (enabled and with a
// destination).
constexpr bool TraceLevelPasses(uint32_t level, uint32_t mask) {
  if (mask < TRACE_CLASS_INFO) mask |= TRACE_CLASS_INFO;
  if ((mask & 0x0FFFFFFF) == 0) mask |= TRACE_FLOW;
  if (level == 0) return false;
  if (level & mask & TRACE_CLASS_ERROR) return true;
  return (level & ~TRACE_CLASS_ERROR & mask) == mask;
}

// What a line that is not wanted costs: two loads.
namespace trace_gate {
extern std::atomic<bool> present;    // a holder of settings exists
extern std::atomic<uint32_t> level;  // its "LogLevel", 0 while nothing is to be written
}  // namespace trace_gate

// Any thread may call any operation; a line belongs to the thread that began it.
class TraceLog {
 public:
  TraceLog();
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;
  virtual ~TraceLog();

  // A line to append to, or null when nothing is to be written. End it with EndLine; a line still
  // pending at destruction is written then.
  virtual TraceLine* BeginLine(uint32_t mask);
  virtual TraceLine* BeginLine();
  virtual void EndLine(TraceLine* line, bool from_destructor);

  // One formatted line, indented by the depth of the function traces. Costs a test and no
  // allocation when the level does not pass.
  template <class... Args>
  void Print(uint32_t mask, const char* format, const Args&... args) {
#ifndef SCANTK_NO_TRACE
    if (!Passes(mask)) return;
    const TraceArg list[] = {TraceArg(args)..., TraceArg(0)};
    PrintFormatted(mask, format, list, sizeof...(args));
#else
    (void)mask, (void)format, ((void)args, ...);
#endif
  }
  template <class... Args>
  void Print(const char* format, const Args&... args) {
    Print(TRACE_DEFAULT, format, args...);
  }
  // One line of literal text. Null is empty text.
  void PrintText(uint32_t mask, const char* text);

  // One line (or block of lines, each ended by a newline) whose text `fill` appends to the
  // TraceLine& that it is given. It is called only when the line is wanted; when it throws, the
  // line is lost.
  template <class Fill>
  void Compose(uint32_t mask, const Fill& fill) {
    if (!Passes(mask)) return;
    LastErrorKeeper keep;
    TraceLine* line = BeginLine(mask);
    if (!line) return;
    try {
      fill(*line);
    } catch (...) {
      DropLine(line);
      return;
    }
    EndLine(line, false);
  }

  // Reads the registry again and takes destinations, file and collector afresh.
  void ReloadSettings();

  // Milliseconds since this object was made.
  uint32_t Elapsed() const;

  // Whether a line of `mask` would be written; obtains settings when there are none yet.
  bool Passes(uint32_t mask) {
#ifndef SCANTK_NO_TRACE
    if (!settings_.load(std::memory_order_acquire)) {
      if (!trace_gate::present.load(std::memory_order_acquire) || !ObtainSettings()) return false;
    }
    return TraceLevelPasses(trace_gate::level.load(std::memory_order_relaxed), mask);
#else
    (void)mask;
    return false;
#endif
  }

 private:
  bool ObtainSettings();
  void PrintFormatted(uint32_t mask, const char* format, const TraceArg* args, size_t count);
  void DropLine(TraceLine* line);
  void Write(const char* text);

  const uint32_t start_tick_;
  std::atomic<TraceSettings*> settings_ = nullptr;  // counted; given back by the destructor
  std::mutex mutex_;                                // guards what follows
  std::shared_ptr<const TraceTargets> targets_;
  std::list<TraceLine> pending_;
  std::unique_ptr<char[]> format_buffer_;
};

// The module's own trace log, made when the library is loaded; its start is the zero of every
// "LogTick".
TraceLog& GlobalTrace();

// The number of function traces open in the process; the indentation.
int TraceDepth();

// Appends the blanks of one depth to a line.
void AppendIndent(TraceLine& line, int depth);

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_LOG_H_
