// How long a method may hold its host when one thing goes wrong at the device: computed from the
// waits that it is made of.
#ifndef SCANTK_TESTS_SWEEP_TIME_BOUNDS_H_
#define SCANTK_TESTS_SWEEP_TIME_BOUNDS_H_

#include <cstdint>

#include "tests/sweep/legal_outcomes.h"

namespace scantk::test {

// Milliseconds; virtual time has no tolerance.
int64_t TimeBound(Method method);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_TIME_BOUNDS_H_
