#include "simulator/tap.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

#include "simulator/device_log.h"
#include "simulator/network_line.h"
#include "simulator/recording.h"

namespace scantk::sim {
namespace {

constexpr size_t kPiece = 65536;

sockaddr_in Resolve(const std::string& name, uint16_t port) {
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
  return address;
}

// One direction of a connection: what was read and waits to be written.
struct Flow {
  int from = -1;
  int to = -1;
  std::vector<uint8_t> waiting;
  bool ended = false;  // its sender has ended, in whatever way
  bool reset = false;
};

struct Pair {
  int64_t id = 0;
  Flow up;    // host to device
  Flow down;  // device to host
};

}  // namespace

class Tap::Impl {
 public:
  explicit Impl(const TapConfig& config)
      : device_(Resolve(config.device, config.device_port)),
        recorder_(config.record_path,
                  "Tapped from " + config.device + ":" + std::to_string(config.device_port) + ".",
                  SteadyMilliseconds),
        listener_(ListenOn(config.address, config.port)) {
    if (pipe2(wake_, O_CLOEXEC) != 0) {
      close(listener_);
      throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    thread_ = std::thread([this] { Run(); });
  }

  ~Impl() {
    stop_ = true;
    const char word = 0;
    [[maybe_unused]] const ssize_t written = write(wake_[1], &word, 1);
    thread_.join();
    for (const Pair& pair : pairs_) {
      ResetAndClose(pair.up.from);
      ResetAndClose(pair.up.to);
    }
    for (int file : {listener_, wake_[0], wake_[1]}) close(file);
  }

 private:
  void Run() {
    std::vector<pollfd> polled;
    while (!stop_) {
      polled.assign({{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}});
      for (const Pair& pair : pairs_) {
        polled.push_back(Wanted(pair.up, pair.down));
        polled.push_back(Wanted(pair.down, pair.up));
      }
      poll(polled.data(), polled.size(), -1);
      for (size_t i = 0; i < pairs_.size(); ++i)
        Serve(pairs_[i], polled[2 + 2 * i].revents, polled[3 + 2 * i].revents);
      std::erase_if(pairs_, [](const Pair& pair) { return pair.up.from < 0; });
      if (polled[0].revents) Accept();
    }
  }

  // What to wait for at the socket that `in` comes from and `out` goes to; nothing, not even its
  // end, while the other side has to take something first.
  static pollfd Wanted(const Flow& in, const Flow& out) {
    const bool reads = in.waiting.empty() && !in.ended;
    const bool writes = !out.waiting.empty();
    const int events = (reads ? POLLIN : 0) | (writes ? POLLOUT : 0);
    return {events ? in.from : -1, static_cast<short>(events), 0};
  }

  void Accept() {
    const int host = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (host < 0) return;
    const int64_t id = ++last_id_;
    recorder_.Write(id, RecordedKind::kOpen);
    const int device = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    for (int one : {host, device}) setsockopt(one, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (device < 0 ||
        (connect(device, reinterpret_cast<const sockaddr*>(&device_), sizeof device_) != 0 &&
         errno != EINPROGRESS)) {
      recorder_.Write(id, RecordedKind::kReset);
      ResetAndClose(host);
      if (device >= 0) close(device);
      return;
    }
    Pair pair;
    pair.id = id;
    pair.up.from = pair.down.to = host;
    pair.up.to = pair.down.from = device;
    pairs_.push_back(std::move(pair));
  }

  void Serve(Pair& pair, short host, short device) {
    constexpr short kReadable = POLLIN | POLLHUP | POLLERR;
    if (device & kReadable) Read(pair, RecordedKind::kDevice, &pair.down);
    if (host & kReadable) Read(pair, RecordedKind::kHost, &pair.up);
    Write(&pair.down);
    Write(&pair.up);
    // What the device said last reaches the host even so.
    const bool device_over = pair.down.ended && pair.down.waiting.empty();
    if (device_over || pair.up.ended) End(pair, device_over);
  }

  void Read(const Pair& pair, RecordedKind kind, Flow* flow) {
    if (flow->ended || !flow->waiting.empty()) return;
    flow->waiting.resize(kPiece);
    const ssize_t got = recv(flow->from, flow->waiting.data(), kPiece, MSG_DONTWAIT);
    const int error = errno;
    flow->waiting.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (got > 0) return recorder_.Write(pair.id, kind, flow->waiting);
    if (got < 0 && (error == EAGAIN || error == EINTR)) return;
    flow->ended = true;
    flow->reset = got < 0;
  }

  static void Write(Flow* flow) {
    if (flow->waiting.empty()) return;
    const ssize_t sent =
        send(flow->to, flow->waiting.data(), flow->waiting.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) flow->waiting.erase(flow->waiting.begin(), flow->waiting.begin() + sent);
    // A receiver that is gone shows where it is read from.
    if (sent < 0 && errno != EAGAIN && errno != EINTR) flow->waiting.clear();
  }

  void End(Pair& pair, bool by_device) {
    const bool reset = by_device && pair.down.reset;
    recorder_.Write(pair.id, !by_device ? RecordedKind::kGone
                             : reset    ? RecordedKind::kReset
                                        : RecordedKind::kDrop);
    if (reset)
      ResetAndClose(pair.up.from);
    else
      close(pair.up.from);
    if (!by_device && pair.up.reset)
      ResetAndClose(pair.up.to);
    else
      close(pair.up.to);
    pair.up.from = -1;
  }

  const sockaddr_in device_;
  Recorder recorder_;
  int listener_;
  int wake_[2] = {-1, -1};
  std::atomic<bool> stop_{false};
  int64_t last_id_ = 0;
  std::vector<Pair> pairs_;
  std::thread thread_;
};

Tap::Tap(const TapConfig& config) : impl_(std::make_unique<Impl>(config)) {}
Tap::~Tap() = default;

}  // namespace scantk::sim
