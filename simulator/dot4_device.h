// The device behind an IEEE 1284.4 (DOT4) stack: a local socket that answers device-control
// requests.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/attached_device.h"
#include "simulator/dot4_records.h"

namespace scantk::sim {

/// The stack has one channel to the scanner; a channel is a conversation, and goes with the file
/// that it was opened on. Sockets outlive files. A fault that ends a connection closes the file
/// with the channel.
class Dot4Device : public AttachedDevice {
 public:
  // Instead of an error number: no answer is given; the file is closed.
  static constexpr uint32_t kSilence = 0xFFFFFFFF;
  static constexpr uint32_t kHangUp = 0xFFFFFFFE;

  /// Returns once the stack listens at `path`. Throws what SimulatedDevice does.
  Dot4Device(DeviceConfig config, std::string path);
  ~Dot4Device() override;

  /// The next requests of this kind end with these system error numbers, 0 being as usual.
  void FailRequests(Dot4Code code, std::deque<uint32_t> errors);
  /// Every open file is closed at this end; they can be opened again.
  void LoseHandles();
  /// What was wrong with the layout of requests so far, one text each (the first 100).
  std::vector<std::string> layout_faults() const;
  int open_channels() const;
  int open_sockets() const;

 private:
  struct File;
  struct Channel {
    uint32_t handle = 0;
    uint8_t socket = 0;
    const File* file = nullptr;
    std::unique_ptr<Line> line;
  };

  void Attach() override;
  void Detach() override;
  void Turn() override;
  void Accept();
  void Serve(File& file, short events);
  void Receive(File& file);
  void Send(File& file);
  void AnswerAll(File& file);
  bool Answer(File& file, const Dot4Request& request);
  uint32_t Perform(File& file, const Dot4Request& request);
  bool AnswerRead(File& file, const Dot4Request& request);
  void CloseChannel();
  void CloseFile(File& file);
  void Sweep();

  int listener_ = -1;
  std::vector<std::unique_ptr<File>> files_;
  std::deque<uint8_t> sockets_;  // oldest first
  uint8_t last_socket_ = 0;
  std::optional<Channel> channel_;
  uint32_t last_channel_ = 0x5000;
  std::map<uint32_t, std::deque<uint32_t>> failures_;
  std::vector<std::string> layout_faults_;
};

}  // namespace scantk::sim
