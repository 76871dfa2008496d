// Readable pictures of the interface records in the trace, one line for each field. A record is
// written at `mask` | TRACE_DUMP and only read.
#ifndef SCANTK_DIAG_RECORD_DUMPS_H_
#define SCANTK_DIAG_RECORD_DUMPS_H_

#include <cstdint>

#include "contract/records.h"
#include "diag/trace_log.h"

namespace scantk {

void DumpScannerCapabilities(TraceLog& trace, const SCANNER_CAPABILITIES* record, uint32_t mask);
void DumpBufferInfo(TraceLog& trace, const BUFFER_INFO* record, uint32_t mask);
void DumpScannerParameters(TraceLog& trace, const SCANNER_PARAMETERS* record, uint32_t mask);
void DumpADFCapabilities(TraceLog& trace, const ADF_CAPABILITIES* record, uint32_t mask);
void DumpADF2Capabilities(TraceLog& trace, const ADF2_CAPABILITIES* record, uint32_t mask);
void DumpADF3Capabilities(TraceLog& trace, const ADF3_CAPABILITIES* record, uint32_t mask);

}  // namespace scantk

#endif  // SCANTK_DIAG_RECORD_DUMPS_H_
