#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/console.h"
#include "platform/error_codes.h"
#include "tests/platform/scratch.h"

namespace scantk {
namespace {

constexpr char kPath[] = "Software\\ScantkTest\\Folder";

std::string Text(const RegistryKey& key, const std::string& name) {
  char text[512] = {};
  uint32_t size = sizeof text;
  RegistryType type = {};
  const uint32_t failure = key.QueryValue(name, &type, text, &size);
  if (failure) return "error " + std::to_string(failure);
  EXPECT_EQ(type, RegistryType::kString);
  return std::string(text, size);
}

class RegistryTest : public testing::Test {
 protected:
  void SetUp() override {
    bool created = false;
    ASSERT_EQ(RegistryKey::Create(RegistryRoot::kCurrentUser, kPath, &key_, &created), 0u);
    EXPECT_TRUE(created);
  }
  void TearDown() override {
    RegistryKey software;
    RegistryKey::Open(RegistryRoot::kCurrentUser, "Software", RegistryAccess::kReadWrite,
                      &software);
    EXPECT_EQ(software.DeleteSubtree("ScantkTest"), 0u);
    EXPECT_EQ(software.DeleteSubtree("ScantkTest"), error::kFileNotFound);
  }

  ScratchRegistry registry_;
  RegistryKey key_;
};

TEST_F(RegistryTest, OpensCreatesAndEnumerates) {
  RegistryKey again, none;
  bool created = true;
  EXPECT_EQ(RegistryKey::Create(RegistryRoot::kCurrentUser, kPath, &again, &created), 0u);
  EXPECT_FALSE(created);
  EXPECT_EQ(RegistryKey::Open(RegistryRoot::kCurrentUser, "SOFTWARE\\scantktest\\FOLDER",
                              RegistryAccess::kRead, &again),
            0u);
  EXPECT_NE(again.Handle(), 0u);
  EXPECT_EQ(key_.OpenSubkey("missing", RegistryAccess::kRead, &none), error::kFileNotFound);
  EXPECT_FALSE(none.IsOpen());
  EXPECT_EQ(none.Handle(), 0u);
  EXPECT_EQ(none.SetDword("x", 1), error::kInvalidHandle);

  for (const char* name : {"0000\\DeviceData", "0001", "0002"}) {
    RegistryKey subkey;
    EXPECT_EQ(key_.CreateSubkey(name, &subkey, nullptr), 0u);
  }
  std::vector<std::string> names;
  std::string name;
  for (uint32_t i = 0; key_.EnumerateSubkey(i, &name) == 0; ++i) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"0000", "0001", "0002"}));
  EXPECT_EQ(key_.EnumerateSubkey(3, &name), error::kNoMoreItems);
}

TEST_F(RegistryTest, ReadsBackWhatWasWritten) {
  ASSERT_EQ(key_.SetDword("Number", 0xFFFFFFFE), 0u);
  uint32_t number = 0, size = sizeof number;
  RegistryType type = {};
  ASSERT_EQ(key_.QueryValue("number", &type, &number, &size), 0u);
  EXPECT_EQ(number, 0xFFFFFFFE);
  EXPECT_EQ(type, RegistryType::kDword);
  EXPECT_EQ(size, 4u);

  const std::string awkward[] = {"10.0.0.9", "", "C:\\path \"quoted\"", "two\nlines\ttab"};
  for (const std::string& text : awkward) {
    const std::string with_nul = text + '\0';
    ASSERT_EQ(key_.SetString("Text", text.c_str(), static_cast<uint32_t>(text.size() + 1)), 0u);
    EXPECT_EQ(Text(key_, "Text"), with_nul);
  }
  // Without its NUL counted, the text behind the length has one: it comes back with it.
  ASSERT_EQ(key_.SetString("Text", "10.0.0.9", 8), 0u);
  EXPECT_EQ(Text(key_, "Text"), std::string("10.0.0.9\0", 9));
  ASSERT_EQ(key_.SetString("", "default", 8), 0u);
  EXPECT_EQ(Text(key_, ""), std::string("default\0", 8));
}

TEST_F(RegistryTest, TellsWhatABufferNeeds) {
  ASSERT_EQ(key_.SetString("Model", "0123456789", 11), 0u);
  char text[11] = {};
  uint32_t size = 0;
  RegistryType type = {};
  EXPECT_EQ(key_.QueryValue("Model", &type, nullptr, &size), 0u);
  EXPECT_EQ(size, 11u);
  size = 10;
  EXPECT_EQ(key_.QueryValue("Model", nullptr, text, &size), error::kMoreData);
  EXPECT_EQ(size, 11u);
  EXPECT_EQ(key_.QueryValue("Model", nullptr, text, &size), 0u);
  EXPECT_STREQ(text, "0123456789");
  EXPECT_EQ(key_.QueryValue("Missing", nullptr, text, &size), error::kFileNotFound);
}

TEST_F(RegistryTest, DeviceKeysBelowTheImagingClassCanBeWritten) {
  const std::string path =
      "SYSTEM\\CurrentControlSet\\Control\\Class\\{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";
  RegistryKey made, imaging, data;
  ASSERT_EQ(RegistryKey::Create(RegistryRoot::kLocalMachine, path + "\\ScantkTest\\DeviceData",
                                &made, nullptr),
            0u);
  ASSERT_EQ(RegistryKey::OpenImagingClass(&imaging), 0u);
  ASSERT_EQ(imaging.OpenSubkey("ScantkTest\\DeviceData", RegistryAccess::kReadWrite, &data), 0u);
  EXPECT_EQ(data.SetDword("VelkanIOType", 5), 0u);
  uint32_t type = 0, size = sizeof type;
  EXPECT_EQ(made.QueryValue("VelkanIOType", nullptr, &type, &size), 0u);
  EXPECT_EQ(type, 5u);
  RegistryKey parent;
  ASSERT_EQ(
      RegistryKey::Open(RegistryRoot::kLocalMachine, path, RegistryAccess::kReadWrite, &parent),
      0u);
  EXPECT_EQ(parent.DeleteSubtree("ScantkTest"), 0u);
}

TEST_F(RegistryTest, TwoProcessesLoseNothing) {
  constexpr int kValues = 60;
  std::string error;
  std::unique_ptr<ChildProcess> writers[2];
  for (size_t i = 0; i < 2; ++i) {
    writers[i] = ChildProcess::Start(
        PLATFORM_PEER, {"write", kPath, i == 0 ? "a" : "b", std::to_string(kValues)}, &error);
    ASSERT_TRUE(writers[i]) << error;
  }
  for (auto& writer : writers) {
    std::string line;
    while (writer->ReadLine(60000, &line) && line == "writing") {
    }
    EXPECT_EQ(line, "done");
  }
  for (const char* prefix : {"a", "b"}) {
    for (uint32_t i = 0; i < kValues; ++i) {
      uint32_t number = 0, size = sizeof number;
      EXPECT_EQ(key_.QueryValue(prefix + std::to_string(i), nullptr, &number, &size), 0u);
      EXPECT_EQ(number, i);
    }
  }
}

}  // namespace
}  // namespace scantk
