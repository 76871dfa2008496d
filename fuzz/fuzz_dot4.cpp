// What speaks to a DOT4 stack, with one that does what it likes.
//
// Input: a byte that chooses. 1: requests on a socket; steps, each a byte for its kind (and bytes
// for its details): a request begins, is taken further, is cancelled; the stack answers it as it
// should, or sends any bytes, or closes. Otherwise the transport: number of the host's operations
// and the operations (a byte each), then the answers: each a byte for its kind, with bytes for its
// details. Behind the last answer every request fails.
#include <sys/socket.h>

#include <cstring>

#include "fuzz/fuzz_input.h"
#include "io/dot4_stack_transport.h"
#include "platform/posix/file.h"
#include "platform/stand_ins/request_link.h"
#include "platform/system.h"
#include "tests/doubles/test_clock.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

FuzzInput* answers = nullptr;

bool Fail(uint32_t failure) {
  SetLastError(failure);
  return false;
}

}  // namespace

// A device file in the place of the system's; what the stack answers is in the input.
struct DeviceFile::State {};
struct Overlapped::State {};

Overlapped::Overlapped() = default;
Overlapped::~Overlapped() = default;
DeviceFile::DeviceFile() = default;
DeviceFile::~DeviceFile() = default;

bool DeviceFile::Open(const char*) {
  state_ = std::make_unique<State>();
  return true;
}
void DeviceFile::Close() {
  state_.reset();
}
bool DeviceFile::IsNull() const {
  return !state_;
}
bool DeviceFile::IsInvalid() const {
  return false;
}
bool DeviceFile::IsUsable() const {
  return !IsNull();
}
uintptr_t DeviceFile::Number() const {
  return IsUsable();
}
bool DeviceFile::Read(void*, uint32_t, uint32_t*, Overlapped*) {
  return false;
}
bool DeviceFile::Write(const void*, uint32_t, uint32_t*, Overlapped*) {
  return false;
}
bool DeviceFile::Flush() {
  return true;
}
WaitResult DeviceFile::Wait(Overlapped*, uint32_t) {
  return WaitResult::kTimeout;
}
bool DeviceFile::Result(Overlapped*, uint32_t*, bool) {
  return false;
}
void DeviceFile::Cancel(Overlapped*) {}
void DeviceFile::ResetEvent(Overlapped*) {}

bool DeviceFile::Control(const DeviceRequest& request, uint32_t* returned, Overlapped*) {
  *returned = 0;
  if (answers->Empty()) return Fail(error::kGenFailure);
  const uint8_t kind = answers->Byte();
  constexpr uint32_t kErrors[] = {6, 31, 1609, 121, 997, 0x80004005, 258, 5};
  if (kind >= 0xA0) return Fail(kErrors[kind % std::size(kErrors)]);
  *returned = request.data_size / (kind & 1 ? 1 : 2);
  if (request.direction == DeviceRequest::Data::kFilled)
    *returned =
        static_cast<uint32_t>(std::min<size_t>(request.data_size, answers->PieceSize() - 1));
  if (request.direction == DeviceRequest::Data::kNone ||
      request.direction == DeviceRequest::Data::kSent)
    return true;
  std::memset(request.data, kind, *returned);
  return true;
}

namespace {

// A read or a write of `size` bytes.
void Move(Transport& transport, bool reads, uint32_t size) {
  std::vector<uint8_t> bytes(size, 0x1B);
  uint32_t moved = reads ? size : 0;
  const IoResult result = reads ? transport.ReadData(bytes.data(), &moved, nullptr)
                                : transport.WriteData(bytes.data(), size, &moved, nullptr);
  Require(moved <= size, "no more was moved than was wanted");
  Require(moved == 0 || result == 0 || (reads && result < 0), "what fails has moved nothing");
}

void Operate(Transport& transport, uint8_t operation) {
  const uint8_t kind = operation % 8;
  if (kind == 0) transport.OpenIO("dot4");
  if (kind == 1) transport.ConnectToIO();
  if (kind == 2) Move(transport, true, 1);
  if (kind == 3) Move(transport, true, 512u << operation / 32);
  if (kind == 4) Move(transport, false, 1 + operation / 8 * 1000u);
  if (kind == 5) transport.DisConnectFromIO();
  if (kind == 6) transport.CloseIO();
  if (kind == 7) transport.Escape(operation / 8, nullptr, 0, nullptr, 0, nullptr);
}

void UseTransport(FuzzInput& input) {
  const TestClock clock;  // pauses between attempts take no time
  const std::string operations = std::string(1, '\0') + input.Text(input.Byte() % 24);
  answers = &input;
  Dot4StackTransport transport;
  for (const char operation : operations) Operate(transport, static_cast<uint8_t>(operation));
}

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
    const uint32_t numbers[] = {failure, direction == Data::kNone ? 0 : static_cast<uint32_t>(size),
                                fills ? static_cast<uint32_t>(size) : 0};
    const std::string bytes = std::string(reinterpret_cast<const char*>(numbers), sizeof numbers) +
                              std::string(numbers[2], 'r');
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

  File near, far;
  RequestLink link;
  const uint8_t head[16] = {};
  Data direction = Data::kNone;
  std::vector<uint8_t> data;  // of the request under way
};

void UseLink(FuzzInput& input) {
  int pair[2];
  Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair) == 0, "a socket pair");
  Conversation conversation(pair);
  for (int steps = 200; steps > 0 && !input.Empty(); --steps) conversation.Step(input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min<size_t>(size, 4096));
  input.Byte() == 1 ? UseLink(input) : UseTransport(input);
  return 0;
}
