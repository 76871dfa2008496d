// A conversation between a host and a device as a text file, taken apart. What the lines mean is in
// player.h.
#ifndef SCANTK_TESTS_JOBS_CONVERSATION_H_
#define SCANTK_TESTS_JOBS_CONVERSATION_H_

#include <string>
#include <vector>

#include "tests/jobs/far_side.h"

namespace scantk::test {

struct Step {
  std::string file;
  int line = 0;
  std::string text;                // as it was written, with the cases' values in their places
  std::vector<std::string> words;  // without quotation marks
};

// The file, played once.
struct Scene {
  std::string cases;  // the row of each table, for people
  std::vector<Step> steps;
};

struct Conversation {
  std::vector<Medium> media;
  std::vector<Scene> scenes;           // one for each combination of the tables' rows
  std::vector<std::string> recording;  // the lines behind "scantk conversation 1"
};

// Throws std::runtime_error with the file and line of what it cannot read.
Conversation ReadConversation(const std::string& path);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_CONVERSATION_H_
