// XFORM_SCALE: enlarges or shrinks gray, 24-bit colour and bilevel images.
//
// Parameters 0 and 1: the X and Y factor, 8.24 fixed point. Parameter 2: shrink by dropping and
// sampling instead of averaging, and enlarge bilevel images without smoothing.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "imaging/built_in_xforms.h"
#include "imaging/row_xform.h"
#include "imaging/scale_rows.h"

namespace scantk {
namespace {

constexpr int64_t kOne = 0x10000;
constexpr int64_t kGreatestYFactor = 7 * kOne;

// The widest row that is scaled, in pixels in or out: three times what the largest drum scanner
// makes. The plan of a row takes several bytes per pixel, so it must not follow any number.
constexpr int64_t kMaxPixels = 1 << 20;

class Scale : public RowXform {
 public:
  static constexpr uint32_t kCheckValue = 0x1CE5CA7E;

  bool AcceptInput() const {
    const int bits = in_traits_.bitsPerPixel;
    const int components = in_traits_.componentsPerPixel;
    const bool is_known =
        (bits == 24 && components == 3) || ((bits == 8 || bits == 1) && components == 1);
    return is_known && in_traits_.pixelsPerRow >= 1 && in_traits_.pixelsPerRow <= kMaxPixels;
  }

  // A change during a page waits for the next one: the width of the rows cannot change any more.
  bool AcceptParams(const int64_t* params) {
    constexpr int64_t kGreatest = int64_t{1} << 40;  // keeps the arithmetic from overflowing
    asked_x_ = std::clamp<int64_t>(params[0], 0, kGreatest);
    y_factor_ = (std::clamp<int64_t>(params[1], 0, kGreatest) + 128) >> 8;
    fast_ = params[2] != 0;
    return true;
  }

  bool Prepare() {
    const int64_t out_pixels = ChooseWidth();
    if (x_factor_ < 1 || y_factor_ < 1 || y_factor_ > kGreatestYFactor) return false;
    if (out_pixels < 1 || out_pixels > kMaxPixels) return false;
    const int64_t out_rows = in_traits_.rowCount * y_factor_ / kOne;
    if (out_rows > INT32_MAX) return false;
    out_traits_ = in_traits_;
    out_traits_.pixelsPerRow = static_cast<int32_t>(out_pixels);
    if (in_traits_.rowCount >= 0) out_traits_.rowCount = static_cast<int32_t>(out_rows);
    return MakeMaker();
  }

  IpResult Convert(RowCall& call) {
    IpResult result = 0;
    if (waiting_ == 0 && call.input) {
      if (call.available == 0) return IP_NEED_INPUT;
      const size_t bytes = RowBytes(in_traits_);
      if (!HasInputRow(call, bytes) || !HasOutputRow(call, out_bytes_)) return IP_FATAL_ERROR;
      waiting_ = maker_->Take(call.input);
      call.used = bytes;
      result |= IP_ROW_IN;
    } else if (waiting_ == 0) {
      if (!finished_) waiting_ = maker_->Finish();
      finished_ = true;
      if (waiting_ == 0) return IP_FINISHED;
    }
    if (waiting_ > 0) {
      if (!HasOutputRow(call, out_bytes_)) return IP_FATAL_ERROR;
      maker_->Write(call.output);
      call.produced = out_bytes_;
      result |= IP_ROW_OUT;
      --waiting_;
    }
    return waiting_ > 0 ? result : static_cast<IpResult>(result | IP_NEED_INPUT);
  }

 private:
  // Sets x_factor_ and returns the output's width. A factor that is the nearest of its kind for a
  // whole number of pixels asks for that number; the nearest coarser one may be too small for it,
  // and is rounded up then.
  int64_t ChooseWidth() {
    const int64_t pixels = in_traits_.pixelsPerRow;
    const int64_t exact = asked_x_ * pixels;  // 8.24, at most 2^60
    const int64_t whole = (exact + (1 << 23)) >> 24;
    const bool asks_for_whole = 2 * std::abs(exact - (whole << 24)) <= pixels;
    x_factor_ = (asked_x_ + 128) >> 8;
    const int64_t width = (x_factor_ * pixels) >> 16;
    if (!asks_for_whole || width == whole) return width;
    x_factor_ = (asked_x_ + 255) >> 8;
    return whole;
  }

  bool MakeMaker() {
    const bool bilevel = in_traits_.bitsPerPixel == 1;
    // Enlarged gray and colour rows are always interpolated; bilevel rows that shrink always go
    // through the scaler that looks at three rows.
    const bool fast = fast_ && (bilevel ? y_factor_ >= kOne : y_factor_ <= kOne);
    ScalePlan plan{};
    plan.pixels = static_cast<size_t>(in_traits_.pixelsPerRow);
    plan.out_pixels = static_cast<size_t>(out_traits_.pixelsPerRow);
    plan.components = bilevel ? 0 : static_cast<size_t>(in_traits_.componentsPerPixel);
    plan.x_factor = x_factor_;
    plan.y_factor = y_factor_;
    plan.fast = fast;
    out_bytes_ = plan.out_bytes();
    waiting_ = 0;
    finished_ = false;
    try {
      maker_ = MakeRowMaker(plan);
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  int64_t asked_x_ = kOne << 8;  // 8.24
  int64_t x_factor_ = kOne;      // 16.16
  int64_t y_factor_ = kOne;
  bool fast_ = false;
  std::unique_ptr<RowMaker> maker_;
  size_t out_bytes_ = 0;
  int waiting_ = 0;  // output rows that can be written without input
  bool finished_ = false;
};

}  // namespace

const XformOps kScaleOps = RowXformOps<Scale>::kTable;

}  // namespace scantk
