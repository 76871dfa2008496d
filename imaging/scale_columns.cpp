#include "imaging/scale_columns.h"

#include <algorithm>

#include "imaging/kernels.h"

namespace scantk {
namespace {

constexpr int64_t kOne = 0x10000;

}  // namespace

size_t EnlargePlain(const EnlargedGroup*, size_t, size_t, const uint8_t*, uint8_t*) {
  return 0;
}

void ColumnScaler::Init(size_t pixels, size_t out_pixels, size_t components, int64_t factor,
                        bool fast) {
  pixels_ = pixels;
  out_pixels_ = out_pixels;
  components_ = components;
  sources_.resize(out_pixels);
  groups_.clear();
  shares_.clear();
  const int64_t step = ScaleStep(factor);
  if (factor >= kOne) {
    mode_ = Mode::kInterpolate;
    PlanInterpolation(step);
    enlarge_ = ChosenKernels().enlarge;
    if (enlarge_ != EnlargePlain) PlanGroups();
  } else if (fast) {
    mode_ = Mode::kSample;
    for (size_t j = 0; j < out_pixels; ++j) {
      const size_t source = static_cast<size_t>(static_cast<int64_t>(j) * step / kOne);
      sources_[j] = static_cast<uint32_t>(std::min(source, pixels - 1));
    }
  } else {
    mode_ = Mode::kAverage;
    PlanAverage(step);
  }
}

void ColumnScaler::Scale(const uint8_t* input, uint8_t* output) const {
  switch (mode_) {
    case Mode::kInterpolate:
      Interpolate(
          input, output,
          16 * enlarge_(groups_.data(), groups_.size(), components_, input, output) / components_);
      break;
    case Mode::kSample:
      Sample(input, output);
      break;
    case Mode::kAverage:
      Average(input, output);
      break;
  }
}

// The step is rounded up, so that in wide rows the position drifts past the last pixel.
void ColumnScaler::PlanInterpolation(int64_t step) {
  weights_.resize(out_pixels_);
  size_t source = 0;
  int64_t position = 0;
  for (size_t j = 0; j < out_pixels_; ++j) {
    sources_[j] = static_cast<uint32_t>(std::min(source, pixels_ - 1));
    weights_[j] = static_cast<uint8_t>(position >> 8);
    position += step;
    if (position >= kOne) ++source;
    position &= kOne - 1;
  }
}

// A step is at most one input pixel, so sixteen output bytes come from at most sixteen input bytes.
// The plan ends where a load would pass the end of the input row.
void ColumnScaler::PlanGroups() {
  const size_t in_bytes = pixels_ * components_;
  for (size_t at = 0; at + 16 <= out_bytes(); at += 16) {
    size_t from[16];
    EnlargedGroup group;
    for (size_t i = 0; i < 16; ++i) {
      const size_t pixel = (at + i) / components_;
      from[i] = sources_[pixel] * components_ + (at + i) % components_;
      group.weights[i] = static_cast<int16_t>(weights_[pixel] * 2);
    }
    const size_t base = *std::min_element(from, from + 16);
    if (base + components_ + 16 > in_bytes) return;
    group.base = static_cast<uint32_t>(base);
    for (size_t i = 0; i < 16; ++i) group.control[i] = static_cast<uint8_t>(from[i] - base);
    groups_.push_back(group);
  }
}

// Output pixel j covers the input from j * step to (j + 1) * step.
void ColumnScaler::PlanAverage(int64_t step) {
  ends_.resize(out_pixels_);
  const int64_t width = static_cast<int64_t>(pixels_) * kOne;
  for (size_t j = 0; j < out_pixels_; ++j) {
    const int64_t start = std::min(static_cast<int64_t>(j) * step, width - 1);
    const int64_t end = std::min(start + step, width);
    sources_[j] = static_cast<uint32_t>(start / kOne);
    int64_t given = 0;
    for (int64_t at = start; at < end;) {
      at = std::min((at / kOne + 1) * kOne, end);
      const int64_t due = ((at - start) * 256 + (end - start) / 2) / (end - start);
      shares_.push_back(static_cast<uint16_t>(due - given));
      given = due;
    }
    ends_[j] = static_cast<uint32_t>(shares_.size());
  }
}

void ColumnScaler::Interpolate(const uint8_t* input, uint8_t* output, size_t first_pixel) const {
  for (size_t j = first_pixel; j < out_pixels_; ++j) {
    const size_t source = sources_[j];
    const uint8_t* left = input + source * components_;
    const uint8_t* right = left + (source + 1 < pixels_ ? components_ : 0);
    const int weight = weights_[j];
    for (size_t c = 0; c < components_; ++c) {
      output[j * components_ + c] =
          static_cast<uint8_t>(((256 - weight) * left[c] + weight * right[c]) >> 8);
    }
  }
}

void ColumnScaler::Sample(const uint8_t* input, uint8_t* output) const {
  for (size_t j = 0; j < out_pixels_; ++j) {
    for (size_t c = 0; c < components_; ++c) *output++ = input[sources_[j] * components_ + c];
  }
}

void ColumnScaler::Average(const uint8_t* input, uint8_t* output) const {
  size_t share = 0;
  for (size_t j = 0; j < out_pixels_; ++j) {
    const uint8_t* from = input + sources_[j] * components_;
    const size_t count = ends_[j] - share;
    for (size_t c = 0; c < components_; ++c) {
      unsigned sum = 128;
      for (size_t i = 0; i < count; ++i) sum += shares_[share + i] * from[i * components_ + c];
      *output++ = static_cast<uint8_t>(sum >> 8);
    }
    share += count;
  }
}

}  // namespace scantk
