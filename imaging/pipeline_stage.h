// One transform in a pipeline, and one run of it.
#ifndef SCANTK_IMAGING_PIPELINE_STAGE_H_
#define SCANTK_IMAGING_PIPELINE_STAGE_H_

#include "imaging/image_pipeline.h"

namespace scantk {

//            open, traits           traits known          input over
//   kNotOpened ----> kReadingHeader -----+---> kWantsInput ----> kDraining
//                                        |       ^   |             |
//                                        |       |   v             v
//                                        +---> kCanProduce ---> kFinished
enum class StageState : uint16_t {
  kNotOpened = 0,
  kReadingHeader = 1,
  kWantsInput = 2,
  kCanProduce = 3,
  kDraining = 4,
  kFinished = 5,
};

struct Stage {
  StageState state = StageState::kNotOpened;
  XformOps ops{};
  XformCallback input_callback = nullptr;
  XformCallback output_callback = nullptr;
  void* client_data = nullptr;
  int64_t params[IP_MAX_PARAMS] = {};
  void* instance = nullptr;
  ImageTraits in_traits{};
  ImageTraits out_traits{};
  size_t min_input = 0;  // bytes that must be held before it runs: the header, then one piece
  size_t min_output = 0;
};

// One run of a transform: what it was given and what it answered.
struct Run {
  const uint8_t* input;
  size_t available;
  uint64_t input_position;
  uint8_t* output;
  size_t space;
  size_t used = 0;
  uint64_t next_position = 0;
  size_t produced = 0;
  uint64_t output_position = 0;
  IpResult result = 0;
};

// Every fatal answer comes from here, so that a debugger can stop at one place.
IpResult Fatal();

// Opens *instance, unless it is there, up to the question for its traits.
bool OpenInstance(const Stage& stage, const ImageTraits& in_traits, void** instance,
                  size_t* header);

// Replaces `traits`, the input's, by what an instance of its own says that the stage would make of
// them. IP_NEED_INPUT: a header must be read for that.
IpResult AskTraits(const Stage& stage, ImageTraits* traits);

// Reads the header or converts, as the stage's state is.
void CallTransform(Stage& stage, Run& run);

// Whether the two can be done at once: a JPEG image to red, green, blue, and nobody looks between.
bool CanFuse(const Stage& decode, const Stage& convert);

// Whether that is what their parameters ask for.
bool AskForFusion(const Stage& decode, const Stage& convert);

}  // namespace scantk

#endif  // SCANTK_IMAGING_PIPELINE_STAGE_H_
