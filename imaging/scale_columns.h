// The horizontal half of the scaler for gray and colour rows.
//
// Enlarging interpolates between two neighbours, the last pixel standing in for those behind it.
// Shrinking takes every so many-th pixel (fast) or averages the pixels that each output pixel
// covers, with weights in 256ths. Where the pixels come from is the same for every row and is
// worked out once.
#ifndef SCANTK_IMAGING_SCALE_COLUMNS_H_
#define SCANTK_IMAGING_SCALE_COLUMNS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scantk {

// The distance of two output samples in input samples for a factor, both 16.16: 1 / factor, rounded
// as the devices' own scaler rounds it.
constexpr int64_t ScaleStep(int64_t factor) {
  return 0x80000000LL / factor * 2 + 1;
}

// Sixteen output bytes: the two neighbours of each lie in the sixteen input bytes from `base`, and
// in those that are one pixel further, at the place that `control` names.
struct EnlargedGroup {
  uint32_t base;
  uint8_t control[16];
  int16_t weights[16];  // of the right neighbour, doubled
};

// Makes the output of the leading groups; returns how many of the `count`.
using EnlargeFunction = size_t (*)(const EnlargedGroup* groups, size_t count, size_t components,
                                   const uint8_t* input, uint8_t* output);

// There are no shuffles: makes none.
size_t EnlargePlain(const EnlargedGroup*, size_t, size_t, const uint8_t*, uint8_t*);

class ColumnScaler {
 public:
  // Rows of `pixels` to be scaled to `out_pixels` = factor * pixels, `components` bytes each.
  // `factor` is 16.16 and above 0. Throws std::bad_alloc.
  void Init(size_t pixels, size_t out_pixels, size_t components, int64_t factor, bool fast);

  size_t out_bytes() const { return out_pixels_ * components_; }

  // `output` has out_bytes() bytes and does not overlap the input row.
  void Scale(const uint8_t* input, uint8_t* output) const;

 private:
  void PlanInterpolation(int64_t step);
  void PlanGroups();
  void PlanAverage(int64_t step);
  void Interpolate(const uint8_t* input, uint8_t* output, size_t first_pixel) const;
  void Sample(const uint8_t* input, uint8_t* output) const;
  void Average(const uint8_t* input, uint8_t* output) const;

  enum class Mode { kInterpolate, kSample, kAverage };

  Mode mode_ = Mode::kSample;
  size_t pixels_ = 0;
  size_t out_pixels_ = 0;
  size_t components_ = 1;
  std::vector<uint32_t> sources_;      // of each output pixel, the (first) input pixel
  std::vector<uint8_t> weights_;       // of its right neighbour, when interpolating
  std::vector<EnlargedGroup> groups_;  // the leading part of the row, where groups are made
  EnlargeFunction enlarge_ = nullptr;
  std::vector<uint32_t> ends_;    // of each output pixel, the end of its shares, when averaging
  std::vector<uint16_t> shares_;  // 256 for every output pixel
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_SCALE_COLUMNS_H_
