// GetScannerCapabilities.
#include "diag/record_dumps.h"
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

}  // namespace scantk
