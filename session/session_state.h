// What the toolkit knows of one open device: the record that every device method works on.
#ifndef SCANTK_SESSION_SESSION_STATE_H_
#define SCANTK_SESSION_SESSION_STATE_H_

#include <cstdint>
#include <memory>

#include "contract/records.h"
#include "protocol/protocol_engine.h"

namespace scantk {

// Zero until something is learnt or chosen. Used by whoever holds the device.
//
// The scan phase (lScanPhase):
//
//   idle (4) --StartScan--> started (2) --ReadScanEx--> transferring (3)
//      ^                        |                             |
//      +-------StopScan---------+-----------------------------+
struct SessionState {
  std::unique_ptr<ProtocolEngine> engine;
  uint32_t m_ModelID = 0;  // model family; non-zero: the capabilities have been learnt
  SCANNER_PARAMETERS parameters = {};
  SCANNER_CAPABILITIES capabilities = {};
  uint8_t toneMap[256] = {};
  uint32_t toneMapPending = 0;  // 1: goes to the device with every scan
  BUFFER_INFO bufferInfo = {};
  uint32_t lScanPhase = 0;
  uint32_t DelayedFeedPaperSet = 0;   // 1: feed when the next feeder scan starts
  uint32_t DelayedEjectPaperSet = 0;  // 1: the host asked for an eject; pages leave at StopScan
  uint32_t m_bEnableJPEG = 0;
  uint32_t m_JPEGCompressionLevel = 0;  // 0: chosen by the resolution
  uint32_t m_URS_SW_semaphore = 0;      // URS_STATE as the toolkit knows it
  uint32_t dwDevIOType = 0;
  uint32_t ursVariable = 0;  // 0: the device starts without asking its user
  uint32_t setDuplexer = 0;

  ADF_CAPABILITIES adf = {};
  ADF2_CAPABILITIES adf2 = {};
  ADF3_CAPABILITIES adf3 = {};
  COMPRESSION_CAPABILITIES compression = {};
  CONTROL_PANEL_CAPABILITIES panel = {};
  SPF_CAPABILITIES spf = {};

  const char* ModelNumber() const {
    return reinterpret_cast<const char*>(capabilities.byModelNumber);
  }
  bool IsNetworked() const { return dwDevIOType == T_IO_NETWORK; }
};

}  // namespace scantk

#endif  // SCANTK_SESSION_SESSION_STATE_H_
