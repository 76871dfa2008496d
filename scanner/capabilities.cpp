// GetScannerCapabilities, and the fill-in that all capability methods share.
#include "diag/record_dumps.h"
#include "features/capability_learner.h"
#include "scanner/capability_copy.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {

HRESULT STDMETHODCALLTYPE ScannerObject::GetScannerCapabilities(
    uint32_t hSession, SCANNER_CAPABILITIES* pScannerCapabilities, uint32_t* pdwErrorCode) {
  // The name in the trace is spelt as engineers have searched for it ever since.
  return CopyCapabilities("scantk::GetScannerCababilities", TRACE_API, hSession,
                          pScannerCapabilities, pdwErrorCode, &SessionState::capabilities,
                          DumpScannerCapabilities);
}

HRESULT ScannerObject::FillOutCapabilities(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("scantk::FillOutCapabilities", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        if (state.m_ModelID != 0) {
          trace_.Print("Already filled out caps : ModelId %ld", state.m_ModelID);
          DumpScannerCapabilities(trace_, &state.capabilities, TRACE_DUMP);
          return S_OK;
        }
        const DeviceSwitches switches = Switches();
        CapabilityLearner learner(state, switches, trace_);
        const HRESULT result = learner.Learn(pdwErrorCode);
        if (!learner.Complete()) return result;
        StoreVelkanCaps(trace_, switches.deviceKeyName,
                        {state.capabilities, state.adf, state.adf2, state.adf3, state.compression,
                         state.panel});
        return result;
      });
}

}  // namespace scantk
