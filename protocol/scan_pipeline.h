// The image pipeline of one page: which transforms it takes to turn what the device delivers into
// what the host asked for.
#ifndef SCANTK_PROTOCOL_SCAN_PIPELINE_H_
#define SCANTK_PROTOCOL_SCAN_PIPELINE_H_

#include <array>
#include <cstdint>
#include <memory>

#include "diag/trace_log.h"
#include "imaging/image_pipeline.h"
#include "protocol/qrl_status.h"
#include "protocol/resolution_state.h"

namespace scantk {

// Answers of SL_DUPLEX_FLIP: what the host has to do to the back side. Anything else: nothing.
inline constexpr int32_t kFlipVertical = 1;
inline constexpr int32_t kFlipTurn = 2;

// The parameter of the flip transform that holds the number of rows.
inline constexpr int kFlipRowsParameter = 2;

// What the device said of the page to come.
struct PageFormat {
  ImageTraits traits{};  // as the caller of the engine sees them; see DeviceTraits
  int32_t compression = 0;
  int32_t flip_mode = 0;
};

struct XformList {
  int count = 0;
  int flip_index = -1;  // the place of the flip transform, -1 for none
  std::array<XformDescriptor, IP_MAX_XFORMS> items{};
};

// A resolution in dots per inch as traits hold it; what a device sends beyond their range wraps.
constexpr int32_t FixedDpi(int32_t dpi) {
  return static_cast<int32_t>(static_cast<uint32_t>(dpi) << 16);
}

// The traits of what the device itself sends: its own resolution and width where the host enlarges,
// the number of rows as asked.
ImageTraits DeviceTraits(const ImageTraits& asked, const ResolutionState& resolution);

// Bytes of the whole page as the device sends it uncompressed, at most what 31 bits hold.
int32_t PageBytes(const ImageTraits& traits);

// 0; SL_INVALID_REQUEST for a compression that there is not; SL_PIPELINE_SETUP when the page has to
// be enlarged from nothing.
QrlStatus BuildXformList(const PageFormat& format, const ResolutionState& resolution,
                         TraceLog& trace, XformList* list);

struct PipelineCloser {
  void operator()(ImagePipeline* pipeline) const { ipDestroyPipeline(pipeline); }
};
using PipelineOwner = std::unique_ptr<ImagePipeline, PipelineCloser>;

// Null when the pipeline could not be made or would not take the traits.
PipelineOwner MakePipeline(const XformList& list, const ImageTraits& traits);

}  // namespace scantk

#endif  // SCANTK_PROTOCOL_SCAN_PIPELINE_H_
