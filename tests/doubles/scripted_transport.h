// Two transports for tests of the engine. ScriptedTransport plays a conversation word for word and
// reports where the engine strays from it. DeviceDouble answers inquiries from a table and sends a
// page when it is started, for tests that look at results and not at every byte.
#ifndef SCANTK_TESTS_DOUBLES_SCRIPTED_TRANSPORT_H_
#define SCANTK_TESTS_DOUBLES_SCRIPTED_TRANSPORT_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/mxvio.h"

namespace scantk::test {

inline constexpr IoResult kTransportFailure = static_cast<IoResult>(0x80004005);

// Bytes as a person can read them: ESC as <ESC>, what cannot be printed as \xNN, long ones cut.
std::string Readable(std::string_view bytes);

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

  // Empty when all went as written, else what did not.
  std::string Faults() const;

  IoTimeouts timeouts{30000, 30000, 30000};
  std::vector<IoTimeouts> timeouts_set;
  int reads = 0;
  int connects = 0;
  int closes = 0;
  IoResult open_result = 0;
  IoResult connect_result = 0;
  IoResult disconnect_result = 0;
  std::function<void()> on_timeout;  // called for every read that runs out of time

 private:
  friend class ScriptedTransport;
  struct Step {
    enum class Kind { kWrite, kRead, kEndRead, kDisconnect } kind;
    std::string bytes;
    IoResult result = 0;
    uint32_t count = 0;  // bytes that a write transfers
    size_t used = 0;     // bytes that reads have taken
  };
  void Fault(std::string text);

  std::deque<Step> steps_;
  std::vector<std::string> faults_;
};

class ScriptedTransport : public mxvio {
 public:
  explicit ScriptedTransport(Script& script) : script_(script) {}

  IoResult OpenIO(const char* name) override;
  IoResult ConnectToIO() override;
  // Gathers as many bytes as wanted; where the script has no more, a time-out.
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override;
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                     Overlapped* overlapped) override;
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                  uint32_t output_length, uint32_t* returned) override;
  IoResult DisConnectFromIO() override;
  IoResult CloseIO() override;

 private:
  Script& script_;
};

// A device's mind, kept by the test.
struct Device {
  // By inquiry as sent ("10323R"): the value, or kNoValue for a null response. An inquiry that is
  // not there gets the null response too.
  std::map<std::string, int32_t> numbers;
  std::map<std::string, std::string> strings;
  std::string page;     // sent when a scan is started
  bool silent = false;  // answers nothing
  // Called for each command before it takes effect, with its text ("*f0S").
  std::function<void(const std::string&)> on_command;

  std::vector<std::string> log;  // commands, and inquiries with a '?' before them
  std::string pending;           // bytes on their way to the host, the first `taken` gone
  size_t taken = 0;
  IoTimeouts timeouts{30000, 30000, 30000};
  uint64_t reads = 0;
  uint64_t waited_ms = 0;  // what the time-outs of unanswered reads add up to

  std::string Pending() const { return pending.substr(taken); }
  // The commands sent, without the inquiries.
  std::vector<std::string> Commands() const;
};

// A device that delivers a plain colour page of this many pixels and rows at 300 dpi.
Device ColourDevice(int32_t pixels, int32_t rows);

class DeviceDouble : public mxvio {
 public:
  explicit DeviceDouble(Device& device) : device_(device) {}

  IoResult OpenIO(const char*) override { return 0; }
  IoResult ConnectToIO() override { return 0; }
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override;
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                     Overlapped* overlapped) override;
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                  uint32_t output_length, uint32_t* returned) override;
  IoResult DisConnectFromIO() override { return 0; }
  IoResult CloseIO() override { return 0; }

 private:
  void Answer(const std::string& inquiry);

  Device& device_;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_DOUBLES_SCRIPTED_TRANSPORT_H_
