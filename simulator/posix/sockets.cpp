#include "simulator/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace scantk::sim {
namespace {

constexpr int kKind = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

int Number(const Socket& socket) {
  return static_cast<int>(socket.Get());
}

// Sends small answers at once.
Socket Prompt(Socket socket) {
  const int on = 1;
  if (socket) setsockopt(Number(socket), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return socket;
}

int Outcome(ssize_t moved) {
  if (moved >= 0) return static_cast<int>(moved);
  return errno == EAGAIN || errno == EINTR || errno == ENOTCONN ? kNothingNow : kBroken;
}

}  // namespace

void SocketTraits::Close(Value socket) {
  close(static_cast<int>(socket));
}

Socket ListenOn(const std::string& address, uint16_t port) {
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  if (inet_pton(AF_INET, address.c_str(), &to.sin_addr) != 1)
    throw std::invalid_argument("\"" + address + "\" is no IPv4 address");
  Socket listener(socket(AF_INET, kKind, 0));
  const int on = 1;
  setsockopt(Number(listener), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(Number(listener), reinterpret_cast<sockaddr*>(&to), sizeof to) != 0 ||
      listen(Number(listener), 16) != 0)
    Fail(address + ":" + std::to_string(port));
  return listener;
}

Socket Accept(const Socket& listener) {
  return Prompt(Socket(accept4(Number(listener), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)));
}

FarEnd LookUp(const std::string& name, uint16_t port) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(name.c_str(), nullptr, &wanted, &found))
    throw std::runtime_error(name + ": " + gai_strerror(error));
  sockaddr_in address = {};
  std::memcpy(&address, found->ai_addr, sizeof address);
  freeaddrinfo(found);
  address.sin_port = htons(port);
  FarEnd far_end;
  std::memcpy(&far_end, &address, sizeof far_end);
  return far_end;
}

Socket Connect(const FarEnd& far_end) {
  Socket made = Prompt(Socket(socket(AF_INET, kKind, 0)));
  const auto* address = reinterpret_cast<const sockaddr*>(&far_end);
  if (made && connect(Number(made), address, sizeof far_end) != 0 && errno != EINPROGRESS)
    made.Reset();
  return made;
}

int Receive(const Socket& socket, uint8_t* to, size_t size) {
  return Outcome(recv(Number(socket), to, size, MSG_DONTWAIT));
}

int Send(const Socket& socket, std::span<const uint8_t> bytes) {
  return Outcome(send(Number(socket), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
}

void EndAndClose(Socket socket) {
  shutdown(Number(socket), SHUT_WR);
}

void ResetAndClose(Socket socket) {
  const linger abortive = {1, 0};
  setsockopt(Number(socket), SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
}

void WaitFor(std::vector<Watched>& watched, int milliseconds) {
  std::vector<pollfd> polled;
  polled.reserve(watched.size());
  for (const Watched& one : watched) {
    const int events = (one.reads ? POLLIN : 0) | (one.writes ? POLLOUT : 0) | POLLRDHUP;
    polled.push_back({static_cast<int>(one.file), static_cast<short>(events), 0});
  }
  poll(polled.data(), polled.size(), milliseconds);
  for (size_t i = 0; i < watched.size(); ++i) {
    watched[i].readable = (polled[i].revents & POLLIN) != 0;
    watched[i].ended = (polled[i].revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
  }
}

Waker::Waker() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) Fail("pipe");
  reads_.Reset(ends[0]);
  writes_.Reset(ends[1]);
}

void Waker::Wake() {
  const char word = 0;
  [[maybe_unused]] const ssize_t written = write(Number(writes_), &word, 1);
}

void Waker::Clear() {
  char words[64];
  while (read(Number(reads_), words, sizeof words) > 0) {
  }
}

}  // namespace scantk::sim
