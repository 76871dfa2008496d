// How fast a page comes through the toolkit, what memory it takes, and how many round trips each
// method costs. Every speed is a ratio to a yardstick measured in the same run, in turn with it.
//
//   scantk-bench-toolkit [--rounds N] [--transport NAME] [--other LIBRARY]
//
// --transport: net, usb or dot4 alone, without the round trips.
// --other: a second build of the library, whose speed is compared with this one's (the build with
// the trace calls compiled out).
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/bare_line.h"
#include "bench/table.h"
#include "simulator/dot4_device.h"
#include "simulator/simulated_device.h"
#include "simulator/usb_device.h"
#include "tests/contract/toolkit.h"

namespace {

using namespace scantk;
using namespace scantk::test;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kA4Width = 2480, kA4Length = 3508;  // 1/300 inch
constexpr uint16_t kDpi = 600;

[[noreturn]] void Die(const std::string& what) {
  std::fprintf(stderr, "scantk-bench-toolkit: %s\n", what.c_str());
  std::exit(1);
}

void Expect(const char* method, const Outcome& outcome, const Outcome& wanted = kOk) {
  if (!(outcome == wanted))
    Die(std::string(method) + " failed with " + ToolkitErrorText(outcome.code));
}

double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

// Where a device is found, and how.
struct Place {
  uint32_t io_type;
  const char* transport;  // as in --transport
  const char* medium;
  std::string where;  // an address, or a file
};

sim::DeviceConfig BenchDevice(const Place& place) {
  sim::DeviceConfig config;
  if (place.io_type == T_IO_NETWORK) config.address = place.where;
  config.paper = "pattern";
  config.keep_log = false;
  // As long a bed as the longest page of the memory test.
  config.overrides = {{10482, {}, {}, int64_t{kA4Length} * 10, {}, false},
                      {11482, {}, {}, int64_t{kA4Length} * 10, {}, false}};
  return config;
}

// A device in a process of its own, so that its memory and its processor time are not ours.
class DeviceProcess {
 public:
  explicit DeviceProcess(const Place& place) {
    int ready[2];
    if (pipe(ready) || pipe(end_)) Die("no pipe");
    child_ = fork();
    if (child_ == 0) {
      close(end_[1]);
      Serve(place, ready[1]);
      _exit(0);
    }
    close(end_[0]);
    close(ready[1]);
    char word;
    if (read(ready[0], &word, 1) != 1) Die("the simulated device did not start");
    close(ready[0]);
  }
  ~DeviceProcess() {
    close(end_[1]);
    waitpid(child_, nullptr, 0);
  }

 private:
  void Serve(const Place& place, int ready) const {
    std::unique_ptr<sim::SimulatedDevice> network;
    std::unique_ptr<sim::SimulatedDevice> attached;
    if (place.io_type == T_IO_NETWORK)
      network = std::make_unique<sim::SimulatedDevice>(BenchDevice(place));
    else if (place.io_type == T_IO_USB)
      attached = std::make_unique<sim::UsbDevice>(BenchDevice(place), place.where);
    else
      attached = std::make_unique<sim::Dot4Device>(BenchDevice(place), place.where);
    char word = 1;
    if (write(ready, &word, 1) != 1) return;
    [[maybe_unused]] const ssize_t ended = read(end_[0], &word, 1);
  }

  pid_t child_;
  int end_[2];
};

SCANNER_PARAMETERS ColourPage(uint32_t length) {
  return PageParameters(T_COLOR, kDpi, {kA4Width, length});
}

// One session, opened and locked, uncompressed.
class Host {
 public:
  Host(const std::string& library, const std::string& device, uint32_t io_type)
      : toolkit_(library) {
    Expect("OpenScannerSession", Call(toolkit_.scanner, &IScanner::OpenScannerSession,
                                      Wide(device).c_str(), io_type, &session_));
    Expect("LockScanner",
           Call(toolkit_.scanner, &IScanner::LockScanner, session_, T_LOCK_PROCESS, 10000u));
    Call(toolkit_.compression, &ICompression::SetCompressionType, session_, T_COMPRESSION_NONE);
  }
  ~Host() { Call(toolkit_.scanner, &IScanner::CloseScannerSession, session_); }

  // Scans a page; the rate in bytes per second of its reads.
  double Rate(uint32_t length) {
    const auto& scanner = toolkit_.scanner;
    SCANNER_PARAMETERS parameters = ColourPage(length);
    BUFFER_INFO info = {};
    Expect("SetScannerParameters",
           Call(scanner, &IScanner::SetScannerParameters, session_, &parameters));
    Expect("GetBufferInfo", Call(scanner, &IScanner::GetBufferInfo, session_, &parameters, &info));
    Expect("StartScan", Call(scanner, &IScanner::StartScan, session_));
    buffer_.resize(size_t{info.dwBytesPerLine} * 64);
    uint64_t total = 0;
    const auto start = Clock::now();
    for (Outcome read = kOk; read == kOk;) {
      uint32_t got = 0;
      read = Call(scanner, &IScanner::ReadScanEx, session_, buffer_.data(),
                  static_cast<uint32_t>(buffer_.size()), &got);
      total += got;
      if (!(read == kOk)) Expect("ReadScanEx", read, kEndOfPage);
    }
    const double seconds = Seconds(start);
    Expect("StopScan", Call(scanner, &IScanner::StopScan, session_));
    if (total != uint64_t{info.dwBytesPerLine} * info.dwPixelHeight) Die("the page is cut");
    bytes = total;
    return static_cast<double>(total) / seconds;
  }

  uint64_t bytes = 0;

 private:
  Toolkit toolkit_;
  uint32_t session_ = 0;
  std::vector<uint8_t> buffer_;
};

// The yardstick: the same page asked for by hand and received by a loop that does nothing else.
// `framed`: with a read for each block's header and one for its body, as the stream makes every
// host read that does not read ahead; otherwise with reads of 62000 bytes.
double BareRate(const Place& place, bool framed) {
  const std::unique_ptr<bench::BareLine> line = bench::OpenBareLine(place.io_type, place.where);
  char commands[256];
  const int length =
      std::snprintf(commands, sizeof commands,
                    "\x1B*f1H\x1B*a5T\x1B*a24G\x1B*a%dR\x1B*a%dS\x1B*f0X\x1B*f0Y\x1B*f%"
                    "uP\x1B*f%uQ\x1B*m2S\x1B*a0C\x1B*f0S",
                    kDpi, kDpi, kA4Width, kA4Length);
  std::vector<uint8_t> buffer(62000);
  const auto start = Clock::now();
  line->Send(std::string(commands, static_cast<size_t>(length)));
  // The page ends with a block whose flags say so; blocks are told by their headers alone.
  uint64_t total = 0, until_header = 0;
  uint8_t header[8] = {};
  size_t header_bytes = 0;
  bool last = false;
  while (!(last && until_header == 0)) {
    size_t wanted = buffer.size();
    if (framed) wanted = until_header > 0 ? until_header : sizeof header - header_bytes;
    const size_t got = line->Receive(buffer.data(), std::min(wanted, buffer.size()));
    total += got;
    for (size_t at = 0; at < got;) {
      if (until_header == 0) {
        header[header_bytes++] = buffer[at++];
        if (header_bytes < sizeof header) continue;
        header_bytes = 0;
        uint32_t block;
        std::memcpy(&block, header, sizeof block);
        until_header = block - sizeof header;
        last = (header[7] & 0x1A) != 0;
        if (until_header == 0) break;
      } else {
        const size_t skipped = std::min<uint64_t>(until_header, got - at);
        until_header -= skipped;
        at += skipped;
      }
    }
  }
  return static_cast<double>(total) / Seconds(start);
}

long PeakKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
  return 0;
}

void ForgetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

void MeasureThroughput(const Place& place, const std::string& device, int rounds,
                       const std::string& other) {
  std::vector<double> bare, framed, toolkit, without;
  for (int round = 0; round < rounds; ++round) {
    bare.push_back(BareRate(place, false));
    if (place.io_type == T_IO_DOT4) framed.push_back(BareRate(place, true));
    toolkit.push_back(Host(LibraryPath(), device, place.io_type).Rate(kA4Length));
    if (!other.empty()) without.push_back(Host(other, device, place.io_type).Rate(kA4Length));
  }
  const auto row = [&](const char* yardstick, const std::vector<double>& theirs) {
    std::vector<double> ratios;
    for (size_t i = 0; i < theirs.size(); ++i) ratios.push_back(toolkit[i] / theirs[i]);
    if (!ratios.empty())
      bench::PrintRow(std::string("600 dpi A4 colour, ") + place.medium,
                      bench::Middle(toolkit) / 1e6, yardstick, bench::Middle(theirs) / 1e6, "MB/s",
                      ratios);
  };
  row("bare loop", bare);
  row("its requests, bare", framed);
  row("without trace calls", without);
}

void MeasureMemory(const std::string& device) {
  ForgetPeak();
  const long idle = PeakKilobytes();
  Host host(LibraryPath(), device, T_IO_NETWORK);
  long peaks[2];
  for (int i = 0; i < 2; ++i) {
    ForgetPeak();
    host.Rate(i == 0 ? kA4Length : kA4Length * 9);
    peaks[i] = PeakKilobytes();
  }
  std::fprintf(stderr, "Peak memory: idle %ld kB; one page %+ld kB; nine pages' length %+ld kB\n",
               idle, peaks[0] - idle, peaks[1] - idle);
}

// Prints what one call costs: round trips and commands as the device counts them, and milliseconds.
void CountCall(const sim::SimulatedDevice& device, const char* method,
               const std::function<Outcome()>& call) {
  const sim::Stats before = device.stats();
  const auto start = Clock::now();
  call();
  const double seconds = Seconds(start);
  const sim::Stats after = device.stats();
  std::fprintf(stderr, "%-24s %10lld %10lld %10.2f\n", method,
               static_cast<long long>(after.inquiries - before.inquiries + after.connections -
                                      before.connections),
               static_cast<long long>(after.commands - before.commands), seconds * 1e3);
}

void CountRoundTrips(Sandbox& sandbox) {
  sim::DeviceConfig config;
  config.address = "127.251.0.2";
  sim::SimulatedDevice device(config);
  const std::string name = sandbox.AddNetworkDevice(config.address);
  Toolkit toolkit;
  uint32_t session = 0;
  SCANNER_PARAMETERS parameters = ColourPage(300);
  parameters.wXResolution = parameters.wYResolution = 75;
  BUFFER_INFO info = {};
  SCANNER_CAPABILITIES caps;
  std::vector<uint8_t> page(4 << 20);
  uint32_t got = 0;
  const auto& scanner = toolkit.scanner;
  std::fprintf(stderr, "%-24s %10s %10s %10s\n", "Method", "round trips", "commands", "ms");
  const auto count = std::bind_front(CountCall, std::ref(device));
  count("OpenScannerSession", [&] {
    return Call(scanner, &IScanner::OpenScannerSession, Wide(name).c_str(), T_IO_NETWORK, &session);
  });
  count("LockScanner",
        [&] { return Call(scanner, &IScanner::LockScanner, session, T_LOCK_PROCESS, 0u); });
  for (const char* method : {"GetScannerCapabilities", "  again"})
    count(method, [&] { return Call(scanner, &IScanner::GetScannerCapabilities, session, &caps); });
  count("SetScannerParameters",
        [&] { return Call(scanner, &IScanner::SetScannerParameters, session, &parameters); });
  count("GetBufferInfo",
        [&] { return Call(scanner, &IScanner::GetBufferInfo, session, &parameters, &info); });
  count("StartScan", [&] { return Call(scanner, &IScanner::StartScan, session); });
  const uint32_t line = info.dwBytesPerLine;
  count("ReadScanEx, first line",
        [&] { return Call(scanner, &IScanner::ReadScanEx, session, page.data(), line, &got); });
  count("ReadScanEx, the rest", [&] {
    return Call(scanner, &IScanner::ReadScanEx, session, page.data(), line * 400, &got);
  });
  count("StopScan", [&] { return Call(scanner, &IScanner::StopScan, session); });
  count("ADFIsReady", [&] {
    uint8_t ready;
    return Call(toolkit.feeder, &IADF::ADFIsReady, session, &ready);
  });
  count("JobReserveHW",
        [&] { return Call(toolkit.reserve, &IReserve::JobReserveHW, session, 0u); });
  count("JobReleaseHW", [&] { return Call(toolkit.reserve, &IReserve::JobReleaseHW, session); });
  count("UnlockScanner", [&] { return Call(scanner, &IScanner::UnlockScanner, session); });
  count("CloseScannerSession",
        [&] { return Call(scanner, &IScanner::CloseScannerSession, session); });
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 5;
  std::string other, only;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (!std::strcmp(argv[i], "--rounds"))
      rounds = std::max(1, std::atoi(argv[i + 1]));
    else if (!std::strcmp(argv[i], "--transport"))
      only = argv[i + 1];
    else if (!std::strcmp(argv[i], "--other"))
      other = argv[i + 1];
    else
      Die(std::string("unknown option ") + argv[i]);
  }
  try {
    const Sandbox folder;
    const Place places[] = {
        {T_IO_NETWORK, "net", "network on loopback", "127.251.0.1"},
        {T_IO_USB, "usb", "USB on a pseudo-terminal", folder.Folder() + "/usb"},
        {T_IO_DOT4, "dot4", "DOT4 on a stack of the simulator", folder.Folder() + "/dot4"}};
    const auto wanted = [&only](const Place& place) {
      return only.empty() || only == place.transport;
    };
    if (std::none_of(std::begin(places), std::end(places), wanted))
      Die("there is no transport " + only);
    for (const Place& place : places) {
      if (!wanted(place)) continue;
      const DeviceProcess process(place);
      Sandbox sandbox;
      const bool network = place.io_type == T_IO_NETWORK;
      const std::string device = network ? sandbox.AddNetworkDevice(place.where)
                                         : sandbox.AddAttachedDevice(place.where, place.io_type);
      if (network) MeasureMemory(device);
      MeasureThroughput(place, device, rounds, other);
    }
    if (!only.empty()) return 0;
    Sandbox sandbox;
    CountRoundTrips(sandbox);
  } catch (const std::exception& problem) {
    Die(problem.what());
  }
}
