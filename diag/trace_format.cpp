#include "diag/trace_format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "diag/trace_conversion.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr char kUnusable[] = "(?)";
constexpr int kMaxRealPrecision = 100;  // digits behind the point; more than any line needs
constexpr int kMaxIntegerDigits = 64;   // octal digits of 64 bits, and zeros by precision

// The output: takes what fits and drops the rest.
class Sink {
 public:
  Sink(char* out, size_t size) : out_(out), room_(size - 1) {}

  void Put(const char* text, size_t length) {
    const size_t taken = std::min(length, room_ - used_);
    std::memcpy(out_ + used_, text, taken);
    used_ += taken;
  }
  void Put(char c) { Put(&c, 1); }
  void Fill(size_t count, char c) {
    const size_t taken = std::min(count, room_ - used_);
    std::memset(out_ + used_, c, taken);
    used_ += taken;
  }
  size_t Finish() {
    out_[used_] = '\0';
    return used_;
  }

 private:
  char* out_;
  size_t room_;
  size_t used_ = 0;
};

// Sign or prefix, zeros, digits; and the blanks that the width asks for.
void PutNumber(Sink& sink, const Conversion& c, const char* prefix, size_t zeros,
               const char* digits, size_t length) {
  const size_t prefix_length = std::strlen(prefix);
  const size_t total = prefix_length + zeros + length;
  const size_t padding = c.width > total ? c.width - total : 0;
  const bool zero_padding = c.zero && !c.left;
  if (!c.left && !zero_padding) sink.Fill(padding, ' ');
  sink.Put(prefix, prefix_length);
  sink.Fill(zeros + (zero_padding ? padding : 0), '0');
  sink.Put(digits, length);
  if (c.left) sink.Fill(padding, ' ');
}

const char* SignOf(const Conversion& c, bool negative) {
  return negative ? "-" : c.plus ? "+" : c.blank ? " " : "";
}

void ToUpper(char* text, size_t length) {
  for (size_t i = 0; i < length; ++i)
    if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<char>(text[i] - 'a' + 'A');
}

void PutInteger(Sink& sink, Conversion c, uint64_t value) {
  const int unused = 64 - c.bits;
  value = value << unused >> unused;
  const char* prefix = "";
  int base = 10;
  if (c.type == 'd' || c.type == 'i') {
    const bool negative = value >> (c.bits - 1) & 1;
    if (negative) value = (~value + 1) << unused >> unused;
    prefix = SignOf(c, negative);
  } else if (c.type == 'x' || c.type == 'X') {
    base = 16;
    if (c.alternate && value != 0) prefix = c.type == 'x' ? "0x" : "0X";
  } else if (c.type == 'o') {
    base = 8;
    if (c.alternate && value != 0) prefix = "0";
  }
  char digits[kMaxIntegerDigits];
  size_t length = 0;
  if (value != 0 || c.precision != 0)
    length = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, value, base).ptr -
                                 digits);
  if (c.type == 'X') ToUpper(digits, length);
  const size_t wanted = static_cast<size_t>(std::max(c.precision, 0));
  if (c.precision >= 0) c.zero = false;
  PutNumber(sink, c, prefix, wanted > length ? wanted - length : 0, digits, length);
}

void PutReal(Sink& sink, Conversion c, double value) {
  const char lower = static_cast<char>(c.type | 0x20);
  const auto format = lower == 'f'   ? std::chars_format::fixed
                      : lower == 'e' ? std::chars_format::scientific
                      : lower == 'g' ? std::chars_format::general
                                     : std::chars_format::hex;
  char digits[512];  // 309 digits before the point, kMaxRealPrecision behind it
  char* const end = digits + sizeof digits;
  const double magnitude = std::fabs(value);
  std::to_chars_result result = {digits, std::errc()};
  if (lower == 'a' && c.precision < 0) {
    result = std::to_chars(digits, end, magnitude, format);
  } else {
    const int precision = c.precision < 0 ? 6 : std::min(c.precision, kMaxRealPrecision);
    result = std::to_chars(digits, end, magnitude, format, precision);
  }
  const size_t length = static_cast<size_t>(result.ptr - digits);
  if (lower != c.type) ToUpper(digits, length);
  if (!std::isfinite(value)) c.zero = false;
  std::string prefix = SignOf(c, std::signbit(value));
  if (lower == 'a' && std::isfinite(value)) prefix += lower == c.type ? "0x" : "0X";
  PutNumber(sink, c, prefix.c_str(), 0, digits, length);
}

void PutText(Sink& sink, const Conversion& c, const char* text, size_t length) {
  const size_t padding = c.width > length ? c.width - length : 0;
  if (!c.left) sink.Fill(padding, ' ');
  sink.Put(text, length);
  if (c.left) sink.Fill(padding, ' ');
}

void PutText(Sink& sink, const Conversion& c, const char* text) {
  PutText(sink, c, text, std::strlen(text));
}

// At most `limit` characters of a text that may lack its terminator behind them.
template <class Char>
size_t BoundedLength(const Char* text, size_t limit) {
  size_t length = 0;
  while (length < limit && text[length] != 0) ++length;
  return length;
}

void PutString(Sink& sink, const Conversion& c, const TraceArg& arg) {
  const size_t limit = c.precision < 0 ? SIZE_MAX : static_cast<size_t>(c.precision);
  if (arg.kind == TraceArg::Kind::kNarrow || arg.kind == TraceArg::Kind::kWide) {
    if (arg.pointer == nullptr) return PutText(sink, c, "(null)", std::min<size_t>(limit, 6));
    if (arg.kind == TraceArg::Kind::kNarrow)
      return PutText(sink, c, arg.narrow, BoundedLength(arg.narrow, limit));
    if (c.precision < 0) return PutText(sink, c, Narrow(arg.wide).c_str());
    const std::basic_string<WideChar> cut(arg.wide, BoundedLength(arg.wide, limit));
    return PutText(sink, c, Narrow(cut.c_str()).c_str());
  }
  if (arg.kind == TraceArg::Kind::kPointer && arg.pointer == nullptr)
    return PutText(sink, c, "(null)", std::min<size_t>(limit, 6));
  PutText(sink, c, kUnusable);
}

void PutCharacter(Sink& sink, const Conversion& c, const TraceArg& arg) {
  if (arg.kind != TraceArg::Kind::kInteger) return PutText(sink, c, kUnusable);
  if (c.wide) {
    const WideChar text[] = {static_cast<WideChar>(arg.integer), 0};
    return PutText(sink, c, Narrow(text).c_str());
  }
  const char character = static_cast<char>(arg.integer);
  PutText(sink, c, &character, 1);
}

// Whatever the argument is, as the number behind it; false for what is none.
bool AsInteger(const TraceArg& arg, uint64_t* value) {
  if (arg.kind == TraceArg::Kind::kInteger)
    *value = arg.integer;
  else if (arg.kind == TraceArg::Kind::kPointer)
    *value = reinterpret_cast<uintptr_t>(arg.pointer);
  else
    return false;
  return true;
}

void PutPointer(Sink& sink, Conversion c, const TraceArg& arg) {
  uint64_t value = 0;
  if (!AsInteger(arg, &value)) {
    if (arg.kind == TraceArg::Kind::kReal) return PutText(sink, c, kUnusable);
    value = reinterpret_cast<uintptr_t>(arg.pointer);
  }
  c.type = 'X';
  c.bits = 64;
  c.precision = 16;
  PutInteger(sink, c, value);
}

void PutConversion(Sink& sink, Conversion c, TraceArguments& args) {
  if (std::strchr("CS", c.type)) {
    c.wide = true;
    c.type = static_cast<char>(c.type | 0x20);
  }
  const TraceArg* arg = args.Next();
  if (!arg) return PutText(sink, c, kUnusable);
  if (c.type == 's') return PutString(sink, c, *arg);
  if (c.type == 'c') return PutCharacter(sink, c, *arg);
  if (c.type == 'p') return PutPointer(sink, c, *arg);
  if (std::strchr("diuxXo", c.type)) {
    uint64_t value = 0;
    if (AsInteger(*arg, &value)) return PutInteger(sink, c, value);
  } else if (arg->kind == TraceArg::Kind::kReal) {
    return PutReal(sink, c, arg->real);
  }
  PutText(sink, c, kUnusable);
}

}  // namespace

size_t FormatTrace(char* out, size_t size, const char* format, const TraceArg* args, size_t count) {
  Sink sink(out, size);
  TraceArguments arguments(args, count);
  for (const char* p = format ? format : ""; *p;) {
    const size_t literal = std::strcspn(p, "%");
    sink.Put(p, literal);
    p += literal;
    if (*p == '\0') break;
    ++p;
    const Conversion c = ParseConversion(&p, &arguments);
    if (c.type == '\0') break;
    if (std::strchr("diuxXocCsSpfFeEgGaA", c.type))
      PutConversion(sink, c, arguments);
    else
      sink.Put(c.type);
  }
  return sink.Finish();
}

}  // namespace scantk
