// A network that follows a script: what each socket answers is set down before it is made, for what
// no peer can be brought to on demand.
#ifndef SCANTK_TESTS_IO_SCRIPTED_NETWORK_H_
#define SCANTK_TESTS_IO_SCRIPTED_NETWORK_H_

#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "platform/error_codes.h"
#include "platform/network.h"

namespace scantk {

// One transfer: how it is posted, how the wait ends, and what it moves.
struct ScriptedTransfer {
  std::string data = {};  // received; of a send: as many bytes as are reported sent
  uint32_t post = 0;
  WaitResult wait = WaitResult::kSignalled;
  uint32_t result = 0;
  std::string late = {};  // arrives while an unfinished one is ended
};

struct SocketScript {
  uint32_t connect = error::kSocketWouldBlock;
  std::deque<int> writable = {};  // answers of WaitWritable, then 1
  uint32_t last_error = 0;        // after every operation
  int pending_asked = 0;
  uint32_t pending = 0;
  bool begin_transfer = true;
  std::deque<ScriptedTransfer> receives = {{"00"}};  // then silence
  std::deque<ScriptedTransfer> sends = {};           // then all is sent
};

// Sockets take their scripts from `scripts` in turn; without one, none is made. `calls` tells what
// they were asked.
class ScriptedNetwork : public Network {
 public:
  ScriptedNetwork() { SetNetwork(this); }
  ~ScriptedNetwork() override { SetNetwork(nullptr); }

  uint32_t StartUp(SocketLibraryInfo* info) override {
    *info = {version, 0x0202, "A library", "Running", 7, 8};
    ++started;
    return 0;
  }
  void CleanUp() override { --started; }
  std::unique_ptr<StreamSocket> CreateStreamSocket() override;
  uint32_t LookUpHost(const std::string& name) override {
    return name == "nobody" ? kNoAddress : 0x0201000A;
  }
  uint32_t ParseDotted(const std::string& text) override { return system_.ParseDotted(text); }
  uint32_t LastSocketError() override { return last_error; }
  uint32_t TakeUnknownError() override { return std::exchange(unknown_error, 0); }

  std::string TakeCalls() { return std::exchange(calls, {}); }

  std::deque<SocketScript> scripts;
  std::string calls;
  uint32_t last_error = 0, unknown_error = 0;
  uint16_t version = 0x0202;
  int started = 0, open_sockets = 0, unfinished = 0;  // transfers that are still posted

 private:
  Network& system_ = TheNetwork();
};

class ScriptedSocket : public StreamSocket {
 public:
  ScriptedSocket(ScriptedNetwork& network, SocketScript script)
      : network_(network), script_(std::move(script)) {
    ++network_.open_sockets;
  }
  ~ScriptedSocket() override { --network_.open_sockets; }

  uintptr_t Handle() const override { return 101; }
  uint32_t Connect(const SocketAddress& address) override {
    uint8_t bytes[6];
    std::memcpy(bytes, &address.port, 6);
    network_.calls += "connect";
    for (const uint8_t byte : bytes) network_.calls += " " + std::to_string(byte);
    return Log("", 0), Ended(script_.connect);
  }
  int WaitWritable(uint32_t milliseconds) override {
    Log("writable ", milliseconds);
    return Ended(script_.writable.empty() ? 1 : Pop(script_.writable));
  }
  int WaitException(uint32_t) override { return Ended(0); }
  int PendingError(uint32_t* pending) override {
    *pending = script_.pending;
    return script_.pending_asked;
  }
  uint32_t SetLinger(bool on, uint16_t seconds) override {
    return Log(on ? "linger " : "no linger ", seconds);
  }
  uint32_t SetReceiveTimeout(uint32_t ms) override { return Log("receive ", ms); }
  uint32_t SetSendTimeout(uint32_t ms) override { return Log("send ", ms); }
  bool BeginTransfer() override { return Ended(script_.begin_transfer); }
  uint32_t PostReceive(void* data, uint32_t size) override {
    buffer_ = static_cast<char*>(data);
    current_ = {"", error::kIoPending, WaitResult::kTimeout};
    if (!script_.receives.empty()) current_ = Pop(script_.receives);
    if (current_.data.size() > size) {
      script_.receives.push_front({current_.data.substr(size)});
      current_.data.resize(size);
    }
    return Posted();
  }
  uint32_t PostSend(const void* data, uint32_t size) override {
    buffer_ = nullptr;
    current_ = {std::string(static_cast<const char*>(data), size)};
    if (!script_.sends.empty()) current_ = Pop(script_.sends);
    return Posted();
  }
  WaitResult WaitTransfer(uint32_t) override { return Ended(current_.wait); }
  uint32_t TransferResult(uint32_t* bytes) override { return Finish(current_.data, bytes); }
  void ResetTransfer() override {}
  void EndTransfer(uint32_t* late_bytes) override { Finish(current_.late, late_bytes); }
  void FinishSending(uint32_t milliseconds) override { Log("finish ", milliseconds); }
  uint32_t Control(uint32_t, const void*, uint32_t, void*, uint32_t, uint32_t*) override {
    return error::kNotSupported;
  }

 private:
  template <class T>
  static T Pop(std::deque<T>& queue) {
    T front = queue.front();
    queue.pop_front();
    return front;
  }
  template <class T>
  T Ended(T answer) {
    network_.last_error = script_.last_error;
    return answer;
  }
  uint32_t Log(const std::string& call, uint32_t number) {
    network_.calls += (call.empty() ? "" : call + std::to_string(number)) + "|";
    return 0;
  }
  uint32_t Posted() {
    if (current_.post == 0 || current_.post == error::kIoPending) ++network_.unfinished;
    return current_.post;
  }
  uint32_t Finish(const std::string& moved, uint32_t* bytes) {
    --network_.unfinished;
    *bytes = static_cast<uint32_t>(moved.size());
    if (buffer_) std::memcpy(buffer_, moved.data(), moved.size());
    return current_.result;
  }

  ScriptedNetwork& network_;
  SocketScript script_;
  ScriptedTransfer current_;
  char* buffer_ = nullptr;
};

inline std::unique_ptr<StreamSocket> ScriptedNetwork::CreateStreamSocket() {
  if (scripts.empty()) return nullptr;
  SocketScript script = std::move(scripts.front());
  scripts.pop_front();
  return std::make_unique<ScriptedSocket>(*this, std::move(script));
}

}  // namespace scantk

#endif  // SCANTK_TESTS_IO_SCRIPTED_NETWORK_H_
