// Before the scan: SetScannerParameters, SetGammaTable, GetBufferInfo.
#include <algorithm>
#include <iterator>

#include "diag/record_dumps.h"
#include "scanner/method.h"
#include "scanner/scan_job.h"
#include "scanner/scanner_object.h"

namespace scantk {

HRESULT STDMETHODCALLTYPE ScannerObject::SetScannerParameters(uint32_t hSession,
                                                              SCANNER_PARAMETERS* pScanParam,
                                                              uint32_t* pdwErrorCode) {
  return Method("scantk::SetScannerParameters", TRACE_API, hSession, pdwErrorCode)
      .Requires({pScanParam})
      .Run([&](SessionEntry& entry) -> HRESULT {
        DumpScannerParameters(trace_, pScanParam, TRACE_DUMP);
        entry.state.parameters = *pScanParam;
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetGammaTable(uint32_t hSession, uint32_t uSz,
                                                       uint8_t* pbyRed, uint8_t* pbyGreen,
                                                       uint8_t* pbyBlue, uint32_t* pdwErrorCode) {
  return Method("scantk::SetGammaTable", TRACE_API, hSession, pdwErrorCode)
      .Requires({pbyRed, pbyGreen, pbyBlue})
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        // A session whose capabilities were never learnt has no entries, and no size is right.
        if (uSz != state.capabilities.dwGammaEntriesPerChannel || uSz < std::size(state.tone_map))
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        // The device takes one map for all channels.
        std::copy_n(pbyRed, std::size(state.tone_map), state.tone_map);
        state.tone_map_pending = 1;
        trace_.Print("SetGammaTable");
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetBufferInfo(uint32_t hSession,
                                                       SCANNER_PARAMETERS* pScanParam,
                                                       BUFFER_INFO* pBufferInfo,
                                                       uint32_t* pdwdErrorCode) {
  return Method("scantk::GetBufferInfo", TRACE_API, hSession, pdwdErrorCode)
      .Requires({pScanParam, pBufferInfo})
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        if (state.scan_phase != kScanIdle) {
          trace_.Print(TRACE_CLASS_ERROR,
                       "GetBufferInfo: ScanPhase %ld -- currently already scanning!!!!",
                       state.scan_phase);
          *pdwdErrorCode = TERR_CANCEL_PRESSED;
          return S_OK;
        }
        trace_.Print("GetBufferInfo: Entry ScanPhase %ld", state.scan_phase);
        URS_STATE urs = T_URS_DEFAULT;
        uint32_t ignored = 0;
        if (SUCCEEDED(GetUserReadyToScanState(hSession, &urs, &ignored)) && urs != T_URS_START) {
          SetUserReadyToScanState(hSession, T_URS_START, &ignored);
          trace_.Print(TRACE_CLASS_ERROR, "GetBufferInfo: Force urs to start !!!!");
        }
        HRESULT result = DownLoadScannerParameters(state, pScanParam, Parameters::kGeometry, trace_,
                                                   pdwdErrorCode);
        *pBufferInfo = state.buffer_info;
        DumpBufferInfo(trace_, pBufferInfo, TRACE_DUMP);
        return result;
      });
}

}  // namespace scantk
