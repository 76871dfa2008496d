#include "diag/image_log.h"

#include <gtest/gtest.h>

#include "tests/diag/test_place.h"

namespace scantk {
namespace {

TEST(ImageLog, NeedsItsFolderAndMakesANewFileEachTime) {
  TestPlace place;
  SetEnvironment("SCANTK_COMMON_DATA", place.Folder());
  if (CommonDataFolder() != place.Folder()) GTEST_SKIP() << "the folder is the system's to choose";
  std::string first = "before", second;
  EXPECT_FALSE(MakeImageLogFileName(&first));
  EXPECT_EQ("", first);

  const std::string folder = place.File("OV");
  std::filesystem::create_directory(folder);
  ASSERT_TRUE(MakeImageLogFileName(&first));
  ASSERT_TRUE(MakeImageLogFileName(&second));
  EXPECT_NE(first, second);
  for (const std::string& path : {first, second}) {
    EXPECT_EQ(folder + kPathSeparator + "Img", path.substr(0, folder.size() + 4));
    EXPECT_EQ(0u, std::filesystem::file_size(path));
  }
}

TEST(ImageLog, AppendsBytesAsTheyAre) {
  TestPlace place;
  const std::string path = place.File("image");
  EXPECT_TRUE(AppendToImageLog(path, "a\n\0b", 4));
  EXPECT_TRUE(AppendToImageLog(path, "\r\n", 2));
  EXPECT_EQ(std::string("a\n\0b\r\n", 6), ReadWholeFile(path));
  EXPECT_FALSE(AppendToImageLog(place.File("missing") + kPathSeparator + "image", "x", 1));
}

}  // namespace
}  // namespace scantk
