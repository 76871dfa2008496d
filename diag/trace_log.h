// The trace log: lines of text at chosen masks, to a file shared by all processes, to the debugger
// and to a log collector, as the registry says. One process-wide TraceSettings, made by the first
// scanner object, serves every TraceLog; before it exists nothing is written. Tracing changes
// neither results nor the thread's last error.
#ifndef SCANTK_DIAG_TRACE_LOG_H_
#define SCANTK_DIAG_TRACE_LOG_H_

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "diag/trace_format.h"
#include "diag/trace_masks.h"
#include "platform/component_types.h"
#include "platform/owner.h"

namespace scantk {

struct TraceSettings;
struct ILogCollector;

// A line begun and not yet ended: the text so far.
using TraceLine = std::string;

// Takes the process-wide settings and counts one more user. Without a holder, the null identifier
// gets null and any other makes the holder and reads the registry key of that identifier. Any
// thread.
TraceSettings* AcquireTraceSettings(const GUID& identifier);
// Gives one use back; the last one deletes the holder.
void ReleaseTraceSettings();

// Whether a line of `mask` passes `level`, the registry's "LogLevel" (enabled and with a
// destination).
bool TraceLevelPasses(uint32_t level, uint32_t mask);

// Belongs to one object, used by one thread at a time.
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
  // One line of literal text.
  void PrintText(uint32_t mask, const char* text);

  // Reads the registry again and takes destinations, file and collector afresh.
  void ReloadSettings();

  // Milliseconds since this object was made.
  uint32_t Elapsed() const;

  // Whether a line of `mask` would be written; obtains settings when there are none yet.
  bool Passes(uint32_t mask);

 private:
  void ObtainSettings();
  void TakeDestinations();
  void PrintFormatted(uint32_t mask, const char* format, const TraceArg* args, size_t count);
  void WriteIndented(uint32_t mask, const char* text);

  uint32_t start_tick_;
  TraceSettings* settings_ = nullptr;
  uint32_t destinations_ = 0;
  std::unique_ptr<std::list<TraceLine>> pending_;
  ComPtr<ILogCollector> collector_;
  std::string path_;
  std::unique_ptr<char[]> format_buffer_;
};

// The module's own trace log, made when the library is loaded; its start is the zero of every
// "LogTick".
TraceLog& GlobalTrace();

// The number of function traces open in the process; the indentation.
int TraceDepth();

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_LOG_H_
