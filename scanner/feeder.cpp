// IADF, IADF2, IADF3, and ADFMovePaper, the one operation that moves paper.
#include "diag/record_dumps.h"
#include "scanner/capability_copy.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

constexpr uint32_t kNoCategory = 0;

// States of the feeder after a sheet was moved.
constexpr int32_t kStatusesMoved[] = {0, 1000, 1027};

uint32_t CodeOfFeederStatus(int32_t status, uint32_t unchanged) {
  for (int32_t moved : kStatusesMoved)
    if (status == moved) return unchanged;
  return status == kDeviceJam ? TERR_ADF_JAMMED : TERR_ADF_EMPTY;
}

HRESULT NothingToDo(SessionEntry&) {
  return S_OK;
}

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::GetADFCapabilities(uint32_t hSession,
                                                            ADF_CAPABILITIES* pADFCapabilities,
                                                            uint32_t* pdwErrorCode) {
  return CopyCapabilities("scantk::GetADFCapabilities", TRACE_API, hSession, pADFCapabilities,
                          pdwErrorCode, &SessionState::adf, DumpADFCapabilities);
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetADF2Capabilities(uint32_t hSession,
                                                             ADF2_CAPABILITIES* pADF2Capabilities,
                                                             uint32_t* pdwErrorCode) {
  return CopyCapabilities("scantk::GetADF2Capabilities", TRACE_API, hSession, pADF2Capabilities,
                          pdwErrorCode, &SessionState::adf2, DumpADF2Capabilities);
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetADF3Capabilities(uint32_t hSession,
                                                             ADF3_CAPABILITIES* pADF3Capabilities,
                                                             uint32_t* pdwErrorCode) {
  return CopyCapabilities("velkan::GetADF3Capabilities", kNoCategory, hSession, pADF3Capabilities,
                          pdwErrorCode, &SessionState::adf3, DumpADF3Capabilities);
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFPaperFeed(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("scantk::ADFPaperFeed", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        entry.state.DelayedFeedPaperSet = 1;
        trace_.Print("ADFPaperFeed : Model %ld:  DelayedFeedPaperSet s%d", entry.state.m_ModelID,
                     entry.state.DelayedFeedPaperSet);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADF2PaperFeed(uint32_t hSession, uint32_t* pdwLength,
                                                       uint32_t* pdwErrorCode) {
  return Method("scantk::ADF2PaperFeed", TRACE_API, hSession, pdwErrorCode)
      .Requires({pdwLength})
      .Run([&](SessionEntry& entry) -> HRESULT {
        entry.state.DelayedFeedPaperSet = 1;
        trace_.Print("ADF2PaperFeed : Model %ld:  DelayedFeedPaperSet s%d", entry.state.m_ModelID,
                     entry.state.DelayedFeedPaperSet);
        *pdwLength = 0;
        trace_.Print("ADF2PaperFeed: Length set to %d", *pdwLength);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFEjectMedia(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("velkan::ADFEjectMedia", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        entry.state.DelayedEjectPaperSet = 1;
        trace_.Print("ADFEjectMedia : Model %ld:  DelayedEjectPaperSet s%d", entry.state.m_ModelID,
                     entry.state.DelayedEjectPaperSet);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFIsReady(uint32_t hSession, uint8_t* pbIsReady,
                                                    uint32_t* pdwErrorCode) {
  return Method("scantk::ADFIsReady", TRACE_API, hSession, pdwErrorCode)
      .Requires({pbIsReady})
      .Run([&] { *pbIsReady = 0; },
           [&](SessionEntry& entry) -> HRESULT {
             SessionState& state = entry.state;
             if (state.lScanPhase != kScanIdle) {
               trace_.Print(TRACE_CLASS_ERROR,
                            "ADFIsReady: ScanPhase %ld -- currently already scanning!!!!",
                            state.lScanPhase);
               *pdwErrorCode = TERR_CANCEL_PRESSED;
               return S_OK;
             }
             int32_t ready = 0;
             QrlStatus status =
                 state.engine->exchange.InquireNumber(SL_ADF_READY, kCurrent, &ready);
             if (status != SL_OK) {
               trace_.Print(
                   "ERROR: ADFIsReady Failed try one more time: Model %ld:  QRL Error Code = %d",
                   state.m_ModelID, status);
               status = state.engine->exchange.InquireNumber(SL_ADF_READY, kCurrent, &ready);
             }
             if (status != SL_OK) {
               trace_.Print("ERROR: ADFIsReady Failed 2nd time,: Model %ld:  QRL Error Code = %d",
                            state.m_ModelID, status);
               state.engine->exchange.SendCommand(SL_CLEAR_ERRORS, 0);
               return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
             }
             *pbIsReady = ready != 0;
             if (ready == 0) *pdwErrorCode = TERR_ADF_EMPTY;
             return S_OK;
           });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetADFOptions(uint32_t hSession,
                                                       uint32_t dwADFOptionsSelected,
                                                       uint32_t* pdwErrorCode) {
  return Method("scantk::SetADFOptions", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        trace_.Print(
            "SetADFOptions: Model %ld:  dwADFOptionsSelected =  %x T_ADF_DUPLEX = %x "
            "T_ADF_MULTIPAGE_FLOW %x",
            state.m_ModelID, dwADFOptionsSelected, T_ADF_DUPLEX, T_ADF_MULTIPAGE_FLOW);
        state.setDuplexer = (dwADFOptionsSelected & T_ADF_DUPLEX) ? 1 : 0;
        if (state.setDuplexer)
          trace_.Print("SetADFOptions: Model %ld: T_ADF_DUPLEX setDuplexer = %d", state.m_ModelID,
                       state.setDuplexer);
        trace_.Print("SetADFOptions: Model %ld:  setDuplexer = %d", state.m_ModelID,
                     state.setDuplexer);
        return (dwADFOptionsSelected & (T_ADF_DUPLEX | T_ADF_MULTIPAGE_FLOW)) ? S_OK : E_FAIL;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetHWDuplexToggleState(uint32_t hSession,
                                                                uint8_t* pbyState,
                                                                uint32_t* pdwErrorCode) {
  return Method("velkan::GetHWDuplexToggleState", kNoCategory, hSession, pdwErrorCode)
      .Requires({pbyState})
      .Run([&](SessionEntry&) { return NoDuplexToggle(pdwErrorCode); });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetHWDuplexToggleState(uint32_t hSession, uint8_t,
                                                                uint32_t* pdwErrorCode) {
  return Method("velkan::SetHWDuplexToggleState", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry&) { return NoDuplexToggle(pdwErrorCode); });
}

HRESULT ScannerObject::NoDuplexToggle(uint32_t* pdwErrorCode) {
  trace_.Print(TRACE_INFO, "HWDuplexToggleState: We don't have a hardware toggle");
  return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFStartJob(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("velkan::ADFStartJob", kNoCategory, hSession, pdwErrorCode).Run(NothingToDo);
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFEndJob(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("velkan::ADFEndJob", kNoCategory, hSession, pdwErrorCode).Run(NothingToDo);
}

HRESULT ScannerObject::ADFMovePaper(uint32_t hSession, uint32_t lFlag, uint32_t* pdwErrorCode) {
  return Method("scantk::ADFMovePaper", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        QrlStatus status = state.engine->exchange.SendCommand(lFlag, 0);
        if (status != SL_OK) {
          trace_.Print(TRACE_CLASS_ERROR,
                       "ADFPaperFeed Failed: Model %ld:  lFlag %ld QRL Error Code = %d",
                       state.m_ModelID, lFlag, status);
          *pdwErrorCode = TERR_SCANNER_COMMUNICATION_FAILED;
        }
        int32_t feeder = 0;
        status = state.engine->exchange.InquireNumber(SL_ADF_STATUS, kCurrent, &feeder);
        *pdwErrorCode = status == SL_OK ? CodeOfFeederStatus(feeder, *pdwErrorCode)
                                        : uint32_t{TERR_SCANNER_COMMUNICATION_FAILED};
        if (*pdwErrorCode == TERR_NONE) return S_OK;
        trace_.Print(TRACE_CLASS_ERROR, "ADFPaperFeed Failed: Model %ld:   %d", state.m_ModelID,
                     *pdwErrorCode);
        return E_FAIL;
      });
}

}  // namespace scantk
