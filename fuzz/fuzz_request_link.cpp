// Requests to a DOT4 stack and its answers, on a socket whose far end does what it likes.
//
// Input: steps, each a byte for its kind (and bytes for its details): a request begins, is taken
// further, is cancelled; the stack answers it as it should, or sends any bytes, or closes.
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <deque>
#include <memory>

#include "fuzz/fuzz_input.h"
#include "platform/error_codes.h"
#include "platform/posix/request_link.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

constexpr size_t kMostSteps = 200;
constexpr int kSmallBuffer = 4096;  // so that requests are sent in parts

struct Request {
  uint8_t mark = 0;  // the byte that its sound answer is made of
  DeviceRequest::Data direction = DeviceRequest::Data::kNone;
  std::array<uint8_t, 16> in = {};
  std::vector<uint8_t> data;
  uint32_t limit = 0;   // of the reply
  size_t size = 0;      // of what the stack gets
  size_t received = 0;  // of that
  bool answered = false;
  uint32_t error = 0;  // of its answer
  uint32_t returned = 0;

  bool Sends() const {
    return direction == DeviceRequest::Data::kSent ||
           direction == DeviceRequest::Data::kSentAndFilled;
  }
  bool Fills() const {
    return direction == DeviceRequest::Data::kFilled ||
           direction == DeviceRequest::Data::kSentAndFilled;
  }
};

class Conversation {
 public:
  Conversation() {
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets_) == 0, "a socket pair");
    setsockopt(sockets_[0], SOL_SOCKET, SO_SNDBUF, &kSmallBuffer, sizeof kSmallBuffer);
    link_ = std::make_unique<RequestLink>(sockets_[0]);
  }
  ~Conversation() {
    close(sockets_[0]);
    CloseStack();
  }

  void Step(FuzzInput& input) {
    const uint8_t kind = input.Byte();
    switch (kind % 8) {
      case 0:
      case 1:
        if (!now_) Begin(input);
        break;
      case 2:
        while (TakeRequests() && now_) Advance();
        break;
      case 3:
        if (now_) Cancel();
        break;
      case 4:
      case 5:
        while (TakeRequests() && now_) Advance();
        Answer(input);
        Advance();
        break;
      case 6:
        SendAnything(input);
        Advance();
        break;
      case 7:
        if (kind & 0x80) CloseStack();
        Advance();
        break;
    }
  }

 private:
  void Begin(FuzzInput& input) {
    now_ = std::make_unique<Request>();
    now_->mark = ++marks_;
    now_->direction = static_cast<DeviceRequest::Data>(input.Byte() % 4);
    now_->data.assign(input.PieceSize(), 0xA5);
    now_->limit = now_->Fills() ? static_cast<uint32_t>(now_->data.size()) : 0;
    now_->size = 12 + now_->in.size() + (now_->Sends() ? now_->data.size() : 0);
    const DeviceRequest request = {
        now_->mark,      now_->in.data(),   static_cast<uint32_t>(now_->in.size()),
        now_->direction, now_->data.data(), static_cast<uint32_t>(now_->data.size())};
    link_->Begin(request);
    Advance();
  }

  void Advance() {
    if (!now_ || !link_->Advance()) return;
    const Request& request = *now_;
    const uint32_t error = link_->Error(), returned = link_->Returned();
    Require(error != 0 || returned <= request.data.size(), "no more moved than there is");
    Require(error != 0 || returned == 0 || request.direction != DeviceRequest::Data::kNone,
            "nothing moved by what moves nothing");
    if (is_sound_) {
      Require(request.answered, "no end without an answer");
      Require(error == request.error && returned == request.returned, "an answer is its request's");
      for (uint32_t i = 0; request.Fills() && i < returned; ++i)
        Require(request.data[i] == request.mark, "a reply is its request's");
    }
    now_.reset();  // its buffer is gone: a sanitizer sees who touches it
  }

  void Cancel() {
    TakeRequests();
    link_->Cancel();
    // Half a request leaves nothing to rely on.
    if (now_->received > 0 && now_->received < now_->size) is_sound_ = false;
    if (now_->received == now_->size && !now_->answered) cancelled_.push_back(std::move(*now_));
    now_.reset();
    Require(link_->Advance(), "nothing is under way after a cancel");
  }

  // What has been sent so far; whether that was anything.
  bool TakeRequests() {
    char bytes[8192];
    bool any = false;
    while (sockets_[1] >= 0) {
      const ssize_t got = recv(sockets_[1], bytes, sizeof bytes, MSG_DONTWAIT);
      if (got <= 0) break;
      any = true;
      if (now_) now_->received += static_cast<size_t>(got);
    }
    return any;
  }

  static void Put(std::vector<uint8_t>* bytes, uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8)
      bytes->push_back(static_cast<uint8_t>(number >> shift));
  }

  // The answer that the oldest request without one should get.
  void Answer(FuzzInput& input) {
    if (sockets_[1] < 0 || !now_ || now_->answered) return;
    const bool is_stale = !cancelled_.empty();
    Request& request = is_stale ? cancelled_.front() : *now_;
    request.error = input.Byte() % 4 ? error::kSuccess : error::kGenFailure;
    const uint32_t size = static_cast<uint32_t>(input.PieceSize());
    const uint32_t reply = std::min(size, request.limit);
    request.returned = request.direction == DeviceRequest::Data::kSent
                           ? std::min(size, static_cast<uint32_t>(request.data.size()))
                           : reply;
    std::vector<uint8_t> bytes;
    Put(&bytes, request.error);
    Put(&bytes, request.returned);
    Put(&bytes, reply);
    bytes.insert(bytes.end(), reply, request.mark);
    request.answered = true;
    if (is_stale) cancelled_.pop_front();
    const size_t cut = std::min(size_t{input.Byte()}, bytes.size());
    Send(bytes.data(), cut);
    Send(bytes.data() + cut, bytes.size() - cut);
  }

  void SendAnything(FuzzInput& input) {
    std::vector<uint8_t> bytes(input.Byte() % 40);
    for (uint8_t& byte : bytes) byte = input.Byte();
    if (!bytes.empty()) is_sound_ = false;
    Send(bytes.data(), bytes.size());
  }

  // The link looks at it in between; what it does not take is lost.
  void Send(const uint8_t* bytes, size_t size) {
    while (sockets_[1] >= 0 && size > 0) {
      const ssize_t moved = send(sockets_[1], bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (moved <= 0) break;
      bytes += moved;
      size -= static_cast<size_t>(moved);
      Advance();
    }
    if (size > 0) is_sound_ = false;
  }

  void CloseStack() {
    if (sockets_[1] >= 0) close(sockets_[1]);
    sockets_[1] = -1;
    is_sound_ = false;
  }

  int sockets_[2] = {-1, -1};
  std::unique_ptr<RequestLink> link_;
  std::unique_ptr<Request> now_;
  std::deque<Request> cancelled_;  // that the stack has still to answer
  uint8_t marks_ = 0;
  bool is_sound_ = true;  // the stack has kept to the form so far
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  Conversation conversation;
  for (size_t i = 0; i < std::min(size, kMostSteps); ++i) conversation.Step(input);
  return 0;
}
