// What the tests need another process for. Each command says on standard output what it did.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "diag/scanner_lock.h"
#include "diag/trace_log.h"
#include "platform/clock.h"
#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

int Say(const char* text) {
  std::puts(text);
  std::fflush(stdout);
  return 0;
}

// Writes numbered lines of different lengths.
int Trace(const char* name, int lines) {
  AcquireTraceSettings(kTestTraceId);
  TraceLog trace;
  for (int i = 0; i < lines; ++i)
    trace.Print(TRACE_FLOW, "%s %d %s", name, i, std::string(static_cast<size_t>(i % 50), 'x'));
  ReleaseTraceSettings();
  return Say("written");
}

// The life of the settings, as facts in one line.
int Holder() {
  std::string facts;
  const auto fact = [&](const char* name, bool value) {
    facts += std::string(facts.empty() ? "" : " ") + name + (value ? "=1" : "=0");
  };
  auto trace = std::make_unique<TraceLog>();
  fact("before", trace->Passes(TRACE_FLOW));
  trace->PrintText(TRACE_FLOW, "before");
  fact("null", AcquireTraceSettings(GUID{}) != nullptr);
  TraceSettings* settings = AcquireTraceSettings(kTestTraceId);
  GUID unknown = kTestTraceId;
  unknown.Data1 ^= 1;
  fact("other", AcquireTraceSettings(unknown) == settings);
  ReleaseTraceSettings();
  fact("late", trace->Passes(TRACE_FLOW));
  trace->PrintText(TRACE_FLOW, "late");
  ReleaseTraceSettings();
  fact("kept", trace->Passes(TRACE_FLOW));
  trace->PrintText(TRACE_FLOW, "kept");
  trace = std::make_unique<TraceLog>();
  trace.reset();
  trace = std::make_unique<TraceLog>();
  fact("gone", trace->Passes(TRACE_FLOW));
  AcquireTraceSettings(kTestTraceId);
  fact("again", trace->Passes(TRACE_FLOW));
  trace->PrintText(TRACE_FLOW, "again");
  ReleaseTraceSettings();
  return Say(facts.c_str());
}

// Takes the device and keeps it until it is ended from outside.
int Lock(const char* device) {
  CScannerLock lock(device);
  const bool locked = lock.Lock(CScannerLock::kProcess, 0);
  Say(locked ? "locked" : "refused");
  if (locked) TheClock().Sleep(60000);
  return 0;
}

}  // namespace
}  // namespace scantk

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "trace" && argc == 4) return scantk::Trace(argv[2], std::atoi(argv[3]));
  if (command == "holder") return scantk::Holder();
  if (command == "lock" && argc == 3) return scantk::Lock(argv[2]);
  return 2;
}
