// scantk-kill: hosts are killed at a random moment of their job; the next one must be able to lock
// the device at once, and what is written in the registry must be whole.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "platform/posix/registry_text.h"
#include "platform/system.h"
#include "simulator/dot4_device.h"
#include "simulator/simulated_device.h"
#include "simulator/usb_device.h"
#include "tests/contract/page_parameters.h"
#include "tests/contract/toolkit.h"
#include "tests/reliability/kill_host.h"
#include "tests/reliability/leak_watch.h"

namespace scantk::test {
namespace {

constexpr uint32_t kLockedWithinMs = 1000;
constexpr int kMarks = 40;  // values of others beside each device's own

int64_t Microseconds() {
  using namespace std::chrono;
  return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

// A device that hosts are killed on.
struct Target {
  std::string name;
  uint32_t io_type = T_IO_NETWORK;
  const char* medium = "";
  std::unique_ptr<sim::SimulatedDevice> network;
  std::unique_ptr<sim::AttachedDevice> attached;

  std::vector<uint8_t> Paper() const {
    const auto page = network ? network->last_page() : attached->last_page();
    return page ? sim::RenderPage(sim::MakePaper("pattern"), *page) : std::vector<uint8_t>();
  }
};

class KillLoop {
 public:
  explicit KillLoop(uint64_t seed) : dice_(seed) {
    sim::DeviceConfig config;
    config.paper = "pattern";
    config.delivery.block_bytes = 20000;
    const uint32_t process = ProcessId();
    config.address = "127." + std::to_string(32 + (process >> 8) % 200) + "." +
                     std::to_string(process & 0xFF) + ".251";
    for (Target& target : targets_) target.name = sandbox_.Folder() + "/";
    targets_[0].medium = "net";
    targets_[0].network = std::make_unique<sim::SimulatedDevice>(config);
    targets_[0].name = sandbox_.AddNetworkDevice(config.address);
    AddAttached<sim::UsbDevice>(&targets_[1], T_IO_USB, "usb", config);
    AddAttached<sim::Dot4Device>(&targets_[2], T_IO_DOT4, "dot4", config);
    for (const Target& target : targets_)
      for (int mark = 0; mark < kMarks; ++mark)
        sandbox_.SetDeviceText(target.name, "Mark" + std::to_string(mark),
                               "kept " + std::to_string(mark));
    known_ = Registry();
    first_ = Holdings::Now();
  }

  ~KillLoop() {
    for (const Target& target : targets_) RemoveSemaphore("Global\\" + target.name);
  }

  bool Run(int64_t kills) {
    for (const Target& target : targets_) RunWholeHost(target);
    for (int64_t kill = 1; kill <= kills; ++kill)
      KillOnce(kill, targets_[static_cast<size_t>(kill % 3)]);
    const Holdings last = Holdings::Now();
    for (int step = 0; step < kSteps; ++step)
      std::printf("  killed at %-14s %6lld\n", Name(static_cast<Step>(step)),
                  static_cast<long long>(at_step_[step]));
    if (last.files != first_.files) Fail(0, "descriptors are left: " + OpenFiles());
    std::printf(
        "kill: %lld hosts killed, %lld failures, longest lock %lld ms, registry of %zu "
        "values whole\n",
        static_cast<long long>(kills), static_cast<long long>(failures_),
        static_cast<long long>(longest_lock_us_ / 1000), known_.size());
    return failures_ == 0;
  }

 private:
  template <class Device>
  void AddAttached(Target* target, uint32_t io_type, const char* medium,
                   const sim::DeviceConfig& config) {
    target->io_type = io_type;
    target->medium = medium;
    target->attached = std::make_unique<Device>(config, target->name + medium);
    target->name = sandbox_.AddAttachedDevice(target->attached->path(), io_type);
  }

  void Fail(int64_t kill, const std::string& what) {
    ++failures_;
    std::printf("kill %lld FAILED: %s\n", static_cast<long long>(kill), what.c_str());
    std::fflush(stdout);
  }

  // A host at work, for so many jobs; its steps can be read from *progress.
  pid_t StartHost(const Target& target, int jobs, int* progress) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const std::string type = std::to_string(target.io_type), end = std::to_string(ends[1]),
                      count = std::to_string(jobs);
    const pid_t host = fork();
    if (host == 0) {
      fcntl(ends[1], F_SETFD, 0);
      execl("/proc/self/exe", "scantk-kill", "--host", target.name.c_str(), type.c_str(),
            end.c_str(), count.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(ends[1]);
    *progress = ends[0];
    return host;
  }

  void RunWholeHost(const Target& target) {
    int progress = -1, status = -1;
    const pid_t host = StartHost(target, 1, &progress);
    char word = 0;
    while (read(progress, &word, 1) == 1) {
    }
    close(progress);
    waitpid(host, &status, 0);
    if (status != 0) Fail(0, std::string("a host that nobody kills fails over ") + target.medium);
    known_ = Registry();
  }

  void KillOnce(int64_t kill_number, const Target& target) {
    int progress = -1;
    const pid_t host = StartHost(target, -1, &progress);
    // Any step of its first or second job, and then any moment of that step or of the next ones.
    const auto step = static_cast<char>(std::uniform_int_distribution<int>(0, kSteps - 1)(dice_));
    int passes = std::uniform_int_distribution<int>(1, 2)(dice_);
    char word = 0;
    while (passes > 0) {
      if (read(progress, &word, 1) != 1) break;
      if (word == step) --passes;
    }
    if (passes > 0) Fail(kill_number, "the host ended by itself");
    std::uniform_int_distribution<int> delay_us(-3000, 3000);  // as often at once
    if (const int wait = delay_us(dice_); wait > 0)
      std::this_thread::sleep_for(std::chrono::microseconds(wait));
    kill(host, SIGKILL);
    const int64_t killed = Microseconds();
    int status = 0;
    waitpid(host, &status, 0);
    char words[4096];
    for (ssize_t got; (got = read(progress, words, sizeof words)) > 0;) word = words[got - 1];
    close(progress);
    if (!WIFSIGNALED(status)) Fail(kill_number, "the host ended by itself");
    ++at_step_[static_cast<uint8_t>(word)];
    const std::string what =
        std::string(target.medium) + ", killed at " + Name(static_cast<Step>(word)) + ": ";
    const std::string next = NextHost(target, killed);
    if (!next.empty()) Fail(kill_number, what + next);
    const std::string lost = LostValues();
    if (!lost.empty()) Fail(kill_number, what + lost);
  }

  // The next host: locks the device at once, then scans. What went wrong with it.
  std::string NextHost(const Target& target, int64_t killed) {
    Toolkit toolkit;
    std::ostringstream wrong;
    uint32_t session = OpenAndLock(toolkit, target, &wrong);
    const int64_t locked_us = Microseconds() - killed;
    longest_lock_us_ = std::max(longest_lock_us_, locked_us);
    if (locked_us > int64_t{kLockedWithinMs} * 1000)
      wrong << "locked only after " << locked_us / 1000 << " ms; ";
    if (target.io_type == T_IO_USB) {
      // A terminal does not tell its far side that one host took over from another: to end what the
      // dead one began, nobody may have it open for a while.
      UnlockAndClose(toolkit, session, &wrong);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      session = OpenAndLock(toolkit, target, &wrong);
    }
    ScanExactly(toolkit, session, target, &wrong);
    UnlockAndClose(toolkit, session, &wrong);
    return wrong.str();
  }

  static void Expect(const char* call, const Outcome& got, const Outcome& wanted,
                     std::ostream* wrong) {
    if (!(got == wanted)) *wrong << "the next host's " << call << ": " << got << "; ";
  }

  static uint32_t OpenAndLock(const Toolkit& toolkit, const Target& target, std::ostream* wrong) {
    uint32_t session = 0;
    Expect("open",
           Call(toolkit.scanner, &IScanner::OpenScannerSession, Wide(target.name).c_str(),
                target.io_type, &session),
           kOk, wrong);
    Expect("lock",
           Call(toolkit.scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, kLockedWithinMs),
           kOk, wrong);
    return session;
  }

  static void UnlockAndClose(const Toolkit& toolkit, uint32_t session, std::ostream* wrong) {
    Expect("unlock", Call(toolkit.scanner, &IScanner::UnlockScanner, session), kOk, wrong);
    Expect("close", Call(toolkit.scanner, &IScanner::CloseScannerSession, session), kOk, wrong);
  }

  static void ScanExactly(const Toolkit& toolkit, uint32_t session, const Target& target,
                          std::ostream* wrong) {
    const auto& scanner = toolkit.scanner;
    Call(toolkit.compression, &ICompression::SetCompressionType, session, T_COMPRESSION_NONE);
    SCANNER_PARAMETERS parameters = PageParameters(T_GREYSCALE, 150, {200, 200});
    BUFFER_INFO info = {};
    Call(scanner, &IScanner::SetScannerParameters, session, &parameters);
    Expect("buffer info", Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info), kOk,
           wrong);
    Expect("start", Call(scanner, &IScanner::StartScan, session), kOk, wrong);
    std::vector<uint8_t> page(size_t{info.dwBytesPerLine} * (info.dwPixelHeight + 8) + 1);
    uint32_t got = 0;
    Expect("read",
           Call(scanner, &IScanner::ReadScanEx, session, page.data(),
                static_cast<uint32_t>(page.size() - 1), &got),
           kEndOfPage, wrong);
    page.resize(got);
    if (page.empty() || page != target.Paper()) *wrong << "the next host's page is not exact; ";
    Expect("stop", Call(scanner, &IScanner::StopScan, session), kOk, wrong);
  }

  std::string RegistryPath() const { return sandbox_.Folder() + "/registry.reg"; }

  // Every value of the registry file as "key|line of text".
  std::set<std::string> Registry() const {
    std::ifstream file(RegistryPath(), std::ios::binary);
    std::set<std::string> values;
    std::string key;
    for (std::string line; std::getline(file, line);) {
      while (!line.empty() && line.back() == '\r') line.pop_back();
      if (!line.empty() && line[0] == '[') key = line;
      if (!line.empty() && line[0] != '[') values.insert(key + "|" + line);
    }
    return values;
  }

  // What is wrong with the file: it does not parse, or lacks a value that was there.
  std::string LostValues() {
    std::ifstream file(RegistryPath(), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    const RegistryText text(bytes.str());
    if (!text.IsRegistry()) return "the registry file is none any more";
    if (!text.Reports().empty()) return "the registry file: " + text.Reports()[0].text;
    const std::set<std::string> now = Registry();
    for (const std::string& value : known_)
      if (now.count(value) == 0) return "lost from the registry: " + value;
    known_.insert(now.begin(), now.end());
    return "";
  }

  Sandbox sandbox_;
  Target targets_[3];
  std::mt19937_64 dice_;
  std::set<std::string> known_;
  Holdings first_;
  int64_t at_step_[kSteps] = {};
  int64_t failures_ = 0;
  int64_t longest_lock_us_ = 0;
};

int Main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 5 && words[0] == "--host")
    return RunKilledHost(words[1], static_cast<uint32_t>(std::stoul(words[2])), std::stoi(words[3]),
                         std::stoi(words[4]));
  int64_t kills = 100;
  uint64_t seed = 1;
  for (size_t i = 0; i < words.size(); i += 2) {
    if (i + 1 == words.size() || (words[i] != "--kills" && words[i] != "--seed"))
      throw std::invalid_argument(
          "scantk-kill [--kills N] [--seed N]: kills N hosts (100), each at a random moment");
    if (words[i] == "--kills") kills = std::stoll(words[i + 1]);
    if (words[i] == "--seed") seed = std::stoull(words[i + 1]);
  }
  std::printf("kill: seed %llu, %lld hosts\n", static_cast<unsigned long long>(seed),
              static_cast<long long>(kills));
  return KillLoop(seed).Run(kills) ? 0 : 1;
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
