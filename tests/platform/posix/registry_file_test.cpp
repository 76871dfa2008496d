// The registry where it is files: shared by processes, users and the whole system.
#include "platform/stand_ins/registry_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/posix/file_lock.h"
#include "platform/registry_values.h"
#include "tests/diag/test_place.h"
#include "tests/doubles/test_clock.h"

namespace scantk {
namespace {

constexpr char kHead[] = "Windows Registry Editor Version 5.00\n\n";
constexpr auto kUser = RegistryRoot::kCurrentUser;
constexpr auto kMachine = RegistryRoot::kLocalMachine;
constexpr auto kRead = RegistryAccess::kRead;
constexpr auto kWrite = RegistryAccess::kReadWrite;
constexpr uid_t kOwner = 4711, kNobody = 65534;

// A text of the registry, or why there is none.
std::string Value(RegistryRoot root, const std::string& path, const char* name) {
  RegistryKey key;
  char text[64] = {};
  const uint32_t failure = RegistryKey::Open(root, path, kRead, &key);
  if (failure) return "error " + std::to_string(failure);
  return QueryText(key, name, text, sizeof text) ? text : "(none)";
}

uint32_t Store(RegistryRoot root, const std::string& path, const char* name, const char* text) {
  RegistryKey key;
  const uint32_t failure = RegistryKey::Create(root, path, &key, nullptr);
  return failure ? failure : key.SetString(name, text, static_cast<uint32_t>(std::strlen(text)));
}

// What `body` answers in a process of a user who owns nothing.
bool AsNobody(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    const bool nobody = getuid() != 0 || (setgid(kNobody) == 0 && setuid(kNobody) == 0);
    _exit(nobody && body() ? 0 : 1);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

class RegistryFileTest : public testing::Test {
 protected:
  RegistryFileTest() { chmod(place_.Folder().c_str(), 0777); }
  ~RegistryFileTest() override {
    unsetenv("SCANTK_SYSTEM_REGISTRY");
    unsetenv("XDG_CONFIG_HOME");
  }

  void Put(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  // Its rights and its owner, where that can be another one.
  std::string Status() const {
    struct stat status = {};
    EXPECT_EQ(0, stat(path_.c_str(), &status));
    const bool owned = status.st_uid == kOwner && status.st_gid == kOwner;
    return std::to_string(status.st_mode & 0777) + (owned || getuid() != 0 ? " owned" : " lost");
  }
  std::string System(const std::string& text) {
    std::string path = place_.File("system.reg");
    std::ofstream(path, std::ios::binary) << text;
    setenv("SCANTK_SYSTEM_REGISTRY", path.c_str(), 1);
    return path;
  }

  TestPlace place_;
  const std::string path_ = place_.File("registry.reg");
};

TEST_F(RegistryFileTest, NeverOverwritesWhatItCannotRead) {
  for (const std::string& damaged :
       {std::string("REGEDIT4\n\n[HKEY_CURRENT_USER\\K]\n"), std::string("\xFF\xFEW\0i", 5)}) {
    Put(damaged);
    testing::internal::CaptureStderr();
    RegistryKey key;
    EXPECT_EQ(RegistryKey::Create(kUser, "K", &key, nullptr), error::kBadFormat);
    EXPECT_EQ(RegistryKey::Open(kUser, "K", kWrite, &key), error::kBadFormat);
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(report.find(path_ + ":1: "), 0u) << report;
    EXPECT_EQ(report.find('\n'), report.size() - 1) << "told once: " << report;
    EXPECT_EQ(ReadWholeFile(path_), damaged);
  }
}

TEST_F(RegistryFileTest, RewritingKeepsOwnerModeAndLinks) {
  Put(kHead);
  chmod(path_.c_str(), 0640);
  EXPECT_EQ(chown(path_.c_str(), kOwner, kOwner) == 0, getuid() == 0);
  const std::string link = place_.File("link.reg"), second = place_.File("second.reg");
  ASSERT_EQ(symlink(path_.c_str(), link.c_str()), 0);
  setenv("SCANTK_REGISTRY", link.c_str(), 1);
  ASSERT_EQ(Store(kUser, "K", "", "a longer text"), 0u);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(Status(), std::to_string(0640) + " owned");
  ASSERT_EQ(::link(path_.c_str(), second.c_str()), 0);
  ASSERT_EQ(Store(kUser, "K", "", "short"), 0u);
  EXPECT_EQ(ReadWholeFile(second), std::string(kHead) + "\n[HKEY_CURRENT_USER\\K]\n@=\"short\"\n");
  // Another user who may write it becomes neither its owner, nor is shut out by a lock.
  std::filesystem::remove(second);
  chmod(path_.c_str(), 0666);
  EXPECT_TRUE(AsNobody([] { return Store(kUser, "K", "", "nobody's") == 0; }));
  EXPECT_EQ(Value(kUser, "K", ""), "nobody's");
  EXPECT_EQ(Status(), std::to_string(0666) + " owned");
  EXPECT_FALSE(std::filesystem::exists(path_ + ".lock") || std::filesystem::exists(path_ + ".new"));
}

TEST_F(RegistryFileTest, TheUsersFileLiesAboveTheSystems) {
  const std::string system =
      System(std::string(kHead) +
             "[HKEY_LOCAL_MACHINE\\C\\0000]\n\"A\"=\"system\"\n\"B\"=\"system\"\n"
             "[HKEY_CURRENT_USER\\K]\n@=\"system\"\n[HKEY_CLASSES_ROOT\\X]\n@=\"system\"\n");
  Put(std::string(kHead) +
      "[HKEY_LOCAL_MACHINE\\C\\0001]\n[HKEY_LOCAL_MACHINE\\C\\0000]\n"
      "\"A\"=\"user\"\n[HKEY_CURRENT_USER\\Software\\Classes\\X]\n@=\"user\"\n");
  EXPECT_EQ(Value(kMachine, "C\\0000", "A"), "user");
  EXPECT_EQ(Value(kMachine, "C\\0000", "B"), "system");
  RegistryKey key, root;
  std::string names, name;
  EXPECT_EQ(0u, RegistryKey::Open(kMachine, "c", kRead, &key));
  EXPECT_EQ(key.SetDword("n", 1), error::kAccessDenied) << "opened for reading";
  for (uint32_t i = 0; key.EnumerateSubkey(i, &name) == 0; ++i) names += name + " ";
  EXPECT_EQ(names, "0001 0000 ");
  EXPECT_EQ(Value(kUser, "K", ""), "error 2") << "nobody's but the user's own";
  EXPECT_EQ(Value(RegistryRoot::kClassesRoot, "X", ""), "user");
  EXPECT_EQ(Store(kMachine, "C\\0000", "B", "written"), 0u);
  EXPECT_EQ(Value(kMachine, "C\\0000", "B"), "written");
  ASSERT_EQ(RegistryKey::Open(kMachine, "", kWrite, &root), 0u);
  EXPECT_EQ(root.DeleteSubtree("C"), 0u);
  EXPECT_EQ(Value(kMachine, "C\\0000", "B"), "system") << "the system's file is not the user's";
  unsetenv("SCANTK_SYSTEM_REGISTRY");
  EXPECT_EQ(Value(kMachine, "C\\0000", "B"), "error 2") << "a registry of its own is alone";
  testing::internal::CaptureStderr();
  System("no registry");
  EXPECT_EQ(Store(kMachine, "C", "", "x"), 0u) << "the user need not bear the system's damage";
  EXPECT_EQ(testing::internal::GetCapturedStderr().find(system + ":1: "), 0u);
}

TEST_F(RegistryFileTest, PerUserKeysWorkWhereTheRegistryMayNotBeWritten) {
  Put(std::string(kHead) + "[HKEY_LOCAL_MACHINE\\C]\n[HKEY_CURRENT_USER\\K]\n@=\"other\"\n");
  chmod(path_.c_str(), 0444);
  const std::string config = place_.File("config"), nowhere = place_.File("none");
  setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  EXPECT_TRUE(AsNobody([&] {
    RegistryKey key;
    return RegistryKey::Open(kMachine, "C", kRead, &key) == 0 &&
           RegistryKey::Open(kMachine, "C", kWrite, &key) == error::kAccessDenied &&
           Store(kMachine, "C", "", "x") == error::kAccessDenied &&
           Value(kUser, "K", "") != "other" && Store(kUser, "K", "", "mine") == 0 &&
           Value(kUser, "K", "") == "mine";
  }));
  EXPECT_NE(ReadWholeFile(config + "/scantk/registry.reg").find("\"mine\""), std::string::npos);
  // Where no file can be had either, the key is there and its writes fail.
  mkdir(nowhere.c_str(), 0555);
  setenv("XDG_CONFIG_HOME", nowhere.c_str(), 1);
  EXPECT_TRUE(AsNobody([&] {
    RegistryKey key, below;
    return RegistryKey::Create(kUser, "K", &key, nullptr) == 0 && key.SetDword("N", 1) != 0 &&
           key.CreateSubkey("below", kWrite, &below, nullptr) == 0 && below.SetDword("N", 1) != 0;
  }));
}

TEST_F(RegistryFileTest, ALockThatIsKeptIsNotWaitedForWithoutEnd) {
  Put(kHead);
  TestClock clock;
  File lock = OpenLockFile(path_ + ".lock");
  ASSERT_EQ(0, TryLock(lock.Get(), F_WRLCK, 0, 0));
  for (const uint32_t limit : {5000u, 100u}) {
    const uint32_t start = clock.ticks;
    EXPECT_EQ(Store(kMachine, "K", "", "x"), error::kTimeout);
    EXPECT_TRUE(clock.ticks - start >= limit && clock.ticks - start <= limit + 20);
  }
  EXPECT_EQ(Value(kMachine, "K", ""), "error 2") << "readers do not wait";
  lock.Reset();
  EXPECT_EQ(Store(kMachine, "K", "", "x"), 0u);
}

TEST_F(RegistryFileTest, AKilledWriterLeavesAWholeFile) {
  for (useconds_t round = 0; round < 6; ++round) {
    const std::string prefix(1, static_cast<char>('a' + round));
    std::string error, line;
    auto writer = ChildProcess::Start(SCANTK_HELPER, {"write", "K", prefix, "100000"}, &error);
    ASSERT_TRUE(writer && writer->ReadLine(60000, &line)) << error;
    usleep(7000 * round);
    writer.reset();
    const RegistryText text(ReadWholeFile(path_));
    ASSERT_TRUE(text.IsRegistry() && text.Reports().empty());
  }
  // The first values are all there, and the dead writers hold no lock.
  for (const char* name : {"a0", "b0", "c0", "d0", "e0", "f0"})
    EXPECT_NE(Value(kUser, "K", name), "(none)") << name;
  EXPECT_EQ(Store(kUser, "K", "last", "x"), 0u);
}

TEST_F(RegistryFileTest, RegisteredComponentsComeBeforeBuiltInOnes) {
  const GUID clsid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  const std::string server = "CLSID\\" + GuidText(clsid) + "\\InprocServer32";
  void* object = nullptr;
  EXPECT_EQ(CreateComponent(clsid, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
  RegisterBuiltInClass(clsid, [](const GUID& iid, void** made) {
    *made = const_cast<GUID*>(&iid);
    return S_FALSE;
  });
  EXPECT_EQ(CreateComponent(clsid, IID_IUnknown, &object), S_FALSE);
  // The classes are one tree over three places.
  ASSERT_EQ(Store(kUser, "Software\\Classes\\" + server, "", "/no/such/library.so"), 0u);
  EXPECT_EQ(CreateComponent(clsid, IID_IUnknown, &object), static_cast<HRESULT>(0x8007007E));
  ASSERT_EQ(Store(kMachine, "SOFTWARE\\Classes\\" + server, "", "machine"), 0u);
  EXPECT_EQ(Value(RegistryRoot::kClassesRoot, server, ""), "machine");
  ASSERT_EQ(Store(RegistryRoot::kClassesRoot, server, "", "root"), 0u);
  EXPECT_EQ(Value(RegistryRoot::kClassesRoot, server, ""), "root");
}

// A program with the rights of somebody else does not let its caller choose the libraries it opens.
TEST_F(RegistryFileTest, RaisedPrivilegesBelieveTheSystemAlone) {
  Put(std::string(kHead) + "[HKEY_LOCAL_MACHINE\\C]\n@=\"chosen\"\n");
  const std::string program = place_.File("raised");
  std::filesystem::copy_file(SCANTK_HELPER, program);
  if (chown(program.c_str(), kOwner, kOwner) != 0 || chmod(program.c_str(), 06755) != 0)
    GTEST_SKIP() << "only root can give a program away";
  std::string error, line;
  auto ordinary = ChildProcess::Start(SCANTK_HELPER, {"value", "C"}, &error);
  ASSERT_TRUE(ordinary && ordinary->ReadLine(60000, &line)) << error;
  EXPECT_EQ(line, "chosen");
  auto raised = ChildProcess::Start(program, {"value", "C"}, &error);
  ASSERT_TRUE(raised && raised->ReadLine(60000, &line)) << error;
  EXPECT_EQ(line, "none");
}

}  // namespace
}  // namespace scantk
