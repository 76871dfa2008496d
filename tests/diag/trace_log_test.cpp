#include "diag/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "diag/function_trace.h"
#include "diag/log_collector.h"
#include "diag/trace_file_lock.h"
#include "platform/component.h"
#include "tests/diag/trace_fixture.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr uint32_t kInfo = TRACE_CLASS_INFO;
constexpr uint32_t kWarning = TRACE_CLASS_WARNING;
constexpr uint32_t kError = TRACE_CLASS_ERROR;

// The program's allocations: counted, and refused at will.
std::atomic<int> allocations = 0;
std::atomic<bool> refuse_memory = false;

TEST(TraceLevel, EveryBitOfALineMustBeWanted) {
  const struct {
    uint32_t level, mask;
    bool passes;
  } cases[] = {
      {0, 0x80000040, false},
      {0x80000040, kError | TRACE_LOCK, true},  // the default level: errors of any category
      {0x80000040, kInfo | TRACE_INFO, false},
      {kInfo | TRACE_INFO, TRACE_INFO, true},  // a mask without a class is information
      {kInfo | TRACE_FLOW, 0, true},           // one without a category is flow
      {kInfo | TRACE_INFO, 0, false},
      {TRACE_FLOW, 0, false},
      {kInfo | TRACE_API, TRACE_API | TRACE_LOCK, false},
      {kInfo | TRACE_API | TRACE_LOCK, TRACE_API | TRACE_LOCK, true},
      {kInfo | TRACE_LOCK, kWarning | TRACE_LOCK, false},
      {kWarning | TRACE_LOCK, kWarning | TRACE_LOCK, true},
      {kInfo | 0x0FFFFFFF, kError | TRACE_LOCK, false},
      {kInfo | TRACE_API, 0x40000000 | TRACE_API, false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(c.passes, TraceLevelPasses(c.level, c.mask)) << std::hex << c.level << " " << c.mask;
  EXPECT_EQ("CTempvelkan.log", TraceFileLockName("C:\\Temp\\velkan.log"));
}

using TraceLogTest = TraceFixture;

// Catches a line that is cut, run together with the next or at the wrong depth.
TEST_F(TraceLogTest, LinesEndInCrLfAndAreIndentedByDepth) {
  {
    TraceLog trace;
    trace.Print(TRACE_FLOW, "value %d of %s", 5, "device");
    trace.Print("default %lx", 0xABCu);
    trace.PrintText(TRACE_IO_DATA, "100% %s literal");
    trace.PrintText(TRACE_IO_DATA, nullptr);
    {
      FunctionTrace outer("outer", 0, nullptr, TRACE_API);
      FunctionTrace inner("inner", 0, nullptr, TRACE_API);
      trace.Print(TRACE_FLOW, "deep\nsecond");
    }
    trace.Print("%s", std::string(20000, 'm'));
    TraceLine* line = trace.BeginLine(TRACE_FLOW);
    line->append("pending\n").append(1, '\0').append("behind the end");
    TraceLine* ended = trace.BeginLine();
    ended->append("ended\n");
    trace.EndLine(ended, false);
    trace.EndLine(nullptr, false);
  }
  EXPECT_THAT(
      NewLines(),
      ElementsAre("value 5 of device", "default abc", "100% %s literal", "",
                  MatchesRegex("\\+\\+\\+outer : .*"), MatchesRegex("     \\+\\+\\+inner : .*"),
                  "          deep", "second", MatchesRegex("     ---inner : .*"), "",
                  MatchesRegex("---outer : .*"), "", std::string(16383, 'm'), "ended", "pending"));
}

// Catches a time, a result or an error that is told as another one or under the wrong class.
TEST_F(TraceLogTest, EntryAndExitLinesTellTimeResultAndError) {
  const uint32_t begin = GlobalTrace().Elapsed(), tick = TheClock().TickCount();
  TestClock clock;
  for (const uint32_t level : {0x80000040, 0xFFFFFFFF}) {
    Configure(1, level, 1);
    GlobalTrace().ReloadSettings();
    for (const uint32_t code : {0x3E7, 0}) {
      clock.ticks = tick + 4711 - begin;
      FunctionTrace trace("m", code ? 0 : 0x1A, &code, TRACE_API);
      clock.ticks += 90;
      trace.SetResult(static_cast<HRESULT>(code ? 0x80040222 : 0));
    }
  }
  const std::string failed =
      "---m :  ERROR: Returned 0x80040222 (VELKAN_E_SCONF_FIREWALL), VelkanError=error string not "
      "defined (3e7): LogTick(ms): 4801, Elapsed: 90ms";
  EXPECT_THAT(NewLines(),
              ElementsAre(failed, "", "+++m : 11/7/2026 9:5:3.250, LogTick(ms):4711", failed, "",
                          "+++m : SessionID=0x1a : 11/7/2026 9:5:3.250, LogTick(ms):4711",
                          "---m : SessionID=0x1a :  Returned 0x0, VelkanError=none (0): "
                          "LogTick(ms): 4801, Elapsed: 90ms",
                          ""));
}

TEST_F(TraceLogTest, BannerLeadsTheFirstLineOfAThread) {
  TraceLog trace;
  trace.PrintText(TRACE_FLOW, "mine");
  const size_t before = TraceLines(TracePath()).size();
  uint32_t thread_id = 0;
  std::thread([&] {
    thread_id = ThreadId();
    trace.PrintText(TRACE_FLOW, "other's");
    trace.PrintText(TRACE_FLOW, "other's again");
  }).join();
  auto lines = TraceLines(TracePath());
  lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(before));
  char who[600];
  std::snprintf(who, sizeof who, "**** PID=0x%x(%s), TID=0x%x ****", ProcessId(),
                ExecutablePath().c_str(), thread_id);
  const std::string stars(34, '*');
  EXPECT_THAT(lines, ElementsAre("", stars, who, stars, "", "other's", "other's again"));
}

TEST_F(TraceLogTest, RegistryIsReadAtReload) {
  TraceLog trace;
  const std::string other = place_.File("other.log");
  Configure(1, 0xFFFFFFFF, 1, other);
  trace.PrintText(TRACE_FLOW, "old file");
  trace.ReloadSettings();
  trace.PrintText(TRACE_FLOW, "new file");
  EXPECT_THAT(NewLines(), ElementsAre("old file"));
  EXPECT_THAT(TraceLines(other), ElementsAre("new file"));
  // A path that does not fit counts as none; without one the file lies in the temporary folder.
  const std::string usual = TemporaryFolder();
  for (const char* name : {"TMPDIR", "TMP"}) SetEnvironment(name, place_.Folder());
  Configure(1, 0xFFFFFFFF, 1, std::string(260, 'p'));
  trace.ReloadSettings();
  trace.PrintText(TRACE_FLOW, "temporary");
  for (const char* name : {"TMPDIR", "TMP"}) SetEnvironment(name, usual);
  EXPECT_THAT(TraceLines(place_.File("velkan.log")), ElementsAre("temporary"));
}

TEST_F(TraceLogTest, LastErrorStaysAsItWas) {
  Configure(1, 0xFFFFFFFF, 7);
  SetLastError(4711);
  {
    FunctionTrace function("scantk::Failing", 0, nullptr, TRACE_API);
    TraceLog trace;
    trace.ReloadSettings();
    trace.Print(kError, "line %ls", u"wide");
    trace.EndLine(trace.BeginLine(), false);
    AcquireTraceSettings(kTestTraceId);
    ReleaseTraceSettings();
  }
  EXPECT_EQ(4711u, LastError());
}

TEST_F(TraceLogTest, UnwantedLinesCostNothingAndNoMemoryCostsTheLine) {
  TraceLog trace;
  refuse_memory = true;
  trace.Print(kError, "%ls", u"lost");
  trace.PrintText(kError, "lost");
  { FunctionTrace function("lost", 0, nullptr, TRACE_API); }
  trace.ReloadSettings();
  refuse_memory = false;
  trace.PrintText(kError, "kept");
  EXPECT_EQ(0, TraceDepth());
  const std::string text = "a text that is too long for the small buffer of a string";
  const uint32_t off[][3] = {{1, 0x80000040, 1}, {0, 0xFFFFFFFF, 1}, {1, 0, 1}, {1, 0xFFFFFFFF, 0}};
  for (const auto& [enabled, level, destination] : off) {
    Configure(enabled, level, destination);
    trace.ReloadSettings();
    const int before = allocations;
    trace.Print(TRACE_FLOW, "%s %d", text, 5);
    trace.PrintText(TRACE_FLOW, text.c_str());
    { FunctionTrace function("scantk::Quiet", 1, nullptr, TRACE_API); }
    EXPECT_EQ(before, allocations);
    EXPECT_EQ(level == 0x80000040, trace.Passes(kError));
  }
  EXPECT_THAT(NewLines(), ElementsAre("kept"));
}

// A log collector that keeps what it is given.
struct Collector final : ILogCollector {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_ILogCollector || iid == IID_IUnknown ? this : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  HRESULT STDMETHODCALLTYPE Reserved3() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE WriteLine(uint32_t process, const char* text,
                                      uint32_t length) override {
    EXPECT_EQ(ProcessId(), process);
    EXPECT_EQ(std::strlen(text) + 1, length);
    all += text;
    return S_OK;
  }
  std::atomic<ULONG> references = 0;
  std::string all;
} collector;

TEST_F(TraceLogTest, CollectorGetsLinesOfEveryThread) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "the system's table wants objects with a marshaler";
  RegisterBuiltInClass(CLSID_LogCollector, [](const GUID& iid, void** object) {
    return collector.QueryInterface(iid, object);
  });
  Configure(1, 0xFFFFFFFF, 4);
  {
    TraceLog trace;
    trace.ReloadSettings();
    trace.PrintText(TRACE_FLOW, "here");
    std::thread([] {
      InitializeComponents();
      TraceLog().PrintText(TRACE_FLOW, "there");
      UninitializeComponents();
    }).join();
    // One of the holder, one in the table, one of this trace object.
    EXPECT_EQ(3u, collector.references);
  }
  EXPECT_THAT(collector.all, testing::ContainsRegex("here\n(.*\n)*there\n$"));
  EXPECT_THAT(NewLines(), SizeIs(0));  // no file was asked for
  Configure(1, 0xFFFFFFFF, 1);
  GlobalTrace().ReloadSettings();
  EXPECT_EQ(0u, collector.references);  // given back, also by the table
  RegisterBuiltInClass(CLSID_LogCollector,
                       [](const GUID&, void**) -> HRESULT { return REGDB_E_CLASSNOTREG; });
  Configure(1, 0xFFFFFFFF, 5);
  GlobalTrace().ReloadSettings();
  GlobalTrace().PrintText(TRACE_FLOW, "in the file");
  EXPECT_THAT(NewLines(), ElementsAre("in the file"));
}

// Catches a line that is written while another process writes.
TEST_F(TraceLogTest, ALineWaitsForTheFile) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "the wait is the system's there";
  struct Releasing : TestClock {
    void Sleep(uint32_t) override { released += held.Release(); }
    NamedSemaphore held;
    int released = 0;
  } clock;
  clock.held = NamedSemaphore::CreateOrOpen(TraceFileLockName(TracePath()), nullptr);
  ASSERT_EQ(WaitResult::kSignalled, clock.held.Wait(0));
  TraceLog().PrintText(TRACE_FLOW, "late");
  EXPECT_EQ(1, clock.released);
}

// Whole lines, each writer's in order: of two threads with one object and of two processes.
TEST_F(TraceLogTest, WritersShareOneFile) {
  constexpr int kLines = 200;
  TraceLog trace;
  const auto write = [&](const char* name) {
    for (int i = 0; i < kLines; ++i) trace.Print(TRACE_FLOW, "%s %d x", name, i);
  };
  std::thread a(write, "a"), b(write, "b");
  std::string error, line;
  std::unique_ptr<ChildProcess> children[2];
  for (const char* name : {"c", "d"})
    children[*name - 'c'] =
        ChildProcess::Start(SCANTK_HELPER, {"trace", name, std::to_string(kLines)}, &error);
  for (auto& child : children) EXPECT_TRUE(child && child->ReadLine(60000, &line)) << error;
  a.join();
  b.join();
  int next[4] = {};
  for (const std::string& written : NewLines()) {
    ASSERT_THAT(written, MatchesRegex("\\w \\w+ x*"));
    ASSERT_TRUE(written[0] >= 'a' && written[0] <= 'd') << written;
    const std::string number = std::to_string(next[written[0] - 'a']++);
    EXPECT_EQ(number, written.substr(2, written.find_last_of(' ') - 2));
  }
  for (const int count : next) EXPECT_EQ(kLines, count);
}

// In a process of its own, whose module's trace object has not asked for anything yet.
TEST_F(TraceLogTest, HolderLivesFromTheFirstNamedUserToTheLast) {
  std::string error;
  auto child = ChildProcess::Start(SCANTK_HELPER, {"holder", "of the settings"}, &error);
  ASSERT_TRUE(child) << error;
  std::string facts;
  ASSERT_TRUE(child->ReadLine(60000, &facts));
  EXPECT_EQ("before=0 late=1 kept=1 gone=0 again=1 ", facts);
  EXPECT_THAT(NewLines(), ElementsAre("late", "kept", "again"));
}

}  // namespace
}  // namespace scantk

[[gnu::noinline]] void* operator new(size_t size) {
  ++scantk::allocations;
  void* memory = scantk::refuse_memory ? nullptr : std::malloc(size);
  if (!memory) throw std::bad_alloc();
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
