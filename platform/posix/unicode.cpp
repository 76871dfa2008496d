#include "platform/posix/unicode.h"

#include "platform/system.h"

namespace scantk {

char32_t NextUtf8(std::string_view text, size_t* position) {
  const auto byte_at = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const size_t start = (*position)++;
  const uint8_t lead = byte_at(start);
  if (lead < 0x80) return lead;
  const size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0xC2 || lead > 0xF4 || text.size() - start <= more) return kNoCharacter;
  char32_t c = lead & (0x3Fu >> more);
  for (size_t i = 1; i <= more; ++i) {
    const uint8_t next = byte_at(start + i);
    if ((next & 0xC0) != 0x80) return kNoCharacter;
    c = c << 6 | (next & 0x3F);
  }
  constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  if (c < kLeast[more] || c > 0x10FFFF || IsSurrogate(c)) return kNoCharacter;
  *position = start + 1 + more;
  return c;
}

void AppendUtf8(char32_t c, std::string* text) {
  const auto tail = [&](int shift) {
    text->push_back(static_cast<char>(0x80 | ((c >> shift) & 0x3F)));
  };
  if (c < 0x80) {
    text->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    text->push_back(static_cast<char>(0xC0 | c >> 6));
    tail(0);
  } else if (c < 0x10000) {
    text->push_back(static_cast<char>(0xE0 | c >> 12));
    tail(6);
    tail(0);
  } else {
    text->push_back(static_cast<char>(0xF0 | c >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

void AppendUtf16(char32_t c, std::u16string* text) {
  if (c < 0x10000) {
    text->push_back(static_cast<char16_t>(c));
  } else {
    text->push_back(static_cast<char16_t>(0xD7C0 + (c >> 10)));
    text->push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
  }
}

std::string Utf8FromUtf16(std::u16string_view wide) {
  std::string narrow;
  narrow.reserve(wide.size());
  for (size_t i = 0; i < wide.size(); ++i) {
    char32_t c = wide[i];
    const bool pair = c >= 0xD800 && c < 0xDC00 && i + 1 < wide.size() && wide[i + 1] >= 0xDC00 &&
                      wide[i + 1] <= 0xDFFF;
    if (pair) c = 0x10000 + ((c - 0xD800) << 10) + (wide[++i] - 0xDC00u);
    AppendUtf8(IsSurrogate(c) ? U'?' : c, &narrow);
  }
  return narrow;
}

std::u16string Utf16FromUtf8(std::string_view narrow) {
  std::u16string wide;
  wide.reserve(narrow.size());
  for (size_t i = 0; i < narrow.size();) {
    const char32_t c = NextUtf8(narrow, &i);
    AppendUtf16(c == kNoCharacter ? U'?' : c, &wide);
  }
  return wide;
}

std::u16string Utf16FromAnyUtf8(std::string_view narrow) {
  std::u16string wide;
  wide.reserve(narrow.size());
  for (size_t i = 0; i < narrow.size();) {
    const size_t start = i;
    char32_t c = NextUtf8(narrow, &i);
    if (c == kNoCharacter) {
      const auto byte_at = [&](size_t k) { return static_cast<uint8_t>(narrow[start + k]); };
      const bool surrogate = narrow.size() - start >= 3 && byte_at(0) == 0xED &&
                             byte_at(1) >= 0xA0 && (byte_at(1) & 0x40) == 0 &&
                             (byte_at(2) & 0xC0) == 0x80;
      c = surrogate ? 0xD000u | (byte_at(1) & 0x3Fu) << 6 | (byte_at(2) & 0x3Fu) : U'?';
      if (surrogate) i = start + 3;
    }
    AppendUtf16(c, &wide);
  }
  return wide;
}

std::string Narrow(const WideChar* wide) {
  return wide ? Utf8FromUtf16(wide) : std::string();
}

std::u16string Utf16(const std::string& narrow) {
  return Utf16FromUtf8(narrow);
}

}  // namespace scantk
