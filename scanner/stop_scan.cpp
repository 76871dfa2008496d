// StopScan: ends the page, finds out how it ended, moves the paper out and gives the device back.
#include "platform/clock.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

bool IsFeederScan(const SessionState& state) {
  return state.parameters.wScanMethod == T_METHOD_ADF;
}

bool IsCancel(QrlStatus error) {
  return error == SL_CANCEL || error == SL_CANCEL_504 || error == SL_CANCEL_505;
}

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::StopScan(uint32_t hSession, uint32_t* pdwErrorCode) {
  Method method("scantk::StopScan", TRACE_API, hSession, pdwErrorCode);
  const int64_t start = scan_start_time_, stop = TheClock().SecondsSince1970();
  trace_.Print(TRACE_CLASS_ERROR,
               "StopScan entry: Start time %ld, Stop Time %ld, Scan Elapsed time: %ld", start, stop,
               stop - start);
  return method.Run(
      [&](SessionEntry& entry) { return StopPage(hSession, entry.state, pdwErrorCode); });
}

HRESULT ScannerObject::StopPage(uint32_t hSession, SessionState& state, uint32_t* pdwErrorCode) {
  ProtocolEngine& engine = *state.engine;
  trace_.Print("StopScan entry: ScanPhase %ld", state.lScanPhase);
  trace_.Print("StopScan: Total ScanLines %ld lock state %d ", m_dwScanLines.load(),
               engine.lock.IsHeld());
  if (m_dwScanLines == 0) return StopWithoutLines(hSession, state, pdwErrorCode);

  state.lScanPhase = kScanIdle;
  uint32_t written = 0;
  QrlStatus status = engine.scan.Scan(kScanIdle, nullptr, 0, &written);
  if (status != SL_OK) {
    trace_.Print("ERROR: Scan SL_DONE FAILED, QRL Error Code = %d", status);
    return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  uint32_t aborted = 0, rows_k = 0, rows_cmy = 0;
  status = engine.GetEndPageInfo(&aborted, &rows_k, &rows_cmy);
  HRESULT result;
  if (status != SL_OK)
    result = StopCutPage(hSession, state, status, pdwErrorCode);
  else if (aborted)
    result = StopAbortedPage(hSession, state, pdwErrorCode);
  else
    result = StopCompletePage(hSession, state, rows_k, pdwErrorCode);
  trace_.Print("StopScan exit: ScanPhase %ld", state.lScanPhase);
  return result;
}

// No end-of-page record has come: the host stops in mid-page, or the page broke.
HRESULT ScannerObject::StopCutPage(uint32_t hSession, SessionState& state, QrlStatus status,
                                   uint32_t* pdwErrorCode) {
  ProtocolEngine& engine = *state.engine;
  trace_.Print("ERROR: StopScan: No End Page record: ASSUME PC user cancel, status = %d", status);
  engine.exchange.SendCommand(SL_CLEAR_ERRORS, 0);
  const int32_t flushed = engine.flush.FlushTheScanner();
  if (flushed == kTransferLengthError) {
    trace_.Print("StopScan:FlushTheScanner() TRANSFER_LENGTH_ERR %d", flushed);
    return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
  }
  if (flushed < 0)
    trace_.Print("StopScan:FlushTheScanner() Error %d ", flushed);
  else
    trace_.Print("StopScan:FlushTheScanner() flushed %d bytes from device", flushed);
  if (engine.Reset() != SL_OK) return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
  HRESULT result = S_OK;
  if (IsFeederScan(state)) {
    trace_.Print("StopScan:No End Page record available -- kick paper ");
    result = ADFMovePaper(hSession, SL_ADF_EJECT_PAGE, pdwErrorCode);
  }
  engine.lock.UnLockScanner();
  return result;
}

// The device aborted the page. A device error other than a cancel keeps the device locked, so that
// the host can find out what it is; the asking has cleared it, so a feeder's trouble is told here.
HRESULT ScannerObject::StopAbortedPage(uint32_t hSession, SessionState& state,
                                       uint32_t* pdwErrorCode) {
  const QrlStatus error = state.engine->errors.InquireOldestError();
  if (error == SL_ERR_MAPPED_JAM) *pdwErrorCode = TERR_ADF_JAMMED;
  if (error == SL_ERR_MAPPED_FEEDER_EMPTY) *pdwErrorCode = TERR_ADF_EMPTY;
  if (error != SL_OK && !IsCancel(error)) return S_OK;
  trace_.Print("ERROR: StopScan: Got EndPage + abort, no device error");
  HRESULT result = S_OK;
  if (IsFeederScan(state)) {
    trace_.Print("StopScan: Got EndPage + abort, adf scan -- kick paper ");
    result = ADFMovePaper(hSession, SL_ADF_EJECT_PAGE, pdwErrorCode);
  }
  // Written last: an eject that succeeds must not hide the cancel.
  if (SUCCEEDED(result)) *pdwErrorCode = TERR_CANCEL_PRESSED;
  trace_.Print("StopScan: ADF, last page done so unlock ");
  state.engine->lock.UnLockScanner();
  return result;
}

HRESULT ScannerObject::StopCompletePage(uint32_t hSession, SessionState& state, uint32_t rows,
                                        uint32_t* pdwErrorCode) {
  trace_.Print("StopScan: Normal EndPage, no abort uiNumRowsK %d", rows);
  if (!IsFeederScan(state)) {
    if (state.parameters.wScanMethod == T_METHOD_FLATBED) {
      trace_.Print("StopScan: flatbed, scan done so unlock ");
      state.engine->lock.UnLockScanner();
    }
    return S_OK;
  }
  trace_.Print("StopScan: Normal EndPage --  ");
  uint8_t ready = 0;
  HRESULT result = ADFIsReady(hSession, &ready, pdwErrorCode);
  if (FAILED(result)) {
    trace_.Print("StopScan: ADF is Ready Failed Communication failed ");
    return result;
  }
  if (ready) {
    trace_.Print("StopScan: ADF has paper -- don't kick page ");
    return result;
  }
  trace_.Print("StopScan: ADF has no paper -- kick last page ");
  result = ADFMovePaper(hSession, SL_ADF_EJECT_PAGE, pdwErrorCode);
  trace_.Print("StopScan: ADF, last page done so unlock ");
  state.engine->lock.UnLockScanner();
  return result;
}

// Nothing was delivered: either the scan never started, or its first read failed.
HRESULT ScannerObject::StopWithoutLines(uint32_t hSession, SessionState& state,
                                        uint32_t* pdwErrorCode) {
  ProtocolEngine& engine = *state.engine;
  const bool page_begun = state.lScanPhase == kScanTransferring;
  state.lScanPhase = kScanIdle;
  if (!engine.lock.IsHeld()) {
    trace_.Print(
        "StopScan: Didn't Lock, much less start a scan: Total ScanLines %ld lock state %d ",
        m_dwScanLines.load(), engine.lock.IsHeld());
    return S_OK;
  }
  trace_.Print("StopScan: Locked, but didn't start a scan: Total ScanLines %ld lock state %d ",
               m_dwScanLines.load(), engine.lock.IsHeld());
  const bool cleared = engine.exchange.SendCommand(SL_CLEAR_ERRORS, 0) == SL_OK;
  // What is left of a page that broke at its first read would be taken for answers; a network
  // device's data ends with its connection, below.
  if (cleared && page_begun && !state.IsNetworked()) engine.flush.FlushTheScanner();
  if (!cleared || engine.Reset() != SL_OK)
    return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
  if (IsFeederScan(state)) {
    trace_.Print("StopScan: kick paper ");
    uint32_t ignored = 0;
    ADFMovePaper(hSession, SL_ADF_EJECT_PAGE, &ignored);
  }
  engine.lock.UnLockScanner();
  return S_OK;
}

}  // namespace scantk
