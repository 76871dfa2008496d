#include "diag/trace_log.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "diag/trace_file_lock.h"
#include "diag/trace_settings.h"
#include "platform/clock.h"

namespace scantk {

namespace trace_gate {
constinit std::atomic<bool> present = false;
constinit std::atomic<uint32_t> level = 0;
}  // namespace trace_gate

namespace {

constexpr size_t kFormatBufferSize = 16384;  // bytes of the longest message, with its NUL
constexpr size_t kIndent = 5;                // blanks for each depth

// The last banner's; a line of another process or thread gets a banner of its own.
constinit std::atomic<uint32_t> banner_process = 0;
constinit std::atomic<uint32_t> banner_thread = 0;

// Two threads that begin a line at once may both write a banner, which says nothing wrong.
void AppendBannerIfDue(TraceLine& line) {
  const uint32_t process = ProcessId();
  const uint32_t thread = ThreadId();
  const uint32_t last_process = banner_process.load(std::memory_order_relaxed);
  const uint32_t last_thread = banner_thread.load(std::memory_order_relaxed);
  if (process == last_process && thread == last_thread) return;

  static constexpr char kStars[] = "**********************************\n";
  const std::string path = ExecutablePath();
  line.append("\n").append(kStars);
  AppendFormatted(line, "**** PID=0x%x(", process);
  banner_process.exchange(process);
  line.append(path.empty() ? "<name not available>" : path).append(")");
  line.append(thread == last_thread ? " ****\n**** " : ", ");
  AppendFormatted(line, "TID=0x%x ****\n", thread);
  banner_thread.exchange(thread);
  line.append(kStars).append("\n");
}

}  // namespace

TraceLog::TraceLog()
    : start_tick_(TheClock().TickCount()),
      format_buffer_(new (std::nothrow) char[kFormatBufferSize]) {
  if (trace_gate::present.load(std::memory_order_acquire)) ObtainSettings();
}

TraceLog::~TraceLog() {
  LastErrorKeeper keep;
  for (TraceLine& line : pending_) TraceLog::EndLine(&line, true);
  if (settings_.load()) ReleaseTraceSettings();
}

bool TraceLog::ObtainSettings() {
  LastErrorKeeper keep;
  TraceSettings* settings = AcquireTraceSettings(GUID{});
  if (!settings) return false;
  try {
    auto targets = settings->TakeTargets();
    std::lock_guard lock(mutex_);
    if (!settings_.load()) {
      targets_ = std::move(targets);
      settings_.store(settings, std::memory_order_release);
      return true;
    }
  } catch (...) {
  }
  ReleaseTraceSettings();  // another thread was first, or there was no memory
  return settings_.load() != nullptr;
}

void TraceLog::ReloadSettings() {
  LastErrorKeeper keep;
  TraceSettings* settings = settings_.load(std::memory_order_acquire);
  if (!settings) return;
  try {
    settings->Reload();
    auto targets = settings->TakeTargets();
    std::lock_guard lock(mutex_);
    targets_.swap(targets);
  } catch (...) {
  }
}

uint32_t TraceLog::Elapsed() const {
  return TheClock().TickCount() - start_tick_;
}

TraceLine* TraceLog::BeginLine(uint32_t mask) {
  if (!Passes(mask)) return nullptr;
  LastErrorKeeper keep;
  try {
    std::list<TraceLine> fresh(1);
    AppendBannerIfDue(fresh.front());
    std::lock_guard lock(mutex_);
    pending_.splice(pending_.end(), fresh);
    return &pending_.back();
  } catch (...) {
    return nullptr;
  }
}

TraceLine* TraceLog::BeginLine() {
  return BeginLine(TRACE_DEFAULT);
}

void TraceLog::EndLine(TraceLine* line, bool from_destructor) {
  if (!line) return;
  LastErrorKeeper keep;
  try {
    Write(line->c_str());
  } catch (...) {
  }
  if (!from_destructor) DropLine(line);
}

void TraceLog::DropLine(TraceLine* line) {
  std::list<TraceLine> dropped;
  std::lock_guard lock(mutex_);
  const auto it = std::find_if(pending_.begin(), pending_.end(),
                               [line](const TraceLine& entry) { return &entry == line; });
  if (it != pending_.end()) dropped.splice(dropped.end(), pending_, it);
}

void TraceLog::Write(const char* text) {
  std::shared_ptr<const TraceTargets> targets;
  {
    std::lock_guard lock(mutex_);
    targets = targets_;
  }
  if (!targets) return;
  const size_t length = std::strlen(text);
  if (targets->destinations & kTraceToFile) {
    // Written even when the lock could not be had: a line too many beats a line lost.
    TraceFileLock file_lock(targets->path);
    file_lock.Take();
    AppendToFile(targets->path, text, length, true);
  }
  if (targets->destinations & kTraceToDebugger) DebugOutput(text);
  if ((targets->destinations & kTraceToCollector) && targets->collector)
    targets->collector->WriteLine(ProcessId(), text, static_cast<uint32_t>(length) + 1);
}

void TraceLog::PrintFormatted(uint32_t mask, const char* format, const TraceArg* args,
                              size_t count) {
  const int depth = TraceDepth();
  Compose(mask, [&](TraceLine& line) {
    AppendIndent(line, depth);
    std::lock_guard lock(mutex_);
    if (!format_buffer_) throw std::bad_alloc();
    FormatTrace(format_buffer_.get(), kFormatBufferSize, format, args, count);
    line.append(format_buffer_.get()).append("\n");
  });
}

void TraceLog::PrintText(uint32_t mask, const char* text) {
  const int depth = TraceDepth();
  Compose(mask, [&](TraceLine& line) {
    AppendIndent(line, depth);
    line.append(text ? text : "").append("\n");
  });
}

void AppendIndent(TraceLine& line, int depth) {
  line.append(kIndent * static_cast<size_t>(std::max(depth, 0)), ' ');
}

TraceLog& GlobalTrace() {
  static TraceLog trace;
  return trace;
}

namespace {
// Makes it at load, not at the first line.
[[maybe_unused]] const TraceLog& made_at_load = GlobalTrace();
}  // namespace

}  // namespace scantk
