// The engine that speaks QRL to one device: commands and inquiries with a value cache, scan data
// unpacked and run through the image pipeline, the device-side lock. One engine belongs to one
// session and owns the session's transport. It takes no lock: its callers hold the device.
#ifndef SCANTK_PROTOCOL_PROTOCOL_ENGINE_H_
#define SCANTK_PROTOCOL_PROTOCOL_ENGINE_H_

#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/channel.h"
#include "protocol/device_errors.h"
#include "protocol/device_lock.h"
#include "protocol/download_table.h"
#include "protocol/end_page.h"
#include "protocol/exchange.h"
#include "protocol/flush.h"
#include "protocol/packet_reader.h"
#include "protocol/scan_engine.h"

namespace scantk {

// Its parts, each on those above it; what they promise stands with them.
struct ProtocolEngine {
  ProtocolEngine() = default;
  ProtocolEngine(const ProtocolEngine&) = delete;
  ProtocolEngine& operator=(const ProtocolEngine&) = delete;
  ~ProtocolEngine();  // disconnects, closes and destroys the transport

  TraceLog trace;
  Channel channel{trace};
  Exchange exchange{channel, trace};
  PacketReader reader{channel, trace};
  Flush flush{channel, exchange, reader, trace};
  DeviceErrors errors{exchange, flush};
  DeviceLock lock{channel, exchange, errors, trace};
  ScanEngine scan{exchange, errors, reader, trace};

  // The device's reset.
  QrlStatus Reset() { return exchange.SendCommand(SL_RESET, 0); }
  QrlStatus DownloadTable(uint32_t type, const uint8_t* data) {
    return scantk::DownloadTable(channel, exchange, trace, type, data);
  }
  QrlStatus GetEndPageInfo(uint32_t* abort_state, uint32_t* rows_k, uint32_t* rows_cmy) {
    return scantk::GetEndPageInfo(reader, exchange, trace, abort_state, rows_k, rows_cmy);
  }
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_PROTOCOL_ENGINE_H_
