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

  // As the protocol engine declares them. `timeout` is in the device's own unit.
  QrlStatus LockScanner(int32_t timeout);
  QrlStatus UnLockScanner();
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
