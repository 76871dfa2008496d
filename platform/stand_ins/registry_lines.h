// Single lines of a registry file's text: names, values, and how they are written.
#ifndef SCANTK_PLATFORM_STAND_INS_REGISTRY_LINES_H_
#define SCANTK_PLATFORM_STAND_INS_REGISTRY_LINES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace scantk {

// Value types that the text knows by number; others are kept with the number they have.
inline constexpr uint32_t kRegString = 1;
inline constexpr uint32_t kRegExpandString = 2;
inline constexpr uint32_t kRegBinary = 3;
inline constexpr uint32_t kRegDword = 4;
inline constexpr uint32_t kRegMultiString = 7;

struct RegistryValue {
  uint32_t type = kRegString;
  // Strings: UTF-8 with its terminating NUL. Others: the bytes as stored, numbers low byte first.
  std::string data;
};

// Without blanks, tabs and line breaks at both ends.
std::string_view TrimBlanks(std::string_view text);

// True for sound UTF-8 without control characters other than tabs.
bool IsCleanText(std::string_view text);

// The form in which names are compared: lower case, for Latin, Greek and Cyrillic letters.
std::string FoldCase(std::string_view name);

// A value line cut at its equals sign. `data` points into the line.
struct NamedData {
  std::string name;  // empty for "@"
  std::string_view data;
};
std::optional<NamedData> SplitValueLine(std::string_view line);

// True for the hex forms, which may go on in the next line.
bool IsHexData(std::string_view data);

// The right-hand side of a value line, continuation lines already joined.
std::optional<RegistryValue> ParseData(std::string_view data);

// A whole value line without its line break.
std::string FormatValueLine(std::string_view name, const RegistryValue& value);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_REGISTRY_LINES_H_
