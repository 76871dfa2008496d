#include "tests/jobs/golden.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>

namespace scantk::test {
namespace {

std::string Printable(const std::string& line) {
  std::string text;
  for (const char c : line) {
    char number[8];
    std::snprintf(number, sizeof number, "\\x%02X", static_cast<uint8_t>(c));
    text += c >= ' ' && c < 0x7F ? std::string(1, c) : number;
  }
  return text;
}

}  // namespace

std::vector<std::string> MaskedTrace(const std::vector<std::string>& lines,
                                     const std::vector<std::string>& own_names) {
  static const std::pair<std::regex, const char*> kMasks[] = {
      {std::regex("\\d+/\\d+/\\d{4} \\d+:\\d+:\\d+[.:]\\d+"), "<date>"},
      {std::regex("(LogTick\\(ms\\): ?|Elapsed: ?|[Ee]lapsed time: ?)\\d+|\\b\\d{10}\\b"),
       "$1<time>"},
      {std::regex("(PID|TID) \\([0-9a-f]+\\)( \\(\\d+\\))?"), "$1 <number>"},
      {std::regex("(PID|TID)=0x[0-9a-f]+\\(\\d+\\)"), "$1=<number>"},
      {std::regex("(SessionID=|Session ID is )0x[0-9a-f]+|\\b(0x)?[0-9a-f]{12,16}\\b"),
       "$1<number>"},
      {std::regex("(skt |Socket |(?:Created|to) socket |(?:Connected socket|WSAWOULDBLOCK\\)): |"
                  "lpBuffer = |hKeyRoot: |Handle (?:= )?)(0x)?[0-9a-fA-F]+\\b"),
       "$1<number>"},
      // The user's part of the registry outlives a test where it is the system's.
      {std::regex("(Created|Opened)( key HKCU)"), "Created$2"},
      {std::regex("(Asked 1, Got 1, Buf: ).*"), "$1<byte>"},
  };
  std::vector<std::string> masked;
  for (const std::string& line : lines) {
    std::string text = line;
    if (text.starts_with("****")) continue;  // a thread's banner stands before its first line alone
    for (const std::string& name : own_names)
      for (size_t at; !name.empty() && (at = text.find(name)) != std::string::npos;)
        text.replace(at, name.size(), "<own>");
    text = Printable(text);
    for (const auto& [mask, with] : kMasks) text = std::regex_replace(text, mask, with);
    masked.push_back(text);
    for (const ptrdiff_t period : {2, 3})
      if (std::ssize(masked) >= 2 * period &&
          std::equal(masked.end() - period, masked.end(), masked.end() - 2 * period))
        masked.resize(masked.size() - static_cast<size_t>(period));
  }
  return masked;
}

std::string GoldenDifference(const std::string& path, const std::vector<std::string>& got,
                             const std::string& folder) {
  std::ifstream file(path);
  size_t number = 0;
  std::string expected, difference;
  for (; std::getline(file, expected) && difference.empty(); ++number)
    if (number >= got.size() || got[number] != expected)
      difference = path + ":" + std::to_string(number + 1) + ": expected \"" + expected +
                   "\", got \"" + (number < got.size() ? got[number] : "the end") + "\"";
  if (difference.empty() && number < got.size())
    difference = path + ": expected the end, got \"" + got[number] + "\"";
  if (difference.empty()) return "";
  const std::string written = folder + "/" + std::filesystem::path(path).filename().string();
  std::ofstream all(written);
  for (const std::string& line : got) all << line << "\n";
  return difference + "; what came is in " + written;
}

}  // namespace scantk::test
