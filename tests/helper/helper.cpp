// Another process for the tests. Each verb says on standard output what it did; one that holds
// something keeps it until the process is ended.
//
//   write KEY PREFIX N            N numbers under a key of the user: "writing" behind the first,
//                                 "done" at the end
//   value KEY                     the default value of a key of the machine, or "none"
//   trace NAME N                  N lines of the trace, of different lengths: "written"
//   holder -                      the life of the trace settings, as facts
//   session NAME ADDRESS WHAT     a session on a network device, locked: "locked" or the error.
//                                 WHAT: hold; a number: lets go after so many milliseconds,
//                                 "released"
//   work NAME TYPE                job after job, with a line before each call
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "contract/records.h"
#include "diag/trace_log.h"
#include "platform/clock.h"
#include "platform/registry.h"
#include "tests/diag/trace_fixture.h"
#include "tests/jobs/host.h"

namespace {

using namespace scantk;

int Say(const char* word) {
  std::printf("%s\n", word);
  std::fflush(stdout);
  return 0;
}

int Write(const char* path, const std::string& prefix, uint32_t count) {
  RegistryKey key;
  if (RegistryKey::Create(RegistryRoot::kCurrentUser, path, &key, nullptr)) return Say("failed");
  for (uint32_t i = 0; i < count; ++i) {
    if (key.SetDword(prefix + std::to_string(i), i)) return Say("failed");
    if (i == 0) Say("writing");
  }
  return Say("done");
}

int Value(const char* path) {
  RegistryKey key;
  char text[64] = "none";
  uint32_t size = sizeof text;
  if (RegistryKey::Open(RegistryRoot::kLocalMachine, path, RegistryAccess::kRead, &key) == 0)
    key.QueryValue("", nullptr, text, &size);
  return Say(text);
}

// Here the module's own trace object has not asked for anything yet.
int Holder() {
  std::string facts;
  auto trace = std::make_unique<TraceLog>();
  const auto fact = [&](const char* name) {
    facts += std::string(name) + (trace->Passes(TRACE_FLOW) ? "=1 " : "=0 ");
    trace->PrintText(TRACE_FLOW, name);
  };
  AcquireTraceSettings(GUID{});
  fact("before");
  AcquireTraceSettings(kTestTraceId);
  fact("late");
  ReleaseTraceSettings();
  fact("kept");
  trace = nullptr;
  trace = std::make_unique<TraceLog>();
  fact("gone");
  AcquireTraceSettings(kTestTraceId);
  fact("again");
  ReleaseTraceSettings();
  return Say(facts.c_str());
}

int Trace(const char* name, int lines) {
  AcquireTraceSettings(kTestTraceId);
  TraceLog trace;
  for (int i = 0; i < lines; ++i)
    trace.Print(TRACE_FLOW, "%s %d %s", name, i, std::string(static_cast<size_t>(i % 50), 'x'));
  ReleaseTraceSettings();
  return Say("written");
}

int Session(const std::string& name, const char* address, const std::string& what) {
  test::Sandbox sandbox;
  sandbox.SetDeviceText(sandbox.AddNetworkDevice(address), "NetworkDeviceID", name);
  test::Host host(name, T_IO_NETWORK);
  if (!host.Open() || !host.Lock(T_LOCK_PROCESS, 0)) return Say(ToolkitErrorText(host.last.code));
  Say("locked");
  while (what == "hold") TheClock().Sleep(1000);
  TheClock().Sleep(static_cast<uint32_t>(std::atoi(what.c_str())));
  host.Unlock();
  host.Close();
  return Say("released");
}

int Work(const std::string& name, uint32_t type) {
  InitializeComponents();
  test::Host host(name, type);
  host.before_call = Say;
  for (;;) {
    host.page.asked = test::PageParameters(T_GREYSCALE, 150, {200, 200});
    host.Open();
    host.Lock();
    host.Learn();
    host.Scan(10);
    host.Close();
  }
}

}  // namespace

int main(int count, char** words) {
  const std::string verb = count > 2 ? words[1] : "";
  if (verb == "value") return Value(words[2]);
  if (verb == "holder") return Holder();
  if (verb == "trace" && count > 3) return Trace(words[2], std::atoi(words[3]));
  if (verb == "work" && count > 3)
    return Work(words[2], static_cast<uint32_t>(std::atoi(words[3])));
  if (verb == "write" && count > 4)
    return Write(words[2], words[3], static_cast<uint32_t>(std::atoi(words[4])));
  if (verb == "session" && count > 4) return Session(words[2], words[3], words[4]);
  return 2;
}
