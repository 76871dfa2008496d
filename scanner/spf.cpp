// ISPF: the device's SPF data, an opaque block that the toolkit only moves.
#include <algorithm>
#include <string>

#include "protocol/models.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

HRESULT LearnSpfSize(SessionState& state, TraceLog& trace, uint32_t* error_code) {
  const char* refused = nullptr;
  switch (ModelOf(state.model).spf) {
    case SpfSupport::kNotOnParallelDot4:
      refused = " GetSPFCapabilities: dot4 parellel device doesn't support spf, spf.size set to %d";
      break;
    case SpfSupport::kNotOnDot4:
      refused = " GetSPFCapabilities: dot4 device doesn't support spf, spf.size set to %d";
      break;
    case SpfSupport::kAsked:
      break;
  }
  SPF_CAPABILITIES& spf = state.spf;
  QrlStatus status = SL_NULLRESPONSE;
  if (!refused) {
    int32_t size = 0;
    status = state.engine->exchange.InquireNumber(SL_SPF_SIZE, kCurrent, &size);
    spf.dwSPFsize = static_cast<uint32_t>(size);
    refused = " GetSPFCapabilities: device doesn't support spf, spf.size set to %d";
  }
  if (status == SL_OK) {
    trace.Print(" GetSPFCapabilities: device  SPF file Size %d, encrypted %d", spf.dwSPFsize,
                spf.byEncrypted);
    return S_OK;
  }
  if (status == SL_NULLRESPONSE) {
    trace.Print(refused, spf.dwSPFsize);
    return Fail(error_code, TERR_SPF_NOT_SUPPORTED);
  }
  trace.Print(TRACE_CLASS_ERROR, " GetSPFCapabilities: Comm error %d  ", status);
  return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
}

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::GetSPFCapabilities(uint32_t hSession,
                                                            SPF_CAPABILITIES* pSPFcaps,
                                                            uint32_t* pdwErrorCode) {
  return Method("scantk::GetSPFCapabilities", kNoCategory, hSession, pdwErrorCode)
      .Requires({pSPFcaps})
      .Run([&](SessionEntry& entry) -> HRESULT {
        entry.state.spf = {};
        const HRESULT result = LearnSpfSize(entry.state, trace_, pdwErrorCode);
        *pSPFcaps = entry.state.spf;
        trace_.Print(TRACE_API, "GetSPFCapabilities: SPF file Size %d, encrypted %d",
                     pSPFcaps->dwSPFsize, pSPFcaps->byEncrypted);
        return result;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetSPFData(uint32_t hSession, uint32_t dwSize,
                                                    uint8_t* pbySPFdata, uint32_t* pdwErrorCode) {
  Method method("tkiop::GetSPFData", kNoCategory, hSession, pdwErrorCode);
  for (uint32_t mask : {TRACE_API, TRACE_INFO})
    trace_.Print(mask, "GetSPFData: SPF file Size %d", dwSize);
  // Without a size there is nothing to write to, and a null buffer is no mistake.
  if (dwSize != 0) method.Requires({pbySPFdata});
  return method.Run([&](SessionEntry& entry) -> HRESULT {
    int32_t count = 0;
    // The host's buffer has no room for a terminating NUL, so the bytes are taken without one.
    if (dwSize == 0 || entry.state.engine->exchange.InquireBytes(SL_SPF_DATA, pbySPFdata, dwSize,
                                                                 &count) != SL_OK) {
      trace_.Print("GetSPFData: SPF file TERR_SPF_NOT_SUPPORTED dwSize %d", dwSize);
      return Fail(pdwErrorCode, TERR_SPF_NOT_SUPPORTED);
    }
    trace_.Print("GetSPFData:  obtained SPF:  count %d dwSize%d", count, dwSize);
    if (trace_.Passes(TRACE_SPF)) {
      const size_t held = std::min(static_cast<uint32_t>(count), dwSize);
      trace_.Print(TRACE_SPF, "GetSPFData:  SPF: %s ",
                   std::string(reinterpret_cast<const char*>(pbySPFdata), held));
    }
    return S_OK;
  });
}

}  // namespace scantk
