// The far side of a network transport: a listener on an address of its own whose connections are
// served one after the other.
#ifndef SCANTK_TESTS_IO_LOOPBACK_DEVICE_H_
#define SCANTK_TESTS_IO_LOOPBACK_DEVICE_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/owner.h"

namespace scantk {

struct SocketCloser {
  using Value = int;
  static int Invalid() { return -1; }
  static void Close(int socket) { close(socket); }
};
using OwnedSocket = Owner<SocketCloser>;

// The device's end of one connection.
class DeviceConnection {
 public:
  explicit DeviceConnection(int socket) : socket_(socket) {}

  void Send(const std::string& text) {
    send(socket_.Get(), text.data(), text.size(), MSG_NOSIGNAL);
  }
  // Up to `size` bytes; fewer when the host closed, or was silent for two seconds.
  std::string Receive(size_t size) {
    std::string text;
    char buffer[4096];
    while (text.size() < size) {
      pollfd waiting = {socket_.Get(), POLLIN, 0};
      if (poll(&waiting, 1, 2000) <= 0) break;
      const ssize_t got =
          recv(socket_.Get(), buffer, std::min(sizeof buffer, size - text.size()), 0);
      if (got <= 0) break;
      text.append(buffer, static_cast<size_t>(got));
    }
    return text;
  }

 private:
  OwnedSocket socket_;
};

class LoopbackDevice {
 public:
  // Serves connection number n (from 1) by serve(n, connection); the connection closes when that
  // returns.
  LoopbackDevice(const char* address, uint16_t port,
                 std::function<void(int, DeviceConnection&)> serve)
      : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), serve_(std::move(serve)) {
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    own.sin_port = htons(port);
    own.sin_addr.s_addr = inet_addr(address);
    const int on = 1;
    setsockopt(listener_.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener_.Get(), reinterpret_cast<sockaddr*>(&own), sizeof own) != 0 ||
        listen(listener_.Get(), 8) != 0)
      throw std::runtime_error("no listener");
    thread_ = std::thread([this] { Run(); });
  }
  ~LoopbackDevice() { Stop(); }

  // Returns when the connections so far are served.
  void Stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }
  int Connections() const { return connections_; }

 private:
  void Run() {
    for (;;) {
      pollfd waiting = {listener_.Get(), POLLIN, 0};
      if (poll(&waiting, 1, 20) == 0) {
        if (stop_) return;
        continue;
      }
      const int accepted = accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC);
      if (accepted < 0) return;
      DeviceConnection connection(accepted);
      serve_(++connections_, connection);
    }
  }

  OwnedSocket listener_;
  std::function<void(int, DeviceConnection&)> serve_;
  std::atomic<bool> stop_ = false;
  std::atomic<int> connections_ = 0;
  std::thread thread_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_IO_LOOPBACK_DEVICE_H_
