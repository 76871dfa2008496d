// StopScan: ends the page, finds out how it ended, moves the paper out and gives the device back.
#include "features/paper.h"
#include "platform/clock.h"
#include "scanner/method.h"
#include "scanner/scan_job.h"
#include "scanner/scanner_object.h"
#include "session/traced_step.h"

namespace scantk {
namespace {

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
  return method.Run([&](SessionEntry& entry) {
    return ScanJob(entry, trace_, scan_lines_, pdwErrorCode).Stop();
  });
}

HRESULT ScanJob::Stop() {
  trace_.Print("StopScan entry: ScanPhase %ld", state_.scan_phase);
  trace_.Print("StopScan: Total ScanLines %ld lock state %d ", lines_.load(),
               engine_.lock.IsHeld());
  if (lines_ == 0) return StopWithoutLines();

  state_.scan_phase = kScanIdle;
  uint32_t written = 0;
  QrlStatus status = engine_.scan.Scan(kScanIdle, nullptr, 0, &written);
  if (status != SL_OK) {
    trace_.Print("ERROR: Scan SL_DONE FAILED, QRL Error Code = %d", status);
    return CommunicationFailed();
  }
  uint32_t aborted = 0, rows_k = 0, rows_cmy = 0;
  status = engine_.GetEndPageInfo(&aborted, &rows_k, &rows_cmy);
  HRESULT result;
  if (status != SL_OK)
    result = StopCut(status);
  else if (aborted)
    result = StopAborted();
  else
    result = StopComplete(rows_k);
  trace_.Print("StopScan exit: ScanPhase %ld", state_.scan_phase);
  return result;
}

// No end-of-page record has come: the host stops in mid-page, or the page broke.
HRESULT ScanJob::StopCut(QrlStatus status) {
  trace_.Print("ERROR: StopScan: No End Page record: ASSUME PC user cancel, status = %d", status);
  engine_.exchange.SendCommand(SL_CLEAR_ERRORS, 0);
  const int32_t flushed = engine_.flush.FlushTheScanner();
  if (flushed == kTransferLengthError) {
    trace_.Print("StopScan:FlushTheScanner() TRANSFER_LENGTH_ERR %d", flushed);
    return CommunicationFailed();
  }
  if (flushed < 0)
    trace_.Print("StopScan:FlushTheScanner() Error %d ", flushed);
  else
    trace_.Print("StopScan:FlushTheScanner() flushed %d bytes from device", flushed);
  if (engine_.Reset() != SL_OK) return CommunicationFailed();
  HRESULT result = S_OK;
  if (IsFeederScan()) {
    trace_.Print("StopScan:No End Page record available -- kick paper ");
    result = MovePaper(entry_, SL_ADF_EJECT_PAGE, trace_, error_code_);
  }
  engine_.lock.UnLockScanner();
  return result;
}

// The device aborted the page. A device error other than a cancel keeps the device locked, so that
// the host can find out what it is; the asking has cleared it, so a feeder's trouble is told here.
HRESULT ScanJob::StopAborted() {
  const QrlStatus error = engine_.errors.InquireOldestError();
  if (error == SL_ERR_MAPPED_JAM) *error_code_ = TERR_ADF_JAMMED;
  if (error == SL_ERR_MAPPED_FEEDER_EMPTY) *error_code_ = TERR_ADF_EMPTY;
  if (error != SL_OK && !IsCancel(error)) return S_OK;
  trace_.Print("ERROR: StopScan: Got EndPage + abort, no device error");
  HRESULT result = S_OK;
  if (IsFeederScan()) {
    trace_.Print("StopScan: Got EndPage + abort, adf scan -- kick paper ");
    result = MovePaper(entry_, SL_ADF_EJECT_PAGE, trace_, error_code_);
  }
  // Written last: an eject that succeeds must not hide the cancel.
  if (SUCCEEDED(result)) *error_code_ = TERR_CANCEL_PRESSED;
  trace_.Print("StopScan: ADF, last page done so unlock ");
  engine_.lock.UnLockScanner();
  return result;
}

HRESULT ScanJob::StopComplete(uint32_t rows) {
  trace_.Print("StopScan: Normal EndPage, no abort uiNumRowsK %d", rows);
  if (!IsFeederScan()) {
    if (state_.parameters.wScanMethod == T_METHOD_FLATBED) {
      trace_.Print("StopScan: flatbed, scan done so unlock ");
      engine_.lock.UnLockScanner();
    }
    return S_OK;
  }
  trace_.Print("StopScan: Normal EndPage --  ");
  uint8_t ready = 0;
  HRESULT result = TracedStep("scantk::ADFIsReady", TRACE_API, entry_, error_code_,
                              [&] { return AskFeederReady(state_, trace_, &ready, error_code_); });
  if (FAILED(result)) {
    trace_.Print("StopScan: ADF is Ready Failed Communication failed ");
    return result;
  }
  if (ready) {
    trace_.Print("StopScan: ADF has paper -- don't kick page ");
    return result;
  }
  trace_.Print("StopScan: ADF has no paper -- kick last page ");
  result = MovePaper(entry_, SL_ADF_EJECT_PAGE, trace_, error_code_);
  trace_.Print("StopScan: ADF, last page done so unlock ");
  engine_.lock.UnLockScanner();
  return result;
}

// Nothing was delivered: either the scan never started, or its first read failed.
HRESULT ScanJob::StopWithoutLines() {
  const bool page_begun = state_.scan_phase == kScanTransferring;
  state_.scan_phase = kScanIdle;
  if (!engine_.lock.IsHeld()) {
    trace_.Print(
        "StopScan: Didn't Lock, much less start a scan: Total ScanLines %ld lock state %d ",
        lines_.load(), engine_.lock.IsHeld());
    return S_OK;
  }
  trace_.Print("StopScan: Locked, but didn't start a scan: Total ScanLines %ld lock state %d ",
               lines_.load(), engine_.lock.IsHeld());
  const bool cleared = engine_.exchange.SendCommand(SL_CLEAR_ERRORS, 0) == SL_OK;
  // What is left of a page that broke at its first read would be taken for answers; a network
  // device's data ends with its connection, below.
  if (cleared && page_begun && !state_.IsNetworked()) engine_.flush.FlushTheScanner();
  if (!cleared || engine_.Reset() != SL_OK) return CommunicationFailed();
  if (IsFeederScan()) {
    trace_.Print("StopScan: kick paper ");
    uint32_t ignored = 0;
    MovePaper(entry_, SL_ADF_EJECT_PAGE, trace_, &ignored);
  }
  engine_.lock.UnLockScanner();
  return S_OK;
}

}  // namespace scantk
