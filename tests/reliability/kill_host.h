// The host that the kill loop kills, and the steps of its job.
#ifndef SCANTK_TESTS_RELIABILITY_KILL_HOST_H_
#define SCANTK_TESTS_RELIABILITY_KILL_HOST_H_

#include <cstdint>
#include <string>

namespace scantk::test {

// What the host is at; it says so before each, one byte a step.
enum class Step : char {
  kLoad,  // of the library
  kOpen,
  kLock,
  kCapabilities,  // which are stored in the registry
  kBufferInfo,
  kStart,
  kRead,
  kStop,
  kUnlock,
  kClose,
  kDone,  // the job; another begins
};
inline constexpr int kSteps = 11;
const char* Name(Step step);

// Opens, scans and closes `jobs` times, -1 for ever, and writes its steps to `progress`. 0 when all
// went well.
int RunKilledHost(const std::string& device, uint32_t io_type, int progress, int jobs);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_RELIABILITY_KILL_HOST_H_
