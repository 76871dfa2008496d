// What a process holds, to be compared before and after.
#ifndef SCANTK_TESTS_RELIABILITY_LEAK_WATCH_H_
#define SCANTK_TESTS_RELIABILITY_LEAK_WATCH_H_

#include <cstddef>
#include <string>

namespace scantk::test {

struct Holdings {
  size_t heap = 0;      // bytes allocated and not freed; 0 when the allocator does not tell
  size_t resident = 0;  // bytes of memory
  int files = 0;        // open descriptors
  int threads = 0;

  static Holdings Now();
};

// Their targets, for a message.
std::string OpenFiles();

// The lock file of the named semaphore `name` ("Global\..."): whether anybody holds its count or
// has it open. Sees the holders of this process as well.
bool SemaphoreHeld(const std::string& name);
bool SemaphoreOpen(const std::string& name);
// Takes the file away, when nobody has it open.
void RemoveSemaphore(const std::string& name);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_RELIABILITY_LEAK_WATCH_H_
