// The engine that speaks QRL to one device: commands and inquiries with a value cache, scan data
// unpacked and run through the image pipeline, the device-side lock. One engine belongs to one
// session and owns the session's transport. It takes no lock: its callers hold the device.
#ifndef SCANTK_PROTOCOL_PROTOCOL_ENGINE_H_
#define SCANTK_PROTOCOL_PROTOCOL_ENGINE_H_

#include <cstdint>
#include <memory>

#include "diag/trace_log.h"
#include "io/mxvio.h"
#include "protocol/command_table.h"
#include "protocol/qrl_status.h"

namespace scantk {

class ProtocolEngine {
 public:
  ProtocolEngine();
  ProtocolEngine(const ProtocolEngine&) = delete;
  ProtocolEngine& operator=(const ProtocolEngine&) = delete;
  ~ProtocolEngine();  // disconnects, closes and destroys the transport

  // --- the transport ---
  // Makes the transport for the device I/O type and opens it by name. 0, SL_ALREADYOPEN,
  // SL_BADPARAM, SL_NOMEMORY, or SL_NOACCESS (the transport stays attached then).
  uint32_t InitIO(const char* device_name, uint32_t dwDevIOType);
  uint32_t ConnectToIO();       // 0, SL_BUSY, SL_FIREWALL or SL_NOACCESS
  uint32_t DisConnectFromIO();  // 0, or 1 when there is none or it failed
  // For tests: takes `transport` in place of one made by InitIO.
  void AttachTransport(std::unique_ptr<mxvio> transport);
  int SetScannerTimeouts(uint32_t read, uint32_t write, uint32_t flush);     // 0 or -1
  int GetScannerTimeouts(uint32_t* read, uint32_t* write, uint32_t* flush);  // 0 or -1

  // --- commands and inquiries ---
  QrlStatus SendCommand(uint32_t id, int32_t value);
  // `kind`: 'R' the current value, 'L' the minimum, 'H' the maximum. *value is 0 on any failure.
  QrlStatus InquireNumber(uint32_t id, char kind, int32_t* value);
  // `buffer` holds `capacity` + 1 bytes; *length is the length that the device announced, or -1.
  QrlStatus InquireString(uint32_t id, char* buffer, uint32_t capacity, int32_t* length);
  // The same into exactly `capacity` bytes, without a terminating NUL.
  QrlStatus InquireBytes(uint32_t id, uint8_t* buffer, uint32_t capacity, int32_t* length);
  // The device's oldest pending error, mapped and cleared; 0: none.
  QrlStatus InquireOldestError();
  QrlStatus InquireModel(int32_t* model);
  // The device's reset.
  QrlStatus Reset() { return SendCommand(SL_RESET, 0); }
  // `data` holds as many bytes as the table type has (checked by type, not by the engine).
  QrlStatus DownloadTable(uint32_t type, const uint8_t* data);

  // --- the scan ---
  // Phase 2 starts a page, 3 continues it, 4 ends the scan. Up to `size` raster bytes are written
  // to `buffer`. 0: delivered, more may follow; SL_PAGE_FINISHED: nothing more; others: failed.
  QrlStatus Scan(uint32_t phase, uint8_t* buffer, uint32_t size, uint32_t* written);
  // 0, or SL_NULLRESPONSE when no end-of-page record has come.
  QrlStatus GetEndPageInfo(uint32_t* abort_state, uint32_t* rows_k, uint32_t* rows_cmy);
  // Drains what the device still sends; the number of bytes, or a negative error.
  int32_t FlushTheScanner();

  // --- the device-side lock ---
  QrlStatus LockScanner(int32_t timeout);  // 0, SL_BUSY, 4, 502, or a mapped device error
  QrlStatus UnLockScanner();               // disconnects the transport too
  QrlStatus SetDeviceTimeout(int32_t timeout);
  bool HasDeviceLock() const;

  // 1: log the raw scan data, and make pipeline errors end the page instead of failing it.
  void SetSwitchValues(uint32_t dwValue1);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_PROTOCOL_ENGINE_H_
