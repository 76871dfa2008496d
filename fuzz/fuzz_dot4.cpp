// The DOT4 transport, with a stack whose every answer comes from the input.
//
// Input: number of the host's operations and the operations (a byte each), then the answers: each a
// byte for its kind, with bytes for its details. Behind the last answer the stack hangs up.
#include <filesystem>

#include "fuzz/fuzz_input.h"
#include "io/dot4_stack_transport.h"
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
    const size_t taken = request.Data().size() / (kind & 1 ? 1 : 2);
    return StackAnswer(0, static_cast<uint32_t>(request.reply_limit > 0 ? reply.size() : taken),
                       reply);
  }
  if (kind < 0xC0) {  // an error, of those that the transport tells apart
    constexpr uint32_t kErrors[] = {6, 31, 1609, 121, 997, 0x80004005, 258, 5};
    return StackAnswer(kErrors[kind % std::size(kErrors)], 0);
  }
  if (kind >= 0xE0) return {input.Text(kind % 16), false};
  // Any numbers, with as many bytes as they announce or fewer.
  const uint32_t failure = input.Byte(), moved = static_cast<uint32_t>(input.Number(4));
  const std::string reply(input.PieceSize() - 1, static_cast<char>(kind));
  const auto size = static_cast<uint32_t>(kind & 1 ? reply.size() : input.Number(4));
  return {StackNumber(failure) + StackNumber(moved) + StackNumber(size) + reply, false};
}

// A read or a write of `size` bytes.
void Move(Transport& transport, bool reads, uint32_t size) {
  std::vector<uint8_t> bytes(size, 0x1B);
  uint32_t moved = reads ? size : 0;
  const IoResult result = reads ? transport.ReadData(bytes.data(), &moved, nullptr)
                                : transport.WriteData(bytes.data(), size, &moved, nullptr);
  Require(moved <= size, "no more was moved than was wanted");
  Require(moved == 0 || result == 0 || (reads && result < 0), "what fails has moved nothing");
}

void Operate(Transport& transport, uint8_t operation, const std::string& path) {
  const uint8_t kind = operation % 8;
  if (kind == 0) transport.OpenIO(path.c_str());
  if (kind == 1) transport.ConnectToIO();
  if (kind == 2) Move(transport, true, 1);
  if (kind == 3) Move(transport, true, 512u << operation / 32);
  if (kind == 4) Move(transport, false, 1 + operation / 8 * 1000u);
  if (kind == 5) transport.DisConnectFromIO();
  if (kind == 6) transport.CloseIO();
  if (kind == 7) transport.Escape(operation / 8, nullptr, 0, nullptr, 0, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const TestClock clock;  // pauses between attempts take no time
  static const std::string path =
      (std::filesystem::temp_directory_path() / ("fuzz_dot4_" + std::to_string(getpid()))).string();
  FuzzInput input(data, std::min<size_t>(size, 4096));
  const std::string operations = std::string(1, '\0') + input.Text(input.Byte() % 24);
  {
    StackServer stack(path, [&](const StackRequest& request) { return Answer(request, input); });
    Dot4StackTransport transport;
    for (const char operation : operations)
      Operate(transport, static_cast<uint8_t>(operation), path);
  }
  std::filesystem::remove(path);
  return 0;
}
