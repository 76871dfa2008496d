// From strips of samples to rows: every component repeated to full resolution, interleaved by
// pixel, and converted on the way.
#ifndef SCANTK_IMAGING_JPEG_ROWS_H_
#define SCANTK_IMAGING_JPEG_ROWS_H_

#include <cstddef>
#include <cstdint>

#include "imaging/byte_buffer.h"
#include "imaging/jpeg_entropy.h"
#include "imaging/luma_chroma.h"

namespace scantk {

// The sample that covers most of the pixel `at`, or the first of two that cover the same, when
// `samples` of them share the width of `pixels` pixels.
constexpr int JpegSampleAt(int at, int samples, int pixels) {
  return ((2 * at + 1) * samples + 2 * pixels - 1) / (2 * pixels) - 1;
}

class JpegRows {
 public:
  // `to_rgb`: three components are Y, Cb, Cr and become red, green, blue. False without memory.
  bool Init(const JpegHeader& header, bool to_rgb);

  // Says that the strips have changed.
  void BeginStrips(const JpegStrip* strips);

  // Writes row `y` of the MCU row, components * width bytes.
  void Write(int y, uint8_t* out);

  // Writes the sample rows that begin at row `y` as they are, component behind component. Returns
  // their bytes.
  size_t WriteSampled(int y, uint8_t* out) const;

 private:
  const uint8_t* SampleRow(int component, int y) const;
  const uint8_t* FullRow(int component, int y);

  JpegHeader header_;
  InterleaveFunction interleave_ = nullptr;
  bool half_chroma_ = false;
  JpegStrip strips_[kJpegMaxComponents] = {};
  ByteBuffer expanded_[kJpegMaxComponents];
  const uint8_t* expanded_from_[kJpegMaxComponents] = {};  // the sample row that it holds
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_ROWS_H_
