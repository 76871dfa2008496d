// XFORM_TABLE: copies rows unchanged, or sends every sample through a table.
//
// Parameter 0 is the kind:
//   1  pass rows unchanged
//   0  one table for all components: parameters 1, 2 = black and white point, 3 = gamma (16.16)
//   2  a table for each of three components: parameters 1..6 = black and white point of each in
//      turn, 7 = gamma (16.16)
// Points are input samples, 0..255 for 8-bit samples and 0..65535 for 16-bit ones: the black point
// and everything below becomes 0, the white point and everything above the greatest value. A white
// point of 0 stands for the greatest value and a negative one for 0, a gamma of 0 for 1.0. A white
// point below the black one makes a negative.
#include <algorithm>
#include <array>
#include <cmath>

#include "imaging/built_in_xforms.h"
#include "imaging/row_xform.h"

namespace scantk {
namespace {

constexpr int64_t kPassRows = 1;
constexpr int64_t kOneTable = 0;
constexpr int64_t kThreeTables = 2;

// A 16-bit sample is its entry number in the upper 12 bits and, in the lower 4, how far it lies
// towards the next entry.
constexpr unsigned kStepBits = 4;
constexpr unsigned kSteps = 1u << kStepBits;
constexpr size_t kWideEntries = (65536 >> kStepBits) + 1;

// The straight line from (black, 0) to (white, 1), clamped, with the gamma on top.
class Curve {
 public:
  Curve(int64_t black, int64_t white, int64_t gamma, double greatest)
      : black_(Clamp(black, greatest)),
        white_(white == 0 ? greatest : Clamp(white, greatest)),
        exponent_(gamma > 0 ? 65536.0 / static_cast<double>(gamma) : 1.0) {}

  double At(double sample) const {
    if (white_ == black_) return sample < black_ ? 0.0 : 1.0;
    const double line = std::clamp((sample - black_) / (white_ - black_), 0.0, 1.0);
    return exponent_ == 1.0 ? line : std::pow(line, exponent_);
  }

 private:
  static double Clamp(int64_t point, double greatest) {
    return std::clamp(static_cast<double>(point), 0.0, greatest);
  }

  double black_;
  double white_;
  double exponent_;
};

class Table : public RowXform {
 public:
  static constexpr uint32_t kCheckValue = 0x4BA1DACE;

  bool AcceptParams(const int64_t* params) {
    kind_ = params[0];
    if (kind_ == kPassRows) return true;
    if (kind_ != kOneTable && kind_ != kThreeTables) return false;
    for (size_t i = 0; i < 3; ++i) {
      const int64_t* points = params + 1 + (kind_ == kThreeTables ? 2 * i : 0);
      const int64_t gamma = params[kind_ == kThreeTables ? 7 : 3];
      if (IsWide()) {
        BuildWide(Curve(points[0], points[1], gamma, 65535.0), i);
      } else {
        BuildNarrow(Curve(points[0], points[1], gamma, 255.0), i);
      }
    }
    return true;
  }

  bool Prepare() {
    const int bits = in_traits_.bitsPerPixel;
    const bool has_samples = bits == 8 || bits == 24 || bits == 16 || bits == 48;
    if (kind_ != kPassRows && !has_samples) return false;
    out_traits_ = in_traits_;
    return true;
  }

  IpResult Convert(RowCall& call) {
    if (!call.input) return IP_FINISHED;
    const size_t bytes = RowBytes(in_traits_);
    if (!HasInputRow(call, bytes) || !HasOutputRow(call, bytes)) return IP_FATAL_ERROR;
    if (kind_ == kPassRows) {
      std::memcpy(call.output, call.input, bytes);
    } else if (IsWide()) {
      LookUpWide(call.input, call.output, bytes);
    } else {
      LookUpNarrow(call.input, call.output, bytes);
    }
    call.used = call.produced = bytes;
    return IP_ROW_IN | IP_ROW_OUT | IP_NEED_INPUT;
  }

 private:
  bool IsWide() const { return in_traits_.bitsPerPixel == 16 || in_traits_.bitsPerPixel == 48; }
  size_t Components() const { return in_traits_.bitsPerPixel % 3 == 0 ? 3 : 1; }

  void BuildNarrow(const Curve& curve, size_t component) {
    for (size_t v = 0; v < 256; ++v) {
      narrow_[component][v] =
          static_cast<uint8_t>(std::lround(curve.At(static_cast<double>(v)) * 255.0));
    }
  }

  void BuildWide(const Curve& curve, size_t component) {
    for (size_t i = 0; i < kWideEntries; ++i) {
      // The last entry lies one past the greatest sample; scaling by 65536 keeps the straight line
      // exact at every step.
      const double sample = static_cast<double>(i * kSteps) * 65535.0 / 65536.0;
      wide_[component][i] = static_cast<uint32_t>(std::lround(curve.At(sample) * 65536.0));
    }
  }

  void LookUpNarrow(const uint8_t* input, uint8_t* output, size_t bytes) const {
    const size_t components = Components();
    for (size_t i = 0, c = 0; i < bytes; ++i) {
      output[i] = narrow_[c][input[i]];
      if (++c == components) c = 0;
    }
  }

  // Samples are stored low byte first.
  void LookUpWide(const uint8_t* input, uint8_t* output, size_t bytes) const {
    const size_t components = Components();
    for (size_t i = 0, c = 0; i + 1 < bytes; i += 2) {
      const unsigned sample = input[i] | static_cast<unsigned>(input[i + 1]) << 8;
      const uint32_t* entry = wide_[c].data() + (sample >> kStepBits);
      const unsigned step = sample % kSteps;
      const uint32_t value = (entry[0] * (kSteps - step) + entry[1] * step) >> kStepBits;
      const uint32_t clamped = std::min<uint32_t>(value, 65535);
      output[i] = static_cast<uint8_t>(clamped);
      output[i + 1] = static_cast<uint8_t>(clamped >> 8);
      if (++c == components) c = 0;
    }
  }

  int64_t kind_ = kPassRows;
  // Filled by AcceptParams for the sample size at hand.
  std::array<std::array<uint8_t, 256>, 3> narrow_;
  std::array<std::array<uint32_t, kWideEntries>, 3> wide_;
};

}  // namespace

const XformOps kTableOps = RowXformOps<Table>::kTable;

}  // namespace scantk
