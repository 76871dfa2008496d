// Hosts at work for as long as one likes, over all transports: jobs from devices that fail at
// random, threads that share devices and objects, hosts that are killed. Whatever goes wrong, every
// method answers one of its legal outcomes, delivered bytes are a true beginning of the page, the
// device is let go of, and the next page is perfect.
//
//   scantk-soak [--random N] [--threads ROUNDS] [--kill N] [--seed N] [--at JOB]
//
// --at runs one job of the random ones alone.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "host/console.h"
#include "platform/clock.h"
#include "tests/jobs/far_side.h"
#include "tests/jobs/host.h"

namespace {

using namespace scantk;
using namespace scantk::test;

struct DeviceFault {
  const char* name;
  bool own_bytes;  // the device lies of its geometry, or changes bytes that no check sum guards
  bool own_length = false;  // it says that its page is over, or has another length
  int64_t most = 0;         // values are drawn up to here; 0: the fault's own
};
// The simulator's faults but those that outlast a second: the sweep has these, on virtual time.
constexpr DeviceFault kFaults[] = {
    {"busy", false},
    {"refuse", false},
    {"odd-greeting", false},
    {"null", true},
    {"answer", true, true, 3000},
    {"wrong-echo", true},
    {"wrong-letter", true},
    {"wrong-terminator", true},
    {"garbage", true},
    {"endless-number", true},
    {"endless-string", true},
    {"drop", false, false, 3000},
    {"reset", false, false, 3000},
    {"stall", false, false, 300},
    {"error", false, true, 1030},
    {"reserved", false},
    {"empty", false},
    {"jam", false, true},
    {"cancel", false, true},
    {"short-page", false, true, 60},
    {"long-page", false, true, 60},
    {"row-count", false, true, 300},
    {"truncate", false, false, 3000},
    {"record-offset", true, true, 300},
    {"record-type", true, true},
    {"corrupt", true, true, 3000},
};

struct Place {
  Medium medium;
  uint32_t io_type;
  std::unique_ptr<FarSide> device;
  std::string name;
};

Place NewPlace(Sandbox& sandbox, Medium medium, sim::DeviceConfig config) {
  config.address = FreshAddress();
  config.paper = "pattern";
  config.keep_log = false;
  config.max_connections = 8;
  auto device = FarSide::Start(medium, config, sandbox.Folder());
  if (medium == Medium::kNetwork)
    return {medium, T_IO_NETWORK, std::move(device), sandbox.AddNetworkDevice(config.address)};
  const uint32_t type = medium == Medium::kUsb ? T_IO_USB : T_IO_DOT4;
  std::string name = sandbox.AddAttachedDevice(device->Path(), type);
  return {medium, type, std::move(device), std::move(name)};
}

// What a host may see of a device that lies.
class SoakedHost : public Host {
 public:
  explicit SoakedHost(const Place& place) : Host(place.name, place.io_type) {}
  bool lied_to = false;
  std::function<void()> before_call;

 protected:
  void Before(const char*) override {
    if (before_call) before_call();
  }
  bool Excused(const char*, const Outcome& outcome) const override {
    return lied_to && outcome == kInvalidParameter;
  }
};

class Dice {
 public:
  Dice(uint64_t seed, int64_t job) : engine_(seed * 1000003 + static_cast<uint64_t>(job)) {}
  int64_t Roll(int64_t least, int64_t most) {
    return std::uniform_int_distribution<int64_t>(least, most)(engine_);
  }
  bool Coin() { return Roll(0, 1) == 1; }

 private:
  std::mt19937_64 engine_;
};

std::string RollFault(Dice& dice, const DeviceFault& fault) {
  static const char* const kMoments[] = {"command", "answer", "page", "block"};
  std::string text = fault.name;
  const std::string moment = kMoments[dice.Roll(0, 3)];
  // A moment that the fault never has would strike nobody.
  const bool in_page = fault.own_length || strstr("truncate drop reset stall", fault.name);
  if (strstr("busy refuse odd-greeting", fault.name))
    text += "@connection:1";
  else if (in_page && !strstr("answer error", fault.name))
    text += "@block:" + std::to_string(dice.Roll(1, 4));
  else
    text += (moment == "answer" || strstr("error reserved", fault.name) == nullptr ? "@answer:"
                                                                                   : "@command:") +
            std::to_string(dice.Roll(1, 60));
  if (fault.most) text += "=" + std::to_string(dice.Roll(0, fault.most));
  return text + "*1";
}

// What a job of the random ones asks for, and where it leaves.
struct RandomJob {
  RandomJob(Dice& dice, sim::DeviceConfig* config) : fault(Pick(dice, kFaults)) {
    config->sheets = static_cast<int>(dice.Roll(0, 2));
    config->delivery.block_bytes = static_cast<size_t>(dice.Roll(1, 60)) * 1000;
    const auto roll = [&](int64_t least, int64_t most) {
      return static_cast<uint32_t>(dice.Roll(least, most));
    };
    asked = PageParameters(Pick(dice, {uint32_t{T_COLOR}, uint32_t{T_GREYSCALE}, uint32_t{T_BW}}),
                           static_cast<uint16_t>(roll(75, 300)),
                           {roll(30, 600), roll(30, 400), roll(0, 300), roll(0, 300)});
    feeder = config->sheets > 0 && dice.Coin();
    if (feeder) asked.wScanMethod = T_METHOD_ADF;
    fault_text = RollFault(dice, fault);
    jpeg = dice.Coin();
    learns = dice.Coin();
    lines = roll(1, 99);
    reads = dice.Coin() ? Host::kPatient : static_cast<int>(roll(0, 6));
    leaves = roll(0, 2);
    gone_before = dice.Roll(-20, 20);
  }
  template <class T, size_t N>
  static T Pick(Dice& dice, const T (&choices)[N]) {
    return choices[dice.Roll(0, N - 1)];
  }

  DeviceFault fault;
  std::string fault_text;
  SCANNER_PARAMETERS asked = {};
  bool jpeg, feeder, learns;
  uint32_t lines;
  int reads;
  uint32_t leaves;      // stops, unlocks, closes
  int64_t gone_before;  // the device is gone for a moment before this call
};

// What came of the page, against the paper: all of it when it is told to be whole.
void CheckPage(const RandomJob& job, bool whole, SoakedHost* host) {
  if (job.jpeg || job.fault.own_bytes) return;
  std::vector<uint8_t>& bytes = host->page.bytes;
  std::vector<uint8_t> paper = PaperAsked(host->page, "pattern", {job.feeder ? 1 : 0, false});
  if (!job.fault.own_length && bytes.size() > paper.size()) host->Fail("more than the page");
  if (!job.fault.own_length && whole && bytes.size() < paper.size())
    host->Fail("a page that is told to be whole is not");
  bytes.resize(std::min(bytes.size(), paper.size()));
  paper.resize(bytes.size());
  for (std::vector<uint8_t>* rows : {&paper, &bytes}) WhitenPadding(host->page, rows);
  const std::string difference = Difference(paper, bytes, host->page.granted.dwBytesPerLine);
  if (!difference.empty()) host->Fail("bytes that are not the page's: " + difference);
}

void Do(const RandomJob& job, SoakedHost* host) {
  if (!host->Open()) return;
  if (host->Lock()) {
    if (job.learns) host->Learn();
    host->Compress(job.jpeg);
    if (job.feeder)
      host->Do("ADFPaperFeed", host->toolkit.feeder, &IADF::ADFPaperFeed, host->session);
    host->page.asked = job.asked;
    const bool whole = host->Start() && host->Read(job.lines, job.reads) == kEndOfPage;
    if (job.leaves == 0) host->Stop();
    CheckPage(job, whole, host);
    if (job.leaves < 2) host->Unlock();
  }
  host->before_call = {};
  host->Close();
}

// One job from a device that fails, and one behind it from the device as it is then.
std::vector<std::string> RunRandomJob(uint64_t seed, int64_t number, std::string* what) {
  Dice dice(seed, number);
  Sandbox sandbox;
  sim::DeviceConfig config;
  RandomJob job(dice, &config);
  const std::vector<Medium> media = Media();
  const Place place = NewPlace(sandbox, media[static_cast<size_t>(number) % media.size()], config);
  FarSide& device = *place.device;
  device.AddFault(job.fault_text);
  *what = std::string(Name(place.medium)) + ", " + job.fault_text + (job.jpeg ? ", JPEG" : "") +
          (job.feeder ? ", feeder" : "");
  SoakedHost host(place);
  host.lied_to = job.fault.own_bytes;
  host.before_call = [&] {
    if (--job.gone_before == 0) device.Unplug(), device.Plug(), *what += ", off and on";
  };
  Do(job, &host);
  host.before_call = {};
  host.lied_to = false;
  device.ReserveElsewhere(false);
  for (int wait = 0; device.Locked() && wait < 1000; ++wait) TheClock().Sleep(10);
  if (device.Locked()) host.Fail("the device stayed locked");
  device.ClearFaults();
  device.TakePaperOut();
  // What was learnt of a device that lies is not asked for again; another session learns anew.
  if (host.Open() && host.Lock()) {
    host.Do("ResetScanner", host.toolkit.scanner, &IScanner::ResetScanner, host.session);
    host.ScanPerfectly("the next job");
  } else {
    host.Fail("the next job cannot begin");
  }
  host.Close();
  for (const std::string& layout : device.LayoutFaults()) host.Fail(layout);
  return host.problems;
}

// Six threads with objects of their own, two at each device: each holds its device in turn and
// scans, or, with locks of the process, they race for the first hold and share it. The kinds do not
// mix.
int RunThreads(int64_t rounds) {
  Sandbox sandbox;
  const Toolkit loaded;  // here: the thread sanitizer does not see the loader's own lock
  std::vector<Place> places;
  for (const Medium medium : Media()) places.push_back(NewPlace(sandbox, medium, {}));
  std::atomic<int> wrong{0};
  const auto work = [&](const Place& place, bool shared) {
    SoakedHost host(place);
    for (int64_t round = 0; round < rounds && host.problems.empty() && host.Open(); ++round) {
      uint8_t on = 0;
      if (!host.Lock(shared ? T_LOCK_PROCESS : T_LOCK_THREAD, 60000))
        host.Fail("no lock");
      else if (shared)
        host.Do("GetLampStatus", host.toolkit.scanner, &IScanner::GetLampStatus, host.session, &on);
      else
        host.ScanPerfectly("a thread");
      if (host.problems.empty()) host.Unlock();
      host.Close();
    }
    for (const std::string& problem : host.problems)
      std::printf("a thread over %s: %s\n", Name(place.medium), problem.c_str());
    wrong += !host.problems.empty();
  };
  for (const bool shared : {false, true}) {
    std::vector<std::thread> threads;
    for (size_t i = 0; i < 6; ++i)
      threads.emplace_back(work, std::cref(places[i % places.size()]), shared);
    for (std::thread& thread : threads) thread.join();
  }
  std::printf("threads: 6 over %zu devices, %lld rounds, %d went wrong\n", places.size(),
              static_cast<long long>(rounds), wrong.load());
  return wrong;
}

// Hosts that die at any step of their work, each followed at once by one that must do its own.
int RunKills(int64_t kills, uint64_t seed) {
  Sandbox sandbox;
  std::vector<Place> places;
  for (const Medium medium : Media()) places.push_back(NewPlace(sandbox, medium, {}));
  int wrong = 0;
  for (int64_t number = 0; number < kills; ++number) {
    Dice dice(seed, number);
    const Place& place = places[static_cast<size_t>(number) % places.size()];
    std::string error, step;
    auto victim = scanhost::ChildProcess::Start(
        SCANTK_HELPER, {"work", place.name, std::to_string(place.io_type)}, &error);
    for (int64_t steps = dice.Roll(1, 40); victim && steps > 0; --steps)
      if (!victim->ReadLine(30000, &step)) step = "(nothing)";
    victim.reset();
    SoakedHost host(place);
    if (!host.Open() || !host.Lock(T_LOCK_PROCESS, 1000)) host.Fail("no lock within a second");
    // A terminal does not tell its far side that a host took over: nobody has it open for a while.
    if (place.medium == Medium::kUsb) {
      host.Close();
      TheClock().Sleep(100);
      if (!host.Open() || !host.Lock()) host.Fail("no lock again");
    }
    host.ScanPerfectly("the next host");
    host.Close();
    for (const std::string& problem : host.problems)
      std::printf("kill %lld over %s, behind \"%s\": %s\n", static_cast<long long>(number),
                  Name(place.medium), step.c_str(), problem.c_str());
    wrong += !host.problems.empty() || step == "(nothing)";
  }
  std::printf("kill: %lld hosts, %d went wrong\n", static_cast<long long>(kills), wrong);
  return wrong;
}

// What a job leaves open would add up.
size_t OpenFiles() {
  std::error_code none;
  const std::filesystem::directory_iterator files("/proc/self/fd", none);
  return static_cast<size_t>(std::distance(begin(files), end(files)));
}

int RunRandom(int64_t jobs, uint64_t seed, int64_t only) {
  int wrong = 0;
  size_t files = 0;
  for (int64_t number = std::max<int64_t>(only, 0); number < (only < 0 ? jobs : only + 1);
       ++number) {
    std::string what;
    const std::vector<std::string> problems = RunRandomJob(seed, number, &what);
    if (number == 2) files = OpenFiles();
    if (problems.empty()) continue;
    ++wrong;
    std::printf("WRONG: scantk-soak --seed %llu --at %lld (%s)\n",
                static_cast<unsigned long long>(seed), static_cast<long long>(number),
                what.c_str());
    for (const std::string& problem : problems) std::printf("    %s\n", problem.c_str());
  }
  if (only < 0 && jobs > 3 && OpenFiles() > files) {
    std::printf("%zu descriptors became %zu\n", files, OpenFiles());
    ++wrong;
  }
  std::printf("random: seed %llu, %lld jobs, %d went wrong\n",
              static_cast<unsigned long long>(seed), static_cast<long long>(jobs), wrong);
  return wrong;
}

}  // namespace

int main(int argc, char** argv) {
  std::map<std::string, int64_t> options = {
      {"--random", 0}, {"--threads", 0}, {"--kill", 0}, {"--seed", 1}, {"--at", -1}};
  for (int i = 1; i < argc; i += 2) {
    const auto option = options.find(argv[i]);
    if (option == options.end() || i + 1 == argc) {
      std::fprintf(
          stderr, "scantk-soak [--random N] [--threads ROUNDS] [--kill N] [--seed N] [--at JOB]\n");
      return 2;
    }
    option->second = std::atoll(argv[i + 1]);
  }
  const auto seed = static_cast<uint64_t>(options["--seed"]);
  int wrong = 0;
  if (options["--random"] || options["--at"] >= 0)
    wrong += RunRandom(options["--random"], seed, options["--at"]);
  if (options["--threads"]) wrong += RunThreads(options["--threads"]);
  if (options["--kill"]) wrong += RunKills(options["--kill"], seed);
  return wrong ? 1 : 0;
}
