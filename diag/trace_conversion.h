// One conversion of a trace line's format: what stands behind a percent sign.
#ifndef SCANTK_DIAG_TRACE_CONVERSION_H_
#define SCANTK_DIAG_TRACE_CONVERSION_H_

#include <cstddef>

#include "diag/trace_format.h"

namespace scantk {

// The arguments, taken one after the other.
class TraceArguments {
 public:
  TraceArguments(const TraceArg* args, size_t count) : next_(args), end_(args + count) {}
  const TraceArg* Next() { return next_ == end_ ? nullptr : next_++; }
  int NextInt() {
    const TraceArg* arg = Next();
    return arg && arg->kind == TraceArg::Kind::kInteger ? static_cast<int>(arg->integer) : 0;
  }

 private:
  const TraceArg* next_;
  const TraceArg* end_;
};

// One conversion as the format states it.
struct Conversion {
  bool left = false, plus = false, blank = false, alternate = false, zero = false;
  size_t width = 0;
  int precision = -1;  // -1: none given
  int bits = 32;       // of an integer
  bool wide = false;   // text is said to be wide
  char type = '\0';    // NUL: the format ended within it
};

// Takes a conversion from *format on, which is behind its percent sign and ends up behind its type.
// Width and precision may be the next arguments.
Conversion ParseConversion(const char** format, TraceArguments* args);

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_CONVERSION_H_
