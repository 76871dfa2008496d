// The system as the toolkit meets it: its heap, counted, and the calls for files, of both of which
// one fails on demand. The heap is the program's operator new; what allocates otherwise is not
// seen.
#ifndef SCANTK_TESTS_SWEEP_FAILING_SYSTEM_H_
#define SCANTK_TESTS_SWEEP_FAILING_SYSTEM_H_

#include <atomic>
#include <cstdint>

namespace scantk::test {

inline thread_local int toolkits_at_work = 0, tests_at_work = 0;

// While one lives on this thread the toolkit is at work: what it does counts, and may fail.
struct ToolkitAtWork {
  ToolkitAtWork() { ++toolkits_at_work; }
  ~ToolkitAtWork() { --toolkits_at_work; }
};

// While one lives it does not: the toolkit has called the test.
struct TestAtWork {
  TestAtWork() { ++tests_at_work; }
  ~TestAtWork() { --tests_at_work; }
};

class Failing {
 public:
  // Starts counting; the one of this number, 0 being the first, fails, none when it is negative.
  void Begin(int64_t number = -1) { count_ = 0, number_ = number; }
  int64_t Count() const { return count_; }
  // Counts one; true: it fails.
  bool Strikes() { return toolkits_at_work > 0 && tests_at_work == 0 && count_++ == number_; }

 private:
  std::atomic<int64_t> count_{0}, number_{-1};
};
extern Failing failing_allocations, failing_file_calls;

// The most bytes that were allocated beyond those at the last call of this.
int64_t TakePeakBytes();

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_FAILING_SYSTEM_H_
