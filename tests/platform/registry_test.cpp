#include "platform/registry.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/error_codes.h"
#include "platform/registry_values.h"
#include "tests/diag/test_place.h"

namespace scantk {
namespace {

constexpr char kPath[] = "Software\\ScantkTest\\Folder";
constexpr auto kUser = RegistryRoot::kCurrentUser;
constexpr auto kBoth = RegistryAccess::kReadWrite;

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
    ASSERT_EQ(RegistryKey::Create(kUser, kPath, &key_, &created), 0u);
    EXPECT_TRUE(created);
  }
  void TearDown() override {
    RegistryKey software;
    RegistryKey::Open(kUser, "Software", kBoth, &software);
    EXPECT_EQ(software.DeleteSubtree("ScantkTest"), 0u);
    EXPECT_EQ(software.DeleteSubtree("ScantkTest"), error::kFileNotFound);
  }

  const TestPlace place_;
  RegistryKey key_;
};

TEST_F(RegistryTest, OpensCreatesAndEnumerates) {
  RegistryKey again, none;
  bool created = true;
  EXPECT_EQ(RegistryKey::Create(kUser, kPath, &again, &created), 0u);
  EXPECT_FALSE(created);
  EXPECT_EQ(RegistryKey::Open(kUser, "SOFTWARE\\scantktest\\FOLDER", RegistryAccess::kRead, &again),
            0u);
  EXPECT_NE(again.Handle(), 0u);
  EXPECT_EQ(key_.OpenSubkey("missing", RegistryAccess::kRead, &none), error::kFileNotFound);
  EXPECT_EQ(none.SetDword("x", 1), error::kInvalidHandle);
  for (const char* name : {"0000\\DeviceData", "0001", "0002"}) {
    RegistryKey subkey;
    EXPECT_EQ(key_.CreateSubkey(name, RegistryAccess::kWrite, &subkey, nullptr), 0u);
    EXPECT_EQ(subkey.SetDword("x", 1), 0u);
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
  for (const std::string text : {"10.0.0.9", "", "C:\\path \"quoted\"", "two\nlines\ttab"}) {
    ASSERT_EQ(key_.SetString("Text", text.c_str(), static_cast<uint32_t>(text.size() + 1)), 0u);
    EXPECT_EQ(Text(key_, "Text"), text + '\0');
  }
  // Without its NUL counted, the text behind the length has one: it comes back with it.
  ASSERT_EQ(key_.SetString("", "10.0.0.9", 8), 0u);
  EXPECT_EQ(Text(key_, ""), std::string("10.0.0.9\0", 9));
  char text[9] = {};
  size = 8;
  EXPECT_EQ(key_.QueryValue("", nullptr, text, &size), error::kMoreData);
  EXPECT_EQ(size, 9u);
  EXPECT_EQ(key_.QueryValue("", nullptr, text, &size), 0u);
  EXPECT_EQ(key_.QueryValue("Missing", nullptr, text, &size), error::kFileNotFound);
}

// A number is as many of four bytes as are there, whatever their type.
TEST_F(RegistryTest, NumbersOfOtherTypesAndWidthsAreRead) {
  key_.SetString("Digit", "5", 2);
  key_.SetString("Empty", "", 1);
  key_.SetString("Four", "abc", 4);
  key_.SetString("Five", "abcd", 5);
  const auto read = [&](const char* name) {
    uint32_t number = 0xAABBCCDD;
    return QueryDword(key_, name, &number) ? number : 0;
  };
  EXPECT_EQ(read("Digit"), 0xAABB0035);
  EXPECT_EQ(read("Empty"), 0xAABBCC00);
  EXPECT_EQ(read("Four"), 0x00636261u);
  EXPECT_EQ(read("Five"), 0u) << "too long: not there";
  char text[4];
  EXPECT_TRUE(QueryText(key_, "Four", text, sizeof text));
  EXPECT_FALSE(QueryText(key_, "Five", text, sizeof text));
  EXPECT_STREQ(text, "");
}

TEST_F(RegistryTest, DeviceKeysBelowTheImagingClassCanBeWritten) {
  constexpr auto kMachine = RegistryRoot::kLocalMachine;
  const std::string device = std::string(kImagingClassPath) + "\\ScantkTest\\DeviceData";
  RegistryKey made, imaging, data, parent;
  ASSERT_EQ(RegistryKey::Create(kMachine, device, &made, nullptr), 0u);
  ASSERT_EQ(RegistryKey::OpenImagingClass(&imaging), 0u);
  ASSERT_EQ(imaging.OpenSubkey("ScantkTest\\DeviceData", kBoth, &data), 0u);
  EXPECT_EQ(data.SetDword("VelkanIOType", 5), 0u);
  uint32_t type = 0;
  EXPECT_TRUE(ReadDword(imaging, "ScantkTest\\DeviceData", "VelkanIOType", &type));
  EXPECT_EQ(type, 5u);
  ASSERT_EQ(RegistryKey::Open(kMachine, kImagingClassPath, kBoth, &parent), 0u);
  EXPECT_EQ(parent.DeleteSubtree("ScantkTest"), 0u);
}

TEST_F(RegistryTest, TwoProcessesLoseNothing) {
  constexpr uint32_t kValues = 60;
  std::string error;
  std::unique_ptr<ChildProcess> writers[2];
  for (size_t i = 0; i < 2; ++i) {
    writers[i] = ChildProcess::Start(
        SCANTK_HELPER, {"write", kPath, i == 0 ? "a" : "b", std::to_string(kValues)}, &error);
    ASSERT_TRUE(writers[i]) << error;
  }
  for (auto& writer : writers) {
    std::string line;
    while (writer->ReadLine(60000, &line) && line == "writing") {
    }
    EXPECT_EQ(line, "done");
  }
  for (const std::string prefix : {"a", "b"}) {
    for (uint32_t i = 0; i < kValues; ++i) {
      uint32_t number = kValues;
      QueryDword(key_, (prefix + std::to_string(i)).c_str(), &number);
      EXPECT_EQ(number, i);
    }
  }
}

}  // namespace
}  // namespace scantk
