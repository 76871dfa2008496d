// A process that forks while it holds a scanner: the child is another process and holds nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "diag/scanner_lock.h"
#include "tests/diag/trace_fixture.h"

namespace scantk {
namespace {

class ForkTest : public TraceFixture {};

TEST_F(ForkTest, AChildDoesNotReleaseItsParentsLock) {
  const std::string device = "\\\\.\\fork" + std::to_string(getpid());
  CScannerLock lock(device.c_str()), rival(device.c_str());
  ASSERT_TRUE(lock.Lock(CScannerLock::kProcess, 0));
  NewLines();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(lock.Unlock() ? 1 : 0);
  int status = -1;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_EQ(0, status);
  EXPECT_THAT(NewLines(), testing::Contains(testing::HasSubstr("doesn't match lock PID")));
  EXPECT_FALSE(rival.Lock(CScannerLock::kProcess, 0));
  EXPECT_TRUE(lock.Unlock());
  EXPECT_TRUE(rival.Lock(CScannerLock::kProcess, 0));
  EXPECT_TRUE(rival.Unlock());
}

}  // namespace
}  // namespace scantk
