// StartScan: prepares the device for a page. The first read starts it.
#include "features/paper.h"
#include "platform/clock.h"
#include "platform/system.h"
#include "protocol/models.h"
#include "scanner/method.h"
#include "scanner/scan_job.h"
#include "scanner/scanner_object.h"

namespace scantk {

HRESULT STDMETHODCALLTYPE ScannerObject::StartScan(uint32_t hSession, uint32_t* pdwErrorCode) {
  trace_.ReloadSettings();
  scan_start_time_ = TheClock().SecondsSince1970();
  return Method("scantk::StartScan", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) {
        return ScanJob(entry, trace_, scan_lines_, pdwErrorCode).Start();
      });
}

HRESULT ScanJob::Start() {
  const uint32_t process = ProcessId(), thread = ThreadId();
  trace_.Print("StartScan: PID (%lx) (%ld), TID (%lx) (%ld) ScanPhase %ld", process, process,
               thread, thread, state_.scan_phase);
  if (state_.scan_phase != kScanIdle)
    trace_.Print(TRACE_CLASS_ERROR, "StartScan: ScanPhase %ld -- currently already scanning!!!!",
                 state_.scan_phase);
  lines_ = 0;
  engine_.exchange.SendCommand(SL_CLEAR_ERRORS, 0);

  HRESULT result = TakeDeviceLock();
  if (FAILED(result)) return result;

  const uint16_t method = state_.parameters.wScanMethod;
  if (state_.capabilities.wPaperPath == T_PATH_SCROLL) {
    trace_.Print("StartScan: Scrollfed device ");
    if (method == T_METHOD_FLATBED) {
      trace_.Print(
          TRACE_CLASS_ERROR,
          "StartScan: Some dump app is asking for a platen scan on a scrollfed device = %d ",
          method);
      return Fail(error_code_, TERR_ADF_EMPTY);
    }
    trace_.Print("StartScan: GOOD: app is asking for a adf scan on a scrollfed device = %d ",
                 method);
  }
  if (method == T_METHOD_ADF) result = SwitchDuplexOff();
  if (SUCCEEDED(result) && method == T_METHOD_ADF && state_.feed_pending == 1) result = Feed();
  if (SUCCEEDED(result)) result = CheckErrors();
  if (SUCCEEDED(result)) result = Download();
  trace_.Print("StartScan exit: ScanPhase %ld", state_.scan_phase);
  return result;
}

HRESULT ScanJob::TakeDeviceLock() {
  const QrlStatus status = engine_.lock.LockScanner(0);
  if (status == SL_OK) return S_OK;
  if (status != SL_BUSY) {
    trace_.Print("StartScan: Some scanner device lock problem = %d ", status);
    return Fail(error_code_, TERR_SCANNER_COMMUNICATION_FAILED, VELKAN_E_SCONF_REJECTED);
  }
  trace_.Print(TRACE_CLASS_ERROR, "StartScan: Scanner resources are busy = %d ", status);
  const QrlStatus released = engine_.lock.UnLockScanner();
  if (released != SL_OK) trace_.Print("StartScan: UnLockScanner = %d ", released);
  return Fail(error_code_, TERR_RESERVE_BUSY);
}

// The device keeps the switch of an earlier job: without this, single sheets came with their backs.
HRESULT ScanJob::SwitchDuplexOff() {
  if (state_.duplex == 1 || !engine_.exchange.IsSwitchedOn(SL_DUPLEX)) return S_OK;
  const QrlStatus status = engine_.exchange.SendCommand(SL_DUPLEX, 0);
  if (status == SL_OK || status == SL_NULLRESPONSE) return S_OK;
  trace_.Print(TRACE_CLASS_ERROR, "ERROR:StartScan Duplex off Failed, QRL Error Code = %d", status);
  return CommunicationFailed();
}

HRESULT ScanJob::Feed() {
  trace_.Print("StartScan: Need to feed paper = %d (preview 1, final 0)",
               state_.parameters.dwScanOptions & T_PREVIEW);
  if (state_.duplex == 1) {
    trace_.Print("StartScan, Want duplex = %d", state_.duplex);
    const QrlStatus status = engine_.exchange.SendCommand(SL_DUPLEX, 1);
    if (status == SL_NULLRESPONSE) {
      trace_.Print(" StartScan Duplex requested null but OK: %ld: (5 = null response) ", status);
    } else if (status != SL_OK) {
      trace_.Print(TRACE_CLASS_ERROR, "ERROR:StartScan Duplex Failed, QRL Error Code = %d", status);
      return CommunicationFailed();
    }
  }
  HRESULT result = MovePaper(entry_, SL_ADF_FEED_PAGE, trace_, error_code_);
  state_.feed_pending = 0;
  return result;
}

HRESULT ScanJob::Download() {
  uint32_t download_code = TERR_NONE;
  const auto download = [&](Parameters which) {
    download_code = TERR_NONE;
    return DownLoadScannerParameters(state_, &state_.parameters, which, trace_, &download_code);
  };
  HRESULT downloaded = download(Parameters::kAll);
  state_.scan_phase = kScanStarted;

  HRESULT checked = CheckErrors();
  if (FAILED(checked)) {
    trace_.Print("StartScan: CheckErrors after download: %ld %ld", checked, *error_code_);
    downloaded = download(Parameters::kAllButPageSize);
    checked = CheckErrors();
    if (FAILED(checked))
      trace_.Print("StartScan: CheckErrors after 2nd download: %ld %ld", checked, *error_code_);
  }
  // What the device reports is why the download failed: a jam reads as a jam. Yet it may find
  // nothing wrong with a download that never reached it.
  if (FAILED(checked) || SUCCEEDED(downloaded)) return checked;
  return Fail(error_code_, download_code, downloaded);
}

}  // namespace scantk
