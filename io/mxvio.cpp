#include "io/mxvio.h"

#include <cstring>
#include <new>

#include "io/mxvio_net.h"

namespace scantk {

mxvio::mxvio() : trace_(std::make_unique<TraceLog>()) {}

mxvio::~mxvio() {
  if (trace_) trace_->Print(TRACE_API, "mxvio::Destructor");
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

std::unique_ptr<mxvio> Make(uint32_t dwDevIOType) {
  switch (dwDevIOType) {
    case 5:
      return std::make_unique<MXVIO_NET>();
    default:
      return nullptr;
  }
}

}  // namespace

std::unique_ptr<mxvio> MakeTransport(uint32_t dwDevIOType, TraceLog& trace, uint32_t* status) {
  (void)trace;
  try {
    std::unique_ptr<mxvio> transport = Make(dwDevIOType);
    *status = transport ? 0 : SL_BADPARAM;
    return transport;
  } catch (const std::bad_alloc&) {
    *status = SL_NOMEMORY;
    return nullptr;
  }
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
