#include "protocol/device_lock.h"

#include <cstring>

#include "protocol/answer_parser.h"

namespace scantk {
namespace {

constexpr uint32_t kLockIdCapacity = 255;

}  // namespace

QrlStatus DeviceLock::InquireLockId(char* text, uint32_t capacity, int32_t* lock_id) {
  int32_t length = 0;
  const QrlStatus status = exchange_.InquireString(SL_DEVLOCK_ID, text, capacity, &length);
  if (status == SL_OK) *lock_id = ParseDecimal(text + std::strspn(text, " \t"), nullptr);
  return status;
}

QrlStatus DeviceLock::LockScanner(int32_t timeout) {
  trace_.Print(TRACE_API, "MXVWIA_QRL::LockScanner entered: desired timeout: %d", timeout);
  const QrlStatus pending = errors_.InquireOldestError();
  if (pending == SL_CANCEL) return pending;
  if (exchange_.SendCommand(SL_DEVLOCK, 1) != SL_OK) {
    trace_.Print(TRACE_CLASS_ERROR, "MXVWIA_QRL::SetDevLock(SL_DEVLOCK_ID) Failed");
    return SL_BADRESPONSE;
  }
  char text[kLockIdCapacity + 1];
  int32_t lock_id = 0;
  if (InquireLockId(text, kLockIdCapacity, &lock_id) != SL_OK) {
    trace_.Print(TRACE_CLASS_ERROR, "MXVWIA_QRL::InquireString(SL_DEVLOCK_ID) Failed");
    return SL_BADRESPONSE;
  }
  trace_.Print(TRACE_FLOW, "MXVWIA_QRL::AcquireScanEngine Returned LockID = %s",
               static_cast<const char*>(text));
  held_ = true;
  if (lock_id == 0) {
    // Somebody else has it; our request for it is still in the device.
    UnLockScanner();
    held_ = false;
    trace_.Print(TRACE_INFO, "MXVWIA_QRL::LockScanner released lock request ");
    return SL_BUSY;
  }
  trace_.Print(TRACE_INFO, "MXVWIA_QRL::LockScanner we have a lock ");
  if (exchange_.SendCommand(SL_DEVLOCK_TIMEOUT, timeout) != SL_OK) {
    trace_.Print(TRACE_INFO, "MXVWIA_QRL::LockScanner error setting lock timeout");
  }
  return pending;
}

QrlStatus DeviceLock::UnLockScanner() {
  QrlStatus status = SL_OK;
  if (held_) {
    exchange_.SendCommand(SL_DEVLOCK_TIMEOUT, 0);
    status = exchange_.SendCommand(SL_DEVLOCK, 0);
    if (status == SL_OK) {
      held_ = false;
      trace_.Print(TRACE_INFO, "MXVWIA_QRL::UnLockScanner called as had a lock ");
    } else {
      trace_.Print(TRACE_CLASS_ERROR, "MXVWIA_QRL::UnLockScanner failed ");
    }
  }
  channel_.DisConnectFromIO();
  return status;
}

QrlStatus DeviceLock::SetDeviceTimeout(int32_t timeout) {
  trace_.Print(TRACE_API, "MXVWIA_QRL::SetDeviceTimeout entered: desired timeout: %d", timeout);
  char text[kLockIdCapacity + 1];
  int32_t lock_id = 0;
  if (InquireLockId(text, kLockIdCapacity, &lock_id) != SL_OK) {
    trace_.Print(TRACE_INFO, "MXVWIA_QRL::SetDeviceTimeout InquireString(SL_DEVLOCK_ID) Failed ");
    return SL_BADRESPONSE;
  }
  if (lock_id == 0) {
    trace_.Print(TRACE_INFO, "MXVWIA_QRL::SetDeviceTimeout doesn't have a lock ");
    return SL_OK;
  }
  trace_.Print(TRACE_INFO, "MXVWIA_QRL::SetDeviceTimeout set timeout to %d ", timeout);
  const QrlStatus status = exchange_.SendCommand(SL_DEVLOCK_TIMEOUT, timeout);
  if (status != SL_OK) trace_.Print(TRACE_CLASS_ERROR, "MXVWIA_QRL::SetDeviceTimeout failed ");
  return status;
}

}  // namespace scantk
