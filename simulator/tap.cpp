#include "simulator/tap.h"

#include <vector>

#include "simulator/device_log.h"
#include "simulator/recording.h"
#include "simulator/service.h"

namespace scantk::sim {
namespace {

constexpr size_t kPiece = 65536;

// One direction of a connection: what was read and waits to be written.
struct Flow {
  std::vector<uint8_t> waiting;
  bool ended = false;  // its sender has ended, in whatever way
  bool reset = false;

  bool Reads() const { return waiting.empty() && !ended; }
  bool Over() const { return ended && waiting.empty(); }

  void Read(const Socket& from, Recorder& recorder, int64_t id, RecordedKind kind) {
    if (!Reads()) return;
    waiting.resize(kPiece);
    const int got = Receive(from, waiting.data(), waiting.size());
    waiting.resize(static_cast<size_t>(std::max(got, 0)));
    if (got > 0) return recorder.Write(id, kind, waiting);
    if (got == kNothingNow) return;
    ended = true;
    reset = got == kBroken;
  }

  void Write(const Socket& to) {
    if (waiting.empty()) return;
    const int sent = Send(to, waiting);
    if (sent > 0) waiting.erase(waiting.begin(), waiting.begin() + sent);
    if (sent == kBroken) waiting.clear();  // a receiver that is gone shows where it is read from
  }
};

struct Pair {
  int64_t id = 0;
  Socket host;
  Socket device;
  Flow up;    // host to device
  Flow down;  // device to host
};

// What to wait for at the socket that `in` comes from and `out` goes to; nothing, not even its end,
// while the other side has to take something first.
Watched Wanted(const Socket& socket, const Flow& in, const Flow& out) {
  const bool reads = in.Reads();
  const bool writes = !out.waiting.empty();
  return {.file = reads || writes ? socket.Get() : SocketTraits::Invalid(),
          .reads = reads,
          .writes = writes};
}

}  // namespace

class Tap::Impl : private std::mutex, public Service {
 public:
  explicit Impl(const TapConfig& config)
      : Service(static_cast<std::mutex&>(*this)),
        device_(LookUp(config.device, config.device_port)),
        recorder_(config.record_path,
                  "Tapped from " + config.device + ":" + std::to_string(config.device_port) + ".",
                  SteadyMilliseconds),
        listener_(ListenOn(config.address, config.port)) {
    StartThread();
  }

  ~Impl() override {
    StopThread();
    for (Pair& pair : pairs_) {
      ResetAndClose(std::move(pair.host));
      ResetAndClose(std::move(pair.device));
    }
  }

 private:
  int Watch(std::vector<Watched>* watched) override {
    watched->push_back({.file = listener_.Get(), .reads = true});
    for (const Pair& pair : pairs_) {
      watched->push_back(Wanted(pair.host, pair.up, pair.down));
      watched->push_back(Wanted(pair.device, pair.down, pair.up));
    }
    return -1;
  }

  void Serve(std::span<const Watched> watched) override {
    for (size_t i = 0; i < pairs_.size(); ++i)
      ServePair(pairs_[i], watched[1 + 2 * i], watched[2 + 2 * i]);
    std::erase_if(pairs_, [](const Pair& pair) { return !pair.host; });
    if (watched[0].readable) Accept();
  }

  void Accept() {
    Pair pair;
    pair.host = sim::Accept(listener_);
    if (!pair.host) return;
    pair.id = ++last_id_;
    recorder_.Write(pair.id, RecordedKind::kOpen);
    pair.device = Connect(device_);
    if (pair.device) return pairs_.push_back(std::move(pair));
    recorder_.Write(pair.id, RecordedKind::kReset);
    ResetAndClose(std::move(pair.host));
  }

  void ServePair(Pair& pair, const Watched& host, const Watched& device) {
    if (device.readable || device.ended)
      pair.down.Read(pair.device, recorder_, pair.id, RecordedKind::kDevice);
    if (host.readable || host.ended)
      pair.up.Read(pair.host, recorder_, pair.id, RecordedKind::kHost);
    pair.down.Write(pair.host);
    pair.up.Write(pair.device);
    // What the device said last reaches the host even so.
    if (pair.down.Over() || pair.up.ended) End(pair, pair.down.Over());
  }

  void End(Pair& pair, bool by_device) {
    const bool reset = by_device && pair.down.reset;
    recorder_.Write(pair.id, !by_device ? RecordedKind::kGone
                             : reset    ? RecordedKind::kReset
                                        : RecordedKind::kDrop);
    if (reset) ResetAndClose(std::move(pair.host));
    if (!by_device && pair.up.reset) ResetAndClose(std::move(pair.device));
    pair.host.Reset();
    pair.device.Reset();
  }

  const FarEnd device_;
  Recorder recorder_;
  Socket listener_;
  int64_t last_id_ = 0;
  std::vector<Pair> pairs_;
};

Tap::Tap(const TapConfig& config) : impl_(std::make_unique<Impl>(config)) {}
Tap::~Tap() = default;

}  // namespace scantk::sim
