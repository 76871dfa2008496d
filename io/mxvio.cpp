#include "io/mxvio.h"

#include <cstring>
#include <new>

#include "io/mxvio_dot4ms.h"
#include "io/mxvio_dot4ov.h"
#include "io/mxvio_net.h"
#include "io/mxvusb.h"
#include "platform/system.h"

namespace scantk {

mxvio::mxvio() : trace_(std::make_unique<TraceLog>()) {}

mxvio::~mxvio() {
  if (!m_DeviceDefaultDataHandle.IsNull()) {
    if (trace_) {
      trace_->Print(TRACE_FLOW,
                    "MXVWIA_STI::STI: ~CWIAScannerDevice Close m_DeviceDefaultDataHandle %x",
                    m_DeviceDefaultDataHandle.Number());
    }
    m_DeviceDefaultDataHandle.Close();
  }
  if (trace_) trace_->Print(TRACE_API, "mxvio::Destructor");
}

IoResult mxvio::WaitForIO(Overlapped* record, uint32_t timeout, uint32_t* count) {
  const uint32_t failure = LastError();
  if (failure != error::kIoPending) return error::ToResult(failure);
  DeviceFile& file = m_DeviceDefaultDataHandle;
  if (file.Wait(record, timeout) == WaitResult::kTimeout) {
    file.Cancel(record);
    DeviceFile::ResetEvent(record);
    *count = 0;
    return kIoTimeout;
  }
  const IoResult hr = file.Result(record, count, false) ? S_OK : error::ToResult(LastError());
  DeviceFile::ResetEvent(record);
  return hr;
}

IoResult mxvio::GetTimeouts(void* buffer, uint32_t length) const {
  const IoTimeouts timeouts = {m_ulReadTimeout, m_ulWriteTimeout, m_ulFlushTimeout};
  if (!buffer || length < sizeof timeouts) return E_INVALIDARG;
  std::memcpy(buffer, &timeouts, sizeof timeouts);
  return S_OK;
}

IoResult mxvio::SetTimeouts(const void* buffer, uint32_t length) {
  IoTimeouts timeouts;
  if (!buffer || length < sizeof timeouts) return E_INVALIDARG;
  std::memcpy(&timeouts, buffer, sizeof timeouts);
  if (timeouts.read != 0) m_ulReadTimeout = timeouts.read;
  if (timeouts.write != 0) m_ulWriteTimeout = timeouts.write;
  if (timeouts.flush != 0) m_ulFlushTimeout = timeouts.flush;
  return S_OK;
}

bool mxvio::KeepName(const char* name) {
  try {
    m_pszDevName.emplace(name);
    return true;
  } catch (const std::bad_alloc&) {
    m_pszDevName.reset();
    return false;
  }
}

namespace {

// The way to move data over the system's IEEE 1284.4 stack came with version 5.1.
bool StackMovesData(const OsVersion& version) {
  return (version.major >= 5 && version.minor > 0) || version.major >= 6;
}

std::unique_ptr<mxvio> MakeDot4(TraceLog& trace) {
  const OsVersion version = SystemVersion();
  trace.Print(TRACE_FLOW, "InitIO: DOT4 device: osVer.dwMajorVersion %d osVer.dwMinorVersion %d",
              version.major, version.minor);
  std::unique_ptr<mxvio> transport;
  if (StackMovesData(version)) {
    transport = std::make_unique<MXVIO_DOT4MS>();
    trace.Print(TRACE_INFO, "InitIO: DOT4 device: MXVIO_DOT4MS");
  } else {
    transport = std::make_unique<MXVIO_DOT4OV>();
    trace.Print(TRACE_INFO, "InitIO: DOT4 device: MXVIO_DOT4OV");
  }
  return transport;
}

}  // namespace

std::unique_ptr<mxvio> MakeTransport(uint32_t dwDevIOType, TraceLog& trace, uint32_t* status) {
  *status = 0;
  try {
    switch (dwDevIOType) {
      case 1:
        return std::make_unique<mxvusb>();
      case 4:
        return MakeDot4(trace);
      case 5:
        return std::make_unique<MXVIO_NET>();
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
