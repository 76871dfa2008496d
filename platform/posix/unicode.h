// Characters in UTF-8 and UTF-16, one at a time.
#ifndef SCANTK_PLATFORM_POSIX_UNICODE_H_
#define SCANTK_PLATFORM_POSIX_UNICODE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace scantk {

// What the decoders answer for bytes that are no character.
inline constexpr char32_t kNoCharacter = 0xFFFFFFFF;

inline constexpr bool IsSurrogate(char32_t c) {
  return c >= 0xD800 && c <= 0xDFFF;
}

// The character at *position, which moves behind it. Over-long forms, surrogates, values above
// 0x10FFFF and broken sequences are kNoCharacter; *position then moves by one byte. *position is
// less than text.size().
char32_t NextUtf8(std::string_view text, size_t* position);

// Appends `c` to `text`. A surrogate is written in the three-byte form that NextUtf8 refuses, so
// that damaged UTF-16 can pass through UTF-8 unchanged.
void AppendUtf8(char32_t c, std::string* text);

// Appends `c`, at most 0x10FFFF, as one or two units.
void AppendUtf16(char32_t c, std::u16string* text);

// UTF-16 to UTF-8; a unit without its partner becomes '?'.
std::string Utf8FromUtf16(std::u16string_view wide);

// UTF-8 to UTF-16; each byte that belongs to no character becomes '?'.
std::u16string Utf16FromUtf8(std::string_view narrow);

// The same, with the lone surrogates that AppendUtf8 wrote restored.
std::u16string Utf16FromAnyUtf8(std::string_view narrow);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_UNICODE_H_
