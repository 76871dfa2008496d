// Runs an image through a chain in pieces of given sizes.
#ifndef SCANTK_FUZZ_PIPELINE_RUN_H_
#define SCANTK_FUZZ_PIPELINE_RUN_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "imaging/image_pipeline.h"

namespace scantk::fuzz {

using Bytes = std::vector<uint8_t>;

// A run stops when it has given this much; a header may announce any size.
inline constexpr size_t kMostOutput = size_t{512} << 10;

struct Pieces {
  size_t input = SIZE_MAX;
  size_t output = kMostOutput;
};

struct PipelineRun {
  Bytes output;
  IpResult result = 0;  // of the last call; 0: stopped at kMostOutput
  size_t used = 0;      // bytes of the input
};

inline XformDescriptor BuiltIn(XformId id) {
  XformDescriptor descriptor{};
  descriptor.builtInId = id;
  return descriptor;
}

inline PipelineRun RunPipeline(const std::vector<XformDescriptor>& chain, const ImageTraits& traits,
                               const Bytes& input, const Pieces& pieces) {
  struct Closer {
    void operator()(ImagePipeline* pipeline) const { ipDestroyPipeline(pipeline); }
  };
  PipelineRun run;
  IpHandle handle = nullptr;
  run.result = ipCreatePipeline(static_cast<int>(chain.size()), chain.data(), 0, &handle);
  if (run.result != IP_FINISHED) return run;
  const std::unique_ptr<ImagePipeline, Closer> owner(handle);
  run.result = ipSetInputTraits(handle, &traits);
  if (run.result != IP_FINISHED) return run;

  run.result = 0;
  Bytes room(std::min(pieces.output, kMostOutput));
  while (run.result == 0 && run.output.size() < kMostOutput) {
    const size_t left = input.size() - run.used;
    const auto from = input.begin() + static_cast<ptrdiff_t>(run.used);
    const Bytes given(from, from + static_cast<ptrdiff_t>(std::min(left, pieces.input)));
    size_t used = 0, produced = 0;
    uint64_t next = 0, position = 0;
    run.result = ipConvert(handle, given.size(), given.empty() ? nullptr : given.data(), &used,
                           &next, room.size(), room.data(), &produced, &position);
    Require(used <= given.size() && produced <= room.size(), "a call moves what it was given");
    Require((run.result & ~IP_RESULT_MASK) == 0, "a call answers result bits alone");
    Require(run.result || used || produced, "a call moves something or ends the run");
    Require(produced == 0 || position == run.output.size(), "the output's position is its place");
    run.used += used;
    run.output.insert(run.output.end(), room.begin(),
                      room.begin() + static_cast<ptrdiff_t>(produced));
  }
  return run;
}

// What came out depends on the image alone. A run that stopped at the limit is compared that far.
inline void RequireSame(const PipelineRun& a, const PipelineRun& b) {
  const size_t common = std::min(a.output.size(), b.output.size());
  Require(std::equal(a.output.begin(), a.output.begin() + static_cast<ptrdiff_t>(common),
                     b.output.begin()),
          "pieces do not change the output");
  if (a.output.size() >= kMostOutput || b.output.size() >= kMostOutput) return;
  Require(a.output.size() == b.output.size(), "pieces do not change the output's size");
  Require(a.result == b.result, "pieces do not change the result");
}

}  // namespace scantk::fuzz

#endif  // SCANTK_FUZZ_PIPELINE_RUN_H_
