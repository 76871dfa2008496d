// IReserve: the device's scan engine reserved for a job, and the handshake with the person at the
// device. Its function traces carry no category.
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

// How long the device keeps its lock while its user is awaited, in the device's unit; 0 otherwise.
constexpr int32_t kWaitForUser = 600;

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::JobReserveHW(uint32_t hSession, uint32_t,
                                                      uint32_t* pdwErrorCode) {
  return Method("scantk::JobReserveHW", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        trace_.Print(TRACE_INFO, "JobReserveHW: entry");
        SessionState& state = entry.state;
        if (!state.IsNetworked()) {
          state.urs_state = T_URS_START;
          trace_.Print("JobReserveHW: non-network, no-op lock parser, m_URS_SW_semaphore %d ",
                       state.urs_state);
          return S_OK;
        }
        const QrlStatus locked = state.engine->lock.LockScanner(0);
        if (locked == SL_BUSY) {
          trace_.Print(TRACE_CLASS_ERROR, "JobReserveHW: Scanner resources are busy = %d ", locked);
          const QrlStatus released = state.engine->lock.UnLockScanner();
          if (released != SL_OK) trace_.Print("StartScan: UnLockScanner = %d ", released);
          return Fail(pdwErrorCode, TERR_RESERVE_BUSY);
        }
        if (locked != SL_OK) {
          trace_.Print(TRACE_CLASS_ERROR, "StartScan: Some scanner lock problem = %d ", locked);
          return Fail(pdwErrorCode, TERR_RESERVE_FAILED);
        }
        int32_t urs = 0;
        const QrlStatus asked = state.engine->exchange.InquireNumber(SL_URS_STATE, kCurrent, &urs);
        if (asked != SL_OK && asked != SL_NULLRESPONSE) {
          trace_.Print(TRACE_CLASS_ERROR, " GetUserReadyToScanState: Comm error %d  ", asked);
          return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
        }
        HRESULT result = asked == SL_OK ? BeginHandshake(entry, urs, pdwErrorCode)
                                        : SkipHandshake(entry, pdwErrorCode);
        trace_.Print(TRACE_INFO, "JobReserveHW: Main parser and scan engine locked = %d ", locked);
        trace_.Print(TRACE_API, "JobReserveHW: Main parser and scan engine locked = %d ", locked);
        return result;
      });
}

// The device has no handshake: the scan may start.
HRESULT ScannerObject::SkipHandshake(SessionEntry& entry, uint32_t* pdwErrorCode) {
  HRESULT result = SetUserReadyToScanState(entry.handle, T_URS_START, pdwErrorCode);
  trace_.Print(" GetUserReadyToScanState: device doesn't support usr, sw set urs to %d",
               entry.state.urs_state);
  return result;
}

// Asks the device to wait for its user, where it has a variable to show that it waits.
HRESULT ScannerObject::BeginHandshake(SessionEntry& entry, int32_t urs, uint32_t* pdwErrorCode) {
  SessionState& state = entry.state;
  state.urs_state = static_cast<uint32_t>(urs);
  trace_.Print(" GetUserReadyToScanState: (networked) device supports urs is %d", urs);
  HRESULT result = S_OK;
  if (state.urs_state == T_URS_DEFAULT) {
    result = SetUserReadyToScanState(entry.handle, T_URS_WAIT, pdwErrorCode);
    state.engine->lock.SetDeviceTimeout(kWaitForUser);
  }
  if (state.urs_variable == 0)
    result = SetUserReadyToScanState(entry.handle, T_URS_START, pdwErrorCode);
  return result;
}

HRESULT STDMETHODCALLTYPE ScannerObject::JobReleaseHW(uint32_t hSession, uint32_t* pdwErrorCode) {
  return Method("scantk::JobReleaseHW", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        trace_.Print("JobReleaseHW: entry");
        SessionState& state = entry.state;
        if (!state.IsNetworked()) {
          state.urs_state = T_URS_DEFAULT;
          trace_.Print("JobReleaseHW: non-network, no-op release parser, m_URS_SW_semaphore %d",
                       state.urs_state);
          return S_OK;
        }
        const QrlStatus status = state.engine->lock.UnLockScanner();
        if (status != SL_OK)
          trace_.Print(TRACE_CLASS_ERROR,
                       "JobReleaseHW: Problem - (but ignore) UnLockScanner = %d ", status);
        trace_.Print(TRACE_INFO, "JobReleaseHW: UnLockScanner = %d ", status);
        trace_.Print(TRACE_API, "JobReleaseHW: UnLockScanner = %d ", status);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetUserReadyToScanState(uint32_t hSession,
                                                                 URS_STATE* pbyState,
                                                                 uint32_t* pdwErrorCode) {
  return Method("scantk::GetUserReadyToScanState", kNoCategory, hSession, pdwErrorCode)
      .Requires({pbyState})
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        if (!state.IsNetworked()) {
          *pbyState = static_cast<URS_STATE>(state.urs_state);
          trace_.Print("GetUserReadyToScanState: non-network,*pbyState %d ", state.urs_state);
          return S_OK;
        }
        int32_t urs = 0;
        const QrlStatus status = state.engine->exchange.InquireNumber(SL_URS_STATE, kCurrent, &urs);
        if (status == SL_NULLRESPONSE) {
          state.urs_state = T_URS_START;
          trace_.Print(" GetUserReadyToScanState: device doesn't support usr, sw set urs to %d",
                       state.urs_state);
          state.engine->lock.SetDeviceTimeout(0);
        } else if (status != SL_OK) {
          trace_.Print(TRACE_CLASS_ERROR, " GetUserReadyToScanState: Comm error %d  ", status);
          return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
        } else {
          state.urs_state = static_cast<uint32_t>(urs);
          trace_.Print(" GetUserReadyToScanState: device urs is %d", urs);
          trace_.Print(" GetUserReadyToScanState: network device urs is %d", urs);
        }
        *pbyState = static_cast<URS_STATE>(state.urs_state);
        trace_.Print(TRACE_INFO, "GetUserReadyToScanState: urs state %d", state.urs_state);
        trace_.Print(TRACE_API, "GetUserReadyToScanState: urs state %d", state.urs_state);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetUserReadyToScanState(uint32_t hSession,
                                                                 URS_STATE byState,
                                                                 uint32_t* pdwErrorCode) {
  return Method("scantk::SetUserReadyToScanState", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        const uint32_t wanted = byState;
        if (wanted < T_URS_DEFAULT || wanted > T_URS_START) {
          trace_.Print(TRACE_CLASS_ERROR,
                       "SetUserReadyToScanState: invalid URS set state  byState %d", wanted);
          return E_FAIL;
        }
        if (!state.IsNetworked()) {
          state.urs_state = wanted;
          trace_.Print("SetUserReadyToScanState: non-network, byState %d", wanted);
          return S_OK;
        }
        const QrlStatus status =
            state.engine->exchange.SendCommand(SL_URS_STATE, static_cast<int32_t>(wanted));
        if (status == SL_NULLRESPONSE) {
          state.urs_state = T_URS_START;
          state.engine->lock.SetDeviceTimeout(0);
          trace_.Print("SetUserReadyToScanState: device doesn't support urs, se set state to %d",
                       state.urs_state);
        } else if (status != SL_OK) {
          trace_.Print(TRACE_CLASS_ERROR,
                       " SetUserReadyToScanState: Comm error %d (desired state was byState %d ",
                       status, wanted);
          return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
        } else {
          state.urs_state = wanted;
          trace_.Print(
              "SetUserReadyToScanState: device urs state %d pSessionState->m_URS_SW_semaphore %d",
              wanted, state.urs_state);
        }
        if (wanted != T_URS_WAIT) state.engine->lock.SetDeviceTimeout(0);
        for (uint32_t mask : {TRACE_API, TRACE_INFO})
          trace_.Print(mask,
                       "SetUserReadyToScanState: urs state %d pSessionState->m_URS_SW_semaphore %d",
                       wanted, state.urs_state);
        return S_OK;
      });
}

}  // namespace scantk
