// The lock inside the device, taken over the wire, by which it serves one host for a whole job.
#ifndef SCANTK_PROTOCOL_DEVICE_LOCK_H_
#define SCANTK_PROTOCOL_DEVICE_LOCK_H_

#include <cstdint>

#include "protocol/device_errors.h"
#include "protocol/exchange.h"

namespace scantk {

class DeviceLock {
 public:
  DeviceLock(Channel& channel, Exchange& exchange, DeviceErrors& errors, TraceLog& trace)
      : channel_(channel), exchange_(exchange), errors_(errors), trace_(trace) {}

  // `timeout` is in the device's own unit. 0, SL_BUSY: another host has it, SL_BADRESPONSE: it did
  // not answer, SL_CANCEL: not locked; or another device error that was pending, locked all the
  // same.
  QrlStatus LockScanner(int32_t timeout);
  // Gives the lock back, if there is one, and disconnects the transport in any case.
  QrlStatus UnLockScanner();
  // Only where the device tells that there is a lock.
  QrlStatus SetDeviceTimeout(int32_t timeout);
  bool IsHeld() const { return held_; }

 private:
  // The identifier of the lock that the device has granted, 0 for none.
  QrlStatus InquireLockId(char* text, uint32_t capacity, int32_t* lock_id);

  Channel& channel_;
  Exchange& exchange_;
  DeviceErrors& errors_;
  TraceLog& trace_;
  bool held_ = false;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_DEVICE_LOCK_H_
