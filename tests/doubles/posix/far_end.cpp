#include "tests/doubles/far_end.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <utility>

namespace scantk {
namespace {

constexpr uintptr_t kNoSocket = ~uintptr_t{0};

constexpr timeval kLimit = {10, 0};

std::optional<int> g_connect_failure;

int Number(uintptr_t socket) {
  return static_cast<int>(socket);
}

}  // namespace

bool Peer::Send(const std::string& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t got =
        send(Number(socket_), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (got <= 0) return false;
    sent += static_cast<size_t>(got);
  }
  return true;
}

std::string Peer::Receive(size_t size) {
  std::string bytes(size, '\0');
  size_t got = 0;
  while (got < size) {
    const ssize_t count = recv(Number(socket_), bytes.data() + got, size - got, 0);
    if (count <= 0) break;
    got += static_cast<size_t>(count);
  }
  bytes.resize(got);
  return bytes;
}

void Peer::Close() {
  if (socket_ != kNoSocket) close(Number(socket_));
  socket_ = kNoSocket;
}

void Peer::Reset() {
  const linger now = {1, 0};
  setsockopt(Number(socket_), SOL_SOCKET, SO_LINGER, &now, sizeof now);
  Close();
}

FarEnd::FarEnd(const char* address, uint16_t port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  setsockopt(listener, SOL_SOCKET, SO_RCVTIMEO, &kLimit, sizeof kLimit);
  sockaddr_in own = {};
  own.sin_family = AF_INET;
  own.sin_port = htons(port);
  own.sin_addr.s_addr = inet_addr(address);
  socklen_t size = sizeof own;
  auto* any = reinterpret_cast<sockaddr*>(&own);
  if (bind(listener, any, size) != 0 || listen(listener, 4) != 0 ||
      getsockname(listener, any, &size) != 0) {
    std::abort();
  }
  socket_ = static_cast<uintptr_t>(listener);
  port_ = own.sin_port;
}

std::unique_ptr<Peer> FarEnd::Accept() {
  const int accepted = accept4(Number(socket_), nullptr, nullptr, SOCK_CLOEXEC);
  if (accepted < 0) std::abort();
  setsockopt(accepted, SOL_SOCKET, SO_RCVTIMEO, &kLimit, sizeof kLimit);
  setsockopt(accepted, SOL_SOCKET, SO_SNDTIMEO, &kLimit, sizeof kLimit);
  return std::make_unique<Peer>(static_cast<uintptr_t>(accepted));
}

void FarEnd::Close() {
  if (socket_ != kNoSocket) close(Number(socket_));
  socket_ = kNoSocket;
}

void FailNextConnect(int number) {
  g_connect_failure = number;
}

bool IsInherited(uintptr_t socket) {
  return (fcntl(Number(socket), F_GETFD) & FD_CLOEXEC) == 0;
}

}  // namespace scantk

extern "C" int connect(int socket, const sockaddr* address, socklen_t size) {
  static const auto next = reinterpret_cast<decltype(&connect)>(dlsym(RTLD_NEXT, "connect"));
  if (!scantk::g_connect_failure) return next(socket, address, size);
  errno = *std::exchange(scantk::g_connect_failure, std::nullopt);
  return -1;
}
