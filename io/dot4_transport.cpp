#include "io/dot4_transport.h"

#include "platform/system.h"

namespace scantk {

uint32_t Dot4FileTransport::OpenFile() {
  return file_.Open(DevName()) ? error::kSuccess : LastError();
}

IoResult Dot4FileTransport::Escape(uint32_t function, void* buffer, uint32_t length, void*,
                                   uint32_t, uint32_t*) {
  if (file_.IsInvalid()) return E_FAIL;
  if (function == GET_TIMEOUTS) return GetTimeouts(buffer, length);
  if (function == SET_TIMEOUTS) return SetTimeouts(buffer, length);
  return S_OK;
}

}  // namespace scantk
