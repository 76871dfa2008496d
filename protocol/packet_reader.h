// Unpacks the blocks and records in which a device frames a page into plain image bytes.
//
// A block is an 8-byte header and a body of records, all numbers little-endian:
//
//   block   0  length, this header included     32 bits
//           4  offset of the first record, from the header's start; 8: the body begins with it,
//              at or behind the body's end: it has none    16 bits, signed
//           7  flags                             8 bits
//   record  0  type                              8 bits
//     start of page    36 bytes in all, unused
//     raster data      2  number n of image bytes    16 bits, signed
//                      4  the n bytes
//     end of page      4  row count              32 bits
//                      8  the same of colour     32 bits
#ifndef SCANTK_PROTOCOL_PACKET_READER_H_
#define SCANTK_PROTOCOL_PACKET_READER_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "diag/trace_log.h"
#include "protocol/channel.h"
#include "protocol/qrl_status.h"
#include "protocol/raw_buffer.h"

namespace scantk {

// The size of the buffers through which scan data comes; a larger block gets a larger one.
inline constexpr uint32_t kScanBufferBytes = 62000;

// The longest block that a device may send. A longer one counts as more than there is memory for.
inline constexpr uint32_t kMaxBlockBytes = 64u << 20;

// Flags of a block.
inline constexpr uint8_t DTF_ABORT_STREAM = 0x20;  // the device aborted the page
inline constexpr uint8_t DTF_END_PAGE = 0x1A;      // any of these: the last block of the page

struct BlockHeader {
  static constexpr size_t kBytes = 8;
  uint32_t length = 0;
  int16_t record_offset = 0;
  uint8_t flags = 0;

  // Bytes that follow the header.
  uint32_t BodyBytes() const {
    return length > kBytes ? length - static_cast<uint32_t>(kBytes) : 0;
  }
};
BlockHeader ParseBlockHeader(const uint8_t* bytes);

// Types and sizes of records.
inline constexpr uint8_t RASTER_START_PAGE = 0;
inline constexpr uint8_t RASTER_DATA = 1;
inline constexpr uint8_t RASTER_END_PAGE = 2;
inline constexpr int32_t kStartPageBytes = 36;
inline constexpr int32_t kDataHeaderBytes = 4;
inline constexpr int32_t kEndPageBytes = 12;

// The size of the record whose first `available` (at least 1) bytes are given; it may be more than
// is available. -1: no such type, or a negative count.
int32_t RecordBytes(const uint8_t* record, uint32_t available);

class PacketReader {
 public:
  PacketReader(Channel& channel, TraceLog& trace) : channel_(channel), trace_(trace) {}
  PacketReader(const PacketReader&) = delete;
  PacketReader& operator=(const PacketReader&) = delete;

  // Phase 2 begins a page and reads, 3 reads on, 4 frees the block's memory and reads nothing. Up
  // to `wanted` image bytes are copied to `buffer`; *got counts them even when the call fails.
  // 0, 4 framing error (which does not end the page: reading on meets it again), 10 unknown
  // transfer type, 17 short read, 25 no memory, 502 aborted by the device. After the end of the
  // page: 0, and nothing got.
  QrlStatus ReadUnpacketizedData(int32_t transfer_type, uint32_t phase, uint8_t* buffer,
                                 uint32_t wanted, uint32_t* got, bool* hit_end_of_page);

  // Marks the end-of-page record as absent.
  void ForgetEndPage() { end_page_.fill(0xFF); }
  bool HasEndPage() const { return end_page_[0] == RASTER_END_PAGE; }
  // The record as it came, kEndPageBytes bytes.
  const uint8_t* EndPage() const { return end_page_.data(); }

  // The last block header read, by this reader or by who drains the device.
  const BlockHeader& header() const { return header_; }
  void SetHeader(const BlockHeader& header) { header_ = header; }

  // The size of the buffer for a block's body, 0 when there is none.
  size_t capacity() const { return body_.size(); }

 private:
  QrlStatus ReadPlain(uint8_t* buffer, uint32_t wanted, uint32_t* got);
  QrlStatus Unpack(uint8_t* buffer, uint32_t wanted, uint32_t* got);
  QrlStatus TakeRecord();
  bool HitsEndOfPage(QrlStatus* status);
  bool ReadBlock(QrlStatus* status);
  bool ReadHeader();
  bool ReadBody(uint32_t length);
  void BeginPage();
  void ForgetBody();

  static constexpr uint8_t kNoRecord = 0xFF;

  Channel& channel_;
  TraceLog& trace_;
  RawBuffer body_;
  BlockHeader header_;
  std::array<uint8_t, kEndPageBytes> end_page_{0xFF};
  bool page_ended_ = false;
  bool lost_ = false;  // a block's header made no sense: what follows cannot be told apart
  uint32_t body_length_ = 0;
  uint32_t position_ = 0;            // behind the current record
  uint8_t record_type_ = kNoRecord;  // of the current record
  uint32_t image_position_ = 0;      // the unread image bytes of the current record
  uint32_t image_end_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_PACKET_READER_H_
