// The device's own errors, as the toolkit knows them.
#ifndef SCANTK_PROTOCOL_DEVICE_ERRORS_H_
#define SCANTK_PROTOCOL_DEVICE_ERRORS_H_

#include "protocol/exchange.h"
#include "protocol/flush.h"

namespace scantk {

// The status for an error number of the device.
QrlStatus MapDeviceError(int32_t device_error);

class DeviceErrors {
 public:
  DeviceErrors(Exchange& exchange, Flush& flush) : exchange_(exchange), flush_(flush) {}

  // The device's oldest pending error, mapped and cleared; 0: none; SL_ERROR_INQUIRY_FAILED: it
  // did not tell. An inquiry that fails is answered by draining the device, as its answer may lie
  // behind scan data.
  QrlStatus InquireOldestError();

 private:
  Exchange& exchange_;
  Flush& flush_;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_DEVICE_ERRORS_H_
