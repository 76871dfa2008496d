// Child processes and Ctrl-C, with the shell as the child.
#include "platform/console.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

namespace scantk {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

std::unique_ptr<ChildProcess> Shell(const std::string& script) {
  std::string error;
  auto child = ChildProcess::Start("/bin/sh", {"-c", script}, &error);
  EXPECT_TRUE(child) << error;
  return child;
}

bool Alive(const std::string& id) {
  return kill(std::atoi(id.c_str()), 0) == 0;
}

TEST(ChildProcess, LinesComeOneByOne) {
  const auto child = Shell("echo one; echo; printf 'tw'; sleep 0.1; echo o; printf rest");
  std::string line;
  for (const char* wanted : {"one", "", "two"}) {
    ASSERT_TRUE(child->ReadLine(5000, &line));
    EXPECT_EQ(line, wanted);
  }
  EXPECT_FALSE(child->ReadLine(5000, &line)) << "the end, and no whole line";
}

TEST(ChildProcess, SilenceEndsTheWait) {
  const auto child = Shell("exec sleep 60");
  std::string line;
  const auto start = Clock::now();
  EXPECT_FALSE(child->ReadLine(50, &line));
  EXPECT_GE(Clock::now() - start, milliseconds(50));
  EXPECT_LT(Clock::now() - start, milliseconds(2000));
}

TEST(ChildProcess, DoesNotOutliveItsOwner) {
  for (const char* script :
       {"echo $$; exec sleep 60", "trap '' TERM; echo $$; while :; do :; done"}) {
    std::string id;
    {
      const auto child = Shell(script);
      ASSERT_TRUE(child->ReadLine(5000, &id));
      EXPECT_TRUE(Alive(id));
    }
    EXPECT_FALSE(Alive(id)) << script;
  }
}

TEST(ChildProcess, AMissingProgramSaysNothing) {
  std::string error;
  std::string line;
  const auto child = ChildProcess::Start("/no/such/program", {}, &error);
  EXPECT_TRUE(!child || !child->ReadLine(5000, &line));
}

TEST(InterruptWatch, NotesTheFirstSignalAlone) {
  EXPECT_EXIT(
      {
        {
          const InterruptWatch watch;
          if (InterruptWatch::Status() != 0) std::exit(1);
          raise(SIGINT);
          if (InterruptWatch::Status() != 130) std::exit(2);
        }
        {
          const InterruptWatch watch;
          if (InterruptWatch::Status() != 0) std::exit(3);
          raise(SIGTERM);
          if (InterruptWatch::Status() != 143) std::exit(4);
        }
        raise(SIGTERM);
        std::exit(5);
      },
      testing::KilledBySignal(SIGTERM), "");
  EXPECT_EXIT(
      {
        const InterruptWatch watch;
        raise(SIGINT);
        raise(SIGINT);
        std::exit(1);
      },
      testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace scantk
