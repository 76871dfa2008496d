#include "diag/trace_format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/system.h"

namespace scantk {
namespace {

template <class... Args>
std::string Format(const char* format, const Args&... args) {
  std::string out(1000, 'x');
  const TraceArg list[] = {TraceArg(args)..., TraceArg(0)};
  out.resize(FormatTrace(out.data(), out.size(), format, list, sizeof...(args)));
  return out;
}

TEST(TraceFormat, OneConversion) {
  const void* const address = reinterpret_cast<const void*>(uintptr_t{0x12ab34cd});
  const struct {
    const char* format;
    TraceArg arg;
    std::string expected;
  } cases[] = {
      // Widths of integers are the target's: long is 32 bits.
      {"%ld", 0x1FFFFFFFFull, "-1"},
      {"%lx", -1, "ffffffff"},
      {"%hd", 0x18000, "-32768"},
      {"%hhx", 0x1FF, "ff"},
      {"%lld", -5ll, "-5"},
      {"%I64d", LLONG_MIN, "-9223372036854775808"},
      {"%I32u", 0x100000001ull, "1"},
      {"%Iu", 0x100000001ull, "4294967297"},
      // Flags, width, precision.
      {"%-5d|", 42, "42   |"},
      {"%05d", -42, "-0042"},
      {"%+d", 42, "+42"},
      {"%06.3d|", 7, "   007|"},
      {"%.0d|", 0, "|"},
      {"0x%08X", 0xBEEF, "0x0000BEEF"},
      {"%#x", 255, "0xff"},
      {"%8s|", "text", "    text|"},
      {"%.2s", "text", "te"},
      {"%s", static_cast<const char*>(nullptr), "(null)"},
      {"%ls", static_cast<const WideChar*>(nullptr), "(null)"},
      {"%3c|", 'A', "  A|"},
      {"%p", address, "0000000012AB34CD"},
      {"%07.2f", -3.14159, "-003.14"},
      {"%g", 1e20, "1e+20"},
      // What is no conversion, and arguments that do not fit.
      {"100%%", 0, "100%"},
      {"%", 0, ""},
      {"%n", 0, "n"},
      {"%s", 5, "(?)"},
      {"%d", "text", "(?)"},
      {"%f", 5, "(?)"},
  };
  for (const auto& c : cases) {
    char out[64];
    EXPECT_EQ(c.expected.size(), FormatTrace(out, sizeof out, c.format, &c.arg, 1)) << c.format;
    EXPECT_EQ(c.expected, out) << c.format;
  }
}

TEST(TraceFormat, SeveralArguments) {
  const WideChar wide[] = {'w', 0xE9, 'd', 'e', 0};
  EXPECT_EQ("a 1 b two c 3", Format("a %d b %s c %u", 1, "two", 3u));
  EXPECT_EQ(Narrow(wide) + ", w", Format("%ws, %.1ls", wide, wide));
  EXPECT_EQ("  7|7  |07", Format("%*d|%-*d|%0*d", 3, 7, 3, 7, 2, 7));
  EXPECT_EQ("7  |te|text", Format("%*d|%.*s|%.*s", -3, 7, 2, "text", -1, "text"));
  EXPECT_EQ("1 (?) (?)", Format("%d %d %s", 1));
  EXPECT_EQ("", Format(nullptr));
  // A precise text need not have a terminator behind the characters that are wanted.
  const std::vector<WideChar> precise = {'a', 'b', 'c'};
  EXPECT_EQ("abc", Format("%.3ls", precise.data()));
  EXPECT_EQ("ab", Format("%.2s", std::vector<char>{'a', 'b'}.data()));
}

TEST(TraceFormat, CutsAtTheEndOfTheBuffer) {
  constexpr size_t kSize = 16384;
  const std::string letters(20000, 'm');
  const std::pair<const char*, TraceArg> cases[] = {
      {"%s", letters.c_str()}, {"%20000d", 1},       {"%.20000d", 1},
      {"%2147483647s", "x"},   {letters.c_str(), 0}, {"%99999999999999999999d", 1}};
  for (const auto& [format, arg] : cases) {
    std::vector<char> out(kSize + 1, '#');
    EXPECT_EQ(kSize - 1, FormatTrace(out.data(), kSize, format, &arg, 1));
    EXPECT_EQ('\0', out[kSize - 1]);
    EXPECT_EQ('#', out[kSize]);
  }
  char one = '#';
  EXPECT_EQ(0u, FormatTrace(&one, 1, "text", nullptr, 0));
  EXPECT_EQ('\0', one);
}

}  // namespace
}  // namespace scantk
