// The small device methods: lamp, initialisation, reset. A device looks after the first two itself.
#include "platform/system.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {

HRESULT STDMETHODCALLTYPE ScannerObject::GetLampStatus(uint32_t hSession, uint8_t* pbLampOn,
                                                       uint32_t* pdwErrorCode) {
  return Method("scantk::GetLampStatus", TRACE_API, hSession, pdwErrorCode)
      .Requires({pbLampOn})
      .Run([&](SessionEntry&) -> HRESULT {
        *pbLampOn = 1;
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::LampOn(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("scantk::LampOn", TRACE_API, hSession, pdwErrorCode).Run(NothingToDo);
}

HRESULT STDMETHODCALLTYPE ScannerObject::LampOff(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("scantk::LampOff", TRACE_API, hSession, pdwErrorCode).Run(NothingToDo);
}

HRESULT STDMETHODCALLTYPE ScannerObject::InitializeScanner(uint32_t hSession,
                                                           uint32_t* pdwErrorCode) {
  return Method("scantk::InitializeScanner", TRACE_API, hSession, pdwErrorCode).Run(NothingToDo);
}

HRESULT STDMETHODCALLTYPE ScannerObject::ResetScanner(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("scantk::ResetScanner", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        const uint32_t process = ProcessId(), thread = ThreadId();
        trace_.Print("ResetScanner: PID (%lx) (%ld), TID (%lx) (%ld)", process, process, thread,
                     thread);
        ProtocolEngine& engine = *entry.state.engine;
        engine.exchange.SendCommand(SL_CLEAR_ERRORS, 0);
        if (engine.Reset() != SL_OK) return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
        return S_OK;
      });
}

}  // namespace scantk
