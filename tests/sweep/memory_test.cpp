// What a device that announces the most that it can costs the host in memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "simulator/scanner_core.h"
#include "tests/sweep/failing_memory.h"
#include "tests/sweep/virtual_network.h"
#include "tests/sweep/watched_host.h"

namespace scantk::test {
namespace {

constexpr int64_t kMegabyte = 1 << 20;
// What a scan takes at most, and what a block and a row may announce.
constexpr int64_t kOrdinary = 8 * kMegabyte;
constexpr int64_t kLargestBlock = 64 * kMegabyte;
constexpr int64_t kLargestRow = 8 * kMegabyte;

// A device that wants its page turned over, which the host has to keep for it.
constexpr char kTurned[] = "answer@variable:13510=2";

constexpr SweepJob kRaw = {"raw", T_COLOR, false, 0, 120, 80};
constexpr SweepJob kJpeg = {"jpeg", T_COLOR, true, 0, 256, 192};

// A scanner whose JPEG pictures say that they are as large as pictures can be.
class HugePictures : public sim::Responder {
 public:
  explicit HugePictures(sim::ScannerCore* device) : device_(*device) {}
  bool Greet(sim::Conversation& host, bool busy) override { return device_.Greet(host, busy); }
  size_t Receive(sim::Conversation& host, const uint8_t* bytes, size_t size) override {
    return device_.Receive(host, bytes, size);
  }
  void Produce(sim::Conversation& host) override {
    device_.Produce(host);
    constexpr uint8_t kFrameHeader[] = {0xFF, 0xC0, 0, 17, 8};
    for (auto& piece : host.out) {
      const auto frame =
          std::search(piece.begin(), piece.end(), std::begin(kFrameHeader), std::end(kFrameHeader));
      if (piece.end() - frame < 9) continue;
      std::fill(frame + 5, frame + 9, uint8_t{0xFF});
      ++patched;
    }
  }
  void Leave(sim::Conversation& host) override { device_.Leave(host); }

  int patched = 0;

 private:
  sim::ScannerCore& device_;
};

class HostileAnnouncements : public ::testing::Test {
 protected:
  HostileAnnouncements() : name_(sandbox_.AddNetworkDevice("127.0.0.1")) {
    config_.paper = "pattern";
    config_.keep_log = false;
  }
  // The most memory, device included, that a job takes beyond what there was.
  int64_t Peak(const SweepJob& job, sim::Responder* device) {
    network_.Begin(device);
    CountAllocations();
    WatchedHost host(name_, T_IO_NETWORK, &clock_, Excuse::kDeviceLies);
    host.Run(job);
    const int64_t peak = PeakBytes();
    EXPECT_EQ(std::vector<std::string>(), host.problems);
    finished_ = host.finished;
    return peak;
  }

  Sandbox sandbox_;
  VirtualClock clock_;
  VirtualNetwork network_{&clock_};
  const std::string name_;
  sim::DeviceConfig config_;
  bool finished_ = false;
};

TEST_F(HostileAnnouncements, OfBlocksRecordsAndAnswers) {
  const struct {
    const char* fault;
    int64_t bound;
  } cases[] = {
      {"block-length@block:1=67108864", kLargestBlock + kOrdinary},
      {"block-length@block:1=67108873", kOrdinary},
      {"block-length@block:1=4294967295", kOrdinary},
      {"record-length@block:1=32767", kOrdinary},
      {"string-length=2147483647", kOrdinary},
      {"endless-string=1000000", kOrdinary},
      {"endless-number=1000000", kOrdinary},
      {"answer@variable:1026=2147483647", kOrdinary},  // rows of the page
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    config_.faults = {sim::ParseFault(c.fault), sim::ParseFault(kTurned)};
    sim::ScannerCore device(config_, nullptr, [this] { return clock_.Milliseconds(); });
    EXPECT_LE(Peak(kRaw, &device), c.bound);
  }
}

// Told in any answer behind GetBufferInfo, where the host's own buffer does not grow with it.
TEST_F(HostileAnnouncements, OfRows) {
  const struct {
    const char* pixels;
    int64_t least, bound;
  } cases[] = {
      {"2796202", kLargestRow, 3 * kLargestRow + kOrdinary},  // 24 bits each: just below 8 MB
      {"2796203", 0, kOrdinary},
      {"2147483647", 0, kOrdinary},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pixels);
    int64_t most = 0;
    for (int answer = 24; answer < 48; ++answer) {
      const std::string moment = "answer@variable:1024,answer:" + std::to_string(answer) + "=";
      config_.faults = {sim::ParseFault(moment + c.pixels), sim::ParseFault(kTurned)};
      sim::ScannerCore device(config_, nullptr, [this] { return clock_.Milliseconds(); });
      most = std::max(most, Peak(kRaw, &device));
    }
    EXPECT_GE(most, c.least);
    EXPECT_LE(most, c.bound);
  }
}

TEST_F(HostileAnnouncements, OfPictures) {
  sim::ScannerCore device(config_, nullptr, [this] { return clock_.Milliseconds(); });
  EXPECT_LE(Peak(kJpeg, &device), kOrdinary);
  EXPECT_TRUE(finished_);
  HugePictures huge(&device);
  EXPECT_LE(Peak(kJpeg, &huge), 24 * kMegabyte);
  EXPECT_GE(huge.patched, 1);
}

}  // namespace
}  // namespace scantk::test
