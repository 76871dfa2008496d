// The scan job: what one call of StartScan, ReadScanEx or StopScan does with the page of a session.
#ifndef SCANTK_SCANNER_SCAN_JOB_H_
#define SCANTK_SCANNER_SCAN_JOB_H_

#include <atomic>
#include <cstdint>

#include "diag/trace_log.h"
#include "session/session_registry.h"

namespace scantk {

// How much of the parameters goes to the device: those that decide the page's geometry, all but the
// size of a feeder's page, which some devices refuse, or all.
enum class Parameters { kGeometry, kAllButPageSize, kAll };

// Turns a parameter record into device commands, and what the device makes of it into the session's
// buffer information. The record is read once. In the trace a method of its own.
HRESULT DownLoadScannerParameters(SessionState& state, const SCANNER_PARAMETERS* record,
                                  Parameters which, TraceLog& trace, uint32_t* error_code);

// The caller holds the device. Error codes are written on failure, and for what comes with S_OK.
class ScanJob {
 public:
  // `lines` counts what was delivered since the last start, across calls.
  ScanJob(SessionEntry& entry, TraceLog& trace, std::atomic<uint32_t>& lines, uint32_t* error_code)
      : entry_(entry),
        state_(entry.state),
        engine_(*entry.state.engine),
        trace_(trace),
        lines_(lines),
        error_code_(error_code) {}

  // start_scan.cpp: prepares the device for a page.
  HRESULT Start();
  // reading.cpp: up to `bytes` bytes of raster lines, starting the page with the first.
  HRESULT Read(uint8_t* buffer, uint32_t bytes, uint32_t* bytes_read);
  // stop_scan.cpp: ends the page, whatever state it is in.
  HRESULT Stop();

 private:
  HRESULT CheckErrors();
  HRESULT CommunicationFailed() const;

  HRESULT TakeDeviceLock();
  HRESULT SwitchDuplexOff();
  HRESULT Feed();
  HRESULT Download();

  HRESULT ReadPieces(uint8_t* destination, uint32_t wanted, uint32_t* total, uint32_t* end_rows);
  HRESULT TraceScanStatus(QrlStatus status, uint32_t remaining, uint32_t got, uint32_t* end_rows);
  uint32_t TrimToPage(uint32_t lines, uint32_t total, uint32_t bytes_per_line, uint32_t rows);

  bool IsFeederScan() const { return state_.parameters.wScanMethod == T_METHOD_ADF; }
  HRESULT StopCut(QrlStatus status);
  HRESULT StopAborted();
  HRESULT StopComplete(uint32_t rows);
  HRESULT StopWithoutLines();

  SessionEntry& entry_;
  SessionState& state_;
  ProtocolEngine& engine_;
  TraceLog& trace_;
  std::atomic<uint32_t>& lines_;  // scan_lines_ in the trace
  uint32_t* error_code_;
};

}  // namespace scantk

#endif  // SCANTK_SCANNER_SCAN_JOB_H_
