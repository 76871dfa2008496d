// The five capability methods are one: learn, then hand the session's record out, also after a
// failure.
#ifndef SCANTK_SCANNER_CAPABILITY_COPY_H_
#define SCANTK_SCANNER_CAPABILITY_COPY_H_

#include "features/capability_learner.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {

// `dump` may be null.
template <class Record>
HRESULT ScannerObject::CopyCapabilities(const char* name, uint32_t category, uint32_t hSession,
                                        Record* out, uint32_t* pdwErrorCode,
                                        Record SessionState::*record,
                                        void (*dump)(TraceLog&, const Record*, uint32_t)) {
  return Method(name, category, hSession, pdwErrorCode)
      .Requires({out})
      .Run([&] { *out = {}; },
           [&](SessionEntry& entry) -> HRESULT {
             HRESULT result = FillOutCapabilities(entry, Switches(), trace_, pdwErrorCode);
             if (FAILED(result)) result = Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
             *out = entry.state.*record;
             if (dump) dump(trace_, out, TRACE_DUMP);
             return result;
           });
}

}  // namespace scantk

#endif  // SCANTK_SCANNER_CAPABILITY_COPY_H_
