// A host in the same process as the toolkit: it runs one job and watches every method.
#ifndef SCANTK_TESTS_SWEEP_SWEEP_HOST_H_
#define SCANTK_TESTS_SWEEP_SWEEP_HOST_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/sweep/legal_outcomes.h"
#include "tests/sweep/virtual_network.h"

namespace scantk::test {

struct SweepJob {
  const char* name;
  uint32_t mode;  // T_COLOR and so on
  bool jpeg;
  int sheets;              // 0: from the glass
  uint32_t width, length;  // 1/300 inch
  bool reserves = false;   // the device before, and resets it behind
};

// What a job has brought.
struct JobRecord {
  std::vector<std::vector<uint8_t>> pages;
  uint32_t row_bytes = 0;
  // After each read: the bytes that the device had sent by then, and the image bytes delivered.
  struct Progress {
    int64_t to_host;
    size_t image;
  };
  std::vector<Progress> progress;
  std::vector<int64_t> longest = std::vector<int64_t>(16);  // virtual ms of each Method
  std::vector<std::string> problems;                        // what should not have happened
  bool finished = false;                                    // every page, to its end
};

// What may be the reason for answers that are not legal otherwise.
enum class Excuse {
  kNone,
  kDeviceLies,   // it may have granted a page and then made another
  kSystemFails,  // memory or a call: any method may fail
};

// `device` is the name under which the device is installed.
JobRecord RunJob(const SweepJob& job, const std::string& device, VirtualClock* clock,
                 const VirtualNetwork& network, Excuse excuse);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_SWEEP_HOST_H_
