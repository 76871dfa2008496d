// A page on its way to the host: its image bytes, raw or JPEG, and the blocks that carry them.
#ifndef SCANTK_SIMULATOR_PAGE_JOB_H_
#define SCANTK_SIMULATOR_PAGE_JOB_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "simulator/device_config.h"
#include "simulator/paper.h"

namespace scantk::sim {

// What decides the bytes of a page beyond its settings.
struct PageOrder {
  PageSettings settings;
  bool jpeg = false;
  int jpeg_factor = 2;  // as the host sent it
  bool packets = true;  // false: plain image bytes, without blocks
  bool big_endian_rows = false;
  int rows = 0;            // rows that are delivered, whatever the settings say
  size_t bytes_short = 0;  // so many bytes are missing at the end
  int64_t reported_rows = 0;
  bool end_record = true;
};

// The image bytes of a page, in order.
class ImageBytes {
 public:
  virtual ~ImageBytes() = default;
  // Writes up to `size` bytes; 0 at the end.
  virtual size_t Read(uint8_t* out, size_t size) = 0;
  // Whole rows that have been read so far.
  virtual int rows() const = 0;
};

// One thread at a time.
class PageJob {
 public:
  PageJob(std::shared_ptr<const Paper> paper, const PageOrder& order,
          const DeliveryOptions& delivery);
  ~PageJob();

  // The next block (or, without packets, the next piece); empty once the page is over.
  std::vector<uint8_t> NextBlock();
  bool over() const { return over_; }
  // The block that ends a page early: marked as aborted, with an end-of-page record that counts
  // the rows delivered so far. Plain bytes just stop, so without packets it is empty.
  std::vector<uint8_t> AbortBlock() const;

 private:
  bool AppendRecords(std::vector<uint8_t>* block);
  void AppendEndRecord(std::vector<uint8_t>* block, int64_t rows) const;

  PageOrder order_;
  DeliveryOptions delivery_;
  std::unique_ptr<ImageBytes> image_;
  bool started_ = false;
  bool drained_ = false;
  bool over_ = false;
};

// 1 to 100, from the factor that the host sent or the device's own.
int JpegQuality(const PageOrder& order, const DeliveryOptions& delivery);

// JPEG-coded rows of a page; the sampling applies to colour.
std::unique_ptr<ImageBytes> EncodeJpeg(std::unique_ptr<ImageBytes> raw, const PageOrder& order,
                                       const DeliveryOptions& delivery);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_PAGE_JOB_H_
