#include "platform/stand_ins/registry_lines.h"

#include <charconv>
#include <cstdio>

#include "platform/posix/unicode.h"

namespace scantk {
namespace {

char32_t FoldCharacter(char32_t c) {
  if (c >= 'A' && c <= 'Z') return c + 0x20;
  if (c < 0xC0) return c;
  if (c <= 0xDE) return c == 0xD7 ? c : c + 0x20;
  // Pairs of capital and small letter; the parity changes twice within the block.
  if ((c >= 0x100 && c <= 0x12F) || (c >= 0x132 && c <= 0x137) || (c >= 0x14A && c <= 0x177)) {
    return c | 1;
  }
  if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return c + (c & 1);
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 0x20;
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  if (c >= 0x410 && c <= 0x42F) return c + 0x20;
  return c;
}

bool IsText(uint32_t type) {
  return type == kRegString || type == kRegExpandString || type == kRegMultiString;
}

// `digits` hexadecimal digits at most, and nothing else.
std::optional<uint32_t> ParseHex(std::string_view text, size_t digits) {
  uint32_t number = 0;
  if (text.empty() || text.size() > digits) return std::nullopt;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// The text between the quote at the front and its partner; *length is what it takes up with both.
std::optional<std::string> ParseQuoted(std::string_view text, size_t* length) {
  if (text.empty() || text.front() != '"') return std::nullopt;
  std::string plain;
  for (size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"') {
      *length = i + 1;
      return plain;
    }
    if (text[i] == '\\' && ++i == text.size()) break;
    plain.push_back(text[i]);
  }
  return std::nullopt;
}

std::string Quoted(std::string_view plain) {
  std::string text = "\"";
  for (char c : plain) {
    if (c == '"' || c == '\\') text.push_back('\\');
    text.push_back(c);
  }
  text.push_back('"');
  return text;
}

std::optional<std::string> ParseBytes(std::string_view list) {
  std::string bytes;
  if (list.empty()) return bytes;
  for (;;) {
    const size_t comma = list.find(',');
    const std::optional<uint32_t> byte = ParseHex(TrimBlanks(list.substr(0, comma)), 2);
    if (!byte) return std::nullopt;
    bytes.push_back(static_cast<char>(*byte));
    if (comma == std::string_view::npos) return bytes;
    list.remove_prefix(comma + 1);
  }
}

std::string FormatBytes(std::string_view bytes) {
  std::string list;
  list.reserve(bytes.size() * 3);
  for (char byte : bytes) {
    char text[4];
    std::snprintf(text, sizeof text, "%02x,", static_cast<uint8_t>(byte));
    list += text;
  }
  if (!list.empty()) list.pop_back();
  return list;
}

std::string TextFromBytes(std::string_view bytes) {
  std::u16string wide;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    wide.push_back(static_cast<char16_t>(static_cast<uint8_t>(bytes[i]) |
                                         static_cast<uint8_t>(bytes[i + 1]) << 8));
  }
  return Utf8FromUtf16(wide);
}

std::string BytesFromText(std::string_view text) {
  std::string bytes;
  for (char16_t unit : Utf16FromUtf8(text)) {
    bytes.push_back(static_cast<char>(unit & 0xFF));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::optional<RegistryValue> ParseHexData(std::string_view data) {
  RegistryValue value;
  value.type = kRegBinary;
  data.remove_prefix(3);
  if (!data.empty() && data.front() == '(') {
    const size_t close = data.find(')');
    if (close == std::string_view::npos) return std::nullopt;
    const std::optional<uint32_t> type = ParseHex(data.substr(1, close - 1), 8);
    if (!type) return std::nullopt;
    value.type = *type;
    data.remove_prefix(close + 1);
  }
  if (data.empty() || data.front() != ':') return std::nullopt;
  std::optional<std::string> bytes = ParseBytes(TrimBlanks(data.substr(1)));
  if (!bytes) return std::nullopt;
  value.data = IsText(value.type) ? TextFromBytes(*bytes) : std::move(*bytes);
  return value;
}

std::string FormatData(const RegistryValue& value) {
  std::string data = value.data;
  if (value.type == kRegString) {
    // A string without its NUL is stored as if it had one.
    if (data.empty() || data.back() != '\0') data.push_back('\0');
    const std::string_view text = std::string_view(data).substr(0, data.size() - 1);
    if (IsCleanText(text)) return Quoted(text);
  }
  char start[24];
  if (value.type == kRegDword && data.size() == 4) {
    const auto byte = [&](size_t i) {
      return static_cast<unsigned>(static_cast<uint8_t>(data[i]));
    };
    std::snprintf(start, sizeof start, "dword:%02x%02x%02x%02x", byte(3), byte(2), byte(1),
                  byte(0));
    return start;
  }
  if (value.type == kRegBinary) return "hex:" + FormatBytes(data);
  std::snprintf(start, sizeof start, "hex(%x):", value.type);
  return start + FormatBytes(IsText(value.type) ? BytesFromText(data) : data);
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return std::string_view();
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

bool IsCleanText(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const char32_t c = NextUtf8(text, &i);
    if (c == kNoCharacter || (c < 0x20 && c != '\t') || c == 0x7F) return false;
  }
  return true;
}

std::string FoldCase(std::string_view name) {
  std::string folded;
  folded.reserve(name.size());
  for (size_t i = 0; i < name.size();) AppendUtf8(FoldCharacter(NextUtf8(name, &i)), &folded);
  return folded;
}

std::optional<NamedData> SplitValueLine(std::string_view line) {
  NamedData split;
  size_t length = 1;
  if (line.empty()) return std::nullopt;
  if (line.front() != '@') {
    std::optional<std::string> name = ParseQuoted(line, &length);
    if (!name) return std::nullopt;
    split.name = std::move(*name);
  }
  line = TrimBlanks(line.substr(length));
  if (line.empty() || line.front() != '=') return std::nullopt;
  split.data = TrimBlanks(line.substr(1));
  return split;
}

bool IsHexData(std::string_view data) {
  return data.substr(0, 4) == "hex:" || data.substr(0, 4) == "hex(";
}

std::optional<RegistryValue> ParseData(std::string_view data) {
  RegistryValue value;
  size_t length = 0;
  if (std::optional<std::string> text = ParseQuoted(data, &length)) {
    if (length != data.size()) return std::nullopt;
    value.data = std::move(*text);
    value.data.push_back('\0');
    return value;
  }
  constexpr std::string_view kDword = "dword:";
  if (data.substr(0, kDword.size()) == kDword) {
    const std::optional<uint32_t> number = ParseHex(TrimBlanks(data.substr(kDword.size())), 8);
    if (!number) return std::nullopt;
    value.type = kRegDword;
    for (int shift = 0; shift < 32; shift += 8) {
      value.data.push_back(static_cast<char>(*number >> shift & 0xFF));
    }
    return value;
  }
  return IsHexData(data) ? ParseHexData(data) : std::nullopt;
}

std::string FormatValueLine(std::string_view name, const RegistryValue& value) {
  return (name.empty() ? "@" : Quoted(name)) + "=" + FormatData(value);
}

}  // namespace scantk
