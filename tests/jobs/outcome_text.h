// Outcomes as conversations write them.
#ifndef SCANTK_TESTS_JOBS_OUTCOME_TEXT_H_
#define SCANTK_TESTS_JOBS_OUTCOME_TEXT_H_

#include <string>
#include <vector>

#include "tests/contract/toolkit.h"

namespace scantk::test {

// "ok", a result by name and behind it a code by name; E_FAIL is left out where there is a code.
std::string Text(const Outcome& outcome);

// What such words stand for. "untouched": the code was not written. Throws std::runtime_error for
// words that stand for nothing.
Outcome OutcomeNamed(const std::vector<std::string>& words);
inline constexpr uint32_t kUntouched = 0xDEADBEEF;

// Whether a host that uses a method rightly may get this from it, whatever the device does.
bool IsLegal(const std::string& method, const Outcome& outcome);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_OUTCOME_TEXT_H_
