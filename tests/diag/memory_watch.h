// The program's allocations: counted, and refused at will.
#ifndef SCANTK_TESTS_DIAG_MEMORY_WATCH_H_
#define SCANTK_TESTS_DIAG_MEMORY_WATCH_H_

#include <atomic>

namespace scantk {

extern std::atomic<int> allocations;
extern std::atomic<bool> refuse_memory;

}  // namespace scantk

#endif  // SCANTK_TESTS_DIAG_MEMORY_WATCH_H_
