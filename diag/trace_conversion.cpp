#include "diag/trace_conversion.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace scantk {
namespace {

int ParseNumber(const char*& p) {
  int value = 0;
  for (; *p >= '0' && *p <= '9'; ++p)
    if (value < 100000) value = value * 10 + (*p - '0');
  return value;
}

void ParseFlags(const char*& p, Conversion* c) {
  for (;; ++p) {
    switch (*p) {
      case '-':
        c->left = true;
        break;
      case '+':
        c->plus = true;
        break;
      case ' ':
        c->blank = true;
        break;
      case '#':
        c->alternate = true;
        break;
      case '0':
        c->zero = true;
        break;
      default:
        return;
    }
  }
}

void ParseWidthAndPrecision(const char*& p, TraceArguments& args, Conversion* c) {
  int width = 0;
  if (*p == '*') {
    ++p;
    width = args.NextInt();
    if (width < 0) {
      c->left = true;
      width = width == INT_MIN ? INT_MAX : -width;
    }
  } else {
    width = ParseNumber(p);
  }
  c->width = static_cast<size_t>(width);
  if (*p != '.') return;
  ++p;
  if (*p == '*') {
    ++p;
    c->precision = std::max(args.NextInt(), -1);
  } else {
    c->precision = ParseNumber(p);
  }
}

// On the target "l" leaves an integer at 32 bits and makes text wide.
void ParseSize(const char*& p, Conversion* c) {
  static constexpr struct {
    const char* text;
    int bits;
    bool wide;
  } kSizes[] = {
      {"hh", 8, false}, {"h", 16, false}, {"ll", 64, false},  {"l", 32, true},
      {"w", 32, true},  {"L", 32, false}, {"I64", 64, false}, {"I32", 32, false},
      {"I", 64, false}, {"j", 64, false}, {"z", 64, false},   {"t", 64, false},
  };
  for (const auto& size : kSizes) {
    const size_t length = std::strlen(size.text);
    if (std::strncmp(p, size.text, length) != 0) continue;
    p += length;
    c->bits = size.bits;
    c->wide = size.wide;
    return;
  }
}

}  // namespace

Conversion ParseConversion(const char** format, TraceArguments* args) {
  const char*& p = *format;
  Conversion c;
  ParseFlags(p, &c);
  ParseWidthAndPrecision(p, *args, &c);
  ParseSize(p, &c);
  c.type = *p;
  if (c.type != '\0') ++p;
  return c;
}

}  // namespace scantk
