#include "tests/reliability/soak_workers.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <map>
#include <new>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/reliability/leak_watch.h"
#include "tests/reliability/soak_job.h"
#include "tests/reliability/soak_plan.h"

namespace scantk::test {
namespace {

constexpr int kWarmUp =
    8;  // jobs of a worker after which nothing is made once and for all any more
constexpr size_t kHeapPerJob = 1 << 20;       // left allocated by one job
constexpr size_t kHeapInAll = 128 << 10;      // by all the jobs of a worker
constexpr size_t kResidentInAll = 64u << 20;  // what the allocator may keep for later

int64_t Milliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void Print(const std::string& text) {  // whole, whoever else prints
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
}

enum class JobState : uint8_t { kWaiting, kRunning, kPassed, kFailed, kLost };

// What a worker leaves of a job.
struct JobRecord {
  std::atomic<JobState> state;
  bool noticed;
  bool broke_off;
  int16_t pages;
  int32_t strikes;
  int32_t milliseconds;
  int64_t bytes;
};

struct Slot {
  std::atomic<int64_t> index;  // of the job in `order`, -1 none
  std::atomic<int64_t> since;
};

// Shared with the workers.
struct Board {
  std::atomic<int64_t> next;
  std::atomic<int64_t> leaks;
  std::atomic<int64_t> most_heap_growth;
  std::atomic<int64_t> most_resident_growth;
};

template <class T>
T* Share(size_t count) {
  void* memory =
      mmap(nullptr, sizeof(T) * count, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return static_cast<T*>(memory);
}

void RaiseTo(std::atomic<int64_t>& most, int64_t value) {
  for (int64_t now = most; now < value && !most.compare_exchange_weak(now, value);) {
  }
}

class Soak {
 public:
  explicit Soak(const SoakOptions& options)
      : options_(options),
        workers_(static_cast<int>(std::min<int64_t>(options.workers, options.jobs))),
        board_(Share<Board>(1)),
        records_(Share<JobRecord>(static_cast<size_t>(options.jobs))),
        slots_(Share<Slot>(static_cast<size_t>(workers_))) {
    // The jobs that wait for time-outs first, so that the end is not spent waiting for them.
    for (int64_t i = 0; i < options.jobs; ++i) order_.push_back(options.first + i);
    std::stable_partition(order_.begin(), order_.end(),
                          [&](int64_t number) { return Plan(number).slow; });
  }

  bool Run() {
    const int64_t started = Milliseconds();
    std::vector<pid_t> pids(static_cast<size_t>(workers_));
    for (size_t i = 0; i < pids.size(); ++i) pids[i] = StartWorker(i);
    for (size_t running = pids.size(); running > 0;) {
      int status = 0;
      const pid_t ended = waitpid(-1, &status, WNOHANG);
      if (ended > 0) {
        const auto at = std::find(pids.begin(), pids.end(), ended);
        if (at == pids.end()) continue;
        const auto slot = static_cast<size_t>(at - pids.begin());
        if (TakeStock(slot, status))
          *at = StartWorker(slot);
        else
          --running;
        continue;
      }
      EndLateJobs(pids);
      TellProgress(started);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return Sum(Milliseconds() - started);
  }

 private:
  SoakPlan Plan(int64_t number) const {
    return MakePlan(options_.seed, number, options_.io_type, options_.quick);
  }

  pid_t StartWorker(size_t slot) {
    slots_[slot].index = -1;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) std::exit(Work(slot));  // a leak sanitizer looks at what is left
    return child;
  }

  // --- in a worker ---

  int Work(size_t slot) {
    // What the toolkit leaves in the folder for temporary files is seen there.
    const std::string folder =
        std::filesystem::temp_directory_path() / ("scantk-soak-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    setenv("TMPDIR", folder.c_str(), 1);
    Holdings first = Holdings::Now();
    int done = 0;
    for (int64_t index; (index = board_->next++) < options_.jobs; ++done) {
      slots_[slot].since = Milliseconds();
      slots_[slot].index = index;
      const Holdings before = Holdings::Now();
      RunOne(index);
      if (done == kWarmUp) first = Holdings::Now();
      if (done > 0) CompareHoldings(index, before, done > kWarmUp);
      slots_[slot].index = -1;
    }
    if (done > kWarmUp) CompareInAll(first, done - kWarmUp);
    for (const auto& left : std::filesystem::directory_iterator(folder))
      Leak("a worker left " + left.path().string());
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return 0;
  }

  void RunOne(int64_t index) {
    const int64_t number = order_[static_cast<size_t>(index)];
    JobRecord& record = records_[number - options_.first];
    record.state = JobState::kRunning;
    const int64_t started = Milliseconds();
    JobReport report;
    try {
      report = RunJob(Plan(number));
    } catch (const std::exception& problem) {
      report.failures.push_back(std::string("it could not be run: ") + problem.what());
    }
    record.milliseconds = static_cast<int32_t>(Milliseconds() - started);
    record.strikes = report.strikes;
    record.noticed = report.host_noticed;
    record.broke_off = report.host_broke_off;
    record.pages = static_cast<int16_t>(report.pages);
    record.bytes = report.bytes;
    record.state = report.failures.empty() ? JobState::kPassed : JobState::kFailed;
    if (report.failures.empty()) return;
    std::string text;
    for (const std::string& failure : report.failures) text += "  " + failure + "\n";
    PrintFailure(number, text);
  }

  void PrintFailure(int64_t number, const std::string& text) const {
    Print("job " + std::to_string(number) + " FAILED: " + Text(Plan(number)) + "\n" + text +
          "  again: " + RepeatCommand(options_, number) + "\n");
  }

  void Leak(const std::string& what) {
    ++board_->leaks;
    Print("LEAK: " + what + "\n");
  }

  void CompareHoldings(int64_t index, const Holdings& before, bool warm) {
    const Holdings after = Holdings::Now();
    const std::string job =
        " of job " + std::to_string(order_[static_cast<size_t>(index)]) + " are left";
    if (after.files != before.files) Leak("descriptors" + job + ": " + OpenFiles());
    if (after.threads != before.threads) Leak("threads" + job);
    if (warm && after.heap > before.heap + kHeapPerJob)
      Leak(std::to_string(after.heap - before.heap) + " bytes" + job);
  }

  void CompareInAll(const Holdings& first, int jobs) {
    const Holdings last = Holdings::Now();
    if (last.heap == 0) return;  // a sanitizer's allocator, which keeps what is freed
    const auto heap = static_cast<int64_t>(last.heap) - static_cast<int64_t>(first.heap);
    const auto resident =
        static_cast<int64_t>(last.resident) - static_cast<int64_t>(first.resident);
    RaiseTo(board_->most_heap_growth, heap);
    RaiseTo(board_->most_resident_growth, resident);
    const std::string all = " after " + std::to_string(jobs) + " jobs of one process";
    if (heap > static_cast<int64_t>(kHeapInAll))
      Leak(std::to_string(heap) + " bytes more are allocated" + all);
    if (resident > static_cast<int64_t>(kResidentInAll))
      Leak(std::to_string(resident) + " bytes more are resident" + all);
  }

  // --- in the parent ---

  // True when a worker died in a job and another is to go on.
  bool TakeStock(size_t slot, int status) {
    const int64_t index = slots_[slot].index;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && index < 0) return false;
    if (index < 0) {
      ++board_->leaks;
      Print("a worker ended with status " + std::to_string(status) + "\n");
      return false;
    }
    const int64_t number = order_[static_cast<size_t>(index)];
    records_[number - options_.first].state = JobState::kLost;
    PrintFailure(number, WIFSIGNALED(status) ? std::string("  its process died: ") +
                                                   strsignal(WTERMSIG(status)) + "\n"
                                             : "  its process ended with status " +
                                                   std::to_string(WEXITSTATUS(status)) + "\n");
    return board_->next < options_.jobs;
  }

  void EndLateJobs(const std::vector<pid_t>& pids) {
    for (size_t i = 0; i < pids.size(); ++i) {
      const int64_t late = slots_[i].since + int64_t{1000} * options_.job_seconds;
      if (slots_[i].index >= 0 && Milliseconds() > late) kill(pids[i], SIGABRT);
    }
  }

  // Once a minute.
  void TellProgress(int64_t started) {
    const int64_t minutes = (Milliseconds() - started) / 60000;
    if (minutes == told_minutes_) return;
    told_minutes_ = minutes;
    int64_t over = 0;
    for (int64_t i = 0; i < options_.jobs; ++i) over += records_[i].state > JobState::kRunning;
    Print("after " + std::to_string(minutes) + " min: " + std::to_string(over) + " jobs over\n");
  }

  struct Tally {
    int64_t jobs = 0, faulted = 0, long_ones = 0, failed = 0;
  };

  bool Sum(int64_t milliseconds) {
    std::map<std::string, Tally> media, faults;
    Tally all;
    int64_t pages = 0, bytes = 0, noticed = 0, broke_off = 0, waited = 0, slowest = 0, not_run = 0;
    int64_t slowest_job = 0;
    for (int64_t i = 0; i < options_.jobs; ++i) {
      const JobRecord& record = records_[i];
      const SoakPlan plan = Plan(options_.first + i);
      const JobState state = record.state;
      not_run += state == JobState::kWaiting || state == JobState::kRunning;
      const bool failed = state != JobState::kPassed;
      const bool faulted = record.strikes > 0 || record.broke_off;
      const auto count = [&](Tally& tally) {
        ++tally.jobs;
        tally.faulted += faulted;
        tally.long_ones += record.milliseconds > 10000;
        tally.failed += failed;
      };
      count(all);
      count(media[plan.io_type == T_IO_NETWORK ? "network"
                  : plan.io_type == T_IO_USB   ? "USB"
                                               : "DOT4"]);
      for (const std::string& fault : plan.faults) count(faults[FaultName(fault)]);
      if (plan.disturbance != Disturbance::kNone) count(faults[Name(plan.disturbance)]);
      if (plan.end != HostEnd::kPatient) count(faults["(the host breaks off)"]);
      pages += record.pages;
      bytes += record.bytes;
      noticed += record.noticed;
      broke_off += record.broke_off;
      waited += record.milliseconds;
      if (record.milliseconds > slowest) slowest_job = plan.number;
      slowest = std::max<int64_t>(slowest, record.milliseconds);
    }
    const int64_t leaks = board_->leaks;
    std::ostringstream text;
    text << std::fixed << std::setprecision(1);
    const auto row = [&](const std::string& name, const Tally& tally) {
      text << std::left << std::setw(24) << name << std::right;
      for (int64_t count : {tally.jobs, tally.faulted, tally.long_ones, tally.failed})
        text << std::setw(9) << count;
      text << "\n";
    };
    text << std::setw(33) << "jobs" << std::setw(9) << "faulted" << std::setw(9) << "> 10 s"
         << std::setw(9) << "failed"
         << "\n";
    for (const auto& [name, tally] : faults) row("  " + name, tally);
    for (const auto& [name, tally] : media) row(name, tally);
    row("all", all);
    text << pages << " pages read to their end, " << bytes << " bytes; " << noticed
         << " hosts were told of a failure, " << broke_off << " broke off\n"
         << "slowest job " << slowest_job << " " << static_cast<double>(slowest) / 1e3
         << " s; all jobs " << static_cast<double>(waited) / 1e3 << " s in "
         << static_cast<double>(milliseconds) / 1e3 << " s of " << workers_ << " processes\n"
         << "most growth of one process: " << board_->most_heap_growth << " bytes allocated, "
         << board_->most_resident_growth << " resident\n"
         << "soak: " << all.jobs << " jobs, " << all.faulted << " faulted, " << all.failed - not_run
         << " failed, " << leaks << " leaks, " << not_run << " not run, seed " << options_.seed
         << "\n";
    Print(text.str());
    return all.failed == 0 && leaks == 0;
  }

  const SoakOptions options_;
  const int workers_;
  Board* board_;
  JobRecord* records_;
  Slot* slots_;
  std::vector<int64_t> order_;
  int64_t told_minutes_ = 0;
};

}  // namespace

std::string RepeatCommand(const SoakOptions& options, int64_t number) {
  std::string command =
      "scantk-soak --seed " + std::to_string(options.seed) + " --job " + std::to_string(number);
  if (options.io_type)
    command += std::string(" --transport ") + (options.io_type == 1   ? "usb"
                                               : options.io_type == 4 ? "dot4"
                                                                      : "net");
  return options.quick ? command + " --quick" : command;
}

bool RunSoak(const SoakOptions& options) {
  Print("soak: seed " + std::to_string(options.seed) + ", " + std::to_string(options.jobs) +
        " jobs from " + std::to_string(options.first) + " in " + std::to_string(options.workers) +
        " processes\n");
  return Soak(options).Run();
}

}  // namespace scantk::test
