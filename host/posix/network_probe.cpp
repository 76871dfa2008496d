#include "host/network_probe.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace scanhost {
namespace {

namespace fs = std::filesystem;

struct Socket {
  int number = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  ~Socket() { close(number); }

  bool WaitFor(short event, uint32_t milliseconds) const {
    pollfd waiting = {number, event, 0};
    int ready = -1;
    do {
      ready = poll(&waiting, 1, static_cast<int>(milliseconds));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
  }
};

// Whether the open file `number` of the process holds the lock: its first byte, exclusively.
bool HoldsLock(const fs::path& process, const std::string& number) {
  std::ifstream info(process / "fdinfo" / number);
  for (std::string line; std::getline(info, line);)
    if (line.starts_with("lock:") && line.find("WRITE") != std::string::npos &&
        line.ends_with(" 0 0"))
      return true;
  return false;
}

// Lock files are named after devices: what is no plain character is written as %XX.
bool IsLockFile(const std::string& path, const std::string& device) {
  if (path.find("/scantk/") == std::string::npos) return false;
  std::string name;
  for (size_t i = path.rfind('/') + 1; i < path.size(); ++i)
    if (path[i] == '%' && i + 2 < path.size()) {
      name += static_cast<char>(std::stoi(path.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      name += path[i];
    }
  return !device.empty() && name.ends_with(device.substr(device.rfind('\\') + 1));
}

}  // namespace

std::string ResolveHost(const std::string& name, std::string* reason) {
  addrinfo wanted = {};
  wanted.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(name.c_str(), nullptr, &wanted, &found)) {
    *reason = gai_strerror(error);
    return "";
  }
  char text[INET_ADDRSTRLEN] = "";
  const auto* address = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
  freeaddrinfo(found);
  return text;
}

Probe ProbePort(const std::string& address, uint16_t port, uint32_t milliseconds) {
  Probe probe;
  const Socket socket;
  sockaddr_in place = {};
  place.sin_family = AF_INET;
  place.sin_port = htons(port);
  inet_pton(AF_INET, address.c_str(), &place.sin_addr);
  int error = 0;
  if (connect(socket.number, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0)
    error = errno;
  if (error == EINPROGRESS) {
    error = ETIMEDOUT;
    socklen_t size = sizeof error;
    if (socket.WaitFor(POLLOUT, milliseconds))
      getsockopt(socket.number, SOL_SOCKET, SO_ERROR, &error, &size);
  }
  if (error != 0) {
    probe.reason = std::strerror(error);
    return probe;
  }
  probe.connected = true;
  char piece[2];
  while (probe.greeting.size() < sizeof piece && socket.WaitFor(POLLIN, milliseconds)) {
    const ssize_t got = recv(socket.number, piece, sizeof piece - probe.greeting.size(), 0);
    if (got <= 0) break;
    probe.greeting.append(piece, static_cast<size_t>(got));
  }
  return probe;
}

std::string LockHolder(const std::string& device) {
  std::error_code error;
  for (const auto& process : fs::directory_iterator("/proc", error)) {
    const std::string id = process.path().filename().string();
    if (id.find_first_not_of("0123456789") != std::string::npos) continue;
    // What belongs to others cannot be looked into and is passed over.
    std::error_code closed;
    for (const auto& file : fs::directory_iterator(process.path() / "fd", closed)) {
      const std::string target = fs::read_symlink(file.path(), closed).string();
      if (!IsLockFile(target, device) ||
          !HoldsLock(process.path(), file.path().filename().string()))
        continue;
      std::string name;
      std::getline(std::ifstream(process.path() / "comm"), name);
      return "process " + id + " (" + name + ")";
    }
  }
  return "";
}

}  // namespace scanhost
