#include "protocol/resolution_state.h"

#include <algorithm>
#include <limits>

namespace scantk {
namespace {

// A maximum that could not be learnt limits nothing.
bool Exceeds(int32_t value, int32_t maximum) {
  return maximum > 0 && value > maximum;
}

// value * numerator / denominator - 1 in 32 bits, wrapping where the device's numbers are absurd.
int32_t ScaledLines(int32_t value, int32_t numerator, int32_t denominator) {
  if (denominator <= 0) return value;
  const auto product =
      static_cast<int32_t>(static_cast<uint32_t>(value) * static_cast<uint32_t>(numerator));
  return static_cast<int32_t>(static_cast<uint32_t>(product / denominator) - 1u);
}

}  // namespace

int32_t RoundedToInt32(double number) {
  number += 0.5;
  using Limits = std::numeric_limits<int32_t>;
  if (!(number > Limits::min())) return Limits::min();
  if (number >= Limits::max()) return Limits::max();
  return static_cast<int32_t>(number);
}

uint32_t ResolutionState::OutRows(uint32_t device_rows) const {
  if (!enlarging || asked_y <= device_y || device_y <= 0) return device_rows;
  const uint64_t rows =
      uint64_t{device_rows} * static_cast<uint32_t>(asked_y) / static_cast<uint32_t>(device_y);
  return static_cast<uint32_t>(std::min<uint64_t>(rows, std::numeric_limits<uint32_t>::max()));
}

void ResolutionState::Reset() {
  enlarging = 0;
  device_y = asked_x = asked_y = 150;
  device_pixels = device_lines = out_pixels = 0;
  transfer_type = kPlainTransfer;
}

int32_t ResolutionState::OnCommand(uint32_t id, int32_t value, TraceLog& trace) {
  switch (id) {
    case SL_X_RESOLUTION:
      asked_x = value;
      if (!Exceeds(value, max_x)) break;
      trace.Print(TRACE_INFO,
                  "SendCommand: UPSCALING !!!!!  Value > gDevMaxXRes Value %d gDevMaxXRes %d",
                  value, max_x);
      enlarging = 1;
      return max_x;
    case SL_Y_RESOLUTION:
      device_y = asked_y = value;
      if (!Exceeds(value, max_y)) break;
      trace.Print(TRACE_INFO,
                  "SendCommand: UPSCALING !!!!! Value > gDevMaxYRes Value %d gDevMaxYRes %d", value,
                  max_y);
      enlarging = 1;
      device_y = max_y;
      return max_y;
    case SL_BITS_PER_PIXEL:
      bits_per_pixel = value;
      break;
    case SL_SCAN_TRANSFER_TYPE:
      transfer_type = value;
      break;
    default:
      break;
  }
  return value;
}

int32_t ResolutionState::OnAnswer(uint32_t id, char kind, int32_t value, TraceLog& trace) {
  if (kind == kMaximum) LearnMaximum(id, value, trace);
  if (id == SL_BITS_PER_PIXEL) bits_per_pixel = value;
  return enlarging ? Enlarged(id, kind, value, trace) : value;
}

void ResolutionState::LearnMaximum(uint32_t id, int32_t value, TraceLog& trace) {
  // The flatbed's answer always counts, the others stand in for it. A device that lacks the
  // flatbed's X inquiry is never asked for its Y: what it says of itself in general beats the
  // guess.
  const auto learn = [&](int32_t& maximum, bool always, const char* format) {
    if (always || maximum == 0) maximum = value;
    trace.Print(TRACE_INFO, format, maximum, value);
  };
  switch (id) {
    case SL_X_RESOLUTION_FLAT:
      learn(max_x, true, "InquireNumber SL_X_RESOLUTION_FLAT HI gDevMaxXRes %ld *pValue %ld ");
      break;
    case SL_Y_RESOLUTION_FLAT:
      max_y_from_flatbed_ = value > 0;
      learn(max_y, true, "InquireNumber SL_Y_RESOLUTION_FLAT HI gDevMaxYRes %ld *pValue %ld ");
      break;
    case SL_X_RESOLUTION_ADF:
      learn(max_x, false, "InquireNumber SL_X_RESOLUTION_ADF HI gDevMaxXRes %ld *pValue %ld ");
      break;
    case SL_Y_RESOLUTION_ADF:
      learn(max_y, false, "InquireNumber SL_Y_RESOLUTION_ADF HI gDevMaxYRes %ld *pValue %ld ");
      break;
    case SL_X_RESOLUTION:
      learn(max_x, false, "InquireNumber SL_X_RESOLUTION HI gDevMaxXRes %ld *pValue %ld ");
      break;
    case SL_Y_RESOLUTION:
      if (value > 0 && !max_y_from_flatbed_) max_y = value;
      if (max_y <= 0) max_y = kUnknownMaxY;
      learn(max_y, false, "InquireNumber SL_Y_RESOLUTION HI gDevMaxYRes %ld *pValue %ld ");
      break;
    default:
      break;
  }
}

int32_t ResolutionState::Enlarged(uint32_t id, char kind, int32_t value, TraceLog& trace) {
  if (kind == kCurrent) trace.Print(TRACE_INFO, "Inquire: gUpScaling!@!!! ");
  switch (id) {
    case SL_X_RESOLUTION:
      return kind == kCurrent && value == max_x ? asked_x : value;
    case SL_Y_RESOLUTION:
      return kind == kCurrent && value == max_y ? asked_y : value;
    case SL_LINES_PER_SCAN:
      device_lines = value;
      return ScaledLines(value, asked_y, device_y);
    case SL_PIXELS_PER_LINE:
      device_pixels = value;
      out_pixels = EnlargedWidth(value);
      return out_pixels;
    case SL_BYTES_PER_LINE:
      return static_cast<int32_t>((int64_t{out_pixels} * bits_per_pixel + 7) / 8);
    default:
      return value;
  }
}

// What the device does by itself is not done again: an axis that it resolves keeps its pixels, even
// when the other one is enlarged or an earlier page of the session was.
int32_t ResolutionState::EnlargedWidth(int32_t pixels) const {
  if (!Exceeds(asked_x, max_x)) return pixels;
  return RoundedToInt32(static_cast<double>(asked_x) / max_x * pixels);
}

}  // namespace scantk
