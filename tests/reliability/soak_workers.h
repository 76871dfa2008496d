// Runs the jobs of a soak in many processes at once, so that their waits overlap.
#ifndef SCANTK_TESTS_RELIABILITY_SOAK_WORKERS_H_
#define SCANTK_TESTS_RELIABILITY_SOAK_WORKERS_H_

#include <cstdint>
#include <string>

namespace scantk::test {

struct SoakOptions {
  uint64_t seed = 1;
  int64_t first = 1;  // number of the first job
  int64_t jobs = 10000;
  int workers = 64;
  uint32_t io_type = 0;  // 0: any
  bool quick = false;
  int job_seconds = 3600;  // a job that takes longer is lost
};

// The command that runs job `number` alone.
std::string RepeatCommand(const SoakOptions& options, int64_t number);

// Prints failures as they come, counts and a summary line at the end. True when nothing failed.
bool RunSoak(const SoakOptions& options);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_RELIABILITY_SOAK_WORKERS_H_
