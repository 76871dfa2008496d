// The trace that a host's registry switches on: a text file for people, shared between processes.
#include <gtest/gtest.h>

#include <thread>

#include "platform/system.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {
namespace {

class TraceTest : public ::testing::Test {
 protected:
  // A call that reads the settings again and is traced, on a thread whose first line it is.
  static void CallOnNewThread(const Toolkit& toolkit) {
    std::thread([&] {
      EXPECT_EQ(kInvalidSession, Call(toolkit.scanner, &IScanner::StartScan, 4711u));
    }).join();
  }

  Sandbox sandbox;
};

TEST_F(TraceTest, FileHasLinesEndingInCrLfAndABannerForEachThread) {
  sandbox.SwitchTraceOn();
  Toolkit toolkit;
  CallOnNewThread(toolkit);
  const std::string text = sandbox.Trace();
  ASSERT_FALSE(text.empty());
  for (size_t at = 0; at < text.size(); ++at)
    ASSERT_EQ(text[at] == '\n', at > 0 && text[at - 1] == '\r') << "at byte " << at;
  const size_t banner = text.find("**** PID=0x");
  ASSERT_NE(std::string::npos, banner);
  const std::string line = text.substr(banner, text.find('\r', banner) - banner);
  EXPECT_NE(std::string::npos, line.find("(" + ExecutablePath() + "), TID=0x")) << line;
  EXPECT_TRUE(line.ends_with(" ****")) << line;
  EXPECT_TRUE(sandbox.Traced("+++scantk::StartScan : ")) << text;
  EXPECT_TRUE(sandbox.Traced("Returned 0x80004005, VelkanError=TERR_INVALID_SESSION (1)")) << text;
}

}  // namespace
}  // namespace scantk::test
