// StartScan: prepares the device for a page. The first read starts it.
#include "platform/clock.h"
#include "platform/system.h"
#include "protocol/models.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {

HRESULT STDMETHODCALLTYPE ScannerObject::StartScan(uint32_t hSession, uint32_t* pdwErrorCode) {
  trace_.ReloadSettings();
  scan_start_time_ = TheClock().SecondsSince1970();
  return Method("scantk::StartScan", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) { return StartPage(hSession, entry.state, pdwErrorCode); });
}

HRESULT ScannerObject::StartPage(uint32_t hSession, SessionState& state, uint32_t* pdwErrorCode) {
  const uint32_t process = ProcessId(), thread = ThreadId();
  trace_.Print("StartScan: PID (%lx) (%ld), TID (%lx) (%ld) ScanPhase %ld", process, process,
               thread, thread, state.lScanPhase);
  if (state.lScanPhase != kScanIdle)
    trace_.Print(TRACE_CLASS_ERROR, "StartScan: ScanPhase %ld -- currently already scanning!!!!",
                 state.lScanPhase);
  m_dwScanLines = 0;
  state.engine->exchange.SendCommand(SL_CLEAR_ERRORS, 0);

  HRESULT result = TakeDeviceLock(state, pdwErrorCode);
  if (FAILED(result)) return result;

  const uint16_t method = state.parameters.wScanMethod;
  if (state.capabilities.wPaperPath == T_PATH_SCROLL) {
    trace_.Print("StartScan: Scrollfed device ");
    if (method == T_METHOD_FLATBED) {
      trace_.Print(
          TRACE_CLASS_ERROR,
          "StartScan: Some dump app is asking for a platen scan on a scrollfed device = %d ",
          method);
      return Fail(pdwErrorCode, TERR_ADF_EMPTY);
    }
    trace_.Print("StartScan: GOOD: app is asking for a adf scan on a scrollfed device = %d ",
                 method);
  }
  if (method == T_METHOD_ADF) result = SwitchDuplexOff(state, pdwErrorCode);
  if (SUCCEEDED(result) && method == T_METHOD_ADF && state.DelayedFeedPaperSet == 1)
    result = FeedForScan(hSession, state, pdwErrorCode);
  if (SUCCEEDED(result)) result = CheckErrors(hSession, pdwErrorCode);
  if (SUCCEEDED(result)) result = DownloadForScan(hSession, state, pdwErrorCode);
  trace_.Print("StartScan exit: ScanPhase %ld", state.lScanPhase);
  return result;
}

HRESULT ScannerObject::TakeDeviceLock(SessionState& state, uint32_t* pdwErrorCode) {
  const QrlStatus status = state.engine->lock.LockScanner(0);
  if (status == SL_OK) return S_OK;
  if (status != SL_BUSY) {
    trace_.Print("StartScan: Some scanner device lock problem = %d ", status);
    return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED, VELKAN_E_SCONF_REJECTED);
  }
  trace_.Print(TRACE_CLASS_ERROR, "StartScan: Scanner resources are busy = %d ", status);
  const QrlStatus released = state.engine->lock.UnLockScanner();
  if (released != SL_OK) trace_.Print("StartScan: UnLockScanner = %d ", released);
  return Fail(pdwErrorCode, TERR_RESERVE_BUSY);
}

// The device keeps the switch of an earlier job: without this, single sheets came with their backs.
HRESULT ScannerObject::SwitchDuplexOff(SessionState& state, uint32_t* pdwErrorCode) {
  if (state.setDuplexer == 1 || !state.engine->exchange.IsSwitchedOn(SL_DUPLEX)) return S_OK;
  const QrlStatus status = state.engine->exchange.SendCommand(SL_DUPLEX, 0);
  if (status == SL_OK || status == SL_NULLRESPONSE) return S_OK;
  trace_.Print(TRACE_CLASS_ERROR, "ERROR:StartScan Duplex off Failed, QRL Error Code = %d", status);
  return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
}

HRESULT ScannerObject::FeedForScan(uint32_t hSession, SessionState& state, uint32_t* pdwErrorCode) {
  trace_.Print("StartScan: Need to feed paper = %d (preview 1, final 0)",
               state.parameters.dwScanOptions & T_PREVIEW);
  if (state.setDuplexer == 1) {
    trace_.Print("StartScan, Want duplex = %d", state.setDuplexer);
    const QrlStatus status = state.engine->exchange.SendCommand(SL_DUPLEX, 1);
    if (status == SL_NULLRESPONSE) {
      trace_.Print(" StartScan Duplex requested null but OK: %ld: (5 = null response) ", status);
    } else if (status != SL_OK) {
      trace_.Print(TRACE_CLASS_ERROR, "ERROR:StartScan Duplex Failed, QRL Error Code = %d", status);
      return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
    }
  }
  HRESULT result = ADFMovePaper(hSession, SL_ADF_FEED_PAGE, pdwErrorCode);
  state.DelayedFeedPaperSet = 0;
  return result;
}

HRESULT ScannerObject::DownloadForScan(uint32_t hSession, SessionState& state,
                                       uint32_t* pdwErrorCode) {
  const auto download = [&](bool page_size, uint32_t* code) {
    *code = TERR_NONE;
    return DownLoadScannerParameters(state, &state.parameters, true, code, page_size);
  };
  uint32_t download_code = TERR_NONE;
  HRESULT downloaded = download(true, &download_code);
  state.lScanPhase = kScanStarted;

  HRESULT checked = CheckErrors(hSession, pdwErrorCode);
  if (FAILED(checked)) {
    trace_.Print("StartScan: CheckErrors after download: %ld %ld", checked, *pdwErrorCode);
    downloaded = download(false, &download_code);
    checked = CheckErrors(hSession, pdwErrorCode);
    if (FAILED(checked))
      trace_.Print("StartScan: CheckErrors after 2nd download: %ld %ld", checked, *pdwErrorCode);
  }
  // What the device reports is why the download failed: a jam reads as a jam. Yet it may find
  // nothing wrong with a download that never reached it.
  if (FAILED(checked) || SUCCEEDED(downloaded)) return checked;
  return Fail(pdwErrorCode, download_code, downloaded);
}

}  // namespace scantk
