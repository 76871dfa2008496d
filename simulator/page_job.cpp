#include "simulator/page_job.h"

#include <algorithm>
#include <cstring>

namespace scantk::sim {
namespace {

constexpr size_t kHeaderBytes = 8;
constexpr size_t kStartRecordBytes = 36;
constexpr size_t kDataHeaderBytes = 4;
constexpr uint8_t kLastBlock = 0x02;
constexpr uint8_t kAborted = 0x20;
constexpr uint8_t kUnused = 0xA7;  // in every byte that a host must not look at

void PutLittle(uint8_t* at, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

void PutHeader(std::vector<uint8_t>* block, uint8_t flags) {
  PutLittle(block->data(), block->size(), 4);
  PutLittle(block->data() + 4, kHeaderBytes, 2);
  (*block)[6] = kUnused;
  (*block)[7] = flags;
}

// The rows of the paper, as many as the order says.
class RawBytes : public ImageBytes {
 public:
  RawBytes(std::shared_ptr<const Paper> paper, const PageOrder& order)
      : renderer_(std::move(paper), order.settings),
        left_(renderer_.bytes_per_row() * static_cast<size_t>(order.rows)) {
    left_ -= std::min(left_, order.bytes_short);
  }
  size_t Read(uint8_t* out, size_t size) override {
    const size_t row_bytes = renderer_.bytes_per_row();
    size_t done = 0;
    while (done < size && left_ > 0) {
      const size_t count = std::min({size - done, row_bytes - in_row_, left_});
      std::memcpy(out + done, renderer_.Row(row_) + in_row_, count);
      done += count;
      left_ -= count;
      in_row_ += count;
      if (in_row_ == row_bytes) {
        in_row_ = 0;
        ++row_;
      }
    }
    return done;
  }
  int rows() const override { return row_; }

 private:
  PageRenderer renderer_;
  size_t left_;
  int row_ = 0;
  size_t in_row_ = 0;
};

}  // namespace

PageJob::PageJob(std::shared_ptr<const Paper> paper, const PageOrder& order,
                 const DeliveryOptions& delivery)
    : order_(order),
      delivery_(delivery),
      image_(std::make_unique<RawBytes>(std::move(paper), order)) {
  if (order.jpeg) image_ = EncodeJpeg(std::move(image_), order, delivery);
}

PageJob::~PageJob() = default;

int JpegQuality(const PageOrder& order, const DeliveryOptions& delivery) {
  constexpr int kByFactor[] = {92, 92, 85, 75, 65, 55};  // 1 is the finest
  return delivery.jpeg_quality ? delivery.jpeg_quality
                               : kByFactor[std::clamp(order.jpeg_factor, 0, 5)];
}

std::vector<uint8_t> PageJob::NextBlock() {
  std::vector<uint8_t> block;
  if (over_) return block;
  if (!order_.packets) {
    block.resize(delivery_.block_bytes);
    const size_t got = image_->Read(block.data(), block.size());
    over_ = got < block.size();
    block.resize(got);
    return block;
  }
  block.reserve(delivery_.block_bytes + 64);
  block.resize(kHeaderBytes);
  if (!started_) {
    block.resize(kHeaderBytes + kStartRecordBytes, kUnused);
    block[kHeaderBytes] = 0;
    started_ = true;
  }
  const bool ended = drained_ || AppendRecords(&block);
  const bool hold_back = ended && delivery_.end_in_own_block && !drained_;
  drained_ = ended;
  over_ = ended && !hold_back;
  if (over_ && order_.end_record) AppendEndRecord(&block, order_.reported_rows);
  PutHeader(&block, over_ ? kLastBlock : 0);
  return block;
}

// Fills the block with data records. True: the image has come to its end.
bool PageJob::AppendRecords(std::vector<uint8_t>* block) {
  const size_t record = std::clamp<size_t>(delivery_.record_bytes, 1, 32767);
  while (block->size() + kDataHeaderBytes < delivery_.block_bytes) {
    const size_t at = block->size();
    const size_t room = std::min(record, delivery_.block_bytes - at - kDataHeaderBytes);
    block->resize(at + kDataHeaderBytes + room);
    const size_t got = image_->Read(block->data() + at + kDataHeaderBytes, room);
    if (got == 0) {
      block->resize(at);
      return true;
    }
    block->resize(at + kDataHeaderBytes + got);
    (*block)[at] = 1;
    (*block)[at + 1] = kUnused;
    PutLittle(block->data() + at + 2, got, 2);
    if (got < room) return true;
  }
  return false;
}

void PageJob::AppendEndRecord(std::vector<uint8_t>* block, int64_t rows) const {
  uint8_t record[12] = {2, kUnused, kUnused, kUnused};
  PutLittle(record + 4, static_cast<uint64_t>(rows), 4);
  PutLittle(record + 8, static_cast<uint64_t>(rows), 4);
  if (order_.big_endian_rows) {
    std::reverse(record + 4, record + 8);
    std::reverse(record + 8, record + 12);
  }
  block->insert(block->end(), record, record + sizeof record);
}

std::vector<uint8_t> PageJob::AbortBlock() const {
  if (!order_.packets) return {};
  std::vector<uint8_t> block(kHeaderBytes);
  if (order_.end_record) AppendEndRecord(&block, image_->rows());
  PutHeader(&block, kAborted);
  return block;
}

}  // namespace scantk::sim
