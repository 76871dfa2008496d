// Trace lines with the numbers replaced that differ from run to run.
#ifndef SCANTK_TESTS_IO_MASKED_LINES_H_
#define SCANTK_TESTS_IO_MASKED_LINES_H_

#include <regex>
#include <string>
#include <vector>

namespace scantk {

// Handles become H (the null one 0, the invalid one ffffffff), addresses of buffers P.
inline std::vector<std::string> Masked(std::vector<std::string> lines) {
  static const std::regex handle("(Handle(?: =)? )(?!0\\b|ffffffff\\b)[0-9a-f]+\\b");
  static const std::regex buffer("lpBuffer = [0-9a-f]+");
  for (std::string& line : lines) {
    line = std::regex_replace(line, handle, "$1H");
    line = std::regex_replace(line, buffer, "lpBuffer = P");
  }
  return lines;
}

}  // namespace scantk

#endif  // SCANTK_TESTS_IO_MASKED_LINES_H_
