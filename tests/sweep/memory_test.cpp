// What a device that announces the most that it can costs the host in memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "simulator/scanner_core.h"
#include "tests/sweep/failing_system.h"
#include "tests/sweep/virtual_network.h"
#include "tests/sweep/watched_host.h"

namespace scantk::test {
namespace {

constexpr int64_t kMegabyte = 1 << 20;
// What a scan takes at most, and what a block and a row may announce; a row of 24 bits a pixel
// stays just below it with 2796202 of them.
constexpr int64_t kOrdinary = 8 * kMegabyte;
constexpr int64_t kLargestBlock = 64 * kMegabyte;
constexpr int64_t kLargestRow = 8 * kMegabyte;

// A device that wants its page turned over, which the host has to keep for it.
constexpr char kTurned[] = "answer@variable:13510=2";

constexpr SweepJob kRaw = {"raw", T_COLOR, false, 0, 120, 80};
constexpr SweepJob kJpeg = {"jpeg", T_COLOR, true, 0, 256, 192};

// What a job takes at most, device included, and at least where the announcement must be granted.
// A # in the fault stands for each number from `first` to `last` in turn.
struct Announcement {
  std::string fault;
  int64_t bound = kOrdinary, least = 0;
  int first = 0, last = 0;
  SweepJob job = kRaw;
};

// Rows: told in any answer behind GetBufferInfo, where the host's own buffer does not grow with it.
// Pictures: the device inverts a byte of the frame header, among others that of the width.
const Announcement kAnnouncements[] = {
    {"block-length@block:1=67108864", kLargestBlock + kOrdinary, kLargestBlock},
    {"block-length@block:1=67108873"},
    {"block-length@block:1=4294967295"},
    {"record-length@block:1=32767"},
    {"string-length=2147483647"},
    {"endless-string=1000000"},
    {"endless-number=1000000"},
    {"answer@variable:1026=2147483647"},
    {"answer@variable:1024,answer:#=2796202", 3 * kLargestRow + kOrdinary, kLargestRow, 24, 47},
    {"answer@variable:1024,answer:#=2796203", kOrdinary, 0, 24, 47},
    {"answer@variable:1024,answer:#=2147483647", kOrdinary, 0, 24, 47},
    {"busy@connection:99", kOrdinary, 0, 0, 0, kJpeg},
    {"corrupt@block:1=#", kOrdinary, kMegabyte, 200, 225, kJpeg}};

TEST(HostileAnnouncement, CostsNoMoreMemoryThanIsGranted) {
  Sandbox sandbox;
  VirtualNetwork network;
  const std::string name = sandbox.AddNetworkDevice("127.0.0.1");
  sim::DeviceConfig config;
  config.paper = "pattern";
  config.keep_log = false;
  for (const Announcement& announced : kAnnouncements) {
    SCOPED_TRACE(announced.fault);
    int64_t most = 0;
    for (int number = announced.first; number <= announced.last; ++number) {
      std::string fault = announced.fault;
      if (const size_t at = fault.find('#'); at != std::string::npos)
        fault.replace(at, 1, std::to_string(number));
      config.faults = {sim::ParseFault(fault), sim::ParseFault(kTurned)};
      sim::ScannerCore device(config, nullptr, [&] { return network.Milliseconds(); });
      network.Begin(&device);
      TakePeakBytes();
      WatchedHost host(name, T_IO_NETWORK, Excuse::kDeviceLies);
      host.Run(announced.job);
      most = std::max(most, TakePeakBytes());
      EXPECT_EQ(std::vector<std::string>(), host.problems);
    }
    EXPECT_LE(most, announced.bound);
    EXPECT_GE(most, announced.least);
  }
}

}  // namespace
}  // namespace scantk::test
