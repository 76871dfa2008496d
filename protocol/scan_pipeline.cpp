#include "protocol/scan_pipeline.h"

#include <algorithm>
#include <limits>

#include "protocol/command_table.h"

namespace scantk {
namespace {

// Scaling factors are 8.24 fixed point.
constexpr double kOne = 1 << 24;

int64_t ScaleFactor(int32_t out, int32_t in) {
  // NOLINTNEXTLINE(bugprone-incorrect-roundings): halves go up, below zero, too.
  return static_cast<int64_t>(kOne * out / in + 0.5);
}

XformDescriptor& Append(XformList* list, uint32_t id) {
  XformDescriptor& item = list->items[static_cast<size_t>(list->count++)];
  item = {};
  item.builtInId = id;
  return item;
}

void AppendFlip(XformList* list, bool turn, int32_t rows) {
  list->flip_index = list->count;
  XformDescriptor& flip = Append(list, XFORM_FLIP);
  flip.params[0] = turn ? 1 : 0;
  flip.params[1] = 1;
  flip.params[kFlipRowsParameter] = rows;
}

}  // namespace

ImageTraits DeviceTraits(const ImageTraits& asked, const ResolutionState& resolution) {
  ImageTraits traits = asked;
  if (resolution.enlarging) {
    traits.pixelsPerRow = resolution.device_pixels;
    traits.xDpi = FixedDpi(resolution.max_x);
    traits.yDpi = FixedDpi(resolution.device_y);
  }
  return traits;
}

int32_t PageBytes(const ImageTraits& traits) {
  constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
  const int64_t row = (int64_t{traits.bitsPerPixel} * traits.pixelsPerRow + 7) / 8;
  if (row <= 0 || traits.rowCount <= 0) return 0;
  return static_cast<int32_t>(row > kMost / traits.rowCount ? kMost : row * traits.rowCount);
}

QrlStatus BuildXformList(const PageFormat& format, const ResolutionState& resolution,
                         TraceLog& trace, XformList* list) {
  *list = {};
  if (format.compression == SL_JPEG) {
    Append(list, XFORM_JPEG_DECODE);
    Append(list, XFORM_COLOR_SPACE).params[0] = 2;
  } else if (format.compression != 0) {
    return SL_INVALID_REQUEST;
  }
  // The flip comes before the scaler and sees the device's own rows.
  const int32_t device_rows =
      resolution.enlarging ? resolution.device_lines : format.traits.rowCount;
  if (format.flip_mode == kFlipVertical) {
    trace.Print(TRACE_INFO, "MXVWIA_QRL::Scan: Need VFLIP");
    AppendFlip(list, false, device_rows);
  } else if (format.flip_mode == kFlipTurn) {
    trace.Print(TRACE_INFO, "MXVWIA_QRL::Scan: Need 180 FLIP");
    AppendFlip(list, true, device_rows);
  } else {
    trace.Print(TRACE_INFO, "MXVWIA_QRL::Scan: No FLIP");
  }
  if (resolution.enlarging) {
    trace.Print(TRACE_INFO, "Scan: gUpScaling!@!!! ");
    if (resolution.device_pixels <= 0 || resolution.device_y <= 0) return SL_PIPELINE_SETUP;
    XformDescriptor& scale = Append(list, XFORM_SCALE);
    scale.params[0] = ScaleFactor(resolution.out_pixels, resolution.device_pixels);
    scale.params[1] = ScaleFactor(resolution.asked_y, resolution.device_y);
    scale.params[2] = 1;
  }
  if (list->count == 0) Append(list, XFORM_TABLE).params[0] = 1;
  return SL_OK;
}

PipelineOwner MakePipeline(const XformList& list, const ImageTraits& traits) {
  IpHandle handle = nullptr;
  if (ipCreatePipeline(list.count, list.items.data(), 0, &handle) != IP_FINISHED) return nullptr;
  PipelineOwner pipeline(handle);
  if (ipSetInputTraits(handle, &traits) != IP_FINISHED) pipeline.reset();
  return pipeline;
}

}  // namespace scantk
