// The trace's other destination: what a debugger is shown.
#include <gtest/gtest.h>

#include <mutex>
#include <string>

#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

constexpr DWORD kDebugPrint = 0x40010006;
std::mutex g_mutex;
std::string g_shown;

LONG CALLBACK Listen(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kDebugPrint) return EXCEPTION_CONTINUE_SEARCH;
  std::lock_guard<std::mutex> lock(g_mutex);
  g_shown += reinterpret_cast<const char*>(record.ExceptionInformation[1]);
  return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(DebuggerTest, IsShownTheTrace) {
  Sandbox sandbox;
  sandbox.SwitchTraceOn(0xFFFFFFFF, 2);
  void* listener = AddVectoredExceptionHandler(1, Listen);
  {
    Toolkit toolkit;
    EXPECT_EQ(kInvalidSession, Call(toolkit.scanner, &IScanner::StartScan, 4711u));
  }
  RemoveVectoredExceptionHandler(listener);
  EXPECT_NE(std::string::npos, g_shown.find("+++scantk::StartScan : ")) << g_shown;
  EXPECT_NE(std::string::npos, g_shown.find("TERR_INVALID_SESSION")) << g_shown;
  EXPECT_TRUE(sandbox.TraceLines().empty()) << "the file was not asked for";
}

}  // namespace
}  // namespace scantk::test
