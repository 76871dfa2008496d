// Calls of the operating system that fail on demand while the toolkit is at work
// (ToolkitAtWork): what opens, reads, writes and renames files.
#ifndef SCANTK_TESTS_SWEEP_FAILING_CALLS_H_
#define SCANTK_TESTS_SWEEP_FAILING_CALLS_H_

#include <cstdint>

namespace scantk::test {

// Starts counting; the call `number`, 0 being the first, fails with EIO, none when it is negative.
void CountSystemCalls(int64_t number = -1);
int64_t CountedSystemCalls();

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_FAILING_CALLS_H_
