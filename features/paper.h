// The paper of a device: moved by the toolkit when a feeder scan starts and ends.
#ifndef SCANTK_FEATURES_PAPER_H_
#define SCANTK_FEATURES_PAPER_H_

#include <cstdint>

#include "diag/trace_log.h"
#include "session/session_registry.h"

namespace scantk {

// Feeds or ejects a sheet (SL_ADF_FEED_PAGE, SL_ADF_EJECT_PAGE) and asks the feeder how that went:
// E_FAIL with TERR_ADF_JAMMED, TERR_ADF_EMPTY or TERR_SCANNER_COMMUNICATION_FAILED. In the trace a
// method of its own. The caller holds the device.
HRESULT MovePaper(SessionEntry& entry, uint32_t command, TraceLog& trace, uint32_t* error_code);

// *ready: whether a sheet is waiting; S_OK with TERR_ADF_EMPTY when none is. While a scan is under
// way S_OK with TERR_CANCEL_PRESSED, and the device is not asked. The caller holds the device.
HRESULT AskFeederReady(SessionState& state, TraceLog& trace, uint8_t* ready, uint32_t* error_code);

}  // namespace scantk

#endif  // SCANTK_FEATURES_PAPER_H_
