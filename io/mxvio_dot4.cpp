#include "io/mxvio_dot4.h"

#include "platform/system.h"

namespace scantk {
namespace {

constexpr uint32_t kDot4FlushTimeoutMs = 500;

}  // namespace

MXVIO_DOT4::MXVIO_DOT4() {
  m_ulFlushTimeout = kDot4FlushTimeoutMs;
}

IoResult MXVIO_DOT4::TakeName(const char* name) {
  if (m_pszDevName) return S_OK;
  if (!name) return E_INVALIDARG;
  return KeepName(name) ? S_OK : E_OUTOFMEMORY;
}

uint32_t MXVIO_DOT4::OpenFile() {
  return m_DeviceDefaultDataHandle.Open(DevName()) ? error::kSuccess : LastError();
}

IoResult MXVIO_DOT4::Escape(uint32_t function, void* buffer, uint32_t length, void*, uint32_t,
                            uint32_t*) {
  if (m_DeviceDefaultDataHandle.IsInvalid()) return E_FAIL;
  if (function == GET_TIMEOUTS) return GetTimeouts(buffer, length);
  if (function == SET_TIMEOUTS) return SetTimeouts(buffer, length);
  return S_OK;
}

}  // namespace scantk
