#include "protocol/flush.h"

#include <algorithm>
#include <limits>

#include "platform/clock.h"
#include "protocol/end_page.h"

namespace scantk {
namespace {

constexpr int kMaxBlocks = 512;
constexpr int kMaxReads = 512;
constexpr int kMaxEmptyReads = 3;

// A plain read of this size may be the end of a page: a block of one end-of-page record.
constexpr int32_t kEndPageBlockBytes = static_cast<int32_t>(BlockHeader::kBytes) + kEndPageBytes;

// What a silent device on the network costs; one that trickles gets no more.
constexpr uint32_t kBudgetMs = 120000;

// The longest wait for a device that has already sent all that it was asked for.
constexpr uint32_t kNothingExpectedMs = 100;

}  // namespace

int32_t Flush::FlushTheScanner() {
  total_ = 0;
  if (!buffer_.Allocate(kScanBufferBytes)) return 0;
  uint32_t read = 0, write = 0, flush = 0;
  channel_.GetScannerTimeouts(&read, &write, &flush);
  const uint32_t wait = channel_.ExpectsNothing() ? std::min(flush, kNothingExpectedMs) : flush;
  channel_.SetScannerTimeouts(wait, write, flush);
  start_tick_ = TheClock().TickCount();
  Drain();
  buffer_.Free();
  channel_.SetScannerTimeouts(read, write, flush);
  return static_cast<int32_t>(std::min<uint64_t>(total_, std::numeric_limits<int32_t>::max()));
}

void Flush::Drain() {
  for (int count = 0; count < kMaxBlocks; ++count) {
    const Next next = OutOfTime() ? Next::kEnd : DrainBlock(count);
    if (next == Next::kPlain) DrainPlain();
    if (next != Next::kBlock) return;
  }
}

bool Flush::OutOfTime() const {
  return TheClock().TickCount() - start_tick_ > kBudgetMs;
}

Flush::Next Flush::DrainBlock(int count) {
  uint8_t bytes[BlockHeader::kBytes] = {};
  const int32_t received = channel_.RecFromScanner(bytes, sizeof(bytes), kNoTerminator);
  reader_.SetHeader(ParseBlockHeader(bytes));
  if (received < 0) {
    trace_.Print(TRACE_CLASS_ERROR,
                 "FlushTheScanner RecFromScanner problem getting header packet: rcvflush %d",
                 received);
    return Next::kEnd;
  }
  if (received < static_cast<int32_t>(sizeof(bytes))) {
    trace_.Print(TRACE_FLUSH, "FlushTheScanner Gimme a header already!!  n %5d  count %d", received,
                 count);
    if (received > 0) return Next::kBlock;
    trace_.Print(TRACE_FLUSH, "FlushTheScanner header 0 >= rcvflush  n %5d  count %d", received,
                 count);
    return Next::kPlain;
  }
  total_ += sizeof(bytes);

  const uint8_t flags = reader_.header().flags;
  bool last_block = true;
  if (flags & DTF_ABORT_STREAM) {
    trace_.Print(TRACE_FLUSH, "FlushTheScanner header s_DtfHdr.bPageFlags & DTF_ABORT_STREAM  %x",
                 flags);
  } else if (flags & DTF_END_PAGE) {
    trace_.Print(TRACE_FLUSH, "FlushTheScanner header s_DtfHdr.bPageFlags & DTF_END_PAGE  %x",
                 flags);
  } else {
    last_block = false;
  }
  const Next next = DrainBody(count);
  return next == Next::kBlock && last_block ? Next::kEnd : next;
}

Flush::Next Flush::DrainBody(int count) {
  const BlockHeader& header = reader_.header();
  uint32_t left = header.BodyBytes();
  while (left > 0) {
    if (OutOfTime()) return Next::kEnd;
    const uint32_t wanted = std::min(left, kScanBufferBytes);
    const int32_t received = channel_.RecFromScanner(buffer_.data(), wanted, kNoTerminator);
    if (received < 0) {
      trace_.Print(TRACE_CLASS_ERROR,
                   "FlushTheScanner Header recieved  RecFromScanner problem for body: rcvflush %d",
                   received);
      return Next::kEnd;
    }
    if (received == 0) {
      trace_.Print(TRACE_FLUSH, "FlushTheScanner data 0 >= rcvflush  n %5d  count %d", received,
                   count);
      return Next::kPlain;
    }
    if (received < static_cast<int32_t>(wanted)) {
      trace_.Print(TRACE_FLUSH,
                   "FlushTheScanner Rec : length %5d != requested lDtfDataLen %d iCount: %d",
                   received, header.length, count);
    }
    left -= static_cast<uint32_t>(received);
    total_ += static_cast<uint32_t>(received);
  }
  return Next::kBlock;
}

void Flush::DrainPlain() {
  int empty_reads = 0;
  for (int count = 0; count < kMaxReads && !OutOfTime(); ++count) {
    const int32_t received =
        channel_.RecFromScanner(buffer_.data(), kScanBufferBytes, kNoTerminator);
    if (received < 0) {
      trace_.Print(TRACE_CLASS_ERROR,
                   "FlushTheScanner RecFromScanner problem (old style flush): rcvflush %d",
                   received);
      return;
    }
    trace_.Print(TRACE_FLUSH, "FlushTheScanner Rec : length %5d iCount: %d", received, count);
    total_ += static_cast<uint32_t>(received);
    if (received == 0) {
      trace_.Print(TRACE_CACHE, "FlushTheScanner Rec : Got 0 reads -  zeroRead %ld iCount %d",
                   ++empty_reads, count);
      if (empty_reads < kMaxEmptyReads) continue;
      trace_.Print(TRACE_FLUSH, "FlushTheScanner Rec : Got 5 0 reads --break  %ld iCount %d",
                   empty_reads, count);
      return;
    }
    empty_reads = 0;
    trace_.Print(TRACE_FLUSH, "FlushTheScanner Rec : Got a reads - rcvflush %ld iCount %d",
                 received, count);
    if (received == kEndPageBlockBytes) {
      PrintEndOfPage(received, count);
      return;
    }
  }
}

void Flush::PrintEndOfPage(int32_t received, int count) {
  trace_.Print(TRACE_FLUSH, "FlushTheScanner Rec : Got a reads EOP? - rcvflush %ld iCount %d",
               received, count);
  uint32_t abort_state = 0, rows_k = 0, rows_cmy = 0;
  const QrlStatus status =
      GetEndPageInfo(reader_, exchange_, trace_, &abort_state, &rows_k, &rows_cmy);
  trace_.Print(
      TRACE_FLUSH,
      status == SL_OK ? "Break: Got EndPage +  uiNumRowsK %d" : "NOT EndPage +  uiNumRowsK %d",
      rows_k);
}

}  // namespace scantk
