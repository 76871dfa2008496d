// The DOT4 transport, with a stack whose every answer comes from the input.
//
// Input: number of the host's operations and the operations (a byte each), then the answers: each a
// byte for its kind, with bytes for its details. Behind the last answer the stack hangs up.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "fuzz/fuzz_input.h"
#include "io/mxvio_dot4ms.h"
#include "platform/clock.h"
#include "platform/error_codes.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

// Pauses between attempts take no time.
class HurriedClock : public Clock {
 public:
  uint32_t TickCount() override { return ticks_; }
  int64_t SecondsSince1970() override { return 0; }
  LocalTime Now() override { return {}; }
  void Sleep(uint32_t milliseconds) override { ticks_ += milliseconds; }

 private:
  std::atomic<uint32_t> ticks_{0};
};

// Answers one request after the other on whatever connection it comes.
class Stack {
 public:
  Stack(const std::string& path, FuzzInput answers) : path_(path), answers_(answers) {
    sockaddr_un own = {};
    own.sun_family = AF_UNIX;
    std::memcpy(own.sun_path, path.c_str(), path.size() + 1);
    unlink(path.c_str());
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Require(bind(listener_, reinterpret_cast<sockaddr*>(&own), sizeof own) == 0 &&
                listen(listener_, 8) == 0,
            "a socket to listen at");
    thread_ = std::thread([this] { Run(); });
  }
  ~Stack() {
    shutdown(listener_, SHUT_RDWR);  // ends the wait for a connection
    thread_.join();
    close(listener_);
    unlink(path_.c_str());
  }

 private:
  void Run() {
    for (;;) {
      const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (connection < 0) return;
      while (Serve(connection)) {
      }
      close(connection);
    }
  }

  static bool Receive(int connection, std::vector<uint8_t>* bytes) {
    return bytes->empty() || recv(connection, bytes->data(), bytes->size(), MSG_WAITALL) ==
                                 static_cast<ssize_t>(bytes->size());
  }
  static uint32_t NumberAt(const std::vector<uint8_t>& bytes, size_t at) {
    uint32_t number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
  }
  static void Put(std::vector<uint8_t>* bytes, uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8)
      bytes->push_back(static_cast<uint8_t>(number >> shift));
  }

  bool Serve(int connection) {
    std::vector<uint8_t> head(12);
    if (!Receive(connection, &head)) return false;
    std::vector<uint8_t> input(NumberAt(head, 4));
    if (!Receive(connection, &input)) return false;
    const uint32_t code = NumberAt(head, 0), limit = NumberAt(head, 8);
    std::vector<uint8_t> answer;
    const bool stays = Answer(code, input, limit, &answer);
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    return stays;
  }

  // False: the stack hangs up behind it. It does so behind whatever leaves the host waiting.
  bool Answer(uint32_t code, const std::vector<uint8_t>& input, uint32_t limit,
              std::vector<uint8_t>* answer) {
    if (answers_.Empty()) return false;
    const uint8_t kind = answers_.Byte();
    if (kind < 0xA0) {
      const std::vector<uint8_t> reply = SoundReply(code, input, limit, kind);
      const uint32_t data = input.size() > 16 ? static_cast<uint32_t>(input.size() - 16) : 0;
      const uint32_t moved = limit > 0  ? static_cast<uint32_t>(reply.size())
                             : kind & 1 ? data
                                        : data / 2;
      return PutAnswer(0, moved, reply, answer);
    }
    if (kind < 0xC0) {  // an error, of those that the transport tells apart
      constexpr uint32_t kErrors[] = {6, 31, 1609, 121, 997, 0x80004005, 258, 5};
      return PutAnswer(kErrors[kind % std::size(kErrors)], 0, {}, answer);
    }
    if (kind < 0xE0) {  // any numbers, with as many bytes as they announce or fewer
      const uint32_t failure = answers_.Byte(), moved = static_cast<uint32_t>(answers_.Number(4));
      std::vector<uint8_t> reply(answers_.PieceSize() - 1, kind);
      Put(answer, failure);
      Put(answer, moved);
      Put(answer, kind & 1 ? static_cast<uint32_t>(reply.size())
                           : static_cast<uint32_t>(answers_.Number(4)));
      answer->insert(answer->end(), reply.begin(), reply.end());
      return false;
    }
    answer->resize(kind % 16);
    for (uint8_t& byte : *answer) byte = answers_.Byte();
    return false;
  }

  static bool PutAnswer(uint32_t failure, uint32_t moved, const std::vector<uint8_t>& reply,
                        std::vector<uint8_t>* answer) {
    Put(answer, failure);
    Put(answer, moved);
    Put(answer, static_cast<uint32_t>(reply.size()));
    answer->insert(answer->end(), reply.begin(), reply.end());
    return true;
  }

  std::vector<uint8_t> SoundReply(uint32_t code, const std::vector<uint8_t>& input, uint32_t limit,
                                  uint8_t kind) {
    std::vector<uint8_t> reply;
    if (code == dot4::kRead) {
      reply.assign(std::min<size_t>(limit, answers_.PieceSize() - 1), kind);
    } else if (limit > 0) {
      reply.assign(input.begin() + static_cast<ptrdiff_t>(std::min<size_t>(input.size(), 16)),
                   input.end());
      // Socket identity and channel lie in the last bytes of their records.
      for (size_t i = reply.size() - std::min<size_t>(reply.size(), 4); i < reply.size(); ++i)
        reply[i] = static_cast<uint8_t>(kind + i);
      if (kind & 8) reply.resize(std::min<size_t>(reply.size(), kind & 7));
    }
    return reply;
  }

  const std::string path_;
  FuzzInput answers_;
  int listener_ = -1;
  std::thread thread_;
};

// Without a file requests answer this, which is no result code.
constexpr IoResult kNoFile = error::kInvalidHandle;

void Read(MXVIO_DOT4MS& transport, uint32_t wanted) {
  std::vector<uint8_t> buffer(wanted);
  uint32_t length = wanted;
  const IoResult result = transport.ReadData(buffer.data(), &length, nullptr);
  Require(length <= wanted, "no more was read than was wanted");
  Require(result <= 0 || (result == kNoFile && length == 0), "a read succeeds or fails");
}

void Write(MXVIO_DOT4MS& transport, uint32_t size) {
  const std::vector<uint8_t> data(size, 0x1B);
  uint32_t written = 0;
  const IoResult result = transport.WriteData(data.data(), size, &written, nullptr);
  Require(written <= size, "no more was written than there was");
  Require(result == 0 || written == 0, "a failed write has written nothing");
}

void Operate(MXVIO_DOT4MS& transport, uint8_t operation, const std::string& path) {
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
  static HurriedClock clock;
  SetClock(&clock);
  static const std::string path =
      (std::filesystem::temp_directory_path() / ("fuzz_dot4_" + std::to_string(getpid()))).string();
  FuzzInput input(data, std::min<size_t>(size, 4096));
  std::vector<uint8_t> operations(input.Byte() % 24);
  for (uint8_t& operation : operations) operation = input.Byte();
  Stack stack(path, input);
  MXVIO_DOT4MS transport;
  transport.OpenIO(path.c_str());
  for (const uint8_t operation : operations) Operate(transport, operation, path);
  return 0;
}
