// The single-fault sweep: toolkit and simulated device in one process, on a network and a clock of
// this program's own. For every place of a reference conversation and every kind of fault a job is
// run in which that fault strikes there; then a job in which nothing does, which must be perfect.
//
//   scantk-sweep [--sample N]         N places of each job and fault (20), spread evenly
//   scantk-sweep --all                every place
//   scantk-sweep --job J --fault F [--at N]
//   --traced                          with every line of the trace written
//
// A fault is a name of kFaults; its place a byte, a connection, a call of the network or of the
// system's files, or an allocation, the first being 0.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "simulator/scanner_core.h"
#include "tests/contract/toolkit.h"
#include "tests/sweep/failing_calls.h"
#include "tests/sweep/failing_memory.h"
#include "tests/sweep/sweep_host.h"
#include "tests/sweep/time_bounds.h"
#include "tests/sweep/virtual_network.h"

namespace {

using namespace scantk;
using namespace scantk::test;

constexpr SweepJob kJobs[] = {
    {"raw", T_COLOR, false, 0, 120, 80, true},
    {"jpeg", T_COLOR, true, 0, 256, 192},
    {"feeder", T_GREYSCALE, false, 2, 120, 60},
};
constexpr size_t kJpegTailRows = 17;  // may be guessed from a block that is not whole

enum class SystemFault : uint8_t { kNone, kMemory, kFile };

struct FaultName {
  const char* name;
  int64_t LineCounts::*places;  // null: of the system, not of the line
  LineFault line;
  bool true_bytes;  // the bytes that are delivered are the page's
  SystemFault system = SystemFault::kNone;
};
constexpr FaultName kFaults[] = {
    {"drop", &LineCounts::to_host, LineFault::kDrop, false},
    {"corrupt", &LineCounts::to_host, LineFault::kCorrupt, false},
    {"stall", &LineCounts::to_host, LineFault::kStall, true},
    {"silence", &LineCounts::to_host, LineFault::kSilence, true},
    {"close", &LineCounts::to_host, LineFault::kClose, true},
    {"reset", &LineCounts::to_host, LineFault::kReset, true},
    {"split", &LineCounts::to_host, LineFault::kSplit, true},
    {"sent-drop", &LineCounts::to_device, LineFault::kSentDrop, false},
    {"sent-corrupt", &LineCounts::to_device, LineFault::kSentCorrupt, false},
    {"sent-short", &LineCounts::to_device, LineFault::kSentShort, false},
    {"sent-reset", &LineCounts::to_device, LineFault::kSentReset, true},
    {"refuse", &LineCounts::connections, LineFault::kRefuse, true},
    {"unreachable", &LineCounts::connections, LineFault::kUnreachable, true},
    {"call", &LineCounts::calls, LineFault::kCall, true},
    {"memory", nullptr, LineFault::kNone, true, SystemFault::kMemory},
    {"file", nullptr, LineFault::kNone, true, SystemFault::kFile},
};

struct Options {
  std::string job, fault;
  int64_t at = -1;
  int64_t sample = 20;  // 0: all
  bool traced = false;
};

class Sweep {
 public:
  explicit Sweep(Options options) : options_(std::move(options)) {
    device_name_ = sandbox_.AddNetworkDevice("127.0.0.1");
    if (options_.traced) sandbox_.SwitchTraceOn();
    config_.paper = "pattern";
    config_.keep_log = false;
    config_.delivery.block_bytes = 512;
    config_.delivery.record_bytes = 200;
  }

  // The number of jobs that went wrong.
  int Run() {
    Learn(kJobs[0]);
    clean_ = reference_;
    clean_counts_ = counts_;
    for (const SweepJob& job : kJobs) {
      if (!options_.job.empty() && options_.job != job.name) continue;
      Learn(job);
      for (const FaultName& fault : kFaults)
        if (options_.fault.empty() || options_.fault == fault.name) SweepPlaces(job, fault);
    }
    for (size_t i = 0; i < longest_.size(); ++i)
      if (longest_[i] > 0)
        std::printf("longest %-14s %9lld ms of %lld\n", Name(static_cast<Method>(i)),
                    static_cast<long long>(longest_[i]),
                    static_cast<long long>(TimeBound(static_cast<Method>(i))));
    std::printf("%lld jobs with a fault, %d went wrong\n", static_cast<long long>(jobs_), wrong_);
    return wrong_;
  }

 private:
  std::unique_ptr<sim::ScannerCore> NewDevice(const SweepJob& job) {
    config_.sheets = job.sheets;
    return std::make_unique<sim::ScannerCore>(config_, nullptr,
                                              [this] { return clock_.Milliseconds(); });
  }

  // A file that has changed is read and taken apart anew.
  void ForgetRegistry() {
    sandbox_.SetDeviceText(device_name_, "DriverVersion", std::to_string(++registry_changes_));
    if (options_.traced) sandbox_.ClearTrace();
  }

  // Runs the job undisturbed: what it brings, and the places in it.
  void Learn(const SweepJob& job) {
    for (int i = 0; i < 2; ++i) {  // the first run of a device differs: it writes the registry
      auto device = NewDevice(job);
      network_.Begin(device.get());
      ForgetRegistry();
      CountAllocations();
      CountSystemCalls();
      reference_ = RunJob(job, device_name_, &clock_, network_, Excuse::kNone);
      counts_ = network_.Counts();
      allocations_ = CountedAllocations();
      system_calls_ = CountedSystemCalls();
      if (!reference_.finished || !reference_.problems.empty()) {
        std::fprintf(stderr, "the undisturbed job %s fails: %s\n", job.name,
                     reference_.problems.empty() ? "no page" : reference_.problems[0].c_str());
        std::exit(1);
      }
    }
    size_t image = 0;
    for (const auto& page : reference_.pages) image += page.size();
    std::printf(
        "%s: %lld bytes from the device, %lld to it, %lld calls, %lld allocations, %zu image "
        "bytes\n",
        job.name, static_cast<long long>(counts_.to_host),
        static_cast<long long>(counts_.to_device), static_cast<long long>(counts_.calls),
        static_cast<long long>(allocations_), image);
  }

  int64_t Places(const FaultName& fault) const {
    switch (fault.system) {
      case SystemFault::kNone:
        return counts_.*fault.places;
      case SystemFault::kMemory:
        return allocations_;
      case SystemFault::kFile:
        return system_calls_;
    }
    return 0;
  }

  void SweepPlaces(const SweepJob& job, const FaultName& fault) {
    const int64_t places = Places(fault);
    const int64_t step = options_.sample > 0 ? std::max<int64_t>(1, places / options_.sample) : 1;
    const int64_t jobs_before = jobs_;
    const int wrong_before = wrong_;
    const auto start = std::chrono::steady_clock::now();
    if (options_.at >= 0) {
      Strike(job, fault, options_.at);
    } else {
      // Not always the same byte of a block: the places of a sample drift.
      for (int64_t i = 0; i * step < places; ++i)
        Strike(job, fault, std::min(places - 1, i * step + (step > 1 ? i % step : 0)));
    }
    std::printf("%-7s %-13s %6lld jobs, %d wrong, %.1f s\n", job.name, fault.name,
                static_cast<long long>(jobs_ - jobs_before), wrong_ - wrong_before,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    std::fflush(stdout);
  }

  // One job in which the fault strikes, and one after it.
  void Strike(const SweepJob& job, const FaultName& fault, int64_t at) {
    ++jobs_;
    const bool of_system = fault.system != SystemFault::kNone;
    const Excuse excuse = of_system          ? Excuse::kSystemFails
                          : fault.true_bytes ? Excuse::kNone
                                             : Excuse::kDeviceLies;
    auto device = NewDevice(job);
    network_.Begin(device.get(), fault.line, at);
    if (of_system) ForgetRegistry();
    CountAllocations(fault.system == SystemFault::kMemory ? at : -1);
    CountSystemCalls(fault.system == SystemFault::kFile ? at : -1);
    JobRecord faulty = RunJob(job, device_name_, &clock_, network_, excuse);
    CountAllocations();
    CountSystemCalls();
    std::vector<std::string>& problems = faulty.problems;
    for (size_t i = 0; i < longest_.size(); ++i)
      longest_[i] = std::max(longest_[i], faulty.longest[i]);
    if (!TrueBytes(job, fault, at, faulty)) problems.push_back("bytes that are not the page's");
    if (network_.Hung()) problems.push_back("it would have waited for ever");
    if (network_.OpenSockets() != 0) problems.push_back("a socket stayed open");
    if (network_.OpenTransfers() != 0) problems.push_back("a transfer stayed posted");
    if (device->lock_holder != 0) problems.push_back("the device stayed locked");
    if (fault.line == LineFault::kSplit && !faulty.finished)
      problems.push_back("it did not finish");

    device->TakePaperOut();
    network_.Begin(device.get());
    const JobRecord clean = RunJob(kJobs[0], device_name_, &clock_, network_, Excuse::kNone);
    for (const std::string& problem : clean.problems)
      problems.push_back("the next job: " + problem);
    if (!clean.finished || clean.pages != clean_.pages)
      problems.push_back("the next page is not perfect");

    // A toolkit that remembers something of the faulty job asks a new device otherwise.
    auto other = NewDevice(kJobs[0]);
    network_.Begin(other.get());
    RunJob(kJobs[0], device_name_, &clock_, network_, Excuse::kNone);
    if (network_.Counts().to_device != clean_counts_.to_device)
      problems.push_back("a new device is asked otherwise");
    if (problems.empty()) return;
    ++wrong_;
    std::printf("WRONG: scantk-sweep --job %s --fault %s --at %lld\n", job.name, fault.name,
                static_cast<long long>(at));
    for (const std::string& problem : problems) std::printf("    %s\n", problem.c_str());
  }

  // A fault that changes no byte leaves a beginning of each page; one that does leaves at least
  // what had come before it.
  bool TrueBytes(const SweepJob& job, const FaultName& fault, int64_t at,
                 const JobRecord& faulty) const {
    if (fault.places == &LineCounts::to_device && !fault.true_bytes) return true;  // another page
    size_t sure = SIZE_MAX;
    if (!fault.true_bytes) {
      sure = 0;
      for (const auto& progress : reference_.progress)
        if (progress.to_host <= at) sure = progress.image;
    }
    if (faulty.pages.size() > reference_.pages.size()) return false;
    for (size_t i = 0; i < faulty.pages.size(); ++i) {
      const auto& page = faulty.pages[i];
      const auto& truth = reference_.pages[i];
      if (fault.true_bytes && page.size() > truth.size()) return false;
      size_t size = std::min({page.size(), truth.size(), sure});
      const size_t tail = kJpegTailRows * reference_.row_bytes;
      if (job.jpeg && page.size() < truth.size()) size -= std::min(size, tail);
      if (!std::equal(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(size),
                      truth.begin()))
        return false;
      sure -= std::min(sure, truth.size());
    }
    return true;
  }

  const Options options_;
  Sandbox sandbox_;
  VirtualClock clock_;
  VirtualNetwork network_{&clock_};
  std::string device_name_;
  sim::DeviceConfig config_;
  JobRecord reference_, clean_;
  LineCounts counts_, clean_counts_;
  int64_t allocations_ = 0, system_calls_ = 0;
  int64_t jobs_ = 0;
  int64_t registry_changes_ = 0;
  int wrong_ = 0;
  std::vector<int64_t> longest_ = std::vector<int64_t>(16);
};

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : "";
    if (word == "--all" || word == "--traced") {
      if (word == "--all") options.sample = 0;
      if (word == "--traced") options.traced = true;
      continue;
    }
    if (word == "--job") {
      options.job = value;
    } else if (word == "--fault") {
      options.fault = value;
      options.sample = 0;
    } else if (word == "--at") {
      options.at = std::atoll(value);
    } else if (word == "--sample") {
      options.sample = std::atoll(value);
    } else {
      std::fprintf(stderr, "scantk-sweep: what is %s?\n", word.c_str());
      return 2;
    }
    ++i;
  }
  // The registry is rewritten and synchronised often; in memory that takes no time.
  setenv("TMPDIR", "/dev/shm", 1);
  return Sweep(options).Run() == 0 ? 0 : 1;
}
