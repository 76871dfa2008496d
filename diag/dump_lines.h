// The lines of a record dump: a label and what stands behind it.
#ifndef SCANTK_DIAG_DUMP_LINES_H_
#define SCANTK_DIAG_DUMP_LINES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "diag/trace_format.h"
#include "diag/trace_log.h"

namespace scantk {

// A value, or a bit of a set, and how it is printed.
struct Name {
  uint32_t value;
  const char* text;
};

// The lines of one dump.
class Dump {
 public:
  explicit Dump(TraceLine& line) : line_(line) {}

  void Line(const char* text) { line_.append(text).append("\n"); }
  void Number(const char* label, uint32_t value) {
    Label(label);
    AppendFormatted(line_, "%u\n", value);
  }
  void Text(const char* label, const char* value) {
    Label(label);
    Line(value);
  }
  void Bool(const char* label, uint32_t value) { Text(label, value ? "TRUE" : "FALSE"); }
  // A device's text: ends at its first NUL or at the field's end.
  template <size_t kSize>
  void Chars(const char* label, const uint8_t (&value)[kSize]) {
    Label(label);
    line_.append(value, std::find(value, value + kSize, 0)).append("\n");
  }
  // The entries before the first 0.
  template <size_t kSize>
  void List(const char* label, const uint8_t (&value)[kSize]) {
    Label(label);
    for (size_t i = 0; i < kSize && value[i] != 0; ++i) AppendFormatted(line_, "%u, ", value[i]);
    line_.append("\n");
  }
  void Set(const char* label, uint32_t value, const Name* names, size_t count) {
    Label(label);
    AppendSet(value, names, count);
  }
  template <size_t kCount>
  void Set(const char* label, uint32_t value, const Name (&names)[kCount]) {
    Set(label, value, names, kCount);
  }
  template <size_t kCount>
  void One(const char* label, uint32_t value, const Name (&names)[kCount]) {
    Label(label);
    AppendOne(value, names);
    line_.append("\n");
  }
  template <size_t kCount>
  void AppendOne(uint32_t value, const Name (&names)[kCount],
                 const char* unknown = "unknown type: 0x%x") {
    const Name* name =
        std::find_if(names, names + kCount, [&](const Name& n) { return n.value == value; });
    if (name == names + kCount)
      AppendFormatted(line_, unknown, value);
    else
      line_.append(name->text);
  }
  // Every text but the list's first is led by a bar, also when it is the only one.
  void AppendSet(uint32_t value, const Name* names, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      if (!(value & names[i].value)) continue;
      line_.append(i == 0 ? "" : "| ").append(names[i].text).append(" ");
    }
    line_.append("\n");
  }
  void Label(const char* label) { line_.append(label).append(" = "); }
  TraceLine& line() { return line_; }

 private:
  TraceLine& line_;
};

}  // namespace scantk

#endif  // SCANTK_DIAG_DUMP_LINES_H_
