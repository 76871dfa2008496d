// The device on the network: one thread that listens, and carries bytes between its hosts and the
// scanner.
#include "simulator/simulated_device.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "simulator/scanner_core.h"

namespace scantk::sim {
namespace {

constexpr size_t kLogLines = 20000;
constexpr size_t kReadBytes = 65536;
constexpr int kBuffersPerTurn = 32;  // then the other connections and the device's owner get theirs

int64_t Milliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

// A host's connection.
struct Connection {
  int fd = -1;
  bool counted = true;  // keeps others out
  Conversation host;
  std::vector<uint8_t> unheard;  // received while the host took no answers
  int64_t sent_at = 0;           // for slow lines: when bytes were last sent
};

}  // namespace

class SimulatedDevice::Impl {
 public:
  explicit Impl(DeviceConfig given)
      : config(CheckedConfig(std::move(given))),
        core(config,
             config.keep_log || !config.log_path.empty()
                 ? ScannerCore::LogLine([this](const std::string& text) { Log(text); })
                 : ScannerCore::LogLine(),
             Milliseconds),
        started_(Milliseconds()) {
    if (!config.log_path.empty())
      log_file_ = config.log_path == "-" ? stderr : std::fopen(config.log_path.c_str(), "w");
    if (!config.log_path.empty() && !log_file_) Fail(config.log_path);
    Listen();
    if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) Fail("pipe");
    thread_ = std::thread([this] { Run(); });
  }

  ~Impl() {
    stop_ = true;
    Wake();
    thread_.join();
    for (auto& connection : connections_) close(connection->fd);
    close(listener_);
    close(wake_[0]);
    close(wake_[1]);
    if (log_file_ && log_file_ != stderr) std::fclose(log_file_);
  }

  void Wake() {
    const char word = 0;
    [[maybe_unused]] ssize_t written = write(wake_[1], &word, 1);
  }

  int OpenConnections() const {
    int open = 0;
    for (const auto& connection : connections_) open += connection->counted;
    return open;
  }

  DeviceConfig config;
  mutable std::mutex mutex;  // guards everything below
  ScannerCore core;
  std::deque<std::string> log_lines;

 private:
  void Listen() {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listener_ < 0) Fail("socket");
    const int on = 1;
    setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(config.port);
    if (inet_pton(AF_INET, config.address.c_str(), &address.sin_addr) != 1)
      throw std::invalid_argument("\"" + config.address + "\" is no IPv4 address");
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_, 16) != 0) {
      const int error = errno;
      close(listener_);
      errno = error;
      Fail(config.address + ":" + std::to_string(config.port));
    }
  }

  void Log(const std::string& text) {
    char time[32];
    std::snprintf(time, sizeof time, "%9.3f ",
                  static_cast<double>(Milliseconds() - started_) / 1e3);
    if (log_file_) {
      std::fprintf(log_file_, "%s%s\n", time, text.c_str());
      std::fflush(log_file_);
    }
    if (!config.keep_log) return;
    log_lines.push_back(time + text);
    if (log_lines.size() > kLogLines) log_lines.pop_front();
  }

  void Run() {
    std::vector<pollfd> polled;
    while (!stop_) {
      int timeout = -1;
      polled.assign({{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}});
      {
        std::lock_guard guard(mutex);
        for (auto& connection : connections_) {
          core.Produce(connection->host);
          polled.push_back({connection->fd, Wanted(*connection, &timeout), 0});
        }
      }
      poll(polled.data(), polled.size(), timeout);
      std::lock_guard guard(mutex);
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
  static short Wanted(const Connection& connection, int* timeout) {
    const Conversation& host = connection.host;
    short wanted = POLLRDHUP;
    if (!host.deaf && connection.unheard.empty()) wanted |= POLLIN;
    const bool has_output = !host.out.empty() || host.drop_when_sent || host.reset_when_sent;
    if (!has_output) return wanted;
    const int64_t wait = host.stalled_until - Milliseconds();
    if (wait > 0)
      *timeout = *timeout < 0 ? static_cast<int>(wait) : std::min<int>(*timeout, wait);
    else if (host.bytes_per_ms > 0)
      *timeout = 1;
    else
      wanted |= POLLOUT;
    return wanted;
  }

  void Accept() {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) return;
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    auto connection = std::make_unique<Connection>();
    connection->fd = fd;
    connection->host.id = ++next_id_;
    connection->counted = core.Greet(connection->host, OpenConnections() >= config.max_connections);
    connections_.push_back(std::move(connection));
    Serve(*connections_.back(), POLLOUT);
    Sweep();
  }

  void Serve(Connection& connection, short events) {
    const bool reads = !connection.host.deaf && connection.unheard.empty();
    if (!reads && (events & (POLLRDHUP | POLLHUP | POLLERR))) {
      CloseNow(connection);  // without reading, its end would never be seen
    } else if (events & (POLLIN | POLLRDHUP | POLLHUP | POLLERR)) {
      Receive(connection);
    }
    if (connection.fd >= 0) {
      core.Produce(connection.host);
      Send(connection);
    }
    if (connection.fd >= 0 && !connection.unheard.empty()) Hear(connection);
  }

  void Receive(Connection& connection) {
    uint8_t bytes[kReadBytes];
    for (int turn = 0; turn < kBuffersPerTurn && connection.unheard.empty(); ++turn) {
      const ssize_t got = recv(connection.fd, bytes, sizeof bytes, MSG_DONTWAIT);
      if (got > 0) {
        connection.unheard.assign(bytes, bytes + got);
        Hear(connection);
        continue;
      }
      if (got < 0 && (errno == EAGAIN || errno == EINTR)) return;
      CloseNow(connection);
      return;
    }
  }

  void Hear(Connection& connection) {
    std::vector<uint8_t>& bytes = connection.unheard;
    const size_t taken = core.Receive(connection.host, bytes.data(), bytes.size());
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
  }

  void Send(Connection& connection) {
    Conversation& host = connection.host;
    const int64_t now = Milliseconds();
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
      const ssize_t sent = send(connection.fd, first.data() + host.sent_of_first, wanted,
                                MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent < 0) {
        if (errno != EAGAIN && errno != EINTR) CloseNow(connection);
        return;
      }
      core.stats.bytes_sent += sent;
      host.out_bytes -= static_cast<size_t>(sent);
      host.sent_of_first += static_cast<size_t>(sent);
      budget -= sent;
      if (host.sent_of_first == first.size()) {
        host.out.pop_front();
        host.sent_of_first = 0;
        const int64_t rate = host.bytes_per_ms;
        core.Produce(host);
        if (host.stalled_until > now || host.bytes_per_ms != rate) return;  // not this block yet
      }
    }
    if (!host.out.empty()) return;
    if (host.reset_when_sent) {
      const linger abortive = {1, 0};
      setsockopt(connection.fd, SOL_SOCKET, SO_LINGER, &abortive, sizeof abortive);
      CloseNow(connection);
    } else if (host.drop_when_sent) {
      shutdown(connection.fd, SHUT_WR);
      CloseNow(connection);
    }
  }

  void CloseNow(Connection& connection) {
    if (connection.fd < 0) return;
    core.Leave(connection.host);
    close(connection.fd);
    connection.fd = -1;
  }

  void Sweep() {
    std::erase_if(connections_, [](const auto& connection) { return connection->fd < 0; });
  }

  int listener_ = -1;
  int wake_[2] = {-1, -1};
  std::atomic<bool> stop_{false};
  int64_t started_;
  int64_t next_id_ = 0;
  FILE* log_file_ = nullptr;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::thread thread_;
};

SimulatedDevice::SimulatedDevice(DeviceConfig config)
    : impl_(std::make_unique<Impl>(std::move(config))) {}
SimulatedDevice::~SimulatedDevice() = default;

Stats SimulatedDevice::stats() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.stats;
}

std::vector<std::string> SimulatedDevice::log() const {
  std::lock_guard guard(impl_->mutex);
  return {impl_->log_lines.begin(), impl_->log_lines.end()};
}

int SimulatedDevice::CountInLog(const std::string& text) const {
  std::lock_guard guard(impl_->mutex);
  int count = 0;
  for (const std::string& line : impl_->log_lines) count += line.find(text) != std::string::npos;
  return count;
}

void SimulatedDevice::ClearLog() {
  std::lock_guard guard(impl_->mutex);
  impl_->log_lines.clear();
}

int SimulatedDevice::lock_holder() const {
  std::lock_guard guard(impl_->mutex);
  return static_cast<int>(impl_->core.lock_holder);
}

void SimulatedDevice::ReserveElsewhere(bool reserved) {
  std::lock_guard guard(impl_->mutex);
  int64_t& holder = impl_->core.lock_holder;
  if (reserved) holder = -1;
  if (!reserved && holder == -1) holder = 0;
}

int SimulatedDevice::open_connections() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->OpenConnections();
}

void SimulatedDevice::AddFault(const Fault& fault) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.faults.Add(fault);
}

void SimulatedDevice::AddFault(const std::string& text) {
  AddFault(ParseFault(text));
}

void SimulatedDevice::ClearFaults() {
  std::lock_guard guard(impl_->mutex);
  impl_->core.faults.Clear();
}

void SimulatedDevice::RaiseError(int code) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.errors.push_back(code);
}

void SimulatedDevice::SetSheets(int sheets) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.sheets = sheets;
}

int SimulatedDevice::sheets() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.sheets;
}

std::optional<int64_t> SimulatedDevice::Variable(int number) const {
  std::lock_guard guard(impl_->mutex);
  const sim::Variable* variable = impl_->core.variables.Find(number);
  if (!variable || variable->is_text) return {};
  return variable->value;
}

void SimulatedDevice::SetVariable(const VariableOverride& change) {
  std::lock_guard guard(impl_->mutex);
  impl_->core.variables.Change(change);
}

void SimulatedDevice::SetPaper(const std::string& paper) {
  auto made = MakePaper(paper);
  std::lock_guard guard(impl_->mutex);
  impl_->core.paper = std::move(made);
}

std::optional<PageSettings> SimulatedDevice::last_page() const {
  std::lock_guard guard(impl_->mutex);
  return impl_->core.last_page;
}

const DeviceConfig& SimulatedDevice::config() const {
  return impl_->config;
}

DeviceConfig CheckedConfig(DeviceConfig config) {
  const DeliveryOptions& delivery = config.delivery;
  if (delivery.block_bytes < 64 || delivery.record_bytes < 1 || delivery.record_bytes > 32767)
    throw std::invalid_argument("blocks take 64 bytes or more, records 1 to 32767");
  const int blocks = delivery.jpeg_horizontal * delivery.jpeg_vertical;
  if (std::min(delivery.jpeg_horizontal, delivery.jpeg_vertical) < 1 || blocks > 8 ||
      std::max(delivery.jpeg_horizontal, delivery.jpeg_vertical) > 4)
    throw std::invalid_argument("JPEG sampling factors are 1 to 4, their product at most 8");
  return config;
}

PageSettings DefaultPage(const std::string& model) {
  const Variables variables(model);
  PageSettings settings;
  settings.width = static_cast<int>(variables.Get(number::kXExtent));
  settings.height = static_cast<int>(variables.Get(number::kYExtent));
  return settings;
}

}  // namespace scantk::sim
