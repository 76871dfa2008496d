#include "diag/function_trace.h"

#include <atomic>

#include "contract/codes.h"
#include "platform/clock.h"

namespace scantk {
namespace {

constinit std::atomic<int> open_traces = 0;

// The method's result as the exit line tells it to people: its name when it is one of the toolkit's
// own, and the toolkit error code.
void AppendErrorNames(TraceLine& line, HRESULT result, uint32_t error_code) {
  const char* name = result == E_FAIL ? nullptr : ToolkitResultText(result);
  if (name) line.append(" (").append(name).append(")");
  line.append(", VelkanError=").append(ToolkitErrorText(error_code));
  AppendFormatted(line, " (%x)", error_code);
}

}  // namespace

int TraceDepth() {
  return open_traces.load(std::memory_order_relaxed);
}

FunctionTrace::FunctionTrace(const char* name, uint32_t session, const uint32_t* error_code,
                             uint32_t category)
    : name_(name ? name : ""), session_(session), error_code_(error_code), category_(category) {
#ifndef SCANTK_NO_TRACE
  LastErrorKeeper keep;
  start_tick_ = TheClock().TickCount();
  WriteEntry();
#endif
}

FunctionTrace::~FunctionTrace() {
#ifndef SCANTK_NO_TRACE
  LastErrorKeeper keep;
  WriteExit();
#endif
}

void FunctionTrace::WriteEntry() {
  const int depth = TraceDepth();
  GlobalTrace().Compose(category_ | TRACE_CLASS_INFO | TRACE_API, [&](TraceLine& line) {
    AppendHead(line, "+++", depth);
    const LocalTime now = TheClock().Now();
    AppendFormatted(line, "%d/%d/%d %d:%d:%d.%d, LogTick(ms):%u", now.month, now.day, now.year,
                    now.hour, now.minute, now.second, now.milliseconds, GlobalTrace().Elapsed());
    line.append("\n");
  });
  open_traces.fetch_add(1, std::memory_order_relaxed);
}

void FunctionTrace::WriteExit() {
  const int depth = open_traces.fetch_sub(1, std::memory_order_relaxed) - 1;
  const bool failed = result_ < 0 || (error_code_ && *error_code_ != TERR_NONE);
  const uint32_t trace_class = failed ? TRACE_CLASS_ERROR : TRACE_CLASS_INFO;
  GlobalTrace().Compose(category_ | trace_class | TRACE_API, [&](TraceLine& line) {
    AppendHead(line, "---", depth);
    if (result_ != S_OK) line.append(" ERROR:");
    AppendFormatted(line, " Returned 0x%x", result_);
    if (error_code_) AppendErrorNames(line, result_, *error_code_);
    AppendFormatted(line, ": LogTick(ms): %u, Elapsed: %ums", GlobalTrace().Elapsed(),
                    TheClock().TickCount() - start_tick_);
    line.append("\n\n");
  });
}

void FunctionTrace::AppendHead(TraceLine& line, const char* sign, int depth) const {
  AppendIndent(line, depth);
  line.append(sign).append(name_).append(" : ");
  if (session_ != 0) AppendFormatted(line, "SessionID=0x%x : ", session_);
}

}  // namespace scantk
