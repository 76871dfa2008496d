#include "tests/sweep/virtual_network.h"

#include "platform/error_codes.h"
#include "tests/sweep/failing_system.h"

namespace scantk::test {
namespace {

using State = VirtualConnection::State;

constexpr uint32_t kSomeAddress = 0x0100007F;

}  // namespace

class VirtualSocket final : public StreamSocket {
 public:
  explicit VirtualSocket(VirtualNetwork* network) : network_(*network) {}
  ~VirtualSocket() override { EndPosted(); }

  uintptr_t Handle() const override { return 7; }

  uint32_t Connect(const SocketAddress&) override {
    if (const uint32_t failure = network_.Call(error::kSocketNetUnreachable)) return failure;
    connection_.Ask();
    return network_.last_error_ = error::kSocketWouldBlock;
  }

  int WaitWritable(uint32_t milliseconds) override {
    if (network_.Call(error::kNotEnoughMemory)) return -1;
    if (connection_.state() == State::kRefused) return 0;
    if (connection_.state() == State::kUnreachable) {
      TheClock().Sleep(milliseconds);
      return 0;
    }
    if (connection_.state() == State::kNew) connection_.Meet(true);
    return 1;
  }
  int WaitException(uint32_t) override {
    return network_.Call(error::kNotEnoughMemory) ? -1 : connection_.state() == State::kRefused;
  }
  int PendingError(uint32_t* pending) override {
    if (network_.Call(error::kNotEnoughMemory)) return -1;
    *pending = connection_.state() == State::kRefused ? error::kSocketRefused : 0;
    return 0;
  }

  uint32_t SetLinger(bool, uint16_t) override { return Option(); }
  uint32_t SetReceiveTimeout(uint32_t) override { return Option(); }
  uint32_t SetSendTimeout(uint32_t) override { return Option(); }

  bool BeginTransfer() override { return network_.Call(error::kNotEnoughMemory) == 0; }
  uint32_t PostReceive(void* data, uint32_t size) override {
    if (const uint32_t failure = network_.Call(error::kSocketConnectionReset)) return failure;
    Post(static_cast<uint8_t*>(data), size);
    Receive(0);
    return done_ ? 0 : network_.last_error_ = error::kIoPending;
  }
  uint32_t PostSend(const void* data, uint32_t size) override {
    if (const uint32_t failure = network_.Call(error::kSocketConnectionReset)) return failure;
    Post(nullptr, 0);
    done_ = true;
    if (!connection_.Send(static_cast<const uint8_t*>(data), size, &moved_))
      error_ = error::kSocketConnectionReset, moved_ = 0;
    return 0;
  }
  WaitResult WaitTransfer(uint32_t milliseconds) override {
    if (network_.Call(error::kNotEnoughMemory)) return WaitResult::kFailed;
    if (!done_) Receive(milliseconds);
    return done_ ? WaitResult::kSignalled : WaitResult::kTimeout;
  }
  uint32_t TransferResult(uint32_t* bytes) override {
    *bytes = moved_;
    if (const uint32_t failure = network_.Call(error::kSocketConnectionReset)) return failure;
    return error_ == 0 ? 0 : network_.last_error_ = error_;
  }
  void ResetTransfer() override { EndPosted(); }
  void EndTransfer(uint32_t* late_bytes) override {
    *late_bytes = done_ ? moved_ : 0;
    EndPosted();
  }
  void FinishSending(uint32_t milliseconds) override { connection_.Finish(milliseconds); }
  uint32_t Control(uint32_t, const void*, uint32_t, void*, uint32_t, uint32_t*) override {
    return network_.last_error_ = error::kNotSupported;
  }

 private:
  uint32_t Option() { return network_.Call(error::kInvalidParameter); }
  void Post(uint8_t* data, uint32_t size) {
    EndPosted();
    ++network_.open_transfers;
    posted_ = true;
    data_ = data;
    size_ = size;
  }
  void EndPosted() {
    network_.open_transfers -= posted_;
    posted_ = done_ = false;
    moved_ = error_ = 0;
  }
  void Receive(uint32_t milliseconds) {
    done_ = connection_.Receive(data_, size_, milliseconds, &moved_) !=
            VirtualConnection::Received::kTimeout;
    if (connection_.state() == State::kReset && moved_ == 0) error_ = error::kSocketConnectionReset;
  }

  VirtualNetwork& network_;
  VirtualConnection connection_;
  bool posted_ = false, done_ = false;
  uint8_t* data_ = nullptr;
  uint32_t size_ = 0, moved_ = 0, error_ = 0;
};

uint32_t VirtualNetwork::StartUp(SocketLibraryInfo* info) {
  *info = {0x0202, 0x0202, "virtual", "Running", 0, 0};
  return Call(error::kSocketNotStarted);
}

std::unique_ptr<StreamSocket> VirtualNetwork::CreateStreamSocket() {
  const TestAtWork safe;
  if (Call(error::kNotEnoughMemory)) return nullptr;
  return std::make_unique<VirtualSocket>(this);
}

uint32_t VirtualNetwork::LookUpHost(const std::string&) {
  return ParseDotted("");
}

uint32_t VirtualNetwork::ParseDotted(const std::string&) {
  return Call(error::kSocketNetUnreachable) ? kNoAddress : kSomeAddress;
}

}  // namespace scantk::test
