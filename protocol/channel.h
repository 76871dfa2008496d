// The engine's hold on its transport: making and connecting it, and moving raw bytes with the trace
// lines of every exchange.
#ifndef SCANTK_PROTOCOL_CHANNEL_H_
#define SCANTK_PROTOCOL_CHANNEL_H_

#include <cstdint>
#include <memory>

#include "diag/trace_log.h"
#include "io/transport.h"

namespace scantk {

// The terminator of RecFromScanner that asks for a plain read.
inline constexpr int16_t kNoTerminator = -1;

// What a failed read answers in place of a count.
inline constexpr int32_t kTransferLengthError = -60;

class Channel {
 public:
  explicit Channel(TraceLog& trace) : trace_(trace) {}
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  // Makes the transport for the device I/O type and opens it by name. 0, SL_ALREADYOPEN,
  // SL_BADPARAM, SL_NOMEMORY, or SL_NOACCESS (the transport stays then).
  uint32_t InitIO(const char* device_name, uint32_t io_type);
  uint32_t ConnectToIO();       // 0, SL_BUSY, SL_FIREWALL or SL_NOACCESS
  uint32_t DisConnectFromIO();  // 0, or 1 when there is none or it failed
  // For tests: takes `transport` in place of one made by InitIO.
  void Attach(std::unique_ptr<Transport> transport);
  // Disconnects, closes and destroys the transport, if there is one.
  void Close();

  // The number of bytes written, or -1.
  int32_t SendToScanner(const void* buffer, uint32_t length);

  // Reads up to `length` bytes; what did not come is zero. With kNoTerminator one read of the
  // transport, otherwise single bytes up to and including the first upper-case letter (it need not
  // be `terminator`). The number of bytes, -1 without a transport, or kTransferLengthError.
  int32_t RecFromScanner(void* buffer, uint32_t length, int16_t terminator);

  // Reads `length` bytes that there is no room for away, in the time that one read may take. What
  // has not come by then is left.
  void DropFromScanner(uint32_t length);

  // Milliseconds; 0 or -1.
  int SetScannerTimeouts(uint32_t read, uint32_t write, uint32_t flush);
  int GetScannerTimeouts(uint32_t* read, uint32_t* write, uint32_t* flush);

  // Whether the device has sent all that it was asked for: the last block of a page has come and
  // nothing has been inquired since. Whoever drains the device need not wait long then.
  bool ExpectsNothing() const { return expects_nothing_; }
  void SetExpectsNothing(bool nothing) { expects_nothing_ = nothing; }

 private:
  int32_t ReadPlain(uint8_t* bytes, uint32_t length);
  int32_t ReadTerminated(uint8_t* bytes, uint32_t length);
  void PrintBytes(uint32_t mask, const char* format, int32_t count, const void* bytes,
                  uint32_t length);

  TraceLog& trace_;
  std::unique_ptr<Transport> transport_;
  bool expects_nothing_ = false;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_CHANNEL_H_
