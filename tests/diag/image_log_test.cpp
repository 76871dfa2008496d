#include "diag/image_log.h"

#include <gtest/gtest.h>

#include "tests/diag/test_place.h"

namespace scantk {
namespace {

TEST(ImageLog, KeepsBytesInANewFileEachTime) {
  TestPlace place;
  SetEnvironment("SCANTK_COMMON_DATA", place.Folder());
  const std::string path = place.File("image");
  EXPECT_TRUE(AppendToImageLog(path, "a\n\0b", 4));
  EXPECT_TRUE(AppendToImageLog(path, "\r\n", 2));
  EXPECT_EQ(std::string("a\n\0b\r\n", 6), ReadWholeFile(path));
  EXPECT_FALSE(AppendToImageLog(place.File("missing") + kPathSeparator + "image", "x", 1));
  if (CommonDataFolder() != place.Folder()) GTEST_SKIP() << "the folder is the system's to choose";
  std::string first = "before", second;
  EXPECT_FALSE(MakeImageLogFileName(&first));
  std::filesystem::create_directory(place.File("OV"));
  ASSERT_TRUE(MakeImageLogFileName(&first) && MakeImageLogFileName(&second));
  EXPECT_NE(first, second);
  EXPECT_TRUE(first.starts_with(place.File("OV") + kPathSeparator + "Img")) << first;
}

}  // namespace
}  // namespace scantk
