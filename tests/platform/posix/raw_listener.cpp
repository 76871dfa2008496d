#include "tests/platform/raw_listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace scantk {
namespace {

constexpr uintptr_t kNoSocket = ~uintptr_t{0};

int Number(uintptr_t socket) {
  return static_cast<int>(socket);
}

}  // namespace

bool RawPeer::Send(const std::string& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t got =
        send(Number(socket_), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (got <= 0) return false;
    sent += static_cast<size_t>(got);
  }
  return true;
}

std::string RawPeer::Receive(size_t size) {
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

void RawPeer::Close() {
  if (socket_ != kNoSocket) close(Number(socket_));
  socket_ = kNoSocket;
}

void RawPeer::Reset() {
  const linger now = {1, 0};
  setsockopt(Number(socket_), SOL_SOCKET, SO_LINGER, &now, sizeof now);
  Close();
}

RawListener::RawListener() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, any, size) != 0 || listen(listener, 4) != 0 ||
      getsockname(listener, any, &size) != 0) {
    std::abort();
  }
  socket_ = static_cast<uintptr_t>(listener);
  port_ = address.sin_port;
}

std::unique_ptr<RawPeer> RawListener::Accept() {
  return std::make_unique<RawPeer>(
      static_cast<uintptr_t>(accept4(Number(socket_), nullptr, nullptr, SOCK_CLOEXEC)));
}

void RawListener::Close() {
  if (socket_ != kNoSocket) close(Number(socket_));
  socket_ = kNoSocket;
}

}  // namespace scantk
