// What the toolkit knows of one open device: the record that every device method works on.
#ifndef SCANTK_SESSION_SESSION_STATE_H_
#define SCANTK_SESSION_SESSION_STATE_H_

#include <cstdint>
#include <memory>

#include "contract/records.h"
#include "protocol/protocol_engine.h"

namespace scantk {

// Zero until something is learnt or chosen. Used by whoever holds the device. The trace calls some
// of it by older names: those in brackets.
//
// The scan phase:
//
//   idle (4) --StartScan--> started (2) --ReadScanEx--> transferring (3)
//      ^                        |                             |
//      +-------StopScan---------+-----------------------------+
struct SessionState {
  std::unique_ptr<ProtocolEngine> engine;
  uint32_t model = 0;  // family number (m_ModelID); non-zero: the capabilities have been learnt
  SCANNER_PARAMETERS parameters = {};
  SCANNER_CAPABILITIES capabilities = {};
  uint8_t tone_map[256] = {};
  uint32_t tone_map_pending = 0;  // 1: goes to the device with every scan
  BUFFER_INFO buffer_info = {};
  uint32_t scan_phase = 0;     // kScanIdle and its like (lScanPhase)
  uint32_t feed_pending = 0;   // 1: feed when the next feeder scan starts (DelayedFeedPaperSet)
  uint32_t eject_pending = 0;  // 1: the host asked for an eject (DelayedEjectPaperSet)
  uint32_t jpeg_enabled = 0;   // (m_bEnableJPEG)
  uint32_t jpeg_level = 0;     // 0: chosen by the resolution (m_JPEGCompressionLevel)
  uint32_t urs_state = 0;      // URS_STATE as the toolkit knows it (m_URS_SW_semaphore)
  uint32_t io_type = 0;        // T_IO_USB and its like
  uint32_t urs_variable = 0;   // 0: the device starts without asking its user
  uint32_t duplex = 0;         // 1: the host wants both sides (setDuplexer)

  ADF_CAPABILITIES adf = {};
  ADF2_CAPABILITIES adf2 = {};
  ADF3_CAPABILITIES adf3 = {};
  COMPRESSION_CAPABILITIES compression = {};
  CONTROL_PANEL_CAPABILITIES panel = {};
  SPF_CAPABILITIES spf = {};

  const char* ModelNumber() const {
    return reinterpret_cast<const char*>(capabilities.byModelNumber);
  }
  bool IsNetworked() const { return io_type == T_IO_NETWORK; }
};

}  // namespace scantk

#endif  // SCANTK_SESSION_SESSION_STATE_H_
