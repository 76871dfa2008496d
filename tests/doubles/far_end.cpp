#include "tests/doubles/far_end.h"

#ifdef _WIN32
#include <winsock2.h>
#else
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#endif

#include <cstdlib>

namespace scantk {
namespace {

#ifdef _WIN32
using Socket = SOCKET;
constexpr DWORD kLimit = 10000;  // ms
void Start() {
  static WSADATA data;
  static const int started = WSAStartup(MAKEWORD(2, 2), &data);
  if (started != 0) std::abort();
}
#else
using Socket = int;
constexpr timeval kLimit = {10, 0};
void Start() {}
void closesocket(int socket) {
  close(socket);
}
#endif

Socket Listener() {
  Start();
  return socket(AF_INET, SOCK_STREAM, 0);
}

}  // namespace

void Peer::Send(const std::string& bytes) {
  if (send(static_cast<Socket>(socket_), bytes.data(), static_cast<int>(bytes.size()), 0) < 0)
    std::abort();
}

std::string Peer::Receive(size_t size) {
  std::string bytes(size, '\0');
  size_t got = 0;
  while (got < size) {
    const auto count =
        recv(static_cast<Socket>(socket_), bytes.data() + got, static_cast<int>(size - got), 0);
    if (count <= 0) break;
    got += static_cast<size_t>(count);
  }
  bytes.resize(got);
  return bytes;
}

void Peer::Close() {
  if (socket_ != ~uintptr_t{0}) closesocket(static_cast<Socket>(socket_));
  socket_ = ~uintptr_t{0};
}

FarEnd::FarEnd(const char* address, uint16_t port) : Peer(static_cast<uintptr_t>(Listener())) {
  const int on = 1;
  const auto listener = static_cast<Socket>(socket_);
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on), sizeof on);
  sockaddr_in own = {};
  own.sin_family = AF_INET;
  own.sin_port = htons(port);
  own.sin_addr.s_addr = inet_addr(address);
  if (bind(listener, reinterpret_cast<sockaddr*>(&own), sizeof own) != 0 ||
      listen(listener, 4) != 0)
    std::abort();
}

Peer FarEnd::Accept() {
  const auto listener = static_cast<Socket>(socket_);
  fd_set waiting;
  FD_ZERO(&waiting);
  FD_SET(listener, &waiting);
  timeval limit = {10, 0};
  if (select(static_cast<int>(listener) + 1, &waiting, nullptr, nullptr, &limit) != 1) std::abort();
  const Socket accepted = accept(listener, nullptr, nullptr);
  for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO})
    setsockopt(accepted, SOL_SOCKET, option, reinterpret_cast<const char*>(&kLimit), sizeof kLimit);
  return Peer(static_cast<uintptr_t>(accepted));
}

bool IsInherited(uintptr_t socket) {
#ifdef _WIN32
  DWORD flags = 0;
  return !GetHandleInformation(reinterpret_cast<HANDLE>(socket), &flags) ||
         (flags & HANDLE_FLAG_INHERIT) != 0;
#else
  return (fcntl(static_cast<int>(socket), F_GETFD) & FD_CLOEXEC) == 0;
#endif
}

}  // namespace scantk
