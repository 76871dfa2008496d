#include "protocol/answer_parser.h"

#include <algorithm>
#include <limits>

namespace scantk {
namespace {

constexpr char kLetterPairs[][2] = {{'R', 'p'}, {'L', 'k'}, {'H', 'g'}, {'E', 'd'}, {'U', 't'}};

bool Answers(char kind, char letter) {
  return std::any_of(std::begin(kLetterPairs), std::end(kLetterPairs),
                     [&](const auto& pair) { return pair[0] == kind && pair[1] == letter; });
}

}  // namespace

int32_t ParseDecimal(const char* text, const char** end) {
  const bool negative = *text == '-';
  if (negative) ++text;
  constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
  int64_t magnitude = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    magnitude = std::min(magnitude * 10 + (*text - '0'), kMost + 1);
  }
  if (end) *end = text;
  return static_cast<int32_t>(negative ? -magnitude : std::min(magnitude, kMost));
}

Answer ParseAnswer(const char* inquiry, const char* answer, char terminator) {
  while (*inquiry && *answer && *inquiry == *answer) ++inquiry, ++answer;
  if (!Answers(*inquiry, *answer)) return {SL_BADRESPONSE, 0, Answer::Fault::kEcho};
  const char* end = nullptr;
  const int32_t value = ParseDecimal(answer + 1, &end);
  if (*end == kNullEnd) return {SL_NULLRESPONSE, value, Answer::Fault::kNone};
  if (*end != terminator) return {SL_BADRESPONSE, value, Answer::Fault::kEnd};
  return {SL_OK, value, Answer::Fault::kNone};
}

}  // namespace scantk
