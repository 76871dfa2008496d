// What only this system's semaphores promise: they are files that outlive nobody, for every user.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "platform/posix/file_lock.h"
#include "platform/semaphore.h"
#include "tests/diag/test_place.h"
#include "tests/doubles/test_clock.h"

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

TEST(SemaphoreFileTest, FilesAreForEveryUserAndGoWithTheLast) {
  const std::string name = Name("mode");
  const mode_t old = umask(077);
  NamedSemaphore first = Make(name), second = Make(name);
  umask(old);
  struct stat status;
  {
    TestClock clock;
    const uint32_t start = clock.ticks;
    EXPECT_EQ(first.Wait(0), WaitResult::kSignalled);
    EXPECT_EQ(second.Wait(200), WaitResult::kTimeout);
    EXPECT_EQ(clock.ticks - start, 200u);
  }
  ASSERT_EQ(stat(LockFile(name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0666u);
  ASSERT_EQ(stat("/dev/shm/scantk", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 01777u);
  first = NamedSemaphore();
  EXPECT_EQ(stat(LockFile(name).c_str(), &status), 0) << "the second still has it";
  // A forked child shares the file and leaves it alone.
  const pid_t child = fork();
  if (child == 0) {
    second = NamedSemaphore();
    _exit(0);
  }
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(stat(LockFile(name).c_str(), &status), 0) << "the parent still has it";
  second = NamedSemaphore();
  EXPECT_NE(stat(LockFile(name).c_str(), &status), 0);
}

// Catches one that is opened while its file goes, and excludes nobody from then on.
TEST(SemaphoreFileTest, AFileThatGoesTakesNobodyWithIt) {
  const std::string name = Name("race"), path = LockFile(name);
  const auto opened = [&] {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      count += std::filesystem::read_symlink(entry, gone) == path;
    }
    return count;
  };
  NamedSemaphore keeper = Make(Name("folder")), first;
  {
    const File leaving = OpenLockFile(path);
    ASSERT_EQ(TryLock(leaving.Get(), F_WRLCK, 1, 1), 0);
    std::thread opener([&] { first = Make(name); });
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (opened() < 2 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    unlink(path.c_str());
    TryLock(leaving.Get(), F_UNLCK, 1, 1);
    opener.join();
  }
  EXPECT_EQ(first.Wait(0), WaitResult::kSignalled);
  EXPECT_EQ(Make(name).Wait(0), WaitResult::kTimeout);
}

// In a process that sees a shared folder of its own, which belongs to somebody else.
TEST(SemaphoreFileTest, SomebodysOwnFolderKeepsNobodyOut) {
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
