// The single-fault sweep: toolkit and simulated device in one process, on a line and a clock of
// this program's own. For every place of a reference conversation, every medium and every kind of
// fault a job is run in which that fault strikes there; then a job in which nothing does, which
// must be perfect.
//
//   scantk-sweep [--sample N]         N places of each job and fault (20), spread evenly
//   scantk-sweep --sample 0           every place
//   scantk-sweep --medium M --job J --fault F [--at N]
//   --traced 1                        with every line of the trace written
//
// A fault is a name of kFaults; its place a byte, a connection, a call of the line or of the
// system's files, or an allocation, the first being 0.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/system.h"
#include "simulator/scanner_core.h"
#include "tests/sweep/failing_system.h"
#include "tests/sweep/virtual_network.h"
#include "tests/sweep/watched_host.h"

namespace {

using namespace scantk;
using namespace scantk::test;

constexpr SweepJob kJobs[] = {
    {"raw", T_COLOR, false, 0, 120, 80, true},
    {"jpeg", T_COLOR, true, 0, 256, 192},
    {"feeder", T_GREYSCALE, false, 2, 120, 60},
};
constexpr std::pair<const char*, uint32_t> kMedia[] = {
    {"network", T_IO_NETWORK}, {"usb", T_IO_USB}, {"dot4", T_IO_DOT4}};
constexpr size_t kJpegTailRows = 17;  // may be guessed from a block that is not whole

// Of what it is the place: the line's counts, or the system's.
struct Places : LineCounts {
  int64_t allocations = 0, system_calls = 0;
};

struct FaultName {
  const char* name;
  int64_t Places::*places;
  bool true_bytes = true;  // the bytes that are delivered are the page's

  bool OfSystem() const {
    return places == &Places::allocations || places == &Places::system_calls;
  }
};
constexpr FaultName kFaults[] = {
    {"drop", &Places::to_host, false},
    {"corrupt", &Places::to_host, false},
    {"stall", &Places::to_host},
    {"silence", &Places::to_host},
    {"close", &Places::to_host},
    {"reset", &Places::to_host},
    {"split", &Places::to_host},
    {"sent-drop", &Places::to_device, false},
    {"sent-corrupt", &Places::to_device, false},
    {"sent-short", &Places::to_device, false},
    {"sent-reset", &Places::to_device},
    {"refuse", &Places::connections},
    {"unreachable", &Places::connections},
    {"call", &Places::calls},
    {"memory", &Places::allocations},
    {"file", &Places::system_calls},
};

// One run of a job: its host's end, and what its places were.
struct Run {
  bool finished = false;
  std::vector<std::string> problems;
  std::vector<std::vector<uint8_t>> pages;
  std::vector<std::pair<int64_t, size_t>> progress;
  size_t row_bytes = 0;
  Places places;
};

class Sweep {
 public:
  explicit Sweep(std::map<std::string, std::string> options) : options_(std::move(options)) {
    if (traced_) sandbox_.SwitchTraceOn();
    config_.paper = "pattern";
    config_.keep_log = false;
    config_.delivery.block_bytes = 512;
    config_.delivery.record_bytes = 200;
  }

  // The number of jobs that went wrong.
  int Go() {
    for (const auto& [name, io_type] : kMedia) {
      if (!Chosen("--medium", name)) continue;
      medium_ = name;
      io_type_ = io_type;
      device_name_ = io_type == T_IO_NETWORK
                         ? sandbox_.AddNetworkDevice("127.0.0.1")
                         : sandbox_.AddAttachedDevice(name + std::to_string(ProcessId()), io_type);
      SweepMedium();
    }
    std::printf("%lld jobs with a fault, %d went wrong\n", static_cast<long long>(jobs_), wrong_);
    return wrong_;
  }

 private:
  bool Chosen(const char* option, const char* name) const {
    const std::string& chosen = options_.at(option);
    return chosen.empty() || chosen == name;
  }

  void SweepMedium() {
    clean_ = Learn(kJobs[0]);
    for (const SweepJob& job : kJobs) {
      if (!Chosen("--job", job.name)) continue;
      reference_ = Learn(job);
      for (const FaultName& fault : kFaults)
        if (Chosen("--fault", fault.name)) SweepPlaces(job, fault);
    }
  }

  std::unique_ptr<sim::ScannerCore> NewDevice(const SweepJob& job) {
    config_.sheets = job.sheets;
    return std::make_unique<sim::ScannerCore>(config_, nullptr,
                                              [this] { return line_.Milliseconds(); });
  }

  // A file that has changed is read and taken apart anew.
  void ForgetRegistry() {
    sandbox_.SetDeviceText(device_name_, "DriverVersion", std::to_string(++registry_changes_));
    if (traced_) sandbox_.ClearTrace();
  }

  Run Play(const SweepJob& job, sim::Responder* device, Excuse excuse = Excuse::kNone,
           const FaultName* fault = nullptr, int64_t at = 0) {
    line_.Begin(device, fault ? fault->name : "", at);
    failing_allocations.Begin(fault && fault->places == &Places::allocations ? at : -1);
    failing_file_calls.Begin(fault && fault->places == &Places::system_calls ? at : -1);
    Run run;
    try {
      WatchedHost host(device_name_, io_type_, excuse);
      host.Run(job);
      run = {host.finished, std::move(host.problems),         std::move(host.pages),
             host.progress, host.page.granted.dwBytesPerLine, {}};
    } catch (const std::bad_alloc&) {
      if (excuse != Excuse::kSystemFails) run.problems.push_back("no object");
    }
    run.places = {line_.Counts(), failing_allocations.Count(), failing_file_calls.Count()};
    failing_allocations.Begin();
    failing_file_calls.Begin();
    return run;
  }

  // Runs the job undisturbed: what it brings, and the places in it. The first run of a device
  // differs: it writes the registry.
  Run Learn(const SweepJob& job) {
    Run run;
    for (int i = 0; i < 2; ++i) {
      auto device = NewDevice(job);
      ForgetRegistry();
      run = Play(job, device.get());
      if (run.finished && run.problems.empty()) continue;
      std::fprintf(stderr, "the undisturbed job %s fails over %s: %s\n", job.name, medium_,
                   run.problems.empty() ? "no page" : run.problems[0].c_str());
      std::exit(1);
    }
    return run;
  }

  void SweepPlaces(const SweepJob& job, const FaultName& fault) {
    // A transfer of a cable has no border that the transport could see.
    if (std::string_view(fault.name) == "split" && io_type_ == T_IO_USB) return;
    const int64_t places = reference_.places.*fault.places, before = jobs_;
    const int64_t step = sample_ > 0 ? std::max<int64_t>(1, places / sample_) : 1;
    const int wrong_before = wrong_;
    // Not always the same byte of a block: the places of a sample drift.
    for (int64_t i = 0; i * step < places && at_ < 0; ++i)
      Strike(job, fault, std::min(places - 1, i * step + (step > 1 ? i % step : 0)));
    if (at_ >= 0) Strike(job, fault, at_);
    std::printf("%-8s %-7s %-13s %6lld jobs of %lld, %d wrong\n", medium_, job.name, fault.name,
                static_cast<long long>(jobs_ - before), static_cast<long long>(places),
                wrong_ - wrong_before);
    std::fflush(stdout);
  }

  // One job in which the fault strikes, and two after it.
  void Strike(const SweepJob& job, const FaultName& fault, int64_t at) {
    ++jobs_;
    const Excuse excuse = fault.OfSystem()   ? Excuse::kSystemFails
                          : fault.true_bytes ? Excuse::kNone
                                             : Excuse::kDeviceLies;
    auto device = NewDevice(job);
    if (fault.OfSystem()) ForgetRegistry();
    Run faulty = Play(job, device.get(), excuse, &fault, at);
    std::vector<std::string>& problems = faulty.problems;
    const auto expect = [&](bool good, const char* problem) {
      if (!good) problems.push_back(problem);
    };
    expect(TrueBytes(job, fault, at, faulty), "bytes that are not the page's");
    expect(!line_.Hung(), "it would have waited for ever");
    expect(line_.open_ends == 0, "a socket or file stayed open");
    expect(line_.open_transfers == 0, "a transfer stayed posted");
    expect(device->lock_holder == 0, "the device stayed locked");
    expect(std::string_view(fault.name) != "split" || faulty.finished, "it did not finish");

    device->TakePaperOut();
    const Run next = Play(kJobs[0], device.get());
    for (const std::string& problem : next.problems) problems.push_back("the next job: " + problem);
    expect(next.finished && next.pages == clean_.pages, "the next page is not perfect");
    // A toolkit that remembers something of the faulty job asks a new device otherwise.
    auto other = NewDevice(kJobs[0]);
    expect(Play(kJobs[0], other.get()).places.to_device == clean_.places.to_device,
           "a new device is asked otherwise");
    if (problems.empty()) return;
    ++wrong_;
    std::printf("WRONG: scantk-sweep --medium %s --job %s --fault %s --at %lld\n", medium_,
                job.name, fault.name, static_cast<long long>(at));
    for (const std::string& problem : problems) std::printf("    %s\n", problem.c_str());
  }

  // A fault that changes no byte leaves a beginning of each page; one that does leaves at least
  // what had come before it.
  bool TrueBytes(const SweepJob& job, const FaultName& fault, int64_t at, const Run& faulty) const {
    if (fault.places == &Places::to_device && !fault.true_bytes) return true;  // another page
    size_t sure = fault.true_bytes ? SIZE_MAX : 0;
    for (const auto& [sent, image] : reference_.progress)
      if (!fault.true_bytes && sent <= at) sure = image;
    if (faulty.pages.size() > reference_.pages.size()) return false;
    for (size_t i = 0; i < faulty.pages.size(); ++i) {
      const auto& page = faulty.pages[i];
      const auto& truth = reference_.pages[i];
      if (fault.true_bytes && page.size() > truth.size()) return false;
      size_t size = std::min({page.size(), truth.size(), sure});
      const size_t tail = kJpegTailRows * reference_.row_bytes;
      if (job.jpeg && page.size() < truth.size()) size -= std::min(size, tail);
      if (!std::equal(page.begin(), page.begin() + static_cast<ptrdiff_t>(size), truth.begin()))
        return false;
      sure -= std::min(sure, truth.size());
    }
    return true;
  }

  const std::map<std::string, std::string> options_;
  const bool traced_ = options_.at("--traced") == "1";
  const int64_t at_ = std::stoll(options_.at("--at"));
  // 0: all, as is usual for one fault.
  const int64_t sample_ = !options_.at("--sample").empty() ? std::stoll(options_.at("--sample"))
                          : options_.at("--fault").empty() ? 20
                                                           : 0;
  Sandbox sandbox_;
  VirtualNetwork line_;
  const char* medium_ = "";
  uint32_t io_type_ = 0;
  std::string device_name_;
  sim::DeviceConfig config_;
  Run reference_, clean_;
  int64_t jobs_ = 0, registry_changes_ = 0;
  int wrong_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  std::map<std::string, std::string> options = {{"--medium", ""}, {"--job", ""},
                                                {"--fault", ""},  {"--at", "-1"},
                                                {"--sample", ""}, {"--traced", "0"}};
  for (int i = 1; i < argc; i += 2) {
    const auto option = options.find(argv[i]);
    if (option == options.end() || i + 1 == argc) {
      std::fprintf(stderr, "scantk-sweep: what is %s?\n", argv[i]);
      return 2;
    }
    option->second = argv[i + 1];
  }
  // The registry is rewritten and synchronised often; in memory that takes no time.
  setenv("TMPDIR", "/dev/shm", 1);
  return Sweep(options).Go() == 0 ? 0 : 1;
}
