// Requests to a DOT4 stack and its answers, on a socket whose far end does what it likes.
//
// Input: steps, each a byte for its kind (and bytes for its details): a request begins, is taken
// further, is cancelled; the stack answers it as it should, or sends any bytes, or closes.
#include <memory>

#include "fuzz/fuzz_input.h"
#include "platform/stand_ins/request_link.h"
#include "tests/doubles/dot4_stack.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

using Data = DeviceRequest::Data;

class Conversation {
 public:
  Conversation() {
    int pair[2];
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair) == 0, "a socket pair");
    constexpr int kSmallBuffer = 4096;  // so that requests are sent in parts
    setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &kSmallBuffer, sizeof kSmallBuffer);
    near_.Reset(pair[0]);
    far_.Reset(pair[1]);
    link_ = std::make_unique<RequestLink>(near_.Get());
  }

  void Step(FuzzInput& input) {
    const uint8_t kind = input.Byte();
    switch (kind % 8) {
      case 0:
      case 1:
        if (data_.empty()) Begin(input);
        break;
      case 2:
        TakeRequests();
        break;
      case 3:
        link_->Cancel();
        data_ = {};  // a sanitizer sees who touches it
        Require(link_->Advance(), "nothing is under way after a cancel");
        break;
      case 4:
      case 5:
        TakeRequests();
        if (!data_.empty()) Answer(input);
        break;
      case 6: {
        std::string any(input.Byte() % 40, '\0');
        for (char& byte : any) byte = static_cast<char>(input.Byte());
        Send(any);
        break;
      }
      case 7:
        if (kind & 0x80) far_.Reset();
    }
    Advance();
  }

 private:
  void Begin(FuzzInput& input) {
    direction_ = static_cast<Data>(input.Byte() % 4);
    data_.assign(input.PieceSize(), 0xA5);
    link_->Begin(
        {1, in_, sizeof in_, direction_, data_.data(), static_cast<uint32_t>(data_.size())});
  }

  void Advance() {
    if (data_.empty() || !link_->Advance()) return;
    Require(
        link_->Error() != 0 || link_->Returned() <= (direction_ == Data::kNone ? 0 : data_.size()),
        "no more moved than there is");
    data_ = {};
  }

  void TakeRequests() {
    char bytes[8192];
    while (recv(far_.Get(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) Advance();
  }

  // As the form has it.
  void Answer(FuzzInput& input) {
    const uint32_t failure = input.Byte() % 4 ? 0 : 31;
    const auto size = static_cast<uint32_t>(std::min(input.PieceSize(), data_.size()));
    const bool fills = direction_ == Data::kFilled || direction_ == Data::kSentAndFilled;
    const std::string bytes = StackAnswer(failure, direction_ == Data::kNone ? 0 : size,
                                          std::string(fills ? size : 0, 'r'))
                                  .bytes;
    const size_t cut = std::min(size_t{input.Byte()}, bytes.size());
    Send(bytes.substr(0, cut));
    Send(bytes.substr(cut));
  }

  // The link looks at it in between; what it does not take is lost.
  void Send(const std::string& bytes) {
    for (size_t at = 0; at < bytes.size(); Advance()) {
      const ssize_t moved =
          send(far_.Get(), bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (moved <= 0) return;
      at += static_cast<size_t>(moved);
    }
  }

  OwnedFile near_, far_;
  std::unique_ptr<RequestLink> link_;
  const uint8_t in_[16] = {};
  Data direction_ = Data::kNone;
  std::vector<uint8_t> data_;  // of the request under way
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kMostSteps = 200;
  FuzzInput input(data, size);
  Conversation conversation;
  for (size_t i = 0; i < std::min(size, kMostSteps); ++i) conversation.Step(input);
  return 0;
}
