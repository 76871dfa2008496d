// The grammar of a device's answer to an inquiry: the inquiry again, its kind letter turned into an
// answer letter, a number, and one letter that ends it.
#ifndef SCANTK_PROTOCOL_ANSWER_PARSER_H_
#define SCANTK_PROTOCOL_ANSWER_PARSER_H_

#include <cstdint>

#include "protocol/qrl_status.h"

namespace scantk {

// What ends an answer: a number, the length of the string that follows, no value.
inline constexpr char kNumberEnd = 'V';
inline constexpr char kStringEnd = 'W';
inline constexpr char kNullEnd = 'N';

struct Answer {
  enum class Fault { kNone, kEcho, kEnd };

  QrlStatus status;  // 0, SL_NULLRESPONSE, or SL_BADRESPONSE
  int32_t value;     // as far as it was read; beyond 32 bits it stops at the end of the range
  Fault fault;       // what is wrong with a bad response
};

// Both texts are NUL-terminated.
Answer ParseAnswer(const char* inquiry, const char* answer, char terminator);

// The decimal number at the start of `text`, after an optional '-'; 0 without digits. Stops at the
// end of the 32-bit range. *end, when given, is behind the last digit.
int32_t ParseDecimal(const char* text, const char** end);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_ANSWER_PARSER_H_
