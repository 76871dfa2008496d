#include "host/network_probe.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace scanhost {
namespace {

struct Network {
  WSADATA data;
  Network() { WSAStartup(MAKEWORD(2, 2), &data); }
  ~Network() { WSACleanup(); }
};

struct Socket {
  SOCKET number = socket(AF_INET, SOCK_STREAM, 0);
  ~Socket() { closesocket(number); }

  bool WaitFor(bool connection, uint32_t milliseconds) const {
    fd_set waiting, failed;
    FD_ZERO(&waiting);
    FD_ZERO(&failed);
    FD_SET(number, &waiting);
    FD_SET(number, &failed);
    timeval limit = {static_cast<long>(milliseconds / 1000),
                     static_cast<long>(milliseconds % 1000 * 1000)};
    return select(0, connection ? nullptr : &waiting, connection ? &waiting : nullptr, &failed,
                  &limit) > 0;
  }
};

std::string Reason(int error) {
  return error == WSAECONNREFUSED   ? "connection refused"
         : error == WSAETIMEDOUT    ? "no answer"
         : error == WSAEHOSTUNREACH ? "no route to the host"
                                    : "socket error " + std::to_string(error);
}

}  // namespace

std::string ResolveHost(const std::string& name, std::string* reason) {
  const Network network;
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(name.c_str(), nullptr, &wanted, &found)) {
    *reason = "no such host (socket error " + std::to_string(error) + ")";
    return "";
  }
  const auto* address = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  std::string text = inet_ntoa(address->sin_addr);
  freeaddrinfo(found);
  return text;
}

Probe ProbePort(const std::string& address, uint16_t port, uint32_t milliseconds) {
  const Network network;
  Probe probe;
  const Socket socket;
  u_long on = 1;
  ioctlsocket(socket.number, FIONBIO, &on);
  sockaddr_in place = {};
  place.sin_family = AF_INET;
  place.sin_port = htons(port);
  place.sin_addr.s_addr = inet_addr(address.c_str());
  int error = 0;
  if (connect(socket.number, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
    error = WSAGetLastError();
  if (error == WSAEWOULDBLOCK) {
    error = WSAETIMEDOUT;
    int size = sizeof error;
    if (socket.WaitFor(true, milliseconds))
      getsockopt(socket.number, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
  }
  if (error != 0) {
    probe.reason = Reason(error);
    return probe;
  }
  probe.connected = true;
  char piece[2];
  while (probe.greeting.size() < sizeof piece && socket.WaitFor(false, milliseconds)) {
    const int got =
        recv(socket.number, piece, static_cast<int>(sizeof piece - probe.greeting.size()), 0);
    if (got <= 0) break;
    probe.greeting.append(piece, static_cast<size_t>(got));
  }
  return probe;
}

// Who holds a semaphore is not told here.
std::string LockHolder(const std::string&) {
  return "";
}

}  // namespace scanhost
