// Drains what the device still sends after a stop or an error, so that the next answer is read from
// its start.
//
//            no header                 three empty reads, one of an end block's size
//   blocks ------------------> plain ------------------------------------------------> end
//      |   a body ends early                                                            ^
//      +--------------------------------------------------------------------------------+
//        last block of the page, failed read, 512 blocks or reads, two minutes
//
// Each read waits for a flush time-out, and for 100 ms at most when the last block has come
// already.
#ifndef SCANTK_PROTOCOL_FLUSH_H_
#define SCANTK_PROTOCOL_FLUSH_H_

#include <cstdint>

#include "protocol/exchange.h"
#include "protocol/packet_reader.h"
#include "protocol/raw_buffer.h"

namespace scantk {

class Flush {
 public:
  Flush(Channel& channel, Exchange& exchange, PacketReader& reader, TraceLog& trace)
      : channel_(channel), exchange_(exchange), reader_(reader), trace_(trace) {}

  // The number of bytes drained, headers included. Never fails; the time-outs are as before it.
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
