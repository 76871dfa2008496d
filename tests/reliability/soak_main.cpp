// scantk-soak: thousands of scan jobs from devices that fail at random, in many processes.
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/reliability/soak_job.h"
#include "tests/reliability/soak_plan.h"
#include "tests/reliability/soak_workers.h"

namespace scantk::test {
namespace {

constexpr char kHelp[] =
    "scantk-soak [options]\n"
    "  --seed N            of everything that is drawn (1)\n"
    "  --jobs N            how many (10000)\n"
    "  --first N           number of the first (1)\n"
    "  --workers N         processes at once (64)\n"
    "  --transport NAME    net, usb, dot4 or all (all)\n"
    "  --quick             no faults that outlast a time-out of the toolkit\n"
    "  --job-seconds N     a job that takes longer is lost (3600)\n"
    "  --job N             that job alone; with --trace FILE the toolkit's trace, with --log FILE\n"
    "                      the device's conversation goes to a file\n";

uint32_t IoType(const std::string& name) {
  if (name == "all") return 0;
  if (name == "net") return T_IO_NETWORK;
  if (name == "usb") return T_IO_USB;
  if (name == "dot4") return T_IO_DOT4;
  throw std::invalid_argument("no transport is called " + name);
}

int RunAlone(const SoakOptions& options, int64_t number, const JobOptions& job) {
  const SoakPlan plan = MakePlan(options.seed, number, options.io_type, options.quick);
  std::printf("job %lld: %s\n", static_cast<long long>(number), Text(plan).c_str());
  const JobReport report = RunJob(plan, job);
  for (const std::string& failure : report.failures) std::printf("  %s\n", failure.c_str());
  std::printf("%s: %d strikes, %d whole pages, %lld bytes\n",
              report.failures.empty() ? "passed" : "FAILED", report.strikes, report.pages,
              static_cast<long long>(report.bytes));
  return report.failures.empty() ? 0 : 1;
}

int Main(int argc, char** argv) {
  SoakOptions options;
  JobOptions job;
  int64_t alone = -1;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--quick") {
      options.quick = true;
      continue;
    }
    if (i + 1 == argc) throw std::invalid_argument(kHelp);
    const std::string value = argv[++i];
    if (name == "--seed")
      options.seed = std::stoull(value);
    else if (name == "--jobs")
      options.jobs = std::stoll(value);
    else if (name == "--first")
      options.first = std::stoll(value);
    else if (name == "--workers")
      options.workers = std::stoi(value);
    else if (name == "--transport")
      options.io_type = IoType(value);
    else if (name == "--job-seconds")
      options.job_seconds = std::stoi(value);
    else if (name == "--job")
      alone = std::stoll(value);
    else if (name == "--trace")
      job.trace_path = value;
    else if (name == "--log")
      job.device_log = value;
    else
      throw std::invalid_argument(kHelp);
  }
  if (options.jobs < 1 || options.workers < 1) throw std::invalid_argument(kHelp);
  if (alone >= 0) return RunAlone(options, alone, job);
  return RunSoak(options) ? 0 : 1;
}

}  // namespace
}  // namespace scantk::test

int main(int argc, char** argv) {
  try {
    return scantk::test::Main(argc, argv);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
    return 2;
  }
}
