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

// The simulator's faults but those that outlast a second: the sweep has these, on virtual time.
// Each number is a die's.
const std::vector<const char*> kFaults[] = {
    {"busy@connection:1", "refuse@connection:1", "odd-greeting@connection:1", "drop@block:4=3000",
     "reset@block:4=3000", "stall@block:4=300", "truncate@block:4=3000", "reserved@command:60",
     "reserved@answer:60", "empty"},
    // It says that its page is over, or has another length.
    {"error@command:60=1030", "error@answer:60=1030", "jam", "cancel@block:4", "short-page=60",
     "long-page=60", "row-count=300"},
    // And lies of its geometry, or changes bytes that no check sum guards.
    {"null@answer:60", "answer@answer:60=3000", "wrong-echo@answer:60", "wrong-letter@answer:60",
     "wrong-terminator@answer:60", "garbage@answer:60", "endless-number@answer:60",
     "endless-string@answer:60", "record-offset@block:4=300", "record-type@block:4",
     "corrupt@block:4=3000"}};

Place NewPlace(Sandbox& sandbox, Medium medium, sim::DeviceConfig config = {}) {
  config.paper = "pattern";
  config.keep_log = false;
  config.max_connections = 8;
  return Place(sandbox, medium, config);
}

std::vector<Place> PlacesOfAllMedia(Sandbox& sandbox) {
  std::vector<Place> places;
  for (const Medium medium : Media()) places.push_back(NewPlace(sandbox, medium));
  return places;
}

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

std::string RollFault(Dice& dice, std::string text) {
  for (size_t at = 0; (at = text.find_first_of("0123456789", at)) != std::string::npos;) {
    size_t digits = 0;
    const int64_t most = std::stoll(text.substr(at), &digits);
    const std::string rolled = std::to_string(dice.Roll(text[at - 1] == '=' ? 0 : 1, most));
    text.replace(at, digits, rolled);
    at += rolled.size();
  }
  return text + "*1";
}

// What a job of the random ones asks for, and where it leaves.
struct RandomJob {
  RandomJob(Dice& dice, sim::DeviceConfig* config) {
    const auto& faults = kFaults[lies = dice.Roll(0, 2)];
    fault = RollFault(dice, faults[static_cast<size_t>(dice.Roll(1, std::ssize(faults)) - 1)]);
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

  int64_t lies;  // of which of kFaults the fault is
  std::string fault;
  SCANNER_PARAMETERS asked = {};
  bool jpeg, feeder, learns;
  uint32_t lines;
  int reads;
  uint32_t leaves;      // stops, unlocks, closes
  int64_t gone_before;  // the device is gone for a moment before this call
};

// What came of the page, against the paper: all of it when it is told to be whole.
void CheckPage(const RandomJob& job, bool whole, Host* host) {
  if (job.jpeg || job.lies == 2) return;
  std::vector<uint8_t>& bytes = host->page.bytes;
  std::vector<uint8_t> paper = PaperAsked(host->page, "pattern", {job.feeder ? 1 : 0, false});
  if (job.lies == 0 && bytes.size() > paper.size()) host->Fail("more than the page");
  if (job.lies == 0 && whole && bytes.size() < paper.size())
    host->Fail("a page that is told to be whole is not");
  bytes.resize(std::min(bytes.size(), paper.size()));
  paper.resize(bytes.size());
  for (std::vector<uint8_t>* rows : {&paper, &bytes}) WhitenPadding(host->page, rows);
  const std::string difference = Difference(paper, bytes, host->page.granted.dwBytesPerLine);
  if (!difference.empty()) host->Fail("bytes that are not the page's: " + difference);
}

void Do(const RandomJob& job, Host* host) {
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
  device->AddFault(job.fault);
  *what = std::string(Name(place.medium)) + ", " + job.fault + (job.jpeg ? ", JPEG" : "") +
          (job.feeder ? ", feeder" : "");
  Host host(place.name, IoType(place.medium));
  if (job.lies == 2) host.excuse = Excuse::kDeviceLies;
  host.before_call = [&](const char*) {
    if (--job.gone_before == 0) device.Unplug(), device.Plug(), *what += ", off and on";
  };
  Do(job, &host);
  host.before_call = {};
  host.excuse = Excuse::kNone;
  device->ReserveElsewhere(false);
  for (int wait = 0; device->locked() && wait < 1000; ++wait) TheClock().Sleep(10);
  if (device->locked()) host.Fail("the device stayed locked");
  device->ClearFaults();
  device->TakePaperOut();
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
  const std::vector<Place> places = PlacesOfAllMedia(sandbox);
  std::atomic<int> wrong{0};
  const auto work = [&](const Place& place, bool shared) {
    Host host(place.name, IoType(place.medium));
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
  const std::vector<Place> places = PlacesOfAllMedia(sandbox);
  int wrong = 0;
  for (int64_t number = 0; number < kills; ++number) {
    Dice dice(seed, number);
    const Place& place = places[static_cast<size_t>(number) % places.size()];
    std::string error, step;
    auto victim = scanhost::ChildProcess::Start(
        SCANTK_HELPER, {"work", place.name, std::to_string(IoType(place.medium))}, &error);
    for (int64_t steps = dice.Roll(1, 40); victim && steps > 0; --steps)
      if (!victim->ReadLine(30000, &step)) step = "(nothing)";
    victim.reset();
    Host host(place.name, IoType(place.medium));
    if (!host.Open() || !host.Lock(T_LOCK_PROCESS, 1000)) host.Fail("no lock within a second");
    // A terminal does not tell its far side that a host took over: nobody has it open for a while.
    if (place.medium == Medium::kUsb) {
      host.Close();
      FarSide& device = *place.device;
      for (int wait = 0; device->open_connections() > 0 && wait < 1000; ++wait)
        TheClock().Sleep(10);
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
