#include "imaging/scale_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "imaging/kernels.h"
#include "imaging/scale_bilevel.h"
#include "imaging/scale_columns.h"

namespace scantk {
namespace {

constexpr int64_t kOne = 0x10000;

// How many output rows an input row makes, so that after every row the sum is the factor times the
// number of rows, rounded down.
class RowCounter {
 public:
  explicit RowCounter(int64_t factor) : factor_(factor) {}

  int Next() {
    sum_ += factor_;
    const int64_t rows = sum_ / kOne;
    sum_ %= kOne;
    return static_cast<int>(rows);
  }

 private:
  int64_t factor_;
  int64_t sum_ = 0;
};

// Gray and colour, Y factor above 1.0: output rows lie between the two newest input rows.
class EnlargingRows : public RowMaker {
 public:
  explicit EnlargingRows(const ScalePlan& plan)
      : counter_(plan.y_factor),
        step_(ScaleStep(plan.y_factor)),
        position_(step_),
        older_(plan.out_bytes(), 0xFF),
        newer_(plan.out_bytes(), 0xFF),
        blend_(ChosenKernels().blend) {
    columns_.Init(plan.pixels, plan.out_pixels, plan.components, plan.x_factor, plan.fast);
  }

  int Take(const uint8_t* row) override {
    if (!first_) {
      older_.swap(newer_);
      position_ -= kOne;
    }
    columns_.Scale(row, newer_.data());
    if (first_) older_ = newer_;
    first_ = false;
    return counter_.Next();
  }

  // The step is rounded up, so position_ slowly runs ahead and the newer row gains weight.
  void Write(uint8_t* output) override {
    const int64_t weight = std::clamp<int64_t>(kOne - position_, 0, kOne);
    const int eighths = static_cast<int>((weight + 4096) >> 13);
    blend_(older_.data(), newer_.data(), eighths, output, newer_.size());
    position_ += step_;
  }

 private:
  ColumnScaler columns_;
  RowCounter counter_;
  int64_t step_;
  int64_t position_;  // of the next output row, 16.16 input rows below the older one
  bool first_ = true;
  std::vector<uint8_t> older_;
  std::vector<uint8_t> newer_;
  BlendFunction blend_;
};

// Gray and colour, fast, Y factor up to 1.0: rows survive or do not.
class SurvivingRows : public RowMaker {
 public:
  explicit SurvivingRows(const ScalePlan& plan) : counter_(plan.y_factor) {
    columns_.Init(plan.pixels, plan.out_pixels, plan.components, plan.x_factor, plan.fast);
  }

  int Take(const uint8_t* row) override {
    row_ = row;
    return counter_.Next();
  }

  void Write(uint8_t* output) override { columns_.Scale(row_, output); }

 private:
  ColumnScaler columns_;
  RowCounter counter_;
  const uint8_t* row_ = nullptr;  // written, if at all, in the call that brought it
};

// Gray and colour, Y factor up to 1.0: an output row is the mean of the input rows that it covers,
// a row on the border shared between two by area. Each row brings the factor's worth of weight, an
// output row is full at 1.0.
class AveragedRows : public RowMaker {
 public:
  explicit AveragedRows(const ScalePlan& plan)
      : factor_(plan.y_factor), scaled_(plan.out_bytes()), sums_(plan.out_bytes(), kHalf) {
    columns_.Init(plan.pixels, plan.out_pixels, plan.components, plan.x_factor, plan.fast);
  }

  int Take(const uint8_t* row) override {
    columns_.Scale(row, scaled_.data());
    const int64_t weight = std::min(factor_, kOne - filled_);
    for (size_t i = 0; i < sums_.size(); ++i) {
      sums_[i] += static_cast<uint32_t>(weight) * scaled_[i];
    }
    filled_ += weight;
    rest_ = factor_ - weight;
    return filled_ == kOne ? 1 : 0;
  }

  void Write(uint8_t* output) override {
    for (size_t i = 0; i < sums_.size(); ++i) {
      output[i] = static_cast<uint8_t>(sums_[i] >> 16);
      sums_[i] = kHalf + static_cast<uint32_t>(rest_) * scaled_[i];
    }
    filled_ = rest_;
  }

 private:
  static constexpr uint32_t kHalf = 0x8000;

  ColumnScaler columns_;
  int64_t factor_;
  int64_t filled_ = 0;
  int64_t rest_ = 0;  // of the newest row's weight, for the next output row
  std::vector<uint8_t> scaled_;
  std::vector<uint32_t> sums_;
};

// Bilevel, fast, Y factor of 1.0 or more: copies.
class CopiedRows : public RowMaker {
 public:
  explicit CopiedRows(const ScalePlan& plan) : counter_(plan.y_factor), scaled_(plan.out_bytes()) {
    columns_.Init(plan.pixels, plan.out_pixels, plan.x_factor);
  }

  int Take(const uint8_t* row) override {
    columns_.Scale(row, scaled_.data());
    return counter_.Next();
  }

  void Write(uint8_t* output) override { std::memcpy(output, scaled_.data(), scaled_.size()); }

 private:
  BilevelScaler columns_;
  RowCounter counter_;
  std::vector<uint8_t> scaled_;
};

// Bilevel, not fast: each row is scaled when the one below it is known.
class SmoothedRows : public RowMaker {
 public:
  explicit SmoothedRows(const ScalePlan& plan)
      : smoother_(plan.pixels, plan.out_pixels, plan.x_factor, plan.y_factor),
        counter_(plan.y_factor) {
    for (auto& row : rows_) row.resize((plan.pixels + 7) / 8);
  }

  int Take(const uint8_t* row) override {
    std::swap(rows_[0], rows_[1]);
    std::swap(rows_[1], rows_[2]);
    std::memcpy(rows_[2].data(), row, rows_[2].size());
    if (++taken_ == 1) return 0;
    if (taken_ == 2) rows_[0] = rows_[1];
    return Begin();
  }

  int Finish() override {
    if (taken_ == 0) return 0;
    std::swap(rows_[0], rows_[1]);
    rows_[1] = rows_[2];
    if (taken_ == 1) rows_[0] = rows_[1];
    return Begin();
  }

  void Write(uint8_t* output) override {
    const bool lower = 2 * written_ + 1 > made_;
    ++written_;
    smoother_.Scale(rows_[0].data(), rows_[1].data(), rows_[2].data(), lower, output);
  }

 private:
  int Begin() {
    written_ = 0;
    made_ = counter_.Next();
    return made_;
  }

  BilevelSmoother smoother_;
  RowCounter counter_;
  std::vector<uint8_t> rows_[3];  // above, the row itself, below
  int64_t taken_ = 0;
  int made_ = 0;
  int written_ = 0;
};

}  // namespace

std::unique_ptr<RowMaker> MakeRowMaker(const ScalePlan& plan) {
  if (plan.components == 0) {
    if (plan.fast) return std::make_unique<CopiedRows>(plan);
    return std::make_unique<SmoothedRows>(plan);
  }
  if (plan.y_factor > kOne) return std::make_unique<EnlargingRows>(plan);
  if (plan.fast) return std::make_unique<SurvivingRows>(plan);
  return std::make_unique<AveragedRows>(plan);
}

}  // namespace scantk
