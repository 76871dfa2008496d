#include <cstdio>
// The library's header wants stdio before it.
#include <jpeglib.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "simulator/page_job.h"

namespace scantk::sim {
namespace {

[[noreturn]] void Fail(j_common_ptr codec) {
  char text[JMSG_LENGTH_MAX];
  codec->err->format_message(codec, text);
  throw std::runtime_error(text);
}

// Owns what the library allocates, also when setting it up fails half-way.
struct Codec : jpeg_compress_struct {
  Codec() : jpeg_compress_struct() {
    err = jpeg_std_error(&errors);
    errors.error_exit = Fail;
    jpeg_create_compress(this);
  }
  ~Codec() { jpeg_destroy_compress(this); }
  jpeg_error_mgr errors = {};
};

class JpegBytes : public ImageBytes {
 public:
  JpegBytes(std::unique_ptr<ImageBytes> raw, const PageOrder& order,
            const DeliveryOptions& delivery)
      : raw_(std::move(raw)), row_(BytesPerRow(order.settings)) {
    destination_.init_destination = [](j_compress_ptr) {};
    destination_.empty_output_buffer = [](j_compress_ptr codec) -> boolean {
      static_cast<JpegBytes*>(codec->client_data)->Flush(0);
      return TRUE;
    };
    destination_.term_destination = [](j_compress_ptr codec) {
      auto* self = static_cast<JpegBytes*>(codec->client_data);
      self->Flush(self->destination_.free_in_buffer);
    };
    destination_.next_output_byte = buffer_;
    destination_.free_in_buffer = sizeof buffer_;
    codec_.dest = &destination_;
    codec_.client_data = this;
    Configure(order, delivery);
    jpeg_start_compress(&codec_, TRUE);
  }
  JpegBytes(const JpegBytes&) = delete;
  JpegBytes& operator=(const JpegBytes&) = delete;

  size_t Read(uint8_t* out, size_t size) override {
    while (coded_.size() - taken_ < size && !finished_) EncodeRow();
    const size_t count = std::min(size, coded_.size() - taken_);
    std::memcpy(out, coded_.data() + taken_, count);
    taken_ += count;
    if (taken_ == coded_.size()) {
      coded_.clear();
      taken_ = 0;
    }
    return count;
  }
  int rows() const override { return raw_->rows(); }

 private:
  void Configure(const PageOrder& order, const DeliveryOptions& delivery) {
    const bool colour = order.settings.data_type == DataType::kColor;
    codec_.image_width = static_cast<JDIMENSION>(PixelsPerRow(order.settings));
    codec_.image_height = static_cast<JDIMENSION>(order.rows);
    codec_.input_components = colour ? 3 : 1;
    codec_.in_color_space = colour ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&codec_);
    jpeg_set_quality(&codec_, JpegQuality(order, delivery), TRUE);
    codec_.restart_interval = static_cast<unsigned>(delivery.jpeg_restart);
    if (colour) {
      codec_.comp_info[0].h_samp_factor = delivery.jpeg_horizontal;
      codec_.comp_info[0].v_samp_factor = delivery.jpeg_vertical;
    }
  }

  void EncodeRow() {
    if (codec_.next_scanline < codec_.image_height) {
      raw_->Read(row_.data(), row_.size());
      JSAMPROW rows[] = {row_.data()};
      jpeg_write_scanlines(&codec_, rows, 1);
    } else {
      jpeg_finish_compress(&codec_);
      finished_ = true;
    }
  }

  // Takes what the codec has written, all but the last `unused` bytes of its buffer.
  void Flush(size_t unused) {
    coded_.insert(coded_.end(), buffer_, buffer_ + sizeof buffer_ - unused);
    destination_.next_output_byte = buffer_;
    destination_.free_in_buffer = sizeof buffer_;
  }

  std::unique_ptr<ImageBytes> raw_;
  std::vector<uint8_t> row_;
  Codec codec_;
  jpeg_destination_mgr destination_ = {};
  uint8_t buffer_[16384];
  std::vector<uint8_t> coded_;
  size_t taken_ = 0;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<ImageBytes> EncodeJpeg(std::unique_ptr<ImageBytes> raw, const PageOrder& order,
                                       const DeliveryOptions& delivery) {
  return std::make_unique<JpegBytes>(std::move(raw), order, delivery);
}

}  // namespace scantk::sim
