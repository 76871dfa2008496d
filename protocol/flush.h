// Drains what the device still sends after a stop or an error.
#ifndef SCANTK_PROTOCOL_FLUSH_H_
#define SCANTK_PROTOCOL_FLUSH_H_

#include <cstdint>

#include "protocol/exchange.h"
#include "protocol/packet_reader.h"
#include "protocol/raw_buffer.h"

namespace scantk {

// One drain. Reads blocks up to the last one of the page; where no block comes, plain bytes until
// there are no more. Bounded in reads, and in time where a device only trickles.
class Flush {
 public:
  Flush(Channel& channel, Exchange& exchange, PacketReader& reader, TraceLog& trace)
      : channel_(channel), exchange_(exchange), reader_(reader), trace_(trace) {}

  // The number of bytes drained. Never fails.
  int32_t FlushTheScanner();

 private:
  enum class Next { kBlock, kPlain, kEnd };

  void Drain();
  Next DrainBlock(int count);
  Next DrainBody(int count);
  void DrainPlain();
  void PrintEndOfPage(int32_t received, int count);
  bool OutOfTime() const;

  Channel& channel_;
  Exchange& exchange_;
  PacketReader& reader_;
  TraceLog& trace_;
  RawBuffer buffer_;
  uint32_t start_tick_ = 0;
  uint64_t total_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_FLUSH_H_
