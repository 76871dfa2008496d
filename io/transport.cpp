#include "io/transport.h"

#include <cstring>
#include <new>

#include "contract/records.h"
#include "io/dot4_silent_transport.h"
#include "io/dot4_stack_transport.h"
#include "io/network_transport.h"
#include "io/usb_transport.h"
#include "platform/system.h"

namespace scantk {

Transport::Transport(const IoTimeouts& timeouts)
    : timeouts_(timeouts), trace_(std::make_unique<TraceLog>()) {}

Transport::~Transport() {
  if (trace_) trace_->Print(TRACE_API, "mxvio::Destructor");
}

IoResult Transport::GetTimeouts(void* buffer, uint32_t length) const {
  if (!buffer || length < sizeof timeouts_) return E_INVALIDARG;
  std::memcpy(buffer, &timeouts_, sizeof timeouts_);
  return S_OK;
}

IoResult Transport::SetTimeouts(const void* buffer, uint32_t length) {
  IoTimeouts timeouts;
  if (!buffer || length < sizeof timeouts) return E_INVALIDARG;
  std::memcpy(&timeouts, buffer, sizeof timeouts);
  if (timeouts.read != 0) timeouts_.read = timeouts.read;
  if (timeouts.write != 0) timeouts_.write = timeouts.write;
  if (timeouts.flush != 0) timeouts_.flush = timeouts.flush;
  return S_OK;
}

bool Transport::KeepName(const char* name) {
  try {
    name_.emplace(name);
    return true;
  } catch (const std::bad_alloc&) {
    name_.reset();
    return false;
  }
}

namespace {

// The way to move data over the system's IEEE 1284.4 stack came with version 5.1.
bool StackMovesData(const OsVersion& version) {
  return (version.major >= 5 && version.minor > 0) || version.major >= 6;
}

std::unique_ptr<Transport> MakeDot4(TraceLog& trace) {
  const OsVersion version = SystemVersion();
  trace.Print(TRACE_FLOW, "InitIO: DOT4 device: osVer.dwMajorVersion %d osVer.dwMinorVersion %d",
              version.major, version.minor);
  std::unique_ptr<Transport> transport;
  if (StackMovesData(version)) {
    transport = std::make_unique<Dot4StackTransport>();
    trace.Print(TRACE_INFO, "InitIO: DOT4 device: MXVIO_DOT4MS");
  } else {
    transport = std::make_unique<Dot4SilentTransport>();
    trace.Print(TRACE_INFO, "InitIO: DOT4 device: MXVIO_DOT4OV");
  }
  return transport;
}

}  // namespace

std::unique_ptr<Transport> MakeTransport(uint32_t dwDevIOType, TraceLog& trace, uint32_t* status) {
  *status = 0;
  try {
    switch (dwDevIOType) {
      case T_IO_USB:
        return std::make_unique<UsbTransport>();
      case T_IO_DOT4:
        return MakeDot4(trace);
      case T_IO_NETWORK:
        return std::make_unique<NetworkTransport>();
      default:
        *status = SL_BADPARAM;
    }
  } catch (const std::bad_alloc&) {
    *status = SL_NOMEMORY;
  }
  return nullptr;
}

bool IsConnectionRefusal(uint32_t error_number) {
  switch (error_number) {
    case error::kAccessDenied:
    case error::kGenFailure:
    case error::kNetworkAccessDenied:
    case error::kConnectionAborted:
    case error::kPrivilegeNotHeld:
    case error::kSocketRefused:
      return true;
    default:
      return false;
  }
}

uint32_t ConnectStatus(IoResult result) {
  if (result == S_OK) return 0;
  if (result == E_ACCESSDENIED) return SL_BUSY;
  return IsConnectionRefusal(static_cast<uint32_t>(result)) ? SL_FIREWALL : SL_NOACCESS;
}

}  // namespace scantk
