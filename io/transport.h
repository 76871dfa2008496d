// The byte channel to a device: opened by name, connected, read, written, disconnected and closed,
// with three time-outs. One implementation for each medium.
//
// Results are 32-bit: 0 success; negative a failure as a result code; kIoTimeout a read or write
// that ran out of time; the network's connect also answers plain positive socket error numbers.
#ifndef SCANTK_IO_TRANSPORT_H_
#define SCANTK_IO_TRANSPORT_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "diag/trace_log.h"
#include "platform/error_codes.h"

namespace scantk {

struct Overlapped;

using IoResult = int32_t;
inline constexpr IoResult kIoTimeout = 258;

// The statuses of opening and connecting, as the scanner object reads them.
inline constexpr uint32_t SL_NOACCESS = 1;     // no transport, or it failed to open or connect
inline constexpr uint32_t SL_ALREADYOPEN = 3;  // there is a transport already
inline constexpr uint32_t SL_BUSY = 6;         // the device serves somebody else
inline constexpr uint32_t SL_BADPARAM = 10;
inline constexpr uint32_t SL_NOMEMORY = 25;
inline constexpr uint32_t SL_FIREWALL = 27;  // the connection was refused or blocked

// Milliseconds.
struct IoTimeouts {
  uint32_t read;
  uint32_t write;
  uint32_t flush;
};
static_assert(sizeof(IoTimeouts) == 12);

// Function codes of Escape that every transport knows.
inline constexpr uint32_t GET_TIMEOUTS = 1;
inline constexpr uint32_t SET_TIMEOUTS = 2;

// At most this many bytes of a buffer are shown in a trace line.
inline constexpr size_t kTracedBytes = 15;

// One thread at a time. Never throws but for lack of memory in a constructor.
class Transport {
 public:
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;
  virtual ~Transport();

  // Keeps the device's name, and opens what is opened by name.
  virtual IoResult OpenIO(const char* name) = 0;
  virtual IoResult ConnectToIO() = 0;
  // *length: bytes wanted, then bytes received. What one call delivers is the transport's matter.
  // `overlapped` is used by the USB transport alone, null otherwise.
  virtual IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) = 0;
  virtual IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                             Overlapped* overlapped) = 0;
  // GET_TIMEOUTS and SET_TIMEOUTS move an IoTimeouts record through `buffer`; a zero field of a set
  // leaves its value unchanged.
  virtual IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                          uint32_t output_length, uint32_t* returned) = 0;
  virtual IoResult DisConnectFromIO() = 0;
  virtual IoResult CloseIO() = 0;

 protected:
  explicit Transport(const IoTimeouts& timeouts = {30000, 30000, 30000});

  // The two time-out functions of Escape, the same for every transport: 0, or E_INVALIDARG with
  // nothing moved when there is no whole record at `buffer`.
  IoResult GetTimeouts(void* buffer, uint32_t length) const;
  IoResult SetTimeouts(const void* buffer, uint32_t length);

  // The device's name as a trace line shows it, null when there is none.
  const char* DevName() const { return name_ ? name_->c_str() : nullptr; }
  // Takes a copy. False without memory; the name is as before then.
  bool KeepName(const char* name);

  std::optional<std::string> name_;  // m_pszDevName in the trace; none until OpenIO was given one
  IoTimeouts timeouts_;
  std::unique_ptr<TraceLog> trace_;  // a transport that ends its trace early leaves null
};

// Makes the transport for a device I/O type (T_IO_USB, T_IO_DOT4, T_IO_NETWORK), and traces which
// DOT4 it chose.
// Null and *status SL_BADPARAM for any other type, SL_NOMEMORY without memory.
std::unique_ptr<Transport> MakeTransport(uint32_t dwDevIOType, TraceLog& trace, uint32_t* status);

// Whether a socket error number says that the connection was refused or is not allowed.
bool IsConnectionRefusal(uint32_t error_number);

// What the toolkit tells its host of a transport's connect result.
uint32_t ConnectStatus(IoResult result);

}  // namespace scantk

#endif  // SCANTK_IO_TRANSPORT_H_
