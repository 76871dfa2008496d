#include "tests/doubles/far_end.h"

#include <winsock2.h>

#include <cstdlib>
#include <optional>
#include <utility>

namespace scantk {

bool Peer::Send(const std::string& bytes) {
  const int size = static_cast<int>(bytes.size());
  return send(socket_, bytes.data(), size, 0) == size;
}

std::string Peer::Receive(size_t size) {
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

void Peer::Close() {
  if (socket_ != INVALID_SOCKET) closesocket(socket_);
  socket_ = INVALID_SOCKET;
}

void Peer::Reset() {
  const linger now = {1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&now), sizeof now);
  Close();
}

namespace {

SOCKET MakeSocket() {
  static WSADATA data;
  static const int started = WSAStartup(MAKEWORD(2, 2), &data);
  return started == 0 ? socket(AF_INET, SOCK_STREAM, 0) : INVALID_SOCKET;
}

}  // namespace

FarEnd::FarEnd(const char* address, uint16_t port) : socket_(MakeSocket()) {
  sockaddr_in own = {};
  own.sin_family = AF_INET;
  own.sin_port = htons(port);
  own.sin_addr.s_addr = inet_addr(address);
  int size = sizeof own;
  auto* any = reinterpret_cast<sockaddr*>(&own);
  if (bind(socket_, any, size) != 0 || listen(socket_, 4) != 0 ||
      getsockname(socket_, any, &size) != 0) {
    std::abort();
  }
  port_ = own.sin_port;
}

std::unique_ptr<Peer> FarEnd::Accept() {
  fd_set waiting = {1, {socket_}};
  timeval limit = {10, 0};
  if (select(0, &waiting, nullptr, nullptr, &limit) != 1) std::abort();
  const SOCKET accepted = accept(socket_, nullptr, nullptr);
  const DWORD milliseconds = 10000;
  for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO})
    setsockopt(accepted, SOL_SOCKET, option, reinterpret_cast<const char*>(&milliseconds),
               sizeof milliseconds);
  return std::make_unique<Peer>(accepted);
}

void FarEnd::Close() {
  if (socket_ != INVALID_SOCKET) closesocket(socket_);
  socket_ = INVALID_SOCKET;
}

namespace {

std::optional<int> g_connect_failure;

int WSAAPI Connect(SOCKET socket, const sockaddr* address, int size) {
  static const auto next = reinterpret_cast<decltype(&Connect)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ws2_32"), "connect")));
  if (!g_connect_failure) return next(socket, address, size);
  WSASetLastError(*std::exchange(g_connect_failure, std::nullopt));
  return SOCKET_ERROR;
}

}  // namespace

void FailNextConnect(int number) {
  g_connect_failure = number;
}

bool IsInherited(uintptr_t socket) {
  DWORD flags = 0;
  return !GetHandleInformation(reinterpret_cast<HANDLE>(socket), &flags) ||
         (flags & HANDLE_FLAG_INHERIT) != 0;
}

}  // namespace scantk

// Where this program looks for the function.
extern "C" {
extern decltype(&scantk::Connect) const __imp_connect;
decltype(&scantk::Connect) const __imp_connect = scantk::Connect;
}
