#include "simulator/sockets.h"

#include <winsock2.h>
// The socket library wants its header first.
#include <ws2tcpip.h>

#include <cstring>
#include <stdexcept>

namespace scantk::sim {
namespace {

// The library serves from the first socket to the end of the process.
void StartLibrary() {
  static const int started = [] {
    WSADATA facts;
    return WSAStartup(MAKEWORD(2, 2), &facts);
  }();
  if (started != 0) throw std::runtime_error("the socket library does not start");
}

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": socket error " + std::to_string(WSAGetLastError()));
}

SOCKET Number(const Socket& socket) {
  return static_cast<SOCKET>(socket.Get());
}

// Does not block, sends small answers at once, and stays this process's own.
Socket Prepared(SOCKET made) {
  Socket socket(static_cast<intptr_t>(made));
  if (!socket) return socket;
  u_long on = 1;
  ioctlsocket(made, FIONBIO, &on);
  const BOOL yes = TRUE;
  setsockopt(made, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&yes), sizeof yes);
  SetHandleInformation(reinterpret_cast<HANDLE>(made), HANDLE_FLAG_INHERIT, 0);
  return socket;
}

sockaddr_in Address(const std::string& address, uint16_t port) {
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  if (inet_pton(AF_INET, address.c_str(), &to.sin_addr) != 1)
    throw std::invalid_argument("\"" + address + "\" is no IPv4 address");
  return to;
}

int Outcome(int moved) {
  if (moved != SOCKET_ERROR) return moved;
  const int error = WSAGetLastError();
  return error == WSAEWOULDBLOCK || error == WSAENOTCONN ? kNothingNow : kBroken;
}

}  // namespace

void SocketTraits::Close(Value socket) {
  closesocket(static_cast<SOCKET>(socket));
}

Socket ListenOn(const std::string& address, uint16_t port) {
  StartLibrary();
  const sockaddr_in to = Address(address, port);
  Socket listener = Prepared(socket(AF_INET, SOCK_STREAM, 0));
  if (bind(Number(listener), reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 ||
      listen(Number(listener), 16) != 0)
    Fail(address + ":" + std::to_string(port));
  return listener;
}

Socket Accept(const Socket& listener) {
  return Prepared(accept(Number(listener), nullptr, nullptr));
}

FarEnd LookUp(const std::string& name, uint16_t port) {
  StartLibrary();
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(name.c_str(), nullptr, &wanted, &found) != 0) Fail(name);
  sockaddr_in address = {};
  std::memcpy(&address, found->ai_addr, sizeof address);
  freeaddrinfo(found);
  address.sin_port = htons(port);
  FarEnd far_end;
  std::memcpy(&far_end, &address, sizeof far_end);
  return far_end;
}

Socket Connect(const FarEnd& far_end) {
  Socket made = Prepared(socket(AF_INET, SOCK_STREAM, 0));
  const auto* address = reinterpret_cast<const sockaddr*>(&far_end);
  if (made && connect(Number(made), address, sizeof far_end) != 0 &&
      WSAGetLastError() != WSAEWOULDBLOCK)
    made.Reset();
  return made;
}

int Receive(const Socket& socket, uint8_t* to, size_t size) {
  return Outcome(recv(Number(socket), reinterpret_cast<char*>(to), static_cast<int>(size), 0));
}

int Send(const Socket& socket, std::span<const uint8_t> bytes) {
  return Outcome(send(Number(socket), reinterpret_cast<const char*>(bytes.data()),
                      static_cast<int>(bytes.size()), 0));
}

void EndAndClose(Socket socket) {
  shutdown(Number(socket), SD_SEND);
}

void ResetAndClose(Socket socket) {
  const linger abortive = {1, 0};
  setsockopt(Number(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abortive),
             sizeof abortive);
}

void WaitFor(std::vector<Watched>& watched, int milliseconds) {
  std::vector<WSAPOLLFD> polled;
  std::vector<size_t> places;  // what has nothing to be waited for would end every wait
  for (size_t i = 0; i < watched.size(); ++i) {
    Watched& one = watched[i];
    one.readable = one.ended = false;
    if (one.file == SocketTraits::Invalid()) continue;
    const int events = (one.reads ? POLLRDNORM : 0) | (one.writes ? POLLWRNORM : 0);
    polled.push_back({static_cast<SOCKET>(one.file), static_cast<short>(events), 0});
    places.push_back(i);
  }
  WSAPoll(polled.data(), static_cast<ULONG>(polled.size()), milliseconds);
  for (size_t i = 0; i < polled.size(); ++i) {
    watched[places[i]].readable = (polled[i].revents & POLLRDNORM) != 0;
    watched[places[i]].ended = (polled[i].revents & (POLLHUP | POLLERR)) != 0;
  }
}

// A datagram socket that is connected to itself: only sockets can be polled.
Waker::Waker() {
  StartLibrary();
  reads_ = Prepared(socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in own = Address("127.0.0.1", 0);
  int size = sizeof own;
  auto* address = reinterpret_cast<sockaddr*>(&own);
  if (bind(Number(reads_), address, size) != 0 ||
      getsockname(Number(reads_), address, &size) != 0 ||
      connect(Number(reads_), address, size) != 0)
    Fail("socket");
}

void Waker::Wake() {
  const char word = 0;
  send(Number(reads_), &word, 1, 0);
}

void Waker::Clear() {
  char words[64];
  while (recv(Number(reads_), words, sizeof words, 0) > 0) {
  }
}

}  // namespace scantk::sim
