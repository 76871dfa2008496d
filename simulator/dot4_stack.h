// The stack of dot4_device.h: files that hosts open, and what they ask for on them.
#ifndef SCANTK_SIMULATOR_DOT4_STACK_H_
#define SCANTK_SIMULATOR_DOT4_STACK_H_

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/dot4_records.h"
#include "simulator/line.h"

namespace scantk::sim {

// Its public members are for the device's owner, and used with the mutex held.
class Dot4Stack : public Line {
 public:
  Dot4Stack(const LineEnds& ends, std::string path) : Line(ends), path_(std::move(path)) {}

  void Attach() override;
  void Detach() override;
  int OpenConnections() const override { return channel_.has_value(); }
  void LoseHandles();

  std::map<uint32_t, std::deque<uint32_t>> failures;  // by request code
  std::vector<std::string> layout_faults;
  std::deque<uint8_t> sockets;  // oldest first

 private:
  // A host's open file: requests in, answers out, in order.
  struct File {
    Socket socket;
    std::vector<uint8_t> received;
    std::vector<uint8_t> unsent;
    std::optional<int64_t> read_ends;  // when the read that is first in line gives up
    std::vector<uint8_t> read_so_far;  // of it

    void AddAnswer(uint32_t error, uint32_t moved, const std::vector<uint8_t>& reply = {});
  };
  struct Channel {
    uint32_t handle = 0;
    uint8_t socket = 0;
    const File* file = nullptr;
    std::unique_ptr<Conversation> host;
  };

  int Watch(std::vector<Watched>* watched) override;
  void Serve(std::span<const Watched> watched) override;
  void Receive(File& file);
  void Send(File& file);
  void Close(File& file);
  void CloseChannel(RecordedKind how);

  // What a host asks for (dot4_requests.cpp).
  void AnswerAll(File& file);
  bool Answer(File& file, const Dot4Request& request);
  uint32_t Failure(File& file, const Dot4Request& request);
  uint32_t Perform(File& file, const Dot4Request& request);
  uint32_t CreateSocket(File& file, const Dot4Request& request);
  uint32_t OpenChannel(File& file, const Dot4Request& request);
  uint32_t DestroySocket(File& file, const Dot4Request& request);
  uint32_t OnChannel(File& file, const Dot4Request& request);
  bool OwnsChannel(const File& file, const Dot4Request& request) const;
  bool AnswerRead(File& file, const Dot4Request& request);

  const std::string path_;
  Socket listener_;
  std::vector<std::unique_ptr<File>> files_;
  uint8_t last_socket_ = 0;
  std::optional<Channel> channel_;
  uint32_t last_channel_ = 0x5000;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_DOT4_STACK_H_
