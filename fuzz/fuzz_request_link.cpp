// Requests to a DOT4 stack and its answers, on a socket whose far end does what it likes.
//
// Input: steps, each a byte for its kind (and bytes for its details): a request begins, is taken
// further, is cancelled; the stack answers it as it should, or sends any bytes, or closes.
#include "fuzz/fuzz_input.h"
#include "platform/stand_ins/request_link.h"
#include "tests/doubles/dot4_stack.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

using Data = DeviceRequest::Data;

struct Conversation {
  explicit Conversation(const int (&pair)[2]) : near(pair[0]), far(pair[1]), link(pair[0]) {
    constexpr int kSmallBuffer = 4096;  // so that requests are sent in parts
    setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &kSmallBuffer, sizeof kSmallBuffer);
  }

  void Step(FuzzInput& input) {
    const uint8_t step = input.Byte(), kind = step % 8;
    if (kind < 2 && data.empty()) Begin(input);
    if (kind == 2 || kind == 4 || kind == 5) TakeRequests();
    if ((kind == 4 || kind == 5) && !data.empty()) Answer(input);
    if (kind == 3) {
      link.Cancel();
      data = {};  // a sanitizer sees who touches it
      Require(link.Advance(), "nothing is under way after a cancel");
    }
    if (kind == 6) Send(input.Text(input.Byte() % 40));
    if (kind == 7 && step >= 0x80) far.Reset();
    Advance();
  }

  void Begin(FuzzInput& input) {
    direction = static_cast<Data>(input.Byte() % 4);
    data.assign(input.PieceSize(), 0xA5);
    link.Begin({1, head, sizeof head, direction, data.data(), static_cast<uint32_t>(data.size())});
  }

  void Advance() {
    if (data.empty() || !link.Advance()) return;
    Require(link.Error() != 0 || link.Returned() <= (direction == Data::kNone ? 0 : data.size()),
            "no more moved than there is");
    data = {};
  }

  void TakeRequests() {
    char bytes[8192];
    while (recv(far.Get(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) Advance();
  }

  // As the form has it, in two pieces.
  void Answer(FuzzInput& input) {
    const uint32_t failure = input.Byte() % 4 ? 0 : 31;
    const size_t size = std::min(input.PieceSize(), data.size());
    const bool fills = direction == Data::kFilled || direction == Data::kSentAndFilled;
    const std::string bytes =
        StackAnswer(failure, direction == Data::kNone ? 0 : static_cast<uint32_t>(size),
                    std::string(fills ? size : 0, 'r'))
            .bytes;
    const size_t cut = std::min<size_t>(input.Byte(), bytes.size());
    Send(bytes.substr(0, cut));
    Send(bytes.substr(cut));
  }

  // The link looks at it in between; what it does not take is lost.
  void Send(const std::string& bytes) {
    for (size_t at = 0; at < bytes.size(); Advance()) {
      const ssize_t moved =
          send(far.Get(), bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (moved <= 0) return;
      at += static_cast<size_t>(moved);
    }
  }

  OwnedFile near, far;
  RequestLink link;
  const uint8_t head[16] = {};
  Data direction = Data::kNone;
  std::vector<uint8_t> data;  // of the request under way
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  int pair[2];
  Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair) == 0, "a socket pair");
  Conversation conversation(pair);
  for (size_t steps = std::min<size_t>(size, 200); steps > 0; --steps) conversation.Step(input);
  return 0;
}
