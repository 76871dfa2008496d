#include "features/paper.h"

#include "session/traced_step.h"

namespace scantk {
namespace {

// States of the feeder after a sheet was moved.
constexpr int32_t kStatusesMoved[] = {0, 1000, 1027};

uint32_t CodeOfFeederStatus(int32_t status, uint32_t unchanged) {
  for (int32_t moved : kStatusesMoved)
    if (status == moved) return unchanged;
  return status == kDeviceJam ? TERR_ADF_JAMMED : TERR_ADF_EMPTY;
}

}  // namespace

HRESULT MovePaper(SessionEntry& entry, uint32_t command, TraceLog& trace, uint32_t* error_code) {
  return TracedStep("scantk::ADFMovePaper", TRACE_API, entry, error_code, [&]() -> HRESULT {
    const SessionState& state = entry.state;
    QrlStatus status = state.engine->exchange.SendCommand(command, 0);
    if (status != SL_OK) {
      trace.Print(TRACE_CLASS_ERROR,
                  "ADFPaperFeed Failed: Model %ld:  lFlag %ld QRL Error Code = %d", state.model,
                  command, status);
      *error_code = TERR_SCANNER_COMMUNICATION_FAILED;
    }
    int32_t feeder = 0;
    status = state.engine->exchange.InquireNumber(SL_ADF_STATUS, kCurrent, &feeder);
    *error_code = status == SL_OK ? CodeOfFeederStatus(feeder, *error_code)
                                  : uint32_t{TERR_SCANNER_COMMUNICATION_FAILED};
    if (*error_code == TERR_NONE) return S_OK;
    trace.Print(TRACE_CLASS_ERROR, "ADFPaperFeed Failed: Model %ld:   %d", state.model,
                *error_code);
    return E_FAIL;
  });
}

HRESULT AskFeederReady(SessionState& state, TraceLog& trace, uint8_t* ready, uint32_t* error_code) {
  if (state.scan_phase != kScanIdle) {
    trace.Print(TRACE_CLASS_ERROR, "ADFIsReady: ScanPhase %ld -- currently already scanning!!!!",
                state.scan_phase);
    *error_code = TERR_CANCEL_PRESSED;
    return S_OK;
  }
  Exchange& exchange = state.engine->exchange;
  int32_t sheets = 0;
  QrlStatus status = exchange.InquireNumber(SL_ADF_READY, kCurrent, &sheets);
  if (status != SL_OK) {
    trace.Print("ERROR: ADFIsReady Failed try one more time: Model %ld:  QRL Error Code = %d",
                state.model, status);
    status = exchange.InquireNumber(SL_ADF_READY, kCurrent, &sheets);
  }
  if (status != SL_OK) {
    trace.Print("ERROR: ADFIsReady Failed 2nd time,: Model %ld:  QRL Error Code = %d", state.model,
                status);
    exchange.SendCommand(SL_CLEAR_ERRORS, 0);
    return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  *ready = sheets != 0;
  if (sheets == 0) *error_code = TERR_ADF_EMPTY;
  return S_OK;
}

}  // namespace scantk
