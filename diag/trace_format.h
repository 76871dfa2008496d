// printf-style formatting of trace lines with the target's meaning of the conversions on every
// system: %ld, %lx and %lu are 32 bits wide, %hs is narrow text, %ws and %ls are UTF-16 text, %p is
// a pointer. The arguments carry their types, so that a wrong conversion prints something harmless.
#ifndef SCANTK_DIAG_TRACE_FORMAT_H_
#define SCANTK_DIAG_TRACE_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "contract/component_types.h"

namespace scantk {

// One argument of a trace line. Text is borrowed for the call.
class TraceArg {
 public:
  enum class Kind : uint8_t { kInteger, kReal, kNarrow, kWide, kPointer };

  template <class T, std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, int> = 0>
  TraceArg(T value) : kind(Kind::kInteger), integer(static_cast<uint64_t>(value)) {}
  TraceArg(double value) : kind(Kind::kReal), real(value) {}
  TraceArg(const char* text) : kind(Kind::kNarrow), narrow(text) {}
  // Text of the records, whose characters are bytes.
  TraceArg(const unsigned char* text)
      : kind(Kind::kNarrow), narrow(reinterpret_cast<const char*>(text)) {}
  TraceArg(const std::string& text) : kind(Kind::kNarrow), narrow(text.c_str()) {}
  TraceArg(const WideChar* text) : kind(Kind::kWide), wide(text) {}
  TraceArg(const void* value) : kind(Kind::kPointer), pointer(value) {}
  TraceArg(std::nullptr_t) : kind(Kind::kPointer), pointer(nullptr) {}

  Kind kind;
  union {
    uint64_t integer;  // sign-extended from the argument's own width
    double real;
    const char* narrow;
    const WideChar* wide;
    const void* pointer;
  };
};

// Writes at most `size` - 1 characters and a NUL to `out` (a longer message is cut); returns the
// number of characters before the NUL. `size` is at least 1, `args` holds `count` arguments.
//
// Understood: flags "-+ #0", width and precision (also "*"), the widths h, hh, l, ll, w, I, I32,
// I64, j, z, t, and the conversions d i u x X o c C s S p f F e E g G a A and "%%". A missing
// argument, or one that the conversion cannot show, prints "(?)"; a null text prints "(null)"; any
// other character after a '%' prints as it stands. May throw std::bad_alloc when wide text is
// converted.
size_t FormatTrace(char* out, size_t size, const char* format, const TraceArg* args, size_t count);

// Appends a short formatted text (at most 511 characters) to a line.
template <class... Args>
void AppendFormatted(std::string& line, const char* format, const Args&... args) {
  char text[512];
  const TraceArg list[] = {TraceArg(args)..., TraceArg(0)};
  line.append(text, FormatTrace(text, sizeof text, format, list, sizeof...(args)));
}

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_FORMAT_H_
