// Every conversation beside this file, on every medium that it is for.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/jobs/player.h"

namespace scantk::test {
namespace {

namespace fs = std::filesystem;

struct Playing {
  fs::path path;
  Medium medium;
};

std::ostream& operator<<(std::ostream& out, const Playing& playing) {
  return out << playing.path.filename().string() << " over " << Name(playing.medium);
}

std::vector<Playing> AllPlayings() {
  std::vector<Playing> all;
  for (const auto& entry : fs::directory_iterator(SCANTK_CONVERSATIONS)) {
    if (entry.path().extension() != ".txt") continue;
    for (const Medium medium : ReadConversation(entry.path().string()).media)
      all.push_back({entry.path(), medium});
  }
  std::sort(all.begin(), all.end(), [](const Playing& a, const Playing& b) {
    return std::pair(a.path, a.medium) < std::pair(b.path, b.medium);
  });
  return all;
}

class ConversationTest : public ::testing::TestWithParam<Playing> {};

TEST_P(ConversationTest, ComesOutAsItsFileSays) {
  for (const Scene& scene : ReadConversation(GetParam().path.string()).scenes) {
    Play(scene, GetParam().medium);
#ifdef SCANTK_FIRST_ROWS_ONLY
    break;
#endif
  }
}

INSTANTIATE_TEST_SUITE_P(Files, ConversationTest, ::testing::ValuesIn(AllPlayings()),
                         [](const auto& file) {
                           return file.param.path.stem().string() + "_" + Name(file.param.medium);
                         });

}  // namespace
}  // namespace scantk::test
