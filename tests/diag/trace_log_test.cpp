#include "diag/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "diag/function_trace.h"
#include "diag/trace_file_lock.h"
#include "platform/clock.h"
#include "platform/component.h"
#include "tests/diag/memory_watch.h"
#include "tests/diag/test_collector.h"
#include "tests/diag/trace_fixture.h"

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
      {0, 0, false},
      // The default level: errors only, of any category.
      {0x80000040, kError, true},
      {0x80000040, kError | TRACE_LOCK, true},
      {0x80000040, kError | kInfo | TRACE_API, true},
      {0x80000040, TRACE_INFO, false},
      {0x80000040, kInfo | TRACE_INFO, false},
      // A mask without a class is information, one without a category is flow.
      {kInfo | TRACE_INFO, TRACE_INFO, true},
      {kInfo | TRACE_INFO, kInfo | TRACE_INFO, true},
      {kInfo | TRACE_FLOW, 0, true},
      {kInfo | TRACE_INFO, 0, false},
      {kInfo | TRACE_FLOW, kInfo, true},
      {TRACE_FLOW, 0, false},
      // Several categories, all of them.
      {kInfo | TRACE_API, TRACE_API | TRACE_LOCK, false},
      {kInfo | TRACE_API | TRACE_LOCK, TRACE_API | TRACE_LOCK, true},
      // Warnings need their class; without it an error needs nothing but its own.
      {kInfo | TRACE_LOCK, kWarning | TRACE_LOCK, false},
      {kWarning | TRACE_LOCK, kWarning | TRACE_LOCK, true},
      {kInfo | 0x0FFFFFFF, kError | TRACE_LOCK, false},
      {0xFFFFFFFF, 0x0FFFFFFF, true},
      // The fourth class bit, which no line of ours uses.
      {kInfo | TRACE_API, 0x40000000 | TRACE_API, false},
      {0x40000000 | TRACE_API, 0x40000000 | TRACE_API, true},
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
  EXPECT_THAT(lines[10], MatchesRegex("---outer : .*"));
  EXPECT_EQ("", lines[11]);
}

TEST_F(TraceLogTest, LongMessagesAreCut) {
  TraceLog trace;
  trace.Print("%s", std::string(20000, 'm'));
  EXPECT_THAT(NewLines(), ElementsAre(std::string(16383, 'm')));
}

TEST_F(TraceLogTest, EntryLineTellsTheTime) {
  class FixedClock final : public Clock {
   public:
    uint32_t TickCount() override { return tick; }
    int64_t SecondsSince1970() override { return 0; }
    LocalTime Now() override { return {2026, 11, 7, 9, 5, 3, 250}; }
    void Sleep(uint32_t) override {}
    uint32_t tick = TheClock().TickCount();
  } clock;
  const uint32_t begin = GlobalTrace().Elapsed();
  SetClock(&clock);
  {
    const uint32_t code = 0;
    clock.tick += 4711 - begin;
    const uint32_t at = GlobalTrace().Elapsed();
    FunctionTrace trace("scantk::LampOn", 0x1A, &code, TRACE_API);
    clock.tick += 89;
    EXPECT_THAT(NewLines(), ElementsAre("+++scantk::LampOn : SessionID=0x1a : 11/7/2026 9:5:3.250, "
                                        "LogTick(ms):" +
                                        std::to_string(at)));
    clock.tick += 1;
  }
  const std::string exit_tick = std::to_string(GlobalTrace().Elapsed());
  SetClock(nullptr);
  EXPECT_THAT(NewLines(),
              ElementsAre("---scantk::LampOn : SessionID=0x1a :  Returned 0x0, VelkanError=none "
                          "(0): LogTick(ms): " +
                              exit_tick + ", Elapsed: 90ms",
                          ""));
}

TEST_F(TraceLogTest, ExitLineNamesResultAndError) {
  const struct {
    uint32_t session;
    HRESULT result;
    const uint32_t* code;
    const char* expected;
  } cases[] = {
      {1, S_OK, new uint32_t(0), " : SessionID=0x1 :  Returned 0x0, VelkanError=none (0): "},
      {1, E_FAIL, new uint32_t(12),
       " : SessionID=0x1 :  ERROR: Returned 0x80004005, "
       "VelkanError=TERR_SCANNER_COMMUNICATION_FAILED (c): "},
      {0, static_cast<HRESULT>(0x80040222), new uint32_t(12),
       " :  ERROR: Returned 0x80040222 (VELKAN_E_SCONF_FIREWALL), "
       "VelkanError=TERR_SCANNER_COMMUNICATION_FAILED (c): "},
      {0, static_cast<HRESULT>(0x80040222), nullptr, " :  ERROR: Returned 0x80040222: "},
      {0, S_OK, new uint32_t(15), " :  Returned 0x0, VelkanError=TERR_SCANNER_END_OF_PAGE (f): "},
      {0, E_FAIL, new uint32_t(0x3E7),
       " :  ERROR: Returned 0x80004005, VelkanError=error string not defined (3e7): "},
      {0, S_OK, new uint32_t(0xFFFF),
       " :  Returned 0x0, VelkanError=error string not defined (ffff): "},
      {0, E_POINTER, nullptr, " :  ERROR: Returned 0x80004003: "},
      {0, S_FALSE, nullptr, " :  ERROR: Returned 0x1: "},
  };
  for (const auto& c : cases) {
    {
      FunctionTrace trace("m", c.session, c.code, TRACE_API);
      trace.SetResult(c.result);
      EXPECT_EQ(c.result, trace.GetResult());
    }
    const auto lines = NewLines();
    ASSERT_THAT(lines, SizeIs(3));
    const std::string head = std::string("---m") + c.expected + "LogTick(ms): ";
    EXPECT_EQ(head, lines[1].substr(0, head.size()));
    EXPECT_THAT(lines[1], MatchesRegex(".*LogTick.ms.: \\w+, Elapsed: \\w+ms"));
    delete c.code;
  }
}

TEST_F(TraceLogTest, OnlyFailedMethodsReachALogOfErrors) {
  Configure(1, 0x80000040, 1);
  GlobalTrace().ReloadSettings();
  const uint32_t good = 0, bad = 1;
  {
    FunctionTrace failed("failed", 0, nullptr, TRACE_API);
    failed.SetResult(E_FAIL);
    FunctionTrace coded("coded", 0, &bad, TRACE_API);
    FunctionTrace fine("fine", 0, &good, TRACE_API);
  }
  const auto lines = NewLines();
  ASSERT_THAT(lines, SizeIs(4));
  EXPECT_THAT(lines[0], HasSubstr("     ---coded : "));
  EXPECT_THAT(lines[2], HasSubstr("---failed :  ERROR:"));
}

TEST_F(TraceLogTest, BannerLeadsTheFirstLineOfAThread) {
  TraceLog trace;
  trace.PrintText(TRACE_FLOW, "mine");
  NewLines();
  const size_t before = TraceLines(TracePath()).size();
  uint32_t thread_id = 0;
  std::thread([&] {
    thread_id = ThreadId();
    trace.PrintText(TRACE_FLOW, "other's");
    trace.PrintText(TRACE_FLOW, "other's again");
  }).join();
  auto lines = TraceLines(TracePath());
  lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(before));
  char identity[64];
  const TraceArg args[] = {ProcessId(), thread_id};
  FormatTrace(identity, sizeof identity, "PID=0x%x(|TID=0x%x", args, 2);
  const std::string both = identity;
  const size_t bar = both.find('|');
  const std::string stars(34, '*');
  EXPECT_THAT(lines, ElementsAre("", stars,
                                 "**** " + both.substr(0, bar) + ExecutablePath() + "), " +
                                     both.substr(bar + 1) + " ****",
                                 stars, "", "other's", "other's again"));
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
}

TEST_F(TraceLogTest, WithoutACollectorTheOtherDestinationsWork) {
  RegisterBuiltInClass(CLSID_LogCollector,
                       [](const GUID&, void**) -> HRESULT { return REGDB_E_CLASSNOTREG; });
  Configure(1, 0xFFFFFFFF, 5);
  TraceLog trace;
  trace.ReloadSettings();
  trace.PrintText(TRACE_FLOW, "in the file");
  EXPECT_THAT(NewLines(), ElementsAre("in the file"));
}

TEST_F(TraceLogTest, ThreadsShareOneTraceObject) {
  constexpr int kLines = 200;
  TraceLog trace;
  const auto write = [&](const char* name) {
    for (int i = 0; i < kLines; ++i) trace.Print(TRACE_FLOW, "%s %d", name, i);
  };
  std::thread a(write, "a");
  std::thread b(write, "b");
  a.join();
  b.join();
  int next_a = 0, next_b = 0;
  for (const std::string& line : NewLines()) {
    const int expected = line[0] == 'a' ? next_a++ : next_b++;
    EXPECT_EQ(line.substr(1), " " + std::to_string(expected));
  }
  EXPECT_EQ(kLines, next_a);
  EXPECT_EQ(kLines, next_b);
}

TEST_F(TraceLogTest, ProcessesShareOneFile) {
  constexpr int kLines = 300;
  std::string error;
  const std::vector<std::string> arguments[] = {{"trace", "a", std::to_string(kLines)},
                                                {"trace", "b", std::to_string(kLines)}};
  std::vector<std::unique_ptr<ChildProcess>> children;
  for (const auto& list : arguments) {
    children.push_back(ChildProcess::Start(NeighbourProgram("diag_child"), list, &error));
    ASSERT_TRUE(children.back()) << error;
  }
  for (auto& child : children) {
    std::string line;
    ASSERT_TRUE(child->ReadLine(60000, &line));
    EXPECT_EQ("written", line);
  }
  int next_a = 0, next_b = 0;
  for (const std::string& line : NewLines()) {
    ASSERT_THAT(line, MatchesRegex("\\w \\w+ x*"));
    int& next = line[0] == 'a' ? next_a : next_b;
    EXPECT_EQ(line.substr(0, line.find_last_of(' ')),
              std::string(1, line[0]) + " " + std::to_string(next));
    ++next;
  }
  EXPECT_EQ(kLines, next_a);
  EXPECT_EQ(kLines, next_b);
}

// In a process of its own, whose module's trace object has not asked for anything yet.
TEST_F(TraceLogTest, HolderLivesFromTheFirstNamedUserToTheLast) {
  std::string error;
  auto child = ChildProcess::Start(NeighbourProgram("diag_child"), {"holder"}, &error);
  ASSERT_TRUE(child) << error;
  std::string facts;
  ASSERT_TRUE(child->ReadLine(60000, &facts));
  EXPECT_EQ("before=0 null=0 other=1 late=1 kept=1 gone=0 again=1", facts);
  EXPECT_THAT(NewLines(), ElementsAre("late", "kept", "again"));
}

}  // namespace
}  // namespace scantk
