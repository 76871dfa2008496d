// How long a method may hold its host, whatever the device does: computed from the waits that it is
// made of.
#ifndef SCANTK_TESTS_SWEEP_TIME_BOUNDS_H_
#define SCANTK_TESTS_SWEEP_TIME_BOUNDS_H_

#include <cstdint>

#include "tests/reliability/legal_outcomes.h"

namespace scantk::test {

// The waits of the network transport, in milliseconds.
inline constexpr int64_t kConnectWait = 10000;  // for a connection to be made
inline constexpr int64_t kReadWait = 30000;     // for a byte
inline constexpr int64_t kFlushWait = 500;      // for a byte, while a device is drained
inline constexpr int64_t kFinishWait = 200;     // for a device to take what was written last

// An answer is waited for up to six times; its content once more.
inline constexpr int64_t kAnswer = 6 * kReadWait;
// A connection that is made, and the greeting; a lost one is given up first.
inline constexpr int64_t kConnection = kFinishWait + kConnectWait + kReadWait;

int64_t TimeBound(Method method);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_TIME_BOUNDS_H_
