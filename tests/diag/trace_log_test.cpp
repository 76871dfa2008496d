#include "diag/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "diag/function_trace.h"
#include "diag/trace_file_lock.h"
#include "platform/component.h"
#include "tests/diag/memory_watch.h"
#include "tests/diag/test_collector.h"
#include "tests/diag/trace_fixture.h"
#include "tests/doubles/virtual_clock.h"

namespace scantk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr uint32_t kInfo = TRACE_CLASS_INFO;
constexpr uint32_t kWarning = TRACE_CLASS_WARNING;
constexpr uint32_t kError = TRACE_CLASS_ERROR;

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
}

TEST(TraceFile, LockIsNamedAfterThePath) {
  EXPECT_EQ("CTempvelkan.log", TraceFileLockName("C:\\Temp\\velkan.log"));
  EXPECT_EQ("/tmp/velkan.log", TraceFileLockName("/tmp/velkan.log"));
  TraceFileLock none("");
  EXPECT_FALSE(none.Take());
}

using TraceLogTest = TraceFixture;

TEST_F(TraceLogTest, LinesEndInCrLfAndAreIndentedByDepth) {
  TraceLog trace;
  trace.Print(TRACE_FLOW, "value %d of %s", 5, "device");
  trace.Print("default %lx", 0xABCu);
  trace.PrintText(TRACE_IO_DATA, "100% %s literal");
  trace.PrintText(TRACE_IO_DATA, nullptr);
  {
    FunctionTrace outer("outer", 0, nullptr, TRACE_API);
    FunctionTrace inner("inner", 0, nullptr, TRACE_API);
    EXPECT_EQ(2, TraceDepth());
    trace.Print(TRACE_FLOW, "deep\nsecond");
  }
  const auto lines = NewLines();
  ASSERT_THAT(lines, SizeIs(12));
  EXPECT_EQ("value 5 of device", lines[0]);
  EXPECT_EQ("default abc", lines[1]);
  EXPECT_EQ("100% %s literal", lines[2]);
  EXPECT_EQ("", lines[3]);
  EXPECT_THAT(lines[4], MatchesRegex("\\+\\+\\+outer : .*"));
  EXPECT_THAT(lines[5], MatchesRegex("     \\+\\+\\+inner : .*"));
  EXPECT_EQ("          deep", lines[6]);
  EXPECT_EQ("second", lines[7]);
  EXPECT_THAT(lines[8], MatchesRegex("     ---inner : .*"));
  EXPECT_EQ("", lines[9]);
  trace.Print("%s", std::string(20000, 'm'));
  EXPECT_THAT(lines[10], MatchesRegex("---outer : .*"));
  EXPECT_EQ("", lines[11]);
  EXPECT_THAT(NewLines(), ElementsAre(std::string(16383, 'm')));  // cut there
}

TEST_F(TraceLogTest, EntryAndExitLinesTellTimeResultAndError) {
  const uint32_t begin = GlobalTrace().Elapsed(), tick = TheClock().TickCount();
  VirtualClock clock;
  clock.now = tick + 4711 - begin;
  const struct {
    uint32_t session, result, code;
    const char* expected;
  } cases[] = {
      {0x1A, 0, 0, " : SessionID=0x1a :  Returned 0x0, VelkanError=none (0): "},
      {0, 0x80040222, 12,
       " :  ERROR: Returned 0x80040222 (VELKAN_E_SCONF_FIREWALL), "
       "VelkanError=TERR_SCANNER_COMMUNICATION_FAILED (c): "},
      {0, 0x80004005, 0x3E7,
       " :  ERROR: Returned 0x80004005, VelkanError=error string not defined (3e7): "},
      {0, 0, 15, " :  Returned 0x0, VelkanError=TERR_SCANNER_END_OF_PAGE (f): "},
      {0, 1, 0xFFFF, " :  ERROR: Returned 0x1, VelkanError=error string not defined (ffff): "},
  };
  for (const auto& c : cases) {
    const std::string at = std::to_string(GlobalTrace().Elapsed());
    {
      FunctionTrace trace("m", c.session, &c.code, TRACE_API);
      clock.now += 90;
      trace.SetResult(static_cast<HRESULT>(c.result));
    }
    const auto lines = NewLines();
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(std::string("+++m : ") + (c.session ? "SessionID=0x1a : " : "") +
                  "11/7/2026 9:5:3.250, LogTick(ms):" + at,
              lines[0]);
    EXPECT_EQ(std::string("---m") + c.expected +
                  "LogTick(ms): " + std::to_string(GlobalTrace().Elapsed()) + ", Elapsed: 90ms",
              lines[1]);
  }
  { FunctionTrace trace("m", 0, nullptr, TRACE_API); }
  EXPECT_THAT(NewLines()[1], MatchesRegex("---m :  Returned 0x0: LogTick.*"));
}

TEST_F(TraceLogTest, OnlyFailedMethodsReachALogOfErrors) {
  Configure(1, 0x80000040, 1);
  GlobalTrace().ReloadSettings();
  const uint32_t good = 0, bad = 1;
  {
    FunctionTrace failed("failed", 0, nullptr, TRACE_API);
    failed.SetResult(E_FAIL);
    FunctionTrace coded("coded", 0, &bad, TRACE_API), fine("fine", 0, &good, TRACE_API);
  }
  EXPECT_THAT(NewLines(),
              ElementsAre(HasSubstr("     ---coded : "), "", HasSubstr("---failed :  ERROR:"), ""));
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

TEST_F(TraceLogTest, PendingLinesAreWrittenAtTheEnd) {
  {
    TraceLog trace;
    TraceLine* line = trace.BeginLine(TRACE_FLOW);
    ASSERT_TRUE(line);
    line->append("pending\n").append(1, '\0').append("behind the end");
    trace.PrintText(TRACE_FLOW, "first");
    TraceLine* ended = trace.BeginLine();
    ended->append("ended\n");
    trace.EndLine(ended, false);
    trace.EndLine(nullptr, false);
  }
  EXPECT_THAT(NewLines(), ElementsAre("first", "ended", "pending"));
}

TEST_F(TraceLogTest, RegistryIsReadAtReload) {
  TraceLog trace;
  const std::string other = place_.File("other.log");
  const auto set_file = [&](const std::string& path) {
    RegistryKey key;
    ASSERT_EQ(0u, RegistryKey::Open(RegistryRoot::kLocalMachine, kTestTraceKey,
                                    RegistryAccess::kReadWrite, &key));
    key.SetString("LogFile", path.c_str(), static_cast<uint32_t>(path.size()) + 1);
  };
  set_file(other);
  trace.PrintText(TRACE_FLOW, "old file");
  trace.ReloadSettings();
  trace.PrintText(TRACE_FLOW, "new file");
  EXPECT_THAT(NewLines(), ElementsAre("old file"));
  EXPECT_THAT(TraceLines(other), ElementsAre("new file"));
  // A path that does not fit counts as none; without one the file lies in the temporary folder.
  const std::string usual = TemporaryFolder();
  for (const char* name : {"TMPDIR", "TMP"}) SetEnvironment(name, place_.Folder());
  set_file(std::string(260, 'p'));
  trace.ReloadSettings();
  trace.PrintText(TRACE_FLOW, "temporary");
  for (const char* name : {"TMPDIR", "TMP"}) SetEnvironment(name, usual);
  EXPECT_THAT(TraceLines(place_.File("velkan.log")), ElementsAre("temporary"));
}

TEST_F(TraceLogTest, SwitchedOffWritesNothing) {
  TraceLog trace;
  const struct {
    uint32_t enabled, level, destination;
  } cases[] = {{0, 0xFFFFFFFF, 1}, {1, 0, 1}, {1, 0xFFFFFFFF, 0}};
  for (const auto& c : cases) {
    Configure(c.enabled, c.level, c.destination);
    trace.ReloadSettings();
    EXPECT_FALSE(trace.Passes(kError));
    EXPECT_EQ(nullptr, trace.BeginLine(kError));
    trace.Print(kError, "not written");
  }
  EXPECT_THAT(NewLines(), SizeIs(0));
}

TEST_F(TraceLogTest, UnwantedLinesAllocateNothing) {
  Configure(1, 0x80000040, 1);
  TraceLog trace;
  trace.ReloadSettings();
  const std::string text = "a text that is too long for the small buffer of a string";
  const int before = allocations;
  for (int i = 0; i < 100; ++i) {
    trace.Print(TRACE_FLOW, "%s %d", text, i);
    trace.PrintText(TRACE_FLOW, text.c_str());
    FunctionTrace function("scantk::Quiet", 1, nullptr, TRACE_API);
  }
  EXPECT_EQ(before, allocations);
}

TEST_F(TraceLogTest, WithoutMemoryTheLineIsLost) {
  TraceLog trace;
  refuse_memory = true;
  trace.Print(kError, "%ls", u"lost");
  trace.PrintText(kError, "lost");
  { FunctionTrace function("lost", 0, nullptr, TRACE_API); }
  trace.ReloadSettings();
  refuse_memory = false;
  trace.PrintText(kError, "kept");
  EXPECT_THAT(NewLines(), ElementsAre("kept"));
  EXPECT_EQ(0, TraceDepth());
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

TEST_F(TraceLogTest, CollectorGetsLinesOfEveryThread) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "the system's table wants objects with a marshaler";
  RegisterBuiltInClass(CLSID_LogCollector, TestCollector::Create);
  TestCollector& collector = TestCollector::Instance();
  collector.TakeCalls();
  Configure(1, 0xFFFFFFFF, 4);
  {
    TraceLog trace;
    trace.ReloadSettings();
    trace.PrintText(TRACE_FLOW, "here");
    std::thread([] {
      InitializeComponents();
      {
        TraceLog other;
        other.PrintText(TRACE_FLOW, "there");
      }
      UninitializeComponents();
    }).join();
    // One of the holder, one in the table, one of this trace object.
    EXPECT_EQ(3u, collector.references);
  }
  const auto calls = collector.TakeCalls();
  ASSERT_THAT(calls, SizeIs(2));
  EXPECT_EQ(ProcessId(), calls[0].process);
  EXPECT_TRUE(calls[0].text.ends_with("here\n"));
  EXPECT_TRUE(calls[1].text.ends_with("there\n"));
  for (const auto& call : calls) EXPECT_EQ(call.text.size() + 1, call.length);
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
