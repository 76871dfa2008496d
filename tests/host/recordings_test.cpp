// Every recording beside this file, played to scanhost: a bug report that was copied here is a
// test. Its head says what is run and what comes of it:
//
//     # scanhost: scan --mode gray --resolution 75     the words
//     # expect: 1 TERR_CANCEL_PRESSED                   the exit status, and a text that is printed
//     # picture: 1a2b3c4d                               CRC-32 of the PNM files, or: none
//     # departs: yes                                    when this host asks otherwise than that one
//
// A test that fails shows the lines that would have passed.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/system.h"
#include "simulator/recording.h"
#include "tests/host/scanhost_process.h"

namespace scanhost {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Recordings() {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator(RECORDINGS_PATH))
    if (entry.path().extension() == ".txt") paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::string Slurp(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Of all pictures in the folder, one behind the other.
std::string Checksum(const fs::path& folder) {
  std::vector<fs::path> pictures;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().extension() == ".pnm") pictures.push_back(entry.path());
  if (pictures.empty()) return "none";
  std::sort(pictures.begin(), pictures.end());
  uLong sum = crc32(0, nullptr, 0);
  for (const fs::path& picture : pictures) {
    const std::string bytes = Slurp(picture);
    sum = crc32(sum, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
  }
  char text[17];
  std::snprintf(text, sizeof text, "%08lx", sum);
  return text;
}

class RecordingTest : public testing::TestWithParam<fs::path> {
 protected:
  void SetUp() override {
    folder_ = fs::temp_directory_path() / ("recording_" + std::to_string(scantk::ProcessId()) +
                                           "_" + GetParam().stem().string());
    fs::create_directories(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  fs::path folder_;
};

TEST_P(RecordingTest, ComesOutAsItsHeadSays) {
  const auto recording = scantk::sim::ReadRecording(GetParam().string());
  std::istringstream host(recording.HeadValue("scanhost"));
  std::vector<std::string> words{std::istream_iterator<std::string>(host), {}};
  ASSERT_FALSE(words.empty()) << "the head has no line \"# scanhost: scan ...\"";
  for (const char* word : {"-o", "page.pnm", "--simulate", "--", "--replay"}) words.push_back(word);
  words.push_back(GetParam().string());
  words.insert(words.end(), {"--log", "log.txt"});
  const Ended ended = RunScanhost(folder_.string(), words);

  std::istringstream expected(recording.HeadValue("expect"));
  int status = -1;
  std::string text;
  expected >> status;
  std::getline(expected >> std::ws, text);
  const std::string picture = Checksum(folder_);
  const std::string log = Slurp(folder_ / "log.txt");
  const bool departs = log.find("! departs") != std::string::npos;
  SCOPED_TRACE("it came out as:\n# expect: " + std::to_string(ended.status) +
               "\n# picture: " + picture + "\n# departs: " + (departs ? "yes" : "no") +
               "\nand printed:\n" + ended.output + ended.errors);
  EXPECT_EQ(status, ended.status);
  EXPECT_NE(std::string::npos, (ended.output + ended.errors).find(text)) << text;
  EXPECT_EQ(recording.HeadValue("picture"), picture);
  EXPECT_EQ(recording.HeadValue("departs") == "yes", departs);
}

std::string Name(const testing::TestParamInfo<fs::path>& info) {
  std::string name = info.param.stem().string();
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Folder, RecordingTest, testing::ValuesIn(Recordings()), Name);

}  // namespace
}  // namespace scanhost
