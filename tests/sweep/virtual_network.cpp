#include "tests/sweep/virtual_network.h"

#include <algorithm>
#include <cstring>

#include "platform/error_codes.h"
#include "tests/sweep/failing_memory.h"

namespace scantk::test {
namespace {

constexpr int64_t kStallMs = 10000;
constexpr uint32_t kSomeAddress = 0x0100007F;
constexpr int64_t kNever = -1;

}  // namespace

class VirtualSocket final : public StreamSocket {
 public:
  explicit VirtualSocket(VirtualNetwork* network) : network_(*network), device_(*network->device_) {
    ++network_.open_sockets_;
  }
  ~VirtualSocket() override {
    const TestAtWork safe;
    EndPosted();
    if (state_ == State::kConnected) device_.Leave(host_);
    --network_.open_sockets_;
  }

  uintptr_t Handle() const override { return 7; }

  uint32_t Connect(const SocketAddress&) override {
    const TestAtWork safe;
    if (network_.CallFails()) return network_.Fail(error::kSocketNetUnreachable);
    const int64_t number = network_.counts_.connections++;
    state_ = State::kConnecting;
    if (network_.Strikes(LineFault::kRefuse, number, number + 1)) state_ = State::kRefused;
    if (network_.Strikes(LineFault::kUnreachable, number, number + 1)) state_ = State::kUnreachable;
    return network_.Fail(error::kSocketWouldBlock);
  }

  int WaitWritable(uint32_t milliseconds) override {
    const TestAtWork safe;
    if (network_.CallFails()) return Failed();
    if (state_ == State::kRefused) return 0;
    if (state_ == State::kUnreachable) {
      network_.clock_->Advance(milliseconds);
      return 0;
    }
    if (state_ == State::kConnecting) {
      state_ = State::kConnected;
      host_.id = ++network_.next_id_;
      device_.Greet(host_, false);
    }
    return 1;
  }

  int WaitException(uint32_t) override {
    const TestAtWork safe;
    if (network_.CallFails()) return Failed();
    return state_ == State::kRefused;
  }

  int PendingError(uint32_t* pending) override {
    const TestAtWork safe;
    if (network_.CallFails()) return Failed();
    *pending = state_ == State::kRefused ? error::kSocketRefused : 0;
    return 0;
  }

  uint32_t SetLinger(bool, uint16_t) override { return Option(); }
  uint32_t SetReceiveTimeout(uint32_t) override { return Option(); }
  uint32_t SetSendTimeout(uint32_t) override { return Option(); }

  bool BeginTransfer() override {
    const TestAtWork safe;
    if (!network_.CallFails()) return true;
    Failed();
    return false;
  }

  uint32_t PostReceive(void* data, uint32_t size) override {
    const TestAtWork safe;
    if (network_.CallFails()) return network_.Fail(error::kSocketConnectionReset);
    Post(static_cast<uint8_t*>(data), size);
    TryReceive();
    return done_ ? 0 : network_.Fail(error::kIoPending);
  }

  uint32_t PostSend(const void* data, uint32_t size) override {
    const TestAtWork safe;
    if (network_.CallFails()) return network_.Fail(error::kSocketConnectionReset);
    Post(nullptr, 0);
    done_ = true;
    if (state_ != State::kConnected) {
      error_ = error::kSocketConnectionReset;
    } else {
      SendNow(static_cast<const uint8_t*>(data), size);
    }
    return 0;
  }

  WaitResult WaitTransfer(uint32_t milliseconds) override {
    const TestAtWork safe;
    if (network_.CallFails()) {
      Failed();
      return WaitResult::kFailed;
    }
    int64_t left = milliseconds;
    for (;;) {
      if (!done_) TryReceive();
      if (done_) return WaitResult::kSignalled;
      const int64_t delay = Delay();
      if (delay == kNever && milliseconds == kWaitForever) {
        network_.hung_ = true;
        Failed();
        return WaitResult::kFailed;
      }
      const int64_t wait = delay == kNever ? left : std::min(delay, left);
      network_.clock_->Advance(wait);
      left -= wait;
      if (left == 0 && wait != delay) return WaitResult::kTimeout;
    }
  }

  uint32_t TransferResult(uint32_t* bytes) override {
    const TestAtWork safe;
    *bytes = moved_;
    if (network_.CallFails()) return network_.Fail(error::kSocketConnectionReset);
    return error_ == 0 ? 0 : network_.Fail(error_);
  }

  void ResetTransfer() override { EndPosted(); }

  void EndTransfer(uint32_t* late_bytes) override {
    const TestAtWork safe;
    *late_bytes = done_ ? moved_ : 0;
    EndPosted();
  }

  void FinishSending(uint32_t milliseconds) override {
    const TestAtWork safe;
    if (state_ != State::kConnected) return;
    if (mute_) network_.clock_->Advance(milliseconds);
    LoseConnection(State::kClosed);  // the device closes its side at once
  }

  uint32_t Control(uint32_t, const void*, uint32_t, void*, uint32_t, uint32_t*) override {
    return network_.Fail(error::kNotSupported);
  }

 private:
  enum class State { kNew, kConnecting, kRefused, kUnreachable, kConnected, kClosed, kReset };

  int Failed() {
    network_.Fail(error::kNotEnoughMemory);
    return -1;
  }
  uint32_t Option() {
    const TestAtWork safe;
    return network_.CallFails() ? network_.Fail(error::kInvalidParameter) : 0;
  }

  void Post(uint8_t* data, uint32_t size) {
    if (!posted_) ++network_.open_transfers_;
    posted_ = true;
    done_ = false;
    data_ = data;
    size_ = size;
    moved_ = 0;
    error_ = 0;
  }
  void EndPosted() {
    if (posted_) --network_.open_transfers_;
    posted_ = false;
  }
  void Finish(uint32_t moved, uint32_t failure) {
    done_ = true;
    moved_ = moved;
    error_ = failure;
  }

  void LoseConnection(State how) {
    device_.Leave(host_);
    state_ = how;
  }

  // Milliseconds until something may come.
  int64_t Delay() {
    if (state_ != State::kConnected) return 0;
    if (mute_) return kNever;
    const int64_t now = network_.clock_->Milliseconds();
    if (silent_until_ > now) return silent_until_ - now;
    device_.Produce(host_);
    if (host_.out.empty() && !host_.drop_when_sent && !host_.reset_when_sent) return kNever;
    return std::max<int64_t>(host_.stalled_until - now, 0);
  }

  void TryReceive() {
    if (state_ == State::kConnected && Delay() != 0) return;
    if (state_ == State::kConnected && host_.out.empty()) {
      LoseConnection(host_.reset_when_sent ? State::kReset : State::kClosed);
    }
    if (state_ == State::kReset) return Finish(0, error::kSocketConnectionReset);
    if (state_ != State::kConnected) return Finish(0, 0);
    const int64_t begin = network_.counts_.to_host;
    const int64_t limit = Interrupt(begin, begin + std::min<int64_t>(size_, Available()));
    if (limit == begin) return TryReceive();  // the fault is due: no bytes before it
    CopyOut(begin, limit);
  }

  int64_t Available() const {
    int64_t available = -static_cast<int64_t>(host_.sent_of_first);
    for (const auto& piece : host_.out) available += static_cast<int64_t>(piece.size());
    return available;
  }

  // Where a receive of the bytes [begin, end) ends; what interrupts it happens when it is due.
  int64_t Interrupt(int64_t begin, int64_t end) {
    for (const LineFault kind : {LineFault::kStall, LineFault::kSilence, LineFault::kClose,
                                 LineFault::kReset, LineFault::kSplit}) {
      const auto place = network_.Strikes(kind, begin, end);
      if (!place || network_.struck_) continue;
      if (*place > begin) return *place;
      network_.struck_ = true;
      if (kind == LineFault::kStall) silent_until_ = network_.clock_->Milliseconds() + kStallMs;
      if (kind == LineFault::kSilence) mute_ = true;
      if (kind == LineFault::kClose) LoseConnection(State::kClosed);
      if (kind == LineFault::kReset) LoseConnection(State::kReset);
      if (kind != LineFault::kSplit) return begin;
    }
    return end;
  }

  void CopyOut(int64_t begin, int64_t end) {
    const auto drop = network_.Strikes(LineFault::kDrop, begin, end);
    const auto corrupt = network_.Strikes(LineFault::kCorrupt, begin, end);
    uint32_t moved = 0;
    for (int64_t at = begin; at < end; ++at) {
      uint8_t byte = host_.out.front()[host_.sent_of_first++];
      --host_.out_bytes;
      if (host_.sent_of_first == host_.out.front().size()) {
        host_.out.pop_front();
        host_.sent_of_first = 0;
      }
      if (drop == at) continue;
      data_[moved++] = corrupt == at ? static_cast<uint8_t>(~byte) : byte;
    }
    network_.counts_.to_host = end;
    if (moved > 0) Finish(moved, 0);  // nothing but the byte that is lost: it goes on waiting
  }

  void SendNow(const uint8_t* data, uint32_t size) {
    const int64_t begin = network_.counts_.to_device;
    const int64_t end = begin + size;
    std::vector<uint8_t> bytes(data, data + size);
    const auto place = [&](LineFault kind) { return network_.Strikes(kind, begin, end); };
    network_.counts_.to_device = end;
    uint32_t reported = size;
    if (const auto at = place(LineFault::kSentCorrupt)) {
      bytes[static_cast<size_t>(*at - begin)] ^= 0xFF;
    }
    if (const auto at = place(LineFault::kSentDrop)) bytes.erase(bytes.begin() + (*at - begin));
    if (const auto at = place(LineFault::kSentShort)) {
      reported = static_cast<uint32_t>(*at - begin);
      bytes.resize(reported);
    }
    if (const auto at = place(LineFault::kSentReset)) {
      bytes.resize(static_cast<size_t>(*at - begin));
      device_.Receive(host_, bytes.data(), bytes.size());
      LoseConnection(State::kReset);
      return Finish(0, error::kSocketConnectionReset);
    }
    device_.Receive(host_, bytes.data(), bytes.size());
    Finish(reported, 0);
  }

  VirtualNetwork& network_;
  sim::Responder& device_;
  sim::Conversation host_;
  State state_ = State::kNew;
  bool mute_ = false;
  int64_t silent_until_ = 0;

  bool posted_ = false;
  bool done_ = false;
  uint8_t* data_ = nullptr;
  uint32_t size_ = 0;
  uint32_t moved_ = 0;
  uint32_t error_ = 0;
};

VirtualNetwork::VirtualNetwork(VirtualClock* clock) : clock_(clock) {
  SetNetwork(this);
}

VirtualNetwork::~VirtualNetwork() {
  SetNetwork(nullptr);
}

void VirtualNetwork::Begin(sim::Responder* device, LineFault fault, int64_t at) {
  device_ = device;
  fault_ = fault;
  at_ = at;
  counts_ = {};
  hung_ = struck_ = false;
}

bool VirtualNetwork::CallFails() {
  const int64_t number = counts_.calls++;
  return Strikes(LineFault::kCall, number, number + 1).has_value();
}

std::optional<int64_t> VirtualNetwork::Strikes(LineFault kind, int64_t begin, int64_t end) const {
  if (kind != fault_ || at_ < begin || at_ >= end) return std::nullopt;
  return at_;
}

uint32_t VirtualNetwork::StartUp(SocketLibraryInfo* info) {
  const TestAtWork safe;
  *info = {0x0202, 0x0202, "virtual", "Running", 0, 0};
  return CallFails() ? Fail(error::kSocketNotStarted) : 0;
}

std::unique_ptr<StreamSocket> VirtualNetwork::CreateStreamSocket() {
  const TestAtWork safe;
  if (!CallFails()) return std::make_unique<VirtualSocket>(this);
  Fail(error::kNotEnoughMemory);
  return nullptr;
}

uint32_t VirtualNetwork::LookUpHost(const std::string&) {
  return ParseDotted("");
}

uint32_t VirtualNetwork::ParseDotted(const std::string&) {
  const TestAtWork safe;
  if (!CallFails()) return kSomeAddress;
  Fail(error::kSocketNetUnreachable);
  return kNoAddress;
}

}  // namespace scantk::test
