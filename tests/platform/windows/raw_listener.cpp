#include "tests/platform/raw_listener.h"

#include <winsock2.h>

#include <cstdlib>

namespace scantk {

bool RawPeer::Send(const std::string& bytes) {
  const int size = static_cast<int>(bytes.size());
  return send(socket_, bytes.data(), size, 0) == size;
}

std::string RawPeer::Receive(size_t size) {
  std::string bytes(size, '\0');
  size_t got = 0;
  while (got < size) {
    const int count = recv(socket_, bytes.data() + got, static_cast<int>(size - got), 0);
    if (count <= 0) break;
    got += static_cast<size_t>(count);
  }
  bytes.resize(got);
  return bytes;
}

void RawPeer::Close() {
  if (socket_ != INVALID_SOCKET) closesocket(socket_);
  socket_ = INVALID_SOCKET;
}

void RawPeer::Reset() {
  const linger now = {1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&now), sizeof now);
  Close();
}

RawListener::RawListener() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int size = sizeof address;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket_, any, size) != 0 || listen(socket_, 4) != 0 ||
      getsockname(socket_, any, &size) != 0) {
    std::abort();
  }
  port_ = address.sin_port;
}

std::unique_ptr<RawPeer> RawListener::Accept() {
  return std::make_unique<RawPeer>(accept(socket_, nullptr, nullptr));
}

void RawListener::Close() {
  if (socket_ != INVALID_SOCKET) closesocket(socket_);
  socket_ = INVALID_SOCKET;
}

}  // namespace scantk
