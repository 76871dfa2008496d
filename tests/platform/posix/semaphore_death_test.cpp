// What only this system's semaphores promise: they are files that outlive nobody, for every user.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/clock.h"
#include "platform/semaphore.h"
#include "tests/diag/test_place.h"

namespace scantk {
namespace {

std::string Name(const std::string& stem) {
  return "scantk-" + stem + "-" + std::to_string(ProcessId());
}
NamedSemaphore Make(const std::string& name) {
  return NamedSemaphore::CreateOrOpen("Global\\" + name, nullptr);
}
std::string LockFile(const std::string& name) {
  return "/dev/shm/scantk/g-" + name;
}

TEST(SemaphoreDeathTest, AKilledHolderGivesItBackAtOnce) {
  const std::string name = Name("death");
  std::string error, line;
  auto holder = ChildProcess::Start(SCANTK_HELPER, {"hold", "Global\\" + name}, &error);
  ASSERT_TRUE(holder && holder->ReadLine(60000, &line) && line == "held") << error;
  NamedSemaphore semaphore = Make(name);
  EXPECT_EQ(semaphore.Wait(50), WaitResult::kTimeout);
  holder.reset();
  EXPECT_EQ(semaphore.Wait(0), WaitResult::kSignalled);
}

TEST(SemaphoreDeathTest, LockFilesAreForEveryUserAndGoWithTheLast) {
  const std::string name = Name("mode"), longest = Name("long") + std::string(200, '%');
  const mode_t old = umask(077);
  NamedSemaphore first = Make(name), second = Make(name);
  umask(old);
  struct stat status;
  ASSERT_EQ(stat(LockFile(name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666u);
  ASSERT_EQ(stat("/dev/shm/scantk", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 01777u);
  // A forked child shares the files and leaves them alone.
  const pid_t child = fork();
  if (child == 0) {
    first = NamedSemaphore();
    second = NamedSemaphore();
    _exit(0);
  }
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  first = NamedSemaphore();
  EXPECT_EQ(stat(LockFile(name).c_str(), &status), 0) << "the second still has it";
  second = NamedSemaphore();
  EXPECT_NE(stat(LockFile(name).c_str(), &status), 0);
  NamedSemaphore kept = Make(longest), other = Make(longest.substr(1) + "x");
  EXPECT_EQ(kept.Wait(0), WaitResult::kSignalled);
  EXPECT_EQ(other.Wait(0), WaitResult::kSignalled);
  EXPECT_EQ(Make(longest).Wait(0), WaitResult::kTimeout);
}

// Openings and closings that race must agree on one file, or two would hold it at once.
TEST(SemaphoreDeathTest, AFileThatGoesTakesNobodyWithIt) {
  const std::string name = Name("race");
  std::atomic<int> inside = 0, worst = 0, taken = 0;
  const auto work = [&] {
    for (int round = 0; round < 400; ++round) {
      NamedSemaphore semaphore = Make(name);
      ASSERT_EQ(semaphore.Wait(60000), WaitResult::kSignalled);
      worst = std::max(worst.load(), ++inside);
      ++taken;
      --inside;
    }
  };
  std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work)};
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(worst, 1);
  EXPECT_EQ(taken, 1200);
  EXPECT_FALSE(std::filesystem::exists(LockFile(name)));
}

// In a process that sees a shared folder of its own, which belongs to somebody else.
TEST(SemaphoreDeathTest, SomebodysOwnFolderKeepsNobodyOut) {
  const std::string name = Name("foreign");
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        mount("none", "/dev/shm", "tmpfs", 0, nullptr) || mkdir("/dev/shm/scantk", 0700) ||
        chown("/dev/shm/scantk", 4711, 4711) || mkdir("/dev/shm/scantk/theirs", 0700))
      _exit(2);
    NamedSemaphore ours = Make(name);
    const bool elsewhere = std::filesystem::exists("/tmp/scantk/g-" + name);
    if (setuid(65534) != 0) _exit(2);
    _exit(elsewhere && ours.Wait(0) == WaitResult::kSignalled &&
                  Make(name).Wait(0) == WaitResult::kTimeout
              ? 0
              : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "only root can see a folder of its own";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace scantk
