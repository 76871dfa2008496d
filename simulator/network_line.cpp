#include "simulator/network_line.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "simulator/device_log.h"

namespace scantk::sim {
namespace {

constexpr size_t kReadBytes = 65536;
constexpr int kBuffersPerTurn = 32;  // then the other connections and the device's owner get theirs

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

int ListenOn(const std::string& address, uint16_t port) {
  sockaddr_in to = {};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  if (inet_pton(AF_INET, address.c_str(), &to.sin_addr) != 1)
    throw std::invalid_argument("\"" + address + "\" is no IPv4 address");
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (listener < 0) Fail("socket");
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listener, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0 && listen(listener, 16) == 0)
    return listener;
  const int error = errno;
  close(listener);
  errno = error;
  Fail(address + ":" + std::to_string(port));
}

void ResetAndClose(int socket) {
  const linger abortive = {1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
  close(socket);
}

// A host's connection.
struct NetworkLine::Connection {
  int fd = -1;
  bool counted = true;  // keeps others out
  Conversation host;
  std::vector<uint8_t> unheard;  // received while the host took no answers
  int64_t sent_at = 0;           // for slow lines: when bytes were last sent
};

NetworkLine::NetworkLine(const std::string& address, uint16_t port, int most_hosts,
                         Responder& device, Recorder* recorder, std::mutex& mutex)
    : most_hosts_(most_hosts),
      device_(device),
      recorder_(recorder),
      mutex_(mutex),
      listener_(ListenOn(address, port)) {
  if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) == 0) return;
  close(listener_);
  Fail("pipe");
}

NetworkLine::~NetworkLine() {
  stop_ = true;
  const char word = 0;
  [[maybe_unused]] const ssize_t written = write(wake_[1], &word, 1);
  if (thread_.joinable()) thread_.join();
  for (const auto& connection : connections_) {
    Record(*connection, RecordedKind::kDrop);
    close(connection->fd);
  }
  close(listener_);
  close(wake_[0]);
  close(wake_[1]);
}

void NetworkLine::Start() {
  thread_ = std::thread([this] { Run(); });
}

int NetworkLine::OpenConnections() const {
  int open = 0;
  for (const auto& connection : connections_) open += connection->counted;
  return open;
}

void NetworkLine::Record(const Connection& connection, RecordedKind kind,
                         std::span<const uint8_t> bytes) {
  if (recorder_) recorder_->Write(connection.host.id, kind, bytes);
}

void NetworkLine::Run() {
  std::vector<pollfd> polled;
  while (!stop_) {
    int timeout = -1;
    polled.assign({{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}});
    {
      std::lock_guard guard(mutex_);
      for (auto& connection : connections_) {
        device_.Produce(connection->host);
        polled.push_back({connection->fd, Wanted(*connection, &timeout), 0});
      }
    }
    poll(polled.data(), polled.size(), timeout);
    std::lock_guard guard(mutex_);
    char words[64];
    while (read(wake_[0], words, sizeof words) > 0) {
    }
    // The old connections first: one that has gone makes room for the next.
    for (size_t i = 0; i + 2 < polled.size(); ++i) Serve(*connections_[i], polled[i + 2].revents);
    Sweep();
    if (polled[0].revents) Accept();
  }
}

// What to wait for on a connection; shortens *timeout when the clock matters.
short NetworkLine::Wanted(const Connection& connection, int* timeout) {
  const Conversation& host = connection.host;
  short wanted = POLLRDHUP;
  if (!host.deaf && connection.unheard.empty()) wanted |= POLLIN;
  const bool has_output = !host.out.empty() || host.drop_when_sent || host.reset_when_sent;
  if (!has_output) return wanted;
  const int wait =
      static_cast<int>(std::min<int64_t>(host.stalled_until - SteadyMilliseconds(), 1 << 30));
  if (wait > 0)
    *timeout = *timeout < 0 ? wait : std::min(*timeout, wait);
  else if (host.bytes_per_ms > 0)
    *timeout = 1;
  else
    wanted |= POLLOUT;
  return wanted;
}

void NetworkLine::Accept() {
  const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd < 0) return;
  const int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  auto connection = std::make_unique<Connection>();
  connection->fd = fd;
  connection->host.id = ++next_id_;
  Record(*connection, RecordedKind::kOpen);
  connection->counted = device_.Greet(connection->host, OpenConnections() >= most_hosts_);
  connections_.push_back(std::move(connection));
  Serve(*connections_.back(), POLLOUT);
  Sweep();
}

void NetworkLine::Serve(Connection& connection, short events) {
  const bool reads = !connection.host.deaf && connection.unheard.empty();
  if (!reads && (events & (POLLRDHUP | POLLHUP | POLLERR))) {
    CloseNow(connection, RecordedKind::kGone);  // without reading, its end would never be seen
  } else if (events & (POLLIN | POLLRDHUP | POLLHUP | POLLERR)) {
    Receive(connection);
  }
  if (connection.fd >= 0) {
    device_.Produce(connection.host);
    Send(connection);
  }
  if (connection.fd >= 0 && !connection.unheard.empty()) Hear(connection);
}

void NetworkLine::Receive(Connection& connection) {
  uint8_t bytes[kReadBytes];
  for (int turn = 0; turn < kBuffersPerTurn && connection.unheard.empty(); ++turn) {
    const ssize_t got = recv(connection.fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (got > 0) {
      Record(connection, RecordedKind::kHost, {bytes, static_cast<size_t>(got)});
      connection.unheard.assign(bytes, bytes + got);
      Hear(connection);
      continue;
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
    CloseNow(connection, RecordedKind::kGone);
    return;
  }
}

void NetworkLine::Hear(Connection& connection) {
  std::vector<uint8_t>& bytes = connection.unheard;
  const size_t taken = device_.Receive(connection.host, bytes.data(), bytes.size());
  bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
}

void NetworkLine::Send(Connection& connection) {
  Conversation& host = connection.host;
  const int64_t now = SteadyMilliseconds();
  if (now < host.stalled_until) return;
  int64_t budget = INT64_MAX;
  if (host.bytes_per_ms > 0) {
    budget =
        connection.sent_at ? (now - connection.sent_at) * host.bytes_per_ms : host.bytes_per_ms;
    if (budget <= 0) return;
    connection.sent_at = now;
  }
  for (int turn = 0; turn < kBuffersPerTurn && !host.out.empty() && budget > 0; ++turn) {
    std::vector<uint8_t>& first = host.out.front();
    const size_t left = first.size() - host.sent_of_first;
    const size_t wanted =
        static_cast<size_t>(std::min<int64_t>(budget, static_cast<int64_t>(left)));
    const ssize_t sent =
        send(connection.fd, first.data() + host.sent_of_first, wanted, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) {
      if (errno != EAGAIN && errno != EINTR) CloseNow(connection, RecordedKind::kGone);
      return;
    }
    Record(connection, RecordedKind::kDevice,
           {first.data() + host.sent_of_first, static_cast<size_t>(sent)});
    device_.stats.bytes_sent += sent;
    host.out_bytes -= static_cast<size_t>(sent);
    host.sent_of_first += static_cast<size_t>(sent);
    budget -= sent;
    if (host.sent_of_first == first.size()) {
      host.out.pop_front();
      host.sent_of_first = 0;
      const int64_t rate = host.bytes_per_ms;
      device_.Produce(host);
      if (host.stalled_until > now || host.bytes_per_ms != rate) return;  // not this block yet
    }
  }
  if (!host.out.empty()) return;
  if (host.reset_when_sent) {
    CloseNow(connection, RecordedKind::kReset);
  } else if (host.drop_when_sent) {
    shutdown(connection.fd, SHUT_WR);
    CloseNow(connection, RecordedKind::kDrop);
  }
}

void NetworkLine::CloseNow(Connection& connection, RecordedKind how) {
  if (connection.fd < 0) return;
  Record(connection, how);
  device_.Leave(connection.host);
  if (how == RecordedKind::kReset)
    ResetAndClose(connection.fd);
  else
    close(connection.fd);
  connection.fd = -1;
}

void NetworkLine::Sweep() {
  std::erase_if(connections_, [](const auto& connection) { return connection->fd < 0; });
}

}  // namespace scantk::sim
