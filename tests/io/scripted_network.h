// A network that follows a script: what each socket answers is set down before it is made.
#ifndef SCANTK_TESTS_IO_SCRIPTED_NETWORK_H_
#define SCANTK_TESTS_IO_SCRIPTED_NETWORK_H_

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/network.h"

namespace scantk {

// One transfer: how it is posted, how the wait ends, and what it moves.
struct ScriptedTransfer {
  std::string data = {};  // received; of a send: as many bytes as are reported sent
  uint32_t post = 0;
  WaitResult wait = WaitResult::kSignalled;
  uint32_t result = 0;
  std::string late = {};  // arrives while an unfinished receive is ended
};

struct SocketScript {
  uint32_t connect = 0;
  std::deque<int> writable;  // answers of WaitWritable, then 1
  int exception = 0;
  uint32_t last_error = 0;  // after every operation
  int pending_asked = 0;
  uint32_t pending = 0;
  uint32_t linger = 0, receive_timeout = 0, send_timeout = 0, control = 0;
  bool begin_transfer = true;
  std::deque<ScriptedTransfer> receives;
  std::deque<ScriptedTransfer> sends;  // when empty, all is sent
};

// What the sockets were asked, for the tests to look at.
struct NetworkLog {
  std::vector<SocketAddress> connects;
  std::vector<uint32_t> writable_waits, transfer_waits, finish_waits;
  std::vector<std::string> sent;
  std::vector<std::pair<std::string, uint32_t>> options;
  std::vector<uint32_t> controls;
  int open_sockets = 0;
  int started = 0;
  int unfinished = 0;  // transfers that are still posted

  void Forget() {
    connects.clear();
    writable_waits.clear();
    transfer_waits.clear();
    finish_waits.clear();
    sent.clear();
    options.clear();
    controls.clear();
  }
};

class ScriptedSocket : public StreamSocket {
 public:
  ScriptedSocket(uintptr_t number, SocketScript script, NetworkLog* log, uint32_t* last_error)
      : number_(number), script_(std::move(script)), log_(log), last_error_(last_error) {
    ++log_->open_sockets;
  }
  ~ScriptedSocket() override { --log_->open_sockets; }

  uintptr_t Handle() const override { return number_; }
  uint32_t Connect(const SocketAddress& address) override {
    log_->connects.push_back(address);
    *last_error_ = script_.last_error;
    return script_.connect;
  }
  int WaitWritable(uint32_t milliseconds) override {
    log_->writable_waits.push_back(milliseconds);
    *last_error_ = script_.last_error;
    return script_.writable.empty() ? 1 : Pop(script_.writable);
  }
  int WaitException(uint32_t) override {
    *last_error_ = script_.last_error;
    return script_.exception;
  }
  int PendingError(uint32_t* pending) override {
    *pending = script_.pending;
    return script_.pending_asked;
  }
  uint32_t SetLinger(bool on, uint16_t seconds) override {
    log_->options.emplace_back(on ? "linger" : "no linger", seconds);
    return script_.linger;
  }
  uint32_t SetReceiveTimeout(uint32_t milliseconds) override {
    log_->options.emplace_back("receive", milliseconds);
    return script_.receive_timeout;
  }
  uint32_t SetSendTimeout(uint32_t milliseconds) override {
    log_->options.emplace_back("send", milliseconds);
    return script_.send_timeout;
  }
  bool BeginTransfer() override {
    *last_error_ = script_.last_error;
    return script_.begin_transfer;
  }
  uint32_t PostReceive(void* data, uint32_t size) override {
    buffer_ = static_cast<char*>(data);
    current_ = script_.receives.empty() ? Silence() : Pop(script_.receives);
    if (current_.data.size() > size) {
      ScriptedTransfer rest;
      rest.data = current_.data.substr(size);
      script_.receives.push_front(rest);
      current_.data.resize(size);
    }
    return Posted();
  }
  uint32_t PostSend(const void* data, uint32_t size) override {
    buffer_ = nullptr;
    const std::string text(static_cast<const char*>(data), size);
    log_->sent.push_back(text);
    current_ = ScriptedTransfer{text};
    if (!script_.sends.empty()) current_ = Pop(script_.sends);
    return Posted();
  }
  WaitResult WaitTransfer(uint32_t milliseconds) override {
    log_->transfer_waits.push_back(milliseconds);
    *last_error_ = script_.last_error;
    return current_.wait;
  }
  uint32_t TransferResult(uint32_t* bytes) override {
    --log_->unfinished;
    *bytes = static_cast<uint32_t>(current_.data.size());
    if (buffer_) std::memcpy(buffer_, current_.data.data(), current_.data.size());
    return current_.result;
  }
  void ResetTransfer() override {}
  void EndTransfer(uint32_t* late_bytes) override {
    --log_->unfinished;
    *late_bytes = static_cast<uint32_t>(current_.late.size());
    if (buffer_) std::memcpy(buffer_, current_.late.data(), current_.late.size());
  }
  void FinishSending(uint32_t milliseconds) override { log_->finish_waits.push_back(milliseconds); }
  uint32_t Control(uint32_t code, const void*, uint32_t, void*, uint32_t, uint32_t*) override {
    log_->controls.push_back(code);
    return script_.control;
  }

 private:
  template <class T>
  static T Pop(std::deque<T>& queue) {
    T front = queue.front();
    queue.pop_front();
    return front;
  }
  static ScriptedTransfer Silence() {
    ScriptedTransfer silence;
    silence.post = error::kIoPending;
    silence.wait = WaitResult::kTimeout;
    return silence;
  }
  uint32_t Posted() {
    const bool failed = current_.post != 0 && current_.post != error::kIoPending;
    if (!failed) ++log_->unfinished;
    return current_.post;
  }

  const uintptr_t number_;
  SocketScript script_;
  NetworkLog* log_;
  uint32_t* last_error_;
  ScriptedTransfer current_;
  char* buffer_ = nullptr;
};

// Sockets are numbered from 101 and take their scripts from `scripts` in turn; without one, none is
// made.
class ScriptedNetwork : public Network {
 public:
  ScriptedNetwork() { SetNetwork(this); }
  ~ScriptedNetwork() override { SetNetwork(nullptr); }

  uint32_t StartUp(SocketLibraryInfo* info) override {
    *info = {version, 0x0202, "A library", "Running", 7, 8};
    if (start_up == 0) ++log.started;
    return start_up;
  }
  void CleanUp() override { --log.started; }
  std::unique_ptr<StreamSocket> CreateStreamSocket() override {
    if (scripts.empty()) return nullptr;
    SocketScript script = scripts.front();
    scripts.pop_front();
    return std::make_unique<ScriptedSocket>(next_number_++, std::move(script), &log, &last_error);
  }
  uint32_t LookUpHost(const std::string& name) override {
    const auto found = hosts.find(name);
    if (found != hosts.end()) return found->second;
    last_error = error::kHostNotFound;
    return kNoAddress;
  }
  uint32_t ParseDotted(const std::string& text) override {
    uint8_t bytes[4];
    const char* p = text.c_str();
    for (uint8_t& byte : bytes) {
      char* end = nullptr;
      const unsigned long value = std::strtoul(p, &end, 10);
      if (end == p || value > 255) return kNoAddress;
      byte = static_cast<uint8_t>(value);
      p = end + (*end == '.');
    }
    uint32_t address;
    std::memcpy(&address, bytes, sizeof address);
    return address;
  }
  uint32_t LastSocketError() override { return last_error; }

  uint32_t start_up = 0;
  uint16_t version = 0x0202;
  uint32_t last_error = 0;
  std::deque<SocketScript> scripts;
  std::map<std::string, uint32_t> hosts;
  NetworkLog log;

 private:
  uintptr_t next_number_ = 101;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_IO_SCRIPTED_NETWORK_H_
