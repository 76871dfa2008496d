#include "platform/registry.h"

#include <gtest/gtest.h>

#include "platform/error_codes.h"
#include "platform/registry_values.h"
#include "tests/diag/test_place.h"

namespace scantk {
namespace {

constexpr char kPath[] = "Software\\ScantkTest\\Folder";
constexpr auto kUser = RegistryRoot::kCurrentUser;
constexpr auto kBoth = RegistryAccess::kReadWrite;

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
  // A text with all that it was stored with, or why there is none.
  std::string Text(const char* name) {
    char text[512] = {};
    uint32_t size = sizeof text;
    RegistryType type = {};
    const uint32_t failure = key_.QueryValue(name, &type, text, &size);
    if (failure) return "error " + std::to_string(failure);
    EXPECT_EQ(type, RegistryType::kString);
    return std::string(text, size);
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
  for (const char* path : {"0000\\DeviceData", "0001", "0002"}) {
    RegistryKey subkey;
    EXPECT_EQ(key_.CreateSubkey(path, RegistryAccess::kWrite, &subkey, nullptr), 0u);
    EXPECT_EQ(subkey.SetDword("x", 1), 0u);
  }
  std::string names, name;
  for (uint32_t i = 0; key_.EnumerateSubkey(i, &name) == 0; ++i) names += name + " ";
  EXPECT_EQ(names, "0000 0001 0002 ");
  EXPECT_EQ(key_.EnumerateSubkey(3, &name), error::kNoMoreItems);
  // The imaging devices' keys can be written from the class key.
  constexpr auto kMachine = RegistryRoot::kLocalMachine;
  const std::string device = std::string(kImagingClassPath) + "\\ScantkTest\\DeviceData";
  RegistryKey made, imaging, data, parent;
  uint32_t type = 0;
  ASSERT_EQ(RegistryKey::Create(kMachine, device, &made, nullptr), 0u);
  ASSERT_EQ(RegistryKey::OpenImagingClass(&imaging), 0u);
  ASSERT_EQ(imaging.OpenSubkey("ScantkTest\\DeviceData", kBoth, &data), 0u);
  EXPECT_EQ(data.SetDword("VelkanIOType", 5), 0u);
  EXPECT_TRUE(ReadDword(imaging, "ScantkTest\\DeviceData", "VelkanIOType", &type) && type == 5);
  ASSERT_EQ(RegistryKey::Open(kMachine, kImagingClassPath, kBoth, &parent), 0u);
  EXPECT_EQ(parent.DeleteSubtree("ScantkTest"), 0u);
}

TEST_F(RegistryTest, ReadsBackWhatWasWritten) {
  for (const std::string text : {"10.0.0.9", "", "C:\\path \"quoted\"", "two\nlines\ttab"}) {
    ASSERT_EQ(key_.SetString("Text", text.c_str(), static_cast<uint32_t>(text.size() + 1)), 0u);
    EXPECT_EQ(Text("Text"), text + '\0');
  }
  // Without its NUL counted, the text behind the length has one: it comes back with it.
  ASSERT_EQ(key_.SetString("", "10.0.0.9", 8), 0u);
  EXPECT_EQ(Text(""), std::string("10.0.0.9\0", 9));
  EXPECT_EQ(Text("Missing"), "error 2");
  char text[9] = {};
  uint32_t size = 8;
  EXPECT_EQ(key_.QueryValue("", nullptr, text, &size), error::kMoreData);
  EXPECT_EQ(size, 9u);
  // A number is as many of four bytes as are there, whatever their type.
  ASSERT_EQ(key_.SetDword("Number", 0xFFFFFFFE), 0u);
  key_.SetString("Digit", "5", 2);
  key_.SetString("Four", "abc", 4);
  key_.SetString("Five", "abcd", 5);
  const auto read = [&](const char* name) {
    uint32_t number = 0xAABBCCDD;
    return QueryDword(key_, name, &number) ? number : 0;
  };
  EXPECT_EQ(read("number"), 0xFFFFFFFE);
  EXPECT_EQ(read("Digit"), 0xAABB0035);
  EXPECT_EQ(read("Four"), 0x00636261u);
  EXPECT_EQ(read("Five"), 0u) << "too long: not there";
  EXPECT_TRUE(QueryText(key_, "Four", text, 4));
  EXPECT_FALSE(QueryText(key_, "Five", text, 4));
  EXPECT_STREQ(text, "");
}

TEST_F(RegistryTest, TwoProcessesLoseNothing) {
  constexpr uint32_t kValues = 60;
  std::string error, line;
  std::unique_ptr<ChildProcess> writers[2];
  for (const char* name : {"a", "b"})
    writers[*name - 'a'] =
        ChildProcess::Start(SCANTK_HELPER, {"write", kPath, name, std::to_string(kValues)}, &error);
  for (auto& writer : writers) {
    ASSERT_TRUE(writer) << error;
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
