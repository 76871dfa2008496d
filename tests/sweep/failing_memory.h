// The program's heap, counted, with an allocation that fails on demand. It replaces the global
// operator new; what allocates otherwise is not seen.
#ifndef SCANTK_TESTS_SWEEP_FAILING_MEMORY_H_
#define SCANTK_TESTS_SWEEP_FAILING_MEMORY_H_

#include <cstdint>

namespace scantk::test {

// While one lives on this thread the toolkit is at work: allocations count, and may fail.
class ToolkitAtWork {
 public:
  ToolkitAtWork();
  ~ToolkitAtWork();
};

// While one lives they do not: the toolkit has called the test.
class TestAtWork {
 public:
  TestAtWork();
  ~TestAtWork();
};

// Whether the toolkit is at work on this thread.
bool IsToolkitAtWork();

// Starts counting; the allocation `number`, 0 being the first, fails, none when it is negative.
void CountAllocations(int64_t number = -1);
int64_t CountedAllocations();
// The most bytes that were allocated beyond those at the start of the counting.
int64_t PeakBytes();

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_FAILING_MEMORY_H_
