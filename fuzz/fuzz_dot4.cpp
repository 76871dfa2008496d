// The DOT4 transport, with a stack whose every answer comes from the input.
//
// Input: number of the host's operations and the operations (a byte each), then the answers: each a
// byte for its kind, with bytes for its details. Behind the last answer the stack hangs up.
#include <filesystem>

#include "fuzz/fuzz_input.h"
#include "io/mxvio_dot4ms.h"
#include "tests/doubles/dot4_stack.h"
#include "tests/doubles/test_clock.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

std::string SoundReply(const StackRequest& request, uint8_t kind, FuzzInput& input) {
  if (request.code == stack_code::kRead)
    return std::string(std::min<size_t>(request.reply_limit, input.PieceSize() - 1),
                       static_cast<char>(kind));
  if (request.reply_limit == 0) return {};
  // Socket identity and channel lie in the last bytes of their records.
  std::string reply = request.Data();
  for (size_t i = reply.size() - std::min<size_t>(reply.size(), 4); i < reply.size(); ++i)
    reply[i] = static_cast<char>(kind + i);
  if (kind & 8) reply.resize(std::min<size_t>(reply.size(), kind & 7));
  return reply;
}

// The stack hangs up behind whatever would leave the host waiting.
StackReply Answer(const StackRequest& request, FuzzInput& input) {
  if (input.Empty()) return {"", false};
  const uint8_t kind = input.Byte();
  if (kind < 0xA0) {
    const std::string reply = SoundReply(request, kind, input);
    const size_t taken = kind & 1 ? request.Data().size() : request.Data().size() / 2;
    return StackAnswer(0, static_cast<uint32_t>(request.reply_limit > 0 ? reply.size() : taken),
                       reply);
  }
  if (kind < 0xC0) {  // an error, of those that the transport tells apart
    constexpr uint32_t kErrors[] = {6, 31, 1609, 121, 997, 0x80004005, 258, 5};
    return StackAnswer(kErrors[kind % std::size(kErrors)], 0);
  }
  StackReply any = {"", false};
  if (kind < 0xE0) {  // any numbers, with as many bytes as they announce or fewer
    const uint32_t failure = input.Byte(), moved = static_cast<uint32_t>(input.Number(4));
    const std::string reply(input.PieceSize() - 1, static_cast<char>(kind));
    const auto size = static_cast<uint32_t>(kind & 1 ? reply.size() : input.Number(4));
    any.bytes = StackNumber(failure) + StackNumber(moved) + StackNumber(size) + reply;
  } else {
    for (int i = kind % 16; i > 0; --i) any.bytes.push_back(static_cast<char>(input.Byte()));
  }
  return any;
}

void Read(mxvio& transport, uint32_t wanted) {
  std::vector<uint8_t> buffer(wanted);
  uint32_t length = wanted;
  const IoResult result = transport.ReadData(buffer.data(), &length, nullptr);
  Require(length <= wanted, "no more was read than was wanted");
  Require(result <= 0 || length == 0, "a read that does not succeed brings nothing");
}

void Write(mxvio& transport, uint32_t size) {
  const std::vector<uint8_t> data(size, 0x1B);
  uint32_t written = 0;
  const IoResult result = transport.WriteData(data.data(), size, &written, nullptr);
  Require(written <= size, "no more was written than there was");
  Require(result == 0 || written == 0, "a failed write has written nothing");
}

void Operate(mxvio& transport, uint8_t operation, const std::string& path) {
  switch (operation % 8) {
    case 0:
      transport.OpenIO(path.c_str());
      break;
    case 1:
      transport.ConnectToIO();
      break;
    case 2:
      Read(transport, 1);
      break;
    case 3:
      Read(transport, 512u << operation / 32);
      break;
    case 4:
      Write(transport, 1 + operation / 8 * 1000u);
      break;
    case 5:
      transport.DisConnectFromIO();
      break;
    case 6:
      transport.CloseIO();
      break;
    case 7:
      transport.Escape(operation / 8, nullptr, 0, nullptr, 0, nullptr);
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const TestClock clock;  // pauses between attempts take no time
  static const std::string path =
      (std::filesystem::temp_directory_path() / ("fuzz_dot4_" + std::to_string(getpid()))).string();
  FuzzInput input(data, std::min<size_t>(size, 4096));
  std::vector<uint8_t> operations(input.Byte() % 24);
  for (uint8_t& operation : operations) operation = input.Byte();
  {
    StackServer stack(path, [&](const StackRequest& request) { return Answer(request, input); });
    MXVIO_DOT4MS transport;
    transport.OpenIO(path.c_str());
    for (const uint8_t operation : operations) Operate(transport, operation, path);
  }
  std::filesystem::remove(path);
  return 0;
}
