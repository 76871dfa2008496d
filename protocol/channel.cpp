#include "protocol/channel.h"

#include <algorithm>
#include <cstring>

#include "platform/clock.h"

namespace scantk {
namespace {

// A terminated read gives up at the time-out after these.
constexpr int kToleratedTimeouts = 5;

}  // namespace

uint32_t Channel::InitIO(const char* device_name, uint32_t io_type) {
  trace_.Print(TRACE_INFO, "InitIO: dwDevIOType %d", io_type);
  if (transport_) return SL_ALREADYOPEN;
  if (!device_name || io_type == 0) return SL_BADPARAM;
  uint32_t status = 0;
  transport_ = MakeTransport(io_type, trace_, &status);
  if (!transport_) return status;
  trace_.Print(TRACE_FLOW, "InitIO: Pre-OpenIO");
  if (transport_->OpenIO(device_name) < 0) {
    trace_.Print(TRACE_INFO, "InitIO: Pre-OpenIO failed SL_NOACCESS");
    return SL_NOACCESS;
  }
  return 0;
}

uint32_t Channel::ConnectToIO() {
  if (!transport_) return SL_NOACCESS;
  const uint32_t status = ConnectStatus(transport_->ConnectToIO());
  if (status == SL_FIREWALL) {
    trace_.Print(TRACE_CLASS_ERROR, "ConnectToIO: Unable to ConnectToIO: probably firewall %d",
                 status);
  }
  return status;
}

uint32_t Channel::DisConnectFromIO() {
  if (!transport_) return 1;
  return transport_->DisConnectFromIO() < 0 ? 1 : 0;
}

void Channel::Attach(std::unique_ptr<Transport> transport) {
  transport_ = std::move(transport);
}

void Channel::Close() {
  if (!transport_) return;
  transport_->DisConnectFromIO();
  transport_->CloseIO();
  transport_.reset();
  trace_.Print(TRACE_INFO, "mxvwia_qrl::Destructor ClosedIO");
}

int32_t Channel::SendToScanner(const void* buffer, uint32_t length) {
  PrintBytes(TRACE_FLOW, "QRL-->SendToScanner  %5d, Buf: %hs", static_cast<int32_t>(length), buffer,
             length);
  uint32_t written = 0;
  const bool sent = transport_ && transport_->WriteData(buffer, length, &written, nullptr) == 0;
  const int32_t count = sent ? static_cast<int32_t>(written) : -1;
  PrintBytes(TRACE_IO_DATA, "Sent: %5d Buf: %hs", count, buffer, length);
  return count;
}

int32_t Channel::RecFromScanner(void* buffer, uint32_t length, int16_t terminator) {
  trace_.Print(TRACE_FLOW, "RecFromScanner: Length %d,TermChar %d", length, terminator);
  auto* bytes = static_cast<uint8_t*>(buffer);
  int32_t count = 0;
  if (!transport_) {
    count = -1;
  } else if (length > 0) {
    count = terminator < 0 ? ReadPlain(bytes, length) : ReadTerminated(bytes, length);
  }
  if (count > 0) {
    PrintBytes(TRACE_IO_DATA, "Rec : %5d Buf: %hs", count, bytes, static_cast<uint32_t>(count));
  } else if (count == 0) {
    trace_.Print(TRACE_IO_DATA, "Rec : %5d ", count);
  } else {
    trace_.Print(TRACE_CLASS_ERROR, "<-RecFrmScanner (READ PROBLEM): %d", count);
  }
  return count;
}

int32_t Channel::ReadPlain(uint8_t* bytes, uint32_t length) {
  uint32_t count = length;
  const IoResult result = transport_->ReadData(bytes, &count, nullptr);
  // A connection that the device closed answers a positive number, and is as dead as any other.
  if (result != 0 && result != kIoTimeout) {
    std::memset(bytes, 0, length);
    trace_.Print(TRACE_INFO, "RecFromScanner: Read Problem, error is  %d", result);
    return kTransferLengthError;
  }
  count = std::min(count, length);
  // Only the rest is cleared: this is the path of the image, where every pass over it counts.
  std::memset(bytes + count, 0, length - count);
  if (count == 0) {
    trace_.Print(TRACE_INFO,
                 result == kIoTimeout
                     ? "RecFromScanner: WAIT_TIMEOUT == hRes, but nothing returned %d"
                     : "RecFromScanner: Read sucessful, but nothing returned   %d",
                 count);
  }
  return static_cast<int32_t>(count);
}

int32_t Channel::ReadTerminated(uint8_t* bytes, uint32_t length) {
  std::memset(bytes, 0, length);
  uint32_t stored = 0;
  int timeouts = 0;
  while (stored < length) {
    uint32_t got = 1;
    const IoResult result = transport_->ReadData(bytes + stored, &got, nullptr);
    if (result != 0 && result != kIoTimeout) {
      trace_.Print(TRACE_CLASS_ERROR, "ERROR: RecFromScanner: : breaking loop hRes %d", result);
      return result < 0 ? kTransferLengthError : static_cast<int32_t>(stored);
    }
    // A read that succeeded with nothing counts too, or a dumb device would hold us for ever.
    if (got == 0) {
      if (++timeouts <= kToleratedTimeouts) continue;
      trace_.Print(TRACE_CLASS_ERROR, "ERROR: RecFromScanner: WAIT_TIMEOUT: breaking loop retry %d",
                   timeouts);
      return kTransferLengthError;
    }
    const uint8_t letter = bytes[stored++];
    if (letter >= 'A' && letter <= 'Z') break;
  }
  return static_cast<int32_t>(stored);
}

void Channel::DropFromScanner(uint32_t length) {
  uint8_t dropped[4096];
  IoTimeouts timeouts{};
  uint32_t returned = 0, total = 0;
  transport_->Escape(GET_TIMEOUTS, &timeouts, sizeof(timeouts), nullptr, 0, &returned);
  const uint32_t start = TheClock().TickCount();
  while (total < length && TheClock().TickCount() - start <= timeouts.read) {
    uint32_t count = std::min<uint32_t>(length - total, sizeof(dropped));
    const IoResult result = transport_->ReadData(dropped, &count, nullptr);
    if (result == 0 || result == kIoTimeout) total += count;
    if (result != 0 || count == 0) break;
  }
  trace_.Print(TRACE_INFO, "RecFromScanner: no room for %d bytes, dropped %d", length, total);
}

int Channel::SetScannerTimeouts(uint32_t read, uint32_t write, uint32_t flush) {
  if (!transport_) return -1;
  IoTimeouts timeouts{read, write, flush};
  uint32_t returned = 0;
  transport_->Escape(SET_TIMEOUTS, &timeouts, sizeof(timeouts), nullptr, 0, &returned);
  trace_.Print(TRACE_FLOW, "SetScannerTimeouts: Read %d, Write %d, Flush %d", read, write, flush);
  return 0;
}

int Channel::GetScannerTimeouts(uint32_t* read, uint32_t* write, uint32_t* flush) {
  if (!transport_) return -1;
  IoTimeouts timeouts{};
  uint32_t returned = 0;
  const IoResult result =
      transport_->Escape(GET_TIMEOUTS, &timeouts, sizeof(timeouts), nullptr, 0, &returned);
  *read = timeouts.read;
  *write = timeouts.write;
  *flush = timeouts.flush;
  trace_.Print(TRACE_FLOW, "GetScannerTimeouts: Read %d, Write %d, Flush %d", timeouts.read,
               timeouts.write, timeouts.flush);
  return result == 0 ? 0 : -1;
}

void Channel::PrintBytes(uint32_t mask, const char* format, int32_t count, const void* bytes,
                         uint32_t length) {
  if (!trace_.Passes(mask)) return;
  char shown[kTracedBytes + 1] = {};
  if (bytes) std::memcpy(shown, bytes, std::min<size_t>(length, kTracedBytes));
  trace_.Print(mask, format, count, static_cast<const char*>(shown));
}

}  // namespace scantk
