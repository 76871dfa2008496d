#include "protocol/packet_reader.h"

#include <algorithm>
#include <cstring>

#include "protocol/command_table.h"
#include "protocol/little_endian.h"

namespace scantk {
namespace {

// Reads of a header that bring nothing, beyond the first one.
constexpr int kHeaderRetries = 3;

// Blocks without an image byte, one after another, that a single call puts up with: a device that
// sends nothing else would hold it for ever.
constexpr int kMaxIdleBlocks = 65536;

}  // namespace

BlockHeader ParseBlockHeader(const uint8_t* bytes) {
  return {LittleEndian32(bytes), LittleEndian16(bytes + 4), bytes[7]};
}

int32_t RecordBytes(const uint8_t* record, uint32_t available) {
  switch (*record) {
    case RASTER_START_PAGE:
      return kStartPageBytes;
    case RASTER_DATA: {
      if (available < static_cast<uint32_t>(kDataHeaderBytes)) return kDataHeaderBytes;
      const int32_t count = LittleEndian16(record + 2);
      return count < 0 ? -1 : kDataHeaderBytes + count;
    }
    case RASTER_END_PAGE:
      return kEndPageBytes;
    default:
      return -1;
  }
}

QrlStatus PacketReader::ReadUnpacketizedData(int32_t transfer_type, uint32_t phase, uint8_t* buffer,
                                             uint32_t wanted, uint32_t* got,
                                             bool* hit_end_of_page) {
  *got = 0;
  *hit_end_of_page = false;
  if (phase == kScanIdle) {
    body_.Free();
    ForgetBody();
    return SL_OK;
  }
  if (phase == kScanStarted) BeginPage();
  if (transfer_type == kPlainTransfer) return ReadPlain(buffer, wanted, got);
  if (transfer_type != SL_PACKETIZED2) return SL_BADPARAM;
  if (phase == kScanStarted && !body_ && !body_.Allocate(kScanBufferBytes)) {
    return SL_NOMEMORY;
  }
  const QrlStatus status = Unpack(buffer, wanted, got);
  *hit_end_of_page = page_ended_;
  return status;
}

void PacketReader::BeginPage() {
  header_ = {};
  page_ended_ = false;
  lost_ = false;
  ForgetBody();
  channel_.SetExpectsNothing(false);
}

void PacketReader::ForgetBody() {
  body_length_ = position_ = image_position_ = image_end_ = 0;
  record_type_ = kNoRecord;
}

QrlStatus PacketReader::ReadPlain(uint8_t* buffer, uint32_t wanted, uint32_t* got) {
  const int32_t count = channel_.RecFromScanner(buffer, wanted, kNoTerminator);
  *got = static_cast<uint32_t>(std::max(count, 0));
  return *got == wanted ? SL_OK : SL_SHORTREAD;
}

QrlStatus PacketReader::Unpack(uint8_t* buffer, uint32_t wanted, uint32_t* got) {
  if (lost_) return SL_BADRESPONSE;
  QrlStatus status = SL_OK;
  int idle_blocks = 0;
  for (;;) {
    if (page_ended_) {
      trace_.Print(TRACE_FLOW, "MXVWIA_QRL::ReadUnPkg: R- Pack2 bHitEOP %d", page_ended_);
      return status;
    }
    if (image_position_ < image_end_) {
      const uint32_t count = std::min(image_end_ - image_position_, wanted - *got);
      std::memcpy(buffer + *got, body_.data() + image_position_, count);
      image_position_ += count;
      *got += count;
      idle_blocks = 0;
      if (*got == wanted) return status;
    } else if (position_ < body_length_) {
      if (const QrlStatus taken = TakeRecord(); taken == SL_BADRESPONSE) {
        return taken;
      } else if (taken != SL_OK) {
        status = taken;
      }
    } else if (!HitsEndOfPage(&status)) {
      if (++idle_blocks > kMaxIdleBlocks) return SL_BADRESPONSE;
      if (!ReadBlock(&status)) return status;
    }
  }
}

// Steps past the current record and takes the next one. 0, 502 at the end of an aborted page, or a
// framing error.
QrlStatus PacketReader::TakeRecord() {
  if (record_type_ == RASTER_START_PAGE) {
    trace_.Print(TRACE_FLOW,
                 "ReadUnpacketizedData: Scan RASTER_START_PAGE 1  RecID %d lAdjustSize %d",
                 record_type_, kStartPageBytes);
  }
  const uint8_t* next = body_.data() + position_;
  const uint32_t remaining = body_length_ - position_;
  const int32_t size = RecordBytes(next, remaining);
  if (size < 0) return SL_BADRESPONSE;
  if (*next == RASTER_START_PAGE) {
    trace_.Print(TRACE_FLOW,
                 "ReadUnpacketizedData: Scan RASTER_START_PAGE  2 RecID %d lAdjustSize %d", *next,
                 size);
  } else if (*next == RASTER_END_PAGE) {
    trace_.Print(TRACE_FLOW,
                 "ReadUnpacketizedData: Scan RASTER_END_PAGE bHitEOP %d  RecID %d lAdjustSize %d",
                 true, *next, size);
  }
  if (static_cast<uint32_t>(size) > remaining) {
    trace_.Print(TRACE_FLOW,
                 "MXVWIA_QRL::ReadUnPkg: ReadUnPkg lAdjustSize (%ld) > lRemainingDtfBlock %ld",
                 size, remaining);
    return SL_BADRESPONSE;
  }
  record_type_ = *next;
  if (record_type_ == RASTER_DATA) {
    image_position_ = position_ + static_cast<uint32_t>(kDataHeaderBytes);
    image_end_ = position_ + static_cast<uint32_t>(size);
  }
  position_ += static_cast<uint32_t>(size);
  if (record_type_ != RASTER_END_PAGE) return SL_OK;
  page_ended_ = true;
  std::copy_n(next, kEndPageBytes, end_page_.begin());
  return header_.flags & DTF_ABORT_STREAM ? SL_CANCEL : SL_OK;
}

// The body is used up: was its block the last one of the page?
bool PacketReader::HitsEndOfPage(QrlStatus* status) {
  record_type_ = kNoRecord;
  if (header_.flags & DTF_ABORT_STREAM) {
    page_ended_ = true;
    *status = SL_CANCEL;
  } else if (header_.flags & DTF_END_PAGE) {
    page_ended_ = true;
    trace_.Print(TRACE_INFO, "ReadUnPkg  (consume)EOP %d RecID %d Flags %x, stat %d (cancel = 502)",
                 page_ended_, 0, header_.flags, *status);
  }
  return page_ended_;
}

// False: the call ends with *status.
bool PacketReader::ReadBlock(QrlStatus* status) {
  ForgetBody();
  const auto fail = [&](QrlStatus reason) {
    page_ended_ = true;
    *status = reason;
    return false;
  };
  // Says nothing of the end of the page, or its rows so far would pass for all of them.
  const auto lose = [&] {
    lost_ = true;
    *status = SL_BADRESPONSE;
    return false;
  };
  if (!ReadHeader()) return fail(SL_SHORTREAD);
  if (header_.length < BlockHeader::kBytes) return lose();
  const uint32_t length = header_.BodyBytes();
  if (length > body_.size() && (length > kMaxBlockBytes || !body_.Allocate(length))) {
    return fail(SL_NOMEMORY);
  }
  if (!ReadBody(length)) {
    *status = SL_SHORTREAD;
    return true;
  }
  // An empty body has no record, whatever its header says of the first one.
  if (length == 0) return true;
  const int64_t first = int64_t{header_.record_offset} - int64_t{BlockHeader::kBytes};
  if (first < 0) return lose();
  if (first >= length) return true;  // used up before its first record
  body_length_ = length;
  position_ = static_cast<uint32_t>(first);
  return true;
}

bool PacketReader::ReadHeader() {
  uint8_t bytes[BlockHeader::kBytes] = {};
  int32_t count = channel_.RecFromScanner(bytes, sizeof(bytes), kNoTerminator);
  for (int retry = 1; count == 0 && retry <= kHeaderRetries; ++retry) {
    trace_.Print(TRACE_CLASS_ERROR, "ReadUnpackData: Got fixed header of 0 count = %d ", retry);
    count = channel_.RecFromScanner(bytes, sizeof(bytes), kNoTerminator);
  }
  header_ = ParseBlockHeader(bytes);
  return count == static_cast<int32_t>(sizeof(bytes));
}

bool PacketReader::ReadBody(uint32_t length) {
  const int32_t count = channel_.RecFromScanner(body_.data(), length, kNoTerminator);
  if (count != static_cast<int32_t>(length)) {
    page_ended_ = true;
    trace_.Print(TRACE_FLOW,
                 "MXVWIA_QRL::ReadUnPkg n (%d) != lDtfDataLen (%d), stat %d (cancel = 502) "
                 ",bHitEOP %d ",
                 count, length, SL_SHORTREAD, page_ended_);
    return false;
  }
  if (header_.flags & (DTF_ABORT_STREAM | DTF_END_PAGE)) channel_.SetExpectsNothing(true);
  return true;
}

}  // namespace scantk
