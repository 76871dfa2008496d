// A small IEEE 1284.4 stack behind a local socket, as tests want it: it keeps every request as it
// came, hands out sockets and channels, and fails when it is told to.
#ifndef SCANTK_TESTS_IO_DOT4_STACK_H_
#define SCANTK_TESTS_IO_DOT4_STACK_H_

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/io/loopback_device.h"

namespace scantk {

// The requests of a stack, written out once more: the toolkit's own are under test.
namespace stack_code {
inline constexpr uint32_t kCreate = 0x3A2022, kDestroy = 0x3A202A, kOpen = 0x3A2006,
                          kClose = 0x3A2008, kRead = 0x3A200E, kWrite = 0x3A2011;
}

struct StackRequest {
  uint32_t code;
  std::string input;
  uint32_t reply_limit;
};

class Dot4Stack {
 public:
  // Errors with special meanings.
  static constexpr uint32_t kSilence = 0xFFFFFFFF;  // no answer
  static constexpr uint32_t kHangUp = 0xFFFFFFFE;

  explicit Dot4Stack(const std::string& path)
      : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un own = {};
    own.sun_family = AF_UNIX;
    std::strncpy(own.sun_path, path.c_str(), sizeof own.sun_path - 1);
    if (bind(listener_.Get(), reinterpret_cast<sockaddr*>(&own), sizeof own) != 0 ||
        listen(listener_.Get(), 8) != 0)
      throw std::runtime_error("no listener");
    thread_ = std::thread([this] { Run(); });
  }
  ~Dot4Stack() {
    stop_ = true;
    thread_.join();
  }

  // The next requests of `code` end with these errors, 0 being success.
  void Fail(uint32_t code, std::deque<uint32_t> errors) {
    std::lock_guard lock(mutex_);
    failures_[code] = std::move(errors);
  }
  // What the next reads bring; nothing when there is no more.
  void Provide(std::deque<std::string> reads) {
    std::lock_guard lock(mutex_);
    reads_ = std::move(reads);
  }
  // The requests since the last call.
  std::vector<StackRequest> TakeRequests() {
    std::lock_guard lock(mutex_);
    return std::exchange(requests_, {});
  }
  std::string TakeWritten() {
    std::lock_guard lock(mutex_);
    return std::exchange(written_, {});
  }

 private:
  static std::string Number(uint32_t value) {
    std::string bytes(4, '\0');
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>(value >> (8 * i));
    return bytes;
  }
  static uint32_t NumberAt(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return value;
  }

  bool Receive(int socket, size_t size, std::string* bytes) {
    bytes->clear();
    while (bytes->size() < size) {
      pollfd waiting = {socket, POLLIN, 0};
      if (poll(&waiting, 1, 20) == 0) {
        if (stop_) return false;
        continue;
      }
      char buffer[65536];
      const ssize_t got = recv(socket, buffer, std::min(sizeof buffer, size - bytes->size()), 0);
      if (got <= 0) return false;
      bytes->append(buffer, static_cast<size_t>(got));
    }
    return true;
  }

  void Run() {
    while (!stop_) {
      pollfd waiting = {listener_.Get(), POLLIN, 0};
      if (poll(&waiting, 1, 20) == 0) continue;
      OwnedSocket connection(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
      while (connection && Serve(connection.Get())) {
      }
    }
  }

  bool Serve(int socket) {
    std::string head;
    StackRequest request;
    if (!Receive(socket, 12, &head)) return false;
    request.code = NumberAt(head, 0);
    request.reply_limit = NumberAt(head, 8);
    if (!Receive(socket, NumberAt(head, 4), &request.input)) return false;
    std::lock_guard lock(mutex_);
    requests_.push_back(request);
    uint32_t failure = 0;
    auto& planned = failures_[request.code];
    if (!planned.empty()) {
      failure = planned.front();
      planned.pop_front();
    }
    if (failure == kHangUp) return false;
    if (failure == kSilence) return true;
    uint32_t moved = 0;
    std::string reply;
    if (failure == 0) Perform(request, &moved, &reply);
    const std::string answer =
        Number(failure) + Number(moved) + Number(static_cast<uint32_t>(reply.size())) + reply;
    return send(socket, answer.data(), answer.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(answer.size());
  }

  void Perform(const StackRequest& request, uint32_t* moved, std::string* reply) {
    const std::string data = request.input.size() > 16 ? request.input.substr(16) : "";
    switch (request.code) {
      case stack_code::kCreate:
        *reply = data;
        if (reply->size() > 52) (*reply)[52] = static_cast<char>(next_socket_++);
        break;
      case stack_code::kOpen:
        *reply = data.substr(0, 4) + Number(next_channel_++);
        break;
      case stack_code::kRead:
        if (!reads_.empty()) {
          *reply = reads_.front().substr(0, request.reply_limit);
          reads_.front().erase(0, reply->size());
          if (reads_.front().empty()) reads_.pop_front();
        }
        break;
      case stack_code::kWrite:
        written_ += data;
        *moved = static_cast<uint32_t>(data.size());
        return;
      default:
        break;
    }
    *moved = static_cast<uint32_t>(reply->size());
  }

  OwnedSocket listener_;
  std::mutex mutex_;
  std::map<uint32_t, std::deque<uint32_t>> failures_;
  std::deque<std::string> reads_;
  std::vector<StackRequest> requests_;
  std::string written_;
  uint8_t next_socket_ = 9;
  uint32_t next_channel_ = 0x5001;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_IO_DOT4_STACK_H_
