// IADF, IADF2, IADF3.
#include "diag/record_dumps.h"
#include "features/paper.h"
#include "scanner/capability_copy.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

HRESULT NoDuplexToggle(TraceLog& trace, uint32_t* error_code) {
  trace.Print(TRACE_INFO, "HWDuplexToggleState: We don't have a hardware toggle");
  return Fail(error_code, TERR_INVALID_PARAMETER);
}

// The sheet is fed when the next feeder scan starts.
void FeedLater(SessionState& state, TraceLog& trace, const char* format) {
  state.feed_pending = 1;
  trace.Print(format, state.model, state.feed_pending);
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
        FeedLater(entry.state, trace_, "ADFPaperFeed : Model %ld:  DelayedFeedPaperSet s%d");
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADF2PaperFeed(uint32_t hSession, uint32_t* pdwLength,
                                                       uint32_t* pdwErrorCode) {
  return Method("scantk::ADF2PaperFeed", TRACE_API, hSession, pdwErrorCode)
      .Requires({pdwLength})
      .Run([&](SessionEntry& entry) -> HRESULT {
        FeedLater(entry.state, trace_, "ADF2PaperFeed : Model %ld:  DelayedFeedPaperSet s%d");
        *pdwLength = 0;
        trace_.Print("ADF2PaperFeed: Length set to %d", *pdwLength);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFEjectMedia(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("velkan::ADFEjectMedia", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        entry.state.eject_pending = 1;
        trace_.Print("ADFEjectMedia : Model %ld:  DelayedEjectPaperSet s%d", entry.state.model,
                     entry.state.eject_pending);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFIsReady(uint32_t hSession, uint8_t* pbIsReady,
                                                    uint32_t* pdwErrorCode) {
  return Method("scantk::ADFIsReady", TRACE_API, hSession, pdwErrorCode)
      .Requires({pbIsReady})
      .Run([&] { *pbIsReady = 0; },
           [&](SessionEntry& entry) {
             return AskFeederReady(entry.state, trace_, pbIsReady, pdwErrorCode);
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
            state.model, dwADFOptionsSelected, T_ADF_DUPLEX, T_ADF_MULTIPAGE_FLOW);
        state.duplex = (dwADFOptionsSelected & T_ADF_DUPLEX) ? 1 : 0;
        if (state.duplex)
          trace_.Print("SetADFOptions: Model %ld: T_ADF_DUPLEX setDuplexer = %d", state.model,
                       state.duplex);
        trace_.Print("SetADFOptions: Model %ld:  setDuplexer = %d", state.model, state.duplex);
        return (dwADFOptionsSelected & (T_ADF_DUPLEX | T_ADF_MULTIPAGE_FLOW)) ? S_OK : E_FAIL;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetHWDuplexToggleState(uint32_t hSession,
                                                                uint8_t* pbyState,
                                                                uint32_t* pdwErrorCode) {
  return Method("velkan::GetHWDuplexToggleState", kNoCategory, hSession, pdwErrorCode)
      .Requires({pbyState})
      .Run([&](SessionEntry&) { return NoDuplexToggle(trace_, pdwErrorCode); });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetHWDuplexToggleState(uint32_t hSession, uint8_t,
                                                                uint32_t* pdwErrorCode) {
  return Method("velkan::SetHWDuplexToggleState", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry&) { return NoDuplexToggle(trace_, pdwErrorCode); });
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFStartJob(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("velkan::ADFStartJob", kNoCategory, hSession, pdwErrorCode).Run(NothingToDo);
}

HRESULT STDMETHODCALLTYPE ScannerObject::ADFEndJob(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("velkan::ADFEndJob", kNoCategory, hSession, pdwErrorCode).Run(NothingToDo);
}

}  // namespace scantk
