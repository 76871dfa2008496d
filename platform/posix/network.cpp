#include "platform/in_use.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/posix/deadline.h"
#include "platform/posix/error_table.h"
#include "platform/posix/file.h"
#include "platform/system.h"

namespace scantk {
namespace {

static_assert(sizeof(sockaddr_in) == sizeof(SocketAddress));

// The events that came, 0 when the time ran out, -1 with errno.
int Poll(int socket, short events, const Deadline& deadline) {
  for (;;) {
    pollfd waiting = {socket, events, 0};
    const int count = poll(&waiting, 1, deadline.Left());
    if (count > 0) return waiting.revents;
    if (count == 0 || errno != EINTR) return count;
  }
}

// Notes the calling thread's socket error and answers it.
uint32_t Note(int errno_value) {
  const uint32_t number = error::OfFailure(SocketError(errno_value));
  SetLastError(number);
  return number;
}

class PosixSocket final : public StreamSocket {
 public:
  explicit PosixSocket(File file) : file_(std::move(file)) {}

  uintptr_t Handle() const override { return static_cast<uintptr_t>(file_.Get()); }

  uint32_t Connect(const SocketAddress& address) override {
    sockaddr_in target;
    std::memcpy(&target, &address, sizeof target);
    const auto* any = reinterpret_cast<const sockaddr*>(&target);
    if (connect(file_.Get(), any, sizeof target) == 0) return 0;
    return Note(errno == EINTR ? EINPROGRESS : errno);
  }

  // The target does not count a failed connect as writable, and runs to its limit. The answer here
  // is the same, but comes at once: the pending error tells.
  int WaitWritable(uint32_t milliseconds) override {
    const int events = Poll(file_.Get(), POLLOUT, Deadline(milliseconds));
    if (events < 0) return Failed();
    if (events & (POLLERR | POLLHUP | POLLNVAL)) {
      uint32_t pending = 0;
      PendingError(&pending);
      if (pending != 0) return 0;
    }
    return events & POLLOUT ? 1 : 0;
  }

  int WaitException(uint32_t milliseconds) override {
    const int events = Poll(file_.Get(), POLLPRI, Deadline(milliseconds));
    if (events < 0) return Failed();
    return events == 0 ? 0 : 1;
  }

  int PendingError(uint32_t* pending) override {
    int number = 0;
    socklen_t size = sizeof number;
    if (getsockopt(file_.Get(), SOL_SOCKET, SO_ERROR, &number, &size) != 0) return Failed();
    // Reading clears it in the system; the target goes on telling it.
    if (number != 0) pending_error_ = SocketError(number);
    *pending = pending_error_;
    return 0;
  }

  uint32_t SetLinger(bool on, uint16_t seconds) override {
    const linger value = {on ? 1 : 0, seconds};
    return SetOption(SO_LINGER, &value, sizeof value);
  }
  uint32_t SetReceiveTimeout(uint32_t milliseconds) override {
    return SetTimeout(SO_RCVTIMEO, milliseconds);
  }
  uint32_t SetSendTimeout(uint32_t milliseconds) override {
    return SetTimeout(SO_SNDTIMEO, milliseconds);
  }

  bool BeginTransfer() override {
    transfer_ = {};
    return true;
  }

  uint32_t PostReceive(void* data, uint32_t size) override {
    transfer_ = {Kind::kReceive, static_cast<char*>(data), size, 0, 0};
    return Start();
  }

  uint32_t PostSend(const void* data, uint32_t size) override {
    transfer_ = {Kind::kSend, const_cast<char*>(static_cast<const char*>(data)), size, 0, 0};
    return Start();
  }

  WaitResult WaitTransfer(uint32_t milliseconds) override {
    Deadline deadline(milliseconds);
    while (transfer_.kind == Kind::kReceive || transfer_.kind == Kind::kSend) {
      const short event = transfer_.kind == Kind::kReceive ? POLLIN : POLLOUT;
      const int events = Poll(file_.Get(), event, deadline);
      if (events == 0) return WaitResult::kTimeout;
      if (events < 0) {
        Note(errno);
        return WaitResult::kFailed;
      }
      const uint32_t moved = transfer_.moved;
      Advance();
      if (transfer_.moved != moved) deadline = Deadline(milliseconds);
    }
    if (transfer_.kind == Kind::kFinished) return WaitResult::kSignalled;
    SetLastError(error::kInvalidHandle);
    return WaitResult::kFailed;
  }

  uint32_t TransferResult(uint32_t* bytes) override {
    *bytes = 0;
    if (transfer_.kind != Kind::kFinished) return error::kIoIncomplete;
    *bytes = transfer_.moved;
    if (transfer_.result) SetLastError(transfer_.result);
    return transfer_.result;
  }

  void ResetTransfer() override { transfer_ = {}; }

  // Nothing but WaitTransfer touches the buffer, so forgetting it is all that there is to do.
  void EndTransfer(uint32_t* late_bytes) override {
    if (late_bytes) *late_bytes = transfer_.moved;
    transfer_ = {};
  }

  void FinishSending(uint32_t milliseconds) override {
    const LastErrorKeeper keeper;
    const Deadline deadline(milliseconds);
    if (shutdown(file_.Get(), SHUT_WR) != 0) return;
    char dropped[16384];
    for (;;) {
      const ssize_t got = recv(file_.Get(), dropped, sizeof dropped, MSG_DONTWAIT);
      if (got == 0) return;
      if (got < 0 && errno != EINTR && errno != EAGAIN) return;
      // A peer that never stops sending does not keep us beyond the limit.
      if (deadline.Left() == 0) return;
      if (got < 0 && Poll(file_.Get(), POLLIN, deadline) <= 0) return;
    }
  }

  uint32_t Control(uint32_t, const void*, uint32_t, void*, uint32_t, uint32_t* returned) override {
    if (returned) *returned = 0;
    SetLastError(error::kNotSupported);
    return error::kNotSupported;
  }

 private:
  enum class Kind { kNone, kReceive, kSend, kFinished };
  struct Transfer {
    Kind kind = Kind::kNone;
    char* data = nullptr;
    uint32_t size = 0;
    uint32_t moved = 0;
    uint32_t result = 0;
  };

  int Failed() {
    Note(errno);
    return -1;
  }

  uint32_t SetOption(int option, const void* value, socklen_t size) {
    return setsockopt(file_.Get(), SOL_SOCKET, option, value, size) == 0 ? 0 : Note(errno);
  }

  uint32_t SetTimeout(int option, uint32_t milliseconds) {
    const timeval value = {static_cast<time_t>(milliseconds / 1000),
                           static_cast<suseconds_t>(milliseconds % 1000) * 1000};
    return SetOption(option, &value, sizeof value);
  }

  // A transfer that can be done at once is, without a poll before it.
  uint32_t Start() {
    Advance();
    if (transfer_.kind != Kind::kFinished) return error::kIoPending;
    if (transfer_.result) SetLastError(transfer_.result);
    return transfer_.result;
  }

  // Moves what can be moved without waiting.
  void Advance() {
    const bool receive = transfer_.kind == Kind::kReceive;
    do {
      char* next = transfer_.data + transfer_.moved;
      const size_t left = transfer_.size - transfer_.moved;
      const ssize_t moved = Uninterrupted([&] {
        return receive ? recv(file_.Get(), next, left, MSG_DONTWAIT)
                       : send(file_.Get(), next, left, MSG_DONTWAIT | MSG_NOSIGNAL);
      });
      if (moved < 0) {
        if (errno == EAGAIN || errno == EWOULDBLOCK) return;
        transfer_.result = error::OfFailure(SocketError(errno));
        break;
      }
      transfer_.moved += static_cast<uint32_t>(moved);
    } while (!receive && transfer_.moved < transfer_.size);
    transfer_.kind = Kind::kFinished;
  }

  File file_;
  uint32_t pending_error_ = 0;
  Transfer transfer_;
};

class PosixNetwork final : public Network {
 public:
  uint32_t StartUp(SocketLibraryInfo* info) override {
    *info = {0x0202, 0x0202, "WinSock 2.0", "Running", 0, 0};
    return 0;
  }

  void CleanUp() override {}

  std::unique_ptr<StreamSocket> CreateStreamSocket() override {
    File file(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int on = 1;
    if (!file || setsockopt(file.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0) {
      Note(errno);
      return nullptr;
    }
    return std::make_unique<PosixSocket>(std::move(file));
  }

  uint32_t LookUpHost(const std::string& name) override {
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int failure = getaddrinfo(name.c_str(), nullptr, &wanted, &found);
    if (failure != 0) {
      SetLastError(HostLookupError(failure, errno));
      return kNoAddress;
    }
    sockaddr_in first;
    std::memcpy(&first, found->ai_addr, sizeof first);
    freeaddrinfo(found);
    return first.sin_addr.s_addr;
  }

  uint32_t ParseDotted(const std::string& text) override {
    return text.empty() ? kNoAddress : inet_addr(text.c_str());
  }

  uint32_t LastSocketError() override { return LastError(); }
  uint32_t TakeUnknownError() override { return static_cast<uint32_t>(TakeUnknownSocketErrno()); }
};

PosixNetwork g_system_network;

}  // namespace

Network& SystemNetwork() {
  return g_system_network;
}

}  // namespace scantk
