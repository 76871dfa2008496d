#include "diag/trace_format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
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

struct Case {
  const char* format;
  TraceArg arg;
  const char* expected;
};

TEST(TraceFormat, OneConversion) {
  const void* const address = reinterpret_cast<const void*>(uintptr_t{0x12ab34cd});
  const Case cases[] = {
      // Widths of integers are the target's: long is 32 bits.
      {"%d", -1, "-1"},
      {"%i", INT_MIN, "-2147483648"},
      {"%ld", 0x1FFFFFFFFull, "-1"},
      {"%lu", 0xFFFFFFFFFFull, "4294967295"},
      {"%lx", -1, "ffffffff"},
      {"%u", -1, "4294967295"},
      {"%hd", 0x18000, "-32768"},
      {"%hu", 0x1FFFF, "65535"},
      {"%hhx", 0x1FF, "ff"},
      {"%lld", -5ll, "-5"},
      {"%I64d", LLONG_MIN, "-9223372036854775808"},
      {"%I64x", 0xFEDCBA9876543210ull, "fedcba9876543210"},
      {"%I32u", 0x100000001ull, "1"},
      {"%Iu", 0x100000001ull, "4294967297"},
      {"%zu", 0x100000001ull, "4294967297"},
      {"%o", 8, "10"},
      // Flags, width, precision.
      {"%5d|", 42, "   42|"},
      {"%-5d|", 42, "42   |"},
      {"%05d", -42, "-0042"},
      {"%+d", 42, "+42"},
      {"% d", 42, " 42"},
      {"%.3d", 7, "007"},
      {"%06.3d|", 7, "   007|"},
      {"%.0d|", 0, "|"},
      {"0x%08X", 0xBEEF, "0x0000BEEF"},
      {"%#x", 255, "0xff"},
      {"%#x", 0, "0"},
      {"%#o", 8, "010"},
      // Text.
      {"<%s>", "text", "<text>"},
      {"%hs", "narrow", "narrow"},
      {"%8s|", "text", "    text|"},
      {"%-8s|", "text", "text    |"},
      {"%.2s", "text", "te"},
      {"%s", static_cast<const char*>(nullptr), "(null)"},
      {"%.3s", static_cast<const char*>(nullptr), "(nu"},
      {"%ls", static_cast<const WideChar*>(nullptr), "(null)"},
      {"%c", 'A', "A"},
      {"%3c|", 'A', "  A|"},
      {"%C", 0x41, "A"},
      // Pointers: sixteen upper-case digits.
      {"%p", address, "0000000012AB34CD"},
      {"%p", static_cast<const void*>(nullptr), "0000000000000000"},
      {"%18p", address, "  0000000012AB34CD"},
      // Reals.
      {"%f", 2.5, "2.500000"},
      {"%.1f", 0.25, "0.2"},
      {"%7.2f|", -3.14159, "  -3.14|"},
      {"%07.2f", -3.14159, "-003.14"},
      {"%g", 2.2, "2.2"},
      {"%g", 1e20, "1e+20"},
      {"%e", 12345.678, "1.234568e+04"},
      {"%G", 1e-10, "1E-10"},
      {"%f", std::numeric_limits<double>::infinity(), "inf"},
      // What is no conversion, and arguments that do not fit.
      {"100%%", 0, "100%"},
      {"%", 0, ""},
      {"%l", 0, ""},
      {"%y", 0, "y"},
      {"%n", 0, "n"},
      {"%s", 5, "(?)"},
      {"%s", 1.5, "(?)"},
      {"%s", static_cast<const void*>(nullptr), "(null)"},
      {"%p", 1.5, "(?)"},
      {"%a", 1.5, "0x1.8p+0"},
      {"%d", "text", "(?)"},
      {"%d", 1.5, "(?)"},
      {"%f", 5, "(?)"},
      {"%c", "text", "(?)"},
      {"%x", address, "12ab34cd"},
  };
  for (const Case& c : cases) {
    char out[64];
    const size_t length = FormatTrace(out, sizeof out, c.format, &c.arg, 1);
    EXPECT_STREQ(c.expected, out) << c.format;
    EXPECT_EQ(std::string(c.expected).size(), length) << c.format;
  }
}

TEST(TraceFormat, SeveralArguments) {
  const WideChar wide[] = {'w', 0xE9, 'd', 'e', 0};
  const unsigned char model[] = "MODEL";
  EXPECT_EQ("a 1 b two c 3", Format("a %d b %s c %u", 1, "two", 3u));
  EXPECT_EQ("model MODEL, " + Narrow(wide), Format("model %s, %ws", model, wide));
  EXPECT_EQ("w", Format("%.1ls", static_cast<const WideChar*>(wide)));
  EXPECT_EQ("  7|7  |07", Format("%*d|%-*d|%0*d", 3, 7, 3, 7, 2, 7));
  EXPECT_EQ("7  |", Format("%*d|", -3, 7));
  EXPECT_EQ("te|3.1", Format("%.*s|%.*f", 2, "text", 1, 3.14159));
  EXPECT_EQ("text", Format("%.*s", -1, "text"));
  EXPECT_EQ("1 (?) (?)", Format("%d %d %s", 1));
  EXPECT_EQ("unused", Format("unused", 1, 2));
  EXPECT_EQ("", Format(nullptr));
  EXPECT_EQ("std string", Format("%s", std::string("std string")));
}

// A precise text need not have a terminator behind the characters that are wanted.
TEST(TraceFormat, ReadsNoFurtherThanThePrecision) {
  const std::vector<char> narrow = {'a', 'b', 'c'};
  const std::vector<WideChar> wide = {'a', 'b', 'c'};
  EXPECT_EQ("abc", Format("%.3s", narrow.data()));
  EXPECT_EQ("abc", Format("%.3ls", wide.data()));
}

TEST(TraceFormat, CutsAtTheEndOfTheBuffer) {
  constexpr size_t kSize = 16384;
  const std::string letters(20000, 'm');
  struct {
    const char* format;
    TraceArg arg;
  } const cases[] = {
      {"%s", letters.c_str()},
      {"%20000d", 1},
      {"%-20000d", 1},
      {"%.20000d", 1},
      {"%020000d", 1},
      {"%2147483647s", "x"},
      {"%99999999999999999999d", 1},
      {letters.c_str(), 0},
      {"%16383d", 1},
  };
  for (const auto& c : cases) {
    std::vector<char> out(kSize + 1, '#');
    EXPECT_EQ(kSize - 1, FormatTrace(out.data(), kSize, c.format, &c.arg, 1));
    EXPECT_EQ('\0', out[kSize - 1]);
    EXPECT_EQ('#', out[kSize]);
  }
  char one = '#';
  const TraceArg arg = "text";
  EXPECT_EQ(0u, FormatTrace(&one, 1, "%s", &arg, 1));
  EXPECT_EQ('\0', one);
}

}  // namespace
}  // namespace scantk
