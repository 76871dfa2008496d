#include "platform/posix/registry_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/registry.h"
#include "tests/platform/scratch.h"

namespace scantk {
namespace {

constexpr char kHead[] = "Windows Registry Editor Version 5.00\n\n";

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class RegistryFileTest : public testing::Test {
 protected:
  void SetUp() override {
    path_ = folder_.Path() + "/registry.reg";
    setenv("SCANTK_REGISTRY", path_.c_str(), 1);
  }
  void TearDown() override { unsetenv("SCANTK_REGISTRY"); }

  void Put(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }

  // The default value of a class, through the classes' root.
  std::string ClassDefault(const std::string& path) {
    RegistryKey key;
    char text[64] = {};
    uint32_t size = sizeof text;
    const uint32_t opened =
        RegistryKey::Open(RegistryRoot::kClassesRoot, path, RegistryAccess::kRead, &key);
    return opened == 0 && key.QueryValue("", nullptr, text, &size) == 0 ? text : "(none)";
  }

  ScratchFolder folder_;
  std::string path_;
};

TEST_F(RegistryFileTest, ReadsChangesThatOthersMadeAtOnce) {
  RegistryKey key;
  EXPECT_EQ(RegistryKey::OpenImagingClass(&key), error::kFileNotFound);
  for (int i = 1; i <= 20; ++i) {
    // The same length each time, and faster than time stamps tell apart.
    Put(std::string(kHead) + "[HKEY_CURRENT_USER\\K]\n\"N\"=dword:000000" + std::to_string(10 + i) +
        "\n");
    uint32_t number = 0, size = 4;
    ASSERT_EQ(RegistryKey::Open(RegistryRoot::kCurrentUser, "k", RegistryAccess::kRead, &key), 0u);
    ASSERT_EQ(key.QueryValue("n", nullptr, &number, &size), 0u);
    EXPECT_EQ(number, std::strtoul(std::to_string(10 + i).c_str(), nullptr, 16));
  }
  EXPECT_EQ(key.SetDword("n", 1), error::kAccessDenied) << "opened for reading";
}

TEST_F(RegistryFileTest, NeverOverwritesWhatItCannotRead) {
  for (const std::string& damaged :
       {std::string("REGEDIT4\n\n[HKEY_CURRENT_USER\\K]\n"), std::string("\xFF\xFEW\0i", 5)}) {
    Put(damaged);
    testing::internal::CaptureStderr();
    RegistryKey key;
    EXPECT_EQ(RegistryKey::Create(RegistryRoot::kCurrentUser, "K", &key, nullptr),
              error::kBadFormat);
    EXPECT_EQ(RegistryKey::Open(RegistryRoot::kCurrentUser, "K", RegistryAccess::kReadWrite, &key),
              error::kBadFormat);
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(report.find(path_ + ":1: "), 0u) << report;
    EXPECT_EQ(report.find('\n'), report.size() - 1) << "told once: " << report;
    EXPECT_EQ(Contents(path_), damaged);
  }
}

TEST_F(RegistryFileTest, KeepsModeAndLink) {
  Put(kHead);
  chmod(path_.c_str(), 0640);
  const std::string link = folder_.Path() + "/link.reg";
  ASSERT_EQ(symlink(path_.c_str(), link.c_str()), 0);
  setenv("SCANTK_REGISTRY", link.c_str(), 1);
  RegistryKey key;
  ASSERT_EQ(RegistryKey::Create(RegistryRoot::kCurrentUser, "K", &key, nullptr), 0u);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
  EXPECT_EQ(Contents(path_), std::string(kHead) + "\n[HKEY_CURRENT_USER\\K]\n");
}

TEST_F(RegistryFileTest, AFailedWriteLeavesTheOldFile) {
  setenv("SCANTK_REGISTRY", "/proc/scantk/registry.reg", 1);
  RegistryKey key;
  EXPECT_NE(RegistryKey::Create(RegistryRoot::kCurrentUser, "K", &key, nullptr), 0u);
  EXPECT_FALSE(key.IsOpen());
}

TEST_F(RegistryFileTest, AKilledWriterLeavesAWholeFile) {
  for (int round = 0; round < 8; ++round) {
    const std::string prefix(1, static_cast<char>('a' + round));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t id = fork();
    if (id == 0) {
      dup2(ends[1], STDOUT_FILENO);
      execl(PLATFORM_PEER, PLATFORM_PEER, "write", "K", prefix.c_str(), "100000", nullptr);
      _exit(1);
    }
    char word[8];
    ASSERT_EQ(read(ends[0], word, sizeof word), 8);  // it wrote its first value
    close(ends[0]);
    close(ends[1]);
    usleep(7000 * static_cast<useconds_t>(round));
    kill(id, SIGKILL);
    ASSERT_EQ(waitpid(id, nullptr, 0), id);
    const RegistryText text(Contents(path_));
    ASSERT_TRUE(text.IsRegistry());
    EXPECT_TRUE(text.Reports().empty());
  }
  // The first values are all there, and the dead writers hold no lock.
  RegistryKey key;
  ASSERT_EQ(RegistryKey::Create(RegistryRoot::kCurrentUser, "K", &key, nullptr), 0u);
  EXPECT_EQ(key.SetDword("last", 1), 0u);
  for (const char* name : {"a0", "b0", "c0", "d0", "e0", "f0", "g0", "h0"}) {
    EXPECT_EQ(key.QueryValue(name, nullptr, nullptr, nullptr), 0u) << name;
  }
  size_t files = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder_.Path())) {
    files += file.is_regular_file();
  }
  EXPECT_EQ(files, 2u) << "the registry and its lock";
}

TEST_F(RegistryFileTest, ClassesAreOneTreeOverThreePlaces) {
  Put(std::string(kHead) +
      "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{1}]\n@=\"machine\"\n"
      "[HKEY_CURRENT_USER\\Software\\Classes\\CLSID\\{1}]\n@=\"user\"\n"
      "[HKEY_CURRENT_USER\\Software\\Classes\\CLSID\\{2}]\n@=\"user\"\n");
  EXPECT_EQ(ClassDefault("CLSID\\{1}"), "machine");
  EXPECT_EQ(ClassDefault("CLSID\\{2}"), "user");
  RegistryKey key;
  ASSERT_EQ(RegistryKey::Create(RegistryRoot::kClassesRoot, "CLSID\\{1}", &key, nullptr), 0u);
  ASSERT_EQ(key.SetString("", "new", 3), 0u);
  EXPECT_EQ(ClassDefault("CLSID\\{1}"), "new");
  ASSERT_EQ(RegistryKey::Create(RegistryRoot::kClassesRoot, "CLSID\\{3}", &key, nullptr), 0u);
  std::string names, name;
  ASSERT_EQ(RegistryKey::Open(RegistryRoot::kClassesRoot, "CLSID", RegistryAccess::kRead, &key),
            0u);
  for (uint32_t i = 0; key.EnumerateSubkey(i, &name) == 0; ++i) names += name;
  EXPECT_EQ(names, "{1}{3}{2}");
}

HRESULT MakeBuiltIn(const GUID&, void** object) {
  static int made;
  *object = &made;
  return S_FALSE;
}

TEST_F(RegistryFileTest, RegisteredComponentsComeBeforeBuiltInOnes) {
  const GUID clsid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  void* object = nullptr;
  EXPECT_EQ(CreateComponent(clsid, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
  RegisterBuiltInClass(clsid, MakeBuiltIn);
  EXPECT_EQ(CreateComponent(clsid, IID_IUnknown, &object), S_FALSE);
  EXPECT_NE(object, nullptr);
  RegistryKey key;
  ASSERT_EQ(RegistryKey::Create(RegistryRoot::kClassesRoot,
                                "CLSID\\" + GuidText(clsid) + "\\InprocServer32", &key, nullptr),
            0u);
  ASSERT_EQ(key.SetString("", "/no/such/library.so", 19), 0u);
  EXPECT_EQ(CreateComponent(clsid, IID_IUnknown, &object), static_cast<HRESULT>(0x8007007E));
  EXPECT_EQ(object, nullptr);
}

}  // namespace
}  // namespace scantk
