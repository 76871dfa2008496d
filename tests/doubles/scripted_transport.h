// A transport for tests of the engine: it plays a conversation word for word and reports where the
// engine strays from it.
#ifndef SCANTK_TESTS_DOUBLES_SCRIPTED_TRANSPORT_H_
#define SCANTK_TESTS_DOUBLES_SCRIPTED_TRANSPORT_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "io/transport.h"

namespace scantk::test {

inline constexpr IoResult kTransportFailure = static_cast<IoResult>(0x80004005);

// What a test says and sees of a scripted conversation; it outlives the engine.
class Script {
 public:
  // The engine must write exactly these bytes next.
  Script& Write(std::string bytes);
  // The next write transfers `count` bytes, with this result.
  Script& FailWrite(std::string bytes, IoResult result, uint32_t count = 0);
  // Bytes for the engine to read. They come in reads of any size.
  Script& Read(std::string bytes);
  // The next read ends here with this result: 0 for a short read, kIoTimeout, or a failure.
  Script& EndRead(IoResult result);
  // An inquiry and the whole of its answer: Ask("1024E", "d2550V").
  Script& Ask(std::string_view inquiry, std::string_view answer);
  // A string inquiry and its answer: AskText("19E", "ZM-13").
  Script& AskText(std::string_view inquiry, std::string_view text);
  // A command without its escape byte.
  Script& Command(std::string_view text);
  // The engine must disconnect next.
  Script& Disconnect();

  // Takes what did not go as written so far; empty when all did.
  std::string TakeFaults();

  IoTimeouts timeouts{30000, 30000, 30000};
  std::vector<IoTimeouts> timeouts_set;
  int reads = 0;
  std::function<void()> on_timeout;  // called for every read that runs out of time

 private:
  friend class ScriptedTransport;
  enum class Kind { kWrite, kRead, kEndRead, kDisconnect };
  struct Step {
    Kind kind;
    std::string bytes = {};
    IoResult result = 0;
    uint32_t count = 0;  // bytes that a write transfers
    size_t used = 0;     // bytes that reads have taken
  };
  bool Next(Kind kind) const { return !steps_.empty() && steps_.front().kind == kind; }
  Script& Add(Step step);

  std::deque<Step> steps_;
  std::string faults_;
};

class ScriptedTransport : public Transport {
 public:
  explicit ScriptedTransport(Script& script) : script_(script) {}

  IoResult OpenIO(const char*) override { return 0; }
  IoResult ConnectToIO() override { return 0; }
  IoResult CloseIO() override { return 0; }
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped*) override;
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written, Overlapped*) override;
  IoResult Escape(uint32_t function, void* buffer, uint32_t, void*, uint32_t, uint32_t*) override;
  IoResult DisConnectFromIO() override;

 private:
  Script& script_;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_DOUBLES_SCRIPTED_TRANSPORT_H_
