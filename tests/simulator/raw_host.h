// A host that speaks to a device in bytes, with nothing of the toolkit in between.
#ifndef SCANTK_TESTS_SIMULATOR_RAW_HOST_H_
#define SCANTK_TESTS_SIMULATOR_RAW_HOST_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "simulator/simulated_device.h"
#include "simulator/sockets.h"

namespace scantk::sim::test {

// An address, and the path of a file, that no other run of these tests has.
inline std::string Address(int number) {
  const int process = getpid();
  return "127." + std::to_string(32 + (process >> 8) % 200) + "." + std::to_string(process & 0xFF) +
         "." + std::to_string(number);
}
inline std::string TemporaryPath(const std::string& name) {
  return std::filesystem::temp_directory_path() / (name + std::to_string(getpid()));
}

// Waits until it is so, for ten seconds at most.
template <class Condition>
void Await(Condition is_so) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!is_so()) ASSERT_LT(std::chrono::steady_clock::now(), limit);
}

// A page as it came over the wire.
struct WirePage {
  std::vector<uint8_t> image;  // of all raster records
  std::vector<size_t> blocks;  // length of each, its header included
  size_t longest_record = 0;
  bool aborted = false;  // the last block says so
  bool broken = false;   // framing or connection ended before a last block
  std::string end_rows;  // the eight bytes of counts of the end-of-page record
  std::string Text() const { return {image.begin(), image.end()}; }
};

class RawHost {
 public:
  // Connects and reads the greeting.
  explicit RawHost(const std::string& address) : socket_(Connect(LookUp(address, 9290))) {
    greeting_ = Read(2);
  }

  const std::string& greeting() const { return greeting_; }
  void Close() { socket_.Reset(); }

  // `~` stands for the escape byte.
  void Send(std::string text) {
    std::replace(text.begin(), text.end(), '~', '\x1b');
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    ASSERT_EQ(static_cast<int>(text.size()), sim::Send(socket_, {bytes, text.size()}));
  }

  // What the device answers to the inquiry "~*s" + `inquiry`, up to its first capital (with the
  // text when that is a W), without the escape; what came when it stops short of that.
  std::string Ask(const std::string& inquiry) {
    Send("~*s" + inquiry);
    std::string answer;
    Read(1);  // the escape
    for (std::string next; answer.empty() || answer.back() < 'A' || answer.back() > 'Z';) {
      if ((next = Read(1)).empty()) return answer;
      answer += next;
    }
    if (answer.back() != 'W') return answer;
    return answer + Read(std::stoul(answer.substr(answer.find_first_of("pkgd") + 1)));
  }

  // Sends `commands` and returns once the device has carried them out.
  void Command(const std::string& commands) {
    Send(commands);
    Ask("257E");
  }

  // Up to `size` bytes; fewer when the device closes or is silent for `silence_ms`.
  std::string Read(size_t size, int silence_ms = 2000) {
    std::string bytes(size, '\0');
    for (size_t got = 0; got < size;) {
      std::vector<Watched> ready = {{.file = socket_.Get(), .reads = true}};
      WaitFor(ready, silence_ms);
      const int count = Receive(socket_, reinterpret_cast<uint8_t*>(&bytes[got]), size - got);
      if (count <= 0) return bytes.substr(0, got);
      got += static_cast<size_t>(count);
    }
    return bytes;
  }

  WirePage ReadPage() {
    WirePage page;
    for (;;) {
      const std::string header = Read(8);
      const size_t length = header.size() == 8 ? Little(header, 0, 4) : 0;
      const std::string body = length < 8 ? "" : Read(length - 8);
      page.broken = length < 8 || body.size() != length - 8 || !TakeRecords(body, &page);
      if (page.broken) return page;
      page.blocks.push_back(length);
      page.aborted = (header[7] & 0x20) != 0;
      if (header[7] & 0x22) return page;
    }
  }

  static size_t Little(const std::string& bytes, size_t at, size_t count) {
    size_t value = 0;
    for (size_t i = count; i-- > 0;) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return value;
  }

 private:
  // Takes the records of one block's body apart; false when they do not fit it.
  static bool TakeRecords(const std::string& body, WirePage* page) {
    for (size_t at = 0, size = 0; at < body.size(); at += size) {
      const char type = body[at];
      size = type == 0 ? 36 : type == 2 ? 12 : 0;
      if (type == 1 && at + 4 <= body.size()) size = 4 + Little(body, at + 2, 2);
      if (size == 0 || at + size > body.size()) return false;
      if (type == 2) page->end_rows = body.substr(at + 4, 8);
      if (type != 1) continue;
      page->longest_record = std::max(page->longest_record, size - 4);
      for (size_t i = at + 4; i < at + size; ++i)
        page->image.push_back(static_cast<uint8_t>(body[i]));
    }
    return true;
  }

  Socket socket_;
  std::string greeting_;
};

// A device on the network and one host.
struct DeviceTest : testing::Test {
  void Start(DeviceConfig config = {}) {
    host.reset();
    device.reset();
    config.address = Address(1);
    device = std::make_unique<SimulatedDevice>(config);
    host = std::make_unique<RawHost>(config.address);
  }
  std::unique_ptr<SimulatedDevice> device;
  std::unique_ptr<RawHost> host;
};

}  // namespace scantk::sim::test

#endif  // SCANTK_TESTS_SIMULATOR_RAW_HOST_H_
