// The horizontal half of the scaler for bilevel rows (8 pixels in a byte, the first one in the most
// significant bit) and the edge smoothing of its slow path.
#ifndef SCANTK_IMAGING_SCALE_BILEVEL_H_
#define SCANTK_IMAGING_SCALE_BILEVEL_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scantk {

// Scales a row a byte at a time by doubling some pixels of every byte; factors above 2.0 double the
// whole row first. The bytes of a row are worked through from its end, and the row then moved so
// that its first pixel stands first; behind its last one it is filled with white. Factors below 1.0
// take single pixels, from the row's start.
class BilevelScaler {
 public:
  // Rows of `pixels` to be scaled to `out_pixels` = factor * pixels; `factor` is 16.16 and above 0.
  // Throws std::bad_alloc.
  void Init(size_t pixels, size_t out_pixels, int64_t factor);

  // `output` has (out_pixels + 7) / 8 bytes and does not overlap the input row.
  void Scale(const uint8_t* input, uint8_t* output);

 private:
  void Sample(const uint8_t* input, uint8_t* output) const;

  size_t pixels_ = 0;
  size_t out_pixels_ = 0;
  int64_t factor_ = 0;
  std::vector<uint8_t> doubled_;
  std::vector<uint8_t> stretched_;
};

// The slow path's rule, on a row and its neighbours: an output pixel lies in one quarter of its
// input pixel, and where the two neighbours on that quarter's side agree with each other and differ
// from those opposite, a diagonal edge runs through and the pixel takes their colour. It applies
// when both directions are enlarged; a direction that shrinks takes single pixels.
class BilevelSmoother {
 public:
  BilevelSmoother(size_t pixels, size_t out_pixels, int64_t x_factor, int64_t y_factor);

  // `lower`: the output row lies in the lower half of `row`. At the edges of the page `above` or
  // `below` is the row itself. `output` has (out_pixels + 7) / 8 bytes.
  void Scale(const uint8_t* above, const uint8_t* row, const uint8_t* below, bool lower,
             uint8_t* output) const;

 private:
  size_t pixels_;
  size_t out_pixels_;
  int64_t step_;
  bool enlarges_;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_SCALE_BILEVEL_H_
