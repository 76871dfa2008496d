// A folder of a test's own, with a registry in it, and nothing left of it afterwards.
#ifndef SCANTK_TESTS_DIAG_TEST_PLACE_H_
#define SCANTK_TESTS_DIAG_TEST_PLACE_H_

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "host/console.h"
#include "platform/registry.h"
#include "platform/system.h"

namespace scantk {

using scanhost::ChildProcess;
using scanhost::ProgramFileName;
using scanhost::SetEnvironment;

class TestPlace {
 public:
  TestPlace() {
    reservation_ = CreateTemporaryFile(TemporaryFolder(), "sct");  // nobody else gets the name
    folder_ = reservation_ + ".d";
    std::filesystem::create_directory(folder_);
    SetEnvironment("SCANTK_REGISTRY", File("registry.reg"));
  }
  ~TestPlace() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
    std::filesystem::remove(reservation_, ignored);
  }
  TestPlace(const TestPlace&) = delete;
  TestPlace& operator=(const TestPlace&) = delete;

  const std::string& Folder() const { return folder_; }
  std::string File(const std::string& name) const { return folder_ + kPathSeparator + name; }

 private:
  std::string reservation_;
  std::string folder_;
};

// All bytes of a file; empty when there is none.
inline std::string ReadWholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The lines of a trace file without their ends. A line that does not end in CR LF is led by "!".
inline std::vector<std::string> TraceLines(const std::string& path) {
  std::vector<std::string> lines;
  std::istringstream text(ReadWholeFile(path));
  for (std::string line; std::getline(text, line);) {
    const bool whole = line.ends_with('\r');
    lines.push_back(whole ? line.substr(0, line.size() - 1) : "!" + line);
  }
  return lines;
}

}  // namespace scantk

#endif  // SCANTK_TESTS_DIAG_TEST_PLACE_H_
