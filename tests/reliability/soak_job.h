// One job of the soak: a host scans from a device that fails, and then from the same device healed.
#ifndef SCANTK_TESTS_RELIABILITY_SOAK_JOB_H_
#define SCANTK_TESTS_RELIABILITY_SOAK_JOB_H_

#include <string>
#include <vector>

#include "tests/reliability/soak_plan.h"

namespace scantk::test {

struct JobReport {
  std::vector<std::string> failures;  // what must not happen; empty when all is well
  int strikes = 0;                    // of faults and disturbances
  bool host_broke_off = false;
  bool host_noticed = false;  // a call did not succeed
  int pages = 0;              // read to their end, the clean one included
  int64_t bytes = 0;
};

struct JobOptions {
  std::string trace_path;  // gets the toolkit's trace; empty: none is written
  std::string device_log;  // gets the device's conversation
};

JobReport RunJob(const SoakPlan& plan, const JobOptions& options = {});

}  // namespace scantk::test

#endif  // SCANTK_TESTS_RELIABILITY_SOAK_JOB_H_
