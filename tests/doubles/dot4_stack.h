// A small IEEE 1284.4 stack behind a local socket, whose answers are somebody else's.
#ifndef SCANTK_TESTS_DOUBLES_DOT4_STACK_H_
#define SCANTK_TESTS_DOUBLES_DOT4_STACK_H_

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "platform/owner.h"

namespace scantk {

// The requests, written out once more: the toolkit's own are under test.
namespace stack_code {
inline constexpr uint32_t kCreate = 0x3A2022, kDestroy = 0x3A202A, kOpen = 0x3A2006,
                          kClose = 0x3A2008, kRead = 0x3A200E, kWrite = 0x3A2011;
}

// Little-endian.
inline std::string StackNumber(uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<char>(value >> shift));
  return bytes;
}
inline uint32_t StackNumberAt(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = at + 4; i-- > at;) value = value << 8 | static_cast<uint8_t>(bytes[i]);
  return value;
}

struct StackRequest {
  uint32_t code;
  uint32_t reply_limit;
  std::string input;

  std::string Data() const { return input.size() > 16 ? input.substr(16) : std::string(); }
};

struct StackReply {
  std::string bytes;  // none: silence
  bool stays = true;  // or the stack hangs up behind them
};

inline StackReply StackAnswer(uint32_t failure, uint32_t moved, const std::string& reply = {}) {
  const auto size = static_cast<uint32_t>(reply.size());
  return {StackNumber(failure) + StackNumber(moved) + StackNumber(size) + reply};
}

struct OwnedFileTraits {
  using Value = int;
  static int Invalid() { return -1; }
  static void Close(int file) { close(file); }
};
using OwnedFile = Owner<OwnedFileTraits>;

// Serves one connection after the other, on a thread of its own.
class StackServer {
 public:
  using Answer = std::function<StackReply(const StackRequest&)>;

  StackServer(const std::string& path, Answer answer)
      : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), answer_(std::move(answer)) {
    sockaddr_un own = {};
    own.sun_family = AF_UNIX;
    std::strncpy(own.sun_path, path.c_str(), sizeof own.sun_path - 1);
    unlink(path.c_str());
    if (bind(listener_.Get(), reinterpret_cast<sockaddr*>(&own), sizeof own) != 0 ||
        listen(listener_.Get(), 8) != 0)
      throw std::runtime_error("no listener");
    thread_ = std::thread([this] { Run(); });
  }
  ~StackServer() {
    stopping_ = true;
    shutdown(connection_, SHUT_RDWR);  // ends what the thread waits for
    shutdown(listener_.Get(), SHUT_RDWR);
    thread_.join();
  }

 private:
  void Run() {
    for (;;) {
      OwnedFile connection(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!connection) return;
      connection_ = connection.Get();
      while (!stopping_ && Serve(connection.Get())) {
      }
      connection_ = -1;
    }
  }

  static bool Receive(int connection, std::string* bytes) {
    return bytes->empty() || recv(connection, bytes->data(), bytes->size(), MSG_WAITALL) ==
                                 static_cast<ssize_t>(bytes->size());
  }

  bool Serve(int connection) {
    std::string head(12, '\0');
    if (!Receive(connection, &head)) return false;
    StackRequest request = {StackNumberAt(head, 0), StackNumberAt(head, 8),
                            std::string(StackNumberAt(head, 4), '\0')};
    if (!Receive(connection, &request.input)) return false;
    const StackReply reply = answer_(request);
    send(connection, reply.bytes.data(), reply.bytes.size(), MSG_NOSIGNAL);
    return reply.stays;
  }

  OwnedFile listener_;
  const Answer answer_;
  std::atomic<int> connection_ = -1;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_DOUBLES_DOT4_STACK_H_
