// A host that speaks to a device in bytes, with nothing of the toolkit in between.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace scantk::sim::test {

/// A page as it came over the wire.
struct WirePage {
  std::vector<uint8_t> image;     // of all raster records
  std::vector<size_t> blocks;     // length of each, its header included
  std::vector<size_t> records;    // image bytes of each raster record
  bool aborted = false;           // the last block says so
  bool broken = false;            // framing or connection ended before a last block
  bool has_end = false;           // an end-of-page record came
  std::vector<uint8_t> end_rows;  // its eight bytes of counts
};

class RawHost {
 public:
  /// Connects and reads the greeting.
  explicit RawHost(const std::string& address, uint16_t port = 9290);
  ~RawHost() { Close(); }
  RawHost(const RawHost&) = delete;
  RawHost& operator=(const RawHost&) = delete;

  const std::string& greeting() const { return greeting_; }
  /// `~` stands for the escape byte.
  void Send(std::string_view text);
  void SendBytes(const std::vector<uint8_t>& bytes);
  /// What the device answers to the inquiry "~*s" + `inquiry`, up to its first capital (the string
  /// included when that is a W), without the escape; what came when it stops short of that.
  std::string Ask(const std::string& inquiry);
  /// Sends `commands` and returns once the device has carried them out.
  void Command(std::string_view commands);
  /// Up to `size` bytes; fewer when the device closes or is silent for `timeout_ms`.
  std::string Read(size_t size, int timeout_ms = 4000);
  WirePage ReadPage();
  /// Whether the device has closed the connection (waits up to `timeout_ms`, discards what comes).
  bool Closed(int timeout_ms = 4000);
  /// As a killed process would: at once, with a reset when bytes are unread.
  void Close();

 private:
  int fd_ = -1;
  std::string greeting_;
};

}  // namespace scantk::sim::test
